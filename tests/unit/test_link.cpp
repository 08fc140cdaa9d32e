// The life of the link and the capability maps.
#include "link.h"
#include "vesk_log.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <gtest/gtest.h>
#include <memory>
#include <new>

static constexpr const char* ASTERISKS = "***************************************";

// A map of 32 bytes whose first word has these bytes, the lowest first, and whose others are random.
static bytes map_with(const bytes& first_word)
{
    bytes map = random_bytes(32);
    std::ranges::copy(first_word, map.begin());
    return map;
}

// --- Construction ---

static const lines construction_with_both_nodes = {
    "cVESK_DEV D start",
    "cVESK_DEV D end",
    "cVESK_DEV D start",
    "cVESK_DEV D end",
    "cVESK_HALDO_LINK D start",
    "init D start",
    "init D end",
    "cVESK_HALDO_LINK D successfully opened Haldo HCC object",
    "init D start",
    "init D end",
    "cVESK_HALDO_LINK D successfully opened Haldo HDC object",
    "hmi_avail_cmd_get D ***************************************",
    "hmi_avail_cmd_get D hmi_avail_cmd.map[0] '0x00000000'",
    "hmi_avail_cmd_get D ***************************************",
    "cVESK_HALDO_LINK D end",
};

static const lines destruction = {
    "~cVESK_HALDO_LINK D start", "~cVESK_HALDO_LINK D end", "~cVESK_DEV D start",
    "~cVESK_DEV D end",          "~cVESK_DEV D start",      "~cVESK_DEV D end",
};

TEST(link_constructor, opens_both_nodes_and_reads_what_the_firmware_offers)
{
    expect_lines_by_level(destruction, [](host& h) {
        expect_link_constructed(h);
        const visible_link link;
        EXPECT_EQ(h.log(), at_level(m_log_level, construction_with_both_nodes)) << "at level " << m_log_level;
        expect_nodes_closed(h);
    });
}

TEST(link_constructor, completes_with_neither_node_present)
{
    const lines all = {
        "cVESK_DEV D start",
        "cVESK_DEV D end",
        "cVESK_DEV D start",
        "cVESK_DEV D end",
        "cVESK_HALDO_LINK D start",
        "init D start",
        "init D end",
        "cVESK_HALDO_LINK E failed to initialize Haldo HCC device object (ret=-510)",
        "init D start",
        "init D end",
        "cVESK_HALDO_LINK E failed to initialize Haldo HDC device object (ret=-510)",
        "synch_ioctl E not m_initialized",
        "hmi_avail_cmd_get E failed to get available HMI commands",
        "cVESK_HALDO_LINK D end",
        "is_ready D m_initialized = 0, m_ready = 0",
    };
    expect_lines_by_level(destruction, [&](host& h) {
        expect_nodes_opened(h, ENOENT, ENOENT);
        const visible_link link;
        EXPECT_FALSE(link.is_ready());
        EXPECT_EQ(h.log(), at_level(m_log_level, all)) << "at level " << m_log_level;
    });
}

TEST(link_constructor, reads_the_offers_without_the_driver_channel)
{
    host h;
    expect_nodes_opened(h, 0, EACCES);
    const bytes offers = map_with({0x01, 0, 0, 0});
    h.expect_ioctl(HCC, 0x7801, zero_filled(32), offers);
    const visible_link link;
    EXPECT_EQ(bytes_of(link.hmi_avail_cmd), offers);
    EXPECT_EQ(h.log(), (lines{"cVESK_HALDO_LINK E failed to initialize Haldo HDC device object (ret=-510)"}));
    m_log_level = VESK_LOG_DEBUG;
    EXPECT_FALSE(link.is_ready());
    EXPECT_EQ(h.log(),
              (lines{"is_ready D m_initialized = 1, m_ready = 1", "is_ready D m_initialized = 0, m_ready = 0"}));
    m_log_level = VESK_LOG_INFO;
    expect_nodes_closed(h, false);
}

TEST(link_constructor, opens_the_driver_channel_without_the_control_channel)
{
    host h;
    expect_nodes_opened(h, ENOENT, 0);
    const visible_link link;
    EXPECT_EQ(h.log(),
              (lines{"cVESK_HALDO_LINK E failed to initialize Haldo HCC device object (ret=-510)",
                     "synch_ioctl E not m_initialized", "hmi_avail_cmd_get E failed to get available HMI commands"}));
    m_log_level = VESK_LOG_DEBUG;
    EXPECT_FALSE(link.is_ready());
    EXPECT_EQ(h.log(), (lines{"is_ready D m_initialized = 0, m_ready = 0"}));
    m_log_level = VESK_LOG_INFO;
    h.expect("close 4");
}

