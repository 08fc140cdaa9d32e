// The simulated card: what each request does and answers, its faults and its journal.

#include "card.h"
#include "journal.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <map>
#include <numeric>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace
{

using bytes = std::vector<std::uint8_t>;

class CardModel : public testing::Test
{
protected:
    std::vector<std::string> journal;
    cardsim::card card{{}, [this](std::string_view line) { journal.emplace_back(line); }};

    int request(const sVESK_REQUEST_STRUCT& request, bytes& record)
    {
        return card.request(request.node, request.code, record);
    }
    int request(const sVESK_REQUEST_STRUCT& request, bytes&& record = {}) { return this->request(request, record); }
    // All that the card keeps, to compare it with itself later.
    bytes image() const
    {
        static_assert(std::is_trivially_copyable_v<cardsim::contents>);
        bytes whole(sizeof(card.kept));
        std::memcpy(whole.data(), &card.kept, whole.size());
        return whole;
    }
    int request_on(eVESK_NODE node, std::uint32_t code, bytes record = {}) { return card.request(node, code, record); }
    bytes last_record(std::uint32_t code) const
    {
        const auto kept = card.last_record(code);
        return {kept.begin(), kept.end()};
    }
};

// A record of the length that the table states, with these first bytes and zero behind them.
bytes record_of(const sVESK_REQUEST_STRUCT& request, bytes head = {})
{
    head.resize(request.length);
    return head;
}

// A cursor bitmap record of this size that states this length.
bytes bitmap_record(std::size_t size, std::uint32_t stated)
{
    bytes record(size, 0x11);
    std::memcpy(record.data() + 16, &stated, sizeof(stated));
    return record;
}

const bytes channel_open{1, 0, 0, 0, 1, 0, 0, 0};
const bytes channel_close{1, 0, 0, 0, 0, 0, 0, 0};

TEST_F(CardModel, knows_the_length_of_every_record)
{
    for (const auto& known : vesk_requests)
        EXPECT_EQ(cardsim::record_length(known.code), known.length == VESK_LENGTH_VARIES ? 20 : known.length);
    EXPECT_EQ(cardsim::record_length(0x7899), 0U);
}

TEST_F(CardModel, takes_the_length_of_a_bitmap_from_its_head)
{
    const bytes record = bitmap_record(20, 5000);
    EXPECT_EQ(cardsim::record_length(0x7906, std::span(record).first(19)), 20U);
    EXPECT_EQ(cardsim::record_length(0x7906, record), 5000U);
}

TEST_F(CardModel, knows_every_request_of_the_table)
{
    for (const auto& known : vesk_requests) {
        const bytes record = known.length == VESK_LENGTH_VARIES ? bitmap_record(5000, 5000) : bytes(known.length);
        EXPECT_NE(request(known, bytes(record)), -ENOTTY) << known.name;
    }
}

TEST_F(CardModel, refuses_a_code_that_is_not_in_the_table)
{
    EXPECT_EQ(request_on(VESK_NODE_HCC, 0x7899), -ENOTTY);
    EXPECT_EQ(request_on(VESK_NODE_HDC, 0x5401), -ENOTTY);
    EXPECT_EQ(journal, (std::vector<std::string>{"HCC 0x7899 unknown -> ENOTTY", "HDC 0x5401 unknown -> ENOTTY"}));
}

TEST_F(CardModel, refuses_a_request_on_the_other_node)
{
    EXPECT_EQ(request_on(VESK_NODE_HDC, 0x7821, bytes(channel_open)), -ENOTTY);
    EXPECT_EQ(request_on(VESK_NODE_HDC, 0x7910, bytes(240)), -ENOTTY);
    EXPECT_FALSE(card.channel_open());
    EXPECT_EQ(journal[0], "HDC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 01 00 00 00 -> ENOTTY");
}

TEST_F(CardModel, refuses_a_record_of_another_length)
{
    EXPECT_EQ(request(HCC_IOCTL_HMI_AVAIL_CMD, bytes(31)), -EINVAL);
    EXPECT_EQ(request(VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE, bytes(1)), -EINVAL);
    EXPECT_EQ(request(HDC_IOCTL_KMP_CUR_SHAPE_BMP, bytes(19)), -EINVAL);
    EXPECT_EQ(request(HDC_IOCTL_KMP_CUR_SHAPE_BMP, bitmap_record(20, 5)), -EINVAL);
    EXPECT_EQ(request(HDC_IOCTL_KMP_CUR_SHAPE_BMP, bitmap_record(5000, 4999)), -EINVAL);
    EXPECT_TRUE(last_record(0x7906).empty());
}

TEST_F(CardModel, answers_with_the_command_map)
{
    card.offered.commands.map[7] = 0x80000000;
    bytes record(32, 0xFF);
    EXPECT_EQ(request(HCC_IOCTL_HMI_AVAIL_CMD, record), 0);
    bytes expected(32);
    expected[0] = 0x07;
    expected[31] = 0x80;
    EXPECT_EQ(record, expected);
}

TEST_F(CardModel, answers_with_the_readable_and_the_writable_map)
{
    card.offered.readable.map[0] = 0x2806;
    bytes record = record_of(HCC_IOCTL_HMI_VAR_GET);
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_GET, record), 0);
    EXPECT_EQ(record, record_of(HCC_IOCTL_HMI_VAR_GET, {0, 0, 0, 0, 0x06, 0x28}));

    record = record_of(HCC_IOCTL_HMI_VAR_SET);
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_SET, record), 0);
    EXPECT_EQ(record, record_of(HCC_IOCTL_HMI_VAR_SET, {0, 0, 0, 0, 0xFF, 0x3F}));
}

TEST_F(CardModel, asks_for_the_writable_map_with_a_zero_payload)
{
    bytes record = record_of(HCC_IOCTL_HMI_VAR_SET);
    record.back() = 1;
    const bytes sent = record;
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_SET, record), -EINVAL);
    EXPECT_EQ(record, sent);
}

