#include "ctl.h"

#include "control_socket.h"
#include "options.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <stdexcept>
#include <string>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>
#include <vector>

namespace
{

enum exit_status {
    DONE = 0,
    FAILED = 1,
    REFUSED = 2,
    NO_CARD = 4,
};

constexpr char help[] =
    R"(Usage: haldo-cardsim ctl [--control SOCKET] COMMAND [WORD]...

Steers the simulated card that listens at SOCKET: without it, in a program that haldo-cardsim run runs, its own card,
elsewhere the one at /run/haldo-cardsim.socket.

  connect IP               a client's session comes
  disconnect               it goes
  set KEY=VALUE            sets a key of a profile, as context.hoip_enable=0
  fail CODE ERRNO [NTH]    the NTH request CODE from now on fails, or every one
  return CODE VALUE [NTH]  returns this positive value
  delay CODE MS [NTH]      gets its reply MS milliseconds later
  random CODE [NTH]        is answered with random bytes
  normal [CODE]            takes these orders back, for CODE or for all
  seed N                   the seed of random bytes
  state                    prints the card's state as JSON
  render FILE.png|FILE.svg draws what the client sees

CODE is a request's number, or its name with or without what is before IOCTL_, as KMP_CUR_POS.

Exit status: 0 done, 1 failed, 2 wrong command line, 4 no card listens or it is not permitted.
)";

int fail(exit_status status, const std::string& what)
{
    std::fprintf(stderr, "haldo-cardsim: %s: %s\n", what.c_str(), std::strerror(errno));
    return status;
}

int connect_to(const std::string& path)
{
    const sockaddr_un address = socket_address(path);
    const int card = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (connect(card, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0)
        return card;
    close(card);
    return -1;
}

// The whole conversation, or nothing when it broke off.
std::string ask(int card, const std::vector<std::string>& words)
{
    std::string sent;
    for (const std::string& word : words)
        sent += word + '\0';
    if (send(card, sent.data(), sent.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(sent.size()) ||
        shutdown(card, SHUT_WR) != 0)
        return {};
    std::string reply;
    char bytes[4096];
    ssize_t length;
    while ((length = recv(card, bytes, sizeof(bytes), 0)) > 0)
        reply.append(bytes, static_cast<std::size_t>(length));
    return length == 0 ? reply : std::string();
}

int save(const std::string& path, const std::string& picture)
{
    std::ofstream file(path, std::ios::binary | std::ios::trunc);
    file << picture << std::flush;
    return file ? DONE : fail(FAILED, path);
}

} // namespace

int run_ctl(int argc, char** argv)
{
    const char* const own = std::getenv(CONTROL_VARIABLE);
    std::string path = own != nullptr && *own != '\0' ? own : DEFAULT_CONTROL;
    std::string named = CONTROL_VARIABLE;
    std::vector<std::string> words(argv + 1, argv + argc);
    if (!words.empty() && words[0] == "--help")
        return print(help);
    if (!words.empty() && words[0] == "--control") {
        if (words.size() == 1)
            refuse("'--control' needs a value");
        path = words[1];
        named = "--control";
        words.erase(words.begin(), words.begin() + 2);
    }
    try {
        socket_path(path);
    } catch (const std::invalid_argument& error) {
        refuse(named + ": " + error.what());
    }
    if (words.empty())
        refuse("a command is missing");
    if (words[0].starts_with("-"))
        refuse("'" + words[0] + "' is not an option");

    // The card draws, and the file is this user's, below this directory.
    std::string file;
    if (words.size() == 2 && words[0] == "render") {
        file = words[1];
        if (!file.ends_with(".png") && !file.ends_with(".svg"))
            refuse("'" + file + "' ends neither in .png nor in .svg");
        words[1] = file.substr(file.size() - 3);
    }
    const int card = connect_to(path);
    if (card < 0)
        return fail(NO_CARD, path);
    const std::string reply = ask(card, words);
    close(card);
    if (reply.empty()) {
        std::fprintf(stderr, "haldo-cardsim: %s: the card did not reply\n", path.c_str());
        return FAILED;
    }
    const std::string text = reply.substr(1);
    if (reply[0] == control_socket::REFUSED)
        refuse(text);
    return file.empty() ? print(text) : save(file, text);
}
