// The card for one program and all that it starts: the kernel stops them in the calls that could mean one of the two
// nodes, and the supervisor answers those that do. No node need exist, and one that does is not touched.
//
// An open of a node gets a descriptor of the supervisor's, one end of a pair of sockets: as long as the program or
// anything that it starts holds it, under whatever number, it is that open of the node; when the last one is closed the
// kernel tells the other end. Reading from it finds the end of a file, and what is written to it is lost.
#pragma once

#include "../delayed_replies.h"
#include "card.h"

#include <seccomp.h>

#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

// Has the kernel stop this process, and what it starts from now on, in those calls. Returns the descriptor that a
// supervisor takes; throws std::system_error.
int stop_in_calls();

class supervisor
{
public:
    // listener: what stop_in_calls returned; closed by the destructor. served outlives this object.
    supervisor(cardsim::card& served, int listener);
    ~supervisor();

    supervisor(const supervisor&) = delete;
    supervisor& operator=(const supervisor&) = delete;

    // Throws std::runtime_error, which says what is missing, when this kernel or another authority does not allow what
    // it takes to answer the calls of the process. known: a byte of that process's memory, the same as in this one.
    void require_means(pid_t process, const char& known) const;

    // Readable when a call waits, and when a node has been closed.
    int call_fd() const { return m_listener; }
    int close_fd() const { return m_closes; }

    // Answers the call that waits; called when there is one.
    void take_call();

    // Tells the card of the nodes that have been closed since.
    void take_closes();

    // Gives the replies that are due.
    void send_due();

    // How long poll may wait: until the next delayed reply is due, -1 when there is none.
    int timeout_ms() const { return m_delayed.timeout_ms(); }

private:
    struct opened {
        eVESK_NODE node;
        int other_end;
    };
    struct reply {
        std::uint64_t call;
        pid_t process;
        std::uint64_t address; // of the record
        int result;            // as ioctl returns it, an error as -errno
        std::vector<std::uint8_t> record;
    };

    void answer(const seccomp_notif& call);
    void open(const seccomp_notif& call, eVESK_NODE node, std::uint64_t flags);
    void request(const seccomp_notif& call, eVESK_NODE node);
    void send(const reply& end) const;
    void respond(std::uint64_t call, int result, std::uint32_t flags = 0) const;
    // Responds. False: the caller waits no more, it was interrupted or killed, and needs no answer.
    bool is_answered(std::uint64_t call, int result, std::uint32_t flags) const;
    bool still_waits(std::uint64_t call) const;

    cardsim::card& m_card;
    const int m_listener;
    const int m_closes; // an epoll instance: it tells them in their order
    seccomp_notif* m_call = nullptr;
    std::map<std::string, opened> m_opened;              // by what the links in /proc/PID/fd read
    std::map<pid_t, std::pair<int, std::string>> m_left; // by thread: a descriptor that it got and does not know of
    delayed_replies<reply> m_delayed;
};
