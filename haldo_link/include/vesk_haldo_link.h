// The link to a HALDO host card: the interface of all host software to the card's firmware and driver.
#pragma once

#include "vesk_dev.h"
#include "vesk_hcc_records.h"
#include "vesk_kmp_records.h"
#include "vesk_result.h"

#include <cstdint>

// The kind of a cursor bitmap.
enum eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE : int {
    KMP_CUR_BITMAP_TYPE_ALPHA = 0, // one plane of 32-bit pixels
    KMP_CUR_BITMAP_TYPE_COLOR = 1, // a 1-bit AND plane and an XOR plane of 1 or 32 bits
};

// One entry of the link's mirror of the client's cursor shape cache.
struct bmp_cache_entry {
    eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE bitmap_type;
    std::uint8_t shape_arg1;
    std::uint8_t shape_arg2;
    std::uint8_t width;
    std::uint8_t height;
    std::uint8_t and_depth;
    std::uint8_t xor_depth;
    std::uint8_t* data; // the bitmap's bytes, owned by the entry
    std::uint32_t len;  // valid bytes in data
};

// One object owns both device nodes from construction to destruction. Every operation is one or a few blocking
// requests; the object is for one thread, and it is not copied. Operations do not ask whether the link is started.
//
// Results are eVESK_RESULT. Failures are logged at the error level, traces at the debug level (vesk_log.h).
class cVESK_HALDO_LINK
{
public:
    // Opens /dev/haldo_host0 (control channel, HCC) and /dev/haldo_host1 (driver channel, HDC) and reads the
    // firmware's capability maps: requests 0x7801, then 0x7802 and 0x7803 for variable 0 as the firmware offers them.
    // Never fails. What could not be opened or read shows in is_ready and in the availability predicates, and in error
    // lines; it is not tried again in the life of the object.
    cVESK_HALDO_LINK();

    // Closes the driver channel, then the control channel. Does not stop a started link: the driver cleans up behind a
    // node that is closed.
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

    // Whether the firmware offers a variable: VESK_OK, or VESK_NOT_SUPPORTED. They send nothing and log nothing.
    int link_info_get_avail() const;
    int ipv4_cfg_get_avail() const;
    int sess_link_get_avail() const;
    int sess_link_disc_avail() const;             // a session can be disconnected, without a reason
    int sess_link_disc_with_reason_avail() const; // a session can be disconnected with a reason
    int sess_tag_set_avail() const;
    int sess_tag_version_1_key_scramble_feature_avail() const;
    int conn_port_get_avail() const;
    int sess_stat_get_avail() const;
    int sess_stat_reset_avail() const;
    int cached_topo_get_avail() const;
    int cached_topo_set_avail() const;
    int unicode_set_avail() const;
    int img_user_ext_cfg_get_avail() const;
    int img_user_ext_cfg_set_avail() const;

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

    // --- KMP control ---

    // Configures the driver: 0x7911, the 8 bytes of cfg as they are. Type 0 (how the cursor is reported): setting 0
    // absolute, 1 relative. Type 1 (local tablet mode): setting 0 off, 1 on.
    //
    // Returns VESK_OK; VESK_INVALID_ARGUMENT, with nothing sent, when cfg is null, the type is neither 0 nor 1, or the
    // setting is above 1; VESK_FAILED or VESK_NOT_INITIALIZED from the request. Only the setting's upper bound is
    // tested: a negative one is sent.
    int kmp_driver_cfg_set(sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT* cfg);

protected:
    std::uint32_t started = 0;
    cVESK_DEV hcc_dev{nullptr};
    cVESK_DEV hdc_dev{nullptr};
    sVESK_HALDO_HCC_HMI_AVAIL_STRUCT hmi_avail_cmd;
    sVESK_HALDO_HCC_HMI_AVAIL_STRUCT hmi_avail_get_var;
    sVESK_HALDO_HCC_HMI_AVAIL_STRUCT hmi_avail_set_var;
    sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT kmp_pri_ctxt{};
    std::uint32_t kmp_pri_ctxt_valid = 0;
    int bmp_cache_cnt = 0;           // usable entries of bmp_cache
    std::uint8_t bmp_cache_last = 0; // slot written most recently
    bmp_cache_entry bmp_cache[16]{};

private:
    // Sends a request on its node, with the length and the timeout of the request table.
    int send(const sVESK_REQUEST_STRUCT& request, void* record);

    int read_variable_map(const char* function, const sVESK_REQUEST_STRUCT& request,
                          sVESK_HALDO_HCC_HMI_AVAIL_STRUCT* map);
    int hdc_comm_ctrl(std::uint32_t open);
};
