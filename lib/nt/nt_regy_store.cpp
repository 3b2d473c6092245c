#include "internal/nt_regy_store.hpp"

#include "internal/nt_call.hpp"
#include "internal/nt_os.hpp"
#include "ks/ks_dir.h"
#include "ks/ks_errno.h"
#include "ks/ks_file.h"
#include "ks/ks_imsg.h"

#include <algorithm>
#include <atomic>
#include <charconv>
#include <chrono>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <optional>
#include <sqlite3.h>
#include <thread>
#include <utility>

namespace nt::regy {
namespace {

using namespace std::string_view_literals;
using clock = std::chrono::steady_clock;

constexpr char leaf[] = "registry.db";
constexpr auto patience = std::chrono::seconds(10); // with other processes
constexpr int64_t application = 0x4F524B52, schema_version = 1;
constexpr int longest_row = NTREGY_MAX_DATA + (64 << 10);

// Paths and names are kept folded, as keys, and as they were first written, for listing. Data of numbers have the
// lowest byte first. Every key has rows for the keys above it.
constexpr auto key_table = "CREATE TABLE key(path BLOB PRIMARY KEY, name TEXT NOT NULL) STRICT, WITHOUT ROWID"sv;
constexpr auto value_table =
    "CREATE TABLE value(path BLOB NOT NULL, fold BLOB NOT NULL, name TEXT NOT NULL, "
    "type INTEGER NOT NULL, data BLOB NOT NULL, PRIMARY KEY(path, fold)) STRICT, WITHOUT ROWID"sv;

enum sql : size_t {
    sql_begin_read,
    sql_begin_write,
    sql_application,
    sql_version,
    sql_journal,
    sql_schema,
    sql_check,
    sql_get,
    sql_has_key,
    sql_add_key,
    sql_set,
    sql_drop_value,
    sql_drop_values,
    sql_drop_keys,
    sql_next_key,
    sql_keys,
    sql_count_values,
    sql_values,
    sql_count
};

// A key and all below it are the paths from its own up to the same with a byte of 1 behind it.
constexpr const char *sql_texts[] = {
    "BEGIN",
    "BEGIN IMMEDIATE",
    "PRAGMA application_id",
    "PRAGMA user_version",
    "PRAGMA journal_mode",
    "SELECT name, sql FROM sqlite_schema ORDER BY name",
    "PRAGMA quick_check(1)",
    "SELECT type, data FROM value WHERE path = ?1 AND fold = ?2",
    "SELECT 1 FROM key WHERE path = ?1",
    "INSERT INTO key(path, name) VALUES(?1, ?2) ON CONFLICT(path) DO NOTHING",
    ("INSERT INTO value(path, fold, name, type, data) VALUES(?1, ?2, ?3, ?4, ?5) "
     "ON CONFLICT(path, fold) DO UPDATE SET type = excluded.type, data = excluded.data"),
    "DELETE FROM value WHERE path = ?1 AND fold = ?2",
    "DELETE FROM value WHERE path >= ?1 AND path < ?2",
    "DELETE FROM key WHERE path >= ?1 AND path < ?2",
    "SELECT path, name FROM key WHERE path >= ?1 AND path < ?2 ORDER BY path LIMIT 1",
    "SELECT path, name FROM key WHERE path >= ?1 AND path < ?2 ORDER BY path",
    "SELECT count(*) FROM value WHERE path = ?1",
    "SELECT type, data, name, fold FROM value WHERE path = ?1 ORDER BY fold",
};
static_assert(std::size(sql_texts) == sql_count);

constexpr char below = '\0', beyond = '\1', beyond_all = '\xFF'; // no UTF-8 begins with 0xFF

// Where the keys from this one down end.
std::string end_of(std::string_view path) {
    return path.empty() ? std::string(1, beyond_all) : std::string(path) + beyond;
}

// The system's error number behind a result: the connection knows it of files that cannot be opened, the data base
// file of its own reads and writes.
int system_error_of(sqlite3 *db) {
    if (!db) return 0;
    int error = sqlite3_system_errno(db);
    if (error == 0) sqlite3_file_control(db, "main", SQLITE_FCNTL_LAST_ERRNO, &error);
    return error;
}

int error_of(sqlite3 *db, int result) {
    switch (result) {
    case SQLITE_READONLY_DBMOVED: return KS_EBUSY; // replaced this very moment: again, with the new one
    case SQLITE_IOERR_NOMEM: return KS_ENOMEM;
    default: break;
    }
    switch (result & 0xFF) {
    case SQLITE_BUSY: return KS_EBUSY;
    case SQLITE_NOMEM: return KS_ENOMEM;
    case SQLITE_FULL: return KS_ENOSPC;
    case SQLITE_READONLY:
    case SQLITE_PERM: return KS_EACCES;
    case SQLITE_CANTOPEN:
    case SQLITE_IOERR: return os::data_base_error(system_error_of(db));
    default: return KS_EIO;
    }
}

// A prepared statement in use.
class statement {
public:
    statement(sqlite3 *db, sqlite3_stmt *prepared) : db_(db), prepared_(prepared) {}
    ~statement() {
        sqlite3_reset(prepared_);
        if (bound_ != 0) sqlite3_clear_bindings(prepared_);
    }
    statement(const statement &) = delete;
    statement &operator=(const statement &) = delete;

