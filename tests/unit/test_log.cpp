#include "support/written.h"
#include "vesk_log.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <gtest/gtest.h>
#include <map>
#include <sys/wait.h>
#include <unistd.h>

namespace
{

const std::int32_t initial_level = m_log_level;

constexpr std::size_t LONGEST_MESSAGE = 399 - 59;

void writer(const char* text)
{
    VESK_LOG_E("%s", text);
}

// Each of these tests runs in a copy of this program: the buffering is set with the first line of a process.
class log_output : public testing::Test
{
protected:
    static void in_a_copy(const std::function<void()>& body)
    {
        if (std::getenv("HALDO_TEST_COPY") != nullptr) {
            body();
            return;
        }
        const std::string program = std::filesystem::read_symlink("/proc/self/exe");
        const std::string test = testing::UnitTest::GetInstance()->current_test_info()->name();
        std::FILE* copy = popen(("HALDO_TEST_COPY=1 env -u GTEST_TOTAL_SHARDS -u GTEST_SHARD_INDEX " EMULATOR " '" +
                                 program + "' --gtest_filter=log_output." + test +
                                 " --gtest_repeat=1 --gtest_brief=0 --gtest_color=no --gtest_output= 2>&1")
                                    .c_str(),
                                "r");
        ASSERT_NE(copy, nullptr);
        std::string output;
        for (int c; (c = std::fgetc(copy)) != EOF;)
            output += static_cast<char>(c);
        const int status = pclose(copy);
        EXPECT_TRUE(status == 0 && output.find("[  PASSED  ] 1 test.") != std::string::npos) << output;
    }
};

} // namespace

TEST_F(log_output, is_written_line_by_line)
{
    in_a_copy([] {
        const lines writes = writes_of([] {
            writer("one");
            writer("%s %d 100% two");
            writer("three\n");
        });
        ASSERT_EQ(writes.size(), 3u);
        const char* const texts[] = {"one\n", "%s %d 100% two\n", "three\n"};
        for (std::size_t i = 0; i < writes.size(); ++i)
            EXPECT_EQ(writes[i].substr(std::strlen("11/20 10:42:52")), prefix('E', "writer", "") + texts[i]);
    });
}

TEST_F(log_output, sets_the_buffering_once)
{
    in_a_copy([] {
        const lines writes = writes_of([] {
            writer("one");
            std::setvbuf(stdout, nullptr, _IOFBF, BUFSIZ);
            writer("two");
        });
        ASSERT_EQ(writes.size(), 1u);
        EXPECT_TRUE(writes[0].ends_with("one\n"));
    });
}

TEST_F(log_output, shows_the_time_of_the_clock)
{
    in_a_copy([] {
        const std::time_t before = std::time(nullptr);
        const lines writes = writes_of([] { writer("text"); });
        const std::time_t after = std::time(nullptr);
        ASSERT_EQ(writes.size(), 1u);
        lines times;
        for (std::time_t seconds = before; seconds <= after; ++seconds) {
            char text[32];
            const std::size_t length = std::strftime(text, sizeof(text), "%m/%d %H:%M:%S", std::localtime(&seconds));
            times.emplace_back(text, length);
        }
        const std::string shown = writes[0].substr(0, std::strlen("11/20 10:42:52"));
        EXPECT_EQ(std::ranges::count(times, shown), 1) << shown << " is none of " << testing::PrintToString(times);
    });
}

TEST_F(log_output, is_not_printed_twice_by_a_process_that_forks)
{
    in_a_copy([] {
        const std::string cut(400, 'x');
        const lines writes = writes_of([&cut] {
            writer("before");
            writer(cut.c_str());
            if (const pid_t child = fork()) {
                waitpid(child, nullptr, 0);
                writer("parent");
            } else {
                writer("child");
            }
            std::fflush(stdout);
        });
        lines texts;
        for (const std::string& text : writes)
            texts.push_back(text.substr(text.find('|') + 2));
        EXPECT_EQ(texts, (lines{"before\n", cut.substr(0, LONGEST_MESSAGE), "child\n", "parent\n"}));
    });
}

