#include "common/container_file.hpp"

#include "common/failure.hpp"
#include "common/interrupts.hpp"
#include "ks/ks_errno.h"
#include "ks/ks_file.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdio>
#include <fcntl.h>
#include <memory>
#include <sys/stat.h>
#include <unistd.h>

namespace mgrs {
namespace {

constexpr char standard_input[] = "/dev/stdin";
constexpr int safely = O_NOFOLLOW | O_CLOEXEC | O_NOCTTY | O_NONBLOCK; // no waiting for the writer of a fifo

std::string host_path(const std::string &path) {
    char buffer[PATH_MAX];
    if (const int error = fileutl_host_path(path.c_str(), buffer, sizeof buffer)) {
        throw failure(message::cannot_open, path, imsg_strerror(error), "Name the file by a shorter path.");
    }
    return buffer;
}

// Repeats a call that a signal ended early, unless the signal asks for the end.
template <class Call> ssize_t uninterrupted(Call call) {
    ssize_t result;
    do {
        check_interrupts();
        result = call();
    } while (result < 0 && errno == EINTR);
    return result;
}

descriptor open_contents(const std::string &path) {
    if (path == standard_input) return descriptor(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, STDERR_FILENO + 1));
    return descriptor(open(host_path(path).c_str(), O_RDONLY | safely));
}

void write_all(int file, bytes data, const std::string &path) {
    while (!data.empty()) {
        const ssize_t written = uninterrupted([&] { return ::write(file, data.data(), data.size()); });
        if (written < 0) {
            throw failure(message::cannot_write, path, errno,
                          "Nothing is left behind. Look for a full disk or a limit on file sizes, and try again.");
        }
        data = data.subspan(static_cast<size_t>(written));
    }
}

mode_t read_only(mode_t mode) {
    const mode_t mask = umask(0);
    umask(mask);
    return (mode & 0555 & ~mask) | S_IRUSR;
}

} // namespace

descriptor::~descriptor() {
    if (number_ >= 0) close(number_);
}

// ---- place

place::place(const std::string &path) : path_(path) {
    const std::string host = host_path(path);
    const size_t name = host.rfind('/') + 1; // 0 without a separator
    name_ = host.substr(name);
    const std::string directory = name == 0 ? "." : host.substr(0, name);
    directory_ = descriptor(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!directory_) {
        throw failure(message::cannot_open, path, errno, "Its directory must be there and open to this account.");
    }
    if (name_.empty()) throw failure(message::cannot_open, path, EISDIR, "Name a file.");
}

descriptor place::make_temporary(std::string &name) const {
    for (unsigned attempt = 0;; attempt++) {
        name = ".mgr-" + std::to_string(getpid()) + '-' + std::to_string(attempt);
        descriptor file(openat(directory(), name.c_str(), O_RDWR | O_CREAT | O_EXCL | safely, S_IRUSR | S_IWUSR));
        if (file) return file;
        if (errno != EEXIST) {
            throw failure(message::cannot_create, path_, errno,
                          "This account must be able to write to its directory.");
        }
    }
}

// ---- input_file

input_file::input_file(std::string path, descriptor file, uint64_t end)
    : path_(std::move(path)), file_(std::move(file)), end_(end) {
    struct stat status;
    if (!file_ || fstat(file_.get(), &status) != 0) {
        throw failure(message::cannot_open, path_, errno, "Name a regular file that this account may read.");
    }
    mode_ = S_ISREG(status.st_mode) ? status.st_mode : 0666;
    if (!S_ISREG(status.st_mode)) return;
    const off_t begin = std::max<off_t>(lseek(file_.get(), 0, SEEK_CUR), 0); // standard input may have been read from
    size_ = static_cast<uint64_t>(std::max<off_t>(status.st_size - begin, 0));
    if (*size_ >= end_) throw failure(message::too_large, path_, "", "Use the operation create_version64.");
}

void input_file::must_be_regular() const {
    if (size_) return;
    throw failure(message::cannot_open, path_, "it is no regular file",
                  "Name a regular file; contents may come through a pipe as /dev/stdin.");
}

input_file input_file::empty() {
    constexpr char path[] = "/dev/null";
    input_file file(path, descriptor(open(path, O_RDONLY | safely)), no_limit);
    file.size_ = 0;
    return file;
}

