// all_threads.hpp - many threads that begin at the same moment.
#ifndef TESTS_SUPPORT_ALL_THREADS_HPP
#define TESTS_SUPPORT_ALL_THREADS_HPP

#include <latch>
#include <thread>
#include <vector>

// Runs body(number) on `count` threads from the same moment on. The threads count what they find wrong themselves:
// assertions of the test framework would order them.
template <class Body> void on_all_threads(int count, Body &&body) {
    std::latch start(count);
    std::vector<std::thread> threads;
    for (int number = 0; number < count; number++) {
        threads.emplace_back([&, number] {
            start.arrive_and_wait();
            body(number);
        });
    }
    for (std::thread &thread : threads) thread.join();
}

#endif
