// The class behind the aurora example, as other programs use it. Usage: examples_front_end_test SOUND
#include "aurora/front_end.h"

#include <gtest/gtest.h>

#include <cstring>

#include "common/failure.h"
#include "common/mfcc.h"
#include "examples/given_sound.h"

namespace zelsr::examples {
namespace {

// All that an utterance gives.
template <class T>
struct Utterance {
    std::vector<T> values, cleaned;
    std::vector<Mark> marks;
    bool operator==(const Utterance&) const = default;
};

template <class T>
Utterance<T> utterance_of(FrontEnd<T>& front_end, std::span<const T> samples, std::size_t part)
{
    Utterance<T> all;
    const auto keep = [&](const RowBlock<T>& rows) {
        for (std::int32_t r = 0; r < rows.rows; ++r)
            all.values.insert(all.values.end(), rows[r], rows[r] + front_end.width());
        const std::vector<Mark> marks = front_end.take_marks();
        all.marks.insert(all.marks.end(), marks.begin(), marks.end());
        const std::vector<T> cleaned = front_end.take_cleaned();
        all.cleaned.insert(all.cleaned.end(), cleaned.begin(), cleaned.end());
    };
    front_end.keep_cleaned();
    for (std::size_t i = 0; i < samples.size(); i += part)
        keep(front_end.add(samples.subspan(i, std::min(part, samples.size() - i))));
    keep(front_end.finish());
    return all;
}

template <class T>
class FrontEndTest : public testing::Test {};
using Elements = testing::Types<float, std::int16_t>;
TYPED_TEST_SUITE(FrontEndTest, Elements);

// Whatever the file's rate: the samples are taken to be of this one.
constexpr int kRates[] = {kLowRate, kHighRate};

TYPED_TEST(FrontEndTest, EveryFrameHasARowAndAMarkAndEverySampleStays)
{
    const std::vector<TypeParam> samples = samples_of_file<TypeParam>(8000);
    for (const int rate : kRates) {
        const int ratio = rate / kLowRate;
        FrontEnd<TypeParam> front_end(rate);
        for (const int count : {760, 839, 840, 1080, 1161, 4000}) {
            const std::span used = std::span(samples).first(static_cast<std::size_t>(count * ratio));
            const auto all = utterance_of<TypeParam>(front_end, used, 100);
            const auto frames = static_cast<std::size_t>((count - kFrame) / kHop + 1);
            EXPECT_EQ(all.values.size(), frames * kRow) << count << " at " << rate;
            EXPECT_EQ(all.marks.size(), frames) << count << " at " << rate;
            EXPECT_EQ(all.cleaned.size(), static_cast<std::size_t>(count)) << rate;
        }
    }
}

TYPED_TEST(FrontEndTest, AnotherUtteranceBeginsAfterFinish)
{
    const std::vector<TypeParam> samples = samples_of_file<TypeParam>(30000);
    for (const int rate : kRates) {
        FrontEnd<TypeParam> front_end(rate);
        const auto first = utterance_of<TypeParam>(front_end, samples, 777);
        EXPECT_TRUE(utterance_of<TypeParam>(front_end, samples, 30000) == first) << rate;

        // Also after one that was too short, of which nothing is left.
        for (const std::size_t count : {0, 1, 759}) {
            front_end.add(std::span(samples).first(count));
            EXPECT_THROW(front_end.finish(), Failure) << count;
            EXPECT_EQ(front_end.frames(), 0);
            EXPECT_TRUE(front_end.take_marks().empty()) << count;
            EXPECT_TRUE(front_end.take_cleaned().empty()) << count;
            EXPECT_TRUE(utterance_of<TypeParam>(front_end, samples, 4000) == first) << count;
        }
    }
}

TEST(FrontEndRateTest, OthersAreRefused)
{
    for (const int rate : {0, -8000, 7999, 11025, 32000}) EXPECT_THROW(FrontEnd<float>{rate}, Failure) << rate;
}

}  // namespace
}  // namespace zelsr::examples

int main(int count, char** arguments) { return zelsr::examples::test_given_sound(count, arguments); }
