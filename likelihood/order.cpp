// Order statistics.
#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <utility>

#include "core/contract.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "zelsr/likelihood/order.h"

namespace zelsr {
namespace {

// What stands in the place of rank n, after some reordering. Ranges shrink around n: around a pivot, the range's
// first element, those not below it come to stand in front of it and those below it behind it. Data in an
// unfortunate order, which the partition would take quadratic time for, go to a heap in the end.
template <class T>
T select(T* a, int32_t len, int32_t n)
{
    int64_t budget = int64_t{32} * len;
    int32_t low = 0;
    int32_t high = len - 1;
    while (low < high) {
        budget -= high - low;
        if (budget < 0) {
            std::partial_sort(a + low, a + n + 1, a + high + 1, std::greater<>());
            return a[n];
        }
        const T pivot = a[low];
        // The pivot itself ends the walk from the right; from the left, what was swapped ends all but the first.
        int32_t left = low + 1;
        int32_t right = high;
        while (left <= high && !(a[left] < pivot)) ++left;
        while (a[right] < pivot) --right;
        while (left < right) {
            std::swap(a[left], a[right]);
            while (!(a[++left] < pivot)) {
            }
            while (a[--right] < pivot) {
            }
        }
        const int32_t last = left - 1;  // of those not below the pivot
        std::swap(a[low], a[last]);
        int32_t first_equal = last;
        while (first_equal > low && a[first_equal - 1] == pivot) --first_equal;
        if (n > last)
            low = last + 1;
        else if (n < first_equal)
            high = first_equal - 1;
        else
            return pivot;
    }
    return a[low];
}

template <class T>
SrStatus nth_max(const T* src, int32_t len, int32_t n, T* result)
{
    const Scratch<T> copy(len);
    if (!copy) return SrErrMemAlloc;
    std::memcpy(copy.data(), src, static_cast<std::size_t>(len) * sizeof(T));
    store_one(result, select(copy.data(), len, n));
    return SrOk;
}

SrStatus rank(int32_t n, int32_t len) { return require(n >= 0 && n < len, SrErrBadArg); }

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsNthMaxElement_32s(const int32_t* src, int32_t len, int32_t n, int32_t* result)
{
    if (SrStatus failed = first_failure(non_null(src, result), positive(len), rank(n, len))) return failed;
    return nth_max(src, len, n, result);
}

SrStatus zelsNthMaxElement_32f(const float* src, int32_t len, int32_t n, float* result)
{
    if (SrStatus failed = first_failure(non_null(src, result), positive(len), rank(n, len))) return failed;
    return nth_max(src, len, n, result);
}

SrStatus zelsNthMaxElement_64f(const double* src, int32_t len, int32_t n, double* result)
{
    if (SrStatus failed = first_failure(non_null(src, result), positive(len), rank(n, len))) return failed;
    return nth_max(src, len, n, result);
}
