// The link to a HALDO host card: the interface of all host software to the card's firmware and driver.
#pragma once

#include "vesk_dev.h"
#include "vesk_hcc_records.h"
#include "vesk_kmp_records.h"
#include "vesk_result.h"

#include <cstddef>
#include <cstdint>

// One entry of the link's mirror of the client's cursor shape cache.
struct bmp_cache_entry {
    eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE bitmap_type;
    std::uint8_t shape_arg1;
    std::uint8_t shape_arg2;
    std::uint8_t width;
    std::uint8_t height;
    std::uint8_t and_depth;
    std::uint8_t xor_depth;
    std::uint8_t* data; // the bitmap as its caller gave it, in a block that the entry owns
    std::uint32_t len;  // valid bytes in data, 0 for an entry that stands for no shape
};

// The most entries that the mirror has.
inline constexpr int BMP_CACHE_MAX = 16;

// What the firmware may offer: the predicate that tells, the map that it looks at, the variable, and what it stands
// for.
// clang-format off
#define VESK_HMI_PREDICATE_TABLE(PREDICATE) \
    PREDICATE(link_info_get_avail,              hmi_avail_get_var, LINK_INFO,        "link information") \
    PREDICATE(ipv4_cfg_get_avail,               hmi_avail_get_var, IPV4_CFG,         "IPv4 configuration") \
    PREDICATE(sess_link_get_avail,              hmi_avail_get_var, SESS_LINK,        "state of the session") \
    PREDICATE(sess_link_disc_avail,             hmi_avail_set_var, SESS_LINK,        "ending the session") \
    PREDICATE(sess_link_disc_with_reason_avail, hmi_avail_set_var, SESS_DISC,        "ending the session with a reason") \
    PREDICATE(sess_tag_set_avail,               hmi_avail_set_var, SESS_TAG,         "setting the session tag") \
    PREDICATE(sess_tag_version_1_key_scramble_feature_avail, \
                                                hmi_avail_set_var, SESS_TAG2,        "second form of the session tag") \
    PREDICATE(conn_port_get_avail,              hmi_avail_get_var, CONN_PORT,        "connection port") \
    PREDICATE(sess_stat_get_avail,              hmi_avail_get_var, SESS_STAT,        "session statistics") \
    PREDICATE(sess_stat_reset_avail,            hmi_avail_set_var, SESS_STAT,        "resetting the statistics") \
    PREDICATE(cached_topo_get_avail,            hmi_avail_get_var, CACHED_TOPO,      "cached display layout") \
    PREDICATE(cached_topo_set_avail,            hmi_avail_set_var, CACHED_TOPO,      "caching a display layout") \
    PREDICATE(unicode_set_avail,                hmi_avail_set_var, UNICODE,          "Unicode mode") \
    PREDICATE(img_user_ext_cfg_get_avail,       hmi_avail_get_var, IMG_USER_EXT_CFG, "imaging preference") \
    PREDICATE(img_user_ext_cfg_set_avail,       hmi_avail_set_var, IMG_USER_EXT_CFG, "setting the imaging preference")
// clang-format on

// One object owns both device nodes from construction to destruction. Every operation is one or a few blocking
// requests; the object is for one thread, and it is not copied. Operations do not ask whether the link is started.
//
// Results are eVESK_RESULT. Failures are logged at the error level unless an operation says otherwise, traces at the
// debug level (vesk_log.h).
class cVESK_HALDO_LINK
{
public:
    // Opens /dev/haldo_host0 (control channel, HCC) and /dev/haldo_host1 (driver channel, HDC) and reads the
    // firmware's capability maps: requests 0x7801, then 0x7802 and 0x7803 for variable 0 as the firmware offers them.
    // Never fails. What could not be opened or read shows in is_ready and in the availability predicates, and in error
    // lines; it is not tried again in the life of the object.
    cVESK_HALDO_LINK();

    // Releases the cursor shape cache and closes the driver channel, then the control channel. Does not stop a started
    // link: the driver cleans up behind a node that is closed.
    ~cVESK_HALDO_LINK();

    cVESK_HALDO_LINK(const cVESK_HALDO_LINK&) = delete;
    cVESK_HALDO_LINK& operator=(const cVESK_HALDO_LINK&) = delete;

    // Marks the link started. Sends nothing. Returns VESK_OK always; starting twice is logged as an error and has no
    // other effect.
    int start();

