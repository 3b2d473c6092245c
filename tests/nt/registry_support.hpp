// registry_support.hpp - a registry of its own for a test.
#ifndef TESTS_NT_REGISTRY_SUPPORT_HPP
#define TESTS_NT_REGISTRY_SUPPORT_HPP

#include "ks/ks_errno.h"
#include "nt/nt_regy.h"
#include "support/env.hpp"
#include "support/temp_dir.hpp"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace registry_test {

using namespace std::string_literals;
using namespace std::string_view_literals;

constexpr ntregy_root_t hklm = NTREGY_LOCAL_MACHINE;

// The process's registry while it lives.
struct registry {
    temp_dir dir;
    scoped_env variable{"ORSIK_HOSTDATA_DIR", dir.str()};

    std::string file() const { return dir / "registry.db"; }
    bool exists() const { return std::filesystem::exists(file()); }
};

struct value {
    ntregy_type_t type = 0;
    std::string data;
    bool operator==(const value &) const = default;
};

inline int set(const std::string &key, const std::string &name, ntregy_type_t type, std::string_view data) {
    return ntregy_set_value(hklm, key.c_str(), name.c_str(), type, data.data(), data.size());
}

// Nothing when it cannot be read.
inline std::optional<value> get(const std::string &key, const std::string &name) {
    size_t size = 0;
    value one;
    const int error = ntregy_get_value(hklm, key.c_str(), name.c_str(), &one.type, nullptr, &size);
    if (error == 0) return one;
    if (error != KS_ERANGE) return std::nullopt;
    one.data.resize(size);
    if (ntregy_get_value(hklm, key.c_str(), name.c_str(), &one.type, one.data.data(), &size) != 0)
        return std::nullopt;
    return one;
}

inline std::string text_of(const std::string &key, const std::string &name) {
    char text[4096];
    const int error = ntregy_get_string(hklm, key.c_str(), name.c_str(), text, sizeof text);
    return error == 0 ? text : "error " + std::to_string(error);
}

template <class T> std::string bytes_of(T number) { return {reinterpret_cast<const char *>(&number), sizeof number}; }

// Names and counts as "name:2".
inline std::vector<std::string> subkeys(const std::string &key, int *error = nullptr) {
    std::vector<std::string> all;
    const auto each = [](void *to, const char *name, size_t count) {
        static_cast<std::vector<std::string> *>(to)->push_back(name + (':' + std::to_string(count)));
        return 0;
    };
    const int result = ntregy_enum_subkeys(hklm, key.c_str(), each, &all);
    if (error) *error = result;
    return all;
}

struct named_value {
    std::string name;
    value is;
    bool operator==(const named_value &) const = default;
};

inline std::vector<named_value> values(const std::string &key, int *error = nullptr) {
    std::vector<named_value> all;
    const auto each = [](void *to, const char *name, ntregy_type_t type, const void *data, size_t size) {
        static_cast<std::vector<named_value> *>(to)->push_back(
            {name, {type, std::string(static_cast<const char *>(data), size)}});
        return 0;
    };
    const int result = ntregy_enum_values(hklm, key.c_str(), each, &all);
    if (error) *error = result;
    return all;
}

inline std::vector<std::string> names(const std::vector<named_value> &all) {
    std::vector<std::string> only;
    for (const named_value &one : all) only.push_back(one.name);
    return only;
}

} // namespace registry_test

#endif
