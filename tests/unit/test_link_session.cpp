// The session: its heartbeat, its end, the state of the host's session, and the cursor shape cache that the heartbeat
// builds.
//
// What link_heartbeat remembers is the process's. Every scenario that calls it runs in a process of its own, a child of
// the test's, so that no test sees what another one left.
#include "allocations.h"
#include "cursor.h"
#include "link.h"
#include "vesk_log.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <gtest/gtest.h>
#include <new>
#include <sys/wait.h>
#include <unistd.h>

using session_link = sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT;

static constexpr std::uint32_t GET = 0x7802;
static constexpr std::uint32_t SET = 0x7803;
static constexpr std::uint32_t LOCAL_GET = 0x7804;
static constexpr std::uint32_t LOCAL_SET = 0x7805;
static constexpr std::size_t CONTEXT_SIZE = 292;

static void in_a_process_of_its_own(const std::function<void()>& run)
{
    std::fflush(nullptr);
    const pid_t child = fork();
    ASSERT_NE(child, -1);
    if (child == 0) {
        run();
        std::exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0) << "the scenario failed in its process";
}
template <typename Link = constructed_link>
static void expect_lines_of_a_process_by_level(const lines& all, const link_scenario& run)
{
    for (int level = VESK_LOG_OFF; level <= VESK_LOG_DEBUG; ++level)
        in_a_process_of_its_own([&] { expect_lines_at<Link>(level, all, run); });
}

// --- Heartbeat ---

static bytes address(const std::string& ip)
{
    bytes member = random_bytes(36);
    std::ranges::copy(ip, member.begin());
    if (ip.size() < member.size())
        member[ip.size()] = 0;
    return member;
}

// The payload of a link with these flags and this counter; what is behind the address is random.
static bytes link_state(std::uint8_t flags, std::uint8_t trans_cnt, const std::string& ip = "10.1.2.3")
{
    return joined(joined({flags, trans_cnt}, random_bytes(2)), address(ip));
}

static void expect_state_read(host& h, const bytes& state)
{
    h.expect_ioctl(HCC, GET, request_for(3), reply_with(state));
}
static void expect_state_not_read(host& h)
{
    h.expect_ioctl(HCC, GET, request_for(3), {}, -1);
}

// A context that gives the client's cache this many entries of this size.
static bytes context_with_cache(std::uint8_t entries, std::uint8_t size)
{
    bytes context = random_bytes(CONTEXT_SIZE);
    constexpr std::uint8_t YES = 0x80;
    const bytes fields = {YES, YES, entries, 0, size, 0, 0, 0};
    std::ranges::copy(fields, context.begin() + 12);
    return context;
}
static void expect_context_fetched(host& h, const bytes& context)
{
    h.expect_ioctl(HCC, 0x7822, zero_filled(CONTEXT_SIZE, {2}), context);
}

// A context that is held before a heartbeat.
static void hold_context(visible_link& link)
{
    std::memset(&link.kmp_pri_ctxt, 0xFF, sizeof(link.kmp_pri_ctxt));
    link.kmp_pri_ctxt_valid = 1;
}
static void expect_context_held(const visible_link& link)
{
    EXPECT_EQ(bytes_of(link.kmp_pri_ctxt), bytes(CONTEXT_SIZE, 0xFF));
    EXPECT_EQ(link.kmp_pri_ctxt_valid, 1u);
}
static void expect_context_reset(const visible_link& link)
{
    EXPECT_EQ(bytes_of(link.kmp_pri_ctxt), zero_filled(CONTEXT_SIZE));
    EXPECT_EQ(link.kmp_pri_ctxt_valid, 0u);
}

// A link whose firmware lets its state be read.
static visible_link& readable(visible_link& link)
{
    offer(link, READABLE, 3);
    return link;
}

// One heartbeat that reads this state. Whether it reports a change.
static int beat(host& h, visible_link& link, const bytes& state)
{
    expect_state_read(h, state);
    int changed = -7;
    // On the heap, where its end is watched.
    const auto record = std::make_unique<session_link>();
    std::memset(record.get(), 0xEE, sizeof(session_link));
    link.link_heartbeat(&changed, record.get());
    EXPECT_EQ(bytes_of(*record), state);
    return changed;
}
// One that cannot read it.
static int failing_beat(host& h, visible_link& link)
{
    expect_state_not_read(h);
    int changed = -7;
    session_link record;
    std::memset(&record, 0xEE, sizeof(record));
    link.link_heartbeat(&changed, &record);
    EXPECT_EQ(bytes_of(record), bytes(40, 0xEE));
    return changed;
}

TEST(link_heartbeat, takes_the_first_read_for_a_change_even_with_everything_zero)
{
    expect_lines_of_a_process_by_level(
        {"link_heartbeat D sess link state changed - flags: 0x00000000, trans_cnt=0, IP=10.1.2.3"},
        [](host& h, visible_link& link) {
            hold_context(link);
            EXPECT_EQ(beat(h, readable(link), link_state(0, 0)), 1);
            expect_context_reset(link);
        });
}

