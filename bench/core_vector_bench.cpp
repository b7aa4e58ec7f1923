// Copies and elementwise arithmetic.
#include <zelsr/core/vector.h>

#include <cstring>

#include "plain/plain.h"
#include "support/eigen.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

constexpr char checks_first[] = "checks, then the C library's memcpy, memmove or memset";
constexpr char same_traffic[] = "all are bound by loads and stores alike";

template <class T>
double registers_of(int count)
{
    return count * static_cast<double>(sizeof(T)) / 16;
}

template <class T, SrStatus Copy(const T*, T*, int32_t)>
void copy_row(Row& row)
{
    const int len = row.len;
    const T* src = row.input<T>(len, T(0), T(100));
    row.reason_at_every_size(checks_first);
    auto answer = row.answer<T>(len);
    answer.library([=](T* dst) { Copy(src, dst, len); });
    answer.plain([=](T* dst) { plain::copy(src, dst, len); });
    answer.peer("memcpy", [=](T* dst) { std::memcpy(dst, src, static_cast<std::size_t>(len) * sizeof(T)); });
}

void move_32f(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, -1.0F, 1.0F);
    row.reason_at_every_size(checks_first);
    auto answer = row.answer<float>(len);
    answer.library([=](float* dst) { zelsMove_32f(src, dst, len); });
    answer.plain([=](float* dst) { plain::move(src, dst, len); });
    answer.peer("memmove",
                [=](float* dst) { std::memmove(dst, src, static_cast<std::size_t>(len) * sizeof(float)); });
}

template <class T, SrStatus Set(T, T*, int32_t)>
void set_row(Row& row)
{
    const int len = row.len;
    row.registers(registers_of<T>(len), {.stores = 1});
    row.reason(same_traffic);
    auto answer = row.answer<T>(len);
    answer.library([=](T* dst) { Set(T(3), dst, len); });
    answer.plain([=](T* dst) { plain::set(T(3), dst, len); });
    answer.peer("Eigen", [=](T* dst) { array(dst, len) = T(3); });
}

void zero_32f(Row& row)
{
    const int len = row.len;
    row.reason_at_every_size(checks_first);
    auto answer = row.answer_in_place(row.input(len, -1.0F, 1.0F), len);
    answer.library([=](float* dst) { zelsZero_32f(dst, len); });
    answer.plain([=](float* dst) { plain::set(0.0F, dst, len); });
    answer.peer("memset", [=](float* dst) { std::memset(dst, 0, static_cast<std::size_t>(len) * sizeof(float)); });
}

void abs_64f(Row& row)
{
    const int len = row.len;
    const double* src = row.input(len, -1.0, 1.0);
    row.registers(registers_of<double>(len), {.loads = 1, .stores = 1});
    row.reason(same_traffic);
    auto answer = row.answer<double>(len);
    answer.library([=](double* dst) { zelsAbs_64f(src, dst, len); });
    answer.plain([=](double* dst) { plain::absolute(src, dst, len); });
    answer.peer("Eigen", [=](double* dst) { array(dst, len) = array(src, len).abs(); });
}

template <class T, SrStatus Add(const T*, T*, int32_t)>
void add_row(Row& row)
{
    const int len = row.len;
    const T* src = row.input<T>(len, -1, 1);
    row.registers(registers_of<T>(len), {.loads = 2, .stores = 1, .adds = 1});
    row.reason(same_traffic);
    auto answer = row.answer<T>(len);
    answer.library([=](T* srcdst) { Add(src, srcdst, len); });
    answer.plain([=](T* srcdst) { plain::add_to(src, srcdst, len); });
    answer.peer("Eigen", [=](T* srcdst) { array(srcdst, len) += array(src, len); });
}

template <class T, SrStatus Sub(const T*, T*, int32_t)>
void sub_row(Row& row)
{
    const int len = row.len;
    const T* src = row.input<T>(len, -1, 1);
    row.registers(registers_of<T>(len), {.loads = 2, .stores = 1, .adds = 1});
    row.reason(same_traffic);
    auto answer = row.answer<T>(len);
    answer.library([=](T* srcdst) { Sub(src, srcdst, len); });
    answer.plain([=](T* srcdst) { plain::subtract_from(src, srcdst, len); });
    answer.peer("Eigen", [=](T* srcdst) { array(srcdst, len) -= array(src, len); });
}

