/* A program at a fixed address, whose linker copies the library's hook words into it: the library must read the
 * copies. */
#include <stdlib.h>
#include <zelsr.h>

static int allocations;

static void* counting_malloc(size_t bytes)
{
    ++allocations;
    return malloc(bytes);
}

int main(void)
{
    i_malloc = counting_malloc;
    i_free = free;
    zelsFree(zelsMalloc_32f(10));
    return allocations == 1 && i_version == 1 && i_min_version == 0 ? 0 : 1;
}
