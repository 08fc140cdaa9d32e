#include "options.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <getopt.h>
#include <limits>
#include <optional>

namespace
{

constexpr char help[] =
    R"(Usage: haldo-cardsim --journal FILE [OPTION]...

Simulates a host card: makes /dev/haldo_host0 and /dev/haldo_host1 with the kernel's CUSE and answers as a card and
its driver would, until SIGTERM or SIGINT. Needs the kernel module cuse and root.

  --journal FILE          append a line to FILE for every open, release and request
  --command-map N         firmware commands offered, as a bit map (0x7801)
  --readable-map N        variables that can be read, as a bit map (0x7802, variable 0)
  --writable-map N        variables that can be written, as a bit map (0x7803, variable 0)
  --session IP            start with a connected session of the client at IP, a text of at most 35 characters
  --fail CODE[=ERRNO]     let every request CODE fail with ERRNO, a name or a number (EIO); may be given repeatedly
  --help                  print this text

N and CODE are decimal, or hexadecimal with 0x. All is offered unless a map says otherwise. Records above 128 KiB do
not pass the kernel: it fails them with ENOMEM and the card does not see them.

Exit status: 0 ended by a signal, 1 failed while running, 2 wrong command line, 4 /dev/cuse missing or not permitted.
)";

[[noreturn]] void refuse(const std::string& sentence)
{
    std::fprintf(stderr, "haldo-cardsim: %s\nTry 'haldo-cardsim --help'.\n", sentence.c_str());
    std::exit(2);
}

std::string quoted(const std::string& word)
{
    return "'" + word + "'";
}

std::optional<std::uint32_t> parse_number(const std::string& text)
{
    if (text.empty() || std::strchr("0123456789", text[0]) == nullptr)
        return std::nullopt;
    char* end = nullptr;
    errno = 0;
    const unsigned long long value = std::strtoull(text.c_str(), &end, 0);
    if (errno != 0 || *end != '\0' || value > std::numeric_limits<std::uint32_t>::max())
        return std::nullopt;
    return static_cast<std::uint32_t>(value);
}

std::uint32_t map_word(const char* option, const char* text)
{
    const auto word = parse_number(text);
    if (!word)
        refuse(std::string(option) + ": " + quoted(text) + " is not a number of 32 bits");
    return *word;
}

std::string peer(const std::string& ip)
{
    if (ip.empty() || ip.size() >= sizeof(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT::ip))
        refuse("--session: " + quoted(ip) + " has no length between 1 and 35");
    return ip;
}

int parse_error(const std::string& text)
{
    const auto number = parse_number(text);
    for (int error = 1; error < 256; ++error) {
        const char* name = strerrorname_np(error);
        if (name != nullptr && (text == name || number == static_cast<std::uint32_t>(error)))
            return error;
    }
    refuse("--fail: " + quoted(text) + " is not an errno");
}

options::fault parse_fault(const std::string& text)
{
    const std::size_t equals = text.find('=');
    const auto code = parse_number(text.substr(0, equals));
    if (!code || cardsim::find_request(*code) == nullptr)
        refuse("--fail: " + quoted(text.substr(0, equals)) + " is not the code of a request");
    return {*code, equals == std::string::npos ? EIO : parse_error(text.substr(equals + 1))};
}

} // namespace

options parse_options(int argc, char** argv)
{
    enum {
        JOURNAL = 1,
        COMMAND_MAP,
        READABLE_MAP,
        WRITABLE_MAP,
        SESSION,
        FAIL,
        HELP
    };
    static const option known[] = {
        {"journal", required_argument, nullptr, JOURNAL},
        {"command-map", required_argument, nullptr, COMMAND_MAP},
        {"readable-map", required_argument, nullptr, READABLE_MAP},
        {"writable-map", required_argument, nullptr, WRITABLE_MAP},
        {"session", required_argument, nullptr, SESSION},
        {"fail", required_argument, nullptr, FAIL},
        {"help", no_argument, nullptr, HELP},
        {},
    };
    options result;

    for (;;) {
        const char* word = argv[optind];
        // '+' stops at the first word that is no option, ':' leaves the messages to us.
        switch (getopt_long(argc, argv, "+:", known, nullptr)) {
        case JOURNAL:
            result.journal = optarg;
            break;
        case COMMAND_MAP:
            result.firmware.commands.map[0] = map_word("--command-map", optarg);
            break;
        case READABLE_MAP:
            result.firmware.readable.map[0] = map_word("--readable-map", optarg);
            break;
        case WRITABLE_MAP:
            result.firmware.writable.map[0] = map_word("--writable-map", optarg);
            break;
        case SESSION:
            result.session = peer(optarg);
            break;
        case FAIL:
            result.faults.push_back(parse_fault(optarg));
            break;
        case HELP:
            std::fputs(help, stdout);
            std::exit(0);
        case ':':
            refuse(quoted(word) + " needs a value");
        case '?':
            refuse(quoted(word) + " is not an option");
        default:
            if (optind < argc)
                refuse(quoted(argv[optind]) + " is one word too many");
            if (result.journal.empty())
                refuse("--journal FILE is missing");
            return result;
        }
    }
}
