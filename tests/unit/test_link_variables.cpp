// The operations that read or write one variable of the firmware: what they have in common is tested once, over a table
// of what each has of its own. Session tag, wake-on-LAN, Unicode mode and local information beyond that.
#include "link.h"
#include "vesk_log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>

static constexpr map_member NO_MAP = nullptr;

static constexpr std::uint32_t GET = 0x7802;
static constexpr std::uint32_t SET = 0x7803;
static constexpr std::uint32_t LOCAL_GET = 0x7804;

// A text that ends in a NUL byte in a member of this size, with random bytes behind it.
static bytes text_in(std::size_t size, const std::string& text)
{
    bytes member = random_bytes(size);
    std::ranges::copy(text, member.begin());
    if (text.size() < size)
        member[text.size()] = 0;
    return member;
}

// --- What the operations have in common ---

using operation = int (*)(visible_link& link, void* record);

// An operation and what is its own.
struct variable_operation {
    const char* function;
    operation perform;
    bool has_record; // takes a pointer, which may be null
    std::uint32_t code;
    std::uint8_t id;
    std::size_t size;  // bytes of the payload
    map_member map;    // the one whose bit of this id makes it available
    bool asks_for_tag; // before its own request
    bool framed;
    const char* failure;
    bytes sample;        // the first bytes of a payload, the others are random
    const char* success; // the line that it gives, or null
};

static bytes wol_sample()
{
    return joined({0xA5, 1, 2, 3}, joined(text_in(20, "00:11:22:33:44:55"), text_in(16, "192.168.100.200")));
}

template <typename Record, int (cVESK_HALDO_LINK::*member)(Record*)> static int with_record(visible_link& link, void* p)
{
    return (link.*member)(static_cast<Record*>(p));
}
#define WITH_RECORD(record, member)                                                                                    \
    with_record<sVESK_HALDO_HCC_APDU_HMI_VAR_##record##_STRUCT, &cVESK_HALDO_LINK::member>

static int unicode_set(visible_link& link, void* enable)
{
    std::uint32_t value;
    std::memcpy(&value, enable, sizeof(value));
    return link.unicode_set(value);
}

static int sess_stat_reset(visible_link& link, void*)
{
    return link.sess_stat_reset();
}

