#include "invocation.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace haldoctl
{

namespace
{

// Whether something else has a node's name.
bool is_no_device(const char* path)
{
    struct stat status = {};
    return stat(path, &status) == 0 && !S_ISCHR(status.st_mode);
}

failure missing_node(int code)
{
    for (const char* path : {VESK_NODE_PATH_HCC, VESK_NODE_PATH_HDC})
        if (const int error = node_error(path); error != 0)
            return {NO_NODE, std::string(path) + ": " + std::strerror(error), code};
    return {NO_NODE, "a device node could not be opened", code};
}

} // namespace

cVESK_HALDO_LINK& invocation::link()
{
    if (!m_link)
        m_link.emplace();
    return *m_link;
}

cVESK_HALDO_LINK& invocation::kmp_link()
{
    if (!m_has_context) {
        link().kmp_pri_ctxt_get();
        if (link().kmp_context() == nullptr)
            require(link().is_ready() ? VESK_FAILED : VESK_NOT_INITIALIZED, "the context of the session's client");
    }
    m_has_context = true;
    return link();
}

void invocation::require(int result, const std::string& what)
{
    switch (result) {
    case VESK_OK:
        return;
    case VESK_NOT_SUPPORTED:
        // Firmware that cannot be asked offers nothing.
        if ((!link().is_ready() || is_no_device(VESK_NODE_PATH_HCC)) && node_error(VESK_NODE_PATH_HCC) != 0)
            throw missing_node(VESK_NOT_INITIALIZED);
        throw failure{NOT_OFFERED,
                      std::string("the ") + (m_has_context ? "client" : "firmware") + " does not offer " + what,
                      result};
    case VESK_NOT_INITIALIZED:
    case VESK_OPEN_FAILED:
        throw missing_node(result);
    case VESK_NO_MEMORY:
        throw failure{REFUSED, "there is no memory for " + what, result};
    default:
        throw failure{REFUSED, "the card refused " + what, result};
    }
}

void invocation::progress(const json& part) const
{
    if (m_is_silent)
        return;
    std::string line;
    for (const auto& [name, value] : part.items())
        line += (line.empty() ? "" : "  ") + name + " " + value_text(value);
    print(line + "\n");
}

command setting(int (cVESK_HALDO_LINK::*set)(unsigned int), const std::shared_ptr<unsigned int>& value,
                const std::string& key, const std::string& what, link_getter link)
{
    return [=](invocation& given) -> json {
        given.require(((given.*link)().*set)(*value), what);
        return {{key, *value}};
    };
}

command operation(int (cVESK_HALDO_LINK::*call)(), const json& result, const std::string& what, link_getter link)
{
    return [=](invocation& given) {
        given.require(((given.*link)().*call)(), what);
        return result;
    };
}

int node_error(const char* path)
{
    if (is_no_device(path))
        return ENOTTY; // as its requests fail
    const int node = open(path, O_RDWR | O_CLOEXEC);
    if (node < 0)
        return errno;
    close(node);
    return 0;
}

sigset_t block_interrupts()
{
    sigset_t interrupts;
    sigemptyset(&interrupts);
    sigaddset(&interrupts, SIGINT);
    sigaddset(&interrupts, SIGTERM);
    sigprocmask(SIG_BLOCK, &interrupts, nullptr);
    return interrupts;
}

} // namespace haldoctl
