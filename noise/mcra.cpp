// Noise estimates by minima controlled recursive averaging: set-up and frames of both arithmetics.
#include "zelsr/noise/mcra.h"

#include <bit>
#include <cmath>
#include <cstddef>
#include <cstring>

#include "core/contract.h"
#include "core/convert.h"
#include "core/elementwise.h"
#include "core/rounding.h"

namespace zelsr {
namespace {

// A caller may put a state on any byte address: packed members are reached byte by byte.
template <class Element, class Factor>
struct __attribute__((packed)) McraState {
    int32_t sample_rate;
    int32_t fft_len;
    int32_t order;
    int32_t reserved;
    int32_t frame_shift;
    int32_t window;  // frames after which the search for minima starts again
    int32_t frames;
    int32_t first;
    Factor ad, ap, as;  // smoothing of the noise, of the presence of speech, of the spectrum
    Factor delta;
    Element* presence;
    Element* smoothed;
    Element* minimum;
    Element* next_minimum;  // of the window that has begun
};

}  // namespace
}  // namespace zelsr

struct __attribute__((packed)) ZelMcraState_32f : zelsr::McraState<float, float> {};
struct __attribute__((packed)) ZelMcraState_32s : zelsr::McraState<int32_t, int32_t> {};

namespace zelsr {
namespace {

static_assert(sizeof(ZelMcraState_32f) == 48 + 4 * sizeof(void*));
static_assert(sizeof(ZelMcraState_32s) == sizeof(ZelMcraState_32f));

constexpr SrStatus fft_len_in_range(int32_t n) { return require(n >= 8 && n <= 8192, SrErrSize); }
constexpr SrStatus rate_in_range(int32_t rate) { return require(rate >= 8000 && rate <= 48000, SrErrRange); }
// Judged against n / 2 before n itself is: wanted.
constexpr SrStatus shift_in_range(int32_t shift, int32_t n)
{
    return require(shift >= 1 && shift <= n / 2, SrErrRange);
}

// The record, four bytes that stay free, the four arrays.
SrStatus store_size(int32_t n, int32_t* size)
{
    store_one(size, static_cast<int32_t>(sizeof(ZelMcraState_32f)) + 4 + 4 * (4 * (n / 2) + 4));
    return SrOk;
}

// What follows from n and is the same in both arithmetics; the reserved field stays as it was.
template <class State>
void lay_out(State* state, int32_t sample_rate, int32_t n, int32_t frame_shift)
{
    using Element = std::remove_pointer_t<decltype(state->presence)>;
    const int32_t bins = n / 2 + 1;
    state->sample_rate = sample_rate;
    state->fft_len = n;
    state->order = std::bit_width(static_cast<uint32_t>(n / 2));
    state->frame_shift = frame_shift;
    state->frames = 0;
    state->first = 1;
    state->presence = reinterpret_cast<Element*>(reinterpret_cast<uint8_t*>(state) + sizeof(State));
    state->smoothed = state->presence + bins;
    state->minimum = state->smoothed + bins;
    state->next_minimum = state->minimum + bins;
}

// Factors are given for steps of 8 ms, of which there are 125 a second.
constexpr double kStep = 0.008;

void set_constants(ZelMcraState_32f* state, float steps)
{
    state->window = static_cast<int32_t>(steps * 125.0F);
    const double t = static_cast<float>(125.0 * state->frame_shift / state->sample_rate);
    state->ad = static_cast<float>(std::pow(0.7, t));
    state->as = static_cast<float>(std::pow(0.8, t));
    state->ap = static_cast<float>(std::pow(0.2, t));
    state->delta = 5;
}

// e^(exponent * logarithm) as a cubic series, exponent in Q15, logarithm and result in Q31. What 32 bits do not
// hold wraps, 1.0 among it: wanted.
int32_t power_by_series(int64_t exponent, int32_t logarithm)
{
    constexpr int64_t third = 715827883;
    const int64_t y = (exponent * logarithm) >> 31;
    const int64_t q2 = ((y * y) >> 15) >> 1;
    const int64_t q3 = (((q2 * y) >> 15) * third) >> 31;
    return static_cast<int32_t>(static_cast<uint32_t>(q2 + y + 32768 + q3) << 16);
}

constexpr int64_t kStepQ31 = 17179869;

// steps: 8 ms steps in a frame shift's samples, inverted, in Q15.
void set_constants(ZelMcraState_32s* state, int64_t steps)
{
    constexpr int32_t ln_0_7 = -765953610, ln_0_8 = -479197128, eighth_of_ln_0_2 = -432030200;
    state->window = static_cast<int32_t>((125 * steps) >> 15);
    const int64_t exponent = ((int64_t{125} * state->frame_shift) << 15) / state->sample_rate;
    state->ad = power_by_series(exponent, ln_0_7);
    state->as = power_by_series(exponent, ln_0_8);
    int64_t ap = power_by_series(exponent, eighth_of_ln_0_2);
    for (int squaring = 0; squaring < 3; ++squaring) ap = (ap * ap) >> 31;
    state->ap = static_cast<int32_t>(ap);
    state->delta = 5 << 15;
}

// One bin a lane: what follows from a lane's input and from what there was of it. Both arithmetics share the loop
// below, which hands in registers of four bins.
struct BinsOf_32f {
    using Element = float;
    using Lanes = __m128;

