// One of the card's two nodes in /dev, made by the kernel's CUSE and served by this process.
#pragma once

#include "../delayed_replies.h"
#include "card.h"

#include <fuse3/fuse_lowlevel.h>

#include <cstdint>
#include <memory>
#include <system_error>
#include <vector>

// /dev/cuse cannot be used.
class no_cuse : public std::system_error
{
    using std::system_error::system_error;
};

class device_node
{
public:
    // Throws no_cuse when this process may not use /dev/cuse.
    static void require_cuse();

    // Asks the kernel for the node at path, which exists once serve has been called for the kernel's first events.
    // served: what answers; it outlives this object. Throws no_cuse.
    device_node(cardsim::card& served, eVESK_NODE node, const char* path);

    // Takes the node out of /dev. What clients still ask of it fails.
    ~device_node();

    device_node(const device_node&) = delete;
    device_node& operator=(const device_node&) = delete;

    // Readable when there is something to serve.
    int fd() const { return fuse_session_fd(m_session.get()); }

    // Takes one event from the kernel, if there is one, and answers it, and gives the replies that are due. Returns
    // false once the kernel has given the node up.
    bool serve();

    // How long poll may wait for this node: until its next delayed reply is due, -1 when there is none.
    int timeout_ms() const { return m_delayed.timeout_ms(); }

    cardsim::card& card;
    const eVESK_NODE node;
    const char* const path;

    // How a client's ioctl ends.
    struct outcome {
        fuse_req_t request;
        int result;                       // as ioctl returns it, an error as -errno
        std::vector<std::uint8_t> record; // what the client gets unless it is an error
    };

    // Replies, now or later: the one place that ends an ioctl.
    void reply(outcome&& end, std::uint32_t delay_ms = 0);

    // Its delayed reply is due now.
    void hasten(fuse_req_t request);

private:
    std::unique_ptr<fuse_session, void (*)(fuse_session*)> m_session;
    fuse_buf m_buffer{};
    delayed_replies<outcome> m_delayed;
};
