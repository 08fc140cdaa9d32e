#include "daemon_state.h"

#include "daemon_paths.h"
#include "invocation.h"
#include "vesk_log.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <grp.h>
#include <memory>
#include <paths.h>
#include <pwd.h>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace haldoctl
{

namespace
{

constexpr std::size_t PROCESS_NAME_LENGTH = 15; // what the kernel keeps of one
constexpr std::size_t FILE_MAX_LENGTH = 64 << 20;

std::string errno_text(const std::string& what)
{
    return what + ": " + std::strerror(errno);
}

std::time_t boot_time()
{
    std::ifstream file("/proc/stat");
    for (std::string word; file >> word;) {
        std::time_t time;
        if (word == "btime" && file >> time)
            return time;
    }
    return 0;
}

// The process of a folder of /proc; nothing for one that has ended.
std::optional<process> process_in(const std::filesystem::path& folder)
{
    std::ifstream file(folder / "stat");
    std::string line;
    std::getline(file, line);
    const std::size_t open = line.find('(');
    const std::size_t close = line.rfind(')');
    if (close == std::string::npos || open == std::string::npos)
        return {};
    std::istringstream rest(line.substr(close + 1));
    std::string field;
    rest >> field;
    if (field == "Z")
        return {};
    for (int i = 4; i <= 22; ++i) // the 22nd is the start, in ticks since boot
        rest >> field;
    return process{static_cast<pid_t>(std::stol(line)), line.substr(open + 1, close - open - 1),
                   boot_time() + std::stol(field) / sysconf(_SC_CLK_TCK)};
}

} // namespace

// --- Files ---

std::string content_of(const std::string& path)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "re"), std::fclose);
    if (!file)
        throw failure{REFUSED, errno_text(path)};
    std::string text;
    char buffer[4096];
    while (const std::size_t length = std::fread(buffer, 1, sizeof(buffer), file.get())) {
        text.append(buffer, length);
        if (text.size() > FILE_MAX_LENGTH)
            throw failure{REFUSED, path + ": longer than " + std::to_string(FILE_MAX_LENGTH >> 20) + " MiB"};
    }
    if (std::ferror(file.get()) != 0)
        throw failure{REFUSED, errno_text(path)};
    return text;
}

known<configuration> read_configuration()
{
    if (access(CONFIG_FILE, R_OK) != 0 && errno != ENOENT)
        return {{}, errno_text(CONFIG_FILE)};
    configuration config;
    get_config(&config.record);
    config.log_directory.assign(config.record.LogDirLocation,
                                strnlen(config.record.LogDirLocation, sizeof(config.record.LogDirLocation)));
    config.path.assign(config.record.HostSWPath, strnlen(config.record.HostSWPath, sizeof(config.record.HostSWPath)));
    if (!config.path.starts_with('/'))
        config.path.insert(0, "/"); // where the daemon is
    char path[VESK_LOG_PATH_SIZE];
    log_file_path(path, config.record.LogDirLocation, LOG_NAME);
    config.log_file = std::filesystem::path(path).lexically_normal();
    return {config, ""};
}

std::string mode_and_owner(const std::string& path)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) != 0)
        return std::strerror(errno);
    const passwd* const user = getpwuid(status.st_uid);
    const group* const owner_group = getgrgid(status.st_gid);
    char mode[16];
    std::snprintf(mode, sizeof(mode), "mode %o", status.st_mode & 07777);
    return std::string(mode) + ", owner " + (user != nullptr ? user->pw_name : std::to_string(status.st_uid)) + ":" +
           (owner_group != nullptr ? owner_group->gr_name : std::to_string(status.st_gid));
}

std::string who_you_are()
{
    const passwd* const user = getpwuid(geteuid());
    const std::string uid = "uid " + std::to_string(geteuid());
    return user != nullptr ? std::string(user->pw_name) + " (" + uid + ")" : uid;
}

std::string local_time(std::time_t time)
{
    char text[32];
    std::tm local{};
    std::strftime(text, sizeof(text), "%FT%T%z", localtime_r(&time, &local));
    return text;
}

// --- Processes ---

known<std::vector<process>> processes_called(const std::string& name)
{
    if (access("/proc/1/stat", R_OK) != 0)
        return {{}, "/proc does not show the processes of others"};
    std::vector<process> found;
    for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
        if (!std::isdigit(static_cast<unsigned char>(entry.path().filename().native().front())))
            continue;
        const std::optional<process> one = process_in(entry.path());
        if (one && one->name == name.substr(0, PROCESS_NAME_LENGTH))
            found.push_back(*one);
    }
    std::ranges::sort(found, {}, [](const process& one) { return std::pair(one.started, one.id); });
    return {found, ""};
}

known<process> lock_holder()
{
    const int fd = open(LOCK_FILE, O_RDONLY | O_CLOEXEC);
    if (fd < 0) {
        if (errno == ENOENT)
            return {process{}, ""};
        return {{}, errno_text(LOCK_FILE)};
    }
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    const int result = fcntl(fd, F_GETLK, &lock);
    close(fd);
    if (result != 0)
        return {{}, errno_text(LOCK_FILE)};
    if (lock.l_type == F_UNLCK)
        return {process{}, ""};
    const std::optional<process> holder = process_in("/proc/" + std::to_string(lock.l_pid));
    return {holder ? *holder : process{lock.l_pid, "?", 0}, ""};
}

known<process> running_daemon()
{
    const known<process> holder = lock_holder();
    if (holder.value && holder.value->name == DAEMON)
        return holder;
    const known<std::vector<process>> all = processes_called(DAEMON);
    if (!all.value || all.value->empty())
        return {{}, all.why};
    return {all.value->back(), ""}; // the one before it may be the starting process
}

