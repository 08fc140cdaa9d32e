// The lines of the card's journal, one for each thing that a client did, in the order the card saw them. Tests compare
// them whole. They carry no line end.
//
//     HCC open
//     HCC 0x7802 HCC_IOCTL_HMI_VAR_GET 03 00 00 00 (+248 zero) -> EIO
//     HDC 0x7900 VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN -> 0
//     HDC wrong shape in slot 3
//     HDC 0x7907 HDC_IOCTL_KMP_CUR_SHAPE 04 00 0A 00 00 00 00 00 03 00 00 00 -> ESTALE
//     HDC release
#pragma once

#include "vesk_requests.h"

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

namespace cardsim
{

// "NODE event". event: "open" or "release"; or, before the request that fails by it, "wrong shape in slot N" or "wrong
// shape sent": 0x7907 selected, or 0x7906 carried, another shape than the client expected.
std::string event_line(eVESK_NODE node, std::string_view event);

// "NODE CODE NAME [BYTES] -> RESULT".
//
// CODE: "0x" and at least four upper-case digits. NAME: as in the request table, "unknown" for a code it does not hold.
// BYTES: the record as it came, two upper-case digits a byte; absent when the record is empty. RESULT: what the client
// got, the value that ioctl returned or the name of its errno (a negative errno without a name: the number).
//
// When the record ends in zero bytes, those behind the 32-bit word of the last other byte, or behind the first word,
// are the tail. A tail of 16 bytes or more is written as "(+N zero)".
std::string request_line(eVESK_NODE node, std::uint32_t code, std::span<const std::uint8_t> record, int result);

// The parts of these lines: NODE; CODE; a blank and BYTES, or nothing; RESULT.
const char* node_name(eVESK_NODE node);
std::string code_text(std::uint32_t code);
std::string bytes_text(std::span<const std::uint8_t> record);
std::string result_text(int result);

} // namespace cardsim
