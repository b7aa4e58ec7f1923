// Rows of vectors from indices of codewords in codebooks.
#include <gtest/gtest.h>

#include "support/odd_stack.h"
#include "vq/index_rows.h"
#include "vq/search_members.h"
#include "zelsr/vq/reconstruction.h"

namespace zelsr::test {
namespace {

template <class Family>
struct Rebuild;
template <>
struct Rebuild<Search_32f> : Search_32f {
    static constexpr auto k16s = zelsFormVectorVQ_16s32f;
    static constexpr auto k8u = zelsFormVectorVQ_8u32f;
    static constexpr auto k1u = zelsFormVectorVQ_1u32f;
};
template <>
struct Rebuild<Search_16s> : Search_16s {
    static constexpr auto k16s = zelsFormVectorVQ_16s16s;
    static constexpr auto k8u = zelsFormVectorVQ_8u16s;
    static constexpr auto k1u = zelsFormVectorVQ_1u16s;
};

template <class Family>
struct Books {
    using T = typename Family::Element;
    std::vector<std::unique_ptr<Quantiser<Family>>> of;

    void add(int width, int count, bool in_place = false)
    {
        of.push_back(std::make_unique<Quantiser<Family>>(Path::Plain, Values::Spread, width, count, in_place));
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
        int sum = 0;
        for (const auto& q : of) sum += q->book.width();
        return sum;
    }
    int bits() const
    {
        int sum = 0;
        for (const auto& q : of) sum += q->view().index_bits;
        return sum;
    }
    std::vector<std::vector<int32_t>> indices(int height) const
    {
        std::vector<std::vector<int32_t>> rows(at(height));
        for (auto& row : rows)
            for (const auto& q : of) row.push_back(uniform(0, q->book.count() - 1));
        return rows;
    }
};

template <class Family>
class FormVectorVQ : public testing::Test {
  public:
    using T = typename Family::Element;
    using Calls = Rebuild<Family>;
    using Indices = std::vector<std::vector<int32_t>>;

    // src: index rows as the function takes them. What lies between the rows of the destination stays.
    template <class Index, class Function>
    static testing::AssertionResult rebuilds(Function function, const Books<Family>& books, const Indices& rows,
                                             const Guarded<Index>& src, int src_step, int between, Placement to)
    {
        const int step = books.width() + between;
        std::vector<T> expected(at(step) * (rows.size() - 1) + at(books.width()), T(77));
        Guarded<T> dst(expected, to);
        for (std::size_t r = 0; r < rows.size(); ++r) {
            auto out = expected.begin() + static_cast<std::ptrdiff_t>(r * at(step));
            for (std::size_t i = 0; i < rows[r].size(); ++i) {
                const auto& codeword = books.of[i]->book.codewords[at(rows[r][i])];
                out = std::copy(codeword.begin(), codeword.end(), out);
            }
        }
        const auto states = books.states();
        const AllocatorWatch watch;
        if (auto s = function(src.data(), src_step, dst.data(), step, static_cast<int32_t>(rows.size()),
                              states.data(), books.count());
            s != SrOk)
            return testing::AssertionFailure() << "status " << s;
        if (watch.live() != 0) return testing::AssertionFailure() << "left allocated";
        if (!src.intact() || !dst.intact()) return testing::AssertionFailure() << "written beside";
        return same_values(expected, dst.values());
    }

    template <class Index, class Function>
    static testing::AssertionResult from_elements(Function function, const Books<Family>& books,
                                                  const Indices& rows, int beyond, int between,
                                                  Placement from = {}, Placement to = {})
    {
        std::vector<std::vector<Index>> narrow;
        for (const auto& row : rows) {
            narrow.emplace_back();
            for (int32_t i : row) narrow.back().push_back(static_cast<Index>(i));
        }
        const int step = books.count() + beyond;
        std::vector<Index> block;
        for (const auto& row : narrow) {
            while (block.size() % at(step) != 0) block.push_back(static_cast<Index>(-1));
            block.insert(block.end(), row.begin(), row.end());
        }
        return rebuilds(function, books, rows, Guarded<Index>(block, from), step, between, to);
    }

