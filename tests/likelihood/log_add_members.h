// The members that add two vectors of logarithms: their calls in one form, and what each must do.
#pragma once

#include <array>
#include <string>

#include "likelihood/log_domain.h"

namespace zelsr::test::log_add {

// A member's call, and what it makes of x in src and y in srcdst.
struct Add_32f {
    using T = float;
    static constexpr const char* kName = "32f";
    template <class How = Direct>
    static SrStatus call(const T* src, T* srcdst, int32_t len, int32_t, int32_t hint, How how = {})
    {
        return how(zelsLogAdd_32f, src, srcdst, len, hint);
    }
    static T sum(T x, T y, int32_t, int32_t hint) { return reference::log_add(x, y, hint); }
};
struct Add_64f {
    using T = double;
    static constexpr const char* kName = "64f";
    template <class How = Direct>
    static SrStatus call(const T* src, T* srcdst, int32_t len, int32_t, int32_t hint, How how = {})
    {
        return how(zelsLogAdd_64f, src, srcdst, len, hint);
    }
    static T sum(T x, T y, int32_t, int32_t hint) { return reference::log_add(x, y, hint); }
};
struct Add_32s_Sfs {
    using T = int32_t;
    static constexpr const char* kName = "32s_Sfs";
    template <class How = Direct>
    static SrStatus call(const T* src, T* srcdst, int32_t len, int32_t sf, int32_t hint, How how = {})
    {
        return how(zelsLogAdd_32s_Sfs, src, srcdst, len, sf, hint);
    }
    static T sum(T x, T y, int32_t sf, int32_t hint) { return reference::log_add_scaled(x, y, sf, hint); }
};
struct Add_16s_Sfs {
    using T = int16_t;
    static constexpr const char* kName = "16s_Sfs";
    template <class How = Direct>
    static SrStatus call(const T* src, T* srcdst, int32_t len, int32_t sf, int32_t hint, How how = {})
    {
        return how(zelsLogAdd_16s_Sfs, src, srcdst, len, sf, hint);
    }
    static T sum(T x, T y, int32_t sf, int32_t hint) { return reference::log_add_scaled(x, y, sf, hint); }
};

template <class M>
testing::AssertionResult adds(const Operands<typename M::T>& operands, int32_t sf, int32_t hint,
                              const std::array<Placement, 2>& places = {})
{
    using T = typename M::T;
    return updates(
        operands, element_by_element(operands, [=](T x, T y) { return M::sum(x, y, sf, hint); }),
        [=](const T* src, T* srcdst, int32_t len) { return M::call(src, srcdst, len, sf, hint); }, places);
}

template <class M>
typename M::T one(typename M::T x, typename M::T y, int32_t hint, int32_t sf = 0)
{
    using T = typename M::T;
    return on_one_pair(x, y,
                       [=](const T* src, T* srcdst, int32_t len) { return M::call(src, srcdst, len, sf, hint); });
}

struct MemberName {
    template <class M>
    static std::string GetName(int)
    {
        return M::kName;
    }
};

inline constexpr int32_t kHints[] = {0, 1, 2};
inline constexpr int32_t kOtherHints[] = {-1, 3, 4, INT32_MIN, INT32_MAX};

}  // namespace zelsr::test::log_add
