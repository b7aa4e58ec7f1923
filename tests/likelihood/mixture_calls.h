// What the tests of all mixture members share: ways of calling, expected values, row lists of any height.
#pragma once

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <memory>
#include <sstream>
#include <type_traits>
#include <vector>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/odd_stack.h"
#include "support/reference/mixture.h"
#include "zelsr/likelihood/mixture.h"

namespace zelsr::test::mixture {

// The stack pointer modulo 16 at the call, or as the compiler has it.
inline constexpr int kCompilersStack = -1;

template <class... Parameter>
SrStatus on_stack([[maybe_unused]] int stack, SrStatus (*function)(Parameter...),
                  std::type_identity_t<Parameter>... arguments)
{
#ifdef __i386__
    if (stack != kCompilersStack) return call_misaligned(function, stack, arguments...);
#endif
    return function(arguments...);
}

// tolerance 0: to the bit.
template <class T>
struct Expected {
    T value;
    double tolerance = 0;
};

template <class T>
testing::AssertionResult as_expected(const std::vector<Expected<T>>& expected, const std::vector<T>& actual)
{
    if (expected.size() != actual.size())
        return testing::AssertionFailure() << "sizes " << expected.size() << " and " << actual.size();
    for (std::size_t i = 0; i < expected.size(); ++i) {
        if (same(expected[i].value, actual[i])) continue;
        const double apart = std::abs(static_cast<double>(expected[i].value) - static_cast<double>(actual[i]));
        if (expected[i].tolerance > 0 && apart <= expected[i].tolerance) continue;
        std::ostringstream text;
        text.precision(17);
        text << "entry " << i << ": expected " << expected[i].value << ", got " << actual[i] << ", apart " << apart
             << ", tolerance " << expected[i].tolerance;
        return testing::AssertionFailure() << text.str();
    }
    return testing::AssertionSuccess();
}

// Rows of a list at their addresses modulo 16: each between pages of its own, or, where there are many, in one
// array with gaps between them.
template <class T>
class ListedRows {
  public:
    ListedRows(const std::vector<std::vector<T>>& rows, const std::vector<int>& misalign, Edge edge)
        : source_(rows), list_(std::max<std::size_t>(rows.size(), 1))
    {
        const std::size_t spacing = rows.empty() ? 0 : (rows[0].size() * sizeof(T) + 15) / 16 * 16 + 16;
        if (rows.size() <= 16)
            apart_ = std::make_unique<GuardedRows<T>>(rows, misalign, edge);
        else
            together_ = std::make_unique<GuardedBytes>(rows.size() * spacing, Placement{});
        for (std::size_t r = 0; r < rows.size(); ++r) {
            if (together_) {
                std::byte* row =
                    together_->address() + r * spacing + static_cast<std::size_t>(misalign[r % misalign.size()]);
                std::memcpy(row, rows[r].data(), rows[r].size() * sizeof(T));
                list_.set(r, reinterpret_cast<const T*>(row));
            } else {
                list_.set(r, apart_->list()[r]);
            }
        }
        if (together_) together_->take_snapshot();
        list_.take_snapshot();
    }
    const T* const* list() const { return list_.data(); }
    bool as_before() const
    {
        if (!list_.as_snapshot() || !(together_ ? together_->as_snapshot() : apart_->intact())) return false;
        for (std::size_t r = 0; r < source_.size(); ++r)
            if (std::memcmp(list_.get(r), source_[r].data(), source_[r].size() * sizeof(T)) != 0) return false;
        return true;
    }

  private:
    const std::vector<std::vector<T>>& source_;
    std::unique_ptr<GuardedRows<T>> apart_;
    std::unique_ptr<GuardedBytes> together_;
    Guarded<const T*> list_;
};

// A model's or the frames' rows between guard pages, as a block or as a list; the other is not made.
template <class T>
class GuardedMatrix {
  public:
    GuardedMatrix(const std::vector<std::vector<T>>& rows, bool list, int step, Placement placement,
                  const std::vector<int>& misalign)
        : block_(list || rows.empty() ? std::vector<T>{T(0)} : as_block(rows, static_cast<std::size_t>(step)),
                 placement),
          rows_(list ? rows : none(), misalign, placement.edge)
    {
        block_.take_snapshot();
    }
    const T* block() const { return block_.data(); }
    const T* const* list() const { return rows_.list(); }
    bool as_before() const { return block_.as_snapshot() && rows_.as_before(); }

  private:
    static const std::vector<std::vector<T>>& none()
    {
        static const std::vector<std::vector<T>> empty;
        return empty;
    }
    Guarded<T> block_;
    ListedRows<T> rows_;
};

// The floor of the log domain, below which practically nothing lies.
template <class T>
inline constexpr T kLogZero = std::is_same_v<T, float> ? T(-4.5e6) : T(-1e10);

// The half width of uniform differences that gives a vector of this width a score of some units.
inline double deviation(int width) { return std::sqrt(12.0 / width); }

// Widths around the groups of four and eight, and the unrolled ones.
inline std::vector<int> widths()
{
    if (thin_effort()) return {1, 3, 4, 5, 7, 8, 11, 36, 40};
    return {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 24, 36, 39, 40};
}
inline std::vector<int> heights()
{
    if (thin_effort()) return {1, 2, 3, 5, 7};
    return {1, 2, 3, 4, 5, 6, 7, 8, 9};
}
// Around the blocks of 100 and 128 and the plain loops from 1000 on.
inline std::vector<int> large_heights()
{
    if (thin_effort()) return {101, 129, 1000};
    return {99, 100, 101, 127, 128, 129, 200, 201, 255, 256, 257, 999, 1000, 1001};
}

// The first element of a row, one within its registers and the last.
inline std::vector<std::size_t> ends_and_middle(std::size_t width)
{
    if (width < 3) return {width - 1};
    return {0, width / 2, width - 1};
}

inline int to_four(int width) { return (4 - width % 4) % 4; }

// Old running values beside the scores that join them: equal to the score, next to it, near and far on both
// sides, the floor, NaN and infinities.
template <class T>
T old_value_beside(T score, unsigned turn)
{
    using Limits = std::numeric_limits<T>;
    switch (turn % 16) {
        case 0:
            return score;
        case 1:
            return std::nextafter(score, Limits::infinity());
        case 2:
            return std::nextafter(score, -Limits::infinity());
        case 3:
            return kLogZero<T>;
        case 4:
            return Limits::quiet_NaN();
        case 5:
            return -Limits::infinity();
        case 6:
            return Limits::infinity();
        case 7:
            return Limits::lowest();
        case 8:
        case 9:
            return score + uniform<T>(-2, 2);
        case 10:
        case 11:
            return score + uniform<T>(-8, 8);
        default:
            return score + uniform<T>(-26, 26);
    }
}

}  // namespace zelsr::test::mixture
