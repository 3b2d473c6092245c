// Every type of the xdr_vob_ family against the routine that rpcgen makes of its description.
#include "lib/tbs/internal/vob_types.hpp"
#include "lib/tbs/internal/wire_sample.hpp"
#include "peers/vob_peers.hpp"
#include "support/xdr_streams.hpp"

#include <gtest/gtest.h>

#include <string_view>

namespace {

using tbs::wire::sampler;
using tbs::wire::vob_types;
using tbs::wire::wire_type;

const vob_peer *peer_of(const wire_type &type) {
    const std::string_view name(type.name);
    return find_vob_peer(name.substr(0, name.size() - 2));
}

// An object of the peer's.
class object {
public:
    explicit object(const vob_peer &of) : of_(of), memory_(of.size / sizeof(uint64_t) + 1) {}
    ~object() { xdr_free(of_.pass, reinterpret_cast<char *>(memory_.data())); }
    object(const object &) = delete;
    object &operator=(const object &) = delete;
    void *get() { return memory_.data(); }

private:
    const vob_peer &of_;
    std::vector<uint64_t> memory_;
};

TEST(VobPeers, AreThereForEveryType) {
    for (const wire_type &type : vob_types()) EXPECT_NE(peer_of(type), nullptr) << type.name;
}

TEST(VobPeers, ReadAndWriteTheSameBytes) {
    for (const wire_type &type : vob_types()) {
        const vob_peer &other = *peer_of(type);
        sampler samples(77);
        for (int i = 0; i < 50; i++) {
            const bytes from = samples.make(*type.wire);
            object theirs(other);
            ASSERT_TRUE(decode(stream_kind::memory, from, other.pass, theirs.get())) << type.name << ' ' << i;
            ASSERT_EQ(encode(stream_kind::storage, other.pass, theirs.get()), from) << type.name << ' ' << i;
        }
    }
}

// What is cut off, both refuse.
TEST(VobPeers, RefuseTheSameBeginnings) {
    for (const wire_type &type : vob_types()) {
        const vob_peer &other = *peer_of(type);
        const bytes from = sampler(78).make(*type.wire);
        for (size_t length = 0; length < from.size(); length++) {
            object theirs(other);
            ASSERT_FALSE(decode(stream_kind::memory, first(from, length), other.pass, theirs.get()))
                << type.name << ' ' << length;
        }
    }
}

} // namespace
