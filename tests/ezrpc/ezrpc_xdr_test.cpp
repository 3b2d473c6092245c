#include "ezrpc/ezrpc_xdr.h"

#include "ks/ks_errno.h"
#include "ks/ks_stg.h"
#include "support/faults.hpp"
#include "support/memory_meter.hpp"
#include "support/xdr_streams.hpp"

#include <gtest/gtest.h>
#include <rapidcheck/gtest.h>

#include <cstring>
#include <string>
#include <thread>

namespace {

constexpr u_int no_maximum = UINT32_MAX;
constexpr auto unknown_op = static_cast<xdr_op>(3); // the last one that the type can hold

template <class Routine> xdrproc_t as_proc(Routine routine) { return reinterpret_cast<xdrproc_t>(routine); }
template <class T> char **as_chars(T *&pointer) { return reinterpret_cast<char **>(&pointer); }

// ---- the same records, sent with our routines and with those of the host

struct ours {
    static constexpr auto text = xdr_ez_string8;
    static constexpr auto array = xdr_ez_array;
    static constexpr auto pointed_array = xdr_ez_parray;
    static constexpr auto pointer = xdr_ez_pointer;
    static constexpr auto vector = xdr_ez_vector;
};

struct hosts {
    static constexpr auto text = xdr_string;
    static constexpr auto array = xdr_array;
    static constexpr auto pointer = xdr_pointer;
    static constexpr auto vector = xdr_vector;

    // An array of references is what the host makes of pointers that are never NULL.
    struct reference {
        static inline u_int size;
        static inline xdrproc_t proc;
        static bool_t pass(XDR *stream, char **object) { return xdr_reference(stream, object, size, proc); }
    };
    static bool_t pointed_array(XDR *stream, char **objects, u_int *count, u_int max, u_int size, xdrproc_t object) {
        reference::size = size;
        reference::proc = object;
        return xdr_array(stream, objects, count, max, sizeof(char *), as_proc(reference::pass));
    }
};

template <class With> bool_t pass_text(XDR *stream, char **text) { return With::text(stream, text, no_maximum); }

struct numbers {
    u_int count;
    uint32_t *items;
};
template <class With> bool_t pass_numbers(XDR *stream, numbers *list) {
    return With::array(stream, as_chars(list->items), &list->count, no_maximum, sizeof(uint32_t), as_proc(xdr_u_int));
}

struct texts {
    u_int count;
    char **items;
};
template <class With> bool_t pass_texts(XDR *stream, texts *list) {
    return With::array(stream, as_chars(list->items), &list->count, no_maximum, sizeof(char *),
                       as_proc(pass_text<With>));
}

struct named {
    char *name;
    uint32_t number;
};
template <class With> bool_t pass_named(XDR *stream, named *object) {
    return pass_text<With>(stream, &object->name) && xdr_u_int(stream, &object->number);
}

struct records {
    u_int count;
    named *items;
};
template <class With> bool_t pass_records(XDR *stream, records *list) {
    return With::array(stream, as_chars(list->items), &list->count, no_maximum, sizeof(named),
                       as_proc(pass_named<With>));
}

struct pointed {
    u_int count;
    named **items;
};
template <class With> bool_t pass_pointed(XDR *stream, pointed *list) {
    return With::pointed_array(stream, as_chars(list->items), &list->count, no_maximum, sizeof(named),
                               as_proc(pass_named<With>));
}

struct node {
    int32_t value;
    node *next;
};
template <class With> bool_t pass_list(XDR *stream, node **list);
template <class With> bool_t pass_node(XDR *stream, node *object) {
    return xdr_int(stream, &object->value) && pass_list<With>(stream, &object->next);
}
template <class With> bool_t pass_list(XDR *stream, node **list) {
    return With::pointer(stream, as_chars(*list), sizeof(node), as_proc(pass_node<With>));
}

struct three_texts {
    char *items[3];
};
template <class With> bool_t pass_three(XDR *stream, three_texts *list) {
    return With::vector(stream, reinterpret_cast<char *>(list->items), 3, sizeof(char *), as_proc(pass_text<With>));
}

struct everything {
    char *title;
    texts lines;
    numbers sums;
    pointed marks;
    node *list;
    three_texts ends;
};
template <class With> bool_t pass_everything(XDR *stream, everything *all) {
    return pass_text<With>(stream, &all->title) && pass_texts<With>(stream, &all->lines) &&
           pass_numbers<With>(stream, &all->sums) && pass_pointed<With>(stream, &all->marks) &&
           pass_list<With>(stream, &all->list) && pass_three<With>(stream, &all->ends);
}

// ---- values and the bytes they travel as

// What a routine decodes into: zero-filled, released by one free pass.
class object {
public:
    object(xdrproc_t routine, size_t size) : routine_(routine), memory_((size + 7) / 8) {}
    ~object() { xdr_ez_free(routine_, data()); }
    object(const object &) = delete;
    object &operator=(const object &) = delete;
    void *data() { return memory_.data(); }

private:
    xdrproc_t routine_;
    std::vector<uint64_t> memory_;
};

// A routine with the bytes of a value.
struct sample {
    const char *name;
    xdrproc_t routine, witness;
    size_t size;
    bytes golden;

