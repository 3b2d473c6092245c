#include "internal/ks_dir.hpp"
#include "internal/ks_fail.hpp"
#include "internal/ks_imsg.hpp"
#include "internal/ks_imsg_os.hpp"
#include "internal/ks_sys_os.hpp"
#include "ks/ks_file.h"
#include "ks/ks_imsg.h"

#include <chrono>
#include <iterator>

// A log that is open, and how many that could not be opened were started on top of it: those pass on what is
// printed.
struct imsg_log {
    imsg_log *below;
    ks::os::log_file file;
    bool event_service, durable;
    unsigned passing_on;
};

namespace {

using ks::text_output;

constinit thread_local imsg_log *top = nullptr;
constinit thread_local unsigned passing_on = 0; // started without success below all logs

constinit thread_local const char *category = nullptr; // null: the program's name

void end_top() noexcept {
    const std::unique_ptr<imsg_log> ended(top);
    top = ended->below;
    ks::os::close_log(ended->file, ended->durable);
}

// Ends what a thread leaves open.
struct logs_of_thread {
    ~logs_of_thread() {
        while (top) end_top();
    }
};

void end_logs_with_thread() noexcept {
    static thread_local logs_of_thread logs;
    static_cast<void>(logs);
}

// ---- records

// One field: blanks and what is not printable would shift those behind it.
void put_field(text_output &out, std::string_view text) noexcept {
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        out.put(byte > ' ' && byte != 0x7F ? c : '_');
    }
    if (text.empty()) out.put('-');
    out.put(' ');
}

void put_plain(text_output &out, const char *format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    ks::format(out, format, arguments, ks::plain);
    va_end(arguments);
}

void put_time(text_output &out, std::chrono::system_clock::time_point now) noexcept {
    using namespace std::chrono;
    const auto day = floor<days>(now);
    const year_month_day date(day);
    const hh_mm_ss time(floor<microseconds>(now - day));
    put_plain(out, "%.4d-%.2u-%.2uT%.2d:%.2d:%.2d.%.6dZ ", static_cast<int>(date.year()),
              static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()),
              static_cast<int>(time.hours().count()), static_cast<int>(time.minutes().count()),
              static_cast<int>(time.seconds().count()), static_cast<int>(time.subseconds().count()));
}

void put_process(text_output &out) noexcept {
    char host[256];
    if (ks::os::host_name(host, sizeof host) != 0) *host = '\0';
    put_field(out, host);

    char process[512];
    text_output text(process, sizeof process);
    put_plain(text, "%.400s[%I64u.%I64u]", ks::os::program_name(), ks::os::process_id(), ks::os::thread_id());
    text.finish();
    put_field(out, process);
}

// Further lines begin with a TAB, which no record does.
void put_lines(text_output &out, std::string_view text) noexcept {
    while (text.ends_with('\n')) text.remove_suffix(1);
    while (!text.empty()) {
        const size_t line = std::min(text.find('\n'), text.size());
        out.put(text.substr(0, line));
        text.remove_prefix(line);
        if (text.empty()) break;
        out.put("\n\t");
        text.remove_prefix(1);
    }
    out.put('\n');
}

unsigned number_of(const ks::message &m) noexcept {
    return m.table && m.table->numbers ? m.table->numbers[m.index] : 0u;
}

} // namespace

namespace ks {

bool write_to_log(const message &m, std::string_view text) noexcept {
    if (!top) [[likely]]
        return false;
    const auto now = std::chrono::system_clock::now();
    size_t event = 0;
    assembled_text<4096> record([&](text_output &out) {
        put_time(out, now);
        put_process(out);
        event = out.length();
        put_field(out, imsg_get_app_name());
        put_field(out, m.module);
        put_plain(out, "%u %d ", number_of(m), m.severity);
        put_lines(out, text);
    });
    for (const imsg_log *log = top; log; log = log->below) {
        if (log->event_service) os::report_event(record.data() + event);
        if (os::append_to_log(log->file, {record.data(), record.size()})) return true;
    }
    return false;
}

} // namespace ks

extern "C" imsg_log_t *imsg_start_log(const char *path, int event_service, int durable) noexcept {
    const auto fail = [](int error) {
        (top ? top->passing_on : passing_on)++;
        return ks::fail_null(error);
    };
    if (!path) return fail(KS_EINVAL);
    char host_path[2 * KS_PATH_SIZE];
    if (const int error = fileutl_host_path(path, host_path, sizeof host_path)) return fail(error);
    std::unique_ptr<imsg_log> log(new (std::nothrow) imsg_log{});
    if (!log) return fail(KS_ENOMEM);
    int error = ks::os::open_log(host_path, log->file);
    if (error == KS_ENOENT && ks::make_hostdata_directory_for(host_path))
        error = ks::os::open_log(host_path, log->file);
    if (error) return fail(error);
    log->event_service = event_service != 0;
    log->durable = durable != 0;
    log->below = top;
    end_logs_with_thread();
    return top = log.release();
}

extern "C" void imsg_end_log(void) noexcept {
    unsigned &passed = top ? top->passing_on : passing_on;
    if (passed > 0) {
        passed--;
    } else if (top) {
        end_top();
    }
}

extern "C" const char *imsg_get_app_name(void) noexcept { return category ? category : ks::os::program_name(); }

extern "C" void imsg_nt_set_category(const char *new_category) noexcept { category = new_category; }
