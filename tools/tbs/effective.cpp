#include "effective.hpp"

#include "memory_stream.hpp"
#include "role_map.hpp"
#include "tbs/tbs_rolemap.h"
#include "tbs/tbs_status.h"

#include <new>

namespace tool {
namespace {

void require_made(const std::string &path, const char *what, tbs_status_t status) {
    if (status == TBS_ST_ENOMEM) throw std::bad_alloc();
    if (status) {
        throw failure(path, 0, std::string(what) + ": " + tbs_strerror(status),
                      "Shorten the names of its roles, and let an account source know its accounts.");
    }
}

} // namespace

owned_sid_acl effective_acl(const std::string &policy, const std::optional<std::string> &role_map,
                            const vocabulary &words) {
    const acl_list acl(policy, false, words);
    owned_sid_acl made;
    if (role_map) {
        const owned_role_map map = read_role_map(*role_map);
        require_made(policy, "no effective ACL was made",
                     tbs_rolemap_acl_generate_effective_acl(acl.by_sid(), map.get(), made.put()));
    } else {
        require_made(policy, "the policy cannot be used", tbs_sid_acl_copy(acl.by_sid(), made.put()));
    }
    return made;
}

std::string acl_text(tbs_sid_acl_h_t acl, const vocabulary &words) {
    const memory_stream stream;
    const tbs_status_t status = tbs_sid_acl_utl_output(stream.get(), acl, words.names(), words.count(), words.map());
    if (status == TBS_ST_ENOMEM) throw std::bad_alloc();
    if (status) {
        throw failure(std::string("the ACL cannot be written: ") + tbs_strerror(status),
                      "Every identity needs a name that an account source knows.");
    }
    return stream.text();
}

} // namespace tool
