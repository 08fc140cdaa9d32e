// Every public operation of the link beside the reference of its idiom (reference.h), against a driver that costs
// nothing and against one that is a system call. Before it is timed, both must send the same requests and give the same
// results; what an operation allocates, locks and reads of the clock is counted. --list prints the operations instead.
#include "driver.h"
#include "measure.h"
#include "reference.h"
#include "vesk_haldo_link.h"
#include "vesk_requests.h"

#include <cstdio>
#include <cstring>
#include <vector>

namespace
{

constexpr double GOAL_FREE_DRIVER = 1.05;
constexpr double GOAL_SYSTEM_CALL = 1.02;

cVESK_HALDO_LINK ours;
reference_link reference;
const auto* const readable = &reference.hmi_avail_get_var;
const auto* const writable = &reference.hmi_avail_set_var;

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
#define SHAPE(bitmap)                                                                                                  \
    1, 2, 32, 32, 1, 32, reinterpret_cast<const unsigned char*>(bitmap), SHAPE_LEN, KMP_CUR_BITMAP_TYPE_COLOR

// What the driver answers with where zeros would leave little to do.
unsigned char session_state[2] = {HMI_SESS_LINK_CONNECTED, 0};
const sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT cached_reply{
    {0, 0, {layout.disp[0], layout.disp[1], {}, {}}},
    {60, 75, IMG_RATE_NOT_ACTIVE, IMG_RATE_NO_CACHING},
    1,
    {{"VSK", {}, "0001", {}, "serial", {}, "a monitor", {}}, {}, {}, {}}};
const std::uint32_t everything = 0xFFFFFFFF;
std::uint32_t one = 1;

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
    loop_function reference;
};

using value = sVESK_HALDO_HDC_KMP_VALUE_STRUCT;
using position = sVESK_HALDO_HDC_KMP_CUR_POS_STRUCT; // as a visibility lies too: its byte and three zeros
using new_position = sVESK_HALDO_HDC_KMP_CUR_POS_IF_NEW_STRUCT;
using rates = sVESK_HALDO_HDC_KMP_KBD_REPEAT_STRUCT;
using status = sVESK_HALDO_HDC_KMP_LAST_STAT_STRUCT;
using local = sVESK_HALDO_HCC_HMI_LOCAL_VAR_STRUCT;
using preference = sVESK_HALDO_HCC_IMG_USER_CFG_SET_STRUCT;
using requested = sVESK_HALDO_HCC_IMG_USER_CFG_REQ_STRUCT;

// clang-format off
#define UNWRAPPED(...) __VA_ARGS__
#define BEHIND_LINK(...) (reference __VA_OPT__(, ) __VA_ARGS__)
#define ASKS(...)                                                                                                      \
    []([[maybe_unused]] const reference_link& link, [[maybe_unused]] const auto& record) { return __VA_ARGS__; }
#define MADE(record) []([[maybe_unused]] auto... values) { return record; }
#define OFFERS(map, id) reference_is_offered(*map, id)
#define AGREED(flag) link.context.agreed.flag != 0 && link.context.valid != 0

