#include "supervisor.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <linux/seccomp.h>
#include <memory>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <sys/epoll.h>
#include <sys/ioctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/uio.h>
#include <system_error>
#include <unistd.h>

namespace
{

// --- What is taken ---

enum class what {
    OPEN,
    OPEN_HOW, // with its flags in memory
    CREATE,
    STAT,
    STATX,
    ACCESS,
};

// The calls that name a file, and where their arguments are.
struct path_call {
    int number; // negative where the processor has no such call
    what kind;
    int directory; // -1: none, as AT_FDCWD
    int path;
    int other; // flags, buffer or mode
};

constexpr path_call path_calls[] = {
    {SCMP_SYS(open), what::OPEN, -1, 0, 1},       {SCMP_SYS(openat), what::OPEN, 0, 1, 2},
    {SCMP_SYS(openat2), what::OPEN_HOW, 0, 1, 2}, {SCMP_SYS(creat), what::CREATE, -1, 0, 1},
    {SCMP_SYS(statx), what::STATX, 0, 1, 4},      {SCMP_SYS(access), what::ACCESS, -1, 0, 1},
    {SCMP_SYS(faccessat), what::ACCESS, 0, 1, 2}, {SCMP_SYS(faccessat2), what::ACCESS, 0, 1, 2},
#if __SIZEOF_POINTER__ == 8 // elsewhere the kernel's structure is not the C library's, which calls statx
    {SCMP_SYS(stat), what::STAT, -1, 0, 1},       {SCMP_SYS(lstat), what::STAT, -1, 0, 1},
    {SCMP_SYS(newfstatat), what::STAT, 0, 1, 2},
#endif
};

// The requests are told from those of other devices by these bits.
constexpr std::uint32_t request_mask = 0xFFFFFE00;
constexpr std::uint32_t request_bits = 0x7800;
static_assert(std::ranges::all_of(vesk_requests, [](const sVESK_REQUEST_STRUCT& known) {
    return (known.code & request_mask) == request_bits;
}));

// What a driver would give up to copy.
constexpr std::size_t longest_record = 1024 * 1024;

// --- The memory and the files of a process that waits ---

std::size_t read_memory(pid_t process, std::uint64_t address, void* to, std::size_t size)
{
    const iovec here{to, size};
    const iovec there{reinterpret_cast<void*>(address), size};
    const ssize_t length = process_vm_readv(process, &here, 1, &there, 1, 0);
    return length < 0 ? 0 : static_cast<std::size_t>(length);
}

bool write_memory(pid_t process, std::uint64_t address, const void* from, std::size_t size)
{
    const iovec here{const_cast<void*>(from), size};
    const iovec there{reinterpret_cast<void*>(address), size};
    return process_vm_writev(process, &here, 1, &there, 1, 0) == static_cast<ssize_t>(size);
}

// The text there, or nothing when it cannot be read or is longer than a path.
std::string read_path(pid_t process, std::uint64_t address)
{
    constexpr std::size_t step = 256; // divides a page: no step reaches into one that may not be there
    std::string text;
    while (text.size() < PATH_MAX) {
        char bytes[step];
        const std::size_t length = read_memory(process, address, bytes, step - address % step);
        if (length == 0)
            return {};
        const std::size_t end = strnlen(bytes, length);
        text.append(bytes, end);
        if (end < length)
            return text;
        address += length;
    }
    return {};
}

std::string read_link(const std::string& path)
{
    std::error_code error;
    return std::filesystem::read_symlink(path, error);
}

std::string in_proc(pid_t process, const std::string& name)
{
    return "/proc/" + std::to_string(process) + "/" + name;
}

std::string descriptor_link(pid_t process, int descriptor)
{
    return read_link(in_proc(process, "fd/" + std::to_string(descriptor)));
}

std::optional<eVESK_NODE> node_at(const seccomp_notif& call, const path_call& taken)
{
    static constexpr struct {
        std::string_view path;
        eVESK_NODE node;
    } nodes[] = {{VESK_NODE_PATH_HCC, VESK_NODE_HCC}, {VESK_NODE_PATH_HDC, VESK_NODE_HDC}};
    const auto process = static_cast<pid_t>(call.pid);
    std::string path = read_path(process, call.data.args[taken.path]);
    for (const auto& one : nodes) {
        // Nearly every call ends here.
        if (!path.ends_with(one.path.substr(one.path.rfind('/') + 1)))
            continue;
        if (!path.starts_with('/')) {
            const int directory = taken.directory < 0 ? AT_FDCWD : static_cast<int>(call.data.args[taken.directory]);
            const std::string base =
                directory == AT_FDCWD ? read_link(in_proc(process, "cwd")) : descriptor_link(process, directory);
            if (base.empty())
                return {};
            path = base + "/" + path;
        }
        if (std::filesystem::path(path).lexically_normal() == one.path)
            return one.node;
    }
    return {};
}

// --- What a node looks like ---

constexpr mode_t node_mode = S_IFCHR | 0600;
constexpr unsigned int node_major = 240; // the first of those that are for local use

struct stat plain_status(eVESK_NODE node)
{
    struct stat status = {};
    status.st_ino = static_cast<ino_t>(node) + 1;
    status.st_mode = node_mode;
    status.st_nlink = 1;
    status.st_uid = geteuid();
    status.st_gid = getegid();
    status.st_rdev = makedev(node_major, node);
    status.st_blksize = 4096;
    return status;
}

struct statx extended_status(eVESK_NODE node)
{
    const struct stat plain = plain_status(node);
    struct statx status = {};
    status.stx_mask = STATX_BASIC_STATS;
    status.stx_ino = plain.st_ino;
    status.stx_mode = static_cast<std::uint16_t>(plain.st_mode);
    status.stx_nlink = static_cast<std::uint32_t>(plain.st_nlink);
    status.stx_uid = plain.st_uid;
    status.stx_gid = plain.st_gid;
    status.stx_rdev_major = major(plain.st_rdev);
    status.stx_rdev_minor = minor(plain.st_rdev);
    status.stx_blksize = static_cast<std::uint32_t>(plain.st_blksize);
    return status;
}

template <class Status> int copy_status(const seccomp_notif& call, int argument, const Status& status)
{
    return write_memory(static_cast<pid_t>(call.pid), call.data.args[argument], &status, sizeof(status)) ? 0 : -EFAULT;
}

[[noreturn]] void fail(const char* what_failed, int error = errno)
{
    throw std::system_error(error, std::generic_category(), what_failed);
}

} // namespace

