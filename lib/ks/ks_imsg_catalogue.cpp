#include "internal/ks_imsg.hpp"
#include "internal/ks_imsg_os.hpp"
#include "ks/ks_imsg.h"

#include <array>
#include <atomic>
#include <bit>
#include <mutex>

namespace {

// The texts of a table for a locale. Once made it is never released, as its texts were given out.
struct translation {
    const imsg_table_t *table;
    const char *const *built_in; // the table's texts and count when this was made
    uint16_t count;
    const char *const *texts;
    const uint16_t *plain_lengths; // of texts without "%"; `formatted` for the others
    const char *storage;           // what is translated, one text behind the other
    size_t storage_size;
    const translation *older;
};

constexpr uint16_t formatted = UINT16_MAX;

// Stands for the translation of any table where there is no memory or no room for one.
constinit const translation none{};

// A table's translation; null until its first message is formatted, and again after a reload.
struct slot {
    std::atomic<const imsg_table_t *> table{nullptr};
    std::atomic<const translation *> current{nullptr};
};

// Tables by address, open addressing. A table that finds no slot within reach keeps its built-in texts.
constexpr size_t slot_count = 64, reach = 8;
constinit std::array<slot, slot_count> slots{};

constinit std::mutex resolve_mutex;
constinit const translation *newest = nullptr; // all that were made; guarded by resolve_mutex

size_t first_slot(const imsg_table_t *table) noexcept {
    const uint64_t mixed = reinterpret_cast<uintptr_t>(table) * UINT64_C(0x9E3779B97F4A7C15);
    return static_cast<size_t>(mixed >> (64 - std::countr_zero(slot_count)));
}

// The slot of a table, or the empty one that it would take; null when neither is within reach.
slot *find_slot(const imsg_table_t *table) noexcept {
    const size_t first = first_slot(table);
    for (size_t i = 0; i < reach; i++) {
        slot &candidate = slots[(first + i) % slot_count];
        const imsg_table_t *owner = candidate.table.load(std::memory_order_acquire);
        if (owner == table || !owner) return &candidate;
    }
    return nullptr;
}

// The catalogue's text of an entry when it can take the built-in one's place, else null.
const char *usable(const ks::os::catalogue &catalogue, const imsg_table_t *table, size_t index) noexcept {
    const char *built_in = table->texts[index];
    if (!built_in || !catalogue.is_open()) return nullptr;
    const char *text = catalogue.text(table->module_number, table->numbers[index]);
    return text && ks::same_conversions(built_in, text) && ks::emphasis_is_balanced(text) ? text : nullptr;
}

bool same_texts(const translation &a, const translation &b) noexcept {
    if (a.table != b.table || a.built_in != b.built_in || a.count != b.count) return false;
    if (a.storage_size != b.storage_size) return false;
    if (a.storage_size != 0 && std::memcmp(a.storage, b.storage, a.storage_size) != 0) return false;
    for (size_t i = 0; i < a.count; i++) {
        const bool translated = a.texts[i] != a.built_in[i];
        if (translated != (b.texts[i] != b.built_in[i])) return false;
    }
    return true;
}

uint16_t plain_length(const char *text) noexcept {
    const size_t length = text ? std::strlen(text) : formatted;
    return length < formatted && !std::memchr(text, '%', length) ? static_cast<uint16_t>(length) : formatted;
}

// Makes the translation of a table by the locale of now; null when there is no memory. Texts that an earlier one
// has already are not kept twice, so that reloading again and again takes no more memory.
const translation *translate(const imsg_table_t *table) noexcept {
    const ks::os::catalogue catalogue(table->catalogue && table->numbers ? table->catalogue : nullptr);
    size_t size = 0;
    for (size_t i = 0; i < table->count; i++) {
        if (const char *text = usable(catalogue, table, i)) size += std::strlen(text) + 1;
    }

    std::unique_ptr<translation> made(new (std::nothrow) translation);
    std::unique_ptr<const char *[]> texts(new (std::nothrow) const char *[table->count]);
    std::unique_ptr<uint16_t[]> lengths(new (std::nothrow) uint16_t[table->count]);
    std::unique_ptr<char[]> storage(new (std::nothrow) char[size]);
    if (!made || !texts || !lengths || !storage) return nullptr;
    char *to = storage.get();
    for (size_t i = 0; i < table->count; i++) {
        texts[i] = table->texts[i];
        if (const char *text = usable(catalogue, table, i)) {
            const size_t length = std::strlen(text) + 1;
            texts[i] = static_cast<const char *>(std::memcpy(to, text, length));
            to += length;
        }
        lengths[i] = plain_length(texts[i]);
    }
    *made = {table, table->texts, table->count, texts.get(), lengths.get(), storage.get(), size, newest};
    for (const translation *t = newest; t; t = t->older) {
        if (same_texts(*t, *made)) return t;
    }
    texts.release();
    lengths.release();
    storage.release();
    return newest = made.release();
}

// Finds out a table's translation on first use.
const translation *resolve(const imsg_table_t *table) noexcept {
    const std::lock_guard lock(resolve_mutex);
    slot *const home = find_slot(table);
    if (!home) return &none;
    if (home->table.load(std::memory_order_relaxed) == table) {
        if (const translation *t = home->current.load(std::memory_order_relaxed)) return t;
    }
    const translation *t = translate(table);
    if (!t) return &none; // tried again with the next message
    home->current.store(t, std::memory_order_release);
    home->table.store(table, std::memory_order_release);
    return t;
}

const translation *translation_of(const imsg_table_t *table) noexcept {
    const slot *home = find_slot(table);
    if (home && home->table.load(std::memory_order_acquire) == table) [[likely]] {
        if (const translation *t = home->current.load(std::memory_order_acquire)) [[likely]]
            return t;
    }
    return home ? resolve(table) : &none;
}

} // namespace

namespace ks {

message_format find_format(const void *table, uint32_t index) noexcept {
    if (index == IMSG_LITERAL) return {static_cast<const char *>(table)};
    const auto *entries = static_cast<const imsg_table_t *>(table);
    if (!entries || index >= entries->count || !entries->texts) return {nullptr};
    const translation *t = translation_of(entries);
    // Another table may have come to the address since; then the translation is not its own.
    if (t->built_in != entries->texts || t->count != entries->count) [[unlikely]]
        return {entries->texts[index]};
    const uint16_t length = t->plain_lengths[index];
    return {t->texts[index], length == formatted ? message_format::to_be_formatted : length};
}

} // namespace ks

extern "C" void imsg_reload_catalogues(void) noexcept {
    const std::lock_guard lock(resolve_mutex);
    for (slot &s : slots) s.current.store(nullptr, std::memory_order_release);
}