    bool received(stream_kind kind, const bytes &from, object &into) const {
        return decode(kind, from, routine, into.data());
    }
};

#define SAMPLE(name, type, ...)                                                                                      \
    { #name, as_proc(pass_##name <ours>), as_proc(pass_##name <hosts>), sizeof(type), __VA_ARGS__ }

const sample samples[] = {
    SAMPLE(text, char *, {0, 0, 0, 0}),
    SAMPLE(text, char *, {0, 0, 0, 1, 'a', 0, 0, 0}),
    SAMPLE(text, char *, {0, 0, 0, 2, 'a', 'b', 0, 0}),
    SAMPLE(text, char *, {0, 0, 0, 3, 'a', 'b', 'c', 0}),
    SAMPLE(text, char *, {0, 0, 0, 4, 'a', 0xFF, 'c', 'd'}),
    SAMPLE(text, char *, {0, 0, 0, 5, 'a', 'b', 'c', 'd', 'e', 0, 0, 0}),
    SAMPLE(numbers, numbers, {0, 0, 0, 0}),
    SAMPLE(numbers, numbers, {0, 0, 0, 2, 1, 2, 3, 4, 0xFF, 0xFE, 0xFD, 0xFC}),
    SAMPLE(texts, texts, {0, 0, 0, 3, 0, 0, 0, 1, 'x', 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 4, 'w', 'o', 'r', 'd'}),
    SAMPLE(records, records, {0, 0, 0, 2, 0, 0, 0, 1, 'p', 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 1, 0}),
    SAMPLE(pointed, pointed, {0, 0, 0, 0}),
    SAMPLE(pointed, pointed, {0, 0, 0, 2, 0, 0, 0, 1, 'p', 0, 0, 0, 0, 0, 0, 7, 0, 0, 0, 0, 0, 0, 1, 0}),
    SAMPLE(list, node *, {0, 0, 0, 0}),
    SAMPLE(list, node *, {0, 0, 0, 1, 0, 0, 0, 9, 0, 0, 0, 1, 0xFF, 0xFF, 0xFF, 0xFF, 0, 0, 0, 0}),
    SAMPLE(three, three_texts, {0, 0, 0, 1, '1', 0, 0, 0, 0, 0, 0, 2, '2', '2', 0, 0, 0, 0, 0, 0}),
    SAMPLE(everything, everything,
           {
               0, 0, 0, 2, 'm', 'e', 0, 0,                                               // title
               0, 0, 0, 2, 0,   0,   0, 1, 'l', 0,   0,   0, 0, 0, 0, 2, 'l', 'i', 0, 0, // lines
               0, 0, 0, 1, 9,   8,   7, 6,                                               // sums
               0, 0, 0, 1, 0,   0,   0, 3, 'm', 'r', 'k', 0, 0, 0, 0, 5,                 // marks
               0, 0, 0, 1, 0,   0,   0, 4, 0,   0,   0,   0,                             // list
               0, 0, 0, 1, 'a', 0,   0, 0, 0,   0,   0,   0, 0, 0, 0, 1, 'c', 0,   0, 0, // ends
           }),
};

bytes wire_of(std::initializer_list<uint32_t> words) {
    bytes all;
    for (const uint32_t word : words) {
        all.insert(all.end(), {static_cast<uint8_t>(word >> 24), static_cast<uint8_t>(word >> 16),
                               static_cast<uint8_t>(word >> 8), static_cast<uint8_t>(word)});
    }
    return all;
}

bytes wire_of_text(const std::string &text) {
    bytes all = wire_of({static_cast<uint32_t>(text.size())});
    all.insert(all.end(), text.begin(), text.end());
    all.resize((all.size() + 3) / 4 * 4);
    return all;
}

bytes wire_of_list(size_t length) {
    bytes all;
    for (size_t i = 0; i < length; i++) {
        const bytes one = wire_of({1, static_cast<uint32_t>(i)});
        all.insert(all.end(), one.begin(), one.end());
    }
    all.resize(all.size() + 4);
    return all;
}

XDR poisoned(xdr_op op) {
    XDR stream;
    std::memset(static_cast<void *>(&stream), 0xA5, sizeof stream);
    stream.x_op = op;
    return stream;
}

// ---- all routines alike

TEST(EzRoutines, SendTheGoldenBytesOnEveryStream) {
    for (const sample &value : samples) {
        for (const stream_kind kind : all_stream_kinds) {
            SCOPED_TRACE(std::string(value.name) + " " + name_of(kind));
            object received(value.routine, value.size);
            ASSERT_TRUE(value.received(kind, value.golden, received));
            EXPECT_EQ(encode(kind, value.routine, received.data()), value.golden);
        }
    }
}

TEST(EzRoutines, SendAndReceiveWhatTheHostsRoutinesDo) {
    for (const sample &value : samples) {
        for (const stream_kind kind : all_stream_kinds) {
            SCOPED_TRACE(std::string(value.name) + " " + name_of(kind));
            object received(value.routine, value.size);
            ASSERT_TRUE(decode(kind, value.golden, value.witness, received.data())) << "memory of the host's";
            EXPECT_EQ(encode(kind, value.routine, received.data()), value.golden);
            EXPECT_EQ(encode(kind, value.witness, received.data()), value.golden);
        }
    }
}

TEST(EzRoutines, FailWhereverTheBytesEndAndOneFreePassReleases) {
    for (const sample &value : samples) {
        for (const stream_kind kind : all_stream_kinds) {
            for (size_t length = 0; length < value.golden.size(); length++) {
                object received(value.routine, value.size);
                EXPECT_FALSE(value.received(kind, first(value.golden, length), received))
                    << value.name << " " << name_of(kind) << " " << length;
            }
        }
    }
}

TEST(EzRoutines, FailWhereverTheRoomEnds) {
    for (const sample &value : samples) {
        SCOPED_TRACE(value.name);
        object received(value.routine, value.size);
        ASSERT_TRUE(value.received(stream_kind::memory, value.golden, received));
        for (size_t length = 0; length < value.golden.size(); length++) {
            std::vector<char> room(length + 1);
            XDR stream;
            xdrmem_create(&stream, room.data(), static_cast<u_int>(length), XDR_ENCODE);
            EXPECT_FALSE(value.routine(&stream, received.data(), no_maximum)) << length;
        }
    }
}

TEST(EzRoutines, FailForEveryRefusedAllocationAndOneFreePassReleases) {
    for (const sample &value : samples) {
        for (const stream_kind kind : {stream_kind::memory, stream_kind::storage, stream_kind::record}) {
            SCOPED_TRACE(std::string(value.name) + " " + name_of(kind));
            object received(value.routine, value.size);
            int failures = 0;
            const int refused = faults::each_allocation([&](int, bool) {
                ks_errno = 0;
                const bool all = value.received(kind, value.golden, received);
                const faults::suspend quiet;
                if (all) {
                    EXPECT_EQ(encode(stream_kind::memory, value.routine, received.data()), value.golden);
                } else {
                    EXPECT_EQ(ks_errno, KS_ENOMEM);
                    failures++;
                }
                xdr_ez_free(value.routine, received.data());
            });
            EXPECT_EQ(failures, 2 * refused);
        }
    }
}

TEST(EzRoutines, ReleaseWithAStreamOfWhichOnlyTheDirectionIsThere) {
    for (const sample &value : samples) {
        SCOPED_TRACE(value.name);
        object received(value.routine, value.size);
        ASSERT_TRUE(value.received(stream_kind::memory, value.golden, received));
        XDR stream = poisoned(XDR_FREE);
        const XDR before = stream;
        EXPECT_TRUE(value.routine(&stream, received.data(), no_maximum));
        EXPECT_TRUE(value.routine(&stream, received.data(), no_maximum)) << "there is nothing to release any more";
        EXPECT_EQ(std::memcmp(&stream, &before, sizeof stream), 0);
    }
}

TEST(EzRoutines, ReleaseWhatTheHostsReceiveAndTheReverse) {
    for (const sample &value : samples) {
        if (value.golden == bytes{0, 0, 0, 0}) continue; // the host releases no shared empty text
        SCOPED_TRACE(value.name);
        std::vector<uint64_t> received((value.size + 7) / 8);
        ASSERT_TRUE(decode(stream_kind::memory, value.golden, value.witness, received.data()));
        xdr_ez_free(value.routine, received.data());
        EXPECT_EQ(encode(stream_kind::memory, value.routine, std::vector<uint64_t>((value.size + 7) / 8).data()),
                  encode(stream_kind::memory, value.routine, received.data()));
    }
}

// Passes a routine on, and notes the memory that it takes.
struct metered {
    xdrproc_t routine;
    void *object;
    size_t peak, largest;

    static bool_t pass(XDR *stream, metered *self) {
        const memory_meter meter;
        const bool_t passed = self->routine(stream, self->object, no_maximum);
        self->peak = meter.peak();
        self->largest = meter.largest();
        return passed;
    }
};

constexpr uint32_t hostile_counts[] = {0x7FFFFFFF, 0x80000000, 0xFFFFFFFF};

// Bytes that claim far more than they deliver.
std::vector<bytes> hostile_inputs() {
    std::vector<bytes> all;
    for (const uint32_t count : hostile_counts) {
        for (const size_t delivered : {0, 3, 4, 64, 5000, 70000}) {
            for (const char filler : {'\0', 'x'}) {
                all.push_back(wire_of({count}));
                all.back().resize(4 + delivered, static_cast<uint8_t>(filler));
            }
        }
    }
    return all;
}

bool knows_its_end(stream_kind kind) { return kind != stream_kind::record && kind != stream_kind::file; }

TEST(EzRoutines, TakeLittleMemoryForWhatAPeerOnlyClaims) {
    testing::internal::CaptureStderr();
    for (const bytes &from : hostile_inputs()) {
        for (const sample &value : {samples[0], samples[7], samples[8], samples[9], samples[11]}) {
            for (const stream_kind kind : all_stream_kinds) {
                SCOPED_TRACE(std::string(value.name) + " " + name_of(kind));
                object received(value.routine, value.size);
                metered job{value.routine, received.data(), 0, 0};
                ASSERT_FALSE(decode(kind, from, as_proc(metered::pass), &job));
                ASSERT_LE(job.peak, knows_its_end(kind) ? 0 : 64 * 1024 + 8 * from.size()) << from.size();
                ASSERT_LE(job.largest, job.peak);
            }
        }
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// A count that the bytes have room for, but not the elements: what has been taken follows what has arrived.
TEST(EzRoutines, TakeMemoryInProportionToWhatArrives) {
    const sample counted[] = {samples[7], samples[8], samples[9], samples[11]};
    for (const sample &value : counted) {
        for (const stream_kind kind : all_stream_kinds) {
            for (const size_t words : {64u, 1000u, 4097u, 40000u}) {
                bytes from = wire_of({static_cast<uint32_t>(words)});
                from.resize(4 + 4 * words - 1); // the last one is cut
                object received(value.routine, value.size);
                metered job{value.routine, received.data(), 0, 0};
                ASSERT_FALSE(decode(kind, from, as_proc(metered::pass), &job));
                ASSERT_LE(job.peak, 64 * 1024 + 8 * from.size())
                    << value.name << " " << name_of(kind) << " " << words;
            }
        }
    }
}

// ---- texts

TEST(XdrEzString8, SendsNullAsTheEmptyText) {
    char *text = nullptr;
    for (const stream_kind kind : all_stream_kinds) {
        EXPECT_EQ(encode(kind, as_proc(xdr_ez_string8), &text), wire_of({0}));
    }
}

TEST(XdrEzString8, CarriesTextsOfAnyLengthOnEveryStream) {
    for (const size_t length : {1, 4, 4095, 4096, 4097, 8191, 8192, 8193, 8194, 100001}) {
        const std::string text(length, 'x');
        for (const stream_kind kind : all_stream_kinds) {
            SCOPED_TRACE(std::to_string(length) + " " + name_of(kind));
            char *received = nullptr, *shown = const_cast<char *>(text.c_str());
            EXPECT_EQ(encode(kind, as_proc(xdr_ez_string8), &shown), wire_of_text(text));
            ASSERT_TRUE(decode(kind, wire_of_text(text), as_proc(xdr_ez_string8), &received));
            EXPECT_EQ(received, text);
            stg_free(received);
        }
    }
}

RC_GTEST_PROP(XdrEzString8, TravelsLikeTheHostsString, ()) {
    const auto characters = *rc::gen::container<std::string>(rc::gen::distinctFrom(rc::gen::arbitrary<char>(), '\0'));
    char *text = const_cast<char *>(characters.c_str());
    for (const stream_kind kind : {stream_kind::memory, stream_kind::unaligned, stream_kind::storage}) {
        const auto sent = encode(kind, as_proc(pass_text<ours>), &text);
        RC_ASSERT(sent == encode(kind, as_proc(pass_text<hosts>), &text));
        char *received = nullptr;
        RC_ASSERT(decode(kind, *sent, as_proc(pass_text<ours>), &received));
        RC_ASSERT(received == characters);
        xdr_ez_free(as_proc(xdr_ez_string8), &received);
    }
}

// A routine with a maximum of its own.
template <u_int Max> bool_t pass_bounded(XDR *stream, char **text) { return xdr_ez_string8(stream, text, Max); }

TEST(XdrEzString8, TakesTheMaximumAndNotOneMore) {
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        char exact[] = "12345", longer[] = "123456", *sent = exact, *received = nullptr;
        EXPECT_EQ(encode(kind, as_proc(pass_bounded<5>), &sent), wire_of_text(exact));
        ASSERT_TRUE(decode(kind, wire_of_text(exact), as_proc(pass_bounded<5>), &received));
        EXPECT_STREQ(received, exact);
        xdr_ez_free(as_proc(xdr_ez_string8), &received);
        sent = longer;
        EXPECT_EQ(encode(kind, as_proc(pass_bounded<5>), &sent), std::nullopt);
        EXPECT_FALSE(decode(kind, wire_of_text(longer), as_proc(pass_bounded<5>), &received));
        EXPECT_EQ(received, nullptr);
        char empty[] = "";
        sent = empty;
        EXPECT_EQ(encode(kind, as_proc(pass_bounded<0>), &sent), wire_of({0}));
        EXPECT_FALSE(decode(kind, wire_of_text("1"), as_proc(pass_bounded<0>), &received));
    }
}

TEST(XdrEzString8, RefusesATextWithANulInIt) {
    for (const stream_kind kind : all_stream_kinds) {
        for (size_t length = 1; length < 10; length++) {
            for (size_t at = 0; at < length; at++) {
                SCOPED_TRACE(at);
                std::string text(length, 'x');
                text[at] = '\0';
                char *received = nullptr;
                EXPECT_FALSE(decode(kind, wire_of_text(text), as_proc(xdr_ez_string8), &received));
                EXPECT_EQ(received, nullptr);
                char storage[16] = "before", *own = storage;
                EXPECT_FALSE(decode(kind, wire_of_text(text), as_proc(xdr_ez_string8), &own));
                EXPECT_STREQ(storage, "");
            }
        }
    }
}

TEST(XdrEzString8, DoesNotLookAtThePaddingThatArrives) {
    for (const stream_kind kind : all_stream_kinds) {
        char *received = nullptr, *by_host = nullptr;
        const bytes from{0, 0, 0, 2, 'o', 'k', 0xFF, 1};
        ASSERT_TRUE(decode(kind, from, as_proc(pass_text<hosts>), &by_host));
        ASSERT_TRUE(decode(kind, from, as_proc(xdr_ez_string8), &received));
        EXPECT_STREQ(received, by_host);
        stg_free(received);
        stg_free(by_host);
    }
}

TEST(XdrEzString8, ReceivesIntoTheCallersStorage) {
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        char storage[8], *own = storage;
        std::memset(storage, '#', sizeof storage);
        metered job{as_proc(pass_bounded<5>), &own, 0, 0};
        EXPECT_TRUE(decode(kind, wire_of_text("12345"), as_proc(metered::pass), &job));
        EXPECT_EQ(job.peak, 0u);
        EXPECT_EQ(own, storage);
        EXPECT_EQ(std::string(storage, sizeof storage), std::string("12345\0##", 8));
        ASSERT_TRUE(decode(kind, wire_of({0}), as_proc(pass_bounded<5>), &own));
        EXPECT_EQ(own, storage);
        EXPECT_STREQ(storage, "");
    }
}

TEST(XdrEzString8, LeavesTheCallersStorageTerminatedWhenItFails) {
    const bytes all = wire_of_text("12345");
    for (const stream_kind kind : all_stream_kinds) {
        for (size_t length = 4; length < all.size(); length++) {
            char storage[6], *own = storage;
            std::memset(storage, '#', sizeof storage);
            EXPECT_FALSE(decode(kind, first(all, length), as_proc(pass_bounded<5>), &own));
            EXPECT_STREQ(storage, "") << name_of(kind) << " " << length;
        }
        char storage[6] = "kept", *own = storage;
        EXPECT_FALSE(decode(kind, wire_of_text("123456"), as_proc(pass_bounded<5>), &own));
        EXPECT_STREQ(storage, "kept") << "too long: nothing of it is read";
    }
}

TEST(XdrEzString8, SharesTheEmptyTextAndNeverReleasesOrWritesIt) {
    char *received = nullptr;
    for (const stream_kind kind : all_stream_kinds) {
        metered job{as_proc(xdr_ez_string8), &received, 0, 0};
        EXPECT_TRUE(decode(kind, wire_of({0}), as_proc(metered::pass), &job));
        EXPECT_EQ(job.peak, 0u);
        EXPECT_EQ(received, stg_empty_string);
        ASSERT_TRUE(decode(kind, wire_of({0}), as_proc(xdr_ez_string8), &received)) << "again into the same";
        EXPECT_EQ(received, stg_empty_string);
        ASSERT_TRUE(decode(kind, wire_of_text("longer"), as_proc(xdr_ez_string8), &received));
        EXPECT_STREQ(received, "longer");
        xdr_ez_free(as_proc(xdr_ez_string8), &received);
        ASSERT_TRUE(decode(kind, wire_of({0}), as_proc(xdr_ez_string8), &received));
        xdr_ez_free(as_proc(xdr_ez_string8), &received);
        EXPECT_EQ(received, nullptr);
    }
}

// ---- arrays

template <u_int Max> bool_t pass_bounded_numbers(XDR *stream, numbers *list) {
    return xdr_ez_array(stream, as_chars(list->items), &list->count, Max, sizeof(uint32_t), as_proc(xdr_u_int));
}
template <u_int Max> bool_t pass_bounded_pointed(XDR *stream, pointed *list) {
    return xdr_ez_parray(stream, as_chars(list->items), &list->count, Max, sizeof(named), as_proc(pass_named<ours>));
}

TEST(XdrEzArray, CarriesAnyNumberOfElementsOnEveryStream) {
    for (const uint32_t count : {1u, 1023u, 1024u, 1025u, 2048u, 2049u, 30000u}) {
        std::vector<uint32_t> values(count);
        for (uint32_t i = 0; i < count; i++) values[i] = i * 0x01010101;
        for (const stream_kind kind : all_stream_kinds) {
            SCOPED_TRACE(std::to_string(count) + " " + name_of(kind));
            numbers sent{count, values.data()}, received{};
            const auto wire = encode(kind, as_proc(pass_numbers<ours>), &sent);
            EXPECT_EQ(wire, encode(kind, as_proc(pass_numbers<hosts>), &sent));
            ASSERT_TRUE(decode(kind, *wire, as_proc(pass_numbers<ours>), &received));
            ASSERT_EQ(received.count, count);
            EXPECT_EQ(std::vector<uint32_t>(received.items, received.items + count), values);
            xdr_ez_free(as_proc(pass_numbers<ours>), &received);
            EXPECT_EQ(received.count, 0u);
            EXPECT_EQ(received.items, nullptr);
        }
    }
}

RC_GTEST_PROP(XdrEzArray, TravelsLikeTheHostsArray, (const std::vector<uint32_t> &values)) {
    numbers sent{static_cast<u_int>(values.size()), const_cast<uint32_t *>(values.data())}, received{};
    for (const stream_kind kind : {stream_kind::memory, stream_kind::unaligned, stream_kind::storage}) {
        const auto wire = encode(kind, as_proc(pass_numbers<ours>), &sent);
        RC_ASSERT(wire == encode(kind, as_proc(pass_numbers<hosts>), &sent));
        RC_ASSERT(decode(kind, *wire, as_proc(pass_numbers<ours>), &received));
        RC_ASSERT(received.count == values.size());
        RC_ASSERT(std::equal(values.begin(), values.end(), received.items));
        xdr_ez_free(as_proc(pass_numbers<ours>), &received);
    }
}

TEST(XdrEzArray, GivesNoArrayForNoElement) {
    for (const stream_kind kind : all_stream_kinds) {
        numbers received{5, nullptr};
        ASSERT_TRUE(decode(kind, wire_of({0}), as_proc(pass_numbers<ours>), &received));
        EXPECT_EQ(received.count, 0u);
        EXPECT_EQ(received.items, nullptr);
        numbers none{0, nullptr}, missing{1, nullptr};
        EXPECT_EQ(encode(kind, as_proc(pass_numbers<ours>), &none), wire_of({0}));
        EXPECT_EQ(encode(kind, as_proc(pass_numbers<ours>), &missing), std::nullopt);
    }
}

TEST(XdrEzArray, TakesTheMaximumAndNotOneMore) {
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        uint32_t values[] = {1, 2, 3};
        numbers sent{2, values}, received{};
        EXPECT_EQ(encode(kind, as_proc(pass_bounded_numbers<2>), &sent), wire_of({2, 1, 2}));
        EXPECT_TRUE(decode(kind, wire_of({2, 1, 2}), as_proc(pass_bounded_numbers<2>), &received));
        xdr_ez_free(as_proc(pass_numbers<ours>), &received);
        sent.count = 3;
        EXPECT_EQ(encode(kind, as_proc(pass_bounded_numbers<2>), &sent), std::nullopt);
        EXPECT_FALSE(decode(kind, wire_of({3, 1, 2, 3}), as_proc(pass_bounded_numbers<2>), &received));
        EXPECT_EQ(received.items, nullptr);
        EXPECT_EQ(received.count, 0u);
    }
}

TEST(XdrEzArray, ReceivesIntoTheCallersStorage) {
    for (const stream_kind kind : all_stream_kinds) {
        uint32_t storage[4] = {9, 9, 9, 9};
        numbers own{0, storage};
        ASSERT_TRUE(decode(kind, wire_of({3, 1, 2, 3}), as_proc(pass_bounded_numbers<3>), &own));
        EXPECT_EQ(own.items, storage);
        EXPECT_EQ(own.count, 3u);
        EXPECT_EQ(std::vector<uint32_t>(storage, storage + 4), (std::vector<uint32_t>{1, 2, 3, 9}));
        EXPECT_FALSE(decode(kind, wire_of({4, 1, 2, 3, 4}), as_proc(pass_bounded_numbers<3>), &own));
        EXPECT_EQ(storage[3], 9u);
    }
}

TEST(XdrEzArray, RefusesACountThatTheStreamHasNoRoomFor) {
    for (const stream_kind kind : all_stream_kinds) {
        if (!knows_its_end(kind)) continue;
        numbers received{};
        metered job{as_proc(pass_numbers<ours>), &received, 0, 0};
        EXPECT_FALSE(decode(kind, wire_of({4, 1, 2, 3}), as_proc(metered::pass), &job));
        EXPECT_EQ(job.peak, 0u);
    }
}

TEST(XdrEzArray, AgreesWithItsCountWhenItFails) {
    for (const stream_kind kind : all_stream_kinds) {
        texts received{};
        bytes from = wire_of({3});
        for (const char *text : {"one", "two"}) {
            const bytes one = wire_of_text(text);
            from.insert(from.end(), one.begin(), one.end());
        }
        from.resize(from.size() + 3);
        EXPECT_FALSE(decode(kind, from, as_proc(pass_texts<ours>), &received));
        // On the streams that know, 19 bytes are room enough for three elements.
        ASSERT_EQ(received.count, 3u);
        EXPECT_STREQ(received.items[0], "one");
        EXPECT_STREQ(received.items[1], "two");
        EXPECT_EQ(received.items[2], nullptr);
        xdr_ez_free(as_proc(pass_texts<ours>), &received);
    }
}

// Objects that are larger than the first piece of memory, and much larger than what they travel as.
struct large {
    uint32_t number;
    char rest[10000];
};
struct large_ones {
    u_int count;
    large *items;
};
bool_t pass_large(XDR *stream, large *object) { return xdr_u_int(stream, &object->number); }
bool_t pass_large_ones(XDR *stream, large_ones *list) {
    return xdr_ez_array(stream, as_chars(list->items), &list->count, no_maximum, sizeof(large), as_proc(pass_large));
}

TEST(XdrEzArray, TakesLargeElementsOneByOneAtFirst) {
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        large_ones received{};
        ASSERT_TRUE(decode(kind, wire_of({5, 10, 11, 12, 13, 14}), as_proc(pass_large_ones), &received));
        ASSERT_EQ(received.count, 5u);
        for (uint32_t i = 0; i < 5; i++) EXPECT_EQ(received.items[i].number, 10 + i);
        xdr_ez_free(as_proc(pass_large_ones), &received);
        for (const uint32_t count : hostile_counts) {
            metered job{as_proc(pass_large_ones), &received, 0, 0};
            EXPECT_FALSE(decode(kind, wire_of({count}), as_proc(metered::pass), &job));
            EXPECT_LE(job.peak, 2 * sizeof(large));
            xdr_ez_free(as_proc(pass_large_ones), &received);
        }
    }
}

