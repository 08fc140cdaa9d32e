#include "allocations.h"

#include <unordered_set>

// Never destroyed: something may be freed later than that.
static std::unordered_set<void*>& blocks()
{
    static auto& value = *new std::unordered_set<void*>;
    return value;
}

std::size_t allocations::living()
{
    return blocks().size();
}

static bool granted(std::size_t size)
{
    return allocations::watching == nullptr || allocations::watching->grants(size);
}

static void* noted(void* memory)
{
    if (memory != nullptr)
        blocks().insert(memory);
    return memory;
}

extern "C" void* __real_malloc(std::size_t size);
extern "C" void* __wrap_malloc(std::size_t size)
{
    return granted(size) ? noted(__real_malloc(size)) : nullptr;
}

extern "C" void* __real_calloc(std::size_t count, std::size_t size);
extern "C" void* __wrap_calloc(std::size_t count, std::size_t size)
{
    return granted(count * size) ? noted(__real_calloc(count, size)) : nullptr;
}

extern "C" void __real_free(void* memory);
extern "C" void __wrap_free(void* memory)
{
    if (blocks().erase(memory) != 0 && allocations::watching != nullptr)
        ++allocations::watching->freed;
    __real_free(memory);
}
