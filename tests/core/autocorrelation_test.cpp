// zelsAutoCorr_32f by direct sums and by FFT, and the product of spectra in Pack format.
#include <gtest/gtest.h>
#include <sys/mman.h>

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

// sum over i of x[i] x[i + k]; zero from lag x.size() on.
std::vector<double> reference_autocorrelation(const std::vector<float>& x, int lags)
{
    std::vector<double> sums(static_cast<std::size_t>(lags));
    for (std::size_t k = 0; k < std::min(x.size(), sums.size()); ++k)
        for (std::size_t i = 0; i + k < x.size(); ++i) sums[k] += static_cast<double>(x[i]) * x[i + k];
    return sums;
}

std::vector<float> autocorrelation(const std::vector<float>& x, int lags)
{
    Guarded<float> dst(static_cast<std::size_t>(lags));
    EXPECT_EQ(zelsAutoCorr_32f(x.data(), static_cast<int32_t>(x.size()), dst.data(), lags), SrOk);
    EXPECT_TRUE(dst.intact());
    return dst.values();
}

std::vector<float> whole_numbers(int count, int limit)
{
    std::vector<float> values;
    for (int i = 0; i < count; ++i) values.push_back(static_cast<float>(uniform<int>(-limit, limit)));
    return values;
}

void expect_zeros_from(int first, const std::vector<float>& lags)
{
    for (std::size_t k = static_cast<std::size_t>(first); k < lags.size(); ++k)
        ASSERT_TRUE(same_value(0.0F, lags[k])) << "lag " << k;
}

// Sums of whole numbers below 2^24 have nothing to round, whatever the order of the addition.
TEST(AutoCorrDirect, OfWholeNumbersIsExact)
{
    for (int len : lengths(16))
        for (int lags : {1, 2, 3, 4, 5, 7, 8, 9, 16, 17, 31, 40}) {
            const std::vector<float> x = whole_numbers(len, 100);
            const std::vector<double> expected = reference_autocorrelation(x, lags);
            const std::vector<float> actual = autocorrelation(x, lags);
            for (int k = 0; k < lags; ++k)
                ASSERT_EQ(expected[k], actual[k]) << "length " << len << " lag " << k << " of " << lags;
            expect_zeros_from(len, actual);
        }
    for (const auto& [len, lags] : {std::pair{855, 855}, {855, 2000}, {3000, 855}, {800, 855}, {20000, 13}}) {
        const std::vector<float> x = whole_numbers(len, 20);
        const std::vector<double> expected = reference_autocorrelation(x, lags);
        const std::vector<float> actual = autocorrelation(x, lags);
        for (int k = 0; k < lags; ++k)
            ASSERT_EQ(expected[k], actual[k]) << "length " << len << " lag " << k << " of " << lags;
        expect_zeros_from(len, actual);
    }
}

// Each of the products and additions of a lag rounds by at most u of what it adds to: n u sum |x[i] x[i + k]|
// holds for every order of the addition.
TEST(AutoCorrDirect, IsTheSumWithinItsRoundings)
{
    for (const auto& [len, lags] : {std::pair{1, 1}, {2, 5}, {13, 13}, {100, 40}, {855, 900}, {2000, 855}}) {
        const std::vector<float> x = uniform_vector(len, -1.0F, 1.0F);
        std::vector<float> sizes = x;
        for (float& value : sizes) value = std::abs(value);
        const std::vector<double> expected = reference_autocorrelation(x, lags);
        const std::vector<double> sums = reference_autocorrelation(sizes, lags);
        const std::vector<float> actual = autocorrelation(x, lags);
        for (int k = 0; k < std::min(len, lags); ++k)
            ASSERT_NEAR(expected[k], actual[k], (len - k) * 0x1p-24 * sums[k])
                << "length " << len << " lag " << k << " of " << lags;
        expect_zeros_from(len, actual);
    }
}

