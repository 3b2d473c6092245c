// nt_os.hpp - what a system must supply for files and for the registry.
#ifndef NT_INTERNAL_NT_OS_HPP
#define NT_INTERNAL_NT_OS_HPP

#include <cstdint>
#include <cstdio>
#include <string_view>

namespace nt::os {

// A mode of fopen, taken apart.
struct open_mode {
    char kind;      // 'r', 'w' or 'a'
    bool update;    // "+": reading and writing
    bool exclusive; // "x": the file must not exist; only with 'w'
};

// Opens a file by host path, close-on-exec, without making it the controlling terminal. Refuses a directory.
// Gives null, and the error in the common space through `error`.
FILE *open_stream(const char *path, open_mode mode, int &error) noexcept;

// The host's last error of the calling thread, in the common space; 0 when there was none since clear_error().
void clear_error() noexcept;
int last_error() noexcept;

// ---- the registry's file, by host path

// What tells one file of the host from all others, as long as it exists.
struct file_identity {
    uint64_t device, file;
    bool operator==(const file_identity &) const = default;
};

struct file_facts {
    file_identity identity;
    uint64_t size;           // in bytes
    bool regular;            // a file of bytes; a link to one is none
    bool writable_by_others; // than its owner
};

// 0, KS_ENOENT, KS_EACCES, KS_ENOMEM or KS_EIO.
int look_at(const char *path, file_facts &facts) noexcept;

// Holds a file, so that its identity belongs to no other meanwhile, without a lock on it or on its bytes: letting go
// gives up no lock that the process has on it.
class held_file {
public:
    held_file() = default;
    ~held_file();
    held_file(const held_file &) = delete;
    held_file &operator=(const held_file &) = delete;

    // As look_at(), of the held file itself. Called once.
    int hold(const char *path, file_facts &facts) noexcept;

private:
    std::intptr_t handle_ = -1;
};

// Tells whether others than its owner may make files in the directory of a file.
bool others_may_fill_directory_of(const char *path) noexcept;

// Makes an empty file that its owner may write and all may read, whatever the umask, and the directories on the way.
// 0, also when it is there; KS_EACCES, KS_ENOSPC, KS_ENOMEM or KS_EIO.
int make_readable_file(const char *path) noexcept;

// What an error number of the system, as the data base gives it, means: KS_EACCES, KS_ENOSPC, KS_ENOMEM or KS_EIO.
int data_base_error(int system_error) noexcept;

// Replaces a file as a whole, on the disk when it returns. 0, or the error in the common space: then it is as it was.
int replace_file(const char *path, std::string_view content) noexcept;

// Has functions called around each fork of the process, for the life of the library. Tells whether that worked.
bool around_fork(void (*before)(), void (*behind)()) noexcept;

} // namespace nt::os

#endif
