// From sound to rows of log band magnitudes, one row a frame of 25 ms, a frame every 10 ms.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "common/aligned.h"
#include "common/sound.h"
#include "score_speech/overview.h"

namespace zelsr::examples {

constexpr int kBands = 24;
// Elements from row to row: a multiple of 4 keeps every row of an aligned block on a 16-byte boundary.
constexpr int kRowStep = (kBands + 3) / 4 * 4;

// How a sound is cut into frames.
struct FrameShape {
    int rate;    // samples a second
    int length;  // samples a frame
    int hop;     // samples from frame to frame
    int order;   // the smallest FFT that holds a frame has 2^order points

    explicit FrameShape(int rate);
    int points() const { return 1 << order; }
    int bins() const { return points() / 2 + 1; }
};

// Rows in aligned blocks, so that a long sound is never copied to a larger place.
class FeatureRows {
  public:
    struct Block {
        float* first;
        std::int32_t rows;
    };

    float* add();
    std::int64_t count() const { return count_; }
    float* row(std::int64_t index) const
    {
        return blocks_[static_cast<std::size_t>(index / kRowsABlock)].get() + index % kRowsABlock * kRowStep;
    }
    std::vector<Block> blocks() const;

  private:
    static constexpr std::int64_t kRowsABlock = 4096;
    std::vector<AlignedFloats> blocks_;
    std::int64_t count_ = 0;
};

// All that the other steps need of a sound file.
struct Analysis {
    FrameShape shape;
    FeatureRows features;
    Overview overview;
    int channels;
    double seconds = 0;
    std::vector<std::string> remarks;  // what the user should know about the file

    // Where frame ends and frame + 1 begins, in seconds: halfway between their centres, and the ends of the file.
    double boundary(std::int64_t frame) const;
};

// Reads the file to its end. Throws Failure if it is too short to train on.
Analysis analyse(SoundFile& sound, const std::string& name);

}  // namespace zelsr::examples
