#include "nt/nt_regy.h"

#include "internal/nt_call.hpp"
#include "internal/nt_os.hpp"
#include "internal/nt_regy_name.hpp"
#include "internal/nt_regy_store.hpp"
#include "internal/nt_regy_text.hpp"
#include "ks/ks_file.h"
#include "ks/ks_str.h"
#include "nt/nt_file.h"

#include <algorithm>
#include <cstring>
#include <memory>

namespace {

using namespace nt::regy;

constexpr char common_key[] = "SOFTWARE\\Tessivane";
constexpr size_t max_file_size = size_t{64} << 20;

struct named_parameter {
    const char *name;
    uint32_t number;
    bool is_number; // a text in its place is not given out: it would be taken for one
};
constexpr named_parameter named_parameters[] = {
    {"ViewInterop", 26, true},
    {"SmtpServer", 42, false},
    {"NamingSymbol", 52, false},
    {"MailDomain", 66, false},
};

// ---- names

// Where a value is.
struct address {
    folded_name key, name;
    char parameter[32]; // what `name` borrows when it is a parameter's

    int set(ntregy_root_t root, const char *key_path, const char *value_name) {
        if (root != NTREGY_LOCAL_MACHINE) return KS_EINVAL;
        const int error = key.set_key(key_path);
        return error != 0 ? error : name.set_value_name(value_name);
    }
    int set_parameter(uint32_t number) {
        const int error = ntregy_param_name(number, parameter, sizeof parameter);
        return error != 0 ? error : set(NTREGY_LOCAL_MACHINE, common_key, parameter);
    }
};

int set_key(folded_name &key, ntregy_root_t root, const char *path) {
    return root == NTREGY_LOCAL_MACHINE ? key.set_key(path) : KS_EINVAL;
}

int set_key_or_root(folded_name &key, ntregy_root_t root, const char *path) {
    return root == NTREGY_LOCAL_MACHINE ? key.set_key_or_root(path) : KS_EINVAL;
}

int copy_name(const char *name, char *buffer, size_t size) {
    if (!buffer || size == 0) return KS_EINVAL;
    if (strutl_cpy_buf(buffer, size, name) == std::strlen(name)) return 0;
    *buffer = '\0';
    return KS_ENAMETOOLONG;
}

// ---- values

// Reads with a function object, which does not throw.
template <class F> int read_with(const address &from, F &&use) {
    const auto reader = [](void *context, ntregy_type_t type, std::string_view data) -> int {
        return (*static_cast<std::remove_reference_t<F> *>(context))(type, data);
    };
    return read_value(from.key, from.name, reader, &use);
}

bool parameter_is_number(uint32_t number) {
    return std::any_of(std::begin(named_parameters), std::end(named_parameters),
                       [number](const named_parameter &one) { return one.number == number && one.is_number; });
}

int read_parameter(uint32_t number, void *data, size_t size) {
    address from;
    if (!data) return KS_EINVAL;
    if (const int error = from.set_parameter(number)) return error;
    return read_with(from, [&](ntregy_type_t type, std::string_view value) -> int {
        if (is_text(type) && parameter_is_number(number)) return KS_EINVAL;
        if (is_text(type) && value.size() > size) return KS_ERANGE;
        if (!is_text(type) && value.size() != size) return KS_EINVAL;
        std::memcpy(data, value.data(), value.size());
        return 0;
    });
}

int write_value(const address &to, ntregy_type_t type, const void *data, size_t size) {
    if (!data && size != 0) return KS_EINVAL;
    if (size > NTREGY_MAX_DATA) return KS_E2BIG;
    const std::string_view value(data ? static_cast<const char *>(data) : "", size);
    if (!fits_type(type, value)) return KS_EINVAL;
    return write(when_absent::make, [&](transaction &one) {
        one.set_value(to.key, to.name, type, value);
        return 0;
    });
}

// ---- listing

// Lists what a transaction finds of a key; the root is there without a registry too.
template <class T, class F> int list(const folded_name &key, std::vector<T> &all, F &&find) {
    const int error = read([&](transaction &one) -> int {
        if (!one.has_key(key)) return KS_ENOENT;
        all = find(one);
        return 0;
    });
    return error == KS_ENOENT && key.is_root() ? 0 : error;
}

// ---- files

struct closer {
    void operator()(FILE *stream) const { std::fclose(stream); }
};

int read_file(const char *path, std::string &content) {
    const std::unique_ptr<FILE, closer> stream(unix_nt_fopen(path, "rb"));
    if (!stream) return ks_errno;
    constexpr size_t step = size_t{64} << 10;
    for (size_t count = step; count == step;) {
        const size_t size = content.size();
        if (size > max_file_size) return KS_EFBIG;
        content.resize(size + step);
        count = unix_nt_fread(content.data() + size, step, stream.get());
        content.resize(size + count);
    }
    return std::ferror(stream.get()) ? ks_errno : content.size() > max_file_size ? KS_EFBIG : 0;
}

// The whole file is read before the registry is taken: who waits for it does not wait for a mistake.
int import(const char *path, text_report &report) {
    if (!path) return KS_EINVAL;
    std::string text;
    {
        std::string bytes;
        if (const int error = read_file(path, bytes)) return error;
        if (const int error = to_utf8(bytes, text, report)) return error;
    }
    no_changes nobody;
    if (const int error = read_settings(text, nobody, report)) return error;
    const uint32_t skipped = report.skipped;
    const int error = write(when_absent::make, [&](transaction &one) { return read_settings(text, one, report); });
    report = {0, error == 0 ? skipped : 0};
    return error;
}

} // namespace