// What the card keeps, with every byte the test's own.
template <class Record> bytes fill(Record& record, std::uint8_t first)
{
    bytes filled(sizeof(record));
    std::iota(filled.begin(), filled.end(), first);
    std::memcpy(&record, filled.data(), filled.size());
    return filled;
}

// The record of a variable: its id, its payload, and zero behind them.
bytes variable_record(std::uint8_t id, const bytes& payload = {})
{
    bytes record = record_of(HCC_IOCTL_HMI_VAR_GET, {id});
    std::ranges::copy(payload, record.begin() + 4);
    return record;
}

TEST_F(CardModel, answers_with_each_variable_that_can_be_read)
{
    const std::map<std::uint8_t, bytes> readable{
        {HMI_VAR_LINK_INFO, fill(card.kept.link_info, 11)}, {HMI_VAR_IPV4_CFG, fill(card.kept.ipv4, 12)},
        {HMI_VAR_SESS_LINK, fill(card.kept.sess_link, 13)}, {HMI_VAR_SESS_TAG, fill(card.kept.sess_tag, 14)},
        {HMI_VAR_CONN_PORT, fill(card.kept.port, 15)},      {HMI_VAR_SESS_STAT, fill(card.kept.stats, 16)},
        {HMI_VAR_WOL_CFG, fill(card.kept.wol_cfg, 17)},
    };
    for (const auto& [id, payload] : readable) {
        bytes record = variable_record(id);
        EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_GET, record), 0) << int{id};
        EXPECT_EQ(record, variable_record(id, payload)) << int{id};
    }
}

TEST_F(CardModel, keeps_each_variable_that_can_be_written)
{
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT tag;
    sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT wol_cfg;
    for (const bytes& sent :
         {variable_record(HMI_VAR_SESS_TAG, fill(tag, 1)), variable_record(HMI_VAR_WOL_CFG, fill(wol_cfg, 2)),
          variable_record(HMI_VAR_UNICODE, {1, 2, 3, 4}), variable_record(HMI_VAR_SESS_DISC, {5, 6, 7, 8})}) {
        bytes record = sent;
        EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_SET, record), 0) << int{sent[0]};
        EXPECT_EQ(record, sent);
    }
    EXPECT_EQ(std::memcmp(&card.kept.sess_tag, &tag, sizeof(tag)), 0);
    EXPECT_EQ(std::memcmp(&card.kept.wol_cfg, &wol_cfg, sizeof(wol_cfg)), 0);
    EXPECT_EQ(card.kept.unicode, 0x04030201U);
    EXPECT_EQ(card.kept.disconnect_reason, 0x08070605U);
}

TEST_F(CardModel, reads_and_writes_no_variable_that_it_does_not_have)
{
    card.offered.readable = card.offered.writable = {{~0U, ~0U, ~0U, ~0U, ~0U, ~0U, ~0U, ~0U}};
    for (const std::uint8_t id : {7, 9, 10, 11, 12, 13, 14, 255})
        EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_GET, variable_record(id)), -EINVAL) << int{id};
    for (const std::uint8_t id : {1, 2, 5, 7, 10, 11, 13, 14, 255})
        EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_SET, variable_record(id)), -EINVAL) << int{id};
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_GET, bytes(252, 0xFF)), -EOPNOTSUPP);
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_SET, bytes(252, 0xFF)), -EOPNOTSUPP);
}

TEST_F(CardModel, refuses_a_variable_that_its_maps_do_not_offer)
{
    card.offered.readable.map[0] = ~(1U << HMI_VAR_SESS_TAG);
    card.offered.writable.map[0] = 1U << HMI_VAR_SESS_TAG;
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_GET, variable_record(HMI_VAR_SESS_TAG)), -EOPNOTSUPP);
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_SET, variable_record(HMI_VAR_SESS_TAG)), 0);
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_GET, variable_record(HMI_VAR_WOL_CFG)), 0);
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_SET, variable_record(HMI_VAR_WOL_CFG)), -EOPNOTSUPP);
    EXPECT_EQ(journal[0], "HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 04 00 00 00 (+248 zero) -> EOPNOTSUPP");
}

TEST_F(CardModel, refuses_all_variables_without_their_command)
{
    card.offered.commands.map[0] = 1U << HMI_CMD_VAR_SET;
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_GET, variable_record(0)), -EOPNOTSUPP);
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_SET, variable_record(0)), 0);
    card.offered.commands.map[0] = 1U << HMI_CMD_VAR_GET;
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_GET, variable_record(0)), 0);
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_SET, variable_record(0)), -EOPNOTSUPP);
}

TEST_F(CardModel, reads_a_variable_with_a_zero_payload)
{
    for (const std::uint8_t id : {0, 1, 4})
        EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_GET, variable_record(id, {0, 0, 1})), -EINVAL) << int{id};
}

TEST_F(CardModel, writes_a_variable_with_nothing_behind_its_payload)
{
    card.connect("192.0.2.77");
    const std::map<std::uint8_t, std::size_t> payloads{{HMI_VAR_SESS_LINK, 0}, {HMI_VAR_SESS_TAG, 244},
                                                       {HMI_VAR_SESS_STAT, 0}, {HMI_VAR_WOL_CFG, 40},
                                                       {HMI_VAR_SESS_DISC, 4}, {HMI_VAR_UNICODE, 4}};
    for (const auto& [id, length] : payloads) {
        bytes payload(length + 1);
        payload.back() = 1;
        EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_SET, variable_record(id, payload)), -EINVAL) << int{id};
    }
    EXPECT_EQ(card.kept.sess_link.flags, HMI_SESS_LINK_CONNECTED);
    EXPECT_EQ(card.kept.stats.words[0], 101U);
}

