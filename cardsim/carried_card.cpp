#include "carried_card.h"

#include "control.h"
#include "record.h"
#include "words.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <fcntl.h>
#include <stdexcept>
#include <system_error>
#include <unistd.h>
#include <vector>

namespace
{

// "2026-11-20 15:04:05.678", local time.
std::string time_text()
{
    timespec now{};
    clock_gettime(CLOCK_REALTIME, &now);
    tm parts{};
    localtime_r(&now.tv_sec, &parts);
    char text[32];
    const std::size_t length = std::strftime(text, sizeof(text), "%F %T", &parts);
    std::snprintf(text + length, sizeof(text) - length, ".%03d", static_cast<int>(now.tv_nsec / 1000000));
    return text;
}

} // namespace

line_file::line_file(const char* option, const std::string& path, int flags)
    : m_option(option), m_is_wanted(!path.empty())
{
    if (m_is_wanted)
        m_fd = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | flags, 0644);
    if (m_is_wanted && m_fd < 0)
        throw std::system_error(errno, std::generic_category(), std::string(option) + " '" + path + "'");
}

line_file::~line_file()
{
    if (m_fd >= 0)
        close(m_fd);
}

void line_file::empty()
{
    if (m_fd >= 0 && ftruncate(m_fd, 0) != 0 && errno != EINVAL)
        give_up();
}

void line_file::write_line(std::string_view text)
{
    const std::string line = std::string(text) + "\n";
    for (std::string_view rest = line; m_fd >= 0 && !rest.empty();) {
        const ssize_t length = write(m_fd, rest.data(), rest.size());
        if (length < 0)
            give_up();
        else
            rest.remove_prefix(static_cast<std::size_t>(length));
    }
}

void line_file::give_up()
{
    std::fprintf(stderr, "haldo-cardsim: %s: %s\n", m_option, std::strerror(errno));
    close(m_fd);
    m_fd = -1;
}

carried_card::carried_card(const options& given, const std::string& path)
    : m_journal("journal", given.journal, O_APPEND), m_words("words", given.words, O_APPEND),
      m_record("record", given.record),
      card(given.profile.start.offered, [this](std::string_view line) { m_journal.write_line(line); })
{
    const cardsim::state& start = given.profile.start;
    card.kept = start.kept;
    card.seed(given.seed);
    try {
        control.emplace(path, [this](std::span<const std::string> command) { return execute(command); });
    } catch (const std::exception& error) {
        throw std::runtime_error(std::string("control socket: ") + error.what());
    }

    m_record.empty();
    for (const std::string& line : cardsim::record_start(start, given.seed))
        m_record.write_line(line);
    if (!given.profile.session.empty())
        execute(std::vector<std::string>{"connect", given.profile.session});
    for (const auto& fault : given.faults)
        execute(std::vector<std::string>{"fail", std::to_string(fault.code), std::to_string(fault.error)});
    if (m_words.is_wanted() || m_record.is_wanted())
        card.observer = [this](const cardsim::card::exchange& one) {
            m_words.write_line(time_text() + " " + cardsim::words_of(one));
            if (one.carried)
                m_record.write_line(cardsim::record_line(one));
        };
}

std::string carried_card::execute(std::span<const std::string> command)
{
    const std::string answer = cardsim::control(card, command);
    if (cardsim::changes_card(command[0]))
        m_record.write_line(cardsim::record_line(command));
    return answer;
}
