#include "tbs/tbs_msg.h"

#include "internal/msg_rows.hpp"
#include "internal/report.hpp"

#include <array>
#include <iterator>

namespace tbs {
namespace {

constexpr char catalogue_name[] = "tbs_lib";

template <size_t N> constexpr bool ascending(const msg_row (&rows)[N]) {
    for (size_t i = 1; i < N; i++) {
        if (rows[i - 1].number >= rows[i].number) return false;
    }
    return true;
}

template <auto Member, size_t N> constexpr auto column(const msg_row (&rows)[N]) {
    std::array<std::remove_cvref_t<decltype(rows[0].*Member)>, N> cells{};
    for (size_t i = 0; i < N; i++) cells[i] = rows[i].*Member;
    return cells;
}

static_assert(ascending(common_rows) && std::size(common_rows) == 180);
static_assert(ascending(general_rows) && std::size(general_rows) == 38);
static_assert(ascending(acl_rows) && std::size(acl_rows) == 30);
static_assert(ascending(notify_rows) && std::size(notify_rows) == 20);

constexpr auto common_texts = column<&msg_row::text>(common_rows);
constexpr auto common_numbers = column<&msg_row::number>(common_rows);
constexpr auto general_texts = column<&msg_row::text>(general_rows);
constexpr auto general_numbers = column<&msg_row::number>(general_rows);
constexpr auto acl_texts = column<&msg_row::text>(acl_rows);
constexpr auto acl_numbers = column<&msg_row::number>(acl_rows);
constexpr auto notify_texts = column<&msg_row::text>(notify_rows);
constexpr auto notify_numbers = column<&msg_row::number>(notify_rows);

template <size_t N>
constexpr imsg_table_t table(const char *module, uint16_t module_number, const std::array<const char *, N> &texts,
                             const std::array<uint16_t, N> &numbers) {
    return {catalogue_name, module, module_number, N, texts.data(), numbers.data()};
}

} // namespace

constinit const imsg_table_t common_table = table("tbs", 1, common_texts, common_numbers);
constinit const imsg_table_t general_table = table("tbs", 3, general_texts, general_numbers);
constinit const imsg_table_t acl_table = table("tbs_acl", 4, acl_texts, acl_numbers);
constinit const imsg_table_t notify_table = table("tbs_notify", 5, notify_texts, notify_numbers);

} // namespace tbs

extern "C" const imsg_table_t *tbs_tbs_msg_table_adr(void) noexcept { return &tbs::general_table; }
extern "C" const imsg_table_t *tbs_acl_tbs_msg_table_adr(void) noexcept { return &tbs::acl_table; }
extern "C" const imsg_table_t *tbs_cmsg_tbs_msg_table_adr(void) noexcept { return &tbs::common_table; }
extern "C" const imsg_table_t *tbs_notify_tbs_msg_table_adr(void) noexcept { return &tbs::notify_table; }
