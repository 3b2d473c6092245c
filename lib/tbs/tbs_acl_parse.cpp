#include "internal/acl.hpp"
#include "internal/acl_text.hpp"
#include "ks/ks_str.h"
#include "tbs/tbs_acl.h"

#include <cstdio>
#include <cstring>

namespace tbs::acl {

constinit tvthread_mutex_t print_lock = TVTHREAD_MUTEX_INIT;

namespace {

// The caller's permission vocabulary.
struct vocabulary {
    const tbs_acl_perm_name_t *extra;
    size_t extra_count;
    const tbs_acl_generic_map_t *map;

    [[nodiscard]] bool is_readable() const { return readable(extra, extra_count); }
};

// ---- entries of a line

// What differs between the two kinds of ACL.
struct classic {
    using handle = tbs_acl_h_t;
    using owned_handle = owned_acl;
    using id_type = tbs_acl_id_t;
    static constexpr auto create = tbs_acl_create;
    static constexpr const char *create_name = "tbs_acl_create";
    static constexpr auto id_from_str = tbs_acl_utl_id_from_str;
    static constexpr auto set_entry = tbs_acl_set_entry;
    static constexpr bool comments_may_be_indented = false;
};
struct by_sid {
    using handle = tbs_sid_acl_h_t;
    using owned_handle = owned_sid_acl;
    using id_type = tbs_sid_acl_id_t;
    static constexpr auto create = tbs_sid_acl_create;
    static constexpr const char *create_name = "tbs_sid_acl_create";
    static constexpr auto id_from_str = tbs_sid_acl_utl_id_from_str;
    static constexpr auto set_entry = tbs_sid_acl_set_entry;
    static constexpr bool comments_may_be_indented = true;
};

template <class Id> struct owned_id {
    ~owned_id() { free_id(id); }
    Id id = {};
};

tbs_status_t syntax_error(int line_number) {
    error<7>(line_number);
    error<12>();
    return TBS_ST_ERROR;
}

// Cuts a line without white space around it at its last blank. NULL when it has not two parts.
char *cut_permissions(char *line) {
    const size_t length = std::strlen(line);
    for (size_t i = length; i-- > 0;) {
        if (line[i] != ' ' && line[i] != '\t') continue;
        line[i] = '\0';
        return *strutl_strip(line) ? line + i + 1 : nullptr;
    }
    return nullptr;
}

// Sets the entry that a line names. The line is neither blank nor a comment, and is changed.
template <class Kind>
tbs_status_t set_from_line(char *line, int line_number, const vocabulary &names, typename Kind::handle acl) {
    char *permissions = cut_permissions(line);
    if (!permissions) return syntax_error(line_number);
    const char *identity = strutl_strip(line);
    owned_id<typename Kind::id_type> parsed;
    tbs_status_t status = Kind::id_from_str(identity, &parsed.id);
    if (status) {
        error<8>(identity, line_number);
        return status;
    }
    tbs_acl_permission_set_t perms = 0;
    status = tbs_acl_utl_perm_set_from_str(permissions, names.extra, names.extra_count, names.map, &perms);
    if (status) {
        error<9>(permissions, line_number, tbs_strerror(status));
        return status;
    }
    status = Kind::set_entry(acl, parsed.id, perms);
    if (status) error<10>(line_number, tbs_strerror(status));
    return status;
}

template <class Kind> bool is_comment(const char *line) {
    return line[Kind::comments_may_be_indented ? std::strspn(line, " \t\n\v\f\r") : 0] == '#';
}

template <class Kind>
tbs_status_t parse_line(char *line, int line_number, const vocabulary &names, typename Kind::handle acl) {
    if (is_comment<Kind>(line)) return 0;
    char *stripped = strutl_strip(line);
    return *stripped ? set_from_line<Kind>(stripped, line_number, names, acl) : 0;
}

// ---- files

template <class Kind>
tbs_status_t parse_lines(FILE *stream, const char *path, const vocabulary &names, typename Kind::handle acl) {
    line_reader reader(stream);
    text_line line;
    while (reader.next(line)) {
        const bool is_readable = line.is_text() || is_comment<Kind>(line.text);
        const tbs_status_t status =
            is_readable ? parse_line<Kind>(line.text, line.number, names, acl) : syntax_error(line.number);
        if (status) return status;
    }
    return reader.failure() ? read_failed(path, reader.failure()) : 0;
}

template <class Kind>
tbs_status_t parse_file(const char *path, const vocabulary &names, typename Kind::handle *acl_out) {
    if (!path || !acl_out || !names.is_readable()) return TBS_ST_EINVAL;
    typename Kind::owned_handle acl;
    tbs_status_t status = Kind::create(acl.put());
    if (status) {
        common_error<46>(Kind::create_name, tbs_strerror(status));
        return status;
    }
    const owned_stream stream(unix_nt_fopen(path, "r"));
    if (!stream.get()) return open_failed(path);
    status = parse_lines<Kind>(stream.get(), path, names, acl.get());
    if (status == 0) *acl_out = acl.release();
    return status;
}

// ---- listings

tbs_status_t identity_text(const tbs_acl_id_t &id, size_t size, char *text) {
    return tbs_acl_utl_id_to_str(&id, size, text);
}
tbs_status_t identity_text(const tbs_sid_acl_id_t &id, size_t size, char *text) {
    return tbs_sid_acl_utl_id_to_str(&id, size, text);
}

// Hands the texts of each entry, identity and permissions, to a consumer that gives a status; ends at the first
// failure.
template <class List, class F> tbs_status_t list_entries(List list, const vocabulary &names, F &&consume) {
    const permission_names known(names.extra, names.extra_count);
    for (const auto &entry : list.all()) {
        char identity[TBS_ACL_TEXT_SIZE];
        tbs_status_t status = identity_text(entry.id, sizeof identity, identity);
        if (status == 0) status = consume(identity, permission_text(entry.perms, known, names.map));
        if (status) return status;
    }
    return 0;
}

template <class Handle> tbs_status_t add_to_list(Handle acl, const vocabulary &names, imsg_list_t *list) {
    if (!acl || !list || !names.is_readable()) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        const mutex_hold listing(print_lock);
        return list_entries(list_of(acl), names, [&](const char *identity, const char *permissions) -> tbs_status_t {
            if (imsg_list_add_msg(list, &acl_table, 19, identity, permissions) != 0) throw std::bad_alloc();
            return 0;
        });
    });
}

} // namespace
} // namespace tbs::acl

