#include "plain/log_add.h"

#include "plain/plain.h"

namespace zelsr::bench::plain {

template <class T>
void log_add(const T* src, T* srcdst, int len)
{
    for (int i = 0; i < len; ++i) srcdst[i] = log_added(src[i], srcdst[i]);
}
template void log_add(const float*, float*, int);
template void log_add(const double*, double*, int);

float log_sum(const float* src, int len)
{
    const float greatest = *std::max_element(src, src + len);
    float sum = 0;
    for (int i = 0; i < len; ++i) sum += std::exp(src[i] - greatest);
    return greatest + std::log(sum);
}

}  // namespace zelsr::bench::plain
