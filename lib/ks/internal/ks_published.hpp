// ks_published.hpp - a value that many threads use while one replaces it.
#ifndef KS_INTERNAL_KS_PUBLISHED_HPP
#define KS_INTERNAL_KS_PUBLISHED_HPP

#include <atomic>
#include <cstdint>
#include <mutex>
#include <type_traits>

namespace ks {

// Two slots, of which one is current. A reader counts itself into the current slot and looks again whether it still
// is; a writer fills the other one, makes it current and waits until the first one is left. So readers never wait,
// writers wait only for readers that were there before, and no reader holds them up for ever by coming again.
template <class T> class published {
    static_assert(std::is_trivially_copyable_v<T> && std::is_trivially_destructible_v<T>);

    struct slot {
        T value{};
        std::atomic<uint32_t> readers{0};
    };

public:
    constexpr published() noexcept = default;
    published(const published &) = delete;
    published &operator=(const published &) = delete;

    // Keeps the value from being given back by replace() while it lives.
    class reader {
    public:
        explicit reader(published &of) noexcept : of_(of) {
            for (;;) {
                const uint32_t at = of_.current_.load();
                slot_ = &of_.slots_[at];
                slot_->readers.fetch_add(1);
                if (of_.current_.load() == at) return;
                leave();
            }
        }
        ~reader() { leave(); }
        reader(const reader &) = delete;
        reader &operator=(const reader &) = delete;

        const T &operator*() const noexcept { return slot_->value; }
        const T *operator->() const noexcept { return &slot_->value; }

    private:
        void leave() noexcept {
            const bool last = slot_->readers.fetch_sub(1) == 1;
            if (last && &of_.slots_[of_.current_.load()] != slot_) slot_->readers.notify_all();
        }

        published &of_;
        slot *slot_;
    };

    // Publishes a value and gives the former one, which no reader has any more. Not from inside a reader.
    T replace(T value) noexcept {
        const std::lock_guard lock(writers_);
        const uint32_t old = current_.load();
        slots_[1 - old].value = value;
        current_.store(1 - old);
        for (uint32_t inside; (inside = slots_[old].readers.load()) != 0;) slots_[old].readers.wait(inside);
        return slots_[old].value;
    }

private:
    slot slots_[2];
    std::atomic<uint32_t> current_{0};
    std::mutex writers_;
};

} // namespace ks

#endif
