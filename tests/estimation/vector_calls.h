// Functions on vectors of one type whose references take the arguments of the functions themselves: one call
// between guard pages beside one of the reference on plain arrays, with the arrays shared alike.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <functional>
#include <limits>
#include <memory>
#include <optional>
#include <string>
#include <tuple>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/bits.h"
#include "support/effort.h"
#include "support/guarded.h"
#include "support/odd_stack.h"
#include "zelsr/types.h"

namespace zelsr::test::estimation {

// Pointers, integers (the length first) and floating-point numbers, each in the order in which the function takes
// those of their kind.
struct Arguments {
    std::array<void*, 7> pointer;
    std::array<std::int32_t, 2> integer;
    std::array<double, 4> scalar;
    std::array<float, 4> scalar_32f;  // rounded before the call, which may be in another environment
    bool sources_on_16_bytes;         // those of the library's call, the reference's too
};

// The stack pointer modulo 16 at each call; below 0 calls are made as the compiler makes them (i386).
inline int stack_misalign = -1;

template <class... Parameter>
SrStatus call_with(SrStatus (*function)(Parameter...), const Arguments& a)
{
    std::size_t pointer = 0, integer = 0, scalar = 0;
    const auto take = [&]<class T>(std::type_identity<T>) -> T {
        if constexpr (std::is_pointer_v<T>)
            return static_cast<T>(a.pointer[pointer++]);
        else if constexpr (std::is_integral_v<T>)
            return a.integer[integer++];
        else if constexpr (std::is_same_v<T, float>)
            return a.scalar_32f[scalar++];
        else
            return a.scalar[scalar++];
    };
    const std::tuple<Parameter...> in_order{take(std::type_identity<Parameter>{})...};
    const auto call = [function](Parameter... argument) {
#ifdef __i386__
        if (stack_misalign >= 0)
            return call_misaligned<SrStatus, Parameter...>(function, stack_misalign, argument...);
#endif
        return function(argument...);
    };
    return std::apply(call, in_order);
}

using Call = std::function<SrStatus(const Arguments&)>;
using Scalars = std::array<double, 4>;

enum class Checks { NullFirst, SizeFirst };
enum class Rounding { Callers, Own };
enum class Overlap { Undefined, InOrder };  // of a destination with a source, at other than the same address

// roles, one letter a pointer: i source, v source of variances (above zero but for special values), b source and
// destination, o destination, r result of one element. The last is of type R.
template <class T, class R = T>
struct Member {
    std::string name, roles;
    Call call, reference;
    std::vector<Scalars> scalars;
    Checks checks = Checks::NullFirst;
    Rounding rounding = Rounding::Callers;
    Overlap overlap = Overlap::Undefined;
    std::vector<std::int32_t> scale_factors = {0};
    // Beside one unit of the last place of the result: times its size and the length. Below 0: the same bits.
    double tolerance = -1;
    bool status_of_nan_is_free = false;  // a result that is not a number may come with SrOk or SrWarnLnNegArg

