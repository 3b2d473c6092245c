// acl_array.hpp - the entry arrays of ACLs: a header, then the elements.
#ifndef TBS_INTERNAL_ACL_ARRAY_HPP
#define TBS_INTERNAL_ACL_ARRAY_HPP

#include "ks/ks_stg.h"
#include "tbs/tbs_acl.h"

#include <algorithm>
#include <cstring>
#include <limits>
#include <new>
#include <type_traits>

namespace tbs::acl {

using array_header = tbs_acl_array_header_t;
static_assert(sizeof(array_header) == 16, "elements behind the header stay aligned");

inline constexpr uint64_t owned_by_heap = 1;

template <class E> array_header *header_of(E *elements) {
    return reinterpret_cast<array_header *>(reinterpret_cast<char *>(elements) - sizeof(array_header));
}

// Capacity of the array that replaces a full one. Header and elements stay countable in 32 bits.
inline uint64_t grown_capacity(uint64_t count, uint64_t capacity) { return std::max(count + 1, 2 * capacity); }

// An array of undefined elements; throws when there is no memory for it.
template <class E> [[nodiscard]] E *new_array(uint64_t capacity) {
    static_assert(std::is_trivially_copyable_v<E> && alignof(E) <= sizeof(array_header));
    if (capacity > std::numeric_limits<uint32_t>::max()) throw std::bad_alloc();
    void *memory = stg_alloc(nullptr, sizeof(array_header) + capacity * sizeof(E));
    if (!memory) throw std::bad_alloc();
    *static_cast<array_header *>(memory) = {static_cast<uint32_t>(capacity), sizeof(E), owned_by_heap};
    return reinterpret_cast<E *>(static_cast<char *>(memory) + sizeof(array_header));
}

// Releases an array unless somebody else owns it.
template <class E> void free_array(E *&elements) {
    if (elements && header_of(elements)->ownership == owned_by_heap) stg_free(header_of(elements));
    elements = nullptr;
}

template <class E> uint64_t capacity_of(E *elements) { return elements ? header_of(elements)->capacity : 0; }

// Moves an array into a larger one; throws when there is no memory, the array as it was.
template <class E> void enlarge(E *&elements, uint64_t count, uint64_t capacity) {
    E *larger = new_array<E>(capacity);
    if (elements) std::memcpy(larger, elements, count * sizeof(E));
    free_array(elements);
    elements = larger;
}

// Makes room for one element more.
template <class E> void reserve_one(E *&elements, uint64_t count) {
    const uint64_t capacity = capacity_of(elements);
    if (count >= capacity) enlarge(elements, count, grown_capacity(count, capacity));
}

// Makes room for so many elements in all.
template <class E> void reserve(E *&elements, uint64_t count, uint64_t needed) {
    const uint64_t capacity = capacity_of(elements);
    if (needed > capacity) enlarge(elements, count, grown_capacity(needed, capacity));
}

} // namespace tbs::acl

#endif
