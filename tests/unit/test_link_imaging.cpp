// The user's imaging preference.
#include "link.h"
#include "vesk_log.h"

#include <gtest/gtest.h>

using user_cfg = sVESK_HALDO_LINK_IMG_USER_CFG_STRUCT;

static constexpr unsigned int VARIABLE = 13; // the extended imaging user configuration

static void offer_reading(visible_link& link)
{
    offer(link, READABLE, VARIABLE);
}
static void offer_writing(visible_link& link)
{
    offer(link, WRITABLE, VARIABLE);
}

// --- Setting it ---

struct set_operation {
    const char* function;
    int (cVESK_HALDO_LINK::*set)(unsigned int value);
    std::uint32_t code;
    std::uint32_t length;
    std::uint8_t message;
    const char* not_supported;
    const char* failed;
    const char* failed_closed;
    const char* rejected;

    bytes request(const bytes& value) const
    {
        bytes record = {message, 0, 0, 0, 0, 0, 0, 0};
        record.insert(record.end(), value.begin(), value.end());
        return zero_filled(length, record);
    }
};

static const set_operation set_operations[] = {
    {"img_user_cfg_set", &cVESK_HALDO_LINK::img_user_cfg_set, 0x7845, 16, 22,
     "img_user_cfg_set D HCC_IOCTL_IMG_USER_CFG_REQ_SET ioctl not supported",
     "img_user_cfg_set E HCC_IOCTL_IMG_USER_CFG_SET ioctl failed (ret=-500)",
     "img_user_cfg_set E HCC_IOCTL_IMG_USER_CFG_SET ioctl failed (ret=-503)",
     "synch_ioctl E ioctl 0x00007845 failed (rv=-1)"},
    {"img_user_cfg_cache_set", &cVESK_HALDO_LINK::img_user_cfg_cache_set, 0x7847, 12, 24,
     "img_user_cfg_cache_set D HCC_IOCTL_IMG_USER_CFG_CACHE_SET ioctl not supported",
     "img_user_cfg_cache_set E HCC_IOCTL_IMG_USER_CFG_CACHE_SET ioctl failed (ret=-500)",
     "img_user_cfg_cache_set E HCC_IOCTL_IMG_USER_CFG_CACHE_SET ioctl failed (ret=-503)",
     "synch_ioctl E ioctl 0x00007847 failed (rv=-1)"},
};

class imaging_preference : public testing::TestWithParam<set_operation>
{
protected:
    const set_operation& op = GetParam();
    int set(visible_link& link, unsigned int value) const { return (link.*op.set)(value); }
};
INSTANTIATE_TEST_SUITE_P(of, imaging_preference, testing::ValuesIn(set_operations),
                         [](const auto& info) { return info.param.function; });

TEST_P(imaging_preference, from_0_to_100_is_sent_without_a_line)
{
    for (const std::uint8_t value : {0, 1, 50, 99, 100}) {
        expect_lines_by_level({}, [&](host& h, visible_link& link) {
            offer_writing(link);
            h.expect_ioctl(HCC, op.code, op.request({value, 0, 0, 0}), random_bytes(op.length));
            EXPECT_EQ(set(link, value), 0);
        });
    }
}

TEST_P(imaging_preference, above_100_is_refused_before_availability_and_device)
{
    const lines all = {std::string(op.function) + " E invalid argument"};
    for (const unsigned int value : {101u, 256u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu}) {
        expect_lines_by_level(all, [&](host&, visible_link& link) { EXPECT_EQ(set(link, value), -501); });
        expect_lines_by_level(all, [&](host&, visible_link& link) {
            offer_writing(link);
            EXPECT_EQ(set(link, value), -501);
        });
        expect_lines_by_level<closed_link>(all, [&](host&, visible_link& link) {
            offer_writing(link);
            EXPECT_EQ(set(link, value), -501);
        });
    }
}

