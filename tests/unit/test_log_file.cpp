#include "daemon_paths.h"
#include "log_file.h"
#include "support/calls.h"
#include "support/written.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace
{

constexpr std::int64_t MIB = 1024 * 1024;

// A log named "agent" with a file of this size, or none.
announced_log agent_log(const std::string& dir, std::optional<std::int64_t> size = {}, bool rotates = false)
{
    return {.dir = dir, .name = "agent", .size = size, .rotates = rotates};
}

} // namespace

TEST(filesize, counts_any_part_of_a_mebibyte_as_a_whole_one)
{
    const std::pair<std::int64_t, std::int32_t> cases[] = {
        {1, 1}, {MIB - 1, 1}, {MIB, 1}, {MIB + 1, 2}, {2 * MIB, 2}, {2 * MIB + 1, 3}, {10 * 1024 * MIB + 1, 10241}};
    for (const auto& [size, mib] : cases) {
        host h;
        h.expect_stat("/a%s.log", size);
        EXPECT_EQ(filesize("/a%s.log"), mib);
        EXPECT_EQ(h.log(), (lines{"filesize I Logfile: /a%s.log is =< " + std::to_string(mib) + " MB"}));
    }
}

TEST(filesize, is_zero_for_an_empty_and_for_a_missing_file)
{
    host h;
    h.expect_stat("/a.log", 0);
    EXPECT_EQ(filesize("/a.log"), 0);
    for (const int error : {ENOENT, EACCES}) {
        h.expect("stat /a.log", -1, error);
        EXPECT_EQ(filesize("/a.log"), 0);
    }
    EXPECT_EQ(h.log(), lines(3, "filesize I Logfile: /a.log is =< 0 MB"));
}

TEST(filesize, says_nothing_at_the_error_level)
{
    host h(VESK_LOG_ERROR);
    h.expect_stat("/a.log", 1);
    EXPECT_EQ(filesize("/a.log"), 1);
    EXPECT_EQ(h.log(), lines{});
}

TEST(log_file_path, is_directory_and_name_and_generation_zero)
{
    const std::string longest(400, 'd');
    const std::pair<std::string, std::string> cases[] = {
        {"/srv", "//srv/agent.0.log"},
        {"srv", "/srv/agent.0.log"},
        {longest.substr(0, 386), "/" + longest.substr(0, 386) + "/agent.0.log"},
        {longest.substr(0, 387), "/" + longest.substr(0, 387) + "/agent.0.lo"},
        {longest, "/" + longest.substr(0, 398)},
    };
    for (const auto& [dir, expected] : cases) {
        char path[VESK_LOG_PATH_SIZE];
        log_file_path(path, dir.c_str(), "agent");
        EXPECT_EQ(path, expected);
    }
}

TEST(init_logging, prepares_the_directory_opens_the_file_and_points_both_outputs_at_it)
{
    for (const eVESK_LOG_LEVEL level : {VESK_LOG_INFO, VESK_LOG_DEBUG}) {
        host h(VESK_LOG_CRITICAL);
        h.expect("system mkdir -p '//srv/log'");
        h.expect("stat //srv/log/agent.0.log", -1, ENOENT);
        h.expect("open //srv/log/agent.0.log O_WRONLY|O_CREAT|O_APPEND 0666", 7);
        h.expect("dup2 7 1", 1);
        h.expect("dup2 7 2", 2);
        h.expect("close 7");
        h.expect("system chmod -R 777 '//srv/log'");
        EXPECT_EQ(init_logging(level, "/srv/log", "agent", 2), VESK_LOG_READY);
        EXPECT_EQ(m_log_level, level);
        EXPECT_EQ(h.log(),
                  (lines{"filesize I Logfile: //srv/log/agent.0.log is =< 0 MB",
                         "init_logging I success: level " + std::to_string(level) + ", file //srv/log/agent.0.log"}));
    }
}

