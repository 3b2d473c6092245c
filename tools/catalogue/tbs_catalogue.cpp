// Prints the source of the English message catalogue from the library's tables, for gencat: a set for each table,
// named by its module number, and in it the texts under their published numbers. Translators start from it.

#include "tbs/tbs_msg.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace {

constexpr std::string_view reserved = "(reserved)\n"; // entries that nothing prints

// gencat takes any number of octal digits: a digit behind an octal escape is escaped itself.
void print_quoted(std::string_view text) {
    bool octal = false;
    std::putchar('"');
    for (const char c : text) {
        const bool control = static_cast<unsigned char>(c) < ' ' && c != '\n' && c != '\t';
        octal = control || (octal && c >= '0' && c <= '7');
        if (octal) {
            std::printf("\\%03o", static_cast<unsigned>(c));
        } else if (c == '\n' || c == '\t') {
            std::printf("\\%c", c == '\n' ? 'n' : 't');
        } else if (c == '"' || c == '\\') {
            std::printf("\\%c", c);
        } else {
            std::putchar(c);
        }
    }
    std::putchar('"');
}

void print_set(const imsg_table_t &table) {
    std::printf("\n$ %s\n$set %u\n", table.module, static_cast<unsigned>(table.module_number));
    for (size_t i = 0; i < table.count; i++) {
        if (table.texts[i] == reserved) continue;
        std::printf("%u ", static_cast<unsigned>(table.numbers[i]));
        print_quoted(table.texts[i]);
        std::putchar('\n');
    }
}

} // namespace

int main() {
    const imsg_table_t *tables[] = {tbs_tbs_msg_table_adr(), tbs_acl_tbs_msg_table_adr(),
                                    tbs_cmsg_tbs_msg_table_adr(), tbs_notify_tbs_msg_table_adr()};
    std::sort(std::begin(tables), std::end(tables),
              [](const imsg_table_t *a, const imsg_table_t *b) { return a->module_number < b->module_number; });
    std::puts(
        "$ codeset=UTF-8\n"
        "$ Messages of the library. A translation keeps the conversions (%s, %d ...) in kind and order; entries\n"
        "$ that do not are ignored. \\001\\001\\061B and \\001\\001\\060B switch bold on and off.\n"
        "$quote \"");
    for (const imsg_table_t *table : tables) print_set(*table);
    return std::fflush(stdout) != 0 || std::ferror(stdout);
}