TEST_F(CardModel, has_a_session_while_a_client_is_connected)
{
    EXPECT_EQ(card.kept.sess_link.flags, 0);
    EXPECT_EQ(card.kept.sess_link.trans_cnt, 0);
    card.connect("192.0.2.77");
    EXPECT_EQ(card.kept.sess_link.flags, HMI_SESS_LINK_CONNECTED);
    EXPECT_EQ(card.kept.sess_link.trans_cnt, 1);
    EXPECT_STREQ(card.kept.sess_link.ip, "192.0.2.77");
    card.disconnect();
    EXPECT_EQ(card.kept.sess_link.flags, 0);
    EXPECT_EQ(card.kept.sess_link.trans_cnt, 2);
    EXPECT_STREQ(card.kept.sess_link.ip, "");
    card.disconnect();
    EXPECT_EQ(card.kept.sess_link.trans_cnt, 2);
}

TEST_F(CardModel, drops_a_session_for_the_next_one)
{
    card.connect("2001:db8::1:77");
    card.connect("192.0.2.8");
    EXPECT_EQ(card.kept.sess_link.trans_cnt, 3);
    EXPECT_STREQ(card.kept.sess_link.ip, "192.0.2.8");
}

TEST_F(CardModel, leaves_the_other_flags_and_wraps_the_transition_counter)
{
    card.kept.sess_link.flags = 0x80;
    card.kept.sess_link.trans_cnt = 255;
    card.connect(std::string(40, 'x'));
    EXPECT_EQ(card.kept.sess_link.flags, 0x81);
    EXPECT_EQ(card.kept.sess_link.trans_cnt, 0);
    EXPECT_EQ(std::string(card.kept.sess_link.ip, 36), std::string(36, 'x'));
    card.disconnect();
    EXPECT_EQ(card.kept.sess_link.flags, 0x80);
}

TEST_F(CardModel, drops_the_session_when_variable_3_is_written)
{
    card.connect("192.0.2.77");
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_SET, variable_record(HMI_VAR_SESS_LINK)), 0);
    EXPECT_EQ(card.kept.sess_link.flags, 0);
    EXPECT_EQ(card.kept.sess_link.trans_cnt, 2);
    EXPECT_EQ(card.kept.disconnect_reason, 0U);
}

TEST_F(CardModel, drops_the_session_with_the_reason_in_variable_9)
{
    card.connect("192.0.2.77");
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_SET, variable_record(HMI_VAR_SESS_DISC, {5})), 0);
    EXPECT_EQ(card.kept.sess_link.flags, 0);
    EXPECT_EQ(card.kept.sess_link.trans_cnt, 2);
    EXPECT_EQ(card.kept.disconnect_reason, 5U);
}

TEST_F(CardModel, resets_the_statistics_when_they_are_written)
{
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_SET, variable_record(HMI_VAR_SESS_STAT)), 0);
    bytes record = variable_record(HMI_VAR_SESS_STAT);
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_GET, record), 0);
    EXPECT_EQ(record, variable_record(HMI_VAR_SESS_STAT));
}

TEST_F(CardModel, keeps_the_state_of_the_host_session_and_tells_the_local_information)
{
    bytes record{0, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF};
    EXPECT_EQ(request(HCC_IOCTL_HMI_LOCAL_VAR_SET, record), 0);
    EXPECT_EQ(card.kept.host_sess_state, -2);
    record = bytes(8);
    EXPECT_EQ(request(HCC_IOCTL_HMI_LOCAL_VAR_GET, record), 0);
    EXPECT_EQ(record, (bytes{0, 0, 0, 0, 0xFE, 0xFF, 0xFF, 0xFF}));
    record = {1, 0, 0, 0, 0, 0, 0, 0};
    EXPECT_EQ(request(HCC_IOCTL_HMI_LOCAL_VAR_GET, record), 0);
    EXPECT_EQ(record, (bytes{1, 0, 0, 0, 2, 0, 1, 0}));
}

TEST_F(CardModel, writes_no_local_variable_but_the_first_and_reads_two)
{
    EXPECT_EQ(request(HCC_IOCTL_HMI_LOCAL_VAR_SET, {1, 0, 0, 0, 7, 0, 0, 0}), -EINVAL);
    EXPECT_EQ(request(HCC_IOCTL_HMI_LOCAL_VAR_SET, {2, 0, 0, 0, 7, 0, 0, 0}), -EINVAL);
    EXPECT_EQ(request(HCC_IOCTL_HMI_LOCAL_VAR_GET, {2, 0, 0, 0, 0, 0, 0, 0}), -EINVAL);
    EXPECT_EQ(request(HCC_IOCTL_HMI_LOCAL_VAR_GET, {0, 0, 0, 0, 7, 0, 0, 0}), -EINVAL);
    EXPECT_EQ(card.kept.local_info, 0x00010002U);
}

TEST_F(CardModel, keeps_both_imaging_preferences_up_to_100)
{
    EXPECT_EQ(request(HCC_IOCTL_IMG_USER_CFG_SET, record_of(HCC_IOCTL_IMG_USER_CFG_SET, {22, 0, 0, 0, 0, 0, 0, 0, 0})),
              0);
    EXPECT_EQ(request(HCC_IOCTL_IMG_USER_CFG_CACHE_SET, {24, 0, 0, 0, 0, 0, 0, 0, 100, 0, 0, 0}), 0);
    EXPECT_EQ(
        request(HCC_IOCTL_IMG_USER_CFG_SET, record_of(HCC_IOCTL_IMG_USER_CFG_SET, {22, 0, 0, 0, 0, 0, 0, 0, 101})),
        -EINVAL);
    EXPECT_EQ(request(HCC_IOCTL_IMG_USER_CFG_CACHE_SET, {24, 0, 0, 0, 0, 0, 0, 0, 101, 0, 0, 0}), -EINVAL);
    EXPECT_EQ(card.kept.img_preference, 0U);
    EXPECT_EQ(card.kept.img_cached_preference, 100U);
}