TEST(init_logging, maps_a_level_above_four_to_error)
{
    const std::pair<std::int32_t, std::int32_t> cases[] = {
        {INT_MIN, INT_MIN}, {-1, -1}, {1, 1}, {2, 2}, {3, 3}, {4, 4}, {5, 2}, {7, 2}, {INT_MAX, 2}};
    for (const auto& [level, set] : cases) {
        SCOPED_TRACE(level);
        host h(VESK_LOG_DEBUG);
        expect_log_opened(h, agent_log("/srv/log", MIB));
        EXPECT_EQ(init_logging(static_cast<eVESK_LOG_LEVEL>(level), "/srv/log", "agent", 2), 0);
        EXPECT_EQ(m_log_level, set);
        EXPECT_EQ(h.log(), set < VESK_LOG_INFO ? lines{}
                                               : (lines{"filesize I Logfile: //srv/log/agent.0.log is =< 1 MB",
                                                        "init_logging I success: level " + std::to_string(level) +
                                                            ", file //srv/log/agent.0.log"}));
    }
}

TEST(init_logging, opens_no_file_at_level_zero)
{
    host h(VESK_LOG_DEBUG);
    h.expect("system mkdir -p '//srv/log'");
    h.expect("system chmod -R 777 '//srv/log'");
    EXPECT_EQ(init_logging(VESK_LOG_OFF, "/srv/log", "agent", 2), 0);
    EXPECT_EQ(m_log_level, 0);
    EXPECT_EQ(h.log(), lines{});
}

TEST(init_logging, rotates_a_file_above_the_limit)
{
    const struct {
        std::optional<std::int64_t> size;
        std::int32_t limit;
        bool rotates;
    } cases[] = {
        {{}, 2, false},         {0, 2, false},  {2 * MIB, 2, false}, {2 * MIB + 1, 2, true}, {2 * MIB + 1, 3, false},
        {3 * MIB + 1, 3, true}, {{}, 0, false}, {0, 0, false},       {1, 0, true},           {1, 1, false},
        {{}, -1, true},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::PrintToString(c.size) + " bytes, limit " + std::to_string(c.limit));
        host h;
        expect_log_opened(h, agent_log("/srv/log", c.size, c.rotates));
        EXPECT_EQ(init_logging(VESK_LOG_INFO, "/srv/log", "agent", c.limit), 0);
        const std::string exceeds =
            "init_logging I Daemon logfile: //srv/log/agent.0.log exceeds max size, recreating.";
        const lines log = h.log();
        EXPECT_EQ(std::ranges::count(log, exceeds), c.rotates);
        EXPECT_EQ(log.back(), "init_logging I success: level 3, file //srv/log/agent.0.log");
    }
}

TEST(init_logging, says_why_it_rotates)
{
    host h;
    expect_log_opened(h, agent_log("/srv/log", 2 * MIB + 1, true));
    init_logging(VESK_LOG_INFO, "/srv/log", "agent", 2);
    EXPECT_EQ(h.log(), (lines{
                           "filesize I Logfile: //srv/log/agent.0.log is =< 3 MB",
                           "init_logging I Daemon logfile: //srv/log/agent.0.log exceeds max size, recreating.",
                           "init_logging I success: level 3, file //srv/log/agent.0.log",
                       }));
}

TEST(init_logging, quotes_the_directory_for_mkdir_and_chmod_but_not_for_mv)
{
    host h;
    h.expect("system mkdir -p '/a b$c'");
    h.expect_stat("/a b$c/agent.0.log", MIB + 1);
    h.expect("system mv /a b$c/agent.3.log /a b$c/agent.4.log");
    h.expect("system mv /a b$c/agent.2.log /a b$c/agent.3.log");
    h.expect("system mv /a b$c/agent.1.log /a b$c/agent.2.log");
    h.expect("system mv /a b$c/agent.0.log /a b$c/agent.1.log");
    h.expect("open /a b$c/agent.0.log O_WRONLY|O_CREAT|O_APPEND 0666", 7);
    h.expect("dup2 7 1", 1);
    h.expect("dup2 7 2", 2);
    h.expect("close 7");
    h.expect("system chmod -R 777 '/a b$c'");
    EXPECT_EQ(init_logging(VESK_LOG_INFO, "a b$c", "agent", 1), 0);
}