TEST(XdrEzParray, RefusesToSendNull) {
    named one{const_cast<char *>("one"), 1}, *items[] = {&one, nullptr};
    pointed list{2, items};
    for (const stream_kind kind : all_stream_kinds) {
        EXPECT_EQ(encode(kind, as_proc(pass_pointed<ours>), &list), std::nullopt);
    }
    list.count = 1;
    EXPECT_TRUE(encode(stream_kind::memory, as_proc(pass_pointed<ours>), &list));
}

TEST(XdrEzParray, IsSentLikeAnArrayOfTheObjects) {
    named objects[] = {{const_cast<char *>("one"), 1}, {const_cast<char *>("two"), 2}};
    named *items[] = {&objects[0], &objects[1]};
    pointed list{2, items};
    records array{2, objects};
    for (const stream_kind kind : all_stream_kinds) {
        EXPECT_EQ(encode(kind, as_proc(pass_pointed<ours>), &list),
                  encode(kind, as_proc(pass_records<hosts>), &array));
    }
}

TEST(XdrEzParray, TakesTheMaximumAndNotOneMore) {
    named one{const_cast<char *>("1"), 1}, *items[] = {&one, &one, &one};
    const bytes two = wire_of({2, 0, 5, 0, 6}), three = wire_of({3, 0, 5, 0, 6, 0, 7});
    for (const stream_kind kind : all_stream_kinds) {
        pointed sent{2, items}, received{};
        EXPECT_TRUE(encode(kind, as_proc(pass_bounded_pointed<2>), &sent));
        ASSERT_TRUE(decode(kind, two, as_proc(pass_bounded_pointed<2>), &received));
        EXPECT_EQ(received.items[1]->number, 6u);
        xdr_ez_free(as_proc(pass_pointed<ours>), &received);
        EXPECT_EQ(received.items, nullptr);
        EXPECT_EQ(received.count, 0u);
        sent.count = 3;
        EXPECT_EQ(encode(kind, as_proc(pass_bounded_pointed<2>), &sent), std::nullopt);
        EXPECT_FALSE(decode(kind, three, as_proc(pass_bounded_pointed<2>), &received));
        EXPECT_EQ(received.items, nullptr);
    }
}

