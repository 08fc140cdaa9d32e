// haldo-cardsim: carries the simulated card to the device nodes of a real kernel.

#include "card.h"
#include "control.h"
#include "control_socket.h"
#include "ctl.h"
#include "device_node.h"
#include "options.h"
#include "record.h"
#include "words.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <memory>
#include <poll.h>
#include <span>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>
#include <utility>
#include <vector>

namespace
{

enum exit_status {
    EXIT_ENDED = 0,
    EXIT_FAILED = 1,
    EXIT_NO_CUSE = 4,
};

// A file that lines are written to, if it was asked for.
class line_file
{
public:
    // option: which one it is, for messages. flags: beside those of every file.
    line_file(const char* option, const std::string& path, int flags = 0) : m_option(option), m_is_wanted(!path.empty())
    {
        if (m_is_wanted)
            m_fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0644);
        if (m_is_wanted && m_fd < 0)
            std::fprintf(stderr, "haldo-cardsim: %s '%s': %s\n", option, path.c_str(), std::strerror(errno));
    }
    ~line_file()
    {
        if (m_fd >= 0)
            close(m_fd);
    }
    line_file(const line_file&) = delete;
    line_file& operator=(const line_file&) = delete;

    bool is_wanted() const { return m_is_wanted; }
    bool is_good() const { return !m_is_wanted || m_fd >= 0; }

    // Without what was in it. What is no file, as a pipe, stays as it is.
    void empty()
    {
        if (m_fd >= 0 && ftruncate(m_fd, 0) != 0 && errno != EINVAL)
            give_up();
    }

    // One write a line: other programs append to the same file. A file that one fails for takes no more.
    void write_line(std::string_view text)
    {
        const std::string line = std::string(text) + "\n";
        for (std::string_view rest = line; m_fd >= 0 && !rest.empty();) {
            const ssize_t length = write(m_fd, rest.data(), rest.size());
            if (length < 0)
                give_up();
            else
                rest.remove_prefix(static_cast<std::size_t>(length));
        }
    }

private:
    void give_up()
    {
        std::fprintf(stderr, "haldo-cardsim: %s: %s\n", m_option, std::strerror(errno));
        close(m_fd);
        m_fd = -1;
    }

    const char* m_option;
    bool m_is_wanted;
    int m_fd = -1;
};

// "2026-11-20 15:04:05.678", local time.
std::string time_text()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    localtime_r(&now.tv_sec, &parts);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof(text), "%F %T", &parts);
    std::snprintf(text + length, sizeof(text) - length, ".%03d", static_cast<int>(now.tv_nsec / 1000000));
    return text;
}

// Readable once the process has been asked to end.
int open_end_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
    sigaddset(&signals, SIGHUP);
    sigprocmask(SIG_BLOCK, &signals, nullptr);
    return signalfd(-1, &signals, SFD_CLOEXEC);
}

// The kernel reports a name that is taken only after it has said that the node is ready.
bool is_taken(const char* path)
{
    const bool taken = access(path, F_OK) == 0;
    if (taken)
        std::fprintf(stderr, "haldo-cardsim: %s exists already: another card has it\n", path);
    return taken;
}

exit_status serve(cardsim::card& card, control_socket& control, int end_signals)
{
    device_node hcc(card, VESK_NODE_HCC, VESK_NODE_PATH_HCC);
    device_node hdc(card, VESK_NODE_HDC, VESK_NODE_PATH_HDC);

    for (;;) {
        std::vector<pollfd> waiting{{end_signals, POLLIN, 0}, {hcc.fd(), POLLIN, 0}, {hdc.fd(), POLLIN, 0}};
        control.wait_for(waiting);
        // Compared without a sign, -1 is longer than any other time.
        const unsigned timeout_ms = std::min<unsigned>(hcc.timeout_ms(), hdc.timeout_ms());
        if (poll(waiting.data(), waiting.size(), static_cast<int>(timeout_ms)) < 0 && errno != EINTR) {
            std::perror("haldo-cardsim: poll");
            return EXIT_FAILED;
        }
        if (waiting[0].revents != 0)
            return EXIT_ENDED;
        for (device_node* node : {&hcc, &hdc}) {
            if (!node->serve()) {
                std::fprintf(stderr, "haldo-cardsim: the kernel gave up %s\n", node->path);
                return EXIT_FAILED;
            }
        }
        control.serve();
    }
}

// Where ctl finds the card, or nothing when that cannot be.
std::unique_ptr<control_socket> open_control(const std::string& path, control_socket::command execute)
{
    try {
        return std::make_unique<control_socket>(path, std::move(execute));
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "haldo-cardsim: control socket: %s\n", error.what());
        return nullptr;
    }
}

exit_status run(const options& given)
{
    std::signal(SIGPIPE, SIG_IGN);
    device_node::require_cuse();
    if (is_taken(VESK_NODE_PATH_HCC) || is_taken(VESK_NODE_PATH_HDC))
        return EXIT_FAILED;
    line_file journal("journal", given.journal, O_APPEND);
    line_file words("words", given.words, O_APPEND);
    line_file record("record", given.record);
    if (!journal.is_good() || !words.is_good() || !record.is_good())
        return EXIT_FAILED;

    const cardsim::state& start = given.profile.start;
    cardsim::card card(start.offered, [&journal](std::string_view line) { journal.write_line(line); });
    card.kept = start.kept;
    card.seed(given.seed);
    const auto execute = [&card, &record](std::span<const std::string> command) {
        const std::string answer = cardsim::control(card, command);
        if (cardsim::changes_card(command[0]))
            record.write_line(cardsim::record_line(command));
        return answer;
    };
    const auto control = open_control(given.control, execute);
    if (!control)
        return EXIT_FAILED;

    record.empty();
    for (const std::string& line : cardsim::record_start(start, given.seed))
        record.write_line(line);
    if (!given.profile.session.empty())
        execute(std::vector<std::string>{"connect", given.profile.session});
    for (const auto& fault : given.faults)
        execute(std::vector<std::string>{"fail", std::to_string(fault.code), std::to_string(fault.error)});
    if (words.is_wanted() || record.is_wanted())
        card.observer = [&words, &record](const cardsim::card::exchange& one) {
            words.write_line(time_text() + " " + cardsim::words_of(one));
            if (one.carried)
                record.write_line(cardsim::record_line(one));
        };

    const exit_status end = serve(card, *control, open_end_signals());
    return journal.is_good() && words.is_good() && record.is_good() ? end : EXIT_FAILED;
}

} // namespace

int main(int argc, char** argv)
{
    if (argc > 1 && std::strcmp(argv[1], "ctl") == 0)
        return run_ctl(argc - 1, argv + 1);
    const options given = parse_options(argc, argv);
    try {
        return run(given);
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "haldo-cardsim: %s; load the kernel module cuse and run as root\n", error.what());
        return EXIT_NO_CUSE;
    }
}
