#include "support/memory_meter.hpp"

#include "support/under_sanitizer.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <malloc.h>

namespace {

struct account {
    bool open;
    int64_t held; // may fall below zero when memory from before is released
    int64_t peak;
    size_t largest;
};

constinit thread_local account current{};

void took(size_t size) {
    if (!current.open) return;
    current.held += static_cast<int64_t>(size);
    current.peak = std::max(current.peak, current.held);
    current.largest = std::max(current.largest, size);
}
void gave(size_t size) {
    if (current.open) current.held -= static_cast<int64_t>(size);
}

} // namespace

#if ORSIK_SANITIZED

// The sanitizer owns malloc(); it tells of what happens there.
extern "C" {
int __sanitizer_install_malloc_and_free_hooks(void (*taken)(const volatile void *, size_t),
                                              void (*given)(const volatile void *));
size_t __sanitizer_get_allocated_size(const volatile void *memory);
}

namespace {
void install() {
    static const int installed =
        __sanitizer_install_malloc_and_free_hooks([](const volatile void *, size_t size) { took(size); },
                                                  [](const volatile void *memory) {
                                                      if (memory && current.open)
                                                          gave(__sanitizer_get_allocated_size(memory));
                                                  });
    static_cast<void>(installed);
}
} // namespace

#else

namespace {
void install() {}

void *noted(void *memory) {
    if (memory) took(malloc_usable_size(memory));
    return memory;
}
} // namespace

// The program's own malloc() goes before the C library's, for all libraries of the process.
extern "C" {
void *__libc_malloc(size_t);
void *__libc_calloc(size_t, size_t);
void *__libc_realloc(void *, size_t);
void *__libc_memalign(size_t, size_t);
void __libc_free(void *);

#define ORSIK_INTERPOSED __attribute__((visibility("default")))

ORSIK_INTERPOSED void *malloc(size_t size) noexcept { return noted(__libc_malloc(size)); }
ORSIK_INTERPOSED void *calloc(size_t count, size_t size) noexcept { return noted(__libc_calloc(count, size)); }
ORSIK_INTERPOSED void *realloc(void *memory, size_t size) noexcept {
    const size_t before = memory ? malloc_usable_size(memory) : 0;
    void *moved = __libc_realloc(memory, size);
    if (moved || size == 0) gave(before);
    return moved ? noted(moved) : nullptr;
}
ORSIK_INTERPOSED void *memalign(size_t alignment, size_t size) noexcept {
    return noted(__libc_memalign(alignment, size));
}
ORSIK_INTERPOSED void *aligned_alloc(size_t alignment, size_t size) noexcept {
    return noted(__libc_memalign(alignment, size));
}
ORSIK_INTERPOSED int posix_memalign(void **memory, size_t alignment, size_t size) noexcept {
    *memory = noted(__libc_memalign(alignment, size));
    return *memory ? 0 : 12; // ENOMEM
}
ORSIK_INTERPOSED void free(void *memory) noexcept {
    if (memory) gave(malloc_usable_size(memory));
    __libc_free(memory);
}
}

#endif

memory_meter::memory_meter() {
    install();
    current = {.open = true, .held = 0, .peak = 0, .largest = 0};
}
memory_meter::~memory_meter() { current.open = false; }
size_t memory_meter::peak() const { return static_cast<size_t>(std::max<int64_t>(current.peak, 0)); }
size_t memory_meter::largest() const { return current.largest; }
