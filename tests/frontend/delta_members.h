// The twenty members that append derivatives block by block: their calls in one form, and what each must write.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "support/bits.h"
#include "support/effort.h"
#include "support/guarded.h"
#include "support/reference/delta.h"
#include "zelsr/frontend/delta.h"

namespace zelsr::test::delta {

using Single = float;
using Fixed = std::int16_t;

template <class T>
struct Arguments {
    const T* src;
    const T* mul;   // Mul members
    int32_t width;  // but for Aurora
    T* dst;
    int32_t step, height;
    T val1, val2;  // but for Mul and Aurora; val2 with second derivatives
    int32_t mode;
    int32_t sf;  // 16s
};

template <class T>
struct Member {
    const char* name;
    int window;  // 1 or 2; 0 for Aurora's taps
    bool with_second, multiplied;
    SrStatus (*call)(const Arguments<T>&);

    bool aurora() const { return window == 0; }
    int parts() const { return with_second ? 3 : 2; }
    int history() const { return aurora() ? 8 : parts() == 3 ? 3 * window : 2 * window; }
    int row_length(int width) const { return parts() * width; }
};

inline std::vector<Member<Single>> members(Single)
{
    using A = Arguments<Single>;
    return {
        {"Delta_Win1_32f", 1, false, false,
         [](const A& a) {
             return zelsDelta_Win1_32f_D2(a.src, a.width, a.dst, a.step, a.height, a.val1, a.mode);
         }},
        {"Delta_Win2_32f", 2, false, false,
         [](const A& a) {
             return zelsDelta_Win2_32f_D2(a.src, a.width, a.dst, a.step, a.height, a.val1, a.mode);
         }},
        {"DeltaDelta_Win1_32f", 1, true, false,
         [](const A& a) {
             return zelsDeltaDelta_Win1_32f_D2(a.src, a.width, a.dst, a.step, a.height, a.val1, a.val2, a.mode);
         }},
        {"DeltaDelta_Win2_32f", 2, true, false,
         [](const A& a) {
             return zelsDeltaDelta_Win2_32f_D2(a.src, a.width, a.dst, a.step, a.height, a.val1, a.val2, a.mode);
         }},
        {"DeltaMul_Win1_32f", 1, false, true,
         [](const A& a) {
             return zelsDeltaMul_Win1_32f_D2(a.src, a.mul, a.width, a.dst, a.step, a.height, a.mode);
         }},
        {"DeltaMul_Win2_32f", 2, false, true,
         [](const A& a) {
             return zelsDeltaMul_Win2_32f_D2(a.src, a.mul, a.width, a.dst, a.step, a.height, a.mode);
         }},
        {"DeltaDeltaMul_Win1_32f", 1, true, true,
         [](const A& a) {
             return zelsDeltaDeltaMul_Win1_32f_D2(a.src, a.mul, a.width, a.dst, a.step, a.height, a.mode);
         }},
        {"DeltaDeltaMul_Win2_32f", 2, true, true,
         [](const A& a) {
             return zelsDeltaDeltaMul_Win2_32f_D2(a.src, a.mul, a.width, a.dst, a.step, a.height, a.mode);
         }},
        {"DeltaDelta_Aurora_32f", 0, true, false,
         [](const A& a) { return zelsDeltaDelta_Aurora_32f_D2(a.src, a.dst, a.step, a.height, a.mode); }},
        {"DeltaDeltaMul_Aurora_32f", 0, true, true,
         [](const A& a) {
             return zelsDeltaDeltaMul_Aurora_32f_D2(a.src, a.mul, a.dst, a.step, a.height, a.mode);
         }},
    };
}

inline std::vector<Member<Fixed>> members(Fixed)
{
    using A = Arguments<Fixed>;
    return {
        {"Delta_Win1_16s", 1, false, false,
         [](const A& a) {
             return zelsDelta_Win1_16s_D2Sfs(a.src, a.width, a.dst, a.step, a.height, a.val1, a.mode, a.sf);
         }},
        {"Delta_Win2_16s", 2, false, false,
         [](const A& a) {
             return zelsDelta_Win2_16s_D2Sfs(a.src, a.width, a.dst, a.step, a.height, a.val1, a.mode, a.sf);
         }},
        {"DeltaDelta_Win1_16s", 1, true, false,
         [](const A& a) {
             return zelsDeltaDelta_Win1_16s_D2Sfs(a.src, a.width, a.dst, a.step, a.height, a.val1, a.val2, a.mode,
                                                  a.sf);
         }},
        {"DeltaDelta_Win2_16s", 2, true, false,
         [](const A& a) {
             return zelsDeltaDelta_Win2_16s_D2Sfs(a.src, a.width, a.dst, a.step, a.height, a.val1, a.val2, a.mode,
                                                  a.sf);
         }},
        {"DeltaMul_Win1_16s", 1, false, true,
         [](const A& a) {
             return zelsDeltaMul_Win1_16s_D2Sfs(a.src, a.mul, a.width, a.dst, a.step, a.height, a.mode, a.sf);
         }},
        {"DeltaMul_Win2_16s", 2, false, true,
         [](const A& a) {
             return zelsDeltaMul_Win2_16s_D2Sfs(a.src, a.mul, a.width, a.dst, a.step, a.height, a.mode, a.sf);
         }},
        {"DeltaDeltaMul_Win1_16s", 1, true, true,
         [](const A& a) {
             return zelsDeltaDeltaMul_Win1_16s_D2Sfs(a.src, a.mul, a.width, a.dst, a.step, a.height, a.mode, a.sf);
         }},
        {"DeltaDeltaMul_Win2_16s", 2, true, true,
         [](const A& a) {
             return zelsDeltaDeltaMul_Win2_16s_D2Sfs(a.src, a.mul, a.width, a.dst, a.step, a.height, a.mode, a.sf);
         }},
        {"DeltaDelta_Aurora_16s", 0, true, false,
         [](const A& a) { return zelsDeltaDelta_Aurora_16s_D2Sfs(a.src, a.dst, a.step, a.height, a.mode, a.sf); }},
        {"DeltaDeltaMul_Aurora_16s", 0, true, true,
         [](const A& a) {
             return zelsDeltaDeltaMul_Aurora_16s_D2Sfs(a.src, a.mul, a.dst, a.step, a.height, a.mode, a.sf);
         }},
    };
}

template <class T>
Member<T> member_named(std::string_view name)
{
    for (const Member<T>& member : members(T()))
        if (member.name == name) return member;
    ADD_FAILURE() << "no member " << name;
    return {};
}

// A stream: all frames of it, and the constants.
template <class T>
struct Stream {
    int width;  // columns of each part of a row
    std::vector<T> frames;
    std::vector<T> mul;
    T val1, val2;
    int32_t sf;

