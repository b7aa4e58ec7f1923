// The last part of a signal, by the places of its samples from its start on.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace zelsr::examples {

class History {
  public:
    // Zeros stand before place 0, `before` of them.
    explicit History(std::int64_t before) : first_(-before), samples_(static_cast<std::size_t>(before)) {}

    const float* at(std::int64_t place) const { return samples_.data() + (place - first_); }
    float* at(std::int64_t place) { return samples_.data() + (place - first_); }
    std::int64_t end() const { return first_ + static_cast<std::int64_t>(samples_.size()); }

    void append(float sample) { samples_.push_back(sample); }
    void append(std::span<const float> samples)
    {
        samples_.insert(samples_.end(), samples.begin(), samples.end());
    }
    void append_zeros(std::int64_t count) { samples_.resize(samples_.size() + static_cast<std::size_t>(count)); }
    // What lies before is no longer asked for.
    void forget_before(std::int64_t place)
    {
        if (place - first_ < kLeastForgotten) return;
        samples_.erase(samples_.begin(), samples_.begin() + (place - first_));
        first_ = place;
    }

  private:
    static constexpr std::int64_t kLeastForgotten = 8192;
    std::int64_t first_;
    std::vector<float> samples_;
};

}  // namespace zelsr::examples