    explicit BinsOf_32f(const ZelMcraState_32f& state)
        : as_(repeat(state.as)), ad_(repeat(state.ad)), ap_(repeat(state.ap)), delta_(repeat(state.delta))
    {}

    static Lanes smaller(Lanes x, Lanes y) { return _mm_min_ps(x, y); }
    Lanes smooth(Lanes s, Lanes power) const { return s * as_ + (kOne - as_) * power; }
    void estimate(Lanes s, Lanes minimum, Lanes power, Lanes& presence, Lanes& noise) const
    {
        const Lanes speech = _mm_cmpgt_ps(s, minimum * delta_);
        presence = ap_ * presence + _mm_and_ps(speech, kOne - ap_);
        const Lanes a = ad_ + (kOne - ad_) * presence;
        noise = a * noise + (kOne - a) * power;
    }

  private:
    static constexpr Lanes kOne = {1, 1, 1, 1};
    Lanes as_, ad_, ap_, delta_;
};

struct BinsOf_32s {
    using Element = int32_t;
    using Lanes = __m128i;

    explicit BinsOf_32s(const ZelMcraState_32s& state)
        : as_(repeat(state.as)),
          rest_(repeat(rest_of(state.as))),
          ad_(repeat(static_cast<double>(state.ad))),
          ap_(repeat(state.ap * kUnit)),
          ad_rest_(repeat(rest_of(state.ad) * kUnit)),
          ap_rest_(repeat(static_cast<double>(rest_of(state.ap)))),
          delta_(repeat(state.delta / 32768.0))
    {}

    static Lanes smaller(Lanes x, Lanes y) { return choose(_mm_cmpgt_epi32(x, y), y, x); }

    // (s * as + power * (0x7fffffff - as)) >> 31. The processor multiplies without signs: a negative factor counts
    // 2^32 too much there, so that twice the other factor is too much after the shift.
    Lanes smooth(Lanes s, Lanes power) const
    {
        const Lanes even = _mm_add_epi64(_mm_mul_epu32(s, as_), _mm_mul_epu32(power, rest_));
        const Lanes odd = _mm_add_epi64(_mm_mul_epu32(_mm_srli_epi64(s, 32), _mm_srli_epi64(as_, 32)),
                                        _mm_mul_epu32(_mm_srli_epi64(power, 32), _mm_srli_epi64(rest_, 32)));
        const Lanes low_words = _mm_set_epi32(0, -1, 0, -1);
        const Lanes shifted = choose(low_words, _mm_srli_epi64(even, 31), _mm_slli_epi64(odd, 1));
        Lanes excess = _mm_and_si128(_mm_srai_epi32(s, 31), as_);
        excess = _mm_add_epi32(excess, _mm_and_si128(_mm_srai_epi32(as_, 31), s));
        excess = _mm_add_epi32(excess, _mm_and_si128(_mm_srai_epi32(power, 31), rest_));
        excess = _mm_add_epi32(excess, _mm_and_si128(_mm_srai_epi32(rest_, 31), power));
        return _mm_sub_epi32(shifted, _mm_add_epi32(excess, excess));
    }

