#include "host.h"

#include "config.h"
#include "exit_lock.h"
#include "vesk_log.h"

#include <algorithm>
#include <cerrno>
#include <csetjmp>
#include <csignal>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <fcntl.h>
#include <gtest/gtest.h>
#include <map>
#include <random>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

static constexpr const char* CONFIG_PATH = "/etc/haldohostswd.conf";
static constexpr std::time_t NOVEMBER_20 = 1732099372;
static constexpr int FAILURES_ENDURED = 100; // calls after the first that was not announced

using handler = void (*)(int);

struct step {
    std::string call;
    long result = 0;
    int error = 0;
    std::function<void()> meanwhile = {};
    std::size_t record_size = 0;
    std::optional<bytes> reply = {};
    std::string output = {}; // of a pipe or a file
    int close_result = 0;
    int close_error = 0;
};

struct host::state {
    host* self = nullptr;
    std::deque<step> script;
    std::string problems;
    int unannounced = 0;
    ioctl_server server;
    std::map<int, handler> handlers;
    struct stream {
        step opened;
        bool is_pipe;
    };
    std::map<std::FILE*, stream> streams; // not closed yet
    std::deque<std::string> files;

    std::jmp_buf way_back{};
    bool can_leave = false;
    std::optional<int> exit_status;

    std::string captured;
    std::FILE* other_stdout = nullptr; // the one that is not in use
    std::int32_t log_level_before = 0;

    std::string raw_log();
    std::string log_line(const std::string& raw);
    [[noreturn]] void leave();
    step next(const std::string& line);
    long made(const step& announced);
    long call(const std::string& line);
    std::FILE* open_stream(const std::string& line, bool is_pipe);
    void require_exit_lock(const std::string& call);
};

static host::state* current = nullptr;

static ssize_t append(void* captured, const char* text, std::size_t length)
{
    static_cast<std::string*>(captured)->append(text, length);
    return static_cast<ssize_t>(length);
}

// --- Text and bytes ---

__attribute__((format(printf, 1, 2))) static std::string text(const char* format, ...)
{
    std::va_list arguments;
    va_start(arguments, format);
    char* formatted = nullptr;
    const int length = vasprintf(&formatted, format, arguments);
    va_end(arguments);
    std::string result(formatted, static_cast<std::size_t>(length));
    std::free(formatted);
    return result;
}

struct value_name {
    int value;
    const char* name;
};

static std::string open_line(const char* path, int flags, unsigned int mode)
{
    static constexpr value_name names[] = {
        {O_CREAT, "O_CREAT"},   {O_EXCL, "O_EXCL"},         {O_NOCTTY, "O_NOCTTY"}, {O_TRUNC, "O_TRUNC"},
        {O_APPEND, "O_APPEND"}, {O_NONBLOCK, "O_NONBLOCK"}, {O_SYNC, "O_SYNC"},     {O_CLOEXEC, "O_CLOEXEC"},
    };
    static constexpr const char* access[] = {"O_RDONLY", "O_WRONLY", "O_RDWR", "O_ACCMODE"};
    std::string line = text("open %s %s", path, access[flags & O_ACCMODE]);
    int rest = flags & ~O_ACCMODE;
    for (const value_name& flag : names) {
        if ((rest & flag.value) == flag.value) {
            line += text("|%s", flag.name);
            rest &= ~flag.value;
        }
    }
    if (rest != 0)
        line += text("|0x%x", static_cast<unsigned int>(rest));
    if ((flags & O_CREAT) != 0)
        line += text(" %04o", mode);
    return line;
}

static std::string signal_name(int signum)
{
    const char* name = sigabbrev_np(signum);
    return name != nullptr ? text("SIG%s", name) : text("signal %d", signum);
}

static const char* handler_name(handler function)
{
    return function == SIG_IGN ? "SIG_IGN" : function == SIG_DFL ? "SIG_DFL" : "daemon_handler";
}

