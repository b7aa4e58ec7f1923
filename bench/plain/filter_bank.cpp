#include "plain/plain.h"

namespace zelsr::bench::plain {

template <class Bin, class Weight, class Sum>
void filter_bank(const Bin* src, const int* centers, const Weight* const* weights, Sum* dst, int filters)
{
    for (int i = 0; i < filters; ++i) {
        Sum sum = 0;
        for (int b = centers[i]; b <= centers[i + 2]; ++b) sum += Sum{weights[i][b - centers[i]]} * Sum{src[b]};
        dst[i] = sum;
    }
}

template void filter_bank(const float*, const int*, const float* const*, float*, int);
template void filter_bank(const std::int16_t*, const int*, const std::int32_t* const*, std::int64_t*, int);
template void filter_bank(const std::int32_t*, const int*, const std::int32_t* const*, std::int64_t*, int);

}  // namespace zelsr::bench::plain
