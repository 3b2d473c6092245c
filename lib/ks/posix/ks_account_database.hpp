// ks_account_database.hpp - questions to the host's account database.
#ifndef KS_POSIX_KS_ACCOUNT_DATABASE_HPP
#define KS_POSIX_KS_ACCOUNT_DATABASE_HPP

#include "ks/ks_errno.h"

#include <cerrno>
#include <cstddef>
#include <vector>

namespace ks::os {

inline constexpr size_t first_database_buffer = 1024;
inline constexpr size_t max_database_buffer = size_t{64} << 20; // a group entry lists its members

// Calls one of the re-entrant functions of the account database with a growing buffer. query(buffer, size, entry)
// gives its result; entry says whether one was found.
template <class Entry, class Query> int ask_database(std::vector<char> &buffer, Entry *&entry, Query &&query) {
    buffer.resize(first_database_buffer);
    for (;;) {
        entry = nullptr;
        const int error = query(buffer.data(), buffer.size(), &entry);
        if (error == ERANGE && buffer.size() < max_database_buffer) {
            buffer.resize(4 * buffer.size());
            continue;
        }
        if (error == EINTR) {
            continue;
        }
        if (entry) {
            return 0;
        }
        if (error == 0 || error == ENOENT || error == ESRCH) {
            return KS_ENOENT;
        }
        return error == ENOMEM ? KS_ENOMEM : KS_EIO;
    }
}

} // namespace ks::os

#endif