TEST(link_constructor, leaves_no_member_as_it_found_it_in_memory)
{
    host h;
    expect_nodes_opened(h);
    h.expect_ioctl(HCC, 0x7801, zero_filled(32), {}, -1);
    const bytes garbage = random_bytes(sizeof(visible_link));
    void* memory = ::operator new(sizeof(visible_link));
    std::memcpy(memory, garbage.data(), garbage.size());
    asm volatile("" ::"r"(memory) : "memory");
    auto* link = new (memory) visible_link;

    EXPECT_EQ(link->started, 0u);
    EXPECT_EQ(bytes_of(link->hmi_avail_cmd), zero_filled(32));
    EXPECT_EQ(bytes_of(link->hmi_avail_get_var), zero_filled(32));
    EXPECT_EQ(bytes_of(link->hmi_avail_set_var), zero_filled(32));
    EXPECT_EQ(bytes_of(link->kmp_pri_ctxt), zero_filled(292));
    EXPECT_EQ(link->kmp_pri_ctxt_valid, 0u);
    EXPECT_EQ(link->bmp_cache_cnt, 0);
    EXPECT_EQ(link->bmp_cache_last, 0);
    ASSERT_EQ(std::size(link->bmp_cache), 16u);
    for (const bmp_cache_entry& entry : link->bmp_cache) {
        EXPECT_EQ(entry.bitmap_type, 0);
        EXPECT_EQ(entry.shape_arg1, 0);
        EXPECT_EQ(entry.shape_arg2, 0);
        EXPECT_EQ(entry.width, 0);
        EXPECT_EQ(entry.height, 0);
        EXPECT_EQ(entry.and_depth, 0);
        EXPECT_EQ(entry.xor_depth, 0);
        EXPECT_EQ(entry.data, nullptr);
        EXPECT_EQ(entry.len, 0u);
    }

    expect_nodes_closed(h);
    link->~visible_link();
    ::operator delete(memory);
}

TEST(link_constructor, keeps_what_the_firmware_offers)
{
    host h;
    const bytes commands = map_with({0x07, 0, 0, 0});
    const bytes readable = random_bytes(32);
    const bytes writable = random_bytes(32);
    expect_nodes_opened(h);
    h.expect_ioctl(HCC, 0x7801, zero_filled(32), commands);
    h.expect_ioctl(HCC, 0x7802, zero_filled(252), reply_with(readable));
    h.expect_ioctl(HCC, 0x7803, zero_filled(252), reply_with(writable));
    const visible_link link;
    EXPECT_EQ(bytes_of(link.hmi_avail_cmd), commands);
    EXPECT_EQ(bytes_of(link.hmi_avail_get_var), readable);
    EXPECT_EQ(bytes_of(link.hmi_avail_set_var), writable);
    EXPECT_EQ(h.log(), lines());
    expect_nodes_closed(h);
}

// --- start, stop, is_ready, destruction ---

// The two requests that close the path.
static void expect_stop(host& h)
{
    h.expect_ioctl(HCC, 0x7821, {1, 0, 0, 0, 0, 0, 0, 0});
    h.expect_ioctl(HDC, 0x7901, {});
}

TEST(link_start, marks_the_link_and_sends_nothing)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_DEBUG;
    EXPECT_EQ(link->start(), 0);
    EXPECT_EQ(link->started, 1u);
    EXPECT_EQ(h.log(), lines());
}

TEST(link_start, twice_is_logged_and_changes_nothing)
{
    expect_lines_by_level({"start E already started"}, [](host&, visible_link& link) {
        EXPECT_EQ(link.start(), 0);
        EXPECT_EQ(link.start(), 0);
        EXPECT_EQ(link.started, 1u);
    });
}

TEST(link_stop, closes_the_path_of_a_started_link_once)
{
    host h;
    constructed_link link(h);
    EXPECT_EQ(link->start(), 0);
    EXPECT_EQ(link->start(), 0);
    EXPECT_EQ(h.log(), (lines{"start E already started"}));
    expect_stop(h);
    link->stop();
    EXPECT_EQ(link->started, 0u);
    link->stop();
    EXPECT_EQ(link->started, 0u);
    EXPECT_EQ(h.log(), lines());
}

