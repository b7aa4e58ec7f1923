// The allocator hooks, watched: how many blocks, how large, released or not, and any of them refused.
#pragma once

#include <gtest/gtest.h>

#include <cstddef>
#include <functional>
#include <vector>

#include "support/guarded.h"
#include "zelsr/types.h"

namespace zelsr::test {

// While it lives, the library allocates through it. One at a time.
class AllocatorWatch {
  public:
    // refuse: the how-manieth request is refused, counted from 1; 0 refuses none.
    explicit AllocatorWatch(int refuse = 0);
    ~AllocatorWatch();
    AllocatorWatch(const AllocatorWatch&) = delete;
    AllocatorWatch& operator=(const AllocatorWatch&) = delete;

    int requests() const;                           // refused ones included
    const std::vector<std::size_t>& sizes() const;  // bytes asked for, in order
    int live() const;                               // blocks not yet released
};

// Calls it once to learn how many blocks it asks for (at least one), then once for every block with that one
// refused: each time the status must be SrErrMemAlloc, the outputs as before, and nothing left allocated.
// call: makes the library call and releases whatever a success handed out.
void expect_survives_refusals(const std::function<SrStatus()>& call, const std::vector<GuardedBytes*>& outputs);

}  // namespace zelsr::test
