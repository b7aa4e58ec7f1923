// Rows quantised in parts, to 16-bit indices, bytes and packed bits.
#include <numeric>

#include "support/odd_stack.h"
#include "vq/index_rows.h"
#include "vq/search_members.h"

namespace zelsr::test {
namespace {

struct Split_32f : Search_32f {
    static constexpr auto k16s = zelsSplitVQ_32f16s;
    static constexpr auto k8u = zelsSplitVQ_32f8u;
    static constexpr auto k1u = zelsSplitVQ_32f1u;
};
struct Split_16s : Search_16s {
    static constexpr auto k16s = zelsSplitVQ_16s16s;
    static constexpr auto k8u = zelsSplitVQ_16s8u;
    static constexpr auto k1u = zelsSplitVQ_16s1u;
};
using Splits = testing::Types<Split_32f, Split_16s>;

// Codebooks, one a part.
template <class Family>
struct Parts {
    using T = typename Family::Element;
    std::vector<std::unique_ptr<Quantiser<Family>>> of;

    void add(Path path, Values values, int width, int count)
    {
        of.push_back(std::make_unique<Quantiser<Family>>(path, values, width, count));
    }
    void add_unknown(int width, int count)
    {
        of.push_back(std::make_unique<Quantiser<Family>>(
            Training<T>{some_rows<T>(Values::Spread, count, width), {}, count, kUnknownKind}, true));
    }
    int count() const { return static_cast<int>(of.size()); }
    std::vector<const typename Family::State*> states() const
    {
        std::vector<const typename Family::State*> all;
        for (const auto& q : of) all.push_back(q->get());
        return all;
    }
    int width() const
    {
        return std::accumulate(of.begin(), of.end(), 0,
                               [](int sum, const auto& q) { return sum + q->book.width(); });
    }
    int bits() const
    {
        return std::accumulate(of.begin(), of.end(), 0,
                               [](int sum, const auto& q) { return sum + q->view().index_bits; });
    }
    // Rows of parts like their codewords.
    Rows<T> rows(int height) const
    {
        Rows<T> all(at(height));
        for (const auto& q : of) {
            const Rows<T> part = queries(q->book, height + 7);
            for (std::size_t r = 0; r < all.size(); ++r)
                all[r].insert(all[r].end(), part[r + 7].begin(), part[r + 7].end());
        }
        return all;
    }
    // Index of each part of a row; -1 where there is no search.
    std::vector<int32_t> indices(const std::vector<T>& row) const
    {
        std::vector<int32_t> all;
        auto from = row.begin();
        for (const auto& q : of) {
            const std::vector<T> part(from, from + q->book.width());
            from += q->book.width();
            all.push_back(q->book.searchable() ? reference::nearest(q->book, part, false).index : -1);
        }
        return all;
    }
};

template <class Family>
class Split : public testing::Test {
  public:
    using T = typename Family::Element;

    // One call of the 16s or 8u form. Elements between the rows, and those of parts that are not searched, stay.
    template <class Index, class Function>
    static testing::AssertionResult stores(Function function, const Parts<Family>& parts, const Rows<T>& rows,
                                           int beyond, int between, Placement from = {}, Placement to = {})
    {
        const int step = parts.width() + beyond, dst_step = parts.count() + between;
        const auto height = static_cast<int>(rows.size());
        Guarded<T> src(as_block(rows, at(step)), from);
        src.take_snapshot();
        std::vector<Index> expected(at(dst_step * (height - 1) + parts.count()), Index(99));
        Guarded<Index> dst(expected, to);
        for (std::size_t r = 0; r < rows.size(); ++r) {
            const std::vector<int32_t> indices = parts.indices(rows[r]);
            for (std::size_t i = 0; i < indices.size(); ++i)
                if (parts.of[i]->book.searchable())
                    expected[r * at(dst_step) + i] = static_cast<Index>(indices[i]);
        }
        const auto states = parts.states();
        if (auto s = function(src.data(), step, dst.data(), dst_step, height, states.data(), parts.count());
            s != SrOk)
            return testing::AssertionFailure() << "status " << s;
        if (!src.as_snapshot() || !dst.intact()) return testing::AssertionFailure() << "written beside";
        return same_values(expected, dst.values());
    }