    bool source(std::size_t p) const { return roles[p] == 'i' || roles[p] == 'v' || roles[p] == 'b'; }
    bool destination(std::size_t p) const { return roles[p] == 'o' || roles[p] == 'b'; }
    bool result(std::size_t p) const { return roles[p] == 'r'; }
};

template <class T, class R = T, class... Parameter>
Member<T, R> member(std::string name, std::string roles, SrStatus (*call)(Parameter...),
                    std::type_identity_t<SrStatus (*)(Parameter...)> reference,
                    std::vector<Scalars> scalars = {{}})
{
    return {std::move(name), std::move(roles), [call](const Arguments& a) { return call_with(call, a); },
            [reference](const Arguments& a) {
                const int misalign = std::exchange(stack_misalign, -1);
                const SrStatus status = call_with(reference, a);
                stack_misalign = misalign;
                return status;
            },
            std::move(scalars)};
}

// Pointer moved points this many elements behind pointer onto.
struct Share {
    std::size_t moved, onto;
    int elements = 0;
};

enum class Values { Ordinary, WithSpecial };

template <class T>
T drawn(char role, Values values)
{
    if (values == Values::WithSpecial && generator()() % 6 == 0) {
        static const std::vector<T> special = special_values<T>();
        return special[generator()() % special.size()];
    }
    if constexpr (std::is_floating_point_v<T>)
        return role == 'v' ? std::exp(uniform(T(-5), T(5))) : uniform(T(-100), T(100));
    else
        return generator()() % 3 == 0 ? uniform(T(-1000), T(1000))
                                      : uniform(std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
}

// One call's arrays and what it must leave in them.
template <class T, class R>
class Trial {
  public:
    Trial(const Member<T, R>& member, int len, Values values, const std::vector<Placement>& places,
          std::optional<Share> share = {}, Scalars scalars = {}, std::int32_t sf = 0)
        : m_(member), len_(len), places_(places), share_(share), scalars_(scalars), sf_(sf)
    {
        for (std::size_t i = 0; i < scalars.size(); ++i) scalars_32f_[i] = static_cast<float>(scalars[i]);
        const std::size_t count = m_.roles.size();
        for (std::size_t p = 0; p < count; ++p) home_.push_back({p, 0});
        std::vector<std::size_t> sizes(count, static_cast<std::size_t>(len));
        if (share) {
            home_[share->onto].second = std::max(0, -share->elements);
            home_[share->moved] = {share->onto, std::max(0, share->elements)};
            sizes[share->onto] += static_cast<std::size_t>(std::abs(share->elements));
        }
        for (std::size_t p = 0; p < count; ++p) {
            std::vector<T> start(sizes[p]);
            for (T& x : start) x = drawn<T>(m_.roles[p], values);
            set_array(p, start);
        }
    }

    // Other values for the array of pointer p (not a shared one).
    void set_array(std::size_t p, const std::vector<T>& values)
    {
        if (arrays_.size() <= p) arrays_.emplace_back();
        arrays_[p] = std::make_unique<Guarded<T>>(values, places_[p]);
        if (start_.size() <= p) start_.emplace_back();
        start_[p] = values;
    }

    Arguments arguments()
    {
        return arguments_of([this](std::size_t buffer) { return arrays_[buffer]->data(); }, result_.data());
    }
    std::vector<GuardedBytes*> outputs()
    {
        std::vector<GuardedBytes*> all = {&result_};
        for (auto& array : arrays_) all.push_back(array.get());
        return all;
    }
    void refill()
    {
        for (std::size_t p = 0; p < arrays_.size(); ++p) arrays_[p]->fill(start_[p]);
        result_.set(0, kBefore);
    }
    void compute_reference()
    {
        expected_ = start_;
        expected_result_ = kBefore;
        status_ = m_.reference(
            arguments_of([this](std::size_t buffer) { return expected_[buffer].data(); }, &expected_result_));
    }
    bool right_status(SrStatus returned) const
    {
        const bool nan = m_.status_of_nan_is_free && expected_result_ != expected_result_;
        const auto known = [nan](SrStatus s) { return nan && s == SrWarnLnNegArg ? SrOk : s; };
        return known(returned) == known(status_);
    }
    // What the call has left, beside what the reference leaves in the present rounding mode.
    testing::AssertionResult right(SrStatus returned)
    {
        compute_reference();
        return as_expected(returned);
    }
    testing::AssertionResult as_expected(SrStatus returned) const
    {
        testing::AssertionResult verdict = right_result(result_.get(0));
        if (!verdict) verdict << " of the result";
        for (std::size_t p = 0; p < arrays_.size() && verdict; ++p) {
            verdict = same_values(expected_[p], arrays_[p]->values());
            if (!verdict) verdict << " of array " << p;
            if (!arrays_[p]->intact()) verdict = testing::AssertionFailure() << "written beside array " << p;
        }
        if (!result_.intact()) verdict = testing::AssertionFailure() << "written beside the result";
        if (!right_status(returned))
            verdict = testing::AssertionFailure() << returned << " for status " << status_;
        return verdict ? verdict : verdict << "; " << describe();
    }

  private:
    static constexpr R kBefore = 77;

    testing::AssertionResult right_result(R actual) const
    {
        if (m_.tolerance < 0 || same(expected_result_, actual)) return same_value(expected_result_, actual);
        const double unit = std::numeric_limits<R>::epsilon() + m_.tolerance * len_;
        return near_values<R>({expected_result_}, {actual},
                              unit * std::abs(static_cast<double>(expected_result_)));
    }
    template <class Buffer>
    Arguments arguments_of(Buffer buffer, R* result)
    {
        Arguments a{{}, {len_, sf_}, scalars_, scalars_32f_, true};
        for (std::size_t p = 0; p < home_.size(); ++p) {
            const auto [array, first] = home_[p];
            if (m_.result(p))
                a.pointer[p] = result;
            else
                a.pointer[p] = buffer(array) + first;
            const auto address = reinterpret_cast<std::uintptr_t>(arrays_[array]->data() + first);
            if (m_.source(p) && address % 16 != 0) a.sources_on_16_bytes = false;
        }
        return a;
    }
    std::string describe() const
    {
        std::string text = m_.name + ", " + std::to_string(len_) + " elements, scalars";
        for (double scalar : scalars_) text += " " + std::to_string(scalar);
        text += ", sf " + std::to_string(sf_);
        for (const Placement& place : places_) text += "; " + test::describe(place);
        if (share_)
            text += "; pointer " + std::to_string(share_->moved) + " on " + std::to_string(share_->onto) + " + " +
                    std::to_string(share_->elements);
        return text;
    }

    const Member<T, R>& m_;
    std::int32_t len_;
    std::vector<Placement> places_;
    std::optional<Share> share_;
    Scalars scalars_;
    std::array<float, 4> scalars_32f_;
    std::int32_t sf_;
    std::vector<std::pair<std::size_t, int>> home_;  // of each pointer: its array, its first element there
    std::vector<std::unique_ptr<Guarded<T>>> arrays_;
    std::vector<std::vector<T>> start_, expected_;
    Guarded<R> result_{std::vector<R>{kBefore}};
    R expected_result_ = kBefore;
    SrStatus status_ = SrErrUnknown;
};

}  // namespace zelsr::test::estimation