TEST_F(CardModel, answers_with_what_the_client_requested)
{
    card.kept.img_requested = {0x01020304, 0x05060708};
    bytes record = record_of(HCC_IOCTL_IMG_USER_CFG_REQ_GET, {23});
    EXPECT_EQ(request(HCC_IOCTL_IMG_USER_CFG_REQ_GET, record), 0);
    EXPECT_EQ(record, (bytes{23, 0, 0, 0, 0, 0, 0, 0, 4, 3, 2, 1, 8, 7, 6, 5}));
}

TEST_F(CardModel, takes_an_imaging_message_by_its_own_number_only)
{
    const std::pair<sVESK_REQUEST_STRUCT, std::uint8_t> numbered[] = {{HCC_IOCTL_IMG_DISP_TOPO_SEND, 12},
                                                                      {HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET, 16},
                                                                      {HCC_IOCTL_IMG_USER_CFG_SET, 22},
                                                                      {HCC_IOCTL_IMG_USER_CFG_REQ_GET, 23},
                                                                      {HCC_IOCTL_IMG_USER_CFG_CACHE_SET, 24}};
    for (const auto& [known, number] : numbered) {
        EXPECT_EQ(request(known, record_of(known, {number})), 0) << known.name;
        EXPECT_EQ(request(known, record_of(known, {std::uint8_t(number + 1)})), -EINVAL) << known.name;
        EXPECT_EQ(request(known, record_of(known, {number, 0, 0, 1})), -EINVAL) << known.name;
        EXPECT_EQ(request(known, record_of(known, {number, 0, 0, 0, 1})), -EINVAL) << known.name;
    }
    EXPECT_EQ(request(HCC_IOCTL_IMG_USER_CFG_SET, {22, 0, 0, 0, 0, 0, 0, 0, 1, 0, 0, 0, 1, 0, 0, 0}), -EINVAL);
}

TEST_F(CardModel, refuses_imaging_requests_whose_variable_is_not_offered)
{
    card.offered.readable.map[0] = ~(1U << HMI_VAR_CACHED_TOPO);
    card.offered.writable.map[0] = ~(1U << HMI_VAR_IMG_USER_EXT_CFG);
    EXPECT_EQ(request(HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET, record_of(HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET, {16})),
              -EOPNOTSUPP);
    EXPECT_EQ(request(HCC_IOCTL_IMG_USER_CFG_SET, record_of(HCC_IOCTL_IMG_USER_CFG_SET, {22})), -EOPNOTSUPP);
    EXPECT_EQ(request(HCC_IOCTL_IMG_USER_CFG_CACHE_SET, record_of(HCC_IOCTL_IMG_USER_CFG_CACHE_SET, {24})),
              -EOPNOTSUPP);
    EXPECT_EQ(request(HCC_IOCTL_IMG_USER_CFG_REQ_GET, record_of(HCC_IOCTL_IMG_USER_CFG_REQ_GET, {23})), 0);
    card.offered.readable.map[0] = ~(1U << HMI_VAR_IMG_USER_EXT_CFG);
    EXPECT_EQ(request(HCC_IOCTL_IMG_USER_CFG_REQ_GET, record_of(HCC_IOCTL_IMG_USER_CFG_REQ_GET, {23})), -EOPNOTSUPP);
}

TEST_F(CardModel, has_one_display_at_first)
{
    bytes record(72);
    EXPECT_EQ(request(HCC_IOCTL_IMG_DISP_TOPO_GET, record), 0);
    EXPECT_EQ(record, record_of(HCC_IOCTL_IMG_DISP_TOPO_GET,
                                {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x80, 0x07, 0x38, 0x04}));
    record = bytes(76);
    EXPECT_EQ(request(HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET, record), 0);
    bytes expected = record_of(HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET,
                               {0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0x80, 0x07, 0x38, 0x04});
    expected[72] = 1;
    EXPECT_EQ(record, expected);
}

TEST_F(CardModel, reads_the_displays_that_were_sent_behind_the_words_of_the_request)
{
    bytes sent = record_of(HCC_IOCTL_IMG_DISP_TOPO_SEND, {12});
    std::iota(sent.begin() + 8, sent.end(), std::uint8_t{100});
    EXPECT_EQ(request(HCC_IOCTL_IMG_DISP_TOPO_SEND, bytes(sent)), 0);
    bytes record(72, 0xEE);
    EXPECT_EQ(request(HCC_IOCTL_IMG_DISP_TOPO_GET, record), 0);
    std::fill_n(sent.begin(), 8, std::uint8_t{0xEE});
    EXPECT_EQ(record, sent);
}

TEST_F(CardModel, answers_with_the_asynchronous_and_the_cached_layout)
{
    bytes expected = fill(card.kept.async_topology, 3);
    bytes record(76);
    EXPECT_EQ(request(HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET, record), 0);
    std::fill_n(expected.begin(), 8, std::uint8_t{0});
    EXPECT_EQ(record, expected);

    expected = fill(card.kept.cached_topology, 4);
    record = record_of(HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET, {16});
    EXPECT_EQ(request(HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET, record), 0);
    std::fill_n(expected.begin(), 8, std::uint8_t{0});
    expected[0] = 16;
    EXPECT_EQ(record, expected);
}

TEST_F(CardModel, keeps_the_layout_of_the_driver)
{
    sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT topology;
    const bytes sent = fill(topology, 5);
    EXPECT_EQ(request(HDC_IOCTL_KMP_DISP_TOPO_SET, bytes(sent)), 0);
    EXPECT_EQ(std::memcmp(&card.kept.driver_topology, sent.data(), sent.size()), 0);
}

TEST_F(CardModel, writes_nothing_when_it_fails_by_order)
{
    card.order(0x7803, -EIO);
    card.order(0x7805, -EIO);
    card.connect("192.0.2.77");
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_SET, variable_record(HMI_VAR_SESS_DISC, {5})), -EIO);
    EXPECT_EQ(request(HCC_IOCTL_HMI_LOCAL_VAR_SET, {0, 0, 0, 0, 7, 0, 0, 0}), -EIO);
    EXPECT_EQ(card.kept.sess_link.trans_cnt, 1);
    EXPECT_EQ(card.kept.disconnect_reason, 0U);
    EXPECT_EQ(card.kept.host_sess_state, 0);
}

