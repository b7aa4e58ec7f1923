// FFT records and members as their tests handle them.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <ostream>
#include <vector>

#include "support/effort.h"
#include "support/reference/fft.h"
#include "zelsr/core/fft.h"

namespace zelsr::test {

inline const std::vector<int> kFlags = {1, 2, 4, 8};
inline const std::vector<int> kBadFlags = {0, 3, 5, 6, 7, 9, 16, -1, -8, INT32_MIN, INT32_MAX};
inline const std::vector<int> kBadOrders = {-1, 31, INT32_MIN, INT32_MAX};

// From 0 to highest, to 14 where every instruction is slow.
inline std::vector<int> orders_to(int highest)
{
    std::vector<int> orders;
    for (int order = 0; order <= (thin_effort() ? std::min(highest, 14) : highest); ++order)
        orders.push_back(order);
    return orders;
}

inline bool scales_forward(int flag) { return flag == 1 || flag == 4; }
inline bool scales_inverse(int flag) { return flag == 2 || flag == 4; }

// 1/N, 1/sqrt(N), or 0 for the flag that never scales.
inline long double scale_of(int order, int flag)
{
    const long double n = std::ldexp(1.0L, order);
    return flag == 8 ? 0 : flag == 4 ? 1 / std::sqrt(n) : 1 / n;
}
inline double forward_factor(int order, int flag)
{
    return scales_forward(flag) ? static_cast<double>(scale_of(order, flag)) : 1;
}
inline double inverse_factor(int order, int flag)
{
    return scales_inverse(flag) ? static_cast<double>(scale_of(order, flag)) : 1;
}

// Elements of a spectrum: CCS has two more than N, but one more where N is 1.
inline std::size_t spectrum_size(std::size_t size, int beyond)
{
    return size + static_cast<std::size_t>(size == 1 ? beyond / 2 : beyond);
}

using Transform_32f = SrStatus (*)(const float*, float*, const ZelFFTState_R_32f*, uint8_t*);

struct Format {
    const char* name;
    Transform_32f forward;
    int beyond;  // elements more than N, from N = 2 on
    std::vector<double> (*arrange)(const reference::Bins&);
};
inline std::ostream& operator<<(std::ostream& out, const Format& format) { return out << format.name; }

inline const Format kCcs = {"CCS", zelsFFTFwd_RToCCS_32f, 2, reference::as_ccs};
inline const Format kPack = {"Pack", zelsFFTFwd_RToPack_32f, 0, reference::as_pack};
inline const Format kPerm = {"Perm", zelsFFTFwd_RToPerm_32f, 0, reference::as_perm};
inline const std::vector<Format> kFormats = {kCcs, kPack, kPerm};

// The functions of one kind of record.
struct Kind_32f {
    using State = ZelFFTState_R_32f;
    static constexpr int32_t kIdentity = 6;
    static constexpr auto kGetSize = zelsFFTGetSize_R_32f;
    static constexpr auto kInit = zelsFFTInit_R_32f;
    static constexpr auto kInitAlloc = zelsFFTInitAlloc_R_32f;
    static constexpr auto kFree = zelsFFTFree_R_32f;
};
struct Kind_16s32s {
    using State = ZelFFTState_R_16s32s;
    static constexpr int32_t kIdentity = 0x434D414F;
    static constexpr auto kGetSize = zelsFFTGetSize_R_16s32s;
    static constexpr auto kInit = zelsFFTInit_R_16s32s;
    static constexpr auto kInitAlloc = zelsFFTInitAlloc_R_16s32s;
    static constexpr auto kFree = zelsFFTFree_R_16s32s;
};

// For typed suites over both.
struct KindNames {
    template <class Kind>
    static std::string GetName(int)
    {
        return std::is_same_v<Kind, Kind_32f> ? "32f" : "16s32s";
    }
};
using Kinds = testing::Types<Kind_32f, Kind_16s32s>;

// A record of the allocator's, released at the end.
template <class Kind>
class OwnedFft {
  public:
    OwnedFft(int order, int flag, int hint = 0) { EXPECT_EQ(Kind::kInitAlloc(&state_, order, flag, hint), SrOk); }
    ~OwnedFft() { EXPECT_EQ(Kind::kFree(state_), SrOk); }
    OwnedFft(const OwnedFft&) = delete;
    OwnedFft& operator=(const OwnedFft&) = delete;
    const typename Kind::State* get() const { return state_; }

  private:
    typename Kind::State* state_ = nullptr;
};
using Fft = OwnedFft<Kind_32f>;
using Fft_16s32s = OwnedFft<Kind_16s32s>;

struct Sizes {
    int32_t record = -1, setup = -1, work = -1;
    bool operator==(const Sizes&) const = default;
};
inline std::ostream& operator<<(std::ostream& out, const Sizes& s)
{
    return out << "record " << s.record << ", setup " << s.setup << ", work " << s.work;
}

template <class Kind>
Sizes sizes_of(int order, int flag = 2, int hint = 0)
{
    Sizes sizes;
    EXPECT_EQ(Kind::kGetSize(order, flag, hint, &sizes.record, &sizes.setup, &sizes.work), SrOk);
    return sizes;
}

inline int32_t buffer_size(const ZelFFTState_R_32f* state)
{
    int32_t size = -1;
    EXPECT_EQ(zelsFFTGetBufSize_R_32f(state, &size), SrOk);
    return size;
}

// A record's head as 32-bit words.
inline int32_t head_word(const void* record, int index)
{
    int32_t word;
    std::memcpy(&word, static_cast<const char*>(record) + 4 * index, sizeof word);
    return word;
}

// Separate arrays, work memory from the allocator.
inline std::vector<float> run_forward(const Format& format, const std::vector<float>& x,
                                      const ZelFFTState_R_32f* fft)
{
    std::vector<float> spectrum(spectrum_size(x.size(), format.beyond));
    EXPECT_EQ(format.forward(x.data(), spectrum.data(), fft, nullptr), SrOk);
    return spectrum;
}
inline std::vector<float> run_inverse(const std::vector<float>& pack, const ZelFFTState_R_32f* fft)
{
    std::vector<float> x(pack.size());
    EXPECT_EQ(zelsFFTInv_PackToR_32f(pack.data(), x.data(), fft, nullptr), SrOk);
    return x;
}

}  // namespace zelsr::test
