#include "ks/ks_thread.h"

#include <gtest/gtest.h>

#include <cstring>
#include <pthread.h>
#include <thread>
#include <vector>

namespace {

TEST(TvthreadMutex, IsReadyWhenAllZero) {
    const tvthread_mutex_t ours = TVTHREAD_MUTEX_INIT;
    const pthread_mutex_t systems = PTHREAD_MUTEX_INITIALIZER;
    EXPECT_EQ(std::memcmp(&ours, &systems, sizeof systems), 0);
}

TEST(TvthreadMutex, LetsOneThreadInAtATime) {
    static tvthread_mutex_t mutex = TVTHREAD_MUTEX_INIT;
    long count = 0; // a race on it is what the thread sanitizer looks for
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; i++) {
        threads.emplace_back([&] {
            for (int n = 0; n < 20000; n++) {
                tvthread_mutex_lock(&mutex);
                count = count + 1;
                tvthread_mutex_unlock(&mutex);
            }
        });
    }
    for (std::thread &thread : threads) thread.join();
    EXPECT_EQ(count, 80000);
}

TEST(TvthreadMutex, IgnoresNull) {
    tvthread_mutex_lock(nullptr);
    tvthread_mutex_unlock(nullptr);
}

} // namespace
