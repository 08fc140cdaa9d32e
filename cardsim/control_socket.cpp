#include "control_socket.h"

#include "fields.h"

#include <algorithm>
#include <cerrno>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace
{

constexpr std::size_t longest_command = 4096;
constexpr std::size_t most_connections = 16;

bool is_unfinished()
{
    return errno == EAGAIN || errno == EINTR;
}

int new_socket()
{
    return socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
}

void take_leftover_away(const std::string& path, const sockaddr_un& address)
{
    struct stat found;
    if (lstat(path.c_str(), &found) != 0 || !S_ISSOCK(found.st_mode))
        return;
    const int probe = new_socket();
    const bool is_left =
        connect(probe, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) != 0 && errno == ECONNREFUSED;
    close(probe);
    if (!is_left)
        throw std::runtime_error(path + ": another program listens there");
    unlink(path.c_str());
}

int listen_at(const std::string& path)
{
    const sockaddr_un address = socket_address(path);
    take_leftover_away(path, address);
    const int listener = new_socket();
    const mode_t mask = umask(0177);
    const int bound = bind(listener, reinterpret_cast<const sockaddr*>(&address), sizeof(address));
    const int error = errno;
    umask(mask);
    if (bound != 0 || listen(listener, SOMAXCONN) != 0) {
        close(listener);
        throw std::system_error(bound != 0 ? error : errno, std::generic_category(), path);
    }
    return listener;
}

} // namespace

const std::string& socket_path(const std::string& path)
{
    constexpr std::size_t longest = sizeof(sockaddr_un::sun_path) - 1;
    if (path.empty() || path.size() > longest)
        throw std::invalid_argument(cardsim::in_quotes(path) + " has no length between 1 and " +
                                    std::to_string(longest));
    return path;
}

sockaddr_un socket_address(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    socket_path(path).copy(address.sun_path, path.size());
    return address;
}

control_socket::control_socket(std::string path, command execute)
    : m_path(std::move(path)), m_execute(std::move(execute)), m_listener(listen_at(m_path))
{
}

control_socket::~control_socket()
{
    for (const connection& one : m_connections)
        close(one.fd);
    close(m_listener);
    unlink(m_path.c_str());
}

void control_socket::wait_for(std::vector<pollfd>& descriptors) const
{
    if (m_can_accept)
        descriptors.push_back({m_listener, POLLIN, 0});
    for (const connection& one : m_connections)
        descriptors.push_back({one.fd, static_cast<short>(one.replies ? POLLOUT : POLLIN), 0});
}

void control_socket::serve()
{
    const int fd = accept4(m_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    // Without descriptors the next attempt is made once there is something else to do.
    m_can_accept = fd >= 0 || is_unfinished();
    if (fd >= 0)
        m_connections.push_back({fd, {}, {}});
    for (auto one = m_connections.begin(); one != m_connections.end();) {
        const bool lasts = serve(*one);
        if (!lasts)
            close(one->fd);
        one = lasts ? std::next(one) : m_connections.erase(one);
    }
    if (m_connections.size() > most_connections) {
        auto oldest = std::ranges::find(m_connections, false, &connection::replies);
        if (oldest == m_connections.end())
            oldest = m_connections.begin();
        close(oldest->fd);
        m_connections.erase(oldest);
    }
}

bool control_socket::serve(connection& one) const
{
    if (!one.replies) {
        char bytes[512];
        const ssize_t length = recv(one.fd, bytes, sizeof(bytes), 0);
        if (length < 0)
            return is_unfinished();
        one.received.append(bytes, static_cast<std::size_t>(length));
        // What is too long is taken to its end, so that the client comes to read the reply.
        one.received.resize(std::min(one.received.size(), longest_command + 1));
        if (length != 0)
            return true;
        one.replies = true;
        one.reply = answer(one.received);
    }
    while (!one.reply.empty()) {
        const ssize_t length = send(one.fd, one.reply.data(), one.reply.size(), MSG_NOSIGNAL);
        if (length < 0)
            return is_unfinished();
        one.reply.erase(0, static_cast<std::size_t>(length));
    }
    return false;
}

std::string control_socket::answer(const std::string& received) const
{
    try {
        if (received.size() > longest_command)
            throw std::invalid_argument("the command is longer than " + std::to_string(longest_command) + " bytes");
        if (!received.ends_with('\0'))
            throw std::invalid_argument("the command is cut off");
        std::vector<std::string> words;
        for (std::size_t begin = 0; begin < received.size(); begin += words.back().size() + 1)
            words.emplace_back(received.c_str() + begin);
        return std::string(1, DONE) + m_execute(words);
    } catch (const std::exception& error) {
        return std::string(1, REFUSED) + error.what();
    }
}
