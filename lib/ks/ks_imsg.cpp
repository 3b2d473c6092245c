#include "ks/ks_imsg.h"

#include "internal/ks_imsg.hpp"
#include "internal/ks_imsg_os.hpp"
#include "internal/ks_os.hpp"
#include "internal/ks_published.hpp"
#include "ks/ks_errno.h"

#include <atomic>
#include <cerrno>
#include <charconv>
#include <climits>
#include <cstdio>
#include <mutex>

namespace {

using ks::message;
using ks::text_output;

// ---- severities

enum class stream : uint8_t { output, error, previous };

struct severity_row {
    int severity;
    stream to;
    std::string_view word;
};

constexpr severity_row severities[] = {
    {IMSG_PLAIN, stream::output, ""},       {IMSG_WARNING, stream::error, "Warning: "},
    {IMSG_ERROR, stream::error, "Error: "}, {IMSG_FOLLOW_UP, stream::error, ""},
    {IMSG_TRACE, stream::error, ""},        {IMSG_CONTINUATION, stream::previous, ""},
};
constexpr severity_row any_other_severity = {0, stream::error, "Error: "};

const severity_row &row_of(int severity) noexcept {
    for (const severity_row &row : severities) {
        if (row.severity == severity) return row;
    }
    return any_other_severity;
}

constinit thread_local stream previous_stream = stream::output;

void put_prefix(text_output &out, const char *module, std::string_view word) noexcept {
    if (word.empty()) return;
    if (*module) {
        out.put_guarded(module);
        out.put(": ");
    }
    out.put(word);
}

// ---- the standard streams

bool shows_emphasis(std::FILE *to) noexcept { return ks::os::is_terminal(to) && !ks::os::trusted_getenv("NO_COLOR"); }

// Puts the terminal's sequences in place of the marks; bold does not outlast the message.
void put_rendered(text_output &out, std::string_view text) noexcept {
    constexpr std::string_view bold = "\033[1m", normal = "\033[22m";
    bool on = false;
    while (!text.empty()) {
        const size_t run = std::min(text.find('\001'), text.size());
        out.put(text.substr(0, run));
        text.remove_prefix(run);
        if (text.empty()) break;
        const bool starts = text.starts_with(ks::emphasis_on);
        if (starts || text.starts_with(ks::emphasis_off)) {
            out.put(starts ? bold : normal);
            on = starts;
            text.remove_prefix(ks::emphasis_mark_size);
        } else {
            out.put(text[0]);
            text.remove_prefix(1);
        }
    }
    if (on) out.put(normal);
}

void write(std::FILE *to, std::string_view line) noexcept {
    std::fwrite(line.data(), 1, line.size(), to);
    std::fflush(to);
}

// ---- the sink

struct sink {
    imsg_sink_t function;
    void *context;
};

constinit std::mutex sink_mutex; // of those who install one
constinit ks::published<sink> installed_sink;
constinit std::atomic<bool> sink_present{false}; // all that a message looks at when there is none
constinit thread_local bool inside_sink = false;

bool hand_to_sink(const message &m, const char *text) noexcept {
    if (!sink_present.load(std::memory_order_acquire) || inside_sink) return false;
    const decltype(installed_sink)::reader current(installed_sink);
    if (!current->function) return false;
    inside_sink = true;
    current->function(current->context, m.severity, m.module, m.table, m.index, text);
    inside_sink = false;
    return true;
}

// ---- printing

// The host program's errno is not touched by a message.
class kept_errno {
public:
    kept_errno() noexcept : value_(errno) {}
    ~kept_errno() { errno = value_; }
    kept_errno(const kept_errno &) = delete;
    kept_errno &operator=(const kept_errno &) = delete;

private:
    int value_;
};

// Sends out a message whose text put_text(text_output &) puts, as often as it is asked.
template <class PutText> void deliver(const message &m, PutText &&put_text) noexcept {
    const kept_errno kept;
    const severity_row &row = row_of(m.severity);
    if (row.to != stream::previous) previous_stream = row.to;
    std::FILE *const to = previous_stream == stream::output ? stdout : stderr;

    size_t prefix = 0;
    ks::assembled_text<2048> line([&](text_output &out) {
        put_prefix(out, m.module, row.word);
        prefix = out.length();
        put_text(out);
    });
    prefix = std::min(prefix, line.size());
    char *const text = line.data() + prefix;
    size_t size = line.size() - prefix;

    if (!std::memchr(text, '\001', size)) [[likely]] {
        if (ks::write_to_log(m, {text, size}) || hand_to_sink(m, text)) return;
        write(to, {line.data(), line.size()});
        return;
    }

    const bool rendered = shows_emphasis(to);
    ks::assembled_text<2048> terminal_line([&](text_output &out) {
        if (rendered) put_rendered(out, {line.data(), line.size()});
    });
    size = ks::strip_emphasis(text, size);
    text[size] = '\0';
    if (ks::write_to_log(m, {text, size}) || hand_to_sink(m, text)) return;
    if (rendered) {
        write(to, {terminal_line.data(), terminal_line.size()});
    } else {
        write(to, {line.data(), prefix + size});
    }
}

const imsg_table_t *table_of(const void *table, uint32_t index) noexcept {
    return index == IMSG_LITERAL ? nullptr : static_cast<const imsg_table_t *>(table);
}

void print(int severity, const char *module, const void *table, uint32_t index, va_list arguments) noexcept {
    const ks::message_format format = ks::find_format(table, index);
    if (!format.text) return;
    const message m{severity, module ? module : "", table_of(table, index), index};
    deliver(m, [&](text_output &out) { format.put_into(out, arguments, ks::guard_insertions); });
}

const char *module_of(const void *table, uint32_t index) noexcept {
    const imsg_table_t *entry_of = table_of(table, index);
    return entry_of ? entry_of->module : "";
}

size_t format_into(char *buffer, size_t size, const void *table, uint32_t index, va_list arguments) noexcept {
    const ks::message_format format = ks::find_format(table, index);
    text_output out(buffer, size);
    if (format.text) format.put_into(out, arguments, ks::plain);
    return out.finish();
}

// ---- verbosity and tracing

constexpr int64_t unread = INT64_MIN; // the environment has not been asked
constinit std::atomic<int64_t> verbosity{unread};

int verbosity_of_environment() noexcept {
    const char *text = ks::os::trusted_getenv("ORSIK_VERBOSITY");
    int value = 0;
    if (text) {
        const char *end = text + std::strlen(text);
        const auto result = std::from_chars(text, end, value);
        if (result.ec != std::errc() || result.ptr != end) value = 0;
    }
    return value;
}

// The trace list stays the text that it was given as. Most programs trace nothing: then the highest level is 0, and
// a question costs one load.
constinit ks::published<const char *> trace_list;
constinit std::atomic<int> highest_trace_level{-1}; // -1: the environment has not been asked
constinit std::mutex trace_mutex;                   // of those who change it

struct trace_part {
    std::string_view module;
    int level;
};

// Takes the next part off the list. A part that is no "name:digits" has level -1.
trace_part next_part(std::string_view &list) noexcept {
    const size_t comma = std::min(list.find(','), list.size());
    const std::string_view part = list.substr(0, comma);
    list.remove_prefix(std::min(comma + 1, list.size()));
    const size_t colon = part.rfind(':');
    if (colon == part.npos || colon == 0) return {{}, -1};
    const char *begin = part.data() + colon + 1, *end = part.data() + part.size();
    int level = -1;
    const auto result = std::from_chars(begin, end, level);
    const bool valid = result.ec == std::errc() && result.ptr == end && *begin != '-';
    return valid ? trace_part{part.substr(0, colon), level} : trace_part{{}, -1};
}

int highest_level(std::string_view list) noexcept {
    int highest = 0;
    while (!list.empty()) highest = std::max(highest, next_part(list).level);
    return highest;
}

// A module's own part goes before "*"; of several the last one counts.
int trace_level(std::string_view list, std::string_view module) noexcept {
    int own = -1, all = 0;
    while (!list.empty()) {
        const trace_part part = next_part(list);
        if (part.level < 0) continue;
        if (part.module == module) own = part.level;
        if (part.module == "*") all = part.level;
    }
    return own >= 0 ? own : all;
}

// The caller holds trace_mutex.
bool replace_trace_list(const char *list) noexcept {
    char *copy = nullptr;
    if (list && *list) {
        const size_t size = std::strlen(list) + 1;
        copy = new (std::nothrow) char[size];
        if (!copy) return false;
        std::memcpy(copy, list, size);
    }
    const std::unique_ptr<const char[]> former(trace_list.replace(copy));
    highest_trace_level.store(copy ? highest_level(copy) : 0, std::memory_order_release);
    return true;
}

int highest_trace_level_now() noexcept {
    const int highest = highest_trace_level.load(std::memory_order_acquire);
    if (highest >= 0) [[likely]]
        return highest;
    const std::lock_guard lock(trace_mutex);
    if (highest_trace_level.load(std::memory_order_relaxed) < 0) {
        if (!replace_trace_list(ks::os::trusted_getenv("ORSIK_TRACE"))) return 0; // asked again next time
    }
    return highest_trace_level.load(std::memory_order_relaxed);
}

} // namespace

