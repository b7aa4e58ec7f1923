// The passes of the complex FFT.
#include "core/fft_complex.h"

namespace zelsr::fft {
namespace {

// Sub-transforms of this many values run to their end before the next one starts, so that their passes stay
// in the first-level cache (32 KiB).
constexpr std::size_t kCachedValues = 4096;

// Butterflies stay in registers: they are inlined whatever their size.

// The DFT of four values in bit-reversed order; the results replace them in order.
template <int L>
[[gnu::always_inline]] inline void butterfly4(Complex<L>& x0, Complex<L>& x2, Complex<L>& x1, Complex<L>& x3)
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
[[gnu::always_inline]] inline void butterfly8(const Complex<L>* x, Complex<L>* y)
{
    Complex<L> odd[4] = {x[1], x[5], x[3], x[7]};
    butterfly4(odd[0], odd[1], odd[2], odd[3]);
    const auto half_root = Register<L>::splat(kHalfRoot);
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

[[gnu::always_inline]] inline void transpose(Complex4* z)
{
    _MM_TRANSPOSE4_PS(z[0].re, z[1].re, z[2].re, z[3].re);
    _MM_TRANSPOSE4_PS(z[0].im, z[1].im, z[2].im, z[3].im);
}

// The first pass works on registers of two neighbouring values as they lie in the source.

// -i times both values; of the inverse, whose real and imaginary parts are exchanged, i times.
template <Direction D>
[[gnu::always_inline]] inline __m128 turn_back(__m128 pair)
{
    alignas(16) static constexpr std::uint32_t kSigns[2][4] = {{0, 1U << 31, 0, 1U << 31},
                                                               {1U << 31, 0, 1U << 31, 0}};
    const __m128 signs = _mm_load_ps(reinterpret_cast<const float*>(kSigns[D == Direction::Inverse]));
    return _mm_xor_ps(_mm_shuffle_ps(pair, pair, _MM_SHUFFLE(2, 3, 0, 1)), signs);
}

[[gnu::always_inline]] inline __m128 load_neighbours(const float* p) { return in_register(Unaligned::four(p)); }

// As butterfly4 above, on pairs.
template <Direction D>
[[gnu::always_inline]] inline void butterfly_pairs4(__m128& x0, __m128& x2, __m128& x1, __m128& x3)
{
    const __m128 sum02 = x0 + x2, diff02 = x0 - x2, sum13 = x1 + x3, diff13 = turn_back<D>(x1 - x3);
    x0 = sum02 + sum13;
    x2 = diff02 + diff13;
    x1 = sum02 - sum13;
    x3 = diff02 - diff13;
}

// Results 0 to 3 of one of two butterflies, joined in twos, into a block.
template <Direction D>
[[gnu::always_inline]] inline void store_joined(float* p, __m128 y01, __m128 y23)
{
    const Complex4 z = {_mm_movelh_ps(y01, y23), _mm_movehl_ps(y23, y01)};
    store_block(p, D == Direction::Forward ? z : Complex4{z.im, z.re});
}
template <Direction D>
[[gnu::always_inline]] inline void store_first(float* p, __m128 y0, __m128 y1, __m128 y2, __m128 y3)
{
    store_joined<D>(p, _mm_unpacklo_ps(y0, y1), _mm_unpacklo_ps(y2, y3));
}
template <Direction D>
[[gnu::always_inline]] inline void store_second(float* p, __m128 y0, __m128 y1, __m128 y2, __m128 y3)
{
    store_joined<D>(p, _mm_unpackhi_ps(y0, y1), _mm_unpackhi_ps(y2, y3));
}

// The first pass takes its inputs from eight streams, the eighths of the source; stream is their distance, in
// floats. Four neighbours n to n + 3 of each stream are a group. In bit-reversed order its results for neighbour
// 0, 1, 2 and 3 begin a line of eight values 0, 2, 1 and 3 quarters of the work memory behind the group's place.

// Neighbours 2 half and 2 half + 1 of a group: radix 4 joins the even streams and the odd streams by themselves.
template <Direction D>
[[gnu::always_inline]] inline void half_group4(const float* from, std::size_t stream, float* to,
                                               std::size_t quarter)
{
    for (std::size_t odd = 0; odd < 2; ++odd, from += stream, to += 8) {
        __m128 x0 = load_neighbours(from), x1 = load_neighbours(from + 2 * stream);
        __m128 x2 = load_neighbours(from + 4 * stream), x3 = load_neighbours(from + 6 * stream);
        butterfly_pairs4<D>(x0, x2, x1, x3);
        store_first<D>(to, x0, x2, x1, x3);
        store_second<D>(to + 2 * quarter, x0, x2, x1, x3);
    }
}

// Radix 8: the radix-4 butterflies of the even and of the odd streams, joined with exp(-2 pi i k / 8).
template <Direction D>
[[gnu::always_inline]] inline void half_group8(const float* from, std::size_t stream, float* to,
                                               std::size_t quarter)
{
    const __m128 half_root = _mm_set1_ps(kHalfRoot);
    __m128 o0 = load_neighbours(from + stream), o1 = load_neighbours(from + 3 * stream);
    __m128 o2 = load_neighbours(from + 5 * stream), o3 = load_neighbours(from + 7 * stream);
    butterfly_pairs4<D>(o0, o2, o1, o3);  // results in o0, o2, o1, o3
    o2 = (o2 + turn_back<D>(o2)) * half_root;
    o1 = turn_back<D>(o1);
    o3 = (turn_back<D>(o3) - o3) * half_root;

    __m128 e0 = load_neighbours(from), e1 = load_neighbours(from + 2 * stream);
    __m128 e2 = load_neighbours(from + 4 * stream), e3 = load_neighbours(from + 6 * stream);
    butterfly_pairs4<D>(e0, e2, e1, e3);
    const __m128 y0 = e0 + o0, y1 = e2 + o2, y2 = e1 + o1, y3 = e3 + o3;
    const __m128 y4 = e0 - o0, y5 = e2 - o2, y6 = e1 - o1, y7 = e3 - o3;
    store_first<D>(to, y0, y1, y2, y3);
    store_first<D>(to + 8, y4, y5, y6, y7);
    store_second<D>(to + 2 * quarter, y0, y1, y2, y3);
    store_second<D>(to + 2 * quarter + 8, y4, y5, y6, y7);
}

// groups of them, neighbours, to the places that the reversal table tells.
template <Direction D, int Radix>
[[gnu::always_inline]] inline void first_groups(const float* from, std::size_t stream, std::size_t groups,
                                                float* work, std::size_t quarter, const int32_t* reversal)
{
    for (const float* end = from + 8 * groups; from != end; from += 8, ++reversal) {
        float* to = work + *reversal;
        for (std::size_t half = 0; half < 2; ++half, to += quarter) {
            if constexpr (Radix == 4)
                half_group4<D>(from + 4 * half, stream, to, quarter);
            else
                half_group8<D>(from + 4 * half, stream, to, quarter);
        }
    }
}

// Sources of more values than this are read through a small copy, one stream after the other: streams at equal
// addresses but for a large power of two would push each other out of the cache while a line is half read.
constexpr std::size_t kDirectValues = 8192;
constexpr std::size_t kStagedGroups = 8;

template <Direction D, int Radix>
void first_pass_of_radix(const float* src, float* work, std::size_t values, const int32_t* reversal)
{
    const std::size_t stream = values / 4, quarter = values / 2, groups = values / 32;
    if (values <= kDirectValues) {
        first_groups<D, Radix>(src, stream, groups, work, quarter, reversal);
        return;
    }
    constexpr std::size_t kRow = 8 * kStagedGroups;
    alignas(64) float staged[8 * kRow];
    for (std::size_t group = 0; group < groups; group += kStagedGroups) {
        for (std::size_t row = 0; row < 8; ++row)
            for (std::size_t i = 0; i < kRow; i += 4)
                Aligned::put(staged + row * kRow + i, Unaligned::four(src + row * stream + 8 * group + i));
        first_groups<D, Radix>(staged, kRow, kStagedGroups, work, quarter, reversal + group);
    }
}

// All of the first pass of sixteen values: one group, of four streams.
template <Direction D>
void first_pass16(const float* src, float* work)
{
    for (std::size_t half = 0; half < 2; ++half) {
        const float* from = src + 4 * half;
        __m128 x0 = load_neighbours(from), x1 = load_neighbours(from + 8);
        __m128 x2 = load_neighbours(from + 16), x3 = load_neighbours(from + 24);
        butterfly_pairs4<D>(x0, x2, x1, x3);
        store_first<D>(work + 8 * half, x0, x2, x1, x3);
        store_second<D>(work + 8 * half + 16, x0, x2, x1, x3);
    }
}

// All of a transform of eight values.
template <Direction D>
void transform8(const float* src, float* work)
{
    Complex1 z[8], y[8];
    for (std::size_t k = 0; k < 8; ++k) {
        z[k] = {load_one(src + 2 * k), load_one(src + 2 * k + 1)};
        if (D == Direction::Inverse) z[k] = {z[k].im, z[k].re};
    }
    butterfly8(z, y);
    for (std::size_t k = 0; k < 8; ++k) {
        float* re = work + k / 4 * 8 + k % 4;
        re[0] = y[k].re;
        re[4] = y[k].im;
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
            const Complex4 x0 = load_block(data), x2 = load_block(data + step) * load_twiddles(w);
            const Complex4 sum02 = x0 + x2, diff02 = x0 - x2;
            const Complex4 x1 = load_block(data + 2 * step) * load_twiddles(w + 8);
            const Complex4 x3 = load_block(data + 3 * step) * load_twiddles(w + 16);
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
    else if (plan.m == 4)
        first_pass16<D>(src, work);
    else if (first_radix(plan.m) == 4)
        first_pass_of_radix<D, 4>(src, work, values, plan.reversal);
    else
        first_pass_of_radix<D, 8>(src, work, values, plan.reversal);
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
void transform_reversed(float* data, float* work, const Plan& plan, float factor)
{
    const std::size_t values = std::size_t{1} << plan.m;
    if (first_radix(plan.m) == 4)
        first_pass_reversed<D, 4>(data, work, values);
    else
        first_pass_reversed<D, 8>(data, work, values);
    join_into<D>(data, work, plan, factor);
}
template void transform_reversed<Direction::Forward>(float*, float*, const Plan&, float);
template void transform_reversed<Direction::Inverse>(float*, float*, const Plan&, float);

}  // namespace zelsr::fft
