// A card without a card: the state of a host card and its driver, whatever carries requests to it. The carrier in
// cuse/ puts it behind the two device nodes of a real kernel; a unit test calls it from its own open, ioctl and close.
#pragma once

#include "cursor_client.h"
#include "vesk_hcc_records.h"
#include "vesk_kmp_records.h"
#include "vesk_requests.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <map>
#include <random>
#include <span>
#include <string_view>
#include <vector>

namespace cardsim
{

// The request table's entry for this code, or null.
const sVESK_REQUEST_STRUCT* find_request(std::uint32_t code);

// The number of bytes that the record of a request has, for a carrier that must fetch them: 0 for a code that is not in
// the table. A record that states its own length does so in its first 20 bytes: with less of it in head the result is
// 20, and the carrier asks again once it has them.
std::size_t record_length(std::uint32_t code, std::span<const std::uint8_t> head = {});

// What the firmware and the client of the session offer: everything, unless a test takes it away.
struct settings {
    static constexpr std::uint32_t all_commands = (1U << HMI_CMD_COUNT) - 1;
    static constexpr std::uint32_t all_variables = (1U << HMI_VAR_COUNT) - 1;

    sVESK_HALDO_HCC_HMI_AVAIL_STRUCT commands{{all_commands}};
    sVESK_HALDO_HCC_HMI_AVAIL_STRUCT readable{{all_variables}};
    sVESK_HALDO_HCC_HMI_AVAIL_STRUCT writable{{all_variables}};
    sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT kmp_context = full_client();

    // A client that can do everything, with 16 cache entries for cursors of up to 64 by 64 pixels of 32 bits.
    static sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT full_client();
};

// How a variable may be accessed: read; written, and kept; written with zero, which resets it or disconnects.
enum access : unsigned {
    READ = 1,
    KEEP = 2,
    ZERO = 4,
};

// The HMI variables that the card keeps: name, access, type, the member of contents that holds one, and what that is at
// first. A VALUE is known to profiles and commands by its member's name, as a number or as words; the fields of a
// RECORD have keys of their own, in fields.cpp. Where words are the firmware's to interpret all of them differ, so that
// one that is lost or moved shows.
// clang-format off
#define CARDSIM_VARIABLES(VALUE, RECORD) \
    VALUE(LINK_INFO,  READ,        sVESK_HALDO_HCC_APDU_HMI_VAR_LINK_INFO_STRUCT, link_info, \
          {{1, 1000, 2, 1500, 0x02000000, 7, 86400, 3}}) \
    VALUE(IPV4_CFG,   READ,        sVESK_HALDO_HCC_APDU_HMI_VAR_IPV4_CFG_STRUCT, ipv4, \
          {{1, 0xC000020A, 0xFFFFFF00, 0xC0000201, 0xC0000202, 0xC0000203, \
            6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19, 20}}) \
    RECORD(SESS_LINK, READ | ZERO, sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT, sess_link, {}) \
    RECORD(SESS_TAG,  READ | KEEP, sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT, sess_tag, {0, {}, "desk 1"}) \
    VALUE(CONN_PORT,  READ,        sVESK_HALDO_HCC_APDU_HMI_VAR_CONN_PORT_STRUCT, port, {5000}) \
    VALUE(SESS_STAT,  READ | ZERO, sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_STAT_STRUCT, stats, \
          {{101, 102, 103, 104, 105, 106, 107, 108, 109, 110, 111, 112, 113, \
            114, 115, 116, 117, 118, 119, 120, 121, 122, 123, 124, 125}}) \
    RECORD(WOL_CFG,   READ | KEEP, sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT, wol_cfg, \
           {1, {}, "02:00:00:00:00:01", "192.0.2.10"}) \
    VALUE(SESS_DISC,  KEEP,        std::uint32_t, disconnect_reason, 0) \
    VALUE(UNICODE,    KEEP,        std::uint32_t, unicode, 0)
// clang-format on

// What firmware and driver hold. What a request writes is found here, and what a test puts here a request reads. At
// first there is one display of 1920 by 1080 pixels and no session.
struct contents {
#define CARDSIM_MEMBER(name, access, type, member, ...) type member = __VA_ARGS__;
    CARDSIM_VARIABLES(CARDSIM_MEMBER, CARDSIM_MEMBER)
#undef CARDSIM_MEMBER

    std::int32_t host_sess_state = 0;      // local variable 0
    std::uint32_t local_info = 0x00010002; // local variable 1

    std::uint32_t img_preference = 50; // of the running session
    std::uint32_t img_cached_preference = 50;
    sVESK_HALDO_LINK_IMG_USER_CFG_STRUCT img_requested{80, 30}; // by the client

    // Of the firmware's layouts the first two words are of no account: a reply has those of its request.
    sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT topology = default_topology();
    sVESK_HALDO_HCC_IMG_ASYNC_DISP_TOPO_STRUCT async_topology{default_topology(), 1};
    sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT cached_topology = default_cached_topology();
    sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT driver_topology{};

