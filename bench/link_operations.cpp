// Every public operation of the link beside hand-written C that does the same (plain.c), against a driver that costs
// nothing and against one that is a system call. Before it is timed, an operation and its C must send the same requests
// and give the same results; what an operation allocates, locks and reads of the clock is counted.
#include "driver.h"
#include "measure.h"
#include "plain.h"
#include "vesk_haldo_link.h"
#include "vesk_requests.h"

#include <cstdio>
#include <cstring>
#include <optional>
#include <vector>

namespace
{

constexpr double GOAL_FREE_DRIVER = 1.10;
constexpr double GOAL_SYSTEM_CALL = 1.02;

class bench_link : public cVESK_HALDO_LINK
{
public:
    using cVESK_HALDO_LINK::started;

    // Everything is offered.
    void offer()
    {
        for (sVESK_HALDO_HCC_HMI_AVAIL_STRUCT* map : {&hmi_avail_cmd, &hmi_avail_get_var, &hmi_avail_set_var})
            std::memset(map, 0xFF, sizeof(*map));
        std::memset(&kmp_pri_ctxt, 1, sizeof(kmp_pri_ctxt));
        kmp_pri_ctxt.cur_shape_caches = BMP_CACHE_MAX;
        kmp_pri_ctxt.cur_shape_cache_size = 16896;
        kmp_pri_ctxt.cur_shape_max_size_x = kmp_pri_ctxt.cur_shape_max_size_y = 255;
        kmp_pri_ctxt_valid = 1;
    }

    // Gives the plain link the same maps and the same context.
    void share(plain_link* other) const
    {
        std::memcpy(other->commands, &hmi_avail_cmd, sizeof(hmi_avail_cmd));
        std::memcpy(other->readable, &hmi_avail_get_var, sizeof(hmi_avail_get_var));
        std::memcpy(other->writable, &hmi_avail_set_var, sizeof(hmi_avail_set_var));
        std::memcpy(&other->context, &kmp_pri_ctxt, sizeof(kmp_pri_ctxt));
        other->context_valid = kmp_pri_ctxt_valid;
    }

