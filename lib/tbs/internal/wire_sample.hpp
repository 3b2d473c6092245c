// wire_sample.hpp - encodings of made-up records, the same ones for the same seed on every host.
#ifndef TBS_INTERNAL_WIRE_SAMPLE_HPP
#define TBS_INTERNAL_WIRE_SAMPLE_HPP

#include "wire_layout.hpp"

#include <random>
#include <vector>

namespace tbs::wire {

class sampler {
public:
    explicit sampler(uint64_t seed) : random_(seed) {}

    // Bytes that decode, and encode to the same bytes again; but a configuration record has any format and flags.
    std::vector<uint8_t> make(const layout &record) {
        bytes_.clear();
        add(record);
        return std::move(bytes_);
    }

private:
    static constexpr uint32_t most_elements = 3, most_levels = 6;

    uint32_t below(uint32_t end) { return static_cast<uint32_t>(random_() % end); }
    bool one_in(uint32_t cases) { return below(cases) == 0; }
    uint32_t any() { return static_cast<uint32_t>(random_()); }

    void put(uint32_t word) {
        bytes_.resize(bytes_.size() + unit);
        store(&bytes_[bytes_.size() - unit], word);
    }
    void put_padded(const void *from, size_t size) {
        const auto *first = static_cast<const uint8_t *>(from);
        bytes_.insert(bytes_.end(), first, first + size);
        bytes_.resize(bytes_.size() + padded(size) - size);
    }

    void add(const layout &record) {
        for (const field &one : record.fields) add(one);
    }
    void add(const field &f) {
        static constexpr form_table<void (sampler::*)(const field &)> add_of({
            {form::number, &sampler::add_number},
            {form::hyper, &sampler::add_hyper},
            {form::low_hyper, &sampler::add_hyper},
            {form::real, &sampler::add_real},
            {form::identifier, &sampler::add_identifier},
            {form::sid, &sampler::add_sid},
            {form::time, &sampler::add_time},
            {form::text, &sampler::add_text},
            {form::data, &sampler::add_data},
            {form::record, &sampler::add_record},
            {form::list, &sampler::add_list},
            {form::entries, &sampler::add_entries},
            {form::optional, &sampler::add_optional},
            {form::constant, &sampler::add_constant},
            {form::link, &sampler::add_zero},
            {form::offset, &sampler::add_zero},
            {form::choice, &sampler::add_choice},
            {form::absent_byte, &sampler::add_zero},
        });
        (this->*add_of[f.kind])(f);
    }

    uint32_t named_value(const names_of_values &names) {
        const auto pick = [&] {
            return static_cast<uint32_t>(names.values[below(static_cast<uint32_t>(names.values.size()))].value);
        };
        uint32_t value = pick();
        if (names.are_flags) value |= pick();
        return value;
    }
    void add_number(const field &f) {
        if (f.names && !one_in(16)) return put(named_value(*f.names));
        uint32_t number = one_in(8) ? any() : below(1000);
        if (f.name == format_member) format_ = number = one_in(2) ? cr_narrow_format : cr_wide_format;
        put(f.kept(number));
    }
    void add_hyper(const field &) {
        put(one_in(8) ? any() : 0);
        put(any());
    }
    void add_real(const field &) {
        const auto bits = std::bit_cast<uint64_t>(static_cast<int32_t>(any()) / 1024.0);
        put(static_cast<uint32_t>(bits >> 32));
        put(static_cast<uint32_t>(bits));
    }
    void add_identifier(const field &) {
        for (size_t i = 0; i < sizeof(tbs_uuid_t) / unit; i++) put(any());
    }
    void add_sid(const field &) {
        constexpr uint32_t local_domain = 21;
        credutl_sid_t sid = {};
        if (!one_in(8)) {
            const uint8_t start[] = {1, 5, 0, 0, 0, 0, 0, 5}; // revision, sub-authorities, authority
            const uint32_t tail[] = {local_domain, any(), any(), any(), below(100000)};
            sid.type = 1;
            sid.length = sizeof start + sizeof tail;
            std::memcpy(sid.value, start, sizeof start);
            for (size_t i = 0; i < std::size(tail); i++) {
                for (size_t k = 0; k < unit; k++)
                    sid.value[sizeof start + unit * i + k] = static_cast<uint8_t>(tail[i] >> (8 * k));
            }
        }
        put_padded(&sid, sizeof sid);
    }
    void add_time(const field &) {
        put(one_in(8) ? any() : 1'500'000'000 + below(500'000'000));
        put(below(1'000'000));
    }
    void add_text(const field &f) {
        static constexpr const char *words[] = {"main",   "vault", "release", "fix the scanner", "/vobs/tools/src",
                                                "fräsen", "設計",  "host-7",  "o'neill, maria",  "REL_2.4"};
        std::string_view text = one_in(6) ? "" : words[below(std::size(words))];
        text = text.substr(0, f.limit);
        put(static_cast<uint32_t>(text.size()));
        put_padded(text.data(), text.size());
    }
    void add_data(const field &) {
        std::vector<uint8_t> data(below(40));
        for (uint8_t &byte : data) byte = static_cast<uint8_t>(any());
        put(static_cast<uint32_t>(data.size()));
        put(static_cast<uint32_t>(data.size()));
        put_padded(data.data(), data.size());
    }
    void add_record(const field &f) { add(*f.inner); }
    uint32_t some_elements() { return level_ < most_levels ? below(most_elements + 1) : 0; }
    void add_elements(const field &f, uint32_t count) {
        level_++;
        for (uint32_t i = 0; i < count; i++) add(f.inner_in(format_));
        level_--;
    }
    void add_list(const field &f) {
        const uint32_t count = some_elements();
        put(count);
        put(count);
        add_elements(f, count);
    }
    void add_entries(const field &f) {
        const uint32_t count = some_elements();
        put(count);
        add_elements(f, count);
    }
    void add_optional(const field &f) {
        const uint32_t count = std::min<uint32_t>(some_elements(), 1);
        put(count);
        add_elements(f, count);
    }
    void add_choice(const field &f) {
        const field &arm = f.inner->fields[below(static_cast<uint32_t>(f.inner->fields.size()))];
        put(static_cast<uint32_t>(arm.value));
        add(arm);
    }
    void add_constant(const field &f) { put(static_cast<uint32_t>(f.value)); }
    void add_zero(const field &) { put(0); }

    std::mt19937_64 random_;
    std::vector<uint8_t> bytes_;
    uint32_t level_ = 0, format_ = 0;
};

} // namespace tbs::wire

#endif