void mul_32f(Row& row)
{
    const int len = row.len;
    const float* first = row.input(len, -1.0F, 1.0F);
    const float* second = row.input(len, -1.0F, 1.0F);
    row.registers(registers_of<float>(len), {.loads = 2, .stores = 1, .multiplies = 1});
    row.reason(same_traffic);
    auto answer = row.answer<float>(len);
    answer.library([=](float* dst) { zelsMul_32f(first, second, dst, len); });
    answer.plain([=](float* dst) { plain::multiply(first, second, dst, len); });
    answer.peer("Eigen", [=](float* dst) { array(dst, len) = array(first, len) * array(second, len); });
}

template <int ScaleFactor>
void mul_16s(Row& row)
{
    const int len = row.len;
    const auto* first = row.input<std::int16_t>(len, -32768, 32767);
    const auto* second = row.input<std::int16_t>(len, -32768, 32767);
    row.registers(registers_of<std::int16_t>(len), {.loads = 2, .stores = 1});
    auto answer = row.answer<std::int16_t>(len);
    answer.library([=](std::int16_t* dst) { zelsMul_16s_Sfs(first, second, dst, len, ScaleFactor); });
    answer.plain([=](std::int16_t* dst) { plain::multiply(first, second, dst, len, ScaleFactor); });
}

void add_c_32f(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, -1.0F, 1.0F);
    row.registers(registers_of<float>(len), {.loads = 1, .stores = 1, .adds = 1});
    row.reason(same_traffic);
    auto answer = row.answer<float>(len);
    answer.library([=](float* dst) { zelsAddC_32f(src, 0.3F, dst, len); });
    answer.plain([=](float* dst) { plain::add_constant(src, 0.3F, dst, len); });
    answer.peer("Eigen", [=](float* dst) { array(dst, len) = array(src, len) + 0.3F; });
}

template <class T, SrStatus MulC(const T*, T, T*, int32_t)>
void mul_c_row(Row& row)
{
    const int len = row.len;
    const T* src = row.input<T>(len, -1, 1);
    row.registers(registers_of<T>(len), {.loads = 1, .stores = 1, .multiplies = 1});
    row.reason(same_traffic);
    auto answer = row.answer<T>(len);
    answer.library([=](T* dst) { MulC(src, T(0.3), dst, len); });
    answer.plain([=](T* dst) { plain::multiply_constant(src, T(0.3), dst, len); });
    answer.peer("Eigen", [=](T* dst) { array(dst, len) = array(src, len) * T(0.3); });
}

// In place by -1, so that values keep their size from call to call.
template <class T, SrStatus MulC(T, T*, int32_t)>
void mul_c_in_place_row(Row& row)
{
    const int len = row.len;
    row.registers(registers_of<T>(len), {.loads = 1, .stores = 1, .multiplies = 1});
    row.reason(same_traffic);
    auto answer = row.answer_in_place(row.input<T>(len, -1, 1), len);
    answer.library([=](T* srcdst) { MulC(T(-1), srcdst, len); });
    answer.plain([=](T* srcdst) { plain::multiply_constant(srcdst, T(-1), srcdst, len); });
    answer.peer("Eigen", [=](T* srcdst) { array(srcdst, len) *= T(-1); });
}

void div_c_32f(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, -1.0F, 1.0F);
    row.registers(registers_of<float>(len), {.loads = 1, .stores = 1, .multiplies = 1});
    row.reason(same_traffic);
    auto answer = row.answer<float>(len, 1e-6);
    answer.library([=](float* dst) { zelsDivC_32f(src, 0.3F, dst, len); });
    answer.plain([=](float* dst) { plain::multiply_constant(src, 1 / 0.3F, dst, len); });
    answer.peer("Eigen", [=](float* dst) { array(dst, len) = array(src, len) * (1 / 0.3F); });
}

template <class T, SrStatus Div(const T*, const T*, T*, int32_t)>
void div_row(Row& row)
{
    const int len = row.len;
    const T* divisor = row.input<T>(len, T(0.5), 2);
    const T* dividend = row.input<T>(len, -1, 1);
    if (sizeof(T) == sizeof(float))
        row.registers(registers_of<T>(len), {.loads = 2, .stores = 1, .divides = 1});
    else
        row.registers(registers_of<T>(len), {.loads = 2, .stores = 1, .double_divides = 1});
    row.reason("bound by the divider; the divisors are tested for zero besides");
    auto answer = row.answer<T>(len);
    answer.library([=](T* dst) { Div(divisor, dividend, dst, len); });
    answer.plain([=](T* dst) { plain::divide(divisor, dividend, dst, len); });
    answer.peer("Eigen", [=](T* dst) { array(dst, len) = array(dividend, len) / array(divisor, len); });
}

