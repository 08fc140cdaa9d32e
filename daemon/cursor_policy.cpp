#include "cursor_policy.h"

#include "pid_files.h"
#include "vesk_log.h"

#include <unistd.h>

static constexpr int ATTEMPTS = 20;
static constexpr unsigned int PATH_DELAY_S = 2;

int update_driver_cfg(cVESK_HALDO_LINK* link, eVESK_HALDO_HDC_LCUR_EVT_ALG_TYPE alg)
{
    sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT cfg{KMP_DRIVER_CFG_LCUR_EVT_ALG, alg};
    if (link->kmp_driver_cfg_set(&cfg) != VESK_OK) {
        VESK_LOG_E("failed to configure cursor mode %d in driver", alg);
        return 0;
    }
    return 1;
}

void disable_local_cursor(cVESK_HALDO_LINK* link)
{
    link->lcur_lkbd_disable();
}

int enable_local_cursor_with_relative_reports(cVESK_HALDO_LINK* link)
{
    bool failed = false;
    for (int attempt = 0; attempt < ATTEMPTS; ++attempt) {
        failed = true;
        if (link->hdc_open() != VESK_OK) {
            VESK_LOG_E("hdc_open() failed");
            continue;
        }
        sleep(PATH_DELAY_S);
        if (link->lcur_lkbd_enable() != VESK_OK) {
            VESK_LOG_E("lcur_lkbd_enable() failed");
            continue;
        }
        failed = link->lcur_pointer_visibility_set(0, 0) != VESK_OK;
        if (failed)
            VESK_LOG_E("failed to hide local cursor");
        if (update_driver_cfg(link, LCUR_EVT_ALG_RELATIVE) != 0 && !failed)
            return 1;
    }
    if (failed) {
        update_driver_cfg(link, LCUR_EVT_ALG_ABSOLUTE);
        return 0;
    }
    return 1;
}

int user_session_end(cVESK_HALDO_LINK* link)
{
    if (link->is_client_sc() != 0) {
        VESK_LOG_D("Enable local cursor in relative mode: SC logout while session active");
        enable_local_cursor_with_relative_reports(link);
    } else {
        VESK_LOG_D("Disable local cursor: ZC logout while session active");
        disable_local_cursor(link);
    }
    return remove_agent_pid_file();
}