static std::string lockf_command(int command)
{
    static constexpr value_name names[] = {
        {F_ULOCK, "F_ULOCK"}, {F_LOCK, "F_LOCK"}, {F_TLOCK, "F_TLOCK"}, {F_TEST, "F_TEST"}};
    const auto* found = std::ranges::find(names, command, &value_name::value);
    return found != std::end(names) ? found->name : text("%d", command);
}

static std::string stream_name(const std::FILE* stream)
{
    return stream == stdin ? "stdin" : stream == stdout ? "stdout" : stream == stderr ? "stderr" : "other";
}

static std::string quoted(const void* data, std::size_t size)
{
    std::string result = "\"";
    for (const char c : std::string(static_cast<const char*>(data), size))
        result += c == '\n' ? "\\n" : c >= ' ' && c <= '~' ? std::string(1, c) : text("\\x%02X", c & 0xFF);
    return result + "\"";
}

// Every byte of the record; zero bytes at its end are counted.
static std::string ioctl_line(int fd, unsigned long code, const bytes& record)
{
    const auto tail = std::find_if(record.rbegin(), record.rend(), [](std::uint8_t byte) { return byte != 0; });
    std::string line = text("ioctl %d 0x%04lX", fd, code);
    for (auto byte = record.begin(); byte != tail.base(); ++byte)
        line += text(" %02X", *byte);
    if (tail != record.rbegin())
        line += text(" (+%td zero)", tail - record.rbegin());
    return line;
}

bytes zero_filled(std::size_t n, bytes first)
{
    first.resize(n);
    return first;
}

bytes joined(bytes first, const bytes& second)
{
    first.insert(first.end(), second.begin(), second.end());
    return first;
}

lines at_level(int level, const lines& all)
{
    lines written;
    std::ranges::copy_if(all, std::back_inserter(written), [level](const std::string& line) {
        const char letter = line.at(line.find(' ') + 1);
        return std::string("CEID").find(letter) < static_cast<std::size_t>(level);
    });
    return written;
}

// --- What a failed test shows ---

static unsigned int seed()
{
    static const unsigned int value = [] {
        const char* given = std::getenv("HALDO_TEST_SEED");
        return given != nullptr ? static_cast<unsigned int>(std::strtoul(given, nullptr, 10)) : std::random_device()();
    }();
    return value;
}

static std::mt19937& generator()
{
    static std::mt19937 value(seed());
    return value;
}

bytes random_bytes(std::size_t n)
{
    bytes result(n);
    for (std::uint8_t& byte : result)
        byte = static_cast<std::uint8_t>(generator()());
    return result;
}

// The printer's messages go to the test's own standard output, not into the captured one.
class output_switch : public testing::EmptyTestEventListener
{
    void OnTestPartResult(const testing::TestPartResult&) override
    {
        if (current != nullptr)
            std::swap(stdout, current->other_stdout);
    }
};

class seed_printer : public testing::EmptyTestEventListener
{
    void OnTestStart(const testing::TestInfo&) override { generator().seed(seed()); }
    void OnTestEnd(const testing::TestInfo& test) override
    {
        if (test.result()->Failed())
            std::printf("HALDO_TEST_SEED=%u\n", seed());
    }
};

// Once the printer has been chosen, and before the first test.
class listeners : public testing::Environment
{
    void SetUp() override
    {
        testing::TestEventListeners& all = testing::UnitTest::GetInstance()->listeners();
        testing::TestEventListener* printer = all.Release(all.default_result_printer());
        all.Append(new output_switch);
        all.Append(printer);
        all.Append(new output_switch);
        all.Append(new seed_printer);
    }
};
[[maybe_unused]] static const testing::Environment* const listening = testing::AddGlobalTestEnvironment(new listeners);

// --- The host ---

