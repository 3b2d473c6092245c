// The registry in the hands of many processes, some of which die.
#include "nt/registry_support.hpp"

#include <atomic>
#include <chrono>
#include <csignal>
#include <functional>
#include <gtest/gtest.h>
#include <new>
#include <sched.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>
#include <vector>

namespace {

using namespace registry_test;
using clock = std::chrono::steady_clock;

// Memory that this process shares with those that it makes.
template <class T> class shared {
public:
    shared()
        : memory_(mmap(nullptr, sizeof(T), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)),
          object_(memory_ == MAP_FAILED ? throw std::bad_alloc() : new (memory_) T()) {}
    ~shared() { munmap(memory_, sizeof(T)); }
    shared(const shared &) = delete;
    shared &operator=(const shared &) = delete;
    T *operator->() const { return object_; }

private:
    void *memory_;
    T *object_;
};

// Runs a body in a process of its own; it ends with 0 when the body gives true.
pid_t start(const std::function<bool()> &body) {
    const pid_t parent = getpid(), child = fork();
    if (child != 0) return child;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    _exit(getppid() == parent && body() ? 0 : 1);
}

bool went_well(pid_t child) {
    int status = 0;
    return waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

TEST(RegistryProcesses, EightWriteWhileEightReadAndNothingIsLost) {
    constexpr int processes = 8, rounds = 12;
    struct stage {
        std::atomic<bool> ended{false};
    };
    const registry own;
    const shared<stage> now;
    ASSERT_EQ(ntregy_set_string(hklm, "Fixed", "v", "there"), 0);

    const auto key = [](int writer) { return "Writers\\W" + std::to_string(writer); };
    const auto write = [&](int writer) {
        for (int i = 1; i <= rounds; i++) {
            const std::string text = std::to_string(i);
            if (ntregy_set_string(hklm, key(writer).c_str(), "last", text.c_str()) != 0) return false;
            if (ntregy_set_string(hklm, "All", (std::to_string(writer) + '.' + text).c_str(), "x") != 0) return false;
        }
        return true;
    };
    // What was seen once is not taken back.
    const auto read = [&] {
        int seen[processes] = {};
        size_t listed = 0;
        for (bool more = true; more;) {
            more = !now->ended;
            if (text_of("Fixed", "v") != "there") return false;
            for (int i = 0; i < processes; i++) {
                char text[16] = "0";
                const int error = ntregy_get_string(hklm, key(i).c_str(), "last", text, sizeof text);
                if (error != 0 && (error != KS_ENOENT || seen[i] != 0)) return false;
                const int last = error == 0 ? std::atoi(text) : 0;
                if (last < seen[i] || last > rounds) return false;
                seen[i] = last;
            }
            int error = 0;
            const size_t count = values("All", &error).size();
            if ((error != 0 && error != KS_ENOENT) || count < listed) return false;
            listed = count;
        }
        return listed == size_t{processes} * rounds;
    };

    std::vector<pid_t> readers, writers;
    for (int i = 0; i < processes; i++) {
        readers.push_back(start(read));
        writers.push_back(start([&, i] { return write(i); }));
    }
    for (const pid_t one : writers) EXPECT_TRUE(went_well(one));
    now->ended = true;
    for (const pid_t one : readers) EXPECT_TRUE(went_well(one));
    EXPECT_EQ(values("All").size(), size_t{processes} * rounds);
    for (int i = 0; i < processes; i++) EXPECT_EQ(text_of(key(i), "last"), std::to_string(rounds));
}

TEST(RegistryProcesses, MakeOneRegistryTogether) {
    for (int round = 0; round < 10; round++) {
        const registry own;
        std::vector<pid_t> all;
        for (int i = 0; i < 8; i++) {
            all.push_back(start([i] { return ntregy_create_key(hklm, ("K" + std::to_string(i)).c_str()) == 0; }));
        }
        for (const pid_t one : all) EXPECT_TRUE(went_well(one));
        EXPECT_EQ(subkeys("").size(), 8u);
    }
}

// A value of several pages that says which it is; "" when it is not whole.
std::string value_number(int number) { return std::to_string(number) + std::string(20'000, 'a' + number % 26); }

TEST(RegistryProcesses, KilledInMidWriteLeaveTheOldOrTheNewValue) {
    constexpr int rounds = 200;
    struct progress {
        std::atomic<int> begun{0}, done{0};
    };
    const registry own;
    const shared<progress> now;
    ASSERT_EQ(set("A", "v", NTREGY_BINARY, value_number(0)), 0);
    const auto begun = clock::now();
    ASSERT_EQ(set("A", "v", NTREGY_BINARY, value_number(0)), 0);
    const auto one_write = clock::now() - begun;
    int new_ones = 0;
    for (int round = 0; round < rounds; round++) {
        const int before = now->done;
        const pid_t writer = start([&] {
            for (int i = now->done + 1;; i++) {
                now->begun = i;
                if (set("A", "v", NTREGY_BINARY, value_number(i)) != 0) return false;
                now->done = i;
            }
        });
        while (now->begun == before) sched_yield();
        // Each round a little later, from the beginning of a write to some way behind its end.
        const auto until = clock::now() + one_write * round * 3 / (2 * rounds);
        while (clock::now() < until) {}
        if (round % 10 == 0) {
            std::string data(30'000, '\0');
            size_t size = data.size();
            ASSERT_EQ(ntregy_get_value(hklm, "A", "v", nullptr, data.data(), &size), 0) << round;
        }
        ASSERT_EQ(kill(writer, SIGKILL), 0);
        int status = 0;
        ASSERT_EQ(waitpid(writer, &status, 0), writer);
        ASSERT_TRUE(WIFSIGNALED(status)) << "the writer failed by itself";

        const auto found = get("A", "v");
        ASSERT_TRUE(found) << round;
        const bool is_new = found->data == value_number(now->begun);
        ASSERT_TRUE(is_new || found->data == value_number(now->done)) << round;
        new_ones += is_new;
        now->done = now->begun = is_new ? now->begun.load() : now->done.load();
    }
    EXPECT_EQ(set("A", "v", NTREGY_BINARY, "end"), 0);
    EXPECT_EQ(get("A", "v"), (value{NTREGY_BINARY, "end"}));
    RecordProperty("new_values", new_ones);
}

} // namespace
