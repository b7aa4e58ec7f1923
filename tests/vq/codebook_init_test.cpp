// Codebooks in the caller's memory, and what is asked of any codebook: its size, its codewords.
#include <gtest/gtest.h>

#include <limits>

#include "support/environment.h"
#include "support/faults.h"
#include "support/operation.h"
#include "vq/codebook_members.h"

namespace zelsr::test {
namespace {

template <class Family>
class CodebookInit : public testing::Test {};
TYPED_TEST_SUITE(CodebookInit, Families, FamilyNames);

struct SizeCall {
    int32_t width, step, height, size;
    SrCdbkKind kind;
    int32_t* bytes;
};

template <class Family>
SrStatus size_of(const SizeCall& c)
{
    return Family::kGetSize(c.width, c.step, c.height, c.size, c.kind, c.bytes);
}

template <class Call>
std::vector<Fault<Call>> size_faults(int32_t bad)
{
    return {{"width", SrErrSize, [=](Call& c) { c.width = bad; }},
            {"step", SrErrSize, [=](Call& c) { c.step = bad; }},
            {"height", SrErrSize, [=](Call& c) { c.height = bad; }},
            {"size", SrErrSize, [=](Call& c) { c.size = bad; }},
            {"width above step", SrErrSize, [](Call& c) { c.width = c.step + 1; }},
            {"size above height", SrErrSize, [](Call& c) { c.size = c.height + 1; }},
            {"size below height", SrErrSize, [](Call& c) { c.size = c.height - 1; }},
            {"size above 16383", SrErrSize, [](Call& c) { c.size = c.height = 16384; }}};
}

TYPED_TEST(CodebookInit, GetSizeChecksKindThenPointerThenSizes)
{
    Guarded<int32_t> bytes(1);
    for (int32_t bad : {0, -1, INT32_MIN})
        for (SrCdbkKind kind : {SrCdbkTreeRadius, SrCdbkTreePopulation}) {
            std::vector<Fault<SizeCall>> faults = size_faults<SizeCall>(bad);
            faults.insert(faults.begin(), {"null", SrErrNullPtr, [](SizeCall& c) { c.bytes = nullptr; }});
            faults.insert(faults.begin(), {"kind", SrErrCdbkKind, [=](SizeCall& c) { c.kind = kind; }});
            expect_check_order<SizeCall>({3, 4, 10, 10, SrCdbkFull, bytes.data()}, faults, size_of<TypeParam>,
                                         {&bytes});
        }
}

template <class Family>
int64_t expected_size(int64_t width, int64_t step, int64_t size)
{
    const int64_t row = width == 1 || width == 2 || width == 4 ? width : (step + 7) / 8 * 8;
    const int64_t wider = static_cast<int64_t>(kRecordBytes) - 48;  // pointers of 8 bytes
    return std::is_same_v<Family, Family_32f> ? (width + size + row * size) * 4 + 144 + wider
                                              : width * 2 + size * 4 + row * size * 2 + 176 + wider;
}

TYPED_TEST(CodebookInit, GetSizeCountsWeightsWorkspaceRowsAndRecord)
{
    int32_t bytes = 0;
    for (int32_t width : {1, 2, 3, 4, 5, 7, 8, 9, 16, 40})
        for (int32_t beyond : {0, 1, 3, 8})
            for (int32_t size : {1, 2, 17, 256, 16383}) {
                ASSERT_EQ(TypeParam::kGetSize(width, width + beyond, size, size, SrCdbkFull, &bytes), SrOk);
                EXPECT_EQ(bytes, expected_size<TypeParam>(width, width + beyond, size))
                    << width << ", " << beyond << ", " << size;
            }
#ifdef __i386__
    ASSERT_EQ(TypeParam::kGetSize(13, 13, 256, 256, SrCdbkFull, &bytes), SrOk);
    EXPECT_EQ(bytes, (std::is_same_v<TypeParam, Family_32f> ? 17604 : 9418));
#endif
}

// Only the two trees are refused.
TYPED_TEST(CodebookInit, OtherKindsPass)
{
    const Guarded<typename TypeParam::Element> rows(12);
    for (SrCdbkKind kind : {0, 1, 4, -1, INT32_MAX, INT32_MIN}) {
        int32_t bytes = 0;
        ASSERT_EQ(TypeParam::kGetSize(3, 3, 4, 4, kind, &bytes), SrOk);
        const Guarded<uint8_t> memory(at(bytes));
        auto* state = reinterpret_cast<typename TypeParam::State*>(memory.data());
        EXPECT_EQ(TypeParam::kInit(state, rows.data(), 3, 3, 4, 4, kind), SrOk);
        EXPECT_EQ(view_of(state).kind, kind);
    }
}

TYPED_TEST(CodebookInit, SizesBeyond32BitsAreNotMisbuilt)
{
    typename TypeParam::Element row{};
    for (int32_t step : {INT32_MAX, INT32_MAX - 7, 1 << 30, 1 << 22}) {
        int32_t bytes = 0;
        EXPECT_EQ(TypeParam::kGetSize(3, step, 1024, 1024, SrCdbkFull, &bytes), SrOk);
        EXPECT_EQ(bytes, INT32_MAX) << step;
        Guarded<uint8_t> memory(kRecordBytes);
        memory.take_snapshot();
        EXPECT_EQ(TypeParam::kInit(reinterpret_cast<typename TypeParam::State*>(memory.data()), &row, 3, step,
                                   1024, 1024, SrCdbkFull),
                  SrErrMemAlloc);
        EXPECT_TRUE(memory.as_snapshot());
    }
}

template <class Family>
struct InitCall {
    typename Family::State* state;
    const typename Family::Element* rows;
    int32_t width, step, height, size;
    SrCdbkKind kind;
};

TYPED_TEST(CodebookInit, ChecksKindThenPointersThenSizes)
{
    using Call = InitCall<TypeParam>;
    Guarded<uint8_t> memory(4096);
    const Guarded<typename TypeParam::Element> rows(40);
    for (int32_t bad : {0, -1, INT32_MIN}) {
        std::vector<Fault<Call>> faults = size_faults<Call>(bad);
        faults.insert(faults.begin(), {{"kind", SrErrCdbkKind, [=](Call& c) { c.kind = bad < 0 ? 2 : 3; }},
                                       {"null rows", SrErrNullPtr, [](Call& c) { c.rows = nullptr; }},
                                       {"null state", SrErrNullPtr, [](Call& c) { c.state = nullptr; }}});
        expect_check_order<Call>(
            {reinterpret_cast<typename TypeParam::State*>(memory.data()), rows.data(), 3, 4, 10, 10, SrCdbkFull},
            faults,
            [](const Call& c) {
                return TypeParam::kInit(c.state, c.rows, c.width, c.step, c.height, c.size, c.kind);
            },
            {&memory});
    }
}

TYPED_TEST(CodebookInit, LimitOfSizeIs16383)
{
    using T = typename TypeParam::Element;
    const std::vector<T> rows(16384, T(1));
    int32_t bytes = 0;
    EXPECT_EQ(TypeParam::kGetSize(1, 1, 16384, 16384, SrCdbkFull, &bytes), SrErrSize);
    ASSERT_EQ(TypeParam::kGetSize(1, 1, 16383, 16383, SrCdbkFull, &bytes), SrOk);
    const Guarded<uint8_t> memory(at(bytes));
    auto* state = reinterpret_cast<typename TypeParam::State*>(memory.data());
    EXPECT_EQ(TypeParam::kInit(state, rows.data(), 1, 1, 16384, 16384, SrCdbkFull), SrErrSize);
    EXPECT_EQ(TypeParam::kInit(state, rows.data(), 1, 1, 16383, 16383, SrCdbkFull), SrOk);
    EXPECT_EQ(view_of(state).count, 16383);
}

// Record, codewords, weights and workspace lie inside the memory, in this order, each on the next 32 bytes,
// wherever the memory begins. Nothing is allocated.
TYPED_TEST(CodebookInit, LaysOutTheCallersMemory)
{
    using T = typename TypeParam::Element;
    std::vector<Placement> places = placements(1);
    for (int misalign = 0; misalign < 16; ++misalign) places.push_back({misalign, Edge::Back});
    Cycle<Placement> rows_lie(placements(sizeof(T)));
    for (int32_t width : {1, 2, 3, 4, 5, 8, 9, 21})
        for (int32_t size : {1, 2, 9, 40})
            for (const Placement& place : places) {
                const int32_t step = width + (size == 1 ? 0 : size % 5);
                const Rows<T> rows = random_rows<T>(size, width, T(-99), T(99));
                const Guarded<T> src(as_block(rows, at(step)), rows_lie.next());
                int32_t bytes = 0;
                ASSERT_EQ(TypeParam::kGetSize(width, step, size, size, SrCdbkFull, &bytes), SrOk);
                Guarded<uint8_t> memory(at(bytes), place);
                auto* state = reinterpret_cast<typename TypeParam::State*>(memory.data());
                const int32_t former_bits = view_of(state).index_bits;
                AllocatorWatch watch;
                ASSERT_EQ(TypeParam::kInit(state, src.data(), width, step, size, size, SrCdbkFull), SrOk);
                EXPECT_EQ(watch.requests(), 0);
                EXPECT_TRUE(memory.intact()) << "written beside the memory";

                const CodebookView<T> view = view_of(state);
                EXPECT_EQ(view.depth, size - 1);
                EXPECT_EQ(view.count, size);
                EXPECT_EQ(view.width, width);
                const int32_t row_step = width == 1 || width == 2 || width == 4 ? width : rounded_up(step, 8);
                EXPECT_EQ(view.row_step, row_step);
                EXPECT_EQ(view.kind, SrCdbkFull);
                EXPECT_EQ(view.root, nullptr);
                EXPECT_EQ(view.flags, 0);
                EXPECT_EQ(view.field, nullptr);
                // In single precision the bits of an index stay unset: wanted.
                EXPECT_EQ(view.index_bits, (std::is_same_v<T, float> ? former_bits : reference::index_bits(size)));
                const auto on_32 = [](std::uintptr_t address) { return (address + 31) / 32 * 32; };
                std::uintptr_t next = on_32(reinterpret_cast<std::uintptr_t>(state) + kRecordBytes);
                EXPECT_EQ(reinterpret_cast<std::uintptr_t>(view.codewords), next);
                next = on_32(next + sizeof(T) * at(row_step * size));
                EXPECT_EQ(reinterpret_cast<std::uintptr_t>(view.weights), next);
                next = on_32(next + sizeof(T) * at(width));
                EXPECT_EQ(reinterpret_cast<std::uintptr_t>(view.workspace), next);
                EXPECT_LE(next + 4 * at(size), reinterpret_cast<std::uintptr_t>(memory.data()) + at(bytes));
                for (int32_t r = 0; r < size; ++r)
                    EXPECT_TRUE(same_values(rows[at(r)], elements(view.codewords + r * row_step, at(width)))) << r;
                EXPECT_TRUE(same_values(std::vector<T>(at(width), T(1)), elements(view.weights, at(width))));
                ASSERT_FALSE(testing::Test::HasFailure())
                    << width << ", " << size << ", memory " << describe(place);
            }
}

TYPED_TEST(CodebookInit, RowsAreCopiedAsTheyAre)
{
    using T = typename TypeParam::Element;
    const std::vector<T> row = special_values<T>();
    const int32_t width = static_cast<int32_t>(row.size());
    Guarded<uint8_t> memory(4096);
    auto* state = reinterpret_cast<typename TypeParam::State*>(memory.data());
    ASSERT_EQ(TypeParam::kInit(state, row.data(), width, width, 1, 1, SrCdbkFull), SrOk);
    EXPECT_EQ(std::memcmp(view_of(state).codewords, row.data(), row.size() * sizeof(T)), 0);
    Guarded<T> copy(row.size());
    EXPECT_EQ(TypeParam::kCodewords(state, copy.data(), width), SrOk);
    EXPECT_EQ(std::memcmp(copy.data(), row.data(), row.size() * sizeof(T)), 0);
}

// Codebooks of every making give back their codewords, and touch nothing between the rows.
TYPED_TEST(CodebookInit, GetCodebookCopiesTheRowsOnly)
{
    using T = typename TypeParam::Element;
    Cycle<Placement> places(placements(sizeof(T)));
    for (int32_t width : {1, 2, 3, 4, 7, 8, 19})
        for (int32_t beyond : {0, 1, 5})
            for (SrCdbkKind kind : {SrCdbkFull, SrCdbkTreeRadius}) {
                const Rows<T> rows = random_rows<T>(14, width, T(-999), T(999));
                const Trained<TypeParam> trained({rows, {}, kind == SrCdbkFull ? 14 : 5, kind, 2});
                ASSERT_EQ(trained.status, SrOk);
                const CodebookView<T> view = trained.view();
                int32_t count = 0;
                ASSERT_EQ(TypeParam::kCount(trained.get(), &count), SrOk);
                ASSERT_EQ(count, kind == SrCdbkFull ? 14 : 5);
                Guarded<T> dst(at((count - 1) * (width + beyond) + width), places.next());
                std::vector<T> expected = dst.values();
                for (int32_t r = 0; r < count; ++r)
                    std::copy_n(view.codewords + r * view.row_step, width, &expected[at(r * (width + beyond))]);
                ASSERT_EQ(TypeParam::kCodewords(trained.get(), dst.data(), width + beyond), SrOk);
                EXPECT_EQ(std::memcmp(dst.data(), expected.data(), dst.bytes()), 0) << width << ", " << beyond;
                EXPECT_TRUE(dst.intact());
            }
}

template <class Family>
struct ContentsCall {
    const typename Family::State* state;
    typename Family::Element* dst;
    int32_t step;
};

TYPED_TEST(CodebookInit, ContentsCheckPointersThenStep)
{
    using T = typename TypeParam::Element;
    using Call = ContentsCall<TypeParam>;
    const Trained<TypeParam> trained({random_rows<T>(4, 3, T(0), T(9)), {}, 4, SrCdbkFull});
    Guarded<T> dst(12);
    for (int32_t step : {2, 1, 0, -1, INT32_MIN})
        expect_check_order<Call>({trained.get(), dst.data(), 3},
                                 {{"null state", SrErrNullPtr, [](Call& c) { c.state = nullptr; }},
                                  {"null destination", SrErrNullPtr, [](Call& c) { c.dst = nullptr; }},
                                  {"step", SrErrSize, [=](Call& c) { c.step = step; }}},
                                 [](const Call& c) { return TypeParam::kCodewords(c.state, c.dst, c.step); },
                                 {&dst});
    Guarded<int32_t> count(1);
    count.take_snapshot();
    EXPECT_EQ(TypeParam::kCount(nullptr, count.data()), SrErrNullPtr);
    EXPECT_EQ(TypeParam::kCount(trained.get(), nullptr), SrErrNullPtr);
    EXPECT_EQ(TypeParam::kCount(nullptr, nullptr), SrErrNullPtr);
    EXPECT_TRUE(count.as_snapshot());
}

TYPED_TEST(CodebookInit, LeavesTheEnvironmentAlone)
{
    using T = typename TypeParam::Element;
    const std::vector<T> row = special_values<T>();
    const int32_t width = static_cast<int32_t>(row.size());
    Guarded<uint8_t> memory(4096);
    auto* state = reinterpret_cast<typename TypeParam::State*>(memory.data());
    int32_t bytes = 0;
    SrStatus status = SrErrUnknown;
    under_each_environment(
        [&] {
            status = TypeParam::kGetSize(width, width, 1, 1, SrCdbkFull, &bytes);
            status |= TypeParam::kInit(state, row.data(), width, width, 1, 1, SrCdbkFull);
        },
        [&](const std::string& setting) {
            EXPECT_EQ(status, SrOk) << setting;
            EXPECT_EQ(std::memcmp(view_of(state).codewords, row.data(), row.size() * sizeof(T)), 0) << setting;
            EXPECT_EQ(view_of(state).weights[width - 1], T(1)) << setting;
        });
}

#ifdef __i386__
TYPED_TEST(CodebookInit, RunsOnAnyStack)
{
    using T = typename TypeParam::Element;
    const std::vector<T> row(33, T(7));
    for (int misalign : {0, 4, 8, 12}) {
        int32_t bytes = 0, count = 0;
        ASSERT_EQ(OnOddStack{misalign}(+TypeParam::kGetSize, 11, 11, 3, 3, SrCdbkFull, &bytes), SrOk);
        const Guarded<uint8_t> memory(at(bytes));
        auto* state = reinterpret_cast<typename TypeParam::State*>(memory.data());
        const typename TypeParam::State* made = state;
        ASSERT_EQ(OnOddStack{misalign}(+TypeParam::kInit, state, row.data(), 11, 11, 3, 3, SrCdbkFull), SrOk);
        ASSERT_EQ(OnOddStack{misalign}(+TypeParam::kCount, made, &count), SrOk);
        EXPECT_EQ(count, 3);
        Guarded<T> copy(33);
        ASSERT_EQ(OnOddStack{misalign}(+TypeParam::kCodewords, made, copy.data(), 11), SrOk);
        EXPECT_TRUE(same_values(row, copy.values()));
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
