/// Memory that runs out when a test wants it to. For one source of a program: it replaces the C++ runtime's operators.
#pragma once

#include <cstdlib>
#include <new>

/// Blocks that this thread can have before one can't be had, after which all can again; -1 for all.
inline thread_local int gBlocksLeft = -1;

// Not inlined, as GCC takes a block of one and free() in the other for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (gBlocksLeft >= 0 && gBlocksLeft-- == 0) throw std::bad_alloc();
    if (void* const block = std::malloc(size)) return block;
    throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }
