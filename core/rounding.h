// The default floating-point environment for the time of a kernel, whatever the caller has set.
#pragma once

#include <xmmintrin.h>

#include <cstdint>

namespace zelsr {

// Sets round to nearest, masked exceptions, full x87 precision and no flushing of subnormals, and puts the
// caller's words back. Costs two reads where the caller has the default already. Where he has not, his status
// flags return with his control words, so that no exception that he unmasked fires after the return.
//
// The compiler orders only memory accesses against the change: everything between construction and
// destruction must come from memory and end in memory.
class DefaultFloatEnvironment {
  public:
    DefaultFloatEnvironment()
    {
        asm volatile("fnstcw %0" : "=m"(x87_control_));
        if ((sse_ & kSseControl) != kSseDefault) _mm_setcsr(kSseDefault);
        if ((x87_control_ & kX87Control) != kX87Default) {
            const std::uint16_t standard = kX87Standard;
            asm volatile("fnstenv %0\n\tfnclex\n\tfldcw %1" : "=m"(x87_) : "m"(standard));
        }
        asm volatile("" ::: "memory");
    }
    ~DefaultFloatEnvironment()
    {
        asm volatile("" ::: "memory");
        if ((x87_control_ & kX87Control) != kX87Default) asm volatile("fldenv %0" : : "m"(x87_));
        if ((sse_ & kSseControl) != kSseDefault) _mm_setcsr(sse_);
    }
    DefaultFloatEnvironment(const DefaultFloatEnvironment&) = delete;
    DefaultFloatEnvironment& operator=(const DefaultFloatEnvironment&) = delete;

  private:
    static constexpr unsigned kSseControl = 0xffc0;  // subnormals, masks, rounding
    static constexpr unsigned kSseDefault = 0x1f80;
    static constexpr std::uint16_t kX87Control = 0x0f3f;  // rounding, precision, masks
    static constexpr std::uint16_t kX87Default = 0x033f;
    static constexpr std::uint16_t kX87Standard = 0x037f;  // the same with the reserved bit that reads as 1

    struct X87Environment {
        std::uint32_t words[7];
    };

    unsigned sse_ = _mm_getcsr();
    std::uint16_t x87_control_;
    X87Environment x87_;
};

}  // namespace zelsr