TEST(link_stop, writes_its_lines_around_those_of_the_path)
{
    const lines all = {
        "stop D start",
        "hdc_close D VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL okay",
        "hdc_close D VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE okay",
        "stop D end",
    };
    expect_lines_by_level(all, [&](host& h, visible_link& link) {
        link.start();
        expect_stop(h);
        link.stop();
    });
}

TEST(link_stop, does_nothing_but_its_two_lines_without_start)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_DEBUG;
    link->stop();
    EXPECT_EQ(h.log(), (lines{"stop D start", "stop D end"}));
}

TEST(link_stop, marks_the_link_stopped_even_when_the_path_does_not_close)
{
    host h;
    constructed_link link(h);
    link->start();
    h.expect_ioctl(HCC, 0x7821, {1, 0, 0, 0, 0, 0, 0, 0}, {}, -1);
    h.expect_ioctl(HDC, 0x7901, {}, {}, -1);
    link->stop();
    EXPECT_EQ(link->started, 0u);
}

TEST(link_stop, can_be_followed_by_another_start)
{
    host h;
    constructed_link link(h);
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(link->start(), 0);
        expect_stop(h);
        link->stop();
    }
    EXPECT_EQ(h.log(), lines());
}

TEST(link, makes_requests_whether_it_is_started_or_not)
{
    host h;
    constructed_link link(h);
    h.expect_ioctl(HCC, 0x7821, {1, 0, 0, 0, 1, 0, 0, 0});
    h.expect_ioctl(HDC, 0x7900, {});
    EXPECT_EQ(link->hdc_open(), 0);
    link->start();
    expect_stop(h);
    link->stop();
    expect_stop(h);
    EXPECT_EQ(link->hdc_close(), 0);
}

TEST(link_is_ready, is_true_when_both_channels_are)
{
    host h;
    constructed_link link(h);
    EXPECT_TRUE(link->is_ready());
    EXPECT_EQ(h.log(), lines());
    m_log_level = VESK_LOG_DEBUG;
    EXPECT_TRUE(link->is_ready());
    EXPECT_EQ(h.log(),
              (lines{"is_ready D m_initialized = 1, m_ready = 1", "is_ready D m_initialized = 1, m_ready = 1"}));
}

TEST(link_destructor, leaves_the_path_of_a_started_link_to_the_driver)
{
    host h;
    expect_link_constructed(h);
    {
        visible_link link;
        link.start();
        m_log_level = VESK_LOG_DEBUG;
        h.raw_log();
        expect_nodes_closed(h);
    }
    EXPECT_EQ(h.log(), destruction);
}

// --- Command map ---

TEST(command_map, clears_all_maps_when_reset)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_DEBUG;
    link->hmi_avail_cmd = record_of<availability_map>(random_bytes(32));
    link->hmi_avail_get_var = record_of<availability_map>(random_bytes(32));
    link->hmi_avail_set_var = record_of<availability_map>(random_bytes(32));
    link->hmi_avail_cmd_reset();
    EXPECT_EQ(bytes_of(link->hmi_avail_cmd), zero_filled(32));
    EXPECT_EQ(bytes_of(link->hmi_avail_get_var), zero_filled(32));
    EXPECT_EQ(bytes_of(link->hmi_avail_set_var), zero_filled(32));
    EXPECT_EQ(h.log(), lines());
}

TEST(command_map, without_reading_or_writing_leaves_both_variable_maps_as_they_are)
{
    host h;
    constructed_link link(h);
    const bytes commands = map_with({0x01, 0, 0, 0});
    const bytes readable = random_bytes(32);
    const bytes writable = random_bytes(32);
    link->hmi_avail_get_var = record_of<availability_map>(readable);
    link->hmi_avail_set_var = record_of<availability_map>(writable);
    h.expect_ioctl(HCC, 0x7801, zero_filled(32), commands);
    link->hmi_avail_cmd_get();
    EXPECT_EQ(bytes_of(link->hmi_avail_cmd), commands);
    EXPECT_EQ(bytes_of(link->hmi_avail_get_var), readable);
    EXPECT_EQ(bytes_of(link->hmi_avail_set_var), writable);
}

