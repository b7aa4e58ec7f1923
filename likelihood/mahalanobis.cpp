// Mahalanobis distances.
#include <algorithm>
#include <cstdint>

#include "core/contract.h"
#include "core/convert.h"
#include "core/fixed_point.h"
#include "core/pair_sums.h"
#include "core/rounding.h"
#include "core/scale.h"
#include "likelihood/fixed_score_single.h"
#include "likelihood/four_doubles.h"
#include "likelihood/score_frames.h"
#include "likelihood/score_single.h"
#include "zelsr/likelihood/distance.h"

namespace zelsr {
namespace {

// How a sum's elements are loaded: four, the first one to three of four, and one.

struct InSingle {
    struct Four {
        static __m128 lanes(const float* p) { return Unaligned::four(p); }
        static __m128 lanes(const int16_t* p)
        {
            return low_singles(_mm_loadl_epi64(reinterpret_cast<const __m128i*>(p)));
        }
    };
    using First = FirstLanes;
    struct One {
        template <class T>
        static float lanes(const T* p)
        {
            return static_cast<float>(load_one(p));
        }
    };
};
struct InDouble {
    using Four = FourWidened;
    using First = FirstWidened;
    using One = WidenedOne;
};

template <class In, class T>
auto sum_of_aligned(const T* x, InverseVariance<T> term, int32_t len)
{
    using Four = typename In::Four;
    return join_pairs(sixteen_by_sixteen<Four, Added>(
        x, term, len, register_tail<Four, Added, typename In::First>(x, term, len)));
}

// One after the other up to ten elements; beyond, a partial sum for each index modulo 8, then the rest.
template <class In, class T>
auto sum_of_unaligned(const T* x, InverseVariance<T> term, int32_t len)
{
    const auto at = [x, term](int32_t k, auto load) { return term.at(k, load)(load.lanes(x + k)); };
    using Four = typename In::Four;
    using One = typename In::One;
    decltype(at(0, One{})) sum = 0;
    int32_t k = 0;
    if (len > 10) {
        decltype(at(0, Four{})) lower{}, upper{};
        for (const int32_t whole = len & -8; k < whole; k += 8) {
            lower = lower + at(k, Four{});
            upper = upper + at(k + 4, Four{});
        }
        sum = join_pairs(lower + upper);
    }
    for (; k < len; ++k) sum = sum + at(k, One{});
    return sum;
}

template <class In, class T>
auto distance_of_one(const T* x, InverseVariance<T> term, int32_t len)
{
    return all_aligned(x, term.mean, term.inv_var) ? sum_of_aligned<In>(x, term, len)
                                                   : sum_of_unaligned<In>(x, term, len);
}

// Differences saturate in whole groups of aligned data only: wanted.
float distance_of_one(const int16_t* x, const int16_t* mean, const int16_t* inv_var, int32_t len)
{
    return all_aligned(x, mean, inv_var) ? sum_one(x, FixedInverse{mean, inv_var}, len)
                                         : sum_of_unaligned<InSingle>(x, InverseVariance{mean, inv_var}, len);
}

// The sum of d^2 p in integers, modulo 2^64: d^2 = 65536 H + L fills 32 bits without a sign, so that H and L join
// the products of signed numbers less 32768, which times the sum of p comes back in the end.
class ExactSum {
  public:
    void add(__m128i x, __m128i mean, __m128i weight)
    {
        const __m128i magnitude = _mm_sub_epi16(_mm_max_epi16(x, mean), _mm_min_epi16(x, mean));
        const __m128i bias = _mm_set1_epi16(INT16_MIN);
        high_.add(_mm_xor_si128(_mm_mulhi_epu16(magnitude, magnitude), bias), weight);
        low_.add(_mm_xor_si128(_mm_mullo_epi16(magnitude, magnitude), bias), weight);
        weights_.add(_mm_set1_epi16(1), weight);
        ++count_;
    }
    int64_t total() const
    {
        const auto back = static_cast<uint64_t>(weights_.total(count_)) << 15;
        const uint64_t high = static_cast<uint64_t>(high_.total(count_)) + back;
        const uint64_t low = static_cast<uint64_t>(low_.total(count_)) + back;
        return static_cast<int64_t>((high << 16) + low);
    }