    // Values for the parameters in their order, borrowed until the end.
    statement &bytes(std::string_view value) {
        return bound(sqlite3_bind_blob(prepared_, ++bound_, value.empty() ? "" : value.data(),
                                       static_cast<int>(value.size()), SQLITE_STATIC));
    }
    statement &text(std::string_view value) {
        return bound(sqlite3_bind_text(prepared_, ++bound_, value.empty() ? "" : value.data(),
                                       static_cast<int>(value.size()), SQLITE_STATIC));
    }
    statement &number(int64_t value) { return bound(sqlite3_bind_int64(prepared_, ++bound_, value)); }

    // Tells whether there is another row.
    bool row() {
        const int result = sqlite3_step(prepared_);
        if (result != SQLITE_ROW && result != SQLITE_DONE) throw failure{error_of(db_, result)};
        return result == SQLITE_ROW;
    }
    void run() {
        while (row()) {}
    }

    // Columns of the row, until the next one.
    [[nodiscard]] std::string_view column(int at) {
        // The pointer is null for no bytes, and for want of memory.
        const auto *start = static_cast<const char *>(sqlite3_column_blob(prepared_, at));
        const auto size = static_cast<size_t>(sqlite3_column_bytes(prepared_, at));
        if (!start && size != 0) throw std::bad_alloc();
        return {start, start ? size : 0};
    }
    [[nodiscard]] int64_t integer(int at) { return sqlite3_column_int64(prepared_, at); }

private:
    statement &bound(int result) {
        if (result != SQLITE_OK) throw failure{error_of(db_, result)};
        return *this;
    }

    sqlite3 *db_;
    sqlite3_stmt *prepared_;
    int bound_ = 0;
};

// Data as a caller gets them. What this library has not written is damage.
std::string_view checked_data(int64_t type, std::string_view kept, number_buffer &buffer) {
    if (type < 0 || type > UINT32_MAX) throw failure{KS_EIO};
    const std::string_view data = in_other_order(static_cast<ntregy_type_t>(type), kept, buffer);
    if (!fits_type(static_cast<ntregy_type_t>(type), data)) throw failure{KS_EIO};
    return data;
}

// A name that is found by this folding.
std::string checked_name(std::string_view kept, std::string_view folding) {
    std::string name(kept);
    folded_name folded;
    if (folded.set_value_name(name.c_str()) != 0 || folded.folded() != folding || folded.text() != kept) {
        throw failure{KS_EIO};
    }
    return name;
}

// The last part of a path.
std::string_view last_part(std::string_view path) {
    const size_t at = path.rfind(below);
    return at == std::string_view::npos ? path : path.substr(at + 1);
}

std::string checked_key_name(statement &row) {
    std::string name = checked_name(row.column(1), last_part(row.column(0)));
    if (name.empty() || name.find('\\') != std::string::npos) throw failure{KS_EIO};
    return name;
}

} // namespace

// ---- the connection

class connection {
public:
    explicit connection(const char *path) : path_(path), exposed_(os::others_may_fill_directory_of(path)) {
        os::file_facts facts{};
        if (const int error = held_.hold(path, facts)) throw failure{error};
        if (!facts.regular) throw failure{KS_EIO};
        identity_ = facts.identity;
        constexpr int flags = SQLITE_OPEN_READWRITE | SQLITE_OPEN_NOMUTEX | SQLITE_OPEN_PRIVATECACHE;
        sqlite3 *opened = nullptr;
        const int result = sqlite3_open_v2(path, &opened, flags, nullptr);
        db_.reset(opened);
        if (result != SQLITE_OK)
            throw failure{opened ? error_of(opened, sqlite3_extended_errcode(opened)) : KS_ENOMEM};
        configure();
        refuse_another_file();
    }
    ~connection() {
        for (sqlite3_stmt *one : prepared_) sqlite3_finalize(one);
    }
    connection(const connection &) = delete;
    connection &operator=(const connection &) = delete;

