// The all-integer bank as its tests handle it.
#pragma once

#include <gtest/gtest.h>

#include <vector>

#include "support/guarded.h"
#include "support/hooks.h"
#include "support/reference/integer_bank.h"
#include "zelsr/frontend/integer_bank.h"

namespace zelsr::test {
using reference::at;
using reference::IntegerArguments;
using reference::rounded_length;
using reference::rounded_order;

constexpr int32_t kMelMul = 1127 << 15, kMelDiv = 700 << 15;

// For any number of filters; it has room for 64-bit pointers too.
inline int32_t formula(int length, int n)
{
    const int32_t h = rounded_length(length) / 2, t = 4 * n + 8;
    return 4 * n + 96 + 9 * t + (9 * t + 4 * h * (n + 2)) + 4 * h * (n + 2) + 64;
}
inline int32_t size_of(int length, int n)
{
    int32_t size = -1;
    if (n > rounded_length(length) / 2) return formula(length, n);
    EXPECT_EQ(zelsMelFBankGetSize_32s(length, n, 2, &size), SrOk);
    return size;
}

inline SrStatus init(void* block, int32_t* order, const IntegerArguments& a, int32_t flag = 2)
{
    return zelsMelFBankInit_32s(static_cast<ZelFBankState_32s*>(block), order, a.length, a.rate, a.low, a.high,
                                a.filters, a.mel_mul, a.mel_div, flag);
}

// A bank between guard pages.
class Block {
  public:
    explicit Block(const IntegerArguments& a, Placement place = {})
        : bytes_(static_cast<std::size_t>(size_of(a.length, a.filters)), place)
    {
        int32_t order = -1;
        AllocatorWatch watch;
        EXPECT_EQ(init(bytes_.data(), &order, a), SrOk);
        EXPECT_EQ(watch.requests(), 0);
        EXPECT_EQ(order, rounded_order(a.length));
        EXPECT_TRUE(bytes_.intact());
    }
    const ZelFBankState_32s* get() const { return reinterpret_cast<const ZelFBankState_32s*>(bytes_.data()); }
    uint8_t* data() const { return bytes_.data(); }
    bool intact() const { return bytes_.intact(); }

  private:
    Guarded<uint8_t> bytes_;
};

inline std::vector<int32_t> results(const reference::Bank<int32_t>& bank, const std::vector<int32_t>& x,
                                    int32_t sf)
{
    std::vector<int32_t> all;
    for (int64_t sum : reference::integer_sums(bank, x)) all.push_back(reference::integer_result(sum, sf));
    return all;
}

}  // namespace zelsr::test