static const variable_operation operations[] = {
    {.function = "link_info_get",
     .perform = WITH_RECORD(LINK_INFO, link_info_get),
     .has_record = true,
     .code = GET,
     .id = 1,
     .size = 32,
     .map = READABLE,
     .asks_for_tag = false,
     .framed = true,
     .failure = "HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=%d)",
     .sample = {},
     .success = nullptr},
    {.function = "ipv4_cfg_get",
     .perform = WITH_RECORD(IPV4_CFG, ipv4_cfg_get),
     .has_record = true,
     .code = GET,
     .id = 2,
     .size = 84,
     .map = READABLE,
     .asks_for_tag = false,
     .framed = true,
     .failure = "VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed %d",
     .sample = {},
     .success = nullptr},
    {.function = "conn_port_get",
     .perform = WITH_RECORD(CONN_PORT, conn_port_get),
     .has_record = true,
     .code = GET,
     .id = 5,
     .size = 4,
     .map = READABLE,
     .asks_for_tag = false,
     .framed = true,
     .failure = "VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed %d",
     .sample = {},
     .success = nullptr},
    {.function = "sess_stat_get",
     .perform = WITH_RECORD(SESS_STAT, sess_stat_get),
     .has_record = true,
     .code = GET,
     .id = 6,
     .size = 100,
     .map = READABLE,
     .asks_for_tag = false,
     .framed = false,
     .failure = "HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=%d)",
     .sample = {},
     .success = nullptr},
    {.function = "sess_stat_reset",
     .perform = sess_stat_reset,
     .has_record = false,
     .code = SET,
     .id = 6,
     .size = 0,
     .map = WRITABLE,
     .asks_for_tag = false,
     .framed = true,
     .failure = "VESK_HALDO_HCC_IOCTL_HMI_VAR_SET ioctl failed %d",
     .sample = {},
     .success = nullptr},
    {.function = "unicode_set",
     .perform = unicode_set,
     .has_record = false,
     .code = SET,
     .id = 12,
     .size = 4,
     .map = WRITABLE,
     .asks_for_tag = false,
     .framed = false,
     .failure = "HCC_IOCTL_HMI_VAR_SET ioctl failed (ret=%d)",
     .sample = {2, 0, 0, 0},
     .success = "enable=2"},
    {.function = "sess_link_get",
     .perform = WITH_RECORD(SESS_LINK, sess_link_get),
     .has_record = true,
     .code = GET,
     .id = 3,
     .size = 40,
     .map = READABLE,
     .asks_for_tag = false,
     .framed = false,
     .failure = "VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed %d",
     .sample = {},
     .success = nullptr},
    {.function = "sess_tag_get",
     .perform = WITH_RECORD(SESS_TAG, sess_tag_get),
     .has_record = true,
     .code = GET,
     .id = 4,
     .size = 244,
     .map = NO_MAP,
     .asks_for_tag = false,
     .framed = false,
     .failure = "HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=%d)",
     .sample = {0x0A, 1, 2, 3, 't', 'a', 'g', 's', 0},
     .success = "session tag get: flags=0x0A, length tag=4"},
    {.function = "sess_tag_set",
     .perform = WITH_RECORD(SESS_TAG, sess_tag_set),
     .has_record = true,
     .code = SET,
     .id = 4,
     .size = 244,
     .map = WRITABLE,
     .asks_for_tag = false,
     .framed = false,
     .failure = "VESK_HALDO_HCC_IOCTL_HMI_VAR_SET ioctl failed %d",
     .sample = {0xFB, 1, 2, 3, 't', 'a', 'g', 0},
     .success = "session tag set: flags=0xFB, length tag=3"},
    {.function = "wol_cfg_get",
     .perform = WITH_RECORD(WOL_CFG, wol_cfg_get),
     .has_record = true,
     .code = GET,
     .id = 8,
     .size = 40,
     .map = READABLE,
     .asks_for_tag = true,
     .framed = false,
     .failure = "HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=%d)",
     .sample = wol_sample(),
     .success = "flags=0xA5, IP=192.168.100.200, MAC=00:11:22:33:44:55"},
    {.function = "wol_cfg_set",
     .perform = WITH_RECORD(WOL_CFG, wol_cfg_set),
     .has_record = true,
     .code = SET,
     .id = 8,
     .size = 40,
     .map = READABLE, // what can be read can be set
     .asks_for_tag = true,
     .framed = false,
     .failure = "HCC_IOCTL_HMI_VAR_SET ioctl failed (ret=%d)",
     .sample = wol_sample(),
     .success = "flags=0xA5, IP=192.168.100.200, MAC=00:11:22:33:44:55"},
};

static const auto name_of = [](const auto& info) { return info.param.function; };

static std::vector<variable_operation> operations_that(bool (*condition)(const variable_operation&))
{
    std::vector<variable_operation> result;
    std::ranges::copy_if(operations, std::back_inserter(result), condition);
    return result;
}

// Helpers of an operation's tests.
class of_variable : public testing::TestWithParam<variable_operation>
{
protected:
    const variable_operation& op = GetParam();

    bool reads() const { return op.code == GET; }

    bytes sample() const
    {
        bytes payload = random_bytes(op.size);
        std::ranges::copy(op.sample, payload.begin());
        return payload;
    }

    std::string line(char level, std::string text) const { return std::string(op.function) + " " + level + " " + text; }

    std::string failure(int result) const
    {
        std::string text = op.failure;
        return line('E', text.replace(text.find("%d"), 2, std::to_string(result)));
    }

    lines framed(lines all) const
    {
        if (op.framed) {
            all.insert(all.begin(), line('D', "start"));
            all.push_back(line('D', "end"));
        }
        return all;
    }

    // What makes the operation available.
    void offer_it(visible_link& link) const
    {
        if (op.map != NO_MAP)
            offer(link, op.map, op.id);
    }

