#include "words.h"

#include "bytes.h"
#include "control.h"
#include "fields.h"
#include "journal.h"

#include <map>
#include <nlohmann/json.hpp>

namespace cardsim
{

namespace
{

#define IN_STATE(member)   state_fields(offsetof(state, member), sizeof(static_cast<state*>(nullptr)->member))
#define AT(record, member) offsetof(record, member), sizeof(record::member)

struct description {
    std::vector<field> sent;
    std::vector<field> answered = {};
};

constexpr std::size_t payload_offset = offsetof(sVESK_HALDO_HCC_HMI_VAR_STRUCT, data);

const std::map<std::uint32_t, description>& descriptions()
{
    static const std::vector<field> value{{"value", AT(sVESK_HALDO_HDC_KMP_VALUE_STRUCT, value)}};
    static const std::vector<field> rates{{"interval", AT(sVESK_HALDO_HDC_KMP_KBD_REPEAT_STRUCT, interval)},
                                          {"delay", AT(sVESK_HALDO_HDC_KMP_KBD_REPEAT_STRUCT, delay)}};
    static const std::vector<field> preference{{"value", AT(sVESK_HALDO_HCC_IMG_USER_CFG_SET_STRUCT, value)}};
    static const field local_id{"variable", AT(sVESK_HALDO_HCC_HMI_LOCAL_VAR_STRUCT, var_id)};
    static const field local_value{"value", AT(sVESK_HALDO_HCC_HMI_LOCAL_VAR_STRUCT, value), form::SIGNED};
    static const std::map<std::uint32_t, description> all{
        {HCC_IOCTL_HMI_AVAIL_CMD.code, {{}, IN_STATE(offered.commands)}},
        {HCC_IOCTL_HMI_LOCAL_VAR_GET.code, {{local_id}, {local_value}}},
        {HCC_IOCTL_HMI_LOCAL_VAR_SET.code, {{local_id, local_value}}},
        {VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL.code,
         {{{"channel", AT(sVESK_HALDO_HCC_KMP_HDC_COMM_CTRL_STRUCT, channel)},
           {"open", AT(sVESK_HALDO_HCC_KMP_HDC_COMM_CTRL_STRUCT, open)}}}},
        {HCC_IOCTL_KMP_PRI_CTXT_GET.code,
         {{{"request", AT(sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT, request)}}, IN_STATE(offered.kmp_context)}},
        {HCC_IOCTL_IMG_DISP_TOPO_GET.code, {{}, IN_STATE(kept.topology)}},
        {HCC_IOCTL_IMG_DISP_TOPO_SEND.code, {IN_STATE(kept.topology)}},
        {HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET.code, {{}, IN_STATE(kept.async_topology)}},
        {HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET.code, {{}, IN_STATE(kept.cached_topology)}},
        {HCC_IOCTL_IMG_USER_CFG_SET.code, {preference}},
        {HCC_IOCTL_IMG_USER_CFG_CACHE_SET.code, {preference}},
        {HCC_IOCTL_IMG_USER_CFG_REQ_GET.code,
         {{},
          {{"quality", AT(sVESK_HALDO_HCC_IMG_USER_CFG_REQ_STRUCT, qual)},
           {"b2l", AT(sVESK_HALDO_HCC_IMG_USER_CFG_REQ_STRUCT, b2l)}}}},
        {HDC_IOCTL_KMP_FEAT_EN.code, {value}},
        {HDC_IOCTL_KMP_FEAT_STAT_GET.code, {{}, value}},
        {HDC_IOCTL_KMP_KBD_REPEAT.code, {rates}},
        {HDC_IOCTL_KMP_KBD_REPEAT_GET.code, {{}, rates}},
        {HDC_IOCTL_KMP_CUR_SHAPE_BMP.code,
         {{{"type", AT(sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT, bitmap_type)},
           {"cache_slot", AT(sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT, cache_slot)},
           {"shape_arg1", AT(sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT, shape_arg1)},
           {"shape_arg2", AT(sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT, shape_arg2)},
           {"width", AT(sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT, width)},
           {"height", AT(sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT, height)},
           {"and_depth", AT(sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT, and_depth)},
           {"xor_depth", AT(sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT, xor_depth)},
           {"length", AT(sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT, length)}}}},
        {HDC_IOCTL_KMP_CUR_SHAPE.code, {{{"index", AT(sVESK_HALDO_HDC_KMP_CUR_SHAPE_STRUCT, index)}}}},
        {VESK_HALDO_HDC_IOCTL_KMP_CUR_POS.code,
         {{{"time_stamp", AT(sVESK_HALDO_HDC_KMP_CUR_POS_STRUCT, time_stamp)},
           {"x", AT(sVESK_HALDO_HDC_KMP_CUR_POS_STRUCT, x)},
           {"y", AT(sVESK_HALDO_HDC_KMP_CUR_POS_STRUCT, y)}}}},
        {VESK_HALDO_HDC_IOCTL_KMP_CUR_POS_IF_NEW.code,
         {{{"x", AT(sVESK_HALDO_HDC_KMP_CUR_POS_IF_NEW_STRUCT, x)},
           {"y", AT(sVESK_HALDO_HDC_KMP_CUR_POS_IF_NEW_STRUCT, y)}}}},
        {VESK_HALDO_HDC_IOCTL_KMP_CUR_VIS.code,
         {{{"time_stamp", AT(sVESK_HALDO_HDC_KMP_CUR_VIS_STRUCT, time_stamp)},
           {"visible", AT(sVESK_HALDO_HDC_KMP_CUR_VIS_STRUCT, visible)}}}},
        {HDC_IOCTL_KMP_CUR_IDLE_HIDE.code, {value}},
        {HDC_IOCTL_KMP_CUR_SPD_GET.code, {{}, value}},
        {HDC_IOCTL_KMP_CUR_SPD_SET.code, {value}},
        {HDC_IOCTL_KMP_LAST_STAT_GET.code,
         {{},
          {{"status", AT(sVESK_HALDO_HDC_KMP_LAST_STAT_STRUCT, status)},
           {"count", AT(sVESK_HALDO_HDC_KMP_LAST_STAT_STRUCT, count)},
           {"hoip_hid_devices", AT(sVESK_HALDO_HDC_KMP_LAST_STAT_STRUCT, hoip_hid_devices)},
           {"hoip_tablet_activate_ack", AT(sVESK_HALDO_HDC_KMP_LAST_STAT_STRUCT, hoip_tablet_activate_ack)}}}},
        {HDC_IOCTL_KMP_DISP_TOPO_SET.code,
         {{{"twinview", AT(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, twinview)},
           {"active_displays", AT(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, active_displays)},
           {"min_x", AT(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, min_x), form::SIGNED},
           {"max_x", AT(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, max_x), form::SIGNED},
           {"min_y", AT(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, min_y), form::SIGNED},
           {"max_y", AT(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, max_y), form::SIGNED},
           {"total_width", AT(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, total_width), form::SIGNED},
           {"total_height", AT(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, total_height), form::SIGNED},
           {"primary_width", AT(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, primary_width), form::SIGNED},
           {"primary_height", AT(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, primary_height), form::SIGNED},
           {"x_scale", AT(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, x_scale), form::SIGNED},
           {"y_scale", AT(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, y_scale), form::SIGNED},
           {"displays", AT(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT, disp), form::WORDS}}}},
        {HDC_IOCTL_KMP_DRIVER_CFG_SET.code,
         {{{"type", AT(sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT, type)},
           {"setting", AT(sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT, setting), form::SIGNED}}}},
    };
    return all;
}

// What a variable's payload holds when it is read.
std::vector<field> payload_fields(std::uint32_t id)
{
    if (id == HMI_VAR_AVAIL_VAR)
        return IN_STATE(offered.readable);
    const hmi_variable* const known = find_variable(id);
    return known != nullptr ? state_fields(offsetof(state, kept) + known->offset, known->size) : std::vector<field>();
}

std::string named(const std::vector<field>& fields, std::span<const std::uint8_t> record)
{
    std::string text;
    for (const field& one : fields) {
        text.append(" ").append(one.name).append("=");
        const bool is_plain =
            one.how != form::TEXT && one.how != form::WORDS && one.how != form::COMMANDS && one.how != form::VARIABLES;
        text +=
            is_plain ? text_of(one, record) : value_of(one, record).dump(-1, ' ', true, json::error_handler_t::replace);
    }
    return text;
}

std::string variable_words(const card::exchange& one, const std::string& result)
{
    const auto id = read<std::uint32_t>(one.sent);
    std::string text = " variable=" + variable_name(id);
    const bool is_read = one.code == HCC_IOCTL_HMI_VAR_GET.code;
    if (is_read || id == HMI_VAR_AVAIL_VAR) {
        const auto fields = is_read ? payload_fields(id) : IN_STATE(offered.writable);
        text += result;
        return one.end.result >= 0 ? text + named(fields, one.answered.subspan(payload_offset)) : text;
    }
    if (find_variable(id, ZERO) == nullptr) // which come as zero
        text += named(payload_fields(id), one.sent.subspan(payload_offset));
    return text + result;
}

} // namespace

std::string words_of(const card::exchange& one)
{
    const sVESK_REQUEST_STRUCT* const known = find_request(one.code);
    const std::string result = " -> " + result_text(one.end.result);
    std::string start = std::string(node_name(one.node)) + " ";
    if (known == nullptr)
        return start + "request " + code_text(one.code) + result;
    start += short_name(*known);
    const std::size_t length = record_length(one.code, one.sent);
    if (one.sent.size() != length)
        return start + " length=" + std::to_string(one.carried ? one.sent.size() : length) + result;
    if (one.code == HCC_IOCTL_HMI_VAR_GET.code || one.code == HCC_IOCTL_HMI_VAR_SET.code)
        return start + variable_words(one, result);

    const auto found = descriptions().find(one.code);
    if (found == descriptions().end())
        return start + result;
    return start + named(found->second.sent, one.sent) + result +
           (one.end.result >= 0 ? named(found->second.answered, one.answered) : "");
}

} // namespace cardsim
