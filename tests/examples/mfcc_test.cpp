// The class behind the features example, as other programs use it. Usage: examples_mfcc_test SOUND
#include "common/mfcc.h"

#include <gtest/gtest.h>

#include <cstring>
#include <numeric>

#include "common/failure.h"
#include "examples/given_sound.h"

namespace zelsr::examples {
namespace {

template <class T>
FeatureMatrix<T> rows_of(Mfcc<T>& mfcc, std::span<const T> samples, std::size_t part)
{
    FeatureMatrix<T> all(mfcc.width());
    for (std::size_t i = 0; i < samples.size(); i += part)
        all.append(mfcc.add(samples.subspan(i, std::min(part, samples.size() - i))));
    all.append(mfcc.finish());
    return all;
}

template <class T>
void expect_same(const FeatureMatrix<T>& first, const FeatureMatrix<T>& second)
{
    ASSERT_EQ(first.rows(), second.rows());
    ASSERT_EQ(first.width(), second.width());
    for (std::int32_t r = 0; r < first.rows(); ++r)
        ASSERT_EQ(std::memcmp(first.row(r), second.row(r), static_cast<std::size_t>(first.width()) * sizeof(T)), 0)
            << "row " << r;
}

template <class T>
class MfccTest : public testing::Test {};
using Elements = testing::Types<float, std::int16_t>;
TYPED_TEST_SUITE(MfccTest, Elements);

TYPED_TEST(MfccTest, AWholeFileIsAStreamOfItsParts)
{
    SoundFile sound(given_sound);
    MfccOptions options;
    options.rate = 1;  // the file's rate takes its place
    const FeatureMatrix<TypeParam> all = all_mfcc<TypeParam>(sound, options);
    options.rate = sound.rate();
    Mfcc<TypeParam> mfcc(options);
    const std::vector<TypeParam> samples = samples_of_file<TypeParam>(1 << 22);
    for (std::size_t part : {33, 1000, 1 << 22}) expect_same(rows_of<TypeParam>(mfcc, samples, part), all);
}

TYPED_TEST(MfccTest, RowsLieOnSixteenBytes)
{
    SoundFile sound(given_sound);
    const FeatureMatrix<TypeParam> all = all_mfcc<TypeParam>(sound, {});
    EXPECT_EQ(all.width(), 39);
    EXPECT_EQ(all.step(), 40);
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(all.row(1)) % 16, 0U);
}

TYPED_TEST(MfccTest, AnotherUtteranceBeginsAfterFinish)
{
    MfccOptions options;
    options.cmn_seconds = 0.5;
    Mfcc<TypeParam> mfcc(options);
    const std::vector<TypeParam> samples = samples_of_file<TypeParam>(20000);
    const FeatureMatrix<TypeParam> first = rows_of<TypeParam>(mfcc, samples, 777);
    expect_same(rows_of<TypeParam>(mfcc, samples, 20000), first);

    // Also after one that was too short.
    mfcc.add(std::span(samples).first(900));
    EXPECT_EQ(mfcc.frames(), 4);
    EXPECT_THROW(mfcc.finish(), Failure);
    EXPECT_EQ(mfcc.frames(), 0);
    expect_same(rows_of<TypeParam>(mfcc, samples, 20000), first);
}

TYPED_TEST(MfccTest, RowsLeaveAsSoonAsTheyAreComplete)
{
    Mfcc<TypeParam> mfcc(MfccOptions{});
    const std::vector<TypeParam> samples = samples_of_file<TypeParam>(20000);
    std::int64_t left = 0;
    for (std::size_t i = 0; i + 160 <= samples.size(); i += 160) {
        left += mfcc.add(std::span(samples).subspan(i, 160)).rows;
        EXPECT_EQ(left, std::max<std::int64_t>(0, mfcc.frames() - 6));
    }
    EXPECT_EQ(mfcc.finish().rows, 6);
}

TEST(MfccOptionsTest, MembersOutOfRangeAreRefusedInWords)
{
    const auto refused = [](auto change) {
        MfccOptions options;
        change(options);
        try {
            Mfcc<float> mfcc(options);
        } catch (const Failure& failure) {
            return std::string(failure.what()).find("outside") != std::string::npos;
        }
        return false;
    };
    EXPECT_FALSE(refused([](MfccOptions&) {}));
    EXPECT_TRUE(refused([](MfccOptions& o) { o.rate = 0; }));
    EXPECT_TRUE(refused([](MfccOptions& o) { o.frame_ms = -1; }));
    EXPECT_TRUE(refused([](MfccOptions& o) { o.shift_ms = std::numeric_limits<double>::quiet_NaN(); }));
    EXPECT_TRUE(refused([](MfccOptions& o) { o.filters = 12; }));
    EXPECT_TRUE(refused([](MfccOptions& o) { o.high_hz = 8001; }));
    EXPECT_TRUE(refused([](MfccOptions& o) { o.derivatives = 3; }));
    EXPECT_TRUE(refused([](MfccOptions& o) { o.pre_emphasis = 1; }));
}

TEST(MfccOptionsTest, SixteenBitsHoldTheLargestValue)
{
    MfccOptions options;
    EXPECT_EQ(options.fixed_bits(), 7);
    options.filters = 256;
    EXPECT_EQ(options.fixed_bits(), 6);
}

}  // namespace
}  // namespace zelsr::examples

int main(int count, char** arguments) { return zelsr::examples::test_given_sound(count, arguments); }
