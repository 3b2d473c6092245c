// cr_record.hpp - configuration records in the tool: read and written in their three forms, put together.
#ifndef TOOLS_TBS_CR_RECORD_HPP
#define TOOLS_TBS_CR_RECORD_HPP

#include "ks/ks_stg.h"
#include "output.hpp"
#include "tbs/tbs_cr.h"

#include <new>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace tool {

// How an object took part, in result_obj_flags. One without either was read.
enum : tbs_cr_obj_flags_t { cr_was_read = 1, cr_was_written = 2 };

// The forms of a record's bytes, as options name them.
enum class cr_form { compressed, xdr, json_text };
const std::vector<std::string> &cr_form_names();
cr_form cr_form_of(const std::string &name);
const std::string &name_of(cr_form form);

class cr_record {
public:
    cr_record() = default;
    ~cr_record() { tbs_cr_free_cr_xdr(&record_); }
    cr_record(cr_record &&other) noexcept : record_(std::exchange(other.record_, {})) {}
    cr_record &operator=(cr_record &&other) noexcept {
        std::swap(record_, other.record_);
        return *this;
    }

    [[nodiscard]] tbs_cr_t &get() noexcept { return record_; }
    [[nodiscard]] const tbs_cr_t &get() const noexcept { return record_; }
    tbs_cr_t *operator->() noexcept { return &record_; }
    const tbs_cr_t *operator->() const noexcept { return &record_; }

private:
    tbs_cr_t record_{};
};

// A text of a record, which may be NULL.
inline const char *text_or_empty(const char *text) { return text ? text : ""; }

// What a record is put together of: it releases them.
inline char *copy_text(const std::string &text) {
    char *copy = stg_strdup(text.c_str());
    if (!copy) throw std::bad_alloc();
    return copy;
}
template <class T> T *make_object() {
    void *memory = stg_calloc(1, sizeof(T));
    if (!memory) throw std::bad_alloc();
    return static_cast<T *>(memory);
}

// Gives a list of a record room for `count` elements, all NULL. The record owns it at once.
template <class T> void make_list(uint32_t &to_count, T **&to, size_t count) {
    if (count == 0) return;
    to = static_cast<T **>(stg_calloc(count, sizeof(T *)));
    if (!to) throw std::bad_alloc();
    to_count = static_cast<uint32_t>(count);
}

// A record in the form it was found in.
struct cr_file {
    std::string path;
    cr_form form;
    cr_record record;
};

// Reads a record; its first bytes tell the form when none is given. "-" is standard input. Throws failure.
cr_file read_cr(const std::string &path, const std::optional<std::string> &form = {});

// A record as bytes. Encoding sets its format version. Throws failure for what has no encoding.
std::string encoded(cr_record &record, cr_form form);

// A record as a JSON value without loss, its members under their names in tbs_cr.h. As encoding, sets its format version
// and throws failure.
json cr_as_json(cr_record &record);

// ---- what the commands say of records

// Something that took part in a build.
struct cr_object {
    std::string path;    // below the directory of the build without it
    bool built;          // otherwise it was read
    bool is_of_system;   // outside the build, where systems keep their programs and headers
    std::string version; // what tells it from another of the same name
};

// All of them: built ones first, then by their paths.
std::vector<cr_object> objects_of(const tbs_cr_t &record);

// An identifier in its dotted form.
std::string id_text(const tbs_uuid_t &id);

// Seconds since 1970 in UTC, as RFC 3339 writes them.
std::string time_text(int64_t seconds);

} // namespace tool

#endif