int stop_in_calls()
{
    const std::unique_ptr<void, void (*)(scmp_filter_ctx)> filter(seccomp_init(SCMP_ACT_ALLOW), seccomp_release);
    if (!filter)
        fail("no filter can be made", ENOMEM);
    // What runs another kind of code than this program's finds no card, and runs.
    int result = seccomp_attr_set(filter.get(), SCMP_FLTATR_ACT_BADARCH, SCMP_ACT_ALLOW);
    for (const path_call& taken : path_calls)
        if (result == 0 && taken.number >= 0)
            result = seccomp_rule_add(filter.get(), SCMP_ACT_NOTIFY, taken.number, 0);
    if (result == 0)
        result = seccomp_rule_add(filter.get(), SCMP_ACT_NOTIFY, SCMP_SYS(ioctl), 1,
                                  SCMP_A1(SCMP_CMP_MASKED_EQ, request_mask, request_bits));
    // Only root may without giving up for all of its children that su and the like change the user.
    if (result == 0)
        result = seccomp_attr_set(filter.get(), SCMP_FLTATR_CTL_NNP, 0);
    if (result != 0)
        fail("no filter can be made", -result);
    result = seccomp_load(filter.get());
    if (result != 0 && errno == EACCES) { // of the kernel's errors the result tells some only
        seccomp_attr_set(filter.get(), SCMP_FLTATR_CTL_NNP, 1);
        result = seccomp_load(filter.get());
    }
    if (result != 0)
        fail("seccomp");
    return seccomp_notify_fd(filter.get());
}