TEST_F(CardModel, answers_with_the_whole_context_of_the_client)
{
    std::memset(&card.offered.kmp_context, 0xC3, sizeof(card.offered.kmp_context));
    bytes record = record_of(HCC_IOCTL_KMP_PRI_CTXT_GET, {2});
    EXPECT_EQ(request(HCC_IOCTL_KMP_PRI_CTXT_GET, record), 0);
    EXPECT_EQ(record, bytes(292, 0xC3));
}

TEST_F(CardModel, offers_a_full_client_at_first)
{
    bytes record = record_of(HCC_IOCTL_KMP_PRI_CTXT_GET, {2});
    EXPECT_EQ(request(HCC_IOCTL_KMP_PRI_CTXT_GET, record), 0);
    EXPECT_EQ(record, record_of(HCC_IOCTL_KMP_PRI_CTXT_GET,
                                {2, 0, 0, 0,  1, 0,  0, 0, 1, 1, 1, 1, 1, 1, 16, 0, 0, 0x40, 0, 0, 1,
                                 1, 1, 1, 64, 0, 64, 0, 1, 1, 1, 1, 1, 1, 1, 1,  1, 1, 1,    1, 1, 1}));
}

TEST_F(CardModel, gives_the_context_for_request_word_2_only)
{
    EXPECT_EQ(request(HCC_IOCTL_KMP_PRI_CTXT_GET, record_of(HCC_IOCTL_KMP_PRI_CTXT_GET, {1})), -EINVAL);
    EXPECT_EQ(journal,
              (std::vector<std::string>{"HCC 0x7822 HCC_IOCTL_KMP_PRI_CTXT_GET 01 00 00 00 (+288 zero) -> EINVAL"}));
}

TEST_F(CardModel, opens_the_path_through_an_open_channel_only)
{
    EXPECT_EQ(request(VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN), -ENOTCONN);
    EXPECT_EQ(request(VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL, bytes(channel_open)), 0);
    EXPECT_TRUE(card.channel_open());
    EXPECT_FALSE(card.path_open());
    EXPECT_EQ(request(VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN), 0);
    EXPECT_TRUE(card.path_open());
    EXPECT_EQ(request(VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE), 0);
    EXPECT_FALSE(card.path_open());
    EXPECT_TRUE(card.channel_open());
}

TEST_F(CardModel, closes_the_path_with_its_channel)
{
    request(VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL, bytes(channel_open));
    request(VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN);
    EXPECT_EQ(request(VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL, bytes(channel_close)), 0);
    EXPECT_FALSE(card.channel_open());
    EXPECT_FALSE(card.path_open());
    EXPECT_EQ(request(VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE), 0);
}

TEST_F(CardModel, knows_no_other_channel_and_no_other_open_flag)
{
    request(VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL, bytes(channel_open));
    EXPECT_EQ(request(VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL, {0, 0, 0, 0, 0, 0, 0, 0}), -EINVAL);
    EXPECT_EQ(request(VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL, {1, 0, 0, 0, 2, 0, 0, 0}), -EINVAL);
    EXPECT_TRUE(card.channel_open());
}

TEST_F(CardModel, keeps_the_setting_of_each_driver_configuration)
{
    EXPECT_EQ(request(HDC_IOCTL_KMP_DRIVER_CFG_SET, {0, 0, 0, 0, 1, 0, 0, 0}), 0);
    EXPECT_EQ(request(HDC_IOCTL_KMP_DRIVER_CFG_SET, {1, 0, 0, 0, 0xFF, 0xFF, 0xFF, 0xFF}), 0);
    EXPECT_EQ(request(HDC_IOCTL_KMP_DRIVER_CFG_SET, {2, 0, 0, 0, 7, 0, 0, 0}), -EINVAL);
    EXPECT_EQ(card.driver_setting(KMP_DRIVER_CFG_LCUR_EVT_ALG), 1);
    EXPECT_EQ(card.driver_setting(KMP_DRIVER_CFG_LOCAL_TABLET), -1);
}

// A request that sets something, as it must come; and the bytes of it that may not be any other.
struct setting {
    sVESK_REQUEST_STRUCT request;
    bytes record;
    std::vector<std::size_t> fixed;
};
const setting settings[] = {
    {HDC_IOCTL_KMP_FEAT_EN, {0, 0, 0x0A, 0, 1, 0, 0, 0}, {0, 1, 2, 3, 5, 6, 7}},
    {HDC_IOCTL_KMP_KBD_REPEAT, {6, 0, 0x0A, 0, 0, 0, 0, 0, 0x34, 0x12, 0x78, 0x56}, {0, 1, 2, 3, 4, 5, 6, 7}},
    {VESK_HALDO_HDC_IOCTL_KMP_CUR_POS, {5, 0, 0x0A, 0, 4, 3, 2, 1, 0x34, 0x12, 0x78, 0x56}, {0, 1, 2, 3}},
    {VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS, {8, 0, 0x0A, 0, 8, 7, 6, 5, 1, 0, 0, 0}, {0, 1, 2, 3, 9, 10, 11}},
    {HDC_IOCTL_KMP_CUR_IDLE_HIDE, {0x0D, 0, 0x0A, 0, 4, 3, 2, 1}, {0, 1, 2, 3}},
    {HDC_IOCTL_KMP_CUR_SPD_SET, {0x0F, 0, 0x0A, 0, 11, 0, 0, 0}, {0, 1, 2, 3, 5, 6, 7}},
    {VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW, {0x34, 0x12, 0x78, 0x56}, {}},
    {HDC_IOCTL_KMP_DISP_TOPO_SET, bytes(240, 7), {}},
    {HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB, {}, {}},
    {HDC_IOCTL_KMP_HOIP_HOST_RDY, {}, {}},
};

