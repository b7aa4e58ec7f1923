// The checks of element-by-element functions against functions that are broken on purpose.
#include "support/elementwise.h"

#include <gtest/gtest-spi.h>
#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cstring>

#include "support/reference/vector.h"

namespace zelsr::test {
namespace {

// True if the check fails with a message that holds text.
bool notices(const std::function<void()>& check, const char* text)
{
    testing::TestPartResultArray failures;
    {
        testing::ScopedFakeTestPartResultReporter reporter(
            testing::ScopedFakeTestPartResultReporter::INTERCEPT_ONLY_CURRENT_THREAD, &failures);
        check();
    }
    for (int i = 0; i < failures.size(); ++i)
        if (std::strstr(failures.GetTestPartResult(i).message(), text) != nullptr) return true;
    return false;
}

float get(const float* from, int32_t i)
{
    float value;
    std::memcpy(&value, from + i, sizeof value);
    return value;
}
void put(float* to, int32_t i, float value) { std::memcpy(to + i, &value, sizeof value); }

SrStatus add(const float* src, float* srcdst, int32_t len)
{
    if (src == nullptr || srcdst == nullptr) return SrErrNullPtr;
    if (len < 1) return SrErrSize;
    for (int32_t i = 0; i < len; ++i) put(srcdst, i, get(srcdst, i) + get(src, i));
    return SrOk;
}

template <class Call>
Member added(Call call)
{
    return combine_in_place<float>("add", call, reference::add<float>);
}

TEST(Elementwise, AcceptsAFunctionThatIsRight)
{
    added(add)->expect_reference_at_every_length_and_placement();
    added(add)->expect_reference_for_every_pair_of_special_values();
    added(add)->expect_works_in_place();
    added(add)->expect_reference_for_length(5000);
    added(add)->expect_null_is_checked_before_size();
    added(add)->expect_takes_the_rounding_mode();
}

TEST(Elementwise, NoticesOneWrongElementAtOneLength)
{
    const Member member = added([](const float* src, float* srcdst, int32_t len) {
        const SrStatus status = add(src, srcdst, len);
        if (len == 33) put(srcdst, 32, 0.0F);
        return status;
    });
    EXPECT_TRUE(
        notices([&] { member->expect_reference_at_every_length_and_placement(); }, "element 32: expected"));
}

TEST(Elementwise, NoticesAByteBehindTheDestination)
{
    const Member member = added([](const float* src, float* srcdst, int32_t len) {
        const SrStatus status = add(src, srcdst, len);
        // Not on the forbidden page: behind an array that ends before it.
        if (reinterpret_cast<std::uintptr_t>(srcdst) % 4096 == 0) reinterpret_cast<char*>(srcdst + len)[0] = 0;
        return status;
    });
    EXPECT_TRUE(
        notices([&] { member->expect_reference_at_every_length_and_placement(); }, "beside the destination"));
}

TEST(Elementwise, NoticesAWrittenSourceAndAWrongStatus)
{
    const Member member = added([](const float* src, float* srcdst, int32_t len) {
        add(src, srcdst, len);
        put(const_cast<float*>(src), 0, 5.0F);
        return SrStatus{SrWarnDivByZero};
    });
    EXPECT_TRUE(notices([&] { member->expect_reference_for_length(9); }, "a source was written"));
    EXPECT_TRUE(notices([&] { member->expect_reference_for_length(9); }, "returned"));
}

TEST(Elementwise, NoticesAnOperandThatIsReadAfterItsPlaceWasWritten)
{
    const Member member = map<float>(
        "reverse",
        [](const float* src, float* dst, int32_t len) {
            for (int32_t i = 0; i < len; ++i) put(dst, i, get(src, len - 1 - i));
            return SrStatus{SrOk};
        },
        [](const auto& src, auto& dst) {
            dst.assign(src.rbegin(), src.rend());
            return SrStatus{SrOk};
        });
    member->expect_reference_for_length(9);
    EXPECT_TRUE(notices([&] { member->expect_works_in_place(); }, "expected"));
}

TEST(Elementwise, NoticesBitsThatAreLostWhereBitsAreDue)
{
    const Member member = map<float>(
        "copy",
        [](const float* src, float* dst, int32_t len) {
            std::memcpy(dst, src, static_cast<std::size_t>(len) * sizeof *dst);
            for (int32_t i = 0; i < len; ++i)
                if (std::isnan(get(src, i))) put(dst, i, std::numeric_limits<float>::quiet_NaN());
            return SrStatus{SrOk};
        },
        reference::copy<float>, Compare::Bits);
    EXPECT_TRUE(notices([&] { member->expect_reference_for_length(100000); }, "other bits"));
}

TEST(Elementwise, NoticesSizeBeforeNullAndARoundingModeOfItsOwn)
{
    const Member hasty = added([](const float* src, float* srcdst, int32_t len) {
        if (len < 1) return SrStatus{SrErrSize};
        return add(src, srcdst, len);
    });
    EXPECT_TRUE(notices([&] { hasty->expect_null_is_checked_before_size(); }, "faults: null"));
    if (under_valgrind()) return;  // it always rounds to nearest
    const Member nearest = added([](const float* src, float* srcdst, int32_t len) {
        const unsigned control = _mm_getcsr();
        _mm_setcsr(0x1f80);
        const SrStatus status = add(src, srcdst, len);
        _mm_setcsr(control);
        return status;
    });
    EXPECT_TRUE(notices([&] { nearest->expect_takes_the_rounding_mode(); }, "in rounding mode"));
}

TEST(Elementwise, NoticesADependenceOnTheEnvironment)
{
    const Member member = map<float>(
        "round",
        [](const float* src, float* dst, int32_t len) {
            if (_mm_getcsr() & 0x6000)
                put(dst, 0, 1.0F);
            else
                std::memcpy(dst, src, static_cast<std::size_t>(len) * sizeof *dst);
            return SrStatus{SrOk};
        },
        reference::copy<float>, Compare::Bits);
    EXPECT_TRUE(notices([&] { member->expect_same_in_each_environment(); }, "toward zero"));
}

}  // namespace
}  // namespace zelsr::test
