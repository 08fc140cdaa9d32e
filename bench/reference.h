// One reference for each idiom of the link: plain code that a row of link_operations.cpp gives its data (the variable,
// the record, what is asked), and that asks what the operation must ask too: whether the feature is offered, whether
// the node is open, whether the request failed, and at each log statement on its way whether the level is on.
#pragma once

#include "vesk_haldo_link.h"
#include "vesk_log.h"
#include "vesk_requests.h"

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <sys/ioctl.h>
#include <unistd.h>
#include <utility>

// Called from outside as the product is: what calls it sees nothing of it. It begins a cache line, as the product does
// here.
#define REFERENCE [[gnu::noipa, gnu::aligned(64)]] inline

struct reference_node {
    int fd;
    bool open;
    bool ready;
};

// A bitmap with the same arguments is the same shape.
struct reference_shape {
    eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE type;
    unsigned char arg1, arg2, width, height, and_depth, xor_depth;
    unsigned int length;
    bool operator==(const reference_shape&) const = default;
};
#define REFERENCE_SHAPE_PARAMETERS                                                                                     \
    unsigned char arg1, unsigned char arg2, unsigned char width, unsigned char height, unsigned char and_depth,        \
        unsigned char xor_depth, const unsigned char *bmp, unsigned int bmp_len,                                       \
        eVESK_HALDO_LINK_KMP_CUR_BITMAP_TYPE type

struct reference_link {
    reference_node hcc, hdc;
    bool started;
    sVESK_HALDO_HCC_HMI_AVAIL_STRUCT hmi_avail_cmd, hmi_avail_get_var, hmi_avail_set_var;
    struct {
        sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT agreed;
        std::uint32_t valid;
    } context;
    int cached;
    unsigned char last;
    unsigned int block;
    struct {
        reference_shape shape;
        unsigned char* data;
    } cache[BMP_CACHE_MAX];
};

// A log statement with values that are kept for it.
template <typename... Values> [[gnu::noipa, gnu::cold]] void reference_line(Values...) {}
template <typename... Values> inline void reference_log(Values... values)
{
    if (m_log_level >= VESK_LOG_DEBUG)
        reference_line(values...);
}

// --- Requests ---

// What the device handle does: it is called, and asks whether its node is open.
REFERENCE int reference_ioctl(const reference_node& node, unsigned int request, void* record, unsigned int /*length*/,
                              unsigned int /*timeout_ms*/)
{
    if (!node.open)
        return VESK_NOT_INITIALIZED;
    return ioctl(node.fd, request, record) < 0 ? VESK_FAILED : VESK_OK;
}

inline int reference_request(const reference_link& link, const sVESK_REQUEST_STRUCT& request, void* record)
{
    const int result = reference_ioctl(request.node == VESK_NODE_HCC ? link.hcc : link.hdc, request.code, record,
                                       request.length, request.timeout_ms);
    if (result != VESK_OK)
        VESK_LOG_E("failed (ret=%d)", result);
    return result;
}

// A record that is made of the caller's values and sent after a check. Of two log statements the first stands before
// the check.
template <const sVESK_REQUEST_STRUCT& request, int statements, auto asks, auto make, typename... Values>
REFERENCE int reference_send(const reference_link& link, Values... values)
{
    auto record = make(values...);
    if constexpr (statements > 1)
        VESK_LOG_D("start");
    if (!asks(link, record))
        return VESK_NOT_SUPPORTED;
    const int result = reference_request(link, request, &record);
    if (statements > 0 && result == VESK_OK)
        reference_log(values...);
    return result;
}

// The same, and members of the reply, which go where the caller wants them.
template <const sVESK_REQUEST_STRUCT& request, int statements, auto asks, auto make, auto... members, typename... Out>
REFERENCE int reference_receive(const reference_link& link, Out*... out)
{
    if constexpr (statements > 1)
        VESK_LOG_D("start");
    if (!(... && (out != nullptr)))
        VESK_LOG_E("nowhere to put it");
    auto record = make();
    if (!asks(link, record))
        return VESK_NOT_SUPPORTED;
    const int result = reference_request(link, request, &record);
    if (result != VESK_OK)
        return result;
    ((out != nullptr ? void(*out = static_cast<Out>(record.*members)) : void()), ...);
    if constexpr (statements > 0)
        reference_log(record.*members...);
    return VESK_OK;
}

