// The loop that keeps the agent running.
#pragma once

#include "config.h"
#include "host_commands.h"

// What main keeps for the whole run.
struct sVESK_DAEMON_STATE_STRUCT {
    sVESK_HOSTSW_DAEMON_CONFIG_STRUCT config;
    char user[USER_NAME_SIZE];
    char xauthority[XAUTHORITY_SIZE];
};

enum eVESK_LOOP_END : int {
    LOOP_AGENT_INTERRUPTED, // SIGINT or SIGQUIT ended the agent command: the daemon is to shut down in order
    LOOP_CANNOT_GO_ON,      // disabled, or without a log: the daemon is to leave
};

// Runs the agent again and again: for the user who is logged in on the local X display, under that user's identity, or
// as root for the login screen. Each pass reads the configuration and the login anew. Returns why it ended.
eVESK_LOOP_END supervise_agent(sVESK_DAEMON_STATE_STRUCT* state);
