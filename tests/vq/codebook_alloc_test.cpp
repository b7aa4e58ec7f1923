// Codebooks in the allocator's memory: checks, codebooks of all rows, refused memory, release.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/environment.h"
#include "support/faults.h"
#include "support/operation.h"
#include "vq/codebook_members.h"
#include "zelsr/core/memory.h"

namespace zelsr::test {
namespace {

template <class Family>
class CodebookAlloc : public testing::Test {};
TYPED_TEST_SUITE(CodebookAlloc, Families, FamilyNames);

template <class Family>
struct Call {
    typename Family::State** state;
    const typename Family::Element* rows;
    const typename Family::Element* weights;
    int32_t width, step, height, size;
    SrCdbkKind kind;
};

template <class Family>
SrStatus plain(const Call<Family>& c)
{
    return Family::kInitAlloc(c.state, c.rows, c.width, c.step, c.height, c.size, c.kind);
}
template <class Family>
SrStatus weighted(const Call<Family>& c)
{
    return Family::kInitAllocWeighted(c.state, c.rows, c.weights, c.width, c.step, c.height, c.size, c.kind);
}

template <class Family>
std::vector<Fault<Call<Family>>> common_faults(int32_t bad)
{
    using C = Call<Family>;
    return {{"null rows", SrErrNullPtr, [](C& c) { c.rows = nullptr; }},
            {"step", SrErrSize, [=](C& c) { c.step = bad; }},
            {"height", SrErrSize, [=](C& c) { c.height = bad; }},
            {"size", SrErrSize, [=](C& c) { c.size = bad; }},
            {"width above step", SrErrSize, [](C& c) { c.step = c.width - 1; }},
            {"size above height", SrErrSize, [](C& c) { c.size = c.height + 1; }},
            {"size above 16383", SrErrSize, [](C& c) { c.size = c.height = 16384; }},
            {"kind", SrErrCdbkKind, [=](C& c) { c.kind = bad; }}};
}

TYPED_TEST(CodebookAlloc, WeightedFormChecksPointersSizesWeightsThenKind)
{
    using T = typename TypeParam::Element;
    Guarded<typename TypeParam::State*> state(1);
    const Guarded<T> rows(std::vector<T>(40, T(1))), weights(std::vector<T>(4, T(2)));
    const Guarded<T> negative(std::vector<T>{T(1), T(1), T(-1)});
    for (int32_t bad : {0, -1, INT32_MIN}) {
        std::vector<Fault<Call<TypeParam>>> faults = common_faults<TypeParam>(bad);
        faults.insert(faults.begin() + 1, {{"null weights", SrErrNullPtr, [](auto& c) { c.weights = nullptr; }},
                                           {"width", SrErrSize, [=](auto& c) { c.width = bad; }}});
        faults.insert(faults.end() - 1,
                      {"negative weight", SrErrBadArg, [&](auto& c) { c.weights = negative.data(); }});
        AllocatorWatch watch;
        expect_check_order<Call<TypeParam>>(
            {state.data(), rows.data(), weights.data(), 3, 4, 10, 5, SrCdbkTreeRadius}, faults,
            weighted<TypeParam>, {&state});
        EXPECT_EQ(watch.live(), 0);
    }
}

// The width comes before the pointers here, and so does the array of ones.
TYPED_TEST(CodebookAlloc, PlainFormChecksWidthFirst)
{
    using T = typename TypeParam::Element;
    Guarded<typename TypeParam::State*> state(1);
    const Guarded<T> rows(std::vector<T>(40, T(1)));
    for (int32_t bad : {0, -1, INT32_MIN}) {
        std::vector<Fault<Call<TypeParam>>> faults = common_faults<TypeParam>(bad);
        faults.insert(faults.begin(), {"width", SrErrSize, [=](auto& c) { c.width = bad; }});
        AllocatorWatch watch;
        expect_check_order<Call<TypeParam>>({state.data(), rows.data(), nullptr, 3, 4, 10, 5, SrCdbkFull}, faults,
                                            plain<TypeParam>, {&state});
        EXPECT_EQ(watch.live(), 0);
    }
    AllocatorWatch none(1);
    EXPECT_EQ(plain<TypeParam>({state.data(), nullptr, nullptr, 0, 0, 0, 0, 0}), SrErrSize);
    EXPECT_EQ(none.requests(), 0);
    EXPECT_EQ(plain<TypeParam>({state.data(), nullptr, nullptr, 3, 0, 0, 0, 0}), SrErrMemAlloc);
    EXPECT_EQ(none.requests(), 1);
    EXPECT_TRUE(state.as_snapshot());
}

// Found only after the allocations: a refused one is reported first.
TYPED_TEST(CodebookAlloc, AnInvalidKindIsFoundAfterTheMemory)
{
    using T = typename TypeParam::Element;
    Guarded<typename TypeParam::State*> state(1);
    const std::vector<T> rows(40, T(1));
    for (SrCdbkKind kind : {0, 4, -1, INT32_MAX, INT32_MIN})
        for (auto* form : {plain<TypeParam>, weighted<TypeParam>}) {
            state.take_snapshot();
            const Call<TypeParam> call{state.data(), rows.data(), rows.data(), 3, 4, 10, 5, kind};
            int requests = 0;
            {
                AllocatorWatch watch;
                EXPECT_EQ(form(call), SrErrCdbkKind);
                requests = watch.requests();
                EXPECT_EQ(watch.live(), 0);
            }
            EXPECT_GE(requests, 4);
            for (int refused = 1; refused <= requests; ++refused) {
                AllocatorWatch watch(refused);
                EXPECT_EQ(form(call), SrErrMemAlloc) << "block " << refused;
                EXPECT_EQ(watch.live(), 0) << "block " << refused;
            }
            EXPECT_TRUE(state.as_snapshot());
        }
}

TYPED_TEST(CodebookAlloc, WeightsMustBeZeroOrAbove)
{
    using T = typename TypeParam::Element;
    const std::vector<T> rows(12, T(1));
    const auto status = [&](std::size_t place, T weight) {
        AllocatorWatch watch;
        typename TypeParam::State* state = nullptr;
        std::vector<T> weights(3, T(1));
        weights[place] = weight;
        const SrStatus result = weighted<TypeParam>({&state, rows.data(), weights.data(), 3, 3, 4, 4, SrCdbkFull});
        if (result == SrOk) {
            EXPECT_EQ(view_of(state).flags, 2);
            EXPECT_EQ(TypeParam::kFree(state), SrOk);
        } else {
            EXPECT_EQ(watch.requests(), 0);
        }
        return result;
    };
    for (std::size_t place : {0u, 1u, 2u}) {
        EXPECT_EQ(status(place, T(0)), SrOk);
        EXPECT_EQ(status(place, -T(0)), SrOk);
        EXPECT_EQ(status(place, std::numeric_limits<T>::max()), SrOk);
        EXPECT_EQ(status(place, T(-1)), SrErrBadArg);
        EXPECT_EQ(status(place, std::numeric_limits<T>::lowest()), SrErrBadArg);
        if constexpr (std::is_same_v<T, float>) {
            EXPECT_EQ(status(place, INFINITY), SrOk);
            EXPECT_EQ(status(place, NAN), SrErrBadArg);
            EXPECT_EQ(status(place, -NAN), SrErrBadArg);
            EXPECT_EQ(status(place, -INFINITY), SrErrBadArg);
            EXPECT_EQ(status(place, -std::numeric_limits<float>::denorm_min()), SrErrBadArg);
            EXPECT_EQ(status(place, std::nextafter(1.0F, 2.0F)), SrOk);
        }
    }
}

TYPED_TEST(CodebookAlloc, FullHoldsEveryRow)
{
    using T = typename TypeParam::Element;
    Cycle<Placement> places(placements(sizeof(T)));
    for (int32_t width : {1, 2, 3, 4, 5, 7, 8, 9, 16, 21})
        for (int32_t beyond : {0, 1, 6})
            for (int32_t height : {1, 2, 10, 30})
                for (int32_t size : {1, height}) {
                    Training<T> training{
                        random_rows<T>(height, width, T(-99), T(99)), {}, size, SrCdbkFull, beyond};
                    training.placement = places.next();
                    if (height == 10) training.weights = uniform_vector(width, T(0), T(2));
                    const Trained<TypeParam> trained(training);
                    ASSERT_EQ(trained.status, size == height ? SrOk : SrWarnCdbkSize);
                    const CodebookView<T> view = trained.view();
                    const bool packed =
                        width == 1 || width == 2 || width == 4 || (width == 8 && std::is_same_v<T, float>);
                    expect_record(view, training, height,
                                  packed ? width : rounded_up(training.step(), TypeParam::kRowMultiple));
                    EXPECT_EQ(view.depth, height - 1);
                    EXPECT_EQ(view.root, nullptr);
                    if (width > 2 || height < 11) {
                        EXPECT_EQ(view.field, nullptr);
                    }
                    for (int32_t r = 0; r < height; ++r)
                        EXPECT_TRUE(same_values(training.rows[at(r)],
                                                elements(view.codewords + r * view.row_step, at(width))));
                    ASSERT_FALSE(testing::Test::HasFailure()) << training.describe();
                }
}

TYPED_TEST(CodebookAlloc, FullTakesMoreRowsThanTheLimitOfSize)
{
    using T = typename TypeParam::Element;
    const std::vector<T> rows(3 * 20000, T(5));
    typename TypeParam::State* state = nullptr;
    ASSERT_EQ(TypeParam::kInitAlloc(&state, rows.data(), 3, 3, 20000, 16383, SrCdbkFull), SrWarnCdbkSize);
    EXPECT_EQ(view_of(state).count, 20000);
    EXPECT_EQ(view_of(state).depth, 19999);
    EXPECT_EQ(view_of(state).index_bits, 15);
    for (int32_t i = 0; i < 20000; ++i) view_of(state).workspace[i] = 0;
    EXPECT_EQ(TypeParam::kFree(state), SrOk);
    ASSERT_EQ(TypeParam::kInitAlloc(&state, rows.data(), 3, 3, 16383, 16383, SrCdbkFull), SrOk);
    EXPECT_EQ(view_of(state).index_bits, 14);
    EXPECT_EQ(TypeParam::kFree(state), SrOk);
    for (SrCdbkKind kind : {1, 2, 3})
        EXPECT_EQ(TypeParam::kInitAlloc(&state, rows.data(), 3, 3, 20000, 16384, kind), SrErrSize);
}

// Steps and counts whose bytes no address space of 32 bits holds.
TYPED_TEST(CodebookAlloc, HugeCodebooksAreRefusedNotMisbuilt)
{
    using T = typename TypeParam::Element;
    const std::vector<T> ones(16, T(1));
    for (SrCdbkKind kind : {1, 2, 3})
        for (const auto& [step, height, size] :
             std::vector<std::array<int32_t, 3>>{{INT32_MAX, 16383, 16383}, {1 << 30, 1024, 1024}}) {
            AllocatorWatch watch;
            typename TypeParam::State* state = nullptr;
            // No row is read before the memory for all of them is there.
            EXPECT_EQ(weighted<TypeParam>({&state, ones.data(), ones.data(), 3, step, height, size, kind}),
                      SrErrMemAlloc);
            EXPECT_EQ(state, nullptr);
            EXPECT_EQ(watch.live(), 0);
        }
}

TYPED_TEST(CodebookAlloc, SurvivesEveryRefusal)
{
    using T = typename TypeParam::Element;
    Guarded<typename TypeParam::State*> state(1);
    for (int32_t width : {1, 2, 3, 4, 8, 13})
        for (SrCdbkKind kind : {1, 2, 3})
            for (bool has_weights : {false, true}) {
                Training<T> training{speech_rows<T>(std::min(width, 8)), {}, 7, kind, 1};
                if (width == 13) training.rows = random_rows<T>(30, 13, T(0), T(99));
                if (kind == SrCdbkFull) {
                    training.rows = even_rows<T>(width);
                    training.size = 200;
                }
                if (has_weights) training.weights = std::vector<T>(at(width), T(1));
                bool table = false;
                expect_survives_refusals(
                    [&] {
                        const SrStatus status = train<TypeParam>(training, state.data());
                        if (status >= 0) {
                            table = (view_of(state.get(0)).flags & 1) != 0;
                            EXPECT_EQ(TypeParam::kFree(state.get(0)), SrOk);
                        }
                        return status;
                    },
                    {&state});
                EXPECT_EQ(table, kind == SrCdbkFull && width <= 2) << training.describe();
            }
}

TYPED_TEST(CodebookAlloc, FreeRefusesNullNoCodewordsAndOtherKinds)
{
    using T = typename TypeParam::Element;
    EXPECT_EQ(TypeParam::kFree(nullptr), SrErrNullPtr);
    CodebookView<T> view{};
    auto* state = reinterpret_cast<typename TypeParam::State*>(&view);
    AllocatorWatch watch;
    for (SrCdbkKind kind : {0, 1, 2, 3, 4, -1}) {
        view.kind = kind;
        EXPECT_EQ(TypeParam::kFree(state), SrErrNullPtr) << kind;
    }
    const T codeword{};
    view.codewords = &codeword;
    for (SrCdbkKind kind : {0, 4, -1, INT32_MAX, INT32_MIN}) {
        view.kind = kind;
        EXPECT_EQ(TypeParam::kFree(state), SrErrUnknown) << kind;
    }
    EXPECT_EQ(watch.live(), 0) << "something was released";
}

std::vector<const void*> released;
void (*real_free)(void*);
void noting_free(void* block)
{
    released.push_back(block);
    real_free(block);
}

// The how-manieth released block holds the address.
std::size_t place_of(const void* address)
{
    std::size_t place = released.size();
    std::uintptr_t before = SIZE_MAX;
    for (std::size_t i = 0; i < released.size(); ++i) {
        const auto distance =
            reinterpret_cast<std::uintptr_t>(address) - reinterpret_cast<std::uintptr_t>(released[i]);
        if (distance < before) {
            before = distance;
            place = i;
        }
    }
    return place;
}

TYPED_TEST(CodebookAlloc, FreeReleasesTableTreeWeightsCodewordsWorkspaceRecord)
{
    using T = typename TypeParam::Element;
    for (SrCdbkKind kind : {1, 2, 3}) {
        Training<T> training{speech_rows<T>(4), {}, 9, kind};
        if (kind == SrCdbkFull) {
            training.rows.clear();
            for (int i = 0; i < 11; ++i) training.rows.push_back({T(2000 * i - 10000)});
        }
        typename TypeParam::State* state = nullptr;
        ASSERT_GE(train<TypeParam>(training, &state), 0);
        const CodebookView<T> view = view_of(state);
        const void* first = kind == SrCdbkFull ? view.field : view.root;
        ASSERT_NE(first, nullptr);
        released.clear();
        real_free = i_free;
        i_free = noting_free;
        EXPECT_EQ(TypeParam::kFree(state), SrOk);
        i_free = real_free;
        EXPECT_LT(place_of(first), place_of(view.weights));
        EXPECT_LT(place_of(view.weights), place_of(view.codewords));
        EXPECT_LT(place_of(view.codewords), place_of(view.workspace));
        EXPECT_LT(place_of(view.workspace), place_of(state));
        EXPECT_EQ(place_of(state), released.size() - 1);
    }
}

#ifdef __i386__
TYPED_TEST(CodebookAlloc, FullIsBuiltOnAnyStack)
{
    using T = typename TypeParam::Element;
    for (int width : {1, 2, 5})
        for (int misalign : {0, 4, 8, 12}) {
            const std::vector<T> rows = as_block(even_rows<T>(width), at(width));
            typename TypeParam::State* state = nullptr;
            ASSERT_EQ(OnOddStack{misalign}(+TypeParam::kInitAlloc, &state, rows.data(), width, width, 200, 200,
                                           SrCdbkFull),
                      SrOk);
            EXPECT_EQ(OnOddStack{misalign}(+TypeParam::kFree, state), SrOk);
        }
}
#endif

}  // namespace
}  // namespace zelsr::test
