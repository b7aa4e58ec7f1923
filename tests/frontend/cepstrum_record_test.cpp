// The life of a transform's record: sizes, checks, set-up in the caller's memory and the allocator's, release.
#include <array>
#include <cmath>

#include "frontend/cepstrum_members.h"
#include "support/bits.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/guarded.h"
#include "support/hooks.h"
#include "support/odd_stack.h"
#include "zelsr/core/memory.h"
#include "zelsr/frontend/cepstrum.h"

namespace zelsr::test::cepstrum {
namespace {

template <class Kind>
class CepstrumRecord : public testing::Test {};
struct KindNames {
    template <class Kind>
    static std::string GetName(int)
    {
        return Kind::kScratch ? "16s" : "32f";
    }
};
using Kinds = testing::Types<Kind_32f, Kind_16s>;
TYPED_TEST_SUITE(CepstrumRecord, Kinds, KindNames);

const std::array<std::pair<int, int>, 12> kShapes = {
    {{1, 1}, {2, 1}, {7, 7}, {8, 3}, {8, 8}, {9, 4}, {13, 12}, {16, 16}, {23, 12}, {24, 13}, {32, 31}, {65, 20}}};

// --- sizes ---

// What x86-64's pointers add: the record's and the row list's.
int64_t pointer_bytes(int64_t pointers, int64_t rows)
{
    return (static_cast<int64_t>(sizeof(void*)) - 4) * (pointers + rows);
}

int64_t expected_size(bool scratch, Form form, int64_t n, int64_t c)
{
    const int64_t r = (n + 7) / 8 * 8;
    if (!scratch) return 4 * c + 92 + 4 * (c * r + c + r + 8) + pointer_bytes(2, c + 1);
    if (form == Form::MulC0)
        return 8 * c + 100 + (4 * c + 4) + 32 * (c + 1) + 4 * n * (c + 1) + 32 + pointer_bytes(3, c + 1);
    return 8 * c + 132 + 4 * (c * r + c + r + 8) + pointer_bytes(3, c + 1);
}

TYPED_TEST(CepstrumRecord, Sizes)
{
    for (Form form : kForms)
        for (int n : {1, 2, 7, 8, 9, 16, 17, 100, 8191, 8192})
            for (int c : {1, 2, 7, 8, 9, 100, 8192}) {
                if (c > n) continue;
                int32_t size = -1;
                ASSERT_EQ(TypeParam::kGetSize[static_cast<int>(form)](n, c, &size), SrOk);
                EXPECT_EQ(size, expected_size(TypeParam::kScratch, form, n, c))
                    << name(form) << " " << n << " " << c;
            }
}

#ifdef __i386__
TEST(CepstrumRecordSizes, SizesByValue)
{
    int32_t size = -1;
    EXPECT_EQ(zelsDCTLifterGetSize_32f(24, 12, &size), SrOk);
    EXPECT_EQ(size, 48 + 92 + 4 * (288 + 12 + 24 + 8));
    EXPECT_EQ(zelsDCTLifterGetSize_16s(23, 12, &size), SrOk);
    EXPECT_EQ(size, 96 + 132 + 4 * (288 + 12 + 24 + 8));
    EXPECT_EQ(zelsDCTLifterGetSize_MulC0_16s(23, 12, &size), SrOk);
    EXPECT_EQ(size, 96 + 100 + 52 + 416 + 1196 + 32);
}
#endif

TYPED_TEST(CepstrumRecord, GetSizeChecksNullThenSizes)
{
    struct Arguments {
        int32_t len_dct, len_cep;
        int32_t* size;
    };
    for (Form form : kForms) {
        Guarded<int32_t> size(1);
        expect_check_order<Arguments>(
            {8, 4, size.data()},
            {{"null size", SrErrNullPtr, [](Arguments& a) { a.size = nullptr; }},
             {"len_dct 0", SrErrSize, [](Arguments& a) { a.len_dct = 0; }},
             {"len_dct", SrErrSize, [](Arguments& a) { a.len_dct = INT32_MIN; }},
             {"len_cep 0", SrErrSize, [](Arguments& a) { a.len_cep = 0; }},
             {"len_cep", SrErrSize, [](Arguments& a) { a.len_cep = INT32_MIN; }},
             {"len_cep above len_dct", SrErrSize, [](Arguments& a) { a.len_cep = a.len_dct + 1; }}},
            [&](const Arguments& a) {
                return TypeParam::kGetSize[static_cast<int>(form)](a.len_dct, a.len_cep, a.size);
            },
            {&size});
    }
}

// Only the size of 16-bit records with the caller's multipliers and C0 has a bound: wanted.
TYPED_TEST(CepstrumRecord, LongInputs)
{
    for (Form form : kForms) {
        const bool bounded = TypeParam::kScratch && form == Form::MulC0;
        const auto get_size = TypeParam::kGetSize[static_cast<int>(form)];
        int32_t size = -7;
        EXPECT_EQ(get_size(8193, 1, &size), bounded ? SrErrSize : SrOk) << name(form);
        if (bounded)
            EXPECT_EQ(size, -7);
        else
            EXPECT_EQ(size, expected_size(TypeParam::kScratch, form, 8193, 1));
        EXPECT_EQ(get_size(8193, 0, nullptr), SrErrNullPtr);
        if (bounded) continue;
        // More bytes than an int32 counts, with a width that is not a multiple of 8 to round up near 2^31.
        for (const auto& [n, c] :
             {std::pair{65536, 65536}, {1 << 30, 1}, {INT32_MAX, 1}, {INT32_MAX, INT32_MAX}}) {
            EXPECT_EQ(get_size(n, c, &size), SrOk) << n;
            EXPECT_EQ(size, INT32_MAX) << n;
        }
    }
}

// 16-bit records with a length above that bound are made all the same.
TEST(CepstrumRecordBound, CreationHasNone)
{
    const Recipe s = random_recipe(Form::MulC0, 8200, 2);
    const Owned<Kind_16s> record(s);
    std::vector<int16_t> x(8200, 1), dst(3);
    EXPECT_EQ(zelsDCTLifter_16s_Sfs(x.data(), dst.data(), record.get(), 0), SrOk);
    EXPECT_EQ(dst, Fixed16s::expected(x, s, 0));
}

// --- contents ---

template <class Kind>
void expect_contents(const void* record, const Recipe& s)
{
    const auto f = fields<Kind>(record);
    EXPECT_EQ(f.lifter_parameter, with_user(s.form) ? -1 : s.lifter);
    EXPECT_EQ(f.len_dct, s.len_dct);
    EXPECT_EQ(f.len_cep, s.len_cep);
    EXPECT_EQ(f.use_c0, with_c0(s.form) ? 1 : 0);
    std::vector<float> lifter(static_cast<std::size_t>(s.len_cep) + 1);
    std::memcpy(lifter.data(), f.lifter, lifter.size() * sizeof(float));
    EXPECT_TRUE(same_values(lifter_of(s).multipliers, lifter));
    std::vector<float> cosines, expected;
    for (int i = 0; i <= s.len_cep; ++i) {
        const float* row;
        std::memcpy(&row, f.rows + i, sizeof row);
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(row) % 32, 0u) << "row " << i;
        for (int j = 0; j < (s.len_dct + 7) / 8 * 8; ++j) {
            cosines.push_back(row[j]);
            expected.push_back(j < s.len_dct ? reference::cosine_entry(i, j, s.len_dct) : 0.0F);
        }
    }
    EXPECT_TRUE(same_values(expected, cosines)) << "the rows, with zeros behind them";
    for (int j = 0; j < s.len_dct; ++j) EXPECT_EQ(cosines[static_cast<std::size_t>(j)], 1.0F) << "row 0 is ones";
}

TYPED_TEST(CepstrumRecord, InitAllocFillsTheRecord)
{
    for (Form form : kForms)
        for (const auto& [n, c] : kShapes) {
            const Recipe s = random_recipe(form, n, c);
            SCOPED_TRACE(describe(s));
            Guarded<float> mul(s.mul, {static_cast<int>(generator()() % 16)});
            const AllocatorWatch watch;
            typename TypeParam::State* state = nullptr;
            ASSERT_EQ(TypeParam::init_alloc(&state, s, with_user(form) ? mul.data() : nullptr), SrOk);
            EXPECT_EQ(watch.requests(), TypeParam::kScratch ? 4 : 3);
            expect_contents<TypeParam>(state, s);
            EXPECT_EQ(TypeParam::free(state), SrOk);
            EXPECT_EQ(watch.live(), 0);
        }
}

// The record lies at the memory's first byte, everything within its size.
TYPED_TEST(CepstrumRecord, InitStaysWithinItsMemoryOnEveryAddress)
{
    for (Form form : kForms)
        for (const auto& [n, c] : kShapes)
            for (int address = 0; address < 32; ++address) {
                if (n > 10 && address % 7 != 0 && address != 31) continue;
                const Recipe s = random_recipe(form, n, c);
                SCOPED_TRACE(describe(s) + ", address " + std::to_string(address));
                for (Edge edge : {Edge::Front, Edge::Back}) {
                    Guarded<uint8_t> memory(static_cast<std::size_t>(size_of<TypeParam>(s)), {address, edge});
                    const Guarded<float> mul(s.mul, {address % 16});
                    auto* const state = reinterpret_cast<typename TypeParam::State*>(memory.data());
                    const AllocatorWatch watch;
                    ASSERT_EQ(TypeParam::init(state, s, mul.data()), SrOk);
                    EXPECT_EQ(watch.requests(), 0);
                    EXPECT_TRUE(memory.intact());
                    if (address % 4 == 0) expect_contents<TypeParam>(memory.data(), s);
                    if constexpr (!TypeParam::kScratch) {
                        const std::vector<float> x = uniform_vector(n, -9.0F, 9.0F);
                        std::vector<float> dst(s.results());
                        memory.take_snapshot();
                        EXPECT_EQ(zelsDCTLifter_32f(x.data(), dst.data(), state), SrOk);
                        EXPECT_TRUE(same_values(Single::expected(x, s, 0), dst));
                        EXPECT_TRUE(memory.as_snapshot()) << "shared by threads";
                    } else {
                        const std::vector<int16_t> x = uniform_vector<int16_t>(n, -3000, 3000);
                        std::vector<int16_t> dst(s.results());
                        EXPECT_EQ(zelsDCTLifter_16s_Sfs(x.data(), dst.data(), state, 3), SrOk);
                        EXPECT_TRUE(same_values(Fixed16s::expected(x, s, 3), dst));
                        EXPECT_TRUE(memory.intact());
                    }
                }
            }
}

// In memory on a boundary of 32 bytes each part lies on one too.
TYPED_TEST(CepstrumRecord, PartsLieOn32Bytes)
{
    for (const auto& [n, c] : kShapes) {
        const Recipe s = random_recipe(Form::C0, n, c);
        const int32_t size = size_of<TypeParam>(s);
        uint8_t* const memory = zelsMalloc_8u(size);
        ASSERT_EQ(TypeParam::init(reinterpret_cast<typename TypeParam::State*>(memory), s, nullptr), SrOk);
        const auto f = fields<TypeParam>(memory);
        const auto offset = [&](const void* part) {
            const auto distance =
                reinterpret_cast<std::uintptr_t>(part) - reinterpret_cast<std::uintptr_t>(memory);
            EXPECT_EQ(distance % 32, 0u);
            return static_cast<int32_t>(distance);
        };
        EXPECT_GE(offset(f.lifter), static_cast<int32_t>(sizeof(typename TypeParam::Fields)));
        EXPECT_LE(offset(f.lifter), 64);
        EXPECT_LT(offset(f.lifter), offset(f.rows));
        if constexpr (TypeParam::kScratch) {
            EXPECT_LT(offset(f.rows), offset(f.scratch));
        }
        zelsFree(memory);
    }
}

#ifdef __i386__
TEST(CepstrumRecordSizes, RecordSizes)
{
    EXPECT_EQ(sizeof(Fields_32f), 24u);
    EXPECT_EQ(sizeof(Fields_16s), 28u);
    const Recipe s = random_recipe(Form::C0, 24, 12);
    ZelDCTLifterState_32f* single = nullptr;
    ZelDCTLifterState_16s* fixed = nullptr;
    const AllocatorWatch watch;
    ASSERT_EQ(Kind_32f::init_alloc(&single, s, nullptr), SrOk);
    ASSERT_EQ(Kind_16s::init_alloc(&fixed, s, nullptr), SrOk);
    EXPECT_EQ(watch.sizes()[0], 24u + 36) << "the record, with the allocator's own bytes";
    EXPECT_EQ(watch.sizes()[1], 13u * 4 + 36);
    EXPECT_EQ(watch.sizes()[2], 4u * (13 + 13 * 24 + 7) + 36);
    EXPECT_EQ(watch.sizes()[3], 28u + 36);
    EXPECT_EQ(Kind_32f::free(single), SrOk);
    EXPECT_EQ(Kind_16s::free(fixed), SrOk);
}
#endif

TEST(CepstrumLifter, ByValue)
{
    const float user[] = {2, 3, 5};
    ZelDCTLifterState_32f* state = nullptr;
    ASSERT_EQ(zelsDCTLifterInitAlloc_MulC0_32f(&state, 3, user, 3), SrOk);
    const float x[] = {1, 1, 1};
    float dst[4] = {9, 9, 9, 9};
    EXPECT_EQ(zelsDCTLifter_32f(x, dst, state), SrOk);
    EXPECT_EQ(dst[3], 15.0F) << "C0 takes the last multiplier";
    EXPECT_EQ(zelsDCTLifterFree_32f(state), SrOk);
    ASSERT_EQ(zelsDCTLifterInitAlloc_Mul_32f(&state, 3, user, 3), SrOk);
    dst[3] = 9;
    EXPECT_EQ(zelsDCTLifter_32f(x, dst, state), SrOk);
    EXPECT_EQ(dst[3], 9.0F) << "without C0, three results";
    EXPECT_EQ(fields<Kind_32f>(state).lifter[0], 0.0F);
    EXPECT_EQ(zelsDCTLifterFree_32f(state), SrOk);
    // 1 + 11 sin(pi / 22 k): its middle is 12.
    ASSERT_EQ(zelsDCTLifterInitAlloc_C0_32f(&state, 24, 12, 22, 2, 0.5F), SrOk);
    EXPECT_EQ(fields<Kind_32f>(state).lifter[0], 0.5F);
    EXPECT_EQ(fields<Kind_32f>(state).lifter[11], 24.0F);
    EXPECT_NEAR(fields<Kind_32f>(state).lifter[1], 2 * (1 + 11 * 0.142315), 1e-5);
    EXPECT_EQ(zelsDCTLifterFree_32f(state), SrOk);
}

TYPED_TEST(CepstrumRecord, ValuesThatAreNotNumbersAreTaken)
{
    for (float val :
         {std::numeric_limits<float>::quiet_NaN(), std::numeric_limits<float>::infinity(), 0.0F, -2.0F}) {
        const Recipe s{Form::C0, 5, 3, 22, val, val, {}};
        const Owned<TypeParam> record(s);
        expect_contents<TypeParam>(record.get(), s);
    }
}

// --- checks ---

template <class Kind>
struct Creation {
    Recipe recipe;
    const float* mul;
    typename Kind::State** state;
    typename Kind::State* memory;
};

template <class Kind>
void expect_creation_checks(Form form, bool allocates)
{
    using A = Creation<Kind>;
    SCOPED_TRACE(name(form));
    const Recipe s = random_recipe(form, 8, 4);
    Guarded<typename Kind::State*> state(1);
    Guarded<uint8_t> memory(static_cast<std::size_t>(size_of<Kind>(s)));
    Guarded<float> mul(s.mul);
    std::vector<Fault<A>> faults = {{"null record", SrErrNullPtr, [](A& a) {
                                         a.state = nullptr;
                                         a.memory = nullptr;
                                     }}};
    if (with_user(form)) faults.push_back({"null multipliers", SrErrNullPtr, [](A& a) { a.mul = nullptr; }});
    faults.push_back({"len_dct 0", SrErrSize, [](A& a) { a.recipe.len_dct = 0; }});
    faults.push_back({"len_dct", SrErrSize, [](A& a) { a.recipe.len_dct = INT32_MIN; }});
    faults.push_back({"len_cep 0", SrErrSize, [](A& a) { a.recipe.len_cep = 0; }});
    faults.push_back({"len_cep", SrErrSize, [](A& a) { a.recipe.len_cep = INT32_MIN; }});
    faults.push_back({"len_cep above len_dct", SrErrSize, [](A& a) { a.recipe.len_cep = a.recipe.len_dct + 1; }});
    if (!with_user(form)) {
        faults.push_back({"lifter 0", SrErrSize, [](A& a) { a.recipe.lifter = 0; }});
        faults.push_back({"lifter", SrErrSize, [](A& a) { a.recipe.lifter = INT32_MIN; }});
    }
    const AllocatorWatch watch;
    expect_check_order<A>(
        {s, mul.data(), state.data(), reinterpret_cast<typename Kind::State*>(memory.data())}, faults,
        [&](const A& a) {
            return allocates ? Kind::init_alloc(a.state, a.recipe, a.mul) : Kind::init(a.memory, a.recipe, a.mul);
        },
        {&state, &memory, &mul});
    EXPECT_EQ(watch.requests(), 0);
}

TYPED_TEST(CepstrumRecord, CreationChecksNullThenSizes)
{
    for (Form form : kForms)
        for (bool allocates : {false, true}) expect_creation_checks<TypeParam>(form, allocates);
}

TYPED_TEST(CepstrumRecord, FreeOfNull) { EXPECT_EQ(TypeParam::free(nullptr), SrErrNullPtr); }

// --- refused memory ---

// The pointer is set and what there is stays: wanted. Free takes the unfinished record.
TYPED_TEST(CepstrumRecord, RefusedMemoryLeavesWhatThereIs)
{
    for (Form form : kForms)
        for (int refuse : {1, 2, 3}) {
            SCOPED_TRACE(std::string(name(form)) + ", block " + std::to_string(refuse));
            const Recipe s = random_recipe(form, 24, 12);
            const AllocatorWatch watch(refuse);
            int other = 0;
            auto* const before = reinterpret_cast<typename TypeParam::State*>(&other);
            auto* state = before;
            EXPECT_EQ(TypeParam::init_alloc(&state, s, s.mul.data()), SrErrMemAlloc);
            EXPECT_NE(state, before);
            EXPECT_EQ(watch.live(), watch.requests() - 1);
            EXPECT_GE(watch.requests(), refuse);
            EXPECT_EQ(state == nullptr, refuse == 1);
            EXPECT_EQ(TypeParam::free(state), refuse == 1 ? SrErrNullPtr : SrOk);
            EXPECT_EQ(watch.live(), 0);
        }
}

// Nobody looks at the work memory at first: wanted.
TEST(CepstrumRecordWork, RefusedWorkMemoryGoesUnnoticed)
{
    for (Form form : kForms) {
        const Recipe s = random_recipe(form, 24, 12);
        const AllocatorWatch watch(4);
        ZelDCTLifterState_16s* state = nullptr;
        EXPECT_EQ(Kind_16s::init_alloc(&state, s, s.mul.data()), SrOk);
        EXPECT_EQ(watch.requests(), 4);
        Guarded<int16_t> x(24), dst(13);
        Guarded<int32_t> y(24);
        dst.take_snapshot();
        EXPECT_EQ(zelsDCTLifter_16s_Sfs(x.data(), dst.data(), state, 0), SrErrMemAlloc);
        EXPECT_EQ(zelsDCTLifter_32s16s_Sfs(y.data(), dst.data(), state, 0), SrErrMemAlloc);
        EXPECT_TRUE(dst.as_snapshot());
        EXPECT_EQ(Kind_16s::free(state), SrOk);
        EXPECT_EQ(watch.live(), 0);
    }
}

// More bytes than a count can say are never asked for: no table may be too small.
TYPED_TEST(CepstrumRecord, TooLargeForACount)
{
    for (const auto& [n, c] : {std::pair{46341, 46341}, {INT32_MAX, 1}, {1 << 29, 1}, {65536, 8192}}) {
        const Recipe s{Form::Plain, n, c, 22, 1, 1, {}};
        const AllocatorWatch watch;
        typename TypeParam::State* state = nullptr;
        EXPECT_EQ(TypeParam::init_alloc(&state, s, nullptr), SrErrMemAlloc) << n;
        EXPECT_EQ(state == nullptr ? SrOk : TypeParam::free(state), SrOk);
        EXPECT_EQ(watch.live(), 0);
        Guarded<uint8_t> memory(64);
        memory.take_snapshot();
        EXPECT_EQ(TypeParam::init(reinterpret_cast<typename TypeParam::State*>(memory.data()), s, nullptr),
                  SrErrMemAlloc)
            << n;
        EXPECT_TRUE(memory.as_snapshot());
    }
}

TYPED_TEST(CepstrumRecord, CreationKeepsTheEnvironment)
{
    const Recipe s = random_recipe(Form::C0, 23, 12);
    std::vector<uint8_t> memory(static_cast<std::size_t>(size_of<TypeParam>(s)));
    SrStatus status = SrErrUnknown;
    auto* const state = reinterpret_cast<typename TypeParam::State*>(memory.data());
    under_each_environment([&] { status = TypeParam::init(state, s, nullptr); },
                           [&](const std::string& setting) {
                               EXPECT_EQ(status, SrOk) << setting;
                               expect_contents<TypeParam>(memory.data(), s);
                           });
}

#ifdef __i386__
TEST(CepstrumRecordSizes, CreationRunsOnAnyStack)
{
    const Recipe s = random_recipe(Form::MulC0, 24, 12);
    for (int misalign : {0, 4, 8, 12}) {
        ZelDCTLifterState_32f* state = nullptr;
        ASSERT_EQ(call_misaligned(zelsDCTLifterInitAlloc_MulC0_32f, misalign, &state, 24, s.mul.data(), 12), SrOk);
        expect_contents<Kind_32f>(state, s);
        EXPECT_EQ(call_misaligned(zelsDCTLifterFree_32f, misalign, state), SrOk);
    }
}
#endif

}  // namespace
}  // namespace zelsr::test::cepstrum