TEST(init_logging, does_not_notice_commands_that_fail)
{
    for (const int status : {-1, 256, 9}) {
        host h;
        announced_log log = agent_log("/srv/log", 2 * MIB + 1, true);
        log.status = status;
        expect_log_opened(h, log);
        EXPECT_EQ(init_logging(VESK_LOG_ERROR, "/srv/log", "agent", 2), 0);
        EXPECT_EQ(h.log(), lines{});
    }
}

TEST(init_logging, refuses_a_directory_of_two_characters_or_fewer)
{
    for (const std::string dir : {"", "a", "/", "ab", "//"}) {
        SCOPED_TRACE(dir);
        host h(VESK_LOG_DEBUG);
        EXPECT_EQ(init_logging(VESK_LOG_ERROR, dir.c_str(), "agent", 2), VESK_LOG_DIR_TOO_SHORT);
        EXPECT_EQ(m_log_level, VESK_LOG_DEBUG);
        EXPECT_EQ(h.log(), (lines{"init_logging E Error using log directory " + dir}));
    }
    host h(VESK_LOG_CRITICAL);
    EXPECT_EQ(init_logging(VESK_LOG_DEBUG, "ab", "agent", 2), -500);
    EXPECT_EQ(m_log_level, VESK_LOG_CRITICAL);
    EXPECT_EQ(h.log(), lines{});
}

TEST(init_logging, accepts_a_directory_of_three_characters)
{
    host h;
    expect_log_opened(h, agent_log("abc"));
    EXPECT_EQ(init_logging(VESK_LOG_INFO, "abc", "agent", 2), 0);
}

TEST(init_logging, reads_no_further_than_400_characters_of_the_directory)
{
    const std::vector<char> dir(400, 'd');
    const std::string text(400, 'd');
    const std::string path = "/" + text.substr(0, 398);
    host h(VESK_LOG_ERROR);
    h.expect("system mkdir -p '/" + text + "'");
    h.expect_stat(path, MIB + 1);
    expect_log_rotated(h, agent_log(text));
    h.expect("open " + path + " O_WRONLY|O_CREAT|O_APPEND 0666", -1, ENAMETOOLONG);
    EXPECT_EQ(init_logging(VESK_LOG_ERROR, dir.data(), "agent", 1), -1);
    EXPECT_EQ(h.raw_log(), (prefix('E', "init_logging") + "Error opening logfile " + path).substr(0, 399));
}

TEST(init_logging, sets_the_level_after_the_directory_is_made)
{
    host h(VESK_LOG_DEBUG);
    h.expect_meanwhile("system mkdir -p '/srv'", [] { EXPECT_EQ(m_log_level, VESK_LOG_DEBUG); });
    h.expect("system chmod -R 777 '/srv'");
    EXPECT_EQ(init_logging(VESK_LOG_OFF, "srv", "agent", 2), 0);
}

TEST(init_logging, announces_what_it_does_and_reports_what_it_has_done)
{
    lines before_rotation;
    lines before_mode;
    host h;
    {
        h.expect("system mkdir -p '/srv'");
        h.expect_stat("/srv/agent.0.log", MIB + 1);
        h.expect_meanwhile("system mv /srv/agent.3.log /srv/agent.4.log", [&] { before_rotation = h.log(); });
        h.expect("system mv /srv/agent.2.log /srv/agent.3.log");
        h.expect("system mv /srv/agent.1.log /srv/agent.2.log");
        h.expect("system mv /srv/agent.0.log /srv/agent.1.log");
        h.expect("open /srv/agent.0.log O_WRONLY|O_CREAT|O_APPEND 0666", -1, EACCES);
        EXPECT_EQ(init_logging(VESK_LOG_INFO, "srv", "agent", 1), -1);
        EXPECT_EQ(before_rotation.back(),
                  "init_logging I Daemon logfile: /srv/agent.0.log exceeds max size, recreating.");
        h.log();
    }
    h.expect("system mkdir -p '/srv'");
    h.expect("stat /srv/agent.0.log", -1, ENOENT);
    h.expect("open /srv/agent.0.log O_WRONLY|O_CREAT|O_APPEND 0666", 7);
    h.expect("dup2 7 1", 1);
    h.expect("dup2 7 2", 2);
    h.expect("close 7");
    h.expect_meanwhile("system chmod -R 777 '/srv'", [&] { before_mode = h.log(); });
    EXPECT_EQ(init_logging(VESK_LOG_INFO, "srv", "agent", 1), 0);
    EXPECT_EQ(before_mode, (lines{"filesize I Logfile: /srv/agent.0.log is =< 0 MB"}));
}

