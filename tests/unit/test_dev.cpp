#include "calls.h"
#include "vesk_dev.h"
#include "vesk_log.h"

#include <cerrno>
#include <gtest/gtest.h>

static constexpr const char* NODE = "/dev/haldo_host0";
static constexpr const char* OPEN_NODE = "open /dev/haldo_host0 O_RDWR";

// --- Construction ---

TEST(dev_constructor, opens_nothing_without_a_path)
{
    expect_lines_by_level({"cVESK_DEV D start", "cVESK_DEV D end", "is_ready D m_initialized = 0, m_ready = 0",
                           "~cVESK_DEV D start", "~cVESK_DEV D end"},
                          [](host&) {
                              const cVESK_DEV dev(nullptr);
                              EXPECT_FALSE(dev.is_ready());
                          });
}

TEST(dev_constructor, opens_its_path)
{
    expect_lines_by_level({"cVESK_DEV D start", "init D start", "init D end", "cVESK_DEV D end",
                           "is_ready D m_initialized = 1, m_ready = 1", "~cVESK_DEV D start", "~cVESK_DEV D end"},
                          [](host& h) {
                              h.expect(OPEN_NODE, 7);
                              h.expect("close 7");
                              const cVESK_DEV dev(NODE);
                              EXPECT_TRUE(dev.is_ready());
                          });
}

TEST(dev_constructor, completes_when_its_path_cannot_be_opened)
{
    expect_lines_by_level({"cVESK_DEV D start", "init D start", "init D end",
                           "cVESK_DEV D init() failed: returned -510", "cVESK_DEV D end",
                           "is_ready D m_initialized = 0, m_ready = 0", "~cVESK_DEV D start", "~cVESK_DEV D end"},
                          [](host& h) {
                              h.expect(OPEN_NODE, -1, ENOENT);
                              const cVESK_DEV dev(NODE);
                              EXPECT_FALSE(dev.is_ready());
                          });
}

// --- init ---

class closed_dev : public testing::Test
{
protected:
    closed_dev() { h.raw_log(); }
    host h;
    cVESK_DEV dev{nullptr};
};

TEST_F(closed_dev, opens_read_write_with_no_other_flag)
{
    h.expect(OPEN_NODE, 7);
    EXPECT_EQ(dev.init(NODE), 0);
    EXPECT_TRUE(dev.is_ready());
    h.expect("close 7");
}

TEST_F(closed_dev, refuses_a_null_path_without_a_call)
{
    m_log_level = VESK_LOG_DEBUG;
    EXPECT_EQ(dev.init(nullptr), -501);
    EXPECT_EQ(h.log(), (lines{"init D start", "init D end"}));
    EXPECT_FALSE(dev.is_ready());
}

TEST_F(closed_dev, reports_a_node_that_cannot_be_opened_whatever_the_error)
{
    for (const int error : {ENOENT, EACCES, ENODEV, EINTR}) {
        m_log_level = VESK_LOG_DEBUG;
        h.expect(OPEN_NODE, -1, error);
        EXPECT_EQ(dev.init(NODE), -510);
        EXPECT_EQ(h.log(), (lines{"init D start", "init D end"}));
        m_log_level = VESK_LOG_OFF;
        EXPECT_FALSE(dev.is_ready());
    }
}

TEST_F(closed_dev, can_be_opened_after_a_failure)
{
    h.expect(OPEN_NODE, -1, ENOENT);
    EXPECT_EQ(dev.init(NODE), -510);
    h.expect(OPEN_NODE, 5);
    EXPECT_EQ(dev.init(NODE), 0);
    EXPECT_TRUE(dev.is_ready());
    h.expect("close 5");
}

TEST_F(closed_dev, keeps_its_first_node_when_it_is_opened_again)
{
    h.expect(OPEN_NODE, 7);
    EXPECT_EQ(dev.init(NODE), 0);
    m_log_level = VESK_LOG_DEBUG;
    EXPECT_EQ(dev.init("/dev/haldo_host1"), 0);
    EXPECT_EQ(h.log(), (lines{"init D start", "init D end"}));
    h.expect_ioctl(7, 0x7901, {});
    EXPECT_EQ(dev.synch_ioctl(0x7901, nullptr, 0, 1000), 0);
    h.expect("close 7");
}

