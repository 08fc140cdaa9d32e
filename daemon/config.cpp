#include "config.h"

#include "exit_lock.h"
#include "vesk_log.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

static constexpr int LINE_SIZE = 500;
static constexpr int READ_SIZE = 2048; // what a stream would allocate stays in the heap for good, and is larger

// clang-format off
sVESK_CONFIG_LOOKUP_STRUCT config_lookup_table[CONFIG_KEY_COUNT] = {
    {"DaemonEnable",          CONFIG_INTEGER, "",               1},
    {"LogDirLocation",        CONFIG_STRING,  "/var/log/haldo", 0},
    {"LogFileSize",           CONFIG_INTEGER, "",               2},
    {"DaemonLogLevel",        CONFIG_INTEGER, "",               3},
    {"DaemonStartDelay",      CONFIG_INTEGER, "",               1},
    {"HostSWLogLevel",        CONFIG_INTEGER, "",               3},
    {"HostSWOptions",         CONFIG_STRING,  "",               0},
    {"HostSWPath",            CONFIG_STRING,  "/usr/bin",       0},
    {"HostSWLoginStartDelay", CONFIG_INTEGER, "",               10},
    {"HostSWRestartDelay",    CONFIG_INTEGER, "",               1},
    {"DaemonXAuthDelay",      CONFIG_INTEGER, "",               5},
    {"DaemonRootHaldoAgent",  CONFIG_INTEGER, "",               0},
};
// clang-format on

int get_field_name_index(char* name)
{
    for (int i = 0; i < CONFIG_KEY_COUNT; ++i) {
        if (std::strcmp(name, config_lookup_table[i].name) == 0) {
            VESK_LOG_D("matched field '%s' at index %d", name, i);
            return i;
        }
    }
    VESK_LOG_E("failed to find '%s'", name);
    return -1;
}

// Both tokens of a line are taken from the line itself, which strtok cuts into pieces.
static void read_line(char* line)
{
    if (line[0] == '#')
        return;
    char* key = std::strtok(line, " =\n");
    if (key == nullptr)
        return;
    VESK_LOG_AS("get_config", VESK_LOG_DEBUG, "Processing field name: %s", key);
    const int index = get_field_name_index(key);
    if (index < 0) {
        VESK_LOG_AS("get_config", VESK_LOG_DEBUG, "returned idx %d, skipping line: %s", index, line);
        return;
    }
    const char* value = std::strtok(nullptr, "=\n");
    VESK_LOG_AS("get_config", VESK_LOG_DEBUG, "value = %s", value != nullptr ? value : "");

    sVESK_CONFIG_LOOKUP_STRUCT& entry = config_lookup_table[index];
    switch (entry.type) {
    case CONFIG_STRING:
        entry.string_value[0] = '\0';
        if (value != nullptr)
            std::strncat(entry.string_value, value, sizeof(entry.string_value) - 1);
        break;
    case CONFIG_INTEGER:
        if (value != nullptr)
            entry.int_value = static_cast<std::int32_t>(std::strtoll(value, nullptr, 10));
        break;
    default:
        VESK_LOG_AS("get_config", VESK_LOG_ERROR, "Illegal type %d in lookup table at index %d field %s", entry.type,
                    index, key);
    }
}

// Fills a member that is all zero; text as long as the member or longer leaves no terminator.
template <std::size_t size> static void copy_text(char (&member)[size], const char* text)
{
    std::memcpy(member, text, strnlen(text, size));
}

void get_config(sVESK_HOSTSW_DAEMON_CONFIG_STRUCT* cfg)
{
    *cfg = {};
    std::FILE* file = with_exit_lock([] { return std::fopen(CONFIG_FILE, "r"); });
    if (file == nullptr) {
        VESK_LOG_I("Unable to open daemon config file %s", CONFIG_FILE);
    } else {
        char buffer[READ_SIZE];
        std::setvbuf(file, buffer, _IOFBF, sizeof(buffer));
        char line[LINE_SIZE];
        while (std::fgets(line, sizeof(line), file) != nullptr)
            read_line(line);
        with_exit_lock([=] { return std::fclose(file); });
    }

    const sVESK_CONFIG_LOOKUP_STRUCT* entry = config_lookup_table;
    cfg->DaemonEnable = (entry++)->int_value;
    copy_text(cfg->LogDirLocation, (entry++)->string_value);
    cfg->LogFileSize = (entry++)->int_value;
    cfg->DaemonLogLevel = (entry++)->int_value;
    cfg->DaemonStartDelay = (entry++)->int_value;
    cfg->HostSWLogLevel = (entry++)->int_value;
    copy_text(cfg->HostSWOptions, (entry++)->string_value);
    copy_text(cfg->HostSWPath, (entry++)->string_value);
    cfg->HostSWLoginStartDelay = (entry++)->int_value;
    cfg->HostSWRestartDelay = (entry++)->int_value;
    cfg->DaemonXAuthDelay = (entry++)->int_value;
    cfg->DaemonRootHaldoAgent = (entry++)->int_value;
}

void dump_config(const sVESK_HOSTSW_DAEMON_CONFIG_STRUCT* cfg)
{
    VESK_LOG_I("Log Directory: %.400s, Max Size: %d MB", cfg->LogDirLocation, cfg->LogFileSize);
    VESK_LOG_I("Daemon: Log level %d, Enable %d, Delay %d, xAuth %d ", cfg->DaemonLogLevel, cfg->DaemonEnable,
               cfg->DaemonStartDelay, cfg->DaemonXAuthDelay);
    VESK_LOG_I("%.400s/haldo_agent: start delay %d/%d, log level %d, Options: %.100s", cfg->HostSWPath,
               cfg->HostSWLoginStartDelay, cfg->HostSWRestartDelay, cfg->HostSWLogLevel, cfg->HostSWOptions);
}
