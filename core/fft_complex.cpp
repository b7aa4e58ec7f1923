// The passes of the complex FFT.
#include "core/fft_complex.h"

namespace zelsr::fft {
namespace {

// Sub-transforms of this many values run to their end before the next one starts, so that their passes stay
// in the first-level cache (32 KiB).
constexpr std::size_t kCachedValues = 4096;

// The DFT of four values in bit-reversed order; the results replace them in order.
template <int L>
inline void butterfly4(Complex<L>& x0, Complex<L>& x2, Complex<L>& x1, Complex<L>& x3)
{
    const Complex<L> sum02 = x0 + x2, diff02 = x0 - x2, sum13 = x1 + x3, diff13 = x1 - x3;
    x0 = sum02 + sum13;
    x2 = minus_i(diff02, diff13);
    x1 = sum02 - sum13;
    x3 = plus_i(diff02, diff13);
}

// The DFT of eight values x[0], x[1], ... into y[0], y[1], ...: those of the even and of the odd inputs, joined
// with the twiddles exp(-2 pi i k / 8).
template <int L>
inline void butterfly8(const Complex<L>* x, Complex<L>* y)
{
    Complex<L> odd[4] = {x[1], x[5], x[3], x[7]};
    butterfly4(odd[0], odd[1], odd[2], odd[3]);
    const auto half_root = Register<L>::splat(0.70710678118654752440F);
    odd[1] = {(odd[1].re + odd[1].im) * half_root, (odd[1].im - odd[1].re) * half_root};
    odd[3] = {(odd[3].im - odd[3].re) * half_root, (odd[3].re + odd[3].im) * half_root};  // conjugate

    Complex<L> even[4] = {x[0], x[4], x[2], x[6]};
    butterfly4(even[0], even[1], even[2], even[3]);
    y[0] = even[0] + odd[0];
    y[4] = even[0] - odd[0];
    y[1] = even[1] + odd[1];
    y[5] = even[1] - odd[1];
    y[2] = minus_i(even[2], odd[2]);
    y[6] = plus_i(even[2], odd[2]);
    y[3] = {even[3].re + odd[3].re, even[3].im - odd[3].im};
    y[7] = {even[3].re - odd[3].re, even[3].im + odd[3].im};
}

inline void transpose(Complex4* z)
{
    _MM_TRANSPOSE4_PS(z[0].re, z[1].re, z[2].re, z[3].re);
    _MM_TRANSPOSE4_PS(z[0].im, z[1].im, z[2].im, z[3].im);
}

// Four butterflies' outputs, those of number k in z[k], to the places of the four inputs i = 0 to 3 of a group.
// In bit-reversed order input i lies 0, 2, 1, 3 quarters of the work memory behind input 0.
inline void store_group(float* p, std::size_t quarter, Complex4* z)
{
    transpose(z);
    store_block(p, z[0]);
    store_block(p + 2 * quarter, z[1]);
    store_block(p + quarter, z[2]);
    store_block(p + 3 * quarter, z[3]);
}

template <Direction D>
void first_pass4(const float* src, float* work, std::size_t values, const int32_t* reversal)
{
    const std::size_t quarter = values / 2;  // in floats
    const float* end = src + quarter;
    for (; src != end; src += 8, ++reversal) {
        Complex4 z[4];
        for (std::size_t q = 0; q < 4; ++q) z[q] = load_interleaved<D>(src + q * quarter);
        butterfly4(z[0], z[2], z[1], z[3]);
        Complex4 y[4] = {z[0], z[2], z[1], z[3]};
        store_group(work + *reversal, quarter, y);
    }
}

template <Direction D>
void first_pass8(const float* src, float* work, std::size_t values, const int32_t* reversal)
{
    const std::size_t eighth = values / 4, quarter = values / 2;  // in floats
    const float* end = src + eighth;
    for (; src != end; src += 8, ++reversal) {
        Complex4 z[8], y[8];
        for (std::size_t q = 0; q < 8; ++q) z[q] = load_interleaved<D>(src + q * eighth);
        butterfly8(z, y);
        store_group(work + *reversal, quarter, y);
        store_group(work + *reversal + 8, quarter, y + 4);
    }
}

// All of a transform of eight values.
template <Direction D>
void transform8(const float* src, float* work)
{
    Complex1 z[8], y[8];
    for (int k = 0; k < 8; ++k) {
        z[k] = {load_one(src + 2 * k), load_one(src + 2 * k + 1)};
        if (D == Direction::Inverse) z[k] = {z[k].im, z[k].re};
    }
    butterfly8(z, y);
    for (int k = 0; k < 8; ++k) {
        work[k / 4 * 8 + k % 4] = y[k].re;
        work[k / 4 * 8 + k % 4 + 4] = y[k].im;
    }
}

// Where a pass leaves its results: in place, or interleaved in another array.
struct InPlace {
    void put(float* p, std::size_t offset, Complex4 z) const { store_block(p + offset, z); }
};
template <Direction D>
struct IntoArray {
    float* dst;
    const float* work;
    __m128 factor;