TEST_F(closed_dev, refuses_a_null_path_when_it_is_open_too)
{
    h.expect(OPEN_NODE, 7);
    EXPECT_EQ(dev.init(NODE), 0);
    EXPECT_EQ(dev.init(nullptr), -501);
    EXPECT_TRUE(dev.is_ready());
    h.expect("close 7");
}

TEST_F(closed_dev, leaves_the_place_of_a_closed_standard_stream_free)
{
    for (const std::string stream : {"0", "1", "2"}) {
        cVESK_DEV dev(nullptr);
        h.expect(OPEN_NODE, std::stoi(stream));
        h.expect("fcntl " + stream + " F_DUPFD 3", 7);
        h.expect("close " + stream);
        EXPECT_EQ(dev.init(NODE), 0);
        h.expect_ioctl(7, 0x7901, {});
        EXPECT_EQ(dev.synch_ioctl(0x7901, nullptr, 0, 1000), 0);
        h.expect("close 7");
    }
}

TEST_F(closed_dev, stays_closed_when_there_is_no_other_place)
{
    h.expect(OPEN_NODE, 1);
    h.expect("fcntl 1 F_DUPFD 3", -1, EMFILE);
    h.expect("close 1");
    EXPECT_EQ(dev.init(NODE), -510);
    EXPECT_FALSE(dev.is_ready());
}

// --- is_ready ---

TEST_F(closed_dev, is_not_ready_and_says_so_at_every_call)
{
    m_log_level = VESK_LOG_DEBUG;
    EXPECT_FALSE(dev.is_ready());
    EXPECT_FALSE(dev.is_ready());
    EXPECT_EQ(h.log(),
              (lines{"is_ready D m_initialized = 0, m_ready = 0", "is_ready D m_initialized = 0, m_ready = 0"}));
}

// --- synch_ioctl ---

TEST_F(closed_dev, answers_a_request_without_a_system_call)
{
    for (int level = VESK_LOG_OFF; level <= VESK_LOG_DEBUG; ++level) {
        m_log_level = level;
        bytes record = random_bytes(32);
        const bytes before = record;
        EXPECT_EQ(dev.synch_ioctl(0x7801, record.data(), 32, 1000), -503);
        EXPECT_EQ(record, before);
        EXPECT_EQ(h.log(), at_level(level, {"synch_ioctl E not m_initialized"}));
    }
}

TEST_F(closed_dev, answers_each_request_with_a_line_of_its_own)
{
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(dev.synch_ioctl(0x7901, nullptr, 0, 1000), -503);
    EXPECT_EQ(h.log(), lines(3, "synch_ioctl E not m_initialized"));
}

class open_dev : public testing::Test
{
protected:
    open_dev()
    {
        h.expect(OPEN_NODE, 7);
        dev.init(NODE);
        h.raw_log();
        m_log_level = VESK_LOG_DEBUG;
    }
    ~open_dev() override { h.expect("close 7"); }
    host h;
    cVESK_DEV dev{nullptr};
};

TEST_F(open_dev, passes_the_record_as_it_is_and_leaves_the_reply_in_it)
{
    const bytes sent = random_bytes(292);
    const bytes reply = random_bytes(292);
    bytes record = sent;
    h.expect_ioctl(7, 0x7822, sent, reply);
    EXPECT_EQ(dev.synch_ioctl(0x7822, record.data(), 292, 1000), 0);
    EXPECT_EQ(record, reply);
    EXPECT_EQ(h.log(), lines());
}

TEST_F(open_dev, hands_the_callers_own_buffer_to_the_driver)
{
    std::uint8_t record[8] = {};
    void* seen = nullptr;
    h.serve_ioctl([&](int, std::uint32_t, void* buffer) {
        seen = buffer;
        return 0;
    });
    EXPECT_EQ(dev.synch_ioctl(0x7902, record, sizeof(record), 1000), 0);
    EXPECT_EQ(seen, record);
}

TEST_F(open_dev, passes_no_record_as_a_null_pointer)
{
    h.expect_ioctl(7, 0x7900, {});
    EXPECT_EQ(dev.synch_ioctl(0x7900, nullptr, 0, 5000), 0);
}

