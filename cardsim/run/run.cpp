#include "run.h"

#include "../carried_card.h"
#include "supervisor.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <optional>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/prctl.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace
{

[[noreturn]] void fail(const std::string& what, int error = errno)
{
    throw std::system_error(error, std::generic_category(), what);
}

// The folder of a control socket that nobody named.
class private_folder
{
public:
    private_folder()
    {
        const char* const given = std::getenv("TMPDIR");
        std::string name = std::string(given != nullptr && *given != '\0' ? given : "/tmp") + "/haldo-cardsim.XXXXXX";
        if (name.size() > 80) // the socket's path has an end
            name = "/tmp/haldo-cardsim.XXXXXX";
        if (mkdtemp(name.data()) == nullptr)
            fail("a folder for the control socket, " + name);
        path = name;
    }
    ~private_folder()
    {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
    private_folder(const private_folder&) = delete;
    private_folder& operator=(const private_folder&) = delete;

    std::filesystem::path path;
};

// The signals that the program takes as descriptors, and what they were before.
class taken_signals
{
public:
    taken_signals()
    {
        sigset_t signals;
        sigemptyset(&signals);
        for (const int signal : {SIGCHLD, SIGTERM, SIGHUP, SIGINT, SIGQUIT})
            sigaddset(&signals, signal);
        sigprocmask(SIG_BLOCK, &signals, &m_mask);
        m_pipe = std::signal(SIGPIPE, SIG_IGN);
        m_child = std::signal(SIGCHLD, SIG_DFL); // where it is ignored the kernel tells nothing of children
        fd = signalfd(-1, &signals, SFD_CLOEXEC | SFD_NONBLOCK);
        if (fd < 0)
            fail("signalfd");
    }

    // In the command's process.
    void restore() const
    {
        std::signal(SIGPIPE, m_pipe);
        std::signal(SIGCHLD, m_child);
        sigprocmask(SIG_SETMASK, &m_mask, nullptr);
    }

    int fd;

private:
    sigset_t m_mask;
    void (*m_pipe)(int);
    void (*m_child)(int);
};

// --- The command's process ---

constexpr char known = '\x5A'; // the same in both processes

// What the command's process sends before it waits: its listener, or why it has none.
struct listener_message {
    int descriptor;
    int error;
};

// Becomes the command once the other side of the socket says so.
[[noreturn]] void become(const std::vector<std::string>& command, const taken_signals& signals, int socket,
                         pid_t parent)
{
    listener_message message{-1, 0};
    try {
        message.descriptor = stop_in_calls();
    } catch (const std::system_error& error) {
        message.error = error.code().value();
    }
    char byte;
    if (write(socket, &message, sizeof(message)) != sizeof(message) || message.error != 0 ||
        read(socket, &byte, 1) != 1)
        _exit(RUN_FAILED);
    signals.restore();
    prctl(PR_SET_PDEATHSIG, SIGKILL); // without its card every call that was taken would fail
    if (getppid() != parent)
        _exit(RUN_FAILED);
    std::vector<char*> arguments;
    for (const std::string& argument : command)
        arguments.push_back(const_cast<char*>(argument.c_str()));
    arguments.push_back(nullptr);
    execvp(arguments[0], arguments.data());
    const int error = errno;
    std::fprintf(stderr, "haldo-cardsim: %s: %s\n", arguments[0], std::strerror(error));
    _exit(error == ENOENT ? RUN_NOT_FOUND : RUN_NOT_EXECUTABLE);
}

int fetch_descriptor(pid_t process, int descriptor)
{
    const auto handle = static_cast<int>(syscall(SYS_pidfd_open, process, 0));
    const auto fetched = static_cast<int>(handle < 0 ? -1 : syscall(SYS_pidfd_getfd, handle, descriptor, 0));
    const int error = errno;
    close(handle);
    if (fetched < 0)
        fail("the command's descriptors cannot be had", error);
    return fetched;
}

int listener_of(pid_t process, int socket)
{
    listener_message message{-1, 0};
    if (read(socket, &message, sizeof(message)) != sizeof(message))
        throw std::runtime_error("the command's process has ended before it became the command");
    if (message.error != 0) {
        if (message.error == EBUSY)
            throw std::runtime_error("the program is run by one that takes system calls already, as haldo-cardsim run "
                                     "does: there can be one only");
        fail("the kernel does not let system calls be taken (seccomp)", message.error);
    }
    return fetch_descriptor(process, message.descriptor);
}

// --- The end ---

std::vector<pid_t> children()
{
    std::ifstream file("/proc/thread-self/children");
    return {std::istream_iterator<pid_t>(file), {}};
}

// Ends what the command has left behind: all children but those that were there before. Returns how many processes that
// were.
unsigned int end_what_is_left(const std::vector<pid_t>& before)
{
    unsigned int ended = 0;
    for (;;) {
        std::vector<pid_t> left = children();
        std::erase_if(left, [&](pid_t child) { return std::ranges::find(before, child) != before.end(); });
        if (left.empty())
            return ended;
        for (const pid_t child : left)
            kill(child, SIGKILL);
        for (const pid_t child : left) {
            int status;
            ended += waitpid(child, &status, 0) == child && WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
        }
    }
}

int exit_status_of(int status)
{
    return WIFSIGNALED(status) ? 128 + WTERMSIG(status) : WEXITSTATUS(status);
}

// Reaps what has ended. Returns the command's status once it is among that.
std::optional<int> reap(pid_t command)
{
    std::optional<int> ended;
    int status;
    for (pid_t process; (process = waitpid(-1, &status, WNOHANG)) > 0;)
        if (process == command)
            ended = exit_status_of(status);
    return ended;
}

// Serves until the command has ended. Returns its status.
int serve(carried_card& carried, supervisor& calls, const taken_signals& signals, pid_t command)
{
    for (;;) {
        std::vector<pollfd> waiting{
            {signals.fd, POLLIN, 0}, {calls.call_fd(), POLLIN, 0}, {calls.close_fd(), POLLIN, 0}};
        carried.control->wait_for(waiting);
        if (poll(waiting.data(), waiting.size(), calls.timeout_ms()) < 0 && errno != EINTR)
            fail("poll");
        if ((waiting[1].revents & POLLIN) != 0)
            calls.take_call();
        calls.take_closes();
        calls.send_due();
        carried.control->serve();
        for (signalfd_siginfo signal; read(signals.fd, &signal, sizeof(signal)) == sizeof(signal);) {
            // Those of the keyboard reach the command, too.
            if (signal.ssi_signo == SIGTERM || signal.ssi_signo == SIGHUP)
                kill(command, static_cast<int>(signal.ssi_signo));
            if (const auto status = reap(command))
                return *status;
        }
    }
}

int run(const options& given)
{
    std::optional<private_folder> folder;
    if (given.control.empty())
        folder.emplace();
    const std::filesystem::path control = folder ? folder->path / "control" : std::filesystem::path(given.control);
    carried_card carried(given, control);
    setenv(CONTROL_VARIABLE, std::filesystem::absolute(control).c_str(), 1);

    const taken_signals signals;
    // What the command leaves behind stays among this program's own, whose memory it may read.
    prctl(PR_SET_CHILD_SUBREAPER, 1);
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0)
        fail("socketpair");
    const pid_t parent = getpid();
    const std::vector<pid_t> before = children(); // of what was executed here before
    const pid_t command = fork();
    if (command < 0)
        fail("fork");
    if (command == 0) {
        close(sockets[0]);
        become(given.command, signals, sockets[1], parent);
    }
    close(sockets[1]);
    std::optional<supervisor> calls;
    try {
        calls.emplace(carried.card, listener_of(command, sockets[0]));
        calls->require_means(command, known);
    } catch (...) {
        kill(command, SIGKILL);
        waitpid(command, nullptr, 0);
        throw;
    }
    if (write(sockets[0], "", 1) != 1)
        fail("the command's process");
    close(sockets[0]);

    const int status = serve(carried, *calls, signals, command);
    if (const unsigned int ended = end_what_is_left(before); ended != 0)
        std::fprintf(stderr, "haldo-cardsim: ended %u %s that the command left behind\n", ended,
                     ended == 1 ? "process" : "processes");
    calls->take_closes();
    return status;
}

} // namespace

int run_command(const options& given)
{
    try {
        return run(given);
    } catch (const std::exception& error) {
        std::fprintf(stderr, "haldo-cardsim: %s\n", error.what());
        return RUN_FAILED;
    }
}
