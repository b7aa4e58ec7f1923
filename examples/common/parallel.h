// Independent pieces of work on several threads.
#pragma once

#include <algorithm>
#include <atomic>
#include <cstddef>
#include <exception>
#include <thread>
#include <vector>

namespace zelsr::examples {

// 0 wanted: as many as there are processors.
inline int thread_count(int wanted)
{
    return wanted > 0 ? wanted : static_cast<int>(std::clamp(std::thread::hardware_concurrency(), 1U, 64U));
}

// Calls work(i) for every i below count, each on some thread; the results must not depend on which, or when. The
// first failure by i is thrown when all threads have stopped, which take no new work after one.
template <class Work>
void for_all(std::size_t count, int threads, Work work)
{
    std::atomic<std::size_t> next = 0;
    std::vector<std::exception_ptr> failures(count);
    const auto run = [&] {
        for (std::size_t i = next++; i < count; i = next++) {
            try {
                work(i);
            } catch (...) {
                failures[i] = std::current_exception();
                next = count;
            }
        }
    };
    std::vector<std::jthread> others;
    for (int i = 1; i < thread_count(threads) && static_cast<std::size_t>(i) < count; ++i)
        others.emplace_back(run);
    run();
    others.clear();  // joins
    for (const std::exception_ptr& failure : failures)
        if (failure) std::rethrow_exception(failure);
}

}  // namespace zelsr::examples
