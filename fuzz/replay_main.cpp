// Runs a fuzz function over stored inputs without a fuzzing engine: every file of the directories (or files) given
// on the command line. Fails when there is none, so that a lost corpus is noticed.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>
#include <vector>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

void run(const std::filesystem::path &file) {
    std::ifstream in(file, std::ios::binary);
    const std::vector<char> bytes{std::istreambuf_iterator<char>(in), {}};
    // A block of exactly the input's size: a read behind the end is seen by AddressSanitizer.
    const std::unique_ptr<uint8_t[]> exact(new uint8_t[bytes.size()]);
    for (size_t i = 0; i < bytes.size(); i++) exact[i] = static_cast<uint8_t>(bytes[i]);
    LLVMFuzzerTestOneInput(exact.get(), bytes.size());
}

} // namespace

int main(int argc, char **argv) {
    size_t count = 0;
    for (int i = 1; i < argc; i++) {
        if (std::filesystem::is_regular_file(argv[i])) {
            run(argv[i]);
            count++;
        } else if (std::filesystem::is_directory(argv[i])) {
            for (const auto &entry : std::filesystem::recursive_directory_iterator(argv[i])) {
                if (!entry.is_regular_file()) continue;
                run(entry.path());
                count++;
            }
        }
    }
    std::printf("%zu inputs\n", count);
    return count == 0;
}
