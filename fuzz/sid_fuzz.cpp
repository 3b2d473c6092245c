// Texts and records of SIDs, account names, exported names: whatever is read is written back the same.
#include "ks/ks_cred.h"
#include "ks/ks_errno.h"
#include "lib/ks/internal/ks_client_os.hpp"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

void require(bool holds) {
    if (!holds) {
        std::abort();
    }
}

void check_text(const std::string &text) {
    credutl_sid_t sid;
    if (credutl_str_to_sid(text.c_str(), &sid) == 0) {
        char back[CREDUTL_SID_STR_SIZE];
        require(credutl_sid_to_str(&sid, back, sizeof back) == 0);
        require(std::strcmp(back, text.c_str()) == 0);
    }
}

void check_record(const uint8_t *data, size_t size) {
    credutl_sid_t sid{};
    std::memcpy(&sid, data, std::min(size, sizeof sid));
    char text[CREDUTL_SID_STR_SIZE];
    credutl_sid_hash(&sid);
    if (credutl_sid_to_str(&sid, text, sizeof text) == 0) {
        credutl_sid_t back;
        require(credutl_str_to_sid(text, &back) == 0);
        require(credutl_sid_eq(&sid, &back) == 1);
    }
}

void check_name(const std::string &text) {
    char domain[64];
    char name[64];
    if (credutl_crack_fq_name(text.c_str(), domain, sizeof domain, name, sizeof name) == 0) {
        const size_t length = std::strlen(text.c_str());
        const size_t parts = std::strlen(domain) + std::strlen(name);
        require(parts == length || parts + 1 == length);
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string text(reinterpret_cast<const char *>(data), size);
    check_text(text);
    check_record(data, size);
    check_name(text);
    std::string principal;
    if (ks::os::principal_of_exported_name({data, size}, principal)) {
        require(!principal.empty() && principal.find_first_of(std::string("\\/\0", 3)) == std::string::npos);
    }
    return 0;
}
