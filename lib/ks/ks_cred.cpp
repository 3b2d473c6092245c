#include "ks/ks_cred.h"

#include "internal/ks_account.hpp"
#include "internal/ks_call.hpp"
#include "internal/ks_credentials.hpp"
#include "ks/ks_stg.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <memory>
#include <utility>

// The identities are the user, the primary group, then the supplementary groups. The table finds the groups among
// them: open addressing over positions, a power of two, at most half full; 0 is an empty slot, since position 0 is
// the user. All arrays stand behind the record in its one piece of memory.
struct credutl_whole_credentials {
    size_t count;
    size_t mask;
    uint64_t *hashes;
    uint32_t *slots;
    credutl_sid_t *sids;
};

namespace ks {
namespace {

char *copy_text(const char *text) {
    char *copy = stg_strdup(text);
    if (!copy) {
        throw std::bad_alloc();
    }
    return copy;
}

template <class T> T *make_zeroed(size_t count = 1) {
    void *memory = stg_calloc(std::max<size_t>(count, 1), sizeof(T));
    if (!memory) {
        throw std::bad_alloc();
    }
    return static_cast<T *>(memory);
}

// A SID that can be held as a group: neither nobody nor the empty record.
bool is_group(const credutl_sid_t &sid) noexcept { return sid.type != 0 && !sid_equal(sid, CREDUTL_SID_NOBODY); }

// The name of an account, or the SID's text when no source gives one; "" for a record without text.
std::string name_or_text(credutl_account_kind_t kind, const credutl_sid_t &sid) {
    account_answer answer;
    const int error = find_account(kind, sid, answer);
    if (error == 0) {
        return std::move(answer.name);
    }
    if (error == KS_ENOMEM) {
        throw std::bad_alloc();
    }
    char text[CREDUTL_SID_STR_SIZE];
    format_sid(sid, text);
    return text;
}

owned_strings name_all(const credutl_sid_t &user, const credutl_sid_t &group, std::span<const credutl_sid_t> groups) {
    owned_strings strings = make_strings(groups.size());
    strings->user = copy_text(name_or_text(CREDUTL_USER, user).c_str());
    strings->group = copy_text(is_group(group) ? name_or_text(CREDUTL_GROUP, group).c_str() : "");
    for (size_t i = 0; i < groups.size(); i++) {
        strings->groups[i] = copy_text(name_or_text(CREDUTL_GROUP, groups[i]).c_str());
    }
    return strings;
}

} // namespace

owned_strings make_strings(size_t group_count) {
    owned_strings strings(make_zeroed<credutl_string_credentials_t>());
    if (group_count > 0) {
        strings->groups = make_zeroed<char *>(group_count);
        strings->group_count = static_cast<uint32_t>(group_count);
    }
    return strings;
}

owned_sids make_sids(const credutl_sid_t &user, const credutl_sid_t &group, std::span<const credutl_sid_t> groups) {
    owned_sids sids(make_zeroed<credutl_sid_credentials_t>());
    sids->user = user;
    sids->group = group;
    if (!groups.empty()) {
        sids->groups = make_zeroed<credutl_sid_t>(groups.size());
        sids->group_count = static_cast<uint32_t>(groups.size());
        std::copy(groups.begin(), groups.end(), sids->groups);
    }
    return sids;
}

owned_strings copy_of(const credutl_string_credentials_t &source) {
    owned_strings copy = make_strings(source.group_count);
    copy->user = copy_text(source.user);
    copy->group = copy_text(source.group ? source.group : "");
    for (uint32_t i = 0; i < source.group_count; i++) {
        copy->groups[i] = copy_text(source.groups[i]);
    }
    return copy;
}

owned_sids copy_of(const credutl_sid_credentials_t &source) {
    return make_sids(source.user, source.group, {source.groups, source.group_count});
}

bool is_usable(const credutl_string_credentials_t *strings) noexcept {
    if (!strings || !strings->user || strings->group_count > CREDUTL_MAX_GROUPS) {
        return false;
    }
    const std::span groups(strings->groups, strings->group_count);
    return groups.empty() || (groups.data() && std::find(groups.begin(), groups.end(), nullptr) == groups.end());
}

bool is_usable(const credutl_sid_credentials_t *sids) noexcept {
    return sids && sids->group_count <= CREDUTL_MAX_GROUPS && (sids->group_count == 0 || sids->groups);
}

} // namespace ks