  private:
    PairSums high_{}, low_{}, weights_{};
    int32_t count_ = 0;
};

int64_t exact_distance(const int16_t* x, const int16_t* mean, const int16_t* inv_var, int32_t len)
{
    ExactSum sum;
    const int32_t whole = len & -8;
    for (int32_t k = 0; k < whole; k += 8)
        sum.add(Unaligned::bytes(x + k), Unaligned::bytes(mean + k), Unaligned::bytes(inv_var + k));
    if (whole < len) {
        const FixedRowEnd load(len);
        sum.add(load(x), load(mean), load(inv_var));
    }
    return sum.total();
}

// Aligned data are summed in single precision and rounded to nearest, others exactly and rounded down: wanted.
[[gnu::noinline]] void distance_to_integer(const int16_t* x, const int16_t* mean, const int16_t* inv_var,
                                           int32_t len, int32_t* result, int32_t sf)
{
    if (all_aligned(x, mean, inv_var)) {
        const float scale = GetScale_32s32f(std::max(sf, -127));  // an infinite one would make NaN of a sum of 0
        const float scaled = sum_one(x, FixedInverse{mean, inv_var}, len) * scale;
        store_one(result, _mm_cvtsi128_si32(saturated_32s<Rounding::Nearest>(_mm_set_ss(scaled))));
        return;
    }
    const int64_t sum = exact_distance(x, mean, inv_var, len);
    store_one(result, sf > 0 ? saturated<int32_t>(sum >> std::min(sf, 63))
                             : saturated_shift_left<int32_t>(sum, -std::max(sf, -31)));
}

// Single precision: narrow frames add one term after the other, aligned ones the last terms as one register.
template <class Rows>
void distances(Rows frames, InverseVariance<float> term, int32_t width, int32_t height, float* distance)
{
    const FramesAgainstOne scored{frames, term};
    if (width >= 4 && model_aligned(term) && frames.on_16_bytes(height))
        sum_each<Added, Aligned, MaskedTail<Added>>(scored, 0, height, width, Store{distance});
    else
        sum_each<Added, Unaligned, SerialTail<Added>>(scored, 0, height, width, Store{distance});
}

template <class Rows>
void distances(Rows frames, InverseVariance<double> term, bool aligned, int32_t width, int32_t height,
               double* distance)
{
    const FramesAgainstOne scored{frames, term};
    if (aligned && model_aligned(term))
        sum_each<Added, Aligned, LaneZeroTail<Added>>(scored, 0, height, width, Store{distance});
    else
        sum_each<Added, Unaligned, LaneZeroTail<Added>>(scored, 0, height, width, Store{distance});
}

// A step that is a multiple of 4 is asked for in double precision too: wanted.
template <class T, class Rows>
void distances_to_gaussians(const T* feature, Rows mean, Rows inv_var, int32_t width, int32_t height, T* distance)
{
    const OneAgainstGaussians scored{feature, mean, inv_var};
    if (is_aligned(feature) && mean.on_16_bytes(height, 4) && inv_var.on_16_bytes(height, 4))
        sum_each<Added, Aligned, LaneZeroTail<Added>>(scored, 0, height, width, Store{distance});
    else
        sum_each<Added, Unaligned, LaneZeroTail<Added>>(scored, 0, height, width, Store{distance});
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsMahDistSingle_32f(const float* feature, const float* mean, const float* inv_var, int32_t len,
                               float* result)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, result), positive(len))) return failed;
    store_one(result, distance_of_one<InSingle>(feature, InverseVariance{mean, inv_var}, len));
    return SrOk;
}

SrStatus zelsMahDistSingle_64f(const double* feature, const double* mean, const double* inv_var, int32_t len,
                               double* result)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, result), positive(len))) return failed;
    store_one(result, distance_of_one<InDouble>(feature, InverseVariance{mean, inv_var}, len));
    return SrOk;
}

SrStatus zelsMahDistSingle_32f64f(const float* feature, const float* mean, const float* inv_var, int32_t len,
                                  double* result)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, result), positive(len))) return failed;
    store_one(result, distance_of_one<InDouble>(feature, InverseVariance{mean, inv_var}, len));
    return SrOk;
}