TEST(init_logging, keeps_the_file_open_where_it_took_the_place_of_a_closed_output)
{
    for (const int fd : {0, 1, 2}) {
        host h;
        announced_log log = agent_log("srv");
        log.fd = fd;
        expect_log_opened(h, log);
        EXPECT_EQ(init_logging(VESK_LOG_INFO, "srv", "agent", 2), 0);
    }
}

TEST(init_logging, stops_when_the_file_cannot_be_opened)
{
    for (const eVESK_LOG_LEVEL level : {VESK_LOG_CRITICAL, VESK_LOG_ERROR, VESK_LOG_INFO}) {
        host h(VESK_LOG_DEBUG);
        expect_log_directory_made(h, agent_log("/srv/log"));
        h.expect("stat //srv/log/agent.0.log", -1, EACCES);
        h.expect("open //srv/log/agent.0.log O_WRONLY|O_CREAT|O_APPEND 0666", -1, EACCES);
        EXPECT_EQ(init_logging(level, "/srv/log", "agent", 2), VESK_LOG_NOT_OPENED);
        EXPECT_EQ(m_log_level, level);
        EXPECT_EQ(h.log(), at_level(level, {"filesize I Logfile: //srv/log/agent.0.log is =< 0 MB",
                                            "init_logging E Error opening logfile //srv/log/agent.0.log (ret -1)"}));
    }
}

TEST(init_logging, leaves_the_old_content_in_the_first_generation_and_a_fresh_file)
{
    std::string dir = testing::TempDir() + "haldo_log_XXXXXX";
    ASSERT_NE(mkdtemp(dir.data()), nullptr);
    const auto file = [&](int generation) { return dir + "/log/agent." + std::to_string(generation) + ".log"; };
    const auto size = [&](int generation) {
        struct stat status;
        return stat(file(generation).c_str(), &status) == 0 ? status.st_size : -1;
    };
    // At the error level, so that nothing is written to the fresh file.
    const auto start = [&] { init_logging(VESK_LOG_ERROR, (dir + "/log").c_str(), "agent", 2); };

    EXPECT_EQ(writes_of(start), lines{});
    EXPECT_EQ(size(0), 0);
    struct stat status;
    ASSERT_EQ(stat((dir + "/log").c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 07777, 0777u);

    EXPECT_EQ(truncate(file(0).c_str(), 2 * MIB), 0);
    writes_of(start);
    EXPECT_EQ(size(0), 2 * MIB);
    EXPECT_EQ(size(1), -1);

    for (int generation = 1; generation <= 5; ++generation) {
        EXPECT_EQ(truncate(file(0).c_str(), 2 * MIB + generation), 0);
        writes_of(start);
        EXPECT_EQ(size(0), 0);
    }
    for (int generation = 1; generation <= 4; ++generation)
        EXPECT_EQ(size(generation), 2 * MIB + 6 - generation);
    EXPECT_EQ(size(5), -1);
    std::filesystem::remove_all(dir);
}

TEST(init_logging, sends_what_is_written_afterwards_to_the_file)
{
    std::string dir = testing::TempDir() + "haldo_log_XXXXXX";
    ASSERT_NE(mkdtemp(dir.data()), nullptr);
    for (int run = 0; run < 2; ++run) {
        const lines before = writes_of([&] {
            std::puts("before");
            std::fflush(stdout);
            init_logging(VESK_LOG_ERROR, dir.c_str(), "agent", 2);
            std::puts("to standard output");
            std::fflush(stdout);
            std::fputs("to standard error\n", stderr);
        });
        EXPECT_EQ(before, (lines{"before\n"}));
    }
    std::ifstream file(dir + "/agent.0.log");
    const std::string once = "to standard output\nto standard error\n";
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(file), {}), once + once);
    std::filesystem::remove_all(dir);
}