using namespace ks;

extern "C" int credutl_copy_string_credentials(const credutl_string_credentials_t *source,
                                               credutl_string_credentials_t **copy_out) noexcept {
    return call([&]() -> int {
        if (!is_usable(source) || !copy_out) {
            return KS_EINVAL;
        }
        *copy_out = copy_of(*source).release();
        return 0;
    });
}

extern "C" int credutl_copy_sid_credentials(const credutl_sid_credentials_t *source,
                                            credutl_sid_credentials_t **copy_out) noexcept {
    return call([&]() -> int {
        if (!is_usable(source) || !copy_out) {
            return KS_EINVAL;
        }
        *copy_out = copy_of(*source).release();
        return 0;
    });
}

extern "C" void credutl_free_string_credentials(credutl_string_credentials_t **credentials) noexcept {
    if (!credentials || !*credentials) {
        return;
    }
    credutl_string_credentials_t *strings = std::exchange(*credentials, nullptr);
    for (uint32_t i = 0; i < strings->group_count; i++) {
        stg_free(strings->groups[i]);
    }
    stg_free(strings->groups);
    stg_free(strings->group);
    stg_free(strings->user);
    stg_free(strings);
}

extern "C" void credutl_free_sid_credentials(credutl_sid_credentials_t **credentials) noexcept {
    if (credentials && *credentials) {
        stg_free((*credentials)->groups);
        stg_free(*credentials);
        *credentials = nullptr;
    }
}

extern "C" void credutl_free_whole_credentials(credutl_whole_credentials_t **credentials) noexcept {
    if (credentials) {
        stg_free(*credentials);
        *credentials = nullptr;
    }
}

extern "C" int credutl_string_credentials_to_sid_credentials(const credutl_string_credentials_t *strings,
                                                             credutl_sid_credentials_t **sids_out) noexcept {
    return call([&]() -> int {
        if (!is_usable(strings) || !sids_out) {
            return KS_EINVAL;
        }
        credutl_sid_t user;
        credutl_sid_t group = CREDUTL_SID_NOBODY;
        if (const int error = find_sid(CREDUTL_USER, strings->user, user)) {
            return error;
        }
        if (strings->group && *strings->group) {
            if (const int error = find_sid(CREDUTL_GROUP, strings->group, group)) {
                return error;
            }
        }
        std::vector<credutl_sid_t> groups;
        groups.reserve(strings->group_count);
        for (uint32_t i = 0; i < strings->group_count; i++) {
            credutl_sid_t sid;
            const int error = find_sid(CREDUTL_GROUP, strings->groups[i], sid);
            if (error == 0) {
                groups.push_back(sid);
            } else if (error != KS_ENOENT && error != KS_EINVAL && error != KS_ENAMETOOLONG) {
                return error; // not "unknown": the source could not be asked
            }
        }
        *sids_out = make_sids(user, group, groups).release();
        return 0;
    });
}

extern "C" int credutl_sid_credentials_to_string_credentials(const credutl_sid_credentials_t *sids,
                                                             credutl_string_credentials_t **strings_out) noexcept {
    return call([&]() -> int {
        if (!is_usable(sids) || !strings_out) {
            return KS_EINVAL;
        }
        *strings_out = name_all(sids->user, sids->group, {sids->groups, sids->group_count}).release();
        return 0;
    });
}

