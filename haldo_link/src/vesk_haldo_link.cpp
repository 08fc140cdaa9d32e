// The life of the link and its operations on the control channel.
#include "vesk_haldo_link.h"

#include "vesk_log.h"

#include <cstdlib>
#include <cstring>
#include <iterator>
#include <type_traits>

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
    if (m_log_level < VESK_LOG_DEBUG)
        return;
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
    if (send(HCC_IOCTL_HMI_AVAIL_CMD, &reply) != VESK_OK) {
        VESK_LOG_E("failed to get available HMI commands");
        hmi_avail_cmd_reset();
        return;
    }
    trace_offers(__func__, "hmi_avail_cmd.map[0]", reply, hmi_cmd_str_tbl, HMI_CMD_COUNT);
    if (is_offered(reply, HMI_CMD_VAR_GET))
        hmi_avail_get_var_get();
    if (is_offered(reply, HMI_CMD_VAR_SET))
        hmi_avail_set_var_get();
    hmi_avail_cmd = reply;
}

int cVESK_HALDO_LINK::read_variable_map(const char* function, const sVESK_REQUEST_STRUCT& request,
                                        sVESK_HALDO_HCC_HMI_AVAIL_STRUCT* map)
{
    sVESK_HALDO_HCC_HMI_VAR_STRUCT buf{};
    const int result = send(request, &buf);
    *map = {};
    if (result == VESK_OK) {
        trace_offers(function, "buf.data.avail_var.map[0]", buf.data.avail_var, hmi_var_str_tbl, HMI_VAR_COUNT);
        *map = buf.data.avail_var;
    }
    return result;
}

void cVESK_HALDO_LINK::hmi_avail_get_var_get()
{
    if (read_variable_map(__func__, HCC_IOCTL_HMI_VAR_GET, &hmi_avail_get_var) != VESK_OK)
        VESK_LOG_E("VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed");
}

void cVESK_HALDO_LINK::hmi_avail_set_var_get()
{
    // The line names another request; it is kept, since searches of logs look for it.
    if (read_variable_map(__func__, HCC_IOCTL_HMI_VAR_SET, &hmi_avail_set_var) != VESK_OK)
        VESK_LOG_E("VESK_HALDO_IOCTL_ENV_VAR_SET ioctl failed");
}

