// The life of the link and its operations on the control channel.
#include "vesk_haldo_link.h"

#include "display_layout.h"
#include "vesk_log.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

static constexpr const char* ASTERISKS = "***************************************";

static constexpr const char* hmi_cmd_str_tbl[] = {
#define VESK_CMD(number, name) "HMI_CMD_" #name,
    VESK_HMI_CMD_TABLE(VESK_CMD)
#undef VESK_CMD
};
static_assert(std::size(hmi_cmd_str_tbl) == HMI_CMD_COUNT, "the numbers have a gap");

static constexpr const char* hmi_var_str_tbl[] = {
#define VESK_VAR(number, name) "HMI_VAR_" #name,
    VESK_HMI_VAR_TABLE(VESK_VAR)
#undef VESK_VAR
};
static_assert(std::size(hmi_var_str_tbl) == HMI_VAR_COUNT, "the numbers have a gap");

static bool is_offered(const sVESK_HALDO_HCC_HMI_AVAIL_STRUCT& avail, std::uint32_t id)
{
    return (avail.map[id / 32] >> (id % 32) & 1) != 0;
}

// --- Life of the link ---

cVESK_HALDO_LINK::cVESK_HALDO_LINK()
{
    VESK_LOG_D("start");
    const int hcc_result = hcc_dev.init(VESK_NODE_PATH_HCC);
    if (hcc_result != VESK_OK)
        VESK_LOG_E("failed to initialize Haldo HCC device object (ret=%d)", hcc_result);
    else
        VESK_LOG_D("successfully opened Haldo HCC object");

    const int hdc_result = hdc_dev.init(VESK_NODE_PATH_HDC);
    if (hdc_result != VESK_OK)
        VESK_LOG_E("failed to initialize Haldo HDC device object (ret=%d)", hdc_result);
    else
        VESK_LOG_D("successfully opened Haldo HDC object");

    hmi_avail_cmd_reset();
    hmi_avail_cmd_get();
    VESK_LOG_D("end");
}

cVESK_HALDO_LINK::~cVESK_HALDO_LINK()
{
    VESK_LOG_D("start");
    for (const bmp_cache_entry& entry : bmp_cache)
        std::free(entry.data);
    VESK_LOG_D("end");
}

int cVESK_HALDO_LINK::start()
{
    if (started != 0)
        VESK_LOG_E("already started");
    started = 1;
    return VESK_OK;
}

void cVESK_HALDO_LINK::stop()
{
    VESK_LOG_D("start");
    if (started != 0)
        hdc_close();
    started = 0;
    VESK_LOG_D("end");
}

bool cVESK_HALDO_LINK::is_ready() const
{
    return hcc_dev.is_ready() && hdc_dev.is_ready();
}

// --- Capability maps ---

void cVESK_HALDO_LINK::hmi_avail_cmd_reset()
{
    hmi_avail_cmd = {};
    hmi_avail_get_var = {};
    hmi_avail_set_var = {};
}

// The function-name column is the reading operation's.
static void trace_offers(const char* function, const char* map_name, const sVESK_HALDO_HCC_HMI_AVAIL_STRUCT& avail,
                         const char* const* names, std::uint32_t count)
{
    VESK_LOG_AS(function, VESK_LOG_DEBUG, "%s", ASTERISKS);
    VESK_LOG_AS(function, VESK_LOG_DEBUG, "%s '0x%08X'", map_name, avail.map[0]);
    for (std::uint32_t id = 0; id < count; ++id) {
        if (is_offered(avail, id))
            VESK_LOG_AS(function, VESK_LOG_DEBUG, "%s", names[id]);
    }
    VESK_LOG_AS(function, VESK_LOG_DEBUG, "%s", ASTERISKS);
}

void cVESK_HALDO_LINK::hmi_avail_cmd_get()
{
    sVESK_HALDO_HCC_HMI_AVAIL_STRUCT reply{};
    if (send<HCC_IOCTL_HMI_AVAIL_CMD>(&reply) != VESK_OK) {
        VESK_LOG_E("failed to get available HMI commands");
        hmi_avail_cmd_reset();
        return;
    }
    if (m_log_level >= VESK_LOG_DEBUG)
        trace_offers(__func__, "hmi_avail_cmd.map[0]", reply, hmi_cmd_str_tbl, HMI_CMD_COUNT);
    if (is_offered(reply, HMI_CMD_VAR_GET))
        hmi_avail_get_var_get();
    if (is_offered(reply, HMI_CMD_VAR_SET))
        hmi_avail_set_var_get();
    hmi_avail_cmd = reply;
}

