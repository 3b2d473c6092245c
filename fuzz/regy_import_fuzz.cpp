// Exported settings: whatever is in the file, what was told of it is allowed, and is told again of what is written.
#include "lib/nt/internal/nt_regy_text.hpp"

#include "ks/ks_errno.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

namespace {

using namespace nt::regy;

void require(bool holds) {
    if (!holds) std::abort();
}

// Keys and values in their order, as texts; what is written says the same.
class recorder final : public changes {
public:
    void make_key(const folded_name &key) override {
        require(!key.is_root() && key.text().size() < NTREGY_KEY_SIZE);
        out_.key(key.text());
        said_.push_back("key " + std::string(key.text()));
    }
    void drop_key(const folded_name &key) override { require(!key.is_root()); }
    void set_value(const folded_name &key, const folded_name &name, ntregy_type_t type,
                   std::string_view data) override {
        require(!said_.empty() && !key.is_root());
        require(data.size() <= NTREGY_MAX_DATA && fits_type(type, data) && name.text().size() < NTREGY_KEY_SIZE);
        out_.value(name.text(), type, data);
        said_.push_back("value " + std::string(name.text()) + ' ' + std::to_string(type) + ' ' + std::string(data));
    }
    void drop_value(const folded_name &key, const folded_name &) override { require(!key.is_root()); }

    [[nodiscard]] const std::vector<std::string> &said() const { return said_; }
    [[nodiscard]] const std::string &written() const { return out_.bytes(); }

private:
    std::vector<std::string> said_;
    settings_writer out_;
};

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    const std::string_view bytes(reinterpret_cast<const char *>(data), size);
    std::string text;
    text_report report;
    int error = to_utf8(bytes, text, report);
    require((error == 0) == (report.line == 0));
    if (error != 0) return 0;

    recorder told;
    error = read_settings(text, told, report);
    const auto lines = static_cast<uint64_t>(std::count(text.begin(), text.end(), '\n')) + 1;
    require(error == 0 || error == KS_EINVAL || error == KS_ENAMETOOLONG || error == KS_E2BIG);
    require(error == 0 ? report.line == 0 : report.line >= 1 && report.line <= lines && report.skipped == 0);

    // What was told up to a wrong line is written and read again without one.
    std::string again;
    recorder repeated;
    require(to_utf8(told.written(), again, report) == 0);
    require(read_settings(again, repeated, report) == 0);
    require(repeated.said() == told.said());
    return 0;
}
