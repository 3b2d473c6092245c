#include "byte_file.hpp"

#include "ks/ks_errno.h"
#include "ks/ks_imsg.h"
#include "nt/nt_file.h"
#include "tool.hpp"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <system_error>
#include <unistd.h>

namespace tool {
namespace {

namespace fs = std::filesystem;

constexpr size_t max_file = 256 * 1024 * 1024;

struct close_file {
    void operator()(FILE *stream) const { std::fclose(stream); }
};
using owned_stream = std::unique_ptr<FILE, close_file>;

[[noreturn]] void cannot_read(const std::string &path, const char *what, int error) {
    throw failure(path, 0, std::string("the file cannot be ") + what + ": " + imsg_strerror(error),
                  "Name a file that you may read, or - for standard input.");
}

bytes read_stream(const std::string &path, FILE *stream) {
    bytes content;
    uint8_t block[65536];
    while (const size_t got = unix_nt_fread(block, sizeof block, stream)) {
        content.insert(content.end(), block, block + got);
        if (content.size() > max_file) {
            throw failure(path, 0, "the file is larger than 256 MiB", "Name the right file.");
        }
    }
    if (std::ferror(stream)) cannot_read(path, "read", ks_errno);
    return content;
}

} // namespace

bytes read_bytes(const std::string &path) {
    if (path == "-") return read_stream("(standard input)", stdin);
    const owned_stream stream(unix_nt_fopen(path.c_str(), "rb"));
    if (!stream) cannot_read(path, "opened", ks_errno);
    return read_stream(path, stream.get());
}

bool output_is_terminal() { return isatty(fileno(stdout)) == 1; }

scratch_file::scratch_file(std::string_view content) {
    std::error_code error;
    path_ = (fs::temp_directory_path(error) / "tbs-XXXXXX").string();
    const int descriptor = mkstemp(path_.data());
    const owned_stream stream(descriptor < 0 ? nullptr : fdopen(descriptor, "wb"));
    if (stream && std::fwrite(content.data(), 1, content.size(), stream.get()) == content.size() &&
        std::fflush(stream.get()) == 0) {
        return;
    }
    const int reason = ks_errno_from_host(errno);
    if (descriptor >= 0) std::remove(path_.c_str());
    throw failure(path_, 0, std::string("the file cannot be written: ") + imsg_strerror(reason),
                  "Set TMPDIR to a directory that you may write to, with room on the disk.");
}

scratch_file::~scratch_file() { std::remove(path_.c_str()); }

} // namespace tool