// A request without a record of its own: with none, or with the caller's.
inline int reference_pass(const reference_link& link, const sVESK_REQUEST_STRUCT& request, void* record)
{
    const int result = reference_request(link, request, record);
    if (result == VESK_OK)
        VESK_LOG_D("okay");
    return result;
}
template <const sVESK_REQUEST_STRUCT& request, int statements>
REFERENCE int reference_pass(const reference_link& link, void* record)
{
    if constexpr (statements > 1)
        VESK_LOG_D("start");
    return reference_pass(link, request, record);
}

// The same with a statement for each display of the record, and one behind them.
REFERENCE int reference_layout_pass(const reference_link& link, sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT* topo)
{
    VESK_LOG_D("start");
    int result = VESK_INVALID_ARGUMENT;
    if (topo != nullptr && (result = reference_request(link, HCC_IOCTL_IMG_DISP_TOPO_GET, topo)) == VESK_OK)
        for (int i = 0; i < VESK_DISPLAY_COUNT; ++i)
            reference_log(i, topo->disp[i].pos_x, topo->disp[i].pos_y, topo->disp[i].width, topo->disp[i].height,
                          topo->disp[i].rotation);
    VESK_LOG_D("end");
    return result;
}

// --- Predicates: over a capability map, over the context ---

inline bool reference_is_offered(const sVESK_HALDO_HCC_HMI_AVAIL_STRUCT& map, std::uint32_t id)
{
    return (map.map[id / 32] >> (id % 32) & 1) != 0;
}
REFERENCE int reference_offered(const sVESK_HALDO_HCC_HMI_AVAIL_STRUCT& map, std::uint32_t id)
{
    return reference_is_offered(map, id) ? VESK_OK : VESK_NOT_SUPPORTED;
}
template <auto asks> REFERENCE int reference_agreed(const reference_link& link)
{
    return asks(link) ? VESK_OK : VESK_NOT_SUPPORTED;
}

// --- Variables ---

struct reference_variable {
    const sVESK_REQUEST_STRUCT& request;
    const sVESK_HALDO_HCC_HMI_AVAIL_STRUCT* map; // that offers it, or null: nothing is asked
    std::uint32_t id;
    std::size_t size;
    bool is_for_unbrokered = false; // the view of the session is asked
};

REFERENCE int reference_is_brokered(const reference_link& link);

REFERENCE int reference_access(const reference_link& link, const reference_variable& variable, void* payload)
{
    const bool writes = variable.request.code == HCC_IOCTL_HMI_VAR_SET.code;
    if (payload == nullptr || (variable.map != nullptr && !reference_is_offered(*variable.map, variable.id)) ||
        (variable.is_for_unbrokered && reference_is_brokered(link) != 0))
        return VESK_NOT_SUPPORTED;
    sVESK_HALDO_HCC_HMI_VAR_STRUCT record{};
    record.var_id = variable.id;
    if (writes)
        std::memcpy(record.data.bytes, payload, variable.size);
    const int result = reference_request(link, variable.request, &record);
    if (result == VESK_OK && !writes)
        std::memcpy(payload, record.data.bytes, variable.size);
    return result;
}

REFERENCE int reference_framed(const reference_link& link, const reference_variable& variable, void* payload)
{
    VESK_LOG_D("start");
    const int result = reference_access(link, variable, payload);
    VESK_LOG_D("end");
    return result;
}

// With what is read or written in a line behind it.
REFERENCE int reference_traced(const reference_link& link, const reference_variable& variable, void* payload)
{
    const int result = reference_access(link, variable, payload);
    if (result == VESK_OK)
        reference_log(payload);
    return result;
}

// The payload is a word.
REFERENCE int reference_set_word(const reference_link& link, const reference_variable& variable, unsigned int word)
{
    return reference_traced(link, variable, &word);
}

inline int reference_session_get(const reference_link& link, sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT* state)
{
    const reference_variable variable{HCC_IOCTL_HMI_VAR_GET, &link.hmi_avail_get_var, HMI_VAR_SESS_LINK,
                                      sizeof(*state)};
    return reference_access(link, variable, state);
}

REFERENCE int reference_is_brokered(const reference_link& link)
{
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT tag;
    static constexpr reference_variable variable{HCC_IOCTL_HMI_VAR_GET, nullptr, HMI_VAR_SESS_TAG, sizeof(tag)};
    return reference_traced(link, variable, &tag) == VESK_OK && (tag.flags & HMI_SESS_TAG_BROKERED) != 0;
}

