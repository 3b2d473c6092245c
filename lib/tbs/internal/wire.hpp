// wire.hpp - records on the wire (XDR, RFC 4506).
//
// A record is described once, by the list of its members in wire order:
//
//     template <> struct record<demo_label_t> : rows<
//         scalar<&demo_label_t::version>,
//         text<&demo_label_t::title>,
//         array<&demo_label_t::n_tags, &demo_label_t::tags>,
//         optional<&demo_label_t::owner>> {};
//
// The engine encodes, decodes and releases it: run(stream, &label). Neighbouring members of fixed size become one run
// of bytes that is bounds-checked once; where a stream does not offer its bytes in place, the same code works on a
// staging buffer. A row says what one member looks like; wire_view.hpp shows encoded records by the same rows.
#ifndef TBS_INTERNAL_WIRE_HPP
#define TBS_INTERNAL_WIRE_HPP

#include "guard.hpp"
#include "ks/ks_xdr.h"
#include "owned.hpp"
#include "tbs/tbs_uuid.h"
#include "wire_names.hpp"

#include <algorithm>
#include <bit>
#include <cstring>
#include <initializer_list>
#include <limits>
#include <type_traits>
#include <utility>

namespace tbs::wire {

// The next byte on the wire; null once something has failed. Walks keep it in a register.
using cursor = uint8_t *;

inline constexpr size_t unit = BYTES_PER_XDR_UNIT;
inline constexpr uint32_t no_maximum = std::numeric_limits<uint32_t>::max();
inline constexpr unsigned nesting_limit = 64;

constexpr size_t padded(size_t length) { return (length + unit - 1) / unit * unit; }

// Left to itself the compiler calls these for runs of many members.
[[gnu::always_inline]] inline void store(cursor to, uint32_t value) {
    if constexpr (std::endian::native == std::endian::little) value = __builtin_bswap32(value);
    std::memcpy(to, &value, sizeof value);
}
[[gnu::always_inline]] inline uint32_t load(const uint8_t *from) {
    uint32_t value;
    std::memcpy(&value, from, sizeof value);
    return std::endian::native == std::endian::little ? __builtin_bswap32(value) : value;
}

// ---- the two ends of a walk

struct shape;

// What both ends share: a window onto the stream's bytes, or else onto the staging buffer.
class window {
public:
    static constexpr size_t staging_size = 256; // no run of fixed members is longer

    window(const window &) = delete;
    window &operator=(const window &) = delete;

    [[nodiscard]] cursor begin() const { return end_; }
    [[nodiscard]] size_t ahead(const uint8_t *at) const { return static_cast<size_t>(end_ - at); }

    // The first byte of the text that pooled names lie in.
    char *pool = nullptr;

protected:
    explicit window(XDR *xdrs) : xdrs_(xdrs) {}

    // Opens the window in place on these bytes of the stream.
    [[nodiscard]] bool open(size_t size);
    // Ends a window whose stream can go back: its position becomes that of the cursor.
    [[nodiscard]] bool close(const uint8_t *at);
    void restart() {
        in_place_ = false;
        can_go_back_ = false;
        start_ = end_ = staging_;
    }

    XDR *xdrs_;
    cursor start_ = staging_, end_ = staging_;
    bool in_place_ = false;
    bool can_go_back_ = false; // windows in place can, and those onto the bytes of a stream that is all in memory
    uint32_t position_ = 0;    // of the first byte of a window that can go back
    unsigned depth_ = 0;
    uint8_t staging_[staging_size];

    friend class level;
};

// One record within another.
class level {
public:
    explicit level(window &w) : window_(w) { window_.depth_++; }
    ~level() { window_.depth_--; }
    level(const level &) = delete;
    level &operator=(const level &) = delete;
    [[nodiscard]] bool ok() const { return window_.depth_ <= nesting_limit; }

private:
    window &window_;
};

// Takes what is encoded.
class sink : public window {
public:
    explicit sink(XDR *xdrs) : window(xdrs) {}

    // Where this many bytes go: at the cursor, or in a new window.
    [[nodiscard]] cursor room(cursor at, size_t size) { return ahead(at) >= size ? at : more(at, size); }
    [[nodiscard]] cursor word(cursor at, uint32_t value) {
        at = room(at, unit);
        if (!at) return nullptr;
        store(at, value);
        return at + unit;
    }
    // A text, null as the empty one. In line, since most texts are short and there is room for them.
    [[nodiscard, gnu::always_inline]] cursor text(cursor at, const char *characters, uint32_t max) {
        if (!characters || !*characters) return word(at, 0);
        const size_t length = std::strlen(characters);
        if (length > max) return nullptr;
        return ahead(at) >= unit + padded(length) ? copied(at, characters, length)
                                                  : text_in_window(at, characters, length, max);
    }
    // A text that most records lack: out of line, where it costs those nothing.
    [[nodiscard]] cursor rare_text(cursor at, const char *characters);
    // Bytes as they are, and their padding.
    [[nodiscard]] cursor bytes(cursor at, const void *first, uint32_t size);
    // The elements of an array.
    [[nodiscard]] cursor elements(cursor at, const void *first, size_t count, const shape &kind);

