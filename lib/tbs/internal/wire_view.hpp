// wire_view.hpp - encoded records made visible: which bytes are which member, and what they say.
//
// view<T>(bytes, listener) walks the bytes of one record by its rows alone, so that it shows also what no routine
// would accept, up to the place where it makes no sense any more: the offset at which decoding stops. The work is
// bounded by the bytes, whatever counts they claim. Needs nothing of the library but its tables.
#ifndef TBS_INTERNAL_WIRE_VIEW_HPP
#define TBS_INTERNAL_WIRE_VIEW_HPP

#include "acl_wire.hpp"
#include "base_wire.hpp"

#include <cstdio>
#include <span>
#include <string>
#include <string_view>
#include <variant>

namespace tbs::wire {

// The name of a member, from the compiler; "value" for an object that travels by itself.
template <auto M> constexpr std::string_view name_of() {
    if constexpr (std::is_member_object_pointer_v<decltype(M)>) {
        std::string_view text = __PRETTY_FUNCTION__; // "... M = &record::member; ..." or "... M = &record::member]"
        text.remove_prefix(text.find("M = ") + 4);
        text = text.substr(0, text.find_first_of(";]"));
        return text.substr(text.rfind(':') + 1);
    } else {
        return "value";
    }
}

enum class item_kind { number, text, sid, identifier, time };

// One member: where its bytes stand and what they say. All but numbers come as texts.
struct item {
    std::string_view name;
    item_kind kind;
    size_t offset;
    size_t size;
    std::variant<int64_t, uint64_t, std::string> value;
};

// Is told of the members in wire order.
class listener {
public:
    virtual ~listener() = default;
    virtual void member(const item &what) = 0;
    virtual void enter_record(std::string_view name) = 0; // an element of a list has no name
    virtual void enter_list(std::string_view name, uint32_t count) = 0;
    virtual void leave() = 0;
};

// Where the bytes of a record stop making sense.
struct view_result {
    bool whole;      // the record ends within the bytes
    size_t end;      // behind its last byte, or the first that does not fit
    const char *why; // what is wrong there, or null
};

class viewer {
public:
    viewer(std::span<const uint8_t> bytes, listener &l) : bytes_(bytes), listener_(l) {}

    template <class T> view_result run() {
        const bool whole = show_record<T>();
        return {whole, at_, why_};
    }

    template <class T> bool show_record() { return show_rows(record<T>{}); }

private:
    template <class... Row> bool show_rows(rows<Row...>) { return (show(Row{}) && ...); }

    bool stop(const char *why) {
        why_ = why;
        return false;
    }
    bool has(size_t size) { return bytes_.size() - at_ >= size || stop("the bytes end here"); }
    uint32_t word_at(size_t at) const { return load(&bytes_[at]); }

    bool put(std::string_view name, item_kind kind, size_t size, std::string text) {
        listener_.member({name, kind, at_, size, std::move(text)});
        at_ += size;
        return true;
    }
    template <class V> bool put(std::string_view name, size_t size, V value) {
        using widest = std::conditional_t<std::is_signed_v<V>, int64_t, uint64_t>;
        listener_.member({name, item_kind::number, at_, size, widest{value}});
        at_ += size;
        return true;
    }

    template <auto M> bool show(scalar<M>) {
        return has(unit) && put(name_of<M>(), unit, static_cast<member_t<M>>(word_at(at_)));
    }
    template <auto M> bool show(narrow<M>) {
        return has(unit) && put(name_of<M>(), unit, static_cast<typename narrow<M>::sent_type>(word_at(at_)));
    }
    template <auto M> bool show(low_first<M>) {
        return has(2 * unit) && put(name_of<M>(), 2 * unit, uint64_t{word_at(at_ + unit)} << 32 | word_at(at_));
    }
    template <auto M> bool show(id<M>) {
        if (!has(id<M>::width)) return false;
        char text[TBS_UUID_STR_SIZE];
        const uint32_t middle = word_at(at_ + unit);
        std::snprintf(text, sizeof text, "%08x.%04x%04x.%02x%02x.%02x:%02x:%02x:%02x:%02x:%02x", word_at(at_),
                      middle & 0xFFFF, middle >> 16, bytes_[at_ + 8], bytes_[at_ + 9], bytes_[at_ + 10],
                      bytes_[at_ + 11], bytes_[at_ + 12], bytes_[at_ + 13], bytes_[at_ + 14], bytes_[at_ + 15]);
        return put(name_of<M>(), item_kind::identifier, id<M>::width, text);
    }
    template <auto M> bool show(sid<M>) {
        if (!has(sid<M>::width)) return false;
        credutl_sid_t value;
        char text[CREDUTL_SID_STR_SIZE];
        std::memcpy(&value, &bytes_[at_], sizeof value);
        const bool is_sid = credutl_sid_to_str(&value, text, sizeof text) == 0;
        return put(name_of<M>(), item_kind::sid, sid<M>::width, is_sid ? text : "(not a SID)");
    }
    template <auto M> bool show(time<M>) {
        if (!has(2 * unit)) return false;
        char text[32];
        std::snprintf(text, sizeof text, "%d.%06d", static_cast<int>(word_at(at_)),
                      static_cast<int>(word_at(at_ + unit)));
        return put(name_of<M>(), item_kind::time, 2 * unit, text);
    }
    template <auto M> bool show(high_first<M>) {
        return has(2 * unit) && put(name_of<M>(), 2 * unit,
                                    static_cast<member_t<M>>(uint64_t{word_at(at_)} << 32 | word_at(at_ + unit)));
    }
    template <auto M> bool show(low_half<M>) {
        return has(unit) && put(name_of<M>(), unit, static_cast<uint16_t>(word_at(at_)));
    }
    template <uint32_t Value> bool show(always<Value>) {
        if (!has(unit)) return false;
        const uint32_t value = word_at(at_);
        put("format", unit, value);
        return value == Value || stop("not the number that stands in every encoding");
    }
    template <auto M> bool show(pooled<M>) { return has(unit) && put(name_of<M>(), unit, word_at(at_)); }

