#include "device_node.h"

#include <fuse3/cuse_lowlevel.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fcntl.h>
#include <string>
#include <unistd.h>
#include <utility>

namespace
{

device_node& node_of(fuse_req_t request)
{
    return *static_cast<device_node*>(fuse_req_userdata(request));
}

// The callbacks let no exception into the library: without memory the process ends, and the kernel fails what is
// unanswered.

void on_ready(void* userdata) noexcept
{
    std::printf("haldo-cardsim: %s is ready\n", static_cast<device_node*>(userdata)->path);
    std::fflush(stdout);
}

void on_open(fuse_req_t request, fuse_file_info* file) noexcept
{
    node_of(request).card.open(node_of(request).node);
    fuse_reply_open(request, file);
}

void on_release(fuse_req_t request, fuse_file_info*) noexcept
{
    node_of(request).card.release(node_of(request).node);
    fuse_reply_err(request, 0);
}

// The client of a delayed reply was signalled. One that is to die does not until it has its reply.
void on_interrupt(fuse_req_t request, void* node) noexcept
{
    static_cast<device_node*>(node)->hasten(request);
}

// The kernel takes as much of a client's memory as this for one request, and no more.
constexpr std::size_t longest_record = 128 * 1024;

// The kernel asks without the record at first, and again with as much of it as the answer told it to fetch.
void on_ioctl(fuse_req_t request, int command, void* argument, fuse_file_info*, unsigned, const void* data,
              std::size_t size, std::size_t) noexcept
{
    device_node& node = node_of(request);
    const auto code = static_cast<std::uint32_t>(command);
    const auto* const bytes = static_cast<const std::uint8_t*>(data);
    std::vector<std::uint8_t> record(bytes, bytes + size);

    const std::size_t length = cardsim::record_length(code, record);
    if (length > longest_record) {
        if (node.card.observer)
            node.card.observer({node.node, code, record, record, {-ENOMEM}, false});
        node.reply({request, -ENOMEM, {}});
        return;
    }
    if (size < length) {
        const iovec whole{argument, length};
        fuse_reply_ioctl_retry(request, &whole, 1, &whole, 1);
        return;
    }
    const auto end = node.card.serve(node.node, code, record);
    node.reply({request, end.result, std::move(record)}, end.delay_ms);
}

void send(const device_node::outcome& end)
{
    if (end.result < 0)
        fuse_reply_err(end.request, -end.result);
    else
        fuse_reply_ioctl(end.request, end.result, end.record.data(), end.record.size());
}

fuse_session* new_session(device_node& owner)
{
    cuse_lowlevel_ops operations{};
    operations.init_done = on_ready;
    operations.open = on_open;
    operations.release = on_release;
    operations.ioctl = on_ioctl;

    const std::string name = std::string("DEVNAME=") + (owner.path + std::strlen("/dev/"));
    const char* information[] = {name.c_str()};
    cuse_info info{};
    info.dev_info_argc = 1;
    info.dev_info_argv = information;
    info.flags = CUSE_UNRESTRICTED_IOCTL;

    char program[] = "haldo-cardsim";
    char* arguments[] = {program, nullptr};
    fuse_args args = FUSE_ARGS_INIT(1, arguments);
    return cuse_lowlevel_new(&args, &info, &operations, &owner);
}

constexpr char cuse[] = "/dev/cuse";

[[noreturn]] void fail_to_open()
{
    throw no_cuse(errno, std::generic_category(), std::string(cuse) + " cannot be opened");
}

} // namespace

void device_node::require_cuse()
{
    if (access(cuse, R_OK | W_OK) != 0)
        fail_to_open();
}

device_node::device_node(cardsim::card& served, eVESK_NODE which, const char* where)
    : card(served), node(which), path(where), m_session(new_session(*this), fuse_session_destroy)
{
    // Without O_NONBLOCK a client that dies between poll and read would block both nodes.
    const int channel = open(cuse, O_RDWR | O_CLOEXEC | O_NONBLOCK);
    if (channel < 0)
        fail_to_open();
    // The library takes a descriptor that is already open by this name.
    if (!m_session || fuse_session_mount(m_session.get(), ("/dev/fd/" + std::to_string(channel)).c_str()) != 0)
        throw no_cuse(EIO, std::generic_category(), "/dev/cuse cannot be used");
}

device_node::~device_node()
{
    m_delayed.send_all(send);
    std::free(m_buffer.mem);
}

void device_node::reply(outcome&& end, std::uint32_t delay_ms)
{
    if (delay_ms == 0) {
        send(end);
        return;
    }
    const fuse_req_t request = end.request;
    m_delayed.add(delay_ms, std::move(end));
    fuse_req_interrupt_func(request, on_interrupt, this);
}

void device_node::hasten(fuse_req_t request)
{
    m_delayed.hasten([=](const outcome& one) { return one.request == request; });
}

bool device_node::serve()
{
    const int size = fuse_session_receive_buf(m_session.get(), &m_buffer);
    if (size > 0)
        fuse_session_process_buf(m_session.get(), &m_buffer);
    m_delayed.send_due(send);
    return fuse_session_exited(m_session.get()) == 0;
}
