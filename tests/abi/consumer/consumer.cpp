#include <zelsr.h>

#include <cstdio>

int main()
{
    const float values[] = {1.0F, 3.0F, 3.0F};
    float highest = 0;
    int32_t index = -1;
    const SrStatus status = zelsMaxIndx_32f(values, 3, &highest, &index);
    std::printf("%s: %g at %d\n", zelsrGetLibVersion()->name, static_cast<double>(highest), index);
    return status == SrOk && highest == 3.0F && index == 1 ? 0 : 1;
}
