// The aligned allocator and the hooks through which it reaches the C heap.
#include "zelsr/core/memory.h"

#include <cstdint>
#include <cstdlib>

void* (*i_malloc)(std::size_t) = std::malloc;
void* (*i_calloc)(std::size_t, std::size_t) = std::calloc;
void* (*i_realloc)(void*, std::size_t) = std::realloc;
void (*i_free)(void*) = std::free;
int32_t i_version = 1;
int32_t i_min_version = 0;

namespace zelsr {
namespace {

constexpr std::size_t kAlignment = 32;
// The widest gap and the saved address: 35 on i386.
constexpr std::size_t kLead = kAlignment - 1 + sizeof(void*);

template <class T>
T* allocate_aligned(int32_t count)
{
    if (count < 1) return nullptr;
    void* raw = i_malloc(static_cast<std::size_t>(count) * sizeof(T) + kLead + 1);  // unsigned: wraps on i386
    if (raw == nullptr) return nullptr;
    void** block = reinterpret_cast<void**>((reinterpret_cast<std::uintptr_t>(raw) + kLead) & ~(kAlignment - 1));
    block[-1] = raw;
    return reinterpret_cast<T*>(block);
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

uint8_t* zelsMalloc_8u(int32_t count) { return allocate_aligned<uint8_t>(count); }
int16_t* zelsMalloc_16s(int32_t count) { return allocate_aligned<int16_t>(count); }
int32_t* zelsMalloc_32s(int32_t count) { return allocate_aligned<int32_t>(count); }
float* zelsMalloc_32f(int32_t count) { return allocate_aligned<float>(count); }
double* zelsMalloc_64f(int32_t count) { return allocate_aligned<double>(count); }

void zelsFree(void* block)
{
    if (block != nullptr) i_free(static_cast<void**>(block)[-1]);
}
