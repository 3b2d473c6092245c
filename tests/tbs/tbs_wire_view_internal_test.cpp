// The walk that shows encoded records agrees with the decoders: the same members, the same offset of what is damaged.
#include "lib/tbs/internal/wire_view.hpp"

#include "acl_test_support.hpp"
#include "support/xdr_bytes.hpp"

#include <gmock/gmock.h>
#include <random>

namespace {

using namespace acl_test;
namespace wire = tbs::wire;

// Writes down what it is told, one line each.
struct recorder : wire::listener {
    void member(const wire::item &what) override {
        std::string value;
        std::visit(
            [&](const auto &v) {
                if constexpr (std::is_same_v<std::decay_t<decltype(v)>, std::string>) {
                    value = v;
                } else {
                    value = std::to_string(v);
                }
            },
            what.value);
        add(std::string(what.name) + '@' + std::to_string(what.offset) + '+' + std::to_string(what.size) + '=' +
            value);
        behind = what.offset + what.size;
    }
    void enter_record(std::string_view name) override { open(std::string(name) + '{'); }
    void enter_list(std::string_view name, uint32_t count) override {
        open(std::string(name) + '[' + std::to_string(count));
    }
    void leave() override {
        depth--;
        add("}");
    }
    void open(std::string text) {
        add(std::move(text));
        depth++;
    }
    void add(std::string text) { lines.push_back(std::string(2 * depth, ' ') + std::move(text)); }

    std::vector<std::string> lines;
    size_t depth = 0, behind = 0;
};

template <class T> struct seen : recorder {
    explicit seen(const bytes &content) : result(wire::view<T>(content, *this)) {}
    wire::view_result result;
};

// Everyone and a role, in the classic form.
bytes classic_sample() {
    const bytes granted = word(0x20001);
    return words({1, 2, 2, 4}) + text("") + text("") + granted + // the count stands there twice
           word(7) + text("") + text("build") + granted;
}

bytes sid_sample() {
    const bytes granted = word(0x20001);
    return words({1, 1, 2, 4}) + text("") + text("") + opaque(CREDUTL_SID_NOBODY) + granted + //
           word(7) + text("") + text("build") + opaque({}) + granted;                         // a role has no SID
}

// Where the decoder stops, as it prints it; nothing when it prints no offset.
std::optional<size_t> stop_of(const recording_sink &said) {
    const std::string text = said.text();
    constexpr std::string_view before = "byte offset ";
    const size_t at = text.find(before);
    if (at == std::string::npos) return {};
    return std::stoul(text.substr(at + before.size()));
}

struct outcome {
    tbs_status_t status;
    std::optional<size_t> stop;
};
outcome decode_classic(const bytes &content) {
    recording_sink said;
    tbs_acl_h_t acl = nullptr;
    const tbs_status_t status =
        tbs_acl_decode(static_cast<uint32_t>(content.size()),
                       content.empty() ? "" : static_cast<const void *>(content.data()), &acl);
    tbs_acl_free(&acl);
    return {status, stop_of(said)};
}
outcome decode_by_sid(const bytes &content) {
    recording_sink said;
    tbs_sid_acl_h_t acl = nullptr;
    const tbs_status_t status =
        tbs_sid_acl_decode(static_cast<uint32_t>(content.size()),
                           content.empty() ? "" : static_cast<const void *>(content.data()), &acl);
    tbs_sid_acl_free(&acl);
    return {status, stop_of(said)};
}

// The walk stops where the decoder does; and a walk to the end means that no byte was out of place.
template <class T> void expect_agreement(const bytes &content, outcome (*decode)(const bytes &)) {
    const seen<T> shown(content);
    const outcome decoded = decode(content);
    EXPECT_EQ(shown.result.whole, !decoded.stop.has_value());
    EXPECT_EQ(decoded.stop.value_or(shown.result.end), shown.result.end);
    EXPECT_LE(shown.result.end, content.size());
    EXPECT_GE(shown.result.end, shown.behind);
    EXPECT_EQ(shown.result.why == nullptr, shown.result.whole);
    EXPECT_EQ(shown.depth, 0u);
}

template <class T> void cut_and_flip(const bytes &whole, outcome (*decode)(const bytes &)) {
    ASSERT_EQ(decode(whole).status, 0);
    for (size_t size = 0; size <= whole.size(); size++) {
        SCOPED_TRACE("cut at " + std::to_string(size));
        expect_agreement<T>({whole.begin(), whole.begin() + static_cast<ptrdiff_t>(size)}, decode);
    }
    for (size_t bit = 0; bit < 8 * whole.size(); bit++) {
        SCOPED_TRACE("bit " + std::to_string(bit));
        bytes flipped = whole;
        flipped[bit / 8] ^= static_cast<uint8_t>(1u << bit % 8);
        expect_agreement<T>(flipped, decode);
    }
}

} // namespace

TEST(WireView, ShowsTheMembersInWireOrder) {
    const seen<wire::classic_bytes> shown(classic_sample());
    EXPECT_TRUE(shown.result.whole);
    // clang-format off
    const std::vector<std::string> expected = {
        "format@0+4=1",
        "count@4+4=2",
        "count@8+4=2",
        "entries[2",
        "  {",
        "    id{",
        "      kind@12+4=4",
        "      domain@16+4=",
        "      name@20+4=",
        "    }",
        "    perms@24+4=131073",
        "  }",
        "  {",
        "    id{",
        "      kind@28+4=7",
        "      domain@32+4=",
        "      name@36+12=build",
        "    }",
        "    perms@48+4=131073",
        "  }",
        "}"};
    // clang-format on
    EXPECT_EQ(shown.lines, expected);
}

TEST(WireView, ShowsSidsAsText) {
    const seen<wire::sid_bytes> shown(sid_sample());
    EXPECT_TRUE(shown.result.whole);
    EXPECT_THAT(shown.lines, testing::Contains("        sid@24+36=S-1-0-0"));
    bytes damaged = sid_sample();
    damaged[24] = 0x63;
    EXPECT_THAT(seen<wire::sid_bytes>(damaged).lines, testing::Contains("        sid@24+36=(not a SID)"));
}

TEST(WireView, StopsWhereTheClassicDecoderStops) {
    cut_and_flip<wire::classic_bytes>(classic_sample(), decode_classic);
}

TEST(WireView, StopsWhereTheSidDecoderStops) { cut_and_flip<wire::sid_bytes>(sid_sample(), decode_by_sid); }

TEST(WireView, StopsWhereTheDecodersStopInRandomBytes) {
    std::mt19937 random(20);
    const bytes classic = classic_sample(), by_sid = sid_sample();
    for (int round = 0; round < 20000; round++) {
        SCOPED_TRACE("round " + std::to_string(round));
        const bool is_classic = round % 2;
        bytes content = is_classic ? classic : by_sid;
        for (unsigned i = random() % 4; i-- > 0;) content[random() % content.size()] = static_cast<uint8_t>(random());
        content.resize(content.size() - random() % 8);
        if (is_classic) {
            expect_agreement<wire::classic_bytes>(content, decode_classic);
        } else {
            expect_agreement<wire::sid_bytes>(content, decode_by_sid);
        }
        if (HasFailure()) break;
    }
}

TEST(WireView, IsBoundedByTheBytesWhateverTheirCountsClaim) {
    bytes content = classic_sample();
    for (size_t i = 8; i < 12; i++) content[i] = 0x7F;
    const seen<wire::classic_bytes> shown(content);
    EXPECT_FALSE(shown.result.whole);
    EXPECT_LT(shown.lines.size(), content.size());
}