// A request that reads something, and its reply.
struct reading {
    sVESK_REQUEST_STRUCT request;
    bytes reply;
};
const reading readings[] = {
    {HDC_IOCTL_KMP_FEAT_STAT_GET, {0, 0, 0, 0, 0x00, 0x0C, 0x0B, 0x0A}},
    {HDC_IOCTL_KMP_CUR_SPD_GET, {0, 0, 0, 0, 100, 0, 0, 0}},
    {HDC_IOCTL_KMP_LAST_STAT_GET, {4, 3, 2, 1, 5, 0, 0, 0, 6, 0, 0, 0, 7, 0, 0, 0}},
    {HDC_IOCTL_KMP_KBD_REPEAT_GET, {0, 0, 0, 0, 0, 0, 0, 0, 33, 0, 0xF4, 0x01}},
};

TEST_F(CardModel, keeps_what_each_request_of_the_driver_sets)
{
    for (const setting& one : settings) {
        bytes record = one.record;
        const bytes before = image();
        EXPECT_EQ(request(one.request, record), 0) << one.request.name;
        EXPECT_EQ(record, one.record) << one.request.name;
        EXPECT_EQ(last_record(one.request.code), one.record) << one.request.name;
        const bool changes = one.request.code != 0x790F; // the position that 0x7908 set
        EXPECT_EQ(image() != before, changes) << one.request.name;
    }
    EXPECT_EQ(card.kept.feature_enable, 1U);
    EXPECT_EQ(card.kept.kbd_interval, 0x1234);
    EXPECT_EQ(card.kept.kbd_delay, 0x5678);
    EXPECT_EQ(card.kept.pointer_x, 0x1234);
    EXPECT_EQ(card.kept.pointer_y, 0x5678);
    EXPECT_EQ(card.kept.position_time_stamp, 0x01020304U);
    EXPECT_TRUE(card.kept.pointer_visible);
    EXPECT_EQ(card.kept.visibility_time_stamp, 0x05060708U);
    EXPECT_EQ(card.kept.idle_hide, 0x01020304U);
    EXPECT_EQ(card.kept.cursor_speed, 11U);
    EXPECT_EQ(card.kept.new_tablet_requests, 1U);
    EXPECT_EQ(card.kept.host_ready_requests, 1U);
}

TEST_F(CardModel, sets_nothing_with_a_wrong_header_or_reserved_byte)
{
    const bytes before = image();
    for (const setting& one : settings) {
        for (const std::size_t at : one.fixed) {
            bytes record = one.record;
            record[at] ^= 0x40;
            const bytes sent = record;
            EXPECT_EQ(request(one.request, record), -EINVAL) << one.request.name << " byte " << at;
            EXPECT_EQ(record, sent);
        }
        EXPECT_TRUE(last_record(one.request.code).empty());
    }
    EXPECT_EQ(image(), before);
}

TEST_F(CardModel, sets_nothing_when_it_fails_by_order)
{
    const bytes before = image();
    for (const setting& one : settings) {
        card.order(one.request.code, -EIO);
        bytes record = one.record;
        EXPECT_EQ(request(one.request, record), -EIO) << one.request.name;
        EXPECT_EQ(record, one.record) << one.request.name;
    }
    EXPECT_EQ(image(), before);
}

TEST_F(CardModel, answers_what_is_read_of_the_driver)
{
    const bytes before = image();
    for (const reading& one : readings) {
        bytes record(one.request.length);
        EXPECT_EQ(request(one.request, record), 0) << one.request.name;
        EXPECT_EQ(record, one.reply) << one.request.name;
    }
    EXPECT_EQ(image(), before);
}

TEST_F(CardModel, reads_of_the_driver_with_a_zero_record)
{
    for (const reading& one : readings) {
        for (std::size_t at = 0; at < one.request.length; ++at) {
            bytes record(one.request.length);
            record[at] = 1;
            const bytes sent = record;
            EXPECT_EQ(request(one.request, record), -EINVAL) << one.request.name << " byte " << at;
            EXPECT_EQ(record, sent) << one.request.name << " byte " << at;
        }
    }
}

TEST_F(CardModel, answers_nothing_when_it_fails_by_order)
{
    for (const reading& one : readings) {
        card.order(one.request.code, -EIO);
        bytes record(one.request.length);
        EXPECT_EQ(request(one.request, record), -EIO) << one.request.name;
        EXPECT_EQ(record, bytes(one.request.length)) << one.request.name;
    }
}

TEST_F(CardModel, limits_what_is_set)
{
    const std::pair<sVESK_REQUEST_STRUCT, bytes> refused[] = {
        {HDC_IOCTL_KMP_FEAT_EN, {0, 0, 0x0A, 0, 2, 0, 0, 0}},
        {VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS, {8, 0, 0x0A, 0, 0, 0, 0, 0, 2, 0, 0, 0}},
        {HDC_IOCTL_KMP_CUR_SPD_SET, {0x0F, 0, 0x0A, 0, 9, 0, 0, 0}},
        {HDC_IOCTL_KMP_CUR_SPD_SET, {0x0F, 0, 0x0A, 0, 251, 0, 0, 0}},
    };
    const bytes before = image();
    for (const auto& [known, record] : refused)
        EXPECT_EQ(request(known, bytes(record)), -EINVAL) << known.name;
    EXPECT_EQ(image(), before);

    EXPECT_EQ(request(HDC_IOCTL_KMP_CUR_SPD_SET, {0x0F, 0, 0x0A, 0, 10, 0, 0, 0}), 0);
    EXPECT_EQ(card.kept.cursor_speed, 10U);
    EXPECT_EQ(request(HDC_IOCTL_KMP_CUR_SPD_SET, {0x0F, 0, 0x0A, 0, 250, 0, 0, 0}), 0);
    EXPECT_EQ(card.kept.cursor_speed, 250U);
    EXPECT_EQ(request(HDC_IOCTL_KMP_CUR_IDLE_HIDE, {0x0D, 0, 0x0A, 0, 0xFF, 0xFF, 0xFF, 0xFF}), 0);
    EXPECT_EQ(card.kept.idle_hide, 0xFFFFFFFFU);
}