    [[nodiscard]] bool is(const char *path, const os::file_identity &identity) const {
        return identity_ == identity && path_ == path;
    }
    [[nodiscard]] bool may_write() const { return sqlite3_db_readonly(db_.get(), "main") == 0; }
    // Others may put files beside it.
    [[nodiscard]] bool is_exposed() const { return exposed_; }
    [[nodiscard]] bool is_known() const { return known_; }
    [[nodiscard]] int changed() const { return sqlite3_changes(db_.get()); }

    statement use(sql which) {
        sqlite3_stmt *&one = prepared_[which];
        if (!one) {
            const int result =
                sqlite3_prepare_v3(db_.get(), sql_texts[which], -1, SQLITE_PREPARE_PERSISTENT, &one, nullptr);
            if (result != SQLITE_OK) throw failure{error_of(db_.get(), result)};
        }
        return {db_.get(), one};
    }

    // To be called before all else. It reads the file, so others may be in the way: then it is called again.
    void settle() {
        if (settled_) return;
        // EXTRA: the end of the journal, which is the commit, is on the disk too.
        execute("PRAGMA synchronous = EXTRA; PRAGMA cell_size_check = ON; PRAGMA temp_store = MEMORY; "
                "PRAGMA mmap_size = 0");
        settled_ = true;
    }

    // Tells whether this is a registry, or nothing yet. Throws KS_EIO for anything else. Within a transaction, but
    // for a registry that was seen before.
    bool is_registry() {
        if (known_) return true;
        const int64_t id = number_of(sql_application), version = number_of(sql_version);
        std::string schema;
        for (statement rows = use(sql_schema); rows.row();) {
            schema += rows.column(1);
            schema += ';';
        }
        if (id == 0 && version == 0 && schema.empty() && is_empty_file()) return false;
        if (id != application || version != schema_version || schema != expected_schema()) throw failure{KS_EIO};
        if (statement mode = use(sql_journal); !mode.row() || mode.column(0) != "delete"sv) throw failure{KS_EIO};
        return known_ = true;
    }
    void make_registry() {
        char pragmas[96];
        sqlite3_snprintf(sizeof pragmas, pragmas, "PRAGMA application_id = %lld; PRAGMA user_version = %lld",
                         static_cast<long long>(application), static_cast<long long>(schema_version));
        execute(pragmas);
        execute(std::string(key_table).c_str());
        execute(std::string(value_table).c_str());
    }

    // Looks through the whole file before this process writes to it for the first time.
    void refuse_damage() {
        if (checked_) return;
        statement check = use(sql_check);
        const bool told = check.row();
        const std::string_view finding = told ? check.column(0) : "";
        if (finding != "ok"sv) throw failure{error_in(finding)};
        checked_ = true;
    }

    // Ends a transaction. Readers of other processes are waited for here: none that comes later gets before us.
    void commit() {
        deadline_ = clock::now() + patience;
        sqlite3_busy_handler(db_.get(), wait_for_readers, this);
        execute("COMMIT");
        sqlite3_busy_handler(db_.get(), nullptr, nullptr);
    }
    void roll_back() noexcept {
        sqlite3_busy_handler(db_.get(), nullptr, nullptr);
        if (!sqlite3_get_autocommit(db_.get())) sqlite3_exec(db_.get(), "ROLLBACK", nullptr, nullptr, nullptr);
    }

private:
    struct closer {
        void operator()(sqlite3 *db) const { sqlite3_close(db); }
    };

    // A page that cannot be fetched is a finding of the check, whatever kept it: "... error code=7".
    [[nodiscard]] int error_in(std::string_view finding) const {
        constexpr auto mark = "error code="sv;
        const size_t at = finding.find(mark);
        int result = SQLITE_CORRUPT;
        if (at != std::string_view::npos) {
            std::from_chars(finding.data() + at + mark.size(), finding.data() + finding.size(), result);
        }
        return error_of(db_.get(), result);
    }

