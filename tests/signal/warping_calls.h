// The members of the warping family behind one call: sequences are given as rows, and laid out as the member takes
// them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/guarded.h"
#include "support/reference/warping.h"
#include "zelsr/signal.h"

namespace zelsr::test {

inline std::size_t at(std::int64_t i) { return static_cast<std::size_t>(i); }

template <class T>
using Rows = std::vector<std::vector<T>>;

template <class T>
Rows<T> random_rows(int height, int width, T low, T high)
{
    Rows<T> rows(at(height));
    for (auto& row : rows) row = uniform_vector<T>(width, low, high);
    return rows;
}

template <class T>
reference::Sequence as_singles(const Rows<T>& rows)
{
    reference::Sequence result;
    for (const auto& row : rows) result.emplace_back(row.begin(), row.end());
    return result;
}

// Rows at the step with a pattern between them, nothing behind the last element.
template <class T>
std::vector<T> block_of(const Rows<T>& rows, int step)
{
    std::vector<T> block(at(step) * (rows.size() - 1) + rows[0].size(), T(77));
    for (std::size_t r = 0; r < rows.size(); ++r)
        std::copy(rows[r].begin(), rows[r].end(), block.begin() + static_cast<std::ptrdiff_t>(r * at(step)));
    return block;
}

// What every member takes; a list in rows_a and rows_b, a block in a and b.
template <class T, class Result>
struct WarpArguments {
    const T *a, *b;
    const T *const *rows_a, *const *rows_b;
    std::int32_t height_a, height_b, width, step;
    Result* distance;
    std::int32_t delta;
    float beam;
    std::int32_t sf;
};

struct Warp_32f_D2L {
    using Source = float;
    using Result = float;
    static constexpr const char* name = "zelsDTW_L2_32f_D2L";
    static constexpr bool list = true;
    template <class How>
    static SrStatus call(How how, const WarpArguments<float, float>& a)
    {
        return how(zelsDTW_L2_32f_D2L, a.rows_a, a.height_a, a.rows_b, a.height_b, a.width, a.distance, a.delta,
                   a.beam);
    }
};
struct Warp_32f_D2 {
    using Source = float;
    using Result = float;
    static constexpr const char* name = "zelsDTW_L2_32f_D2";
    static constexpr bool list = false;
    template <class How>
    static SrStatus call(How how, const WarpArguments<float, float>& a)
    {
        return how(zelsDTW_L2_32f_D2, a.a, a.height_a, a.b, a.height_b, a.width, a.step, a.distance, a.delta,
                   a.beam);
    }
};
struct Warp_8u32s_D2L {
    using Source = std::uint8_t;
    using Result = std::int32_t;
    static constexpr const char* name = "zelsDTW_L2_8u32s_D2LSfs";
    static constexpr bool list = true;
    template <class How>
    static SrStatus call(How how, const WarpArguments<std::uint8_t, std::int32_t>& a)
    {
        return how(zelsDTW_L2_8u32s_D2LSfs, a.rows_a, a.height_a, a.rows_b, a.height_b, a.width, a.distance,
                   a.delta, a.beam, a.sf);
    }
};
struct Warp_8u32s_D2 {
    using Source = std::uint8_t;
    using Result = std::int32_t;
    static constexpr const char* name = "zelsDTW_L2_8u32s_D2Sfs";
    static constexpr bool list = false;
    template <class How>
    static SrStatus call(How how, const WarpArguments<std::uint8_t, std::int32_t>& a)
    {
        return how(zelsDTW_L2_8u32s_D2Sfs, a.a, a.height_a, a.b, a.height_b, a.width, a.step, a.distance, a.delta,
                   a.beam, a.sf);
    }
};
struct Warp_16s32s_D2L {
    using Source = std::int16_t;
    using Result = std::int32_t;
    static constexpr const char* name = "zelsDTW_L2Low_16s32s_D2LSfs";
    static constexpr bool list = true;
    template <class How>
    static SrStatus call(How how, const WarpArguments<std::int16_t, std::int32_t>& a)
    {
        return how(zelsDTW_L2Low_16s32s_D2LSfs, a.rows_a, a.height_a, a.rows_b, a.height_b, a.width, a.distance,
                   a.delta, a.beam, a.sf);
    }
};
struct Warp_16s32s_D2 {
    using Source = std::int16_t;
    using Result = std::int32_t;
    static constexpr const char* name = "zelsDTW_L2Low_16s32s_D2Sfs";
    static constexpr bool list = false;
    template <class How>
    static SrStatus call(How how, const WarpArguments<std::int16_t, std::int32_t>& a)
    {
        return how(zelsDTW_L2Low_16s32s_D2Sfs, a.a, a.height_a, a.b, a.height_b, a.width, a.step, a.distance,
                   a.delta, a.beam, a.sf);
    }
};

struct WarpNames {
    template <class T>
    static std::string GetName(int)
    {
        return T::name;
    }
};

inline float warp_result(float distance, std::int32_t, float*) { return distance; }
inline std::int32_t warp_result(float distance, std::int32_t sf, std::int32_t*)
{
    return reference::warped_to_32s(distance, sf);
}

struct WarpSetting {
    std::int32_t delta;
    float beam;
    std::int32_t sf = 0;
    int gap = 0;  // elements between the rows of a block
    Placement place_a = {}, place_b = {}, place_result = {};
};

// One call between guard pages, against expected.
template <class Member>
testing::AssertionResult warps_to(typename Member::Result expected, const Rows<typename Member::Source>& a,
                                  const Rows<typename Member::Source>& b, const WarpSetting& setting)
{
    using T = typename Member::Source;
    const auto width = static_cast<std::int32_t>(a[0].size());
    const std::int32_t step = width + setting.gap;
    Guarded<typename Member::Result> distance(1, setting.place_result);
    WarpArguments<T, typename Member::Result> arguments{nullptr,
                                                        nullptr,
                                                        nullptr,
                                                        nullptr,
                                                        static_cast<std::int32_t>(a.size()),
                                                        static_cast<std::int32_t>(b.size()),
                                                        width,
                                                        step,
                                                        distance.data(),
                                                        setting.delta,
                                                        setting.beam,
                                                        setting.sf};
    const auto direct = [](auto function, auto... given) { return function(given...); };
    SrStatus status;
    if constexpr (Member::list) {
        const GuardedRows<T> rows_a(a, {setting.place_a.misalign, 0}, setting.place_a.edge);
        const GuardedRows<T> rows_b(b, {setting.place_b.misalign}, setting.place_b.edge);
        arguments.rows_a = rows_a.list();
        arguments.rows_b = rows_b.list();
        status = Member::call(direct, arguments);
        if (!rows_a.intact() || !rows_b.intact())
            return testing::AssertionFailure() << "a byte beside a row was written";
    } else {
        Guarded<T> block_a(block_of(a, step), setting.place_a), block_b(block_of(b, step), setting.place_b);
        block_a.take_snapshot();
        block_b.take_snapshot();
        arguments.a = block_a.data();
        arguments.b = block_b.data();
        status = Member::call(direct, arguments);
        if (!block_a.as_snapshot() || !block_b.as_snapshot())
            return testing::AssertionFailure() << "a source was written";
    }
    if (status != SrOk) return testing::AssertionFailure() << "status " << status;
    if (!distance.intact()) return testing::AssertionFailure() << "a byte beside the result was written";
    return same_value(expected, distance.get(0));
}

}  // namespace zelsr::test