TEST_F(log_output, stays_behind_what_the_program_printed_before)
{
    in_a_copy([] {
        const std::string cut(400, 'x');
        const lines writes = writes_of([&cut] {
            std::printf("before ");
            writer(cut.c_str());
            std::printf("between ");
            writer(cut.c_str());
            std::puts("after");
        });
        std::string output;
        for (const std::string& text : writes)
            output += text;
        const std::size_t line = prefix('E', "writer").size() + LONGEST_MESSAGE;
        EXPECT_EQ(output.substr(0, 7), "before ");
        EXPECT_EQ(output.substr(7 + line - LONGEST_MESSAGE, LONGEST_MESSAGE), cut.substr(0, LONGEST_MESSAGE));
        EXPECT_EQ(output.substr(7 + line, 8), "between ");
        EXPECT_EQ(output.substr(7 + line + 8 + line), "after\n");
    });
}

TEST(log_level, is_info_before_anything_is_configured)
{
    EXPECT_EQ(initial_level, 3);
}

TEST(log_line, carries_date_mark_letter_name_and_message)
{
    host h(VESK_LOG_DEBUG);
    VESK_LOG_AS("an_operation", VESK_LOG_CRITICAL, "c %d", 1);
    VESK_LOG_AS("an_operation", VESK_LOG_ERROR, "e %s", "two");
    VESK_LOG_AS("an_operation", VESK_LOG_INFO, "i");
    VESK_LOG_AS("an_operation", VESK_LOG_DEBUG, "%s", "");
    EXPECT_EQ(h.raw_log(), "11/20 10:42:52 d[C]                         an_operation | c 1\n"
                           "11/20 10:42:52 d[E]                         an_operation | e two\n"
                           "11/20 10:42:52 d[I]                         an_operation | i\n"
                           "11/20 10:42:52 d[D]                         an_operation | \n");
}

TEST(log_line, carries_the_name_of_the_function_that_writes)
{
    host h(VESK_LOG_DEBUG);
    writer("text");
    EXPECT_EQ(h.raw_log(), prefix('E', "writer") + "text\n");
    const auto check = [] { VESK_LOG_ASSERTION("../haldo_link/src/vesk_haldo_link_kmp", 123); };
    check();
    EXPECT_EQ(h.raw_log(), prefix('C', "operator()") +
                               "assertion in file ../haldo_link/src/vesk_haldo_link_kmp, function operator(), "
                               "line 123\n");
}

TEST(log_line, is_written_when_the_level_reaches_its_letter)
{
    const std::map<std::int32_t, std::string> printed{
        {INT_MIN, ""}, {-1, ""}, {0, ""}, {1, "C"}, {2, "CE"}, {3, "CEI"}, {4, "CEID"}, {5, "CEID"}, {INT_MAX, "CEID"}};
    for (const auto& [level, letters] : printed) {
        SCOPED_TRACE(level);
        host h(level);
        int evaluated = 0;
        VESK_LOG_AS("f", VESK_LOG_CRITICAL, "%d", ++evaluated);
        VESK_LOG_E("%d", ++evaluated);
        VESK_LOG_I("%d", ++evaluated);
        VESK_LOG_D("%d", ++evaluated);
        std::string seen;
        for (const std::string& line : h.log())
            seen += line[line.find(' ') + 1];
        EXPECT_EQ(seen, letters);
        EXPECT_EQ(static_cast<std::size_t>(evaluated), letters.size());
    }
}

TEST(log_line, shows_month_day_and_time_with_two_digits_each)
{
    host h;
    h.now = 1704423849;
    writer("text");
    EXPECT_EQ(h.raw_log(), prefix('E', "writer", "01/05 03:04:09") + "text\n");
    h.now = 1735689599;
    writer("text");
    EXPECT_EQ(h.raw_log(), prefix('E', "writer", "12/31 23:59:59") + "text\n");
}