    // If the link is started: closes the KMP path (hdc_close, whose result is dropped) and marks the link stopped.
    // Otherwise does nothing.
    void stop();

    // Whether both nodes are open. The driver channel is not asked when the control channel is closed.
    bool is_ready() const;

    // --- Capability maps: what the firmware offers. docs/protocol.md, "Capability maps". ---

    // Clears the three maps, so that nothing is offered.
    void hmi_avail_cmd_reset();

    // Reads the command map (0x7801, 32 bytes) and, where it offers reading and writing of variables, the map of
    // readable and the map of writable ones. When the command map cannot be read all three are cleared; a variable map
    // whose command is not offered stays as it is. Called by the constructor.
    void hmi_avail_cmd_get();

    // Read one variable map: 0x7802, or 0x7803 with a zero payload, for variable 0 (252 bytes). A map that cannot be
    // read is cleared.
    void hmi_avail_get_var_get();
    void hmi_avail_set_var_get();

    // Whether the firmware offers it: VESK_OK, or VESK_NOT_SUPPORTED. They send nothing and log nothing.
#define VESK_PREDICATE(name, map, variable, words) int name() const;
    VESK_HMI_PREDICATE_TABLE(VESK_PREDICATE)
#undef VESK_PREDICATE

    // The same for reading and writing the wake-on-LAN configuration. Where the map offers it they also read the
    // session tag (is_sess_view_brokered: one request, with its log lines): while the view is brokered neither is
    // available. A tag that cannot be read does not stand in the way.
    int wol_cfg_get_avail();
    int wol_cfg_set_avail();

    // --- Session. docs/protocol.md, "Session". ---

    // Reads the state of the session's link: variable 3, 40 bytes. Returns VESK_OK; VESK_INVALID_ARGUMENT when out is
    // null; VESK_NOT_SUPPORTED (sess_link_get_avail); VESK_FAILED or VESK_NOT_INITIALIZED from the request. On failure
    // *out is untouched. The ip text may fill its member without a terminator.
    int sess_link_get(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT* out);

    // Follows the session: to be called periodically. Reads the state of the link into *state. When its transition
    // counter differs from the one seen last, and at the first successful read: drops the KMP context, fetches it anew
    // if a session is connected and sizes the cursor shape cache by it, and sets *changed to 1, whether or not that
    // fetch succeeded; it is not repeated until the next transition. Otherwise *changed is 0. When the state cannot be
    // read (also for a null state) *state is untouched and the context is dropped; it stays so until the next
    // transition, since the counter seen before still counts. changed must not be null.
    //
    // The counter seen last is the process's, not the object's. In a program with two link objects each change is
    // reported to the one that asks first, and to that one alone; a link made later does not fetch the context of a
    // session that is already known. Such a program calls this for one of its links and, whenever that one reports a
    // change, kmp_pri_ctxt_reset, kmp_pri_ctxt_get (if connected) and init_bitmap_cache for the other.
    void link_heartbeat(int* changed, sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT* state);

    // Ends the session: variable 9 with the reason, where the firmware takes it; otherwise, and when that fails,
    // variable 3 with a zero payload, which carries no reason. Returns VESK_OK; VESK_NOT_SUPPORTED when the second way
    // is not offered, also after a failure of the first; VESK_FAILED or VESK_NOT_INITIALIZED from the last request.
    int sess_link_disc(unsigned int reason);

    // Stores the state of the host's session with the driver: local variable 0. Returns VESK_OK; VESK_NOT_SUPPORTED,
    // with nothing sent, for a state above 8; VESK_FAILED or VESK_NOT_INITIALIZED. A negative state is sent.
    int host_sess_state_set(eVESK_HALDO_HMI_HOST_SESSION_STATE state);

    // Reads it back into *out, which is untouched on failure and must not be null. Returns VESK_OK, VESK_FAILED or
    // VESK_NOT_INITIALIZED.
    int host_sess_state_get(eVESK_HALDO_HMI_HOST_SESSION_STATE* out);

    // Reads or writes the session tag: variable 4, 244 bytes, whole in both directions. Returns VESK_OK;
    // VESK_INVALID_ARGUMENT when tag is null; VESK_NOT_SUPPORTED (sess_tag_set only: sess_tag_set_avail; reading asks
    // nothing); VESK_FAILED or VESK_NOT_INITIALIZED. A failed read leaves *tag untouched. The text may fill its member
    // without a terminator.
    int sess_tag_get(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT* tag);
    int sess_tag_set(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT* tag);