    // The request for a session tag that says nothing of a broker, and the line that it gives.
    void expect_tag(host& h) const
    {
        if (op.asks_for_tag)
            h.expect_ioctl(HCC, GET, request_for(4), reply_with(joined({0x02, 9, 9, 9}, text_in(240, "tag"))));
    }
    lines tag_line() const
    {
        return op.asks_for_tag ? lines{"sess_tag_get D session tag get: flags=0x02, length tag=3"} : lines();
    }

    // A call with this record, on the heap, where its end is watched. What has become of it stays in the record.
    int perform(visible_link& link, bytes& record) const
    {
        auto own = std::make_unique<std::uint8_t[]>(record.size());
        std::ranges::copy(record, own.get());
        const int result = op.perform(link, own.get());
        std::copy_n(own.get(), record.size(), record.begin());
        return result;
    }
};

class every_operation : public of_variable
{
};
class operation_with_record : public of_variable
{
};
class guarded_operation : public of_variable
{
};
class reading_operation : public of_variable
{
};
class writing_operation : public of_variable
{
};
INSTANTIATE_TEST_SUITE_P(of, every_operation, testing::ValuesIn(operations), name_of);
INSTANTIATE_TEST_SUITE_P(of, operation_with_record,
                         testing::ValuesIn(operations_that([](const auto& op) { return op.has_record; })), name_of);
INSTANTIATE_TEST_SUITE_P(of, guarded_operation,
                         testing::ValuesIn(operations_that([](const auto& op) { return op.map != NO_MAP; })), name_of);
INSTANTIATE_TEST_SUITE_P(of, reading_operation,
                         testing::ValuesIn(operations_that([](const auto& op) { return op.code == GET; })), name_of);
INSTANTIATE_TEST_SUITE_P(of, writing_operation,
                         testing::ValuesIn(operations_that([](const auto& op) { return op.code == SET; })), name_of);

TEST_P(operation_with_record, refuses_a_null_one_available_or_not)
{
    for (const std::uint32_t offered : {0u, 0xFFFFFFFFu}) {
        expect_lines_by_level(framed({line('E', "invalid arguments")}), [&](host&, visible_link& link) {
            std::ranges::fill(link.hmi_avail_get_var.map, offered);
            std::ranges::fill(link.hmi_avail_set_var.map, offered);
            EXPECT_EQ(op.perform(link, nullptr), -501);
        });
    }
}

TEST_P(operation_with_record, refuses_a_null_one_before_the_closed_device)
{
    expect_lines_by_level<closed_link>(framed({line('E', "invalid arguments")}), [&](host&, visible_link& link) {
        offer_it(link);
        EXPECT_EQ(op.perform(link, nullptr), -501);
    });
}

TEST_P(guarded_operation, sends_nothing_when_everything_but_its_variable_is_offered)
{
    expect_lines_by_level(framed({line('E', "not supported")}), [&](host&, visible_link& link) {
        std::ranges::fill(link.hmi_avail_cmd.map, 0xFFFFFFFF);
        std::ranges::fill(link.hmi_avail_get_var.map, 0xFFFFFFFF);
        std::ranges::fill(link.hmi_avail_set_var.map, 0xFFFFFFFF);
        (link.*op.map).map[0] &= ~(1u << op.id);
        const bytes before = random_bytes(op.size);
        bytes record = before;
        EXPECT_EQ(perform(link, record), -511);
        EXPECT_EQ(record, before);
    });
}

TEST_P(guarded_operation, is_not_supported_on_a_closed_device_that_offers_nothing)
{
    expect_lines_by_level<closed_link>(framed({line('E', "not supported")}), [&](host&, visible_link& link) {
        bytes record = random_bytes(op.size);
        EXPECT_EQ(perform(link, record), -511);
    });
}

TEST_P(every_operation, is_available_by_exactly_its_own_bit)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_OFF;
    for (const map_member map : MAPS) {
        for (unsigned int bit = 0; bit < 256; ++bit) {
            link->hmi_avail_cmd_reset();
            offer(*link, map, bit);
            bytes record = random_bytes(op.size);
            const bool available = op.map == NO_MAP || (op.map == map && op.id == bit);
            if (available) {
                expect_tag(h);
                h.expect_ioctl(HCC, op.code, request_for(op.id, reads() ? bytes() : record));
            }
            EXPECT_EQ(perform(*link, record), available ? 0 : -511) << "bit " << bit;
        }
    }
}

