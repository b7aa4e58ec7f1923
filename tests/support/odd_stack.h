// Calls with the stack on 4 bytes only, as old 32-bit callers make them.
#pragma once

#ifdef __i386__

#    include <bit>
#    include <cstdint>
#    include <vector>

namespace zelsr::test {

// misalign: the stack pointer modulo 16 at the call instruction (0, 4, 8 or 12). words: the arguments as they
// lie on the stack.
std::int32_t call_on_odd_stack(const void* function, const std::vector<std::uint32_t>& words, int misalign);

inline void append(std::vector<std::uint32_t>& words, std::int32_t value)
{
    words.push_back(static_cast<std::uint32_t>(value));
}
inline void append(std::vector<std::uint32_t>& words, float value)
{
    words.push_back(std::bit_cast<std::uint32_t>(value));
}
inline void append(std::vector<std::uint32_t>& words, double value)
{
    const auto bits = std::bit_cast<std::uint64_t>(value);
    words.push_back(static_cast<std::uint32_t>(bits));
    words.push_back(static_cast<std::uint32_t>(bits >> 32));
}
inline void append(std::vector<std::uint32_t>& words, const void* value)
{
    words.push_back(reinterpret_cast<std::uint32_t>(value));
}

// call_misaligned(function, misalign, arguments...): the function called with these arguments.
template <class Result, class... Parameter>
std::int32_t call_misaligned(Result (*function)(Parameter...), int misalign, Parameter... arguments)
{
    std::vector<std::uint32_t> words;
    (append(words, arguments), ...);
    return call_on_odd_stack(reinterpret_cast<const void*>(function), words, misalign);
}

}  // namespace zelsr::test

#endif
