// What every carrier has: a card as the options want it, the files that it writes, and the socket that steers it.
#pragma once

#include "card.h"
#include "control_socket.h"
#include "options.h"

#include <optional>
#include <span>
#include <string>
#include <string_view>

// A file that lines are written to, if it was asked for.
class line_file
{
public:
    // option: which one it is, for messages. flags: beside those of every file. Throws std::system_error when the file
    // cannot be opened.
    line_file(const char* option, const std::string& path, int flags = 0);
    ~line_file();
    line_file(const line_file&) = delete;
    line_file& operator=(const line_file&) = delete;

    bool is_wanted() const { return m_is_wanted; }
    bool is_good() const { return !m_is_wanted || m_fd >= 0; }

    // Without what was in it. What is no file, as a pipe, stays as it is.
    void empty();

    // One write a line: other programs append to the same file. A file that one fails for takes no more.
    void write_line(std::string_view text);

private:
    void give_up();

    const char* m_option;
    bool m_is_wanted;
    int m_fd = -1;
};

class carried_card
{
public:
    // Opens the files, then listens at the path control, then does what the options order. Throws std::runtime_error
    // when one of them cannot be had; the record is as it was then.
    carried_card(const options& given, const std::string& control);

    // Whether every line could be written.
    bool has_told_all() const { return m_journal.is_good() && m_words.is_good() && m_record.is_good(); }

private:
    std::string execute(std::span<const std::string> command);

    line_file m_journal;
    line_file m_words;
    line_file m_record;

public:
    cardsim::card card;
    std::optional<control_socket> control;
};
