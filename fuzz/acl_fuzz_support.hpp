// acl_fuzz_support.hpp - the surroundings of the ACL fuzz functions: accounts that are known, messages that are judged.
#ifndef FUZZ_ACL_FUZZ_SUPPORT_HPP
#define FUZZ_ACL_FUZZ_SUPPORT_HPP

#include "ks/ks_cred.h"
#include "ks/ks_imsg.h"
#include "tbs/tbs_acl.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <string_view>
#include <sys/mman.h>
#include <unistd.h>

namespace acl_fuzz {

// Ends the process: the fuzzer keeps the input.
inline void demand(bool holds, const char *what) {
    if (holds) return;
    std::fprintf(stderr, "violated: %s\n", what);
    std::abort();
}

// No message may hold a control character that came from an argument; those of the formats are line ends.
inline void judge(void *, int, const char *, const imsg_table_t *, uint32_t, const char *text) noexcept {
    for (; *text; text++) {
        const auto byte = static_cast<unsigned char>(*text);
        demand((byte >= 0x20 && byte != 0x7F) || byte == '\n' || byte == '\t', "messages hold no control characters");
    }
}

inline std::string make_accounts() {
    char path[] = "/tmp/tbs_acl_fuzz_XXXXXX";
    const int file = mkstemp(path);
    static constexpr std::string_view text = "CORP\\fred user S-1-5-21-1-2-3-1001\n"
                                             "CORP\\two words user S-1-5-21-1-2-3-1002\n"
                                             "CORP\\staff group S-1-5-21-1-2-3-2001\n";
    demand(file >= 0 && write(file, text.data(), text.size()) == static_cast<ssize_t>(text.size()), "accounts file");
    close(file);
    return path;
}

// The file lives as long as the process: the library may look at it again.
class surroundings {
public:
    surroundings() {
        setenv("ORSIK_ACCOUNTS", accounts_.c_str(), 1);
        credutl_flush_accounts();
        imsg_set_sink(judge, nullptr);
    }
    ~surroundings() {
        imsg_set_sink(nullptr, nullptr);
        unlink(accounts_.c_str());
    }
    surroundings(const surroundings &) = delete;
    surroundings &operator=(const surroundings &) = delete;

private:
    std::string accounts_ = make_accounts();
};

inline void prepare() { static const surroundings once; }

inline constexpr tbs_acl_perm_name_t names[] = {
    {"List", 0x01}, {"Modify", 0x02}, {"Create", 0x04}, {"Run", 0x08}, {"Mount", 0x10}};
inline constexpr size_t name_count = sizeof names / sizeof *names;
inline constexpr tbs_acl_generic_map_t map{0x00020001, 0x00030007, 0x00000008, 0x0007001F};

// A file in memory, and the path that opens it anew.
class memory_file {
public:
    memory_file() : file_(memfd_create("acl", 0)) { demand(file_ >= 0, "a file in memory"); }
    ~memory_file() { close(file_); }
    memory_file(const memory_file &) = delete;
    memory_file &operator=(const memory_file &) = delete;

    void hold(const void *data, size_t size) const {
        demand(ftruncate(file_, 0) == 0 && pwrite(file_, data, size, 0) == static_cast<ssize_t>(size),
               "file written");
    }
    [[nodiscard]] std::string path() const { return "/proc/self/fd/" + std::to_string(file_); }

private:
    int file_;
};

} // namespace acl_fuzz

#endif
