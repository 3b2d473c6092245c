// threads.hpp - threads that help with work which one could do alone.
#ifndef TOOLS_TBS_THREADS_HPP
#define TOOLS_TBS_THREADS_HPP

#include <cstddef>
#include <system_error>
#include <thread>
#include <vector>

namespace tool {

// Starts threads beside the caller's, which is the first of `wanted`; fewer when the host gives no more.
template <class F> void start_threads(std::vector<std::jthread> &others, size_t wanted, F work) {
    try {
        while (others.size() + 1 < wanted) others.emplace_back(work);
    } catch (const std::system_error &) {
        // those that there are do all of it
    }
}

} // namespace tool

#endif