    // Reads the session tag and returns 1 when its flags say that the view is brokered; 0 otherwise, also when it
    // cannot be read.
    int is_sess_view_brokered();

    // --- Network and statistics. docs/protocol.md, "Control channel records", "Network and statistics". ---

    // Each reads one variable into *out. Returns VESK_OK; VESK_INVALID_ARGUMENT when out is null; VESK_NOT_SUPPORTED
    // (the predicate of the same name); VESK_FAILED or VESK_NOT_INITIALIZED. On failure *out is untouched.
    int link_info_get(sVESK_HALDO_HCC_APDU_HMI_VAR_LINK_INFO_STRUCT* out); // variable 1, 32 bytes
    int ipv4_cfg_get(sVESK_HALDO_HCC_APDU_HMI_VAR_IPV4_CFG_STRUCT* out);   // variable 2, 84 bytes
    int conn_port_get(sVESK_HALDO_HCC_APDU_HMI_VAR_CONN_PORT_STRUCT* out); // variable 5, 4 bytes
    int sess_stat_get(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_STAT_STRUCT* out); // variable 6, 100 bytes

    // Resets the session statistics: variable 6, zero payload. Returns VESK_OK, VESK_NOT_SUPPORTED
    // (sess_stat_reset_avail), VESK_FAILED or VESK_NOT_INITIALIZED.
    int sess_stat_reset();

    // Switches the card's Unicode mode: variable 12, u32. enable is sent as it is. Returns as sess_stat_reset does
    // (unicode_set_avail).
    int unicode_set(unsigned int enable);

    // Reads the driver's local information word: local variable 1. Returns VESK_OK; VESK_INVALID_ARGUMENT when out is
    // null; VESK_FAILED or VESK_NOT_INITIALIZED. On failure *out is untouched.
    int local_info_get(unsigned int* out);

    // Reads or writes the wake-on-LAN configuration: variable 8, 40 bytes, whole in both directions, after the request
    // that asks whether the view is brokered. Returns VESK_OK; VESK_INVALID_ARGUMENT, before any request, when cfg is
    // null; VESK_NOT_SUPPORTED (wol_cfg_get_avail for both: what can be read can be set); VESK_FAILED or
    // VESK_NOT_INITIALIZED. A failed read leaves *cfg untouched.
    int wol_cfg_get(sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT* cfg);
    int wol_cfg_set(sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT* cfg);

    // --- Imaging. docs/protocol.md, "Imaging". ---

    // Sets the user's imaging preference, 0 to 100, of the running session (0x7845) or as the cached setting (0x7847).
    // Returns VESK_OK; VESK_INVALID_ARGUMENT above 100, before anything else; VESK_NOT_SUPPORTED
    // (img_user_ext_cfg_set_avail), which is logged at the debug level only; VESK_FAILED or VESK_NOT_INITIALIZED.
    int img_user_cfg_set(unsigned int value);
    int img_user_cfg_cache_set(unsigned int value);

    // Reads what the client requested: 0x7846. Returns VESK_OK; VESK_INVALID_ARGUMENT when cfg is null;
    // VESK_NOT_SUPPORTED (img_user_ext_cfg_get_avail), logged at the debug level only, with *cfg untouched; VESK_FAILED
    // or VESK_NOT_INITIALIZED, with *cfg zero.
    int img_user_cfg_req_get(sVESK_HALDO_LINK_IMG_USER_CFG_STRUCT* cfg);

    // --- Display topology. docs/protocol.md, "Display topology". ---

    // Reads the firmware's layout: 0x7840, 72 bytes, with the caller's record as the request: its first two words are
    // the caller's to fill. Returns VESK_OK; VESK_INVALID_ARGUMENT when topo is null; VESK_NOT_INITIALIZED, with
    // *topo untouched; VESK_FAILED, with *topo undefined.
    int disp_topology_get(sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT* topo);

    // Reads the layout that the firmware reports on its own, with a word of the firmware's: 0x7842, 76 bytes. A display
    // with width or height is used; it keeps its index, and its rotation is 0 to 3 (any other code becomes 3). Unused
    // entries are zero. Returns VESK_OK; VESK_INVALID_ARGUMENT when one of the pointers is null; VESK_FAILED or
    // VESK_NOT_INITIALIZED. On failure both are untouched.
    int async_disp_topology_get(sVESK_HALDO_LINK_DISP_TOPO_STRUCT* topo, unsigned int* value);