    std::uint32_t feature_enable = 0;          // 1: local cursor and keyboard are on
    std::uint32_t feature_status = 0x0A0B0C00; // bit 0 is read as feature_enable, whatever it is here
    sVESK_HALDO_HDC_KMP_LAST_STAT_STRUCT last_status{0x01020304, 5, 6, 7};
    std::uint32_t idle_hide = 0;
    std::uint32_t cursor_speed = 100;
    std::uint16_t kbd_interval = 33;
    std::uint16_t kbd_delay = 500;
    std::uint16_t pointer_x = 0; // px
    std::uint16_t pointer_y = 0;
    std::uint32_t position_time_stamp = 0;
    bool pointer_visible = false;
    std::uint32_t visibility_time_stamp = 0;
    unsigned new_tablet_requests = 0; // 0x7912 that succeeded
    unsigned host_ready_requests = 0; // 0x7913 that succeeded

    static sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT default_topology();
    static sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT default_cached_topology();
};

// A variable, and where contents hold it.
struct hmi_variable {
    std::uint32_t id;
    unsigned access;
    std::size_t offset;
    std::size_t size;
};

// The variable with this id if it may be accessed in one of these ways, or null.
const hmi_variable* find_variable(std::uint32_t id, unsigned access = READ | KEEP | ZERO);

// The card keeps its state from one open to the next. It is not for concurrent use.
//
// To a record that is not as described here the requests answer -EINVAL; to one that asks for what the maps or
// the client's context do not offer, -EOPNOTSUPP:
//
//     0x7801  answers with the command map
//     0x7802  answers with a variable, as below; all but the id must come as zero
//     0x7803  writes a variable, as below; all behind its payload must come as zero
//     0x7804  local variable 0 or 1: answers with its value, which must come as zero
//     0x7805  local variable 0: keeps the value
//     0x7821  {1, 1} opens the channel to the firmware, {1, 0} closes it and the path with it
//     0x7822  request word 2: answers with the client's context
//     0x7840  answers with the displays of the layout that 0x7841 sent last
//     0x7841  message 12: keeps the layout
//     0x7842  answers with the displays and the word of the asynchronous layout
//     0x7843  message 16, variable 11 readable: answers with the cached layout
//     0x7845  message 22, variable 13 writable: keeps the session's imaging preference, at most 100; the last word must
//             come as zero
//     0x7846  message 23, variable 13 readable: answers with what the client requested
//     0x7847  message 24, variable 13 writable: keeps the cached imaging preference, at most 100
//     0x7900  opens the path; -ENOTCONN while the channel is closed
//     0x7901  closes the path, if it is open
//     0x7902  value 0 or 1, haldo_kmp_1_supported: keeps it
//     0x7903  answers with the feature status, its bit 0 as 0x7902 set it
//     0x7904  keeps the keyboard's repeat rates
//     0x7906  cur_shape_bmp_alpha: the client shows the shape and keeps it in the slot, if there is one; see
//             cursor_client.h
//     0x7907  the client shows the shape in the slot; -ENOENT when it has none there
//     0x7908  keeps the pointer's position and its time stamp
//     0x7909  visible 0 or 1: keeps it and its time stamp
//     0x790A  cur_shape_fadeout_enable: keeps the value
//     0x790B  cur_speed_update_enable: answers with the cursor's speed
//     0x790C  cur_speed_update_enable, speed 10 to 250: keeps it
//     0x790D  answers with the last status
//     0x790E  kbd_client_auto_repeat_supported: answers with the keyboard's repeat rates
//     0x790F  keeps the pointer's position, and the time stamp as it is
//     0x7910  keeps the driver's layout
//     0x7911  type 0 or 1: keeps the setting, whatever its value
//     0x7912  is counted
//     0x7913  is counted
//
// Behind a message number that is checked there must be a zero word. Those from 0x7902 to 0x790C that set something
// must have the header of their message and zero in what is reserved; 0x7903, 0x790B, 0x790D and 0x790E must come as
// zero, and answer with a zero header. None of 0x7902 to 0x7913 needs an open path or a session. 0x7802 and 0x7803 are
// refused as a whole when the command map does not offer them. Variable 0 read answers with the map of readable
// variables, written, which must come as zero, with the map of writable ones, and needs no map to offer it. The others
// are those of CARDSIM_VARIABLES; 3 written as zero, and 9 written, disconnect.
class card
{
public:
    // Takes one line of the journal (see journal.h), without line end.
    using journal = std::function<void(std::string_view line)>;

    explicit card(const settings& offers = {}, journal to = {});

    // How a request ends.
    struct reply {
        int result;
        std::uint32_t delay_ms = 0; // by order: the client gets its reply this much later
    };

    // A request as it came, and how it ended.
    struct exchange {
        eVESK_NODE node;
        std::uint32_t code;
        std::span<const std::uint8_t> sent;
        std::span<const std::uint8_t> answered; // as long as what was sent
        reply end;
        bool carried = true; // false: the carrier refused it, and sent is what it had of the record
    };
    // Is told of every request, behind its line of the journal.
    std::function<void(const exchange&)> observer;