    static testing::AssertionResult from_bits(const Books<Family>& books, const Indices& rows, int beyond,
                                              int between, Placement from = {}, Placement to = {})
    {
        const int step = std::max(1, books.bits() + beyond);
        const std::size_t bits = at(step) * (rows.size() - 1) + at(books.bits());
        std::vector<uint8_t> bytes((bits + 7) / 8);
        for (std::size_t r = 0; r < rows.size(); ++r) {
            std::size_t bit = r * at(step);
            for (std::size_t i = 0; i < rows[r].size(); ++i)
                reference::put_bits(bytes, bit, books.of[i]->view().index_bits, static_cast<uint32_t>(rows[r][i]));
            // What lies between the rows is anything.
            for (int b = 0; b < beyond && bit / 8 < bytes.size(); ++b) reference::put_bits(bytes, bit, 1, 1);
        }
        return rebuilds(Calls::k1u, books, rows, Guarded<uint8_t>(bytes, from), step, between, to);
    }
};
TYPED_TEST_SUITE(FormVectorVQ, Searches, SearchNames);

TYPED_TEST(FormVectorVQ, EveryNumberOfCodebooks)
{
    using Calls = Rebuild<TypeParam>;
    Cycle widths(std::vector<int>{1, 2, 3, 4, 5, 7, 8, 9, 2, 1, 15, 16, 17, 33});
    Cycle counts(std::vector<int>{1, 2, 3, 7, 64, 255, 256});
    for (int number = 1; number <= (thin_effort() ? 9 : 33); ++number) {
        Books<TypeParam> books;
        while (books.count() < number) books.add(widths.next(), counts.next());
        for (int height : {1, 2, 3, 5, 8}) {
            const auto rows = books.indices(height);
            const int off = height % 3;
            ASSERT_TRUE((this->template from_elements<int16_t>(Calls::k16s, books, rows, off, off)));
            ASSERT_TRUE((this->template from_elements<uint8_t>(Calls::k8u, books, rows, off, off)));
            ASSERT_TRUE(this->from_bits(books, rows, number % 9, off));
        }
    }
}

// Codewords of one width side by side, as kernels may take them in groups.
TYPED_TEST(FormVectorVQ, EveryWidth)
{
    using Calls = Rebuild<TypeParam>;
    for (int width : lengths(16))
        for (int number : {1, 2, 4, 8}) {
            Books<TypeParam> books;
            while (books.count() < number)
                books.add(width, 9, std::is_same_v<typename TypeParam::Element, int16_t>);
            const auto rows = books.indices(5);
            for (int between : {0, 1, 3}) {
                ASSERT_TRUE((this->template from_elements<int16_t>(Calls::k16s, books, rows, 0, between)))
                    << width;
                ASSERT_TRUE((this->template from_elements<uint8_t>(Calls::k8u, books, rows, 1, between))) << width;
                ASSERT_TRUE(this->from_bits(books, rows, 0, between)) << width;
            }
        }
}

TYPED_TEST(FormVectorVQ, EveryAddress)
{
    using T = typename TypeParam::Element;
    using Calls = Rebuild<TypeParam>;
    Books<TypeParam> books;
    for (int width : {4, 3, 8, 1, 2}) books.add(width, 17);
    const auto rows = books.indices(4);
    for (const Placement& from : placements(2))
        ASSERT_TRUE((this->template from_elements<int16_t>(Calls::k16s, books, rows, 0, 0, from)));
    for (const Placement& from : placements(1)) {
        ASSERT_TRUE((this->template from_elements<uint8_t>(Calls::k8u, books, rows, 0, 0, from)));
        ASSERT_TRUE(this->from_bits(books, rows, 3, 0, from));
    }
    for (const Placement& to : placements(sizeof(T))) {
        ASSERT_TRUE((this->template from_elements<int16_t>(Calls::k16s, books, rows, 0, 1, {}, to)));
        ASSERT_TRUE((this->template from_elements<uint8_t>(Calls::k8u, books, rows, 0, 1, {}, to)));
        ASSERT_TRUE(this->from_bits(books, rows, 0, 1, {}, to));
    }
}

TYPED_TEST(FormVectorVQ, EveryNumberOfIndexBits)
{
    using Calls = Rebuild<TypeParam>;
    for (int count : {1, 2, 3, 4, 5, 16, 17, 33, 100, 129, 256, 257, 1000, 4097, 16383})
        for (int number : {1, 3}) {
            Books<TypeParam> books;
            while (books.count() < number) books.add(3, count);
            books.add(2, 1);
            const auto rows = books.indices(9);
            ASSERT_TRUE((this->template from_elements<int16_t>(Calls::k16s, books, rows, 1, 0)));
            for (int beyond = 0; beyond < 8; ++beyond)
                ASSERT_TRUE(this->from_bits(books, rows, beyond, 0)) << count;
        }
}

// A full codebook may have more codewords than signed indices reach.
TYPED_TEST(FormVectorVQ, SixteenIndexBits)
{
    using T = typename TypeParam::Element;
    const int count = 40000;
    Training<T> t{{}, {}, 1, SrCdbkFull};
    for (int i = 0; i < count; ++i) t.rows.push_back({T(i % 200), T(i / 200), T(1)});
    const Quantiser<TypeParam> q(t);
    ASSERT_EQ(q.view().index_bits, 16);
    const typename TypeParam::State* state = q.get();
    const uint8_t src[] = {0x9c, 0x3f, 0x7f, 0xff, 0x80, 0x00};  // 39999, 32767, 32768
    T dst[9];
    EXPECT_EQ(Rebuild<TypeParam>::k1u(src, 16, dst, 3, 3, &state, 1), SrOk);
    EXPECT_EQ((std::vector<T>{dst[0], dst[1], dst[3], dst[4], dst[6], dst[7]}),
              (std::vector<T>{199, 199, 167, 163, 168, 163}));
}

// What was quantised comes back as the codewords.
TYPED_TEST(FormVectorVQ, UndoesASplitSearch)
{
    using T = typename TypeParam::Element;
    using Calls = Rebuild<TypeParam>;
    Books<TypeParam> books;
    books.of.push_back(std::make_unique<Quantiser<TypeParam>>(Path::PlainTree, Values::Spread, 4, 12));
    books.of.push_back(std::make_unique<Quantiser<TypeParam>>(Path::Plain, Values::Spread, 3, 30));
    const auto states = books.states();
    const auto indices = books.indices(6);
    std::vector<T> rows;
    for (const auto& row : indices)
        for (std::size_t i = 0; i < 2; ++i) {
            const auto& codeword = books.of[i]->book.codewords[at(row[i])];
            rows.insert(rows.end(), codeword.begin(), codeword.end());
        }
    uint8_t bits[64];
    const int step = books.bits();
    std::vector<T> back(rows.size());
    if constexpr (std::is_same_v<T, float>) {
        ASSERT_EQ(zelsSplitVQ_32f1u(rows.data(), 7, bits, step, 6, states.data(), 2), SrOk);
    } else {
        ASSERT_EQ(zelsSplitVQ_16s1u(rows.data(), 7, bits, step, 6, states.data(), 2), SrOk);
    }
    EXPECT_EQ(Calls::k1u(bits, step, back.data(), 7, 6, states.data(), 2), SrOk);
    // A tree need not find a codeword again, but it finds a codeword.
    for (std::size_t r = 0; r < 6; ++r)
        EXPECT_TRUE(same_values(std::vector<T>(rows.begin() + static_cast<std::ptrdiff_t>(7 * r + 4),
                                               rows.begin() + static_cast<std::ptrdiff_t>(7 * r + 7)),
                                std::vector<T>(back.begin() + static_cast<std::ptrdiff_t>(7 * r + 4),
                                               back.begin() + static_cast<std::ptrdiff_t>(7 * r + 7))));
}

TYPED_TEST(FormVectorVQ, ChecksInItsOrder)
{
    using T = typename TypeParam::Element;
    using Calls = Rebuild<TypeParam>;
    using A = IndexRows<typename TypeParam::State>;
    Books<TypeParam> books, wide;
    books.add(2, 5);   // 3 bits
    books.add(3, 17);  // 5 bits
    wide.add(3, 257);
    const auto* large = wide.states()[0];
    const Guarded<uint8_t> src(std::vector<uint8_t>(32));
    Guarded<T> dst(10);
    const A good{src.data(), 8, dst.data(), 5, 2, books.states(), false, 2};
    const auto from_16s = [](const A& a) {
        return Calls::k16s(static_cast<const int16_t*>(a.src), a.src_step, static_cast<T*>(a.dst), a.dst_step,
                           a.height, a.list(), a.count);
    };
    const auto from_8u = [](const A& a) {
        return Calls::k8u(static_cast<const uint8_t*>(a.src), a.src_step, static_cast<T*>(a.dst), a.dst_step,
                          a.height, a.list(), a.count);
    };
    const auto from_1u = [](const A& a) {
        return Calls::k1u(static_cast<const uint8_t*>(a.src), a.src_step, static_cast<T*>(a.dst), a.dst_step,
                          a.height, a.list(), a.count);
    };
    expect_index_row_checks<typename TypeParam::State>(good, &A::src_step, &A::dst_step, large, from_16s, from_8u,
                                                       from_1u, dst);
    // Fewer bits than codebooks are enough where codebooks hold one codeword.
    Books<TypeParam> single;
    for (int i = 0; i < 3; ++i) single.add(2, 1);
    A a{src.data(), 1, dst.data(), 6, 1, single.states(), false, 3};
    EXPECT_EQ(from_1u(a), SrOk);
    EXPECT_EQ(from_16s(a), SrErrSize);
    EXPECT_EQ(from_8u(a), SrErrSize);
}

TYPED_TEST(FormVectorVQ, SumsBeyond32Bits)
{
    using T = typename TypeParam::Element;
    using Calls = Rebuild<TypeParam>;
    const int width = 60000, number = 75000;  // 4.5e9 elements: 205032704 modulo 2^32
    const Quantiser<TypeParam> q(Training<T>{{std::vector<T>(at(width), T(1))}, {}, 1, SrCdbkFull});
    const std::vector<const typename TypeParam::State*> states(at(number), q.get());
    T dst = 5;
    const int16_t words = 0;
    const uint8_t byte = 0;
    EXPECT_EQ(Calls::k16s(&words, INT32_MAX, &dst, INT32_MAX, 1, states.data(), number), SrErrSize);
    EXPECT_EQ(Calls::k8u(&byte, INT32_MAX, &dst, 205032704, 1, states.data(), number), SrErrSize);
    EXPECT_EQ(Calls::k1u(&byte, INT32_MAX, &dst, INT32_MAX, 1, states.data(), number), SrErrSize);
    EXPECT_EQ(dst, 5);
}

// Codebooks of any kind give their codewords, and any refused memory ends the call before it writes.
TYPED_TEST(FormVectorVQ, UnknownKindsAndMemory)
{
    using T = typename TypeParam::Element;
    using Calls = Rebuild<TypeParam>;
    Books<TypeParam> books;
    books.of.push_back(std::make_unique<Quantiser<TypeParam>>(
        Training<T>{some_rows<T>(Values::Spread, 9, 5), {}, 9, kUnknownKind}, true));
    books.of.push_back(std::make_unique<Quantiser<TypeParam>>(Path::WeightedTree, Values::Spread, 3, 9));
    const auto rows = books.indices(3);
    EXPECT_TRUE((this->template from_elements<int16_t>(Calls::k16s, books, rows, 0, 0)));
    EXPECT_TRUE((this->template from_elements<uint8_t>(Calls::k8u, books, rows, 1, 2)));
    const auto states = books.states();
    const std::vector<uint8_t> src(12);
    Guarded<T> dst(24);
    for (int form = 0; form < 3; ++form) {
        const auto call = [&] {
            return form == 0   ? Calls::k16s(reinterpret_cast<const int16_t*>(src.data()), 2, dst.data(), 8, 3,
                                             states.data(), 2)
                   : form == 1 ? Calls::k8u(src.data(), 2, dst.data(), 8, 3, states.data(), 2)
                               : Calls::k1u(src.data(), 20, dst.data(), 8, 3, states.data() + 1, 1);
        };
        int requests = 0;
        {
            const AllocatorWatch watch;
            EXPECT_EQ(call(), SrOk);
            requests = watch.requests();
        }
        if (requests > 0) expect_survives_refusals(call, {&dst});
    }
}

#ifdef __i386__
TYPED_TEST(FormVectorVQ, RunsOnAnyStack)
{
    using T = typename TypeParam::Element;
    using Calls = Rebuild<TypeParam>;
    Books<TypeParam> books;
    for (int width : {4, 3, 8}) books.add(width, 9);
    const auto states = books.states();
    const auto* list = states.data();
    const int16_t words[3] = {1, 2, 3};
    const uint8_t bytes[3] = {1, 2, 3};
    std::vector<T> expected(15), dst(15);
    EXPECT_EQ(Calls::k16s(words, 3, expected.data(), 15, 1, list, 3), SrOk);
    for (int misalign : {0, 4, 8, 12}) {
        EXPECT_EQ(call_misaligned(Calls::k16s, misalign, static_cast<const int16_t*>(words), 3, dst.data(), 15, 1,
                                  list, 3),
                  SrOk);
        EXPECT_TRUE(same_values(expected, dst));
        EXPECT_EQ(call_misaligned(Calls::k8u, misalign, static_cast<const uint8_t*>(bytes), 3, dst.data(), 15, 1,
                                  list, 3),
                  SrOk);
        EXPECT_TRUE(same_values(expected, dst));
        EXPECT_EQ(call_misaligned(Calls::k1u, misalign, static_cast<const uint8_t*>(bytes), 12, dst.data(), 15, 1,
                                  list, 3),
                  SrOk);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
