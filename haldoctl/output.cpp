#include "output.h"

#include "failure.h"

#include <sys/ioctl.h>
#include <unistd.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace haldoctl
{

namespace
{

constexpr int SCHEMA_VERSION = 2;

// Objects below the result are written as "name.field", arrays of them as "name.0.field".
void collect_lines(const json& value, const std::string& name, std::vector<std::pair<std::string, std::string>>& lines)
{
    const bool has_objects =
        value.is_array() && std::ranges::any_of(value, [](const json& one) { return one.is_structured(); });
    if (!value.is_object() && !has_objects) {
        lines.emplace_back(name, value_text(value));
        return;
    }
    for (const auto& [key, below] : value.items())
        collect_lines(below, name.empty() ? key : name + "." + key, lines);
}

} // namespace

void print(const std::string& output)
{
    std::size_t written = 0;
    while (written < output.size()) {
        const ssize_t length = write(STDOUT_FILENO, output.data() + written, output.size() - written);
        if (length < 0 && errno != EINTR)
            throw failure{REFUSED, std::string("standard output: ") + std::strerror(errno)};
        written += length > 0 ? static_cast<std::size_t>(length) : 0;
    }
}

void print_document(const std::string& command, const char* name, const json& content)
{
    const json document{
        {"schema_version", SCHEMA_VERSION}, {"command", command.empty() ? json() : json(command)}, {name, content}};
    print(document.dump(2, ' ', false, json::error_handler_t::replace) + "\n");
}

std::string value_text(const json& value)
{
    if (value.is_null() || value == "")
        return "-";
    if (value.is_string())
        return harmless(value.get<std::string>());
    if (value.is_boolean())
        return value.get<bool>() ? "yes" : "no";
    if (value.is_array()) {
        std::string all;
        for (const json& one : value)
            all += (all.empty() ? "" : " ") + value_text(one);
        return all.empty() ? "-" : all;
    }
    return value.dump();
}

std::string fields(const json& result)
{
    std::vector<std::pair<std::string, std::string>> lines;
    collect_lines(result, "", lines);
    std::size_t width = 0;
    for (const auto& [name, value] : lines)
        width = std::max(width, name.size());
    std::string text;
    for (const auto& [name, value] : lines)
        text += name + std::string(width - name.size() + 2, ' ') + value + "\n";
    return text;
}

std::string harmless(const std::string& text)
{
    std::string result;
    const auto byte_at = [&text](std::size_t i) { return static_cast<unsigned char>(i < text.size() ? text[i] : 0); };
    for (std::size_t i = 0, escaped_until = 0; i < text.size(); ++i) {
        if (byte_at(i) == 0xC2 && byte_at(i + 1) >= 0x80 && byte_at(i + 1) < 0xA0) // a control character in UTF-8
            escaped_until = i + 2;
        if (std::iscntrl(byte_at(i)) == 0 && i >= escaped_until) {
            result += text[i];
        } else {
            char escaped[5];
            std::snprintf(escaped, sizeof(escaped), "\\x%02X", byte_at(i));
            result += escaped;
        }
    }
    return result;
}

std::string paint(colour in, const std::string& text)
{
    const char* const no_color = std::getenv("NO_COLOR");
    const bool is_coloured = isatty(STDOUT_FILENO) != 0 && (no_color == nullptr || *no_color == '\0');
    return is_coloured ? "\x1B[" + std::to_string(static_cast<int>(in)) + "m" + text + "\x1B[0m" : text;
}

int columns()
{
    winsize size{};
    return ioctl(STDOUT_FILENO, TIOCGWINSZ, &size) == 0 && size.ws_col != 0 ? size.ws_col : 80;
}

} // namespace haldoctl