TEST_P(reading_operation, asks_with_a_clear_record_and_copies_its_payload)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_OFF;
    offer_it(*link);
    const bytes payload = random_bytes(op.size);
    expect_tag(h);
    h.expect_ioctl(HCC, op.code, request_for(op.id), reply_with(payload));
    bytes record = random_bytes(op.size);
    EXPECT_EQ(perform(*link, record), 0);
    EXPECT_EQ(record, payload);
}

TEST_P(writing_operation, sends_its_payload_in_a_clear_record_and_takes_nothing_back)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_OFF;
    offer_it(*link);
    const bytes payload = random_bytes(op.size);
    expect_tag(h);
    h.expect_ioctl(HCC, op.code, request_for(op.id, payload), random_bytes(252));
    bytes record = payload;
    EXPECT_EQ(perform(*link, record), 0);
    EXPECT_EQ(record, payload);
}

TEST_P(every_operation, writes_its_lines_when_it_succeeds)
{
    lines all = tag_line();
    if (op.success != nullptr)
        all.push_back(line('D', op.success));
    expect_lines_by_level(framed(all), [&](host& h, visible_link& link) {
        const bytes payload = sample();
        offer_it(link);
        expect_tag(h);
        h.expect_ioctl(HCC, op.code, request_for(op.id, reads() ? bytes() : payload),
                       reads() ? reply_with(payload) : random_bytes(252));
        bytes record = reads() ? random_bytes(op.size) : payload;
        EXPECT_EQ(perform(link, record), 0);
        EXPECT_EQ(record, payload);
    });
}

TEST_P(every_operation, takes_a_positive_value_of_the_driver_for_success)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_OFF;
    offer_it(*link);
    const bytes payload = random_bytes(op.size);
    expect_tag(h);
    h.expect_ioctl(HCC, op.code, request_for(op.id, reads() ? bytes() : payload), reply_with(payload), 1);
    bytes record = payload;
    EXPECT_EQ(perform(*link, record), 0);
    EXPECT_EQ(record, payload);
}

TEST_P(every_operation, returns_the_failure_of_its_request_and_leaves_the_record)
{
    char rejected[64];
    std::snprintf(rejected, sizeof(rejected), "synch_ioctl E ioctl 0x%08X failed (rv=-1)", op.code);
    lines all = tag_line();
    all.insert(all.end(), {rejected, failure(-500)});
    expect_lines_by_level(framed(all), [&](host& h, visible_link& link) {
        offer_it(link);
        const bytes before = random_bytes(op.size);
        bytes record = before;
        expect_tag(h);
        h.expect_ioctl(HCC, op.code, request_for(op.id, reads() ? bytes() : before), {}, -1);
        EXPECT_EQ(perform(link, record), -500);
        EXPECT_EQ(record, before);
    });
}

TEST_P(every_operation, returns_the_code_of_a_closed_device_and_leaves_the_record)
{
    lines all;
    if (op.asks_for_tag) {
        all = {"synch_ioctl E not m_initialized",
               "sess_tag_get E HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=-503)"}; // counts as not brokered
    }
    all.insert(all.end(), {"synch_ioctl E not m_initialized", failure(-503)});
    expect_lines_by_level<closed_link>(framed(all), [&](host&, visible_link& link) {
        offer_it(link);
        const bytes before = random_bytes(op.size);
        bytes record = before;
        EXPECT_EQ(perform(link, record), -503);
        EXPECT_EQ(record, before);
    });
}

