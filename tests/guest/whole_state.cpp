// Preloaded into user-mode Linux, for processors with a large register state (AMX: 11,008 bytes). It sets a process's
// extended state from an area of fixed size, 2,696 bytes or less, and a host's kernel refuses one that is shorter than
// the whole. Here the area becomes the beginning of the whole state, whose rest stays as the process has it.

#include "preloaded_ptrace.h"

#include <cstddef>
#include <cstring>
#include <elf.h>
#include <sys/mman.h>
#include <sys/uio.h>

namespace
{

// Kept from call to call, and not from the heap: user-mode Linux comes here at moments and on stacks of its own.
char first_room[4096];
iovec room = {first_room, sizeof first_room};

// The whole state of a process, in the room, which grows until the state does not fill it.
bool get(ptrace_call next, void* process, iovec& state)
{
    for (;;) {
        state = room;
        if (next(PTRACE_GETREGSET, process, reinterpret_cast<void*>(NT_X86_XSTATE), &state) != 0)
            return false;
        if (state.iov_len < room.iov_len)
            return true;
        const std::size_t size = 2 * room.iov_len;
        void* memory = mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (memory == MAP_FAILED)
            return false;
        room = {memory, size};
    }
}

} // namespace

// What the next one returns and leaves in errno stays as it is, also for the requests that peek.
static long answer(ptrace_call next, __ptrace_request request, void* process, void* address, void* data)
{
    iovec state;
    if (request == PTRACE_SETREGSET && address == reinterpret_cast<void*>(NT_X86_XSTATE) && get(next, process, state)) {
        const iovec& given = *static_cast<const iovec*>(data);
        if (given.iov_len < state.iov_len) {
            std::memcpy(state.iov_base, given.iov_base, given.iov_len);
            data = &state;
        }
    }
    return next(request, process, address, data);
}