host::host(std::int32_t log_level) : now(NOVEMBER_20), own(std::make_unique<state>())
{
    own->self = this;
    static const std::vector<sVESK_CONFIG_LOOKUP_STRUCT> defaults(std::begin(config_lookup_table),
                                                                  std::end(config_lookup_table));
    std::ranges::copy(defaults, config_lookup_table);
    own->log_level_before = m_log_level;
    m_log_level = log_level;
    setenv("TZ", "UTC", 1);
    tzset();
    // Unlike a stream in memory it can be given a buffer.
    own->other_stdout =
        fopencookie(&own->captured, "w", {.read = nullptr, .write = append, .seek = nullptr, .close = nullptr});
    std::swap(stdout, own->other_stdout);
    current = own.get();
}

host::~host()
{
    current = nullptr;
    std::swap(stdout, own->other_stdout);
    std::fclose(own->other_stdout);
    m_log_level = own->log_level_before;
    for (const step& left : own->script)
        own->problems += "announced, but never called: " + left.call + "\n";
    for (const auto& [stream, left] : own->streams) {
        own->problems += "never closed: " + left.opened.call + "\n";
        std::fclose(stream);
    }
    if (!own->problems.empty())
        ADD_FAILURE() << own->problems;
}

void host::expect(std::string call, long result, int error)
{
    own->script.push_back({.call = std::move(call), .result = result, .error = error});
}

void host::expect_meanwhile(std::string call, std::function<void()> function, long result)
{
    own->script.push_back({.call = std::move(call), .result = result, .meanwhile = std::move(function)});
}

void host::expect_interrupted(std::string call, int signum)
{
    own->script.push_back(
        {.call = std::move(call), .result = -1, .error = EINTR, .meanwhile = [this, signum] { raise(signum); }});
}

void host::expect_ioctl(int fd, std::uint32_t code, bytes record, std::optional<bytes> reply, int result)
{
    own->script.push_back({.call = ioctl_line(fd, code, record),
                           .result = result,
                           .error = result < 0 ? EIO : 0,
                           .record_size = record.size(),
                           .reply = std::move(reply)});
}

void host::expect_popen(const std::string& command, std::string output, int close_result, int close_error)
{
    own->script.push_back({.call = "popen " + command,
                           .output = std::move(output),
                           .close_result = close_result,
                           .close_error = close_error});
}

void host::expect_config(std::string text)
{
    own->script.push_back({.call = std::string("fopen ") + CONFIG_PATH, .output = std::move(text)});
}

void host::expect_stat(const std::string& path, std::int64_t size)
{
    // The size travels in the reply, the result stays that of stat.
    own->script.push_back({.call = "stat " + path, .reply = bytes_of(size)});
}

void host::serve_ioctl(ioctl_server server)
{
    own->server = std::move(server);
}

std::optional<int> host::exit_status_of(const std::function<void()>& function)
{
    own->exit_status.reset();
    own->can_leave = true;
    if (setjmp(own->way_back) == 0)
        function();
    own->can_leave = false;
    return own->exit_status;
}

void host::raise(int signum)
{
    const auto found = own->handlers.find(signum);
    if (found != own->handlers.end() && found->second != SIG_IGN && found->second != SIG_DFL)
        found->second(signum);
    else
        own->problems += "no handler for " + signal_name(signum) + "\n";
}

std::string host::raw_log()
{
    return own->raw_log();
}

lines host::log()
{
    ::lines lines;
    std::string rest = own->raw_log();
    while (!rest.empty()) {
        const std::size_t end = std::min(rest.find('\n'), rest.size());
        if (end == rest.size())
            own->problems += "log line without a newline: " + rest + "\n";
        lines.push_back(own->log_line(rest.substr(0, end)));
        rest.erase(0, end + 1);
    }
    return lines;
}

std::string host::state::raw_log()
{
    std::fflush(stdout);
    return std::exchange(captured, {});
}

