#include "reader.hpp"

#include "nt/nt_file.h"

#include <utility>

namespace tbs::typing {
namespace {

// What a file holds, with the line ends of text, and little more than the scanner takes.
std::string text_of(FILE *stream) {
    std::string text;
    char block[16384];
    while (const size_t got = unix_nt_fread(block, sizeof block, stream)) {
        text.append(block, got);
        if (text.size() > most_bytes) break;
    }
    if (std::ferror(stream)) throw scanner_failure{input_failed};
    size_t kept = 0;
    for (size_t i = 0; i < text.size(); i++)
        if (text[i] != '\r' || i + 1 == text.size() || text[i + 1] != '\n') text[kept++] = text[i];
    text.resize(kept);
    return text;
}

} // namespace

void read_stream(rule_set &rules, const char *path, FILE *stream) {
    rules.begin_file(path);
    parse(rules, text_of(stream));
}

void read_text(rule_set &rules, const char *path, std::string text) {
    rules.begin_file(path);
    parse(rules, std::move(text));
}

} // namespace tbs::typing