REFERENCE int reference_offered_unbrokered(const reference_link& link, const sVESK_HALDO_HCC_HMI_AVAIL_STRUCT& map,
                                           std::uint32_t id)
{
    return reference_is_offered(map, id) && reference_is_brokered(link) == 0 ? VESK_OK : VESK_NOT_SUPPORTED;
}

// A map is a variable too; the request tells which.
REFERENCE void reference_map_get(const reference_link& link, const sVESK_REQUEST_STRUCT& request,
                                 sVESK_HALDO_HCC_HMI_AVAIL_STRUCT* map)
{
    sVESK_HALDO_HCC_HMI_VAR_STRUCT record{};
    *map =
        reference_pass(link, request, &record) == VESK_OK ? record.data.avail_var : sVESK_HALDO_HCC_HMI_AVAIL_STRUCT{};
}

REFERENCE void reference_maps_clear(reference_link* link)
{
    link->hmi_avail_cmd = link->hmi_avail_get_var = link->hmi_avail_set_var = {};
}

REFERENCE void reference_maps_get(reference_link* link)
{
    sVESK_HALDO_HCC_HMI_AVAIL_STRUCT commands{};
    if (reference_pass(*link, HCC_IOCTL_HMI_AVAIL_CMD, &commands) != VESK_OK)
        return reference_maps_clear(link);
    if (reference_is_offered(commands, HMI_CMD_VAR_GET))
        reference_map_get(*link, HCC_IOCTL_HMI_VAR_GET, &link->hmi_avail_get_var);
    if (reference_is_offered(commands, HMI_CMD_VAR_SET))
        reference_map_get(*link, HCC_IOCTL_HMI_VAR_SET, &link->hmi_avail_set_var);
    link->hmi_avail_cmd = commands;
}

// --- Life ---

REFERENCE void reference_node_clear(reference_node* node)
{
    VESK_LOG_D("start");
    *node = {-1, false, false};
    VESK_LOG_D("end");
}

REFERENCE void reference_node_open(reference_node* node, const char* path)
{
    VESK_LOG_D("start");
    if (path == nullptr || node->open)
        return;
    node->fd = open(path, O_RDWR);
    if (node->fd >= 0 && node->fd <= STDERR_FILENO) // is no node's
        close(std::exchange(node->fd, fcntl(node->fd, F_DUPFD, STDERR_FILENO + 1)));
    node->open = node->ready = node->fd >= 0;
    VESK_LOG_D("end");
}

REFERENCE void reference_node_close(reference_node* node)
{
    VESK_LOG_D("start");
    if (node->fd != -1)
        close(node->fd);
    VESK_LOG_D("end");
}

REFERENCE bool reference_node_is_ready(const reference_node& node)
{
    VESK_LOG_D("open = %d, ready = %d", node.open, node.ready);
    return node.open && node.ready;
}

REFERENCE void reference_open(reference_link* link)
{
    std::memset(link, 0, sizeof(*link));
    reference_node_clear(&link->hcc);
    reference_node_clear(&link->hdc);
    VESK_LOG_D("start");
    reference_node_open(&link->hcc, VESK_NODE_PATH_HCC);
    VESK_LOG_D("open = %d", link->hcc.open);
    reference_node_open(&link->hdc, VESK_NODE_PATH_HDC);
    VESK_LOG_D("open = %d", link->hdc.open);
    reference_maps_clear(link);
    reference_maps_get(link);
    VESK_LOG_D("end");
}

REFERENCE void reference_close(reference_link* link)
{
    VESK_LOG_D("start");
    for (const auto& entry : link->cache)
        std::free(entry.data);
    VESK_LOG_D("end");
    reference_node_close(&link->hdc);
    reference_node_close(&link->hcc);
}

REFERENCE bool reference_is_ready(const reference_link& link)
{
    return reference_node_is_ready(link.hcc) && reference_node_is_ready(link.hdc);
}

// --- The KMP path and context ---

REFERENCE int reference_path_close(const reference_link& link)
{
    sVESK_HALDO_HCC_KMP_HDC_COMM_CTRL_STRUCT record{KMP_HDC_COMM_CHANNEL, 0};
    const int result = reference_pass(link, VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL, &record);
    reference_pass(link, VESK_HALDO_HDC_IOCTL_KMP_HDC_CLOSE, nullptr);
    return result;
}

