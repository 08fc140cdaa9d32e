// The simulated card's control socket.

#include "control_socket.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <list>
#include <memory>
#include <stdexcept>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

namespace
{

using namespace std::string_literals;

sockaddr_un address_of(const std::string& path)
{
    sockaddr_un address{AF_UNIX, {}};
    path.copy(address.sun_path, sizeof(address.sun_path));
    return address;
}

class client
{
public:
    explicit client(const std::string& path)
    {
        const sockaddr_un address = address_of(path);
        EXPECT_EQ(connect(m_fd, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    }
    ~client() { close(m_fd); }
    client(const client&) = delete;
    client& operator=(const client&) = delete;

    void send(const std::string& bytes)
    {
        EXPECT_EQ(::send(m_fd, bytes.data(), bytes.size(), MSG_NOSIGNAL), static_cast<ssize_t>(bytes.size()));
    }
    void end() { shutdown(m_fd, SHUT_WR); }
    // What has come since; whether the other side has ended.
    std::string received()
    {
        std::string all;
        char bytes[4096];
        ssize_t length;
        while ((length = recv(m_fd, bytes, sizeof(bytes), MSG_DONTWAIT)) > 0)
            all.append(bytes, static_cast<std::size_t>(length));
        has_ended = length == 0;
        return all;
    }
    bool has_ended = false;

private:
    int m_fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
};

class CardSocket : public testing::Test
{
protected:
    using command = std::vector<std::string>;

    std::string directory = make_directory();
    std::string path = directory + "/socket";
    std::vector<command> executed;
    std::unique_ptr<control_socket> card = listen();

    ~CardSocket() override
    {
        card.reset();
        std::filesystem::remove_all(directory);
    }

    static std::string make_directory()
    {
        std::string name = std::filesystem::temp_directory_path() / "card_socket.XXXXXX";
        EXPECT_NE(mkdtemp(name.data()), nullptr);
        return name;
    }
    std::unique_ptr<control_socket> listen()
    {
        return std::make_unique<control_socket>(path, [this](std::span<const std::string> words) {
            executed.emplace_back(words.begin(), words.end());
            if (words[0] == "fly")
                throw std::invalid_argument("'fly' is not a command");
            return words[0] == "much" ? std::string(1 << 20, 'm') : "done " + words[0];
        });
    }
    // Serves until there is nothing left to do.
    void settle()
    {
        for (int round = 0; round < 1000; ++round) {
            std::vector<pollfd> waiting;
            card->wait_for(waiting);
            if (poll(waiting.data(), waiting.size(), 0) == 0)
                return;
            card->serve();
        }
        ADD_FAILURE() << "the socket does not come to rest";
    }
    std::string answer(client& from, const std::string& bytes)
    {
        from.send(bytes);
        from.end();
        settle();
        const std::string reply = from.received();
        EXPECT_TRUE(from.has_ended);
        return reply;
    }
    std::string answer(const std::string& bytes)
    {
        client one(path);
        return answer(one, bytes);
    }
};

TEST_F(CardSocket, executes_a_command_and_answers)
{
    EXPECT_EQ(answer("set\0a\0\0b\0"s), "0done set");
    EXPECT_EQ(answer("fly\0"s), "2'fly' is not a command");
    EXPECT_EQ(executed, (std::vector<command>{{"set", "a", "", "b"}, {"fly"}}));
}

TEST_F(CardSocket, executes_no_command_that_is_cut_off)
{
    EXPECT_EQ(answer("set\0a"s), "2the command is cut off");
    EXPECT_EQ(answer(""), "2the command is cut off");
    EXPECT_TRUE(executed.empty());
}

TEST_F(CardSocket, executes_commands_of_up_to_4096_bytes)
{
    EXPECT_EQ(answer(std::string(4095, 'x') + '\0'), "0done " + std::string(4095, 'x'));
    executed.clear();
    EXPECT_EQ(answer(std::string(4096, 'x') + '\0'), "2the command is longer than 4096 bytes");
    client one(path);
    for (int i = 0; i < 1000; ++i) {
        one.send(std::string(1000, 'x'));
        settle();
    }
    EXPECT_EQ(answer(one, "\0"s), "2the command is longer than 4096 bytes");
    EXPECT_TRUE(executed.empty());
}

TEST_F(CardSocket, closes_the_oldest_that_has_not_sent_its_command)
{
    client reading(path);
    reading.send("much\0"s);
    reading.end();
    settle();
    std::list<client> idle;
    for (int i = 0; i < 15; ++i) {
        idle.emplace_back(path);
        settle();
    }
    idle.front().send("set"); // a part
    settle();
    EXPECT_EQ(idle.front().received(), "");
    EXPECT_FALSE(idle.front().has_ended);

    client last(path);
    settle();
    EXPECT_EQ(idle.front().received(), "");
    EXPECT_TRUE(idle.front().has_ended);
    idle.pop_front();
    for (client& one : idle)
        EXPECT_EQ(answer(one, "a\0"s), "0done a");
    EXPECT_EQ(answer(last, "b\0"s), "0done b");

    std::string reply;
    while (!reading.has_ended) {
        const std::string more = reading.received();
        ASSERT_TRUE(reading.has_ended || !more.empty());
        reply += more;
        settle();
    }
    EXPECT_EQ(reply, "0" + std::string(1 << 20, 'm'));
}

TEST_F(CardSocket, rests_while_it_has_no_descriptor)
{
    client early(path);
    settle();
    client late(path);
    rlimit before;
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    const int next = dup(0);
    close(next);
    const rlimit none{static_cast<rlim_t>(next), before.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    settle();
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &before), 0);
    EXPECT_EQ(answer(early, "a\0"s), "0done a");
    EXPECT_EQ(answer(late, "b\0"s), "0done b");
}

TEST_F(CardSocket, takes_the_place_of_what_was_left)
{
    card.reset();
    EXPECT_FALSE(std::filesystem::exists(path));
    const int left = socket(AF_UNIX, SOCK_STREAM, 0);
    const sockaddr_un address = address_of(path);
    ASSERT_EQ(bind(left, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    close(left);
    card = listen();
    EXPECT_EQ(answer("a\0"s), "0done a");
}

TEST_F(CardSocket, leaves_another_program_its_socket)
{
    try {
        listen();
        ADD_FAILURE() << "the socket was taken";
    } catch (const std::runtime_error& error) {
        EXPECT_EQ(error.what(), path + ": another program listens there");
    }
    EXPECT_EQ(answer("a\0"s), "0done a");
}

TEST_F(CardSocket, leaves_a_file_where_it_is)
{
    card.reset();
    std::ofstream(path) << "kept";
    EXPECT_THROW(listen(), std::system_error);
    std::string text;
    std::ifstream(path) >> text;
    EXPECT_EQ(text, "kept");
}

TEST_F(CardSocket, has_a_path_of_1_to_107_characters)
{
    EXPECT_EQ(socket_path(std::string(107, 'x')), std::string(107, 'x'));
    EXPECT_EQ(std::string(socket_address(std::string(107, 'x')).sun_path), std::string(107, 'x'));
    for (const std::string& none : {""s, std::string(108, 'x')}) {
        try {
            socket_path(none);
            ADD_FAILURE() << none;
        } catch (const std::invalid_argument& error) {
            EXPECT_EQ(error.what(), "'" + none + "' has no length between 1 and 107");
        }
    }
}

} // namespace