TEST_P(imaging_preference, that_is_not_offered_gives_a_debug_line_alone)
{
    expect_lines_by_level({op.not_supported}, [&](host&, visible_link& link) {
        offer_all_but(link, WRITABLE, VARIABLE);
        EXPECT_EQ(set(link, 100), -511);
    });
    expect_lines_by_level<closed_link>({op.not_supported},
                                       [&](host&, visible_link& link) { EXPECT_EQ(set(link, 100), -511); });
}

TEST_P(imaging_preference, is_set_by_bit_13_of_the_writable_map)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_OFF;
    for (const map_member map : MAPS) {
        for (unsigned int bit = 0; bit < 256; ++bit) {
            link->hmi_avail_cmd_reset();
            offer(*link, map, bit);
            const bool available = map == &visible_link::hmi_avail_set_var && bit == 13;
            if (available)
                h.expect_ioctl(HCC, op.code, op.request({7, 0, 0, 0}));
            EXPECT_EQ(set(*link, 7), available ? 0 : -511) << "bit " << bit;
        }
    }
}

TEST_P(imaging_preference, returns_the_failure_of_its_request)
{
    expect_lines_by_level({op.rejected, op.failed}, [&](host& h, visible_link& link) {
        offer_writing(link);
        h.expect_ioctl(HCC, op.code, op.request({42, 0, 0, 0}), {}, -1);
        EXPECT_EQ(set(link, 42), -500);
    });
}

TEST_P(imaging_preference, returns_the_code_of_a_closed_device)
{
    expect_lines_by_level<closed_link>({"synch_ioctl E not m_initialized", op.failed_closed},
                                       [&](host&, visible_link& link) {
                                           offer_writing(link);
                                           EXPECT_EQ(set(link, 42), -503);
                                       });
}

TEST_P(imaging_preference, takes_a_positive_value_of_the_driver_for_success)
{
    host h;
    constructed_link link(h);
    offer_writing(*link);
    h.expect_ioctl(HCC, op.code, op.request({42, 0, 0, 0}), {}, 1);
    EXPECT_EQ(set(*link, 42), 0);
}

// --- What the client requested ---

static const bytes ASKED = {23, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0};

TEST(img_user_cfg_req_get, gives_the_last_two_words_of_the_reply)
{
    const struct {
        bytes words;
        unsigned int qual;
        unsigned int b2l;
        const char* written;
    } cases[] = {
        {{70, 0, 0, 0, 30, 0, 0, 0}, 70, 30, "img_user_cfg_req_get D end, qual=70, b2l=30"},
        {{0, 0, 0, 0, 0, 0, 0, 0}, 0, 0, "img_user_cfg_req_get D end, qual=0, b2l=0"},
        {{0x78, 0x56, 0x34, 0x12, 0xFF, 0xFF, 0xFF, 0xFF},
         0x12345678,
         0xFFFFFFFF,
         "img_user_cfg_req_get D end, qual=305419896, b2l=-1"},
        {{0, 0, 0, 0x80, 0xFF, 0xFF, 0xFF, 0x7F},
         0x80000000,
         0x7FFFFFFF,
         "img_user_cfg_req_get D end, qual=-2147483648, b2l=2147483647"},
    };
    for (const auto& c : cases) {
        expect_lines_by_level({c.written}, [&](host& h, visible_link& link) {
            offer_reading(link);
            bytes reply = random_bytes(8);
            reply.insert(reply.end(), c.words.begin(), c.words.end());
            h.expect_ioctl(HCC, 0x7846, ASKED, reply);
            user_cfg cfg = random_record<user_cfg>();
            EXPECT_EQ(link.img_user_cfg_req_get(&cfg), 0);
            EXPECT_EQ(cfg.qual, c.qual);
            EXPECT_EQ(cfg.b2l, c.b2l);
        });
    }
}

TEST(img_user_cfg_req_get, refuses_a_null_record_before_availability_and_device)
{
    const lines all = {"img_user_cfg_req_get E invalid argument"};
    for (const bool offered : {false, true}) {
        const auto scenario = [&](host&, visible_link& link) {
            if (offered)
                offer_reading(link);
            EXPECT_EQ(link.img_user_cfg_req_get(nullptr), -501);
        };
        expect_lines_by_level(all, scenario);
        expect_lines_by_level<closed_link>(all, scenario);
    }
}