TEST_F(open_dev, compares_neither_length_nor_timeout_with_anything)
{
    bytes record = random_bytes(8);
    h.expect_ioctl(7, 0x7902, record);
    EXPECT_EQ(dev.synch_ioctl(0x7902, record.data(), 0, 0), 0);
    h.expect_ioctl(7, 0x7902, record);
    EXPECT_EQ(dev.synch_ioctl(0x7902, record.data(), 0xFFFFFFFF, 0xFFFFFFFF), 0);
}

TEST_F(open_dev, passes_every_code_whole)
{
    h.expect_ioctl(7, 0xFEDC7801, {});
    EXPECT_EQ(dev.synch_ioctl(0xFEDC7801, nullptr, 0, 1000), 0);
}

TEST_F(open_dev, drops_a_positive_value_of_the_driver)
{
    for (const int value : {1, 32, 0x7FFFFFFF}) {
        h.expect_ioctl(7, 0x7901, {}, {}, value);
        EXPECT_EQ(dev.synch_ioctl(0x7901, nullptr, 0, 1000), 0);
    }
    EXPECT_EQ(h.log(), lines());
}

TEST_F(open_dev, reports_a_request_that_the_driver_rejects)
{
    bytes record = zero_filled(32);
    for (int level = VESK_LOG_OFF; level <= VESK_LOG_DEBUG; ++level) {
        m_log_level = level;
        h.expect_ioctl(7, 0x7801, zero_filled(32), {}, -1);
        EXPECT_EQ(dev.synch_ioctl(0x7801, record.data(), 32, 1000), -500);
        EXPECT_EQ(h.log(), at_level(level, {"synch_ioctl E ioctl 0x00007801 failed (rv=-1)"}));
        record = zero_filled(32);
    }
}

TEST_F(open_dev, reports_the_value_and_the_code_that_it_was)
{
    h.expect_ioctl(7, 0xABCD790E, {}, {}, -77);
    EXPECT_EQ(dev.synch_ioctl(0xABCD790E, nullptr, 0, 2000), -500);
    EXPECT_EQ(h.log(), (lines{"synch_ioctl E ioctl 0xABCD790E failed (rv=-77)"}));
}

TEST_F(open_dev, asks_once_even_when_a_signal_interrupts_the_call)
{
    int calls = 0;
    h.serve_ioctl([&](int, std::uint32_t, void*) {
        ++calls;
        return -EINTR;
    });
    EXPECT_EQ(dev.synch_ioctl(0x7901, nullptr, 0, 1000), -500);
    EXPECT_EQ(calls, 1);
    EXPECT_EQ(h.log(), (lines{"synch_ioctl E ioctl 0x00007901 failed (rv=-1)"}));
}

TEST_F(open_dev, stays_usable_after_a_failure)
{
    h.expect_ioctl(7, 0x7901, {}, {}, -1);
    EXPECT_EQ(dev.synch_ioctl(0x7901, nullptr, 0, 1000), -500);
    EXPECT_TRUE(dev.is_ready());
    h.expect_ioctl(7, 0x7901, {});
    EXPECT_EQ(dev.synch_ioctl(0x7901, nullptr, 0, 1000), 0);
}

// --- Destruction ---

TEST(dev_destructor, closes_an_open_node_once_between_its_two_lines)
{
    host h;
    h.expect(OPEN_NODE, 9);
    h.expect("close 9");
    {
        const cVESK_DEV dev(NODE);
        m_log_level = VESK_LOG_DEBUG;
    }
    EXPECT_EQ(h.log(), (lines{"~cVESK_DEV D start", "~cVESK_DEV D end"}));
}

TEST(dev_destructor, closes_nothing_when_closed)
{
    host h;
    {
        const cVESK_DEV dev(nullptr);
        m_log_level = VESK_LOG_DEBUG;
    }
    EXPECT_EQ(h.log(), (lines{"~cVESK_DEV D start", "~cVESK_DEV D end"}));
}

TEST(dev_destructor, closes_nothing_after_a_failed_open)
{
    host h;
    h.expect(OPEN_NODE, -1, EACCES);
    const cVESK_DEV dev(NODE);
}