// "function L text" of "MM/DD hh:mm:ss d[L] ", the function in 36 columns or as many as it needs, " | text".
std::string host::state::log_line(const std::string& raw)
{
    char date[32];
    std::strftime(date, sizeof(date), "%m/%d %H:%M:%S d[", std::localtime(&self->now));
    const std::size_t level = std::strlen(date);
    const std::size_t function = level + 3;
    const std::size_t name = raw.find_first_not_of(' ', function);
    const std::size_t bar = std::max(function + 36, std::min(raw.find(' ', name), raw.size()));
    if (raw.compare(0, level, date) != 0 || raw.compare(level + 1, 2, "] ") != 0 || name >= bar ||
        raw.compare(bar, 3, " | ") != 0) {
        problems += "not a line of the log: " + raw + "\n";
        return raw;
    }
    return raw.substr(name, bar - name) + " " + raw[level] + " " + raw.substr(bar + 3);
}

void host::state::leave()
{
    if (!can_leave) {
        std::fprintf(stderr, "left the process outside of exit_status_of\n%s", problems.c_str());
        std::abort();
    }
    std::longjmp(way_back, 1);
}

step host::state::next(const std::string& line)
{
    if (!script.empty() && script.front().call == line) {
        step announced = std::move(script.front());
        script.pop_front();
        return announced;
    }
    if (unannounced++ == 0) {
        problems += "called:    " + line + "\nannounced: " + (script.empty() ? "nothing" : script.front().call) + "\n";
        script.clear(); // what follows only repeats the problem
    }
    if (can_leave || unannounced > FAILURES_ENDURED)
        leave();
    return {.call = line, .result = -1, .error = ENOSYS};
}

long host::state::made(const step& announced)
{
    if (announced.meanwhile)
        announced.meanwhile();
    if (announced.error != 0)
        errno = announced.error;
    return announced.result;
}

long host::state::call(const std::string& line)
{
    return made(next(line));
}

// A handler that interrupts what opens and closes streams is to know it.
void host::state::require_exit_lock(const std::string& call)
{
    if (exit_lock_taken == 0)
        problems += call + " without with_exit_lock\n";
}

std::FILE* host::state::open_stream(const std::string& line, bool is_pipe)
{
    require_exit_lock(line);
    step announced = next(line);
    if (announced.result != 0) {
        errno = announced.error;
        return nullptr;
    }
    std::string& content = files.emplace_back(std::move(announced.output));
    std::FILE* stream = fmemopen(content.data(), content.size(), "r");
    streams[stream] = {std::move(announced), is_pipe};
    return stream;
}

// --- The replaced calls ---

#define REPLACED(type, name, parameters, arguments, line)                                                              \
    extern "C" type __real_##name parameters;                                                                          \
    extern "C" type __wrap_##name parameters                                                                           \
    {                                                                                                                  \
        return current != nullptr ? static_cast<type>(current->call(line)) : __real_##name arguments;                  \
    }

REPLACED(int, close, (int fd), (fd), text("close %d", fd))
REPLACED(unsigned int, sleep, (unsigned int seconds), (seconds), text("sleep %u", seconds))
REPLACED(int, system, (const char* command), (command), text("system %s", command))
REPLACED(pid_t, setsid, (), (), "setsid")
REPLACED(int, chdir, (const char* path), (path), text("chdir %s", path))
REPLACED(int, lockf, (int fd, int command, off_t length), (fd, command, length),
         text("lockf %d %s %jd", fd, lockf_command(command).c_str(), std::intmax_t{length}))
REPLACED(ssize_t, write, (int fd, const void* data, std::size_t size), (fd, data, size),
         text("write %d %s", fd, quoted(data, size).c_str()))
REPLACED(int, kill, (pid_t pid, int signum), (pid, signum), text("kill %d %s", pid, signal_name(signum).c_str()))
REPLACED(unsigned int, alarm, (unsigned int seconds), (seconds), text("alarm %u", seconds))
REPLACED(int, pause, (), (), "pause")
REPLACED(mode_t, umask, (mode_t mask), (mask), text("umask %04o", mask))
REPLACED(int, dup2, (int from, int to), (from, to), text("dup2 %d %d", from, to))
REPLACED(int, remove, (const char* path), (path), text("remove %s", path))

