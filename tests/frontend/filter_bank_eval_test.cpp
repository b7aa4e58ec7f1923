// Evaluation in single precision: bits of the stated order, at every slope length and address.
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

using Weights = reference::Bank<float>;

// A bank of these centres with random weights, and what it is.
struct Trial {
    Weights weights;
    EmptyBank<Family_32f> bank;

    Trial(int length, const std::vector<int32_t>& centers) : weights(centers), bank(length, centers)
    {
        for (int i = 1; i <= weights.filters(); ++i) {
            for (auto* side : {&weights.left, &weights.right})
                for (float& weight : (*side)[at(i - 1)]) weight = uniform(-1.0F, 2.0F);
            EXPECT_EQ(zelsFBankSetCoeffs_32f(bank.get(), i, weights.coefficients(i).data()), SrOk);
        }
    }
    // One call; x ends with the last bin that may be read.
    testing::AssertionResult evaluates(const std::vector<float>& x, Placement from = {}, Placement to = {}) const
    {
        Guarded<float> src(x, from);
        Guarded<float> dst(at(weights.filters()), to);
        src.take_snapshot();
        if (auto right = status_is(SrOk, zelsEvalFBank_32f(src.data(), dst.data(), bank.get())); !right)
            return right;
        if (!src.as_snapshot()) return testing::AssertionFailure() << "the source was written";
        if (!dst.intact()) return testing::AssertionFailure() << "a byte beside the results was written";
        return same_values(reference::evaluate(weights, x), dst.values());
    }
};

// Every length of a slope, on either side of a filter; nothing behind the last centre is read.
TEST(EvalFBank32f, EverySlopeLengthInTheStatedOrder)
{
    const std::vector<Placement> all = placements(4);
    std::size_t step = 0;
    for (int length : lengths(16))
        for (int other : {0, 1, 3, 7, 8, 9, 16, 17}) {
            const Trial trial(256,
                              {1, 1 + length, 1 + length + other, 1 + 2 * length + other, 2 + 2 * length + other});
            for (int round = 0; round < (thin_effort() ? 2 : 12); ++round) {
                const std::vector<float> x = uniform_vector(3 + 2 * length + other, -10.0F, 10.0F);
                ++step;
                ASSERT_TRUE(trial.evaluates(x, all[step % all.size()], all[7 * step % all.size()]))
                    << length << ", " << other;
            }
        }
}

TEST(EvalFBank32f, EveryAddressOfSourceAndResult)
{
    const Trial trial(256, {3, 9, 29, 30, 30, 38, 64, 101});
    const std::vector<float> x = uniform_vector(102, -10.0F, 10.0F);
    for (const Placement& from : placements(4))
        for (const Placement& to : placements(4))
            ASSERT_TRUE(trial.evaluates(x, from, to)) << describe(from) << "; " << describe(to);
}

TEST(EvalFBank32f, RandomLadders)
{
    for (int round = 0; round < (thin_effort() ? 20 : 400); ++round) {
        const int order = uniform(1, 10), bins = 1 << (order - 1);
        std::vector<int32_t> centers(at(uniform(3, 30)));
        for (int32_t& c : centers) c = uniform(0, bins);
        std::sort(centers.begin(), centers.end());
        const Trial trial(1 << order, centers);
        ASSERT_TRUE(trial.evaluates(uniform_vector(centers.back() + 1, -100.0F, 100.0F)));
    }
}

// Infinities, not-a-numbers, the largest and the smallest, in every lane.
TEST(EvalFBank32f, SpecialValues)
{
    const Trial trial(128, {0, 20, 45, 60});
    for (float special : special_values<float>())
        for (std::size_t bin = 0; bin < 61; ++bin) {
            std::vector<float> x = uniform_vector(61, -1.0F, 1.0F);
            x[bin] = special;
            ASSERT_TRUE(trial.evaluates(x)) << special << " in bin " << bin;
        }
}

// A value before the first or behind the last centre has no part.
TEST(EvalFBank32f, BinsBesideTheCentresDoNotCount)
{
    const Trial trial(64, {5, 11, 20});
    std::vector<float> x = uniform_vector(33, -1.0F, 1.0F);
    const std::vector<float> expected = reference::evaluate(trial.weights, x);
    for (std::size_t b = 0; b < 33; ++b)
        if (b < 5 || b > 20) x[b] = NAN;
    std::vector<float> y(1);
    EXPECT_EQ(zelsEvalFBank_32f(x.data(), y.data(), trial.bank.get()), SrOk);
    EXPECT_TRUE(same_values(expected, y));
}