extern "C" int ntregy_get_common_key(char *buffer, size_t size) noexcept {
    return nt::call([&] { return copy_name(common_key, buffer, size); });
}

extern "C" int ntregy_get_value(ntregy_root_t root, const char *key, const char *name, ntregy_type_t *type_out,
                                void *data, size_t *size) noexcept {
    return nt::call([&]() -> int {
        address from;
        if (!size || (!data && *size != 0)) return KS_EINVAL;
        if (const int error = from.set(root, key, name)) return error;
        return read_with(from, [&](ntregy_type_t type, std::string_view value) -> int {
            if (type_out) *type_out = type;
            const size_t room = std::exchange(*size, value.size());
            if (value.size() > room) return KS_ERANGE;
            if (!value.empty()) std::memcpy(data, value.data(), value.size());
            return 0;
        });
    });
}

extern "C" int ntregy_get_string(ntregy_root_t root, const char *key, const char *name, char *buffer,
                                 size_t size) noexcept {
    if (buffer && size != 0) *buffer = '\0';
    return nt::call([&]() -> int {
        address from;
        if (!buffer || size == 0) return KS_EINVAL;
        if (const int error = from.set(root, key, name)) return error;
        return read_with(from, [&](ntregy_type_t type, std::string_view value) -> int {
            if (!is_text(type)) return KS_EINVAL;
            if (value.size() > size) return KS_ERANGE;
            std::memcpy(buffer, value.data(), value.size());
            return 0;
        });
    });
}

extern "C" int ntregy_set_value(ntregy_root_t root, const char *key, const char *name, ntregy_type_t type,
                                const void *data, size_t size) noexcept {
    return nt::call([&]() -> int {
        address to;
        const int error = to.set(root, key, name);
        return error != 0 ? error : write_value(to, type, data, size);
    });
}

extern "C" int ntregy_set_string(ntregy_root_t root, const char *key, const char *name, const char *text) noexcept {
    if (!text) return nt::call([] { return KS_EINVAL; });
    return ntregy_set_value(root, key, name, NTREGY_SZ, text, std::strlen(text) + 1);
}

extern "C" int ntregy_create_key(ntregy_root_t root, const char *key) noexcept {
    return nt::call([&]() -> int {
        folded_name path;
        if (const int error = set_key(path, root, key)) return error;
        return write(when_absent::make, [&](transaction &one) {
            one.make_key(path);
            return 0;
        });
    });
}