TEST(command_map, with_its_own_bit_alone_leaves_the_variable_maps_of_a_new_link_zero)
{
    host h;
    expect_nodes_opened(h);
    h.expect_ioctl(HCC, 0x7801, zero_filled(32), zero_filled(32, {0x01}));
    const visible_link link;
    EXPECT_EQ(bytes_of(link.hmi_avail_cmd), zero_filled(32, {0x01}));
    EXPECT_EQ(bytes_of(link.hmi_avail_get_var), zero_filled(32));
    EXPECT_EQ(bytes_of(link.hmi_avail_set_var), zero_filled(32));
    expect_nodes_closed(h);
}

TEST(command_map, with_reading_alone_fills_the_readable_map_and_disables_every_set)
{
    host h;
    expect_nodes_opened(h);
    h.expect_ioctl(HCC, 0x7801, zero_filled(32), zero_filled(32, {0x02}));
    h.expect_ioctl(HCC, 0x7802, zero_filled(252), reply_with(bytes(32, 0xFF)));
    const visible_link link;
    EXPECT_EQ(bytes_of(link.hmi_avail_get_var), bytes(32, 0xFF));
    EXPECT_EQ(bytes_of(link.hmi_avail_set_var), zero_filled(32));
    EXPECT_EQ(link.sess_link_get_avail(), 0);
    EXPECT_EQ(link.sess_link_disc_avail(), -511);
    EXPECT_EQ(link.unicode_set_avail(), -511);
    expect_nodes_closed(h);
}

TEST(command_map, with_writing_alone_fills_the_writable_map)
{
    host h;
    constructed_link link(h);
    const bytes writable = random_bytes(32);
    h.expect_ioctl(HCC, 0x7801, zero_filled(32), zero_filled(32, {0x04}));
    h.expect_ioctl(HCC, 0x7803, zero_filled(252), reply_with(writable));
    link->hmi_avail_cmd_get();
    EXPECT_EQ(bytes_of(link->hmi_avail_get_var), zero_filled(32));
    EXPECT_EQ(bytes_of(link->hmi_avail_set_var), writable);
}

TEST(command_map, decides_by_bits_1_and_2_of_the_first_word_of_the_reply)
{
    host h;
    constructed_link link(h);
    link->hmi_avail_cmd = record_of<availability_map>(bytes(32, 0xFF));
    bytes commands(32, 0xFF);
    commands[0] = 0xF9;
    h.expect_ioctl(HCC, 0x7801, zero_filled(32), commands);
    link->hmi_avail_cmd_get();
    EXPECT_EQ(bytes_of(link->hmi_avail_cmd), commands);
}

TEST(command_map, is_kept_last)
{
    host h;
    constructed_link link(h);
    const bytes before = random_bytes(32);
    const bytes commands = map_with({0x06, 0, 0, 0});
    link->hmi_avail_cmd = record_of<availability_map>(before);
    int variables_read = 0;
    h.serve_ioctl([&](int, std::uint32_t code, void* record) {
        if (code == 0x7801) {
            std::memcpy(record, commands.data(), commands.size());
        } else {
            ++variables_read;
            EXPECT_EQ(bytes_of(link->hmi_avail_cmd), before);
        }
        return 0;
    });
    link->hmi_avail_cmd_get();
    EXPECT_EQ(variables_read, 2);
    EXPECT_EQ(bytes_of(link->hmi_avail_cmd), commands);
}

TEST(command_map, clears_all_maps_when_it_cannot_be_read)
{
    const lines all = {
        "synch_ioctl E ioctl 0x00007801 failed (rv=-1)",
        "hmi_avail_cmd_get E failed to get available HMI commands",
    };
    expect_lines_by_level(all, [&](host& h, visible_link& link) {
        link.hmi_avail_cmd = record_of<availability_map>(bytes(32, 0xFF));
        link.hmi_avail_get_var = record_of<availability_map>(bytes(32, 0xFF));
        link.hmi_avail_set_var = record_of<availability_map>(bytes(32, 0xFF));
        h.expect_ioctl(HCC, 0x7801, zero_filled(32), {}, -1);
        link.hmi_avail_cmd_get();
        EXPECT_EQ(bytes_of(link.hmi_avail_cmd), zero_filled(32));
        EXPECT_EQ(bytes_of(link.hmi_avail_get_var), zero_filled(32));
        EXPECT_EQ(bytes_of(link.hmi_avail_set_var), zero_filled(32));
        EXPECT_EQ(link.sess_link_get_avail(), -511);
    });
}

