// What stands in front of the C library's ptrace when it is preloaded: answer, which the including source defines.
#pragma once

#include <cstdarg>
#include <dlfcn.h>
#include <sys/ptrace.h>

using ptrace_call = long (*)(__ptrace_request request, ...);

// next: the ptrace behind this one.
static long answer(ptrace_call next, __ptrace_request request, void* process, void* address, void* data);

extern "C" long ptrace(__ptrace_request request, ...) noexcept
{
    static const auto next = reinterpret_cast<ptrace_call>(dlsym(RTLD_NEXT, "ptrace"));
    va_list arguments;
    va_start(arguments, request);
    void* process = va_arg(arguments, void*);
    void* address = va_arg(arguments, void*);
    void* data = va_arg(arguments, void*);
    va_end(arguments);
    return answer(next, request, process, address, data);
}
