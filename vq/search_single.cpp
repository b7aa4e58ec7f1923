// Several codewords for one vector: the nearest ones, or all that are near enough.
#include <cmath>

#include "core/contract.h"
#include "core/convert.h"
#include "core/rows.h"
#include "vq/distance.h"
#include "vq/nearest.h"
#include "vq/ranking.h"
#include "zelsr/vq/search.h"

using namespace zelsr;
using namespace zelsr::vq;

namespace {

SrStatus at_least_1(float factor) { return require(factor >= 1.0F, SrErrBadArg); }

// store(place, codeword) for each wanted place, nearest first.
template <class T, class Store>
SrStatus sort(const T* src, const Codebook<T>& codebook, int32_t wanted, Store store)
{
    const SearchWork work(codebook.width);
    if (!work) return SrErrMemAlloc;
    all_distances(codebook, src, work.data(), codebook.workspace);
    Ranking ranking(codebook.workspace, codebook.count);
    for (int32_t place = 0; place < wanted; ++place) store(place, ranking.take());
    return SrOk;
}

// How far a codeword may be: its squared distance, for the integer form its reported one too.
struct Bound {
    float squared;
    int32_t reported = 0;

    Bound(float reference, float factor) : squared(reference * reference * (factor * factor)) {}

    bool is_passed_by(float d) const { return Own_Correct_Greater_32f(d, squared); }
};

// append(place, codeword, bound) tells whether it has put the codeword in this place; bound_of(squared distance of
// the search's answer) is where the list ends.
template <class T, class BoundOf, class Append>
SrStatus list_near(const T* src, const Codebook<T>& codebook, WalkStart start, int32_t* found, BoundOf bound_of,
                   Append append)
{
    const SearchWork work(codebook.width);
    if (!work) return SrErrMemAlloc;
    int32_t listed = 0;
    if (is_searchable(codebook)) {
        Found nearest;
        if (SrStatus failed = search(codebook, Block{src, codebook.width}, 1, work.data(), start, &nearest))
            return failed;
        const Bound bound = bound_of(nearest.squared);
        all_distances(codebook, src, work.data(), codebook.workspace);
        Ranking ranking(codebook.workspace, codebook.count);
        for (int32_t i = 0; i < codebook.count; ++i) {
            const Found next = ranking.take();
            if (append(listed, next, bound)) ++listed;
            if (bound.is_passed_by(next.squared)) break;
        }
    }
    store_one(found, listed);
    return SrOk;
}

// The bound and the places of the forms that report the roots as they are, or none.
auto factor_times_root(float factor)
{
    return [=](float squared) { return Bound(std::sqrt(squared), factor); };
}
auto append_within(int32_t* index)
{
    return [=](int32_t place, Found next, const Bound& bound) {
        if (bound.is_passed_by(next.squared)) return false;
        store_one(index + place, next.index);
        return true;
    };
}

int32_t reported_distance(float squared, int32_t sf)
{
    const float root = std::sqrt(squared);
    int32_t reported;
    convert_32f32s(&root, &reported, 1, Rounding::Nearest, sf);
    return reported;
}

// Of the integer form: the reference is what an integer of the answer says.
Bound bound_of_reported(int32_t reported, float factor, int32_t sf)
{
    float reference;
    convert_32s32f(&reported, &reference, 1, sf == INT32_MIN ? INT32_MAX : -sf);
    Bound bound(reference, factor);
    const float most = static_cast<float>(reported) * factor;
    convert_32f32s(&most, &bound.reported, 1, Rounding::TowardZero, 0);
    return bound;
}

}  // namespace

SrStatus zelsVQSingle_Sort_32f(const float* src, int32_t* index, ZelCdbkState_32f* state, int32_t wanted)
{
    if (SrStatus failed = first_failure(non_null(src, index, state), positive(wanted),
                                        [=] { return require(wanted <= state->count, SrErrSize); }))
        return failed;
    return sort(src, *state, wanted, [=](int32_t place, Found next) { store_one(index + place, next.index); });
}

