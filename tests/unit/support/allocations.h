// What the code under test takes with malloc and calloc and gives back with free. A program that uses it wraps the
// three.
#pragma once

#include <cstddef>

// Counts while an object of this class lives. One allocation can be made to fail.
class allocations
{
public:
    explicit allocations(int failing = -1) : failing(failing) { watching = this; }
    ~allocations() { watching = nullptr; }
    allocations(const allocations&) = delete;
    allocations& operator=(const allocations&) = delete;

    std::size_t sizes[64] = {};
    int tried = 0;
    int freed = 0; // of what was allocated so, then or before

    // The blocks that were allocated so, at any time, and are not freed.
    static std::size_t living();

    // Whether the next allocation, of this size, succeeds.
    bool grants(std::size_t size)
    {
        sizes[tried % 64] = size;
        return tried++ != failing;
    }

    static inline allocations* watching = nullptr;

private:
    int failing; // counted from 0
};