TEST_F(CardModel, turns_local_cursor_and_pointer_off_again)
{
    card.kept.feature_enable = 1;
    card.kept.pointer_visible = true;
    EXPECT_EQ(request(HDC_IOCTL_KMP_FEAT_EN, {0, 0, 0x0A, 0, 0, 0, 0, 0}), 0);
    EXPECT_EQ(request(VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS, {8, 0, 0x0A, 0, 0, 0, 0, 0, 0, 0, 0, 0}), 0);
    EXPECT_EQ(card.kept.feature_enable, 0U);
    EXPECT_FALSE(card.kept.pointer_visible);
}

TEST_F(CardModel, follows_the_enable_in_bit_0_of_the_feature_status)
{
    card.kept.feature_status = 0x87654321;
    bytes record(8);
    EXPECT_EQ(request(HDC_IOCTL_KMP_FEAT_STAT_GET, record), 0);
    EXPECT_EQ(record, (bytes{0, 0, 0, 0, 0x20, 0x43, 0x65, 0x87}));
    EXPECT_EQ(request(HDC_IOCTL_KMP_FEAT_EN, {0, 0, 0x0A, 0, 1, 0, 0, 0}), 0);
    record = bytes(8);
    EXPECT_EQ(request(HDC_IOCTL_KMP_FEAT_STAT_GET, record), 0);
    EXPECT_EQ(record, (bytes{0, 0, 0, 0, 0x21, 0x43, 0x65, 0x87}));
}

TEST_F(CardModel, reads_the_speed_and_the_repeat_rates_that_were_set)
{
    EXPECT_EQ(request(HDC_IOCTL_KMP_CUR_SPD_SET, {0x0F, 0, 0x0A, 0, 77, 0, 0, 0}), 0);
    EXPECT_EQ(request(HDC_IOCTL_KMP_KBD_REPEAT, {6, 0, 0x0A, 0, 0, 0, 0, 0, 1, 2, 3, 4}), 0);
    bytes record(8);
    EXPECT_EQ(request(HDC_IOCTL_KMP_CUR_SPD_GET, record), 0);
    EXPECT_EQ(record, (bytes{0, 0, 0, 0, 77, 0, 0, 0}));
    record = bytes(12);
    EXPECT_EQ(request(HDC_IOCTL_KMP_KBD_REPEAT_GET, record), 0);
    EXPECT_EQ(record, (bytes{0, 0, 0, 0, 0, 0, 0, 0, 1, 2, 3, 4}));
}

TEST_F(CardModel, moves_the_pointer_without_its_time_stamp)
{
    EXPECT_EQ(request(VESK_HALDO_HDC_IOCTL_KMP_CUR_POS, {5, 0, 0x0A, 0, 9, 0, 0, 0, 1, 0, 2, 0}), 0);
    EXPECT_EQ(request(VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW, {3, 0, 4, 0}), 0);
    EXPECT_EQ(card.kept.pointer_x, 3);
    EXPECT_EQ(card.kept.pointer_y, 4);
    EXPECT_EQ(card.kept.position_time_stamp, 9U);
}

TEST_F(CardModel, refuses_what_the_context_of_the_client_does_not_offer)
{
    using context = sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT;
    using flag_of_context = std::uint8_t context::*;
    const struct {
        flag_of_context flag;
        sVESK_REQUEST_STRUCT request;
        bytes record;
    } guarded[] = {
        {&context::haldo_kmp_1_supported, HDC_IOCTL_KMP_FEAT_EN, {0, 0, 0x0A, 0, 1, 0, 0, 0}},
        {&context::cur_speed_update_enable, HDC_IOCTL_KMP_CUR_SPD_GET, bytes(8)},
        {&context::cur_speed_update_enable, HDC_IOCTL_KMP_CUR_SPD_SET, {0x0F, 0, 0x0A, 0, 11, 0, 0, 0}},
        {&context::cur_shape_fadeout_enable, HDC_IOCTL_KMP_CUR_IDLE_HIDE, {0x0D, 0, 0x0A, 0, 1, 0, 0, 0}},
        {&context::kbd_client_auto_repeat_supported, HDC_IOCTL_KMP_KBD_REPEAT_GET, bytes(12)},
    };
    for (const auto& one : guarded) {
        card.offered.kmp_context = cardsim::settings::full_client();
        card.offered.kmp_context.*one.flag = 0;
        const bytes before = image();
        bytes record = one.record;
        EXPECT_EQ(request(one.request, record), -EOPNOTSUPP) << one.request.name;
        EXPECT_EQ(record, one.record) << one.request.name;
        EXPECT_EQ(image(), before) << one.request.name;

        card.offered.kmp_context = {};
        card.offered.kmp_context.*one.flag = 2;
        EXPECT_EQ(request(one.request, record), 0) << one.request.name;
    }
}

TEST_F(CardModel, needs_no_feature_of_the_client_for_the_other_requests)
{
    card.offered.kmp_context = {};
    EXPECT_EQ(request(HDC_IOCTL_KMP_FEAT_STAT_GET, bytes(8)), 0);
    EXPECT_EQ(request(HDC_IOCTL_KMP_LAST_STAT_GET, bytes(16)), 0);
    for (const setting& one : settings) {
        const std::uint32_t code = one.request.code;
        const bool is_guarded = code == 0x7902 || code == 0x790A || code == 0x790C;
        EXPECT_EQ(request(one.request, bytes(one.record)), is_guarded ? -EOPNOTSUPP : 0) << one.request.name;
    }
}

TEST_F(CardModel, counts_the_requests_for_tablets_apart)
{
    request(HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB);
    request(HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB);
    request(HDC_IOCTL_KMP_HOIP_HOST_RDY);
    EXPECT_EQ(card.kept.new_tablet_requests, 2U);
    EXPECT_EQ(card.kept.host_ready_requests, 1U);
}

TEST_F(CardModel, fails_the_nth_request_from_the_order_on)
{
    request(VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW, bytes(4));
    card.order(0x790F, -EIO, 2);
    EXPECT_EQ(request(VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW, bytes(4)), 0);
    EXPECT_EQ(request(HDC_IOCTL_KMP_HOIP_HOST_RDY), 0);
    EXPECT_EQ(request(VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW, bytes(4)), -EIO);
    EXPECT_EQ(request(VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW, bytes(4)), 0);
}

TEST_F(CardModel, fails_every_request_until_the_order_is_taken_back)
{
    card.order(0x7801, -EIO);
    EXPECT_EQ(request(HCC_IOCTL_HMI_AVAIL_CMD, bytes(32)), -EIO);
    EXPECT_EQ(request(HCC_IOCTL_HMI_AVAIL_CMD, bytes(32)), -EIO);
    card.order(0x7801, 0);
    EXPECT_EQ(request(HCC_IOCTL_HMI_AVAIL_CMD, bytes(32)), 0);
}

TEST_F(CardModel, lets_the_later_order_count)
{
    card.order(0x7913, -EIO);
    card.order(0x7913, -EBUSY, 1);
    EXPECT_EQ(request(HDC_IOCTL_KMP_HOIP_HOST_RDY), -EBUSY);
    EXPECT_EQ(request(HDC_IOCTL_KMP_HOIP_HOST_RDY), -EIO);
}

TEST_F(CardModel, does_nothing_when_it_fails_by_order)
{
    card.order(0x7821, -EIO, 1);
    card.order(0x7801, -EIO, 1);
    EXPECT_EQ(request(VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL, bytes(channel_open)), -EIO);
    EXPECT_FALSE(card.channel_open());
    EXPECT_TRUE(last_record(0x7821).empty());
    bytes record(32, 0xEE);
    EXPECT_EQ(request(HCC_IOCTL_HMI_AVAIL_CMD, record), -EIO);
    EXPECT_EQ(record, bytes(32, 0xEE));
}

TEST_F(CardModel, returns_a_positive_value_by_order_and_still_answers)
{
    card.order(0x7801, 7);
    card.order(0x7900, 7);
    bytes record(32);
    EXPECT_EQ(request(HCC_IOCTL_HMI_AVAIL_CMD, record), 7);
    EXPECT_EQ(record[0], 7);
    EXPECT_EQ(request(VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN), -ENOTCONN);
    EXPECT_EQ(journal, (std::vector<std::string>{
                           "HCC 0x7801 HCC_IOCTL_HMI_AVAIL_CMD 00 00 00 00 (+28 zero) -> 7",
                           "HDC 0x7900 VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN -> ENOTCONN",
                       }));
}

TEST_F(CardModel, counts_no_malformed_request_for_an_order)
{
    card.order(0x7801, -EIO, 1);
    request(HCC_IOCTL_HMI_AVAIL_CMD, bytes(8));
    request_on(VESK_NODE_HDC, 0x7801, bytes(32));
    EXPECT_EQ(request(HCC_IOCTL_HMI_AVAIL_CMD, bytes(32)), -EIO);
}

TEST_F(CardModel, writes_the_journal_in_the_order_of_events)
{
    card.open(VESK_NODE_HCC);
    card.open(VESK_NODE_HDC);
    request(HCC_IOCTL_HMI_VAR_GET, record_of(HCC_IOCTL_HMI_VAR_GET));
    request(VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL, bytes(channel_close));
    request(VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE);
    request(HDC_IOCTL_KMP_CUR_SPD_GET, bytes(8));
    card.release(VESK_NODE_HDC);
    card.release(VESK_NODE_HCC);
    EXPECT_EQ(journal, (std::vector<std::string>{
                           "HCC open",
                           "HDC open",
                           "HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 00 00 00 00 (+248 zero) -> 0",
                           "HCC 0x7821 VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL 01 00 00 00 00 00 00 00 -> 0",
                           "HDC 0x7901 VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE -> 0",
                           "HDC 0x790B HDC_IOCTL_KMP_CUR_SPD_GET 00 00 00 00 00 00 00 00 -> 0",
                           "HDC release",
                           "HCC release",
                       }));
}

TEST_F(CardModel, works_without_a_journal)
{
    cardsim::card silent;
    silent.open(VESK_NODE_HCC);
    EXPECT_EQ(silent.request(VESK_NODE_HDC, 0x7901, {}), 0);
}

TEST(CardJournal, abbreviates_a_tail_of_16_zero_bytes_and_no_shorter_one)
{
    EXPECT_EQ(cardsim::request_line(VESK_NODE_HDC, 0x7906, bytes(19), 0),
              "HDC 0x7906 HDC_IOCTL_KMP_CUR_SHAPE_BMP"
              " 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 -> 0");
    EXPECT_EQ(cardsim::request_line(VESK_NODE_HDC, 0x7906, bytes(20), 0),
              "HDC 0x7906 HDC_IOCTL_KMP_CUR_SHAPE_BMP 00 00 00 00 (+16 zero) -> 0");
}

TEST(CardJournal, shows_whole_words_before_the_tail)
{
    bytes record(40);
    record[4] = 0xAB;
    EXPECT_EQ(cardsim::request_line(VESK_NODE_HCC, 0x7802, record, 0),
              "HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 00 00 00 00 AB 00 00 00 (+32 zero) -> 0");
    record[39] = 1;
    EXPECT_EQ(cardsim::request_line(VESK_NODE_HCC, 0x7802, std::span(record).last(20), 0),
              "HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 01 -> 0");
}

TEST(CardJournal, shows_codes_and_errors_without_a_name_as_numbers)
{
    EXPECT_EQ(cardsim::request_line(VESK_NODE_HCC, 0x80045430, {}, -4000), "HCC 0x80045430 unknown -> -4000");
}

} // namespace