TEST(XdrEzParray, ReceivesIntoTheCallersObjectsAndMakesThoseThatAreMissing) {
    for (const stream_kind kind : all_stream_kinds) {
        char name[8];
        named own{name, 0}, *storage[] = {&own, nullptr};
        pointed list{0, storage};
        bytes from = wire_of({2});
        for (const char *text : {"mine", "new"}) {
            const bytes one = wire_of_text(text), number = wire_of({3});
            from.insert(from.end(), one.begin(), one.end());
            from.insert(from.end(), number.begin(), number.end());
        }
        ASSERT_TRUE(decode(kind, from, as_proc(pass_pointed<ours>), &list));
        EXPECT_EQ(list.items, storage);
        EXPECT_EQ(storage[0], &own);
        EXPECT_STREQ(name, "mine");
        ASSERT_NE(storage[1], nullptr);
        EXPECT_STREQ(storage[1]->name, "new");
        xdr_ez_free(as_proc(pass_named<ours>), storage[1]);
        stg_free(storage[1]);
    }
}

TEST(XdrEzParray, ReleasesArraysWithGaps) {
    pointed list{3, static_cast<named **>(stg_calloc(3, sizeof(named *)))};
    list.items[1] = static_cast<named *>(stg_calloc(1, sizeof(named)));
    list.items[1]->name = stg_strdup("between");
    XDR stream = poisoned(XDR_FREE);
    EXPECT_TRUE(pass_pointed<ours>(&stream, &list));
    EXPECT_EQ(list.items, nullptr);
    EXPECT_EQ(list.count, 0u);
}

