// failure.hpp - why an operation is not done, in the words of the library's messages.
#ifndef MGRS_COMMON_FAILURE_HPP
#define MGRS_COMMON_FAILURE_HPP

#include "ks/ks_imsg.h"

#include <cstdint>
#include <string>

namespace mgrs {

// Exit statuses: the only three.
enum { exit_done = 0, exit_failed = 1, exit_usage = 2 };

// Common messages by their index; the first five take a file and a reason, the others what their comment says.
enum class message : uint32_t {
    cannot_open = 18,
    cannot_read = 20,
    cannot_write = 21,
    cannot_remove = 23,
    cannot_create = 93,
    bad_syntax = 112,        // what is wrong
    unknown_operation = 113, // its name
    indirect_only = 114,     // nothing
    too_large = 140,         // the file
};

// Ends an operation. The remedy is a sentence for the user.
class failure {
public:
    failure(message what, std::string subject, std::string reason, std::string remedy);
    failure(message what, std::string subject, int host_error, std::string remedy);

    void report(const char *manager) const;
    [[nodiscard]] int exit_status() const;

private:
    message what_;
    std::string subject_, reason_, remedy_;
};

// The command line names no operation of a type manager.
struct no_operation {
    std::string program;

    void report(const char *manager) const;
};

} // namespace mgrs

#endif