    void estimate(Lanes s, Lanes minimum, Lanes power, Lanes& presence, Lanes& noise) const
    {
        Lanes high_presence = upper(presence), high_noise = upper(noise);
        estimate_two(s, minimum, power, presence, noise);
        estimate_two(upper(s), upper(minimum), upper(power), high_presence, high_noise);
        presence = _mm_unpacklo_epi64(presence, high_presence);
        noise = _mm_unpacklo_epi64(noise, high_noise);
    }

  private:
    static constexpr double kLargest = 2147483647.0, kUnit = 0x1p-31;

    // In 32 bits, where it wraps for a factor that has wrapped below zero: wanted.
    static int32_t rest_of(int32_t factor)
    {
        return static_cast<int32_t>(uint32_t{0x7fffffff} - static_cast<uint32_t>(factor));
    }

    static Lanes upper(Lanes v) { return _mm_unpackhi_epi64(v, v); }

    // The two low lanes, in double precision. Factors are multiplied by 2^-31 and 2^-15 beforehand, which changes
    // no bit.
    void estimate_two(Lanes s, Lanes minimum, Lanes power, Lanes& presence, Lanes& noise) const
    {
        const __m128d largest = repeat(kLargest), unit = repeat(kUnit);
        const __m128d threshold = _mm_min_pd(_mm_cvtepi32_pd(minimum) * delta_, largest);
        const __m128d speech = _mm_cmplt_pd(threshold, _mm_cvtepi32_pd(s));
        const __m128d q = _mm_cvtepi32_pd(presence) * ap_ + _mm_and_pd(speech, ap_rest_);
        const __m128d a = ad_ + q * ad_rest_;
        presence = saturated_32s<Rounding::Nearest>(q);
        noise = saturated_32s<Rounding::Nearest>(a * _mm_cvtepi32_pd(noise) * unit +
                                                 (largest - a) * _mm_cvtepi32_pd(power) * unit);
    }

