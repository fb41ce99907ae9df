/// Memory that runs out when a test requests it. For one source of a program: it replaces the C++ runtime's operators,
/// all of them, as sanitizers take a block of one family and a release in another for a mismatch.
#pragma once

#include <cstdlib>
#include <new>

/// Allocations of this thread that succeed before one fails, after which all succeed again; -1: none fails.
inline thread_local int gBlocksLeft = -1;
/// Size of the arrays whose allocation fails; 0 for none.
inline std::size_t gDeniedBlock = 0;

// Not inlined, as GCC takes a block of one and free() in the other for a mismatch.
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return gBlocksLeft >= 0 && gBlocksLeft-- == 0 ? nullptr : std::malloc(size);
}
[[gnu::noinline]] void* operator new(std::size_t size) {
    if (void* const block = operator new(size, std::nothrow)) return block;
    throw std::bad_alloc();
}
[[gnu::noinline]] void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return size == gDeniedBlock ? nullptr : operator new(size, std::nothrow);
}
[[gnu::noinline]] void* operator new[](std::size_t size) { return operator new(size); }
[[gnu::noinline]] void operator delete(void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block) noexcept { std::free(block); }
[[gnu::noinline]] void operator delete[](void* block, std::size_t) noexcept { std::free(block); }
