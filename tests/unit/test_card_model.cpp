// The simulated card: what each request does and answers, its faults and its journal.

#include "card.h"
#include "journal.h"

#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <string>
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

TEST_F(CardModel, accepts_every_other_request_and_returns_its_record_as_it_came)
{
    for (const auto& known : vesk_requests) {
        bytes record;
        switch (known.code) {
        case 0x7801:
        case 0x7802:
        case 0x7803:
        case 0x7821:
        case 0x7822:
        case 0x7900:
        case 0x7911:
            continue;
        case 0x7906:
            record = bitmap_record(5000, 5000);
            break;
        default:
            record = bytes(known.length, 0xA5);
        }
        const bytes sent = record;
        EXPECT_EQ(request(known, record), 0) << known.name;
        EXPECT_EQ(record, sent) << known.name;
        EXPECT_EQ(last_record(known.code), sent) << known.name;
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

TEST_F(CardModel, leaves_other_variables_as_they_came)
{
    const bytes sent = record_of(HCC_IOCTL_HMI_VAR_SET, {9, 0, 0, 0, 5});
    bytes record = sent;
    EXPECT_EQ(request(HCC_IOCTL_HMI_VAR_SET, record), 0);
    EXPECT_EQ(record, sent);
    EXPECT_EQ(last_record(0x7803), sent);
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

TEST_F(CardModel, fails_the_nth_request_from_the_order_on)
{
    request(HDC_IOCTL_KMP_CUR_SHAPE, bytes(12));
    card.order(0x7907, -EIO, 2);
    EXPECT_EQ(request(HDC_IOCTL_KMP_CUR_SHAPE, bytes(12)), 0);
    EXPECT_EQ(request(VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS, bytes(12)), 0);
    EXPECT_EQ(request(HDC_IOCTL_KMP_CUR_SHAPE, bytes(12)), -EIO);
    EXPECT_EQ(request(HDC_IOCTL_KMP_CUR_SHAPE, bytes(12)), 0);
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