#define MEASURED(name, variant, reply, our_call, ...) \
    {#name, variant, reply, loop<[] { our_call; }>, loop<[] { __VA_ARGS__; }>}
#define RESULT(name, variant, reply, arguments, reference_call) \
    MEASURED(name, variant, reply, out.result = ours.name arguments, out.result = (reference_call))
#define NOTHING(name, variant, reply, arguments, reference_call) \
    MEASURED(name, variant, reply, ours.name arguments, reference_call)

// A predicate over a capability map, and one over the context; a variable read or written; a record sent or received,
// with its log statements and what is asked before; a request without one.
#define OFFERED(name, map, variable, words) \
    RESULT(name, "", zeros, (), reference_offered(reference.map, HMI_VAR_##variable)),
#define AGREES(name, ...) \
    RESULT(name, "", zeros, (), reference_agreed<[](const reference_link& link) { return __VA_ARGS__; }>(reference)),
#define VARIABLE(name, arguments, access, payload, ...)                                                                \
    MEASURED(name, "", zeros, out.result = ours.name arguments,                                                        \
             static const reference_variable row{__VA_ARGS__}; out.result = access(reference, row, payload)),
#define READ(name, map, id, out, access) \
    VARIABLE(name, (&out), access, &out, HCC_IOCTL_HMI_VAR_GET, map, id, sizeof(out))
#define WRITTEN(name, arguments, map, id, payload, size, access) \
    VARIABLE(name, arguments, access, payload, HCC_IOCTL_HMI_VAR_SET, map, id, size)
#define SENT(name, arguments, request, record, statements, ...)                                                        \
    RESULT(name, "", zeros, arguments,                                                                                 \
           (reference_send<request, statements, ASKS(__VA_ARGS__), MADE(record)> BEHIND_LINK arguments)),
#define RECEIVED(name, arguments, request, record, members, statements, ...)                                           \
    RESULT(name, "", zeros, arguments,                                                                                 \
           (reference_receive<request, statements, ASKS(__VA_ARGS__), MADE(record), UNWRAPPED members>                 \
            BEHIND_LINK arguments)),
#define PASSED(name, arguments, request, record, statements) \
    RESULT(name, "", zeros, arguments, (reference_pass<request, statements>(reference, record))),

const operation operations[] = {
    MEASURED(cVESK_HALDO_LINK, "and its destructor", all_commands, cVESK_HALDO_LINK made,
             reference_link made; reference_open(&made); reference_close(&made)),
    MEASURED(start, "and stop", zeros, ours.start(); ours.stop(),
             reference_start(&reference); reference_stop(&reference)),
    NOTHING(stop, "not started", zeros, (), reference_stop(&reference)),
    RESULT(is_ready, "", zeros, (), reference_is_ready(reference)),

    VESK_HMI_PREDICATE_TABLE(OFFERED)
    AGREES(lcur_lkbd_avail, AGREED(haldo_kmp_1_supported))
    AGREES(lcur_shape_bmp_send_avail, AGREED(cur_shape_bmp_alpha))
    AGREES(lcur_spd_avail, AGREED(cur_speed_update_enable))
    AGREES(lcur_idle_hide_avail, AGREED(cur_shape_fadeout_enable))
    AGREES(lkbd_client_auto_repeat_avail, AGREED(kbd_client_auto_repeat_supported))
    AGREES(hoip_avail, link.context.agreed.hoip_supported != 0 && AGREED(hoip_enable))
    AGREES(lcur_disable_avail, link.context.agreed.usb_supported != 0 && link.context.agreed.usb_enable != 0)
    RESULT(is_client_sc, "", zeros, (), VESK_OK == reference_agreed<[](const reference_link& link) {
        return link.context.valid != 0 && link.context.agreed.cur_shape_fadeout_enable == 0; }>(reference)),

    // Capability maps.
    NOTHING(hmi_avail_cmd_reset, "", zeros, (), reference_maps_clear(&reference)),
    NOTHING(hmi_avail_cmd_get, "", all_commands, (), reference_maps_get(&reference)),
    NOTHING(hmi_avail_get_var_get, "", zeros, (),
            reference_map_get(reference, HCC_IOCTL_HMI_VAR_GET, &reference.hmi_avail_get_var)),
    NOTHING(hmi_avail_set_var_get, "", zeros, (),
            reference_map_get(reference, HCC_IOCTL_HMI_VAR_SET, &reference.hmi_avail_set_var)),
    RESULT(wol_cfg_get_avail, "", zeros, (), reference_offered_unbrokered(reference, *readable, HMI_VAR_WOL_CFG)),
    RESULT(wol_cfg_set_avail, "", zeros, (), reference_offered_unbrokered(reference, *writable, HMI_VAR_WOL_CFG)),

    // Variables.
    READ(sess_link_get, readable, HMI_VAR_SESS_LINK, out.session, reference_access)
    READ(sess_tag_get, nullptr, HMI_VAR_SESS_TAG, out.tag, reference_traced)
    READ(link_info_get, readable, HMI_VAR_LINK_INFO, out.info, reference_framed)
    READ(ipv4_cfg_get, readable, HMI_VAR_IPV4_CFG, out.ipv4, reference_framed)
    READ(conn_port_get, readable, HMI_VAR_CONN_PORT, out.port, reference_framed)
    READ(sess_stat_get, readable, HMI_VAR_SESS_STAT, out.statistics, reference_access)
    WRITTEN(sess_link_disc, (1), writable, HMI_VAR_SESS_DISC, 1, sizeof(out.word[0]), reference_set_word)
    WRITTEN(sess_tag_set, (&out.tag), writable, HMI_VAR_SESS_TAG, &out.tag, sizeof(out.tag), reference_traced)
    WRITTEN(sess_stat_reset, (), writable, HMI_VAR_SESS_STAT, &out, 0, reference_framed)
    WRITTEN(unicode_set, (1), writable, HMI_VAR_UNICODE, 1, sizeof(out.word[0]), reference_set_word)
    RESULT(is_sess_view_brokered, "", zeros, (), reference_is_brokered(reference)),
    VARIABLE(wol_cfg_get, (&out.wol), reference_traced, &out.wol, HCC_IOCTL_HMI_VAR_GET, readable, HMI_VAR_WOL_CFG,
             sizeof(out.wol), true)
    VARIABLE(wol_cfg_set, (&out.wol), reference_traced, &out.wol, HCC_IOCTL_HMI_VAR_SET, readable, HMI_VAR_WOL_CFG,
             sizeof(out.wol), true)
    SENT(host_sess_state_set, (HMI_HOST_SESSION_STATE_LAST), HCC_IOCTL_HMI_LOCAL_VAR_SET,
         local(HMI_LOCAL_VAR_HOST_SESS_STATE, values...), 1,
         record.value <= HMI_HOST_SESSION_STATE_LAST)
    RECEIVED(host_sess_state_get, (&out.host_state), HCC_IOCTL_HMI_LOCAL_VAR_GET,
             local(HMI_LOCAL_VAR_HOST_SESS_STATE, 0), (&local::value), 0, true)
    RECEIVED(local_info_get, (&out.word[0]), HCC_IOCTL_HMI_LOCAL_VAR_GET, local(HMI_LOCAL_VAR_LOCAL_INFO, 0),
             (&local::value), 0, true)
    NOTHING(link_heartbeat, "nothing new", zeros, (&out.number, &out.session),
            reference_heartbeat(&reference, &out.number, &out.session)),
    MEASURED(link_heartbeat, "a new session", connected,
             ++session_state[1]; ours.link_heartbeat(&out.number, &out.session),
             ++session_state[1]; reference_heartbeat(&reference, &out.number, &out.session)),

    // Imaging and layouts.
    SENT(img_user_cfg_set, (50), HCC_IOCTL_IMG_USER_CFG_SET, preference(IMG_MSG_USER_CFG_SET, 0, values..., 0), 0,
         record.value <= IMG_USER_CFG_MAX && OFFERS(writable, HMI_VAR_IMG_USER_EXT_CFG))
    SENT(img_user_cfg_cache_set, (50), HCC_IOCTL_IMG_USER_CFG_CACHE_SET,
         preference(IMG_MSG_USER_CFG_CACHE_SET, 0, values..., 0), 0,
         record.value <= IMG_USER_CFG_MAX && OFFERS(writable, HMI_VAR_IMG_USER_EXT_CFG))
    MEASURED(img_user_cfg_req_get, "", zeros, out.result = ours.img_user_cfg_req_get(&out.imaging),
             out.result = reference_receive<HCC_IOCTL_IMG_USER_CFG_REQ_GET, 1,
                 ASKS(OFFERS(readable, HMI_VAR_IMG_USER_EXT_CFG)), MADE(requested(IMG_MSG_USER_CFG_REQ_GET, 0, 0, 0)),
                 &requested::qual, &requested::b2l>(reference, &out.imaging.qual, &out.imaging.b2l)),
    RESULT(disp_topology_get, "", zeros, (&out.firmware_layout),
           reference_layout_pass(reference, &out.firmware_layout)),
    RESULT(async_disp_topology_get, "", four_displays, (&out.reported_layout, &out.word[0]),
           reference_layout_get(reference, &out.reported_layout, &out.word[0])),
    RESULT(disp_topology_send, "", connected, (&layout, 1920, 1080, 1),
           reference_layout_send(reference, &layout, 1920, 1080, 1)),
    RESULT(cache_disp_topology_get, "", cached_displays, (&out.cached_layout),
           reference_cached_layout_get(reference, &out.cached_layout)),

    // The KMP path and context.
    RESULT(hdc_open, "", zeros, (), reference_path_open(reference)),
    RESULT(hdc_close, "", zeros, (), reference_path_close(reference)),
    NOTHING(kmp_pri_ctxt_get, "", zeros, (), reference_context_get(&reference)),
    RESULT(kmp_pri_ctxt_reset, "", zeros, (), reference_context_clear(&reference)),
    MEASURED(kmp_context, "", zeros, out.result = ours.kmp_context()->cur_shape_caches,
             out.result = reference.context.valid != 0 ? reference.context.agreed.cur_shape_caches : 0),

    // Cursor, keyboard and tablets.
    SENT(lcur_lkbd_enable, (), HDC_IOCTL_KMP_FEAT_EN, value(KMP_MSG_FEAT_EN, 1), 1, AGREED(haldo_kmp_1_supported))
    SENT(lcur_lkbd_disable, (), HDC_IOCTL_KMP_FEAT_EN, value(KMP_MSG_FEAT_EN, 0), 1, AGREED(haldo_kmp_1_supported))
    RECEIVED(lcur_lkbd_dev_feat_stat_get, (&out.word[0]), HDC_IOCTL_KMP_FEAT_STAT_GET, value(), (&value::value), 1,
             true)
    RECEIVED(lcur_lkbd_last_stat_get, (&out.word[0], &out.word[1], &out.word[2], &out.word[3]),
             HDC_IOCTL_KMP_LAST_STAT_GET, status(),
             (&status::status, &status::count, &status::hoip_hid_devices, &status::hoip_tablet_activate_ack), 1, true)
    SENT(lcur_idle_hide_set, (1), HDC_IOCTL_KMP_CUR_IDLE_HIDE, value(KMP_MSG_CUR_IDLE_HIDE, values...), 2,
         AGREED(cur_shape_fadeout_enable))
    SENT(lcur_spd_set, (100), HDC_IOCTL_KMP_CUR_SPD_SET, value(KMP_MSG_CUR_SPD, values...), 1,
         AGREED(cur_speed_update_enable) && record.value >= KMP_CUR_SPD_MIN && record.value <= KMP_CUR_SPD_MAX)
    RECEIVED(lcur_spd_get, (&out.word[0]), HDC_IOCTL_KMP_CUR_SPD_GET, value(), (&value::value), 1,
             AGREED(cur_speed_update_enable))
    RESULT(lcur_change_shape_send, "", zeros, (1), reference_select(reference, 1)),
    SENT(lcur_pointer_visibility_set, (1, 1), VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS,
         position(KMP_MSG_CUR_VIS, values..., 0), 1, true)
    SENT(lcur_pointer_location_set, (1, 2, 3), VESK_HALDO_HDC_IOCTL_KMP_CUR_POS,
         position(KMP_MSG_CUR_POS, values...), 1, true)
    SENT(lcur_pointer_location_set_if_new, (2, 3), VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW,
         new_position(values...), 0, true)
    SENT(lkbd_repeat_rates_set, (3, 3), HDC_IOCTL_KMP_KBD_REPEAT, rates(KMP_MSG_KBD_REPEAT, 0, values...), 1, true)
    RECEIVED(lkbd_repeat_rates_get, (&out.half[0], &out.half[1]), HDC_IOCTL_KMP_KBD_REPEAT_GET, rates(),
             (&rates::delay, &rates::interval), 2, AGREED(kbd_client_auto_repeat_supported))
    PASSED(proc_new_hoip_tablets, (), HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB, nullptr, 1)
    PASSED(send_hoip_host_ready, (), HDC_IOCTL_KMP_HOIP_HOST_RDY, nullptr, 1)
    SENT(kmp_driver_cfg_set, (&driver_configuration), HDC_IOCTL_KMP_DRIVER_CFG_SET,
         ((values != nullptr ? *values : decltype(driver_configuration){}), ...), 1,
         record.type <= KMP_DRIVER_CFG_LOCAL_TABLET && record.setting <= 1)

    // Cursor shapes.
    RESULT(lcur_shape_size_valid, "", zeros, (32, 32, KMP_CUR_BITMAP_TYPE_COLOR),
           reference_size_valid(reference, 32, 32, KMP_CUR_BITMAP_TYPE_COLOR)),
    RESULT(lcur_shape_bmp_send, "cached", zeros, (SHAPE(shape)), reference_shape_send(&reference, SHAPE(shape))),
    MEASURED(lcur_shape_bmp_send, "a new shape", zeros,
             ++new_shape[0]; out.result = ours.lcur_shape_bmp_send(SHAPE(new_shape)),
             ++new_shape[0]; out.result = reference_shape_send(&reference, SHAPE(new_shape))),
    RESULT(flip_bitmap, "", zeros, (32, 32, 32, SHAPE_LEN, shape, out.flipped, &out.number),
           reference_flip(32, 32, 32, SHAPE_LEN, shape, out.flipped, &out.number)),
    RESULT(init_bitmap_cache, "", zeros, (), reference_cache_init(&reference)),
    MEASURED(flush_bitmap_cache, "behind init_bitmap_cache", zeros,
             ours.init_bitmap_cache(); out.result = ours.flush_bitmap_cache(),
             reference_cache_init(&reference); out.result = reference_cache_flush(&reference)),
    NOTHING(add_bitmap_to_cache, "", zeros, (SHAPE(shape)), reference_cache_add(&reference, SHAPE(shape))),
    RESULT(is_bitmap_cached, "", zeros, (SHAPE(shape), &out.slot),
           reference_cache_find(reference, SHAPE(shape), &out.slot)),
};
// clang-format on

// Bytes of a request's record.
std::uint32_t length_of(unsigned long request, const void* record)
{
    std::uint32_t length = 0;
    for (const sVESK_REQUEST_STRUCT& known : vesk_requests)
        if (known.code == request)
            length = known.length;
    if (length == VESK_LENGTH_VARIES)
        length = static_cast<const sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT*>(record)->length;
    return length;
}

// Firmware that offers everything, to a client that takes everything.
int offering(unsigned long request, void* record)
{
    if (request == HCC_IOCTL_KMP_PRI_CTXT_GET.code) {
        auto* const context = static_cast<sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT*>(record);
        std::memset(context, 1, sizeof(*context));
        context->cur_shape_caches = BMP_CACHE_MAX;
        context->cur_shape_cache_size = 16896;
    } else {
        std::memset(record, 0xFF, length_of(request, record));
    }
    return 0;
}

void prepare(const operation& one)
{
    driver_reply = zeros;
    driver = offering;
    ours.hmi_avail_cmd_get();
    ours.kmp_pri_ctxt_get();
    ours.init_bitmap_cache();
    ours.add_bitmap_to_cache(SHAPE(shape));
    reference_maps_get(&reference);
    reference_context_get(&reference);
    reference_cache_init(&reference);
    reference_cache_add(&reference, SHAPE(shape));
    driver = nullptr;
    driver_reply = one.reply;
}

// The requests of one call: code, record.
std::vector<unsigned char> journal;

int noting(unsigned long request, void* record)
{
    const auto* const bytes = static_cast<const unsigned char*>(record);
    journal.insert(journal.end(), {static_cast<unsigned char>(request >> 8), static_cast<unsigned char>(request)});
    journal.insert(journal.end(), bytes, bytes + length_of(request, record));
    return 0;
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

int main(int argc, char** argv)
{
    if (argc == 2 && std::strcmp(argv[1], "--list") == 0) {
        for (const operation& one : operations)
            std::puts(one.name);
        return 0;
    }
    claim_standard_output();
    const std::size_t top_row = 31 * 4;
    shape[top_row] = 0x80;
    reinterpret_cast<unsigned char*>(new_shape)[top_row] = 0x80;
    reference_open(&reference);

    int failures = 0;
    for (const operation& one : operations) {
        prepare(one);
        const trace of_ours = trace_of(one.ours);
        const trace of_reference = trace_of(one.reference);
        if (of_ours.requests != of_reference.requests || of_ours.results != of_reference.results) {
            std::fprintf(stderr, "%s %s: its reference does something else\n", one.name, one.variant);
            ++failures;
            continue;
        }
        comparison what{.part = "link",
                        .row = std::string(one.name) + (*one.variant != '\0' ? ", " : "") + one.variant,
                        .against = "its idiom, free driver",
                        .goal = GOAL_FREE_DRIVER,
                        .more = ""};
        const std::string name = std::string(", \"operation\": \"") + one.name + "\", ";
        what.more = name + "\"driver\": \"free\", \"allocations\": " + std::to_string(of_ours.calls.allocations) +
                    ", \"locks\": " + std::to_string(of_ours.calls.locks) +
                    ", \"clock_reads\": " + std::to_string(of_ours.calls.clock_reads);
        print(what, measure(one.ours, one.reference));
        if (of_ours.requests.empty())
            continue;
        driver = driver_system_call;
        what.against = "its idiom, system call";
        what.goal = GOAL_SYSTEM_CALL;
        what.more = name + "\"driver\": \"system call\"";
        print(what, measure(one.ours, one.reference));
    }
    return failures == 0 ? 0 : 1;
}
