// One of the card's two nodes in /dev, made by the kernel's CUSE and served by this process.
#pragma once

#include "card.h"

#include <fuse3/fuse_lowlevel.h>

#include <memory>

class device_node
{
public:
    // Asks the kernel for the node at path, which exists once serve has been called for the kernel's first events.
    // served: what answers; it outlives this object. Throws std::system_error when /dev/cuse cannot be used.
    device_node(cardsim::card& served, eVESK_NODE node, const char* path);

    // Takes the node out of /dev. What clients still ask of it fails.
    ~device_node();

    device_node(const device_node&) = delete;
    device_node& operator=(const device_node&) = delete;

    // Readable when there is something to serve.
    int fd() const { return fuse_session_fd(m_session.get()); }

    // Takes one event from the kernel, if there is one, and answers it. Returns false once the kernel has given the
    // node up.
    bool serve();

    cardsim::card& card;
    const eVESK_NODE node;
    const char* const path;

private:
    std::unique_ptr<fuse_session, void (*)(fuse_session*)> m_session;
    fuse_buf m_buffer{};
};