TEST(link_heartbeat, does_nothing_while_the_counter_stays_whatever_the_flags)
{
    expect_lines_of_a_process_by_level(
        {"link_heartbeat D sess link state changed - flags: 0x00000000, trans_cnt=0, IP=10.1.2.3"},
        [](host& h, visible_link& link) {
            EXPECT_EQ(beat(h, readable(link), link_state(0, 0)), 1);
            hold_context(link);
            EXPECT_EQ(beat(h, link, link_state(1, 0, "10.9.9.9")), 0);
            EXPECT_EQ(beat(h, link, link_state(0, 0, "")), 0);
            expect_context_held(link);
        });
}

TEST(link_heartbeat, takes_each_other_counter_for_a_change)
{
    in_a_process_of_its_own([] {
        host h;
        constructed_link link(h);
        EXPECT_EQ(beat(h, readable(*link), link_state(0, 0)), 1);
        for (const std::uint8_t counter : {1, 2, 1, 200, 199, 255, 0, 255, 128}) {
            hold_context(*link);
            EXPECT_EQ(beat(h, *link, link_state(0, counter)), 1) << "counter " << +counter;
            expect_context_reset(*link);
            hold_context(*link);
            EXPECT_EQ(beat(h, *link, link_state(0, counter)), 0) << "counter " << +counter;
            expect_context_held(*link);
        }
        EXPECT_EQ(h.log(), lines());
    });
}

TEST(link_heartbeat, takes_the_wrap_from_255_to_0_for_a_change)
{
    expect_lines_of_a_process_by_level(
        {"link_heartbeat D sess link state changed - flags: 0x00000002, trans_cnt=255, IP=10.1.2.3",
         "link_heartbeat D sess link state changed - flags: 0x000000FE, trans_cnt=0, IP=10.1.2.3"},
        [](host& h, visible_link& link) {
            EXPECT_EQ(beat(h, readable(link), link_state(0x02, 255)), 1);
            EXPECT_EQ(beat(h, link, link_state(0xFE, 0)), 1); // every bit but the one of a session
        });
}

// Without those of the context's fetch, which writes the same whoever asks for it.
static lines without_context_lines(lines all)
{
    std::erase_if(all, [](const std::string& line) { return line.starts_with("kmp_pri_ctxt_get "); });
    return all;
}

TEST(link_heartbeat, fetches_the_context_of_a_connected_session_and_sizes_the_cache_by_it)
{
    const lines all = {
        "init_bitmap_cache D allocated storage for 3 cached bitmaps with size 200",
        "link_heartbeat D sess link state changed - flags: 0x00000001, trans_cnt=7, IP=10.1.2.3",
        "flush_bitmap_cache D freeing storage for 3 bitmaps",
        "init_bitmap_cache D stored bitmap cache is already initialized",
        "init_bitmap_cache D allocated storage for 5 cached bitmaps with size 100",
        "link_heartbeat D sess link state changed - flags: 0x000000FF, trans_cnt=8, IP=10.1.2.4",
    };
    for (int level = VESK_LOG_OFF; level <= VESK_LOG_DEBUG; ++level) {
        in_a_process_of_its_own([&] {
            host h;
            constructed_link link(h);
            readable(*link);
            m_log_level = level;
            const struct {
                bytes state;
                bytes context;
                int entries;
            } sessions[] = {
                {link_state(0x01, 7), context_with_cache(3, 200), 3},
                {link_state(0xFF, 8, "10.1.2.4"), context_with_cache(5, 100), 5},
            };
            for (const auto& session : sessions) {
                hold_context(*link);
                expect_state_read(h, session.state);
                expect_context_fetched(h, session.context);
                int changed = -7;
                session_link record;
                link->link_heartbeat(&changed, &record);
                EXPECT_EQ(changed, 1);
                EXPECT_EQ(bytes_of(record), session.state);
                EXPECT_EQ(bytes_of(link->kmp_pri_ctxt), session.context);
                EXPECT_EQ(link->kmp_pri_ctxt_valid, 1u);
                EXPECT_EQ(link->bmp_cache_cnt, session.entries);
            }
            EXPECT_EQ(without_context_lines(h.log()), at_level(level, all)) << "at level " << level;
            m_log_level = VESK_LOG_OFF;
        });
    }
}

TEST(link_heartbeat, resets_flag_and_context_before_the_requests_that_follow)
{
    in_a_process_of_its_own([] {
        host h;
        constructed_link link(h);
        readable(*link);
        m_log_level = VESK_LOG_OFF;
        hold_context(*link);
        int changed = -7;
        std::vector<std::uint32_t> codes;
        h.serve_ioctl([&](int fd, std::uint32_t code, void* record) {
            EXPECT_EQ(fd, HCC);
            EXPECT_EQ(changed, 0);
            codes.push_back(code);
            if (code == GET) {
                expect_context_held(*link);
                std::memset(record, 1, 252); // connected
            } else {
                expect_context_reset(*link);
            }
            return 0;
        });
        session_link record;
        link->link_heartbeat(&changed, &record);
        EXPECT_EQ(changed, 1);
        EXPECT_EQ(codes, (std::vector<std::uint32_t>{0x7802, 0x7822}));
    });
}

