#include "text_file.hpp"

#include "ks/ks_errno.h"
#include "ks/ks_file.h"
#include "ks/ks_imsg.h"
#include "nt/nt_file.h"
#include "tbs/tbs_acl.h"
#include "tool.hpp"

#include <algorithm>
#include <cstdio>
#include <functional>
#include <memory>

namespace tool {
namespace {

constexpr size_t max_line = TBS_ACL_TEXT_SIZE - 1; // longer lines would be read in pieces
constexpr size_t max_file = 1024 * 1024;

struct close_file {
    void operator()(FILE *stream) const { std::fclose(stream); }
};

[[noreturn]] void cannot(const std::string &path, const char *what, int error) {
    throw failure(path, 0, std::string("the file cannot be ") + what + ": " + imsg_strerror(error),
                  "Name a text file that you may read.");
}

void check_line(const std::string &path, size_t number, std::string_view line) {
    if (number == 1 && line.starts_with("\xEF\xBB\xBF")) {
        throw failure(path, number, "the file begins with a byte order mark", "Save it without: as plain UTF-8.");
    }
    if (line.size() > max_line) {
        throw failure(path, number, "the line is longer than " + std::to_string(max_line) + " bytes",
                      "Break it up: one entry a line, comments too.");
    }
    if (line.find('\0') != std::string_view::npos) {
        throw failure(path, number, "the line holds a NUL byte", "Save the file as plain text in UTF-8.");
    }
    for (std::string_view rest = line; !rest.empty();) {
        const size_t length = utf8_length(rest);
        if (length == 0) {
            throw failure(path, number, "the line is not UTF-8", "Save the file as plain text in UTF-8.");
        }
        rest.remove_prefix(length);
    }
}

// Hands each line, without its newline, to `consume`. A line is cut a little above the limit: memory stays bounded.
void each_line(const std::string &path, const std::function<void(size_t, std::string_view)> &consume) {
    const std::unique_ptr<FILE, close_file> stream(unix_nt_fopen(path.c_str(), "r"));
    if (!stream) cannot(path, "opened", ks_errno);
    std::string line;
    size_t number = 1;
    char block[8192];
    while (const size_t got = unix_nt_fread(block, sizeof block, stream.get())) {
        for (std::string_view rest(block, got); !rest.empty();) {
            const size_t newline = rest.find('\n');
            if (line.size() <= max_line) line.append(rest.substr(0, newline));
            if (newline == std::string_view::npos) break;
            consume(number++, line);
            line.clear();
            rest.remove_prefix(newline + 1);
        }
        if (line.size() > max_line) consume(number, line);
    }
    if (std::ferror(stream.get())) cannot(path, "read", ks_errno);
    if (!line.empty()) consume(number, line);
}

bool is_control(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return (byte < 0x20 && c != '\t') || byte == 0x7F;
}

} // namespace

size_t utf8_length(std::string_view text) {
    const auto byte = [&](size_t i) { return static_cast<unsigned char>(text[i]); };
    const unsigned char lead = byte(0);
    if (lead < 0x80) return 1;
    const size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
    for (size_t i = 1; i < length; i++) {
        if ((byte(i) & 0xC0) != 0x80) return 0;
    }
    const bool overlong = (lead == 0xE0 && byte(1) < 0xA0) || (lead == 0xF0 && byte(1) < 0x90);
    const bool outside = (lead == 0xED && byte(1) > 0x9F) || (lead == 0xF4 && byte(1) > 0x8F);
    return overlong || outside ? 0 : length;
}

std::string_view trimmed(std::string_view text) {
    const size_t first = text.find_first_not_of(" \t");
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(" \t") - first + 1);
}

std::string line_of_file(const std::string &path, size_t wanted) {
    std::string found;
    each_line(path, [&](size_t number, std::string_view line) {
        if (number == wanted) found = line;
    });
    return found;
}

void check_text_file(const std::string &path) {
    fileutl_status_t status;
    const uint32_t kind = fileutl_stat(path.c_str(), 1, &status) == 0 ? status.mode & FILEUTL_KIND : 0;
    if (kind == FILEUTL_FIFO || kind == FILEUTL_SOCKET) {
        throw failure(path, 0, "what comes through a pipe is gone once it is checked, and could not be read after it",
                      "Name a regular file; commands on ACLs take - for standard input.");
    }
    each_line(path, [&](size_t number, std::string_view line) { check_line(path, number, line); });
}

std::vector<text_line> read_text_file(const std::string &path) {
    std::vector<text_line> lines;
    size_t total = 0;
    each_line(path, [&](size_t number, std::string_view line) {
        check_line(path, number, line);
        total += line.size() + 1;
        if (total > max_file) {
            throw failure(path, number, "the file is larger than 1 MiB", "Name the right file.");
        }
        if (line.ends_with('\r')) line.remove_suffix(1);
        line = trimmed(line);
        if (line.empty() || line.front() == '#') return;
        if (std::any_of(line.begin(), line.end(), is_control)) {
            throw failure(path, number, "the line holds a control character", "Remove it, or write the line again.");
        }
        lines.push_back({number, std::string(line)});
    });
    return lines;
}

} // namespace tool