using namespace tbs::acl;
using tbs::acl_messages;
using tbs::say;

extern "C" tbs_status_t tbs_acl_utl_parse(const char *path, const tbs_acl_perm_name_t *extra, size_t extra_count,
                                          const tbs_acl_generic_map_t *map, tbs_acl_h_t *acl_out) noexcept {
    return call([&] { return parse_file<classic>(path, {extra, extra_count, map}, acl_out); });
}

extern "C" tbs_status_t tbs_sid_acl_utl_parse(const char *path, const tbs_acl_perm_name_t *extra, size_t extra_count,
                                              const tbs_acl_generic_map_t *map, tbs_sid_acl_h_t *acl_out) noexcept {
    return call([&] { return parse_file<by_sid>(path, {extra, extra_count, map}, acl_out); });
}

extern "C" tbs_status_t tbs_sid_acl_utl_parse_str(char *line, int line_number, const tbs_acl_perm_name_t *extra,
                                                  size_t extra_count, const tbs_acl_generic_map_t *map,
                                                  tbs_sid_acl_h_t acl) noexcept {
    if (!line || !acl || !readable(extra, extra_count)) return TBS_ST_EINVAL;
    return call([&] { return parse_line<by_sid>(line, line_number, {extra, extra_count, map}, acl); });
}

extern "C" tbs_status_t tbs_acl_utl_print(tbs_acl_h_t acl, const tbs_acl_perm_name_t *extra, size_t extra_count,
                                          const tbs_acl_generic_map_t *map) noexcept {
    if (!acl || !readable(extra, extra_count)) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        const tbs::mutex_hold listing(print_lock);
        if (acl->count == 0) say<acl_messages, 17>(IMSG_PLAIN, module_name);
        return list_entries(list_of(acl), {extra, extra_count, map},
                            [](const char *identity, const char *permissions) -> tbs_status_t {
                                say<acl_messages, 19>(IMSG_PLAIN, module_name, identity, permissions);
                                return 0;
                            });
    });
}

extern "C" tbs_status_t tbs_acl_to_imsg_list(tbs_acl_h_t acl, const tbs_acl_perm_name_t *extra, size_t extra_count,
                                             const tbs_acl_generic_map_t *map, imsg_list_t *list) noexcept {
    return add_to_list(acl, {extra, extra_count, map}, list);
}

extern "C" tbs_status_t tbs_sid_acl_to_imsg_list(tbs_sid_acl_h_t acl, const tbs_acl_perm_name_t *extra,
                                                 size_t extra_count, const tbs_acl_generic_map_t *map,
                                                 imsg_list_t *list) noexcept {
    return add_to_list(acl, {extra, extra_count, map}, list);
}

extern "C" tbs_status_t tbs_sid_acl_utl_output(FILE *stream, tbs_sid_acl_h_t acl, const tbs_acl_perm_name_t *extra,
                                               size_t extra_count, const tbs_acl_generic_map_t *map) noexcept {
    if (!stream || !acl || !readable(extra, extra_count)) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        return list_entries(list_of(acl), {extra, extra_count, map},
                            [&](const char *identity, const char *permissions) -> tbs_status_t {
                                char visible[4 * TBS_ACL_TEXT_SIZE];
                                std::fprintf(stream, "%s %s\n", on_one_line(identity, visible), permissions);
                                return 0;
                            });
    });
}

extern "C" tbs_status_t tbs_sid_acl_utl_print_indent(tbs_sid_acl_h_t acl, const tbs_acl_perm_name_t *extra,
                                                     size_t extra_count, const tbs_acl_generic_map_t *map,
                                                     int indent) noexcept {
    if (!acl || !readable(extra, extra_count)) return 0;
    call([&]() -> tbs_status_t {
        const tbs::mutex_hold listing(print_lock);
        if (acl->entries->count == 0) say<acl_messages, 28>(IMSG_PLAIN, module_name);
        return list_entries(list_of(acl), {extra, extra_count, map},
                            [&](const char *identity, const char *permissions) -> tbs_status_t {
                                say<acl_messages, 27>(IMSG_PLAIN, module_name, indent, "");
                                say<acl_messages, 26>(IMSG_PLAIN, module_name, identity, permissions);
                                return 0;
                            });
    });
    return 0;
}

extern "C" tbs_status_t tbs_sid_acl_utl_print(tbs_sid_acl_h_t acl, const tbs_acl_perm_name_t *extra,
                                              size_t extra_count, const tbs_acl_generic_map_t *map) noexcept {
    return tbs_sid_acl_utl_print_indent(acl, extra, extra_count, map, 4);
}
