// Mail: what it costs to encode a subject and a body of 10 MB, beside copying it.

#include "i18n/i18n_mime.h"
#include "ks/ks_stg.h"

#include <benchmark/benchmark.h>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

constexpr size_t body_size = 10'000'000;

std::string repeated(const std::string &part) {
    std::string text;
    while (text.size() < body_size) text += part;
    return text;
}

// One character of 40 is beyond ASCII.
const std::string &european() {
    static const std::string text =
        repeated("Die Änderung an der Datei \"makefile\" ist geprüft und kann übernommen werden.\n");
    return text;
}
const std::string &japanese() {
    static const std::string text = repeated("ファイルの変更が確認されました。マージできます。\n");
    return text;
}

void encode(benchmark::State &state, const std::string &text, const char *charset, i18n_mime_kind_t wanted) {
    for (auto _ : state) {
        i18n_mime_kind_t kind = -1;
        const char *used = nullptr;
        char *body = i18n_mime_encode(text.c_str(), charset, I18N_MIME_PLAIN, 0.8, &kind, &used);
        if (!body || kind != wanted) std::abort();
        benchmark::DoNotOptimize(body);
        i18n_mime_free(&body);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void quoted_printable(benchmark::State &state) { encode(state, european(), "UTF-8", I18N_MIME_QUOTED_PRINTABLE); }
void base64(benchmark::State &state) { encode(state, japanese(), "UTF-8", I18N_MIME_BASE64); }
void converted(benchmark::State &state) { encode(state, japanese(), "ISO-2022-JP", I18N_MIME_PLAIN); }

// The least that a coder does: three bytes to four characters by a table, without lines, checks or new memory.
[[gnu::noinline]] char *base64_encode(const char *from, size_t size, char *to) {
    constexpr char alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    for (size_t i = 0; i + 3 <= size; i += 3) {
        const auto byte = [from, i](size_t n) { return static_cast<uint32_t>(static_cast<uint8_t>(from[i + n])); };
        const uint32_t bits = byte(0) << 16 | byte(1) << 8 | byte(2);
        for (const int shift : {18, 12, 6, 0}) *to++ = alphabet[bits >> shift & 63];
    }
    return to;
}
void base64_table(benchmark::State &state) {
    const std::string &text = japanese();
    std::string out(text.size() / 3 * 4 + 4, '\0');
    for (auto _ : state) benchmark::DoNotOptimize(base64_encode(text.data(), text.size(), out.data()));
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

// The limit: new memory and one copy.
void copy(benchmark::State &state) {
    const std::string &text = japanese();
    for (auto _ : state) {
        char *body = static_cast<char *>(stg_malloc(text.size() + 1));
        if (!body) std::abort();
        std::memcpy(body, text.c_str(), text.size() + 1);
        benchmark::DoNotOptimize(body);
        stg_free(body);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations() * text.size()));
}

void header(benchmark::State &state, const char *text, const char *charset) {
    for (auto _ : state) {
        char *made = i18n_mime_encode_header(text, charset, I18N_MIME_PLAIN, 0.8);
        benchmark::DoNotOptimize(made);
        i18n_mime_free(&made);
    }
}
void header_plain(benchmark::State &state) {
    header(state, "The change of \"makefile\" in the view of the release has been checked: you may merge it",
           "UTF-8");
}
void header_q(benchmark::State &state) {
    header(state, "Die Änderung an der Datei \"makefile\" ist geprüft und kann nun übernommen werden: ja", "UTF-8");
}
void header_b(benchmark::State &state) {
    header(state, "変更が確認されました。マージできます。変更が確認されました。", "UTF-8");
}
void header_converted(benchmark::State &state) {
    header(state, "変更が確認されました。マージできます。変更が確認されました。", "ISO-2022-JP");
}

BENCHMARK(quoted_printable)->Name("mime_qp/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(base64)->Name("mime_base64/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(base64_table)->Name("mime_base64/peer:table")->Unit(benchmark::kMillisecond);
BENCHMARK(converted)->Name("mime_converted/ours")->Unit(benchmark::kMillisecond);
BENCHMARK(copy)->Name("mime_body/peer:memcpy")->Unit(benchmark::kMillisecond);
BENCHMARK(header_plain)->Name("mime_header_plain/ours");
BENCHMARK(header_q)->Name("mime_header_q/ours");
BENCHMARK(header_b)->Name("mime_header_b/ours");
BENCHMARK(header_converted)->Name("mime_header_converted/ours");

} // namespace