extern "C" int credutl_sid_credentials_to_whole(const credutl_sid_credentials_t *sids,
                                                credutl_whole_credentials_t **whole_out) noexcept {
    return call([&]() -> int {
        if (!is_usable(sids) || !whole_out) {
            return KS_EINVAL;
        }
        // The widest elements first, so that each array is aligned.
        const size_t count = size_t{2} + sids->group_count;
        const size_t slot_count = std::bit_ceil(2 * count);
        const size_t hashes_at = sizeof(credutl_whole_credentials);
        const size_t slots_at = hashes_at + count * sizeof(uint64_t);
        const size_t sids_at = slots_at + slot_count * sizeof(uint32_t);
        static_assert(sizeof(credutl_whole_credentials) % alignof(uint64_t) == 0);
        auto *memory = make_zeroed<char>(sids_at + count * sizeof(credutl_sid_t));
        auto *whole = std::construct_at(reinterpret_cast<credutl_whole_credentials *>(memory));
        whole->count = count;
        whole->mask = slot_count - 1;
        whole->hashes = reinterpret_cast<uint64_t *>(memory + hashes_at);
        whole->slots = reinterpret_cast<uint32_t *>(memory + slots_at);
        whole->sids = reinterpret_cast<credutl_sid_t *>(memory + sids_at);
        whole->sids[0] = sids->user;
        whole->sids[1] = sids->group;
        std::copy_n(sids->groups, sids->group_count, whole->sids + 2);
        for (uint32_t i = 0; i < count; i++) {
            whole->hashes[i] = credutl_sid_hash(&whole->sids[i]);
            if (i == 0 || credutl_has_group_whole(whole, &whole->sids[i])) {
                continue; // a group once is enough, and looking up stays short
            }
            size_t at = whole->hashes[i] & whole->mask;
            while (whole->slots[at] != 0) {
                at = (at + 1) & whole->mask;
            }
            whole->slots[at] = i;
        }
        *whole_out = whole;
        return 0;
    });
}

extern "C" int
credutl_whole_credentials_to_whole_string_credentials(const credutl_whole_credentials_t *whole,
                                                      credutl_string_credentials_t **strings_out) noexcept {
    return call([&]() -> int {
        if (!whole || !strings_out) {
            return KS_EINVAL;
        }
        *strings_out = name_all(whole->sids[0], whole->sids[1], {whole->sids + 2, whole->count - 2}).release();
        return 0;
    });
}

extern "C" const credutl_sid_t *credutl_whole_user_sid(const credutl_whole_credentials_t *whole) noexcept {
    return whole ? whole->sids : nullptr;
}

extern "C" const credutl_sid_t *credutl_whole_sids(const credutl_whole_credentials_t *whole,
                                                   const uint64_t **hashes_out, size_t *count_out) noexcept {
    if (hashes_out) {
        *hashes_out = whole ? whole->hashes : nullptr;
    }
    if (count_out) {
        *count_out = whole ? whole->count : 0;
    }
    return whole ? whole->sids : nullptr;
}

extern "C" int credutl_has_group_whole(const credutl_whole_credentials_t *whole, const credutl_sid_t *sid) noexcept {
    if (!whole || !sid || !is_group(*sid)) {
        return 0;
    }
    for (size_t at = credutl_sid_hash(sid) & whole->mask; whole->slots[at] != 0; at = (at + 1) & whole->mask) {
        if (sid_equal(whole->sids[whole->slots[at]], *sid)) {
            return 1;
        }
    }
    return 0;
}

extern "C" int credutl_has_group_sid(const credutl_sid_credentials_t *sids, const credutl_sid_t *sid) noexcept {
    if (!is_usable(sids) || !sid || !is_group(*sid)) {
        return 0;
    }
    const std::span groups(sids->groups, sids->group_count);
    return sid_equal(sids->group, *sid) || std::any_of(groups.begin(), groups.end(), [&](const credutl_sid_t &held) {
               return sid_equal(held, *sid);
           });
}