TEST(EvalFBank32f, ByValue)
{
    const Trial trial(32, {1, 3, 4, 6});
    for (int i = 1; i <= 2; ++i) {
        const std::vector<float> weights =
            i == 1 ? std::vector<float>{1, 10, 100, 1000} : std::vector<float>{2, 20, 200, 2000};
        EXPECT_EQ(zelsFBankSetCoeffs_32f(trial.bank.get(), i, weights.data()), SrOk);
    }
    const float x[] = {9, 1, 2, 3, 4, 5, 6};
    float y[2];
    EXPECT_EQ(zelsEvalFBank_32f(x, y, trial.bank.get()), SrOk);
    EXPECT_EQ(y[0], 1 + 20 + 300 + 4000);
    EXPECT_EQ(y[1], 2 * 3 + 20 * 4 + 200 * 5 + 2000 * 6);
}

// Where only the first filters have a span, or the last filter's centre lies above the last entry.
TEST(EvalFBank32f, CentresThatCoincideOrFallBack)
{
    for (const std::vector<int32_t>& centers : std::vector<std::vector<int32_t>>{{0, 0, 0},
                                                                                 {16, 16, 16},
                                                                                 {0, 16, 16},
                                                                                 {0, 0, 16},
                                                                                 {0, 0, 0, 0, 16},
                                                                                 {0, 0, 1, 9, 4},
                                                                                 {4, 4, 4, 16, 0},
                                                                                 {0, 2, 5, 16, -7}}) {
        const Trial trial(32, centers);
        EXPECT_TRUE(trial.evaluates(uniform_vector(17, -1.0F, 1.0F)));
    }
}

// Ends far below: how many bins there are to read must not overflow.
TEST(EvalFBank32f, TheLastEntryMayBeAnyNegativeNumber)
{
    for (int32_t last : {-1, INT32_MIN + 1, INT32_MIN})
        for (int peak = 1; peak <= 16; ++peak) {
            const Trial trial(32, {0, 1, peak, last});
            ASSERT_TRUE(trial.evaluates(uniform_vector(peak + 1, -1.0F, 1.0F))) << last << ", " << peak;
        }
}

TEST(EvalFBank32f, MelBanks)
{
    for (MelArguments a : mel_shapes())
        for (int flag : {1, 2}) {
            a.flag = flag;
            const auto weights = reference::mel_bank<float>(a);
            const MelBank<Family_32f> bank(a);
            const std::vector<float> x = uniform_vector(rounded_length(a.length) / 2 + 1, 0.0F, 1000.0F);
            std::vector<float> y(at(a.filters));
            EXPECT_EQ(zelsEvalFBank_32f(x.data(), y.data(), bank.get()), SrOk);
            EXPECT_TRUE(same_values(reference::evaluate(weights, x), y));
        }
}

// ---- A signal as the input ----------------------------------------------------------------------------------

std::vector<float> magnitudes(const std::vector<float>& x, int order)
{
    ZelFFTState_R_32f* fft = nullptr;
    EXPECT_EQ(zelsFFTInitAlloc_R_32f(&fft, order, 8, 2), SrOk);
    std::vector<Zel32fc> spectrum(x.size() / 2 + 1);
    EXPECT_EQ(zelsFFTFwd_RToCCS_32f(x.data(), &spectrum[0].re, fft, nullptr), SrOk);
    EXPECT_EQ(zelsFFTFree_R_32f(fft), SrOk);
    std::vector<float> all(spectrum.size());
    EXPECT_EQ(zelsMagnitude_32fc(spectrum.data(), all.data(), static_cast<int32_t>(all.size())), SrOk);
    return all;
}

TEST(EvalFBank32fOfASignal, SeesTheMagnitudesOfItsSpectrum)
{
    for (int order = 1; order <= (thin_effort() ? 9 : 13); ++order)
        for (int flag : {5, 6}) {
            const MelArguments a{1 << order, 16000, 64, 8000, 9, 1127, 700, flag};
            const auto weights = reference::mel_bank<float>(a);
            const MelBank<Family_32f> bank(a);
            for (const Placement& place : placements(4)) {
                const std::vector<float> x = uniform_vector(1 << order, -1000.0F, 1000.0F);
                Guarded<float> src(x, place), dst(9, place);
                src.take_snapshot();
                ASSERT_EQ(zelsEvalFBank_32f(src.data(), dst.data(), bank.get()), SrOk);
                EXPECT_TRUE(src.as_snapshot());
                EXPECT_TRUE(dst.intact());
                ASSERT_TRUE(same_values(reference::evaluate(weights, magnitudes(x, order)), dst.values()))
                    << "order " << order << ", " << describe(place);
                if (order > 9) break;
            }
        }
}

