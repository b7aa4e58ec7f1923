#include "support/odd_stack.h"

#ifdef __i386__

extern "C" std::int32_t zelsr_test_call_on_odd_stack(const void* function, const std::uint32_t* words,
                                                     std::uint32_t count, std::uint32_t misalign);

asm(R"(
    .text
    .globl zelsr_test_call_on_odd_stack
    .type zelsr_test_call_on_odd_stack, @function
zelsr_test_call_on_odd_stack:
    push %ebp
    mov %esp, %ebp
    push %esi
    push %edi
    mov 12(%ebp), %esi
    mov 16(%ebp), %ecx
    lea (,%ecx,4), %eax
    sub %eax, %esp
    and $-16, %esp
    sub $16, %esp
    add 20(%ebp), %esp
    mov %esp, %edi
    cld
    rep movsl
    call *8(%ebp)
    lea -8(%ebp), %esp
    pop %edi
    pop %esi
    pop %ebp
    ret
    .section .note.GNU-stack,"",@progbits
    .text
)");

namespace zelsr::test {

std::int32_t call_on_odd_stack(const void* function, const std::vector<std::uint32_t>& words, int misalign)
{
    return zelsr_test_call_on_odd_stack(function, words.data(), static_cast<std::uint32_t>(words.size()),
                                        static_cast<std::uint32_t>(misalign));
}

}  // namespace zelsr::test

#endif
