// The type manager whole_copy: a container is the contents, byte for byte.
#include "common/operations.hpp"

namespace {

void store(mgrs::input_file &contents, mgrs::output_file &container) {
    contents.read_all([&](mgrs::bytes block) { container.write(block); });
}

void restore(mgrs::input_file &container, const mgrs::sink &deliver) { container.read_all(deliver); }

} // namespace

int main(int argc, char **argv) {
    return mgrs::run_manager({"whole_copy", "each version is a file of its own.", store, restore}, argc, argv);
}
