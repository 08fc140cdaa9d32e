// A card without a card: the state of a host card and its driver, whatever carries requests to it. The carrier in
// cuse/ puts it behind the two device nodes of a real kernel; a unit test calls it from its own open, ioctl and close.
#pragma once

#include "vesk_hcc_records.h"
#include "vesk_kmp_records.h"
#include "vesk_requests.h"

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <map>
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

// The card keeps its state from one open to the next. It is not for concurrent use.
//
// These requests have a meaning; -EINVAL is what they answer to a record outside of it:
//
//     0x7801  answers with the command map
//     0x7802  variable 0: answers with the map of readable variables in the payload
//     0x7803  variable 0: answers with the map of writable variables in the payload, which must come as zero
//     0x7821  {1, 1} opens the channel to the firmware, {1, 0} closes it and the path with it
//     0x7822  request word 2: answers with the client's context
//     0x7900  opens the path; -ENOTCONN while the channel is closed
//     0x7901  closes the path, if it is open
//     0x7911  type 0 or 1: keeps the setting, whatever its value
//
// Every other request of the table, and every other variable, is accepted and answered with its record as it came.
class card
{
public:
    // Takes one line of the journal (see journal.h), without line end.
    using journal = std::function<void(std::string_view line)>;

    explicit card(const settings& offers = {}, journal to = {});

    // A client opened a node, or closed it for good. Both only enter the journal.
    void open(eVESK_NODE node);
    void release(eVESK_NODE node);

    // One ioctl of a client. record: what the client sent; a reply takes its place.
    //
    // Returns what ioctl returns, with an error as -errno: 0 or the positive value of a fault when the request
    // succeeded; -ENOTTY for a code that the table does not hold for this node; -EINVAL for a record of another length
    // than record_length says; or the error of a fault or of the request itself. An error leaves record and state as
    // they were. Whatever the result, the journal gets one line.
    int request(eVESK_NODE node, std::uint32_t code, std::span<std::uint8_t> record);

    // Orders a fault: the nth request of this code from now on, 1 being the next, or every one, ends with this result.
    // A negative errno fails it before it does anything; a positive value is returned when it succeeds; 0 takes an
    // earlier order back. Where two orders meet the later one counts. Requests with a wrong node or length do not
    // count.
    static constexpr unsigned every = 0;
    void order(std::uint32_t code, int result, unsigned nth = every);

    // What the requests 0x7801, 0x7802, 0x7803 and 0x7822 answer. May be changed at any time.
    settings offered;

    // Whether 0x7821 has opened the channel to the firmware, and 0x7900 the path through it.
    bool channel_open() const { return m_channel_open; }
    bool path_open() const { return m_path_open; }

    // The setting of one type of driver configuration; 0 until a request sets it.
    std::int32_t driver_setting(eVESK_HALDO_HDC_KMP_DRIVER_CFG_TYPE type) const { return m_driver_settings[type]; }

    // The record of the last request of this code that succeeded, as it came; empty when there was none.
    std::span<const std::uint8_t> last_record(std::uint32_t code) const;

private:
    struct fault {
        std::uint32_t code;
        unsigned nth; // counted from the card's first request of this code; or every
        int result;
    };
    using handler = int (card::*)(std::span<std::uint8_t> record);

    static const std::map<std::uint32_t, handler> handlers;

    int answer(eVESK_NODE node, std::uint32_t code, std::span<std::uint8_t> record);
    int ordered_result(std::uint32_t code);
    void write_journal(std::string_view line) const;

    int avail_cmd(std::span<std::uint8_t> record);
    int var_get(std::span<std::uint8_t> record);
    int var_set(std::span<std::uint8_t> record);
    int comm_ctrl(std::span<std::uint8_t> record);
    int pri_ctxt_get(std::span<std::uint8_t> record);
    int hdc_open(std::span<std::uint8_t> record);
    int hdc_close(std::span<std::uint8_t> record);
    int driver_cfg_set(std::span<std::uint8_t> record);

    journal m_journal;
    std::vector<fault> m_faults;
    std::map<std::uint32_t, unsigned> m_seen;
    std::map<std::uint32_t, std::vector<std::uint8_t>> m_last_records;
    bool m_channel_open = false;
    bool m_path_open = false;
    std::array<std::int32_t, 2> m_driver_settings{};
};

} // namespace cardsim
