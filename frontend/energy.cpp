// Log energies against their maximum, with a floor for silence.
#include <algorithm>
#include <limits>

#include "core/contract.h"
#include "core/convert.h"
#include "core/elementwise.h"
#include "core/groups.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "zelsr/frontend/energy.h"

namespace zelsr {
namespace {

constexpr float kNepersPerDecibel = 0.230259F;  // ln 10 / 10
constexpr int32_t kOnStack = 1024;              // elements of a column whose copy needs no allocation

template <class T>
struct Column {
    T* first;
    std::ptrdiff_t step;
    int32_t height;

    T* operator[](std::ptrdiff_t r) const { return first + r * step; }
};

// 1 - (M - max(x, floor)) * scale. A NaN counts as the floor: the maximum is its second operand then.
struct Normalised {
    __m128 highest, floor, scale, unit;

    Normalised(float max_energy, float lowest, float factor, float one)
        : highest(repeat(max_energy)), floor(repeat(lowest)), scale(repeat(factor)), unit(repeat(one))
    {}
    __m128 operator()(__m128 x) const { return unit - (highest - _mm_max_ps(x, floor)) * scale; }
};

void normalise(const Column<float>& column, float silence_floor, float max_energy, float scale)
{
    const Normalised normalised(max_energy, max_energy - silence_floor * kNepersPerDecibel, scale, 1.0F);
    if (column.step == 1) return elementwise(normalised, column.first, column.height, column.first);
    for (std::ptrdiff_t r = 0; r < column.height; ++r)
        OneElement::put(column[r], normalised(OneElement::of(column[r])));
}

inline __m128 load(const Column<float>& column, std::ptrdiff_t r)
{
    return column.step == 1 ? Unaligned::four(column[r]) : OneElement::of(column[r]);
}

// NaN elements left aside. Four maxima at a time, since each waits for the one before it.
float largest(const Column<float>& column)
{
    const std::ptrdiff_t lanes = column.step == 1 ? 4 : 1;
    __m128 best[4];
    for (__m128& one : best) one = repeat(-std::numeric_limits<float>::infinity());
    std::ptrdiff_t r = 0;
    for (; r + 4 * lanes <= column.height; r += 4 * lanes)
        for_each_index<4>([&](auto n) __attribute__((always_inline)) {
            best[n] = _mm_max_ps(load(column, r + n * lanes), best[n]);
        });
    for (; r < column.height; ++r) best[0] = _mm_max_ps(OneElement::of(column[r]), best[0]);
    const __m128 four = _mm_max_ps(_mm_max_ps(best[0], best[1]), _mm_max_ps(best[2], best[3]));
    const __m128 two = _mm_max_ps(four, _mm_movehl_ps(four, four));
    return _mm_cvtss_f32(_mm_max_ss(two, _mm_shuffle_ps(two, two, 1)));
}

// What 16-bit energies are held against.
struct Scale_16s {
    int16_t silence_floor, max_energy, unit;
    float scale;

