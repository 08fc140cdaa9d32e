// Runs a command and takes chosen system calls of one program among its processes. The program stops in such a call
// until the warden has written it into a journal and answered it: a test sees every sleep without waiting for it, lets
// a call fail, or holds the program at a call. The warden lives on beside the command, until the last process that
// could make such a call is gone; the caller sees the command alone, with its process id and its status.

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <getopt.h>
#include <map>
#include <poll.h>
#include <sched.h>
#include <seccomp.h>
#include <string>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace
{

constexpr char usage[] =
    "usage: guest-warden --journal FILE [OPTION...] -- COMMAND [ARG...]\n"
    "\n"
    "  --program NAME                    the program whose calls are taken (default: haldohostswd)\n"
    "  --gate FIFO                       a sleep ends when a byte comes from FIFO, not at once\n"
    "  --fail CALL[:PATH]=ERRNO[:N]      CALL fails, every time or the Nth time only; PATH belongs to openat\n"
    "  --skip CALL                       CALL is not done and returns 0\n"
    "  --hold CALL=FIFO                  CALL is done when a byte comes from FIFO\n"
    "\n"
    "CALL is a system call's name, or fork. The journal gets a line for each: \"sleep SECONDS\", \"fail CALL ERRNO\",\n"
    "\"skip CALL FIRST_ARGUMENT\", \"hold CALL\", and \"exit STATUS\" for every process of the program but COMMAND's "
    "own.\n";

enum class verb {
    sleep,
    exit,
    fail,
    skip,
    hold,
};

struct rule {
    verb action;
    std::string call;      // as the journal names it
    int number;            // of the system call
    std::string path;      // the only path it applies to, or empty
    int error = 0;         // what a failing call is answered with
    unsigned long nth = 0; // the only time it applies, or 0
    unsigned long met = 0;
    int gate = -1; // descriptor of the FIFO, or -1
};

struct warden {
    std::string program = "haldohostswd";
    int journal = -1;
    int listener = -1;
    pid_t command = 0;
    std::vector<rule> rules;
    std::map<int, std::deque<seccomp_notif_resp>> held; // the answers that wait for a byte, by gate
};

[[noreturn, gnu::format(printf, 1, 2)]] void die(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    std::fputs("guest-warden: ", stderr);
    std::vfprintf(stderr, format, arguments);
    std::fputs("\n", stderr);
    std::exit(2);
}

// The command line

int open_gate(const char* path)
{
    // Opened for writing as well, a FIFO never reports its end.
    const int gate = open(path, O_RDWR | O_NONBLOCK | O_CLOEXEC);
    if (gate < 0)
        die("%s: %s", path, std::strerror(errno));
    return gate;
}

int error_number(const std::string& name)
{
    for (int number = 1; number < 200; ++number) {
        const char* known = strerrorname_np(number);
        if (known != nullptr && name == known)
            return number;
    }
    die("%s is no error", name.c_str());
}

// Takes the text up to the separator away from the front of the argument; nothing is left when there is none.
std::string cut(std::string& text, char separator)
{
    const std::size_t end = text.find(separator);
    std::string front = text.substr(0, end);
    text.erase(0, end == std::string::npos ? end : end + 1);
    return front;
}

rule make_rule(verb action, std::string text)
{
    std::string value;
    if (action != verb::skip) {
        const std::size_t sign = text.rfind('=');
        if (sign == std::string::npos)
            die("%s: a value is missing", text.c_str());
        value = text.substr(sign + 1);
        text.erase(sign);
    }
    rule made{.action = action, .call = text, .number = -1, .path = {}};
    const std::string name = cut(text, ':');
    made.path = text;
    made.number = name == "fork" ? SCMP_SYS(clone) : seccomp_syscall_resolve_name(name.c_str());
    if (made.number < 0)
        die("%s is no system call", name.c_str());
    if (!made.path.empty() && made.number != SCMP_SYS(openat))
        die("%s takes no path, openat does", name.c_str());
    if (action == verb::hold)
        made.gate = open_gate(value.c_str());
    if (action == verb::fail) {
        made.error = error_number(cut(value, ':'));
        made.nth = std::strtoul(value.c_str(), nullptr, 10);
    }
    return made;
}

warden read_arguments(int argc, char** argv)
{
    static constexpr option options[] = {
        {"journal", required_argument, nullptr, 'j'},
        {"program", required_argument, nullptr, 'p'},
        {"gate", required_argument, nullptr, 'g'},
        {"fail", required_argument, nullptr, 'f'},
        {"skip", required_argument, nullptr, 's'},
        {"hold", required_argument, nullptr, 'h'},
        {nullptr, 0, nullptr, 0},
    };
    warden made;
    int sleep_gate = -1;
    for (int option; (option = getopt_long(argc, argv, "+", options, nullptr)) != -1;) {
        switch (option) {
        case 'j':
            made.journal = open(optarg, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0666);
            if (made.journal < 0)
                die("%s: %s", optarg, std::strerror(errno));
            break;
        case 'p':
            made.program = optarg;
            break;
        case 'g':
            sleep_gate = open_gate(optarg);
            break;
        case 'f':
            made.rules.push_back(make_rule(verb::fail, optarg));
            break;
        case 's':
            made.rules.push_back(make_rule(verb::skip, optarg));
            break;
        case 'h':
            made.rules.push_back(make_rule(verb::hold, optarg));
            break;
        default:
            std::fputs(usage, stderr);
            std::exit(2);
        }
    }
    if (made.journal < 0 || optind == argc) {
        std::fputs(usage, stderr);
        std::exit(2);
    }
    // The first rule that fits a call is the one, so these stand last.
    for (const int number : {SCMP_SYS(clock_nanosleep), SCMP_SYS(nanosleep)})
        made.rules.push_back(
            {.action = verb::sleep, .call = "sleep", .number = number, .path = {}, .gate = sleep_gate});
    made.rules.push_back({.action = verb::exit, .call = "exit", .number = SCMP_SYS(exit_group), .path = {}});
    return made;
}

// One call

bool still_waits(const warden& self, std::uint64_t id)
{
    return seccomp_notify_id_valid(self.listener, id) == 0;
}

// A caller that is gone meanwhile needs no answer.
void answer(const warden& self, seccomp_notif_resp reply)
{
    if (seccomp_notify_respond(self.listener, &reply) != 0 && still_waits(self, reply.id))
        std::abort();
}

std::string program_of(pid_t process)
{
    char name[32] = "";
    const int file = open(("/proc/" + std::to_string(process) + "/comm").c_str(), O_RDONLY | O_CLOEXEC);
    if (file < 0)
        return {};
    const ssize_t length = read(file, name, sizeof name);
    close(file);
    return length > 0 ? std::string(name, static_cast<std::size_t>(length) - 1) : std::string(); // without line end
}

// What of the caller's memory can be read, at most the asked size.
std::size_t read_memory(const seccomp_notif& call, std::uint64_t address, void* to, std::size_t size)
{
    const iovec here{.iov_base = to, .iov_len = size};
    const iovec there{.iov_base = reinterpret_cast<void*>(address), .iov_len = size};
    const ssize_t length = process_vm_readv(static_cast<pid_t>(call.pid), &here, 1, &there, 1, 0);
    return length < 0 ? 0 : static_cast<std::size_t>(length);
}

std::string seconds_of_sleep(const seccomp_notif& call)
{
    timespec time{};
    read_memory(call, call.data.args[call.data.nr == SCMP_SYS(clock_nanosleep) ? 2 : 0], &time, sizeof time);
    char text[64];
    std::snprintf(text, sizeof text, time.tv_nsec == 0 ? "%jd" : "%jd.%09ld", static_cast<std::intmax_t>(time.tv_sec),
                  time.tv_nsec);
    return text;
}

bool fits(const warden& self, rule& one, const seccomp_notif& call)
{
    if (one.number != call.data.nr)
        return false;
    if (one.action == verb::exit && static_cast<pid_t>(call.pid) == self.command)
        return false;
    if (one.number == SCMP_SYS(clone)) {
        // fork leaves the child's id in the child; the C library starts a shell by other flags.
        const std::uint64_t flags = call.data.args[0];
        if (one.call == "fork" && ((flags & CLONE_VFORK) != 0 || (flags & CLONE_CHILD_SETTID) == 0))
            return false;
    }
    if (!one.path.empty()) {
        std::string path(one.path.size() + 1, '?'); // with its terminator
        if (read_memory(call, call.data.args[1], path.data(), path.size()) != path.size() || path.c_str() != one.path)
            return false;
    }
    ++one.met;
    return one.nth == 0 || one.met == one.nth;
}

std::string journal_line(const rule& one, const seccomp_notif& call)
{
    switch (one.action) {
    case verb::sleep:
        return "sleep " + seconds_of_sleep(call) + "\n";
    case verb::exit:
        return "exit " + std::to_string(call.data.args[0] & 0xff) + "\n";
    case verb::fail:
        return "fail " + one.call + " " + strerrorname_np(one.error) + "\n";
    case verb::skip:
        return "skip " + one.call + " " + std::to_string(call.data.args[0]) + "\n";
    case verb::hold:
        return "hold " + one.call + "\n";
    }
    return {};
}

void take(warden& self, const seccomp_notif& call)
{
    seccomp_notif_resp reply{};
    reply.id = call.id;
    reply.flags = SECCOMP_USER_NOTIF_FLAG_CONTINUE;
    if (program_of(static_cast<pid_t>(call.pid)) != self.program)
        return answer(self, reply);
    for (rule& one : self.rules) {
        if (!fits(self, one, call))
            continue;
        const std::string line = journal_line(one, call);
        // What was read is the caller's own only if the caller still lives.
        if (!still_waits(self, call.id))
            return;
        if (one.action != verb::hold && one.action != verb::exit)
            reply.flags = 0;
        reply.error = -one.error;
        if (write(self.journal, line.data(), line.size()) < 0)
            std::abort();
        if (one.gate >= 0) {
            self.held[one.gate].push_back(reply);
            return;
        }
        break;
    }
    answer(self, reply);
}

// A byte releases the oldest call of its gate that somebody still waits for.
void open_once(warden& self, int gate)
{
    std::deque<seccomp_notif_resp>& replies = self.held[gate];
    while (!replies.empty() && !still_waits(self, replies.front().id))
        replies.pop_front();
    char byte;
    if (!replies.empty() && read(gate, &byte, 1) == 1) {
        answer(self, replies.front());
        replies.pop_front();
    }
}

void serve(warden& self)
{
    seccomp_notif* call;
    seccomp_notif_resp* reply;
    if (seccomp_notify_alloc(&call, &reply) != 0)
        std::abort();
    for (;;) {
        std::vector<pollfd> waiting{{.fd = self.listener, .events = POLLIN, .revents = 0}};
        for (const auto& [gate, replies] : self.held)
            if (!replies.empty())
                waiting.push_back({.fd = gate, .events = POLLIN, .revents = 0});
        if (poll(waiting.data(), waiting.size(), -1) < 0)
            continue;
        if ((waiting[0].revents & POLLIN) != 0) {
            std::memset(call, 0, sizeof *call);
            if (seccomp_notify_receive(self.listener, call) == 0)
                take(self, *call);
        } else if ((waiting[0].revents & POLLHUP) != 0) {
            return;
        }
        for (std::size_t i = 1; i < waiting.size(); ++i)
            if ((waiting[i].revents & POLLIN) != 0)
                open_once(self, waiting[i].fd);
    }
}

// The two processes

union descriptor_message {
    char buffer[CMSG_SPACE(sizeof(int))];
    cmsghdr aligned;
};

void send_descriptor(int socket, int descriptor)
{
    char byte = 0;
    iovec data{.iov_base = &byte, .iov_len = 1};
    descriptor_message control{};
    msghdr message{};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = &control;
    message.msg_controllen = sizeof control;
    cmsghdr* header = CMSG_FIRSTHDR(&message);
    header->cmsg_level = SOL_SOCKET;
    header->cmsg_type = SCM_RIGHTS;
    header->cmsg_len = CMSG_LEN(sizeof descriptor);
    std::memcpy(CMSG_DATA(header), &descriptor, sizeof descriptor);
    if (sendmsg(socket, &message, 0) != 1)
        die("sendmsg: %s", std::strerror(errno));
}

// The descriptor, or -1 when the sender ended without sending it.
int receive_descriptor(int socket)
{
    char byte = 0;
    iovec data{.iov_base = &byte, .iov_len = 1};
    descriptor_message control{};
    msghdr message{};
    message.msg_iov = &data;
    message.msg_iovlen = 1;
    message.msg_control = &control;
    message.msg_controllen = sizeof control;
    int descriptor = -1;
    if (recvmsg(socket, &message, MSG_CMSG_CLOEXEC) == 1 && CMSG_FIRSTHDR(&message) != nullptr)
        std::memcpy(&descriptor, CMSG_DATA(CMSG_FIRSTHDR(&message)), sizeof descriptor);
    return descriptor;
}

void install_filter(const warden& self, int socket)
{
    scmp_filter_ctx filter = seccomp_init(SCMP_ACT_ALLOW);
    // Without "no new privileges", so that su keeps its rights; it takes CAP_SYS_ADMIN.
    if (filter == nullptr || seccomp_attr_set(filter, SCMP_FLTATR_CTL_NNP, 0) != 0)
        die("no filter can be made");
    for (const rule& one : self.rules) {
        const int result = seccomp_rule_add(filter, SCMP_ACT_NOTIFY, one.number, 0);
        if (result != 0 && result != -EEXIST)
            die("%s cannot be taken: %s", one.call.c_str(), std::strerror(-result));
    }
    const int result = seccomp_load(filter);
    if (result != 0)
        die("the filter is refused: %s", std::strerror(-result));
    send_descriptor(socket, seccomp_notify_fd(filter));
}

} // namespace

int main(int argc, char** argv)
{
    warden self = read_arguments(argc, argv);
    self.command = getpid();
    int sockets[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, sockets) != 0)
        die("socketpair: %s", std::strerror(errno));
    // The serving process is no child of the command, which may wait for its children.
    const pid_t middle = fork();
    if (middle < 0)
        die("fork: %s", std::strerror(errno));
    if (middle == 0) {
        if (fork() != 0)
            _exit(0);
        close(sockets[0]);
        setsid();
        const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
        for (int standard = 0; standard <= 2; ++standard)
            dup2(nothing, standard);
        self.listener = receive_descriptor(sockets[1]);
        if (self.listener >= 0)
            serve(self);
        _exit(0);
    }
    waitpid(middle, nullptr, 0);
    install_filter(self, sockets[0]);
    execvp(argv[optind], argv + optind);
    die("%s: %s", argv[optind], std::strerror(errno));
}
