// haldo-cardsim: carries the simulated card to the device nodes of a real kernel.

#include "card.h"
#include "device_node.h"
#include "options.h"

#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <string>
#include <sys/signalfd.h>
#include <system_error>
#include <unistd.h>

namespace
{

enum exit_status {
    EXIT_ENDED = 0,
    EXIT_FAILED = 1,
    EXIT_NO_CUSE = 4,
};

int open_journal(const std::string& path)
{
    const int journal = open(path.c_str(), O_WRONLY | O_APPEND | O_CREAT | O_CLOEXEC, 0644);
    if (journal < 0)
        std::fprintf(stderr, "haldo-cardsim: journal '%s': %s\n", path.c_str(), std::strerror(errno));
    return journal;
}

// One write a line: other programs append to the same file.
void write_line(int journal, std::string_view text)
{
    const std::string line = std::string(text) + "\n";
    if (write(journal, line.data(), line.size()) != static_cast<ssize_t>(line.size()))
        std::fprintf(stderr, "haldo-cardsim: journal: %s\n", std::strerror(errno));
}

// Readable once the process has been asked to end.
int open_end_signals()
{
    sigset_t signals;
    sigemptyset(&signals);
    sigaddset(&signals, SIGTERM);
    sigaddset(&signals, SIGINT);
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

exit_status serve(cardsim::card& card, int end_signals)
{
    device_node hcc(card, VESK_NODE_HCC, VESK_NODE_PATH_HCC);
    device_node hdc(card, VESK_NODE_HDC, VESK_NODE_PATH_HDC);

    pollfd waiting[] = {{end_signals, POLLIN, 0}, {hcc.fd(), POLLIN, 0}, {hdc.fd(), POLLIN, 0}};
    for (;;) {
        if (poll(waiting, std::size(waiting), -1) < 0 && errno != EINTR) {
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
    }
}

} // namespace

int main(int argc, char** argv)
{
    const options given = parse_options(argc, argv);

    if (is_taken(VESK_NODE_PATH_HCC) || is_taken(VESK_NODE_PATH_HDC))
        return EXIT_FAILED;
    const int journal = open_journal(given.journal);
    if (journal < 0)
        return EXIT_FAILED;
    cardsim::card card(given.firmware, [journal](std::string_view line) { write_line(journal, line); });
    if (!given.session.empty())
        card.connect(given.session);
    for (const auto& fault : given.faults)
        card.order(fault.code, -fault.error);

    const int end_signals = open_end_signals();
    try {
        return serve(card, end_signals);
    } catch (const std::system_error& error) {
        std::fprintf(stderr, "haldo-cardsim: %s; load the kernel module cuse and run as root\n", error.what());
        return EXIT_NO_CUSE;
    }
}
