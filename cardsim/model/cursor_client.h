// The client's side of the cursor: what it makes of the shapes that the host sends, and which of them its user sees.
#pragma once

#include "vesk_kmp_records.h"

#include <cstdint>
#include <iosfwd>
#include <map>
#include <optional>
#include <span>
#include <utility>
#include <vector>

namespace cardsim
{

enum class picture_kind {
    MONOCHROME, // AND plane, XOR plane of 1 bit
    COLOR,      // AND plane, XOR plane of 32 bits
    ALPHA,      // one plane of 32 bits
};

// Its name as above.
const char* name_of(picture_kind kind);

struct pixel {
    bool and_bit = false;    // false where no AND plane came
    std::uint32_t value = 0; // as it came: 0 or 1 of a MONOCHROME picture, otherwise the 4 bytes, the first one lowest

    bool operator==(const pixel&) const = default;
};

// A cursor shape as the client draws it.
struct picture {
    picture_kind kind = picture_kind::ALPHA;
    std::uint8_t width = 0;  // px
    std::uint8_t height = 0; // px
    std::uint8_t shape_arg1 = 0;
    std::uint8_t shape_arg2 = 0;
    std::vector<pixel> pixels; // width * height; rows from the top, each from the left

    bool operator==(const picture&) const = default;
};

// Over several lines: kind, size and arguments, and then a line for each row. A pixel is its AND bit and its value in
// hexadecimal, "1:00FF8000".
std::ostream& operator<<(std::ostream& to, const picture& shape);

// What the user of the session sees of the cursor.
struct cursor_view {
    std::optional<picture> shape; // nothing until the client has shown one
    bool visible = false;
    std::uint16_t x = 0; // px
    std::uint16_t y = 0;

    bool operator==(const cursor_view&) const = default;
};

// On the first line whether the pointer is visible, and where; then the shape.
std::ostream& operator<<(std::ostream& to, const cursor_view& cursor);

// The picture in a record of 0x7906, or nothing when type and depths do not go together or the planes are longer than
// the record; what is behind the planes does not count. Type and depths are
//
//     COLOR, 1 and 1 or 32    an AND plane and an XOR plane
//     ALPHA, 1 and 1 or 32    the XOR plane alone, of a MONOCHROME or COLOR picture without a transparent pixel: it is
//                             the same picture as one with an AND plane of zeros
//     ALPHA, 0 and 0          one plane
//
// The rows of a 1-bit plane are padded to 32 bits, the leftmost pixel is the most significant bit of its byte. Each
// plane's first row is the top one. For ALPHA that is the client's view: the host passes the bytes on as they are, so
// that a bitmap which has its bottom row first is seen upside down.
std::optional<picture> decode_picture(std::span<const std::uint8_t> record);

// The client of a session: the shape that it shows, its cache, and what a test expects of the host.
class cursor_client
{
public:
    // 0x7906: shows the shape of the record, and keeps it in the slot that the record announces, if any. -EOPNOTSUPP
    // when the context has no cur_shape_bmp_alpha. -EINVAL for another header, reserved word or length than there must
    // be, for what decode_picture does not take, for a slot byte that has no valid bit and is not 0, and for a slot
    // from cur_shape_caches on, or any when the context has no cur_shape_caches_supported or no
    // cur_shape_cache_size_supported. -ESTALE by an expectation. On failure all is as before.
    int show(const sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT& context, std::span<const std::uint8_t> record);

    // 0x7907: shows the shape in a slot. -EINVAL for another header, a reserved byte that is not zero, or a slot from
    // cur_shape_caches on; -ENOENT for one that holds nothing; -ESTALE by an expectation. On failure all is as before.
    int select(const sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT& context, std::span<const std::uint8_t> record);

    // Tells which shape the host is about to show: the next request that is good but for another shape ends with
    // -ESTALE. That request uses the expectation up, met or not; one that fails otherwise leaves it. Without a shape
    // the expectation is taken back.
    void expect(std::optional<picture> next) { m_expected = std::move(next); }

    // A new client: no shape is shown and every slot is empty. An expectation remains.
    void forget();

    // What the user sees, if the pointer is visible; nothing until the first shape.
    const std::optional<picture>& shown() const { return m_shown; }

    // The shapes in the slots that have been filled.
    const std::map<std::uint8_t, picture>& cache() const { return m_cache; }

private:
    int change_to(const picture& next);

    std::optional<picture> m_shown;
    std::optional<picture> m_expected;
    std::map<std::uint8_t, picture> m_cache;
};

} // namespace cardsim