    void put(const float* p, std::size_t offset, Complex4 z) const
    {
        store_interleaved<D>(dst + (p - work) + offset, {z.re * factor, z.im * factor});
    }
};

// Joins groups times four neighbouring sub-transforms of sub values, which stand in bit-reversed order.
template <class Sink>
inline void pass4(float* data, std::size_t groups, std::size_t sub, const float* twiddles, Sink sink)
{
    const std::size_t step = 2 * sub;  // in floats
    for (; groups != 0; --groups, data += 3 * step) {
        const float* w = twiddles;
        for (const float* end = data + step; data != end; data += 8, w += 24) {
            const Complex4 x0 = load_block(data), x2 = load_block(data + step) * load_block(w);
            const Complex4 sum02 = x0 + x2, diff02 = x0 - x2;
            const Complex4 x1 = load_block(data + 2 * step) * load_block(w + 8);
            const Complex4 x3 = load_block(data + 3 * step) * load_block(w + 16);
            const Complex4 sum13 = x1 + x3, diff13 = x1 - x3;
            sink.put(data, 0, sum02 + sum13);
            sink.put(data, step, minus_i(diff02, diff13));
            sink.put(data, 2 * step, sum02 - sum13);
            sink.put(data, 3 * step, plus_i(diff02, diff13));
        }
    }
}

// The passes after the first, for values neighbours.
void join(float* data, std::size_t values, const Plan& plan)
{
    if (values > kCachedValues) {
        for (int quarter = 0; quarter < 4; ++quarter)
            join(data + static_cast<std::size_t>(quarter) * (values / 2), values / 4, plan);
        pass4(data, 1, values / 4, plan.twiddles + twiddles_of_pass(plan.m, values / 4), InPlace{});
        return;
    }
    for (auto sub = static_cast<std::size_t>(first_radix(plan.m)); sub < values; sub *= 4)
        pass4(data, values / (4 * sub), sub, plan.twiddles + twiddles_of_pass(plan.m, sub), InPlace{});
}

// The passes after the first, the last of them into dst.
template <Direction D>
void join_into(float* dst, float* work, const Plan& plan, float factor)
{
    const std::size_t values = std::size_t{1} << plan.m;
    const IntoArray<D> sink{dst, work, _mm_set1_ps(factor)};
    if (plan.m == 3) {
        for (std::size_t offset = 0; offset < 16; offset += 8) sink.put(work, offset, load_block(work + offset));
        return;
    }
    for (std::size_t quarter = 0; quarter < 4; ++quarter) join(work + quarter * (values / 2), values / 4, plan);
    pass4(work, 1, values / 4, plan.twiddles + twiddles_of_pass(plan.m, values / 4), sink);
}

template <Direction D>
void first_pass(const float* src, float* work, const Plan& plan)
{
    const std::size_t values = std::size_t{1} << plan.m;
    if (plan.m == 3)
        transform8<D>(src, work);
    else if (first_radix(plan.m) == 4)
        first_pass4<D>(src, work, values, plan.reversal);
    else
        first_pass8<D>(src, work, values, plan.reversal);
}

// Four groups of Radix neighbours each, in bit-reversed order: the butterflies inside each group.
template <Direction D, std::size_t Radix>
void first_pass_reversed(const float* src, float* work, std::size_t values)
{
    for (const float* end = src + 2 * values; src != end; src += 8 * Radix, work += 8 * Radix) {
        Complex4 z[Radix];
        for (std::size_t half = 0; half < Radix; half += 4) {
            for (std::size_t group = 0; group < 4; ++group)
                z[half + group] = load_interleaved<D>(src + 2 * Radix * group + 2 * half);
            transpose(z + half);
        }
        if constexpr (Radix == 4) {
            butterfly4(z[0], z[1], z[2], z[3]);
            transpose(z);
            for (std::size_t group = 0; group < 4; ++group) store_block(work + 8 * group, z[group]);
        } else {
            const Complex4 x[8] = {z[0], z[4], z[2], z[6], z[1], z[5], z[3], z[7]};
            butterfly8(x, z);
            transpose(z);
            transpose(z + 4);
            for (std::size_t group = 0; group < 4; ++group) {
                store_block(work + 16 * group, z[group]);
                store_block(work + 16 * group + 8, z[group + 4]);
            }
        }
    }
}

}  // namespace

void transform_to_blocks(const float* src, float* work, const Plan& plan)
{
    first_pass<Direction::Forward>(src, work, plan);
    join(work, std::size_t{1} << plan.m, plan);
}

void transform_inverse(const float* src, float* dst, float* work, const Plan& plan, float factor)
{
    first_pass<Direction::Inverse>(src, work, plan);
    join_into<Direction::Inverse>(dst, work, plan, factor);
}

template <Direction D>
void transform_reversed(float* data, float* work, const Plan& plan)
{
    const std::size_t values = std::size_t{1} << plan.m;
    if (first_radix(plan.m) == 4)
        first_pass_reversed<D, 4>(data, work, values);
    else
        first_pass_reversed<D, 8>(data, work, values);
    join_into<D>(data, work, plan, 1.0F);
}
template void transform_reversed<Direction::Forward>(float*, float*, const Plan&);
template void transform_reversed<Direction::Inverse>(float*, float*, const Plan&);

}  // namespace zelsr::fft