TEST_P(every_operation, changes_nothing_of_the_link)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_OFF;
    offer_it(*link);
    std::memset(&link->kmp_pri_ctxt, 0xFF, sizeof(link->kmp_pri_ctxt));
    link->kmp_pri_ctxt_valid = 1;
    const bytes readable = bytes_of(link->hmi_avail_get_var);
    const bytes writable = bytes_of(link->hmi_avail_set_var);
    for (const int driver_result : {0, -EIO}) {
        h.serve_ioctl([&](int, std::uint32_t, void* record) {
            std::memset(record, 0x5A, 252);
            return driver_result;
        });
        bytes record = random_bytes(op.size);
        perform(*link, record);
        EXPECT_EQ(bytes_of(link->kmp_pri_ctxt), bytes(292, 0xFF));
        EXPECT_EQ(link->kmp_pri_ctxt_valid, 1u);
        EXPECT_EQ(bytes_of(link->hmi_avail_get_var), readable);
        EXPECT_EQ(bytes_of(link->hmi_avail_set_var), writable);
        EXPECT_EQ(bytes_of(link->hmi_avail_cmd), zero_filled(32));
        EXPECT_EQ(link->started, 0u);
        EXPECT_EQ(link->bmp_cache_cnt, 0);
    }
}

// --- Network and statistics ---

TEST(conn_port_get, frames_the_refusal_of_a_null_pointer)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_DEBUG;
    EXPECT_EQ(link->conn_port_get(nullptr), -501);
    EXPECT_EQ(h.log(), (lines{"conn_port_get D start", "conn_port_get E invalid arguments", "conn_port_get D end"}));
    m_log_level = VESK_LOG_OFF;
}

TEST(conn_port_get, gives_the_port_lowest_byte_first)
{
    host h;
    constructed_link link(h);
    offer(*link, READABLE, 5);
    h.expect_ioctl(HCC, GET, request_for(5), reply_with({0x52, 0x10, 0x03, 0xF0}));
    sVESK_HALDO_HCC_APDU_HMI_VAR_CONN_PORT_STRUCT port;
    EXPECT_EQ(link->conn_port_get(&port), 0);
    EXPECT_EQ(port.port, 0xF0031052u);
}

TEST(sess_stat, that_can_only_be_read_is_not_reset)
{
    host h;
    constructed_link link(h);
    offer(*link, READABLE, 6);
    EXPECT_EQ(link->sess_stat_reset(), -511);
    const bytes statistics = random_bytes(100);
    h.expect_ioctl(HCC, GET, request_for(6), reply_with(statistics));
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_STAT_STRUCT record;
    EXPECT_EQ(link->sess_stat_get(&record), 0);
    EXPECT_EQ(bytes_of(record), statistics);
    EXPECT_EQ(h.log(), (lines{"sess_stat_reset E not supported"}));
}

TEST(sess_stat, that_can_only_be_reset_is_not_read)
{
    host h;
    constructed_link link(h);
    offer(*link, WRITABLE, 6);
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_STAT_STRUCT record;
    EXPECT_EQ(link->sess_stat_get(&record), -511);
    h.expect_ioctl(HCC, SET, request_for(6));
    EXPECT_EQ(link->sess_stat_reset(), 0);
    EXPECT_EQ(h.log(), (lines{"sess_stat_get E not supported"}));
}

TEST(unicode_set, sends_any_value_as_it_is)
{
    const struct {
        unsigned int enable;
        bytes payload;
        const char* written;
    } cases[] = {
        {0, {0, 0, 0, 0}, "unicode_set D enable=0"},
        {1, {1, 0, 0, 0}, "unicode_set D enable=1"},
        {2, {2, 0, 0, 0}, "unicode_set D enable=2"},
        {0x12345678, {0x78, 0x56, 0x34, 0x12}, "unicode_set D enable=305419896"},
        {0x80000000, {0, 0, 0, 0x80}, "unicode_set D enable=-2147483648"},
        {0xFFFFFFFF, {0xFF, 0xFF, 0xFF, 0xFF}, "unicode_set D enable=-1"},
    };
    for (const auto& c : cases) {
        expect_lines_by_level({c.written}, [&](host& h, visible_link& link) {
            offer(link, WRITABLE, 12);
            h.expect_ioctl(HCC, SET, request_for(12, c.payload), random_bytes(252));
            EXPECT_EQ(link.unicode_set(c.enable), 0);
        });
    }
}

// --- Local information ---

TEST(local_info_get, refuses_a_null_pointer)
{
    expect_lines_by_level({"local_info_get E invalid arguments"},
                          [](host&, visible_link& link) { EXPECT_EQ(link.local_info_get(nullptr), -501); });
    expect_lines_by_level<closed_link>({"local_info_get E invalid arguments"}, [](host&, visible_link& link) {
        EXPECT_EQ(link.local_info_get(nullptr), -501);
    });
}

