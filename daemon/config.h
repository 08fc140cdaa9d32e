// The configuration: the keys of /etc/haldohostswd.conf and the record that the daemon works with.
#pragma once

#include <cstdint>

inline constexpr const char* CONFIG_FILE = "/etc/haldohostswd.conf";

// One member per key, named after it. Compared byte by byte, so every byte is always defined. Text that fills its
// member has no terminator: whoever reads one is bounded by its size.
struct sVESK_HOSTSW_DAEMON_CONFIG_STRUCT {
    std::int32_t DaemonEnable;
    char LogDirLocation[400];
    std::int32_t LogFileSize; // MiB
    std::int32_t DaemonLogLevel;
    std::int32_t DaemonStartDelay; // seconds, as all delays
    std::int32_t HostSWLogLevel;
    char HostSWOptions[100];
    char HostSWPath[400];
    std::int32_t HostSWLoginStartDelay;
    std::int32_t HostSWRestartDelay;
    std::int32_t DaemonXAuthDelay;
    std::int32_t DaemonRootHaldoAgent;
};
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
inline constexpr int CONFIG_KEY_COUNT = 12;
extern sVESK_CONFIG_LOOKUP_STRUCT config_lookup_table[CONFIG_KEY_COUNT];

// Reads the file into the table and the table into cfg. Without a readable file cfg gets the table's values as they
// are. A line that is not understood is logged and ignored; an integer key without a value keeps the value it has.
void get_config(sVESK_HOSTSW_DAEMON_CONFIG_STRUCT* cfg);

// The index of a key in the table, or -1. Logs which.
int get_field_name_index(char* name);

// Logs the record in three lines.
void dump_config(const sVESK_HOSTSW_DAEMON_CONFIG_STRUCT* cfg);