// --- The user ---

bool has_login_records()
{
    return access(_PATH_UTMP, F_OK) == 0;
}

known<local_user> user_on_display()
{
    char name[USER_NAME_SIZE] = "";
    const int login = is_user_logged_in_locally(name);
    if (login < 0)
        return {{}, "\"who -u\" cannot be run"};
    if (login == 0)
        return {local_user{}, ""};
    local_user user{name, ""};
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> who(popen("who -u", "r"), pclose);
    char line[500];
    while (who && user.display.empty() && std::fgets(line, sizeof(line), who.get()) != nullptr) {
        char word[201];
        if (std::sscanf(line, "%200s", word) != 1 || user.name != word)
            continue;
        const char* at = std::strstr(line, " :");
        if (at == nullptr)
            at = std::strstr(line, "(:");
        if (at != nullptr)
            user.display.assign(at + 1, std::strcspn(at + 1, " )\n"));
    }
    return {user, ""};
}

known<std::string> x_authority(const configuration& config)
{
    const std::string why = obstacle(config.path + "/" + XAUTHORITY_LOOKUP).why;
    if (!why.empty())
        return {{}, why};
    if (geteuid() != 0)
        return {{}, std::string(XAUTHORITY_LOOKUP) + " is asked by root alone, and you are " + who_you_are()};
    if (chdir("/") != 0) // where the daemon asks it
        return {{}, errno_text("/")};
    char found[XAUTHORITY_SIZE] = "";
    sVESK_HOSTSW_DAEMON_CONFIG_STRUCT record = config.record;
    get_xauthority(0, found, &record);
    return {std::string(found, std::strcspn(found, "\n")), ""};
}

program_obstacle obstacle(const std::string& program)
{
    struct stat status = {};
    if (stat(program.c_str(), &status) != 0)
        return {errno == ENOENT ? program + " is missing" : errno_text(program), ""};
    if (!S_ISREG(status.st_mode))
        return {program + " is no file", ""};
    if ((status.st_mode & 0111) != 0111)
        return {program + " is not executable for all: " + mode_and_owner(program), program};
    for (auto folder = std::filesystem::path(program).parent_path(); folder.has_relative_path();
         folder = folder.parent_path())
        if (stat(folder.c_str(), &status) == 0 && (status.st_mode & 0001) == 0)
            return {folder.string() + " cannot be entered by all: " + mode_and_owner(folder), folder};
    return {};
}

std::string node_obstacle(const char* path)
{
    const int error = node_error(path);
    if (error == 0)
        return "";
    if (error == ENOENT)
        return "missing";
    if (error == ENOTTY)
        return "not a device node";
    if (error == EACCES)
        return "not permitted: " + mode_and_owner(path) + ", you are " + who_you_are();
    return std::string("cannot be opened: ") + std::strerror(error);
}

// --- The log ---

namespace
{

// The writing function and the text of a daemon's line; neither for another's.
std::pair<std::string_view, std::string_view> parted(std::string_view line)
{
    constexpr std::size_t PREFIX_LENGTH = sizeof("MM/DD hh:mm:ss d[L] ") - 1;
    constexpr std::size_t NAME_LENGTH = 36;
    if (line.size() < PREFIX_LENGTH + NAME_LENGTH + 3 || line.substr(15, 2) != "d[" ||
        line.substr(PREFIX_LENGTH + NAME_LENGTH, 3) != " | ")
        return {};
    std::string_view name = line.substr(PREFIX_LENGTH, NAME_LENGTH);
    name.remove_prefix(std::min(name.find_first_not_of(' '), name.size()));
    return {name, line.substr(PREFIX_LENGTH + NAME_LENGTH + 3)};
}

} // namespace

// The daemon opens its log anew when it starts, behind each run of the agent or refusal to run it, and for a new
// configuration, which it dumps right after that.
known<log_history> read_log(const configuration& config)
try {
    if (config.record.DaemonLogLevel < VESK_LOG_INFO)
        return {{}, "DaemonLogLevel is " + std::to_string(config.record.DaemonLogLevel) + ": the log does not tell"};
    const std::string text = content_of(config.log_file);
    log_history history;
    int agent_ends = 0;
    bool is_opened = false;
    bool is_refused = false;
    for (std::size_t start = 0; start < text.size();) {
        const std::size_t end = std::min(text.find('\n', start), text.size());
        const auto [function, message] = parted(std::string_view(text).substr(start, end - start));
        start = end + 1;
        if (function.empty())
            continue;
        if (std::exchange(is_opened, false) && function == "dump_config")
            --agent_ends;
        if (function == "init_logging" && message.starts_with("success: ")) {
            is_opened = true;
            ++agent_ends;
            if (!std::exchange(is_refused, false))
                history.refusal.clear();
        } else if (function == "main" && message.starts_with("haldohostswd daemon version ")) {
            ++history.daemon_starts;
            --agent_ends;
        } else if (function == "daemonize" && message.starts_with("Unable to ")) {
            --agent_ends;
        } else if (function == "main" && (message.ends_with(" agent is not run") ||
                                          message.ends_with(" agent cannot run under root permissions"))) {
            is_refused = true;
            history.refusal = message;
            --agent_ends;
        }
    }
    history.agent_restarts = static_cast<unsigned int>(std::max(agent_ends, 0));
    return {history, ""};
} catch (const failure& failed) {
    return {{}, failed.message};
}

} // namespace haldoctl
