// nt_regy_store.hpp - the registry's file: an SQLite data base, opened when it is needed.
//
// One connection serves all threads, under a mutex that is held for one transaction and never while waiting for other
// processes, nor while the caller's functions run. The connection is closed before each fork.
#ifndef NT_INTERNAL_NT_REGY_STORE_HPP
#define NT_INTERNAL_NT_REGY_STORE_HPP

#include "nt_regy_name.hpp"
#include "nt_regy_text.hpp"

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace nt::regy {

struct listed_key {
    std::string name;
    size_t value_count;
};

struct listed_value {
    std::string name;
    ntregy_type_t type;
    std::string data;
};

class connection;

// The registry during a transaction. What fails throws nt::failure.
class transaction final : public changes {
public:
    explicit transaction(connection &db) : db_(db) {}

    [[nodiscard]] bool has_key(const folded_name &key);
    [[nodiscard]] std::vector<listed_key> subkeys(const folded_name &key);
    [[nodiscard]] std::vector<listed_value> values(const folded_name &key);
    // Writes a key and all below it, keys before those below them.
    void write_settings(const folded_name &key, settings_writer &out);

    void make_key(const folded_name &key) override;
    void drop_key(const folded_name &key) override;
    void set_value(const folded_name &key, const folded_name &name, ntregy_type_t type,
                   std::string_view data) override;
    void drop_value(const folded_name &key, const folded_name &name) override;

    // Rows that the last drop took away.
    [[nodiscard]] int dropped() const noexcept { return dropped_; }

private:
    [[nodiscard]] std::vector<listed_value> values_of(std::string_view path);

    connection &db_;
    int dropped_ = 0;
};

// Is given a value in the host's byte order, under the mutex; gives 0 or an error. Does not throw.
using value_reader = int (*)(void *context, ntregy_type_t type, std::string_view data);

// Reads one value. KS_ENOENT when there is none, or no registry; what the reader gave; or why the registry cannot
// be read.
[[nodiscard]] int read_value(const folded_name &key, const folded_name &name, value_reader reader, void *context);

// A transaction gives 0 for all that it changed to stay. It may be run several times, each on the registry as if it
// had not been run before.
using transaction_body = std::function<int(transaction &)>;

// Runs a transaction that only reads. KS_ENOENT when there is no registry.
[[nodiscard]] int read(const transaction_body &body);

enum class when_absent { make, fail };

// Runs a transaction. Where there is no registry, makes one or gives KS_ENOENT.
[[nodiscard]] int write(when_absent absent, const transaction_body &body);

} // namespace nt::regy

#endif
