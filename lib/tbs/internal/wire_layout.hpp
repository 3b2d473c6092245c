// wire_layout.hpp - what a record looks like on the wire, as data.
//
// layout_of<T> says it of each record, derived from its rows, for programs that show, make or describe records without
// their types. Needs nothing of the library but its tables.
#ifndef TBS_INTERNAL_WIRE_LAYOUT_HPP
#define TBS_INTERNAL_WIRE_LAYOUT_HPP

#include "acl_wire.hpp"
#include "base_wire.hpp"
#include "cr_wire.hpp"

#include <array>
#include <span>
#include <string_view>
#include <utility>

namespace tbs::wire {

// How a member travels.
enum class form : uint8_t {
    number,      // one unit
    hyper,       // two units, the high one first
    low_hyper,   // two units, the low one first
    real,        // two units, IEEE 754 binary64
    identifier,  // 16 bytes
    sid,         // 34 bytes and 2 of padding
    time,        // two units: seconds, microseconds
    text,        // length, characters, padding
    data,        // length twice, bytes, padding
    record,      // its members
    list,        // count twice, elements
    entries,     // count once, elements
    optional,    // presence word, the record
    constant,    // one unit, always the same
    link,        // one unit, always 0, of no member
    offset,      // one unit: where in a pool a name lies
    choice,      // discriminant, the arm that it selects
    absent_byte, // presence word; a byte behind it is passed over
};
inline constexpr size_t number_of_forms = static_cast<size_t>(form::absent_byte) + 1;

// Something for each form. The rows may stand in any order; a table that leaves a form out does not compile.
template <class V> class form_table {
public:
    struct row {
        form kind;
        V value;
    };

    explicit consteval form_table(const row (&rows)[number_of_forms]) {
        bool is_there[number_of_forms] = {};
        for (const row &one : rows) {
            const auto at = static_cast<size_t>(one.kind);
            if (std::exchange(is_there[at], true)) throw "a form stands there twice, so another one does not";
            values_[at] = one.value;
        }
    }
    constexpr V operator[](form kind) const { return values_[static_cast<size_t>(kind)]; }

private:
    V values_[number_of_forms] = {};
};

struct layout;

// The member that says how lists whose look depends on a record's format are written.
inline constexpr std::string_view format_member = "format_version";

struct field {
    std::string_view name; // of the member
    form kind;
    bool is_signed = false;
    uint8_t bits = 32;                // number: so many are kept
    uint32_t limit = no_maximum;      // of a length or count
    int64_t value = 0;                // constant: what it is; arm of a union: what selects it
    std::string_view count_name = {}; // list, entries, data: the member that holds the number
    const layout *inner = nullptr;    // record, list, entries, optional; choice: the arms, one field each
    const layout *narrow = nullptr;   // list: the elements in the format that sends less of them, if there is one
    const names_of_values *names = nullptr; // number, choice

    // The number that is kept of a unit.
    [[nodiscard]] constexpr uint32_t kept(uint32_t word) const {
        return bits < 32 ? word & ((uint32_t{1} << bits) - 1) : word;
    }
    // Whether records of this format have such a member.
    [[nodiscard]] constexpr bool is_in(uint32_t format) const {
        return !narrow || format == cr_narrow_format || format == cr_wide_format;
    }
    // The elements of a list in a record of this format.
    [[nodiscard]] constexpr const layout &inner_in(uint32_t format) const {
        return narrow && format == cr_narrow_format ? *narrow : *inner;
    }
};

inline constexpr std::string_view bare_name = "value";

struct layout {
    std::string_view name; // of the C type
    std::span<const field> fields;
    size_t least; // bytes of the shortest encoding

