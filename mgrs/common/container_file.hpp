// container_file.hpp - the files of a version store: read once from the beginning, written as a whole or not at all.
//
// Pathnames are product paths. The last part of one is never followed when it is a symbolic link. Everything here
// throws failure, and interrupted when a signal asked for the end.
#ifndef MGRS_COMMON_CONTAINER_FILE_HPP
#define MGRS_COMMON_CONTAINER_FILE_HPP

#include <cstddef>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <span>
#include <string>
#include <sys/types.h>
#include <utility>

namespace mgrs {

using bytes = std::span<const std::byte>;
using sink = std::function<void(bytes)>;

// How much is read and written at once.
inline constexpr size_t block_size = 128 * 1024;

// Contents of this many bytes and more are for create_version64 only.
inline constexpr uint64_t large_contents = uint64_t{1} << 31;
inline constexpr uint64_t no_limit = std::numeric_limits<uint64_t>::max();

// Owns an open file of the host.
class descriptor {
public:
    explicit descriptor(int number = -1) noexcept : number_(number) {}
    descriptor(descriptor &&other) noexcept : number_(std::exchange(other.number_, -1)) {}
    descriptor &operator=(descriptor &&other) noexcept {
        std::swap(number_, other.number_);
        return *this;
    }
    ~descriptor();

    [[nodiscard]] int get() const noexcept { return number_; }
    explicit operator bool() const noexcept { return number_ >= 0; }

private:
    int number_;
};

// A directory and the name of a file in it.
class place {
public:
    explicit place(const std::string &path);

    [[nodiscard]] int directory() const noexcept { return directory_.get(); }
    [[nodiscard]] const char *name() const noexcept { return name_.c_str(); }
    [[nodiscard]] const std::string &path() const noexcept { return path_; }
    // Makes an empty file beside the named one, open for reading and writing; gives its name.
    [[nodiscard]] descriptor make_temporary(std::string &name) const;

private:
    std::string path_, name_;
    descriptor directory_;
};

class output_file;

// A file that is read.
class input_file {
public:
    // Contents of no bytes.
    static input_file empty();
    // A container: a regular file.
    static input_file container(const std::string &path);
    // What becomes a container: a regular file, or "/dev/stdin". With `end` bytes or more it is too large.
    static input_file contents(const std::string &path, uint64_t end);

    // Whatever is read from here on is written to `copy` too.
    void tee(output_file &copy) noexcept { copy_ = &copy; }

    // Fills the block; fewer bytes come only at the end. A file whose size changes meanwhile is a failure.
    [[nodiscard]] size_t read(std::span<std::byte> block);
    // Hands all that is left to `deliver`, block by block.
    void read_all(const sink &deliver);

    [[nodiscard]] const std::string &path() const noexcept { return path_; }
    [[nodiscard]] mode_t mode() const noexcept { return mode_; }
    // Bytes from the beginning to the end; only contents that come through a pipe may have no size, see with_size().
    [[nodiscard]] std::optional<uint64_t> size() const noexcept { return size_; }

    // Gives contents that have a size: these, or a copy in an unnamed file at `place`.
    [[nodiscard]] input_file with_size(const place &place) &&;

private:
    input_file(std::string path, descriptor file, uint64_t end);
    void must_be_regular() const;
    void count(size_t got);

    std::string path_;
    descriptor file_;
    uint64_t position_ = 0, end_;
    std::optional<uint64_t> size_;
    mode_t mode_ = 0;
    output_file *copy_ = nullptr;
};

// A new file. It gets its name when it is whole and on the disk; one that is never published leaves nothing behind.
class output_file {
public:
    // Refuses a name that is taken.
    explicit output_file(const std::string &path);
    ~output_file();
    output_file(const output_file &) = delete;
    output_file &operator=(const output_file &) = delete;

    void write(bytes data);
    // Names the file. Nobody may write to it: of `mode` the bits to read and execute count, less the umask.
    void publish(mode_t mode);

    [[nodiscard]] const place &where() const noexcept { return place_; }

private:
    [[noreturn]] void refuse(int host_error) const;

    place place_;
    std::string temporary_;
    descriptor file_;
};

// Removes a container; comes back when the removal is on the disk.
void remove_container(const std::string &path);

} // namespace mgrs

#endif
