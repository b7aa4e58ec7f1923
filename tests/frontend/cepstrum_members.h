// Cosine transforms with lifter as their tests handle them: the two kinds of records, the four forms of each.
#pragma once

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <string>
#include <vector>

#include "support/effort.h"
#include "support/reference/cepstrum.h"
#include "zelsr/frontend/cepstrum.h"

namespace zelsr::test::cepstrum {

enum class Form { Plain, C0, Mul, MulC0 };
constexpr Form kForms[] = {Form::Plain, Form::C0, Form::Mul, Form::MulC0};
inline const char* name(Form form)
{
    const char* const names[] = {"Plain", "C0", "Mul", "MulC0"};
    return names[static_cast<int>(form)];
}
inline bool with_c0(Form form) { return form == Form::C0 || form == Form::MulC0; }
inline bool with_user(Form form) { return form == Form::Mul || form == Form::MulC0; }

struct Recipe {
    Form form;
    int32_t len_dct, len_cep;
    int32_t lifter;          // of the sine
    float val, val0;         // of the sine
    std::vector<float> mul;  // Mul and MulC0

    std::size_t results() const { return static_cast<std::size_t>(len_cep + (with_c0(form) ? 1 : 0)); }
};
inline std::string describe(const Recipe& s)
{
    return std::string(name(s.form)) + ", " + std::to_string(s.len_dct) + " into " + std::to_string(s.len_cep) +
           ", L " + std::to_string(s.lifter);
}

inline Recipe random_recipe(Form form, int len_dct, int len_cep)
{
    return {form,
            len_dct,
            len_cep,
            uniform(1, 30),
            uniform(0.5F, 2.0F),
            uniform(-2.0F, 2.0F),
            uniform_vector(len_cep, -3.0F, 3.0F)};
}

inline reference::Lifter lifter_of(const Recipe& s)
{
    if (s.form == Form::Plain) return reference::plain_lifter(s.len_cep, s.lifter, s.val);
    if (s.form == Form::C0) return reference::lifter_with_c0(s.len_cep, s.lifter, s.val, s.val0);
    if (s.form == Form::Mul) return reference::user_lifter(s.mul);
    return reference::user_lifter_with_c0(s.mul);
}

// The record's fields, in memory's order.
struct Fields_32f {
    int32_t lifter_parameter, len_dct, len_cep, use_c0;
    float* lifter;
    float** rows;
};
struct Fields_16s {
    int32_t lifter_parameter, len_dct, len_cep, use_c0;
    float* lifter;
    float* scratch;
    float** rows;
};

template <class State>
using GetSize = SrStatus(int32_t, int32_t, int32_t*);
template <class State>
using Init = SrStatus(State*, int32_t, int32_t, int32_t, float);
template <class State>
using InitC0 = SrStatus(State*, int32_t, int32_t, int32_t, float, float);
template <class State>
using InitMul = SrStatus(State*, int32_t, const float*, int32_t);

struct Kind_32f {
    using State = ZelDCTLifterState_32f;
    using Fields = Fields_32f;
    static constexpr bool kScratch = false;
    static constexpr GetSize<State>* kGetSize[] = {zelsDCTLifterGetSize_32f, zelsDCTLifterGetSize_C0_32f,
                                                   zelsDCTLifterGetSize_Mul_32f, zelsDCTLifterGetSize_MulC0_32f};
    static SrStatus init(State* memory, const Recipe& s, const float* mul)
    {
        if (s.form == Form::Plain) return zelsDCTLifterInit_32f(memory, s.len_dct, s.len_cep, s.lifter, s.val);
        if (s.form == Form::C0)
            return zelsDCTLifterInit_C0_32f(memory, s.len_dct, s.len_cep, s.lifter, s.val, s.val0);
        if (s.form == Form::Mul) return zelsDCTLifterInit_Mul_32f(memory, s.len_dct, mul, s.len_cep);
        return zelsDCTLifterInit_MulC0_32f(memory, s.len_dct, mul, s.len_cep);
    }
    static SrStatus init_alloc(State** state, const Recipe& s, const float* mul)
    {
        if (s.form == Form::Plain) return zelsDCTLifterInitAlloc_32f(state, s.len_dct, s.len_cep, s.lifter, s.val);
        if (s.form == Form::C0)
            return zelsDCTLifterInitAlloc_C0_32f(state, s.len_dct, s.len_cep, s.lifter, s.val, s.val0);
        if (s.form == Form::Mul) return zelsDCTLifterInitAlloc_Mul_32f(state, s.len_dct, mul, s.len_cep);
        return zelsDCTLifterInitAlloc_MulC0_32f(state, s.len_dct, mul, s.len_cep);
    }
    static SrStatus free(State* state) { return zelsDCTLifterFree_32f(state); }
};

struct Kind_16s {
    using State = ZelDCTLifterState_16s;
    using Fields = Fields_16s;
    static constexpr bool kScratch = true;
    static constexpr GetSize<State>* kGetSize[] = {zelsDCTLifterGetSize_16s, zelsDCTLifterGetSize_C0_16s,
                                                   zelsDCTLifterGetSize_Mul_16s, zelsDCTLifterGetSize_MulC0_16s};
    static SrStatus init(State* memory, const Recipe& s, const float* mul)
    {
        if (s.form == Form::Plain) return zelsDCTLifterInit_16s(memory, s.len_dct, s.len_cep, s.lifter, s.val);
        if (s.form == Form::C0)
            return zelsDCTLifterInit_C0_16s(memory, s.len_dct, s.len_cep, s.lifter, s.val, s.val0);
        if (s.form == Form::Mul) return zelsDCTLifterInit_Mul_16s(memory, s.len_dct, mul, s.len_cep);
        return zelsDCTLifterInit_MulC0_16s(memory, s.len_dct, mul, s.len_cep);
    }
    static SrStatus init_alloc(State** state, const Recipe& s, const float* mul)
    {
        if (s.form == Form::Plain) return zelsDCTLifterInitAlloc_16s(state, s.len_dct, s.len_cep, s.lifter, s.val);
        if (s.form == Form::C0)
            return zelsDCTLifterInitAlloc_C0_16s(state, s.len_dct, s.len_cep, s.lifter, s.val, s.val0);
        if (s.form == Form::Mul) return zelsDCTLifterInitAlloc_Mul_16s(state, s.len_dct, mul, s.len_cep);
        return zelsDCTLifterInitAlloc_MulC0_16s(state, s.len_dct, mul, s.len_cep);
    }
    static SrStatus free(State* state) { return zelsDCTLifterFree_16s(state); }
};

template <class Kind>
typename Kind::Fields fields(const void* record)
{
    typename Kind::Fields copy;
    std::memcpy(&copy, record, sizeof copy);
    return copy;
}

template <class Kind>
int32_t size_of(const Recipe& s)
{
    int32_t size = -1;
    EXPECT_EQ(Kind::kGetSize[static_cast<int>(s.form)](s.len_dct, s.len_cep, &size), SrOk);
    return size;
}

// A record from the allocator.
template <class Kind>
class Owned {
  public:
    explicit Owned(const Recipe& s) { EXPECT_EQ(Kind::init_alloc(&state_, s, s.mul.data()), SrOk); }
    ~Owned() { EXPECT_EQ(Kind::free(state_), SrOk); }
    Owned(const Owned&) = delete;
    Owned& operator=(const Owned&) = delete;

