#include "internal/acl_text.hpp"
#include "internal/rolemap.hpp"

#include <cstring>

using namespace tbs::acl;

namespace tbs::rolemap {
namespace {

constexpr char arrow[] = "-->";
constexpr size_t arrow_length = sizeof arrow - 1;

// ---- reading

struct owned_id {
    owned_id() = default;
    ~owned_id() { tbs_sid_acl_free_id(&id); }
    owned_id(const owned_id &) = delete;
    owned_id &operator=(const owned_id &) = delete;
    id_type id = {};
};

tbs_status_t parse_identity(const char *text, int line_number, id_type *id) {
    const tbs_status_t status = tbs_sid_acl_utl_id_from_str(text, id);
    if (status) error<8>(text, line_number);
    return status;
}

tbs_status_t refuse_line(int line_number, tbs_status_t status) {
    error<15>(line_number);
    error<25>();
    return status;
}

// Adds the pair that a line names. The line is neither blank nor a comment, and is changed.
tbs_status_t add_line(tbs_rolemap_acl_h_t map, char *line, int line_number) {
    char *at = std::strstr(line, arrow);
    if (!at) return refuse_line(line_number, TBS_ST_ERROR);
    *at = '\0';
    owned_id role, id;
    tbs_status_t status = parse_identity(strutl_strip(line), line_number, &role.id);
    if (status == 0) status = parse_identity(strutl_strip(at + arrow_length), line_number, &id.id);
    if (status) return status;
    status = tbs_rolemap_acl_add_role_binding(map, &role.id, &id.id);
    return status ? refuse_line(line_number, status) : 0;
}

tbs_status_t parse_lines(FILE *stream, const char *path, tbs_rolemap_acl_h_t map) {
    line_reader reader(stream);
    text_line line;
    while (reader.next(line)) {
        const bool is_text = line.is_text(); // what hides behind a NUL is none
        char *stripped = strutl_strip(line.text);
        if (*stripped == '#') continue;
        if (is_text && !*stripped) continue;
        const tbs_status_t status =
            is_text ? add_line(map, stripped, line.number) : refuse_line(line.number, TBS_ST_ERROR);
        if (status) return status;
    }
    return reader.failure() ? read_failed(path, reader.failure()) : 0;
}

// ---- writing

using identity_text = char[TBS_ACL_TEXT_SIZE];

// Hands each role and each of its identities to a consumer as texts; ends at the first failure.
template <class OnRole, class OnId> tbs_status_t each_pair(const tbs_rolemap_acl &map, OnRole on_role, OnId on_id) {
    for (const binding_type &binding : bindings_of(map)) {
        identity_text role, id;
        tbs_status_t status = tbs_sid_acl_utl_id_to_str(&binding.role, sizeof role, role);
        if (status) return status;
        on_role(role);
        for (const id_type &bound : ids_of(binding)) {
            status = tbs_sid_acl_utl_id_to_str(&bound, sizeof id, id);
            if (status) return status;
            on_id(role, id);
        }
    }
    return 0;
}

} // namespace
} // namespace tbs::rolemap

using namespace tbs::rolemap;
using tbs::acl_messages;
using tbs::say;

extern "C" tbs_status_t tbs_rolemap_acl_utl_parse(const char *path, tbs_rolemap_acl_h_t *map_out) noexcept {
    if (!path || !map_out) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        owned_map map;
        tbs_status_t status = tbs_rolemap_acl_create(map.put());
        if (status) {
            common_error<46>("tbs_rolemap_acl_create", tbs_strerror(status));
            return status;
        }
        const owned_stream stream(unix_nt_fopen(path, "r"));
        if (!stream.get()) return open_failed(path);
        status = parse_lines(stream.get(), path, map.get());
        if (status == 0) *map_out = map.release();
        return status;
    });
}

extern "C" tbs_status_t tbs_rolemap_acl_utl_print(tbs_rolemap_acl_h_t map) noexcept {
    if (!map) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        const tbs::mutex_hold listing(print_lock);
        if (map->count == 0) say<acl_messages, 18>(IMSG_PLAIN, module_name);
        return each_pair(
            *map, [](const char *role) { say<acl_messages, 20>(IMSG_PLAIN, module_name, role); },
            [](const char *, const char *id) { say<acl_messages, 21>(IMSG_PLAIN, module_name, id); });
    });
}

extern "C" tbs_status_t tbs_rolemap_acl_utl_output(FILE *stream, tbs_rolemap_acl_h_t map) noexcept {
    if (!stream || !map) return TBS_ST_EINVAL;
    return call([&]() -> tbs_status_t {
        return each_pair(
            *map, [](const char *) {},
            [&](const char *role, const char *id) {
                char visible_role[4 * TBS_ACL_TEXT_SIZE], visible_id[4 * TBS_ACL_TEXT_SIZE];
                std::fprintf(stream, "%s --> %s\n", on_one_line(role, visible_role), on_one_line(id, visible_id));
            });
    });
}
