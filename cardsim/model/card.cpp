#include "card.h"

#include "bytes.h"
#include "journal.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <string>
#include <utility>

namespace cardsim
{

namespace
{

// Of the length in the one record that states its own.
constexpr std::size_t length_offset = offsetof(sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT, length);
constexpr std::size_t length_end = length_offset + sizeof(std::uint32_t);

bool offers(const sVESK_HALDO_HCC_HMI_AVAIL_STRUCT& map, std::uint32_t id)
{
    return id / 32 < std::size(map.map) && (map.map[id / 32] >> (id % 32) & 1) != 0;
}

// The message number of an imaging request, and the word behind it.
constexpr std::size_t imaging_head = offsetof(sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT, disp);

template <class Record> bool is_message(const Record& record, eVESK_HALDO_IMG_MSG message)
{
    return record.message == message && record.reserved == 0;
}

// A layout, with the head of the request.
template <class Layout> void write_layout(std::span<std::uint8_t> record, const Layout& layout)
{
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(&layout);
    std::copy(bytes + imaging_head, bytes + sizeof(layout), record.begin() + imaging_head);
}

// Answers a request that must come as zero.
template <class Record> int answer_zero(std::span<std::uint8_t> record, const Record& reply)
{
    if (!is_zero(record))
        return -EINVAL;
    write(record, reply);
    return 0;
}

constexpr hmi_variable hmi_variables[] = {
#define VARIABLE(name, access, type, member, ...)                                                                      \
    {HMI_VAR_##name, access, offsetof(contents, member), sizeof(contents::member)},
    CARDSIM_VARIABLES(VARIABLE, VARIABLE)
#undef VARIABLE
};

} // namespace

const sVESK_REQUEST_STRUCT* find_request(std::uint32_t code)
{
    const auto found = std::ranges::find(vesk_requests, code, &sVESK_REQUEST_STRUCT::code);
    return found != std::end(vesk_requests) ? found : nullptr;
}

const hmi_variable* find_variable(std::uint32_t id, unsigned access)
{
    const auto found = std::ranges::find(hmi_variables, id, &hmi_variable::id);
    return found != std::end(hmi_variables) && (found->access & access) != 0 ? found : nullptr;
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
        .request = KMP_PRI_CTXT_REQUEST,
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

sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT contents::default_topology()
{
    return {
        .message = 0, .reserved = 0, .disp = {{.pos_x = 0, .pos_y = 0, .width = 1920, .height = 1080, .rotation = 0}}};
}

sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT contents::default_cached_topology()
{
    return {
        .topo = default_topology(),
        .rate = {60},
        .primary = 0,
        .monitor = {{"VSK", {}, "1080", {}, "SN-0000000001", {}, "Haldo display", {}}},
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
    return serve(node, code, record).result;
}

card::reply card::serve(eVESK_NODE node, std::uint32_t code, std::span<std::uint8_t> record)
{
    std::vector<std::uint8_t> sent(record.begin(), record.end());
    const reply end = answer(node, code, record);
    write_journal(request_line(node, code, sent, end.result));
    if (observer)
        observer({node, code, sent, record, end});
    if (end.result >= 0)
        m_last_records[code] = std::move(sent);
    return end;
}

void card::order(std::uint32_t code, int result, unsigned nth)
{
    add_order({code, nth, effect::RESULT, result});
}

void card::order_delay(std::uint32_t code, std::uint32_t ms, unsigned nth)
{
    add_order({code, nth, effect::DELAY, ms});
}

void card::order_random(std::uint32_t code, unsigned nth)
{
    add_order({code, nth, effect::RANDOM, 1});
}

void card::add_order(ordered one)
{
    if (one.nth != every)
        one.nth += requests(one.code);
    std::erase_if(m_orders, [&one](const ordered& earlier) {
        return earlier.code == one.code && earlier.what == one.what && (one.nth == every || one.nth == earlier.nth);
    });
    if (one.nth != every || one.value != 0)
        m_orders.push_back(one);
}

void card::order_nothing(std::uint32_t code)
{
    std::erase_if(m_orders, [code](const ordered& one) { return one.code == code; });
}

std::vector<card::ordered> card::orders() const
{
    std::vector<ordered> coming = m_orders;
    for (ordered& one : coming)
        one.nth -= one.nth != every ? requests(one.code) : 0;
    return coming;
}

unsigned card::requests(std::uint32_t code) const
{
    const auto found = m_seen.find(code);
    return found != m_seen.end() ? found->second : 0;
}

void card::connect(std::string_view ip)
{
    disconnect();
    kept.sess_link.flags |= HMI_SESS_LINK_CONNECTED;
    ++kept.sess_link.trans_cnt;
    std::ranges::fill(kept.sess_link.ip, '\0');
    ip.copy(kept.sess_link.ip, sizeof(kept.sess_link.ip));
}

void card::disconnect()
{
    client.forget();
    if ((kept.sess_link.flags & HMI_SESS_LINK_CONNECTED) == 0)
        return;
    kept.sess_link.flags &= static_cast<std::uint8_t>(~HMI_SESS_LINK_CONNECTED);
    ++kept.sess_link.trans_cnt;
    std::ranges::fill(kept.sess_link.ip, '\0');
}

std::span<const std::uint8_t> card::last_record(std::uint32_t code) const
{
    const auto found = m_last_records.find(code);
    return found != m_last_records.end() ? std::span(found->second) : std::span<const std::uint8_t>();
}

card::reply card::answer(eVESK_NODE node, std::uint32_t code, std::span<std::uint8_t> record)
{
    const sVESK_REQUEST_STRUCT* known = find_request(code);
    if (known == nullptr || known->node != node)
        return {-ENOTTY};
    if (record.size() != record_length(code, record))
        return {-EINVAL};

    ++m_seen[code];
    const int ordered_result = static_cast<int>(order_in_effect(code, effect::RESULT));
    const auto delay_ms = static_cast<std::uint32_t>(order_in_effect(code, effect::DELAY));
    const bool is_random = order_in_effect(code, effect::RANDOM) != 0;
    std::erase_if(m_orders, [&](const ordered& one) { return one.code == code && one.nth == requests(code); });
    if (ordered_result < 0)
        return {ordered_result, delay_ms};
    const int result = handle(code, record);
    if (result == 0 && is_random)
        std::ranges::generate(record, [this] { return static_cast<std::uint8_t>(m_random()); });
    return {result == 0 ? ordered_result : result, delay_ms};
}

int card::handle(std::uint32_t code, std::span<std::uint8_t> record)
{
    switch (code) {
#define REQUEST(code, name, ...)                                                                                       \
    case code:                                                                                                         \
        return on_##name(record);
        VESK_REQUEST_TABLE(REQUEST)
#undef REQUEST
    default:
        return -ENOTTY;
    }
}

std::int64_t card::order_in_effect(std::uint32_t code, effect what) const
{
    std::int64_t value = 0;
    for (const ordered& one : m_orders)
        if (one.code == code && one.what == what && (one.nth == every || one.nth == requests(code)))
            value = one.value;
    return value;
}

void card::write_journal(std::string_view line) const
{
    if (m_journal)
        m_journal(line);
}

int card::on_HCC_IOCTL_HMI_AVAIL_CMD(std::span<std::uint8_t> record)
{
    write(record, offered.commands);
    return 0;
}

int card::on_HCC_IOCTL_HMI_VAR_GET(std::span<std::uint8_t> record)
{
    auto variable = read<sVESK_HALDO_HCC_HMI_VAR_STRUCT>(record);
    const bool is_map = variable.var_id == HMI_VAR_AVAIL_VAR;
    if (!offers(offered.commands, HMI_CMD_VAR_GET) || (!is_map && !offers(offered.readable, variable.var_id)))
        return -EOPNOTSUPP;
    const hmi_variable* known = find_variable(variable.var_id, READ);
    if ((!is_map && known == nullptr) || !is_zero(variable.data.bytes))
        return -EINVAL;
    if (is_map)
        variable.data.avail_var = offered.readable;
    else
        std::ranges::copy(bytes_of(kept).subspan(known->offset, known->size), variable.data.bytes);
    write(record, variable);
    return 0;
}

int card::on_HCC_IOCTL_HMI_VAR_SET(std::span<std::uint8_t> record)
{
    auto variable = read<sVESK_HALDO_HCC_HMI_VAR_STRUCT>(record);
    const bool is_map = variable.var_id == HMI_VAR_AVAIL_VAR;
    if (!offers(offered.commands, HMI_CMD_VAR_SET) || (!is_map && !offers(offered.writable, variable.var_id)))
        return -EOPNOTSUPP;
    const hmi_variable* known = find_variable(variable.var_id, KEEP | ZERO);
    if (!is_map && known == nullptr)
        return -EINVAL;
    const std::size_t kept_length = known != nullptr && (known->access & KEEP) != 0 ? known->size : 0;
    const std::span<const std::uint8_t> payload = variable.data.bytes;
    if (!is_zero(payload.subspan(kept_length)))
        return -EINVAL;

    if (is_map) {
        variable.data.avail_var = offered.writable;
        write(record, variable);
        return 0;
    }
    if (variable.var_id != HMI_VAR_SESS_LINK)
        std::ranges::copy(payload.first(known->size), bytes_of(kept).subspan(known->offset).begin());
    if (variable.var_id == HMI_VAR_SESS_LINK || variable.var_id == HMI_VAR_SESS_DISC)
        disconnect();
    return 0;
}

int card::on_HCC_IOCTL_HMI_LOCAL_VAR_GET(std::span<std::uint8_t> record)
{
    auto variable = read<sVESK_HALDO_HCC_HMI_LOCAL_VAR_STRUCT>(record);
    if (variable.var_id > HMI_LOCAL_VAR_LOCAL_INFO || variable.value != 0)
        return -EINVAL;
    variable.value = variable.var_id == HMI_LOCAL_VAR_LOCAL_INFO ? kept.local_info
                                                                 : static_cast<std::uint32_t>(kept.host_sess_state);
    write(record, variable);
    return 0;
}

int card::on_HCC_IOCTL_HMI_LOCAL_VAR_SET(std::span<std::uint8_t> record)
{
    const auto variable = read<sVESK_HALDO_HCC_HMI_LOCAL_VAR_STRUCT>(record);
    if (variable.var_id != HMI_LOCAL_VAR_HOST_SESS_STATE)
        return -EINVAL;
    kept.host_sess_state = static_cast<std::int32_t>(variable.value);
    return 0;
}

int card::on_VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL(std::span<std::uint8_t> record)
{
    const auto control = read<sVESK_HALDO_HCC_KMP_HDC_COMM_CTRL_STRUCT>(record);
    if (control.channel != KMP_HDC_COMM_CHANNEL || control.open > 1)
        return -EINVAL;
    m_channel_open = control.open == 1;
    m_path_open = m_path_open && m_channel_open;
    return 0;
}

int card::on_HCC_IOCTL_KMP_PRI_CTXT_GET(std::span<std::uint8_t> record)
{
    if (read<sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT>(record).request != KMP_PRI_CTXT_REQUEST)
        return -EINVAL;
    write(record, offered.kmp_context);
    return 0;
}

int card::on_HCC_IOCTL_IMG_DISP_TOPO_GET(std::span<std::uint8_t> record)
{
    write_layout(record, kept.topology);
    return 0;
}

int card::on_HCC_IOCTL_IMG_DISP_TOPO_SEND(std::span<std::uint8_t> record)
{
    const auto topology = read<sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT>(record);
    if (!is_message(topology, IMG_MSG_DISP_TOPO_SEND))
        return -EINVAL;
    kept.topology = topology;
    return 0;
}

int card::on_HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET(std::span<std::uint8_t> record)
{
    write_layout(record, kept.async_topology);
    return 0;
}

int card::on_HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET(std::span<std::uint8_t> record)
{
    if (!offers(offered.readable, HMI_VAR_CACHED_TOPO))
        return -EOPNOTSUPP;
    if (!is_message(read<sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT>(record), IMG_MSG_CACHE_DISP_TOPO_GET))
        return -EINVAL;
    write_layout(record, kept.cached_topology);
    return 0;
}

int card::keep_preference(std::span<const std::uint8_t> record, eVESK_HALDO_IMG_MSG message, std::uint32_t* preference)
{
    sVESK_HALDO_HCC_IMG_USER_CFG_SET_STRUCT sent{}; // the cached setting comes without the last word
    std::memcpy(&sent, record.data(), record.size());
    if (!offers(offered.writable, HMI_VAR_IMG_USER_EXT_CFG))
        return -EOPNOTSUPP;
    if (!is_message(sent, message) || sent.value > IMG_USER_CFG_MAX || sent.unused != 0)
        return -EINVAL;
    *preference = sent.value;
    return 0;
}

int card::on_HCC_IOCTL_IMG_USER_CFG_SET(std::span<std::uint8_t> record)
{
    return keep_preference(record, IMG_MSG_USER_CFG_SET, &kept.img_preference);
}

int card::on_HCC_IOCTL_IMG_USER_CFG_CACHE_SET(std::span<std::uint8_t> record)
{
    return keep_preference(record, IMG_MSG_USER_CFG_CACHE_SET, &kept.img_cached_preference);
}

int card::on_HCC_IOCTL_IMG_USER_CFG_REQ_GET(std::span<std::uint8_t> record)
{
    auto requested = read<sVESK_HALDO_HCC_IMG_USER_CFG_REQ_STRUCT>(record);
    if (!offers(offered.readable, HMI_VAR_IMG_USER_EXT_CFG))
        return -EOPNOTSUPP;
    if (!is_message(requested, IMG_MSG_USER_CFG_REQ_GET))
        return -EINVAL;
    requested.qual = kept.img_requested.qual;
    requested.b2l = kept.img_requested.b2l;
    write(record, requested);
    return 0;
}

int card::on_VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN(std::span<std::uint8_t>)
{
    if (!m_channel_open)
        return -ENOTCONN;
    m_path_open = true;
    return 0;
}

int card::on_VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE(std::span<std::uint8_t>)
{
    m_path_open = false;
    return 0;
}

int card::keep_value(std::span<const std::uint8_t> record, std::uint8_t flag, eVESK_HALDO_HDC_KMP_MSG message,
                     limits between, std::uint32_t* value)
{
    const auto sent = read<sVESK_HALDO_HDC_KMP_VALUE_STRUCT>(record);
    if (flag == 0)
        return -EOPNOTSUPP;
    if (sent.header != message || sent.value < between.min || sent.value > between.max)
        return -EINVAL;
    *value = sent.value;
    return 0;
}

int card::on_HDC_IOCTL_KMP_FEAT_EN(std::span<std::uint8_t> record)
{
    return keep_value(record, offered.kmp_context.haldo_kmp_1_supported, KMP_MSG_FEAT_EN, {0, 1}, &kept.feature_enable);
}

int card::on_HDC_IOCTL_KMP_FEAT_STAT_GET(std::span<std::uint8_t> record)
{
    return answer_zero(record,
                       sVESK_HALDO_HDC_KMP_VALUE_STRUCT{0, (kept.feature_status & ~1U) | (kept.feature_enable & 1U)});
}

int card::on_HDC_IOCTL_KMP_KBD_REPEAT(std::span<std::uint8_t> record)
{
    const auto sent = read<sVESK_HALDO_HDC_KMP_KBD_REPEAT_STRUCT>(record);
    if (sent.header != KMP_MSG_KBD_REPEAT || sent.reserved != 0)
        return -EINVAL;
    kept.kbd_interval = sent.interval;
    kept.kbd_delay = sent.delay;
    return 0;
}

int card::on_HDC_IOCTL_KMP_KBD_REPEAT_GET(std::span<std::uint8_t> record)
{
    if (offered.kmp_context.kbd_client_auto_repeat_supported == 0)
        return -EOPNOTSUPP;
    return answer_zero(record, sVESK_HALDO_HDC_KMP_KBD_REPEAT_STRUCT{0, 0, kept.kbd_interval, kept.kbd_delay});
}

int card::on_HDC_IOCTL_KMP_CUR_SHAPE_BMP(std::span<std::uint8_t> record)
{
    const int result = client.show(offered.kmp_context, record);
    if (result == -ESTALE)
        write_journal(event_line(VESK_NODE_HDC, "wrong shape sent"));
    return result;
}

int card::on_HDC_IOCTL_KMP_CUR_SHAPE(std::span<std::uint8_t> record)
{
    const int result = client.select(offered.kmp_context, record);
    if (result == -ESTALE) {
        const auto slot = read<sVESK_HALDO_HDC_KMP_CUR_SHAPE_STRUCT>(record).index;
        write_journal(event_line(VESK_NODE_HDC, "wrong shape in slot " + std::to_string(slot)));
    }
    return result;
}

int card::on_VESK_HALDO_HDC_IOCTL_KMP_CUR_POS(std::span<std::uint8_t> record)
{
    const auto sent = read<sVESK_HALDO_HDC_KMP_CUR_POS_STRUCT>(record);
    if (sent.header != KMP_MSG_CUR_POS)
        return -EINVAL;
    kept.pointer_x = sent.x;
    kept.pointer_y = sent.y;
    kept.position_time_stamp = sent.time_stamp;
    return 0;
}

int card::on_VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW(std::span<std::uint8_t> record)
{
    const auto sent = read<sVESK_HALDO_HDC_KMP_CUR_POS_IF_NEW_STRUCT>(record);
    kept.pointer_x = sent.x;
    kept.pointer_y = sent.y;
    return 0;
}

int card::on_VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS(std::span<std::uint8_t> record)
{
    const auto sent = read<sVESK_HALDO_HDC_KMP_CUR_VIS_STRUCT>(record);
    if (sent.header != KMP_MSG_CUR_VIS || sent.visible > 1 || !is_zero(sent.reserved))
        return -EINVAL;
    kept.pointer_visible = sent.visible == 1;
    kept.visibility_time_stamp = sent.time_stamp;
    return 0;
}

int card::on_HDC_IOCTL_KMP_CUR_IDLE_HIDE(std::span<std::uint8_t> record)
{
    return keep_value(record, offered.kmp_context.cur_shape_fadeout_enable, KMP_MSG_CUR_IDLE_HIDE, {}, &kept.idle_hide);
}

int card::on_HDC_IOCTL_KMP_CUR_SPD_GET(std::span<std::uint8_t> record)
{
    if (offered.kmp_context.cur_speed_update_enable == 0)
        return -EOPNOTSUPP;
    return answer_zero(record, sVESK_HALDO_HDC_KMP_VALUE_STRUCT{0, kept.cursor_speed});
}

int card::on_HDC_IOCTL_KMP_CUR_SPD_SET(std::span<std::uint8_t> record)
{
    return keep_value(record, offered.kmp_context.cur_speed_update_enable, KMP_MSG_CUR_SPD,
                      {KMP_CUR_SPD_MIN, KMP_CUR_SPD_MAX}, &kept.cursor_speed);
}

int card::on_HDC_IOCTL_KMP_LAST_STAT_GET(std::span<std::uint8_t> record)
{
    return answer_zero(record, kept.last_status);
}

int card::on_HDC_IOCTL_KMP_HOIP_PROC_NEW_TAB(std::span<std::uint8_t>)
{
    ++kept.new_tablet_requests;
    return 0;
}

int card::on_HDC_IOCTL_KMP_HOIP_HOST_RDY(std::span<std::uint8_t>)
{
    ++kept.host_ready_requests;
    return 0;
}

int card::on_HDC_IOCTL_KMP_DISP_TOPO_SET(std::span<std::uint8_t> record)
{
    kept.driver_topology = read<sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT>(record);
    return 0;
}

int card::on_HDC_IOCTL_KMP_DRIVER_CFG_SET(std::span<std::uint8_t> record)
{
    const auto configuration = read<sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT>(record);
    if (configuration.type >= m_driver_settings.size())
        return -EINVAL;
    m_driver_settings[configuration.type] = configuration.setting;
    return 0;
}

} // namespace cardsim
