// wire_view.hpp - encoded records made visible: which bytes are which member, and what they say.
//
// view(layout, bytes, listener) walks the bytes of one record by its layout alone, so that it shows also what no
// routine would accept, up to the place where it makes no sense any more: the offset at which decoding stops. The work
// is bounded by the bytes, whatever counts they claim. Needs nothing of the library but its tables.
#ifndef TBS_INTERNAL_WIRE_VIEW_HPP
#define TBS_INTERNAL_WIRE_VIEW_HPP

#include "wire_layout.hpp"

#include <cstdio>
#include <string>
#include <variant>

namespace tbs::wire {

enum class item_kind { number, text, data, sid, identifier, time };

// One member: where its bytes stand and what they say. All but numbers come as texts, data in hexadecimal digits.
struct item {
    std::string_view name;
    item_kind kind;
    size_t offset;
    size_t size;
    std::variant<int64_t, uint64_t, double, std::string> value;
    const names_of_values *names = nullptr; // of a number
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

    view_result run(const layout &record) {
        const bool whole = show(record);
        return {whole, at_, why_};
    }

private:
    bool show(const layout &record) {
        for (const field &one : record.fields) {
            if (!show(one)) return false;
        }
        return true;
    }
    bool show(const field &f) {
        static constexpr form_table<bool (viewer::*)(const field &)> show_of({
            {form::number, &viewer::show_number},
            {form::hyper, &viewer::show_hyper},
            {form::low_hyper, &viewer::show_low_hyper},
            {form::real, &viewer::show_real},
            {form::identifier, &viewer::show_identifier},
            {form::sid, &viewer::show_sid},
            {form::time, &viewer::show_time},
            {form::text, &viewer::show_text},
            {form::data, &viewer::show_data},
            {form::record, &viewer::show_record},
            {form::list, &viewer::show_list},
            {form::entries, &viewer::show_entries},
            {form::optional, &viewer::show_optional},
            {form::constant, &viewer::show_constant},
            {form::link, &viewer::show_link},
            {form::offset, &viewer::show_offset},
            {form::choice, &viewer::show_choice},
            {form::absent_byte, &viewer::show_absent_byte},
        });
        return (this->*show_of[f.kind])(f);
    }

    bool stop(const char *why) {
        why_ = why;
        return false;
    }
    bool has(size_t size) { return bytes_.size() - at_ >= size || stop("the bytes end here"); }
    uint32_t word_at(size_t at) const { return load(&bytes_[at]); }
    uint64_t two_words_at(size_t high, size_t low) const { return uint64_t{word_at(high)} << 32 | word_at(low); }

    bool put(std::string_view name, item_kind kind, size_t size, std::string text) {
        listener_.member({name, kind, at_, size, std::move(text)});
        at_ += size;
        return true;
    }
    bool put(std::string_view name, size_t size, uint64_t value, bool is_signed = false,
             const names_of_values *names = nullptr) {
        item made = {name, item_kind::number, at_, size, value, names};
        if (is_signed) made.value = static_cast<int64_t>(value);
        listener_.member(made);
        at_ += size;
        return true;
    }

