// The configuration: the keys of /etc/haldohostswd.conf and the record that the daemon works with.
#pragma once

#include <climits>
#include <cstdint>

inline constexpr const char* CONFIG_FILE = "/etc/haldohostswd.conf";

// Every key, a row each, in the order of table and record, which follow it. So do haldoctl's check-config, and by test
// the sample file and the manual page, which begins with the same sentence.
//
// NUMBER(key, default, least, greatest, unit, sentence)
// TEXT(key, default, least and greatest length, whether it is a path, sentence): what is longer is cut
//
// The daemon itself takes any number and any text: the bounds are for who writes the file.
// clang-format off
#define VESK_CONFIG_KEYS(NUMBER, TEXT)                                                                                 \
    NUMBER(DaemonEnable, 1, 0, 1, "", "0 ends the daemon, at start or at its next pass.")                              \
    TEXT(LogDirLocation, "/var/log/haldo", 3, 400, true,                                                               \
         "Directory of the log, taken from / on, of 3 characters at least.")                                           \
    NUMBER(LogFileSize, 2, 1, INT_MAX, "MiB", "Size in MiB above which the log file is rotated.")                      \
    NUMBER(DaemonLogLevel, 3, 0, 4, "",                                                                                \
           "0 nothing, 1 critical, 2 errors, 3 information, 4 debugging; anything higher means 2.")                    \
    NUMBER(DaemonStartDelay, 1, 0, INT_MAX, "seconds", "Seconds between detaching and the first pass.")                \
    NUMBER(HostSWLogLevel, 3, 0, INT_MAX, "", "The agent's log level.")                                                \
    TEXT(HostSWOptions, "", 0, 100, false, "Further options for the agent, at most 100 characters, without quotes.")   \
    TEXT(HostSWPath, "/usr/bin", 1, 400, true, "Directory of haldo_starthostsw, haldo_agent and haldo_xauthority.")    \
    NUMBER(HostSWLoginStartDelay, 10, 0, INT_MAX, "seconds",                                                           \
           "Seconds that the launcher waits when a user has just logged in.")                                          \
    NUMBER(HostSWRestartDelay, 1, 0, INT_MAX, "seconds", "Seconds that the launcher waits in all other cases.")        \
    NUMBER(DaemonXAuthDelay, 5, 0, INT_MAX, "seconds",                                                                 \
           "Seconds before the X authority lookup, unless the same login goes on.")                                    \
    NUMBER(DaemonRootHaldoAgent, 0, 0, 1, "", "1 lets the agent run when the logged-in user is root.")

// The index of a key in the table.
enum eVESK_CONFIG_KEY : int {
#define VESK_INDEX(key, ...) CONFIG_KEY_##key,
    VESK_CONFIG_KEYS(VESK_INDEX, VESK_INDEX)
#undef VESK_INDEX
    CONFIG_KEY_COUNT
};

// One member per key, named after it: std::int32_t, or char of the greatest length. Compared byte by byte, so every byte
// is always defined. Text that fills its member has no terminator: whoever reads one is bounded by its size.
struct sVESK_HOSTSW_DAEMON_CONFIG_STRUCT {
#define VESK_NUMBER(key, ...) std::int32_t key;
#define VESK_TEXT(key, initial, least, greatest, ...) char key[greatest];
    VESK_CONFIG_KEYS(VESK_NUMBER, VESK_TEXT)
#undef VESK_NUMBER
#undef VESK_TEXT
};
// clang-format on
static_assert(sizeof(sVESK_HOSTSW_DAEMON_CONFIG_STRUCT) == 400 + 100 + 400 + 9 * 4, "no byte between the members");

enum eVESK_CONFIG_TYPE : std::int32_t {
    CONFIG_STRING = 0,
    CONFIG_INTEGER = 1,
};

struct sVESK_CONFIG_LOOKUP_STRUCT {
    const char* name;
    std::int32_t type; // eVESK_CONFIG_TYPE
    char string_value[500];
    std::int32_t int_value;
};

// The keys with their current values: the defaults, until the file sets them. Never reset: a key that disappears from
// the file keeps its last value.
extern sVESK_CONFIG_LOOKUP_STRUCT config_lookup_table[CONFIG_KEY_COUNT];

// A line of the file as far as the daemon reads it at once: the rest of a longer one is read as a further line.
inline constexpr int CONFIG_LINE_SIZE = 500;

// Takes such a line apart, and cuts it: a comment and a blank line have no key, and a key may have no value.
struct sVESK_CONFIG_LINE_STRUCT {
    char* key;
    const char* value;
};
sVESK_CONFIG_LINE_STRUCT take_apart(char* line);

// Reads the file into the table and the table into cfg. Without a readable file cfg gets the table's values as they
// are. A line that is not understood is logged and ignored; an integer key without a value keeps the value it has.
void get_config(sVESK_HOSTSW_DAEMON_CONFIG_STRUCT* cfg);

// The index of a key in the table, or -1. Logs which.
int get_field_name_index(char* name);

// Logs the record in three lines.
void dump_config(const sVESK_HOSTSW_DAEMON_CONFIG_STRUCT* cfg);