#define ANSWERED(type, name, parameters, arguments, answer)                                                            \
    extern "C" type __real_##name parameters;                                                                          \
    extern "C" type __wrap_##name parameters                                                                           \
    {                                                                                                                  \
        return current != nullptr ? (answer) : __real_##name arguments;                                                \
    }

ANSWERED(uid_t, getuid, (), (), current->self->uid)
ANSWERED(pid_t, getpid, (), (), current->self->pid)
ANSWERED(pid_t, getppid, (), (), current->self->ppid)
ANSWERED(std::FILE*, freopen, (const char* path, const char* mode, std::FILE* stream), (path, mode, stream),
         current->call(text("freopen %s %s %s", path, mode, stream_name(stream).c_str())) == 0 ? stream : nullptr)

static std::string with_mode(const char* call, const char* mode, const char* what)
{
    return std::strcmp(mode, "r") == 0 ? text("%s %s", call, what) : text("%s %s %s", call, what, mode);
}
ANSWERED(std::FILE*, popen, (const char* command, const char* mode), (command, mode),
         current->open_stream(with_mode("popen", mode, command), true))

extern "C" std::FILE* __real_fopen(const char* path, const char* mode);
extern "C" std::FILE* __wrap_fopen(const char* path, const char* mode)
{
    if (current == nullptr || std::strcmp(path, CONFIG_PATH) != 0)
        return __real_fopen(path, mode);
    return current->open_stream(with_mode("fopen", mode, path), false);
}

// Streams of the tests' own are closed as ever.
extern "C" int __real_fclose(std::FILE* stream);
extern "C" int __wrap_fclose(std::FILE* stream)
{
    if (current != nullptr) {
        const auto file = current->streams.find(stream);
        if (file != current->streams.end() && file->second.is_pipe) {
            current->problems += "fclose of something that popen opened\n";
            return EOF;
        }
        if (file != current->streams.end()) {
            current->require_exit_lock("fclose");
            current->streams.erase(file);
        }
    }
    return __real_fclose(stream);
}

extern "C" int __real_pclose(std::FILE* stream);
extern "C" int __wrap_pclose(std::FILE* stream)
{
    if (current == nullptr)
        return __real_pclose(stream);
    current->require_exit_lock("pclose");
    const auto pipe = current->streams.find(stream);
    if (pipe == current->streams.end() || !pipe->second.is_pipe) {
        current->problems += "pclose of something that popen did not open\n";
        return -1;
    }
    const int result = pipe->second.opened.close_result;
    const int error = pipe->second.opened.close_error;
    current->streams.erase(pipe);
    __real_fclose(stream);
    if (error != 0)
        errno = error;
    return result;
}

static std::time_t flown_s = -1; // or the clock does not fly

void let_time_fly()
{
    flown_s = 0;
}

extern "C" std::time_t __real_time(std::time_t* to);
extern "C" std::time_t __wrap_time(std::time_t* to)
{
    if (current == nullptr && flown_s >= 0)
        return __real_time(to) + ++flown_s;
    if (current == nullptr)
        return __real_time(to);
    if (to != nullptr)
        *to = current->self->now;
    return current->self->now;
}

extern "C" int __real_stat(const char* path, struct stat* status);
extern "C" int __wrap_stat(const char* path, struct stat* status)
{
    if (current == nullptr)
        return __real_stat(path, status);
    const step announced = current->next(text("stat %s", path));
    std::int64_t size = 0;
    if (announced.reply)
        std::memcpy(&size, announced.reply->data(), sizeof(size));
    *status = {};
    status->st_size = size;
    errno = announced.error;
    return static_cast<int>(announced.result);
}

