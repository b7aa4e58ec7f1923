// Log sums of the scores that a bit table selects.
//
// The scores of a frame are collected in a list, as many as it holds, and the lists of some frames are then added
// up together, a frame a lane: the additions of one frame wait for each other, those of many do not.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#include "core/simd.h"
#include "likelihood/log_add.h"

namespace zelsr {

// The set bits of one row, in order.
class SetBits {
  public:
    SetBits() = default;
    SetBits(const uint8_t* row, int32_t width) : next_(row), left_(width) {}

    // The positions of the next of them, at most so many; fewer only at the end of the row.
    int32_t take(int32_t* positions, int32_t most)
    {
        int32_t count = 0;
        while (word_ != 0 || load_word()) {
            if (count == most) break;
            const int first = std::countl_zero(word_);
            positions[count++] = begin_ + first;
            word_ &= ~(0x80000000U >> first);
        }
        return count;
    }

  private:
    // The next word that is not zero.
    bool load_word()
    {
        while (word_ == 0 && left_ > 0) {
            uint32_t bytes = 0;
            if (left_ >= 32) {
                std::memcpy(&bytes, next_, 4);
                word_ = __builtin_bswap32(bytes);
                next_ += 4;
            } else {  // the bits behind the last one are not looked at
                std::memcpy(&bytes, next_, static_cast<std::size_t>(left_ + 7) / 8);
                word_ = __builtin_bswap32(bytes) & ~(0xffffffffU >> left_);
            }
            left_ -= 32;
            begin_ += 32;
        }
        return word_ != 0;
    }

    const uint8_t* next_ = nullptr;
    int32_t left_ = 0;     // bits from next_ on; below 0 behind an incomplete word
    int32_t begin_ = -32;  // the position of the word's first bit
    uint32_t word_ = 0;    // what is left of it, the first bit on top
};

// A packed table with a row a frame.
struct BitTable {
    const uint8_t* first;
    int32_t width;

    SetBits row(int32_t r) const
    {
        const std::size_t row_bytes = (static_cast<std::size_t>(width) + 7) / 8;
        return {first + static_cast<std::size_t>(r) * row_bytes, width};
    }
};

// The work memory of a block of frames: element k of frame i's list at index k * kFramesTogether + i, element 0
// the sum so far; then the constants of the components that are being scored.
inline constexpr int32_t kFramesTogether = 20;
inline constexpr int32_t kListed = 116;
inline constexpr int32_t kWorkSize = 2500;
static_assert((1 + kListed) * kFramesTogether + kListed <= kWorkSize);

// As a reduction of scores: rows of a score are places in a list.
struct AppendToList {
    float* end;

    void operator()(int32_t r, __m128 scores, int32_t count) const
    {
        float* to = end + r * kFramesTogether;
        for (int32_t i = 0; i < count; ++i, to += kFramesTogether, scores = next_lane(scores))
            *to = _mm_cvtss_f32(scores);
    }
};

// Adds up the lists of some frames, into their elements 0. Lanes whose lists have ended add what is thrown away.
template <class LogAdd>
void add_up(float* lists, const int32_t* lengths, int32_t frames)
{
    const int32_t longest = *std::max_element(lengths, lengths + frames);
    for (int32_t k = 1; k < longest; ++k)
        for (int32_t i = 0; i < frames; i += 4) {
            const __m128 listed =
                _mm_castsi128_ps(_mm_cmpgt_epi32(Aligned::bytes(lengths + i), _mm_set1_epi32(k)));
            if (_mm_movemask_ps(listed) == 0) continue;
            const __m128 sum = Aligned::four(lists + i);
            const __m128 next = choose(listed, Aligned::four(lists + k * kFramesTogether + i), sum);
            Aligned::put(lists + i, choose(listed, LogAdd::add(next, sum), sum));
        }
}

// How many more scores a counter counts before it is 0 again.
inline int32_t until_zero(int16_t count) { return 65536 - static_cast<uint16_t>(count); }
inline int32_t until_zero(int32_t /*count*/) { return INT32_MAX; }

// Frames first to first + frames - 1. score(i, components, val, count, reduce) scores frame i under some
// components with constants val. counts: zeros; 0 says that a frame has no sum yet, so that a counter of 16 bits
// that has come round to 0 lets the next score replace the sum, or fallback, if none follows: wanted.
template <class LogAdd, class Count, class Score>
void sum_selected_block(BitTable table, int32_t first, int32_t frames, const float* val, Count* counts,
                        float* work, Score score, float fallback, float* sum)
{
    SetBits selected[kFramesTogether];
    alignas(16) int32_t lengths[kFramesTogether] = {};
    int32_t components[kListed];
    float* const constants = work + (1 + kListed) * kFramesTogether;
    std::fill_n(work, kFramesTogether, 0.0F);
    for (int32_t i = 0; i < frames; ++i) selected[i] = table.row(first + i);

    for (bool more = true; more;) {
        more = false;
        for (int32_t i = 0; i < frames; ++i) {
            const int32_t most = std::min(kListed, until_zero(counts[i]));
            const int32_t taken = selected[i].take(components, most);
            const int32_t length = counts[i] != 0 ? 1 : 0;
            for (int32_t r = 0; r < taken; ++r) constants[r] = load_one(val + components[r]);
            score(first + i, components, constants, taken, AppendToList{work + length * kFramesTogether + i});
            lengths[i] = length + taken;
            counts[i] = static_cast<Count>(counts[i] + taken);
            more = more || taken == most;
        }
        add_up<LogAdd>(work, lengths, frames);
    }
    for (int32_t i = 0; i < frames; ++i) store_one(sum + first + i, counts[i] != 0 ? work[i] : fallback);
}

}  // namespace zelsr
