// exit takes the lock under which the C library opens and closes streams. A signal handler that interrupts one of these
// calls must not wait for it.
#pragma once

#include <csignal>

inline volatile std::sig_atomic_t exit_lock_taken = 0;

// Makes such a call.
template <class Call> auto with_exit_lock(Call call)
{
    exit_lock_taken = 1;
    const auto result = call();
    exit_lock_taken = 0;
    return result;
}