// The magnitude, not the power: a signal twice as large gives twice the value.
TEST(EvalFBank32fOfASignal, GrowsAsTheSignalDoes)
{
    const MelBank<Family_32f> bank({64, 8000, 500, 3500, 3, 1127, 700, 6});
    std::vector<float> x = uniform_vector(64, -1.0F, 1.0F), once(3), twice(3);
    EXPECT_EQ(zelsEvalFBank_32f(x.data(), once.data(), bank.get()), SrOk);
    for (float& value : x) value *= 2;
    EXPECT_EQ(zelsEvalFBank_32f(x.data(), twice.data(), bank.get()), SrOk);
    for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(twice[i], 2 * once[i]);
}

TEST(EvalFBank32fOfASignal, OfABankInTheCallersMemory)
{
    for (int length : {2, 16, 256, 4096}) {
        const MelArguments a{length, 16000, 64, 8000, 5, 1127, 700, 6};
        int32_t size = 0, order = 0;
        ASSERT_EQ(zelsMelFBankGetSize_32f(length, 5, 6, &size), SrOk);
        for (int address : {0, 1, 31}) {
            Guarded<uint8_t> block(static_cast<std::size_t>(size), {address, Edge::Front});
            auto* bank = reinterpret_cast<ZelFBankState*>(block.data());
            ASSERT_EQ(zelsMelFBankInit_32f(bank, &order, length, 16000, 64, 8000, 5, 1127, 700, 6), SrOk);
            const std::vector<float> x = uniform_vector(length, -10.0F, 10.0F);
            std::vector<float> y(5);
            EXPECT_EQ(zelsEvalFBank_32f(x.data(), y.data(), bank), SrOk);
            EXPECT_TRUE(block.intact());
            EXPECT_TRUE(same_values(reference::evaluate(reference::mel_bank<float>(a), magnitudes(x, order)), y));
        }
    }
}

TEST(EvalFBank32fOfASignal, SurvivesRefusedWorkMemory)
{
    const MelBank<Family_32f> bank({1024, 16000, 64, 8000, 9, 1127, 700, 5});
    const std::vector<float> x = uniform_vector(1024, -1.0F, 1.0F);
    Guarded<float> dst(9);
    int blocks = 0;
    {
        AllocatorWatch watch;
        EXPECT_EQ(zelsEvalFBank_32f(x.data(), dst.data(), bank.get()), SrOk);
        EXPECT_EQ(watch.live(), 0);
        blocks = watch.requests();
    }
    if (blocks == 0) return;  // the transform needs none
    expect_survives_refusals([&] { return zelsEvalFBank_32f(x.data(), dst.data(), bank.get()); }, {&dst});
}

// An empty bank's flag is not that of its constructor.
TEST(EvalFBank32fOfASignal, AnEmptyBankNeverTakesASignal)
{
    const EmptyBank<Family_32f> bank(16, 1, 6);
    const int32_t centers[] = {1, 2, 3};
    const float weights[] = {1, 10, 100}, x[] = {9, 1, 2, 3};
    float y = 0;
    EXPECT_EQ(zelsFBankSetCenters_32f(bank.get(), centers), SrOk);
    EXPECT_EQ(zelsFBankSetCoeffs_32f(bank.get(), 1, weights), SrOk);
    AllocatorWatch watch;
    EXPECT_EQ(zelsEvalFBank_32f(x, &y, bank.get()), SrOk);
    EXPECT_EQ(y, 321);
    EXPECT_EQ(watch.requests(), 0);
}

// ---- Checks and environment ---------------------------------------------------------------------------------

struct Call {
    const float* src;
    float* dst;
    const ZelFBankState* bank;
};

TEST(EvalFBank32f, PointersAreCheckedBeforeReadiness)
{
    const Trial trial(32, {0, 3, 9});
    const EmptyBank<Family_32f> raw(32, 1);
    const std::vector<float> x(17, 1);
    Guarded<float> dst(1);
    expect_check_order<Call>({x.data(), dst.data(), trial.bank.get()},
                             {{"null source", SrErrNullPtr, [](Call& c) { c.src = nullptr; }},
                              {"null destination", SrErrNullPtr, [](Call& c) { c.dst = nullptr; }},
                              {"null bank", SrErrNullPtr, [](Call& c) { c.bank = nullptr; }},
                              {"not ready", SrErrFBankCenters, [&](Call& c) { c.bank = raw.get(); }}},
                             [](const Call& c) { return zelsEvalFBank_32f(c.src, c.dst, c.bank); }, {&dst});
}

