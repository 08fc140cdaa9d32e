#include "config.h"

#include "exit_lock.h"
#include "vesk_log.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>

static constexpr int READ_SIZE = 2048; // what a stream would allocate stays in the heap for good, and is larger

#define VESK_NUMBER(key, initial, ...) {#key, CONFIG_INTEGER, "", initial},
#define VESK_TEXT(key, initial, ...)   {#key, CONFIG_STRING, initial, 0},
sVESK_CONFIG_LOOKUP_STRUCT config_lookup_table[] = {VESK_CONFIG_KEYS(VESK_NUMBER, VESK_TEXT)};

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

sVESK_CONFIG_LINE_STRUCT take_apart(char* line)
{
    char* key = line[0] == '#' ? nullptr : std::strtok(line, " =\n");
    return {key, key != nullptr ? std::strtok(nullptr, "=\n") : nullptr};
}

static void read_line(char* line)
{
    const auto [key, value] = take_apart(line);
    if (key == nullptr)
        return;
    VESK_LOG_AS("get_config", VESK_LOG_DEBUG, "Processing field name: %s", key);
    const int index = get_field_name_index(key);
    if (index < 0) {
        VESK_LOG_AS("get_config", VESK_LOG_DEBUG, "returned idx %d, skipping line: %s", index, line);
        return;
    }
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

static void copy_value(std::int32_t& member, const sVESK_CONFIG_LOOKUP_STRUCT& entry)
{
    member = entry.int_value;
}

// Fills a member that is all zero; text as long as the member or longer leaves no terminator.
template <std::size_t size> static void copy_value(char (&member)[size], const sVESK_CONFIG_LOOKUP_STRUCT& entry)
{
    std::memcpy(member, entry.string_value, strnlen(entry.string_value, size));
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
        char line[CONFIG_LINE_SIZE];
        while (std::fgets(line, sizeof(line), file) != nullptr)
            read_line(line);
        with_exit_lock([=] { return std::fclose(file); });
    }

#define VESK_COPY(key, ...) copy_value(cfg->key, config_lookup_table[CONFIG_KEY_##key]);
    VESK_CONFIG_KEYS(VESK_COPY, VESK_COPY)
}

void dump_config(const sVESK_HOSTSW_DAEMON_CONFIG_STRUCT* cfg)
{
    VESK_LOG_I("Log Directory: %.400s, Max Size: %d MB", cfg->LogDirLocation, cfg->LogFileSize);
    VESK_LOG_I("Daemon: Log level %d, Enable %d, Delay %d, xAuth %d ", cfg->DaemonLogLevel, cfg->DaemonEnable,
               cfg->DaemonStartDelay, cfg->DaemonXAuthDelay);
    VESK_LOG_I("%.400s/haldo_agent: start delay %d/%d, log level %d, Options: %.100s", cfg->HostSWPath,
               cfg->HostSWLoginStartDelay, cfg->HostSWRestartDelay, cfg->HostSWLogLevel, cfg->HostSWOptions);
}