TEST(link_heartbeat, leaves_context_and_cache_off_when_the_context_cannot_be_fetched)
{
    expect_lines_of_a_process_by_level(
        {"synch_ioctl E ioctl 0x00007822 failed (rv=-1)",
         "kmp_pri_ctxt_get E HCC_IOCTL_KMP_PRI_CTXT_GET failed (ret=-500)",
         "flush_bitmap_cache D freeing storage for 2 bitmaps",
         "init_bitmap_cache D bitmap caching disabled because client does not support it",
         "link_heartbeat D sess link state changed - flags: 0x00000001, trans_cnt=9, IP=10.1.2.3"},
        [](host& h, visible_link& link) {
            const std::int32_t level = m_log_level;
            m_log_level = VESK_LOG_OFF;
            std::memcpy(&link.kmp_pri_ctxt, context_with_cache(2, 16).data(), CONTEXT_SIZE);
            link.kmp_pri_ctxt_valid = 1;
            link.init_bitmap_cache();
            m_log_level = level;

            expect_state_read(h, link_state(0x01, 9));
            h.expect_ioctl(HCC, 0x7822, zero_filled(CONTEXT_SIZE, {2}), {}, -1);
            int changed = -7;
            session_link record;
            readable(link).link_heartbeat(&changed, &record);
            EXPECT_EQ(changed, 1);
            expect_context_reset(link);
            EXPECT_EQ(link.bmp_cache_cnt, 0);
        });
}

TEST(link_heartbeat, does_not_try_again_to_fetch_a_context_that_it_did_not_get)
{
    in_a_process_of_its_own([] {
        host h;
        constructed_link link(h);
        m_log_level = VESK_LOG_OFF;
        expect_state_read(h, link_state(0x01, 9));
        h.expect_ioctl(HCC, 0x7822, zero_filled(CONTEXT_SIZE, {2}), {}, -1);
        int changed = -7;
        session_link record;
        readable(*link).link_heartbeat(&changed, &record);
        EXPECT_EQ(changed, 1);
        EXPECT_EQ(beat(h, *link, link_state(0x01, 9)), 0);
    });
}

TEST(link_heartbeat, drops_the_context_but_not_the_cache_when_the_session_ends)
{
    in_a_process_of_its_own([] {
        host h;
        constructed_link link(h);
        h.serve_ioctl([](int, std::uint32_t code, void* record) {
            if (code == GET)
                std::memcpy(static_cast<char*>(record) + 4, link_state(0x01, 1).data(), 40);
            else
                std::memcpy(record, context_with_cache(4, 32).data(), CONTEXT_SIZE);
            return 0;
        });
        m_log_level = VESK_LOG_OFF;
        int changed = -7;
        session_link record;
        readable(*link).link_heartbeat(&changed, &record);
        EXPECT_EQ(changed, 1);
        EXPECT_EQ(link->bmp_cache_cnt, 4);
        h.serve_ioctl([](int, std::uint32_t code, void* record) {
            EXPECT_EQ(code, GET);
            std::memcpy(static_cast<char*>(record) + 4, link_state(0x00, 2).data(), 40);
            return 0;
        });
        link->link_heartbeat(&changed, &record);
        EXPECT_EQ(changed, 1);
        expect_context_reset(*link);
        EXPECT_EQ(link->bmp_cache_cnt, 4);
        for (int i = 0; i < 4; ++i)
            EXPECT_NE(link->bmp_cache[i].data, nullptr);
    });
}

TEST(link_heartbeat, that_cannot_read_drops_the_context_and_remembers_the_counter)
{
    expect_lines_of_a_process_by_level(
        {"link_heartbeat D sess link state changed - flags: 0x00000000, trans_cnt=5, IP=10.1.2.3",
         "synch_ioctl E ioctl 0x00007802 failed (rv=-1)",
         "sess_link_get E VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed -500",
         "synch_ioctl E ioctl 0x00007802 failed (rv=-1)",
         "sess_link_get E VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed -500",
         "link_heartbeat D sess link state changed - flags: 0x00000000, trans_cnt=6, IP=10.1.2.3"},
        [](host& h, visible_link& link) {
            EXPECT_EQ(beat(h, readable(link), link_state(0, 5)), 1);
            for (int i = 0; i < 2; ++i) {
                hold_context(link);
                EXPECT_EQ(failing_beat(h, link), 0);
                expect_context_reset(link);
            }
            EXPECT_EQ(beat(h, link, link_state(1, 5)), 0);
            EXPECT_EQ(beat(h, link, link_state(0, 6)), 1);
        });
}

TEST(link_heartbeat, still_waits_for_its_first_read_after_one_that_failed)
{
    expect_lines_of_a_process_by_level(
        {"synch_ioctl E ioctl 0x00007802 failed (rv=-1)",
         "sess_link_get E VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed -500",
         "link_heartbeat D sess link state changed - flags: 0x00000000, trans_cnt=0, IP=10.1.2.3"},
        [](host& h, visible_link& link) {
            EXPECT_EQ(failing_beat(h, readable(link)), 0);
            EXPECT_EQ(beat(h, link, link_state(0, 0)), 1);
            EXPECT_EQ(beat(h, link, link_state(0, 0)), 0);
        });
}