    const typename Kind::State* get() const { return state_; }

  private:
    typename Kind::State* state_ = nullptr;
};

// The three transforms.
struct Single {
    using Kind = Kind_32f;
    using Source = float;
    using Result = float;
    static SrStatus call(const float* src, float* dst, const ZelDCTLifterState_32f* state, int32_t)
    {
        return zelsDCTLifter_32f(src, dst, state);
    }
    static std::vector<float> expected(const std::vector<float>& x, const Recipe& s, int32_t)
    {
        return reference::cepstrum(x, lifter_of(s));
    }
};
struct Fixed16s {
    using Kind = Kind_16s;
    using Source = int16_t;
    using Result = int16_t;
    static SrStatus call(const int16_t* src, int16_t* dst, const ZelDCTLifterState_16s* state, int32_t sf)
    {
        return zelsDCTLifter_16s_Sfs(src, dst, state, sf);
    }
    static std::vector<int16_t> expected(const std::vector<int16_t>& x, const Recipe& s, int32_t sf)
    {
        return reference::fixed_cepstrum(x, lifter_of(s), sf);
    }
};
struct Fixed32s {
    using Kind = Kind_16s;
    using Source = int32_t;
    using Result = int16_t;
    static SrStatus call(const int32_t* src, int16_t* dst, const ZelDCTLifterState_16s* state, int32_t sf)
    {
        return zelsDCTLifter_32s16s_Sfs(src, dst, state, sf);
    }
    static std::vector<int16_t> expected(const std::vector<int32_t>& x, const Recipe& s, int32_t sf)
    {
        return reference::fixed_cepstrum(x, lifter_of(s), sf);
    }
};

}  // namespace zelsr::test::cepstrum
