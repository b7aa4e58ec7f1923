// Logarithms and sums of logarithms. The plain loop calls the C library's log.
#include <zelsr/core/vector.h>

#include <cstring>

#include "plain/plain.h"
#include "support/eigen.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

// In place, hence each contender copies the source first.
void ln_32f(Row& row)
{
    const int len = row.len;
    const float* src = row.input(len, 0.001F, 1000.0F);
    const auto bytes = static_cast<std::size_t>(len) * sizeof(float);
    row.reason("Eigen's error bound is wider");
    auto answer = row.answer<float>(len, 1e-6);
    answer.library([=](float* srcdst) {
        std::memcpy(srcdst, src, bytes);
        zelsLn_32f_I(srcdst, len);
    });
    answer.plain([=](float* srcdst) {
        std::memcpy(srcdst, src, bytes);
        plain::logarithm(srcdst, len);
    });
    answer.peer("Eigen", [=](float* srcdst) {
        std::memcpy(srcdst, src, bytes);
        array(srcdst, len) = array(srcdst, len).log();
    });
}

template <int ScaleFactor>
void ln_32s(Row& row)
{
    const int len = row.len;
    const auto* src = row.input<std::int32_t>(len, 1, 1 << 30);
    auto answer = row.answer<std::int32_t>(len, ScaleFactor < 0 ? 2 : 0);
    answer.library([=](std::int32_t* dst) { zelsLn_32s_Sfs(src, dst, len, ScaleFactor); });
    answer.plain([=](std::int32_t* dst) { plain::logarithm(src, dst, len, ScaleFactor); });
    answer.peer("Eigen", [=](std::int32_t* dst) {
        array(dst, len) = (array(src, len).cast<float>().log() * static_cast<float>(1 << -ScaleFactor))
                              .rint()
                              .cast<std::int32_t>();
    });
}

template <class T, SrStatus SumLn(const T*, int32_t, T*)>
void sum_ln_row(Row& row)
{
    const int len = row.len;
    const T* src = row.input<T>(len, T(0.001), T(1000));
    auto answer = row.answer<T>(1, 1e-6);
    answer.library([=](T* sum) { SumLn(src, len, sum); });
    answer.plain([=](T* sum) { *sum = plain::sum_of_logarithms(src, len); });
    answer.peer("Eigen",
                [=](T* sum) { *sum = static_cast<T>(array(src, len).template cast<double>().log().sum()); });
}

const Table logarithms{"core/logarithm",
                       {{"zelsLn_32f_I", ln_32f},
                        {"zelsLn_32s_Sfs (sf 0)", ln_32s<0>},
                        {"zelsLn_32s_Sfs (sf -16)", ln_32s<-16>},
                        {"zelsSumLn_32f", sum_ln_row<float, zelsSumLn_32f>},
                        {"zelsSumLn_64f", sum_ln_row<double, zelsSumLn_64f>}},
                       vector_sizes};

}  // namespace
}  // namespace zelsr::bench
