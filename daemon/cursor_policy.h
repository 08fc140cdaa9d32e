// What the card's local cursor does around a user's session.
#pragma once

#include "vesk_haldo_link.h"

// Sets how the driver reports the cursor. Returns 1, or 0 when the driver was not configured.
int update_driver_cfg(cVESK_HALDO_LINK* link, eVESK_HALDO_HDC_LCUR_EVT_ALG_TYPE alg);
