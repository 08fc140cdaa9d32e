// The life of the link and its operations on the control channel.
#include "vesk_haldo_link.h"

#include "vesk_log.h"

static constexpr const char* ASTERISKS = "***************************************";

static constexpr const char* hmi_cmd_str_tbl[] = {"HMI_CMD_AVAIL_CMD", "HMI_CMD_VAR_GET", "HMI_CMD_VAR_SET"};
static_assert(sizeof(hmi_cmd_str_tbl) / sizeof(hmi_cmd_str_tbl[0]) == HMI_CMD_COUNT);

static constexpr const char* hmi_var_str_tbl[] = {
    "HMI_VAR_AVAIL_VAR", "HMI_VAR_LINK_INFO",   "HMI_VAR_IPV4_CFG",   "HMI_VAR_SESS_LINK",       "HMI_VAR_SESS_TAG",
    "HMI_VAR_CONN_PORT", "HMI_VAR_SESS_STAT",   "HMI_VAR_DEPRECATED", "HMI_VAR_WOL_CFG",         "HMI_VAR_SESS_DISC",
    "HMI_VAR_SESS_TAG2", "HMI_VAR_CACHED_TOPO", "HMI_VAR_UNICODE",    "HMI_VAR_IMG_USER_EXT_CFG"};
static_assert(sizeof(hmi_var_str_tbl) / sizeof(hmi_var_str_tbl[0]) == HMI_VAR_COUNT);

static bool is_offered(const sVESK_HALDO_HCC_HMI_AVAIL_STRUCT& avail, std::uint32_t id)
{
    return (avail.map[id / 32] >> (id % 32) & 1) != 0;
}

static int availability(const sVESK_HALDO_HCC_HMI_AVAIL_STRUCT& avail, eVESK_HALDO_HMI_VAR id)
{
    return is_offered(avail, id) ? VESK_OK : VESK_NOT_SUPPORTED;
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

int cVESK_HALDO_LINK::send(const sVESK_REQUEST_STRUCT& request, void* record)
{
    cVESK_DEV& dev = request.node == VESK_NODE_HCC ? hcc_dev : hdc_dev;
    return dev.synch_ioctl(request.code, record, request.length, request.timeout_ms);
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

int cVESK_HALDO_LINK::link_info_get_avail() const
{
    return availability(hmi_avail_get_var, HMI_VAR_LINK_INFO);
}
int cVESK_HALDO_LINK::ipv4_cfg_get_avail() const
{
    return availability(hmi_avail_get_var, HMI_VAR_IPV4_CFG);
}
int cVESK_HALDO_LINK::sess_link_get_avail() const
{
    return availability(hmi_avail_get_var, HMI_VAR_SESS_LINK);
}
int cVESK_HALDO_LINK::sess_link_disc_avail() const
{
    return availability(hmi_avail_set_var, HMI_VAR_SESS_LINK);
}
int cVESK_HALDO_LINK::sess_link_disc_with_reason_avail() const
{
    return availability(hmi_avail_set_var, HMI_VAR_SESS_DISC);
}
int cVESK_HALDO_LINK::sess_tag_set_avail() const
{
    return availability(hmi_avail_set_var, HMI_VAR_SESS_TAG);
}
int cVESK_HALDO_LINK::sess_tag_version_1_key_scramble_feature_avail() const
{
    return availability(hmi_avail_set_var, HMI_VAR_SESS_TAG2);
}
int cVESK_HALDO_LINK::conn_port_get_avail() const
{
    return availability(hmi_avail_get_var, HMI_VAR_CONN_PORT);
}
int cVESK_HALDO_LINK::sess_stat_get_avail() const
{
    return availability(hmi_avail_get_var, HMI_VAR_SESS_STAT);
}
int cVESK_HALDO_LINK::sess_stat_reset_avail() const
{
    return availability(hmi_avail_set_var, HMI_VAR_SESS_STAT);
}
int cVESK_HALDO_LINK::cached_topo_get_avail() const
{
    return availability(hmi_avail_get_var, HMI_VAR_CACHED_TOPO);
}
int cVESK_HALDO_LINK::cached_topo_set_avail() const
{
    return availability(hmi_avail_set_var, HMI_VAR_CACHED_TOPO);
}
int cVESK_HALDO_LINK::unicode_set_avail() const
{
    return availability(hmi_avail_set_var, HMI_VAR_UNICODE);
}
int cVESK_HALDO_LINK::img_user_ext_cfg_get_avail() const
{
    return availability(hmi_avail_get_var, HMI_VAR_IMG_USER_EXT_CFG);
}
int cVESK_HALDO_LINK::img_user_ext_cfg_set_avail() const
{
    return availability(hmi_avail_set_var, HMI_VAR_IMG_USER_EXT_CFG);
}