REFERENCE int reference_path_open(const reference_link& link)
{
    sVESK_HALDO_HCC_KMP_HDC_COMM_CTRL_STRUCT record{KMP_HDC_COMM_CHANNEL, 1};
    int result = reference_pass(link, VESK_HALDO_HCC_IOCTL_KMP_HDC_COMM_CTRL, &record);
    if (result == VESK_OK && (result = reference_pass(link, VESK_HALDO_HDC_IOCTL_KMP_HDC_OPEN, nullptr)) != VESK_OK)
        reference_path_close(link);
    return result;
}

REFERENCE int reference_start(reference_link* link)
{
    if (link->started)
        VESK_LOG_E("already started");
    link->started = true;
    return VESK_OK;
}

REFERENCE void reference_stop(reference_link* link)
{
    VESK_LOG_D("start");
    if (link->started)
        reference_path_close(*link);
    link->started = false;
    VESK_LOG_D("end");
}

REFERENCE int reference_context_clear(reference_link* link)
{
    link->context = {};
    return VESK_OK;
}

REFERENCE void reference_context_get(reference_link* link)
{
    sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT record{};
    record.request = KMP_PRI_CTXT_REQUEST;
    if (reference_pass(*link, HCC_IOCTL_KMP_PRI_CTXT_GET, &record) != VESK_OK)
        return;
    link->context = {record, 1};
    // At the level that is measured this line is written.
    if (record.hoip_enable != 0)
        VESK_LOG_I("hoip_enable=%u: local tablet mode supported by host and client", record.hoip_enable);
    else
        VESK_LOG_I("hoip_enable=%u: local tablet mode not supported by host and/or client", record.hoip_enable);
}

// --- Layouts ---

inline bool reference_is_used(const sVESK_HALDO_DISPLAY_STRUCT& disp)
{
    return disp.width != 0 || disp.height != 0;
}

REFERENCE void reference_used_layout(const sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT& from,
                                     sVESK_HALDO_LINK_DISP_TOPO_STRUCT* topo)
{
    *topo = {};
    for (int i = 0; i < VESK_DISPLAY_COUNT; ++i) {
        if (reference_is_used(from.disp[i])) {
            topo->disp[i] = from.disp[i];
            topo->disp[i].rotation = std::min(from.disp[i].rotation, 3U);
            ++topo->num_disp;
        }
    }
}

REFERENCE int reference_layout_get(const reference_link& link, sVESK_HALDO_LINK_DISP_TOPO_STRUCT* topo,
                                   unsigned int* value)
{
    if (topo == nullptr || value == nullptr)
        return VESK_INVALID_ARGUMENT;
    sVESK_HALDO_HCC_IMG_ASYNC_DISP_TOPO_STRUCT record{};
    const int result = reference_request(link, HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET, &record);
    if (result != VESK_OK)
        return result;
    reference_used_layout(record.topo, topo);
    *value = record.value;
    return VESK_OK;
}

REFERENCE int reference_cached_layout_get(const reference_link& link, sVESK_HALDO_LINK_CACHE_DISP_TOPO* topo)
{
    if (topo == nullptr)
        return VESK_INVALID_ARGUMENT;
    *topo = {};
    if (!reference_is_offered(link.hmi_avail_get_var, HMI_VAR_CACHED_TOPO))
        return VESK_NOT_SUPPORTED;
    sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT record{};
    record.topo.message = IMG_MSG_CACHE_DISP_TOPO_GET;
    int result = reference_pass(link, HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET, &record);
    if (result != VESK_OK)
        return result;
    for (int i = 0; i < VESK_DISPLAY_COUNT; ++i) {
        const sVESK_HALDO_DISPLAY_STRUCT& disp = record.topo.disp[i];
        const sVESK_HALDO_HCC_IMG_MONITOR_STRUCT& monitor = record.monitor[i];
        const bool used = reference_is_used(disp);
        const bool marked = !used && record.rate[i] >= IMG_RATE_NO_CACHING;
        if (marked)
            result = record.rate[i] == IMG_RATE_NO_CACHING ? VESK_RATE_NO_CACHING : VESK_RATE_NOT_ACTIVE;
        topo->num_disp += used || marked;
        topo->disp[i] = {disp.pos_x,
                         disp.pos_y,
                         disp.width,
                         disp.height,
                         std::min(disp.rotation, 3U),
                         marked ? std::uint8_t{0} : record.rate[i],
                         {}};
        std::memcpy(topo->monitor[i].vid, monitor.vid, sizeof(monitor.vid));
        std::memcpy(topo->monitor[i].pid, monitor.pid, sizeof(monitor.pid));
        std::memcpy(topo->monitor[i].serial, monitor.serial, sizeof(monitor.serial));
        std::memcpy(topo->monitor[i].name, monitor.name, sizeof(monitor.name));
        VESK_LOG_D("a display");
        VESK_LOG_D("its monitor");
    }
    topo->primary = record.primary;
    return result;
}

