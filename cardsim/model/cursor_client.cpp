#include "cursor_client.h"

#include "bytes.h"

#include <cerrno>
#include <cstdio>
#include <ostream>

namespace cardsim
{

namespace
{

using shape_record = sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT;

constexpr std::size_t bitmap_offset = sizeof(shape_record);

// One plane of a bitmap.
class plane
{
public:
    // Of depth 0 it has no bytes and all of its pixels are 0.
    plane(unsigned depth, const shape_record& head)
        : m_depth(depth), m_row_length(depth == 1 ? (head.width + 31U) / 32 * 4 : head.width * depth / 8),
          m_length(m_row_length * head.height)
    {
    }

    std::size_t length() const { return m_length; }

    std::uint32_t pixel(std::span<const std::uint8_t> bytes, std::size_t x, std::size_t y) const
    {
        if (m_depth == 0)
            return 0;
        const auto row = bytes.subspan(y * m_row_length, m_row_length);
        return m_depth == 1 ? row[x / 8] >> (7 - x % 8) & 1 : read<std::uint32_t>(row.subspan(x * 4));
    }

private:
    unsigned m_depth;
    std::size_t m_row_length;
    std::size_t m_length;
};

bool keeps_cache(const sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT& context)
{
    return context.cur_shape_caches_supported != 0 && context.cur_shape_cache_size_supported != 0;
}

} // namespace

const char* name_of(picture_kind kind)
{
    switch (kind) {
    case picture_kind::MONOCHROME:
        return "MONOCHROME";
    case picture_kind::COLOR:
        return "COLOR";
    case picture_kind::ALPHA:
        return "ALPHA";
    }
    return "?";
}

std::ostream& operator<<(std::ostream& to, const picture& shape)
{
    to << name_of(shape.kind) << ' ' << int{shape.width} << 'x' << int{shape.height} << ", arguments "
       << int{shape.shape_arg1} << ' ' << int{shape.shape_arg2};
    const int digits = shape.kind == picture_kind::MONOCHROME ? 1 : 8;
    for (std::size_t i = 0; i < shape.pixels.size(); ++i) {
        char text[16];
        std::snprintf(text, sizeof(text), " %d:%0*X", shape.pixels[i].and_bit, digits, shape.pixels[i].value);
        to << (shape.width != 0 && i % shape.width == 0 ? "\n   " : "") << text;
    }
    return to;
}

std::ostream& operator<<(std::ostream& to, const cursor_view& cursor)
{
    to << (cursor.visible ? "visible at " : "hidden at ") << cursor.x << ',' << cursor.y << '\n';
    return cursor.shape ? to << *cursor.shape : to << "no shape";
}

std::optional<picture> decode_picture(std::span<const std::uint8_t> record)
{
    if (record.size() < bitmap_offset)
        return std::nullopt;
    const auto head = read<shape_record>(record);
    const bool is_alpha = head.and_depth == 0 && head.xor_depth == 0;
    const bool is_color = head.and_depth == 1 && (head.xor_depth == 1 || head.xor_depth == 32);
    const bool has_and_plane = head.bitmap_type == KMP_CUR_BITMAP_TYPE_COLOR;
    if (has_and_plane ? !is_color : head.bitmap_type != KMP_CUR_BITMAP_TYPE_ALPHA || (!is_alpha && !is_color))
        return std::nullopt;

    const plane and_plane(has_and_plane ? 1 : 0, head);
    const plane xor_plane(is_alpha ? 32 : head.xor_depth, head);
    const auto and_bytes = record.subspan(bitmap_offset);
    if (and_bytes.size() < and_plane.length() + xor_plane.length())
        return std::nullopt;
    const auto xor_bytes = and_bytes.subspan(and_plane.length());

    picture result{.kind = is_alpha              ? picture_kind::ALPHA
                           : head.xor_depth == 1 ? picture_kind::MONOCHROME
                                                 : picture_kind::COLOR,
                   .width = head.width,
                   .height = head.height,
                   .shape_arg1 = head.shape_arg1,
                   .shape_arg2 = head.shape_arg2,
                   .pixels = {}};
    for (std::size_t y = 0; y < head.height; ++y)
        for (std::size_t x = 0; x < head.width; ++x)
            result.pixels.push_back({and_plane.pixel(and_bytes, x, y) != 0, xor_plane.pixel(xor_bytes, x, y)});
    return result;
}

int cursor_client::show(const sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT& context, std::span<const std::uint8_t> record)
{
    if (context.cur_shape_bmp_alpha == 0)
        return -EOPNOTSUPP;
    const auto next = decode_picture(record);
    if (!next)
        return -EINVAL;
    const auto head = read<shape_record>(record);
    if (head.header != KMP_MSG_CUR_SHAPE_BMP || head.reserved != 0 || head.length != record.size())
        return -EINVAL;
    const std::uint8_t slot = head.cache_slot & ~KMP_CACHE_SLOT_VALID;
    const bool is_kept = slot != head.cache_slot;
    if (is_kept ? !keeps_cache(context) || slot >= context.cur_shape_caches : slot != 0)
        return -EINVAL;

    const int result = change_to(*next);
    if (result == 0 && is_kept)
        m_cache[slot] = *next;
    return result;
}

int cursor_client::select(const sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT& context, std::span<const std::uint8_t> record)
{
    if (record.size() != sizeof(sVESK_HALDO_HDC_KMP_CUR_SHAPE_STRUCT))
        return -EINVAL;
    const auto sent = read<sVESK_HALDO_HDC_KMP_CUR_SHAPE_STRUCT>(record);
    if (sent.header != KMP_MSG_CUR_SHAPE || sent.reserved != 0 || !is_zero(sent.reserved2) ||
        sent.index >= context.cur_shape_caches)
        return -EINVAL;
    const auto found = m_cache.find(sent.index);
    return found != m_cache.end() ? change_to(found->second) : -ENOENT;
}

void cursor_client::forget()
{
    m_shown.reset();
    m_cache.clear();
}

int cursor_client::change_to(const picture& next)
{
    const auto expected = std::exchange(m_expected, std::nullopt);
    if (expected && *expected != next)
        return -ESTALE;
    m_shown = next;
    return 0;
}

} // namespace cardsim