    bool show_number(const field &f) {
        if (!has(unit)) return false;
        const uint32_t word = word_at(at_);
        const uint32_t kept = f.kept(word);
        const int64_t as_signed = static_cast<int32_t>(word);
        if (f.name == format_member) format_ = kept;
        return put(f.name, unit, f.is_signed ? static_cast<uint64_t>(as_signed) : kept, f.is_signed, f.names);
    }
    bool show_hyper(const field &f) {
        return has(2 * unit) && put(f.name, 2 * unit, two_words_at(at_, at_ + unit), f.is_signed);
    }
    bool show_low_hyper(const field &f) {
        return has(2 * unit) && put(f.name, 2 * unit, two_words_at(at_ + unit, at_), f.is_signed);
    }
    bool show_real(const field &f) {
        if (!has(2 * unit)) return false;
        listener_.member(
            {f.name, item_kind::number, at_, 2 * unit, std::bit_cast<double>(two_words_at(at_, at_ + unit))});
        at_ += 2 * unit;
        return true;
    }
    bool show_identifier(const field &f) {
        if (!has(sizeof(tbs_uuid_t))) return false;
        char text[TBS_UUID_STR_SIZE];
        const uint32_t middle = word_at(at_ + unit);
        std::snprintf(text, sizeof text, "%08x.%04x%04x.%02x%02x.%02x:%02x:%02x:%02x:%02x:%02x", word_at(at_),
                      middle & 0xFFFF, middle >> 16, bytes_[at_ + 8], bytes_[at_ + 9], bytes_[at_ + 10],
                      bytes_[at_ + 11], bytes_[at_ + 12], bytes_[at_ + 13], bytes_[at_ + 14], bytes_[at_ + 15]);
        return put(f.name, item_kind::identifier, sizeof(tbs_uuid_t), text);
    }
    bool show_sid(const field &f) {
        constexpr size_t width = padded(sizeof(credutl_sid_t));
        if (!has(width)) return false;
        credutl_sid_t value;
        char text[CREDUTL_SID_STR_SIZE];
        std::memcpy(&value, &bytes_[at_], sizeof value);
        const bool is_sid = credutl_sid_to_str(&value, text, sizeof text) == 0;
        return put(f.name, item_kind::sid, width, is_sid ? text : "(not a SID)");
    }
    bool show_time(const field &f) {
        if (!has(2 * unit)) return false;
        char text[32];
        std::snprintf(text, sizeof text, "%d.%06d", static_cast<int>(word_at(at_)),
                      static_cast<int>(word_at(at_ + unit)));
        return put(f.name, item_kind::time, 2 * unit, text);
    }
    bool show_constant(const field &f) {
        if (!has(unit)) return false;
        const uint32_t value = word_at(at_);
        put(f.name, unit, value);
        return value == f.value || stop("not the number that stands in every encoding");
    }
    bool show_link(const field &f) {
        if (!has(unit)) return false;
        const uint32_t value = word_at(at_);
        put(f.name, unit, value);
        return value == 0 || stop("a link to a storage area is not 0");
    }
    bool show_offset(const field &f) { return has(unit) && put(f.name, unit, word_at(at_)); }
    bool show_text(const field &f) {
        if (!has(unit)) return false;
        const size_t length = word_at(at_);
        const std::string_view rest(reinterpret_cast<const char *>(bytes_.data()) + at_ + unit,
                                    bytes_.size() - at_ - unit);
        if (length > f.limit || rest.size() < length) {
            at_ += unit; // the length is as good as any; its characters are not
            return stop(length > f.limit ? "a text is longer than it may be" : "a text is longer than what is left");
        }
        const std::string_view characters = rest.substr(0, length);
        const bool holds_nul = characters.find('\0') != std::string_view::npos;
        if (holds_nul || rest.size() < padded(length)) {
            put(f.name, item_kind::text, unit + length, std::string(characters));
            return stop(holds_nul ? "a text holds a NUL byte" : "the bytes end here");
        }
        return put(f.name, item_kind::text, unit + padded(length), std::string(characters));
    }
    bool show_data(const field &f) {
        uint32_t size = 0;
        if (!show_both_counts(f, size) || !has(padded(size))) return false;
        constexpr char digits[] = "0123456789abcdef";
        std::string hexadecimal;
        for (const uint8_t byte : bytes_.subspan(at_, size)) {
            hexadecimal += digits[byte >> 4];
            hexadecimal += digits[byte & 0xF];
        }
        return put(f.name, item_kind::data, padded(size), std::move(hexadecimal));
    }
    bool show_record(const field &f) {
        listener_.enter_record(f.name);
        const bool shown = show(*f.inner);
        listener_.leave();
        return shown;
    }
    // Records may hold each other, but not for ever.
    template <class F> bool one_level_down(F show_inside) {
        if (depth_ == nesting_limit) return stop("records are nested too deep");
        depth_++;
        const bool shown = show_inside();
        depth_--;
        return shown;
    }
    bool show_elements(const field &f, uint32_t count) {
        bool shown = true;
        listener_.enter_list(f.name, count);
        for (uint32_t i = 0; i < count && shown; i++) {
            listener_.enter_record({});
            shown = show(f.inner_in(format_));
            listener_.leave();
        }
        listener_.leave();
        return shown;
    }
    bool show_both_counts(const field &f, uint32_t &count) {
        if (!has(unit)) return false;
        count = word_at(at_);
        put(f.count_name, unit, count);
        if (count > f.limit) return stop("a count is negative");
        if (!has(unit)) return false;
        const uint32_t again = word_at(at_);
        put(f.count_name, unit, again);
        return again == count || stop("the two counts of a list differ");
    }
    bool show_list(const field &f) {
        uint32_t count = 0;
        if (!f.is_in(format_)) return stop("no record has such a format");
        return show_both_counts(f, count) && one_level_down([&] { return show_elements(f, count); });
    }
    bool show_entries(const field &f) {
        if (!has(unit)) return false;
        const uint32_t count = word_at(at_);
        put(f.count_name, unit, count);
        return show_elements(f, count);
    }
    bool show_optional(const field &f) {
        if (!has(unit)) return false;
        const uint32_t present = word_at(at_);
        put("present", unit, present);
        return !present || one_level_down([&] { return show_record(f); });
    }
    bool show_choice(const field &f) {
        if (!has(unit)) return false;
        const int64_t kind = static_cast<int32_t>(word_at(at_));
        put(f.name, unit, static_cast<uint64_t>(kind), true, f.names);
        for (const field &arm : f.inner->fields) {
            if (arm.value == kind) return show(arm);
        }
        return stop("no value is of this type");
    }
    bool show_absent_byte(const field &f) {
        if (!has(unit)) return false;
        const uint32_t present = word_at(at_);
        put("present", unit, present);
        return !present || (has(unit) && put(f.name, unit, word_at(at_)));
    }

    std::span<const uint8_t> bytes_;
    listener &listener_;
    size_t at_ = 0;
    unsigned depth_ = 0;
    uint32_t format_ = 0;
    const char *why_ = nullptr;
};

inline view_result view(const layout &record, std::span<const uint8_t> bytes, listener &l) {
    return viewer(bytes, l).run(record);
}
template <class T> view_result view(std::span<const uint8_t> bytes, listener &l) {
    return view(layout_of<T>, bytes, l);
}

} // namespace tbs::wire

#endif