// Where positions at the limits wrap, a whole is 0 or -1.
inline std::int32_t reference_quotient(std::int32_t part, std::int32_t whole)
{
    return whole == 0 ? 0 : whole == -1 ? -part : part / whole;
}

REFERENCE int reference_layout_send(const reference_link& link, const sVESK_HALDO_LINK_DISP_TOPO_STRUCT* topo,
                                    int primary_width, int primary_height, int twinview)
{
    VESK_LOG_D("start");
    if (topo == nullptr || topo->num_disp > VESK_DISPLAY_COUNT || primary_width == 0 || primary_height == 0)
        return VESK_INVALID_ARGUMENT;
    sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT firmware{IMG_MSG_DISP_TOPO_SEND, 0, {}};
    sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT driver{};
    driver.twinview = static_cast<std::uint32_t>(twinview);
    driver.primary_width = primary_width;
    driver.primary_height = primary_height;
    for (int i = 0; i < VESK_DISPLAY_COUNT; ++i) {
        const sVESK_HALDO_DISPLAY_STRUCT& from = firmware.disp[i] = topo->disp[i];
        VESK_LOG_D("a display");
        if (from.width == 0 || from.height == 0)
            continue;
        const std::int32_t right = from.pos_x + from.width - 1;
        const std::int32_t bottom = from.pos_y + from.height - 1;
        driver.disp[i] = {1, from.pos_x, from.pos_y, right, bottom, 0, 0, 0, 0, from.width, from.height, from.rotation};
        driver.min_x = std::min(driver.min_x, from.pos_x);
        driver.max_x = std::max(driver.max_x, right);
        driver.min_y = std::min(driver.min_y, from.pos_y);
        driver.max_y = std::max(driver.max_y, bottom);
        ++driver.active_displays;
    }
    if (driver.active_displays != 0) {
        const std::int32_t width = driver.total_width = std::abs(driver.min_x) + std::abs(driver.max_x) + 1;
        const std::int32_t height = driver.total_height = std::abs(driver.min_y) + std::abs(driver.max_y) + 1;
        driver.x_scale = reference_quotient(0x30000, width);
        driver.y_scale = reference_quotient(0x30000, height);
        for (sVESK_HALDO_HDC_KMP_DISPLAY_STRUCT& disp : driver.disp) {
            if (disp.enabled == 0)
                continue;
            disp.scaled_left = reference_quotient(disp.left * 0x10000, width);
            disp.scaled_top = reference_quotient(disp.top * 0x10000, height);
            disp.scaled_right = reference_quotient((disp.right + 1) * 0x10000, width) - 1;
            disp.scaled_bottom = reference_quotient((disp.bottom + 1) * 0x10000, height) - 1;
        }
    }
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT session;
    if (reference_session_get(link, &session) != VESK_OK || (session.flags & HMI_SESS_LINK_CONNECTED) == 0)
        return VESK_FAILED;
    const int result = reference_pass(link, HCC_IOCTL_IMG_DISP_TOPO_SEND, &firmware);
    return result != VESK_OK ? result : reference_pass(link, HDC_IOCTL_KMP_DISP_TOPO_SET, &driver);
}

// --- Conversion ---

