// smtp_reply.hpp - replies of a mail server, read line by line from what a socket receives.
#ifndef TBS_INTERNAL_SMTP_REPLY_HPP
#define TBS_INTERNAL_SMTP_REPLY_HPP

#include "ks/ks_errno.h"
#include "report.hpp"

#include <cstring>
#include <initializer_list>
#include <string_view>

namespace tbs::smtp {

inline constexpr char module_name[] = "tbs_notify";

// Whether what is sent and received is traced.
bool is_tracing() noexcept;

template <uint32_t Index, class... A> void report(int severity, A... arguments) noexcept {
    say<notify_messages, Index>(severity, module_name, arguments...);
}

template <class... A> void trace(const char *format, A... arguments) noexcept {
    if (is_tracing()) imsg_print_shared(IMSG_TRACE, module_name, format, IMSG_LITERAL, arguments...);
}

// Reads replies. `Receive` is called as int(char *buffer, size_t size, bool inside_line, size_t &received) and gives 0,
// received 0 at the end, or an error number: KS_ETIMEDOUT when nothing came. Inside a line it is to wait but a moment.
template <class Receive> class reply_reader {
public:
    static constexpr size_t buffer_size = 2048;

    explicit reply_reader(Receive receive) : receive_(receive) {}
    reply_reader(const reply_reader &) = delete;
    reply_reader &operator=(const reply_reader &) = delete;

    // Reads one reply, of any number of lines, and tells whether its code is one of those wanted. Reports why not.
    [[nodiscard]] bool read(std::initializer_list<const char *> wanted) noexcept {
        char code[code_size + 1] = "";
        do {
            if (!read_line()) return false;
            trace("SMTP Rcvd: %s\r\n", line_);
            if (length_ <= code_size) return refuse_line();
            if (!*code) std::memcpy(code, line_, code_size);
            if (std::memcmp(code, line_, code_size) != 0) return refuse_other_code(code);
        } while (line_[code_size] == '-');
        for (const char *const one : wanted) {
            if (std::strcmp(one, code) == 0) return true;
            trace("Resp status: want \"%s\" have \"%s\".\n", one, code);
        }
        report<6>(IMSG_ERROR, line_);
        return false;
    }

    // Whether nothing more can be received.
    [[nodiscard]] bool is_broken() const { return broken_; }

private:
    static constexpr size_t code_size = 3;

    // What stands behind a reply that is none would be taken for the next one.
    void drop_rest() { begin_ = end_; }

    bool refuse_line() {
        report<6>(IMSG_ERROR, line_);
        drop_rest();
        return false;
    }

    bool refuse_other_code(const char *code) {
        line_[code_size] = '\0';
        report<19>(IMSG_ERROR, code, line_);
        drop_rest();
        return false;
    }

    // Receives behind what is there. Gives false at the end, too.
    bool receive_more(int &error) {
        if (begin_ != 0) std::memmove(buffer_, buffer_ + begin_, end_ - begin_);
        end_ -= begin_;
        begin_ = 0;
        size_t received = 0;
        error = receive_(buffer_ + end_, buffer_size - end_, end_ != 0, received);
        if (error == 0 && received == 0) error = KS_ECONNRESET;
        if (error != 0) return false;
        end_ += received;
        return true;
    }

    // Takes the first `length` bytes for the line; `end_size` bytes behind them end it.
    bool take_line(size_t length, size_t end_size) {
        line_ = buffer_ + begin_;
        length_ = length;
        begin_ += length + end_size;
        line_[length] = '\0'; // over the first byte of its end, or behind the buffer's last
        return true;
    }

    // The end of a line may come later than the line, and the LF of a CR LF later than the CR.
    void skip_late_end() {
        for (; *late_end_ && begin_ != end_; late_end_++) {
            if (buffer_[begin_] == *late_end_) begin_++;
        }
    }

    // Finds the next line. One that the server does not end is what has come of it, and what comes later is the next
    // line; of one that is longer than the buffer, its beginning.
    bool read_line() {
        for (size_t searched = 0;;) {
            skip_late_end();
            const std::string_view data(buffer_ + begin_, end_ - begin_);
            const size_t length = data.find_first_of("\r\n", searched);
            if (length != data.npos) {
                late_end_ = data[length] == '\r' ? "\n" : "";
                if (!inside_long_line_) return take_line(length, 1);
                inside_long_line_ = false;
                begin_ += length + 1;
                searched = 0;
                continue;
            }
            searched = data.size();
            if (inside_long_line_ || data.size() == buffer_size) {
                if (!inside_long_line_) {
                    inside_long_line_ = true;
                    return take_line(buffer_size, 0);
                }
                drop_rest();
                searched = 0;
            }
            int error = 0;
            if (receive_more(error)) continue;
            broken_ = !(error == KS_ETIMEDOUT && begin_ != end_);
            if (begin_ != end_ && (error == KS_ECONNRESET || error == KS_ETIMEDOUT)) {
                late_end_ = "\r\n";
                return take_line(end_ - begin_, 0);
            }
            report<5>(IMSG_ERROR, imsg_strerror(error));
            return false;
        }
    }

    Receive receive_;
    char *line_ = buffer_;
    size_t length_ = 0;
    size_t begin_ = 0, end_ = 0;    // what was received and not read
    const char *late_end_ = "";     // what may still come of the end of the line before
    bool inside_long_line_ = false; // its beginning was read, the rest is not wanted
    bool broken_ = false;
    char buffer_[buffer_size + 1];
};

} // namespace tbs::smtp

#endif
