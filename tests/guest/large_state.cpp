// Preloaded, a stand-in for a host whose processor has a large register state (AMX): a process's extended state has
// 11,008 bytes, and setting less than all of it is refused. The processor's own state is its beginning, zero the rest.

#include "preloaded_ptrace.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstring>
#include <elf.h>
#include <sys/uio.h>

namespace
{

char state[65536];
constexpr std::size_t large = 11008;

} // namespace

static long answer(ptrace_call next, __ptrace_request request, void* process, void* address, void* data)
{
    const bool gets = request == PTRACE_GETREGSET;
    if ((!gets && request != PTRACE_SETREGSET) || address != reinterpret_cast<void*>(NT_X86_XSTATE))
        return next(request, process, address, data);
    std::memset(state, 0, large);
    iovec own = {state, sizeof state};
    if (next(PTRACE_GETREGSET, process, address, &own) != 0)
        return -1;
    iovec& caller = *static_cast<iovec*>(data);
    const std::size_t whole = std::max(own.iov_len, large);
    caller.iov_len = std::min(caller.iov_len, whole);
    if (gets) {
        std::memcpy(caller.iov_base, state, caller.iov_len);
        return 0;
    }
    if (caller.iov_len < whole) {
        errno = EFAULT;
        return -1;
    }
    own.iov_base = caller.iov_base;
    return next(request, process, address, &own);
}