input_file input_file::container(const std::string &path) {
    input_file file(path, descriptor(open(host_path(path).c_str(), O_RDONLY | safely)), no_limit);
    file.must_be_regular();
    return file;
}

input_file input_file::contents(const std::string &path, uint64_t end) {
    input_file file(path, open_contents(path), end);
    if (path != standard_input) file.must_be_regular();
    return file;
}

void input_file::count(size_t got) {
    position_ += got;
    if (position_ >= end_) throw failure(message::too_large, path_, "", "Use the operation create_version64.");
    if (size_ && (got == 0 ? position_ != *size_ : position_ > *size_)) {
        throw failure(message::cannot_read, path_, "its size changed while it was read",
                      "Try again when nobody writes to it.");
    }
}

size_t input_file::read(std::span<std::byte> block) {
    size_t filled = 0;
    while (filled < block.size()) {
        std::byte *const free = block.data() + filled;
        const ssize_t got = uninterrupted([&] { return ::read(file_.get(), free, block.size() - filled); });
        if (got < 0)
            throw failure(message::cannot_read, path_, errno, "Look for a fault of the disk or of the pipe.");
        count(static_cast<size_t>(got));
        if (got == 0) break;
        filled += static_cast<size_t>(got);
    }
    if (copy_) copy_->write(block.first(filled));
    return filled;
}

void input_file::read_all(const sink &deliver) {
    const auto block = std::make_unique<std::byte[]>(block_size);
    while (const size_t got = read({block.get(), block_size})) deliver({block.get(), got});
}

input_file input_file::with_size(const place &place) && {
    if (size_) return std::move(*this);
    std::string name;
    descriptor copy = place.make_temporary(name);
    unlinkat(place.directory(), name.c_str(), 0);
    read_all([&](bytes block) { write_all(copy.get(), block, place.path()); });
    lseek(copy.get(), 0, SEEK_SET);
    input_file contents(path_, std::move(copy), end_);
    contents.mode_ = mode_;
    return contents;
}

// ---- output_file

output_file::output_file(const std::string &path) : place_(path) {
    struct stat taken;
    if (fstatat(place_.directory(), place_.name(), &taken, AT_SYMLINK_NOFOLLOW) == 0) refuse(EEXIST);
    file_ = place_.make_temporary(temporary_);
}

output_file::~output_file() {
    if (!temporary_.empty()) unlinkat(place_.directory(), temporary_.c_str(), 0);
}

void output_file::refuse(int host_error) const {
    throw failure(message::cannot_create, place_.path(), host_error,
                  host_error == EEXIST
                      ? "Nothing is ever overwritten: name a file that is not there."
                      : "Nothing is left behind. Its directory must take new files and links to them.");
}

void output_file::write(bytes data) { write_all(file_.get(), data, place_.path()); }

void output_file::publish(mode_t mode) {
    check_interrupts();
    if (fchmod(file_.get(), read_only(mode)) != 0 || fsync(file_.get()) != 0) refuse(errno);
    // Unlike a renaming, a second link never takes the place of a file that came meanwhile.
    if (linkat(place_.directory(), temporary_.c_str(), place_.directory(), place_.name(), 0) != 0) refuse(errno);
    unlinkat(place_.directory(), temporary_.c_str(), 0);
    temporary_.clear();
    if (fsync(place_.directory()) != 0) {
        const int error = errno;
        unlinkat(place_.directory(), place_.name(), 0);
        refuse(error);
    }
}

void remove_container(const std::string &path) {
    constexpr char remedy[] = "Name a container in a directory that this account may write to.";
    const place place(path);
    struct stat status;
    if (fstatat(place.directory(), place.name(), &status, AT_SYMLINK_NOFOLLOW) != 0) {
        throw failure(message::cannot_remove, path, errno, remedy);
    }
    if (!S_ISREG(status.st_mode)) throw failure(message::cannot_remove, path, "it is no regular file", remedy);
    if (unlinkat(place.directory(), place.name(), 0) != 0 || fsync(place.directory()) != 0) {
        throw failure(message::cannot_remove, path, errno, remedy);
    }
}

} // namespace mgrs