TEST(local_info_get, gives_the_second_word_of_the_reply_without_a_line_and_whatever_is_offered)
{
    expect_lines_by_level({}, [](host& h, visible_link& link) {
        h.expect_ioctl(HCC, LOCAL_GET, {1, 0, 0, 0, 0, 0, 0, 0}, joined(random_bytes(4), {0xEF, 0xBE, 0xAD, 0xDE}));
        unsigned int value = 0x11111111;
        EXPECT_EQ(link.local_info_get(&value), 0);
        EXPECT_EQ(value, 0xDEADBEEFu);
    });
}

TEST(local_info_get, leaves_the_word_when_the_request_fails)
{
    expect_lines_by_level({"synch_ioctl E ioctl 0x00007804 failed (rv=-1)",
                           "local_info_get E HCC_IOCTL_HMI_LOCAL_VAR_GET ioctl failed (ret=-500)"},
                          [](host& h, visible_link& link) {
                              h.expect_ioctl(HCC, LOCAL_GET, {1, 0, 0, 0, 0, 0, 0, 0}, {}, -1);
                              unsigned int value = 0x11111111;
                              EXPECT_EQ(link.local_info_get(&value), -500);
                              EXPECT_EQ(value, 0x11111111u);
                          });
}

TEST(local_info_get, leaves_the_word_on_a_closed_device)
{
    expect_lines_by_level<closed_link>(
        {"synch_ioctl E not m_initialized", "local_info_get E HCC_IOCTL_HMI_LOCAL_VAR_GET ioctl failed (ret=-503)"},
        [](host&, visible_link& link) {
            unsigned int value = 0x11111111;
            EXPECT_EQ(link.local_info_get(&value), -503);
            EXPECT_EQ(value, 0x11111111u);
        });
}

// --- Session tag ---

using tag_record = sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT;

TEST(sess_tag, is_measured_up_to_the_end_of_its_member)
{
    const struct {
        std::size_t length;
        const char* read;
        const char* written;
    } cases[] = {
        {0, "sess_tag_get D session tag get: flags=0x00, length tag=0",
         "sess_tag_set D session tag set: flags=0x00, length tag=0"},
        {239, "sess_tag_get D session tag get: flags=0x00, length tag=239",
         "sess_tag_set D session tag set: flags=0x00, length tag=239"},
        {240, "sess_tag_get D session tag get: flags=0x00, length tag=240",
         "sess_tag_set D session tag set: flags=0x00, length tag=240"},
    };
    for (const auto& c : cases) {
        expect_lines_by_level({c.read, c.written}, [&](host& h, visible_link& link) {
            const bytes payload = joined({0, 0xFF, 0xFF, 0xFF}, text_in(240, std::string(c.length, 'x')));
            offer(link, WRITABLE, 4);
            h.expect_ioctl(HCC, GET, request_for(4), joined({4, 0, 0, 0}, joined(payload, {'y', 'y', 'y', 'y'})));
            const auto tag = std::make_unique<tag_record>(); // on the heap, where its end is watched
            EXPECT_EQ(link.sess_tag_get(tag.get()), 0);
            EXPECT_EQ(bytes_of(*tag), payload);
            h.expect_ioctl(HCC, SET, request_for(4, payload));
            EXPECT_EQ(link.sess_tag_set(tag.get()), 0);
        });
    }
}

TEST(sess_tag, carries_flags_and_reserved_bytes_as_the_caller_left_them)
{
    host h;
    constructed_link link(h);
    offer(*link, WRITABLE, 4);
    tag_record tag = {.flags = 0xFE, .reserved = {0x11, 0x22, 0x33}, .tag = "abc"};
    h.expect_ioctl(HCC, SET, request_for(4, {0xFE, 0x11, 0x22, 0x33, 'a', 'b', 'c'}));
    EXPECT_EQ(link->sess_tag_set(&tag), 0);
}