TEST(img_user_cfg_req_get, that_is_not_offered_gives_a_debug_line_alone_and_leaves_the_record)
{
    const lines all = {"img_user_cfg_req_get D HCC_IOCTL_IMG_USER_CFG_REQ_GET ioctl not supported"};
    const auto scenario = [&](host&, visible_link& link) {
        offer_all_but(link, READABLE, VARIABLE);
        user_cfg cfg = random_record<user_cfg>();
        const bytes before = bytes_of(cfg);
        EXPECT_EQ(link.img_user_cfg_req_get(&cfg), -511);
        EXPECT_EQ(bytes_of(cfg), before);
    };
    expect_lines_by_level(all, scenario);
    expect_lines_by_level<closed_link>(all, scenario);
}

TEST(img_user_cfg_req_get, is_available_by_bit_13_of_the_readable_map)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_OFF;
    for (const map_member map : MAPS) {
        for (unsigned int bit = 0; bit < 256; ++bit) {
            link->hmi_avail_cmd_reset();
            offer(*link, map, bit);
            const bool available = map == &visible_link::hmi_avail_get_var && bit == 13;
            if (available)
                h.expect_ioctl(HCC, 0x7846, ASKED);
            user_cfg cfg{};
            EXPECT_EQ(link->img_user_cfg_req_get(&cfg), available ? 0 : -511) << "bit " << bit;
        }
    }
}

TEST(img_user_cfg_req_get, leaves_zeros_when_the_request_fails)
{
    expect_lines_by_level({"synch_ioctl E ioctl 0x00007846 failed (rv=-1)",
                           "img_user_cfg_req_get E HCC_IOCTL_IMG_USER_CFG_REQ_GET ioctl failed (ret=-500)"},
                          [](host& h, visible_link& link) {
                              offer_reading(link);
                              h.expect_ioctl(HCC, 0x7846, ASKED, {}, -1);
                              user_cfg cfg = {0x11111111, 0x22222222};
                              EXPECT_EQ(link.img_user_cfg_req_get(&cfg), -500);
                              EXPECT_EQ(bytes_of(cfg), zero_filled(8));
                          });
}

TEST(img_user_cfg_req_get, leaves_zeros_on_a_closed_device)
{
    expect_lines_by_level<closed_link>(
        {"synch_ioctl E not m_initialized",
         "img_user_cfg_req_get E HCC_IOCTL_IMG_USER_CFG_REQ_GET ioctl failed (ret=-503)"},
        [](host&, visible_link& link) {
            offer_reading(link);
            user_cfg cfg = {0x11111111, 0x22222222};
            EXPECT_EQ(link.img_user_cfg_req_get(&cfg), -503);
            EXPECT_EQ(bytes_of(cfg), zero_filled(8));
        });
}

TEST(img_user_cfg_req_get, clears_the_record_before_the_request)
{
    host h;
    constructed_link link(h);
    offer_reading(*link);
    user_cfg cfg = {0x11111111, 0x22222222};
    bool asked = false;
    h.serve_ioctl([&](int, std::uint32_t, void*) {
        asked = true;
        EXPECT_EQ(bytes_of(cfg), zero_filled(8));
        return 0;
    });
    EXPECT_EQ(link->img_user_cfg_req_get(&cfg), 0);
    EXPECT_TRUE(asked);
}

TEST(img_user_cfg_req_get, takes_a_positive_value_of_the_driver_for_success)
{
    host h;
    constructed_link link(h);
    offer_reading(*link);
    bytes reply(16, 0);
    reply[8] = 1;
    reply[12] = 2;
    h.expect_ioctl(HCC, 0x7846, ASKED, reply, 1);
    user_cfg cfg{};
    EXPECT_EQ(link->img_user_cfg_req_get(&cfg), 0);
    EXPECT_EQ(cfg.qual, 1u);
    EXPECT_EQ(cfg.b2l, 2u);
}