    Lanes as_, rest_;
    __m128d ad_, ap_, ad_rest_, ap_rest_, delta_;
};

template <class Element>
struct Arrays {
    Element *presence, *smoothed, *minimum, *next_minimum;
};

template <class Element>
void copy_bins(const Element* src, Element* dst, int32_t bins)
{
    std::memmove(static_cast<void*>(dst), src, static_cast<std::size_t>(bins) * sizeof(Element));
}

template <class Element>
void take_first_frame(const Element* power, const Arrays<Element>& kept, Element* noise, int32_t bins)
{
    for (Element* copy : {kept.smoothed, kept.minimum, kept.next_minimum, noise}) copy_bins(power, copy, bins);
    std::memset(static_cast<void*>(kept.presence), 0, static_cast<std::size_t>(bins) * sizeof(Element));
}

template <bool NewWindow, class Bins, class Element>
void take_frame(Bins arithmetic, const Element* power, const Arrays<Element>& kept, Element* noise, int32_t bins)
{
    const auto step = [&](std::ptrdiff_t k, auto some) __attribute__((always_inline))
    {
        const auto p = some.of(power + k), s = arithmetic.smooth(some.of(kept.smoothed + k), p);
        const auto next = some.of(kept.next_minimum + k);
        const auto minimum = Bins::smaller(s, NewWindow ? next : some.of(kept.minimum + k));
        auto presence = some.of(kept.presence + k), estimate = some.of(noise + k);
        arithmetic.estimate(s, minimum, p, presence, estimate);
        some.put(kept.smoothed + k, s);
        some.put(kept.minimum + k, minimum);
        some.put(kept.next_minimum + k, NewWindow ? s : Bins::smaller(s, next));
        some.put(kept.presence + k, presence);
        some.put(noise + k, estimate);
    };
    std::ptrdiff_t k = 0;
    for (; k <= bins - 4; k += 4) step(k, FullRegister{});
    for (; k < bins; ++k) step(k, OneElement{});
}

template <class Bins, class State, class Element>
void update(const Element* power, State* state, Element* noise)
{
    const Arrays<Element> kept = {state->presence, state->smoothed, state->minimum, state->next_minimum};
    const int32_t bins = state->fft_len / 2 + 1;
    if (state->first == 1) {
        take_first_frame(power, kept, noise, bins);
    } else if (state->frames == state->window) {
        take_frame<true>(Bins(*state), power, kept, noise, bins);
        state->frames = 0;
    } else {
        take_frame<false>(Bins(*state), power, kept, noise, bins);
    }
    state->frames = static_cast<int32_t>(static_cast<uint32_t>(state->frames) + 1);
    state->first = 0;
}

// Integer results: in the default environment, whatever the caller's.
[[gnu::noinline]] void update_integers(const int32_t* power, ZelMcraState_32s* state, int32_t* noise)
{
    update<BinsOf_32s>(power, state, noise);
}

[[gnu::noinline]] void build(ZelMcraState_32f* state, int32_t sample_rate, int32_t n)
{
    lay_out(state, sample_rate, n, n / 2);
    // The largest power of two not above n / 2 here, n / 2 itself as the frame shift elsewhere: wanted.
    const int32_t half = 1 << (state->order - 1);
    set_constants(state, static_cast<float>(sample_rate * kStep / half));
}

[[gnu::noinline]] void build(ZelMcraState_32f* state, int32_t sample_rate, int32_t n, int32_t frame_shift)
{
    lay_out(state, sample_rate, n, frame_shift);
    set_constants(state, static_cast<float>(sample_rate * kStep) / static_cast<float>(frame_shift));
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsGetSizeMCRA_32f(int32_t fft_len, int32_t* size)
{
    if (SrStatus failed = first_failure(non_null(size), fft_len_in_range(fft_len))) return failed;
    return store_size(fft_len, size);
}

SrStatus zelsGetSizeMCRA_32s(int32_t fft_len, int32_t* size)
{
    if (SrStatus failed = first_failure(non_null(size), fft_len_in_range(fft_len))) return failed;
    return store_size(fft_len, size);
}

SrStatus zelsInitMCRA_32f(int32_t sample_rate, int32_t fft_len, ZelMcraState_32f* state)
{
    if (SrStatus failed = first_failure(non_null(state), rate_in_range(sample_rate), fft_len_in_range(fft_len)))
        return failed;
    const DefaultFloatEnvironment environment;
    build(state, sample_rate, fft_len);
    return SrOk;
}

SrStatus zelsInitMCRA_32s(int32_t sample_rate, int32_t fft_len, ZelMcraState_32s* state)
{
    if (SrStatus failed = first_failure(non_null(state), rate_in_range(sample_rate), fft_len_in_range(fft_len)))
        return failed;
    lay_out(state, sample_rate, fft_len, fft_len / 2);
    set_constants(state, (((kStepQ31 * sample_rate) >> 16) >> (state->order - 1)) + 1);
    return SrOk;
}

SrStatus zelsAltInitMCRA_32f(int32_t sample_rate, int32_t fft_len, int32_t frame_shift, ZelMcraState_32f* state)
{
    if (SrStatus failed = first_failure(non_null(state), rate_in_range(sample_rate),
                                        shift_in_range(frame_shift, fft_len), fft_len_in_range(fft_len)))
        return failed;
    const DefaultFloatEnvironment environment;
    build(state, sample_rate, fft_len, frame_shift);
    return SrOk;
}

SrStatus zelsAltInitMCRA_32s(int32_t sample_rate, int32_t fft_len, int32_t frame_shift, ZelMcraState_32s* state)
{
    if (SrStatus failed = first_failure(non_null(state), rate_in_range(sample_rate),
                                        shift_in_range(frame_shift, fft_len), fft_len_in_range(fft_len)))
        return failed;
    lay_out(state, sample_rate, fft_len, frame_shift);
    set_constants(state, ((kStepQ31 * sample_rate / frame_shift) >> 16) + 1);
    return SrOk;
}

SrStatus zelsUpdateNoisePSDMCRA_32f_I(const float* power, ZelMcraState_32f* state, float* noise)
{
    if (SrStatus failed = first_failure(non_null(power, state, noise))) return failed;
    update<BinsOf_32f>(power, state, noise);
    return SrOk;
}

SrStatus zelsUpdateNoisePSDMCRA_32s_I(const int32_t* power, ZelMcraState_32s* state, int32_t* noise)
{
    if (SrStatus failed = first_failure(non_null(power, state, noise))) return failed;
    const DefaultFloatEnvironment environment;
    update_integers(power, state, noise);
    return SrOk;
}