// ---- optional objects

TEST(XdrEzPointer, TakesAnyWordButZeroForPresent) {
    for (const stream_kind kind : all_stream_kinds) {
        for (const uint32_t present : {1u, 2u, 0x100u, 0x80000000u, 0xFFFFFFFFu}) {
            node *list = nullptr;
            ASSERT_TRUE(decode(kind, wire_of({present, 5, 0}), as_proc(pass_list<ours>), &list)) << present;
            ASSERT_NE(list, nullptr);
            EXPECT_EQ(list->value, 5);
            EXPECT_EQ(list->next, nullptr);
            EXPECT_EQ(encode(kind, as_proc(pass_list<ours>), &list), wire_of({1, 5, 0}));
            xdr_ez_free(as_proc(pass_list<ours>), &list);
            EXPECT_EQ(list, nullptr);
        }
    }
}

TEST(XdrEzPointer, ReceivesIntoTheCallersObject) {
    for (const stream_kind kind : all_stream_kinds) {
        node own{1, nullptr}, *list = &own;
        ASSERT_TRUE(decode(kind, wire_of({1, 5, 0}), as_proc(pass_list<ours>), &list));
        EXPECT_EQ(list, &own);
        EXPECT_EQ(own.value, 5);
        ASSERT_TRUE(decode(kind, wire_of({0}), as_proc(pass_list<ours>), &list));
        EXPECT_EQ(list, nullptr);
    }
}

