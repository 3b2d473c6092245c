// report.hpp - messages printed by table and index, with the arguments checked against the text at compile time.
#ifndef TBS_INTERNAL_REPORT_HPP
#define TBS_INTERNAL_REPORT_HPP

#include "ks/ks_imsg.h"
#include "msg_rows.hpp"
#include "tbs/tbs_msg.h"

#include <iterator>
#include <string_view>
#include <type_traits>

namespace tbs {

extern const imsg_table_t common_table, general_table, acl_table, notify_table;

// Index that the column of a C format expects, as the type that va_arg will read.
enum class argument { text, number };

template <class A> constexpr argument argument_of() {
    if constexpr (std::is_same_v<A, const char *> || std::is_same_v<A, char *>) {
        return argument::text;
    } else {
        static_assert(std::is_same_v<A, int> || std::is_same_v<A, unsigned> || std::is_enum_v<A>,
                      "messages take texts and 32-bit numbers");
        return argument::number;
    }
}

// Whether the conversions of a format, "*" included, are just these arguments. Knows what the tables use.
template <class... A> constexpr bool fits(std::string_view format) {
    constexpr size_t count = sizeof...(A);
    const argument given[count + 1] = {argument_of<A>()..., argument::text};
    size_t next = 0;
    for (size_t i = 0; i < format.size(); i++) {
        if (format[i] != '%') continue;
        if (++i < format.size() && format[i] == '%') continue;
        for (; i < format.size(); i++) {
            const char c = format[i];
            const bool flag_or_digit = c == '.' || c == '-' || c == 'l' || (c >= '0' && c <= '9');
            if (flag_or_digit) continue;
            if (next >= count || given[next] != (c == 's' ? argument::text : argument::number)) return false;
            next++;
            if (c != '*') break;
        }
    }
    return next == count;
}

// One of the four tables, as a type: its rows for the compiler, its table for the printer.
struct common_messages {
    static constexpr const auto &rows = common_rows;
    static const imsg_table_t &table() { return common_table; }
};
struct general_messages {
    static constexpr const auto &rows = general_rows;
    static const imsg_table_t &table() { return general_table; }
};
struct acl_messages {
    static constexpr const auto &rows = acl_rows;
    static const imsg_table_t &table() { return acl_table; }
};
struct notify_messages {
    static constexpr const auto &rows = notify_rows;
    static const imsg_table_t &table() { return notify_table; }
};

template <class Messages, uint32_t Index, class... A>
void say(int severity, const char *module, A... arguments) noexcept {
    static_assert(fits<A...>(Messages::rows[Index].text), "arguments do not fit the message");
    imsg_print_shared(severity, module, &Messages::table(), Index, arguments...);
}

// The message of every failed allocation. Takes no memory itself.
void report_no_memory(const char *module) noexcept;

// The message of a failure that nobody foresaw, logged.
void report_internal(const char *module, int line) noexcept;

} // namespace tbs

#endif
