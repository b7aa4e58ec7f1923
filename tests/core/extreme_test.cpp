// Extremes and the first place that holds them.
#include <gtest/gtest.h>

#include <limits>

#include "support/bits.h"
#include "support/effort.h"
#include "support/elementwise.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/odd_stack.h"
#include "support/reference/vector.h"
#include "zelsr/core/vector.h"

namespace zelsr::test {
namespace {

enum class Side { Largest, Smallest };

// A member that gives one extreme: find stores it in *value.
template <class Element, Side kSide>
struct ExtremeOf {
    using T = Element;
    static constexpr Side side = kSide;
    static reference::Extreme<T> expected(const std::vector<T>& src)
    {
        return side == Side::Largest ? reference::largest(src) : reference::smallest(src);
    }
    // Beyond every other element, on the side that is looked for, or on the other.
    static T beyond() { return side == Side::Largest ? T(1000) : T(-1000); }
};
struct Max_32f : ExtremeOf<float, Side::Largest> {
    static constexpr const char* name = "zelsMax_32f";
    static SrStatus find(const T* src, int32_t len, T* value) { return zelsMax_32f(src, len, value); }
};
struct Max_64f : ExtremeOf<double, Side::Largest> {
    static constexpr const char* name = "zelsMax_64f";
    static SrStatus find(const T* src, int32_t len, T* value) { return zelsMax_64f(src, len, value); }
};
struct Min_32f : ExtremeOf<float, Side::Smallest> {
    static constexpr const char* name = "zelsMin_32f";
    static SrStatus find(const T* src, int32_t len, T* value) { return zelsMin_32f(src, len, value); }
};
struct Min_64f : ExtremeOf<double, Side::Smallest> {
    static constexpr const char* name = "zelsMin_64f";
    static SrStatus find(const T* src, int32_t len, T* value) { return zelsMin_64f(src, len, value); }
};
// One of the two that zelsMinMax_32f gives.
struct Lowest_32f : ExtremeOf<float, Side::Smallest> {
    static constexpr const char* name = "zelsMinMax_32f_Lowest";
    static SrStatus find(const T* src, int32_t len, T* value)
    {
        T other;
        return zelsMinMax_32f(src, len, value, &other);
    }
};
struct Highest_32f : ExtremeOf<float, Side::Largest> {
    static constexpr const char* name = "zelsMinMax_32f_Highest";
    static SrStatus find(const T* src, int32_t len, T* value)
    {
        T other;
        return zelsMinMax_32f(src, len, &other, value);
    }
};
// With an index, and as a plain extreme: with a null index.
struct MaxIndx_32f : ExtremeOf<float, Side::Largest> {
    static constexpr const char* name = "zelsMaxIndx_32f";
    static constexpr auto find_index = zelsMaxIndx_32f;
    static SrStatus find(const T* src, int32_t len, T* value) { return zelsMaxIndx_32f(src, len, value, nullptr); }
};
struct MaxIndx_64f : ExtremeOf<double, Side::Largest> {
    static constexpr const char* name = "zelsMaxIndx_64f";
    static constexpr auto find_index = zelsMaxIndx_64f;
    static SrStatus find(const T* src, int32_t len, T* value) { return zelsMaxIndx_64f(src, len, value, nullptr); }
};
struct MinIndx_32f : ExtremeOf<float, Side::Smallest> {
    static constexpr const char* name = "zelsMinIndx_32f";
    static constexpr auto find_index = zelsMinIndx_32f;
    static SrStatus find(const T* src, int32_t len, T* value) { return zelsMinIndx_32f(src, len, value, nullptr); }
};

struct Names {
    template <class T>
    static std::string GetName(int)
    {
        return T::name;
    }
};

// ---- Values -------------------------------------------------------------------------------------------------

template <class Member>
class Extreme : public testing::Test {};
using Members = testing::Types<Max_32f, Max_64f, Min_32f, Min_64f, Lowest_32f, Highest_32f, MaxIndx_32f,
                               MaxIndx_64f, MinIndx_32f>;
TYPED_TEST_SUITE(Extreme, Members, Names);

TYPED_TEST(Extreme, IsFoundAtEveryLengthAndPlacement)
{
    using T = typename TypeParam::T;
    const std::vector<Placement> all = placements(sizeof(T));
    for (int len : lengths(36))
        for (const Placement& place : all) {
            const Guarded<T> src(uniform_vector<T>(len, T(-1), T(1)), place);
            Guarded<T> value(1, {place.misalign % 2 == 0 ? 0 : 8});
            EXPECT_EQ(TypeParam::find(src.data(), len, value.data()), SrOk);
            EXPECT_TRUE(same_value(TypeParam::expected(src.values()).value, value.get(0)))
                << len << " elements " << describe(place);
            EXPECT_TRUE(src.intact() && value.intact());
            if (this->HasFailure()) return;
        }
}

TYPED_TEST(Extreme, IsFoundAtEveryPosition)
{
    using T = typename TypeParam::T;
    const std::vector<Placement> all = placements(sizeof(T));
    std::size_t turn = 0;
    for (int len : lengths(36)) {
        Guarded<T> src(uniform_vector<T>(len, T(-1), T(1)), cycle(all, turn++));
        for (std::size_t at = 0; at < static_cast<std::size_t>(len); ++at) {
            const T former = src.get(at);
            src.set(at, TypeParam::beyond());
            T value = 0;
            EXPECT_EQ(TypeParam::find(src.data(), len, &value), SrOk);
            EXPECT_EQ(value, TypeParam::beyond()) << "at " << at << " of " << len;
            src.set(at, former);
        }
    }
}

// No start value may win: all elements on the far end of the range, or infinite.
TYPED_TEST(Extreme, OfEqualElementsIsTheirValue)
{
    using T = typename TypeParam::T;
    using Limits = std::numeric_limits<T>;
    for (int len : lengths(36))
        for (T element : {Limits::lowest(), Limits::max(), Limits::infinity(), -Limits::infinity(), T(-3), T(3),
                          Limits::denorm_min(), -Limits::denorm_min()}) {
            const std::vector<T> src(static_cast<std::size_t>(len), element);
            T value = 0;
            EXPECT_EQ(TypeParam::find(src.data(), len, &value), SrOk);
            EXPECT_EQ(value, element) << len;
        }
}

TYPED_TEST(Extreme, MayBeInfinite)
{
    using T = typename TypeParam::T;
    constexpr T infinity = std::numeric_limits<T>::infinity();
    for (int len : {2, 5, 33, 40})
        for (std::size_t at = 0; at < static_cast<std::size_t>(len); ++at)
            for (T element : {infinity, -infinity}) {
                std::vector<T> src = uniform_vector<T>(len, T(-1), T(1));
                src[at] = element;
                T value = 0;
                EXPECT_EQ(TypeParam::find(src.data(), len, &value), SrOk);
                EXPECT_EQ(value, TypeParam::expected(src).value) << "at " << at << " of " << len;
            }
}

TYPED_TEST(Extreme, OfZerosOfBothSignsIsZero)
{
    using T = typename TypeParam::T;
    for (int len : lengths(36)) {
        std::vector<T> src(static_cast<std::size_t>(len));
        for (T& element : src) element = uniform(0, 1) == 0 ? T(0) : -T(0);
        T value = 5;
        EXPECT_EQ(TypeParam::find(src.data(), len, &value), SrOk);
        EXPECT_EQ(value, T(0));
    }
}

TYPED_TEST(Extreme, IsFoundInLongArrays)
{
    using T = typename TypeParam::T;
    const int len = thin_effort() ? 4099 : (1 << 20) + 5;
    std::vector<T> src = repeated(uniform_vector<T>(1021, T(-1), T(1)), len);
    const std::size_t last = src.size() - 1;
    for (std::size_t at : {std::size_t{0}, last / 2, last - 3, last}) {
        const T former = src[at];
        src[at] = TypeParam::beyond();
        T value = 0;
        EXPECT_EQ(TypeParam::find(src.data(), len, &value), SrOk);
        EXPECT_EQ(value, TypeParam::beyond()) << at;
        src[at] = former;
    }
}

TYPED_TEST(Extreme, ChecksNullBeforeSizeAndReadsNothing)
{
    using T = typename TypeParam::T;
    struct Arguments {
        const T* src;
        int32_t len;
        T* value;
    };
    std::vector<Fault<Arguments>> faults = {
        {"null source", SrErrNullPtr, [](auto& a) { a.src = nullptr; }},
        {"null value", SrErrNullPtr, [](auto& a) { a.value = nullptr; }},
    };
    for (int32_t len : {0, -1, INT32_MIN})
        faults.push_back({"length " + std::to_string(len), SrErrSize, [len](auto& a) { a.len = len; }});
    const Guarded<T> src(std::vector<T>(9, T(2)));
    Guarded<T> value(1);
    const auto call = [](const Arguments& a) { return TypeParam::find(a.src, a.len, a.value); };
    expect_check_order<Arguments>({src.data(), 9, value.data()}, faults, call, {&value});
    const Guarded<T> nothing(0);  // begins with the forbidden page
    for (int32_t len : {0, -1, INT32_MIN}) EXPECT_EQ(call({nothing.data(), len, value.data()}), SrErrSize);
}

// ---- Both extremes in one call ------------------------------------------------------------------------------

TEST(MinMax, GivesBothInTheirOrder)
{
    const std::vector<float> src = {3, -7, 5, 2};
    Guarded<float> lowest(1), highest(1);
    EXPECT_EQ(zelsMinMax_32f(src.data(), 4, lowest.data(), highest.data()), SrOk);
    EXPECT_EQ(lowest.get(0), -7.0F);
    EXPECT_EQ(highest.get(0), 5.0F);
    EXPECT_TRUE(lowest.intact() && highest.intact());
}

TEST(MinMax, ChecksNullBeforeSizeAndWritesNeither)
{
    struct Arguments {
        const float* src;
        int32_t len;
        float *lowest, *highest;
    };
    const std::vector<Fault<Arguments>> faults = {
        {"null source", SrErrNullPtr, [](auto& a) { a.src = nullptr; }},
        {"null lowest", SrErrNullPtr, [](auto& a) { a.lowest = nullptr; }},
        {"null highest", SrErrNullPtr, [](auto& a) { a.highest = nullptr; }},
        {"length 0", SrErrSize, [](auto& a) { a.len = 0; }},
        {"length -1", SrErrSize, [](auto& a) { a.len = -1; }},
    };
    const Guarded<float> src(std::vector<float>(9, 2.0F));
    Guarded<float> lowest(1), highest(1);
    expect_check_order<Arguments>(
        {src.data(), 9, lowest.data(), highest.data()}, faults,
        [](const Arguments& a) { return zelsMinMax_32f(a.src, a.len, a.lowest, a.highest); }, {&lowest, &highest});
}

// ---- Indices ------------------------------------------------------------------------------------------------

template <class Member>
class ExtremeIndex : public testing::Test {
  protected:
    using T = typename Member::T;
    // The call's value and index against the plain loop's.
    static void expect_first(const Guarded<T>& src)
    {
        const auto expected = Member::expected(src.values());
        Guarded<T> value(1);
        Guarded<int32_t> index(1);
        EXPECT_EQ(Member::find_index(src.data(), static_cast<int32_t>(src.size()), value.data(), index.data()),
                  SrOk);
        EXPECT_EQ(value.get(0), expected.value) << src.size() << " elements";
        EXPECT_EQ(index.get(0), expected.index) << src.size() << " elements";
        EXPECT_TRUE(src.intact() && value.intact() && index.intact());
    }
};
using IndexMembers = testing::Types<MaxIndx_32f, MaxIndx_64f, MinIndx_32f>;
TYPED_TEST_SUITE(ExtremeIndex, IndexMembers, Names);

// The first of two at every position, the second at every later one, on both sides of the lengths from which
// vectors search.
TYPED_TEST(ExtremeIndex, IsTheFirstOfTwoEqualExtremesAtEveryPosition)
{
    using T = typename TypeParam::T;
    const std::vector<Placement> all = placements(sizeof(T));
    std::size_t turn = 0;
    for (int len : {1, 2, 3, 5, 8, 31, 32, 33, 34, 35, 36, 41, 67}) {
        const auto count = static_cast<std::size_t>(len);
        Guarded<T> src(uniform_vector<T>(len, T(-1), T(1)), cycle(all, turn++));
        for (std::size_t first = 0; first < count; ++first)
            for (std::size_t second = first; second < count; second += thin_effort() ? 5 : 1) {
                const T former_first = src.get(first), former_second = src.get(second);
                src.set(first, TypeParam::beyond());
                src.set(second, TypeParam::beyond());
                T value = 0;
                int32_t index = -1;
                EXPECT_EQ(TypeParam::find_index(src.data(), len, &value, &index), SrOk);
                EXPECT_EQ(value, TypeParam::beyond());
                EXPECT_EQ(index, static_cast<int32_t>(first)) << "of " << len << ", again at " << second;
                src.set(second, former_second);
                src.set(first, former_first);
            }
    }
}

TYPED_TEST(ExtremeIndex, IsTheFirstAmongManyAtEveryLengthAndPlacement)
{
    using T = typename TypeParam::T;
    for (int len : lengths(36))
        for (const Placement& place : placements(sizeof(T))) {
            std::vector<T> values(static_cast<std::size_t>(len));
            for (T& value : values) value = static_cast<T>(uniform(0, 3));
            this->expect_first(Guarded<T>(values, place));
            if (this->HasFailure()) return;
        }
}

TYPED_TEST(ExtremeIndex, IsZeroWhereAllAreEqual)
{
    using T = typename TypeParam::T;
    using Limits = std::numeric_limits<T>;
    for (int len : lengths(36))
        for (T element : {Limits::lowest(), Limits::max(), Limits::infinity(), -Limits::infinity(), T(0)})
            this->expect_first(Guarded<T>(std::vector<T>(static_cast<std::size_t>(len), element)));
}

TYPED_TEST(ExtremeIndex, TakesZerosOfBothSignsAsEqual)
{
    using T = typename TypeParam::T;
    for (int len : lengths(36))
        for (T first : {T(0), -T(0)}) {
            std::vector<T> values(static_cast<std::size_t>(len), -first);
            values[0] = first;
            this->expect_first(Guarded<T>(values));
        }
}

TYPED_TEST(ExtremeIndex, IsRightInLongArrays)
{
    using T = typename TypeParam::T;
    const int len = thin_effort() ? 70001 : (1 << 20) + 5;
    Guarded<T> src(repeated(uniform_vector<T>(1021, T(-1), T(1)), len));
    this->expect_first(src);
    const std::size_t last = src.size() - 1;
    src.set(last, TypeParam::beyond());
    this->expect_first(src);
    src.set(last - 2, TypeParam::beyond());
    this->expect_first(src);
    src.set(65536 + 7, TypeParam::beyond());
    this->expect_first(src);
}

TYPED_TEST(ExtremeIndex, ChecksNullBeforeSizeAndWritesNeither)
{
    using T = typename TypeParam::T;
    struct Arguments {
        const T* src;
        int32_t len;
        T* value;
        int32_t* index;
    };
    const Guarded<T> src(std::vector<T>(9, T(2)));
    Guarded<T> value(1);
    Guarded<int32_t> index(1);
    const std::vector<Fault<Arguments>> faults = {
        {"null source", SrErrNullPtr, [](auto& a) { a.src = nullptr; }},
        {"null value", SrErrNullPtr, [](auto& a) { a.value = nullptr; }},
        {"length 0", SrErrSize, [](auto& a) { a.len = 0; }},
        {"length -1", SrErrSize, [](auto& a) { a.len = -1; }},
    };
    const auto call = [](const Arguments& a) { return TypeParam::find_index(a.src, a.len, a.value, a.index); };
    expect_check_order<Arguments>({src.data(), 9, value.data(), index.data()}, faults, call, {&value, &index});
}

TYPED_TEST(ExtremeIndex, DoesNotDependOnTheEnvironment)
{
    using T = typename TypeParam::T;
    std::vector<T> values(67);
    for (T& value : values) value = static_cast<T>(uniform(-9, 9));
    const auto expected = TypeParam::expected(values);
    T value = 77;
    int32_t index = -1;
    SrStatus status = SrErrUnknown;
    under_each_environment([&] { status = TypeParam::find_index(values.data(), 67, &value, &index); },
                           [&](const std::string& setting) {
                               EXPECT_EQ(status, SrOk) << setting;
                               EXPECT_EQ(value, expected.value) << setting;
                               EXPECT_EQ(index, expected.index) << setting;
                               value = 77;
                               index = -1;
                           });
}

TEST(MaxIndx, OfOneThreeThreeIsThreeAtOne)
{
    const float src[] = {1, 3, 3};
    float value = 0;
    int32_t index = -1;
    EXPECT_EQ(zelsMaxIndx_32f(src, 3, &value, &index), SrOk);
    EXPECT_EQ(value, 3.0F);
    EXPECT_EQ(index, 1);
}

#ifdef __i386__
TEST(OddStack, ExtremesAreFoundFromEveryStack)
{
    std::vector<float> src = uniform_vector(67, -1.0F, 1.0F);
    src[40] = 5;
    const float* first = src.data();
    for (int misalign : {0, 4, 8, 12}) {
        float value = 0, lowest = 0;
        int32_t index = -1;
        EXPECT_EQ(call_misaligned(zelsMaxIndx_32f, misalign, first, 67, &value, &index), SrOk);
        EXPECT_EQ(index, 40);
        EXPECT_EQ(call_misaligned(zelsMinMax_32f, misalign, first, 67, &lowest, &value), SrOk);
        EXPECT_EQ(lowest, reference::smallest(src).value);
        EXPECT_EQ(value, 5.0F);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
