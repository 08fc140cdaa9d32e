// What the card's local cursor does around a user's session. The daemon itself sets the report mode when it shuts down;
// the rest is for whoever follows sessions with the link. Failures are logged.
#pragma once

#include "vesk_haldo_link.h"

// Sets how the driver reports the cursor. Returns 1, or 0 when the driver was not configured.
int update_driver_cfg(cVESK_HALDO_LINK* link, eVESK_HALDO_HDC_LCUR_EVT_ALG_TYPE alg);

// Switches local cursor and keyboard off, and tells nobody whether that worked.
void disable_local_cursor(cVESK_HALDO_LINK* link);

// Opens the KMP path, waits 2 seconds for it, switches local cursor and keyboard on, hides the pointer and sets
// relative reports; up to 20 times until all of it works. An attempt whose path does not open is not waited for.
//
// Returns 1; or 0, after setting absolute reports again, when the last attempt has not hidden the pointer. A last
// attempt that hid it and did not set relative reports counts as success.
int enable_local_cursor_with_relative_reports(cVESK_HALDO_LINK* link);

// A user has logged out while a client is connected: switches the local cursor to relative reports for one kind of
// client (is_client_sc) and off for all others, and removes the agent's process id file. Returns 0, or -1 when that
// file was not removed.
int user_session_end(cVESK_HALDO_LINK* link);