TEST(command_map, names_each_command_that_is_offered)
{
    const struct {
        std::uint8_t offered;
        lines named;
    } cases[] = {
        {0x01, {"HMI_CMD_AVAIL_CMD"}},
        {0x02, {"HMI_CMD_VAR_GET"}},
        {0x04, {"HMI_CMD_VAR_SET"}},
        {0xF8, {}},
        {0xFF, {"HMI_CMD_AVAIL_CMD", "HMI_CMD_VAR_GET", "HMI_CMD_VAR_SET"}},
    };
    for (const auto& c : cases) {
        host h;
        constructed_link link(h);
        m_log_level = VESK_LOG_DEBUG;
        h.serve_ioctl([&](int, std::uint32_t code, void* record) {
            if (code == 0x7801)
                std::memcpy(record, map_with({c.offered, 0x56, 0x34, 0x82}).data(), 32);
            return 0;
        });
        link->hmi_avail_cmd_get();
        m_log_level = VESK_LOG_OFF;

        char word[64];
        std::snprintf(word, sizeof(word), "hmi_avail_cmd_get D hmi_avail_cmd.map[0] '0x823456%02X'", c.offered);
        lines expected = {std::string("hmi_avail_cmd_get D ") + ASTERISKS, word};
        for (const std::string& name : c.named)
            expected.push_back("hmi_avail_cmd_get D " + name);
        expected.push_back(std::string("hmi_avail_cmd_get D ") + ASTERISKS);
        lines written = h.log();
        std::erase_if(written, [](const std::string& line) { return !line.starts_with("hmi_avail_cmd_get "); });
        EXPECT_EQ(written, expected);
    }
}

TEST(command_map, is_traced_before_the_variable_maps)
{
    const lines all = {
        "hmi_avail_cmd_get D ***************************************",
        "hmi_avail_cmd_get D hmi_avail_cmd.map[0] '0x00000007'",
        "hmi_avail_cmd_get D HMI_CMD_AVAIL_CMD",
        "hmi_avail_cmd_get D HMI_CMD_VAR_GET",
        "hmi_avail_cmd_get D HMI_CMD_VAR_SET",
        "hmi_avail_cmd_get D ***************************************",
        "hmi_avail_get_var_get D ***************************************",
        "hmi_avail_get_var_get D buf.data.avail_var.map[0] '0x00000008'",
        "hmi_avail_get_var_get D HMI_VAR_SESS_LINK",
        "hmi_avail_get_var_get D ***************************************",
        "hmi_avail_set_var_get D ***************************************",
        "hmi_avail_set_var_get D buf.data.avail_var.map[0] '0x00001000'",
        "hmi_avail_set_var_get D HMI_VAR_UNICODE",
        "hmi_avail_set_var_get D ***************************************",
    };
    expect_lines_by_level(all, [&](host& h, visible_link& link) {
        h.expect_ioctl(HCC, 0x7801, zero_filled(32), map_with({0x07, 0, 0, 0}));
        h.expect_ioctl(HCC, 0x7802, zero_filled(252), reply_with(map_with({0x08, 0, 0, 0})));
        h.expect_ioctl(HCC, 0x7803, zero_filled(252), reply_with(map_with({0, 0x10, 0, 0})));
        link.hmi_avail_cmd_get();
    });
}

// --- Variable maps ---

using map_of_link = sVESK_HALDO_HCC_HMI_AVAIL_STRUCT visible_link::*;

// The operation that reads one variable map, and what is its own.
struct variable_map {
    const char* function;
    void (cVESK_HALDO_LINK::*read)();
    std::uint32_t code;
    map_of_link member;
    map_of_link other_member;
    const char* failure;
};

static const variable_map variable_maps[] = {
    {"hmi_avail_get_var_get", &cVESK_HALDO_LINK::hmi_avail_get_var_get, 0x7802, &visible_link::hmi_avail_get_var,
     &visible_link::hmi_avail_set_var, "VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed"},
    {"hmi_avail_set_var_get", &cVESK_HALDO_LINK::hmi_avail_set_var_get, 0x7803, &visible_link::hmi_avail_set_var,
     &visible_link::hmi_avail_get_var, "VESK_HALDO_IOCTL_ENV_VAR_SET ioctl failed"},
};

class variable_map_test : public testing::TestWithParam<variable_map>
{
};
INSTANTIATE_TEST_SUITE_P(of, variable_map_test, testing::ValuesIn(variable_maps),
                         [](const auto& info) { return info.param.function; });