    // Tells firmware and driver the host's layout while a session is connected: reads the session's link, then sends
    // 0x7841 (72 bytes: the four entries as they are) and, if that succeeded, 0x7910 (240 bytes: bounding box and 16.16
    // coordinates of the active displays, those with width and height). All four entries count, whatever num_disp says.
    //
    // The arithmetic is that of 32-bit two's complement: positions at the limits wrap, a division by a total that
    // wrapped to 0 gives 0 (and so -1 for the scaled right and bottom), and -2^31 / -1 gives -2^31.
    //
    // Returns VESK_OK; VESK_INVALID_ARGUMENT, with nothing sent, when topo is null, num_disp is above 4 or a primary
    // dimension is 0 (a negative one passes); VESK_FAILED when no session is connected or its state cannot be read (not
    // offered, node closed, request rejected), of which this operation itself writes a debug line only, and when 0x7841
    // or 0x7910 is rejected.
    int disp_topology_send(sVESK_HALDO_LINK_DISP_TOPO_STRUCT* topo, int primary_width, int primary_height,
                           int twinview);

    // Reads the layout that the firmware has cached, with rates and monitors: 0x7843, 272 bytes. An entry counts as
    // used when it has width or height, or when it has neither and its rate is one of the two marks: that rate then
    // reads 0. Every entry is copied, used or not; rotations are 0 to 3.
    //
    // Returns VESK_OK; VESK_RATE_NO_CACHING or VESK_RATE_NOT_ACTIVE when the rate of an entry without size is that
    // mark, the last one deciding, with *topo filled all the same; VESK_INVALID_ARGUMENT when topo is null;
    // VESK_NOT_SUPPORTED (cached_topo_get_avail), logged at the debug level only, VESK_FAILED or VESK_NOT_INITIALIZED,
    // with *topo zero. Texts may fill their members without a terminator.
    int cache_disp_topology_get(sVESK_HALDO_LINK_CACHE_DISP_TOPO* topo);

    // --- KMP path and context: keyboard, mouse and pointer. docs/protocol.md, "KMP path" and "KMP context". ---

    // Opens the KMP path: 0x7821 {1, 1} on HCC, then 0x7900 on HDC. Returns VESK_OK, or the result of the request that
    // failed (VESK_FAILED, VESK_NOT_INITIALIZED). When 0x7900 fails the path is closed again with hdc_close, so that
    // nothing stays half open.
    int hdc_open();

    // Closes the KMP path: 0x7821 {1, 0} on HCC, then, whatever came of it, 0x7901 on HDC. Returns the result of
    // 0x7821; that of 0x7901 is never looked at, and the log reports both requests by the first one's outcome.
    int hdc_close();

    // Fetches what firmware and client have agreed on for the session: 0x7822, 292 bytes. On failure the context held
    // so far stays, valid or not.
    void kmp_pri_ctxt_get();

    // Clears the context and marks it not valid. Sends nothing. Returns VESK_OK always.
    int kmp_pri_ctxt_reset();

    // The context as it was fetched last, or null without a valid one. Sends nothing, logs nothing. What it leads to is
    // the link's own: the next fetch, reset or link_heartbeat may change it.
    const sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT* kmp_context() const
    {
        return kmp_pri_ctxt_valid != 0 ? &kmp_pri_ctxt : nullptr;
    }

    // Whether the session offers a feature: VESK_OK, or VESK_NOT_SUPPORTED, which is also the answer without a valid
    // context. They send nothing and log nothing.
    int lcur_lkbd_avail() const;               // local cursor and keyboard
    int lcur_shape_bmp_send_avail() const;     // cursor shapes as bitmaps; asks cur_shape_bmp_alpha
    int lcur_spd_avail() const;                // speed of the local cursor
    int lcur_idle_hide_avail() const;          // idle-hide of the local cursor
    int lkbd_client_auto_repeat_avail() const; // reading the keyboard's repeat rates
    int hoip_avail() const;                    // local tablets

    // The same for switching the local cursor off, answered from the context's two usb flags alone: it does not ask
    // whether the context is valid.
    int lcur_disable_avail() const;

    // 1 when the context is valid and idle-hide of the local cursor is not in force, else 0.
    int is_client_sc() const;

