// sink.hpp - records the messages that the code under test prints.
#ifndef TESTS_SUPPORT_SINK_HPP
#define TESTS_SUPPORT_SINK_HPP

#include "ks/ks_imsg.h"
#include "support/faults.hpp"

#include <cstdint>
#include <mutex>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

struct recorded_message {
    int severity;
    std::string module;
    const imsg_table_t *table; // null for a literal format
    uint32_t index;
    std::string text;

    bool operator==(const recorded_message &) const = default;
    friend std::ostream &operator<<(std::ostream &out, const recorded_message &m) {
        return out << "{severity " << m.severity << ", " << m.module << ' ' << m.index << ", \"" << m.text << "\"}";
    }
};

// Takes the place of the standard streams while it lives. Recording is never refused memory and is not counted.
// One at a time in a process.
class recording_sink {
public:
    recording_sink() { imsg_set_sink(&recording_sink::record, this); }
    ~recording_sink() {
        const faults::suspend unrefused;
        imsg_set_sink(nullptr, nullptr);
    }
    recording_sink(const recording_sink &) = delete;
    recording_sink &operator=(const recording_sink &) = delete;

    std::vector<recorded_message> messages() const {
        const faults::suspend unrefused;
        const std::lock_guard lock(mutex_);
        return messages_;
    }
    // Forgets what was recorded, and gives it.
    std::vector<recorded_message> take() {
        const faults::suspend unrefused;
        const std::lock_guard lock(mutex_);
        return std::exchange(messages_, {});
    }
    size_t count() const {
        const std::lock_guard lock(mutex_);
        return messages_.size();
    }
    bool empty() const { return count() == 0; }
    void clear() { take(); }
    // All texts, one behind the other.
    std::string text() const {
        const faults::suspend unrefused;
        std::string all;
        for (const recorded_message &m : messages()) all += m.text;
        return all;
    }

private:
    static void record(void *context, int severity, const char *module, const imsg_table_t *table, uint32_t index,
                       const char *text) {
        const faults::suspend unrefused;
        auto *self = static_cast<recording_sink *>(context);
        const std::lock_guard lock(self->mutex_);
        self->messages_.push_back({severity, module, table, index, text});
    }

    mutable std::mutex mutex_;
    std::vector<recorded_message> messages_;
};

#endif
