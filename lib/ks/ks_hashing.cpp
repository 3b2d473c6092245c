#include "internal/ks_hashing.hpp"

#include "internal/ks_os.hpp"

#include <atomic>

namespace {

constinit std::atomic<uint64_t> salt{0}; // 0: not chosen yet

} // namespace

namespace ks {

uint64_t hash_salt() noexcept {
    const uint64_t known = salt.load(std::memory_order_relaxed);
    if (known != 0) [[likely]]
        return known;
    const uint64_t fresh = os::entropy() | 1;
    uint64_t chosen = 0;
    return salt.compare_exchange_strong(chosen, fresh, std::memory_order_relaxed) ? fresh : chosen;
}

} // namespace ks