    // --- Local cursor, keyboard and tablets. docs/protocol.md, "Cursor, keyboard and tablets". ---
    //
    // Each sends one request on HDC. Beside the results that it names it returns VESK_OK, or VESK_FAILED or
    // VESK_NOT_INITIALIZED from that request. Where a predicate is named it is asked first: VESK_NOT_SUPPORTED, with
    // nothing sent. Where a feature must be offered or a value is limited nothing is sent otherwise; a value for which
    // no limit is given is sent as it is. On failure what a pointer leads to is untouched.

    // Switch local cursor and local keyboard on or off: 0x7902, 8 bytes (lcur_lkbd_avail).
    int lcur_lkbd_enable();
    int lcur_lkbd_disable();

    // Reads their status, a bit mask of the driver's: 0x7903, 8 bytes. A null pointer is reported with an assertion
    // line; the request is sent all the same.
    int lcur_lkbd_dev_feat_stat_get(unsigned int* status);

    // Reads the driver's last status: 0x790D, 16 bytes. status: a bit mask of the driver's; hid_devices: the number of
    // HID-over-IP (HoIP) devices; tablet_activate_ack: the acknowledgement of an activated HoIP tablet. A null status
    // or count is reported with an assertion line; the request is sent all the same, and what is not null is written.
    int lcur_lkbd_last_stat_get(unsigned int* status, unsigned int* count, unsigned int* hid_devices,
                                unsigned int* tablet_activate_ack);

    // Sets the idle-hide value of the local cursor, which is the driver's to interpret: 0x790A, 8 bytes
    // (lcur_idle_hide_avail, which is logged at the debug level only).
    int lcur_idle_hide_set(unsigned int value);

    // Sets or reads the speed of the local cursor: 0x790C and 0x790B, 8 bytes (lcur_spd_avail). VESK_INVALID_ARGUMENT
    // for a speed outside of 10 to 250, if the feature is offered; for a null pointer, whether it is or not.
    int lcur_spd_set(unsigned int speed);
    int lcur_spd_get(unsigned int* speed);

    // Shows the shape in a slot of the client's cache: 0x7907, 12 bytes. VESK_INVALID_ARGUMENT unless index is below
    // the context's cur_shape_caches. Whether the slot holds a shape is not asked: lcur_shape_bmp_send knows it.
    int lcur_change_shape_send(unsigned char index);

    // Shows (not 0) or hides the pointer: 0x7909, 12 bytes. The time stamp is the caller's.
    int lcur_pointer_visibility_set(unsigned int time_stamp, unsigned char visible);

    // Moves the pointer, to x and y in pixels: 0x7908, 12 bytes. The second form (0x790F, 4 bytes) has no time stamp
    // and leaves it to the driver whether the position is a new one.
    int lcur_pointer_location_set(unsigned int time_stamp, unsigned short x, unsigned short y);
    int lcur_pointer_location_set_if_new(unsigned short x, unsigned short y);

    // Sets the keyboard's repeat rates: 0x7904, 12 bytes; asks no predicate. Reads them: 0x790E, 12 bytes
    // (lkbd_client_auto_repeat_avail); VESK_INVALID_ARGUMENT, before that, when a pointer is null. Units are the
    // driver's.
    int lkbd_repeat_rates_set(unsigned short delay, unsigned short interval);
    int lkbd_repeat_rates_get(unsigned short* delay, unsigned short* interval);

    // Tells the driver to process new HID-over-IP tablets: 0x7912, no record. Tells the client that the host is ready
    // for them: 0x7913, no record. Neither asks hoip_avail.
    int proc_new_hoip_tablets();
    int send_hoip_host_ready();

    // Configures the driver: 0x7911, the 8 bytes of cfg as they are. Type 0 (how the cursor is reported): setting 0
    // absolute, 1 relative. Type 1 (local tablet mode): setting 0 off, 1 on. VESK_INVALID_ARGUMENT when cfg is null,
    // the type is neither 0 nor 1, or the setting is above 1; a negative setting is sent.
    int kmp_driver_cfg_set(sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT* cfg);

    // --- Cursor shapes. docs/protocol.md, "Cursor shapes" and "Cursor shape cache". ---