    bool show_text(std::string_view name, uint32_t max) {
        if (!has(unit)) return false;
        const size_t length = word_at(at_);
        const std::string_view rest(reinterpret_cast<const char *>(bytes_.data()) + at_ + unit,
                                    bytes_.size() - at_ - unit);
        if (length > max || rest.size() < length) {
            at_ += unit; // the length is as good as any; its characters are not
            return stop(length > max ? "a text is longer than it may be" : "a text is longer than what is left");
        }
        const std::string_view characters = rest.substr(0, length);
        const bool holds_nul = characters.find('\0') != std::string_view::npos;
        if (holds_nul || rest.size() < padded(length)) {
            put(name, item_kind::text, unit + length, std::string(characters));
            return stop(holds_nul ? "a text holds a NUL byte" : "the bytes end here");
        }
        return put(name, item_kind::text, unit + padded(length), std::string(characters));
    }
    template <auto M, uint32_t Max> bool show(text<M, Max>) { return show_text(name_of<M>(), Max); }
    template <auto M, auto Kind, auto Value> bool show(text_of_kind<M, Kind, Value>) {
        return show_text(name_of<M>(), no_maximum);
    }

    template <auto M> bool show(part<M>) {
        listener_.enter_record(name_of<M>());
        const bool shown = show_record<member_t<M>>();
        listener_.leave();
        return shown;
    }
    template <auto M> bool show(boxed<M>) { return show_record<typename boxed<M>::element>(); }
    template <auto N, auto P> bool show(opaque<N, P>) {
        uint32_t size = 0;
        if (!show_both_counts(name_of<N>(), no_maximum, size)) return false;
        if (!has(padded(size))) return false;
        std::string hexadecimal;
        for (size_t i = 0; i < size; i++) {
            char digits[3];
            std::snprintf(digits, sizeof digits, "%02x", bytes_[at_ + i]);
            hexadecimal += digits;
        }
        return put(name_of<P>(), item_kind::text, padded(size), std::move(hexadecimal));
    }
    // Records may hold each other, but not for ever.
    template <class F> bool one_level_down(F show_inside) {
        if (depth_ == nesting_limit) return stop("records are nested too deep");
        depth_++;
        const bool shown = show_inside();
        depth_--;
        return shown;
    }
    template <class T> bool show_elements(std::string_view name, uint32_t count) {
        bool shown = true;
        listener_.enter_list(name, count);
        for (uint32_t i = 0; i < count && shown; i++) {
            listener_.enter_record({});
            shown = show_record<T>();
            listener_.leave();
        }
        listener_.leave();
        return shown;
    }
    bool show_both_counts(std::string_view name, size_t most, uint32_t &count) {
        if (!has(unit)) return false;
        count = word_at(at_);
        put(name, unit, count);
        if (count > most) return stop("a count is negative");
        if (!has(unit)) return false;
        const uint32_t again = word_at(at_);
        put(name, unit, again);
        return again == count || stop("the two counts of a list differ");
    }
    template <auto N, auto P> bool show(array<N, P>) {
        uint32_t count = 0;
        if (!show_both_counts(name_of<N>(), array<N, P>::most, count)) return false;
        return one_level_down([&] { return show_elements<typename array<N, P>::element>(name_of<P>(), count); });
    }
    template <auto N, auto P> bool show(entry_array<N, P>) {
        if (!has(unit)) return false;
        const uint32_t count = word_at(at_);
        put(name_of<N>(), unit, count);
        return show_elements<typename entry_array<N, P>::element>(name_of<P>(), count);
    }
    template <auto P> bool show(optional<P>) {
        if (!has(unit)) return false;
        const uint32_t present = word_at(at_);
        put("present", unit, present);
        if (!present) return true;
        return one_level_down([&] {
            listener_.enter_record(name_of<P>());
            const bool shown = show_record<typename optional<P>::element>();
            listener_.leave();
            return shown;
        });
    }
    bool show(absent_byte) {
        if (!has(unit)) return false;
        const uint32_t present = word_at(at_);
        put("present", unit, present);
        return !present || (has(unit) && put("byte", unit, word_at(at_)));
    }

    std::span<const uint8_t> bytes_;
    listener &listener_;
    size_t at_ = 0;
    unsigned depth_ = 0;
    const char *why_ = nullptr;
};

template <class T> view_result view(std::span<const uint8_t> bytes, listener &l) { return viewer(bytes, l).run<T>(); }

} // namespace tbs::wire

#endif
