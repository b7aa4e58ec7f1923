#include "denoise/channel.h"

#include <algorithm>

#include "denoise/chain_16s.h"
#include "denoise/chain_32f.h"

namespace zelsr::examples {

template <class Chain>
Channel<Chain>::Channel(const Settings& settings)
    : shape_(settings.rate),
      chain_(settings),
      length_(static_cast<std::size_t>(shape_.length())),
      shift_(static_cast<std::size_t>(shape_.shift())),
      lead_(length_ - shift_),
      learnt_(std::max(static_cast<std::size_t>(kLearnSeconds * settings.rate), length_)),
      sums_(length_),
      before_(lead_)
{}

template <class Chain>
void Channel<Chain>::add(std::span<const Sample> samples, std::vector<Sample>& results)
{
    // In parts, so that what waits stays short however much is added at once.
    while (!samples.empty()) {
        const std::span<const Sample> part = samples.first(std::min(samples.size(), learnt_));
        samples = samples.subspan(part.size());
        taken_ += static_cast<std::int64_t>(part.size());
        waiting_.insert(waiting_.end(), part.begin(), part.end());
        if (!begun_ && waiting_.size() < learnt_) continue;
        begin();
        run(results);
    }
}

template <class Chain>
void Channel<Chain>::finish(std::vector<Sample>& results)
{
    if (taken_ == 0) return;
    // Silence follows, until the last sample has been in all of its frames.
    const std::size_t short_of = begun_ || waiting_.size() >= length_ ? 0 : length_ - waiting_.size();
    waiting_.resize(waiting_.size() + short_of);
    begin();
    waiting_.resize(waiting_.size() + length_);
    run(results);
    results.resize(results.size() - static_cast<std::size_t>(given_ - taken_));
}

// The sound is mirrored in front of its first sample, so that the first frames are as loud as those behind them.
template <class Chain>
void Channel<Chain>::begin()
{
    if (begun_) return;
    begun_ = true;
    std::vector<Sample> mirrored(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(lead_));
    std::reverse(mirrored.begin(), mirrored.end());
    waiting_.insert(waiting_.begin(), mirrored.begin(), mirrored.end());
    // Backwards: where the sound itself begins, the estimate is at home.
    const std::size_t usable = std::min(waiting_.size(), lead_ + learnt_);
    for (std::size_t frame = (usable - length_) / shift_ + 1; frame-- > 0;)
        chain_.learn(&waiting_[frame * shift_]);
}

template <class Chain>
void Channel<Chain>::run(std::vector<Sample>& results)
{
    std::size_t at = 0;
    std::vector<Sample> done(shift_);
    for (; at + length_ <= waiting_.size(); at += shift_) {
        chain_.clean(&waiting_[at], sums_.data());
        if (watch_) watch_(chain_);
        Chain::finish(sums_.data(), done);
        std::copy(sums_.begin() + static_cast<std::ptrdiff_t>(shift_), sums_.end(), sums_.begin());
        std::fill(sums_.end() - static_cast<std::ptrdiff_t>(shift_), sums_.end(), Sum{});
        if (before_ > 0) {
            before_ -= shift_;
            continue;
        }
        results.insert(results.end(), done.begin(), done.end());
        given_ += static_cast<std::int64_t>(shift_);
    }
    waiting_.erase(waiting_.begin(), waiting_.begin() + static_cast<std::ptrdiff_t>(at));
}

template class Channel<FloatChain>;
template class Channel<FixedChain>;

}  // namespace zelsr::examples
