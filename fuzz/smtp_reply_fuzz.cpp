// Bytes as what a mail server answers. The first byte says into pieces of which size they are divided; the division
// must not change what is found, but for lines that the server does not end.

#include "lib/tbs/internal/smtp_reply.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>

namespace {

// What a socket receives: pieces of one size, then the end.
struct pieces {
    const uint8_t *data;
    size_t left, piece;

    int operator()(char *buffer, size_t size, bool, size_t &received) {
        if (size == 0) std::abort();
        received = std::min({size, left, piece});
        std::memcpy(buffer, data, received);
        data += received;
        left -= received;
        return 0;
    }
};

struct tally {
    size_t accepted = 0, refused = 0;
    bool operator==(const tally &) const = default;
};

// A reply that is refused may end where a piece does: what follows it is dropped. So counting ends there.
tally replies_in(const uint8_t *data, size_t size, size_t piece) {
    tbs::smtp::reply_reader<pieces> reader(pieces{data, size, piece});
    tally found;
    while (!reader.is_broken() && found.refused == 0) {
        const bool accepted = reader.read({"250", "251"});
        if (reader.is_broken()) break;
        accepted ? found.accepted++ : found.refused++;
        if (found.accepted > size) std::abort();
    }
    return found;
}

void forget(void *, int, const char *, const imsg_table_t *, uint32_t, const char *) noexcept {}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    imsg_set_sink(forget, nullptr);
    if (size == 0) return 0;
    const tally whole = replies_in(data + 1, size - 1, SIZE_MAX);
    if (replies_in(data + 1, size - 1, data[0] % 64 + 1) != whole) std::abort();
    return 0;
}
