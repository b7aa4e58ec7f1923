// Squared distances of vectors to four codewords at a time, one a lane. Every distance is summed element after
// element, so that its bits are those of OwnDistance whatever else is computed beside it.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "core/simd.h"

namespace zelsr::vq {

inline __m128 four_singles(const float* p) { return Unaligned::four(p); }
inline __m128 four_singles(const int16_t* p)
{
    return _mm_cvtepi32_ps(low_16s32s(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p))));
}
template <class T>
inline float one_single(const T* p)
{
    return static_cast<float>(load_one(p));
}

// Each element of a row in four lanes, `apart` singles from one element to the next.
template <class T>
inline void spread(const T* row, int32_t width, float* lanes, std::ptrdiff_t apart = 4)
{
    for (std::ptrdiff_t k = 0; k < width; ++k) Aligned::put(lanes + k * apart, _mm_set1_ps(one_single(row + k)));
}

// Four vectors anywhere.
template <class T>
struct FourVectors {
    const T* vector[4];

    __m128 column(std::ptrdiff_t k) const
    {
        return _mm_setr_ps(one_single(vector[0] + k), one_single(vector[1] + k), one_single(vector[2] + k),
                           one_single(vector[3] + k));
    }
    // Elements k to k + 3 of each.
    [[gnu::always_inline]] void columns(std::ptrdiff_t k, __m128 (&c)[4]) const
    {
        for (int i = 0; i < 4; ++i) c[i] = four_singles(vector[i] + k);
        _MM_TRANSPOSE4_PS(c[0], c[1], c[2], c[3]);
    }
    void pairs(__m128 (&c)[2]) const
    {
        c[0] = column(0);
        c[1] = column(1);
    }
};

// Four vectors of `width` elements without gaps.
template <class T>
struct DenseVectors {
    const T* first;
    std::ptrdiff_t width;

    __m128 column(std::ptrdiff_t /*only 0, of vectors of one element*/) const { return four_singles(first); }
    [[gnu::always_inline]] void columns(std::ptrdiff_t k, __m128 (&c)[4]) const
    {
        FourVectors<T>{{first, first + width, first + 2 * width, first + 3 * width}}.columns(k, c);
    }
    void pairs(__m128 (&c)[2]) const
    {
        const __m128 low = four_singles(first), high = four_singles(first + 4);
        c[0] = _mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0));
        c[1] = _mm_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1));
    }
};

// What the square of a difference counts.
struct EqualWeights {
    static constexpr bool gives_minus_zero = false;
    static __m128 weighted(__m128 square, std::ptrdiff_t /*k*/) { return square; }
};
struct SpreadWeights {
    static constexpr bool gives_minus_zero = true;  // by a weight of -0; a sum does not start with it
    const float* lanes;

    __m128 weighted(__m128 square, std::ptrdiff_t k) const { return square * Aligned::four(lanes + 4 * k); }
};

// sum[r]: the distances of row r to the four vectors. lanes: element k of row r in the four singles from
// 4 (k Rows + r) on. Width 0 stands for `width`.
template <int Width, int Rows, class Vectors, class Weights>
[[gnu::always_inline]] inline void four_distances(const Vectors& vectors, const float* lanes,
                                                  const Weights& weights, std::ptrdiff_t width,
                                                  __m128 (&sum)[Rows])
{
    for (__m128& s : sum) s = _mm_setzero_ps();
    const auto add = [&](__m128 column, std::ptrdiff_t k, auto first) __attribute__((always_inline))
    {
        for_each_index<Rows>([&](auto r) __attribute__((always_inline)) {
            const __m128 d = column - Aligned::four(lanes + 4 * (k * Rows + r));
            const __m128 term = weights.weighted(d * d, k);
            sum[r] = first && !Weights::gives_minus_zero ? term : sum[r] + term;
        });
    };
    constexpr std::false_type further{};
    if constexpr (Width == 1) {
        add(vectors.column(0), 0, std::true_type{});
    } else if constexpr (Width == 2) {
        __m128 c[2];
        vectors.pairs(c);
        add(c[0], 0, std::true_type{});
        add(c[1], 1, further);
    } else if constexpr (Width > 0) {
        for_each_index<Width / 4>([&](auto n) __attribute__((always_inline)) {
            __m128 c[4];
            vectors.columns(4 * n, c);
            add(c[0], 4 * n, std::bool_constant<n == 0>{});
            for_each_index<3>([&](auto m)
                                  __attribute__((always_inline)) { add(c[m + 1], 4 * n + m + 1, further); });
        });
    } else {
        __m128 c[4];
        std::ptrdiff_t k = 0;
        for (; k + 4 <= width; k += 4) {
            vectors.columns(k, c);
            for_each_index<4>([&](auto n) __attribute__((always_inline)) { add(c[n], k + n, further); });
        }
        if (k < width && width >= 4) {  // the last four, of which some have been added
            vectors.columns(width - 4, c);
            if (width - k == 3) add(c[1], width - 3, further);
            if (width - k >= 2) add(c[2], width - 2, further);
            add(c[3], width - 1, further);
        } else {
            for (; k < width; ++k) add(vectors.column(k), k, further);
        }
    }
}

// f with a constant: the width where there are loops of its own for it, otherwise 0.
template <class F>
[[gnu::always_inline]] inline auto with_width(int32_t width, F f)
{
    switch (width) {
        case 1:
            return f(std::integral_constant<int, 1>{});
        case 2:
            return f(std::integral_constant<int, 2>{});
        case 4:
            return f(std::integral_constant<int, 4>{});
        case 8:
            return f(std::integral_constant<int, 8>{});
        default:
            return f(std::integral_constant<int, 0>{});
    }
}

}  // namespace zelsr::vq
