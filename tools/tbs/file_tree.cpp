#include "file_tree.hpp"

#include "ks/ks_errno.h"
#include "ks/ks_file.h"
#include "ks/ks_imsg.h"
#include "threads.hpp"

#include <algorithm>
#include <cerrno>
#include <condition_variable>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <mutex>
#include <new>
#include <sys/stat.h>
#include <thread>

namespace tool {
namespace {

std::string reason_of(int error) { return imsg_strerror(ks_errno_from_host(error)); }

struct folder {
    struct entry {
        std::string name;
        std::unique_ptr<folder> below; // of a directory
    };
    std::string path;
    std::vector<entry> entries; // by the bytes of their names
    int error = 0;
};

bool is_directory(const std::string &path, const dirent &entry) {
    if (entry.d_type != DT_UNKNOWN) return entry.d_type == DT_DIR;
    struct stat status;
    return lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
}

std::string joined(const std::string &directory, const char *name) {
    return directory.ends_with('/') ? directory + name : directory + '/' + name;
}

void list_entries(folder &into) {
    const std::unique_ptr<DIR, int (*)(DIR *)> listing(opendir(into.path.c_str()), closedir);
    if (!listing) {
        into.error = errno;
        return;
    }
    for (errno = 0; const dirent *entry = readdir(listing.get()); errno = 0) {
        if (std::strcmp(entry->d_name, ".") == 0 || std::strcmp(entry->d_name, "..") == 0) continue;
        std::string path = joined(into.path, entry->d_name);
        auto &made = into.entries.emplace_back(folder::entry{entry->d_name, nullptr});
        if (is_directory(path, *entry)) {
            made.below = std::make_unique<folder>();
            made.below->path = std::move(path);
        }
    }
    into.error = errno;
    std::sort(into.entries.begin(), into.entries.end(), [](const auto &a, const auto &b) { return a.name < b.name; });
}

// Runs in threads that nobody catches for.
void list(folder &into) {
    try {
        list_entries(into);
    } catch (const std::bad_alloc &) {
        into.error = ENOMEM;
    }
}

// Lists directories, those that it finds among them, by several threads.
class walker {
public:
    void walk(folder &top) {
        waiting_.push_back(&top);
        std::vector<std::jthread> others;
        start_threads(others, std::thread::hardware_concurrency(), [this] { work(); });
        work();
    }

private:
    void work() {
        std::unique_lock lock(mutex_);
        for (;;) {
            changed_.wait(lock, [this] { return !waiting_.empty() || busy_ == 0; });
            if (waiting_.empty()) return;
            folder *next = waiting_.back();
            waiting_.pop_back();
            busy_++;
            lock.unlock();
            list(*next);
            lock.lock();
            busy_--;
            put_below(*next);
            changed_.notify_all();
        }
    }

    void put_below(folder &of) {
        try {
            waiting_.reserve(waiting_.size() + of.entries.size());
        } catch (const std::bad_alloc &) {
            of.error = ENOMEM;
            return;
        }
        for (const auto &entry : of.entries)
            if (entry.below) waiting_.push_back(entry.below.get());
    }

    std::mutex mutex_;
    std::condition_variable changed_;
    std::vector<folder *> waiting_;
    size_t busy_ = 0;
};

// Why the library could not be asked about a path; "" when it can.
std::string why_unfit(const std::string &path) {
    if (path.size() >= KS_PATH_SIZE) return reason_of(ENAMETOOLONG);
    return path.find('\\') == std::string::npos ? "" : "a backslash separates directories in the product's paths";
}

void add_file(std::string path, std::vector<std::string> &paths, std::vector<walk_error> &errors) {
    std::string why = why_unfit(path);
    if (why.empty()) {
        paths.push_back(std::move(path));
    } else {
        errors.push_back({std::move(path), std::move(why)});
    }
}

void flatten(const folder &from, std::vector<std::string> &paths, std::vector<walk_error> &errors) {
    if (from.error) errors.push_back({from.path, reason_of(from.error)});
    for (const folder::entry &entry : from.entries) {
        if (entry.below) {
            flatten(*entry.below, paths, errors);
        } else {
            add_file(joined(from.path, entry.name.c_str()), paths, errors);
        }
    }
}

} // namespace

file_tree::file_tree(const std::vector<std::string> &named, bool recursive) {
    for (const std::string &path : named) {
        struct stat status;
        if (lstat(path.c_str(), &status) != 0) {
            errors_.push_back({path, reason_of(errno)});
            continue;
        }
        // A directory that is named is meant, also behind a link.
        const bool is_tree = recursive && stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode);
        if (!is_tree) {
            add_file(path, paths_, errors_);
            continue;
        }
        folder top;
        top.path = path;
        walker().walk(top);
        flatten(top, paths_, errors_);
    }
}

} // namespace tool