supervisor::supervisor(cardsim::card& served, int listener)
    : m_card(served), m_listener(listener), m_closes(epoll_create1(EPOLL_CLOEXEC))
{
    if (m_closes < 0)
        fail("epoll_create1");
    if (const int result = seccomp_notify_alloc(&m_call, nullptr); result != 0)
        fail("seccomp_notify_alloc", -result);
}

supervisor::~supervisor()
{
    for (const auto& [link, one] : m_opened)
        close(one.other_end);
    seccomp_notify_free(m_call, nullptr);
    close(m_closes);
    close(m_listener);
}

void supervisor::require_means(pid_t process, const char& known) const
{
    // No call has the number 0, so a kernel that can hand over a descriptor does not find it.
    seccomp_notif_addfd probe{};
    probe.srcfd = static_cast<std::uint32_t>(m_closes);
    if (ioctl(m_listener, SECCOMP_IOCTL_NOTIF_ADDFD, &probe) == 0 || errno != ENOENT)
        throw std::runtime_error("the kernel is too old: Linux 5.9 or newer is needed");
    if (read_link("/proc/self") != std::to_string(getpid()))
        throw std::runtime_error("/proc is missing, or shows another PID namespace's processes");
    char byte = 0;
    if (read_memory(process, reinterpret_cast<std::uint64_t>(&known), &byte, 1) != 1 || byte != known)
        fail("the command's memory cannot be read (a container may need the capability SYS_PTRACE)");
}

void supervisor::take_call()
{
    std::memset(m_call, 0, sizeof(*m_call));
    if (seccomp_notify_receive(m_listener, m_call) != 0)
        return; // its caller is gone
    // What the caller has closed before comes before.
    take_closes();
    answer(*m_call);
}

void supervisor::answer(const seccomp_notif& call)
{
    const auto* const arguments = call.data.args;
    const auto process = static_cast<pid_t>(call.pid);
    if (call.data.nr == SCMP_SYS(ioctl)) {
        const auto found = m_opened.find(descriptor_link(process, static_cast<int>(arguments[0])));
        return found != m_opened.end() ? request(call, found->second.node)
                                       : respond(call.id, 0, SECCOMP_USER_NOTIF_FLAG_CONTINUE);
    }
    const auto* const taken = std::ranges::find(path_calls, call.data.nr, &path_call::number);
    const std::optional<eVESK_NODE> node = node_at(call, *taken);
    // What was read is the caller's own only if it still waits.
    if (!node || !still_waits(call.id))
        return respond(call.id, 0, SECCOMP_USER_NOTIF_FLAG_CONTINUE);
    const std::uint64_t other = arguments[taken->other];
    switch (taken->kind) {
    case what::OPEN:
        return open(call, *node, other);
    case what::OPEN_HOW: {
        std::uint64_t flags = 0;
        return read_memory(process, other, &flags, sizeof(flags)) == sizeof(flags) ? open(call, *node, flags)
                                                                                   : respond(call.id, -EFAULT);
    }
    case what::CREATE:
        return open(call, *node, O_CREAT | O_WRONLY | O_TRUNC);
    case what::STAT:
        return respond(call.id, copy_status(call, taken->other, plain_status(*node)));
    case what::STATX:
        return respond(call.id, copy_status(call, taken->other, extended_status(*node)));
    case what::ACCESS:
        return respond(call.id, (other & X_OK) != 0 ? -EACCES : 0);
    }
}

