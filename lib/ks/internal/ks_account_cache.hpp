// ks_account_cache.hpp - answers of the account sources, kept for a while.
#ifndef KS_INTERNAL_KS_ACCOUNT_CACHE_HPP
#define KS_INTERNAL_KS_ACCOUNT_CACHE_HPP

#include "internal/ks_sid.hpp"

#include <array>
#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

namespace ks {

// What a chain of sources answered. Negative when no source knows.
struct account_answer {
    bool known = false;
    credutl_sid_t sid{};
    uint32_t id = CREDUTL_NO_ID;
    const char *source = "";
    std::string name; // "DOMAIN\name"
};

// What was asked: a name, a SID or an id, of a kind. Borrows the name and the SID.
struct account_question {
    enum subject : uint8_t { by_name, by_sid, by_id };

    static account_question of_name(credutl_account_kind_t kind, std::string_view name) noexcept;
    static account_question of_sid(credutl_account_kind_t kind, const credutl_sid_t &sid) noexcept;
    static account_question of_id(credutl_account_kind_t kind, uint32_t id) noexcept;

    subject about;
    credutl_account_kind_t kind;
    uint64_t hash;
    std::string_view name = {};
    const credutl_sid_t *sid = nullptr;
    uint32_t id = CREDUTL_NO_ID;
};

// Bounded, safe from any thread. Shards keep threads apart; in a full shard the oldest answer makes room. A name is
// kept as it was asked: names that differ in case may be two accounts to a source, so neither answers for the other.
class account_cache {
public:
    using clock = int64_t (*)() noexcept; // milliseconds

    static constexpr size_t capacity = 65536;
    static constexpr int64_t positive_ms = 5 * 60 * 1000;
    static constexpr int64_t negative_ms = 10 * 1000;

    explicit account_cache(clock now) noexcept : now_(now) {}

    // Calls use(const account_answer &) with an answer that is fresh, while it is locked: use must be short and not
    // come back here. False when there is none.
    template <class Use> bool find(const account_question &question, Use &&use);

    // Value to hand to keep(): read before the sources are asked.
    [[nodiscard]] uint64_t generation() const noexcept { return generation_.load(std::memory_order_acquire); }

    // Keeps an answer, unless all were forgotten since the generation was read, or memory is short.
    void keep(uint64_t generation, const account_question &question, const account_answer &answer) noexcept;

    // Gives the new generation.
    uint64_t forget_all() noexcept;

    [[nodiscard]] size_t size() noexcept;

private:
    static constexpr size_t shard_count = 16;
    static constexpr size_t shard_capacity = capacity / shard_count;
    static constexpr uint32_t none = UINT32_MAX;

    struct entry {
        uint64_t hash;
        int64_t expires;
        uint32_t next; // of the same bucket
        account_question::subject about;
        credutl_account_kind_t kind;
        bool asked_is_name; // the name asked for is answer.name
        std::string asked;  // else it stands here
        credutl_sid_t sid;  // asked for
        uint32_t id;        // asked for
        account_answer answer;
    };

    struct alignas(64) shard {
        std::mutex mutex;
        std::vector<entry> entries;
        std::vector<uint32_t> buckets;
        uint32_t oldest = 0;

        [[nodiscard]] uint32_t locate(const account_question &question) const noexcept;
        void unlink(uint32_t position) noexcept;
        void link(uint32_t position) noexcept;
        [[nodiscard]] uint32_t make_room();
        void grow_buckets();
        void clear() noexcept;
    };

    static bool matches(const entry &kept, const account_question &question) noexcept;

    // The upper bits choose the shard, the lower ones the bucket.
    [[nodiscard]] shard &shard_of(uint64_t hash) noexcept { return shards_[hash >> 60]; }

    clock now_;
    std::atomic<uint64_t> generation_{0};
    std::array<shard, shard_count> shards_;
};

template <class Use> bool account_cache::find(const account_question &question, Use &&use) {
    const int64_t now = now_();
    shard &home = shard_of(question.hash);
    const std::lock_guard lock(home.mutex);
    const uint32_t at = home.locate(question);
    if (at == none || home.entries[at].expires <= now) {
        return false;
    }
    use(static_cast<const account_answer &>(home.entries[at].answer));
    return true;
}

} // namespace ks

#endif