    bool agrees_with(const plain_link& other) const
    {
        plain_link same = other;
        share(&same);
        return std::memcmp(&same, &other, sizeof(same)) == 0 && other.started == started &&
               other.cached == bmp_cache_cnt && other.last == bmp_cache_last;
    }
};
static_assert(sizeof(plain_context) == sizeof(sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT));
static_assert(sizeof(plain_layout) == sizeof(sVESK_HALDO_LINK_DISP_TOPO_STRUCT));
static_assert(sizeof(plain_cached_layout) == sizeof(sVESK_HALDO_LINK_CACHE_DISP_TOPO));

bench_link ours;
plain_link plain;

// What operations take and give.
struct {
    int result;
    int number;
    unsigned int word[4];
    unsigned short half[2];
    unsigned char slot;
    eVESK_HALDO_HMI_HOST_SESSION_STATE host_state;
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT session;
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT tag;
    sVESK_HALDO_HCC_APDU_HMI_VAR_LINK_INFO_STRUCT info;
    sVESK_HALDO_HCC_APDU_HMI_VAR_IPV4_CFG_STRUCT ipv4;
    sVESK_HALDO_HCC_APDU_HMI_VAR_CONN_PORT_STRUCT port;
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_STAT_STRUCT statistics;
    sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT wol;
    sVESK_HALDO_LINK_IMG_USER_CFG_STRUCT imaging;
    sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT firmware_layout;
    sVESK_HALDO_LINK_DISP_TOPO_STRUCT reported_layout;
    sVESK_HALDO_LINK_CACHE_DISP_TOPO cached_layout;
    unsigned char flipped[4224];
} out;

sVESK_HALDO_LINK_DISP_TOPO_STRUCT layout{
    4, {{0, 0, 1920, 1080, 0}, {1920, 0, 1920, 1200, 1}, {-1280, 0, 1280, 1024, 0}, {0, 1080, 2560, 1440, 2}}};
sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT driver_configuration{KMP_DRIVER_CFG_LOCAL_TABLET, 1};

// A COLOR cursor of 32 by 32 px with 32 bits, and one that differs in its first word each time. Transparent bits: one,
// in the top row.
constexpr unsigned int SHAPE_LEN = 32 * 4 + 32 * 32 * 4;
unsigned char shape[SHAPE_LEN];
std::uint32_t new_shape[SHAPE_LEN / 4];
#define SHAPE_ARGUMENTS(bitmap)                                                                                        \
    1, 2, 32, 32, 1, 32, reinterpret_cast<const unsigned char*>(bitmap), SHAPE_LEN, KMP_CUR_BITMAP_TYPE_COLOR

// What the driver answers with where zeros would leave little to do.
unsigned char session_state[2] = {HMI_SESS_LINK_CONNECTED, 0};
const sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT cached_reply{
    {0, 0, {layout.disp[0], layout.disp[1], {}, {}}},
    {60, 75, IMG_RATE_NOT_ACTIVE, IMG_RATE_NO_CACHING},
    1,
    {{"VSK", {}, "0001", {}, "serial", {}, "a monitor", {}}, {}, {}, {}}};
const std::uint32_t everything = 0xFFFFFFFF;

using answer = driver_answer;
constexpr answer zeros{};
const answer all_commands{HCC_IOCTL_HMI_AVAIL_CMD.code, 0, sizeof(everything), &everything};
const answer connected{HCC_IOCTL_HMI_VAR_GET.code, 4, sizeof(session_state), session_state};
const answer four_displays{HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET.code, 8, sizeof(layout.disp), layout.disp};
const answer cached_displays{HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET.code, 0, sizeof(cached_reply), &cached_reply};

struct operation {
    const char* name; // as the header declares it
    const char* variant;
    const answer& reply;
    loop_function ours;
    loop_function plain;
    bool asks = false; // the C asks what the operation has to ask, and is no goal
};

// clang-format off
// An operation and its C, with the same arguments; REPLIED: with an answer of the driver that is not all zero.
#define MEASURED(name, variant, reply, our_call, plain_call) \
    {#name, variant, reply, loop<[] { our_call; }>, loop<[] { plain_call; }>}
#define REPLIED(name, variant, reply, ...)                                                                             \
    MEASURED(name, variant, reply, out.result = ours.name(__VA_ARGS__),                                                \
             out.result = plain_##name(&plain __VA_OPT__(, ) __VA_ARGS__))
#define SAME(name, ...) REPLIED(name, "", zeros, __VA_ARGS__)
#define RESULTLESS(name, variant, reply, ...)                                                                          \
    MEASURED(name, variant, reply, ours.name(__VA_ARGS__), plain_##name(&plain __VA_OPT__(, ) __VA_ARGS__))
#define ASKING(name, ...)                                                                                              \
    {#name, "beside C that asks the same", zeros, loop<[] { out.result = ours.name(__VA_ARGS__); }>,                   \
     loop<[] { out.result = plain_asking_##name(&plain __VA_OPT__(, ) __VA_ARGS__); }>, true}
#define PREDICATE(name) SAME(name),

const operation operations[] = {
    MEASURED(cVESK_HALDO_LINK, "and its destructor", all_commands, cVESK_HALDO_LINK made,
             plain_link made; plain_open(&made); plain_close(&made)),
    MEASURED(start, "", zeros, ours.started = 0; out.result = ours.start(),
             plain.started = 0; out.result = plain_start(&plain)),
    MEASURED(stop, "", zeros, ours.started = 1; ours.stop(), plain.started = 1; plain_stop(&plain)),
    PLAIN_PREDICATES(PREDICATE)
    RESULTLESS(hmi_avail_cmd_reset, "", zeros),
    RESULTLESS(hmi_avail_cmd_get, "", all_commands),
    RESULTLESS(hmi_avail_get_var_get, "", zeros),
    RESULTLESS(hmi_avail_set_var_get, "", zeros),
    SAME(wol_cfg_get_avail),
    SAME(wol_cfg_set_avail),
    SAME(sess_link_get, &out.session),
    RESULTLESS(link_heartbeat, "nothing new", zeros, &out.number, &out.session),
    MEASURED(link_heartbeat, "a new session", connected,
             ++session_state[1]; ours.link_heartbeat(&out.number, &out.session),
             ++session_state[1]; plain_link_heartbeat(&plain, &out.number, &out.session)),
    SAME(sess_link_disc, 1),
    SAME(host_sess_state_set, HMI_HOST_SESSION_STATE_LAST),
    SAME(host_sess_state_get, &out.host_state),
    SAME(sess_tag_get, &out.tag),
    SAME(sess_tag_set, &out.tag),
    SAME(is_sess_view_brokered),
    SAME(link_info_get, &out.info),
    SAME(ipv4_cfg_get, &out.ipv4),
    SAME(conn_port_get, &out.port),
    SAME(sess_stat_get, &out.statistics),
    SAME(sess_stat_reset),
    SAME(unicode_set, 1),
    SAME(local_info_get, &out.word[0]),
    SAME(wol_cfg_get, &out.wol),
    SAME(wol_cfg_set, &out.wol),
    SAME(img_user_cfg_set, 50),
    SAME(img_user_cfg_cache_set, 50),
    SAME(img_user_cfg_req_get, &out.imaging),
    SAME(disp_topology_get, &out.firmware_layout),
    REPLIED(async_disp_topology_get, "", four_displays, &out.reported_layout, &out.word[0]),
    REPLIED(disp_topology_send, "", connected, &layout, 1920, 1080, 1),
    REPLIED(cache_disp_topology_get, "", cached_displays, &out.cached_layout),
    SAME(hdc_open),
    SAME(hdc_close),
    RESULTLESS(kmp_pri_ctxt_get, "", zeros),
    SAME(kmp_pri_ctxt_reset),
    MEASURED(kmp_context, "", zeros, out.result = ours.kmp_context()->cur_shape_caches,
             out.result = plain_kmp_context(&plain)->caches),
    SAME(lcur_lkbd_enable),
    SAME(lcur_lkbd_disable),
    SAME(lcur_lkbd_dev_feat_stat_get, &out.word[0]),
    SAME(lcur_lkbd_last_stat_get, &out.word[0], &out.word[1], &out.word[2], &out.word[3]),
    SAME(lcur_idle_hide_set, 1),
    SAME(lcur_spd_set, 100),
    ASKING(lcur_spd_set, 100),
    SAME(lcur_spd_get, &out.word[0]),
    SAME(lcur_change_shape_send, 1),
    SAME(lcur_pointer_visibility_set, 1, 1),
    SAME(lcur_pointer_location_set, 1, 2, 3),
    SAME(lcur_pointer_location_set_if_new, 2, 3),
    SAME(lkbd_repeat_rates_set, 2, 3),
    SAME(lkbd_repeat_rates_get, &out.half[0], &out.half[1]),
    ASKING(lkbd_repeat_rates_get, &out.half[0], &out.half[1]),
    SAME(proc_new_hoip_tablets),
    ASKING(proc_new_hoip_tablets),
    SAME(send_hoip_host_ready),
    SAME(kmp_driver_cfg_set, &driver_configuration),
    SAME(lcur_shape_size_valid, 32, 32, KMP_CUR_BITMAP_TYPE_COLOR),
    REPLIED(lcur_shape_bmp_send, "cached", zeros, SHAPE_ARGUMENTS(shape)),
    MEASURED(lcur_shape_bmp_send, "a new shape", zeros,
             ++new_shape[0]; out.result = ours.lcur_shape_bmp_send(SHAPE_ARGUMENTS(new_shape)),
             ++new_shape[0]; out.result = plain_lcur_shape_bmp_send(&plain, SHAPE_ARGUMENTS(new_shape))),
    MEASURED(flip_bitmap, "", zeros,
             out.result = cVESK_HALDO_LINK::flip_bitmap(32, 32, 32, SHAPE_LEN, shape, out.flipped, &out.number),
             out.result = plain_flip_bitmap(32, 32, 32, SHAPE_LEN, shape, out.flipped, &out.number)),
    SAME(init_bitmap_cache),
    MEASURED(flush_bitmap_cache, "behind init_bitmap_cache", zeros,
             ours.init_bitmap_cache(); out.result = ours.flush_bitmap_cache(),
             plain_init_bitmap_cache(&plain); out.result = plain_flush_bitmap_cache(&plain)),
    RESULTLESS(add_bitmap_to_cache, "", zeros, SHAPE_ARGUMENTS(shape)),
    REPLIED(is_bitmap_cached, "", zeros, SHAPE_ARGUMENTS(shape), &out.slot),
};
// clang-format on

void prepare(const operation& one)
{
    driver = nullptr;
    driver_reply = one.reply;
    ours.offer();
    ours.share(&plain);
    ours.init_bitmap_cache();
    plain_init_bitmap_cache(&plain);
    ours.add_bitmap_to_cache(SHAPE_ARGUMENTS(shape));
    plain_add_bitmap_to_cache(&plain, SHAPE_ARGUMENTS(shape));
}

// The requests of one call: code, record.
std::vector<unsigned char> journal;

int noting(unsigned long request, void* record)
{
    const auto* const bytes = static_cast<const unsigned char*>(record);
    for (const sVESK_REQUEST_STRUCT& known : vesk_requests) {
        if (known.code != request)
            continue;
        std::uint32_t length = known.length;
        if (length == VESK_LENGTH_VARIES)
            std::memcpy(&length, bytes + offsetof(sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT, length), sizeof(length));
        journal.insert(journal.end(), {static_cast<unsigned char>(request >> 8), static_cast<unsigned char>(request)});
        journal.insert(journal.end(), bytes, bytes + length);
        return 0;
    }
    std::fprintf(stderr, "unknown request 0x%lX\n", request);
    return -1;
}

struct trace {
    std::vector<unsigned char> requests;
    std::vector<unsigned char> results;
    driver_counts calls;
};

// The second of two calls.
trace trace_of(loop_function call)
{
    session_state[1] = 100;
    new_shape[0] = 0;
    call(1);
    std::memset(&out, 0, sizeof(out));
    journal.clear();
    journal.reserve(2 * SHAPE_LEN);
    driver = noting;
    driver_calls = {};
    call(1);
    const driver_counts calls = driver_calls;
    driver = nullptr;
    const auto* const results = reinterpret_cast<const unsigned char*>(&out);
    return {journal, {results, results + sizeof(out)}, calls};
}

} // namespace

int main()
{
    claim_standard_output();
    const std::size_t top_row = 31 * 4;
    shape[top_row] = 0x80;
    reinterpret_cast<unsigned char*>(new_shape)[top_row] = 0x80;
    plain_open(&plain);

    int failures = 0;
    for (const operation& one : operations) {
        prepare(one);
        const trace of_ours = trace_of(one.ours);
        const trace of_plain = trace_of(one.plain);
        if (of_ours.requests != of_plain.requests || of_ours.results != of_plain.results || !ours.agrees_with(plain)) {
            std::fprintf(stderr, "%s %s: the C beside it does something else\n", one.name, one.variant);
            ++failures;
            continue;
        }
        comparison what{.part = "link",
                        .row = std::string(one.name) + (*one.variant != '\0' ? ", " : "") + one.variant,
                        .against = "the same in C, free driver",
                        .goal = one.asks ? std::nullopt : std::optional(GOAL_FREE_DRIVER),
                        .more = ""};
        const std::string name = std::string(", \"operation\": \"") + one.name + "\", ";
        what.more = name + "\"driver\": \"free\", \"allocations\": " + std::to_string(of_ours.calls.allocations) +
                    ", \"locks\": " + std::to_string(of_ours.calls.locks) +
                    ", \"clock_reads\": " + std::to_string(of_ours.calls.clock_reads);
        print(what, measure(one.ours, one.plain));
        if (of_ours.requests.empty() || one.asks)
            continue;
        driver = driver_system_call;
        what.against = "the same in C, system call";
        what.goal = GOAL_SYSTEM_CALL;
        what.more = name + "\"driver\": \"system call\"";
        print(what, measure(one.ours, one.plain));
    }
    return failures == 0 ? 0 : 1;
}