TEST(link_heartbeat, with_a_null_state_drops_the_context_and_sends_nothing)
{
    expect_lines_of_a_process_by_level({"sess_link_get E invalid arguments"}, [](host&, visible_link& link) {
        hold_context(link);
        int changed = -7;
        readable(link).link_heartbeat(&changed, nullptr);
        EXPECT_EQ(changed, 0);
        expect_context_reset(link);
    });
}

TEST(link_heartbeat, without_the_variable_drops_the_context_and_sends_nothing)
{
    expect_lines_of_a_process_by_level({"sess_link_get E not supported"}, [](host&, visible_link& link) {
        offer(link, WRITABLE, 3);
        hold_context(link);
        int changed = -7;
        session_link record;
        std::memset(&record, 0xEE, sizeof(record));
        link.link_heartbeat(&changed, &record);
        EXPECT_EQ(changed, 0);
        EXPECT_EQ(bytes_of(record), bytes(40, 0xEE));
        expect_context_reset(link);
    });
}

TEST(link_heartbeat, on_a_closed_device_drops_the_context)
{
    expect_lines_of_a_process_by_level<closed_link>(
        {"synch_ioctl E not m_initialized", "sess_link_get E VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed -503"},
        [](host&, visible_link& link) {
            hold_context(link);
            int changed = -7;
            session_link record;
            std::memset(&record, 0xEE, sizeof(record));
            readable(link).link_heartbeat(&changed, &record);
            EXPECT_EQ(changed, 0);
            EXPECT_EQ(bytes_of(record), bytes(40, 0xEE));
            expect_context_reset(link);
        });
}

TEST(link_heartbeat, remembers_the_counter_for_all_links_of_the_process)
{
    in_a_process_of_its_own([] {
        host h;
        m_log_level = VESK_LOG_OFF;
        {
            constructed_link first(h);
            EXPECT_EQ(beat(h, readable(*first), link_state(0, 3)), 1);
        }
        constructed_link second(h);
        constructed_link third(h);
        m_log_level = VESK_LOG_OFF;
        readable(*second);
        readable(*third);
        EXPECT_EQ(beat(h, *second, link_state(1, 3)), 0); // connected, but no news for the process
        EXPECT_EQ(second->kmp_pri_ctxt_valid, 0u);
        hold_context(*second);
        hold_context(*third);
        EXPECT_EQ(beat(h, *third, link_state(0, 4)), 1);
        EXPECT_EQ(beat(h, *second, link_state(0, 4)), 0);
        expect_context_reset(*third);
        expect_context_held(*second);
        EXPECT_EQ(beat(h, *second, link_state(0, 5)), 1);
        expect_context_reset(*second);
    });
}

TEST(link_heartbeat, prints_the_address_up_to_the_end_of_its_member)
{
    expect_lines_of_a_process_by_level({"link_heartbeat D sess link state changed - flags: 0x00000080, trans_cnt=1, "
                                        "IP=123456789012345678901234567890123456"},
                                       [](host& h, visible_link& link) {
                                           const bytes state =
                                               link_state(0x80, 1, "123456789012345678901234567890123456");
                                           EXPECT_EQ(beat(h, readable(link), state), 1);
                                       });
}

TEST(link_heartbeat, starts_each_process_with_its_first_read)
{
    // The processes before this one have left nothing behind.
    for (int i = 0; i < 2; ++i) {
        in_a_process_of_its_own([] {
            host h;
            constructed_link link(h);
            EXPECT_EQ(beat(h, readable(*link), link_state(0, 0)), 1);
        });
    }
}

// --- Disconnecting ---

enum way {
    NOT_OFFERED,
    WORKS,
    FAILS,
};

static const struct disconnection {
    way with_reason;
    way without;
    int result;
    lines written;
} disconnections[] = {
    {NOT_OFFERED, NOT_OFFERED, -511, {"sess_link_disc E not supported"}},
    {NOT_OFFERED, WORKS, 0, {"sess_link_disc D disconnected session link by setting SESS_LINK"}},
    {NOT_OFFERED,
     FAILS,
     -500,
     {"synch_ioctl E ioctl 0x00007803 failed (rv=-1)", "sess_link_disc E HCC_IOCTL_HMI_VAR_SET ioctl failed -500"}},
    {WORKS, NOT_OFFERED, 0, {"sess_link_disc D disconnected session link by setting SESS_DISC"}},
    {WORKS, WORKS, 0, {"sess_link_disc D disconnected session link by setting SESS_DISC"}},
    {WORKS, FAILS, 0, {"sess_link_disc D disconnected session link by setting SESS_DISC"}},
    {FAILS,
     NOT_OFFERED,
     -511,
     {"synch_ioctl E ioctl 0x00007803 failed (rv=-1)", "sess_link_disc E HCC_IOCTL_HMI_VAR_SET ioctl failed -500",
      "sess_link_disc E not supported"}},
    {FAILS,
     WORKS,
     0,
     {"synch_ioctl E ioctl 0x00007803 failed (rv=-1)", "sess_link_disc E HCC_IOCTL_HMI_VAR_SET ioctl failed -500",
      "sess_link_disc D disconnected session link by setting SESS_LINK"}},
    {FAILS,
     FAILS,
     -500,
     {"synch_ioctl E ioctl 0x00007803 failed (rv=-1)", "sess_link_disc E HCC_IOCTL_HMI_VAR_SET ioctl failed -500",
      "synch_ioctl E ioctl 0x00007803 failed (rv=-1)", "sess_link_disc E HCC_IOCTL_HMI_VAR_SET ioctl failed -500"}},
};

