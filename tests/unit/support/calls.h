// What the tests of several parts announce: a log that is opened, the two nodes, a process that detaches itself.
#pragma once

#include "host.h"

#include <cerrno>
#include <functional>
#include <optional>
#include <string>
#include <vector>

// Runs a scenario at every level; of all the lines that it can write exactly those of the level must appear.
void expect_lines_by_level(const lines& all, const std::function<void(host&)>& scenario);

// --- The log ---

// A log that is to be opened, and what is found there.
struct announced_log {
    std::string dir = "/var/log/haldo";
    std::string name = "haldohostsw";
    std::optional<std::int64_t> size = {}; // of the file; nothing: there is none
    bool rotates = false;
    int status = 0; // of the commands
    int fd = 7;

    std::string file() const; // its path, of which the daemon has room for 399 characters
};

void expect_log_directory_made(host& h, const announced_log& log = {});
void expect_log_looked_at(host& h, const announced_log& log = {});
void expect_log_rotated(host& h, const announced_log& log = {});
void expect_log_opened(host& h, const announced_log& log = {});
void expect_log_not_opened(host& h, int error, const announced_log& log = {});

// --- The nodes ---

inline constexpr int HCC = 3;
inline constexpr int HDC = 4;

// An error: this node cannot be opened.
void expect_nodes_opened(host& h, int hcc_error = 0, int hdc_error = 0);
// In the opposite order.
void expect_nodes_closed(host& h, bool has_hdc = true, bool has_hcc = true);
// A link on them is constructed, with firmware that offers nothing.
void expect_link_constructed(host& h, int hdc_error = 0);

// The 252 bytes of a request for a variable.
bytes request_for(std::uint8_t id, const bytes& payload = {});
// The reply with this payload. Everything else is random: the id, too.
bytes reply_with(const bytes& payload);

// --- Detaching ---

struct announced {
    std::string call;
    long result = 0;
    int error = 0;
};
void expect_all(host& h, const std::vector<announced>& calls);

// The handlers are installed, and the process forks.
void expect_fork(host& h, int result, int error = 0);

inline const std::string OPEN_LOCK = "open /var/run/haldohostswd.pid O_RDWR|O_CREAT|O_CLOEXEC 0640";

// What the child does after the fork, with a log.
extern const std::vector<announced> child_calls;
