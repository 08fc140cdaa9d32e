#include "options.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <getopt.h>
#include <limits>
#include <optional>
#include <string_view>

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
  --context FIELD=N       set a field of the client's KMP context (0x7822), as cur_shape_caches=3; may be given
                          repeatedly
  --session IP            start with a connected session of the client at IP, a text of at most 35 characters
  --fail CODE[=ERRNO]     let every request CODE fail with ERRNO, a name or a number (EIO); may be given repeatedly
  --help                  print this text

N and CODE are decimal, or hexadecimal with 0x. All is offered unless a map or the context says otherwise. Records
above 128 KiB do not pass the kernel: it fails them with ENOMEM and the card does not see them.

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

std::uint32_t number_of_bits(std::size_t bits, const char* option, const std::string& text)
{
    const auto number = parse_number(text);
    if (!number || std::uint64_t{*number} >> bits != 0)
        refuse(std::string(option) + ": " + quoted(text) + " is not a number of " + std::to_string(bits) + " bits");
    return *number;
}

using context_record = sVESK_HALDO_HCC_KMP_PRI_CTXT_STRUCT;

struct context_field {
    std::string_view name;
    std::size_t offset;
    std::size_t width; // bytes
};

#define FIELD(name) #name, offsetof(context_record, name), sizeof(context_record::name)
constexpr context_field context_fields[] = {
    {FIELD(request)},
    {FIELD(pri_num)},
    {FIELD(kmp_supported)},
    {FIELD(kmp_enabled)},
    {FIELD(encodings_supported)},
    {FIELD(haldo_kmp_1_supported)},
    {FIELD(cur_shape_caches_supported)},
    {FIELD(cur_shape_cache_size_supported)},
    {FIELD(cur_shape_caches)},
    {FIELD(cur_shape_cache_size)},
    {FIELD(cur_shape_bmp_supported)},
    {FIELD(cur_shape_bmp_alpha)},
    {FIELD(cur_shape_bmp_color)},
    {FIELD(cur_shape_max_size_supported)},
    {FIELD(cur_shape_max_size_x)},
    {FIELD(cur_shape_max_size_y)},
    {FIELD(kbd_client_auto_repeat_supported)},
    {FIELD(kbd_client_auto_repeat_enable)},
    {FIELD(cur_shape_fadeout_supported)},
    {FIELD(cur_shape_fadeout_enable)},
    {FIELD(cur_speed_update_supported)},
    {FIELD(cur_speed_update_enable)},
    {FIELD(usb_supported)},
    {FIELD(usb_enable)},
    {FIELD(relative_mouse_supported)},
    {FIELD(relative_mouse_enable)},
    {FIELD(host_hid_driver_update_supported)},
    {FIELD(host_hid_driver_update_enable)},
    {FIELD(hoip_supported)},
    {FIELD(hoip_enable)},
};
#undef FIELD

void set_context_field(context_record& context, const std::string& text)
{
    const std::size_t equals = text.find('=');
    if (equals == std::string::npos)
        refuse("--context: " + quoted(text) + " is not FIELD=N");
    const std::string name = text.substr(0, equals);
    const auto* const field = std::ranges::find(context_fields, name, &context_field::name);
    if (field == std::end(context_fields))
        refuse("--context: " + quoted(name) + " is not a field of the context");
    const std::uint32_t number = number_of_bits(field->width * 8, "--context", text.substr(equals + 1));
    std::memcpy(reinterpret_cast<std::uint8_t*>(&context) + field->offset, &number, field->width);
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
        CONTEXT,
        SESSION,
        FAIL,
        HELP
    };
    static const option known[] = {
        {"journal", required_argument, nullptr, JOURNAL},
        {"command-map", required_argument, nullptr, COMMAND_MAP},
        {"readable-map", required_argument, nullptr, READABLE_MAP},
        {"writable-map", required_argument, nullptr, WRITABLE_MAP},
        {"context", required_argument, nullptr, CONTEXT},
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
            result.firmware.commands.map[0] = number_of_bits(32, "--command-map", optarg);
            break;
        case READABLE_MAP:
            result.firmware.readable.map[0] = number_of_bits(32, "--readable-map", optarg);
            break;
        case WRITABLE_MAP:
            result.firmware.writable.map[0] = number_of_bits(32, "--writable-map", optarg);
            break;
        case CONTEXT:
            set_context_field(result.firmware.kmp_context, optarg);
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
