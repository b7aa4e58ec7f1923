// Evaluation in 16-bit arithmetic: exact sums, their shift and saturation, and the 32-bit products that wrap.
#include <gtest/gtest.h>

#include <cmath>

#include "frontend/filter_bank_members.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/odd_stack.h"
#include "support/operation.h"
#include "zelsr/core/vector.h"

namespace zelsr::test {
namespace {

using Weights = reference::Bank<int32_t>;

SrStatus evaluate(const int16_t* src, int16_t* dst, const ZelFBankState* bank, int32_t sf)
{
    return zelsEvalFBank_16s_Sfs(src, dst, bank, sf);
}
SrStatus evaluate(const int16_t* src, int32_t* dst, const ZelFBankState* bank, int32_t sf)
{
    return zelsEvalFBank_16s32s_Sfs(src, dst, bank, sf);
}

template <class Y>
std::vector<Y> results(const std::vector<int64_t>& sums, int shift)
{
    std::vector<Y> all;
    for (int64_t sum : sums) all.push_back(reference::shifted<Y>(sum, shift));
    return all;
}

// A bank of these centres with random weights up to a limit; as many bits as a single holds.
struct Trial {
    Weights weights;
    EmptyBank<Family_16s> bank;

    Trial(int length, const std::vector<int32_t>& centers, int32_t limit = 20000)
        : weights(centers), bank(length, centers)
    {
        for (int i = 1; i <= weights.filters(); ++i) {
            for (auto* side : {&weights.left, &weights.right})
                for (int32_t& weight : (*side)[at(i - 1)])
                    weight = static_cast<int32_t>(static_cast<float>(uniform(-limit, limit)));
            EXPECT_EQ(zelsFBankSetCoeffs_16s(bank.get(), i, weights.coefficients(i).data()), SrOk);
        }
    }
    template <class Y>
    testing::AssertionResult evaluates(const std::vector<int16_t>& x, int32_t sf, Placement from = {},
                                       Placement to = {}) const
    {
        Guarded<int16_t> src(x, from);
        Guarded<Y> dst(at(weights.filters()), to);
        src.take_snapshot();
        if (auto right = status_is(SrOk, evaluate(src.data(), dst.data(), bank.get(), sf)); !right) return right;
        if (!src.as_snapshot()) return testing::AssertionFailure() << "the source was written";
        if (!dst.intact()) return testing::AssertionFailure() << "a byte beside the results was written";
        return same_values(results<Y>(reference::exact_sums(weights, x), 14 + sf), dst.values());
    }
};

template <class Y>
class EvalFBank16s : public testing::Test {};
struct ResultNames {
    template <class Y>
    static std::string GetName(int)
    {
        return std::is_same_v<Y, int16_t> ? "16s" : "16s32s";
    }
};
using Results = testing::Types<int16_t, int32_t>;
TYPED_TEST_SUITE(EvalFBank16s, Results, ResultNames);

TYPED_TEST(EvalFBank16s, EverySlopeLengthAndAddress)
{
    const std::vector<Placement> all = placements(2);
    std::size_t step = 0;
    for (int length : lengths(8))
        for (int other : {0, 1, 3, 4, 7, 8, 9, 17}) {
            const Trial trial(256,
                              {1, 1 + length, 1 + length + other, 1 + 2 * length + other, 2 + 2 * length + other});
            for (int round = 0; round < 8; ++round) {
                const std::vector<int16_t> x = uniform_vector<int16_t>(3 + 2 * length + other, -32768, 32767);
                ++step;
                ASSERT_TRUE(
                    trial.evaluates<TypeParam>(x, round - 2, all[step % all.size()], all[7 * step % all.size()]))
                    << length << ", " << other << ", sf " << round - 2;
            }
        }
}

TYPED_TEST(EvalFBank16s, EveryScaleFactor)
{
    const Trial trial(64, {0, 5, 14, 15, 32});
    for (int32_t limit : {1, 20000, 2147483520}) {
        const Trial wide(64, {0, 5, 14, 15, 32}, limit);
        for (int32_t sf = -14; sf <= 49; ++sf) {
            ASSERT_TRUE(wide.evaluates<TypeParam>(uniform_vector<int16_t>(33, -32768, 32767), sf)) << sf;
            ASSERT_TRUE(wide.evaluates<TypeParam>(uniform_vector<int16_t>(33, -3, 3), sf)) << sf;
        }
    }
    // Left, by up to 20 places.
    const Trial small(64, {0, 5, 14, 15, 32}, 1000);
    for (int32_t sf = -34; sf <= -14; ++sf)
        ASSERT_TRUE(small.evaluates<TypeParam>(uniform_vector<int16_t>(33, -32768, 32767), sf)) << sf;
}

// Whatever these do, they end.
TYPED_TEST(EvalFBank16s, ScaleFactorsBeyond64BitsReturn)
{
    const Trial trial(64, {0, 5, 14, 15, 32});
    const std::vector<int16_t> x = uniform_vector<int16_t>(33, -32768, 32767);
    std::vector<TypeParam> y(3);
    for (int32_t sf : {50, 51, 64, 1000, INT32_MAX, INT32_MAX - 13, -77, -78, -79, -1000, INT32_MIN})
        EXPECT_EQ(evaluate(x.data(), y.data(), trial.bank.get(), sf), SrOk) << sf;
}

// Products are exact: weights of 32 bits times the largest samples.
TYPED_TEST(EvalFBank16s, ProductsAreExactWithoutASignal)
{
    const EmptyBank<Family_16s> bank(32, {0, 1, 2});
    const float weights[] = {131071, -131072, 131071};
    EXPECT_EQ(zelsFBankSetCoeffs_16s(bank.get(), 1, weights), SrOk);
    const int16_t x[] = {32767, -32768, 32767};
    TypeParam y = 0;
    const int64_t sum = 2 * 2147467264LL * 32767 + 2147483648LL * 32768;
    for (int32_t sf : {0, 16, 20, 30, 34}) {
        EXPECT_EQ(evaluate(x, &y, bank.get(), sf), SrOk);
        EXPECT_EQ(y, reference::shifted<TypeParam>(sum, 14 + sf)) << sf;
    }
}

TYPED_TEST(EvalFBank16s, RoundsDownAndSaturates)
{
    const EmptyBank<Family_16s> bank(32, {0, 0, 0});
    const float weight = 0.75F;
    EXPECT_EQ(zelsFBankSetCoeffs_16s(bank.get(), 1, &weight), SrOk);
    const auto value = [&](int16_t x, int32_t sf) {
        TypeParam y = 0;
        EXPECT_EQ(evaluate(&x, &y, bank.get(), sf), SrOk);
        return y;
    };
    EXPECT_EQ(value(1, 0), 0);
    EXPECT_EQ(value(-1, 0), -1);
    EXPECT_EQ(value(3, 0), 2);
    EXPECT_EQ(value(-3, 0), -3);
    EXPECT_EQ(value(3, -2), 9);
    EXPECT_EQ(value(100, 1), 37);
    EXPECT_EQ(value(-100, 1), -38);
    using Limits = std::numeric_limits<TypeParam>;
    EXPECT_EQ(value(32767, -20), Limits::max());
    EXPECT_EQ(value(-32768, -20), Limits::min());
    EXPECT_EQ(value(-32768, 40), -1);
}

// ---- A signal as the input ----------------------------------------------------------------------------------

// 64 times the magnitudes of the spectrum.
std::vector<int32_t> magnitudes(const std::vector<int16_t>& x, int order)
{
    ZelFFTState_R_16s32s* fft = nullptr;
    EXPECT_EQ(zelsFFTInitAlloc_R_16s32s(&fft, order, 8, 2), SrOk);
    std::vector<Zel32sc> spectrum(x.size() / 2 + 1);
    EXPECT_EQ(zelsFFTFwd_RToCCS_16s32s_Sfs(x.data(), &spectrum[0].re, fft, -3, nullptr), SrOk);
    EXPECT_EQ(zelsFFTFree_R_16s32s(fft), SrOk);
    std::vector<int32_t> all(spectrum.size());
    EXPECT_EQ(zelsMagnitude_32sc_Sfs(spectrum.data(), all.data(), static_cast<int32_t>(all.size()), -3), SrOk);
    return all;
}

TYPED_TEST(EvalFBank16s, OfASignalSeesTheMagnitudesOfItsSpectrum)
{
    bool wrapped = false;
    for (int order = 1; order <= (thin_effort() ? 9 : 12); ++order)
        for (int flag : {5, 6})
            for (int16_t amplitude : {7, 300, 32767}) {
                const MelArguments a{1 << order, 16000, 64, 8000, 9, 1127, 700, flag};
                const auto weights = reference::mel_bank<int32_t>(a);
                const MelBank<Family_16s> bank(a);
                for (const Placement& place : placements(2)) {
                    const auto x =
                        uniform_vector<int16_t>(1 << order, static_cast<int16_t>(-amplitude), amplitude);
                    for (int32_t sf : {0, 5, -2}) {
                        Guarded<int16_t> src(x, place);
                        Guarded<TypeParam> dst(9, place);
                        src.take_snapshot();
                        ASSERT_EQ(evaluate(src.data(), dst.data(), bank.get(), sf), SrOk);
                        EXPECT_TRUE(src.as_snapshot());
                        EXPECT_TRUE(dst.intact());
                        const bool wraps = std::is_same_v<TypeParam, int16_t>;
                        const auto sums = reference::exact_sums(weights, magnitudes(x, order), wraps);
                        wrapped |= sums != reference::exact_sums(weights, magnitudes(x, order), !wraps);
                        ASSERT_TRUE(same_values(results<TypeParam>(sums, 14 + sf + 6), dst.values()))
                            << "order " << order << ", flag " << flag << ", amplitude " << amplitude << ", sf "
                            << sf;
                    }
                    if (order > 6) break;
                }
            }
    EXPECT_TRUE(wrapped) << "no product passed 32 bits: the two forms were not told apart";
}

// One bin of 1024 times 64, weight 1: 2^30; of 2048: 2^31 wraps to its negative in the 16-bit form alone.
TEST(EvalFBank16sOfASignal, ProductsOfThe16BitFormWrap)
{
    const MelArguments a{2, 8000, 4000, 4000, 1, 1127, 700, 6};
    const MelBank<Family_16s> bank(a);  // all centres on bin 1
    ASSERT_EQ(centers_of<Family_16s>(bank.get(), 1), (std::vector<int32_t>{1, 1, 1}));
    const auto values = [&](int16_t difference) {
        const int16_t x[] = {difference, 0};
        int16_t narrow = 0;
        int32_t wide = 0;
        EXPECT_EQ(zelsEvalFBank_16s_Sfs(x, &narrow, bank.get(), 0), SrOk);
        EXPECT_EQ(zelsEvalFBank_16s32s_Sfs(x, &wide, bank.get(), 0), SrOk);
        return std::pair<int, int>(narrow, wide);
    };
    EXPECT_EQ(values(1024), (std::pair{1024, 1024}));
    EXPECT_EQ(values(2047), (std::pair{2047, 2047}));
    EXPECT_EQ(values(2048), (std::pair{-2048, 2048}));
    EXPECT_EQ(values(4096), (std::pair{0, 4096}));
    EXPECT_EQ(values(5000), (std::pair{904, 5000}));
    EXPECT_EQ(values(-32768), (std::pair{0, 32768}));
}

TYPED_TEST(EvalFBank16s, OfASignalInTheCallersMemory)
{
    for (int length : {2, 16, 256, 4096}) {
        const MelArguments a{length, 16000, 64, 8000, 5, 1127, 700, 6};
        int32_t size = 0, order = 0;
        ASSERT_EQ(zelsMelFBankGetSize_16s(length, 5, 6, &size), SrOk);
        for (int address : {0, 1, 31}) {
            Guarded<uint8_t> block(static_cast<std::size_t>(size), {address, Edge::Front});
            auto* bank = reinterpret_cast<ZelFBankState*>(block.data());
            ASSERT_EQ(zelsMelFBankInit_16s(bank, &order, length, 16000, 64, 8000, 5, 1127, 700, 6), SrOk);
            const std::vector<int16_t> x = uniform_vector<int16_t>(length, -3000, 3000);
            std::vector<TypeParam> y(5);
            EXPECT_EQ(evaluate(x.data(), y.data(), bank, 3), SrOk);
            EXPECT_TRUE(block.intact());
            const auto sums = reference::exact_sums(reference::mel_bank<int32_t>(a), magnitudes(x, order),
                                                    std::is_same_v<TypeParam, int16_t>);
            EXPECT_TRUE(same_values(results<TypeParam>(sums, 23), y));
        }
    }
}

TYPED_TEST(EvalFBank16s, OfASignalSurvivesRefusedWorkMemory)
{
    const MelBank<Family_16s> bank({1024, 16000, 64, 8000, 9, 1127, 700, 5});
    const std::vector<int16_t> x = uniform_vector<int16_t>(1024, -3000, 3000);
    Guarded<TypeParam> dst(9);
    expect_survives_refusals([&] { return evaluate(x.data(), dst.data(), bank.get(), 0); }, {&dst});
}

// ---- Checks and environment ---------------------------------------------------------------------------------

template <class Y>
struct Call {
    const int16_t* src;
    Y* dst;
    const ZelFBankState* bank;
};

TYPED_TEST(EvalFBank16s, PointersAreCheckedBeforeReadiness)
{
    using OneCall = Call<TypeParam>;
    const Trial trial(32, {0, 3, 9});
    const EmptyBank<Family_16s> raw(32, 1);
    const std::vector<int16_t> x(17, 1);
    Guarded<TypeParam> dst(1);
    expect_check_order<OneCall>({x.data(), dst.data(), trial.bank.get()},
                                {{"null source", SrErrNullPtr, [](OneCall& c) { c.src = nullptr; }},
                                 {"null destination", SrErrNullPtr, [](OneCall& c) { c.dst = nullptr; }},
                                 {"null bank", SrErrNullPtr, [](OneCall& c) { c.bank = nullptr; }},
                                 {"not ready", SrErrFBankCenters, [&](OneCall& c) { c.bank = raw.get(); }}},
                                [](const OneCall& c) { return evaluate(c.src, c.dst, c.bank, 0); }, {&dst});
}

TYPED_TEST(EvalFBank16s, IsTheSameUnderEachEnvironment)
{
    const MelArguments a{256, 16000, 64, 8000, 9, 1127, 700, 5};
    const auto weights = reference::mel_bank<int32_t>(a);
    const MelBank<Family_16s> bank(a);
    const std::vector<int16_t> x = uniform_vector<int16_t>(256, -3000, 3000);
    const auto sums = reference::exact_sums(weights, magnitudes(x, 8), std::is_same_v<TypeParam, int16_t>);
    std::vector<TypeParam> y(9);
    SrStatus status = SrErrUnknown;
    under_each_environment([&] { status = evaluate(x.data(), y.data(), bank.get(), 2); },
                           [&](const std::string& setting) {
                               EXPECT_EQ(status, SrOk) << setting;
                               EXPECT_TRUE(same_values(results<TypeParam>(sums, 22), y)) << setting;
                               std::fill(y.begin(), y.end(), TypeParam(-1));
                           });
}

#ifdef __i386__
TYPED_TEST(EvalFBank16s, RunsOnAnyStack)
{
    const Trial trial(256, {3, 9, 29, 30, 30, 38, 64, 101});
    const std::vector<int16_t> x = uniform_vector<int16_t>(102, -32768, 32767);
    constexpr auto function = [] {
        if constexpr (std::is_same_v<TypeParam, int16_t>)
            return zelsEvalFBank_16s_Sfs;
        else
            return zelsEvalFBank_16s32s_Sfs;
    }();
    for (int misalign : {0, 4, 8, 12}) {
        std::vector<TypeParam> y(6);
        EXPECT_EQ(call_misaligned(function, misalign, x.data(), y.data(),
                                  static_cast<const ZelFBankState*>(trial.bank.get()), 3),
                  SrOk);
        EXPECT_TRUE(same_values(results<TypeParam>(reference::exact_sums(trial.weights, x), 17), y));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