SrStatus zelsMahDistSingle_16s32f(const int16_t* feature, const int16_t* mean, const int16_t* inv_var, int32_t len,
                                  float* result)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, result), positive(len))) return failed;
    store_one(result, distance_of_one(feature, mean, inv_var, len));
    return SrOk;
}

SrStatus zelsMahDistSingle_16s32s_Sfs(const int16_t* feature, const int16_t* mean, const int16_t* inv_var,
                                      int32_t len, int32_t* result, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(feature, mean, inv_var, result), positive(len))) return failed;
    const DefaultFloatEnvironment environment;
    distance_to_integer(feature, mean, inv_var, len, result, sf);
    return SrOk;
}

SrStatus zelsMahDist_32f_D2(const float* frames, int32_t step, const float* mean, const float* inv_var,
                            int32_t width, float* distance, int32_t height)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, distance), positive(width, height)))
        return failed;
    distances(Block{frames, step}, InverseVariance{mean, inv_var}, width, height, distance);
    return SrOk;
}

SrStatus zelsMahDist_32f_D2L(const float* const* frames, const float* mean, const float* inv_var, int32_t width,
                             float* distance, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, distance), positive(width, height)))
        return failed;
    distances(RowList{frames}, InverseVariance{mean, inv_var}, width, height, distance);
    return SrOk;
}

// Aligned rows are those of a step that is the width rounded up to a multiple of 4, and no other: wanted.
SrStatus zelsMahDist_64f_D2(const double* frames, int32_t step, const double* mean, const double* inv_var,
                            int32_t width, double* distance, int32_t height)
{
    if (SrStatus failed =
            first_failure(stride(width, step), non_null(frames, mean, inv_var, distance), positive(width, height)))
        return failed;
    const bool aligned = is_aligned(frames) && step == (int64_t{width} + 3) / 4 * 4;
    distances(Block{frames, step}, InverseVariance{mean, inv_var}, aligned, width, height, distance);
    return SrOk;
}

SrStatus zelsMahDist_64f_D2L(const double* const* frames, const double* mean, const double* inv_var, int32_t width,
                             double* distance, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(frames, mean, inv_var, distance), positive(width, height)))
        return failed;
    const RowList rows{frames};
    distances(rows, InverseVariance{mean, inv_var}, rows.on_16_bytes(height), width, height, distance);
    return SrOk;
}

SrStatus zelsMahDistMultiMix_32f_D2(const float* mean, const float* inv_var, int32_t step, const float* feature,
                                    int32_t width, float* distance, int32_t height)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(mean, inv_var, feature, distance),
                                        positive(width, height)))
        return failed;
    distances_to_gaussians(feature, Block{mean, step}, Block{inv_var, step}, width, height, distance);
    return SrOk;
}

SrStatus zelsMahDistMultiMix_32f_D2L(const float* const* mean, const float* const* inv_var, const float* feature,
                                     int32_t width, float* distance, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, distance), positive(width, height)))
        return failed;
    distances_to_gaussians(feature, RowList{mean}, RowList{inv_var}, width, height, distance);
    return SrOk;
}

SrStatus zelsMahDistMultiMix_64f_D2(const double* mean, const double* inv_var, int32_t step, const double* feature,
                                    int32_t width, double* distance, int32_t height)
{
    if (SrStatus failed = first_failure(stride(width, step), non_null(mean, inv_var, feature, distance),
                                        positive(width, height)))
        return failed;
    distances_to_gaussians(feature, Block{mean, step}, Block{inv_var, step}, width, height, distance);
    return SrOk;
}

SrStatus zelsMahDistMultiMix_64f_D2L(const double* const* mean, const double* const* inv_var,
                                     const double* feature, int32_t width, double* distance, int32_t height)
{
    if (SrStatus failed = first_failure(non_null(mean, inv_var, feature, distance), positive(width, height)))
        return failed;
    distances_to_gaussians(feature, RowList{mean}, RowList{inv_var}, width, height, distance);
    return SrOk;
}
