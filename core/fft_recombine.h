// Between the spectrum Z of M complex values z[j] = x[2j] + i x[2j + 1] and that of the N = 2M real values x.
//
// Both ways, for each k from 1 to M/2 - 1 and r = M - k together, with angle = 2 pi k / N:
//   forward: X[k] = conj Z[r] + P, X[r] = conj(Z[k] - P), P = (0.5 - 0.5 sin, -0.5 cos) (Z[k] - conj Z[r])
//   inverse: Z[k] = S + Q, Z[r] = conj(S - Q), S = X[k] + conj X[r], Q = (-sin, cos) (X[k] - conj X[r]);
//            this is twice the inverse, since M times 2 makes the N of an inverse that is not divided.
// X[M/2] and Z[M/2] are conjugates (times 2 in the inverse); X[0] and X[M] are the sum and the difference of
// Z[0]'s parts.
#pragma once

#include "core/fft_complex.h"

namespace zelsr::fft {

// Values k to k + 3 and, in the same lanes, their partners r, r - 1, r - 2, r - 3.
struct Partners {
    Complex4 front;
    Complex4 back;
};

// A source yields the partners for k = 0 (where those of lane 0 mean nothing), 4, 8, ... up to M/2.

// The work memory's blocks; never the destination.
class BlockSource {
  public:
    static constexpr bool kMayBeDestination = false;

    BlockSource(const float* blocks, std::size_t values) : front_(blocks), back_(blocks + 2 * values) {}

    Partners first()
    {
        carry_ = load_block(front_);
        return next();
    }
    Partners next()
    {
        const Complex4 front = load_block(front_);
        front_ += 8;
        back_ -= 8;
        const Complex4 below = load_block(back_);
        const Complex4 back = {partner_lanes(below.re, carry_.re), partner_lanes(below.im, carry_.im)};
        carry_ = below;
        return {front, back};
    }

  private:
    // Value r begins the block above the one that r - 3, r - 2 and r - 1 end.
    static __m128 partner_lanes(__m128 below, __m128 above)
    {
        const __m128 lanes = _mm_move_ss(below, above);
        return _mm_shuffle_ps(lanes, lanes, _MM_SHUFFLE(1, 2, 3, 0));
    }