    static std::string expected_schema() { return std::string(key_table) + ';' + std::string(value_table) + ';'; }

    static int wait_for_readers(void *self, int) {
        if (clock::now() >= static_cast<connection *>(self)->deadline_) return 0;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        return 1;
    }

    void execute(const char *text) {
        const int result = sqlite3_exec(db_.get(), text, nullptr, nullptr, nullptr);
        if (result != SQLITE_OK) throw failure{error_of(db_.get(), result)};
    }
    int64_t number_of(sql which) {
        statement one = use(which);
        return one.row() ? one.integer(0) : 0;
    }

    // Nothing in the file is trusted: no code in its schema runs, no row is larger than we write.
    void configure() {
        sqlite3_extended_result_codes(db_.get(), 1);
        sqlite3_limit(db_.get(), SQLITE_LIMIT_LENGTH, longest_row);
        for (const int option : {SQLITE_DBCONFIG_ENABLE_TRIGGER, SQLITE_DBCONFIG_ENABLE_VIEW,
                                 SQLITE_DBCONFIG_TRUSTED_SCHEMA, SQLITE_DBCONFIG_ENABLE_LOAD_EXTENSION}) {
            sqlite3_db_config(db_.get(), option, 0, nullptr);
        }
        sqlite3_db_config(db_.get(), SQLITE_DBCONFIG_DEFENSIVE, 1, nullptr);
    }

    // SQLite takes a few bytes of anything for an empty data base, and would overwrite them.
    [[nodiscard]] bool is_empty_file() const {
        os::file_facts now{};
        return os::look_at(path_.c_str(), now) == 0 && now.identity == identity_ && now.size == 0;
    }

    // The file that was opened by path is the one that is held and was checked.
    void refuse_another_file() {
        int moved = 0;
        os::file_facts now{};
        const bool told =
            sqlite3_file_control(db_.get(), "main", SQLITE_FCNTL_HAS_MOVED, &moved) == SQLITE_OK && moved == 0;
        if (!told || os::look_at(path_.c_str(), now) != 0 || now.identity != identity_) throw failure{KS_EBUSY};
    }

    std::string path_;
    bool exposed_;
    os::held_file held_;
    os::file_identity identity_{};
    std::unique_ptr<sqlite3, closer> db_;
    sqlite3_stmt *prepared_[sql_count] = {};
    clock::time_point deadline_{};
    bool settled_ = false, known_ = false, checked_ = false;
};

// ---- the process's connection

namespace {

constinit std::mutex mutex; // guards what follows
constinit connection *current = nullptr;
constinit bool forks_are_watched = false;
constinit char warned_of[KS_PATH_SIZE] = "";

constinit std::atomic<clock::rep> last_commit{clock::duration::min().count() / 2};

void disconnect() noexcept { delete std::exchange(current, nullptr); }

// SQLite's connections, and the locks of a process, do not outlive a fork.
void watch_forks() {
    if (forks_are_watched) return;
    constexpr auto before = [] {
        mutex.lock();
        disconnect();
    };
    constexpr auto behind = [] { mutex.unlock(); };
    if (!os::around_fork(before, behind)) throw std::bad_alloc();
    forks_are_watched = true;
}

// Where the registry is in this call. What there is to say of it is printed at the end, when no lock is held: a sink
// may do as it likes.
struct place {
    place() {
        char product_path[KS_PATH_SIZE];
        ks_hostdata_dir(product_path, leaf);
        // A path that is too long has been cut.
        known =
            std::string_view(product_path).ends_with(leaf) && fileutl_host_path(product_path, path, sizeof path) == 0;
    }
    ~place() {
        if (!warns) return;
        imsg_print_shared(IMSG_WARNING, "nt", "%s: others than the owner may change the registry\n", IMSG_LITERAL,
                          path);
    }
    place(const place &) = delete;
    place &operator=(const place &) = delete;

    void warn() {
        if (std::strcmp(warned_of, path) == 0) return;
        std::memcpy(warned_of, path, sizeof path);
        warns = true;
    }

