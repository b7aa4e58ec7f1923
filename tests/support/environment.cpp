#include "support/environment.h"

#include <gtest/gtest.h>
#include <xmmintrin.h>

#include <cstdint>
#include <vector>

#include "support/effort.h"

namespace zelsr::test {
namespace {

struct Setting {
    const char* name;
    unsigned sse;
    std::uint16_t x87;
    bool needs_real_processor;
};

std::uint16_t x87_control()
{
    std::uint16_t word;
    asm volatile("fnstcw %0" : "=m"(word));
    return word;
}
void set_x87_control(std::uint16_t word) { asm volatile("fldcw %0" : : "m"(word)); }

}  // namespace

void under_each_environment(const std::function<void()>& call,
                            const std::function<void(const std::string& setting)>& between)
{
    const std::vector<Setting> settings = {
        {"default", 0x1f80, 0x037f, false},
        {"down", 0x3f80, 0x077f, false},
        {"up", 0x5f80, 0x0b7f, false},
        {"toward zero", 0x7f80, 0x0f7f, false},
        {"subnormals flushed", 0x9fc0, 0x037f, true},
        {"x87 in double", 0x1f80, 0x027f, true},
        {"x87 in single", 0x1f80, 0x007f, true},
        {"exceptions unmasked", 0x0000, 0x0340, true},
        {"unmasked, down, flags set", 0x203f, 0x0740, true},
    };
    for (const Setting& setting : settings) {
        if (setting.needs_real_processor && under_valgrind()) continue;
        asm volatile("fnclex");
        set_x87_control(setting.x87);
        _mm_setcsr(setting.sse);
        asm volatile("" ::: "memory");
        call();
        asm volatile("" ::: "memory");
        const unsigned sse = _mm_getcsr();
        const std::uint16_t x87 = x87_control();
        _mm_setcsr(0x1f80);
        asm volatile("fnclex");
        set_x87_control(0x037f);
        const bool standard = setting.sse == 0x1f80;
        EXPECT_EQ(standard ? sse & 0xffc0 : sse, setting.sse) << "vector control word, " << setting.name;
        EXPECT_EQ(x87, setting.x87) << "x87 control word, " << setting.name;
        between(setting.name);
    }
}

}  // namespace zelsr::test
