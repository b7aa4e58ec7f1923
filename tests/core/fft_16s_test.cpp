// zelsFFTFwd_RToCCS_16s32s_Sfs: the bits of its steps, each a public function of its own.
#include <gtest/gtest.h>

#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/fft_records.h"
#include "support/guarded.h"
#include "support/hooks.h"
#include "support/odd_stack.h"
#include "zelsr/core/convert.h"
#include "zelsr/core/fft.h"

namespace zelsr::test {
namespace {

// To single, Perm, to 32 bits to nearest, then R[N/2] to its place behind and zeros beside R[0] and R[N/2].
std::vector<int32_t> by_steps(const std::vector<int16_t>& x, int order, int flag, int32_t sf)
{
    const auto size = static_cast<int32_t>(x.size());
    const Fft fft(order, flag);
    std::vector<float> values(x.size());
    EXPECT_EQ(zelsConvert_16s32f(x.data(), values.data(), size), SrOk);
    EXPECT_EQ(zelsFFTFwd_RToPerm_32f(values.data(), values.data(), fft.get(), nullptr), SrOk);
    std::vector<int32_t> ccs(x.size() + 2);
    EXPECT_EQ(zelsConvert_32f32s_Sfs(values.data(), ccs.data(), size, 1, sf), SrOk);
    if (size > 1) {
        ccs[x.size()] = ccs[1];
        ccs[x.size() + 1] = 0;
    } else {
        ccs.resize(2);
    }
    ccs[1] = 0;
    return ccs;
}

std::vector<int32_t> run(const std::vector<int16_t>& x, const ZelFFTState_R_16s32s* fft, int32_t sf)
{
    std::vector<int32_t> ccs(spectrum_size(x.size(), 2));
    EXPECT_EQ(zelsFFTFwd_RToCCS_16s32s_Sfs(x.data(), ccs.data(), fft, sf, nullptr), SrOk);
    return ccs;
}

std::vector<int16_t> noise(int order) { return uniform_vector<int16_t>(1 << order, -32768, 32767); }

class Fft16sOrder : public testing::TestWithParam<int> {
  protected:
    int order() const { return GetParam(); }
};

TEST_P(Fft16sOrder, IsTheChainOfItsSteps)
{
    std::vector<int32_t> factors = {-200, -31, -17, -3, -2, -1, 0, 1, 2, 3, 7, 15, 31, 200};
    for (int flag : kFlags) {
        const Fft_16s32s fft(order(), flag);
        std::vector<int16_t> quiet = noise(order());
        for (int16_t& value : quiet) value = static_cast<int16_t>(value / 4096);
        const std::vector<std::vector<int16_t>> signals = {noise(order()), quiet,
                                                           std::vector<int16_t>(std::size_t{1} << order(), -32768),
                                                           std::vector<int16_t>(std::size_t{1} << order(), 32767)};
        for (const std::vector<int16_t>& x : signals)
            for (int32_t sf : factors)
                EXPECT_TRUE(same_values(by_steps(x, order(), flag, sf), run(x, fft.get(), sf)))
                    << "flag " << flag << " sf " << sf;
    }
}

// Without regard to the chain: the transform in double, times 2^-sf, rounded. A value is off by what single
// precision leaves and half a unit.
TEST_P(Fft16sOrder, IsTheTransform)
{
    const std::vector<int16_t> x = noise(order());
    const std::vector<double> ccs = reference::as_ccs(reference::forward(x));
    for (int flag : kFlags) {
        const Fft_16s32s fft(order(), flag);
        for (int32_t sf : {-2, 0, 3}) {
            const double factor = forward_factor(order(), flag) * std::ldexp(1.0, -sf);
            const double tolerance =
                0.5 + reference::max_tolerance(order()) * reference::rms(ccs) * std::abs(factor);
            const std::vector<int32_t> actual = run(x, fft.get(), sf);
            ASSERT_EQ(actual.size(), ccs.size());
            for (std::size_t i = 0; i < ccs.size(); ++i)
                ASSERT_NEAR(actual[i], std::clamp(ccs[i] * factor, -0x1p31, 0x1p31 - 1), tolerance)
                    << i << " flag " << flag << " sf " << sf;
        }
    }
}

TEST_P(Fft16sOrder, IsTheSameUnderEachEnvironment)
{
    const std::vector<int16_t> x = noise(order());
    for (int32_t sf : {-9, 5}) {
        const Fft_16s32s fft(order(), 4);
        const std::vector<int32_t> expected = run(x, fft.get(), sf);
        std::vector<int32_t> actual(expected.size());
        SrStatus status = SrErrUnknown;
        under_each_environment(
            [&] { status = zelsFFTFwd_RToCCS_16s32s_Sfs(x.data(), actual.data(), fft.get(), sf, nullptr); },
            [&](const std::string& setting) {
                EXPECT_EQ(status, SrOk) << setting;
                EXPECT_TRUE(same_values(expected, actual)) << setting << " sf " << sf;
                std::fill(actual.begin(), actual.end(), -1);
            });
    }
}

TEST_P(Fft16sOrder, GivesTheSameBitsOnEveryAddressAndWritesNothingElse)
{
    if (order() > 9) return;
    const Fft_16s32s fft(order(), 2);
    const std::vector<int16_t> x = noise(order());
    const std::vector<int32_t> expected = run(x, fft.get(), 2);
    const auto expect_same_with = [&](Placement at_src, Placement at_dst) {
        Guarded<int16_t> src(x, at_src);
        Guarded<int32_t> dst(expected.size(), at_dst);
        src.take_snapshot();
        EXPECT_EQ(zelsFFTFwd_RToCCS_16s32s_Sfs(src.data(), dst.data(), fft.get(), 2, nullptr), SrOk);
        EXPECT_TRUE(same_values(expected, dst.values())) << describe(at_src) << "; " << describe(at_dst);
        EXPECT_TRUE(src.as_snapshot()) << describe(at_src);
        EXPECT_TRUE(dst.intact()) << describe(at_dst);
    };
    for (const Placement& at : placements(sizeof(int16_t))) {
        expect_same_with(at, {});
        expect_same_with({}, at);
        expect_same_with(at, at);
    }
}

TEST_P(Fft16sOrder, SourceAndDestinationMayBeTheSameArray)
{
    const Fft_16s32s fft(order(), 2);
    const std::vector<int16_t> x = noise(order());
    const std::vector<int32_t> expected = run(x, fft.get(), 2);
    Guarded<int32_t> array(expected.size());
    std::memcpy(array.address(), x.data(), x.size() * sizeof x[0]);
    const auto* const src = reinterpret_cast<const int16_t*>(array.address());
    EXPECT_EQ(zelsFFTFwd_RToCCS_16s32s_Sfs(src, array.data(), fft.get(), 2, nullptr), SrOk);
    EXPECT_TRUE(same_values(expected, array.values()));
    EXPECT_TRUE(array.intact());
}

// The size that zelsFFTGetSize_R_16s32s tells, wherever the buffer begins.
TEST_P(Fft16sOrder, WorkMemoryOnEveryAddressServesAsItsOwnDoes)
{
    const Fft_16s32s fft(order(), 4);
    const std::vector<int16_t> x = noise(order());
    const std::vector<int32_t> expected = run(x, fft.get(), -3);
    const auto work_size = static_cast<std::size_t>(sizes_of<Kind_16s32s>(order()).work);
    for (int address = 0; address < 32; ++address)  // modulo 32 at the front
        for (Edge edge : {Edge::Front, Edge::Back}) {
            Guarded<uint8_t> work(work_size, {address, edge});
            std::vector<int32_t> actual(expected.size());
            AllocatorWatch watch;
            EXPECT_EQ(zelsFFTFwd_RToCCS_16s32s_Sfs(x.data(), actual.data(), fft.get(), -3, work.data()), SrOk);
            EXPECT_EQ(watch.requests(), 0);
            EXPECT_TRUE(same_values(expected, actual)) << describe({address, edge});
            EXPECT_TRUE(work.intact()) << describe({address, edge});
        }
}

TEST_P(Fft16sOrder, AllocatesTheWorkSizeOnceAndSurvivesItsRefusal)
{
    const Fft_16s32s fft(order(), 4);
    const std::vector<int16_t> x = noise(order());
    {
        AllocatorWatch watch;
        run(x, fft.get(), 0);
        const auto work_size = static_cast<std::size_t>(head_word(fft.get(), 3));
        EXPECT_EQ(watch.sizes(), (std::vector<std::size_t>{work_size + 32 + sizeof(void*)}));
    }
    Guarded<int32_t> dst(spectrum_size(x.size(), 2));
    const auto call = [&] { return zelsFFTFwd_RToCCS_16s32s_Sfs(x.data(), dst.data(), fft.get(), 0, nullptr); };
    expect_survives_refusals(call, {&dst});
}

// Threads may share a record: it is only read.
TEST_P(Fft16sOrder, LeavesTheRecordAsItIs)
{
    const Sizes sizes = sizes_of<Kind_16s32s>(order());
    Guarded<uint8_t> memory(static_cast<std::size_t>(sizes.record), {0, Edge::Front});
    std::vector<uint8_t> setup(static_cast<std::size_t>(sizes.setup) + 1);
    ZelFFTState_R_16s32s* fft = nullptr;
    ASSERT_EQ(zelsFFTInit_R_16s32s(&fft, order(), 4, 0, memory.data(), setup.data()), SrOk);
    memory.take_snapshot();
    run(noise(order()), fft, 0);
    EXPECT_TRUE(memory.as_snapshot());
}

#ifdef __i386__
// The transform inside has its own record, whose failure is handed on.
TEST_P(Fft16sOrder, HandsOnTheStatusOfTheTransformInside)
{
    const Fft_16s32s fft(order(), 4);
    const std::int32_t released = 0;
    std::memcpy(reinterpret_cast<void*>(head_word(fft.get(), 5)), &released, sizeof released);
    const std::vector<int16_t> x = noise(order());
    std::vector<int32_t> ccs(spectrum_size(x.size(), 2));
    AllocatorWatch watch;
    EXPECT_EQ(zelsFFTFwd_RToCCS_16s32s_Sfs(x.data(), ccs.data(), fft.get(), 0, nullptr), SrErrContext);
    EXPECT_EQ(watch.live(), 0);
}
#endif

INSTANTIATE_TEST_SUITE_P(Orders, Fft16sOrder, testing::ValuesIn(orders_to(12)), testing::PrintToStringParamName());

TEST(Fft16s, ByValue)
{
    const Fft_16s32s one(0, 1);
    EXPECT_EQ(run({-5}, one.get(), 0), (std::vector<int32_t>{-5, 0}));
    EXPECT_EQ(run({5}, one.get(), 1), (std::vector<int32_t>{2, 0}));  // 2.5 to even
    EXPECT_EQ(run({7}, one.get(), 1), (std::vector<int32_t>{4, 0}));  // 3.5 to even
    EXPECT_EQ(run({-7}, one.get(), 1), (std::vector<int32_t>{-4, 0}));
    const Fft_16s32s two(1, 8);
    EXPECT_EQ(run({3, 10}, two.get(), 0), (std::vector<int32_t>{13, 0, -7, 0}));
    const Fft_16s32s four(2, 8);
    EXPECT_EQ(run({1, 0, 0, 0}, four.get(), -4), (std::vector<int32_t>{16, 0, 16, 0, 16, 0}));
    EXPECT_EQ(run({1, 2, 3, 5}, four.get(), 0), (std::vector<int32_t>{11, 0, -2, 3, -3, 0}));
    EXPECT_EQ(run({32767, 0, -32768, 0}, four.get(), -15),
              (std::vector<int32_t>{-32768, 0, 2147450880, 0, -32768, 0}));
    EXPECT_EQ(run({32767, 0, -32768, 0}, four.get(), -16),
              (std::vector<int32_t>{-65536, 0, INT32_MAX, 0, -65536, 0}));
    EXPECT_EQ(run({-32768, 0, 32767, 0}, four.get(), -16),
              (std::vector<int32_t>{-65536, 0, INT32_MIN, 0, -65536, 0}));
}

struct Arguments {
    const int16_t* src;
    int32_t* dst;
    const ZelFFTState_R_16s32s* state;
};

TEST(Fft16s, ChecksTheRecordThenTheArrays)
{
    for (int order : {2, 9}) {
        const Fft_16s32s fft(order, 2);
        const Fft other(order, 2);
        Guarded<int16_t> src(std::size_t{1} << order);
        Guarded<int32_t> dst(spectrum_size(src.size(), 2));
        Guarded<uint8_t> work(static_cast<std::size_t>(sizes_of<Kind_16s32s>(order).work));
        const auto* const other_kind = reinterpret_cast<const ZelFFTState_R_16s32s*>(other.get());
        for (uint8_t* buffer : {work.data(), static_cast<uint8_t*>(nullptr)})
            expect_check_order<Arguments>(
                {src.data(), dst.data(), fft.get()},
                {{"null record", SrErrNullPtr, [](Arguments& a) { a.state = nullptr; }},
                 {"other record", SrErrContext, [&](Arguments& a) { a.state = other_kind; }},
                 {"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
                 {"null destination", SrErrNullPtr, [](Arguments& a) { a.dst = nullptr; }}},
                [&](const Arguments& a) { return zelsFFTFwd_RToCCS_16s32s_Sfs(a.src, a.dst, a.state, 0, buffer); },
                {&src, &dst, &work});
    }
}

#ifdef __i386__
TEST(Fft16s, RunsOnAnyStack)
{
    for (int order : {1, 3, 4, 9}) {
        const Fft_16s32s fft(order, 1);
        const std::vector<int16_t> x = noise(order);
        const std::vector<int32_t> expected = run(x, fft.get(), -8);
        for (int misalign : {0, 4, 8, 12}) {
            std::vector<int32_t> actual(expected.size());
            EXPECT_EQ(call_misaligned(zelsFFTFwd_RToCCS_16s32s_Sfs, misalign, x.data(), actual.data(), fft.get(),
                                      -8, static_cast<uint8_t*>(nullptr)),
                      SrOk);
            EXPECT_TRUE(same_values(expected, actual)) << "order " << order << ", stack " << misalign;
        }
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
