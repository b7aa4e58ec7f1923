// Wave processing: weights that raise the energetic part of each pitch period.
#include <algorithm>
#include <cmath>
#include <cstdint>

#include "core/contract.h"
#include "core/simd.h"
#include "zelsr/aurora/bands.h"
#include "zelsr/core/vector.h"

namespace zelsr {
namespace {

constexpr int kFrame = 200;
constexpr int kLeastPeriod = 25, kGreatestPeriod = 79;
constexpr int kLead = 4;  // the raised part begins this far before the peak

// What the two types of samples do differently.
template <class T>
struct Arithmetic;

template <>
struct Arithmetic<float> {
    using Energy = float;
    static constexpr float low = 0.8F, unit = 1.0F, high = 1.2F;

    static float energy(float x, float before, float behind) { return std::fabs(x * x - before * behind); }
    static float times_5(float e) { return 5.0F * e; }
    static float add(float x, float y) { return x + y; }
    static float subtract(float x, float y) { return x - y; }
    static int reach(int period) { return static_cast<int>(static_cast<float>(period) * 0.8F); }
    static int position_of_largest(const float* s, int count)
    {
        float value;
        int32_t position;
        zelsMaxIndx_32f(s, count, &value, &position);
        return position;
    }
    static SrStatus multiply(const float* src, const float* weight, float* dst)
    {
        return zelsMul_32f(src, weight, dst, kFrame);
    }
};

template <>
struct Arithmetic<int16_t> {
    using Energy = int32_t;
    static constexpr int16_t low = 27, unit = 32, high = 38;  // Q5

    static int32_t energy(int32_t x, int32_t before, int32_t behind)
    {
        const int32_t e = x * x - before * behind;
        return std::max(e, -e);
    }
    static int32_t times_5(int32_t e) { return static_cast<int32_t>(5u * static_cast<uint32_t>(e)); }
    static int32_t add(int32_t x, int32_t y)
    {
        return static_cast<int32_t>(static_cast<uint32_t>(x) + static_cast<uint32_t>(y));
    }
    static int32_t subtract(int32_t x, int32_t y)
    {
        return static_cast<int32_t>(static_cast<uint32_t>(x) - static_cast<uint32_t>(y));
    }
    static int reach(int period) { return period * 27 >> 5; }  // 0.84375, not 0.8: wanted
    // Two loops, of which the compiler makes the first one go by registers.
    static int position_of_largest(const int32_t* s, int count)
    {
        int32_t largest = s[0];
        for (int i = 1; i < count; ++i) largest = std::max(largest, s[i]);
        return static_cast<int>(std::find(s, s + count, largest) - s);
    }
    static SrStatus multiply(const int16_t* src, const int16_t* weight, int16_t* dst)
    {
        return zelsMul_16s_Sfs(src, weight, dst, kFrame, 5);
    }
};

// Energies summed over nine samples each, the end values repeated.
template <class T, class Energy = typename Arithmetic<T>::Energy>
void smooth_energies(const T* src, Energy* s)
{
    using A = Arithmetic<T>;
    // e[i] stands at i + 5, with the first energy in the five places before it and the last in the four behind.
    Energy padded[5 + kFrame + 4], *const e = padded + 5;
    const auto x = [&](int i) { return load_one(src + i); };
    e[0] = A::energy(x(0), x(0), x(1));
    for (int i = 1; i < kFrame - 1; ++i) e[i] = A::energy(x(i), x(i - 1), x(i + 1));
    e[kFrame - 1] = A::energy(x(kFrame - 1), x(kFrame - 2), x(kFrame - 1));
    std::fill(padded, e, e[0]);
    std::fill(e + kFrame, e + kFrame + 4, e[kFrame - 1]);

    Energy sum = A::times_5(e[0]);
    for (int i = 1; i <= 4; ++i) sum = A::add(sum, e[i]);
    s[0] = sum;
    for (int i = 1; i < kFrame; ++i) s[i] = sum = A::add(A::subtract(sum, e[i - 5]), e[i + 4]);
}

// The peaks in ascending order: at least two, a period apart each, and eight at most.
class Peaks {
  public:
    template <class A, class Energy>
    void find(A, const Energy* s)
    {
        const int main = A::position_of_largest(s, kFrame);
        int* first = peaks_ + kMost;
        *first = main;
        for (int c = main; c > kLeastPeriod;) {
            const int back = std::min(c, kGreatestPeriod);
            c -= back;
            c += A::position_of_largest(s + c, back - kLeastPeriod + 1);
            *--first = c;
        }
        int* last = peaks_ + kMost;
        for (int c = main; c < kFrame - kLeastPeriod;) {
            c += kLeastPeriod;
            c += A::position_of_largest(s + c, std::min(kGreatestPeriod - kLeastPeriod + 1, kFrame - c));
            *++last = c;
        }
        first_ = first;
        last_ = last;
    }
    const int* first() const { return first_; }
    const int* last() const { return last_; }

  private:
    static constexpr int kMost = kFrame / kLeastPeriod;  // on each side of the main one

    int peaks_[2 * kMost + 1];
    const int *first_, *last_;
};

// Peaks lie so far apart that a raised part is never empty and begins before the frame's last samples; a later
// one may overwrite the end of the one before it.
template <class T>
void set_weights(const Peaks& peaks, T* w)
{
    using A = Arithmetic<T>;
    std::fill(w, w + kFrame, A::low);
    for (const int* peak = peaks.first(); peak <= peaks.last(); ++peak) {
        const int period = peak < peaks.last() ? peak[1] - peak[0] : peak[0] - peak[-1];
        const int begin = std::max(*peak - kLead, 0);
        const int end = std::min(*peak + A::reach(period) - kLead, kFrame);
        std::fill(w + begin, w + end, A::high);
        if (begin > 0) w[begin - 1] = w[begin] = A::unit;
        if (end < kFrame) w[end - 1] = w[end] = A::unit;
    }
}

template <class T>
SrStatus wave_processing(const T* src, T* dst)
{
    typename Arithmetic<T>::Energy s[kFrame];
    T w[kFrame];
    Peaks peaks;
    smooth_energies(src, s);
    peaks.find(Arithmetic<T>(), s);
    set_weights(peaks, w);
    return Arithmetic<T>::multiply(src, w, dst);
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsWaveProcessing_Aurora_32f(const float* src, float* dst)
{
    if (SrStatus failed = first_failure(non_null(src, dst))) return failed;
    return wave_processing(src, dst);
}

SrStatus zelsWaveProcessing_Aurora_16s(const int16_t* src, int16_t* dst)
{
    if (SrStatus failed = first_failure(non_null(src, dst))) return failed;
    return wave_processing(src, dst);
}
