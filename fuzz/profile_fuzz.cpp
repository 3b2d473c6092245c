// Bytes as a profile. A file with a bad line is read anew at every look-up, so one process serves many inputs; a good
// one ends the reading, which is why a line without a name is put behind each.

#include "tbs/tbs_profile.h"

#include "ks/ks_imsg.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <unistd.h>

namespace {

// A file of its own, for the life of the process.
class scratch_profile {
public:
    scratch_profile() {
        const int descriptor = mkstemp(path_.data());
        if (descriptor < 0) std::abort();
        close(descriptor);
        setenv("TESSIVANE_PROFILE", path_.c_str(), 1);
    }
    scratch_profile(const scratch_profile &) = delete;
    scratch_profile &operator=(const scratch_profile &) = delete;
    ~scratch_profile() { std::filesystem::remove(path_); }

    const std::string &path() const { return path_; }

private:
    std::string path_ = (std::filesystem::temp_directory_path() / "profile-fuzz-XXXXXX").string();
};

const std::string &profile() {
    static const scratch_profile made;
    return made.path();
}

void forget(void *, int, const char *, const imsg_table_t *, uint32_t, const char *) noexcept {}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    imsg_set_sink(forget, nullptr);
    {
        std::ofstream file(profile(), std::ios::binary);
        file.write(reinterpret_cast<const char *>(data), static_cast<std::streamsize>(size));
        file << "\nlonely\n";
    }
    const char *value = nullptr, *names[] = {"reserved", "editor"};
    if (tbs_check_profile("checkout", "reserved", &value) != 0) std::abort();
    if (tbs_multi_check_profile("checkout", names, 2, &value) != -1) std::abort();
    return 0;
}
