// Calls the cursor policy, which no program has a command for, through the real device nodes. Prints what each
// operation returned and, "status N", whether local cursor and keyboard are on, between the link's own log lines.
#include "cursor_policy.h"
#include "vesk_haldo_link.h"

#include <cstdio>

static void print_status(cVESK_HALDO_LINK& link)
{
    unsigned int status = 0;
    link.lcur_lkbd_dev_feat_stat_get(&status);
    std::printf("status %X\n", status);
}

int main()
{
    cVESK_HALDO_LINK link;
    std::printf("user_session_end %d\n", user_session_end(&link));
    link.kmp_pri_ctxt_get();
    std::printf("enable_local_cursor_with_relative_reports %d\n", enable_local_cursor_with_relative_reports(&link));
    print_status(link);
    disable_local_cursor(&link);
    print_status(link);
    std::printf("update_driver_cfg %d\n", update_driver_cfg(&link, LCUR_EVT_ALG_ABSOLUTE));
    std::printf("user_session_end %d\n", user_session_end(&link));
}