REFERENCE int reference_size_valid(const reference_link& link, unsigned short width, unsigned short height, int type)
{
    const sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT& agreed = link.context.agreed;
    const std::uint32_t pixels = std::uint32_t{width} * height;
    const std::uint32_t needed =
        4 * pixels +
        (type != KMP_CUR_BITMAP_TYPE_ALPHA ? static_cast<std::uint32_t>(static_cast<std::int32_t>(pixels) / 8) : 0);
    return agreed.cur_shape_max_size_supported != 0 && width <= agreed.cur_shape_max_size_x &&
                   height <= agreed.cur_shape_max_size_y && agreed.cur_shape_cache_size_supported != 0 &&
                   needed <= agreed.cur_shape_cache_size
               ? VESK_OK
               : VESK_NOT_SUPPORTED;
}

// Whether one of these rows has a bit set; they are padded to words, and the last may be cut.
REFERENCE bool reference_any_bit(const unsigned char* src, std::uint32_t length, std::uint32_t width,
                                 std::uint32_t rows)
{
    if (width == 0)
        return false;
    std::uint32_t seen[8] = {};
    std::memset(seen, 0xFF, width / 8);
    reinterpret_cast<unsigned char*>(seen)[width / 8] = static_cast<unsigned char>(0xFF00 >> width % 8);
    const std::uint32_t words = (width + 31) / 32;
    for (; rows > 0 && length >= 4 * words; --rows, length -= 4 * words) {
        std::uint32_t found = 0;
        for (std::uint32_t i = 0; i < words; ++i, src += sizeof(found)) {
            std::uint32_t word;
            std::memcpy(&word, src, sizeof(word));
            found |= word & seen[i];
        }
        if (found != 0)
            return true;
    }
    for (std::uint32_t i = 0; rows > 0 && i < length; ++i)
        if ((src[i] & reinterpret_cast<unsigned char*>(seen)[i]) != 0)
            return true;
    return false;
}

// One memcpy a row: how short they are is kept from the compiler.
REFERENCE unsigned char* reference_copy_reversed(unsigned char* dst, const unsigned char* src, std::uint32_t row,
                                                 std::uint32_t rows)
{
    for (; rows > 0; dst += row)
        std::memcpy(dst, src + row * --rows, row);
    return dst;
}

// The search runs on behind the AND plane's last row, and not beyond the bitmap.
REFERENCE int reference_flip(unsigned char width, unsigned char height, unsigned char xor_depth, unsigned int length,
                             const unsigned char* src, unsigned char* dst, int* no_transparency)
{
    const std::uint32_t and_row = (width + 31U) / 32 * 4;
    const std::uint32_t xor_row = xor_depth == 1 ? and_row : 4U * width;
    const std::uint32_t and_start = xor_depth == 1 ? xor_row * height : 0;
    const std::uint32_t xor_start = xor_depth == 1 ? 0 : and_row * height;
    const std::uint32_t and_last = and_start + and_row * (height - 1U);
    if ((and_row + xor_row) * height > length)
        return VESK_FAILED;
    if (height != 0 && reference_any_bit(src + and_last, length - and_last, width, height)) {
        dst = reference_copy_reversed(dst, src + and_start, and_row, height);
    } else {
        *no_transparency = 1;
        VESK_LOG_D("opaque");
    }
    reference_copy_reversed(dst, src + xor_start, xor_row, height);
    return VESK_OK;
}

// --- Shapes and their cache ---

REFERENCE int reference_cache_flush(reference_link* link)
{
    if (link->cached != 0)
        VESK_LOG_D("%d shapes", link->cached);
    for (; link->cached > 0; --link->cached)
        std::free(link->cache[link->cached - 1].data);
    return VESK_OK;
}

REFERENCE int reference_cache_init(reference_link* link)
{
    const sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT& agreed = link->context.agreed;
    reference_cache_flush(link);
    VESK_LOG_D("start");
    if (agreed.cur_shape_caches_supported == 0 || agreed.cur_shape_cache_size_supported == 0)
        return VESK_OK;
    link->last = 0;
    link->block = agreed.cur_shape_cache_size;
    for (; link->cached < std::min<int>(agreed.cur_shape_caches, BMP_CACHE_MAX); ++link->cached) {
        auto* const data = static_cast<unsigned char*>(std::malloc(link->block));
        if (data == nullptr)
            break;
        link->cache[link->cached] = {{}, data};
    }
    return VESK_OK;
}

REFERENCE int reference_cache_find(const reference_link& link, REFERENCE_SHAPE_PARAMETERS, unsigned char* index)
{
    const reference_shape shape{type, arg1, arg2, width, height, and_depth, xor_depth, bmp_len};
    for (int i = 0; i < link.cached; ++i) {
        if (link.cache[i].shape == shape && std::memcmp(link.cache[i].data, bmp, bmp_len) == 0) {
            *index = static_cast<unsigned char>(i);
            return 1;
        }
    }
    return 0;
}

