// Both estimators under one set of names, and a state between guard pages.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <type_traits>
#include <vector>

#include "support/bits.h"
#include "support/guarded.h"
#include "support/hooks.h"
#include "support/reference/mcra.h"
#include "zelsr/noise/mcra.h"

namespace zelsr::test {

struct Mcra_32f {
    using T = float;
    using State = ZelMcraState_32f;
    static constexpr auto kGetSize = zelsGetSizeMCRA_32f;
    static constexpr auto kInit = zelsInitMCRA_32f;
    static constexpr auto kAltInit = zelsAltInitMCRA_32f;
    static constexpr auto kUpdate = zelsUpdateNoisePSDMCRA_32f_I;
};
struct Mcra_32s {
    using T = int32_t;
    using State = ZelMcraState_32s;
    static constexpr auto kGetSize = zelsGetSizeMCRA_32s;
    static constexpr auto kInit = zelsInitMCRA_32s;
    static constexpr auto kAltInit = zelsAltInitMCRA_32s;
    static constexpr auto kUpdate = zelsUpdateNoisePSDMCRA_32s_I;
};
using McraMembers = testing::Types<Mcra_32f, Mcra_32s>;
struct McraNames {
    template <class Member>
    static std::string GetName(int)
    {
        return std::is_same_v<Member, Mcra_32f> ? "32f" : "32s";
    }
};

// The record as it lies at the start of the memory.
template <class T>
struct McraRecord {
    int32_t rate, length, order, reserved, shift, window, count, first;
    T noise_smoothing, presence_smoothing, spectrum_smoothing, delta;
    T *presence, *smoothed, *minimum, *temporary;
};
static_assert(sizeof(McraRecord<float>) == 48 + 4 * sizeof(void*));

// i386: 68 bytes and 16 a bin; pointers of 8 bytes take 16 more.
inline int32_t mcra_size(int length)
{
    return static_cast<int32_t>(4 + sizeof(McraRecord<float>)) + 4 * (4 * (length / 2) + 4);
}

// A state in memory of exactly its size.
template <class Member>
class McraBlock {
  public:
    using T = typename Member::T;
    using State = typename Member::State;

    explicit McraBlock(int length, Placement place = {})
        : bytes_(std::vector<uint8_t>(static_cast<std::size_t>(mcra_size(length)), 0xA5), place)
    {}
    // shift 0: by Init, else by AltInit.
    SrStatus init(int rate, int length, int shift = 0)
    {
        return shift == 0 ? Member::kInit(rate, length, state()) : Member::kAltInit(rate, length, shift, state());
    }
    State* state() { return reinterpret_cast<State*>(bytes_.data()); }
    Guarded<uint8_t>& bytes() { return bytes_; }
    McraRecord<T> record() const
    {
        McraRecord<T> copy;
        std::memcpy(&copy, bytes_.data(), sizeof copy);
        return copy;
    }
    std::vector<T> array(const T* first, std::size_t bins) const
    {
        std::vector<T> copy(bins);
        std::memcpy(copy.data(), static_cast<const void*>(first), bins * sizeof(T));
        return copy;
    }

    testing::AssertionResult is_set_up_as(const reference::Mcra<T>& m) const
    {
        const McraRecord<T> r = record();
        const auto differs = [](const char* what, auto expected, auto got) {
            return testing::AssertionFailure() << what << ": expected " << expected << ", got " << got;
        };
        if (r.rate != m.rate) return differs("rate", m.rate, r.rate);
        if (r.length != m.length) return differs("length", m.length, r.length);
        if (r.order != m.order) return differs("order", m.order, r.order);
        if (r.shift != m.shift) return differs("shift", m.shift, r.shift);
        if (r.window != m.window) return differs("window", m.window, r.window);
        if (r.count != m.count) return differs("count", m.count, r.count);
        if (r.first != m.first) return differs("first", m.first, r.first);
        if (!same(r.noise_smoothing, m.noise_smoothing))
            return differs("ad", m.noise_smoothing, r.noise_smoothing);
        if (!same(r.presence_smoothing, m.presence_smoothing))
            return differs("ap", m.presence_smoothing, r.presence_smoothing);
        if (!same(r.spectrum_smoothing, m.spectrum_smoothing))
            return differs("as", m.spectrum_smoothing, r.spectrum_smoothing);
        if (r.delta != m.delta) return differs("delta", m.delta, r.delta);
        const auto address = [](const void* p) { return reinterpret_cast<std::uintptr_t>(p); };
        std::uintptr_t next = address(r.presence);
        const std::uintptr_t row = m.bins() * sizeof(T);
        if (next < address(bytes_.data()) + sizeof r || next + 4 * row > address(bytes_.data()) + bytes_.bytes())
            return testing::AssertionFailure() << "arrays outside the memory";
        for (const T* array : {r.smoothed, r.minimum, r.temporary}) {
            next += row;
            if (address(array) != next) return testing::AssertionFailure() << "arrays apart";
        }
        if (!bytes_.intact()) return testing::AssertionFailure() << "written beside the memory";
        return testing::AssertionSuccess();
    }

    // All of the record and the arrays.
    testing::AssertionResult is(const reference::Mcra<T>& m) const
    {
        if (auto right = is_set_up_as(m); !right) return right;
        const McraRecord<T> r = record();
        if (auto right = same_values(m.smoothed, array(r.smoothed, m.bins())); !right)
            return right << " (smoothed)";
        if (auto right = same_values(m.minimum, array(r.minimum, m.bins())); !right) return right << " (minimum)";
        if (auto right = same_values(m.temporary, array(r.temporary, m.bins())); !right)
            return right << " (temporary)";
        if (auto right = same_values(m.presence, array(r.presence, m.bins())); !right)
            return right << " (presence)";
        return testing::AssertionSuccess();
    }

  private:
    Guarded<uint8_t> bytes_;
};

}  // namespace zelsr::test