    // Ends the walk; tells whether all went well.
    [[nodiscard]] bool finish(cursor at) { return at && settle(at); }

private:
    // A text where there is room for it.
    [[nodiscard, gnu::always_inline]] static cursor copied(cursor at, const char *characters, size_t length) {
        const cursor end = at + unit + padded(length);
        store(at, static_cast<uint32_t>(length));
        store(end - unit, 0); // the padding; characters go over the rest
        std::memcpy(at + unit, characters, length);
        return end;
    }
    [[nodiscard]] cursor more(cursor at, size_t size);
    // A text in a new window, or past all windows when it is too long for one.
    [[nodiscard]] cursor text_in_window(cursor at, const char *characters, size_t length, uint32_t max);
    [[nodiscard]] bool settle(const uint8_t *at);
};

// Gives what is decoded.
class source : public window {
public:
    explicit source(XDR *xdrs) : window(xdrs) {}

    // Where this many bytes stand: at the cursor, or in a new window.
    [[nodiscard]] cursor room(cursor at, size_t size) { return ahead(at) >= size ? at : more(at, size); }
    [[nodiscard]] cursor word(cursor at, uint32_t &value) {
        at = room(at, unit);
        if (!at) return nullptr;
        value = load(at);
        return at + unit;
    }
    // A new text, or the shared empty string.
    [[nodiscard]] cursor text(cursor at, char *&characters, uint32_t max) {
        if (ahead(at) < unit) at = look(at);
        if (at && ahead(at) >= unit && load(at) == 0) {
            characters = empty_text();
            return at + unit;
        }
        return at ? longer_text(at, characters, max) : nullptr;
    }
    // Bytes into memory that grows as they arrive.
    [[nodiscard]] cursor bytes(cursor at, uint32_t wanted, void *&memory, uint32_t &size);
    // Elements into an array that grows as they arrive. Array and count agree at every moment.
    [[nodiscard]] cursor elements(cursor at, uint32_t wanted, void *&array, uint32_t &count, const shape &kind);
    // How many elements may be given memory before they arrive.
    [[nodiscard]] uint32_t expected(const uint8_t *at, uint32_t wanted, size_t size, size_t least) const;

    // A run of members is cut off: the stream stops at the first that is not whole.
    [[nodiscard]] cursor cut(std::initializer_list<size_t> widths);
    // What was taken last is not acceptable: the stream stops at the cursor, behind it. A stream that cannot go back
    // stands there already, since it gives items one by one.
    [[nodiscard]] cursor refuse(cursor at) {
        stopped_ = can_go_back_ ? at : nullptr;
        return nullptr;
    }

    // Ends the walk; tells whether all went well. After a failure the stream stands where it stopped.
    [[nodiscard]] bool finish(cursor at) {
        if (at) return settle(at);
        if (stopped_) static_cast<void>(settle(stopped_));
        return false;
    }

private:
    [[nodiscard]] cursor more(cursor at, size_t size);
    // Opens a window onto all bytes that are left, when the stream can tell; the cursor as it is otherwise.
    [[nodiscard]] cursor look(cursor at);
    [[nodiscard]] cursor longer_text(cursor at, char *&characters, uint32_t max);
    [[nodiscard]] bool settle(const uint8_t *at);

