#include "ks/ks_hash.h"

#include "internal/ks_call.hpp"
#include "internal/ks_hashing.hpp"

#include <algorithm>
#include <boost/unordered/unordered_flat_map.hpp>
#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace {

struct text_hash {
    using is_transparent = void;
    using is_avalanching = void; // the table need not mix once more
    size_t operator()(std::string_view text) const noexcept { return static_cast<size_t>(ks::hash_bytes(text)); }
};

constexpr size_t largest_reservation = size_t{1} << 20; // a capacity is a guess: a wrong one must not cost gigabytes

} // namespace

struct hash {
    boost::unordered_flat_map<std::string, uint64_t, text_hash, std::equal_to<>> values;
};

extern "C" int hash_str_create(size_t capacity, hash_t **table) noexcept {
    return ks::call([&] {
        if (!table) return int{KS_EINVAL};
        auto made = std::make_unique<hash_t>();
        made->values.reserve(std::min(capacity, largest_reservation));
        *table = made.release();
        return 0;
    });
}

extern "C" int hash_str_put(hash_t *table, const char *key, uint64_t value) noexcept {
    return ks::call([&] {
        if (!table || !key) return int{KS_EINVAL};
        const std::string_view text = key;
        if (auto found = table->values.find(text); found != table->values.end()) {
            found->second = value;
        } else {
            table->values.emplace(text, value);
        }
        return 0;
    });
}

extern "C" int hash_str_get(const hash_t *table, const char *key, uint64_t *value_out) noexcept {
    if (!table || !key) return 0;
    const auto found = table->values.find(std::string_view(key));
    if (found == table->values.end()) return 0;
    if (value_out) *value_out = found->second;
    return 1;
}

extern "C" int hash_str_remove(hash_t *table, const char *key) noexcept {
    if (!table || !key) return 0;
    const auto found = table->values.find(std::string_view(key));
    if (found == table->values.end()) return 0;
    table->values.erase(found);
    return 1;
}

extern "C" size_t hash_str_count(const hash_t *table) noexcept { return table ? table->values.size() : 0; }

extern "C" void hash_str_delete(hash_t **table) noexcept {
    if (!table) return;
    delete *table;
    *table = nullptr;
}