    // Whether it is a value by itself, as elements of lists are, not an object with members.
    [[nodiscard]] constexpr bool is_bare() const { return fields.size() == 1 && fields[0].name == bare_name; }
};

// ---- names, from the compiler

// The name of a member; `bare_name` for an object that travels by itself.
template <auto M> constexpr std::string_view name_of() {
    if constexpr (std::is_member_object_pointer_v<decltype(M)>) {
        std::string_view text = __PRETTY_FUNCTION__; // "... M = &record::member; ..." or "... M = &record::member]"
        text.remove_prefix(text.find("M = ") + 4);
        text = text.substr(0, text.find_first_of(";]"));
        return text.substr(text.rfind(':') + 1);
    } else {
        return bare_name;
    }
}

// The name of a type; of a struct that C knows by its tag alone too, the tag.
template <class T> constexpr std::string_view type_name() {
    std::string_view text = __PRETTY_FUNCTION__; // "... T = type; ..." or "... T = type]"
    text.remove_prefix(text.find("T = ") + 4);
    text = text.substr(0, text.find_first_of(";]"));
    return text.substr(text.rfind(':') + 1);
}

// ---- fields, from rows

template <class T> struct layout_maker;
template <class T> inline constexpr const layout &layout_of = layout_maker<T>::made;

// Elements that own their storage look as if they did not.
template <class T> constexpr const layout *inner_layout() {
    if constexpr (std::is_pointer_v<T> && !std::is_same_v<T, char *>) {
        return &layout_maker<std::remove_pointer_t<T>>::made;
    } else {
        return &layout_maker<T>::made;
    }
}

template <auto M> constexpr field number_field(bool is_signed, size_t bytes) {
    return {
        .name = name_of<M>(), .kind = form::number, .is_signed = is_signed, .bits = static_cast<uint8_t>(8 * bytes)};
}

template <auto M> constexpr field field_of(scalar<M>) {
    return number_field<M>(std::is_signed_v<member_t<M>>, sizeof(member_t<M>));
}
template <auto M, const names_of_values &Names> constexpr field field_of(named<M, Names>) {
    field made = field_of(scalar<M>{});
    made.names = &Names;
    return made;
}
template <auto M> constexpr field field_of(narrow<M>) {
    return number_field<M>(std::is_signed_v<member_t<M>>, sizeof(uint32_t));
}
template <auto M> constexpr field field_of(low_word<M>) { return field_of(narrow<M>{}); }
template <auto M> constexpr field field_of(low_half<M>) { return number_field<M>(false, sizeof(uint16_t)); }
template <auto M> constexpr field field_of(high_first<M>) {
    return {.name = name_of<M>(), .kind = form::hyper, .is_signed = std::is_signed_v<member_t<M>>};
}
template <auto M> constexpr field field_of(low_first<M>) {
    return {.name = name_of<M>(), .kind = form::low_hyper, .is_signed = std::is_signed_v<member_t<M>>};
}
template <auto M> constexpr field field_of(real<M>) { return {.name = name_of<M>(), .kind = form::real}; }
template <auto M> constexpr field field_of(id<M>) { return {.name = name_of<M>(), .kind = form::identifier}; }
template <auto M> constexpr field field_of(sid<M>) { return {.name = name_of<M>(), .kind = form::sid}; }
template <auto M> constexpr field field_of(time<M>) { return {.name = name_of<M>(), .kind = form::time}; }
template <auto M> constexpr field field_of(pooled<M>) { return {.name = name_of<M>(), .kind = form::offset}; }
template <auto M> constexpr field field_of(link<M>) { return {.name = name_of<M>(), .kind = form::link}; }
template <uint32_t Value> constexpr field field_of(always<Value>) {
    return {.name = "format", .kind = form::constant, .value = Value};
}
template <auto M, uint32_t Max> constexpr field field_of(text<M, Max>) {
    return {.name = name_of<M>(), .kind = form::text, .limit = Max};
}
template <auto M, auto Kind, auto Value> constexpr field field_of(text_of_kind<M, Kind, Value>) {
    return {.name = name_of<M>(), .kind = form::text};
}
template <auto N, auto P> constexpr field field_of(opaque<N, P>) {
    return {.name = name_of<P>(), .kind = form::data, .count_name = name_of<N>()};
}
template <auto M> constexpr field field_of(part<M>) {
    return {.name = name_of<M>(), .kind = form::record, .inner = inner_layout<member_t<M>>()};
}
template <auto N, auto P> constexpr field field_of(array<N, P>) {
    return {.name = name_of<P>(),
            .kind = form::list,
            .limit = static_cast<uint32_t>(array<N, P>::most),
            .count_name = name_of<N>(),
            .inner = inner_layout<typename array<N, P>::element>()};
}
template <auto N, auto P> constexpr field field_of(entry_array<N, P>) {
    return {.name = name_of<P>(),
            .kind = form::entries,
            .count_name = name_of<N>(),
            .inner = inner_layout<typename entry_array<N, P>::element>()};
}
template <auto Version, auto N, auto P, class Narrow>
constexpr field field_of(array_of_format<Version, N, P, Narrow>) {
    static_assert(name_of<Version>() == format_member);
    field made = field_of(array<N, P>{});
    made.narrow = inner_layout<Narrow>();
    return made;
}
template <auto P> constexpr field field_of(optional<P>) {
    return {.name = name_of<P>(), .kind = form::optional, .inner = inner_layout<typename optional<P>::element>()};
}
constexpr field field_of(absent_byte) { return {.name = "byte", .kind = form::absent_byte}; }

template <auto Value, class Row> constexpr field field_of(arm<Value, Row>) {
    field made = field_of(Row{});
    made.value = Value;
    return made;
}
template <class... Arm> struct arms {
    static constexpr std::array<field, sizeof...(Arm)> fields = {field_of(Arm{})...};
    static constexpr layout made = {"", fields, 0};
};
template <auto Kind, const names_of_values &Names, class... Arm>
constexpr field field_of(choice<Kind, Names, Arm...>) {
    return {.name = name_of<Kind>(),
            .kind = form::choice,
            .is_signed = true,
            .inner = &arms<Arm...>::made,
            .names = &Names};
}

template <class... Row> constexpr auto fields_of(rows<Row...>) {
    return std::array<field, sizeof...(Row)>{field_of(Row{})...};
}
template <class T> struct layout_maker { static const layout made; };
template <class T> inline constexpr auto all_fields = fields_of(record<T>{});
template <class T> constexpr layout layout_maker<T>::made = {type_name<T>(), all_fields<T>, least(record<T>{})};

} // namespace tbs::wire

#endif