TEST(XdrEzPointer, FollowsAsManyObjectsAsTheLimitAndNotOneMore) {
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        for (int round = 0; round < 2; round++) { // a failure leaves nothing behind
            object longest(as_proc(pass_list<ours>), sizeof(node *)),
                longer(as_proc(pass_list<ours>), sizeof(node *));
            const bytes most = wire_of_list(EZRPC_NESTING_LIMIT), above = wire_of_list(EZRPC_NESTING_LIMIT + 1);
            ASSERT_TRUE(decode(kind, most, as_proc(pass_list<ours>), longest.data()));
            EXPECT_EQ(encode(kind, as_proc(pass_list<ours>), longest.data()), most);
            EXPECT_FALSE(decode(kind, above, as_proc(pass_list<ours>), longer.data()));
            node *sent = nullptr;
            ASSERT_TRUE(decode(kind, above, as_proc(pass_list<hosts>), &sent));
            EXPECT_EQ(encode(kind, as_proc(pass_list<ours>), &sent), std::nullopt);
            xdr_ez_free(as_proc(pass_list<ours>), &sent);
        }
    }
}

TEST(XdrEzPointer, ReleasesListsOfAnyLength) {
    node *list = nullptr;
    for (int i = 0; i < 1000; i++) {
        auto *longer = static_cast<node *>(stg_malloc(sizeof(node)));
        *longer = {i, list};
        list = longer;
    }
    xdr_ez_free(as_proc(pass_list<ours>), &list);
    EXPECT_EQ(list, nullptr);
}

