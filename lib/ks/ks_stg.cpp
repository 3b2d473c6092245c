#include "ks/ks_stg.h"

#include "internal/ks_fail.hpp"
#include "ks/ks_thread.h"

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>

namespace {

// A chunk of an area: this header, then the memory that is given out.
struct alignas(std::max_align_t) area_chunk {
    area_chunk *previous;
};

constexpr size_t alignment = alignof(std::max_align_t);
constexpr size_t first_chunk_size = 1024, largest_chunk_size = 64 * 1024;

constinit tvthread_mutex_t hook_mutex = TVTHREAD_MUTEX_INIT;
constinit std::atomic<bool> hook_present{false}; // all that an allocation looks at when there is no hook
constinit stg_failure_hook_t failure_hook = nullptr;
constinit void *failure_context = nullptr;

char *copy_text(char *memory, const char *text, size_t size) {
    return memory ? static_cast<char *>(std::memcpy(memory, text, size)) : nullptr;
}

} // namespace

struct stg_area {
    area_chunk *chunks;     // newest first
    std::byte *next;        // free part of the chunk that serves small requests
    size_t left;            // its size
    size_t next_chunk_size; // doubles, so that the number of chunks grows with the logarithm of what is taken
};

namespace {

// Links a chunk with room for `size` bytes into the area.
[[nodiscard]] std::byte *add_chunk(stg_area_t *area, size_t size) {
    if (size > SIZE_MAX - sizeof(area_chunk)) return ks::fail_null(KS_ENOMEM);
    auto *chunk = static_cast<area_chunk *>(stg_malloc(sizeof(area_chunk) + size));
    if (!chunk) return nullptr;
    chunk->previous = area->chunks;
    area->chunks = chunk;
    return reinterpret_cast<std::byte *>(chunk + 1);
}

[[nodiscard]] void *take(stg_area_t *area, size_t size) {
    if (size > SIZE_MAX - alignment) return ks::fail_null(KS_ENOMEM);
    size = (std::max<size_t>(size, 1) + alignment - 1) / alignment * alignment;
    if (size > area->left) {
        // A large piece gets a chunk of its own, and what is left of the current one goes on serving.
        if (size > area->next_chunk_size / 4) return add_chunk(area, size);
        std::byte *memory = add_chunk(area, area->next_chunk_size);
        if (!memory) return nullptr;
        area->next = memory;
        area->left = area->next_chunk_size;
        area->next_chunk_size = std::min(area->next_chunk_size * 2, largest_chunk_size);
    }
    area->left -= size;
    void *memory = area->next;
    area->next += size;
    return memory;
}

} // namespace

extern "C" const char stg_empty_string[1] = "";

extern "C" void *stg_malloc(size_t size) noexcept {
    void *memory = stg_must_fail() ? nullptr : std::malloc(std::max<size_t>(size, 1));
    return memory ? memory : ks::fail_null(KS_ENOMEM);
}

extern "C" void *stg_calloc(size_t count, size_t size) noexcept {
    if (count == 0 || size == 0) count = size = 1;
    void *memory = stg_must_fail() ? nullptr : std::calloc(count, size); // calloc refuses a product that overflows
    return memory ? memory : ks::fail_null(KS_ENOMEM);
}

extern "C" void *stg_alloc(stg_area_t *area, size_t size) noexcept {
    return area ? take(area, size) : stg_malloc(size);
}

extern "C" char *stg_strdup(const char *text) noexcept {
    if (!text) return nullptr;
    if (!*text) return const_cast<char *>(stg_empty_string);
    const size_t size = std::strlen(text) + 1;
    return copy_text(static_cast<char *>(stg_malloc(size)), text, size);
}

extern "C" char *stg_area_strdup(stg_area_t *area, const char *text) noexcept {
    if (!text) return nullptr;
    if (!area) return stg_strdup(text);
    const size_t size = std::strlen(text) + 1;
    return copy_text(static_cast<char *>(take(area, size)), text, size);
}

extern "C" void stg_free(void *memory) noexcept {
    if (memory != stg_empty_string) std::free(memory);
}

extern "C" stg_area_t *stg_create_area(void) noexcept {
    auto *area = static_cast<stg_area_t *>(stg_malloc(sizeof(stg_area_t)));
    if (area) *area = {.chunks = nullptr, .next = nullptr, .left = 0, .next_chunk_size = first_chunk_size};
    return area;
}

extern "C" void stg_delete_area(stg_area_t **area) noexcept {
    if (!area || !*area) return;
    for (area_chunk *chunk = (*area)->chunks; chunk;) {
        area_chunk *previous = chunk->previous;
        stg_free(chunk);
        chunk = previous;
    }
    stg_free(*area);
    *area = nullptr;
}

extern "C" void stg_set_failure_hook(stg_failure_hook_t hook, void *context) noexcept {
    tvthread_mutex_lock(&hook_mutex);
    failure_hook = hook;
    failure_context = context;
    hook_present.store(hook != nullptr, std::memory_order_release);
    tvthread_mutex_unlock(&hook_mutex);
}

extern "C" int stg_must_fail(void) noexcept {
    if (!hook_present.load(std::memory_order_acquire)) [[likely]]
        return 0;
    tvthread_mutex_lock(&hook_mutex);
    const stg_failure_hook_t hook = failure_hook;
    void *context = failure_context;
    tvthread_mutex_unlock(&hook_mutex);
    return hook && hook(context);
}
