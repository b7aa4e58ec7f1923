// Many mixtures as the library scores a frame under them: all first components, all second ones, and so on.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "common/aligned.h"
#include "common/failure.h"
#include "common/mfcc.h"
#include "common/mixture.h"
#include "recognise/scorer.h"

namespace zelsr::examples {

// Component c of state s is row c * states + s of means and precisions. Where a mixture has fewer components than
// the richest one, the constant of what is missing is so low that it adds nothing.
template <class T>
struct ComponentBlocks {
    static constexpr float kAddsNothing = -1e30f;

    std::int32_t states, components, width, step;
    AlignedArray<T> means, precisions;
    std::vector<float> constants;

    ComponentBlocks(std::int32_t state_count, std::int32_t component_count, std::int32_t row_width)
        : states(state_count),
          components(component_count),
          width(row_width),
          step(row_step<T>(row_width)),
          means(aligned_array<T>(size())),
          precisions(aligned_array<T>(size())),
          constants(static_cast<std::size_t>(states) * static_cast<std::size_t>(components), kAddsNothing)
    {
        std::fill_n(means.get(), size(), T{});
        std::fill_n(precisions.get(), size(), T{});
    }

    std::int64_t size() const { return static_cast<std::int64_t>(states) * components * step; }
    std::ptrdiff_t row(std::int32_t state, std::int32_t component) const
    {
        return static_cast<std::ptrdiff_t>(component) * states + state;
    }
    T* mean(std::int32_t state, std::int32_t component) { return means.get() + row(state, component) * step; }
    T* precision(std::int32_t state, std::int32_t component)
    {
        return precisions.get() + row(state, component) * step;
    }
    float& constant(std::int32_t state, std::int32_t component)
    {
        return constants[static_cast<std::size_t>(row(state, component))];
    }

    // Rows end on a boundary of 16 bytes, with zeros that add nothing: the library's kernels then have no rest.
    AlignedArray<T> empty_frame() const
    {
        AlignedArray<T> frame = aligned_array<T>(step);
        std::fill_n(frame.get(), step, T{});
        return frame;
    }

    // first(means, precisions, step, frame, step, scores, states) turns the constants in scores into the scores of
    // a component of all states, more(means, precisions, step, frame, step, constants, scores, states) adds those
    // of another one. frame: `step` values, as empty_frame() has them.
    template <class First, class More>
    void score(const T* frame, float* scores, First first, More more, const char* name) const
    {
        require(zelsCopy_32f(constants.data(), scores, states), "zelsCopy_32f");
        require(first(means.get(), precisions.get(), step, frame, step, scores, states), name);
        for (std::int32_t c = 1; c < components; ++c) {
            const std::ptrdiff_t block = row(0, c);
            require(more(means.get() + block * step, precisions.get() + block * step, step, frame, step,
                         constants.data() + block, scores, states),
                    name);
        }
    }
};

// In single precision.
class FloatScorer : public Scorer {
  public:
    explicit FloatScorer(std::span<const Mixture* const> states);
    void score(const FeatureMatrix<float>& features, ScoreMatrix& scores) const override;

  private:
    ComponentBlocks<float> blocks_;
};

// The components of the richest mixture.
std::int32_t most_components(std::span<const Mixture* const> states);
std::vector<const Mixture*> pointers_to(std::span<const Mixture> states);

}  // namespace zelsr::examples
