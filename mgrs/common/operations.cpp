#include "common/operations.hpp"

#include "common/failure.hpp"
#include "common/interrupts.hpp"
#include "common/options.hpp"
#include "ks/ks_imsg.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <iterator>
#include <limits>
#include <memory>
#include <new>
#include <xxhash.h>

namespace mgrs {
namespace {

constexpr size_t any_number = std::numeric_limits<size_t>::max();

void store(const manager &self, input_file contents, output_file &container) {
    self.store(contents, container);
    container.publish(contents.mode());
}

int create_element(const manager &self, operands files) {
    output_file container(files[0]);
    store(self, input_file::empty(), container);
    return exit_done;
}

int create_branch(const manager &self, operands files) {
    output_file container(files[0]);
    input_file predecessor = input_file::container(files[1]);
    predecessor.tee(container);
    self.restore(predecessor, [](bytes) {}); // what is damaged does not spread
    container.publish(predecessor.mode());
    return exit_done;
}

// The predecessor must be there, but may be damaged: the new version stands without it.
int create_version_below(uint64_t end, const manager &self, operands files) {
    output_file container(files[0]);
    input_file contents = input_file::contents(files[1], end);
    static_cast<void>(input_file::container(files[2]));
    store(self, std::move(contents).with_size(container.where()), container);
    return exit_done;
}

int create_version(const manager &self, operands files) { return create_version_below(large_contents, self, files); }

int create_version64(const manager &self, operands files) { return create_version_below(no_limit, self, files); }

int construct_version(const manager &self, operands files) {
    output_file contents(files[0]);
    input_file container = input_file::container(files[1]);
    self.restore(container, [&](bytes piece) { contents.write(piece); });
    contents.publish(container.mode());
    return exit_done;
}

// Does it for each file, whatever becomes of the others.
template <class Action> int for_each(const manager &self, operands files, Action action) {
    int status = exit_done;
    for (const char *file : files) {
        try {
            action(file);
        } catch (const failure &why) {
            why.report(self.name);
            status = exit_failed;
        }
    }
    return status;
}

int delete_branches_versions(const manager &self, operands files) {
    return for_each(self, files, [](const char *file) { remove_container(file); });
}

struct free_state {
    void operator()(XXH64_state_t *state) const { XXH64_freeState(state); }
};

void print_info(const manager &self, const char *file) {
    const std::unique_ptr<XXH64_state_t, free_state> hash(XXH64_createState());
    if (!hash) throw std::bad_alloc();
    XXH64_reset(hash.get(), 0);
    unsigned long long size = 0;
    input_file container = input_file::container(file);
    self.restore(container, [&](bytes piece) {
        XXH64_update(hash.get(), piece.data(), piece.size());
        size += piece.size();
    });
    const unsigned long long checksum = XXH64_digest(hash.get());
    imsg_print(IMSG_PLAIN, "%s %llu %016llx %s\n", IMSG_LITERAL, self.name, size, checksum, file);
}

int get_cont_info(const manager &self, operands files) {
    return for_each(self, files, [&](const char *file) { print_info(self, file); });
}

constexpr char create_version_help[] =
    "Makes CONTAINER of the bytes of the file CONTENTS, as the version behind that of PREDECESSOR. Contents of 2 GB\n"
    "and more are refused: they are for create_version64.";

constexpr operation all_operations[] = {
    {"create_element", "CONTAINER", 1, 1, "Makes CONTAINER, the first version of an element, which is empty.",
     create_element},
    {"create_branch", "CONTAINER PREDECESSOR", 2, 2,
     "Makes CONTAINER, the first version of a branch, with the contents of PREDECESSOR.", create_branch},
    {"create_version", "CONTAINER CONTENTS PREDECESSOR", 3, 3, create_version_help, create_version},
    {"create_version64", "CONTAINER CONTENTS PREDECESSOR", 3, 3,
     "Makes CONTAINER of the bytes of the file CONTENTS, as the version behind that of PREDECESSOR. Contents may\n"
     "have any size.",
     create_version64},
    {"construct_version", "FILE CONTAINER", 2, 2, "Makes FILE of the contents of CONTAINER.", construct_version},
    {"delete_branches_versions", "CONTAINER...", 1, any_number,
     "Removes containers. One that cannot be removed does not keep the others.", delete_branches_versions},
    {"get_cont_info", "CONTAINER...", 1, any_number,
     "Reads containers whole and prints a line for each: the kind, the size of the contents in bytes, their "
     "checksum\n"
     "(XXH64), the pathname.",
     get_cont_info},
};

// A number among the first three that stands for no open file would be given to a container, and messages written
// into that. What takes it reads nothing where something is read, and the reverse.
void take_standard_streams() {
    int number;
    do {
        number = open("/dev/null", O_WRONLY);
    } while (number == 0);
    while (number == 1 || number == 2) number = open("/dev/null", O_RDONLY);
}

// Standard output is written last, so that a full disk or a closed pipe is still a failure.
void flush_answer() {
    if (std::fflush(stdout) == 0 && std::ferror(stdout) == 0) return;
    throw failure(message::cannot_write, "(standard output)", "not all of the answer was taken",
                  "Look for a full disk or a closed pipe.");
}

int run(const manager &self, int argc, char **argv) {
    take_standard_streams();
    note_interrupts();
    const request asked = read_command_line(self, argc, argv);
    int status = exit_done;
    if (asked.help) {
        print_help(self, asked.what);
    } else {
        status = asked.what->run(self, asked.files);
    }
    flush_answer();
    return status;
}

} // namespace

std::span<const operation> operations() { return all_operations; }

int run_manager(const manager &self, int argc, char **argv) noexcept try {
    return run(self, argc, argv);
} catch (const failure &why) {
    why.report(self.name);
    return why.exit_status();
} catch (const no_operation &why) {
    why.report(self.name);
    return exit_usage;
} catch (const interrupted &why) {
    end_by(why);
} catch (const std::bad_alloc &) {
    imsg_print_shared(IMSG_ERROR, self.name, "out of memory\n", IMSG_LITERAL);
    return exit_failed;
}

} // namespace mgrs
