// Bytes as the map of the type managers: any file gives a list and answers, and nothing is run.

#include "tbs/tbs_mgr.h"

#include "ks/ks_imsg.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

// A product of its own, for the life of the process.
class scratch_product {
public:
    scratch_product() {
        if (!mkdtemp(pattern_.data())) std::abort();
        root_ = pattern_;
        setenv("ORSIK_PRODUCT_DIR", root_.c_str(), 1);
        setenv("ORSIK_HOSTDATA_DIR", root_.c_str(), 1);
        std::filesystem::create_directories(root_ / "lib/mgrs");
    }
    scratch_product(const scratch_product &) = delete;
    scratch_product &operator=(const scratch_product &) = delete;
    ~scratch_product() { std::filesystem::remove_all(root_); }

    const std::filesystem::path &root() const { return root_; }

private:
    std::string pattern_ = (std::filesystem::temp_directory_path() / "mgr-map-fuzz-XXXXXX").string();
    std::filesystem::path root_;
};

const std::filesystem::path &product() {
    static const scratch_product made;
    return made.root();
}

void forget(void *, int, const char *, const imsg_table_t *, uint32_t, const char *) noexcept {}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    imsg_set_sink(forget, nullptr);
    {
        std::ofstream map(product() / "lib/mgrs/map", std::ios::binary);
        map.write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
    }
    uint32_t count = 0;
    char **names = nullptr;
    if (tbs_mgr_get_mgr_list(nullptr, &count, &names) != 0) std::abort();
    for (uint32_t i = 0; i < count && i < 20; i++) {
        tbs_boolean_t supported = 0;
        tbs_mgr_is_supported_op(names[i], "op", &supported);
    }
    if (tbs_mgr_free_mgr_list(&count, &names) != 0 || names) std::abort();
    return 0;
}