// Arrays nest as well.
struct tree {
    u_int count;
    tree *items;
};
bool_t pass_tree(XDR *stream, tree *object) {
    return xdr_ez_array(stream, as_chars(object->items), &object->count, no_maximum, sizeof(tree),
                        as_proc(pass_tree));
}
struct pointed_tree {
    u_int count;
    pointed_tree **items;
};
bool_t pass_pointed_tree(XDR *stream, pointed_tree *object) {
    return xdr_ez_parray(stream, as_chars(object->items), &object->count, no_maximum, sizeof(pointed_tree),
                         as_proc(pass_pointed_tree));
}

TEST(XdrEzArray, NestsAsDeepAsTheLimitAndNotOneDeeper) {
    bytes deepest, deeper = wire_of({1});
    for (int i = 0; i < EZRPC_NESTING_LIMIT; i++) deepest.insert(deepest.end(), {0, 0, 0, 1});
    deepest.resize(deepest.size() + 4);
    deeper.insert(deeper.end(), deepest.begin(), deepest.end());
    for (const stream_kind kind : all_stream_kinds) {
        SCOPED_TRACE(name_of(kind));
        for (const xdrproc_t routine : {as_proc(pass_tree), as_proc(pass_pointed_tree)}) {
            object within(routine, sizeof(tree)), beyond(routine, sizeof(tree));
            ASSERT_TRUE(decode(kind, deepest, routine, within.data()));
            EXPECT_EQ(encode(kind, routine, within.data()), deepest);
            EXPECT_FALSE(decode(kind, deeper, routine, beyond.data()));
        }
    }
}

// An object whose routine has another thread receive a list as long as can be.
struct meeting {
    bool other_received;
};
bool_t pass_meeting(XDR *, meeting *object) {
    std::thread([object] {
        node *list = nullptr;
        object->other_received =
            decode(stream_kind::storage, wire_of_list(EZRPC_NESTING_LIMIT), as_proc(pass_list<ours>), &list);
        xdr_ez_free(as_proc(pass_list<ours>), &list);
    }).join();
    return TRUE;
}

TEST(XdrEzPointer, CountsItsObjectsByThread) {
    meeting met{};
    char *object = reinterpret_cast<char *>(&met);
    char room[64];
    XDR stream;
    xdrmem_create(&stream, room, sizeof room, XDR_ENCODE);
    EXPECT_TRUE(xdr_ez_pointer(&stream, &object, sizeof met, as_proc(pass_meeting)));
    EXPECT_TRUE(met.other_received);
}

// ---- vectors

TEST(XdrEzVector, PassesItsElementsAlone) {
    uint32_t values[] = {1, 2, 3};
    char room[16];
    XDR stream;
    xdrmem_create(&stream, room, sizeof room, XDR_ENCODE);
    EXPECT_TRUE(xdr_ez_vector(&stream, reinterpret_cast<char *>(values), 3, sizeof *values, as_proc(xdr_u_int)));
    EXPECT_EQ(bytes(room, room + XDR_GETPOS(&stream)), wire_of({1, 2, 3}));
    EXPECT_FALSE(xdr_ez_vector(&stream, reinterpret_cast<char *>(values), 2, sizeof *values, as_proc(xdr_u_int)));
    uint32_t back[4] = {9, 9, 9, 9};
    xdrmem_create(&stream, room, sizeof room, XDR_DECODE);
    EXPECT_TRUE(xdr_ez_vector(&stream, reinterpret_cast<char *>(back), 3, sizeof *back, as_proc(xdr_u_int)));
    EXPECT_EQ(std::vector<uint32_t>(back, back + 4), (std::vector<uint32_t>{1, 2, 3, 9}));
    EXPECT_TRUE(xdr_ez_vector(&stream, nullptr, 0, sizeof *back, as_proc(xdr_u_int)));
}

// ---- how routines of elements are called

struct call_log {
    static inline std::vector<u_int> third;
    static inline bool answers;
    static bool_t pass(XDR *, void *, u_int max) {
        third.push_back(max);
        return answers;
    }
};