TEST(is_sess_view_brokered, is_bit_0_of_the_flags_and_one_request_each_time)
{
    const struct {
        std::uint8_t flags;
        int brokered;
        const char* written;
    } cases[] = {
        {0x00, 0, "sess_tag_get D session tag get: flags=0x00, length tag=240"},
        {0x01, 1, "sess_tag_get D session tag get: flags=0x01, length tag=240"},
        {0x02, 0, "sess_tag_get D session tag get: flags=0x02, length tag=240"},
        {0x03, 1, "sess_tag_get D session tag get: flags=0x03, length tag=240"},
        {0xFE, 0, "sess_tag_get D session tag get: flags=0xFE, length tag=240"},
        {0xFF, 1, "sess_tag_get D session tag get: flags=0xFF, length tag=240"},
    };
    for (const auto& c : cases) {
        expect_lines_by_level({c.written, c.written}, [&](host& h, visible_link& link) {
            for (int i = 0; i < 2; ++i) {
                h.expect_ioctl(HCC, GET, request_for(4), joined({4, 0, 0, 0, c.flags}, bytes(247, 0xFF)));
                EXPECT_EQ(link.is_sess_view_brokered(), c.brokered);
            }
        });
    }
}

TEST(is_sess_view_brokered, is_0_when_the_tag_cannot_be_read)
{
    expect_lines_by_level({"synch_ioctl E ioctl 0x00007802 failed (rv=-1)",
                           "sess_tag_get E HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=-500)"},
                          [](host& h, visible_link& link) {
                              h.serve_ioctl([](int, std::uint32_t, void* record) {
                                  std::memset(record, 0xFF, 252); // a reply that must not be believed
                                  return -EIO;
                              });
                              EXPECT_EQ(link.is_sess_view_brokered(), 0);
                          });
    expect_lines_by_level<closed_link>(
        {"synch_ioctl E not m_initialized", "sess_tag_get E HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=-503)"},
        [](host&, visible_link& link) { EXPECT_EQ(link.is_sess_view_brokered(), 0); });
}

// --- Wake-on-LAN ---

using wol_record = sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT;

static const struct wol_operation {
    const char* function;
    int (cVESK_HALDO_LINK::*perform)(wol_record*);
    std::uint32_t code;
} wol_operations[] = {
    {"wol_cfg_get", &cVESK_HALDO_LINK::wol_cfg_get, GET},
    {"wol_cfg_set", &cVESK_HALDO_LINK::wol_cfg_set, SET},
};

static const struct wol_predicate {
    int (cVESK_HALDO_LINK::*available)();
    map_member map;
} wol_predicates[] = {
    {&cVESK_HALDO_LINK::wol_cfg_get_avail, READABLE},
    {&cVESK_HALDO_LINK::wol_cfg_set_avail, WRITABLE},
};

static bytes tag_reply(std::uint8_t flags)
{
    return reply_with(joined({flags, 0xFF, 0xFF, 0xFF}, text_in(240, "broker")));
}

TEST(wol_cfg, is_available_by_bit_8_of_its_map_and_asks_nothing_without_it)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_OFF;
    for (const wol_predicate& predicate : wol_predicates) {
        for (const map_member map : MAPS) {
            for (unsigned int bit = 0; bit < 256; ++bit) {
                link->hmi_avail_cmd_reset();
                offer(*link, map, bit);
                const bool available = predicate.map == map && bit == 8;
                if (available)
                    h.expect_ioctl(HCC, GET, request_for(4), tag_reply(0));
                EXPECT_EQ(((*link).*predicate.available)(), available ? 0 : -511) << "bit " << bit;
            }
        }
    }
}

TEST(wol_cfg, is_not_available_while_the_view_is_brokered)
{
    for (const wol_predicate& predicate : wol_predicates) {
        for (const std::uint8_t flags : {0x00, 0x01, 0x02, 0x03}) {
            host h;
            constructed_link link(h);
            offer(*link, predicate.map, 8);
            h.expect_ioctl(HCC, GET, request_for(4), tag_reply(flags));
            EXPECT_EQ(((*link).*predicate.available)(), (flags & 1) != 0 ? -511 : 0);
            EXPECT_EQ(h.log(), lines());
        }
    }
}