#ifdef __i386__
TEST(EvalFBank32f, NullCentresAreANullPointer)
{
    int32_t size = 0, order = 0;
    ASSERT_EQ(zelsMelFBankGetSize_32f(32, 3, 1, &size), SrOk);
    std::vector<uint8_t> block(static_cast<std::size_t>(size));
    auto* bank = reinterpret_cast<ZelFBankState*>(block.data());
    ASSERT_EQ(zelsMelFBankInit_32f(bank, &order, 32, 8000, 64, 4000, 3, 1127, 700, 1), SrOk);
    std::memset(block.data(), 0, sizeof(void*));
    const std::vector<float> x(17, 1);
    Guarded<float> dst(3);
    dst.take_snapshot();
    EXPECT_EQ(zelsEvalFBank_32f(x.data(), dst.data(), bank), SrErrNullPtr);
    block[40] = 0;  // not ready either
    EXPECT_EQ(zelsEvalFBank_32f(x.data(), dst.data(), bank), SrErrNullPtr);
    EXPECT_TRUE(dst.as_snapshot());
}

TEST(EvalFBank32f, RunsOnAnyStack)
{
    const Trial trial(256, {3, 9, 29, 30, 30, 38, 64, 101});
    const MelArguments a{64, 8000, 64, 4000, 5, 1127, 700, 5};
    const MelBank<Family_32f> signal_bank(a);
    const std::vector<float> x = uniform_vector(102, -10.0F, 10.0F), signal = uniform_vector(64, -1.0F, 1.0F);
    for (int misalign : {0, 4, 8, 12}) {
        std::vector<float> y(6), of_signal(5);
        EXPECT_EQ(call_misaligned(zelsEvalFBank_32f, misalign, x.data(), y.data(),
                                  static_cast<const ZelFBankState*>(trial.bank.get())),
                  SrOk);
        EXPECT_TRUE(same_values(reference::evaluate(trial.weights, x), y));
        EXPECT_EQ(call_misaligned(zelsEvalFBank_32f, misalign, signal.data(), of_signal.data(),
                                  static_cast<const ZelFBankState*>(signal_bank.get())),
                  SrOk);
        EXPECT_TRUE(
            same_values(reference::evaluate(reference::mel_bank<float>(a), magnitudes(signal, 6)), of_signal));
    }
}
#endif

// Products and sums take the environment as it is; it must come back unharmed.
TEST(EvalFBank32f, LeavesTheEnvironment)
{
    const Trial trial(64, {0, 9, 20, 32});
    const std::vector<float> x(33, 0.5F);
    std::vector<float> y(2);
    SrStatus status = SrErrUnknown;
    for (std::size_t k = 0; k < 2; ++k)
        EXPECT_EQ(zelsFBankSetCoeffs_32f(trial.bank.get(), static_cast<int>(k) + 1,
                                         std::vector<float>(40, 0.25F).data()),
                  SrOk);
    under_each_environment([&] { status = zelsEvalFBank_32f(x.data(), y.data(), trial.bank.get()); },
                           [&](const std::string& setting) {
                               EXPECT_EQ(status, SrOk) << setting;
                               EXPECT_EQ(y[0], 21 * 0.125F) << setting;
                               EXPECT_EQ(y[1], 24 * 0.125F) << setting;
                           });
}

// Memory that lay behind the short rows of short transforms before does not reach any operation.
TEST(EvalFBank32f, RaisesNoExceptionOfItsOwn)
{
    for (int length : {2, 4, 8, 16}) {
        int32_t size = 0, order = 0;
        ASSERT_EQ(zelsMelFBankGetSize_32f(length, 1, 2, &size), SrOk);
        std::vector<uint32_t> block(static_cast<std::size_t>(size) / 4 + 1, 0x7f800001);  // signalling
        auto* bank = reinterpret_cast<ZelFBankState*>(block.data());
        ASSERT_EQ(zelsMelFBankInit_32f(bank, &order, length, 8000, 1, 4000, 1, 1127, 700, 2), SrOk);
        const int32_t centers[] = {0, length / 4, length / 2};
        const std::vector<float> weights(at(length + 2), 0.5F), x(at(length / 2 + 1), 2);
        ASSERT_EQ(zelsFBankSetCenters_32f(bank, centers), SrOk);
        ASSERT_EQ(zelsFBankSetCoeffs_32f(bank, 1, weights.data()), SrOk);
        float y = 0;
        under_each_environment([&] { zelsEvalFBank_32f(x.data(), &y, bank); },
                               [&](const std::string& setting) {
                                   EXPECT_EQ(y, static_cast<float>(length / 2 + 1)) << setting << ", " << length;
                                   y = 0;
                               });
    }
}

}  // namespace
}  // namespace zelsr::test