TEST(log_line, shows_a_time_that_does_not_fit_31_bits)
{
    host h;
    h.now = 2147483648;
    writer("text");
    EXPECT_EQ(h.raw_log(), prefix('E', "writer", "01/19 03:14:08") + "text\n");
}

TEST(log_line, shows_the_local_time)
{
    const std::pair<const char*, const char*> cases[] = {
        {"EAST-5:30", "11/20 16:12:53"}, {"WEST7:40:45", "11/20 03:02:09"}, {"NEXTDAY-14", "11/21 00:42:55"}};
    int second = 0;
    for (const auto& [zone, date] : cases) {
        host h;
        h.now += ++second;
        setenv("TZ", zone, 1);
        writer("text");
        EXPECT_EQ(h.raw_log(), prefix('E', "writer", date) + "text\n");
    }
}

TEST(log_line, converts_the_time_once_a_second)
{
    host h;
    h.now += 5;
    writer("text");
    setenv("TZ", "EAST-5:30", 1);
    h.raw_log();
    writer("the same second");
    EXPECT_EQ(h.raw_log(), prefix('E', "writer", "11/20 10:42:57") + "the same second\n");
    h.now += 1;
    writer("the next one");
    EXPECT_EQ(h.raw_log(), prefix('E', "writer", "11/20 16:12:58") + "the next one\n");
    h.now -= 2;
    writer("the clock was set back");
    EXPECT_EQ(h.raw_log(), prefix('E', "writer", "11/20 16:12:56") + "the clock was set back\n");
}

TEST(log_line, leaves_the_times_that_the_program_has_converted)
{
    host h;
    h.now += 7;
    const std::time_t epoch = 0;
    const std::tm* const converted = std::localtime(&epoch);
    writer("text");
    EXPECT_EQ(h.raw_log(), prefix('E', "writer", "11/20 10:42:59") + "text\n");
    EXPECT_EQ(converted->tm_year, 70);
    EXPECT_EQ(converted->tm_sec, 0);
}

TEST(log_line, pads_a_name_to_36_columns_and_keeps_a_longer_one_whole)
{
    for (const std::size_t length : {1, 35, 36, 37, 100}) {
        host h;
        const std::string name(length, 'n');
        VESK_LOG_AS(name.c_str(), VESK_LOG_INFO, "text");
        EXPECT_EQ(h.raw_log(), prefix('I', name) + "text\n");
    }
}

TEST(log_line, is_cut_at_399_characters_without_its_newline)
{
    for (const std::size_t length : {338, 339, 340, 341, 399, 400, 5000}) {
        SCOPED_TRACE(length);
        host h;
        const std::string text(length, 'x');
        writer(text.c_str());
        EXPECT_EQ(h.raw_log(), (prefix('E', "writer") + text + "\n").substr(0, 399));
    }
}

TEST(log_line, is_cut_in_a_name_that_leaves_no_room)
{
    for (const std::size_t length : {370, 375, 376, 379, 380, 400, 5000}) {
        SCOPED_TRACE(length);
        host h;
        const std::string name(length, 'n');
        VESK_LOG_AS(name.c_str(), VESK_LOG_INFO, "text");
        EXPECT_EQ(h.raw_log(), (prefix('I', name) + "text\n").substr(0, 399));
    }
}

TEST(log_line, ends_in_one_newline_when_the_message_brings_its_own)
{
    const std::pair<std::string, std::string> cases[] = {
        {"text\n", "text\n"},
        {"\n", "\n"},
        {"text\n\n", "text\n\n"},
        {"te\nxt", "te\nxt\n"},
        {"text\n ", "text\n \n"},
        // The newline is the last character but one of the cut line.
        {std::string(LONGEST_MESSAGE - 2, 'x') + "\nx", std::string(LONGEST_MESSAGE - 2, 'x') + "\n"},
        {std::string(LONGEST_MESSAGE - 1, 'x') + "\nx", std::string(LONGEST_MESSAGE - 1, 'x') + "\n"},
    };
    for (const auto& [message, printed] : cases) {
        SCOPED_TRACE(testing::PrintToString(message));
        host h;
        writer(message.c_str());
        EXPECT_EQ(h.raw_log(), prefix('E', "writer") + printed);
    }
}

