// One vector from indices and plain arrays of codewords.
#include <gtest/gtest.h>

#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "support/bits.h"
#include "support/effort.h"
#include "support/faults.h"
#include "support/guarded.h"
#include "support/hooks.h"
#include "support/odd_stack.h"
#include "zelsr/vq/reconstruction.h"

namespace zelsr::test {
namespace {

template <class T>
using Rows = std::vector<std::vector<T>>;

std::size_t at(int32_t i) { return static_cast<std::size_t>(i); }

template <class Index_, class Codeword_, bool end_accepted>
struct Form {
    using Index = Index_;
    using Codeword = Codeword_;
    static constexpr bool kEndAccepted = end_accepted;  // in the form of two: an index equal to its length
};
struct Form_8u16s : Form<uint8_t, int16_t, false> {
    static constexpr const char* kName = "8u16s";
    static constexpr auto kAny = zelsFormVector_8u16s;
    static constexpr auto kTwo = zelsFormVector_2i_8u16s;
    static constexpr auto kFour = zelsFormVector_4i_8u16s;
};
struct Form_16s16s : Form<int16_t, int16_t, false> {
    static constexpr const char* kName = "16s16s";
    static constexpr auto kAny = zelsFormVector_16s16s;
    static constexpr auto kTwo = zelsFormVector_2i_16s16s;
    static constexpr auto kFour = zelsFormVector_4i_16s16s;
};
struct Form_8u32f : Form<uint8_t, float, false> {
    static constexpr const char* kName = "8u32f";
    static constexpr auto kAny = zelsFormVector_8u32f;
    static constexpr auto kTwo = zelsFormVector_2i_8u32f;
    static constexpr auto kFour = zelsFormVector_4i_8u32f;
};
struct Form_16s32f : Form<int16_t, float, true> {
    static constexpr const char* kName = "16s32f";
    static constexpr auto kAny = zelsFormVector_16s32f;
    static constexpr auto kTwo = zelsFormVector_2i_16s32f;
    static constexpr auto kFour = zelsFormVector_4i_16s32f;
};
struct FormNames {
    template <class Form>
    static std::string GetName(int)
    {
        return Form::kName;
    }
};

// Arrays of codewords with an index each.
template <class F>
struct Arrays {
    using Codeword = typename F::Codeword;
    std::vector<typename F::Index> index;
    std::vector<int32_t> lengths, widths, steps;
    Rows<Codeword> codewords;

