// The formatter. The first byte chooses: formats made of known conversions with arguments that fit, compared with the
// C library; any bytes as a format over texts; or any bytes as an inserted text.

#include "lib/ks/internal/ks_format.hpp"

#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#if defined(__GNUC__)
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
#pragma GCC diagnostic ignored "-Wformat-security"
#endif

namespace {

void check(bool holds) {
    if (!holds) std::abort();
}

// The input, byte by byte; zeros behind its end.
class input {
public:
    input(const uint8_t *data, size_t size) : data_(data), size_(size) {}
    uint8_t byte() {
        if (size_ == 0) return 0;
        size_--;
        return *data_++;
    }
    template <class T> T number() {
        uint64_t value = 0;
        for (size_t i = 0; i < sizeof(T); i++) value = (value << 8) | byte();
        return static_cast<T>(value);
    }
    std::string text(size_t most) {
        std::string text;
        for (size_t left = byte() % (most + 1); left > 0; left--) {
            const char c = static_cast<char>(byte());
            if (!c) break;
            text += c;
        }
        return text;
    }
    std::string rest() {
        std::string text(reinterpret_cast<const char *>(data_), size_);
        size_ = 0;
        return text;
    }
    bool empty() const { return size_ == 0; }

private:
    const uint8_t *data_;
    size_t size_;
};

size_t ours(char *buffer, size_t size, unsigned flags, const char *fmt, ...) {
    va_list arguments;
    va_start(arguments, fmt);
    const size_t length = ks::format(buffer, size, fmt, arguments, flags);
    va_end(arguments);
    return length;
}

// ---- beside the C library

// An argument of one of the kinds that a call can pass.
struct argument {
    enum class kind { small, large, text } is;
    int small = 0;
    long long large = 0;
    std::string text;
};

constexpr size_t most_arguments = 4;

template <class... A> void compare(const std::string &fmt, size_t size, A... values) {
    const std::unique_ptr<char[]> a(new char[size]), b(new char[size]);
    const size_t length = ours(a.get(), size, ks::plain, fmt.c_str(), values...);
    const int expected = std::snprintf(b.get(), size, fmt.c_str(), values...);
    check(expected >= 0 && length == static_cast<size_t>(expected));
    if (size != 0) check(std::memcmp(a.get(), b.get(), std::min(length, size - 1) + 1) == 0);
}

// Turns the arguments into those of a call, one by one.
template <class... A>
void compare_with(const std::string &fmt, size_t size, const std::vector<argument> &arguments, A... values) {
    if constexpr (sizeof...(A) < most_arguments) {
        if (sizeof...(A) < arguments.size()) {
            const argument &next = arguments[sizeof...(A)];
            switch (next.is) {
            case argument::kind::small: return compare_with(fmt, size, arguments, values..., next.small);
            case argument::kind::large: return compare_with(fmt, size, arguments, values..., next.large);
            case argument::kind::text: return compare_with(fmt, size, arguments, values..., next.text.c_str());
            }
        }
    }
    compare(fmt, size, values...);
}

void add_number(input &in, std::string &fmt, std::vector<argument> &arguments, bool may_be_star) {
    const uint8_t choice = in.byte();
    if (choice < 100) {
        fmt += std::to_string(choice % 40);
    } else if (choice < 140 && may_be_star && arguments.size() + 1 < most_arguments) {
        fmt += '*';
        arguments.push_back({argument::kind::small, static_cast<int>(in.byte()) - 128, 0, {}});
    }
}

void add_conversion(input &in, std::string &fmt, std::vector<argument> &arguments) {
    constexpr std::string_view flags = "-+ #0", types = "diuoxXcs";
    const char type = types[in.byte() % types.size()];
    const bool is_text = type == 's' || type == 'c';
    fmt += '%';
    for (uint8_t some = in.byte(), i = 0; i < flags.size(); i++) {
        // What the C standard leaves open is left out.
        const char flag = flags[i];
        const bool defined =
            flag == '-' || (!is_text && (flag == '0' || (flag == '#' ? std::strchr("oxX", type)
                                                                     : std::strchr("di", type)) != nullptr));
        if ((some >> i & 1) && defined) fmt += flag;
    }
    add_number(in, fmt, arguments, true);
    if (type != 'c' && in.byte() % 3 == 0) {
        fmt += '.';
        add_number(in, fmt, arguments, true);
    }
    if (type == 's') {
        arguments.push_back({argument::kind::text, 0, 0, in.text(60)});
    } else if (type == 'c') {
        arguments.push_back({argument::kind::small, in.byte(), 0, {}});
    } else if (in.byte() % 2) {
        constexpr const char *lengths[] = {"ll", "j", "l", "z", "t"}; // all of 64 bits here
        static_assert(sizeof(long) == sizeof(long long) && sizeof(size_t) == sizeof(long long));
        fmt += lengths[in.byte() % std::size(lengths)];
        arguments.push_back({argument::kind::large, 0, in.number<long long>(), {}});
    } else {
        constexpr const char *lengths[] = {"", "h", "hh"};
        fmt += lengths[in.byte() % std::size(lengths)];
        arguments.push_back({argument::kind::small, in.number<int>(), 0, {}});
    }
    fmt += type;
}

void beside_the_c_library(input &in) {
    const size_t size = in.byte();
    std::string fmt;
    std::vector<argument> arguments;
    while (!in.empty()) {
        for (const char c : in.text(20)) fmt += c == '%' ? "%%" : std::string(1, c);
        // A conversion may take three: two stars and the value.
        if (arguments.size() + 3 > most_arguments) break;
        add_conversion(in, fmt, arguments);
    }
    compare_with(fmt, size, arguments);
}

// ---- any format

void any_format(input &in) {
    const unsigned flags = in.byte() % 2 ? ks::guard_insertions : ks::plain;
    const size_t size = in.byte();
    const std::string fmt = in.rest().substr(0, 500);
    size_t arguments = 0;
    for (const char c : fmt) arguments += c == '%' || c == '*';
    if (arguments > 12) return;
    // Every argument is a text: any conversion may read it.
    const char *t = "text\n";
    const std::unique_ptr<char[]> buffer(new char[size]);
    const size_t length =
        ours(buffer.get(), size, flags, fmt.c_str(), t, t, t, t, t, t, t, t, t, t, t, t, t, t, t, t);
    if (size != 0) check(std::memchr(buffer.get(), '\0', size) != nullptr);
    check(length <= std::strlen(fmt.c_str()) + arguments * (2 * ks::max_padding + 100));

    const size_t half = fmt.size() / 2;
    const std::string a = fmt.substr(0, half), b = fmt.substr(half);
    check(ks::same_conversions(a.c_str(), b.c_str()) == ks::same_conversions(b.c_str(), a.c_str()));
}

// ---- any text

void any_text(input &in) {
    std::string text = in.rest().substr(0, 2000);
    std::string shown(text.size() * 4 + 1, '?');
    ks::text_output out(shown.data(), shown.size());
    out.put_guarded(text);
    const size_t length = out.finish();
    check(length < shown.size());
    for (size_t i = 0; i < length; i++) {
        const auto byte = static_cast<unsigned char>(shown[i]);
        check(byte == '\t' || (byte >= 0x20 && byte != 0x7f));
    }
    check(ks::strip_emphasis(shown.data(), length) == length);

    const bool balanced = ks::emphasis_is_balanced(text);
    const size_t stripped = ks::strip_emphasis(text.data(), text.size());
    check(stripped <= text.size());
    if (balanced) check(std::string_view(text.data(), stripped).find('\001') == std::string_view::npos);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    input in(data, size);
    switch (in.byte() % 3) {
    case 0: beside_the_c_library(in); break;
    case 1: any_format(in); break;
    default: any_text(in); break;
    }
    return 0;
}
