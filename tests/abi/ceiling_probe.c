/* Runs one instruction of an instruction set; a processor without it ends the program by a signal. */
#include <string.h>

int main(int argc, char** argv)
{
    if (argc != 2) return 2;
    if (strcmp(argv[1], "ssse3") == 0) __asm__ volatile("pabsb %%xmm0, %%xmm1" : : : "xmm1");
    else if (strcmp(argv[1], "sse41") == 0) __asm__ volatile("pmulld %%xmm0, %%xmm1" : : : "xmm1");
    else if (strcmp(argv[1], "avx") == 0) __asm__ volatile("vaddps %%xmm0, %%xmm1, %%xmm2" : : : "xmm2");
    else return 2;
    return 0;
}
