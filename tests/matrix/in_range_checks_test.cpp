// Vectors mapped between two fractions of their span: checks, memory, environment and stack.
#include <gtest/gtest.h>

#include "matrix/in_range_members.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/hooks.h"

namespace zelsr::test {
namespace {

TYPED_TEST_SUITE(NormalizeInRange, Pairs, TypesName);

TYPED_TEST(NormalizeInRange, PointersThenLengthThenValuesAreChecked)
{
    using S = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    using A = typename TypeParam::A;
    this->for_members([](const Member<S, R>& m) {
        Guarded<S> src(std::vector<S>{1, 2, 3, 4, 5, 6, 7, 8, 9});
        Guarded<R> dst(std::vector<R>(9, R(77)));
        const A good{src.data(), dst.data(), 9, S(1), S(9), 0.25F, 0.75F, R(100)};
        const std::vector<std::pair<const char*, std::function<void(A&)>>> bad_values = {
            {"low below 0", [](A& a) { a.low = -0x1p-149F; }},
            {"low not a number", [](A& a) { a.low = NAN; }},
            {"low infinite", [](A& a) { a.low = -HUGE_VALF; }},
            {"low as high", [](A& a) { a.low = a.high = 0.5F; }},
            {"low above high", [](A& a) { a.low = 0.76F; }},
            {"high not a number", [](A& a) { a.high = NAN; }},
            {"high above 1", [](A& a) { a.high = std::nextafter(1.0F, 2.0F); }},
            {"high infinite", [](A& a) { a.high = HUGE_VALF; }}};
        for (const auto& [name, inject] : bad_values)
            for (int32_t length : {0, -1, INT32_MIN}) {
                std::vector<Fault<A>> faults;
                if (!m.in_place) faults.push_back({"source", SrErrNullPtr, [](A& a) { a.src = nullptr; }});
                faults.push_back({"result", SrErrNullPtr, [](A& a) { a.dst = nullptr; }});
                faults.push_back({"length", SrErrSize, [=](A& a) { a.len = length; }});
                faults.push_back({name, SrErrBadArg, inject});
                if constexpr (std::is_signed_v<R>)
                    faults.push_back({"range below 0", SrErrBadArg, [](A& a) { a.range = R(-1); }});
                if constexpr (std::is_same_v<R, float>)
                    faults.push_back({"range not a number", SrErrBadArg, [](A& a) { a.range = NAN; }});
                if (m.min_max)
                    faults.push_back({"highest below lowest", SrErrBadArg, [](A& a) {
                                          a.lowest = S(5);
                                          a.highest = S(4);
                                      }});
                if constexpr (std::is_same_v<S, float>)
                    if (m.min_max) {
                        faults.push_back({"lowest not a number", SrErrBadArg, [](A& a) { a.lowest = NAN; }});
                        faults.push_back({"highest not a number", SrErrBadArg, [](A& a) { a.highest = NAN; }});
                    }
                expect_check_order<A>(good, faults, m.call, {&src, &dst});
            }
        for (const auto& [low, high] :
             {std::pair{0.0F, 1.0F}, {-0.0F, 1e-45F}, {std::nextafter(1.0F, 0.0F), 1.0F}}) {
            A edge = good;
            edge.low = low;
            edge.high = high;
            edge.range = R(0);
            EXPECT_EQ(m.call(edge), m.in_place && !m.min_max ? SrWarnInvZero : SrOk);
            if (m.in_place) dst.fill(std::vector<R>(9, R(77)));
        }
        expect_reads_nothing_below_length_one<S>([&](const S* nothing, int32_t len) {
            A none = good;
            none.src = nothing;
            none.len = len;
            return m.call(none);
        });
    });
}

TYPED_TEST(NormalizeInRange, AllocatesNothingAndKeepsTheEnvironment)
{
    using S = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    this->for_members([](const Member<S, R>& m) {
        // Exact throughout, but for the integers, which do not depend on the mode.
        const float high = std::is_integral_v<R> ? 0.7F : 1.0F;
        std::vector<S> src;
        for (int x = 0; x <= 32; ++x) src.push_back(static_cast<S>(x));
        const std::vector<R> expected = reference::in_range<S, R>(src, 0, 32, 0, high, 64);
        Guarded<R> dst(src.size());
        AllocatorWatch watch;
        SrStatus status = SrErrUnknown;
        const auto refill = [&] { fill_if_in_place(m, dst, src); };
        refill();
        under_each_environment(
            [&] {
                status = m.call({src.data(), dst.data(), 33, S(0), S(32), 0, high, R(64)});
            },
            [&](const std::string& setting) {
                EXPECT_EQ(status, SrOk);
                EXPECT_TRUE(same_values(expected, dst.values())) << setting;
                refill();
            });
        EXPECT_EQ(watch.requests(), 0);
    });
}

#ifdef __i386__
TYPED_TEST(NormalizeInRange, RunsOnAnyStack)
{
    using S = typename TypeParam::Source;
    using R = typename TypeParam::Result;
    this->for_members([](const Member<S, R>& m) {
        for (int stack : {0, 4, 8, 12})
            for (int misalign : {0, 4})
                EXPECT_TRUE(maps_in_range(m, random_source<S>(37), random_constants<S, R>(), {misalign},
                                          {misalign}, stack));
    });
}
#endif

}  // namespace
}  // namespace zelsr::test
