#include "cursor_policy.h"

#include "vesk_log.h"

int update_driver_cfg(cVESK_HALDO_LINK* link, eVESK_HALDO_HDC_LCUR_EVT_ALG_TYPE alg)
{
    sVESK_HALDO_HDC_KMP_DRIVER_CFG_CTRL_STRUCT cfg{KMP_DRIVER_CFG_LCUR_EVT_ALG, alg};
    if (link->kmp_driver_cfg_set(&cfg) != VESK_OK) {
        VESK_LOG_E("failed to configure cursor mode %d in driver", alg);
        return 0;
    }
    return 1;
}