TEST(AutoCorrDirect, AsksForNoMemoryAndGivesTheSameBitsOnEveryAddress)
{
    for (const auto& [len, lags] : {std::pair{1, 3}, {37, 20}, {64, 80}, {855, 40}, {855, 856}, {856, 855}}) {
        const std::vector<float> x = uniform_vector(len, -1.0F, 1.0F);
        const std::vector<float> expected = autocorrelation(x, lags);
        for (const Placement& at : placements(sizeof(float))) {
            Guarded<float> src(x, at);
            Guarded<float> dst(expected.size(), at);
            src.take_snapshot();
            AllocatorWatch watch(1);
            EXPECT_EQ(zelsAutoCorr_32f(src.data(), len, dst.data(), lags), SrOk);
            EXPECT_EQ(watch.requests(), 0) << "length " << len << " lags " << lags;
            EXPECT_TRUE(same_values(expected, dst.values())) << describe(at);
            EXPECT_TRUE(dst.intact()) << describe(at);
            EXPECT_TRUE(src.as_snapshot()) << describe(at);
        }
    }
}

#ifdef __x86_64__
// Eight gigabytes of zeros, of which the system keeps one page.
TEST(AutoCorrDirect, OfTheLongestSourceEnds)
{
    if (thin_effort()) return;
    constexpr std::size_t kBytes = std::size_t{INT32_MAX} * sizeof(float);
    void* const zeros = mmap(nullptr, kBytes, PROT_READ, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
    ASSERT_NE(zeros, MAP_FAILED);
    float dst[2] = {1, 1};
    EXPECT_EQ(zelsAutoCorr_32f(static_cast<const float*>(zeros), INT32_MAX, dst, 2), SrOk);
    EXPECT_EQ(dst[0], 0.0F);
    EXPECT_EQ(dst[1], 0.0F);
    munmap(zeros, kBytes);
}
#endif

struct Long {
    int len, lags, order;  // the smallest N = 2^order of at least 2 len
};
const std::vector<Long> kLong = {{856, 856, 11},  {856, 3000, 11},  {1024, 1024, 11}, {1025, 856, 12},
                                 {5000, 900, 14}, {5000, 5000, 14}, {5000, 5003, 14}, {1500, 1499, 12}};

// Errors of the squared spectrum spread evenly over the lags: together they are at most those of three
// transforms in the mean square of the whole circle of lags; one lag can get those that the passes make on
// lag 0.
TEST(AutoCorrByFft, IsTheSumWithinTheTransformsErrors)
{
    for (const Long& given : kLong) {
        SCOPED_TRACE("length " + std::to_string(given.len) + " lags " + std::to_string(given.lags));
        const std::vector<float> x = uniform_vector(given.len, -1.0F, 1.0F);
        const std::vector<double> expected = reference_autocorrelation(x, given.len);
        const std::vector<float> actual = autocorrelation(x, given.lags);
        double circle = expected[0] * expected[0];
        for (int k = 1; k < given.len; ++k) circle += 2 * expected[k] * expected[k];
        double squares = 0;
        for (int k = 0; k < std::min(given.len, given.lags); ++k) {
            squares += std::pow(expected[k] - actual[k], 2);
            ASSERT_NEAR(expected[k], actual[k], reference::max_tolerance(given.order) * expected[0])
                << "lag " << k;
        }
        EXPECT_LE(std::sqrt(squares), 4 * reference::rms_tolerance(given.order) * std::sqrt(circle));
        expect_zeros_from(given.len, actual);
    }
}

TEST(AutoCorrByFft, TakesTheShortestTransformOfTwiceTheLength)
{
    for (const Long& given : kLong) {
        const std::vector<float> x = uniform_vector(given.len, -1.0F, 1.0F);
        std::vector<float> dst(static_cast<std::size_t>(given.lags));
        AllocatorWatch watch;
        ASSERT_EQ(zelsAutoCorr_32f(x.data(), given.len, dst.data(), given.lags), SrOk);
        EXPECT_EQ(watch.live(), 0);
        const auto record = static_cast<std::size_t>(sizes_of<Kind_32f>(given.order).record) + 32 + sizeof(void*);
        EXPECT_EQ(std::count(watch.sizes().begin(), watch.sizes().end(), record), 1) << given.len;
    }
}

TEST(AutoCorrByFft, SurvivesRefusals)
{
    const std::vector<float> x = uniform_vector(900, -1.0F, 1.0F);
    Guarded<float> dst(1000);
    expect_survives_refusals([&] { return zelsAutoCorr_32f(x.data(), 900, dst.data(), 1000); }, {&dst});
}

TEST(AutoCorrByFft, GivesTheSameBitsOnEveryAddress)
{
    const std::vector<float> x = uniform_vector(901, -1.0F, 1.0F);
    for (int lags : {857, 903}) {
        const std::vector<float> expected = autocorrelation(x, lags);
        for (const Placement& at : placements(sizeof(float))) {
            Guarded<float> src(x, at);
            Guarded<float> dst(expected.size(), at);
            src.take_snapshot();
            EXPECT_EQ(zelsAutoCorr_32f(src.data(), 901, dst.data(), lags), SrOk);
            EXPECT_TRUE(same_values(expected, dst.values())) << describe(at);
            EXPECT_TRUE(dst.intact()) << describe(at);
            EXPECT_TRUE(src.as_snapshot()) << describe(at);
        }
    }
}

struct AutoCorrArguments {
    const float* src;
    int32_t len;
    float* dst;
    int32_t lags;
};

TEST(AutoCorr, ChecksPointersThenLengths)
{
    for (int good_length : {20, 900})
        for (int bad : {0, -1, INT32_MIN}) {
            Guarded<float> src(static_cast<std::size_t>(good_length));
            Guarded<float> dst(static_cast<std::size_t>(good_length));
            AllocatorWatch watch;
            expect_check_order<AutoCorrArguments>(
                {src.data(), good_length, dst.data(), good_length},
                {{"null source", SrErrNullPtr, [](AutoCorrArguments& a) { a.src = nullptr; }},
                 {"null destination", SrErrNullPtr, [](AutoCorrArguments& a) { a.dst = nullptr; }},
                 {"length", SrErrSize, [&](AutoCorrArguments& a) { a.len = bad; }},
                 {"lags", SrErrSize, [&](AutoCorrArguments& a) { a.lags = bad; }}},
                [](const AutoCorrArguments& a) { return zelsAutoCorr_32f(a.src, a.len, a.dst, a.lags); },
                {&src, &dst});
            EXPECT_EQ(watch.requests(), 0);
        }
}

// Real ends; an odd length has no Nyquist term and ends with a pair.
std::vector<float> reference_product(const std::vector<float>& a, const std::vector<float>& b)
{
    std::vector<float> product(a.size());
    product[0] = a[0] * b[0];
    std::size_t i = 1;
    for (; i + 1 < a.size(); i += 2) {
        const float re = a[i] * b[i], im = a[i + 1] * b[i + 1];
        const float turned = a[i + 1] * b[i], back = a[i] * b[i + 1];
        product[i] = re + im;
        product[i + 1] = turned - back;
    }
    if (i < a.size()) product[i] = a[i] * b[i];
    return product;
}

TEST(MulPackConj, IsTheProductBitByBitOnEveryAddress)
{
    for (int len : lengths(32)) {
        const std::vector<float> a = uniform_vector(len, -1.0F, 1.0F);
        const std::vector<float> b = uniform_vector(len, -1.0F, 1.0F);
        const std::vector<float> expected = reference_product(a, b);
        const auto expect_same_with = [&](Placement at_src, Placement at_dst) {
            Guarded<float> src(a, at_src);
            Guarded<float> srcdst(b, at_dst);
            src.take_snapshot();
            EXPECT_EQ(zelsMulPackConj_32f_I(src.data(), srcdst.data(), len), SrOk);
            EXPECT_TRUE(same_values(expected, srcdst.values()))
                << "length " << len << ", source " << describe(at_src) << ", in-out " << describe(at_dst);
            EXPECT_TRUE(srcdst.intact()) << describe(at_dst);
            EXPECT_TRUE(src.as_snapshot()) << describe(at_src);
        };
        for (const Placement& at : placements(sizeof(float))) {
            expect_same_with(at, {});
            expect_same_with({}, at);
            expect_same_with(at, at);
        }
    }
}

TEST(MulPackConj, ByValue)
{
    float a[] = {2, 3, 4, 5};
    float b[] = {7, 11, 13, 17};
    ASSERT_EQ(zelsMulPackConj_32f_I(a, b, 4), SrOk);
    EXPECT_EQ(std::vector<float>(b, b + 4), (std::vector<float>{14, 3 * 11 + 4 * 13, 4 * 11 - 3 * 13, 85}));
}

TEST(MulPackConj, OfAnArrayWithItselfIsItsPower)
{
    for (int len : lengths(16)) {
        const std::vector<float> a = uniform_vector(len, -1.0F, 1.0F);
        Guarded<float> both(a);
        EXPECT_EQ(zelsMulPackConj_32f_I(both.data(), both.data(), len), SrOk);
        EXPECT_TRUE(same_values(reference_product(a, a), both.values())) << len;
    }
}

TEST(MulPackConj, SpecialValues)
{
    const std::vector<float> values = special_values<float>();
    for (int len : {1, 2, 3, 4, 9, 10, 16, 33}) {
        for (int round = 0; round < 200; ++round) {
            std::vector<float> a, b;
            for (int i = 0; i < len; ++i) {
                a.push_back(values[uniform<std::size_t>(0, values.size() - 1)]);
                b.push_back(values[uniform<std::size_t>(0, values.size() - 1)]);
            }
            const std::vector<float> expected = reference_product(a, b);
            ASSERT_EQ(zelsMulPackConj_32f_I(a.data(), b.data(), len), SrOk);
            EXPECT_TRUE(same_values(expected, b)) << len;
        }
    }
}

struct ProductArguments {
    const float* src;
    float* srcdst;
    int32_t len;
};

TEST(MulPackConj, ChecksPointersThenLength)
{
    for (int bad : {0, -1, INT32_MIN}) {
        Guarded<float> src(20), srcdst(20);
        expect_check_order<ProductArguments>(
            {src.data(), srcdst.data(), 20},
            {{"null source", SrErrNullPtr, [](ProductArguments& a) { a.src = nullptr; }},
             {"null in-out", SrErrNullPtr, [](ProductArguments& a) { a.srcdst = nullptr; }},
             {"length", SrErrSize, [&](ProductArguments& a) { a.len = bad; }}},
            [](const ProductArguments& a) { return zelsMulPackConj_32f_I(a.src, a.srcdst, a.len); },
            {&src, &srcdst});
    }
}

#ifdef __i386__
TEST(AutoCorr, RunsOnAnyStack)
{
    for (int len : {50, 900}) {
        const std::vector<float> x = uniform_vector(len, -1.0F, 1.0F);
        const std::vector<float> expected = autocorrelation(x, len);
        for (int misalign : {0, 4, 8, 12}) {
            std::vector<float> dst(expected.size());
            EXPECT_EQ(call_misaligned(zelsAutoCorr_32f, misalign, x.data(), len, dst.data(), len), SrOk);
            EXPECT_TRUE(same_values(expected, dst)) << len;
            std::vector<float> b = expected;
            EXPECT_EQ(call_misaligned(zelsMulPackConj_32f_I, misalign, x.data(), b.data(), len), SrOk);
            EXPECT_TRUE(same_values(reference_product(x, expected), b)) << len;
        }
    }
}
#endif

}  // namespace
}  // namespace zelsr::test
