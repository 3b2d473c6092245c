#include "cr_record.hpp"

#include "ks/ks_str.h"
#include "record_json.hpp"
#include "xdr_stream.hpp"

#include <algorithm>
#include <cctype>
#include <ctime>
#include <iterator>
#include <new>
#include <nlohmann/json.hpp>
#include <tuple>

namespace tool {
namespace {

struct compressed_record {
    compressed_record() = default;
    ~compressed_record() { tbs_cr_free_compressed_stg(of); }
    compressed_record(const compressed_record &) = delete;
    compressed_record &operator=(const compressed_record &) = delete;
    tbs_cr_compressed_t *of = nullptr;
};

// ---- reading

constexpr char what_is_read[] = "Name a file that \"tbs cr capture\" or \"tbs cr convert\" wrote.";

failure damaged(const std::string &path, const std::string &why) { return {path, 0, why, what_is_read}; }

// Decodes all of the bytes.
template <class T> void decode(const std::string &path, const bytes &content, bool_t (*routine)(XDR *, T *), T &to) {
    xdr_stream from(content);
    const bool whole = routine(from.get(), &to) != 0;
    if (whole && from.position() == content.size()) return;
    throw damaged(path, whole ? "bytes stand behind the record, from offset " + std::to_string(from.position())
                              : "the record is damaged at offset " + std::to_string(from.position()));
}

cr_record read_xdr(const std::string &path, const bytes &content) {
    cr_record record;
    decode(path, content, xdr_tbs_cr_t, record.get());
    return record;
}

cr_record read_compressed(const std::string &path, const bytes &content) {
    compressed_record compressed;
    compressed.of = make_object<tbs_cr_compressed_t>();
    decode(path, content, xdr_tbs_cr_compressed_t, *compressed.of);
    if (compressed.of->format_version != TBS_CR_COMPRESSED_CURR_FORMAT) {
        throw damaged(path, "the compressed form is of version " + std::to_string(compressed.of->format_version));
    }
    cr_record record;
    if (tbs_cr_compressed_to_cr(compressed.of, &record.get()) != 0) {
        throw damaged(path, "the compressed record is damaged, or larger than a record may be");
    }
    return record;
}

cr_record read_json(const std::string &path, const bytes &content) {
    constexpr char remedy[] = "\"tbs cr convert --to json\" shows how a record is written.";
    return read_xdr(path, record_from_json(tbs::wire::layout_of<tbs_cr_t>, path, as_text(content), remedy));
}

struct form_row {
    const char *name;
    cr_record (*read)(const std::string &path, const bytes &content);
};
constexpr form_row forms[] = {{"compressed", read_compressed}, {"xdr", read_xdr}, {"json", read_json}}; // as cr_form

// The numbers of the compressed form and of records differ; JSON begins with a brace.
cr_form recognised(const std::string &path, const bytes &content) {
    const auto first = std::find_if(content.begin(), content.end(), [](uint8_t c) { return !std::isspace(c); });
    if (first != content.end() && *first == '{') return cr_form::json_text;
    if (content.size() >= 4 && content[0] == 0 && content[1] == 0 && content[2] == 0) {
        if (content[3] == TBS_CR_COMPRESSED_CURR_FORMAT) return cr_form::compressed;
        const int32_t version = content[3];
        if (tbs_cr_is_supported_fmt(&version)) return cr_form::xdr;
    }
    throw failure(path, 0, content.empty() ? "the file is empty" : "the file is no configuration record",
                  what_is_read);
}

// ---- writing

// The library ends the process at flags that no encoding has room for.
void require_narrow_flags(const tbs_cr_t &record) {
    const auto is_wide = [](const auto *one) { return one->result_obj_flags > 0xFFFF; };
    if (!std::any_of(record.fs_predefs, record.fs_predefs + record.fs_predef_count, is_wide) &&
        !std::any_of(record.mfs_objects, record.mfs_objects + record.mfs_object_count, is_wide)) {
        return;
    }
    throw failure("the record has flags of an object that take more than 16 bits",
                  "\"tbs xdr show tbs_cr_t\" shows them; no record is written with them.");
}

template <class T> bytes encode(bool_t (*routine)(XDR *, T *), T &from) {
    xdr_stream to;
    if (!routine(to.get(), &from)) {
        throw failure("the record cannot be encoded", "It is larger than a record may be.");
    }
    return {to.content().begin(), to.content().end()};
}

bytes encode_record(cr_record &record) {
    require_narrow_flags(record.get());
    return encode(xdr_tbs_cr_t, record.get());
}

bytes compress(cr_record &record) {
    require_narrow_flags(record.get());
    compressed_record compressed;
    if (tbs_cr_to_compressed(&record.get(), &compressed.of) != 0) {
        throw failure("the record cannot be compressed", "It is larger than a record may be.");
    }
    return encode(xdr_tbs_cr_compressed_t, *compressed.of);
}

// ---- objects

constexpr const char *system_directories[] = {"/usr/", "/lib/",  "/lib32/", "/lib64/", "/libx32/",
                                              "/bin/", "/sbin/", "/etc/",   "/opt/"};

bool is_of_system(const std::string &path) {
    return std::any_of(std::begin(system_directories), std::end(system_directories),
                       [&](const char *one) { return path.starts_with(one); });
}

std::string joined(std::string directory, const std::string &name) {
    if (!directory.ends_with('/') && !name.starts_with('/')) directory += '/';
    return directory + name;
}

std::string version_of(const tbs_cr_fs_predef_t &file) {
    char text[96];
    strutl_snprintf(text, sizeof text, "%lld %s, mode %04o", static_cast<long long>(file.size),
                    file.size == 1 ? "byte" : "bytes", file.mode & 07777);
    const std::string checksum = text_or_empty(file.checksum);
    return std::string(text) + (checksum.empty() ? ", " + time_text(file.mtime) : ", " + checksum);
}

std::string vob_path(const tbs_cr_t &record, uint16_t vob) {
    return vob < record.vob_count ? text_or_empty(record.vobs[vob]->pathname) : "";
}

} // namespace

const std::vector<std::string> &cr_form_names() {
    static const std::vector<std::string> names = [] {
        std::vector<std::string> all;
        for (const form_row &one : forms) all.emplace_back(one.name);
        return all;
    }();
    return names;
}

cr_form cr_form_of(const std::string &name) {
    const auto &names = cr_form_names();
    return static_cast<cr_form>(std::find(names.begin(), names.end(), name) - names.begin());
}

const std::string &name_of(cr_form form) { return cr_form_names()[static_cast<size_t>(form)]; }

cr_file read_cr(const std::string &path, const std::optional<std::string> &form) {
    const bytes content = read_bytes(path);
    const cr_form read_as = form ? cr_form_of(*form) : recognised(path, content);
    return {path, read_as, forms[static_cast<size_t>(read_as)].read(path, content)};
}

std::string encoded(cr_record &record, cr_form form) {
    if (form == cr_form::json_text) return json_text(cr_as_json(record));
    return std::string(as_text(form == cr_form::xdr ? encode_record(record) : compress(record)));
}

json cr_as_json(cr_record &record) { return record_as_json(tbs::wire::layout_of<tbs_cr_t>, encode_record(record)); }

std::vector<cr_object> objects_of(const tbs_cr_t &record) {
    const std::string directory = joined(text_or_empty(record.directory), "");
    std::vector<cr_object> all;
    const auto add = [&](std::string path, uint32_t flags, std::string version) {
        const bool inside = directory.size() > 1 && path.starts_with(directory);
        const bool of_system = !inside && is_of_system(path);
        if (inside) path.erase(0, directory.size());
        all.push_back({std::move(path), (flags & cr_was_written) != 0, of_system, std::move(version)});
    };
    for (uint32_t i = 0; i < record.fs_predef_count; i++) {
        const tbs_cr_fs_predef_t &one = *record.fs_predefs[i];
        add(text_or_empty(one.pathname), one.result_obj_flags, version_of(one));
    }
    for (uint32_t i = 0; i < record.mfs_object_count; i++) {
        const tbs_cr_mfs_obj_desc_t &one = *record.mfs_objects[i];
        add(joined(vob_path(record, one.vob), text_or_empty(one.name)), one.result_obj_flags, id_text(one.oid));
    }
    for (uint32_t i = 0; i < record.mfs_predef_count; i++) {
        const tbs_cr_mfs_predef_t &one = *record.mfs_predefs[i];
        add(text_or_empty(one.pathname), 0, text_or_empty(one.version));
    }
    std::stable_sort(all.begin(), all.end(), [](const cr_object &a, const cr_object &b) {
        return std::tie(b.built, a.path) < std::tie(a.built, b.path);
    });
    return all;
}

std::string id_text(const tbs_uuid_t &id) {
    char text[TBS_UUID_STR_SIZE];
    return tbs_uuid_to_str(&id, text);
}

std::string time_text(int64_t seconds) {
    const time_t time = seconds;
    tm fields{};
    char text[40];
    if (!gmtime_r(&time, &fields) || std::strftime(text, sizeof text, "%Y-%m-%dT%H:%M:%SZ", &fields) == 0) return "";
    return text;
}

} // namespace tool
