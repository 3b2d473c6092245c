#include "internal/ks_call.hpp"
#include "internal/ks_fail.hpp"
#include "internal/ks_imsg.hpp"
#include "ks/ks_imsg.h"

#include <memory>
#include <vector>

namespace {

struct entry {
    const imsg_table_t *table;
    uint32_t index;
    std::unique_ptr<const char[]> text; // stays where it is when the list grows
};

std::unique_ptr<const char[]> formatted(const char *format, va_list arguments) {
    const size_t size = ks::format(nullptr, 0, format, arguments, ks::guard_insertions) + 1;
    std::unique_ptr<char[]> text(new char[size]);
    ks::format(text.get(), size, format, arguments, ks::guard_insertions);
    return text;
}

} // namespace

struct imsg_list {
    std::vector<entry> entries;
};

extern "C" imsg_list_t *imsg_list_create(void) noexcept {
    auto *list = new (std::nothrow) imsg_list;
    return list ? list : ks::fail_null(KS_ENOMEM);
}

extern "C" int imsg_list_add_msg(imsg_list_t *list, const imsg_table_t *table, uint32_t index, ...) noexcept {
    const char *format = imsg_text(table, index);
    if (!list || !format) return ks::fail(KS_EINVAL);
    va_list arguments;
    va_start(arguments, index);
    const int error = ks::call([&] {
        list->entries.push_back({table, index, formatted(format, arguments)});
        return 0;
    });
    va_end(arguments);
    return error;
}

extern "C" size_t imsg_list_count(const imsg_list_t *list) noexcept { return list ? list->entries.size() : 0; }

extern "C" const char *imsg_list_text(const imsg_list_t *list, size_t position) noexcept {
    return position < imsg_list_count(list) ? list->entries[position].text.get() : nullptr;
}

extern "C" void imsg_list_print(const imsg_list_t *list, int severity) noexcept {
    if (!list) return;
    for (const entry &e : list->entries) {
        ks::print_text({severity, e.table->module ? e.table->module : "", e.table, e.index}, e.text.get());
    }
}

extern "C" void imsg_list_free(imsg_list_t **list) noexcept {
    if (!list) return;
    delete *list;
    *list = nullptr;
}