    float floor() const { return max_energy - static_cast<float>(silence_floor) * kNepersPerDecibel; }
};

// In single precision, limited to 16 bits, truncated.
void normalise_plain(int16_t* energies, int32_t count, const Scale_16s& s, float floor)
{
    if (count < 1) return;
    const Normalised normalised(s.max_energy, floor, s.scale, s.unit);
    const auto step = [&](int16_t* to, const int16_t* from) {
        const __m128i x = Unaligned::bytes(from);
        const __m128 low = normalised(_mm_cvtepi32_ps(low_16s32s(x)));
        const __m128 high = normalised(_mm_cvtepi32_ps(high_16s32s(x)));
        Unaligned::put(to, _mm_packs_epi32(limited_to_16s<Rounding::TowardZero>(low),
                                           limited_to_16s<Rounding::TowardZero>(high)));
    };
    in_groups<8>(count, energies, step, energies);
}

// In integers, the scale in Q10.
void normalise_integers(int16_t* energies, int32_t count, const Scale_16s& s, int16_t floor)
{
    if (count < 1) return;
    const auto scale = static_cast<int16_t>(_mm_cvttss_si32(_mm_set_ss(1024.0F * s.scale)));
    const __m128i lowest = _mm_set1_epi16(floor), highest = _mm_set1_epi16(s.max_energy);
    const __m128i factor = _mm_set1_epi16(scale), unit = _mm_set1_epi16(s.unit);
    const auto step = [&](int16_t* to, const int16_t* from) {
        const __m128i e = _mm_subs_epi16(highest, _mm_max_epi16(Unaligned::bytes(from), lowest));
        const __m128i low = _mm_mullo_epi16(e, factor), high = _mm_mulhi_epi16(e, factor);
        const __m128i p = _mm_packs_epi32(_mm_srai_epi32(_mm_unpacklo_epi16(low, high), 10),
                                          _mm_srai_epi32(_mm_unpackhi_epi16(low, high), 10));
        Unaligned::put(to, _mm_subs_epi16(unit, p));
    };
    in_groups<8>(count, energies, step, energies);
}

// Half away from zero; a single plus one half is exact in double.
int16_t rounded_to_16s(float x)
{
    const double limited = std::clamp(static_cast<double>(x), -32768.0, 32767.0);
    return static_cast<int16_t>(limited + (limited < 0 ? -0.5 : 0.5));
}

bool takes_plain_form(float scale) { return scale >= 1.001F; }

// The last rows of the fast form, fewer than four, take the plain one with the fast one's floor: wanted.
[[gnu::noinline]] void normalise(int16_t* energies, int32_t height, const Scale_16s& s, bool plain)
{
    if (plain) return normalise_plain(energies, height, s, s.floor());
    const int16_t floor = rounded_to_16s(s.floor());
    const int32_t whole = height & ~3;
    normalise_integers(energies, whole, s, floor);
    normalise_plain(energies + whole, height - whole, s, floor);
}

void copy_out(const Column<int16_t>& column, int16_t* to)
{
    for (std::ptrdiff_t r = 0; r < column.height; ++r) to[r] = load_one(column[r]);
}
void copy_back(const int16_t* from, const Column<int16_t>& column)
{
    for (std::ptrdiff_t r = 0; r < column.height; ++r) store_one(column[r], from[r]);
}

int16_t largest(const int16_t* energies, int32_t count)
{
    int16_t best = INT16_MIN;
    for (int32_t r = 0; r < count; ++r) best = std::max(best, energies[r]);
    return best;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsNormEnergy_32f(float* column, int32_t step, int32_t height, float silence_floor, float scale)
{
    if (SrStatus failed = first_failure(non_null(column), positive(step, height))) return failed;
    const Column<float> energies{column, step, height};
    normalise(energies, silence_floor, largest(energies), scale);
    return SrOk;
}

SrStatus zelsNormEnergy_16s(int16_t* column, int32_t step, int32_t height, int16_t silence_floor, int16_t unit,
                            float scale)
{
    if (SrStatus failed = first_failure(non_null(column), positive(step, height))) return failed;
    const Scratch<int16_t, kOnStack + 8> copy(int64_t{height} + 8);
    if (!copy) return SrErrMemAlloc;
    const Column<int16_t> energies{column, step, height};
    copy_out(energies, copy.data());
    const int16_t max_energy = largest(copy.data(), height);
    const DefaultFloatEnvironment environment;
    normalise(copy.data(), height, {silence_floor, max_energy, unit, scale},
              takes_plain_form(scale) || height < 11);
    copy_back(copy.data(), energies);
    return SrOk;
}

SrStatus zelsNormEnergy_RT_32f(float* column, int32_t step, int32_t height, float silence_floor, float max_energy,
                               float scale)
{
    if (SrStatus failed = first_failure(non_null(column), positive(step, height))) return failed;
    normalise(Column<float>{column, step, height}, silence_floor, max_energy, scale);
    return SrOk;
}

SrStatus zelsNormEnergy_RT_16s(int16_t* column, int32_t step, int32_t height, int16_t silence_floor,
                               int16_t max_energy, int16_t unit, float scale)
{
    if (SrStatus failed = first_failure(non_null(column), positive(step, height))) return failed;
    const DefaultFloatEnvironment environment;
    const Scale_16s against{silence_floor, max_energy, unit, scale};
    int16_t copy[kOnStack];  // a multiple of four rows at a time
    const Column<int16_t> all{column, step, height};
    for (int64_t r = 0; r < height; r += kOnStack) {
        const auto rows = static_cast<int32_t>(std::min<int64_t>(height - r, kOnStack));
        const Column<int16_t> energies{all[static_cast<std::ptrdiff_t>(r)], step, rows};
        copy_out(energies, copy);
        normalise(copy, energies.height, against, takes_plain_form(scale));
        copy_back(copy, energies);
    }
    return SrOk;
}