    int frame_length(const Member<T>& m) const { return m.aurora() ? 14 : width; }
    int height(const Member<T>& m) const { return static_cast<int>(frames.size()) / frame_length(m); }
};

inline float small_value(Single) { return uniform(-3.0F, 3.0F); }
inline std::int16_t small_value(Fixed) { return uniform<Fixed>(-4000, 4000); }

// Aurora's rows have 13 columns a part whatever the width.
template <class T>
Stream<T> random_stream(const Member<T>& m, int width, int height)
{
    Stream<T> s{m.aurora() ? 13 : width, {}, {}, small_value(T()), small_value(T()), uniform<int32_t>(0, 12)};
    for (int i = 0; i < height * s.frame_length(m); ++i) s.frames.push_back(small_value(T()));
    for (int i = 0; i < m.row_length(s.width); ++i) s.mul.push_back(small_value(T()));
    return s;
}

// Every value of the type's range and the special ones; scale factors of both signs.
template <class T>
Stream<T> wild_stream(const Member<T>& m, int width, int height)
{
    Stream<T> s = random_stream(m, width, height);
    const std::vector<T> special = special_values<T>();
    const auto wild = [&] {
        if (generator()() % 4 == 0) return special[generator()() % special.size()];
        if constexpr (std::is_same_v<T, Single>)
            return generator()() % 4 == 0 ? uniform(-3e38F, 3e38F) : uniform(-1000.0F, 1000.0F);
        else
            return uniform(std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
    };
    for (std::vector<T>* values : {&s.frames, &s.mul})
        for (T& value : *values) value = wild();
    s.val1 = wild();
    s.val2 = wild();
    s.sf = uniform<int32_t>(-31, 31);
    return s;
}

template <class T>
Arguments<T> arguments(const Stream<T>& s, const T* src, const T* mul, T* dst, int step, int height, int mode)
{
    return {src, mul, s.width, dst, step, height, s.val1, s.val2, mode, s.sf};
}

// What one call must leave in the rows from dst on.
template <class T>
void write_expected(const Member<T>& m, const Stream<T>& s, const T* src, T* dst, int step, int height, int mode)
{
    const T* const mul = m.multiplied ? s.mul.data() : nullptr;
    const bool first = (mode & DeltaFirstBlock) != 0, last = (mode & DeltaLastBlock) != 0;
    const auto write = [&](const auto& rule) {
        reference::delta_block(rule, src, height, dst, step, first, last, m.with_second);
    };
    if (!m.aurora())
        write(reference::WindowRule<T>{s.width, m.window, m.with_second, mul, s.val1, s.val2, s.sf});
    else if constexpr (std::is_same_v<T, Single>)
        write(reference::AuroraRule<Single>{mul});
    else
        write(reference::AuroraRule<Fixed>{mul, s.sf});
}

}  // namespace zelsr::test::delta
