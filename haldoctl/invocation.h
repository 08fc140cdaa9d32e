// What a command gets, and what it gives back beside its result.
#pragma once

#include "failure.h"
#include "output.h"
#include "vesk_haldo_link.h"

#include <algorithm>
#include <csignal>
#include <cstring>
#include <functional>
#include <memory>
#include <optional>
#include <string>

namespace haldoctl
{

class invocation
{
public:
    // is_silent: nothing is printed until the result.
    explicit invocation(bool is_silent) : m_is_silent(is_silent) {}

    // The link, constructed at the first call.
    cVESK_HALDO_LINK& link();

    // The same with the context that firmware and client have agreed on, fetched at the first call. Throws when there
    // is none.
    cVESK_HALDO_LINK& kmp_link();

    // Throws the failure that a result of the link stands for. what: the thing that could not be had or done, as in
    // "the session tag".
    void require(int result, const std::string& what);

    // What the program ends with, for a result that is no success all the same.
    exit_status status = DONE;

    // The text form of the result, where it is not the list of its fields.
    std::optional<std::string> text;

    // Prints a part of the result that is there already, on a line of its own.
    void progress(const json& part) const;

private:
    bool m_is_silent;
    std::optional<cVESK_HALDO_LINK> m_link;
    bool m_has_context = false;
};

// A command returns its result, an object; or throws a failure.
using command = std::function<json(invocation&)>;

// Commands that are one operation of the link: one that reads, and prints what member gives of it under this key; one
// that sets a number, and prints it; and one that has nothing but a result. what: as for require.
using link_getter = cVESK_HALDO_LINK& (invocation::*)();

template <typename Record, typename Member>
command reading(int (cVESK_HALDO_LINK::*get)(Record*), Member member, const std::string& key, const std::string& what,
                link_getter link = &invocation::link)
{
    return [=](invocation& given) -> json {
        Record record{};
        given.require(((given.*link)().*get)(&record), what);
        return {{key, std::invoke(member, record)}};
    };
}
command setting(int (cVESK_HALDO_LINK::*set)(unsigned int), const std::shared_ptr<unsigned int>& value,
                const std::string& key, const std::string& what, link_getter link = &invocation::link);
command operation(int (cVESK_HALDO_LINK::*call)(), const json& result, const std::string& what,
                  link_getter link = &invocation::link);

// A text of the card, which may fill its member.
template <std::size_t size> std::string text_of(const char (&member)[size])
{
    return {member, strnlen(member, size)};
}

// Puts a text into a member that it may fill.
template <std::size_t size> void put_text(char (&member)[size], const std::string& text)
{
    std::memset(member, 0, size);
    std::memcpy(member, text.data(), std::min(text.size(), size));
}

// Why a node cannot be opened, as errno says it, or 0.
int node_error(const char* path);

// Blocks SIGINT and SIGTERM, for a command that waits for one of them. Returns the two.
sigset_t block_interrupts();

} // namespace haldoctl
