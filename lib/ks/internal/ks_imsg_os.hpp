// ks_imsg_os.hpp - what a system must supply for messages, logs and catalogues.
//
// Nothing here throws. Failures are error numbers of the common space.
#ifndef KS_INTERNAL_KS_IMSG_OS_HPP
#define KS_INTERNAL_KS_IMSG_OS_HPP

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <string_view>

namespace ks::os {

// The text of one of the host's error numbers, whatever the locale: constant; null for a number without text.
const char *error_text(int host_error) noexcept;

// The program's name without directories. Never null, valid for the life of the process.
const char *program_name() noexcept;

uint64_t process_id() noexcept;
uint64_t thread_id() noexcept;

bool is_terminal(std::FILE *stream) noexcept;

// ---- logs

using log_file = intptr_t;

// Opens a file for appending at a host path, and makes it when it is missing (readable by owner and group), its
// directory too. Never through a symbolic link, only a regular file, closed on exec; never waits.
[[nodiscard]] int open_log(const char *host_path, log_file &file) noexcept;

// Appends bytes with one write, going on where the system took only a part.
[[nodiscard]] bool append_to_log(log_file file, std::string_view bytes) noexcept;

// Closes the file; with `durable` its content has reached the disk before.
void close_log(log_file file, bool durable) noexcept;

// Hands an error to the system's event service. The text is terminated.
void report_event(const char *text) noexcept;

// ---- catalogues

// A message catalogue by name, for the locale of now. A null name opens none.
class catalogue {
public:
    explicit catalogue(const char *name) noexcept;
    ~catalogue();
    catalogue(const catalogue &) = delete;
    catalogue &operator=(const catalogue &) = delete;

    [[nodiscard]] bool is_open() const noexcept { return handle_ != nullptr; }
    // A message's text, valid as long as the catalogue; null when it is not in it. Only when it is open.
    [[nodiscard]] const char *text(uint16_t set, uint16_t number) const noexcept;

private:
    void *handle_;
};

} // namespace ks::os

#endif