SrStatus zelsVQSingle_Sort_16s(const int16_t* src, int32_t* index, ZelCdbkState_16s* state, int32_t wanted)
{
    if (SrStatus failed = first_failure(non_null(src, index, state), positive(wanted),
                                        [=] { return require(wanted <= state->count, SrErrSize); }))
        return failed;
    return sort(src, *state, wanted, [=](int32_t place, Found next) { store_one(index + place, next.index); });
}

SrStatus zelsVQDistSingle_Sort_32f(const float* src, int32_t* index, float* distance, ZelCdbkState_32f* state,
                                   int32_t wanted)
{
    if (SrStatus failed = first_failure(non_null(src, index, distance, state), positive(wanted),
                                        [=] { return require(wanted <= state->count, SrErrSize); }))
        return failed;
    return sort(src, *state, wanted, [=](int32_t place, Found next) {
        store_one(index + place, next.index);
        store_one(distance + place, std::sqrt(next.squared));
    });
}

SrStatus zelsVQDistSingle_Sort_16s32s_Sfs(const int16_t* src, int32_t* index, int32_t* distance,
                                          ZelCdbkState_16s* state, int32_t wanted, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, index, distance, state), positive(wanted),
                                        [=] { return require(wanted <= state->count, SrErrSize); }))
        return failed;
    float* roots = reinterpret_cast<float*>(distance);
    if (SrStatus failed = sort(src, *state, wanted, [=](int32_t place, Found next) {
            store_one(index + place, next.index);
            store_one(roots + place, std::sqrt(next.squared));
        }))
        return failed;
    convert_32f32s(roots, distance, wanted, Rounding::Nearest, sf);
    return SrOk;
}

SrStatus zelsVQSingle_Thresh_32f(const float* src, int32_t* index, ZelCdbkState_32f* state, float factor,
                                 int32_t* found)
{
    if (SrStatus failed = first_failure(non_null(src, index, state, found), at_least_1(factor))) return failed;
    return list_near(src, *state, WalkStart::Scaled, found, factor_times_root(factor), append_within(index));
}

SrStatus zelsVQSingle_Thresh_16s(const int16_t* src, int32_t* index, ZelCdbkState_16s* state, float factor,
                                 int32_t* found)
{
    if (SrStatus failed = first_failure(non_null(src, index, state, found), at_least_1(factor))) return failed;
    return list_near(src, *state, WalkStart::Scaled, found, factor_times_root(factor), append_within(index));
}

SrStatus zelsVQDistSingle_Thresh_32f(const float* src, int32_t* index, float* distance, ZelCdbkState_32f* state,
                                     float factor, int32_t* found)
{
    if (SrStatus failed = first_failure(non_null(src, index, distance, state, found), at_least_1(factor)))
        return failed;
    return list_near(src, *state, WalkStart::Scaled, found, factor_times_root(factor),
                     [=](int32_t place, Found next, const Bound& bound) {
                         if (!append_within(index)(place, next, bound)) return false;
                         store_one(distance + place, std::sqrt(next.squared));
                         return true;
                     });
}

SrStatus zelsVQDistSingle_Thresh_16s32s_Sfs(const int16_t* src, int32_t* index, int32_t* distance,
                                            ZelCdbkState_16s* state, float factor, int32_t* found, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, index, distance, state, found), at_least_1(factor)))
        return failed;
    return list_near(
        src, *state, WalkStart::Unscaled, found,
        [=](float squared) { return bound_of_reported(reported_distance(squared, sf), factor, sf); },
        [=](int32_t place, Found next, const Bound& bound) {
            const int32_t reported = reported_distance(next.squared, sf);
            if (reported > bound.reported) return false;
            store_one(index + place, next.index);
            store_one(distance + place, reported);
            return true;
        });
}