TEST(EzRoutines, GiveElementsTheLargestMaximum) {
    for (const xdr_op op : {XDR_ENCODE, XDR_DECODE}) {
        call_log::third.clear();
        call_log::answers = true;
        uint32_t storage[2] = {}, *pointers[2] = {&storage[0], &storage[1]};
        char *array = reinterpret_cast<char *>(storage), *parray = reinterpret_cast<char *>(pointers);
        char *object = array;
        u_int count = 2;
        bytes room = wire_of({2, 2, 1});
        XDR stream;
        xdrmem_create(&stream, reinterpret_cast<char *>(room.data()), 12, op);
        EXPECT_TRUE(xdr_ez_array(&stream, &array, &count, 2, 4, as_proc(call_log::pass)));
        EXPECT_TRUE(xdr_ez_parray(&stream, &parray, &count, 2, 4, as_proc(call_log::pass)));
        EXPECT_TRUE(xdr_ez_pointer(&stream, &object, 4, as_proc(call_log::pass)));
        EXPECT_TRUE(xdr_ez_vector(&stream, array, 2, 4, as_proc(call_log::pass)));
        xdr_ez_free(as_proc(call_log::pass), array);
        EXPECT_EQ(call_log::third, std::vector<u_int>(8, 0xFFFFFFFF));
    }
}

TEST(EzRoutines, ReleaseAllWhateverTheElementsAnswer) {
    for (const bool answer : {true, false}) {
        call_log::third.clear();
        call_log::answers = answer;
        XDR stream = poisoned(XDR_FREE);
        auto *array = static_cast<char *>(stg_calloc(3, 4)), *object = static_cast<char *>(stg_malloc(4));
        auto **pointers = static_cast<char **>(stg_calloc(3, sizeof(char *)));
        for (int i = 0; i < 3; i++) pointers[i] = static_cast<char *>(stg_malloc(4));
        auto *parray = reinterpret_cast<char *>(pointers);
        char vector[12];
        u_int count = 3, pointer_count = 3;
        EXPECT_TRUE(xdr_ez_array(&stream, &array, &count, 1, 4, as_proc(call_log::pass))) << "even above the maximum";
        EXPECT_TRUE(xdr_ez_parray(&stream, &parray, &pointer_count, 1, 4, as_proc(call_log::pass)));
        EXPECT_TRUE(xdr_ez_pointer(&stream, &object, 4, as_proc(call_log::pass)));
        EXPECT_TRUE(xdr_ez_vector(&stream, vector, 3, 4, as_proc(call_log::pass)));
        EXPECT_EQ(call_log::third.size(), 10u);
        EXPECT_EQ(array, nullptr);
        EXPECT_EQ(parray, nullptr);
        EXPECT_EQ(object, nullptr);
        EXPECT_EQ(count + pointer_count, 0u);
    }
}

TEST(EzRoutines, StopAtTheFirstElementThatFails) {
    call_log::third.clear();
    call_log::answers = false;
    uint32_t storage[3] = {};
    char *array = reinterpret_cast<char *>(storage), *object = array, room[64];
    u_int count = 3;
    XDR stream;
    xdrmem_create(&stream, room, sizeof room, XDR_ENCODE);
    EXPECT_FALSE(xdr_ez_array(&stream, &array, &count, 3, 4, as_proc(call_log::pass)));
    EXPECT_FALSE(xdr_ez_vector(&stream, array, 3, 4, as_proc(call_log::pass)));
    EXPECT_FALSE(xdr_ez_pointer(&stream, &object, 4, as_proc(call_log::pass)));
    EXPECT_EQ(call_log::third.size(), 3u);
}

// ---- what no routine takes

TEST(EzRoutines, RefuseNulls) {
    for (const xdr_op op : {XDR_ENCODE, XDR_DECODE, XDR_FREE}) {
        char room[64] = {}, *object = nullptr;
        u_int count = 0;
        XDR stream;
        xdrmem_create(&stream, room, sizeof room, op);
        const xdrproc_t proc = as_proc(xdr_u_int);
        EXPECT_FALSE(xdr_ez_string8(nullptr, &object, 5));
        EXPECT_FALSE(xdr_ez_string8(&stream, nullptr, 5));
        for (const auto routine : {xdr_ez_array, xdr_ez_parray}) {
            EXPECT_FALSE(routine(nullptr, &object, &count, 5, 4, proc));
            EXPECT_FALSE(routine(&stream, nullptr, &count, 5, 4, proc));
            EXPECT_FALSE(routine(&stream, &object, nullptr, 5, 4, proc));
            EXPECT_FALSE(routine(&stream, &object, &count, 5, 4, nullptr));
        }
        EXPECT_FALSE(xdr_ez_pointer(nullptr, &object, 4, proc));
        EXPECT_FALSE(xdr_ez_pointer(&stream, nullptr, 4, proc));
        EXPECT_FALSE(xdr_ez_pointer(&stream, &object, 4, nullptr));
        EXPECT_FALSE(xdr_ez_vector(nullptr, room, 1, 4, proc));
        EXPECT_FALSE(xdr_ez_vector(&stream, nullptr, 1, 4, proc));
        EXPECT_FALSE(xdr_ez_vector(&stream, room, 1, 4, nullptr));
        EXPECT_EQ(XDR_GETPOS(&stream), 0u);
        xdr_ez_free(nullptr, room);
        xdr_ez_free(proc, nullptr);
    }
}

TEST(EzRoutines, RefuseUnknownDirections) {
    char room[64] = {}, *text = room, *object = room;
    u_int count = 1;
    XDR stream;
    xdrmem_create(&stream, room, sizeof room, unknown_op);
    EXPECT_FALSE(xdr_ez_string8(&stream, &text, 5));
    EXPECT_FALSE(xdr_ez_array(&stream, &object, &count, 5, 4, as_proc(xdr_u_int)));
    EXPECT_FALSE(xdr_ez_parray(&stream, &object, &count, 5, 4, as_proc(xdr_u_int)));
    EXPECT_FALSE(xdr_ez_pointer(&stream, &object, 4, as_proc(xdr_u_int)));
    EXPECT_FALSE(xdr_ez_vector(&stream, object, 1, 4, as_proc(xdr_u_int)));
    EXPECT_EQ(object, room);
    EXPECT_EQ(text, room);
}

} // namespace
