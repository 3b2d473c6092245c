#include "nt/nt_sid.h"

#include "internal/nt_call.hpp"
#include "internal/nt_sid.hpp"
#include "internal/nt_sid_os.hpp"
#include "ks/ks_str.h"

#include <algorithm>
#include <boost/uuid/name_generator_sha1.hpp>
#include <boost/uuid/uuid.hpp>
#include <string>

namespace nt {
namespace {

// Names of this kind are ids of hosts.
constexpr boost::uuids::uuid id_space = {
    {0x6d, 0x1c, 0x52, 0x0e, 0x93, 0xb7, 0x4c, 0x58, 0xa4, 0x2f, 0x0d, 0x7b, 0xe1, 0x36, 0x88, 0xf5}};
constexpr size_t id_size = 32;

bool is_hexadecimal(char c) { return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F'); }

int own_domain(char *buffer, size_t size) {
    char id[id_size + 2]; // room to see that there is more
    size_t length = 0;
    domain_parts parts;
    if (os::machine_id(id, sizeof id, length) != 0 || !domain_of_machine({id, length}, parts)) return KS_ENOENT;
    const size_t written = strutl_snprintf(buffer, size, "S-1-5-21-%u-%u-%u", parts[0], parts[1], parts[2]);
    return written < size ? 0 : KS_ENAMETOOLONG;
}

// Runs a body that fills the buffer, and empties it when that fails.
template <class F> int fill(char *buffer, size_t size, F &&body) noexcept {
    return call([&]() -> int {
        if (!buffer) return KS_EINVAL;
        const int error = guarded(body);
        if (error != 0 && size != 0) *buffer = '\0';
        return error;
    });
}

} // namespace

bool domain_of_machine(std::string_view id, domain_parts &parts) {
    if (id.ends_with('\n')) id.remove_suffix(1);
    const bool is_id = id.size() == id_size && std::all_of(id.begin(), id.end(), is_hexadecimal);
    if (!is_id || id.find_first_not_of('0') == std::string_view::npos) return false;
    const boost::uuids::uuid made = boost::uuids::name_generator_sha1(id_space)(id.data(), id.size());
    const auto number = [&](int a, int b, int c, int d) {
        return uint32_t{made.data[a]} << 24 | uint32_t{made.data[b]} << 16 | uint32_t{made.data[c]} << 8 |
               made.data[d];
    };
    // Bytes 6 and 8 are not all of the name: they hold the version and the variant.
    parts = {number(0, 1, 2, 3), number(10, 11, 12, 13), number(4, 5, 14, 15)};
    return true;
}

} // namespace nt

extern "C" int nt_get_domain_sid_str(char *buffer, size_t size) noexcept {
    return nt::fill(buffer, size, [&]() -> int {
        credutl_sid_t sid;
        const int error = credutl_domain_sid(&sid);
        if (error == KS_ENOENT) return nt::own_domain(buffer, size);
        return error != 0 ? error : credutl_sid_to_str(&sid, buffer, size);
    });
}

extern "C" int nt_get_sid_str(char *buffer, size_t size) noexcept {
    return nt::fill(buffer, size, [&]() -> int {
        credutl_sid_t sid;
        const int error = nt::os::user_sid(sid);
        return error != 0 ? error : credutl_sid_to_str(&sid, buffer, size);
    });
}

extern "C" int nt_get_user_sid_str(const char *login, char *buffer, size_t size) noexcept {
    return nt::fill(buffer, size, [&]() -> int {
        credutl_account_t user;
        const int error = credutl_account_by_name(CREDUTL_USER, login, &user);
        return error != 0 ? error : credutl_sid_to_str(&user.sid, buffer, size);
    });
}
