// The host that a unit test gives to the code under test: while an object of this class lives, the C library's calls
// that reach outside the process do nothing but follow the test's script, and standard output is captured. It is a
// fresh one: the log level, unless the test gives another, and the configuration table are as a process starts with.
//
// The test announces every call in order, each as one line of text, with what it returns. A call that is not the next
// one announced fails the test, with both lines; so does one that was announced and never made. These are the lines:
//
//     open /dev/haldo_host0 O_RDWR          open /var/run/haldohostswd.pid O_RDWR|O_CREAT|O_CLOEXEC 0640
//     close 7                               write 7 "123\n"
//     lockf 7 F_TLOCK 0                     dup2 7 1
//     freopen /dev/null r stdin             remove /tmp/haldohostsw.pid
//     stat /var/log/haldo/a.0.log           fopen /etc/haldohostswd.conf
//     system mkdir -p '/var/log/haldo'      popen who -u
//     fork                                  setsid
//     chdir /                               umask 0000
//     sleep 5                               alarm 2
//     pause                                 kill 4321 SIGUSR1
//     signal SIGCHLD SIG_IGN                signal SIGHUP daemon_handler (the same for every function)
//
// A call with other flags, modes or whences shows them; O_RDONLY and the mode "r" of popen and fopen are not shown. The
// results of fopen, popen, freopen and signal: 0 (the default) gives the stream, or the handler before; -1 the failure.
// time, getuid, getpid, getppid and sigprocmask answer from the members below without an announcement. fopen is
// replaced for the configuration file alone.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <ctime>
#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

using bytes = std::vector<std::uint8_t>;

// The bytes of a record.
template <typename Record> bytes bytes_of(const Record& record)
{
    const auto* first = reinterpret_cast<const std::uint8_t*>(&record);
    return {first, first + sizeof(record)};
}
// The record of these bytes.
template <typename Record> Record record_of(const bytes& content)
{
    Record record{};
    EXPECT_EQ(content.size(), sizeof(record));
    std::memcpy(&record, content.data(), std::min(content.size(), sizeof(record)));
    return record;
}
// n bytes that differ from run to run. A failed test prints the seed; HALDO_TEST_SEED sets it.
bytes random_bytes(std::size_t n);
template <typename Record> Record random_record()
{
    return record_of<Record>(random_bytes(sizeof(Record)));
}
// n bytes, all zero but the first ones.
bytes zero_filled(std::size_t n, bytes first = {});
bytes joined(bytes first, const bytes& second);

// Lines of the log, each "function L text".
using lines = std::vector<std::string>;
// Those of them that are written at a level.
lines at_level(int level, const lines& all);

// Where there is no host, the clock shows a later second from now on each time that it is read.
void let_time_fly();

class host
{
public:
    explicit host(std::int32_t log_level = 3);
    ~host(); // reports what was not as announced
    host(const host&) = delete;
    host& operator=(const host&) = delete;

    std::time_t now; // 2024-11-20 10:42:52, in UTC, which is the local time
    unsigned int uid = 0;
    int pid = 4321; // where a fork returns 0, it is the parent's, and the child has the next one
    int ppid = 1234;
    std::set<int> blocked; // signals
    std::string left_by;   // exit or _exit, once the process has ended

    // The next call, what it returns and the errno it leaves.
    void expect(std::string call, long result = 0, int error = 0);

    // The next call, during which this function runs: to look at what was done before it, or to change the world.
    void expect_meanwhile(std::string call, std::function<void()> function, long result = 0);

    // The next call, during which a signal arrives: its handler runs before the call returns.
    void expect_interrupted(std::string call, int signum);

    // The next call is an ioctl on the node that was opened as fd, with exactly this record (none: a null pointer).
    // On success the reply is written over it. A failing one writes random bytes over it, as a driver may.
    void expect_ioctl(int fd, std::uint32_t code, bytes record, std::optional<bytes> reply = {}, int result = 0);

    // The next call opens a pipe from a command, or the configuration file, that gives this text; closing it is part of
    // it and returns close_result.
    void expect_popen(const std::string& command, std::string output, int close_result = 0, int close_error = 0);
    void expect_config(std::string text);

    // The next call finds a file of this size.
    void expect_stat(const std::string& path, std::int64_t size);

    // From now on every ioctl is answered by this function and needs no announcement. It returns what ioctl returns,
    // with an error as -errno.
    using ioctl_server = std::function<int(int fd, std::uint32_t code, void* record)>;
    void serve_ioctl(ioctl_server server);

    // Runs a function that may end the process. Its exit status, or nothing when it returned. A function that may run
    // for ever belongs here too: it is left at the first call that was not announced.
    std::optional<int> exit_status_of(const std::function<void()>& function);

    // Runs the handler that the code under test installed for a signal.
    void raise(int signum);

    // The lines written since the last call, each "function L text": the line's format and its date are checked.
    lines log();
    // The same as it came.
    std::string raw_log();

    struct state; // for the replaced calls

private:
    std::unique_ptr<state> own;
};
