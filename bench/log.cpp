// The log's statements: one whose level is off, and one that writes its line to a file, beside the same by hand and,
// where it was built with it, spdlog. Everyone appends to the same file: bench_log FILE.
#include "measure.h"
#include "vesk_log.h"

#include <cstdio>
#include <cstring>
#include <ctime>
#include <fstream>
#include <string>
#include <unistd.h>
#ifdef HALDO_SPDLOG
#include <spdlog/sinks/basic_file_sink.h>
#endif

// Visible from outside, so that it must be loaded each time.
std::int32_t level_by_hand = VESK_LOG_INFO;
const char* user = "operator";
int display = 1;

static void statement_off()
{
    VESK_LOG_D("user %s on display %d", user, display);
}

static void load_and_branch()
{
    if (level_by_hand >= VESK_LOG_DEBUG)
        std::printf("user %s on display %d", user, display);
}

static void line()
{
    VESK_LOG_AS("poll_user", VESK_LOG_INFO, "user %s on display %d", user, display);
}

// The least there is: the time is converted once a second, and the line goes out with one write.
static void line_by_hand()
{
    static std::time_t converted;
    static char time_text[16];
    char text[400];
    const std::time_t now = std::time(nullptr);
    if (now != converted) {
        std::tm local;
        localtime_r(&now, &local);
        std::strftime(time_text, sizeof(time_text), "%m/%d %H:%M:%S", &local);
        converted = now;
    }
    const int length = std::snprintf(text, sizeof(text), "%s d[I] %36s | user %s on display %d\n", time_text,
                                     "poll_user", user, display);
    [[maybe_unused]] const auto written = write(STDOUT_FILENO, text, static_cast<std::size_t>(length));
}

#ifdef HALDO_SPDLOG
static spdlog::logger* logger;

static void spdlog_statement_off()
{
    logger->debug("user {} on display {}", user, display);
}

static void spdlog_line()
{
    logger->log(spdlog::source_loc{__FILE__, __LINE__, "poll_user"}, spdlog::level::info, "user {} on display {}", user,
                display);
}
#endif

// What a writer appends to the file, without the time.
static std::string appended(const char* path, void (*writer)())
{
    std::ifstream file(path);
    file.seekg(0, std::ios::end);
    writer();
    std::string text;
    std::getline(file, text, '\0');
    return text.size() > 14 ? text.substr(14) : text;
}

static bool same_line(const char* path, void (*writer)())
{
    const std::string ours = appended(path, line);
    const std::string theirs = appended(path, writer);
    if (ours != theirs)
        std::fprintf(stderr, "not the same line:\n%s%s", ours.c_str(), theirs.c_str());
    return ours == theirs;
}

int main(int argc, char** argv)
{
    if (argc != 2) {
        std::fprintf(stderr, "usage: bench_log FILE\n");
        return 2;
    }
    const char* const path = argv[1];
    claim_standard_output(path);
    bool same = same_line(path, line_by_hand);
    print({"log", "a statement whose level is off", "one load and one branch", 1.05, ""},
          measure(loop<statement_off>, loop<load_and_branch>));
#ifdef HALDO_SPDLOG
    spdlog::logger logger_of_file("log", std::make_shared<spdlog::sinks::basic_file_sink_st>(path));
    logger = &logger_of_file;
    logger->set_pattern("%m/%d %H:%M:%S d[%L] %36! | %v");
    logger->set_level(spdlog::level::info);
    logger->flush_on(spdlog::level::info);
    same = same_line(path, spdlog_line) && same;
    print({"log", "a statement whose level is off", "spdlog's", 0.2, ""},
          measure(loop<statement_off>, loop<spdlog_statement_off>));
    print({"log", "a line written", "spdlog's basic file sink, each line flushed", 1.0, ""},
          measure(loop<line>, loop<spdlog_line>));
#endif
    print({"log", "a line written", "snprintf and write by hand, the time converted once a second", 1.05, ""},
          measure(loop<line>, loop<line_by_hand>));
    unlink(path);
    return same ? 0 : 1;
}