    const float* front_;
    const float* back_;
    Complex4 carry_;
};

inline __m128 load_pair(const float* p)
{
    return _mm_castsi128_ps(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
}

inline Complex4 deinterleave(__m128 low, __m128 high)
{
    return {_mm_shuffle_ps(low, high, _MM_SHUFFLE(2, 0, 2, 0)),
            _mm_shuffle_ps(low, high, _MM_SHUFFLE(3, 1, 3, 1))};
}
inline __m128 reverse(__m128 v) { return _mm_shuffle_ps(v, v, _MM_SHUFFLE(0, 1, 2, 3)); }

// An interleaved array; value k is at 2k + Shift (-1 in the Pack format). It may be the destination, so the
// values of a step are fetched before those of the step before it are stored.
template <std::ptrdiff_t Shift>
class ArraySource {
  public:
    static constexpr bool kMayBeDestination = true;

    ArraySource(const float* array, std::size_t values)
        : front_(array), back_(array + 2 * static_cast<std::ptrdiff_t>(values) - 6)
    {}

    Partners first()
    {
        const Complex4 front = deinterleave(_mm_movelh_ps(_mm_setzero_ps(), load_pair(front_ + 2 + Shift)),
                                            Unaligned::four(front_ + 4 + Shift));
        const Complex4 back = deinterleave(Unaligned::four(back_ + Shift), load_pair(back_ + 4 + Shift));
        return step({front, back});
    }
    Partners next()
    {
        const Complex4 front = load_interleaved<Direction::Forward>(front_ + Shift);
        return step({front, load_interleaved<Direction::Forward>(back_ + Shift)});
    }

  private:
    Partners step(Partners p)
    {
        front_ += 8;
        back_ -= 8;
        return {p.front, {reverse(p.back.re), reverse(p.back.im)}};
    }

    const float* front_;
    const float* back_;
};

// The destination, by its shift as in ArraySource. Value 0 and value M are left out: they belong to the format.
template <std::ptrdiff_t Shift>
class ArraySink {
  public:
    ArraySink(float* array, std::size_t values)
        : front_(array), back_(array + 2 * static_cast<std::ptrdiff_t>(values) - 6)
    {}

    void first(Partners p)
    {
        const __m128 low = _mm_unpacklo_ps(p.front.re, p.front.im);
        _mm_storeh_pi(reinterpret_cast<__m64*>(front_ + 2 + Shift), low);
        Unaligned::put(front_ + 4 + Shift, _mm_unpackhi_ps(p.front.re, p.front.im));
        put_pairs_back(back_ + Shift, _mm_unpackhi_ps(p.back.re, p.back.im));
        _mm_storeh_pi(reinterpret_cast<__m64*>(back_ + 4 + Shift), _mm_unpacklo_ps(p.back.re, p.back.im));
        step();
    }
    void next(Partners p)
    {
        store_interleaved<Direction::Forward>(front_ + Shift, p.front);
        put_pairs_back(back_ + Shift, _mm_unpackhi_ps(p.back.re, p.back.im));
        put_pairs_back(back_ + 4 + Shift, _mm_unpacklo_ps(p.back.re, p.back.im));
        step();
    }

  private:
    // The upper pair first.
    static void put_pairs_back(float* p, __m128 pairs)
    {
        Unaligned::put(p, _mm_shuffle_ps(pairs, pairs, _MM_SHUFFLE(1, 0, 3, 2)));
    }
    void step()
    {
        front_ += 8;
        back_ -= 8;
    }

    float* front_;
    float* back_;
};

// Z, times factor if Scaled, into X.
template <bool Scaled>
struct ForwardButterfly {
    float factor;

    Partners operator()(Partners p, Complex4 table) const
    {
        const Complex4 z = scaled(p.front), y = scaled(p.back);
        const __m128 re = z.re - y.re, im = z.im + y.im;
        const __m128 p_re = table.re * re + table.im * im, p_im = table.re * im - table.im * re;
        return {{y.re + p_re, p_im - y.im}, {z.re - p_re, p_im - z.im}};
    }
    Complex1 middle(Complex1 z) const
    {
        z = scaled(z);
        return {z.re, -z.im};
    }
    template <int L>
    Complex<L> scaled(Complex<L> z) const
    {
        const auto f = Register<L>::splat(factor);
        return Scaled ? Complex<L>{z.re * f, z.im * f} : z;
    }
};

// X into 2 Z.
struct InverseButterfly {
    Partners operator()(Partners p, Complex4 table) const
    {
        const Complex4 x = p.front, y = p.back;
        const __m128 re = x.re - y.re, im = x.im + y.im, s_re = x.re + y.re, s_im = x.im - y.im;
        const __m128 q_re = table.re * re + table.im * im, q_im = table.im * re - table.re * im;
        return {{s_re - q_re, s_im + q_im}, {s_re + q_re, q_im - s_im}};
    }
    Complex1 middle(Complex1 x) const { return {2 * x.re, -2 * x.im}; }
};

// Values 1 to M - 1 into dst, whose format places the others.
template <class Source, std::ptrdiff_t Shift, class Butterfly>
void recombine(const float* src, float* dst, std::size_t values, const float* table, Butterfly butterfly)
{
    Source source(src, values);
    ArraySink<Shift> sink(dst, values);
    Partners current = source.first(), following = current;
    if (Source::kMayBeDestination) following = source.next();
    sink.first(butterfly(current, load_block(table)));
    for (const float* end = table + values; (table += 8) != end;) {
        current = Source::kMayBeDestination ? following : source.next();
        if (Source::kMayBeDestination) following = source.next();
        sink.next(butterfly(current, load_block(table)));
    }
    if (!Source::kMayBeDestination) following = source.next();
    const Complex1 middle =
        butterfly.middle({_mm_cvtss_f32(following.front.re), _mm_cvtss_f32(following.front.im)});
    store_one(dst + static_cast<std::ptrdiff_t>(values) + Shift, middle.re);
    store_one(dst + static_cast<std::ptrdiff_t>(values) + 1 + Shift, middle.im);
}

}  // namespace zelsr::fft