namespace ks {

void print_text(const message &m, std::string_view text) noexcept {
    deliver(m, [&](text_output &out) { out.put(text); });
}

} // namespace ks

extern "C" void imsg_print(int severity, const void *table, uint32_t index, ...) noexcept {
    va_list arguments;
    va_start(arguments, index);
    imsg_printv(severity, table, index, arguments);
    va_end(arguments);
}

extern "C" void imsg_printv(int severity, const void *table, uint32_t index, va_list arguments) noexcept {
    print(severity, module_of(table, index), table, index, arguments);
}

extern "C" void imsg_print_shared(int severity, const char *module, const void *table, uint32_t index, ...) noexcept {
    va_list arguments;
    va_start(arguments, index);
    print(severity, module, table, index, arguments);
    va_end(arguments);
}

extern "C" void imsg_print_sharedv(int severity, const char *module, const void *table, uint32_t index,
                                   va_list arguments) noexcept {
    print(severity, module, table, index, arguments);
}

extern "C" size_t imsg_sprintf(char *buffer, const void *table, uint32_t index, ...) noexcept {
    va_list arguments;
    va_start(arguments, index);
    const size_t length = format_into(buffer, SIZE_MAX, table, index, arguments);
    va_end(arguments);
    return length;
}

extern "C" size_t imsg_snprintf(char *buffer, size_t size, const void *table, uint32_t index, ...) noexcept {
    va_list arguments;
    va_start(arguments, index);
    const size_t length = format_into(buffer, size, table, index, arguments);
    va_end(arguments);
    return length;
}

