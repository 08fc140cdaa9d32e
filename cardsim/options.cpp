#include "options.h"

#include "control.h"
#include "control_socket.h"
#include "number_text.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <getopt.h>
#include <map>
#include <stdexcept>
#include <utility>

namespace
{

using cardsim::in_quotes;

constexpr char help[] =
    R"(Usage: haldo-cardsim run [OPTION]... [--] PROGRAM [ARGUMENT]...
       haldo-cardsim [OPTION]...
       haldo-cardsim ctl [--control SOCKET] COMMAND [WORD]...

Simulates a host card: answers at /dev/haldo_host0 and /dev/haldo_host1 as a card and its driver would. With run it
does so for PROGRAM and all that it starts, and ends with it; no root and no node is needed. Without, it makes both
nodes with the kernel's CUSE for the whole machine, until SIGTERM, SIGINT or SIGHUP; that needs the kernel module cuse
and root.

  --profile FILE|NAME     what firmware and client offer and hold, before all other options: a file, whose name has a
                          '/', or brokered, client-idle-hide, client-sc, full or minimal-firmware
  --command-map N         firmware commands offered, as a bit map (0x7801)
  --readable-map N        variables that can be read, as a bit map (0x7802, variable 0)
  --writable-map N        variables that can be written, as a bit map (0x7803, variable 0)
  --context FIELD=N       set a field of the client's KMP context (0x7822), as cur_shape_caches=3; may be given
                          repeatedly
  --session IP            start with a connected session of the client at IP, a word of at most 35 characters
  --fail CODE[=ERRNO]     let every request CODE fail with ERRNO, a name or a number (EIO); may be given repeatedly
  --seed N                seed of the random bytes that replies are filled with (1)
  --journal FILE          append a line to FILE for every open, release and request
  --words FILE            append a line to FILE for every request, in words, with its time
  --record FILE           write every request to FILE, so that it can be replayed
  --control SOCKET        where ctl finds the card (/run/haldo-cardsim.socket; with run, PROGRAM finds its own)
  --help                  print this text
  --version               print the version

N and CODE are decimal, or hexadecimal with 0x. All is offered unless a map or the context says otherwise. Records
above 128 KiB do not pass CUSE, those above 1 MiB not run: they fail with ENOMEM.

Exit status: 0 ended by a signal, 1 failed while running or a line could not be written, 2 wrong command line,
4 /dev/cuse missing or not permitted. With run that of PROGRAM, 128 and the signal's number when one ended it; 127 and
126 when it is not found or not executable, 125 when it could not be run for another reason.
)";

// Where NAME.profile is found: beside the program, built or installed.
std::vector<std::string> profile_directories()
{
    std::error_code error;
    const auto directory = std::filesystem::read_symlink("/proc/self/exe", error).parent_path();
    return {directory / "profiles", directory / INSTALLED_PROFILES};
}

std::string bit_map(const std::string& text)
{
    if (!haldo::parse_number<std::uint32_t>(text))
        throw std::invalid_argument(in_quotes(text) + " is not a number of 32 bits");
    return text;
}

void set_context_field(options& result, const std::string& text)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos)
        throw std::invalid_argument(in_quotes(text) + " is not FIELD=N");
    const auto keys = cardsim::state_keys();
    if (std::ranges::find(keys, "context." + text.substr(0, equals)) == keys.end())
        throw std::invalid_argument(in_quotes(text.substr(0, equals)) + " is not a field of the context");
    assign_state(result.profile.start, text, "context.");
}

options::fault parse_fault(const std::string& text)
{
    const std::size_t equals = text.find('=');
    return {cardsim::parse_code(text.substr(0, equals)),
            equals == std::string::npos ? EIO : cardsim::parse_errno(text.substr(equals + 1))};
}

// What each option does with its value, in the order in which their values are taken.
struct known_option {
    const char* name;
    void (*take)(options& result, const std::string& value);
};

constexpr known_option known_options[] = {
    {"profile",
     [](options& to, const std::string& value) { to.profile = cardsim::find_profile(value, profile_directories()); }},
    {"command-map",
     [](options& to, const std::string& value) { set_state(to.profile.start, "commands", bit_map(value)); }},
    {"readable-map",
     [](options& to, const std::string& value) { set_state(to.profile.start, "readable", bit_map(value)); }},
    {"writable-map",
     [](options& to, const std::string& value) { set_state(to.profile.start, "writable", bit_map(value)); }},
    {"context", set_context_field},
    {"session", [](options& to, const std::string& value) { to.profile.session = cardsim::session_address(value); }},
    {"fail", [](options& to, const std::string& value) { to.faults.push_back(parse_fault(value)); }},
    {"seed",
     [](options& to, const std::string& value) { to.seed = *haldo::parse_number<std::uint32_t>(bit_map(value)); }},
    {"journal", [](options& to, const std::string& value) { to.journal = value; }},
    {"words", [](options& to, const std::string& value) { to.words = value; }},
    {"record", [](options& to, const std::string& value) { to.record = value; }},
    {"control", [](options& to, const std::string& value) { to.control = socket_path(value); }},
};

} // namespace

void refuse(const std::string& sentence)
{
    std::fprintf(stderr, "haldo-cardsim: %s\nTry 'haldo-cardsim --help'.\n", sentence.c_str());
    std::exit(2);
}

int print(std::string_view text)
{
    if (std::fwrite(text.data(), 1, text.size(), stdout) == text.size() && std::fflush(stdout) == 0)
        return 0;
    std::perror("haldo-cardsim: standard output");
    return 1;
}

options parse_options(int argc, char** argv, behind_options wanted)
{
    constexpr int HELP = std::size(known_options);
    constexpr int VERSION = HELP + 1;
    std::vector<option> names;
    for (int i = 0; i < HELP; ++i)
        names.push_back({known_options[i].name, required_argument, nullptr, i});
    names.push_back({"help", no_argument, nullptr, HELP});
    names.push_back({"version", no_argument, nullptr, VERSION});
    names.push_back({});

    std::multimap<int, std::string> given; // in the order of the table
    for (;;) {
        const char* word = argv[optind];
        // '+' stops at the first word that is no option, ':' leaves the messages to us.
        const int found = getopt_long(argc, argv, "+:", names.data(), nullptr);
        if (found == -1)
            break;
        if (found == ':')
            refuse(in_quotes(word) + " needs a value");
        if (found == '?')
            refuse(in_quotes(word) + " is not an option");
        if (found == HELP)
            std::exit(print(help));
        if (found == VERSION)
            std::exit(print("haldo-cardsim " HALDO_VERSION "\n"));
        given.emplace(found, optarg);
    }
    options result;
    result.command.assign(argv + optind, argv + argc);
    if (wanted == behind_options::COMMAND && result.command.empty())
        refuse("the program to run is missing");
    if (wanted == behind_options::NOTHING && !result.command.empty())
        refuse(in_quotes(result.command[0]) + " is one word too many");
    for (const auto& [which, value] : given) {
        try {
            known_options[which].take(result, value);
        } catch (const std::invalid_argument& error) {
            refuse(std::string("--") + known_options[which].name + ": " + error.what());
        }
    }
    return result;
}