TEST(sess_link_disc, tries_the_way_with_a_reason_and_then_the_one_without)
{
    for (const disconnection& c : disconnections) {
        expect_lines_by_level(c.written, [&](host& h, visible_link& link) {
            const auto expect_way = [&](way offered, const bytes& request) {
                h.expect_ioctl(HCC, SET, request, random_bytes(252), offered == FAILS ? -1 : 0);
            };
            if (c.with_reason != NOT_OFFERED) {
                offer(link, WRITABLE, 9);
                expect_way(c.with_reason, request_for(9, {0xEF, 0xBE, 0xAD, 0xDE}));
            }
            if (c.without != NOT_OFFERED) {
                offer(link, WRITABLE, 3);
                if (c.with_reason != WORKS)
                    expect_way(c.without, request_for(3));
            }
            EXPECT_EQ(link.sess_link_disc(0xDEADBEEF), c.result);
        });
    }
}

TEST(sess_link_disc, with_the_link_alone_writable_sends_it_without_the_reason)
{
    host h;
    constructed_link link(h);
    offer(*link, WRITABLE, 3);
    h.expect_ioctl(HCC, SET, request_for(3));
    EXPECT_EQ(link->sess_link_disc(5), 0);
}

TEST(sess_link_disc, sends_any_reason)
{
    const struct {
        unsigned int reason;
        bytes payload;
    } cases[] = {{0, {}}, {5, {5}}, {0x01020304, {4, 3, 2, 1}}, {0xFFFFFFFF, {0xFF, 0xFF, 0xFF, 0xFF}}};
    for (const auto& c : cases) {
        host h;
        constructed_link link(h);
        offer(*link, WRITABLE, 9);
        h.expect_ioctl(HCC, SET, request_for(9, c.payload));
        EXPECT_EQ(link->sess_link_disc(c.reason), 0);
    }
}

TEST(sess_link_disc, tries_both_ways_on_a_closed_device)
{
    expect_lines_by_level<closed_link>(
        {"synch_ioctl E not m_initialized", "sess_link_disc E HCC_IOCTL_HMI_VAR_SET ioctl failed -503",
         "synch_ioctl E not m_initialized", "sess_link_disc E HCC_IOCTL_HMI_VAR_SET ioctl failed -503"},
        [](host&, visible_link& link) {
            offer(link, WRITABLE, 3);
            offer(link, WRITABLE, 9);
            EXPECT_EQ(link.sess_link_disc(5), -503);
        });
    expect_lines_by_level<closed_link>({"synch_ioctl E not m_initialized",
                                        "sess_link_disc E HCC_IOCTL_HMI_VAR_SET ioctl failed -503",
                                        "sess_link_disc E not supported"},
                                       [](host&, visible_link& link) {
                                           offer(link, WRITABLE, 9);
                                           EXPECT_EQ(link.sess_link_disc(5), -511);
                                       });
}

TEST(sess_link_disc, is_available_by_bits_3_and_9_of_the_writable_map)
{
    host h;
    constructed_link link(h);
    m_log_level = VESK_LOG_OFF;
    std::vector<std::uint8_t> ids;
    h.serve_ioctl([&](int, std::uint32_t code, void* record) {
        EXPECT_EQ(code, SET);
        ids.push_back(*static_cast<std::uint8_t*>(record));
        return 0;
    });
    for (const map_member map : MAPS) {
        for (unsigned int bit = 0; bit < 256; ++bit) {
            link->hmi_avail_cmd_reset();
            offer(*link, map, bit);
            ids.clear();
            const bool available = map == WRITABLE && (bit == 3 || bit == 9);
            EXPECT_EQ(link->sess_link_disc(1), available ? 0 : -511) << "bit " << bit;
            EXPECT_EQ(ids, available ? bytes{static_cast<std::uint8_t>(bit)} : bytes()) << "bit " << bit;
        }
    }
}

// --- State of the host's session ---

static eVESK_HALDO_HMI_HOST_SESSION_STATE state_of(int value)
{
    return static_cast<eVESK_HALDO_HMI_HOST_SESSION_STATE>(value);
}

