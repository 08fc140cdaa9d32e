// The socket that haldo-cardsim ctl talks to the card through.
//
// A client sends the words of its command, each with a zero byte behind it, and shuts its side down. It gets one byte,
// DONE or REFUSED, and behind it what the command answers, or the sentence that says what is wrong with it.
#pragma once

#include <functional>
#include <list>
#include <poll.h>
#include <span>
#include <string>
#include <sys/un.h>
#include <vector>

// Returns a path that a socket can have. Throws std::invalid_argument for one that is empty or too long.
const std::string& socket_path(const std::string& path);

// The address of a socket there, for both sides.
sockaddr_un socket_address(const std::string& path);

class control_socket
{
public:
    enum reply_byte : char {
        DONE = '0',
        REFUSED = '2',
    };
    // Executes a command; throws std::invalid_argument for one that is wrong.
    using command = std::function<std::string(std::span<const std::string> words)>;

    // Listens at path, which only this process's user can open, in place of what another card has left there. Throws
    // std::runtime_error, also when somebody listens there.
    control_socket(std::string path, command execute);
    ~control_socket();

    control_socket(const control_socket&) = delete;
    control_socket& operator=(const control_socket&) = delete;

    // Adds what this socket waits for.
    void wait_for(std::vector<pollfd>& descriptors) const;

    // Does what can be done without waiting: one connection more, and one step of each. No client holds up another one,
    // and of too many the one that has waited longest with its command goes.
    void serve();

private:
    struct connection {
        int fd;
        std::string received;
        std::string reply; // what is still to be sent
        bool replies = false;
    };

    // Returns false once the connection is of no more use.
    bool serve(connection& one) const;
    std::string answer(const std::string& received) const;

    std::string m_path;
    command m_execute;
    int m_listener;
    bool m_can_accept = true;
    std::list<connection> m_connections;
};
