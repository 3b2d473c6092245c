// owned.hpp - memory and handles that are released when a scope ends.
#ifndef TBS_INTERNAL_OWNED_HPP
#define TBS_INTERNAL_OWNED_HPP

#include "ks/ks_stg.h"

#include <cstring>
#include <new>
#include <utility>

namespace tbs {

// A handle with its free function, which takes the address of the handle's variable.
template <class Handle, auto Free> class owned {
public:
    owned() = default;
    explicit owned(Handle handle) : handle_(handle) {}
    owned(const owned &) = delete;
    owned &operator=(const owned &) = delete;
    ~owned() {
        if (handle_) Free(&handle_);
    }
    [[nodiscard]] Handle get() const { return handle_; }
    Handle *put() { return &handle_; }
    [[nodiscard]] Handle release() { return std::exchange(handle_, nullptr); }
    Handle operator->() const { return handle_; }

private:
    Handle handle_ = nullptr;
};

// The shared empty string, in the type of the records' members. Nobody writes through it, and stg_free ignores it.
inline char *empty_text() { return const_cast<char *>(stg_empty_string); }

// Most texts of identities are empty: those are dealt with on the spot.
inline void free_text(char **text) {
    char *released = std::exchange(*text, nullptr);
    if (released && released != empty_text()) stg_free(released);
}
using owned_text = owned<char *, free_text>;

// A copy of a text, NULL for NULL; throws when there is no memory.
[[nodiscard]] inline char *copy_text(const char *text) {
    if (!text) return nullptr;
    if (!*text) return empty_text();
    char *copy = stg_strdup(text);
    if (!copy) throw std::bad_alloc();
    return copy;
}

// Zero-filled memory for one object; throws when there is none.
template <class T> [[nodiscard]] T *zalloc() {
    void *memory = stg_malloc(sizeof(T)); // which keeps small pieces at hand; calloc does not
    if (!memory) throw std::bad_alloc();
    return static_cast<T *>(std::memset(memory, 0, sizeof(T)));
}

} // namespace tbs

#endif