#define VESK_PREDICATE(name, map, variable, words)                                                                     \
    int cVESK_HALDO_LINK::name() const                                                                                 \
    {                                                                                                                  \
        return is_offered(map, HMI_VAR_##variable) ? VESK_OK : VESK_NOT_SUPPORTED;                                     \
    }
VESK_HMI_PREDICATE_TABLE(VESK_PREDICATE)
#undef VESK_PREDICATE

// --- HMI variables: what the operations on them have in common, and what each has of its own ---

struct sVESK_HMI_OPERATION_STRUCT {
    const char* function;
    eVESK_HALDO_HMI_VAR id;
    sVESK_REQUEST_STRUCT request;             // HCC_IOCTL_HMI_VAR_GET reads, HCC_IOCTL_HMI_VAR_SET writes
    int (*available)(cVESK_HALDO_LINK& link); // or null: nothing is asked
    void (*log_failure)(const char* function, int result);
    bool framed; // logs "start" and "end"
};

template <const sVESK_HMI_OPERATION_STRUCT& operation, typename Record>
int cVESK_HALDO_LINK::hmi_var_access(Record* payload)
{
    static constexpr std::size_t size = std::is_empty_v<Record> ? 0 : sizeof(Record);
    static_assert(size <= sizeof(sVESK_HALDO_HCC_HMI_VAR_STRUCT::data));
    static constexpr bool writes = operation.request.code == HCC_IOCTL_HMI_VAR_SET.code;
    int result = VESK_INVALID_ARGUMENT;
    if (operation.framed)
        VESK_LOG_AS(operation.function, VESK_LOG_DEBUG, "start");
    if (payload == nullptr) {
        VESK_LOG_AS(operation.function, VESK_LOG_ERROR, "invalid arguments");
    } else if (operation.available != nullptr && operation.available(*this) != VESK_OK) {
        VESK_LOG_AS(operation.function, VESK_LOG_ERROR, "not supported");
        result = VESK_NOT_SUPPORTED;
    } else {
        sVESK_HALDO_HCC_HMI_VAR_STRUCT buf{};
        buf.var_id = operation.id;
        if (writes)
            std::memcpy(buf.data.bytes, payload, size);
        result = send(operation.request, &buf);
        if (result != VESK_OK)
            operation.log_failure(operation.function, result);
        else if (!writes)
            std::memcpy(payload, buf.data.bytes, size);
    }
    if (operation.framed)
        VESK_LOG_AS(operation.function, VESK_LOG_DEBUG, "end");
    return result;
}

template <auto predicate> static int ask(cVESK_HALDO_LINK& link)
{
    return (link.*predicate)();
}

static constexpr sVESK_REQUEST_STRUCT with_timeout(sVESK_REQUEST_STRUCT request, std::uint32_t timeout_ms)
{
    request.timeout_ms = timeout_ms;
    return request;
}

#define AVAIL(predicate) ask<&cVESK_HALDO_LINK::predicate>
#define FAILURE(text)    [](const char* function, int result) { VESK_LOG_AS(function, VESK_LOG_ERROR, text, result); }
static constexpr bool FRAMED = true;
static constexpr bool UNFRAMED = false;

// function, variable, request, availability, failure line (searches of logs know each by its own wording), frame
// clang-format off
static constexpr sVESK_HMI_OPERATION_STRUCT
    LINK_INFO_GET{"link_info_get", HMI_VAR_LINK_INFO, HCC_IOCTL_HMI_VAR_GET, AVAIL(link_info_get_avail),
                  FAILURE("HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=%d)"), FRAMED},
    IPV4_CFG_GET{"ipv4_cfg_get", HMI_VAR_IPV4_CFG, HCC_IOCTL_HMI_VAR_GET, AVAIL(ipv4_cfg_get_avail),
                 FAILURE("VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed %d"), FRAMED},
    CONN_PORT_GET{"conn_port_get", HMI_VAR_CONN_PORT, HCC_IOCTL_HMI_VAR_GET, AVAIL(conn_port_get_avail),
                  FAILURE("VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed %d"), FRAMED},
    SESS_STAT_GET{"sess_stat_get", HMI_VAR_SESS_STAT, HCC_IOCTL_HMI_VAR_GET, AVAIL(sess_stat_get_avail),
                  FAILURE("HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=%d)"), UNFRAMED},
    SESS_STAT_RESET{"sess_stat_reset", HMI_VAR_SESS_STAT, HCC_IOCTL_HMI_VAR_SET, AVAIL(sess_stat_reset_avail),
                    FAILURE("VESK_HALDO_HCC_IOCTL_HMI_VAR_SET ioctl failed %d"), FRAMED},
    UNICODE_SET{"unicode_set", HMI_VAR_UNICODE, HCC_IOCTL_HMI_VAR_SET, AVAIL(unicode_set_avail),
                FAILURE("HCC_IOCTL_HMI_VAR_SET ioctl failed (ret=%d)"), UNFRAMED},
    SESS_LINK_GET{"sess_link_get", HMI_VAR_SESS_LINK, HCC_IOCTL_HMI_VAR_GET, AVAIL(sess_link_get_avail),
                  FAILURE("VESK_HALDO_HCC_IOCTL_HMI_VAR_GET ioctl failed %d"), UNFRAMED},
    SESS_LINK_DISC_WITH_REASON{"sess_link_disc", HMI_VAR_SESS_DISC, HCC_IOCTL_HMI_VAR_SET, nullptr,
                               FAILURE("HCC_IOCTL_HMI_VAR_SET ioctl failed %d"), UNFRAMED},
    SESS_LINK_DISC{"sess_link_disc", HMI_VAR_SESS_LINK, HCC_IOCTL_HMI_VAR_SET, AVAIL(sess_link_disc_avail),
                   FAILURE("HCC_IOCTL_HMI_VAR_SET ioctl failed %d"), UNFRAMED},
    SESS_TAG_GET{"sess_tag_get", HMI_VAR_SESS_TAG, HCC_IOCTL_HMI_VAR_GET, nullptr,
                 FAILURE("HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=%d)"), UNFRAMED},
    SESS_TAG_SET{"sess_tag_set", HMI_VAR_SESS_TAG, HCC_IOCTL_HMI_VAR_SET, AVAIL(sess_tag_set_avail),
                 FAILURE("VESK_HALDO_HCC_IOCTL_HMI_VAR_SET ioctl failed %d"), UNFRAMED},
    WOL_CFG_GET{"wol_cfg_get", HMI_VAR_WOL_CFG, with_timeout(HCC_IOCTL_HMI_VAR_GET, VESK_WOL_CFG_TIMEOUT_MS),
                AVAIL(wol_cfg_get_avail), FAILURE("HCC_IOCTL_HMI_VAR_GET ioctl failed (ret=%d)"), UNFRAMED},
    // Asks whether it can be read: what can be read can be set.
    WOL_CFG_SET{"wol_cfg_set", HMI_VAR_WOL_CFG, with_timeout(HCC_IOCTL_HMI_VAR_SET, VESK_WOL_CFG_TIMEOUT_MS),
                AVAIL(wol_cfg_get_avail), FAILURE("HCC_IOCTL_HMI_VAR_SET ioctl failed (ret=%d)"), UNFRAMED};
// clang-format on

// The payload of a set operation that sends none.
struct sVESK_NO_PAYLOAD_STRUCT {
};
static sVESK_NO_PAYLOAD_STRUCT no_payload;

int cVESK_HALDO_LINK::local_var_access(const sVESK_REQUEST_STRUCT& request, std::uint32_t id, std::uint32_t* value)
{
    sVESK_HALDO_HCC_HMI_LOCAL_VAR_STRUCT record{id, *value};
    const int result = send(request, &record);
    *value = record.value;
    return result;
}

// --- Session ---

int cVESK_HALDO_LINK::sess_link_get(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT* out)
{
    return hmi_var_access<SESS_LINK_GET>(out);
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
    if (sess_link_disc_with_reason_avail() == VESK_OK &&
        hmi_var_access<SESS_LINK_DISC_WITH_REASON>(&reason) == VESK_OK) {
        VESK_LOG_D("disconnected session link by setting SESS_DISC");
        return VESK_OK;
    }
    const int result = hmi_var_access<SESS_LINK_DISC>(&no_payload);
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
    auto value = static_cast<std::uint32_t>(state);
    const int result = local_var_access(HCC_IOCTL_HMI_LOCAL_VAR_SET, HMI_LOCAL_VAR_HOST_SESS_STATE, &value);
    if (result != VESK_OK)
        VESK_LOG_E("HCC_IOCTL_HMI_LOCAL_VAR_SET ioctl failed %d", result);
    else
        VESK_LOG_D("set host session state=%d", state);
    return result;
}

int cVESK_HALDO_LINK::host_sess_state_get(eVESK_HALDO_HMI_HOST_SESSION_STATE* out)
{
    std::uint32_t value = 0;
    const int result = local_var_access(HCC_IOCTL_HMI_LOCAL_VAR_GET, HMI_LOCAL_VAR_HOST_SESS_STATE, &value);
    if (result != VESK_OK)
        VESK_LOG_E("HCC_IOCTL_HMI_LOCAL_VAR_GET ioctl failed %d", result);
    else
        *out = static_cast<eVESK_HALDO_HMI_HOST_SESSION_STATE>(value);
    return result;
}

static long tag_length(const sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT& tag)
{
    return static_cast<long>(strnlen(tag.tag, sizeof(tag.tag)));
}

int cVESK_HALDO_LINK::sess_tag_get(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT* tag)
{
    const int result = hmi_var_access<SESS_TAG_GET>(tag);
    if (result == VESK_OK)
        VESK_LOG_D("session tag get: flags=0x%02X, length tag=%ld", tag->flags, tag_length(*tag));
    return result;
}

int cVESK_HALDO_LINK::sess_tag_set(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_TAG_STRUCT* tag)
{
    const int result = hmi_var_access<SESS_TAG_SET>(tag);
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
    return hmi_var_access<LINK_INFO_GET>(out);
}

int cVESK_HALDO_LINK::ipv4_cfg_get(sVESK_HALDO_HCC_APDU_HMI_VAR_IPV4_CFG_STRUCT* out)
{
    return hmi_var_access<IPV4_CFG_GET>(out);
}

int cVESK_HALDO_LINK::conn_port_get(sVESK_HALDO_HCC_APDU_HMI_VAR_CONN_PORT_STRUCT* out)
{
    return hmi_var_access<CONN_PORT_GET>(out);
}

int cVESK_HALDO_LINK::sess_stat_get(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_STAT_STRUCT* out)
{
    return hmi_var_access<SESS_STAT_GET>(out);
}

int cVESK_HALDO_LINK::sess_stat_reset()
{
    return hmi_var_access<SESS_STAT_RESET>(&no_payload);
}

int cVESK_HALDO_LINK::unicode_set(unsigned int enable)
{
    const int result = hmi_var_access<UNICODE_SET>(&enable);
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
    std::uint32_t value = 0;
    const int result = local_var_access(HCC_IOCTL_HMI_LOCAL_VAR_GET, HMI_LOCAL_VAR_LOCAL_INFO, &value);
    if (result != VESK_OK)
        VESK_LOG_E("HCC_IOCTL_HMI_LOCAL_VAR_GET ioctl failed (ret=%d)", result);
    else
        *out = value;
    return result;
}

int cVESK_HALDO_LINK::wol_cfg_avail(const sVESK_HALDO_HCC_HMI_AVAIL_STRUCT& map)
{
    return is_offered(map, HMI_VAR_WOL_CFG) && is_sess_view_brokered() == 0 ? VESK_OK : VESK_NOT_SUPPORTED;
}

int cVESK_HALDO_LINK::wol_cfg_get_avail()
{
    return wol_cfg_avail(hmi_avail_get_var);
}

int cVESK_HALDO_LINK::wol_cfg_set_avail()
{
    return wol_cfg_avail(hmi_avail_set_var);
}

static int trace_wol_cfg(const char* function, int result, const sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT* cfg)
{
    if (result == VESK_OK)
        VESK_LOG_AS(function, VESK_LOG_DEBUG, "flags=0x%02X, IP=%.16s, MAC=%.20s", cfg->flags, cfg->ip, cfg->mac);
    return result;
}

int cVESK_HALDO_LINK::wol_cfg_get(sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT* cfg)
{
    return trace_wol_cfg(__func__, hmi_var_access<WOL_CFG_GET>(cfg), cfg);
}

int cVESK_HALDO_LINK::wol_cfg_set(sVESK_HALDO_HCC_APDU_HMI_VAR_WOL_CFG_STRUCT* cfg)
{
    return trace_wol_cfg(__func__, hmi_var_access<WOL_CFG_SET>(cfg), cfg);
}

// --- Imaging ---

struct sVESK_IMG_OPERATION_STRUCT {
    const char* function;
    sVESK_REQUEST_STRUCT request;
    std::uint32_t message;
    const char* not_supported;
    void (*log_failure)(const char* function, int result);
};

static constexpr sVESK_IMG_OPERATION_STRUCT USER_CFG_SET{
    "img_user_cfg_set", HCC_IOCTL_IMG_USER_CFG_SET, IMG_MSG_USER_CFG_SET,
    "HCC_IOCTL_IMG_USER_CFG_REQ_SET ioctl not supported", FAILURE("HCC_IOCTL_IMG_USER_CFG_SET ioctl failed (ret=%d)")};
static constexpr sVESK_IMG_OPERATION_STRUCT USER_CFG_CACHE_SET{
    "img_user_cfg_cache_set", HCC_IOCTL_IMG_USER_CFG_CACHE_SET, IMG_MSG_USER_CFG_CACHE_SET,
    "HCC_IOCTL_IMG_USER_CFG_CACHE_SET ioctl not supported",
    FAILURE("HCC_IOCTL_IMG_USER_CFG_CACHE_SET ioctl failed (ret=%d)")};

int cVESK_HALDO_LINK::img_user_cfg_write(const sVESK_IMG_OPERATION_STRUCT& operation, unsigned int value)
{
    if (value > IMG_USER_CFG_MAX) {
        VESK_LOG_AS(operation.function, VESK_LOG_ERROR, "invalid argument");
        return VESK_INVALID_ARGUMENT;
    }
    if (img_user_ext_cfg_set_avail() == VESK_NOT_SUPPORTED) {
        VESK_LOG_AS(operation.function, VESK_LOG_DEBUG, "%s", operation.not_supported);
        return VESK_NOT_SUPPORTED;
    }
    sVESK_HALDO_HCC_IMG_USER_CFG_SET_STRUCT record{operation.message, 0, value, 0};
    const int result = send(operation.request, &record);
    if (result != VESK_OK)
        operation.log_failure(operation.function, result);
    return result;
}

int cVESK_HALDO_LINK::img_user_cfg_set(unsigned int value)
{
    return img_user_cfg_write(USER_CFG_SET, value);
}

int cVESK_HALDO_LINK::img_user_cfg_cache_set(unsigned int value)
{
    return img_user_cfg_write(USER_CFG_CACHE_SET, value);
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
    const int result = send(HCC_IOCTL_IMG_USER_CFG_REQ_GET, &record);
    if (result != VESK_OK) {
        VESK_LOG_E("HCC_IOCTL_IMG_USER_CFG_REQ_GET ioctl failed (ret=%d)", result);
        return result;
    }
    *cfg = {record.qual, record.b2l};
    VESK_LOG_D("end, qual=%d, b2l=%d", static_cast<int>(cfg->qual), static_cast<int>(cfg->b2l));
    return VESK_OK;
}

// --- Display topology ---

static constexpr std::int32_t SCALE_NUMERATOR = 0x30000;
static constexpr std::int32_t FIXED_POINT_ONE = 0x10000;

// 32-bit two's complement that wraps instead of being undefined.
static std::int32_t wrapped(std::uint32_t value)
{
    return static_cast<std::int32_t>(value);
}
static std::uint32_t bits(std::int32_t value)
{
    return static_cast<std::uint32_t>(value);
}
static std::int32_t add(std::int32_t a, std::int32_t b)
{
    return wrapped(bits(a) + bits(b));
}
static std::int32_t subtract(std::int32_t a, std::int32_t b)
{
    return wrapped(bits(a) - bits(b));
}
static std::int32_t multiply(std::int32_t a, std::int32_t b)
{
    return wrapped(bits(a) * bits(b));
}
static std::int32_t absolute(std::int32_t a)
{
    return a < 0 ? subtract(0, a) : a;
}
static std::int32_t divide(std::int32_t a, std::int32_t b)
{
    if (b == 0)
        return 0;
    return b == -1 ? subtract(0, a) : a / b;
}

static bool is_used(const sVESK_HALDO_DISPLAY_STRUCT& disp)
{
    return disp.width != 0 || disp.height != 0;
}
static bool is_active(const sVESK_HALDO_DISPLAY_STRUCT& disp)
{
    return disp.width != 0 && disp.height != 0;
}
static std::uint32_t normalized_rotation(std::uint32_t rotation)
{
    return rotation < 3 ? rotation : 3;
}

int cVESK_HALDO_LINK::disp_topology_get(sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT* topo)
{
    VESK_LOG_D("start");
    int result = VESK_INVALID_ARGUMENT;
    if (topo == nullptr) {
        VESK_LOG_E("invalid arguments");
    } else if ((result = send(HCC_IOCTL_IMG_DISP_TOPO_GET, topo)) != VESK_OK) {
        VESK_LOG_E("HCC_IOCTL_IMG_DISP_TOPO_GET ioctl failed (ret=%d)", result);
    } else {
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
    const int result = send(HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET, &buf);
    if (result != VESK_OK) {
        VESK_LOG_E("HCC_IOCTL_IMG_ASYNC_DISP_TOPO_GET ioctl failed (ret=%d)", result);
        return result;
    }
    *topo = {};
    for (int i = 0; i < VESK_DISPLAY_COUNT; ++i) {
        if (is_used(buf.topo.disp[i])) {
            topo->disp[i] = buf.topo.disp[i];
            topo->disp[i].rotation = normalized_rotation(buf.topo.disp[i].rotation);
            ++topo->num_disp;
        }
    }
    *value = buf.value;
    return VESK_OK;
}

static void place_displays(const sVESK_HALDO_HCC_APDU_IMG_DISP_TOPO_STRUCT& fw,
                           sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT* kmp)
{
    for (int i = 0; i < VESK_DISPLAY_COUNT; ++i) {
        const sVESK_HALDO_DISPLAY_STRUCT& from = fw.disp[i];
        if (!is_active(from))
            continue;
        sVESK_HALDO_HDC_KMP_DISPLAY_STRUCT& to = kmp->disp[i];
        to.enabled = 1;
        to.left = from.pos_x;
        to.top = from.pos_y;
        to.right = add(from.pos_x, from.width - 1);
        to.bottom = add(from.pos_y, from.height - 1);
        to.width = from.width;
        to.height = from.height;
        to.rotation = from.rotation;
        kmp->min_x = to.left < kmp->min_x ? to.left : kmp->min_x;
        kmp->min_y = to.top < kmp->min_y ? to.top : kmp->min_y;
        kmp->max_x = to.right > kmp->max_x ? to.right : kmp->max_x;
        kmp->max_y = to.bottom > kmp->max_y ? to.bottom : kmp->max_y;
        ++kmp->active_displays;
    }
}

static std::int32_t total(std::int32_t min, std::int32_t max)
{
    return add(add(absolute(min), absolute(max)), 1);
}

static std::int32_t scaled_first(std::int32_t edge, std::int32_t whole)
{
    return divide(multiply(edge, FIXED_POINT_ONE), whole);
}

static std::int32_t scaled_last(std::int32_t edge, std::int32_t whole)
{
    return subtract(scaled_first(add(edge, 1), whole), 1);
}

static void scale_displays(sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT* kmp)
{
    kmp->total_width = total(kmp->min_x, kmp->max_x);
    kmp->total_height = total(kmp->min_y, kmp->max_y);
    kmp->x_scale = divide(SCALE_NUMERATOR, kmp->total_width);
    kmp->y_scale = divide(SCALE_NUMERATOR, kmp->total_height);
    for (sVESK_HALDO_HDC_KMP_DISPLAY_STRUCT& disp : kmp->disp) {
        if (disp.enabled == 0)
            continue;
        disp.scaled_left = scaled_first(disp.left, kmp->total_width);
        disp.scaled_top = scaled_first(disp.top, kmp->total_height);
        disp.scaled_right = scaled_last(disp.right, kmp->total_width);
        disp.scaled_bottom = scaled_last(disp.bottom, kmp->total_height);
    }
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
    int result = send(HCC_IOCTL_IMG_DISP_TOPO_SEND, fw);
    if (result != VESK_OK) {
        VESK_LOG_AS(function, VESK_LOG_ERROR, "HCC_IOCTL_IMG_DISP_TOPO_SEND ioctl failed (ret=%d)", result);
        return result;
    }
    VESK_LOG_AS(function, VESK_LOG_DEBUG, "sent display topology to FW through HCC");
    result = send(HDC_IOCTL_KMP_DISP_TOPO_SET, kmp);
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
        sVESK_HALDO_HDC_KMP_DISP_TOPO_STRUCT kmp{};
        kmp.twinview = bits(twinview);
        kmp.primary_width = primary_width;
        kmp.primary_height = primary_height;
        place_displays(fw, &kmp);
        if (kmp.active_displays != 0) {
            VESK_LOG_D("twinview %d, primary %d x %d", twinview, primary_width, primary_height);
            scale_displays(&kmp);
        }
        result = send_topology(&fw, &kmp);
    }
    VESK_LOG_D("end");
    return result;
}

// The result that an unused display's rate stands for, or VESK_OK when it is no mark.
static int result_of_rate(std::uint8_t rate)
{
    switch (rate) {
    case IMG_RATE_NO_CACHING:
        return VESK_RATE_NO_CACHING;
    case IMG_RATE_NOT_ACTIVE:
        return VESK_RATE_NOT_ACTIVE;
    default:
        return VESK_OK;
    }
}

// Fills a zeroed record. Returns the result that the last rate mark stands for, or VESK_OK.
static int copy_cached_topology(const sVESK_HALDO_HCC_IMG_CACHE_DISP_TOPO_STRUCT& from,
                                sVESK_HALDO_LINK_CACHE_DISP_TOPO* to)
{
    int result = VESK_OK;
    for (int i = 0; i < VESK_DISPLAY_COUNT; ++i) {
        const sVESK_HALDO_DISPLAY_STRUCT& disp = from.topo.disp[i];
        const int mark = is_used(disp) ? VESK_OK : result_of_rate(from.rate[i]);
        if (mark != VESK_OK)
            result = mark;
        if (is_used(disp) || mark != VESK_OK)
            ++to->num_disp;
        to->disp[i] = {.pos_x = disp.pos_x,
                       .pos_y = disp.pos_y,
                       .width = disp.width,
                       .height = disp.height,
                       .rotation = normalized_rotation(disp.rotation),
                       .rate = mark != VESK_OK ? std::uint8_t{0} : from.rate[i],
                       .reserved = {}};
        const sVESK_HALDO_HCC_IMG_MONITOR_STRUCT& monitor = from.monitor[i];
        std::memcpy(to->monitor[i].vid, monitor.vid, sizeof(monitor.vid));
        std::memcpy(to->monitor[i].pid, monitor.pid, sizeof(monitor.pid));
        std::memcpy(to->monitor[i].serial, monitor.serial, sizeof(monitor.serial));
        std::memcpy(to->monitor[i].name, monitor.name, sizeof(monitor.name));
    }
    to->primary = from.primary;
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
    int result = send(HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET, &buf);
    if (result != VESK_OK) {
        VESK_LOG_E("HCC_IOCTL_IMG_CACHE_DISP_TOPO_GET ioctl failed (ret=%d)", result);
        return result;
    }
    result = copy_cached_topology(buf, topo);
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