    // Codewords of this width so many elements apart; an array ends with its last codeword.
    void add(int length, int width, int step, int chosen)
    {
        index.push_back(static_cast<typename F::Index>(chosen));
        lengths.push_back(length);
        widths.push_back(width);
        steps.push_back(step);
        codewords.push_back(
            uniform_vector<Codeword>((length - 1) * step + width, Codeword(-30000), Codeword(30000)));
    }
    int count() const { return static_cast<int>(index.size()); }
    std::vector<Codeword> expected() const
    {
        std::vector<Codeword> all;
        for (std::size_t i = 0; i < index.size(); ++i) {
            const auto first = codewords[i].begin() + static_cast<std::ptrdiff_t>(index[i]) * steps[i];
            all.insert(all.end(), first, first + widths[i]);
        }
        return all;
    }
};

template <class F>
class FormVector : public testing::Test {};
using Forms = testing::Types<Form_8u16s, Form_16s16s, Form_8u32f, Form_16s32f>;
TYPED_TEST_SUITE(FormVector, Forms, FormNames);

TYPED_TEST(FormVector, AnyWidthsAndSteps)
{
    using Index = typename TypeParam::Index;
    using Codeword = typename TypeParam::Codeword;
    const auto places = placements(1);
    for (int count = 1; count <= 20; ++count)
        for (int round = 0; round < (thin_effort() ? 2 : 8); ++round) {
            Arrays<TypeParam> a;
            for (int i = 0; i < count; ++i) {
                const int length = uniform(1, round == 0 ? 256 : 9), width = uniform(1, round == 1 ? 40 : 9);
                // A step below the width is allowed: codewords then overlap.
                a.add(length, width, uniform(1, width + 3),
                      uniform(0, 3) == 0 ? length - 1 : uniform(0, length - 1));
            }
            const Placement place = places[at(count * 8 + round) % places.size()];
            const Guarded<Index> index(a.index, place);
            const GuardedRows<Codeword> codewords(a.codewords, {0, 4, static_cast<int>(at(round))});
            const Guarded<int32_t> lengths(a.lengths, place), widths(a.widths, place), steps(a.steps, place);
            const auto expected = a.expected();
            Guarded<Codeword> dst(expected.size(), place);
            const AllocatorWatch watch;
            EXPECT_EQ(TypeParam::kAny(index.data(), codewords.list(), lengths.data(), widths.data(), steps.data(),
                                      count, dst.data()),
                      SrOk);
            EXPECT_EQ(watch.requests(), 0);
            ASSERT_TRUE(same_values(expected, dst.values()));
            ASSERT_TRUE(dst.intact());
        }
}

// Codewords of two and four, at every length of the destination.
TYPED_TEST(FormVector, OfTwoAndFour)
{
    using Index = typename TypeParam::Index;
    using Codeword = typename TypeParam::Codeword;
    for (int each : {2, 4})
        for (int len = 1; len <= (thin_effort() ? 20 : 70); ++len) {
            std::vector<Placement> some = placements(1);
            for (std::size_t p = 0; p < some.size(); p += at(1 + len % 3)) {
                const Placement place = some[p];
                Arrays<TypeParam> a;
                for (int i = 0; i < len / each; ++i) {
                    const int length = uniform(1, 20);
                    a.add(length, each, each, uniform(0, 2) == 0 ? length - 1 : uniform(0, length - 1));
                }
                const Guarded<Index> index(a.index, place);
                const GuardedRows<Codeword> codewords(a.codewords, {place.misalign, 0});
                const Guarded<int32_t> lengths(a.lengths, {(place.misalign * 7) % 16, place.edge});
                std::vector<Codeword> expected = a.expected();
                expected.resize(at(len), Codeword(77));  // the rest is not written
                Guarded<Codeword> dst(std::vector<Codeword>(at(len), Codeword(77)), place);
                // A list of no rows still has an address.
                const Codeword* none = nullptr;
                const Codeword* const* list = a.count() == 0 ? &none : codewords.list();
                const AllocatorWatch watch;
                const auto function = each == 2 ? TypeParam::kTwo : TypeParam::kFour;
                EXPECT_EQ(function(index.data(), list, lengths.data(), dst.data(), len), SrOk);
                EXPECT_EQ(watch.requests(), 0);
                ASSERT_TRUE(same_values(expected, dst.values())) << each << ", " << len << ", " << describe(place);
                ASSERT_TRUE(dst.intact());
            }
            // Everything on 16 bytes.
            Arrays<TypeParam> a;
            for (int i = 0; i < len / each; ++i) a.add(9, each, each, uniform(0, 8));
            if (a.count() == 0) continue;
            const Guarded<Index> index(a.index);
            const GuardedRows<Codeword> codewords(a.codewords, {0});
            const Guarded<int32_t> lengths(a.lengths);
            std::vector<Codeword> expected = a.expected();
            expected.resize(at(len), Codeword(77));
            Guarded<Codeword> dst(std::vector<Codeword>(at(len), Codeword(77)), {0, Edge::Front});
            const auto function = each == 2 ? TypeParam::kTwo : TypeParam::kFour;
            EXPECT_EQ(function(index.data(), codewords.list(), lengths.data(), dst.data(), len), SrOk);
            ASSERT_TRUE(same_values(expected, dst.values())) << each << ", " << len;
        }
}

// Each index in its turn one too large, or below 0, is found before anything is written; only one form takes an
// index equal to the length.
TYPED_TEST(FormVector, IndicesOutsideTheirArrays)
{
    using Index = typename TypeParam::Index;
    using Codeword = typename TypeParam::Codeword;
    for (int count : {1, 2, 3, 4, 5, 8, 9, 16, 17, 33})
        for (int bad = 0; bad < count; ++bad)
            for (int each : {0, 2, 4})
                for (int kind = 0; kind < 4; ++kind) {
                    Arrays<TypeParam> a;
                    const int width = each == 0 ? 3 : each;
                    for (int i = 0; i < count; ++i) a.add(5, width, width, 4);
                    // One codeword behind the last for the index that is accepted.
                    a.codewords[at(bad)].resize(at(6 * width), Codeword(9));
                    const int value = kind == 0 ? 5 : kind == 1 ? 6 : kind == 2 ? -1 : 32767;
                    a.index[at(bad)] = static_cast<Index>(value);
                    const bool accepted = each == 2 && TypeParam::kEndAccepted && kind == 0;
                    std::vector<const Codeword*> list;
                    for (const auto& codewords : a.codewords) list.push_back(codewords.data());
                    Guarded<Codeword> dst(at(count * width));
                    dst.take_snapshot();
                    const SrStatus status =
                        each == 0 ? TypeParam::kAny(a.index.data(), list.data(), a.lengths.data(), a.widths.data(),
                                                    a.steps.data(), count, dst.data())
                                  : (each == 2 ? TypeParam::kTwo : TypeParam::kFour)(
                                        a.index.data(), list.data(), a.lengths.data(), dst.data(), count * each);
                    ASSERT_EQ(status, accepted ? SrOk : SrErrSize) << count << ", " << bad << ", " << each;
                    if (accepted) {
                        EXPECT_EQ(dst.get(at(2 * bad)), Codeword(9));
                        EXPECT_EQ(dst.get(at(2 * bad + 1)), Codeword(9));
                    } else {
                        ASSERT_TRUE(dst.as_snapshot());
                    }
                }
}

template <class F>
struct FormArguments {
    std::vector<typename F::Index> index;
    std::vector<const typename F::Codeword*> codewords;
    std::vector<int32_t> lengths, widths, steps;
    int32_t count;
    typename F::Codeword* dst;
};

TYPED_TEST(FormVector, ChecksPointersThenSizes)
{
    using Codeword = typename TypeParam::Codeword;
    using A = FormArguments<TypeParam>;
    const std::vector<Codeword> words(12, Codeword(3));
    Guarded<Codeword> dst(6);
    const A good{{1, 1}, {words.data(), words.data()}, {2, 2}, {3, 3}, {3, 3}, 2, dst.data()};
    // Vectors without elements stand for null.
    const auto any = [](const A& a) {
        return TypeParam::kAny(a.index.data(), a.codewords.data(), a.lengths.data(), a.widths.data(),
                               a.steps.data(), a.count, a.dst);
    };
    const auto clear = [](auto& v) { std::remove_reference_t<decltype(v)>().swap(v); };
    for (int32_t bad : {0, -1, INT32_MIN}) {
        // A fault of an element where the array is there.
        const auto spoil = [=](std::vector<int32_t>& v, std::size_t i) {
            if (!v.empty()) v[i] = bad;
        };
        expect_check_order<A>(good,
                              {{"destination", SrErrNullPtr, [](A& a) { a.dst = nullptr; }},
                               {"index", SrErrNullPtr, [=](A& a) { clear(a.index); }},
                               {"codewords", SrErrNullPtr, [=](A& a) { clear(a.codewords); }},
                               {"lengths", SrErrNullPtr, [=](A& a) { clear(a.lengths); }},
                               {"widths", SrErrNullPtr, [=](A& a) { clear(a.widths); }},
                               {"steps", SrErrNullPtr, [=](A& a) { clear(a.steps); }},
                               {"count", SrErrSize, [=](A& a) { a.count = bad; }},
                               {"first width", SrErrSize, [=](A& a) { spoil(a.widths, 0); }},
                               {"second width", SrErrSize, [=](A& a) { spoil(a.widths, 1); }},
                               {"second step", SrErrSize, [=](A& a) { spoil(a.steps, 1); }},
                               {"second length", SrErrSize, [=](A& a) { spoil(a.lengths, 1); }}},
                              any, {&dst});
        for (const auto function : {TypeParam::kTwo, TypeParam::kFour})
            expect_check_order<A>(good,
                                  {{"destination", SrErrNullPtr, [](A& a) { a.dst = nullptr; }},
                                   {"index", SrErrNullPtr, [=](A& a) { clear(a.index); }},
                                   {"codewords", SrErrNullPtr, [=](A& a) { clear(a.codewords); }},
                                   {"lengths", SrErrNullPtr, [=](A& a) { clear(a.lengths); }},
                                   {"length", SrErrSize, [=](A& a) { a.count = bad; }},
                                   {"array's length", SrErrSize, [=](A& a) { spoil(a.lengths, 0); }}},
                                  [=](const A& a) {
                                      return function(a.index.data(), a.codewords.data(), a.lengths.data(), a.dst,
                                                      a.count == 2 ? 4 : a.count);
                                  },
                                  {&dst});
    }
}

TYPED_TEST(FormVector, LargestIndices)
{
    using Codeword = typename TypeParam::Codeword;
    const int largest = std::numeric_limits<typename TypeParam::Index>::max();
    const int count = std::min(largest, 32767);
    Arrays<TypeParam> a;
    for (int i = 0; i < 5; ++i) a.add(count + 1, 4, 4, count);
    std::vector<const Codeword*> list;
    for (const auto& codewords : a.codewords) list.push_back(codewords.data());
    std::vector<Codeword> dst(20);
    EXPECT_EQ(TypeParam::kFour(a.index.data(), list.data(), a.lengths.data(), dst.data(), 20), SrOk);
    EXPECT_TRUE(same_values(a.expected(), dst));
    std::fill(dst.begin(), dst.end(), Codeword(0));
    EXPECT_EQ(TypeParam::kAny(a.index.data(), list.data(), a.lengths.data(), a.widths.data(), a.steps.data(), 5,
                              dst.data()),
              SrOk);
    EXPECT_TRUE(same_values(a.expected(), dst));
}

#ifdef __i386__
TYPED_TEST(FormVector, RunsOnAnyStack)
{
    using Codeword = typename TypeParam::Codeword;
    Arrays<TypeParam> a;
    for (int i = 0; i < 6; ++i) a.add(7, 4, 4, uniform(0, 6));
    std::vector<const Codeword*> list;
    for (const auto& codewords : a.codewords) list.push_back(codewords.data());
    const Codeword* const* codewords = list.data();
    std::vector<Codeword> dst(24);
    const typename TypeParam::Index* index = a.index.data();
    const int32_t *lengths = a.lengths.data(), *widths = a.widths.data(), *steps = a.steps.data();
    for (int misalign : {0, 4, 8, 12}) {
        EXPECT_EQ(call_misaligned(TypeParam::kFour, misalign, index, codewords, lengths, dst.data(), 24), SrOk);
        EXPECT_TRUE(same_values(a.expected(), dst));
        EXPECT_EQ(
            call_misaligned(TypeParam::kAny, misalign, index, codewords, lengths, widths, steps, 6, dst.data()),
            SrOk);
        EXPECT_TRUE(same_values(a.expected(), dst));
        EXPECT_EQ(call_misaligned(TypeParam::kTwo, misalign, index, codewords, lengths, dst.data(), 12), SrOk);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