TEST(host_sess_state_set, sends_what_is_not_above_8)
{
    const struct {
        int state;
        bytes value;
        const char* written;
    } cases[] = {
        {0, {0, 0, 0, 0}, "host_sess_state_set D set host session state=0"},
        {1, {1, 0, 0, 0}, "host_sess_state_set D set host session state=1"},
        {7, {7, 0, 0, 0}, "host_sess_state_set D set host session state=7"},
        {8, {8, 0, 0, 0}, "host_sess_state_set D set host session state=8"},
        {-1, {0xFF, 0xFF, 0xFF, 0xFF}, "host_sess_state_set D set host session state=-1"},
        {INT_MIN, {0, 0, 0, 0x80}, "host_sess_state_set D set host session state=-2147483648"},
    };
    for (const auto& c : cases) {
        expect_lines_by_level({c.written}, [&](host& h, visible_link& link) {
            h.expect_ioctl(HCC, LOCAL_SET, joined({0, 0, 0, 0}, c.value), random_bytes(8));
            EXPECT_EQ(link.host_sess_state_set(state_of(c.state)), 0);
        });
    }
}

TEST(host_sess_state_set, refuses_what_is_above_8_as_not_supported)
{
    const struct {
        int state;
        const char* written;
    } cases[] = {
        {9, "host_sess_state_set E Invalid host state=9"},
        {10, "host_sess_state_set E Invalid host state=10"},
        {INT_MAX, "host_sess_state_set E Invalid host state=2147483647"},
    };
    for (const auto& c : cases) {
        const auto refused = [&](host&, visible_link& link) {
            EXPECT_EQ(link.host_sess_state_set(state_of(c.state)), -511);
        };
        expect_lines_by_level({c.written}, refused);
        expect_lines_by_level<closed_link>({c.written}, refused);
    }
}

TEST(host_sess_state_set, returns_the_failure_of_its_request)
{
    expect_lines_by_level({"synch_ioctl E ioctl 0x00007805 failed (rv=-1)",
                           "host_sess_state_set E HCC_IOCTL_HMI_LOCAL_VAR_SET ioctl failed -500"},
                          [](host& h, visible_link& link) {
                              h.expect_ioctl(HCC, LOCAL_SET, {0, 0, 0, 0, 3, 0, 0, 0}, {}, -1);
                              EXPECT_EQ(link.host_sess_state_set(state_of(3)), -500);
                          });
    expect_lines_by_level<closed_link>(
        {"synch_ioctl E not m_initialized", "host_sess_state_set E HCC_IOCTL_HMI_LOCAL_VAR_SET ioctl failed -503"},
        [](host&, visible_link& link) { EXPECT_EQ(link.host_sess_state_set(state_of(3)), -503); });
}

TEST(host_sess_state_get, gives_the_second_word_of_the_reply_without_a_line)
{
    const struct {
        bytes value;
        int state;
    } cases[] = {
        {{0, 0, 0, 0}, 0},
        {{8, 0, 0, 0}, 8},
        {{9, 0, 0, 0}, 9},
        {{0xFF, 0xFF, 0xFF, 0xFF}, -1},
        {{0x78, 0x56, 0x34, 0x12}, 0x12345678},
    };
    for (const auto& c : cases) {
        expect_lines_by_level({}, [&](host& h, visible_link& link) {
            h.expect_ioctl(HCC, LOCAL_GET, zero_filled(8), joined(random_bytes(4), c.value));
            auto state = state_of(4);
            EXPECT_EQ(link.host_sess_state_get(&state), 0);
            EXPECT_EQ(state, state_of(c.state));
        });
    }
}

TEST(host_sess_state_get, leaves_the_state_when_the_request_fails)
{
    expect_lines_by_level({"synch_ioctl E ioctl 0x00007804 failed (rv=-1)",
                           "host_sess_state_get E HCC_IOCTL_HMI_LOCAL_VAR_GET ioctl failed -500"},
                          [](host& h, visible_link& link) {
                              h.expect_ioctl(HCC, LOCAL_GET, zero_filled(8), {}, -1);
                              auto state = state_of(4);
                              EXPECT_EQ(link.host_sess_state_get(&state), -500);
                              EXPECT_EQ(state, state_of(4));
                          });
    expect_lines_by_level<closed_link>(
        {"synch_ioctl E not m_initialized", "host_sess_state_get E HCC_IOCTL_HMI_LOCAL_VAR_GET ioctl failed -503"},
        [](host&, visible_link& link) {
            auto state = state_of(4);
            EXPECT_EQ(link.host_sess_state_get(&state), -503);
            EXPECT_EQ(state, state_of(4));
        });
}

// --- Cursor shape cache ---

// Fills every entry, its memory apart.
static void fill_entries(visible_link& link)
{
    for (bmp_cache_entry& entry : link.bmp_cache) {
        std::uint8_t* const data = entry.data;
        std::memset(static_cast<void*>(&entry), 0x77, sizeof(entry));
        entry.bitmap_type = KMP_CUR_BITMAP_TYPE_COLOR;
        entry.data = data;
    }
    link.bmp_cache_last = 11;
}