TEST_P(variable_map_test, is_the_32_bytes_at_offset_4_of_the_reply)
{
    const variable_map& map = GetParam();
    host h;
    constructed_link link(h);
    const bytes offered = random_bytes(32);
    const bytes other = random_bytes(32);
    (*link).*map.other_member = record_of<availability_map>(other);
    h.expect_ioctl(HCC, map.code, zero_filled(252), reply_with(offered));
    ((*link).*map.read)();
    EXPECT_EQ(bytes_of((*link).*map.member), offered);
    EXPECT_EQ(bytes_of((*link).*map.other_member), other);
    EXPECT_EQ(bytes_of(link->hmi_avail_cmd), zero_filled(32));
    EXPECT_EQ(h.log(), lines());
}

TEST_P(variable_map_test, is_cleared_when_it_cannot_be_read)
{
    const variable_map& map = GetParam();
    char rejected[64];
    std::snprintf(rejected, sizeof(rejected), "synch_ioctl E ioctl 0x%08X failed (rv=-1)", map.code);
    const lines all = {rejected, std::string(map.function) + " E " + map.failure};
    expect_lines_by_level(all, [&](host& h, visible_link& link) {
        const bytes commands = random_bytes(32);
        const bytes other = random_bytes(32);
        link.hmi_avail_cmd = record_of<availability_map>(commands);
        link.*map.member = record_of<availability_map>(bytes(32, 0xFF));
        link.*map.other_member = record_of<availability_map>(other);
        h.expect_ioctl(HCC, map.code, zero_filled(252), {}, -1);
        (link.*map.read)();
        EXPECT_EQ(bytes_of(link.*map.member), zero_filled(32));
        EXPECT_EQ(bytes_of(link.*map.other_member), other);
        EXPECT_EQ(bytes_of(link.hmi_avail_cmd), commands);
    });
}

TEST_P(variable_map_test, that_cannot_be_read_leaves_the_others_as_they_were_read)
{
    const variable_map& map = GetParam();
    host h;
    constructed_link link(h);
    const bytes commands = map_with({0x06, 0, 0, 0});
    const bytes other = random_bytes(32);
    h.expect_ioctl(HCC, 0x7801, zero_filled(32), commands);
    for (const std::uint32_t code : {0x7802u, 0x7803u}) {
        if (code == map.code)
            h.expect_ioctl(HCC, code, zero_filled(252), {}, -1);
        else
            h.expect_ioctl(HCC, code, zero_filled(252), reply_with(other));
    }
    link->hmi_avail_cmd_get();
    EXPECT_EQ(bytes_of(link->hmi_avail_cmd), commands);
    EXPECT_EQ(bytes_of((*link).*map.member), zero_filled(32));
    EXPECT_EQ(bytes_of((*link).*map.other_member), other);
}

TEST_P(variable_map_test, is_traced_with_the_names_of_ids_0_to_13)
{
    const variable_map& map = GetParam();
    const lines names = {"HMI_VAR_AVAIL_VAR", "HMI_VAR_LINK_INFO",       "HMI_VAR_IPV4_CFG",  "HMI_VAR_SESS_LINK",
                         "HMI_VAR_SESS_TAG",  "HMI_VAR_CONN_PORT",       "HMI_VAR_SESS_STAT", "HMI_VAR_DEPRECATED",
                         "HMI_VAR_WOL_CFG",   "HMI_VAR_SESS_DISC",       "HMI_VAR_SESS_TAG2", "HMI_VAR_CACHED_TOPO",
                         "HMI_VAR_UNICODE",   "HMI_VAR_IMG_USER_EXT_CFG"};
    const std::string column = std::string(map.function) + " D ";
    const auto written_for = [&](const bytes& first_word) {
        host h;
        constructed_link link(h);
        m_log_level = VESK_LOG_DEBUG;
        h.expect_ioctl(HCC, map.code, zero_filled(252), reply_with(map_with(first_word)));
        ((*link).*map.read)();
        m_log_level = VESK_LOG_OFF;
        return h.log();
    };

    for (unsigned int id = 0; id < 32; ++id) {
        const std::uint32_t word = 1u << id;
        char value[64];
        std::snprintf(value, sizeof(value), "buf.data.avail_var.map[0] '0x%08X'", word);
        lines expected = {column + ASTERISKS, column + value};
        if (id < names.size())
            expected.push_back(column + names[id]);
        expected.push_back(column + ASTERISKS);
        EXPECT_EQ(written_for(bytes_of(word)), expected) << "id " << id;
    }

    lines expected = {column + ASTERISKS, column + "buf.data.avail_var.map[0] '0xFFFFFFFF'"};
    for (const std::string& name : names)
        expected.push_back(column + name);
    expected.push_back(column + ASTERISKS);
    EXPECT_EQ(written_for({0xFF, 0xFF, 0xFF, 0xFF}), expected);
}

