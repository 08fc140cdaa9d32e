#include "calls.h"

#include "vesk_log.h"

#include <algorithm>
#include <gtest/gtest.h>

void expect_lines_by_level(const lines& all, const std::function<void(host&)>& scenario)
{
    for (int level = VESK_LOG_OFF; level <= VESK_LOG_DEBUG; ++level) {
        host h;
        m_log_level = level;
        scenario(h);
        EXPECT_EQ(h.log(), at_level(level, all)) << "at level " << level;
    }
}

// --- The log ---

static std::string generation_of(const announced_log& log, int generation)
{
    return "/" + log.dir + "/" + log.name + "." + std::to_string(generation) + ".log";
}

std::string announced_log::file() const
{
    return generation_of(*this, 0).substr(0, 399);
}

void expect_log_directory_made(host& h, const announced_log& log)
{
    h.expect("system mkdir -p '/" + log.dir + "'", log.status);
}

void expect_log_looked_at(host& h, const announced_log& log)
{
    if (log.size)
        h.expect_stat(log.file(), *log.size);
    else
        h.expect("stat " + log.file(), -1, ENOENT);
}

void expect_log_rotated(host& h, const announced_log& log)
{
    for (int i = 4; i >= 1; --i)
        h.expect("system mv " + generation_of(log, i - 1) + " " + generation_of(log, i), log.status);
}

static void expect_log_prepared(host& h, const announced_log& log, int result, int error)
{
    expect_log_directory_made(h, log);
    expect_log_looked_at(h, log);
    if (log.rotates)
        expect_log_rotated(h, log);
    h.expect("open " + log.file() + " O_WRONLY|O_CREAT|O_APPEND 0666", result, error);
}

void expect_log_opened(host& h, const announced_log& log)
{
    const std::string fd = std::to_string(log.fd);
    expect_log_prepared(h, log, log.fd, 0);
    h.expect("dup2 " + fd + " 1", 1);
    h.expect("dup2 " + fd + " 2", 2);
    if (log.fd != 1 && log.fd != 2)
        h.expect("close " + fd);
    h.expect("system chmod -R 777 '/" + log.dir + "'", log.status);
}

void expect_log_not_opened(host& h, int error, const announced_log& log)
{
    expect_log_prepared(h, log, -1, error);
}

// --- The nodes ---

void expect_nodes_opened(host& h, int hcc_error, int hdc_error)
{
    h.expect("open /dev/haldo_host0 O_RDWR", hcc_error == 0 ? HCC : -1, hcc_error);
    h.expect("open /dev/haldo_host1 O_RDWR", hdc_error == 0 ? HDC : -1, hdc_error);
}

void expect_nodes_closed(host& h, bool has_hdc, bool has_hcc)
{
    if (has_hdc)
        h.expect("close 4");
    if (has_hcc)
        h.expect("close 3");
}

void expect_link_constructed(host& h, int hdc_error)
{
    expect_nodes_opened(h, 0, hdc_error);
    h.expect_ioctl(HCC, 0x7801, zero_filled(32), zero_filled(32));
}

bytes request_for(std::uint8_t id, const bytes& payload)
{
    return zero_filled(252, joined({id, 0, 0, 0}, payload));
}

bytes reply_with(const bytes& payload)
{
    bytes reply = random_bytes(252);
    std::ranges::copy(payload, reply.begin() + 4);
    return reply;
}

// --- Detaching ---

void expect_all(host& h, const std::vector<announced>& calls)
{
    for (const announced& c : calls)
        h.expect(c.call, c.result, c.error);
}

void expect_fork(host& h, int result, int error)
{
    for (const std::string signal : {"SIGCHLD", "SIGUSR1", "SIGALRM", "SIGTERM", "SIGHUP"})
        h.expect("signal " + signal + " daemon_handler");
    h.expect("fork", result, error);
}

const std::vector<announced> child_calls = {
    {OPEN_LOCK, 9},
    {"lockf 9 F_TLOCK 0"},
    {"write 9 \"4322\\n\"", 5},
    {"signal SIGCHLD SIG_DFL"},
    {"signal SIGTSTP SIG_IGN"},
    {"signal SIGTTOU SIG_IGN"},
    {"signal SIGTTIN SIG_IGN"},
    {"signal SIGHUP SIG_IGN"},
    {"signal SIGTERM SIG_DFL"},
    {"umask 0000", 022},
    {"setsid", 4322},
    {"chdir /"},
    {"open /dev/null O_RDONLY", 10},
    {"dup2 10 0"},
    {"close 10"},
    {"kill 4321 SIGUSR1"},
};