template <const sVESK_REQUEST_STRUCT& request>
int cVESK_HALDO_LINK::read_variable_map(const char* function, sVESK_HALDO_HCC_HMI_AVAIL_STRUCT* map)
{
    sVESK_HALDO_HCC_HMI_VAR_STRUCT buf{};
    const int result = send<request>(&buf);
    *map = {};
    if (result == VESK_OK) {
        *map = buf.data.avail_var;
        if (m_log_level >= VESK_LOG_DEBUG)
            trace_offers(function, "buf.data.avail_var.map[0]", *map, hmi_var_str_tbl, HMI_VAR_COUNT);
    }
    return result;
}

void cVESK_HALDO_LINK::hmi_avail_get_var_get()
{
    if (read_variable_map<HCC_IOCTL_HMI_VAR_GET>(__func__, &hmi_avail_get_var) != VESK_OK)
        VESK_LOG_E("VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed");
}

void cVESK_HALDO_LINK::hmi_avail_set_var_get()
{
    // The line names another request; it is kept, since searches of logs look for it.
    if (read_variable_map<HCC_IOCTL_HMI_VAR_SET>(__func__, &hmi_avail_set_var) != VESK_OK)
        VESK_LOG_E("VESK_HALDO_IOCTL_ENV_VAR_SET ioctl failed");
}

