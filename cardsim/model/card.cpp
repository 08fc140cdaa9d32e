#include "card.h"

#include "journal.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <utility>

namespace cardsim
{

namespace
{

constexpr std::size_t length_offset = 16; // of the length in a record that states its own
constexpr std::size_t length_end = length_offset + sizeof(std::uint32_t);

template <class Record> Record read(std::span<const std::uint8_t> bytes)
{
    Record record;
    std::memcpy(&record, bytes.data(), sizeof(record));
    return record;
}

template <class Record> void write(std::span<std::uint8_t> bytes, const Record& record)
{
    std::memcpy(bytes.data(), &record, sizeof(record));
}

} // namespace

const sVESK_REQUEST_STRUCT* find_request(std::uint32_t code)
{
    const auto found = std::ranges::find(vesk_requests, code, &sVESK_REQUEST_STRUCT::code);
    return found != std::end(vesk_requests) ? found : nullptr;
}

std::size_t record_length(std::uint32_t code, std::span<const std::uint8_t> head)
{
    const sVESK_REQUEST_STRUCT* known = find_request(code);
    if (known == nullptr)
        return 0;
    if (known->length != VESK_LENGTH_VARIES)
        return known->length;
    return head.size() < length_end ? length_end : read<std::uint32_t>(head.subspan(length_offset));
}

sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT settings::full_client()
{
    return {
        .request = 2,
        .pri_num = 1,
        .kmp_supported = 1,
        .kmp_enabled = 1,
        .encodings_supported = 1,
        .haldo_kmp_1_supported = 1,
        .cur_shape_caches_supported = 1,
        .cur_shape_cache_size_supported = 1,
        .cur_shape_caches = 16,
        .cur_shape_cache_size = 64 * 64 * 4,
        .cur_shape_bmp_supported = 1,
        .cur_shape_bmp_alpha = 1,
        .cur_shape_bmp_color = 1,
        .cur_shape_max_size_supported = 1,
        .cur_shape_max_size_x = 64,
        .cur_shape_max_size_y = 64,
        .kbd_client_auto_repeat_supported = 1,
        .kbd_client_auto_repeat_enable = 1,
        .cur_shape_fadeout_supported = 1,
        .cur_shape_fadeout_enable = 1,
        .cur_speed_update_supported = 1,
        .cur_speed_update_enable = 1,
        .usb_supported = 1,
        .usb_enable = 1,
        .relative_mouse_supported = 1,
        .relative_mouse_enable = 1,
        .host_hid_driver_update_supported = 1,
        .host_hid_driver_update_enable = 1,
        .hoip_supported = 1,
        .hoip_enable = 1,
        .reserved = {},
    };
}

card::card(const settings& offers, journal to) : offered(offers), m_journal(std::move(to)) {}

void card::open(eVESK_NODE node)
{
    write_journal(event_line(node, "open"));
}

void card::release(eVESK_NODE node)
{
    write_journal(event_line(node, "release"));
}

int card::request(eVESK_NODE node, std::uint32_t code, std::span<std::uint8_t> record)
{
    std::vector<std::uint8_t> sent(record.begin(), record.end());
    const int result = answer(node, code, record);
    write_journal(request_line(node, code, sent, result));
    if (result >= 0)
        m_last_records[code] = std::move(sent);
    return result;
}

void card::order(std::uint32_t code, int result, unsigned nth)
{
    m_faults.push_back({code, nth == every ? every : m_seen[code] + nth, result});
}

std::span<const std::uint8_t> card::last_record(std::uint32_t code) const
{
    const auto found = m_last_records.find(code);
    return found != m_last_records.end() ? std::span(found->second) : std::span<const std::uint8_t>();
}

const std::map<std::uint32_t, card::handler> card::handlers{
    {HCC_IOCTL_HMI_AVAIL_CMD.code, &card::avail_cmd},
    {HCC_IOCTL_HMI_VAR_GET.code, &card::var_get},
    {HCC_IOCTL_HMI_VAR_SET.code, &card::var_set},
    {VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL.code, &card::comm_ctrl},
    {HCC_IOCTL_KMP_PRI_CTXT_GET.code, &card::pri_ctxt_get},
    {VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN.code, &card::hdc_open},
    {VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE.code, &card::hdc_close},
    {HDC_IOCTL_KMP_DRIVER_CFG_SET.code, &card::driver_cfg_set},
};

int card::answer(eVESK_NODE node, std::uint32_t code, std::span<std::uint8_t> record)
{
    const sVESK_REQUEST_STRUCT* known = find_request(code);
    if (known == nullptr || known->node != node)
        return -ENOTTY;
    if (record.size() != record_length(code, record))
        return -EINVAL;

    const int ordered = ordered_result(code);
    if (ordered < 0)
        return ordered;
    const auto found = handlers.find(code);
    const int result = found != handlers.end() ? (this->*found->second)(record) : 0;
    return result == 0 ? ordered : result;
}

int card::ordered_result(std::uint32_t code)
{
    const unsigned number = ++m_seen[code];
    int result = 0;
    for (const fault& one : m_faults)
        if (one.code == code && (one.nth == every || one.nth == number))
            result = one.result;
    return result;
}

void card::write_journal(std::string_view line) const
{
    if (m_journal)
        m_journal(line);
}

int card::avail_cmd(std::span<std::uint8_t> record)
{
    write(record, offered.commands);
    return 0;
}

int card::var_get(std::span<std::uint8_t> record)
{
    auto variable = read<sVESK_HALDO_HCC_HMI_VAR_STRUCT>(record);
    if (variable.var_id == HMI_VAR_AVAIL_VAR) {
        variable.data.avail_var = offered.readable;
        write(record, variable);
    }
    return 0;
}

int card::var_set(std::span<std::uint8_t> record)
{
    auto variable = read<sVESK_HALDO_HCC_HMI_VAR_STRUCT>(record);
    if (variable.var_id == HMI_VAR_AVAIL_VAR) {
        if (std::ranges::any_of(variable.data.bytes, [](std::uint8_t byte) { return byte != 0; }))
            return -EINVAL;
        variable.data.avail_var = offered.writable;
        write(record, variable);
    }
    return 0;
}

int card::comm_ctrl(std::span<std::uint8_t> record)
{
    const auto control = read<sVESK_HALDO_HCC_KMP_HDC_COMM_CTRL_STRUCT>(record);
    if (control.channel != 1 || control.open > 1)
        return -EINVAL;
    m_channel_open = control.open == 1;
    m_path_open = m_path_open && m_channel_open;
    return 0;
}

int card::pri_ctxt_get(std::span<std::uint8_t> record)
{
    if (read<sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT>(record).request != 2)
        return -EINVAL;
    write(record, offered.kmp_context);
    return 0;
}

int card::hdc_open(std::span<std::uint8_t>)
{
    if (!m_channel_open)
        return -ENOTCONN;
    m_path_open = true;
    return 0;
}

int card::hdc_close(std::span<std::uint8_t>)
{
    m_path_open = false;
    return 0;
}

int card::driver_cfg_set(std::span<std::uint8_t> record)
{
    const auto configuration = read<sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT>(record);
    if (configuration.type >= m_driver_settings.size())
        return -EINVAL;
    m_driver_settings[configuration.type] = configuration.setting;
    return 0;
}

} // namespace cardsim
