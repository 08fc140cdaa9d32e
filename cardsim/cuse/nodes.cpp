#include "nodes.h"

#include "../carried_card.h"
#include "device_node.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <poll.h>
#include <stdexcept>
#include <string>
#include <sys/signalfd.h>
#include <unistd.h>
#include <vector>

namespace
{

enum exit_status {
    EXIT_ENDED = 0,
    EXIT_FAILED = 1,
    EXIT_NO_CUSE = 4,
};

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
void require_free(const char* path)
{
    if (access(path, F_OK) == 0)
        throw std::runtime_error(std::string(path) + " exists already: another card has it");
}

exit_status serve(carried_card& carried, int end_signals)
{
    device_node hcc(carried.card, VESK_NODE_HCC, VESK_NODE_PATH_HCC);
    device_node hdc(carried.card, VESK_NODE_HDC, VESK_NODE_PATH_HDC);

    for (;;) {
        std::vector<pollfd> waiting{{end_signals, POLLIN, 0}, {hcc.fd(), POLLIN, 0}, {hdc.fd(), POLLIN, 0}};
        carried.control->wait_for(waiting);
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
        carried.control->serve();
    }
}

} // namespace

int serve_nodes(const options& given)
{
    std::signal(SIGPIPE, SIG_IGN);
    try {
        device_node::require_cuse();
        require_free(VESK_NODE_PATH_HCC);
        require_free(VESK_NODE_PATH_HDC);
        carried_card carried(given, given.control.empty() ? DEFAULT_CONTROL : given.control);
        const exit_status end = serve(carried, open_end_signals());
        return carried.has_told_all() ? end : EXIT_FAILED;
    } catch (const no_cuse& error) {
        std::fprintf(stderr, "haldo-cardsim: %s; load the kernel module cuse and run as root\n", error.what());
        return EXIT_NO_CUSE;
    } catch (const std::runtime_error& error) {
        std::fprintf(stderr, "haldo-cardsim: %s\n", error.what());
        return EXIT_FAILED;
    }
}