TEST(log_line, interprets_a_percent_sign_again_where_no_argument_is_needed)
{
    const std::pair<const char*, const char*> cases[] = {
        {"50%%", "50%"},
        {"%%%%", "%%"},
        {"%%s", "%s"},
        {"%m", "No such file or directory"},
        {"<%m%%%m>", "<No such file or directory%No such file or directory>"},
        {"%%m", "%m"},
    };
    for (const auto& [message, printed] : cases) {
        SCOPED_TRACE(message);
        host h;
        errno = ENOENT;
        writer(message);
        EXPECT_EQ(h.raw_log(), prefix('E', "writer") + printed + "\n");
    }
}

TEST(log_line, prints_a_conversion_that_needs_an_argument_as_text)
{
    for (const std::string conversion :
         {"%s",  "%n",  "%d",  "%i",          "%u",   "%x",   "%X",  "%o",  "%c",   "%p",  "%f",
          "%e",  "%g",  "%a",  "%C",          "%S",   "%hhn", "%hn", "%ln", "%lld", "%Lf", "%zu",
          "%jd", "%td", "%*d", "%.*s",        "%1$s", "%1$n", "%5m", "%-m", "%.3m", "%lm", "%1$m",
          "% m", "%5%", "%-%", "%999999999d", "%y",   "%w",   "%",   "% ",  "100%"}) {
        SCOPED_TRACE(conversion);
        host h;
        writer(conversion.c_str());
        EXPECT_EQ(h.raw_log(), prefix('E', "writer") + conversion + "\n");
    }
}

TEST(log_line, stays_in_bounds_when_it_is_nothing_but_percent_signs)
{
    const std::string percents(1000, '%');
    std::string conversions;
    while (conversions.size() < 1000)
        conversions += "%s";
    host h;
    writer(percents.c_str());
    EXPECT_EQ(h.raw_log(), prefix('E', "writer") + std::string(LONGEST_MESSAGE / 2, '%'));
    writer(conversions.c_str());
    EXPECT_EQ(h.raw_log(), prefix('E', "writer") + conversions.substr(0, LONGEST_MESSAGE));
    // Cut between the two signs: what is left is one.
    writer(("x" + percents).c_str());
    EXPECT_EQ(h.raw_log(), prefix('E', "writer") + "x" + std::string(LONGEST_MESSAGE / 2, '%'));
}

TEST(log_line, interprets_a_name_again_too)
{
    host h;
    VESK_LOG_AS("a%%b%s", VESK_LOG_INFO, "text");
    EXPECT_EQ(h.raw_log(), prefix('I', "a%%b%s").replace(prefix('I', "a%%b%s").find("%%"), 2, "%") + "text\n");
}

TEST(log_line, leaves_errno_as_it_was)
{
    host h;
    setenv("TZ", "No/Such/Zone", 1); // looked for with an errno of its own
    errno = EXDEV;
    writer("%m");
    EXPECT_EQ(errno, EXDEV);
    EXPECT_EQ(h.raw_log(), prefix('E', "writer") + "Invalid cross-device link\n");
}

TEST(log_line, leaves_errno_as_it_was_when_it_cannot_be_written)
{
    std::fflush(stdout);
    const pid_t child = fork();
    if (child == 0) {
        close(STDOUT_FILENO);
        std::setvbuf(stdout, nullptr, _IOLBF, BUFSIZ);
        errno = EXDEV;
        writer("text");
        _exit(errno == EXDEV ? 0 : 1);
    }
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
}

// --- Where a message goes ---