TEST(wol_cfg, is_available_when_the_tag_cannot_be_read)
{
    for (const wol_predicate& predicate : wol_predicates) {
        expect_lines_by_level({"synch_ioctl E ioctl 0x00007802 failed (rv=-1)",
                               "sess_tag_get E HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=-500)"},
                              [&](host& h, visible_link& link) {
                                  offer(link, predicate.map, 8);
                                  h.expect_ioctl(HCC, GET, request_for(4), {}, -1);
                                  EXPECT_EQ((link.*predicate.available)(), 0);
                              });
    }
}

TEST(wol_cfg, is_neither_read_nor_set_while_the_view_is_brokered)
{
    for (const wol_operation& op : wol_operations) {
        for (const std::uint8_t flags : {0x01, 0x03}) {
            const std::string tag_line =
                std::string("sess_tag_get D session tag get: flags=0x0") + (flags == 1 ? "1" : "3") + ", length tag=6";
            expect_lines_by_level({tag_line, std::string(op.function) + " E not supported"},
                                  [&](host& h, visible_link& link) {
                                      offer(link, READABLE, 8);
                                      offer(link, WRITABLE, 8);
                                      const bytes before = random_bytes(40);
                                      auto cfg = record_of<wol_record>(before);
                                      h.expect_ioctl(HCC, GET, request_for(4), tag_reply(flags));
                                      EXPECT_EQ((link.*op.perform)(&cfg), -511);
                                      EXPECT_EQ(bytes_of(cfg), before);
                                  });
        }
    }
}

TEST(wol_cfg, is_read_and_set_when_the_tag_cannot_be_read)
{
    for (const wol_operation& op : wol_operations) {
        expect_lines_by_level(
            {"synch_ioctl E ioctl 0x00007802 failed (rv=-1)",
             "sess_tag_get E HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=-500)",
             std::string(op.function) + " D flags=0x00, IP=1.2.3.4, MAC=m"},
            [&](host& h, visible_link& link) {
                offer(link, READABLE, 8);
                const bytes payload = joined({0, 0, 0, 0}, joined(text_in(20, "m"), text_in(16, "1.2.3.4")));
                h.expect_ioctl(HCC, GET, request_for(4), {}, -1);
                h.expect_ioctl(HCC, op.code, request_for(8, op.code == SET ? payload : bytes()), reply_with(payload));
                auto cfg = record_of<wol_record>(payload);
                EXPECT_EQ((link.*op.perform)(&cfg), 0);
                EXPECT_EQ(bytes_of(cfg), payload);
            });
    }
}

TEST(wol_cfg, that_can_only_be_written_is_neither_read_nor_set)
{
    for (const wol_operation& op : wol_operations) {
        expect_lines_by_level({std::string(op.function) + " E not supported"}, [&](host&, visible_link& link) {
            offer(link, WRITABLE, 8);
            wol_record cfg{};
            EXPECT_EQ((link.*op.perform)(&cfg), -511);
        });
    }
}

TEST(wol_cfg, prints_texts_up_to_the_end_of_their_members)
{
    for (const wol_operation& op : wol_operations) {
        expect_lines_by_level(
            {"sess_tag_get D session tag get: flags=0x00, length tag=6",
             std::string(op.function) + " D flags=0xFF, IP=iiiiiiiiiiiiiiii, MAC=mmmmmmmmmmmmmmmmmmmm"},
            [&](host& h, visible_link& link) {
                offer(link, READABLE, 8);
                const bytes payload = joined({0xFF, 'f', 'f', 'f'}, joined(bytes(20, 'm'), bytes(16, 'i')));
                h.expect_ioctl(HCC, GET, request_for(4), tag_reply(0));
                h.expect_ioctl(HCC, op.code, request_for(8, op.code == SET ? payload : bytes()),
                               joined({8, 0, 0, 0}, joined(payload, bytes(208, 'z'))));
                // On the heap, where its end is watched.
                const auto cfg = std::make_unique<wol_record>(record_of<wol_record>(payload));
                EXPECT_EQ((link.*op.perform)(cfg.get()), 0);
                EXPECT_EQ(bytes_of(*cfg), payload);
            });
    }
}