    // Whether a cursor of this size, in pixels, can be sent: VESK_OK, or VESK_NOT_SUPPORTED when the client does not
    // report its largest size or the size of its cache entries, when width or height exceeds what it reports, or when
    // the bitmap exceeds an entry. It counts width * height * 4 bytes for an ALPHA bitmap and width * height / 8 more
    // for any other type: rows without padding and an XOR plane of 32 bits, whatever will be sent. Counts
    // beyond 32 bits wrap, and from 2^31 pixels on the eighth is that of a negative number. Sends nothing, logs
    // nothing, and does not ask whether the context is valid.
    int lcur_shape_size_valid(unsigned short width, unsigned short height, int bitmap_type) const;

    // Shows a cursor shape: selects it (lcur_change_shape_send, whose result is then returned) if the client has it in
    // its cache, and otherwise sends it: 0x7906, a head of 20 bytes and bmp_len bytes.
    //
    // bmp, bmp_len: the bitmap. An ALPHA bitmap goes out as it is, so it is given in the order in which the client
    // reads it, rows from the top to the bottom; its depths are 0 and its length is the caller's alone. A COLOR bitmap
    // has its rows from the bottom to the top, the leftmost pixel of a 1-bit plane in bit 7, and_depth 1 and
    //     xor_depth 32: an AND plane, its rows padded to 4 bytes, and an XOR plane of width * 4 bytes a row;
    //     xor_depth 1: an XOR plane and then an AND plane, rows as above; height counts both, and half of it, rounded
    //     down, is the cursor's.
    // It goes out as flip_bitmap writes it, with zero bytes up to bmp_len. width, height: 0 to 255 px. shape_arg1,
    // shape_arg2: sent as they are.
    //
    // Returns VESK_OK; VESK_INVALID_ARGUMENT when bmp is null or bmp_len is 0, each reported with an assertion line
    // too; VESK_NOT_SUPPORTED (lcur_shape_bmp_send_avail, or another type or depth); VESK_NO_MEMORY when the record
    // cannot be allocated, which includes a length that exceeds 32 bits; VESK_FAILED when bmp_len is too short for the
    // planes; VESK_FAILED or VESK_NOT_INITIALIZED from the request. On failure the cache is as it was, and the next
    // shape is announced for the same slot.
    //
    // A bitmap longer than an entry of the cache is sent, but has to be sent again each time. Without a cache every
    // shape that was sent is followed by an error and an assertion line.
    int lcur_shape_bmp_send(unsigned char shape_arg1, unsigned char shape_arg2, unsigned char width,
                            unsigned char height, unsigned char and_depth, unsigned char xor_depth,
                            const unsigned char* bmp, unsigned int bmp_len,
                            eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE bitmap_type);

    // Converts a COLOR bitmap as lcur_shape_bmp_send describes it, with the height of the cursor itself, into what the
    // request carries: the AND plane and then the XOR plane, rows from the top to the bottom. When the AND plane has no
    // transparent bit only the XOR plane is written, from dst on, and *no_transparency is set to 1; otherwise that is
    // left as it is.
    //
    // The search for a transparent bit starts at the AND plane's last row in memory and runs on for height rows, so
    // that behind the first of them it reads what follows the AND plane, and nothing of its other rows: the card
    // expects it so. src and dst have dest_len bytes each; behind the end of src the search sees zeros, and reads
    // nothing. An xor_depth other than 1 means 32.
    //
    // Returns VESK_OK, or VESK_FAILED, with nothing written, when the planes are larger than dest_len. No pointer may
    // be null.
    static int flip_bitmap(unsigned char width, unsigned char height, unsigned char xor_depth, unsigned int dest_len,
                           const unsigned char* src, unsigned char* dst, int* no_transparency);

    // Builds the link's mirror of the client's cache anew, by the sizes of the context: at most 16 entries, fewer when
    // memory runs out, none when the client does not cache. link_heartbeat calls it; whoever fetches a context
    // otherwise calls it afterwards. Returns VESK_OK always.
    int init_bitmap_cache();

    // Releases the mirror's memory. Returns VESK_OK always.
    int flush_bitmap_cache();

    // Parts of lcur_shape_bmp_send; their height is that of the cursor itself. They send nothing. No pointer may be
    // null, and bmp_len not 0.
    //
    // Notes that the client has taken a shape into the slot behind the one that was written last, round robin. A bitmap
    // longer than an entry's block empties that entry instead, since the client may have overwritten its slot, and the
    // slot stays the next one. Without a cache: an error and an assertion line.
    void add_bitmap_to_cache(unsigned char shape_arg1, unsigned char shape_arg2, unsigned char width,
                             unsigned char height, unsigned char and_depth, unsigned char xor_depth,
                             const unsigned char* bmp, unsigned int bmp_len,
                             eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE bitmap_type);