    // A client opened a node, or closed it for good. Both only enter the journal.
    void open(eVESK_NODE node);
    void release(eVESK_NODE node);

    // One ioctl of a client. record: what the client sent; a reply takes its place.
    //
    // Returns what ioctl returns, with an error as -errno: 0 or the positive value of a fault when the request
    // succeeded; -ENOTTY for a code that the table does not hold for this node; -EINVAL for a record of another length
    // than record_length says; or the error of a fault or of the request itself. An error leaves record and state as
    // they were. Whatever the result, the journal gets one line, and one before it when the client expected another
    // shape.
    int request(eVESK_NODE node, std::uint32_t code, std::span<std::uint8_t> record);

    // The same with all that a carrier needs to reply.
    reply serve(eVESK_NODE node, std::uint32_t code, std::span<std::uint8_t> record);

    // Orders a fault: the nth request of this code from now on, 1 being the next, or every one, ends with this result.
    // A negative errno fails it before it does anything; a positive value is returned when it succeeds; 0 takes an
    // earlier order back. Where two orders meet the later one counts. Requests with a wrong node or length do not
    // count.
    static constexpr unsigned every = 0;
    void order(std::uint32_t code, int result, unsigned nth = every);

    // The same for a delay of the reply, of which 0 takes an earlier one back; and for a reply whose record, if the
    // request succeeds, is random bytes, drawn from the seed on.
    void order_delay(std::uint32_t code, std::uint32_t ms, unsigned nth = every);
    void order_random(std::uint32_t code, unsigned nth = every);
    void seed(std::uint32_t value) { m_random.seed(value); }

    // Takes every order for this code back.
    void order_nothing(std::uint32_t code);

    // The orders that may still come into effect, nth counted from now on.
    enum class effect {
        RESULT,
        DELAY,
        RANDOM,
    };
    struct ordered {
        std::uint32_t code;
        unsigned nth;
        effect what;
        std::int64_t value; // of a RESULT or a DELAY
    };
    std::vector<ordered> orders() const;

    // What the requests 0x7801 and 0x7822, and 0x7802 and 0x7803 for variable 0, answer, and what the others are
    // refused by. May be changed at any time.
    settings offered;

    // What the other requests read and write. May be changed at any time.
    contents kept;

    // The client's side of 0x7906 and 0x7907.
    cursor_client client;

    // What the user sees now, by client and kept.
    cursor_view cursor() const { return {client.shown(), kept.pointer_visible, kept.pointer_x, kept.pointer_y}; }

    // A client's session comes, with the client's address (of which the record holds 36 characters), or goes. Each
    // moves the transition counter of kept.sess_link, and empties the client's cursor. A session that is there goes
    // first; without one, disconnect leaves all else as it is.
    void connect(std::string_view ip);
    void disconnect();

    // How many requests of this code there were, but for those with a wrong node or length.
    unsigned requests(std::uint32_t code) const;

    // Whether 0x7821 has opened the channel to the firmware, and 0x7900 the path through it.
    bool channel_open() const { return m_channel_open; }
    bool path_open() const { return m_path_open; }

    // The setting of one type of driver configuration; 0 until a request sets it.
    std::int32_t driver_setting(eVESK_HALDO_HDC_KMP_DRIVER_CFG_TYPE type) const { return m_driver_settings[type]; }

    // The record of the last request of this code that succeeded, as it came; empty when there was none.
    std::span<const std::uint8_t> last_record(std::uint32_t code) const;

private:
    reply answer(eVESK_NODE node, std::uint32_t code, std::span<std::uint8_t> record);
    void add_order(ordered one);
    std::int64_t order_in_effect(std::uint32_t code, effect what) const;
    void write_journal(std::string_view line) const;
    int keep_preference(std::span<const std::uint8_t> record, eVESK_HALDO_IMG_MSG message, std::uint32_t* preference);

    // The values that a request may set.
    struct limits {
        std::uint32_t min = 0;
        std::uint32_t max = std::numeric_limits<std::uint32_t>::max();
    };
    static int keep_value(std::span<const std::uint8_t> record, std::uint8_t flag, eVESK_HALDO_HDC_KMP_MSG message,
                          limits between, std::uint32_t* value);

    // What each request does, by its name.
    int handle(std::uint32_t code, std::span<std::uint8_t> record);
#define CARDSIM_HANDLER(code, name, ...) int on_##name(std::span<std::uint8_t> record);
    VESK_REQUEST_TABLE(CARDSIM_HANDLER)
#undef CARDSIM_HANDLER

    journal m_journal;
    std::vector<ordered> m_orders; // nth counted from the card's first request of the code
    std::mt19937 m_random;
    std::map<std::uint32_t, unsigned> m_seen;
    std::map<std::uint32_t, std::vector<std::uint8_t>> m_last_records;
    bool m_channel_open = false;
    bool m_path_open = false;
    std::array<std::int32_t, 2> m_driver_settings{};
};

} // namespace cardsim