extern "C" size_t imsg_vsnprintf(char *buffer, size_t size, const void *table, uint32_t index,
                                 va_list arguments) noexcept {
    return format_into(buffer, size, table, index, arguments);
}

extern "C" const char *imsg_text(const imsg_table_t *table, uint32_t index) noexcept {
    return index == IMSG_LITERAL ? nullptr : ks::find_format(table, index).text;
}

extern "C" const char *imsg_strerror(int error) noexcept {
    if (const char *text = ks::os::error_text(ks_errno_to_host(error))) return text;
    constexpr std::string_view beginning = "Unknown error ";
    static constinit thread_local char unknown[beginning.size() + sizeof "-2147483648"];
    text_output out(unknown, sizeof unknown);
    char digits[sizeof unknown];
    out.put(beginning);
    out.put(digits, static_cast<size_t>(std::to_chars(digits, digits + sizeof digits, error).ptr - digits));
    out.finish();
    return unknown;
}

extern "C" int imsg_get_desired_verbosity(void) noexcept {
    int64_t value = verbosity.load(std::memory_order_relaxed);
    if (value == unread) {
        // What was set meanwhile goes before the environment.
        const int64_t of_environment = verbosity_of_environment();
        if (verbosity.compare_exchange_strong(value, of_environment)) value = of_environment;
    }
    return static_cast<int>(value);
}

extern "C" void imsg_set_desired_verbosity(int value) noexcept { verbosity.store(value); }

extern "C" int imsg_should_trace(const char *module, int level) noexcept {
    if (level > highest_trace_level_now() || level < 1 || !module) return 0;
    const decltype(trace_list)::reader list(trace_list);
    return *list && trace_level(*list, module) >= level;
}

extern "C" int imsg_set_trace(const char *list) noexcept {
    const std::lock_guard lock(trace_mutex);
    if (replace_trace_list(list)) return 0;
    ks_errno = KS_ENOMEM;
    return KS_ENOMEM;
}

extern "C" void imsg_set_sink(imsg_sink_t function, void *context) noexcept {
    if (inside_sink) return; // would wait for itself
    const std::lock_guard lock(sink_mutex);
    if (function) sink_present.store(true, std::memory_order_release);
    installed_sink.replace({function, context});
    if (!function) sink_present.store(false, std::memory_order_release);
}
