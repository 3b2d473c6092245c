// acl_text.hpp - the text files of ACLs and role maps: lines read in bounded pieces, names written on one line.
#ifndef TBS_INTERNAL_ACL_TEXT_HPP
#define TBS_INTERNAL_ACL_TEXT_HPP

#include "acl.hpp"
#include "ks/ks_errno.h"
#include "ks/ks_str.h"
#include "mutex_hold.hpp"
#include "nt/nt_file.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

namespace tbs::acl {

inline void close_stream(FILE **stream) { std::fclose(*stream); }
using owned_stream = owned<FILE *, close_stream>;

// A line, or a piece of a line that is longer than the buffer.
struct text_line {
    char text[TBS_ACL_TEXT_SIZE];
    size_t length = 0;
    int number = 0;

    // A NUL inside would hide the rest of the line from whoever reads it as a text.
    [[nodiscard]] bool is_text() const { return std::memchr(text, '\0', length) == nullptr; }
};

class line_reader {
public:
    explicit line_reader(FILE *stream) : stream_(stream) {}

    // Reads the next line with its newline; false at the end of the file or on an error.
    bool next(text_line &line) {
        line.length = 0;
        line.number++;
        while (line.length < sizeof line.text - 1 && (begin_ != end_ || fill())) {
            const size_t room = std::min(sizeof line.text - 1 - line.length, end_ - begin_);
            const char *from = block_ + begin_;
            const char *newline = static_cast<const char *>(std::memchr(from, '\n', room));
            const size_t taken = newline ? static_cast<size_t>(newline - from) + 1 : room;
            std::memcpy(line.text + line.length, from, taken);
            line.length += taken;
            begin_ += taken;
            if (newline) break;
        }
        line.text[line.length] = '\0';
        return line.length > 0;
    }
    // Error number of a failed read, 0 at the end of the file.
    [[nodiscard]] int failure() const { return failure_; }

private:
    bool fill() {
        begin_ = 0;
        end_ = unix_nt_fread(block_, sizeof block_, stream_);
        if (end_ == 0 && std::ferror(stream_)) failure_ = ks_errno;
        return end_ > 0;
    }
    FILE *stream_;
    int failure_ = 0;
    size_t begin_ = 0, end_ = 0;
    char block_[8192];
};

// What is said of a file that cannot be opened, or read; the status that goes with it.
inline tbs_status_t open_failed(const char *path) {
    const int failure = ks_errno;
    common_error<18>(path, imsg_strerror(failure));
    return tbs_errno2status(failure);
}
inline tbs_status_t read_failed(const char *path, int failure) {
    common_error<20>(path, imsg_strerror(failure));
    return tbs_errno2status(failure);
}

// A text that holds line ends, which no valid identity does, would forge entries: it is shown as messages show it.
inline const char *on_one_line(const char *text, char (&visible)[4 * TBS_ACL_TEXT_SIZE]) {
    if (!std::strpbrk(text, "\n\v\f\r")) return text;
    strutl_visible(visible, sizeof visible, text);
    return visible;
}

// Held for a whole listing, so that those of two threads do not mix.
extern tvthread_mutex_t print_lock;

} // namespace tbs::acl

#endif
