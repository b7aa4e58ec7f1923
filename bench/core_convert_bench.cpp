// Conversions between element types.
#include <zelsr/core/convert.h>

#include <algorithm>
#include <cmath>
#include <limits>

#include "plain/plain.h"
#include "support/eigen.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char same_steps[] = "all are bound by the same loads, conversions and stores";
constexpr char sign_shifts[] =
    "16 bits are widened by two shifts a register, where Eigen's loop forms one sign mask";
constexpr char any_mode[] = "the caller's rounding mode is saved, set and put back, whatever it is";

// Loads and stores of 16 bytes that the two arrays take.
template <class From, class To>
void needs(Row& row)
{
    row.registers(row.len / 16.0, {.loads = sizeof(From), .stores = sizeof(To)});
}

template <class From, class To, SrStatus Convert(const From*, To*, int32_t)>
void exact_row(Row& row, From low, From high)
{
    const int len = row.len;
    const From* src = row.input<From>(len, low, high);
    needs<From, To>(row);
    row.reason(sizeof(From) == 2 ? sign_shifts : same_steps);
    auto answer = row.answer<To>(len);
    answer.library([=](To* dst) { Convert(src, dst, len); });
    answer.plain([=](To* dst) { plain::convert(src, dst, len); });
    answer.peer("Eigen", [=](To* dst) { array(dst, len) = array(src, len).template cast<To>(); });
}

void from_8u(Row& row) { exact_row<std::uint8_t, float, zelsConvert_8u32f>(row, 0, 255); }
void from_16s(Row& row) { exact_row<std::int16_t, float, zelsConvert_16s32f>(row, -32768, 32767); }
void from_32s(Row& row) { exact_row<std::int32_t, float, zelsConvert_32s32f>(row, -1000000, 1000000); }
void from_64f(Row& row) { exact_row<double, float, zelsConvert_64f32f>(row, -1, 1); }

template <class From, class To, SrStatus Convert(const From*, To*, int32_t, int32_t)>
void to_floating_row(Row& row)
{
    const int len = row.len;
    constexpr int sf = 4;
    const From* src = row.input<From>(len, -32768, 32767);
    needs<From, To>(row);
    row.reason(sizeof(From) == 2 ? sign_shifts : same_steps);
    auto answer = row.answer<To>(len);
    answer.library([=](To* dst) { Convert(src, dst, len, sf); });
    answer.plain([=](To* dst) { plain::convert_scaled(src, dst, len, sf); });
    answer.peer("Eigen",
                [=](To* dst) { array(dst, len) = array(src, len).template cast<To>() * std::ldexp(To(1), -sf); });
}

// From floating point, or from a wider integer, to an integer: rounded to nearest, saturated.
template <class From, class To, class Convert>
void to_integer_row(Row& row, From range, int sf, Convert convert)
{
    const int len = row.len;
    const From* src = row.input<From>(len, -range, range);
    needs<From, To>(row);
    row.reason_at_every_size(any_mode);
    auto answer = row.answer<To>(len);
    answer.library([=](To* dst) { convert(src, dst, len, sf); });
    answer.plain([=](To* dst) { plain::convert_scaled(src, dst, len, sf); });
    if constexpr (std::is_floating_point_v<From>)
        answer.peer("Eigen", [=](To* dst) {
            constexpr From low = std::numeric_limits<To>::min(), high = std::numeric_limits<To>::max();
            array(dst, len) =
                (array(src, len) * std::ldexp(From(1), -sf)).max(low).min(high).rint().template cast<To>();
        });
}

void to_16s(Row& row)
{
    to_integer_row<float, std::int16_t>(row, 40000.0F, 0,
                                        [](const float* src, std::int16_t* dst, int len, int sf) {
                                            zelsConvert_32f16s_Sfs(src, dst, len, 1, sf);
                                        });
}
// Within the range: Eigen's greatest single below 2^31 is no 32-bit integer.
void to_32s(Row& row)
{
    to_integer_row<float, std::int32_t>(row, 1e6F, -3, [](const float* src, std::int32_t* dst, int len, int sf) {
        zelsConvert_32f32s_Sfs(src, dst, len, 1, sf);
    });
}
void double_to_32s(Row& row)
{
    to_integer_row<double, std::int32_t>(row, 4e8, -3, [](const double* src, std::int32_t* dst, int len, int sf) {
        zelsConvert_64f32s_Sfs(src, dst, len, 1, sf);
    });
}
void integer_to_16s(Row& row)
{
    to_integer_row<std::int32_t, std::int16_t>(row, 1000000, 4, zelsConvert_32s16s_Sfs);
}

const Table conversions{"core/convert",
                        {{"zelsConvert_8u32f", from_8u},
                         {"zelsConvert_16s32f", from_16s},
                         {"zelsConvert_32s32f", from_32s},
                         {"zelsConvert_64f32f", from_64f},
                         {"zelsConvert_16s32f_Sfs", to_floating_row<std::int16_t, float, zelsConvert_16s32f_Sfs>},
                         {"zelsConvert_32s32f_Sfs", to_floating_row<std::int32_t, float, zelsConvert_32s32f_Sfs>},
                         {"zelsConvert_16s64f_Sfs", to_floating_row<std::int16_t, double, zelsConvert_16s64f_Sfs>},
                         {"zelsConvert_32f16s_Sfs", to_16s},
                         {"zelsConvert_32f32s_Sfs", to_32s},
                         {"zelsConvert_64f32s_Sfs", double_to_32s},
                         {"zelsConvert_32s16s_Sfs", integer_to_16s}},
                        vector_sizes};

}  // namespace
}  // namespace zelsr::bench
