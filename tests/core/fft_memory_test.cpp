// Where the transforms read and write: arrays and work memory on every address between guard pages, in place,
// with work memory of the caller's and of their own.
#include <gtest/gtest.h>

#include "support/bits.h"
#include "support/effort.h"
#include "support/faults.h"
#include "support/fft_records.h"
#include "support/guarded.h"
#include "support/hooks.h"
#include "support/odd_stack.h"
#include "zelsr/core/fft.h"

namespace zelsr::test {
namespace {

// The four transforms, by what they read and write.
struct Member {
    const char* name;
    Transform_32f transform;
    int beyond;  // elements written more than N, from N = 2 on
};
std::ostream& operator<<(std::ostream& out, const Member& member) { return out << member.name; }

const std::vector<Member> kMembers = {
    {"FwdRToCCS", zelsFFTFwd_RToCCS_32f, 2},
    {"FwdRToPack", zelsFFTFwd_RToPack_32f, 0},
    {"FwdRToPerm", zelsFFTFwd_RToPerm_32f, 0},
    {"InvPackToR", zelsFFTInv_PackToR_32f, 0},
};

// Plain arrays and memory of the transform's own: what all others are compared with.
std::vector<float> plain_result(const Member& member, const std::vector<float>& x, const ZelFFTState_R_32f* fft)
{
    std::vector<float> result(spectrum_size(x.size(), member.beyond));
    EXPECT_EQ(member.transform(x.data(), result.data(), fft, nullptr), SrOk);
    return result;
}

class FftMember : public testing::TestWithParam<Member> {};

TEST_P(FftMember, GivesTheSameBitsOnEveryAddressAndWritesNothingElse)
{
    const Member member = GetParam();
    for (int order : orders_to(11)) {
        if (order > 7 && order % 2 == 0) continue;
        for (int flag : {2, 4}) {
            const Fft fft(order, flag);
            const std::vector<float> x = uniform_vector(1 << order, -1.0F, 1.0F);
            const std::vector<float> expected = plain_result(member, x, fft.get());
            const auto expect_same_with = [&](Placement at_src, Placement at_dst) {
                Guarded<float> src(x, at_src);
                Guarded<float> dst(expected.size(), at_dst);
                src.take_snapshot();
                EXPECT_EQ(member.transform(src.data(), dst.data(), fft.get(), nullptr), SrOk);
                EXPECT_TRUE(same_values(expected, dst.values()))
                    << "order " << order << ", source " << describe(at_src) << ", destination "
                    << describe(at_dst);
                EXPECT_TRUE(src.as_snapshot()) << "order " << order << ", source " << describe(at_src);
                EXPECT_TRUE(dst.intact()) << "order " << order << ", destination " << describe(at_dst);
            };
            for (const Placement& at : placements(sizeof(float))) {
                expect_same_with(at, {});
                expect_same_with({}, at);
                expect_same_with(at, at);
            }
        }
    }
}

TEST_P(FftMember, InPlaceGivesTheSameBits)
{
    const Member member = GetParam();
    for (int order : orders_to(20)) {
        const int flag = order % 2 == 0 ? 4 : 8;
        const Fft fft(order, flag);
        const std::vector<float> x = uniform_vector(1 << order, -1.0F, 1.0F);
        const std::vector<float> expected = plain_result(member, x, fft.get());
        for (const Placement& at :
             {Placement{}, Placement{0, Edge::Front}, Placement{4, Edge::Back}, Placement{7, Edge::Front}}) {
            if (order > 15 && at.misalign != 0) continue;
            Guarded<float> array(expected.size(), at);
            for (std::size_t i = 0; i < x.size(); ++i) array.set(i, x[i]);
            EXPECT_EQ(member.transform(array.data(), array.data(), fft.get(), nullptr), SrOk);
            EXPECT_TRUE(same_values(expected, array.values())) << "order " << order << ", " << describe(at);
            EXPECT_TRUE(array.intact()) << "order " << order << ", " << describe(at);
        }
    }
}

TEST_P(FftMember, WorkMemoryOnEveryAddressServesAsTheTransformsOwnDoes)
{
    const Member member = GetParam();
    for (int order : orders_to(20)) {
        const Fft fft(order, 1);
        const std::vector<float> x = uniform_vector(1 << order, -1.0F, 1.0F);
        const std::vector<float> expected = plain_result(member, x, fft.get());
        const auto work_size = static_cast<std::size_t>(buffer_size(fft.get()));
        for (int address = 0; address < 32; ++address) {  // modulo 32 at the front
            if (order > 12 && address % 31 != 0) continue;
            for (Edge edge : {Edge::Front, Edge::Back}) {
                Guarded<uint8_t> work(work_size, {address, edge});
                std::vector<float> result(expected.size());
                AllocatorWatch watch;
                EXPECT_EQ(member.transform(x.data(), result.data(), fft.get(), work.data()), SrOk);
                EXPECT_EQ(watch.requests(), 0) << "order " << order;
                EXPECT_TRUE(same_values(expected, result)) << "order " << order << ", address " << address;
                EXPECT_TRUE(work.intact()) << "order " << order << ", address " << address;
                result = x;
                result.resize(expected.size());
                EXPECT_EQ(member.transform(result.data(), result.data(), fft.get(), work.data()), SrOk);
                EXPECT_TRUE(same_values(expected, result)) << "order " << order << ", in place";
                EXPECT_TRUE(work.intact()) << "order " << order << ", address " << address << ", in place";
            }
        }
    }
}

// A work size of zero means that no memory is asked for.
TEST_P(FftMember, RefusedMemoryLeavesTheDestination)
{
    const Member member = GetParam();
    for (int order : {0, 1, 2, 3}) {
        const Fft fft(order, 1);
        AllocatorWatch watch;
        plain_result(member, std::vector<float>(std::size_t{1} << order, 1.0F), fft.get());
        EXPECT_EQ(watch.requests(), 0) << "order " << order;
    }
    for (int order : orders_to(19)) {
        if (order < 4) continue;
        const Fft fft(order, 1);
        const std::vector<float> x = uniform_vector(1 << order, -1.0F, 1.0F);
        Guarded<float> dst(spectrum_size(x.size(), member.beyond));
        SCOPED_TRACE(order);
        expect_survives_refusals([&] { return member.transform(x.data(), dst.data(), fft.get(), nullptr); },
                                 {&dst});
        Guarded<float> array(dst.size());
        expect_survives_refusals([&] { return member.transform(array.data(), array.data(), fft.get(), nullptr); },
                                 {&array});
    }
}

// Threads may share a record: it is only read.
TEST_P(FftMember, LeavesTheRecordAsItIs)
{
    const Member member = GetParam();
    for (int order : orders_to(19)) {
        const Sizes sizes = sizes_of<Kind_32f>(order);
        Guarded<uint8_t> memory(static_cast<std::size_t>(sizes.record), {0, Edge::Front});
        std::vector<uint8_t> setup(static_cast<std::size_t>(sizes.setup) + 1);
        ZelFFTState_R_32f* fft = nullptr;
        ASSERT_EQ(zelsFFTInit_R_32f(&fft, order, 4, 0, memory.data(), setup.data()), SrOk);
        memory.take_snapshot();
        plain_result(member, uniform_vector(1 << order, -1.0F, 1.0F), fft);
        EXPECT_TRUE(memory.as_snapshot()) << "order " << order;
    }
}

struct Arguments {
    const float* src;
    float* dst;
    const ZelFFTState_R_32f* state;
};

TEST_P(FftMember, ChecksTheRecordThenTheArrays)
{
    const Member member = GetParam();
    for (int order : {2, 9, 12}) {
        const Fft fft(order, 2);
        const Fft_16s32s other(order, 2);
        Guarded<float> src(std::size_t{1} << order);
        Guarded<float> dst(spectrum_size(src.size(), member.beyond));
        Guarded<uint8_t> work(static_cast<std::size_t>(buffer_size(fft.get())) + 1);
        const auto* const other_kind = reinterpret_cast<const ZelFFTState_R_32f*>(other.get());
        for (uint8_t* buffer : {work.data(), static_cast<uint8_t*>(nullptr)})
            expect_check_order<Arguments>(
                {src.data(), dst.data(), fft.get()},
                {{"null record", SrErrNullPtr, [](Arguments& a) { a.state = nullptr; }},
                 {"other record", SrErrContext, [&](Arguments& a) { a.state = other_kind; }},
                 {"null source", SrErrNullPtr, [](Arguments& a) { a.src = nullptr; }},
                 {"null destination", SrErrNullPtr, [](Arguments& a) { a.dst = nullptr; }}},
                [&](const Arguments& a) { return member.transform(a.src, a.dst, a.state, buffer); },
                {&src, &dst, &work});
    }
}

TEST_P(FftMember, RefusesAReleasedRecord)
{
    const Member member = GetParam();
    std::vector<uint8_t> memory(static_cast<std::size_t>(sizes_of<Kind_32f>(5).record));
    ZelFFTState_R_32f* fft = nullptr;
    ASSERT_EQ(zelsFFTInit_R_32f(&fft, 5, 2, 0, memory.data(), nullptr), SrOk);
    ASSERT_EQ(zelsFFTFree_R_32f(fft), SrOk);
    std::vector<float> x(34);
    EXPECT_EQ(member.transform(x.data(), x.data(), fft, nullptr), SrErrContext);
    EXPECT_EQ(member.transform(nullptr, nullptr, fft, nullptr), SrErrContext);
}

#ifdef __i386__
TEST_P(FftMember, RunsOnAnyStack)
{
    const Member member = GetParam();
    for (int order : {1, 3, 4, 7, 11, 19}) {
        if (thin_effort() && order > 11) continue;
        const Fft fft(order, 4);
        const std::vector<float> x = uniform_vector(1 << order, -1.0F, 1.0F);
        const std::vector<float> expected = plain_result(member, x, fft.get());
        for (int misalign : {0, 4, 8, 12}) {
            std::vector<float> result(expected.size());
            EXPECT_EQ(call_misaligned(member.transform, misalign, x.data(), result.data(), fft.get(),
                                      static_cast<uint8_t*>(nullptr)),
                      SrOk);
            EXPECT_TRUE(same_values(expected, result)) << "order " << order << ", stack " << misalign;
        }
    }
}
#endif

INSTANTIATE_TEST_SUITE_P(Members, FftMember, testing::ValuesIn(kMembers), testing::PrintToStringParamName());

}  // namespace
}  // namespace zelsr::test
