// The life of one command.
#include "commands.h"
#include "usage.h"

#include "vesk_log.h"

#include <algorithm>
#include <cstdio>
#include <fcntl.h>
#include <unistd.h>

namespace haldoctl
{

namespace
{

// No device node takes the place of a closed stream, and what is written to one fails as before.
void occupy_closed_streams()
{
    for (const int stream : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
        if (fcntl(stream, F_GETFD) < 0)
            open("/dev/null", O_RDONLY);
}

// Results alone go to standard output.
void log_to_standard_error(eVESK_LOG_LEVEL level, const char* function, const char* text)
{
    vesk_log_print(stderr, level, function, text);
}

int log_level(std::int64_t verbosity)
{
    return verbosity == 0 ? VESK_LOG_OFF
                          : static_cast<int>(std::min<std::int64_t>(VESK_LOG_CRITICAL + verbosity, VESK_LOG_DEBUG));
}

int report(const failure& failed, const command_line& line)
{
    std::fprintf(stderr, "haldoctl: %s\n", harmless(failed.message).c_str());
    if (failed.status == USAGE)
        std::fprintf(stderr, "Try '%s --help'.\n", full_name(wrong_level(line.root())).c_str());
    if (line.chosen().is_json) {
        json error{{"status", failed.status}, {"message", failed.message}};
        if (failed.code != VESK_OK) {
            error["code"] = failed.code;
            error["name"] = vesk_result_name(failed.code);
        }
        try {
            print_document(line.chosen().name, "error", error);
        } catch (const failure&) { // there is nowhere to say it
        }
    }
    return failed.status;
}

int run(int argc, char** argv)
{
    occupy_closed_streams();
    vesk_log_set_writer(log_to_standard_error);
    command_line line;
    add_commands(line);
    try {
        line.parse(argc, argv);
        const choice& chosen = line.chosen();
        if (!chosen.help.empty()) {
            print(chosen.help);
            return DONE;
        }
        m_log_level = log_level(chosen.verbosity);
        invocation given(chosen.is_json);
        const json result = chosen.run(given);
        if (chosen.is_json)
            print_document(chosen.name, "result", result);
        else
            print(given.text ? *given.text : fields(result));
        return given.status;
    } catch (const failure& failed) {
        return report(failed, line);
    } catch (const std::exception& error) {
        return report({REFUSED, error.what()}, line);
    }
}

} // namespace

} // namespace haldoctl

int main(int argc, char** argv)
{
    return haldoctl::run(argc, argv);
}