    char path[KS_PATH_SIZE];
    bool known;
    bool fresh = false; // connected in this call
    bool warns = false;
};

// The connection to what is there now; null when nothing is.
connection *connect(place &where) {
    if (!where.known) throw failure{KS_EIO};
    os::file_facts facts{};
    const int error = os::look_at(where.path, facts);
    if (error == KS_ENOENT) {
        disconnect();
        return nullptr;
    }
    if (error != 0) throw failure{error};
    if (!current || !current->is(where.path, facts.identity)) {
        disconnect();
        watch_forks();
        current = std::make_unique<connection>(where.path).release();
        where.fresh = true;
    }
    if (facts.writable_by_others || current->is_exposed()) where.warn();
    current->settle();
    return current;
}

connection *reconnect(place &where) {
    disconnect();
    return connect(where);
}

// Takes back what is not committed.
class transaction_scope {
public:
    transaction_scope(connection &db, sql begin) : db_(db) { db.use(begin).run(); }
    ~transaction_scope() { db_.roll_back(); }
    transaction_scope(const transaction_scope &) = delete;
    transaction_scope &operator=(const transaction_scope &) = delete;

private:
    connection &db_;
};

// Waits for other processes. A process that writes again and again leaves the file free for about a millisecond each
// time: the wait is shorter, and of no fixed length, so that it does not keep missing that.
class pause {
public:
    // Tells whether to try again.
    bool wait() {
        const auto now = clock::now();
        if (now >= end_) return false;
        std::this_thread::sleep_for(std::chrono::microseconds(200 + now.time_since_epoch().count() / 16 % 600));
        return true;
    }

private:
    clock::time_point end_ = clock::now() + patience;
};

// Lets others in before a process writes once more: without that the one that has just written always wins.
void make_way() {
    constexpr auto free_time = std::chrono::milliseconds(2);
    const clock::time_point written{clock::duration(last_commit.load(std::memory_order_relaxed))};
    const auto now = clock::now();
    if (now - written < free_time) std::this_thread::sleep_for(written + free_time - now);
}

// Runs a body under the mutex until no other process is in its way.
template <class F> int attempt(F &&body) {
    std::optional<pause> waiting;
    for (;;) {
        place where;
        int error = 0;
        {
            const std::lock_guard lock(mutex);
            error = guarded([&] { return body(where); });
            if (error == KS_EIO && current) {
                disconnect();
                // The file may have got another content in its place: a new connection knows.
                if (!where.fresh) continue;
            }
        }
        if (error != KS_EBUSY) return error;
        if (!waiting) waiting.emplace();
        if (!waiting->wait()) return error;
    }
}

} // namespace

// ---- transactions

bool transaction::has_key(const folded_name &key) {
    if (key.is_root()) return true;
    statement one = db_.use(sql_has_key);
    return one.bytes(key.folded()).row();
}

std::vector<listed_key> transaction::subkeys(const folded_name &key) {
    std::vector<listed_key> all;
    const std::string end = end_of(key.folded());
    std::string from(key.folded());
    if (!key.is_root()) from += below;
    for (const size_t prefix = from.size();;) {
        std::string path, name;
        {
            statement next = db_.use(sql_next_key);
            if (!next.bytes(from).bytes(end).row()) return all;
            path = next.column(0);
            name = checked_key_name(next);
        }
        if (path.find(below, prefix) != std::string::npos) throw failure{KS_EIO}; // the key above it is missing
        statement count = db_.use(sql_count_values);
        count.bytes(path).row();
        all.push_back({std::move(name), static_cast<size_t>(count.integer(0))});
        from = path + beyond;
    }
}

std::vector<listed_value> transaction::values_of(std::string_view path) {
    std::vector<listed_value> all;
    statement rows = db_.use(sql_values);
    for (rows.bytes(path); rows.row();) {
        number_buffer buffer;
        const int64_t type = rows.integer(0);
        const std::string_view data = checked_data(type, rows.column(1), buffer);
        all.push_back(
            {checked_name(rows.column(2), rows.column(3)), static_cast<ntregy_type_t>(type), std::string(data)});
    }
    return all;
}

std::vector<listed_value> transaction::values(const folded_name &key) { return values_of(key.folded()); }

void transaction::write_settings(const folded_name &key, settings_writer &out) {
    // The names on the way to a key, as they were first written, and the path of the key before it.
    std::vector<std::string> names;
    std::string before;
    const auto path_of = [&](statement &row) {
        const std::string_view path = row.column(0);
        const auto depth = static_cast<size_t>(std::count(path.begin(), path.end(), below));
        // The key above it comes before it, and what lies between is below that one too.
        if (depth != 0 && !(before + below).starts_with(path.substr(0, path.rfind(below) + 1))) {
            throw failure{KS_EIO};
        }
        before = path;
        names.resize(depth);
        names.push_back(checked_key_name(row));
        std::string all;
        for (const std::string &name : names) {
            if (!all.empty()) all += '\\';
            all += name;
        }
        return all;
    };
    const std::string_view start = key.folded();
    for (size_t at = start.find(below); at != std::string_view::npos; at = start.find(below, at + 1)) {
        statement above = db_.use(sql_next_key);
        if (!above.bytes(start.substr(0, at)).bytes(start.substr(0, at + 1)).row()) throw failure{KS_EIO};
        path_of(above);
    }
    if (key.is_root()) out.key("");
    const std::string end = end_of(start);
    statement keys = db_.use(sql_keys);
    for (keys.bytes(start).bytes(end); keys.row();) {
        out.key(path_of(keys));
        for (const listed_value &one : values_of(keys.column(0))) out.value(one.name, one.type, one.data);
    }
}

void transaction::make_key(const folded_name &key) {
    if (has_key(key)) return;
    const std::string_view path = key.folded(), text = key.text();
    for (size_t end = 0, text_end = 0, text_at = 0; end < path.size(); end++, text_at = text_end + 1) {
        end = std::min(path.find(below, end), path.size());
        text_end = std::min(text.find('\\', text_at), text.size());
        statement add = db_.use(sql_add_key);
        add.bytes(path.substr(0, end)).text(text.substr(text_at, text_end - text_at)).run();
    }
}

void transaction::drop_key(const folded_name &key) {
    const std::string end = end_of(key.folded());
    {
        statement drop = db_.use(sql_drop_values);
        drop.bytes(key.folded()).bytes(end).run();
    }
    statement drop = db_.use(sql_drop_keys);
    drop.bytes(key.folded()).bytes(end).run();
    dropped_ = db_.changed();
}

void transaction::set_value(const folded_name &key, const folded_name &name, ntregy_type_t type,
                            std::string_view data) {
    make_key(key);
    number_buffer buffer;
    statement set = db_.use(sql_set);
    set.bytes(key.folded()).bytes(name.folded()).text(name.text()).number(type);
    set.bytes(in_other_order(type, data, buffer)).run();
}

void transaction::drop_value(const folded_name &key, const folded_name &name) {
    statement drop = db_.use(sql_drop_value);
    drop.bytes(key.folded()).bytes(name.folded()).run();
    dropped_ = db_.changed();
}

// ---- what the registry's functions use

int read_value(const folded_name &key, const folded_name &name, value_reader reader, void *context) {
    return attempt([&](place &where) -> int {
        connection *db = connect(where);
        if (!db) return KS_ENOENT;
        std::optional<transaction_scope> first;
        if (!db->is_known()) first.emplace(*db, sql_begin_read);
        if (!db->is_registry()) return KS_ENOENT;
        statement one = db->use(sql_get); // a transaction by itself
        if (!one.bytes(key.folded()).bytes(name.folded()).row()) return KS_ENOENT;
        number_buffer buffer;
        const int64_t type = one.integer(0);
        return reader(context, static_cast<ntregy_type_t>(type), checked_data(type, one.column(1), buffer));
    });
}

int read(const transaction_body &body) {
    return attempt([&](place &where) -> int {
        connection *db = connect(where);
        if (!db) return KS_ENOENT;
        const transaction_scope whole(*db, sql_begin_read);
        if (!db->is_registry()) return KS_ENOENT;
        transaction one(*db);
        return body(one);
    });
}

int write(when_absent absent, const transaction_body &body) {
    make_way();
    return attempt([&](place &where) -> int {
        connection *db = connect(where);
        if (!db && absent == when_absent::fail) return KS_ENOENT;
        if (!db) {
            if (const int error = os::make_readable_file(where.path)) return error;
            db = connect(where);
        } else if (!db->may_write() && !where.fresh) {
            db = reconnect(where); // it may be allowed by now
        }
        if (!db) return KS_EBUSY; // gone this very moment
        const transaction_scope whole(*db, sql_begin_write);
        if (!db->is_registry()) {
            if (absent == when_absent::fail) return KS_ENOENT;
            db->make_registry();
        }
        db->refuse_damage();
        transaction one(*db);
        const int error = body(one);
        if (error != 0) return error;
        db->commit();
        last_commit.store(clock::now().time_since_epoch().count(), std::memory_order_relaxed);
        return 0;
    });
}

} // namespace nt::regy