#define VESK_PREDICATE(name, map, variable, words)                                                                     \
    int cVESK_HALDO_LINK::name() const                                                                                 \
    {                                                                                                                  \
        return is_offered(map, HMI_VAR_##variable) ? VESK_OK : VESK_NOT_SUPPORTED;                                     \
    }
VESK_HMI_PREDICATE_TABLE(VESK_PREDICATE)
#undef VESK_PREDICATE

int cVESK_HALDO_LINK::wol_cfg_avail(hmi_map map)
{
    return is_offered(this->*map, HMI_VAR_WOL_CFG) && is_sess_view_brokered() == 0 ? VESK_OK : VESK_NOT_SUPPORTED;
}

int cVESK_HALDO_LINK::wol_cfg_get_avail()
{
    return wol_cfg_avail(READABLE);
}

int cVESK_HALDO_LINK::wol_cfg_set_avail()
{
    return wol_cfg_avail(WRITABLE);
}

// --- HMI variables: what the operations on them have in common ---

static constexpr bool FOR_UNBROKERED = true;

static constexpr bool carries_variables(const sVESK_REQUEST_STRUCT& request)
{
    return request.node == VESK_NODE_HCC && request.length == sizeof(sVESK_HALDO_HCC_HMI_VAR_STRUCT);
}
static_assert(carries_variables(HCC_IOCTL_HMI_VAR_GET) && carries_variables(HCC_IOCTL_HMI_VAR_SET));

int cVESK_HALDO_LINK::hmi_var_access(const hmi_operation& operation, void* payload, std::size_t size)
{
    const bool writes = operation.request.code == HCC_IOCTL_HMI_VAR_SET.code;
    int result = VESK_INVALID_ARGUMENT;
    if (payload == nullptr) {
        VESK_LOG_AS(operation.function, VESK_LOG_ERROR, "invalid arguments");
    } else if ((operation.map != nullptr && !is_offered(this->*operation.map, operation.variable)) ||
               (operation.is_for_unbrokered && is_sess_view_brokered() != 0)) {
        VESK_LOG_AS(operation.function, VESK_LOG_ERROR, "not supported");
        result = VESK_NOT_SUPPORTED;
    } else {
        sVESK_HALDO_HCC_HMI_VAR_STRUCT buf{};
        buf.var_id = operation.variable;
        if (writes)
            std::memcpy(buf.data.bytes, payload, size);
        result =
            hcc_dev.synch_ioctl(operation.request.code, &buf, operation.request.length, operation.request.timeout_ms);
        if (result != VESK_OK) {
            const auto number = static_cast<int>(std::strcspn(operation.failure, "%")); // where "%d" stands
            VESK_LOG_AS(operation.function, VESK_LOG_ERROR, "%.*s%d%s", number, operation.failure, result,
                        operation.failure + number + std::strlen("%d"));
        } else if (!writes) {
            std::memcpy(payload, buf.data.bytes, size);
        }
    }
    return result;
}

// Logs "start" and "end", too.
template <typename... Payload>
int cVESK_HALDO_LINK::framed_hmi_var_access(const hmi_operation& operation, Payload... payload)
{
    VESK_LOG_AS(operation.function, VESK_LOG_DEBUG, "start");
    const int result = hmi_var_access(operation, payload...);
    VESK_LOG_AS(operation.function, VESK_LOG_DEBUG, "end");
    return result;
}

// --- Session ---

int cVESK_HALDO_LINK::sess_link_get(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT* out)
{
    static constexpr hmi_operation operation{__func__, HMI_VAR_SESS_LINK, HCC_IOCTL_HMI_VAR_GET, READABLE,
                                             "VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed %d"};
    return hmi_var_access(operation, out);
}

void cVESK_HALDO_LINK::link_heartbeat(int* changed, sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT* state)
{
    static int first_time = 1;
    static std::uint8_t transition_cnt = 0;

    *changed = 0;
    if (sess_link_get(state) != VESK_OK) {
        kmp_pri_ctxt_reset();
        return;
    }
    if (state->trans_cnt == transition_cnt && first_time == 0)
        return;
    first_time = 0;
    transition_cnt = state->trans_cnt;
    kmp_pri_ctxt_reset();
    if ((state->flags & HMI_SESS_LINK_CONNECTED) != 0) {
        kmp_pri_ctxt_get();
        init_bitmap_cache();
    }
    *changed = 1;
    VESK_LOG_D("sess link state changed - flags: 0x%08X, trans_cnt=%d, IP=%.36s", state->flags, state->trans_cnt,
               state->ip);
}

int cVESK_HALDO_LINK::sess_link_disc(unsigned int reason)
{
    static constexpr hmi_operation with_reason{__func__, HMI_VAR_SESS_DISC, HCC_IOCTL_HMI_VAR_SET, nullptr,
                                               "HCC_IOCTL_HMI_VAR_SET ioctl failed %d"};
    static constexpr hmi_operation without_reason{__func__, HMI_VAR_SESS_LINK, HCC_IOCTL_HMI_VAR_SET, WRITABLE,
                                                  "HCC_IOCTL_HMI_VAR_SET ioctl failed %d"};
    if (sess_link_disc_with_reason_avail() == VESK_OK && hmi_var_access(with_reason, &reason) == VESK_OK) {
        VESK_LOG_D("disconnected session link by setting SESS_DISC");
        return VESK_OK;
    }
    const int result = hmi_var_access(without_reason, this, 0); // a payload of zero
    if (result == VESK_OK)
        VESK_LOG_D("disconnected session link by setting SESS_LINK");
    return result;
}

int cVESK_HALDO_LINK::host_sess_state_set(eVESK_HALDO_HMI_HOST_SESSION_STATE state)
{
    if (state > HMI_HOST_SESSION_STATE_LAST) {
        VESK_LOG_E("Invalid host state=%d", state);
        return VESK_NOT_SUPPORTED;
    }
    sVESK_HALDO_HCC_HMI_LOCAL_VAR_STRUCT record{HMI_LOCAL_VAR_HOST_SESS_STATE, static_cast<std::uint32_t>(state)};
    const int result = send<HCC_IOCTL_HMI_LOCAL_VAR_SET>(&record);
    if (result != VESK_OK)
        VESK_LOG_E("HCC_IOCTL_HMI_LOCAL_VAR_SET ioctl failed %d", result);
    else
        VESK_LOG_D("set host session state=%d", state);
    return result;
}

int cVESK_HALDO_LINK::host_sess_state_get(eVESK_HALDO_HMI_HOST_SESSION_STATE* out)
{
    sVESK_HALDO_HCC_HMI_LOCAL_VAR_STRUCT record{HMI_LOCAL_VAR_HOST_SESS_STATE, 0};
    const int result = send<HCC_IOCTL_HMI_LOCAL_VAR_GET>(&record);
    if (result != VESK_OK)
        VESK_LOG_E("HCC_IOCTL_HMI_LOCAL_VAR_GET ioctl failed %d", result);
    else
        *out = static_cast<eVESK_HALDO_HMI_HOST_SESSION_STATE>(record.value);
    return result;
}

static long tag_length(const sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT& tag)
{
    return static_cast<long>(strnlen(tag.tag, sizeof(tag.tag)));
}

int cVESK_HALDO_LINK::sess_tag_get(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT* tag)
{
    static constexpr hmi_operation operation{__func__, HMI_VAR_SESS_TAG, HCC_IOCTL_HMI_VAR_GET, nullptr,
                                             "HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=%d)"};
    const int result = hmi_var_access(operation, tag);
    if (result == VESK_OK)
        VESK_LOG_D("session tag get: flags=0x%02X, length tag=%ld", tag->flags, tag_length(*tag));
    return result;
}

int cVESK_HALDO_LINK::sess_tag_set(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT* tag)
{
    static constexpr hmi_operation operation{__func__, HMI_VAR_SESS_TAG, HCC_IOCTL_HMI_VAR_SET, WRITABLE,
                                             "VESK_HALDO_HCC_IOCTL_HMI_VAR_SET ioctl failed %d"};
    const int result = hmi_var_access(operation, tag);
    if (result == VESK_OK)
        VESK_LOG_D("session tag set: flags=0x%02X, length tag=%ld", tag->flags, tag_length(*tag));
    return result;
}

int cVESK_HALDO_LINK::is_sess_view_brokered()
{
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT tag;
    return sess_tag_get(&tag) == VESK_OK && (tag.flags & HMI_SESS_TAG_BROKERED) != 0;
}

// --- Network and statistics ---

int cVESK_HALDO_LINK::link_info_get(sVESK_HALDO_HCC_APDU_HMI_VAR_LINK_INFO_STRUCT* out)
{
    static constexpr hmi_operation operation{__func__, HMI_VAR_LINK_INFO, HCC_IOCTL_HMI_VAR_GET, READABLE,
                                             "HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=%d)"};
    return framed_hmi_var_access(operation, out);
}

int cVESK_HALDO_LINK::ipv4_cfg_get(sVESK_HALDO_HCC_APDU_HMI_VAR_IPV4_CFG_STRUCT* out)
{
    static constexpr hmi_operation operation{__func__, HMI_VAR_IPV4_CFG, HCC_IOCTL_HMI_VAR_GET, READABLE,
                                             "VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed %d"};
    return framed_hmi_var_access(operation, out);
}

int cVESK_HALDO_LINK::conn_port_get(sVESK_HALDO_HCC_APDU_HMI_VAR_CONN_PORT_STRUCT* out)
{
    static constexpr hmi_operation operation{__func__, HMI_VAR_CONN_PORT, HCC_IOCTL_HMI_VAR_GET, READABLE,
                                             "VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed %d"};
    return framed_hmi_var_access(operation, out);
}

int cVESK_HALDO_LINK::sess_stat_get(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_STAT_STRUCT* out)
{
    static constexpr hmi_operation operation{__func__, HMI_VAR_SESS_STAT, HCC_IOCTL_HMI_VAR_GET, READABLE,
                                             "HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=%d)"};
    return hmi_var_access(operation, out);
}

int cVESK_HALDO_LINK::sess_stat_reset()
{
    static constexpr hmi_operation operation{__func__, HMI_VAR_SESS_STAT, HCC_IOCTL_HMI_VAR_SET, WRITABLE,
                                             "VESK_HALDO_HCC_IOCTL_HMI_VAR_SET ioctl failed %d"};
    return framed_hmi_var_access(operation, this, std::size_t{0}); // a payload of zero
}

int cVESK_HALDO_LINK::unicode_set(unsigned int enable)
{
    static constexpr hmi_operation operation{__func__, HMI_VAR_UNICODE, HCC_IOCTL_HMI_VAR_SET, WRITABLE,
                                             "HCC_IOCTL_HMI_VAR_SET ioctl failed (ret=%d)"};
    const int result = hmi_var_access(operation, &enable);
    if (result == VESK_OK)
        VESK_LOG_D("enable=%d", static_cast<int>(enable));
    return result;
}

int cVESK_HALDO_LINK::local_info_get(unsigned int* out)
{
    if (out == nullptr) {
        VESK_LOG_E("invalid arguments");
        return VESK_INVALID_ARGUMENT;
    }
    sVESK_HALDO_HCC_HMI_LOCAL_VAR_STRUCT record{HMI_LOCAL_VAR_LOCAL_INFO, 0};
    const int result = send<HCC_IOCTL_HMI_LOCAL_VAR_GET>(&record);
    if (result != VESK_OK)
        VESK_LOG_E("HCC_IOCTL_HMI_LOCAL_VAR_GET ioctl failed (ret=%d)", result);
    else
        *out = record.value;
    return result;
}

static constexpr sVESK_REQUEST_STRUCT with_timeout(sVESK_REQUEST_STRUCT request, std::uint32_t timeout_ms)
{
    request.timeout_ms = timeout_ms;
    return request;
}
static constexpr sVESK_REQUEST_STRUCT WOL_CFG_GET = with_timeout(HCC_IOCTL_HMI_VAR_GET, VESK_WOL_CFG_TIMEOUT_MS);
static constexpr sVESK_REQUEST_STRUCT WOL_CFG_SET = with_timeout(HCC_IOCTL_HMI_VAR_SET, VESK_WOL_CFG_TIMEOUT_MS);

static void trace_wol_cfg(const char* function, const sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT& cfg)
{
    VESK_LOG_AS(function, VESK_LOG_DEBUG, "flags=0x%02X, IP=%.16s, MAC=%.20s", cfg.flags, cfg.ip, cfg.mac);
}

int cVESK_HALDO_LINK::wol_cfg_get(sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT* cfg)
{
    static constexpr hmi_operation operation{
        __func__,      HMI_VAR_WOL_CFG, WOL_CFG_GET, READABLE, "HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=%d)",
        FOR_UNBROKERED};
    const int result = hmi_var_access(operation, cfg);
    if (result == VESK_OK)
        trace_wol_cfg(__func__, *cfg);
    return result;
}

// Asks whether it can be read: what can be read can be set.
int cVESK_HALDO_LINK::wol_cfg_set(sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT* cfg)
{
    static constexpr hmi_operation operation{
        __func__,      HMI_VAR_WOL_CFG, WOL_CFG_SET, READABLE, "HCC_IOCTL_HMI_VAR_SET ioctl failed (ret=%d)",
        FOR_UNBROKERED};
    const int result = hmi_var_access(operation, cfg);
    if (result == VESK_OK)
        trace_wol_cfg(__func__, *cfg);
    return result;
}

// --- Imaging ---

// name: that of the request where it is not supported.
template <const sVESK_REQUEST_STRUCT& request, typename Record>
int cVESK_HALDO_LINK::img_user_cfg_write(const char* function, const char* name, Record record)
{
    if (record.value > IMG_USER_CFG_MAX) {
        VESK_LOG_AS(function, VESK_LOG_ERROR, "invalid argument");
        return VESK_INVALID_ARGUMENT;
    }
    if (img_user_ext_cfg_set_avail() == VESK_NOT_SUPPORTED) {
        VESK_LOG_AS(function, VESK_LOG_DEBUG, "%s ioctl not supported", name);
        return VESK_NOT_SUPPORTED;
    }
    const int result = send<request>(&record);
    if (result != VESK_OK)
        VESK_LOG_AS(function, VESK_LOG_ERROR, "%s ioctl failed (ret=%d)", request.name, result);
    return result;
}

int cVESK_HALDO_LINK::img_user_cfg_set(unsigned int value)
{
    return img_user_cfg_write<HCC_IOCTL_IMG_USER_CFG_SET>(
        __func__, "HCC_IOCTL_IMG_USER_CFG_REQ_SET",
        sVESK_HALDO_HCC_IMG_USER_CFG_SET_STRUCT{IMG_MSG_USER_CFG_SET, 0, value, 0});
}

int cVESK_HALDO_LINK::img_user_cfg_cache_set(unsigned int value)
{
    return img_user_cfg_write<HCC_IOCTL_IMG_USER_CFG_CACHE_SET>(
        __func__, "HCC_IOCTL_IMG_USER_CFG_CACHE_SET",
        sVESK_HALDO_HCC_IMG_USER_CFG_CACHE_SET_STRUCT{IMG_MSG_USER_CFG_CACHE_SET, 0, value});
}

int cVESK_HALDO_LINK::img_user_cfg_req_get(sVESK_HALDO_LINK_IMG_USER_CFG_STRUCT* cfg)
{
    if (cfg == nullptr) {
        VESK_LOG_E("invalid argument");
        return VESK_INVALID_ARGUMENT;
    }
    if (img_user_ext_cfg_get_avail() == VESK_NOT_SUPPORTED) {
        VESK_LOG_D("HCC_IOCTL_IMG_USER_CFG_REQ_GET ioctl not supported");
        return VESK_NOT_SUPPORTED;
    }
    *cfg = {};
    sVESK_HALDO_HCC_IMG_USER_CFG_REQ_STRUCT record{IMG_MSG_USER_CFG_REQ_GET, 0, 0, 0};
    const int result = send<HCC_IOCTL_IMG_USER_CFG_REQ_GET>(&record);
    if (result != VESK_OK) {
        VESK_LOG_E("HCC_IOCTL_IMG_USER_CFG_REQ_GET ioctl failed (ret=%d)", result);
        return result;
    }
    *cfg = {record.qual, record.b2l};
    VESK_LOG_D("end, qual=%d, b2l=%d", static_cast<int>(cfg->qual), static_cast<int>(cfg->b2l));
    return VESK_OK;
}

// --- Display topology ---

int cVESK_HALDO_LINK::disp_topology_get(sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT* topo)
{
    VESK_LOG_D("start");
    int result = VESK_INVALID_ARGUMENT;
    if (topo == nullptr) {
        VESK_LOG_E("invalid arguments");
    } else if ((result = send<HCC_IOCTL_IMG_DISP_TOPO_GET>(topo)) != VESK_OK) {
        VESK_LOG_E("HCC_IOCTL_IMG_DISP_TOPO_GET ioctl failed (ret=%d)", result);
    } else if (m_log_level >= VESK_LOG_DEBUG) {
        for (unsigned int i = 0; i < VESK_DISPLAY_COUNT; ++i) {
            const sVESK_HALDO_DISPLAY_STRUCT& disp = topo->disp[i];
            VESK_LOG_D("disp%u: pos_x=%d, pos_y=%d, width=%u, height=%u, rotation=%u", i, disp.pos_x, disp.pos_y,
                       disp.width, disp.height, disp.rotation);
        }
    }
    VESK_LOG_D("end");
    return result;
}

int cVESK_HALDO_LINK::async_disp_topology_get(sVESK_HALDO_LINK_DISP_TOPO_STRUCT* topo, unsigned int* value)
{
    if (topo == nullptr || value == nullptr) {
        VESK_LOG_E("invalid arguments");
        return VESK_INVALID_ARGUMENT;
    }
    sVESK_HALDO_HCC_IMG_ASYNC_DISP_TOPO_STRUCT buf{};
    const int result = send<HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET>(&buf);
    if (result != VESK_OK) {
        VESK_LOG_E("HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET ioctl failed (ret=%d)", result);
        return result;
    }
    vesk::fill_used_layout(buf.topo, topo);
    *value = buf.value;
    return VESK_OK;
}

// To the firmware first, and only then to the driver.
int cVESK_HALDO_LINK::send_topology(sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT* fw,
                                    sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT* kmp)
{
    static constexpr const char* function = "disp_topology_send";
    sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT session;
    if (sess_link_get(&session) != VESK_OK || (session.flags & HMI_SESS_LINK_CONNECTED) == 0) {
        // Without its closing parenthesis: searches of logs know it so.
        VESK_LOG_AS(function, VESK_LOG_DEBUG, "disp topology not sent (failed to get topology or no active session");
        return VESK_FAILED;
    }
    int result = send<HCC_IOCTL_IMG_DISP_TOPO_SEND>(fw);
    if (result != VESK_OK) {
        VESK_LOG_AS(function, VESK_LOG_ERROR, "HCC_IOCTL_IMG_DISP_TOPO_SEND ioctl failed (ret=%d)", result);
        return result;
    }
    VESK_LOG_AS(function, VESK_LOG_DEBUG, "sent display topology to FW through HCC");
    result = send<HDC_IOCTL_KMP_DISP_TOPO_SET>(kmp);
    if (result != VESK_OK)
        VESK_LOG_AS(function, VESK_LOG_ERROR, "HDC_IOCTL_KMP_DISP_TOPO_SET ioctl failed (ret=%d)", result);
    else
        VESK_LOG_AS(function, VESK_LOG_DEBUG, "sent display topology to HDC");
    return result;
}

int cVESK_HALDO_LINK::disp_topology_send(sVESK_HALDO_LINK_DISP_TOPO_STRUCT* topo, int primary_width, int primary_height,
                                         int twinview)
{
    VESK_LOG_D("start");
    int result = VESK_INVALID_ARGUMENT;
    if (topo == nullptr || topo->num_disp > VESK_DISPLAY_COUNT || primary_width == 0 || primary_height == 0) {
        VESK_LOG_E("invalid argument: %d X %d", primary_width, primary_height);
    } else {
        sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT fw{};
        fw.message = IMG_MSG_DISP_TOPO_SEND;
        for (unsigned int i = 0; i < VESK_DISPLAY_COUNT; ++i) {
            const sVESK_HALDO_DISPLAY_STRUCT& disp = fw.disp[i] = topo->disp[i];
            VESK_LOG_D("disp%u: %d x %d @ (%d, %d) rot=%u", i, disp.width, disp.height, disp.pos_x, disp.pos_y,
                       disp.rotation);
        }
        auto kmp = vesk::layout_for_driver(fw, primary_width, primary_height, twinview);
        if (kmp.active_displays != 0)
            VESK_LOG_D("twinview %d, primary %d x %d", twinview, primary_width, primary_height);
        result = send_topology(&fw, &kmp);
    }
    VESK_LOG_D("end");
    return result;
}

int cVESK_HALDO_LINK::cache_disp_topology_get(sVESK_HALDO_LINK_CACHE_DISP_TOPO* topo)
{
    if (topo == nullptr) {
        VESK_LOG_E("invalid argument");
        return VESK_INVALID_ARGUMENT;
    }
    *topo = {};
    if (cached_topo_get_avail() == VESK_NOT_SUPPORTED) {
        VESK_LOG_D("FW does not support get cached topology");
        return VESK_NOT_SUPPORTED;
    }
    sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT buf{};
    buf.topo.message = IMG_MSG_CACHE_DISP_TOPO_GET;
    int result = send<HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET>(&buf);
    if (result != VESK_OK) {
        VESK_LOG_E("HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET ioctl failed (ret=%d)", result);
        return result;
    }
    result = vesk::fill_cached_layout(buf, topo);
    if (result == VESK_RATE_NO_CACHING)
        VESK_LOG_D("FW returned VESK_HALDO_HCC_HOST_TOPOLOGY_RATE_NO_CACHING");
    if (result == VESK_RATE_NOT_ACTIVE)
        VESK_LOG_D("FW returned VESK_HALDO_HCC_HOST_TOPOLOGY_RATE_NOT_ACTIVE");
    VESK_LOG_D("primary=%d", static_cast<int>(topo->primary));
    for (unsigned int i = 0; i < VESK_DISPLAY_COUNT; ++i) {
        const sVESK_HALDO_LINK_CACHE_DISPLAY_STRUCT& disp = topo->disp[i];
        const sVESK_HALDO_LINK_MONITOR_STRUCT& monitor = topo->monitor[i];
        VESK_LOG_D("disp%u: %u x %u @ (%d, %d) rot=%u rate=%u", i, disp.width, disp.height, disp.pos_x, disp.pos_y,
                   disp.rotation, disp.rate);
        VESK_LOG_D("       name='%.14s', serial='%.14s', vid='%.4s', pid='%.5s'", monitor.name, monitor.serial,
                   monitor.vid, monitor.pid);
    }
    VESK_LOG_D("end, ret=%d, disp_topo->num_disp=%d", result, static_cast<int>(topo->num_disp));
    return result;
}
