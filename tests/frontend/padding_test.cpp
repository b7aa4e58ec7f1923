// Copies that are filled up with zeros.
#include <gtest/gtest.h>

#include <cstring>

#include "support/elementwise.h"
#include "support/odd_stack.h"
#include "zelsr/frontend/filter_bank.h"

namespace zelsr::test {
namespace {

template <class T>
constexpr auto padding_of()
{
    if constexpr (std::is_same_v<T, float>)
        return zelsCopyWithPadding_32f;
    else
        return zelsCopyWithPadding_16s;
}

template <class T>
class CopyWithPadding : public testing::Test {};
struct TypeNames {
    template <class T>
    static std::string GetName(int)
    {
        return std::is_same_v<T, float> ? "32f" : "16s";
    }
};
using Types = testing::Types<float, int16_t>;
TYPED_TEST_SUITE(CopyWithPadding, Types, TypeNames);

// Bits of any kind arrive as they are.
TYPED_TEST(CopyWithPadding, CopiesThenClearsAtEveryPlacement)
{
    const std::vector<Placement> all = placements(sizeof(TypeParam));
    std::size_t step = 0;
    for (int length : lengths(16))
        for (int rest : {0, 1, 2, 3, 7, 8, 9, 16, 31, 33})
            for (int round = 0; round < 4; ++round) {
                const Placement from = cycle(all, ++step), to = cycle(all, 3 * step + 1);
                Guarded<TypeParam> src(random_bits<TypeParam>(length), from);
                Guarded<TypeParam> dst(static_cast<std::size_t>(length + rest), to);
                src.take_snapshot();
                ASSERT_EQ(padding_of<TypeParam>()(src.data(), length, dst.data(), length + rest), SrOk);
                ASSERT_TRUE(src.as_snapshot());
                ASSERT_TRUE(dst.intact());
                std::vector<std::byte> expected(dst.bytes());
                std::memcpy(expected.data(), src.address(), src.bytes());
                ASSERT_EQ(std::memcmp(expected.data(), dst.address(), dst.bytes()), 0)
                    << length << " and " << rest << " more, from " << describe(from) << " to " << describe(to);
            }
}

template <class T>
struct Arguments {
    const T* src;
    int32_t src_len;
    T* dst;
    int32_t dst_len;
};

TYPED_TEST(CopyWithPadding, PointersAreCheckedBeforeLengths)
{
    using Call = Arguments<TypeParam>;
    const Guarded<TypeParam> src(4);
    Guarded<TypeParam> dst(8);
    for (int32_t length : {0, -1, INT32_MIN})
        expect_check_order<Call>(
            {src.data(), 4, dst.data(), 8},
            {{"null source", SrErrNullPtr, [](Call& a) { a.src = nullptr; }},
             {"null destination", SrErrNullPtr, [](Call& a) { a.dst = nullptr; }},
             {"source length", SrErrSize, [&](Call& a) { a.src_len = length; }},
             {"destination length", SrErrSize, [&](Call& a) { a.dst_len = length; }},
             {"short destination", SrErrSize, [](Call& a) { a.dst_len = a.src_len - 1; }},
             {"long source", SrErrSize, [](Call& a) { a.src_len = 9; }}},
            [](const Call& a) { return padding_of<TypeParam>()(a.src, a.src_len, a.dst, a.dst_len); }, {&dst});
}

#ifdef __i386__
TYPED_TEST(CopyWithPadding, RunsOnAnyStack)
{
    const std::vector<TypeParam> src = {1, 2, 3};
    for (int misalign : {0, 4, 8, 12}) {
        std::vector<TypeParam> dst(5, TypeParam(9));
        EXPECT_EQ(call_misaligned(padding_of<TypeParam>(), misalign, src.data(), 3, dst.data(), 5), SrOk);
        EXPECT_EQ(dst, (std::vector<TypeParam>{1, 2, 3, 0, 0}));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