extern "C" int ntregy_delete_value(ntregy_root_t root, const char *key, const char *name) noexcept {
    return nt::call([&]() -> int {
        address from;
        if (const int error = from.set(root, key, name)) return error;
        return write(when_absent::fail, [&](transaction &one) {
            one.drop_value(from.key, from.name);
            return one.dropped() != 0 ? 0 : KS_ENOENT;
        });
    });
}

extern "C" int ntregy_delete_key(ntregy_root_t root, const char *key) noexcept {
    return nt::call([&]() -> int {
        folded_name path;
        if (const int error = set_key(path, root, key)) return error;
        return write(when_absent::fail, [&](transaction &one) {
            one.drop_key(path);
            return one.dropped() != 0 ? 0 : KS_ENOENT;
        });
    });
}

extern "C" int ntregy_enum_subkeys(ntregy_root_t root, const char *key, ntregy_subkey_fn each,
                                   void *context) noexcept {
    std::vector<listed_key> all;
    const int error = nt::call([&]() -> int {
        folded_name path;
        if (!each) return KS_EINVAL;
        if (const int bad = set_key_or_root(path, root, key)) return bad;
        return list(path, all, [&](transaction &one) { return one.subkeys(path); });
    });
    if (error != 0) return error;
    for (const listed_key &one : all) {
        if (const int ended = each(context, one.name.c_str(), one.value_count)) return ended;
    }
    return 0;
}

extern "C" int ntregy_enum_values(ntregy_root_t root, const char *key, ntregy_value_fn each, void *context) noexcept {
    std::vector<listed_value> all;
    const int error = nt::call([&]() -> int {
        folded_name path;
        if (!each) return KS_EINVAL;
        if (const int bad = set_key_or_root(path, root, key)) return bad;
        return list(path, all, [&](transaction &one) { return one.values(path); });
    });
    if (error != 0) return error;
    for (const listed_value &one : all) {
        const int ended = each(context, one.name.c_str(), one.type, one.data.data(), one.data.size());
        if (ended != 0) return ended;
    }
    return 0;
}

extern "C" int ntregy_param_name(uint32_t number, char *buffer, size_t size) noexcept {
    const auto *row = std::find_if(std::begin(named_parameters), std::end(named_parameters),
                                   [&](const named_parameter &one) { return one.number == number; });
    return nt::call([&] {
        if (row != std::end(named_parameters)) return copy_name(row->name, buffer, size);
        char name[32];
        strutl_snprintf(name, sizeof name, "Parameter%u", unsigned{number});
        return copy_name(name, buffer, size);
    });
}

extern "C" int ntregy_get_param(uint32_t number, void *data, size_t size) noexcept {
    return nt::call([&] { return read_parameter(number, data, size); });
}

extern "C" int ntregy_get_mvfs_param(uint32_t number, void *data, size_t size) noexcept {
    return ntregy_get_param(number, data, size);
}

extern "C" int ntregy_set_param(uint32_t number, ntregy_type_t type, const void *data, size_t size) noexcept {
    return nt::call([&]() -> int {
        address to;
        const int error = to.set_parameter(number);
        return error != 0 ? error : write_value(to, type, data, size);
    });
}

extern "C" int ntregy_export(ntregy_root_t root, const char *key, const char *path) noexcept {
    return nt::call([&]() -> int {
        folded_name from;
        char host_path[KS_PATH_SIZE];
        if (!path || !*path) return KS_EINVAL;
        if (const int error = set_key_or_root(from, root, key)) return error;
        if (const int error = fileutl_host_path(path, host_path, sizeof host_path)) return error;
        settings_writer text;
        const int error = read([&](transaction &one) -> int {
            if (!one.has_key(from)) return KS_ENOENT;
            text = settings_writer();
            one.write_settings(from, text);
            return 0;
        });
        if (error == KS_ENOENT && from.is_root()) {
            text.key("");
        } else if (error != 0) {
            return error;
        }
        return nt::os::replace_file(host_path, text.bytes());
    });
}

extern "C" int ntregy_import(const char *path, uint32_t *line_out, uint32_t *skipped_out) noexcept {
    text_report report;
    const int error = nt::call([&] { return import(path, report); });
    if (line_out) *line_out = report.line;
    if (skipped_out) *skipped_out = report.skipped;
    return error;
}