REFERENCE void reference_cache_add(reference_link* link, REFERENCE_SHAPE_PARAMETERS)
{
    if (link->cached == 0)
        return;
    const auto slot = static_cast<unsigned char>((link->last + 1) % link->cached);
    if (bmp_len > link->block) {
        link->cache[slot].shape.length = 0;
        return;
    }
    link->last = slot;
    std::memcpy(link->cache[slot].data, bmp, bmp_len);
    link->cache[slot].shape = {type, arg1, arg2, width, height, and_depth, xor_depth, bmp_len};
}

REFERENCE int reference_select(const reference_link& link, unsigned char slot)
{
    if (slot >= link.context.agreed.cur_shape_caches)
        return VESK_INVALID_ARGUMENT;
    sVESK_HALDO_HDC_KMP_CUR_SHAPE_STRUCT record{KMP_MSG_CUR_SHAPE, 0, slot, {}};
    return reference_request(link, HDC_IOCTL_KMP_CUR_SHAPE, &record);
}

// A COLOR bitmap, from the cache or as a new one.
REFERENCE int reference_shape_send(reference_link* link, REFERENCE_SHAPE_PARAMETERS)
{
    const sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT& agreed = link->context.agreed;
    VESK_LOG_D("start");
    if (bmp == nullptr || bmp_len == 0 || agreed.cur_shape_bmp_alpha == 0 || link->context.valid == 0 ||
        type != KMP_CUR_BITMAP_TYPE_COLOR || and_depth != 1 || (xor_depth != 1 && xor_depth != 32))
        return VESK_NOT_SUPPORTED;
    unsigned char slot;
    if (reference_cache_find(*link, arg1, arg2, width, height, and_depth, xor_depth, bmp, bmp_len, type, &slot) != 0)
        return reference_select(*link, slot);
    sVESK_HALDO_HDC_KMP_CUR_SHAPE_BMP_STRUCT head{KMP_MSG_CUR_SHAPE_BMP,
                                                  0,
                                                  static_cast<std::uint8_t>(type),
                                                  0,
                                                  arg1,
                                                  arg2,
                                                  width,
                                                  height,
                                                  and_depth,
                                                  xor_depth,
                                                  0};
    head.length = bmp_len + static_cast<unsigned int>(sizeof(head));
    auto* const record = static_cast<unsigned char*>(std::calloc(1, head.length));
    if (record == nullptr)
        return VESK_NO_MEMORY;
    if (agreed.cur_shape_caches_supported != 0 && agreed.cur_shape_cache_size_supported != 0 && link->cached != 0)
        head.cache_slot = static_cast<std::uint8_t>(KMP_CACHE_SLOT_VALID | ((link->last + 1) % link->cached));
    int no_transparency = 0;
    int result = reference_flip(width, height, xor_depth, bmp_len, bmp, record + sizeof(head), &no_transparency);
    if (no_transparency != 0)
        head.bitmap_type = KMP_CUR_BITMAP_TYPE_ALPHA;
    std::memcpy(record, &head, sizeof(head));
    if (result == VESK_OK)
        result = reference_ioctl(link->hdc, HDC_IOCTL_KMP_CUR_SHAPE_BMP.code, record, head.length,
                                 HDC_IOCTL_KMP_CUR_SHAPE_BMP.timeout_ms);
    if (result == VESK_OK)
        reference_cache_add(link, arg1, arg2, width, height, and_depth, xor_depth, bmp, bmp_len, type);
    std::free(record);
    return result;
}

// --- The session ---

REFERENCE void reference_heartbeat(reference_link* link, int* changed,
                                   sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT* state)
{
    static int known = -1;
    *changed = 0;
    if (reference_session_get(*link, state) != VESK_OK) {
        reference_context_clear(link);
        return;
    }
    if (state->trans_cnt == known)
        return;
    known = state->trans_cnt;
    reference_context_clear(link);
    if ((state->flags & HMI_SESS_LINK_CONNECTED) != 0) {
        reference_context_get(link);
        reference_cache_init(link);
    }
    *changed = 1;
    VESK_LOG_D("changed");
}