// --- Availability ---

struct predicate {
    const char* name;
    int (cVESK_HALDO_LINK::*available)() const;
    map_of_link map;
    std::uint32_t mask; // of the map's first word
};

#define READABLE(name, mask) predicate({#name, &cVESK_HALDO_LINK::name, &visible_link::hmi_avail_get_var, mask})
#define WRITABLE(name, mask) predicate({#name, &cVESK_HALDO_LINK::name, &visible_link::hmi_avail_set_var, mask})
static const predicate predicates[] = {
    READABLE(link_info_get_avail, 0x2),
    READABLE(ipv4_cfg_get_avail, 0x4),
    READABLE(sess_link_get_avail, 0x8),
    WRITABLE(sess_link_disc_avail, 0x8),
    WRITABLE(sess_link_disc_with_reason_avail, 0x200),
    WRITABLE(sess_tag_set_avail, 0x10),
    WRITABLE(sess_tag_version_1_key_scramble_feature_avail, 0x400),
    READABLE(conn_port_get_avail, 0x20),
    READABLE(sess_stat_get_avail, 0x40),
    WRITABLE(sess_stat_reset_avail, 0x40),
    READABLE(cached_topo_get_avail, 0x800),
    WRITABLE(cached_topo_set_avail, 0x800),
    WRITABLE(unicode_set_avail, 0x1000),
    READABLE(img_user_ext_cfg_get_avail, 0x2000),
    WRITABLE(img_user_ext_cfg_set_avail, 0x2000),
};

class availability : public testing::TestWithParam<predicate>
{
};
INSTANTIATE_TEST_SUITE_P(of, availability, testing::ValuesIn(predicates),
                         [](const auto& info) { return info.param.name; });

TEST_P(availability, is_given_by_one_bit_of_one_map_alone)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_DEBUG;
    constexpr map_of_link maps[] = {&visible_link::hmi_avail_cmd, &visible_link::hmi_avail_get_var,
                                    &visible_link::hmi_avail_set_var};
    for (const auto map : maps) {
        for (unsigned int bit = 0; bit < 256; ++bit) {
            link->hmi_avail_cmd_reset();
            ((*link).*map).map[bit / 32] = 1u << (bit % 32);
            const bool offered = map == GetParam().map && bit < 32 && (1u << bit) == GetParam().mask;
            EXPECT_EQ(((*link).*GetParam().available)(), offered ? 0 : -511) << "bit " << bit;
        }
    }
    EXPECT_EQ(h.log(), lines());
    m_log_level = VESK_LOG_OFF;
}

TEST_P(availability, is_not_given_when_its_bit_alone_is_missing)
{
    host h;
    constructed_link link(h);
    link->hmi_avail_cmd = record_of<availability_map>(bytes(32, 0xFF));
    link->hmi_avail_get_var = record_of<availability_map>(bytes(32, 0xFF));
    link->hmi_avail_set_var = record_of<availability_map>(bytes(32, 0xFF));
    EXPECT_EQ(((*link).*GetParam().available)(), 0);
    ((*link).*GetParam().map).map[0] &= ~GetParam().mask;
    EXPECT_EQ(((*link).*GetParam().available)(), -511);
}

TEST(availability_of_all, does_not_come_with_the_deprecated_variable)
{
    host h;
    constructed_link link(h);
    link->hmi_avail_get_var.map[0] = link->hmi_avail_set_var.map[0] = 0x80;
    for (const predicate& each : predicates)
        EXPECT_EQ(((*link).*each.available)(), -511) << each.name;
}

TEST(availability_of_all, is_missing_when_the_command_map_cannot_be_read_whatever_the_firmware_offers)
{
    host h;
    expect_nodes_opened(h);
    h.expect_ioctl(HCC, 0x7801, zero_filled(32), {}, -1);
    const visible_link link;
    for (const predicate& each : predicates)
        EXPECT_EQ((link.*each.available)(), -511) << each.name;
    expect_nodes_closed(h);
}
