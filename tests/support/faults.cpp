#include "support/faults.hpp"

#include "ks/ks_stg.h"

#include <cstddef>
#include <cstdlib>
#include <mutex>
#include <new>

namespace {

struct thread_state {
    bool active, lasting, happened;
    int nth, asked, suspended;
};

constinit thread_local thread_state state{};

// Decides about one allocation of the calling thread.
bool must_fail() noexcept {
    if (!state.active || state.suspended != 0) return false;
    state.asked++;
    const bool fails = state.nth > 0 && (state.lasting ? state.asked >= state.nth : state.asked == state.nth);
    state.happened |= fails;
    return fails;
}

int storage_hook(void *) { return must_fail(); }

// The hook stays from the first use to the end of the process: other threads may be refusing as well.
void install_hook() {
    static std::once_flag once;
    std::call_once(once, [] { stg_set_failure_hook(storage_hook, nullptr); });
}

void *allocate(std::size_t size) noexcept { return must_fail() ? nullptr : std::malloc(size != 0 ? size : 1); }

void *allocate(std::size_t size, std::align_val_t alignment) noexcept {
    const auto align = static_cast<std::size_t>(alignment);
    void *memory = nullptr;
    if (must_fail()) return nullptr;
    return posix_memalign(&memory, align < sizeof(void *) ? sizeof(void *) : align, size != 0 ? size : 1) == 0
               ? memory
               : nullptr;
}

void *or_throw(void *memory) {
    if (!memory) throw std::bad_alloc();
    return memory;
}

} // namespace

namespace faults {

refuse::refuse(int nth, bool lasting) {
    install_hook();
    state = {
        .active = true, .lasting = lasting, .happened = false, .nth = nth, .asked = 0, .suspended = state.suspended};
}

refuse::~refuse() { state.active = false; }

bool refuse::happened() const { return state.happened; }

int refuse::asked() const { return state.asked; }

suspend::suspend() { state.suspended++; }

suspend::~suspend() { state.suspended--; }

} // namespace faults

// All forms, so that what one of them takes and another releases belongs to one heap.
void *operator new(std::size_t size) { return or_throw(allocate(size)); }
void *operator new[](std::size_t size) { return or_throw(allocate(size)); }
void *operator new(std::size_t size, const std::nothrow_t &) noexcept { return allocate(size); }
void *operator new[](std::size_t size, const std::nothrow_t &) noexcept { return allocate(size); }
void *operator new(std::size_t size, std::align_val_t alignment) { return or_throw(allocate(size, alignment)); }
void *operator new[](std::size_t size, std::align_val_t alignment) { return or_throw(allocate(size, alignment)); }
void *operator new(std::size_t size, std::align_val_t alignment, const std::nothrow_t &) noexcept {
    return allocate(size, alignment);
}
void *operator new[](std::size_t size, std::align_val_t alignment, const std::nothrow_t &) noexcept {
    return allocate(size, alignment);
}
void operator delete(void *memory) noexcept { std::free(memory); }
void operator delete[](void *memory) noexcept { std::free(memory); }
void operator delete(void *memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void *memory, std::size_t) noexcept { std::free(memory); }
void operator delete(void *memory, const std::nothrow_t &) noexcept { std::free(memory); }
void operator delete[](void *memory, const std::nothrow_t &) noexcept { std::free(memory); }
void operator delete(void *memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void *memory, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void *memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete[](void *memory, std::size_t, std::align_val_t) noexcept { std::free(memory); }
void operator delete(void *memory, std::align_val_t, const std::nothrow_t &) noexcept { std::free(memory); }
void operator delete[](void *memory, std::align_val_t, const std::nothrow_t &) noexcept { std::free(memory); }