    // One call of the 1u form, rows so many bits apart. Bytes behind what is cleared stay.
    static testing::AssertionResult packs(const Parts<Family>& parts, const Rows<T>& rows, int beyond, int between,
                                          Placement from = {}, Placement to = {})
    {
        const int step = parts.width() + beyond, dst_step = std::max(1, parts.bits() + between);
        const auto height = static_cast<int>(rows.size());
        const Guarded<T> src(as_block(rows, at(step)), from);
        std::vector<uint8_t> expected(at((height * dst_step + 7) / 8));
        for (std::size_t r = 0; r < rows.size(); ++r) {
            std::size_t bit = r * at(dst_step);
            const std::vector<int32_t> indices = parts.indices(rows[r]);
            for (std::size_t i = 0; i < indices.size(); ++i)
                reference::put_bits(expected, bit, parts.of[i]->view().index_bits,
                                    parts.of[i]->book.searchable() ? static_cast<uint32_t>(indices[i]) : 0);
        }
        Guarded<uint8_t> dst(expected.size(), to);
        const auto states = parts.states();
        if (auto s = Family::k1u(src.data(), step, dst.data(), dst_step, height, states.data(), parts.count());
            s != SrOk)
            return testing::AssertionFailure() << "status " << s;
        if (!src.intact() || !dst.intact()) return testing::AssertionFailure() << "written beside";
        return same_values(expected, dst.values());
    }
};
TYPED_TEST_SUITE(Split, Splits, SearchNames);

TYPED_TEST(Split, CodebooksOfEveryKindSideBySide)
{
    Cycle widths(std::vector<int>{1, 2, 3, 4, 8, 5, 11, 2, 1, 16});
    Cycle counts(std::vector<int>{1, 2, 3, 5, 16, 17, 31, 8});
    Cycle values(std::vector<Values>{Values::Spread, Values::Lattice});
    for (int number : {1, 2, 3, 4, 5, 8, 9, 16, 17})
        for (int round = 0; round < (thin_effort() ? 1 : 4); ++round) {
            Parts<TypeParam> parts;
            while (parts.count() < number) {
                const Path path = kPaths[uniform<int>(0, 5)];
                const int width = widths.next();
                if (path == Path::Table || path == Path::WeightedTable)
                    parts.add(path, values.next(), 1, uniform(20, 60));
                else
                    parts.add(path, values.next(), width, counts.next());
            }
            const auto rows = parts.rows(7);
            ASSERT_TRUE((this->template stores<int16_t>(TypeParam::k16s, parts, rows, round, round / 2)));
            ASSERT_TRUE((this->template stores<uint8_t>(TypeParam::k8u, parts, rows, round, round % 2)));
            for (int between : {0, 1, 3, 5, 8, 13}) ASSERT_TRUE(this->packs(parts, rows, round, between));
        }
}

TYPED_TEST(Split, EveryAddress)
{
    using T = typename TypeParam::Element;
    Parts<TypeParam> parts;
    parts.add(Path::PlainTree, Values::Spread, 4, 9);
    parts.add(Path::WeightedTree, Values::Spread, 3, 9);
    parts.add(Path::Plain, Values::Spread, 8, 9);
    parts.add(Path::Weighted, Values::Spread, 2, 9);
    const auto rows = parts.rows(5);
    for (const Placement& from : placements(sizeof(T))) {
        ASSERT_TRUE((this->template stores<int16_t>(TypeParam::k16s, parts, rows, 1, 0, from)));
        ASSERT_TRUE((this->template stores<uint8_t>(TypeParam::k8u, parts, rows, 1, 0, from)));
        ASSERT_TRUE(this->packs(parts, rows, 1, 0, from));
    }
    for (const Placement& to : placements(2))
        ASSERT_TRUE((this->template stores<int16_t>(TypeParam::k16s, parts, rows, 0, 1, {}, to)));
    for (const Placement& to : placements(1)) {
        ASSERT_TRUE((this->template stores<uint8_t>(TypeParam::k8u, parts, rows, 0, 1, {}, to)));
        for (int height = 1; height <= 9; ++height)
            ASSERT_TRUE(this->packs(parts, parts.rows(height), 0, height, {}, to));
    }
}

// Lists of one codeword take no bits; many codebooks.
TYPED_TEST(Split, EveryNumberOfIndexBits)
{
    for (int count : {1, 2, 3, 4, 5, 9, 17, 33, 65, 129, 256, 257, 600, 1025}) {
        Parts<TypeParam> parts;
        parts.add(Path::Plain, Values::Spread, 3, count);
        parts.add(Path::Plain, Values::Spread, 4, 1);
        parts.add(Path::Plain, Values::Spread, 5, count);
        const auto rows = parts.rows(5);
        ASSERT_TRUE((this->template stores<int16_t>(TypeParam::k16s, parts, rows, 0, 0)));
        if (count <= 256) {
            ASSERT_TRUE((this->template stores<uint8_t>(TypeParam::k8u, parts, rows, 0, 0)));
        }
        for (int between = 0; between < 8; ++between) ASSERT_TRUE(this->packs(parts, rows, 0, between)) << count;
    }
}

TYPED_TEST(Split, ByValue)
{
    using T = typename TypeParam::Element;
    Parts<TypeParam> parts;
    const auto full = [&](const Rows<T>& rows) {
        parts.of.push_back(std::make_unique<Quantiser<TypeParam>>(
            Training<T>{rows, {}, static_cast<int32_t>(rows.size()), SrCdbkFull}));
    };
    full({{T(0)}, {T(10)}, {T(20)}, {T(30)}, {T(40)}});  // 3 bits
    full({{T(0), T(0)}, {T(7), T(7)}});                  // 1 bit
    const auto states = parts.states();
    const std::vector<T> src = {T(41), T(6), T(9), T(11), T(1), T(-1)};
    int16_t words[4];
    EXPECT_EQ(TypeParam::k16s(src.data(), 3, words, 2, 2, states.data(), 2), SrOk);
    EXPECT_EQ(std::vector<int16_t>(words, words + 4), (std::vector<int16_t>{4, 1, 1, 0}));
    uint8_t bits[2] = {255, 255};
    EXPECT_EQ(TypeParam::k1u(src.data(), 3, bits, 6, 2, states.data(), 2), SrOk);
    EXPECT_EQ(bits[0], 0b10010000);  // 100 1, two unused bits, then 001 0 across the bytes
    EXPECT_EQ(bits[1], 0b10000000);
}

TYPED_TEST(Split, AnUnknownKindLeavesItsElementOfTheRow)
{
    Parts<TypeParam> parts;
    parts.add(Path::Plain, Values::Spread, 3, 9);
    parts.add_unknown(2, 9);
    parts.add(Path::PlainTree, Values::Spread, 4, 9);
    const auto rows = parts.rows(4);
    EXPECT_TRUE((this->template stores<int16_t>(TypeParam::k16s, parts, rows, 1, 1)));
    EXPECT_TRUE((this->template stores<uint8_t>(TypeParam::k8u, parts, rows, 1, 1)));
    // Only 16-bit codebooks in the caller's memory know their index bits.
    if constexpr (std::is_same_v<typename TypeParam::Element, int16_t>) {
        EXPECT_TRUE(this->packs(parts, rows, 1, 1));
    }
}

TYPED_TEST(Split, WithoutAnIndexTheLowBitsAreAllOnes)
{
    if constexpr (std::is_same_v<typename TypeParam::Element, float>) {
        Parts<TypeParam> parts;
        parts.add(Path::Weighted, Values::Spread, 3, 5);
        parts.add(Path::Plain, Values::Spread, 1, 5);
        const Rows<float> rows = {{1e30F, 1e30F, 1e30F, 0}, {0, 0, 0, 0}};
        ASSERT_EQ(parts.indices(rows[0])[0], -1);
        EXPECT_TRUE((this->template stores<int16_t>(TypeParam::k16s, parts, rows, 0, 0)));
        EXPECT_TRUE((this->template stores<uint8_t>(TypeParam::k8u, parts, rows, 0, 0)));
        EXPECT_TRUE(this->packs(parts, rows, 0, 0));
    }
}

TYPED_TEST(Split, ChecksInItsOrder)
{
    using T = typename TypeParam::Element;
    using A = IndexRows<typename TypeParam::State>;
    Parts<TypeParam> parts, wide;
    parts.add(Path::Plain, Values::Spread, 2, 5);   // 3 bits
    parts.add(Path::Plain, Values::Spread, 3, 17);  // 5 bits
    wide.add(Path::Plain, Values::Spread, 3, 257);
    const auto* large = wide.states()[0];
    const Guarded<T> src(std::vector<T>(10, T(1)));
    Guarded<uint8_t> dst(16);
    const A good{src.data(), 5, dst.data(), 8, 2, parts.states(), false, 2};
    using Index16s = int16_t;
    const auto to_16s = [](const A& a) {
        return TypeParam::k16s(static_cast<const T*>(a.src), a.src_step, static_cast<Index16s*>(a.dst), a.dst_step,
                               a.height, a.list(), a.count);
    };
    const auto to_8u = [](const A& a) {
        return TypeParam::k8u(static_cast<const T*>(a.src), a.src_step, static_cast<uint8_t*>(a.dst), a.dst_step,
                              a.height, a.list(), a.count);
    };
    const auto to_1u = [](const A& a) {
        return TypeParam::k1u(static_cast<const T*>(a.src), a.src_step, static_cast<uint8_t*>(a.dst), a.dst_step,
                              a.height, a.list(), a.count);
    };
    expect_index_row_checks<typename TypeParam::State>(good, &A::dst_step, &A::src_step, large, to_16s, to_8u,
                                                       to_1u, dst);
    // Fewer bits than codebooks are enough where codebooks hold one codeword.
    Parts<TypeParam> single;
    for (int i = 0; i < 3; ++i) single.add(Path::Plain, Values::Spread, 2, 1);
    A a{src.data(), 6, dst.data(), 1, 1, single.states(), false, 3};
    EXPECT_EQ(to_1u(a), SrOk);
    EXPECT_EQ(to_16s(a), SrErrSize);
    a.dst_step = 3;
    EXPECT_EQ(to_16s(a), SrOk);
}

// Sums of widths and of bits do not wrap.
TYPED_TEST(Split, SumsBeyond32Bits)
{
    using T = typename TypeParam::Element;
    const int width = 60000, number = 75000;  // 4.5e9 elements: 205032704 modulo 2^32
    const Quantiser<TypeParam> q(Training<T>{{std::vector<T>(at(width), T(1))}, {}, 1, SrCdbkFull});
    const std::vector<const typename TypeParam::State*> states(at(number), q.get());
    const T src = 1;
    int16_t words = 5;
    uint8_t byte = 5;
    EXPECT_EQ(TypeParam::k16s(&src, INT32_MAX, &words, INT32_MAX, 1, states.data(), number), SrErrSize);
    EXPECT_EQ(TypeParam::k8u(&src, 205032704, &byte, INT32_MAX, 1, states.data(), number), SrErrSize);
    EXPECT_EQ(TypeParam::k1u(&src, INT32_MAX, &byte, INT32_MAX, 1, states.data(), number), SrErrSize);
    EXPECT_EQ(words, 5);
    EXPECT_EQ(byte, 5);
    // Nor does the memory for all indices.
    const Quantiser<TypeParam> narrow(Training<T>{{{T(1)}}, {}, 1, SrCdbkFull});
    const std::vector<const typename TypeParam::State*> many(1 << 16, narrow.get());
    EXPECT_EQ(TypeParam::k1u(&src, 1 << 16, &byte, 1 << 16, (1 << 16) + 1, many.data(), 1 << 16), SrErrMemAlloc);
    EXPECT_EQ(byte, 5);
}

TYPED_TEST(Split, Memory)
{
    using T = typename TypeParam::Element;
    for (int width : {4, 128, 129}) {
        Parts<TypeParam> parts;
        parts.add(Path::Plain, Values::Spread, 3, 9);
        parts.add(Path::WeightedTree, Values::Spread, width, 9);
        parts.add(Path::PlainTree, Values::Spread, 5, 9);
        const auto rows = parts.rows(4);
        ASSERT_TRUE((this->template stores<int16_t>(TypeParam::k16s, parts, rows, 1, 1)));
        ASSERT_TRUE(this->packs(parts, rows, 1, 1));
        const Guarded<T> src(as_block(rows, at(parts.width())));
        Guarded<int16_t> words(12);
        Guarded<uint8_t> bytes(12);
        const auto states = parts.states();
        const auto to_16s = [&] {
            return TypeParam::k16s(src.data(), parts.width(), words.data(), 3, 4, states.data(), 3);
        };
        const auto to_8u = [&] {
            return TypeParam::k8u(src.data(), parts.width(), bytes.data(), 3, 4, states.data(), 3);
        };
        const auto to_1u = [&] {
            return TypeParam::k1u(src.data(), parts.width(), bytes.data(), 24, 4, states.data(), 3);
        };
        for (const auto& [call, most] : {std::pair<std::function<SrStatus()>, int>{to_16s, width > 128},
                                         {to_8u, width > 128},
                                         {to_1u, 1 + (width > 128)}}) {
            int requests = 0;
            {
                const AllocatorWatch watch;
                EXPECT_EQ(call(), SrOk);
                EXPECT_EQ(watch.live(), 0);
                requests = watch.requests();
            }
            EXPECT_LE(requests, most) << width;
            if (requests > 0) expect_survives_refusals(call, {&words, &bytes});
        }
    }
}

#ifdef __i386__
TYPED_TEST(Split, RunsOnAnyStack)
{
    Parts<TypeParam> parts;
    parts.add(Path::PlainTree, Values::Spread, 4, 9);
    parts.add(Path::WeightedTree, Values::Spread, 3, 9);
    parts.add(Path::Plain, Values::Spread, 8, 9);
    const auto rows = parts.rows(1);
    const auto* src = rows[0].data();
    const auto states = parts.states();
    const auto* list = states.data();
    const std::vector<int32_t> expected = parts.indices(rows[0]);
    for (int misalign : {0, 4, 8, 12}) {
        int16_t words[3];
        uint8_t bytes[3];
        EXPECT_EQ(call_misaligned(TypeParam::k16s, misalign, src, 15, static_cast<int16_t*>(words), 3, 1, list, 3),
                  SrOk);
        for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(words[i], expected[i]);
        EXPECT_EQ(call_misaligned(TypeParam::k8u, misalign, src, 15, static_cast<uint8_t*>(bytes), 3, 1, list, 3),
                  SrOk);
        for (std::size_t i = 0; i < 3; ++i) EXPECT_EQ(bytes[i], expected[i]);
        EXPECT_EQ(call_misaligned(TypeParam::k1u, misalign, src, 15, static_cast<uint8_t*>(bytes), 12, 1, list, 3),
                  SrOk);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
