// doctor: what keeps an installation from working, and what helps.
#include "commands.h"
#include "config_check.h"
#include "daemon_paths.h"
#include "daemon_state.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <sys/stat.h>
#include <unistd.h>

namespace haldoctl
{

namespace
{

struct finding {
    std::string issue;
    std::string remedy;
};
using findings = std::vector<finding>;

void look_at_nodes(findings& all)
{
    for (const char* path : {VESK_NODE_PATH_HCC, VESK_NODE_PATH_HDC}) {
        const int error = node_error(path);
        if (error == 0)
            continue;
        all.push_back({std::string(path) + ": " + node_obstacle(path),
                       error == EACCES
                           ? std::string("Run haldoctl as root, or open the node to a group of yours: chgrp "
                                         "GROUP ") +
                                 path + "; chmod 660 " + path
                           : "Load the driver of the card; without a card start haldo-cardsim"});
    }
}

void look_at_configuration(findings& all)
{
    if (access(CONFIG_FILE, F_OK) != 0)
        return; // the defaults
    try {
        for (const config_finding& one : check_config(content_of(CONFIG_FILE), false))
            if (one.is_error || one.is_unknown_key)
                all.push_back({std::string(CONFIG_FILE) + ":" + std::to_string(one.line) + ": " +
                                   (one.key.empty() ? "" : one.key + ": ") + one.problem,
                               !one.nearest.empty()   ? "Write " + one.nearest
                               : !one.allowed.empty() ? "Allowed: " + one.allowed
                                                      : "Remove the line"});
    } catch (const failure& failed) {
        all.push_back({failed.message, access(CONFIG_FILE, R_OK) == 0
                                           ? "Put a configuration file in its place"
                                           : "Run haldoctl as root, or chmod 644 " + std::string(CONFIG_FILE)});
    }
    struct stat status = {};
    if (stat(CONFIG_FILE, &status) == 0 && (status.st_uid != 0 || (status.st_mode & 0022) != 0))
        all.push_back({std::string(CONFIG_FILE) + " can be changed by others than root, who runs what it names: " +
                           mode_and_owner(CONFIG_FILE),
                       std::string("chown root ") + CONFIG_FILE + "; chmod 644 " + CONFIG_FILE});
}

void look_at_programs(findings& all, const configuration& config)
{
    for (const char* name : {LAUNCHER, AGENT, XAUTHORITY_LOOKUP}) {
        const std::string program = config.path + "/" + name;
        const auto [why, closed] = obstacle(program);
        if (why.empty())
            continue;
        if (!closed.empty())
            all.push_back({why, "chmod 755 " + closed});
        else
            all.push_back({why, "Install it there, or let HostSWPath in " + std::string(CONFIG_FILE) +
                                    " name the directory that it is in"});
    }
}

// The daemon creates the directory; root's permissions are not the caller's.
void look_at_log(findings& all, const configuration& config)
{
    std::filesystem::path there = "/" + config.log_directory;
    while (access(there.c_str(), F_OK) != 0 && (errno == ENOENT || errno == ENOTDIR) && there.has_relative_path())
        there = there.parent_path();
    struct stat status = {};
    std::string why;
    if (stat(there.c_str(), &status) == 0 && !S_ISDIR(status.st_mode))
        why = "Not a directory";
    else if (access(there.c_str(), W_OK) != 0 && (errno != EACCES || geteuid() == 0))
        why = std::strerror(errno);
    else if (stat(config.log_file.c_str(), &status) == 0 && !S_ISREG(status.st_mode))
        all.push_back({"the log " + config.log_file + " is no file", "Take away what has its name"});
    if (!why.empty())
        all.push_back({"the log directory " + config.log_directory +
                           " cannot be written: " + there.lexically_normal().string() + ": " + why,
                       "Let LogDirLocation in " + std::string(CONFIG_FILE) + " name a directory that can be written"});
}

void look_at_daemon(findings& all, const known<configuration>& config)
{
    const known<process> holder = lock_holder();
    if (holder.value && holder.value->id != 0 && holder.value->name != DAEMON) {
        all.push_back({std::string(LOCK_FILE) + " is locked by process " + std::to_string(holder.value->id) + " (" +
                           holder.value->name + "), which is no daemon: none can start",
                       "End that process: kill " + std::to_string(holder.value->id)});
    }
    if (config.value && config.value->record.DaemonEnable == 0)
        all.push_back({"the daemon is disabled: DaemonEnable is 0",
                       "Set DaemonEnable=1 in " + std::string(CONFIG_FILE) + ", and start the daemon"});
    const known<process> daemon = running_daemon();
    if (!daemon.value)
        all.push_back(
            {daemon.why.empty() ? "the daemon does not run" : "whether the daemon runs is unknown: " + daemon.why,
             daemon.why.empty() ? "As root: systemctl start haldohostswd, or haldohostswd" : "Run haldoctl as root"});
}

void look_at_user(findings& all, const known<configuration>& config)
{
    const known<local_user> user = user_on_display();
    if (!user.value) {
        all.push_back({user.why, "Install who, which is part of coreutils"});
        return;
    }
    if (user.value->name.empty()) {
        if (!has_login_records())
            all.push_back(
                {"/run/utmp is missing, so that \"who -u\" names nobody: the agent only serves the login screen",
                 "Create it at boot (tmpfiles.d: f /run/utmp 0664 root utmp -), and use a login manager that "
                 "records sessions there"});
        return;
    }
    if (!config.value)
        return;
    if (user.value->name == "root" && config.value->record.DaemonRootHaldoAgent == 0)
        all.push_back({"root is logged in on the display, and DaemonRootHaldoAgent is 0: no agent runs",
                       "Log in as another user, or set DaemonRootHaldoAgent=1 in " + std::string(CONFIG_FILE)});
    else if (const known<log_history> log = read_log(*config.value); log.value && !log.value->refusal.empty())
        all.push_back(
            {"the daemon logged: " + log.value->refusal, "haldohostswd(8) says under DIAGNOSTICS what it refuses"});
    if (const known<std::string> path = x_authority(*config.value); path.value && path.value->empty())
        all.push_back(
            {config.value->path + "/" + XAUTHORITY_LOOKUP + " prints no XAUTHORITY=PATH for " + user.value->name,
             "Run it as root and look at what it prints; the agent cannot open the display without"});
}

json doctor(invocation& given)
{
    findings all;
    const known<configuration> config = read_configuration();
    look_at_nodes(all);
    look_at_configuration(all);
    if (config.value) {
        look_at_programs(all, *config.value);
        look_at_log(all, *config.value);
    }
    look_at_daemon(all, config);
    look_at_user(all, config);
    if (geteuid() != 0)
        all.push_back({"you are " + who_you_are() +
                           ": the lock, the X authority and what others may not read are not "
                           "looked at",
                       "Run haldoctl doctor as root"});

    json pairs = json::array();
    std::string text;
    for (const auto& [issue, remedy] : all) {
        pairs.push_back({{"issue", issue}, {"remedy", remedy}});
        text += paint(colour::RED, "issue") + "   " + harmless(issue) + "\n" + paint(colour::GREEN, "remedy") + "  " +
                harmless(remedy) + "\n";
    }
    given.text = text.empty() ? "nothing stands in the way\n" : text;
    given.status = all.empty() ? DONE : REFUSED;
    return {{"findings", pairs}};
}

} // namespace

void add_doctor(command_line& line)
{
    line.add(line.root(), "doctor", "Find what keeps an installation from working, and say what helps", doctor);
}

} // namespace haldoctl