namespace
{

struct taken {
    eVESK_LOG_LEVEL level;
    std::string function;
    std::string text;
    int error;
    bool operator==(const taken&) const = default;
};
void PrintTo(const taken& one, std::ostream* to)
{
    *to << one.level << " " << one.function << " '" << one.text << "' errno " << one.error;
}
std::vector<taken> messages;

void take(eVESK_LOG_LEVEL level, const char* function, const char* text)
{
    messages.push_back({level, function, text, errno});
    errno = EIO;
}

// A writer is set for one test, and has got nothing yet.
class log_writer : public testing::Test
{
protected:
    static void set(vesk_log_writer own)
    {
        messages.clear();
        vesk_log_set_writer(own);
    }
    ~log_writer() override { vesk_log_set_writer(nullptr); }
};

} // namespace

TEST_F(log_writer, gets_level_function_and_text_and_nothing_is_printed)
{
    host h(VESK_LOG_DEBUG);
    set(take);
    errno = 0;
    VESK_LOG_AS("an_operation", VESK_LOG_CRITICAL, "c %d", 1);
    VESK_LOG_AS("an_operation", VESK_LOG_ERROR, "e");
    VESK_LOG_AS("an_operation", VESK_LOG_INFO, "%s", "");
    VESK_LOG_D("d");
    EXPECT_EQ(messages, (std::vector<taken>{{VESK_LOG_CRITICAL, "an_operation", "c 1", 0},
                                            {VESK_LOG_ERROR, "an_operation", "e", 0},
                                            {VESK_LOG_INFO, "an_operation", "", 0},
                                            {VESK_LOG_DEBUG, "TestBody", "d", 0}}));
    EXPECT_EQ(h.raw_log(), "");
}

TEST_F(log_writer, is_not_called_for_a_level_that_is_off)
{
    host h(VESK_LOG_ERROR);
    set(take);
    VESK_LOG_I("text");
    EXPECT_EQ(messages, std::vector<taken>{});
}

TEST_F(log_writer, gets_at_most_399_characters_of_a_message)
{
    host h;
    set(take);
    for (const std::size_t length : {340, 398, 399, 400, 5000})
        writer(std::string(length, 'x').c_str());
    std::vector<std::size_t> lengths;
    for (const taken& one : messages)
        lengths.push_back(one.text.size());
    EXPECT_EQ(lengths, (std::vector<std::size_t>{340, 398, 399, 399, 399}));
}

TEST_F(log_writer, gets_percent_signs_and_newlines_of_the_message_as_they_are)
{
    host h;
    set(take);
    errno = ENOENT;
    for (const char* const text : {"50%% of %m, %s", "text\n", "\n\n", "te\nxt"}) {
        messages.clear();
        writer(text);
        EXPECT_EQ(messages, (std::vector<taken>{{VESK_LOG_ERROR, "writer", text, ENOENT}}));
    }
}

TEST_F(log_writer, finds_errno_and_leaves_it_as_it_was_at_the_statement)
{
    host h;
    set(take);
    for (const int error : {0, EXDEV}) {
        errno = error;
        writer("text");
        EXPECT_EQ(errno, error);
        EXPECT_EQ(messages.back().error, error);
    }
}

TEST_F(log_writer, may_print_the_line_on_another_stream)
{
    static std::FILE* stream;
    char* printed = nullptr;
    std::size_t size = 0;
    stream = open_memstream(&printed, &size);
    for (const std::string& text : {std::string("text"), std::string("50%% of %m"), std::string("a line\n"),
                                    std::string("\n\n"), std::string(400, 'x'), std::string("%s%n")}) {
        SCOPED_TRACE(text);
        host h;
        errno = EACCES;
        writer(text.c_str());
        set([](eVESK_LOG_LEVEL level, const char* function, const char* message) {
            vesk_log_print(stream, level, function, message);
        });
        rewind(stream);
        writer(text.c_str());
        std::fflush(stream);
        EXPECT_EQ(std::string(printed, size), h.raw_log());
        set(nullptr);
    }
    std::fclose(stream);
    std::free(printed);
}

TEST_F(log_writer, is_the_line_on_standard_output_when_none_is_set)
{
    host h;
    set(take);
    writer("taken");
    set(nullptr);
    writer("printed");
    EXPECT_EQ(messages, std::vector<taken>{});
    EXPECT_EQ(h.raw_log(), prefix('E', "writer") + "printed\n");
}
