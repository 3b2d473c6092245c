#include "ks/ks_sys.h"

#include "internal/ks_account.hpp"
#include "internal/ks_call.hpp"
#include "internal/ks_sys_os.hpp"
#include "ks/ks_str.h"

#include <algorithm>
#include <cstring>
#include <string>

namespace ks {
namespace {

bool is_form(int form) noexcept { return form == SYSUTL_FORM_SID || form == SYSUTL_FORM_NAME; }

int sid_of(credutl_account_kind_t kind, const char *name, int form, credutl_sid_t *sid_out) noexcept {
    return call([&]() -> int { return is_form(form) && sid_out ? find_sid(kind, name, *sid_out) : KS_EINVAL; });
}

int name_of(credutl_account_kind_t kind, const credutl_sid_t *sid, int form, char *buffer, size_t size) noexcept {
    return call([&]() -> int {
        if (!buffer || size == 0) {
            return buffer ? KS_ENAMETOOLONG : KS_EINVAL;
        }
        buffer[0] = '\0';
        if (!sid || !is_form(form)) {
            return KS_EINVAL;
        }
        return form == SYSUTL_FORM_SID ? credutl_sid_to_str(sid, buffer, size) : find_name(kind, *sid, buffer, size);
    });
}

} // namespace
} // namespace ks

using namespace ks;

extern "C" int sysutl_user_to_usid(const char *name, int form, credutl_sid_t *sid_out) noexcept {
    return sid_of(CREDUTL_USER, name, form, sid_out);
}

extern "C" int sysutl_group_to_gsid(const char *name, int form, credutl_sid_t *sid_out) noexcept {
    return sid_of(CREDUTL_GROUP, name, form, sid_out);
}

extern "C" int sysutl_usid_to_user(const credutl_sid_t *sid, int form, char *buffer, size_t size) noexcept {
    return name_of(CREDUTL_USER, sid, form, buffer, size);
}

extern "C" int sysutl_gsid_to_group(const credutl_sid_t *sid, int form, char *buffer, size_t size) noexcept {
    return name_of(CREDUTL_GROUP, sid, form, buffer, size);
}

extern "C" int sysutl_myhostname(char *buffer, size_t size) noexcept {
    return call([&]() -> int {
        if (!buffer || size == 0) {
            return KS_EINVAL;
        }
        buffer[0] = '\0';
        char host[1024];
        if (const int error = os::host_name(host, sizeof host)) {
            return error;
        }
        const size_t length = std::min(std::strcspn(host, "."), size - 1);
        std::memcpy(buffer, host, length);
        buffer[length] = '\0';
        return 0;
    });
}

namespace {

// Copies what a question to the host gave into the caller's buffer, whole or not at all.
template <class Question> int answer(char *buffer, size_t size, Question &&ask) noexcept {
    return call([&]() -> int {
        if (!buffer || size == 0) return KS_EINVAL;
        buffer[0] = '\0';
        std::string text;
        if (const int error = ask(text)) return error;
        if (text.size() >= size) return KS_ENAMETOOLONG;
        strutl_cpy_buf(buffer, size, text.c_str());
        return 0;
    });
}

} // namespace

extern "C" int sysutl_myloginname(char *buffer, size_t size) noexcept {
    return answer(buffer, size, [](std::string &name) { return os::login_name(name); });
}

extern "C" int sysutl_get_homedir(const char *login, char *buffer, size_t size) noexcept {
    return answer(buffer, size, [login](std::string &directory) -> int {
        return login ? os::home_directory(login, directory) : KS_EINVAL;
    });
}

extern "C" int sysutl_get_umask(uint32_t *mask_out) noexcept {
    const int error = mask_out ? os::creation_mask(*mask_out) : KS_EINVAL;
    return error == 0 ? 0 : fail(error);
}