// The roots of roots tend to 1, which costs the root unit as much as any other number.
void sqrt_64f(Row& row)
{
    const int len = row.len;
    row.registers(registers_of<double>(len), {.loads = 1, .stores = 1, .double_roots = 1});
    row.reason("bound by the root unit; the elements are tested for a sign besides");
    auto answer = row.answer_in_place(row.input(len, 0.5, 100.0), len);
    answer.library([=](double* srcdst) { zelsSqrt_64f_I(srcdst, len); });
    answer.plain([=](double* srcdst) { plain::root(srcdst, len); });
    answer.peer("Eigen", [=](double* srcdst) { array(srcdst, len) = array(srcdst, len).sqrt(); });
}

void magnitude_32fc(Row& row)
{
    const int len = row.len;
    const float* pairs = row.input(2 * len, -1.0F, 1.0F);
    row.registers(registers_of<float>(len), {.loads = 2, .stores = 1, .multiplies = 5, .adds = 2});
    auto answer = row.answer<float>(len, 1e-6);
    answer.library([=](float* dst) { zelsMagnitude_32fc(reinterpret_cast<const Zel32fc*>(pairs), dst, len); });
    answer.plain([=](float* dst) { plain::magnitude(pairs, dst, len); });
    answer.peer("Eigen", [=](float* dst) {
        using Pairs = Eigen::Map<const Eigen::Array<float, 2, Eigen::Dynamic>>;
        array(dst, len) = Pairs(pairs, 2, len).square().colwise().sum().sqrt().transpose();
    });
}

void magnitude_32sc(Row& row)
{
    const int len = row.len;
    const auto* pairs = row.input<std::int32_t>(2 * len, -100000, 100000);
    row.registers(registers_of<double>(len), {.double_roots = 1});
    auto answer = row.answer<std::int32_t>(len);
    answer.library(
        [=](std::int32_t* dst) { zelsMagnitude_32sc_Sfs(reinterpret_cast<const Zel32sc*>(pairs), dst, len, 2); });
    answer.plain([=](std::int32_t* dst) { plain::magnitude(pairs, dst, len, 2); });
}

const Table copies{"core/copy",
                   {{"zelsCopy_8u", copy_row<std::uint8_t, zelsCopy_8u>},
                    {"zelsCopy_32f", copy_row<float, zelsCopy_32f>},
                    {"zelsCopy_64f", copy_row<double, zelsCopy_64f>},
                    {"zelsMove_32f", move_32f},
                    {"zelsSet_16s", set_row<std::int16_t, zelsSet_16s>},
                    {"zelsSet_32f", set_row<float, zelsSet_32f>},
                    {"zelsZero_32f", zero_32f}},
                   vector_sizes};

const Table arithmetic{"core/arithmetic",
                       {{"zelsAbs_64f", abs_64f},
                        {"zelsAdd_32f_I", add_row<float, zelsAdd_32f_I>},
                        {"zelsAdd_64f_I", add_row<double, zelsAdd_64f_I>},
                        {"zelsSub_32f_I", sub_row<float, zelsSub_32f_I>},
                        {"zelsMul_32f", mul_32f},
                        {"zelsMul_16s_Sfs (sf 0)", mul_16s<0>},
                        {"zelsMul_16s_Sfs (sf 15)", mul_16s<15>},
                        {"zelsAddC_32f", add_c_32f},
                        {"zelsMulC_32f", mul_c_row<float, zelsMulC_32f>},
                        {"zelsMulC_64f", mul_c_row<double, zelsMulC_64f>},
                        {"zelsMulC_32f_I", mul_c_in_place_row<float, zelsMulC_32f_I>},
                        {"zelsDivC_32f", div_c_32f},
                        {"zelsDiv_32f", div_row<float, zelsDiv_32f>},
                        {"zelsDiv_64f", div_row<double, zelsDiv_64f>},
                        {"zelsSqrt_64f_I", sqrt_64f},
                        {"zelsMagnitude_32fc", magnitude_32fc},
                        {"zelsMagnitude_32sc_Sfs", magnitude_32sc}},
                       vector_sizes};

}  // namespace
}  // namespace zelsr::bench