    // Whether the cache holds a shape, the same in all of its arguments: 1, with the lowest slot in *index; or 0, with
    // *index untouched.
    int is_bitmap_cached(unsigned char shape_arg1, unsigned char shape_arg2, unsigned char width, unsigned char height,
                         unsigned char and_depth, unsigned char xor_depth, const unsigned char* bmp,
                         unsigned int bmp_len, eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE bitmap_type,
                         unsigned char* index) const;

protected:
    std::uint32_t started = 0;
    cVESK_DEV hcc_dev{nullptr};
    cVESK_DEV hdc_dev{nullptr};
    sVESK_HALDO_HCC_HMI_AVAIL_STRUCT hmi_avail_cmd;
    sVESK_HALDO_HCC_HMI_AVAIL_STRUCT hmi_avail_get_var;
    sVESK_HALDO_HCC_HMI_AVAIL_STRUCT hmi_avail_set_var;
    sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT kmp_pri_ctxt{};
    std::uint32_t kmp_pri_ctxt_valid = 0;
    int bmp_cache_cnt = 0;             // usable entries of bmp_cache
    std::uint8_t bmp_cache_last = 0;   // slot written most recently
    std::uint32_t bmp_cache_block = 0; // bytes of each entry's block
    bmp_cache_entry bmp_cache[BMP_CACHE_MAX]{};

private:
    // Sends a request with its record on its node, with what the table says of both.
    template <const sVESK_REQUEST_STRUCT& request, typename Record> int send(Record* record)
    {
        static_assert(sizeof(Record) == request.length, "not the record of this request");
        return device_of(request).synch_ioctl(request.code, record, request.length, request.timeout_ms);
    }
    template <const sVESK_REQUEST_STRUCT& request> int send()
    {
        static_assert(request.length == 0, "this request has a record");
        return device_of(request).synch_ioctl(request.code, nullptr, request.length, request.timeout_ms);
    }
    cVESK_DEV& device_of(const sVESK_REQUEST_STRUCT& request)
    {
        return request.node == VESK_NODE_HCC ? hcc_dev : hdc_dev;
    }

    // What an operation on an HMI variable has of its own.
    using hmi_map = sVESK_HALDO_HCC_HMI_AVAIL_STRUCT cVESK_HALDO_LINK::*;
    struct hmi_operation {
        const char* function;
        eVESK_HALDO_HMI_VAR variable;
        const sVESK_REQUEST_STRUCT& request; // HCC_IOCTL_HMI_VAR_GET reads, HCC_IOCTL_HMI_VAR_SET writes
        hmi_map map;                         // that must offer the variable, or null: nothing is asked
        const char* failure; // "%d" stands for the result; searches of logs know each operation by its own wording
        bool is_for_unbrokered = false; // not offered while the session's view is brokered
    };
    static constexpr hmi_map READABLE = &cVESK_HALDO_LINK::hmi_avail_get_var;
    static constexpr hmi_map WRITABLE = &cVESK_HALDO_LINK::hmi_avail_set_var;
    int hmi_var_access(const hmi_operation& operation, void* payload, std::size_t size);
    template <typename Record> int hmi_var_access(const hmi_operation& operation, Record* payload)
    {
        static_assert(sizeof(Record) <= sizeof(sVESK_HALDO_HCC_HMI_VAR_STRUCT::data));
        return hmi_var_access(operation, payload, sizeof(Record));
    }
    template <typename... Payload> int framed_hmi_var_access(const hmi_operation& operation, Payload... payload);
    int wol_cfg_avail(hmi_map map);

    template <const sVESK_REQUEST_STRUCT& request>
    int read_variable_map(const char* function, sVESK_HALDO_HCC_HMI_AVAIL_STRUCT* map);
    template <const sVESK_REQUEST_STRUCT& request, typename Record>
    int img_user_cfg_write(const char* function, const char* name, Record record);
    int send_topology(sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT* fw, sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT* kmp);
    int hdc_comm_ctrl(std::uint32_t open);
    int feat_en(const char* function, std::uint32_t enable, const char* success);
    unsigned char next_slot() const;
};