// The first entries are empty and have memory of this size, the others are as fill_entries left them.
static void expect_entries(visible_link& link, int count, std::size_t size)
{
    EXPECT_EQ(link.bmp_cache_cnt, count);
    for (int i = 0; i < BMP_CACHE_MAX; ++i) {
        const bmp_cache_entry& entry = link.bmp_cache[i];
        const std::uint8_t left = i < count ? 0 : 0x77;
        EXPECT_EQ(entry.bitmap_type, i < count ? KMP_CUR_BITMAP_TYPE_ALPHA : KMP_CUR_BITMAP_TYPE_COLOR);
        for (const std::uint8_t field :
             {entry.shape_arg1, entry.shape_arg2, entry.width, entry.height, entry.and_depth, entry.xor_depth})
            EXPECT_EQ(field, left) << "entry " << i;
        EXPECT_EQ(entry.len, i < count ? 0 : 0x77777777u);
        EXPECT_EQ(entry.data != nullptr, i < count) << "entry " << i;
        if (i < count && entry.data != nullptr)
            std::memset(entry.data, 0x55, size);
    }
}

static std::string allocated(int entries, const char* size)
{
    return "init_bitmap_cache D allocated storage for " + std::to_string(entries) + " cached bitmaps with size " + size;
}

TEST(init_bitmap_cache, builds_at_most_16_empty_entries)
{
    const struct {
        std::uint16_t agreed;
        int built;
    } cases[] = {{0, 0}, {1, 1}, {3, 3}, {15, 15}, {16, 16}, {17, 16}, {40, 16}, {0xFFFF, 16}};
    for (const auto& c : cases) {
        expect_lines_by_level({allocated(c.built, "4100")}, [&](host&, visible_link& link) {
            fill_entries(link);
            agree_on_cache(link, c.agreed, 4100);
            {
                const allocations made;
                EXPECT_EQ(link.init_bitmap_cache(), 0);
                EXPECT_EQ(made.tried, c.built);
                EXPECT_TRUE(std::all_of(made.sizes, made.sizes + c.built, [](auto size) { return size == 4100; }));
                EXPECT_EQ(made.freed, 0);
            }
            expect_entries(link, c.built, 4100);
            EXPECT_EQ(link.bmp_cache_last, 0);
        });
    }
}

TEST(init_bitmap_cache, keeps_the_entries_before_the_one_without_memory)
{
    for (int failing = 0; failing < 4; ++failing) {
        const lines all = {"init_bitmap_cache E unable to allocate storage for " + std::to_string(4 - failing) +
                               " cached bitmap",
                           allocated(failing, "64")};
        expect_lines_by_level(all, [&](host&, visible_link& link) {
            agree_on_cache(link, 4, 64);
            {
                const allocations made(failing);
                EXPECT_EQ(link.init_bitmap_cache(), 0);
                EXPECT_EQ(made.tried, failing + 1);
                EXPECT_EQ(made.freed, 0);
            }
            EXPECT_EQ(link.bmp_cache_cnt, failing);
            EXPECT_EQ(link.bmp_cache_last, 0);
            for (int i = 0; i < 4; ++i) {
                EXPECT_EQ(link.bmp_cache[i].data != nullptr, i < failing);
                if (link.bmp_cache[i].data != nullptr)
                    std::memset(link.bmp_cache[i].data, 0x55, 64);
            }
        });
    }
}

TEST(init_bitmap_cache, names_the_capped_number_when_memory_runs_out)
{
    expect_lines_by_level({"init_bitmap_cache E unable to allocate storage for 1 cached bitmap", allocated(15, "8")},
                          [](host&, visible_link& link) {
                              agree_on_cache(link, 40, 8);
                              const allocations made(15);
                              EXPECT_EQ(link.init_bitmap_cache(), 0);
                              EXPECT_EQ(made.tried, 16);
                          });
}

TEST(init_bitmap_cache, asks_for_the_largest_size_that_a_client_can_name)
{
    expect_lines_by_level({"init_bitmap_cache E unable to allocate storage for 2 cached bitmap", allocated(0, "-1")},
                          [](host&, visible_link& link) {
                              agree_on_cache(link, 2, 0xFFFFFFFF);
                              const allocations made(0);
                              EXPECT_EQ(link.init_bitmap_cache(), 0);
                              EXPECT_EQ(made.sizes[0], 0xFFFFFFFFu);
                              EXPECT_EQ(link.bmp_cache_cnt, 0);
                          });
}

TEST(init_bitmap_cache, is_off_for_a_client_that_does_not_name_number_and_size)
{
    const struct {
        std::uint8_t number_supported;
        std::uint8_t size_supported;
    } cases[] = {{0, 0}, {0, 1}, {1, 0}, {0, 0xFF}, {0xFF, 0}};
    for (const auto& c : cases) {
        expect_lines_by_level({"init_bitmap_cache D bitmap caching disabled because client does not support it"},
                              [&](host&, visible_link& link) {
                                  agree_on_cache(link, 3, 64);
                                  link.kmp_pri_ctxt.cur_shape_caches_supported = c.number_supported;
                                  link.kmp_pri_ctxt.cur_shape_cache_size_supported = c.size_supported;
                                  const allocations made;
                                  EXPECT_EQ(link.init_bitmap_cache(), 0);
                                  EXPECT_EQ(link.bmp_cache_cnt, 0);
                                  EXPECT_EQ(made.tried, 0);
                              });
    }
}