    cursor stopped_ = nullptr;
};

// ---- members

template <class> struct member_of;
template <class T, class V> struct member_of<V T::*> {
    using record = T;
    using type = V;
};
template <class T> struct itself {}; // in the place of a member: the whole object, of type T
template <class T> struct member_of<itself<T>> { using type = T; };
template <auto M> using member_t = typename member_of<std::remove_cv_t<decltype(M)>>::type;

template <auto M> constexpr auto &value_of(auto &o) {
    if constexpr (std::is_member_object_pointer_v<decltype(M)>) {
        return o.*M;
    } else {
        return o;
    }
}

// ---- rows of fixed size: width; put() gives false for a value that does not fit

// An integer of at most 32 bits: one unit.
template <auto M> struct scalar {
    using value_type = member_t<M>;
    static_assert(std::is_integral_v<value_type> && sizeof(value_type) <= unit);
    static constexpr size_t width = unit;
    static bool put(cursor to, const auto &o) { return store(to, static_cast<uint32_t>(value_of<M>(o))), true; }
    static void get(const uint8_t *from, auto &o) { value_of<M>(o) = static_cast<value_type>(load(from)); }
};

// The same, some of whose values have names.
template <auto M, const names_of_values &Names> struct named : scalar<M> {};

// A 64-bit integer in one unit.
template <auto M> struct narrow {
    using value_type = member_t<M>;
    using sent_type = std::conditional_t<std::is_signed_v<value_type>, int32_t, uint32_t>;
    static_assert(sizeof(value_type) == 2 * unit);
    static constexpr size_t width = unit;
    static bool put(cursor to, const auto &o) {
        const value_type value = value_of<M>(o);
        store(to, static_cast<uint32_t>(value));
        return static_cast<sent_type>(value) == value;
    }
    static void get(const uint8_t *from, auto &o) { value_of<M>(o) = static_cast<sent_type>(load(from)); }
};

// A 64-bit integer in two units, the low one first.
template <auto M> struct low_first {
    static_assert(sizeof(member_t<M>) == 2 * unit);
    static constexpr size_t width = 2 * unit;
    static bool put(cursor to, const auto &o) {
        const auto value = static_cast<uint64_t>(value_of<M>(o));
        store(to, static_cast<uint32_t>(value));
        store(to + unit, static_cast<uint32_t>(value >> 32));
        return true;
    }
    static void get(const uint8_t *from, auto &o) {
        value_of<M>(o) = static_cast<member_t<M>>(uint64_t{load(from + unit)} << 32 | load(from));
    }
};

// A 64-bit integer in two units, the high one first (RFC 4506, hyper integer).
template <auto M> struct high_first {
    static_assert(sizeof(member_t<M>) == 2 * unit);
    static constexpr size_t width = 2 * unit;
    static bool put(cursor to, const auto &o) {
        const auto value = static_cast<uint64_t>(value_of<M>(o));
        store(to, static_cast<uint32_t>(value >> 32));
        store(to + unit, static_cast<uint32_t>(value));
        return true;
    }
    static void get(const uint8_t *from, auto &o) {
        value_of<M>(o) = static_cast<member_t<M>>(uint64_t{load(from)} << 32 | load(from + unit));
    }
};

// A double-precision number, the high word first (RFC 4506, IEEE 754 binary64).
template <auto M> struct real {
    static_assert(std::is_same_v<member_t<M>, double> && std::numeric_limits<double>::is_iec559);
    static constexpr size_t width = 2 * unit;
    static bool put(cursor to, const auto &o) {
        const auto bits = std::bit_cast<uint64_t>(value_of<M>(o));
        store(to, static_cast<uint32_t>(bits >> 32));
        store(to + unit, static_cast<uint32_t>(bits));
        return true;
    }
    static void get(const uint8_t *from, auto &o) {
        value_of<M>(o) = std::bit_cast<double>(uint64_t{load(from)} << 32 | load(from + unit));
    }
};

// The low 16 bits of an unsigned integer, in one unit.
template <auto M> struct low_half {
    static_assert(std::is_same_v<member_t<M>, uint32_t>);
    static constexpr size_t width = unit;
    static bool put(cursor to, const auto &o) { return store(to, static_cast<uint16_t>(value_of<M>(o))), true; }
    static void get(const uint8_t *from, auto &o) { value_of<M>(o) = static_cast<uint16_t>(load(from)); }
};

// An identifier. time_hi_and_version precedes time_mid on the wire.
template <auto M> struct id {
    static constexpr size_t width = sizeof(tbs_uuid_t);
    static bool put(cursor to, const auto &o) {
        const tbs_uuid_t &value = value_of<M>(o);
        store(to, value.time_low);
        store(to + unit, uint32_t{value.time_hi_and_version} << 16 | value.time_mid);
        std::memcpy(to + 2 * unit, &value.clock_seq_hi_and_reserved, 2 * unit);
        return true;
    }
    static void get(const uint8_t *from, auto &o) {
        tbs_uuid_t &value = value_of<M>(o);
        const uint32_t high_and_mid = load(from + unit);
        value.time_low = load(from);
        value.time_mid = static_cast<uint16_t>(high_and_mid);
        value.time_hi_and_version = static_cast<uint16_t>(high_and_mid >> 16);
        std::memcpy(&value.clock_seq_hi_and_reserved, from + 2 * unit, 2 * unit);
    }
};

// A SID: its bytes, padded.
template <auto M> struct sid {
    static constexpr size_t width = padded(sizeof(credutl_sid_t));
    static bool put(cursor to, const auto &o) {
        std::memset(to + width - unit, 0, unit);
        std::memcpy(to, &value_of<M>(o), sizeof(credutl_sid_t));
        return true;
    }
    static void get(const uint8_t *from, auto &o) { std::memcpy(&value_of<M>(o), from, sizeof(credutl_sid_t)); }
};

// A time stamp: seconds, microseconds.
template <auto M> struct time {
    static constexpr size_t width = 2 * unit;
    static bool put(cursor to, const auto &o) {
        store(to, static_cast<uint32_t>(value_of<M>(o).tv_sec));
        store(to + unit, static_cast<uint32_t>(value_of<M>(o).tv_usec));
        return true;
    }
    static void get(const uint8_t *from, auto &o) {
        value_of<M>(o).tv_sec = static_cast<int32_t>(load(from));
        value_of<M>(o).tv_usec = static_cast<int32_t>(load(from + unit));
    }
};

template <class Row>
concept fixed = requires {
    Row::width;
};

// ---- records

template <class... Row> struct rows {};
template <class T> struct record; // defined once for each record

// Types that travel by themselves or as elements.
template <> struct record<int32_t> : rows<scalar<itself<int32_t>{}>> {};
template <> struct record<uint32_t> : rows<scalar<itself<uint32_t>{}>> {};
template <> struct record<uint8_t> : rows<scalar<itself<uint8_t>{}>> {};
template <> struct record<int64_t> : rows<narrow<itself<int64_t>{}>> {};
template <> struct record<uint64_t> : rows<narrow<itself<uint64_t>{}>> {};
template <> struct record<tbs_uuid_t> : rows<id<itself<tbs_uuid_t>{}>> {};

template <class Row> constexpr size_t least_of() {
    if constexpr (fixed<Row>) {
        return Row::width;
    } else {
        return Row::least;
    }
}
template <class Row> constexpr bool row_owns() {
    if constexpr (fixed<Row>) {
        return false;
    } else {
        return Row::owns;
    }
}
// Bytes of the shortest encoding, and whether there is anything to release.
template <class... Row> constexpr size_t least(rows<Row...>) { return (least_of<Row>() + ... + 0); }
template <class... Row> constexpr bool owns(rows<Row...>) { return (row_owns<Row>() || ...); }
template <class... Row> constexpr bool all_fixed(rows<Row...>) { return (fixed<Row> && ...); }

// Neighbours of fixed size, as one row.
template <class... Row> struct fused {
    static constexpr size_t least = (Row::width + ... + 0);
    static constexpr bool owns = false;
    static_assert(least <= window::staging_size);

    // All are written, also behind one that does not fit: without branches it is faster.
    template <class T> static bool put_all(cursor to, const T &o) {
        bool fit = true;
        ((fit &= Row::put(to, o), to += Row::width), ...);
        return fit;
    }
    template <class T> static void get_all(const uint8_t *from, T &o) {
        ((Row::get(from, o), from += Row::width), ...);
    }
    template <class T> static cursor put(sink &s, cursor at, const T &o) {
        at = s.room(at, least);
        return at && put_all(at, o) ? at + least : nullptr;
    }
    template <class T> static cursor get(source &s, cursor at, T &o) {
        at = s.room(at, least);
        if (!at) return s.cut({Row::width...});
        get_all(at, o);
        return at + least;
    }
    template <class T> static void drop(T &) {}
};

template <class Fused, class Row> struct fused_with;
template <class... Before, class Row> struct fused_with<fused<Before...>, Row> {
    using type = fused<Before..., Row>;
};

// The rows with each run of fixed ones fused: steps of a walk.
template <class Done, class Run, class... Row> struct fuse;
template <class... Done> struct fuse<rows<Done...>, fused<>> { using type = rows<Done...>; };
template <class... Done, class... In> struct fuse<rows<Done...>, fused<In...>> {
    using type = rows<Done..., fused<In...>>;
};
template <class... Done, class... In, class First, class... Rest>
struct fuse<rows<Done...>, fused<In...>, First, Rest...> {
    static constexpr auto next() {
        if constexpr (fixed<First>) {
            return fuse<rows<Done...>, fused<In..., First>, Rest...>{};
        } else if constexpr (sizeof...(In) == 0) {
            return fuse<rows<Done..., First>, fused<>, Rest...>{};
        } else {
            return fuse<rows<Done..., fused<In...>, First>, fused<>, Rest...>{};
        }
    }
    using type = typename decltype(next())::type;
};
template <class... Row> auto steps_of(rows<Row...>) -> typename fuse<rows<>, fused<>, Row...>::type;
template <class T> using steps = decltype(steps_of(record<T>{}));

// A record of fixed size, as one row.
template <class... Row> auto fused_of(rows<Row...>) -> fused<Row...>;
template <class T> using whole = decltype(fused_of(record<T>{}));

template <class T, class... Step> cursor put_steps(sink &s, cursor at, const T &o, rows<Step...>) {
    return ((at = Step::put(s, at, o)) && ...) ? at : nullptr;
}
template <class T, class... Step> cursor get_steps(source &s, cursor at, T &o, rows<Step...>) {
    return ((at = Step::get(s, at, o)) && ...) ? at : nullptr;
}
template <class T, class... Step> void drop_steps(T &o, rows<Step...>) { (Step::drop(o), ...); }

template <class T> cursor put(sink &s, cursor at, const T &o) { return put_steps(s, at, o, steps<T>{}); }
template <class T> cursor get(source &s, cursor at, T &o) { return get_steps(s, at, o, steps<T>{}); }
template <class T> void drop(T &o) { drop_steps(o, steps<T>{}); }

// ---- elements: what the engine must know of a type to walk an array of it

struct shape {
    size_t size;  // bytes in memory
    size_t least; // bytes of the shortest encoding
    bool owns;    // there is something to release
    cursor (*put)(sink &, cursor, const void *first, size_t count);
    cursor (*get)(source &, cursor, void *first, size_t count);
    void (*drop)(void *first, size_t count);
};

// Elements that stand in a whole number of windows: one check for as many as fit.
template <class End, class T, class F>
cursor in_batches(End &s, cursor at, T *first, size_t count, size_t width, F each) {
    for (size_t done = 0; done < count;) {
        at = s.room(at, width);
        if (!at) return nullptr;
        const size_t batch = std::min(count - done, s.ahead(at) / width);
        for (const size_t end = done + batch; done < end; done++, at += width) {
            if (!each(at, first[done])) return nullptr;
        }
    }
    return at;
}

template <class T> cursor put_elements(sink &s, cursor at, const void *first, size_t count) {
    const T *elements = static_cast<const T *>(first);
    if constexpr (all_fixed(record<T>{})) {
        return in_batches(s, at, elements, count, whole<T>::least,
                          [](cursor to, const T &o) { return whole<T>::put_all(to, o); });
    } else {
        for (size_t i = 0; i < count && at; i++) at = put(s, at, elements[i]);
        return at;
    }
}
template <class T> cursor get_elements(source &s, cursor at, void *first, size_t count) {
    T *elements = static_cast<T *>(first);
    if constexpr (all_fixed(record<T>{})) {
        return in_batches(s, at, elements, count, whole<T>::least,
                          [](const uint8_t *from, T &o) { return whole<T>::get_all(from, o), true; });
    } else {
        for (size_t i = 0; i < count && at; i++) at = get(s, at, elements[i]);
        return at;
    }
}
template <class T> void drop_elements(void *first, size_t count) {
    if constexpr (owns(record<T>{})) {
        for (size_t i = 0; i < count; i++) drop(static_cast<T *>(first)[i]);
    }
}

template <class T>
inline constexpr shape shape_of = {sizeof(T),       least(record<T>{}), owns(record<T>{}),
                                   put_elements<T>, get_elements<T>,    drop_elements<T>};

// A pointer and a count that receive what a walk has built, also when it ends early.
template <class Pointer, class Count> class slot {
public:
    slot(Pointer &pointer, Count &count) : pointer_(pointer), count_(count) {}
    ~slot() {
        pointer_ = static_cast<Pointer>(memory);
        count_ = static_cast<Count>(elements);
    }
    slot(const slot &) = delete;
    slot &operator=(const slot &) = delete;
    void *memory = nullptr;
    uint32_t elements = 0;

private:
    Pointer &pointer_;
    Count &count_;
};

// ---- rows of varying size

// A text that owns its storage.
template <auto M, uint32_t Max = no_maximum> struct text {
    static constexpr size_t least = unit;
    static constexpr bool owns = true;
    static cursor put(sink &s, cursor at, const auto &o) { return s.text(at, value_of<M>(o), Max); }
    static cursor get(source &s, cursor at, auto &o) { return s.text(at, value_of<M>(o) = nullptr, Max); }
    static void drop(auto &o) { free_text(&value_of<M>(o)); }
};
template <> struct record<char *> : rows<text<itself<char *>{}>> {};

// A text that only one kind sends; the others send "" in its place.
template <auto M, auto Kind, auto Value> struct text_of_kind {
    static constexpr size_t least = unit;
    static constexpr bool owns = true;
    static cursor put(sink &s, cursor at, const auto &o) {
        return o.*Kind == Value ? s.rare_text(at, o.*M) : s.word(at, 0);
    }
    static cursor get(source &s, cursor at, auto &o) { return s.text(at, o.*M = nullptr, no_maximum); }
    static void drop(auto &o) { free_text(&(o.*M)); }
};

// A record inside a record.
template <auto M> struct part {
    using type = member_t<M>;
    static constexpr size_t least = wire::least(record<type>{});
    static constexpr bool owns = wire::owns(record<type>{});
    static cursor put(sink &s, cursor at, const auto &o) { return wire::put(s, at, o.*M); }
    static cursor get(source &s, cursor at, auto &o) { return wire::get(s, at, o.*M); }
    static void drop(auto &o) { wire::drop(o.*M); }
};

// A record that owns its storage and is always there: nothing but the record travels.
template <auto M> struct boxed {
    using element = std::remove_pointer_t<member_t<M>>;
    static constexpr size_t least = wire::least(record<element>{});
    static constexpr bool owns = true;
    static cursor put(sink &s, cursor at, const auto &o) {
        const element *one = value_of<M>(o);
        return one ? wire::put(s, at, *one) : nullptr;
    }
    static cursor get(source &s, cursor at, auto &o) {
        return wire::get(s, at, *(value_of<M>(o) = zalloc<element>()));
    }
    static void drop(auto &o) {
        element *one = std::exchange(value_of<M>(o), nullptr);
        if (one) wire::drop(*one);
        stg_free(one);
    }
};
template <class T> struct record<T *> : rows<boxed<itself<T *>{}>> {};

// Bytes as they are, behind their number. The number travels twice: by itself, and before the bytes.
template <auto N, auto P> struct opaque {
    static constexpr size_t least = 2 * unit;
    static constexpr bool owns = true;
    static cursor put(sink &s, cursor at, const auto &o) {
        if (o.*N > no_maximum || (o.*N && !(o.*P))) return nullptr;
        const auto size = static_cast<uint32_t>(o.*N);
        at = s.word(at, size);
        if (at) at = s.word(at, size);
        return at ? s.bytes(at, o.*P, size) : nullptr;
    }
    static cursor get(source &s, cursor at, auto &o) {
        slot built(o.*P, o.*N);
        uint32_t size = 0, again = 0;
        at = s.word(at, size);
        if (at) at = s.word(at, again);
        if (!at) return nullptr;
        return again == size ? s.bytes(at, size, built.memory, built.elements) : s.refuse(at);
    }
    static void drop(auto &o) {
        stg_free(std::exchange(o.*P, nullptr));
        o.*N = 0;
    }
};

// A count and a pointer to so many elements. The count travels twice: by itself, and before the elements.
template <auto N, auto P> struct array {
    using element = std::remove_pointer_t<member_t<P>>;
    static constexpr size_t least = 2 * unit;
    static constexpr bool owns = true;
    static constexpr size_t most = std::is_signed_v<member_t<N>> ? std::numeric_limits<int32_t>::max() : no_maximum;

    static cursor put(sink &s, cursor at, const auto &o) { return put_as(s, at, o, shape_of<element>); }
    static cursor get(source &s, cursor at, auto &o) { return get_as(s, at, o, shape_of<element>); }

    // The same with another look of the elements on the wire.
    static cursor put_as(sink &s, cursor at, const auto &o, const shape &elements) {
        const auto count = static_cast<size_t>(o.*N); // a negative one is above every limit
        if (count > most || (count && !(o.*P))) return nullptr;
        at = s.word(at, static_cast<uint32_t>(count));
        if (at) at = s.word(at, static_cast<uint32_t>(count));
        return at ? s.elements(at, o.*P, count, elements) : nullptr;
    }
    static cursor get_as(source &s, cursor at, auto &o, const shape &elements) {
        slot built(o.*P, o.*N);
        uint32_t count = 0, again = 0;
        at = s.word(at, count);
        if (!at) return nullptr;
        if (count > most) return s.refuse(at);
        at = s.word(at, again);
        if (!at) return nullptr;
        if (again != count) return s.refuse(at);
        return s.elements(at, count, built.memory, built.elements, elements);
    }
    static void drop(auto &o) {
        const auto count = static_cast<size_t>(o.*N);
        if (o.*P && count <= most) shape_of<element>.drop(o.*P, count);
        stg_free(std::exchange(o.*P, nullptr));
        o.*N = 0;
    }
};

// A pointer to a record that may be absent: a presence word first.
template <auto P> struct optional {
    using element = std::remove_pointer_t<member_t<P>>;
    static constexpr size_t least = unit;
    static constexpr bool owns = true;
    static cursor put(sink &s, cursor at, const auto &o) {
        at = s.word(at, o.*P != nullptr);
        if (!at || !(o.*P)) return at;
        const level nested(s);
        return nested.ok() ? wire::put(s, at, *(o.*P)) : nullptr;
    }
    static cursor get(source &s, cursor at, auto &o) {
        uint32_t present = 0;
        o.*P = nullptr;
        at = s.word(at, present);
        if (!at || !present) return at;
        const level nested(s);
        return nested.ok() ? wire::get(s, at, *(o.*P = zalloc<element>())) : s.refuse(at);
    }
    static void drop(auto &o) {
        element *one = std::exchange(o.*P, nullptr);
        if (one) wire::drop(*one);
        stg_free(one);
    }
};

// A name that lies in the pool: its offset there. Freeing leaves it.
template <auto M> struct pooled {
    static constexpr size_t least = unit;
    static constexpr bool owns = false;
    static cursor put(sink &s, cursor at, const auto &o) {
        const auto offset =
            static_cast<uint64_t>(reinterpret_cast<uintptr_t>(o.*M) - reinterpret_cast<uintptr_t>(s.pool));
        return offset <= no_maximum ? s.word(at, static_cast<uint32_t>(offset)) : nullptr;
    }
    static cursor get(source &s, cursor at, auto &o) {
        uint32_t offset = 0;
        at = s.word(at, offset);
        o.*M = s.pool + offset;
        return at;
    }
    static void drop(auto &) {}
};

// A link to the storage area that a record was made in: a zero word, since it means nothing elsewhere.
template <auto M> struct link {
    static constexpr size_t least = unit;
    static constexpr bool owns = false;
    static cursor put(sink &s, cursor at, const auto &) { return s.word(at, 0); }
    static cursor get(source &s, cursor at, auto &o) {
        uint32_t address = 0;
        o.*M = nullptr;
        at = s.word(at, address);
        return at && address ? s.refuse(at) : at;
    }
    static void drop(auto &o) { o.*M = nullptr; }
};

// What a union holds while its discriminant has this value.
template <auto Value, class Row> struct arm {
    using row = Row;
    static constexpr auto value = Value;
};

// A union: the discriminant, then the arm that it selects. One that selects none is refused, and owns nothing.
template <auto Kind, const names_of_values &Names, class... Arm> struct choice {
    static constexpr size_t least = unit + std::min({least_of<typename Arm::row>()...});
    static constexpr bool owns = (row_owns<typename Arm::row>() || ...);

    static cursor put(sink &s, cursor at, const auto &o) {
        cursor end = nullptr;
        at = s.word(at, static_cast<uint32_t>(o.*Kind));
        if (at) static_cast<void>(((o.*Kind == Arm::value && (end = step<Arm>::put(s, at, o), true)) || ...));
        return end;
    }
    static cursor get(source &s, cursor at, auto &o) {
        uint32_t kind = 0;
        at = s.word(at, kind);
        if (!at) return nullptr;
        o.*Kind = static_cast<member_t<Kind>>(kind);
        cursor end = nullptr;
        const bool known = ((o.*Kind == Arm::value && (end = step<Arm>::get(s, at, o), true)) || ...);
        return known ? end : s.refuse(at);
    }
    static void drop(auto &o) { static_cast<void>(((o.*Kind == Arm::value && (step<Arm>::drop(o), true)) || ...)); }

private:
    template <class Arm_> using row_of = typename Arm_::row;
    template <class Arm_> using step = std::conditional_t<fixed<row_of<Arm_>>, fused<row_of<Arm_>>, row_of<Arm_>>;
};

// A unit that always has the same value and belongs to no member.
template <uint32_t Value> struct always {
    static constexpr size_t least = unit;
    static constexpr bool owns = false;
    static cursor put(sink &s, cursor at, const auto &) { return s.word(at, Value); }
    static cursor get(source &s, cursor at, auto &) {
        uint32_t value = 0;
        at = s.word(at, value);
        return !at || value == Value ? at : s.refuse(at);
    }
    static void drop(auto &) {}
};

// ---- routines

// The direction is read as a number: whoever set it may have written any.
inline bool is_direction(const XDR *xdrs) {
    if (!xdrs) return false;
    std::underlying_type_t<xdr_op> direction;
    std::memcpy(&direction, &xdrs->x_op, sizeof direction);
    return direction <= XDR_FREE;
}

// Units one by one, for a stream that gives no place for all of them.
[[nodiscard]] bool put_units(XDR *xdrs, const uint8_t *from, size_t size);
[[nodiscard]] bool get_units(XDR *xdrs, uint8_t *to, size_t size);

// A record of fixed size, on a stream that gives no place for it. Only this function has a buffer on its stack.
template <class T> [[gnu::noinline]] bool run_staged(XDR *xdrs, T &object) {
    uint8_t staged[whole<T>::least];
    if (xdrs->x_op == XDR_ENCODE) return whole<T>::put_all(staged, object) && put_units(xdrs, staged, sizeof staged);
    if (!get_units(xdrs, staged, sizeof staged)) return false;
    whole<T>::get_all(staged, object);
    return true;
}

// The same, on any stream: which is asked for just the record's bytes.
template <class T> bool run_fixed(XDR *xdrs, T &object) {
    auto *place = reinterpret_cast<cursor>(XDR_INLINE(xdrs, whole<T>::least));
    if (!place) return run_staged(xdrs, object);
    if (xdrs->x_op == XDR_ENCODE) return whole<T>::put_all(place, object);
    whole<T>::get_all(place, object);
    return true;
}

// Encodes or decodes a record, as the stream says. May throw std::bad_alloc.
template <class T> bool walk(XDR *xdrs, T &object) {
    if constexpr (all_fixed(record<T>{})) {
        return run_fixed(xdrs, object);
    } else if (xdrs->x_op == XDR_ENCODE) {
        sink s(xdrs);
        return s.finish(put(s, s.begin(), object));
    } else {
        object = T{}; // a pass that releases it after a failure finds nothing else than what was decoded
        source s(xdrs);
        return s.finish(get(s, s.begin(), object));
    }
}

// Passes a text through the stream's own operations: into the member's storage, or into new memory when it is null.
// May throw std::bad_alloc.
bool pass_text(XDR *xdrs, char **text, uint32_t max);

// The body of an exported routine. Where a type owns nothing, there is nothing that a null could keep from release.
template <class T> bool_t run(const char *module, XDR *xdrs, T *object, int line = __builtin_LINE()) noexcept {
    if (!is_direction(xdrs)) return FALSE;
    if (!object) return xdrs->x_op == XDR_FREE && !owns(record<T>{});
    if (xdrs->x_op == XDR_FREE) {
        drop(*object);
        return TRUE;
    }
    return guard<bool_t>(
        module, FALSE, FALSE, [&]() -> bool_t { return walk(xdrs, *object); }, line);
}

// The same for a handle, which is built and released by functions of its own.
template <class Handle, class Encode, class Decode>
bool_t pass_handle(const char *module, XDR *xdrs, Handle *handle, void (*release)(Handle *) noexcept, Encode encode,
                   Decode decode, int line = __builtin_LINE()) noexcept {
    if (!is_direction(xdrs) || !handle) return FALSE;
    if (xdrs->x_op == XDR_FREE) {
        release(handle);
        return TRUE;
    }
    const auto body = [&]() -> bool_t {
        if (xdrs->x_op == XDR_ENCODE) {
            sink s(xdrs);
            return s.finish(encode(s, s.begin(), *handle));
        }
        source s(xdrs);
        return s.finish(decode(s, s.begin(), *handle));
    };
    return guard<bool_t>(module, FALSE, FALSE, body, line);
}

// The body of the routine of a pointer to a record that may be null.
template <class T>
bool_t run_optional(const char *module, XDR *xdrs, T **object, int line = __builtin_LINE()) noexcept {
    struct pointer {
        T *to;
    };
    using member = optional<&pointer::to>;
    const auto encode = [](sink &s, cursor at, T *one) { return member::put(s, at, pointer{one}); };
    const auto decode = [](source &s, cursor at, T *&one) {
        const struct hand_over { // also of what is there when memory ends
            explicit hand_over(T *&place) : to(place) {}
            ~hand_over() { to = made.to; }
            T *&to;
            mutable pointer made = {};
        } built(one);
        return member::get(s, at, built.made);
    };
    const auto release = [](T **one) noexcept {
        pointer released = {*one};
        member::drop(released);
        *one = nullptr;
    };
    return pass_handle<T *>(module, xdrs, object, release, encode, decode, line);
}

} // namespace tbs::wire

#endif
