#include "control_socket.h"

#include <cerrno>
#include <cstring>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <system_error>
#include <unistd.h>
#include <utility>

namespace
{

constexpr std::size_t longest_command = 4096;

bool is_unfinished()
{
    return errno == EAGAIN || errno == EINTR;
}

int listen_at(const std::string& path)
{
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    if (path.empty() || path.size() >= sizeof(address.sun_path))
        throw std::system_error(ENAMETOOLONG, std::generic_category(), path);
    path.copy(address.sun_path, path.size());

    const int listener = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
    struct stat found;
    if (lstat(path.c_str(), &found) == 0 && S_ISSOCK(found.st_mode))
        unlink(path.c_str());
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
    descriptors.push_back({m_listener, POLLIN, 0});
    for (const connection& one : m_connections)
        descriptors.push_back({one.fd, static_cast<short>(one.replies ? POLLOUT : POLLIN), 0});
}

void control_socket::serve()
{
    for (;;) {
        const int fd = accept4(m_listener, nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (fd < 0)
            break;
        m_connections.push_back({fd, {}, {}});
    }
    for (auto one = m_connections.begin(); one != m_connections.end();) {
        const bool lasts = serve(*one);
        if (!lasts)
            close(one->fd);
        one = lasts ? std::next(one) : m_connections.erase(one);
    }
}

bool control_socket::serve(connection& one) const
{
    while (!one.replies) {
        char bytes[512];
        const ssize_t length = recv(one.fd, bytes, sizeof(bytes), 0);
        if (length < 0)
            return is_unfinished();
        one.received.append(bytes, static_cast<std::size_t>(length));
        if (one.received.size() > longest_command)
            return false;
        if (length == 0) {
            one.replies = true;
            one.reply = answer(one.received);
        }
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
    std::vector<std::string> words;
    for (std::size_t begin = 0; begin < received.size(); begin += words.back().size() + 1)
        words.emplace_back(received.c_str() + begin);
    try {
        return std::string(1, DONE) + m_execute(words);
    } catch (const std::invalid_argument& error) {
        return std::string(1, REFUSED) + error.what();
    }
}