TEST(init_bitmap_cache, takes_any_flag_that_is_not_zero_for_yes)
{
    host h;
    constructed_link link(h);
    agree_on_cache(*link, 3, 64);
    link->kmp_pri_ctxt.cur_shape_caches_supported = 0x80;
    link->kmp_pri_ctxt.cur_shape_cache_size_supported = 0x02;
    EXPECT_EQ(link->init_bitmap_cache(), 0);
    EXPECT_EQ(link->bmp_cache_cnt, 3);
}

TEST(init_bitmap_cache, does_not_ask_whether_the_context_is_valid)
{
    host h;
    constructed_link link(h);
    agree_on_cache(*link, 3, 64);
    link->kmp_pri_ctxt_valid = 0;
    EXPECT_EQ(link->init_bitmap_cache(), 0);
    EXPECT_EQ(link->bmp_cache_cnt, 3);
}

TEST(init_bitmap_cache, releases_the_cache_before_and_builds_it_anew)
{
    for (const int entries : {1, 5}) {
        expect_lines_by_level({allocated(3, "64"), "flush_bitmap_cache D freeing storage for 3 bitmaps",
                               "init_bitmap_cache D stored bitmap cache is already initialized",
                               allocated(entries, "128")},
                              [&](host&, visible_link& link) {
                                  agree_on_cache(link, 3, 64);
                                  EXPECT_EQ(link.init_bitmap_cache(), 0);
                                  fill_entries(link);
                                  agree_on_cache(link, static_cast<std::uint16_t>(entries), 128);
                                  {
                                      const allocations made;
                                      EXPECT_EQ(link.init_bitmap_cache(), 0);
                                      EXPECT_EQ(made.freed, 3);
                                      EXPECT_EQ(made.tried, entries);
                                  }
                                  expect_entries(link, entries, 128);
                                  EXPECT_EQ(link.bmp_cache_last, 0);
                              });
    }
}

TEST(init_bitmap_cache, releases_the_cache_of_a_client_that_no_longer_caches)
{
    expect_lines_by_level({allocated(3, "64"), "flush_bitmap_cache D freeing storage for 3 bitmaps",
                           "init_bitmap_cache D bitmap caching disabled because client does not support it"},
                          [](host&, visible_link& link) {
                              agree_on_cache(link, 3, 64);
                              EXPECT_EQ(link.init_bitmap_cache(), 0);
                              link.kmp_pri_ctxt_reset();
                              const allocations made;
                              EXPECT_EQ(link.init_bitmap_cache(), 0);
                              EXPECT_EQ(made.freed, 3);
                              EXPECT_EQ(link.bmp_cache_cnt, 0);
                          });
}

TEST(flush_bitmap_cache, releases_the_memory_and_leaves_the_rest_of_the_entries)
{
    expect_lines_by_level({allocated(3, "64"), "flush_bitmap_cache D freeing storage for 3 bitmaps"},
                          [](host&, visible_link& link) {
                              agree_on_cache(link, 3, 64);
                              EXPECT_EQ(link.init_bitmap_cache(), 0);
                              fill_entries(link);
                              {
                                  const allocations made;
                                  EXPECT_EQ(link.flush_bitmap_cache(), 0);
                                  EXPECT_EQ(made.freed, 3);
                                  EXPECT_EQ(link.flush_bitmap_cache(), 0);
                                  EXPECT_EQ(made.freed, 3);
                                  EXPECT_EQ(made.tried, 0);
                              }
                              expect_entries(link, 0, 0);
                              EXPECT_EQ(link.bmp_cache_last, 11);
                          });
}

TEST(flush_bitmap_cache, passes_over_an_entry_without_memory)
{
    host h;
    constructed_link link(h);
    agree_on_cache(*link, 3, 64);
    EXPECT_EQ(link->init_bitmap_cache(), 0);
    std::free(link->bmp_cache[1].data);
    link->bmp_cache[1].data = nullptr;
    const allocations made;
    EXPECT_EQ(link->flush_bitmap_cache(), 0);
    EXPECT_EQ(made.freed, 2);
    EXPECT_EQ(link->bmp_cache_cnt, 0);
}

TEST(flush_bitmap_cache, of_an_empty_cache_writes_nothing)
{
    expect_lines_by_level({}, [](host&, visible_link& link) {
        EXPECT_EQ(link.flush_bitmap_cache(), 0);
        EXPECT_EQ(link.bmp_cache_cnt, 0);
    });
}

TEST(bitmap_cache, is_released_with_the_link)
{
    host h;
    // Nodes that are not open are not closed: the cache's memory is all that is freed.
    expect_nodes_opened(h, ENOENT, ENOENT);
    void* memory = ::operator new(sizeof(visible_link));
    auto* link = new (memory) visible_link;
    agree_on_cache(*link, 5, 64);
    EXPECT_EQ(link->init_bitmap_cache(), 0);
    {
        const allocations made;
        link->~visible_link();
        EXPECT_EQ(made.freed, 5);
    }
    ::operator delete(memory);
}
