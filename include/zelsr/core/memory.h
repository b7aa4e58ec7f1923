/* Aligned memory, the allocator hooks and the version record. */
#ifndef ZELSR_CORE_MEMORY_H
#define ZELSR_CORE_MEMORY_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup memory Aligned memory and version
 *
 * Blocks on 32-byte boundaries, so that every aligned kernel of the library may run on them. A block lies
 * inside one from ::i_malloc; the word before it keeps the address that the hook returned.
 *
 * Thread rules: as safe as the functions in the hooks. No list of blocks is kept.
 * @{ */

/** The allocator that every allocation of the library goes through; malloc at the start.
 *
 * The four hooks are plain words. Change i_malloc and i_free together, before the first call of the library
 * or while no block of the library is alive, and not while a call is in flight. */
extern void* (*i_malloc)(size_t bytes);
/** For the application; no code of the library calls it. calloc at the start. */
extern void* (*i_calloc)(size_t count, size_t bytes);
/** For the application; no code of the library calls it. realloc at the start. */
extern void* (*i_realloc)(void* block, size_t bytes);
/** Every release of the library goes through it; free at the start. */
extern void (*i_free)(void* block);

/** 1; read by nothing in the library. */
extern int32_t i_version;
/** 0; read by nothing in the library. */
extern int32_t i_min_version;

/** A block of count elements on a 32-byte boundary, for zelsFree(); null if count is below 1 (the hook is
 * not called) or the hook refused.
 *
 * One call of ::i_malloc asks for count * sizeof(element) + 32 bytes and one pointer: 36 more on i386, 40 on
 * x86-64. The computation is not tested for overflow; on i386 it wraps at 2^32. */
uint8_t* zelsMalloc_8u(int32_t count);
int16_t* zelsMalloc_16s(int32_t count);  /**< As zelsMalloc_8u(). */
int32_t* zelsMalloc_32s(int32_t count);  /**< As zelsMalloc_8u(). */
float* zelsMalloc_32f(int32_t count);    /**< As zelsMalloc_8u(). */
double* zelsMalloc_64f(int32_t count);   /**< As zelsMalloc_8u(). */

/** Releases a block from zelsMalloc_*(); null is ignored. A block from elsewhere is undefined behaviour. */
void zelsFree(void* block);

/** What zelsrGetLibVersion() points to. */
typedef struct {
    int32_t major;             /**< 5 */
    int32_t minor;             /**< 2 */
    int32_t major_build;       /**< 108 */
    int32_t build;             /**< 385 */
    char target_code[4];       /**< "q4", zero-filled */
    const char* name;          /**< "libzelsrq4.so.5.2" */
    const char* version;       /**< "5.2" */
    const char* build_date;    /**< "Jul 11 2007" */
} SrLibVersion;

/** The library's version: always the same constant record, not to be written. */
const SrLibVersion* zelsrGetLibVersion(void);

/** @} */

ZELSR_END_DECLARATIONS

#endif
