#include "ks/ks_errno.h"
#include "ks/ks_uuid.h"

#include <cerrno>
#include <sys/random.h>

static_assert(sizeof(ks_uuid_t) == 16);

namespace {

constexpr unsigned version_bits = 0xF000, version_random = 0x4000;
constexpr unsigned variant_bits = 0xC0, variant_standard = 0x80;

} // namespace

extern "C" int UuidCreate(ks_uuid_t *uuid_out) noexcept {
    if (!uuid_out) return KS_EINVAL;
    ks_uuid_t uuid;
    ssize_t taken;
    do {
        taken = getrandom(&uuid, sizeof uuid, 0);
    } while (taken < 0 && errno == EINTR);
    if (taken != sizeof uuid) return taken < 0 ? ks_errno_from_host(errno) : KS_EIO;
    uuid.time_hi_and_version = static_cast<uint16_t>((uuid.time_hi_and_version & ~version_bits) | version_random);
    uuid.clock_seq_hi_and_reserved =
        static_cast<uint8_t>((uuid.clock_seq_hi_and_reserved & ~variant_bits) | variant_standard);
    *uuid_out = uuid;
    return 0;
}
