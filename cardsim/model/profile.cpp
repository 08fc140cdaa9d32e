#include "profile.h"

#include <algorithm>
#include <cctype>
#include <fstream>
#include <stdexcept>

namespace cardsim
{

namespace
{

void read_line(profile& into, std::string_view line)
{
    const std::size_t equals = line.find('=');
    if (trimmed(line.substr(0, equals)) != "session" || equals == std::string_view::npos) {
        assign_state(into.start, line);
        return;
    }
    const std::string_view ip = trimmed(line.substr(equals + 1));
    into.session = ip == "none" ? "" : session_address(ip);
}

} // namespace

std::string session_address(std::string_view text)
{
    if (text.empty() || text.size() >= sizeof(sVESK_HALDO_HCC_APDU_HMI_VAR_SESS_LINK_STRUCT::ip))
        throw std::invalid_argument(in_quotes(text) + " has no length between 1 and 35");
    const auto* const other =
        std::ranges::find_if(text, [](unsigned char character) { return character == ' ' || std::iscntrl(character); });
    if (other != text.end())
        throw std::invalid_argument(in_quotes({text.begin(), other}) +
                                    " is followed by a blank or a control character");
    return std::string(text);
}

profile read_profile(std::istream& from, const std::string& name)
{
    profile result;
    std::string line;
    for (unsigned number = 1; std::getline(from, line); ++number) {
        const std::string_view text = trimmed(line);
        if (text.empty() || text[0] == '#')
            continue;
        try {
            read_line(result, text);
        } catch (const std::invalid_argument& error) {
            throw std::invalid_argument(name + ":" + std::to_string(number) + ": " + error.what());
        }
    }
    if (from.bad())
        throw std::invalid_argument(in_quotes(name) + " cannot be read");
    return result;
}

profile find_profile(const std::string& name, std::span<const std::string> directories)
{
    if (name.find('/') != std::string::npos) {
        std::ifstream file(name);
        if (!file)
            throw std::invalid_argument(in_quotes(name) + " cannot be read");
        return read_profile(file, name);
    }
    for (const std::string& directory : directories) {
        const std::string path = directory + "/" + name + ".profile";
        std::ifstream file(path);
        if (file)
            return read_profile(file, path);
    }
    throw std::invalid_argument(in_quotes(name) + " is not a profile; a file's name has a '/'");
}

} // namespace cardsim