extern "C" int __real_open(const char* path, int flags, ...);
extern "C" int __wrap_open(const char* path, int flags, ...)
{
    unsigned int mode = 0;
    if ((flags & O_CREAT) != 0) {
        std::va_list arguments;
        va_start(arguments, flags);
        mode = va_arg(arguments, unsigned int);
        va_end(arguments);
    }
    if (current == nullptr)
        return __real_open(path, flags, mode);
    return static_cast<int>(current->call(open_line(path, flags, mode)));
}

static int answer_ioctl(int fd, unsigned long code, std::uint8_t* record)
{
    if (current->server) {
        const int result = current->server(fd, static_cast<std::uint32_t>(code), record);
        if (result < 0)
            errno = -result;
        return result < 0 ? -1 : result;
    }
    const std::size_t size = current->script.empty() ? 0 : current->script.front().record_size;
    std::string line = ioctl_line(fd, code, record != nullptr ? bytes(record, record + size) : bytes());
    if (record != nullptr && size == 0)
        line += " with a record";
    const step announced = current->next(line);
    if (announced.reply && announced.result >= 0)
        std::ranges::copy(*announced.reply, record);
    if (announced.result < 0 && announced.record_size > 0)
        std::ranges::copy(random_bytes(announced.record_size), record);
    errno = announced.error;
    return static_cast<int>(announced.result);
}

extern "C" int __real_ioctl(int fd, unsigned long code, ...);
extern "C" int __wrap_ioctl(int fd, unsigned long code, ...)
{
    std::va_list arguments;
    va_start(arguments, code);
    auto* record = va_arg(arguments, std::uint8_t*);
    va_end(arguments);
    return current != nullptr ? answer_ioctl(fd, code, record) : __real_ioctl(fd, code, record);
}

extern "C" pid_t __real_fork();
extern "C" pid_t __wrap_fork()
{
    if (current == nullptr)
        return __real_fork();
    const step announced = current->next("fork");
    if (announced.result == 0)
        current->self->ppid = current->self->pid++;
    return static_cast<pid_t>(current->made(announced));
}

// Descriptors are duplicated by announcement; what else it is asked, it answers as ever.
extern "C" int __real_fcntl(int fd, int command, ...);
extern "C" int __wrap_fcntl(int fd, int command, ...)
{
    std::va_list arguments;
    va_start(arguments, command);
    const long argument = va_arg(arguments, long);
    va_end(arguments);
    if (current == nullptr || command != F_DUPFD)
        return __real_fcntl(fd, command, argument);
    return static_cast<int>(current->call(text("fcntl %d F_DUPFD %ld", fd, argument)));
}

extern "C" int __real_sigprocmask(int how, const sigset_t* set, sigset_t* before);
extern "C" int __wrap_sigprocmask(int how, const sigset_t* set, sigset_t* before)
{
    if (current == nullptr)
        return __real_sigprocmask(how, set, before);
    for (int signum = 1; signum < NSIG; ++signum) {
        if (sigismember(set, signum) != 1)
            continue;
        if (how == SIG_BLOCK)
            current->self->blocked.insert(signum);
        else
            current->self->blocked.erase(signum);
    }
    return 0;
}

extern "C" handler __real_signal(int signum, handler function);
extern "C" handler __wrap_signal(int signum, handler function)
{
    if (current == nullptr)
        return __real_signal(signum, function);
    const long result = current->call(text("signal %s %s", signal_name(signum).c_str(), handler_name(function)));
    if (result < 0)
        return SIG_ERR;
    return std::exchange(current->handlers[signum], function);
}

#define ENDS(name)                                                                                                     \
    extern "C" [[noreturn]] void __real_##name(int status);                                                            \
    extern "C" [[noreturn]] void __wrap_##name(int status)                                                             \
    {                                                                                                                  \
        if (current == nullptr)                                                                                        \
            __real_##name(status);                                                                                     \
        current->exit_status = status;                                                                                 \
        current->self->left_by = #name;                                                                                \
        current->leave();                                                                                              \
    }

ENDS(exit)
ENDS(_exit)