void supervisor::open(const seccomp_notif& call, eVESK_NODE node, std::uint64_t flags)
{
    if ((flags & O_CREAT) != 0 && (flags & O_EXCL) != 0)
        return respond(call.id, -EEXIST);
    if ((flags & O_DIRECTORY) != 0)
        return respond(call.id, -ENOTDIR);
    int ends[2];
    if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return respond(call.id, -errno);
    const auto [ours, theirs] = ends;
    shutdown(ours, SHUT_WR);
    if ((flags & O_NONBLOCK) != 0)
        fcntl(theirs, F_SETFL, O_NONBLOCK);
    epoll_event closed{};
    closed.events = EPOLLIN;
    closed.data.fd = ours;
    const std::string link = descriptor_link(getpid(), theirs);
    // The caller goes on only when this program holds the end no more, so that each close is told at once, and in
    // order.
    seccomp_notif_addfd handed{};
    handed.id = call.id;
    handed.srcfd = static_cast<std::uint32_t>(theirs);
    handed.newfd_flags = static_cast<std::uint32_t>(flags & O_CLOEXEC);
    // One that an interrupted open of the same thread has left there is replaced.
    const auto process = static_cast<pid_t>(call.pid);
    if (const auto left = m_left.find(process);
        left != m_left.end() && descriptor_link(process, left->second.first) == left->second.second) {
        handed.flags = SECCOMP_ADDFD_FLAG_SETFD;
        handed.newfd = static_cast<std::uint32_t>(left->second.first);
    }
    const int result = epoll_ctl(m_closes, EPOLL_CTL_ADD, ours, &closed) != 0
                           ? -1
                           : ioctl(m_listener, SECCOMP_IOCTL_NOTIF_ADDFD, &handed);
    const int error = errno;
    close(theirs);
    if (is_answered(call.id, result < 0 ? -error : result, 0) && result >= 0) {
        m_opened[link] = {node, ours};
        m_left.erase(process);
        m_card.open(node);
    } else {
        close(ours);
        if (result >= 0)
            m_left[process] = {result, link};
    }
}

void supervisor::take_closes()
{
    // Each once: what is written to one without an end keeps nobody waiting.
    epoll_event event;
    for (std::size_t left = m_opened.size(); left != 0 && epoll_wait(m_closes, &event, 1, 0) > 0; --left) {
        const int other_end = event.data.fd;
        if ((event.events & EPOLLHUP) == 0) {
            char lost[4096];
            [[maybe_unused]] const ssize_t length = recv(other_end, lost, sizeof(lost), MSG_DONTWAIT);
            continue;
        }
        const auto closed =
            std::ranges::find_if(m_opened, [=](const auto& one) { return one.second.other_end == other_end; });
        m_card.release(closed->second.node);
        close(other_end);
        m_opened.erase(closed);
    }
}

void supervisor::request(const seccomp_notif& call, eVESK_NODE node)
{
    const auto code = static_cast<std::uint32_t>(call.data.args[1]);
    const std::uint64_t address = call.data.args[2];
    const auto process = static_cast<pid_t>(call.pid);
    std::vector<std::uint8_t> record;
    // One that states its own length is read twice.
    for (std::size_t length; record.size() < (length = cardsim::record_length(code, record));) {
        if (length > longest_record) {
            if (m_card.observer)
                m_card.observer({node, code, record, record, {-ENOMEM}, false});
            return respond(call.id, -ENOMEM);
        }
        record.resize(length);
        if (read_memory(process, address, record.data(), length) != length)
            return respond(call.id, -EFAULT);
    }
    if (!still_waits(call.id))
        return;
    const auto end = m_card.serve(node, code, record);
    reply made{call.id, process, address, end.result, std::move(record)};
    if (end.delay_ms == 0)
        send(made);
    else
        m_delayed.add(end.delay_ms, std::move(made));
}

void supervisor::send_due()
{
    m_delayed.send_due([this](const reply& end) { send(end); });
}

void supervisor::send(const reply& end) const
{
    if (!still_waits(end.call))
        return;
    const bool is_lost = end.result >= 0 && !end.record.empty() &&
                         !write_memory(end.process, end.address, end.record.data(), end.record.size());
    respond(end.call, is_lost ? -EFAULT : end.result);
}

void supervisor::respond(std::uint64_t call, int result, std::uint32_t flags) const
{
    is_answered(call, result, flags);
}

bool supervisor::is_answered(std::uint64_t call, int result, std::uint32_t flags) const
{
    seccomp_notif_resp response{};
    response.id = call;
    response.flags = flags;
    response.val = result < 0 ? 0 : result;
    response.error = result < 0 ? result : 0;
    return seccomp_notify_respond(m_listener, &response) == 0;
}

bool supervisor::still_waits(std::uint64_t call) const
{
    return seccomp_notify_id_valid(m_listener, call) == 0;
}
