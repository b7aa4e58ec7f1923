#include "plain/plain.h"

namespace zelsr::bench::plain {

template <class T>
T greatest(const T* src, int len)
{
    T greatest = src[0];
    for (int i = 1; i < len; ++i) greatest = src[i] > greatest ? src[i] : greatest;
    return greatest;
}
template float greatest(const float*, int);
template double greatest(const double*, int);

template <class T>
T least(const T* src, int len)
{
    T least = src[0];
    for (int i = 1; i < len; ++i) least = src[i] < least ? src[i] : least;
    return least;
}
template float least(const float*, int);
template double least(const double*, int);

void least_and_greatest(const float* src, int len, float* low, float* high)
{
    float least = src[0], greatest = src[0];
    for (int i = 1; i < len; ++i) {
        least = src[i] < least ? src[i] : least;
        greatest = src[i] > greatest ? src[i] : greatest;
    }
    *low = least;
    *high = greatest;
}

template <class T>
T greatest(const T* src, int len, int* index)
{
    int best = 0;
    for (int i = 1; i < len; ++i)
        if (src[i] > src[best]) best = i;
    *index = best;
    return src[best];
}
template float greatest(const float*, int, int*);
template double greatest(const double*, int, int*);

float least(const float* src, int len, int* index)
{
    int best = 0;
    for (int i = 1; i < len; ++i)
        if (src[i] < src[best]) best = i;
    *index = best;
    return src[best];
}

void greater_of_each(const float* src, float* srcdst, int len)
{
    for (int i = 0; i < len; ++i) srcdst[i] = src[i] > srcdst[i] ? src[i] : srcdst[i];
}

template <class T>
void lesser_of_each(const T* src, T* srcdst, int len)
{
    for (int i = 0; i < len; ++i) srcdst[i] = src[i] < srcdst[i] ? src[i] : srcdst[i];
}
template void lesser_of_each(const float*, float*, int);
template void lesser_of_each(const std::int32_t*, std::int32_t*, int);

}  // namespace zelsr::bench::plain
