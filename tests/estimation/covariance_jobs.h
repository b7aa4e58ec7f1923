// Jobs of covariance accumulation: frames, a mean and a matrix between guard pages, and what is due.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <limits>
#include <type_traits>
#include <vector>

#include "support/bits.h"
#include "support/effort.h"
#include "support/guarded.h"
#include "support/odd_stack.h"
#include "support/reference/covariance.h"
#include "zelsr/estimation/covariance.h"

namespace zelsr::test::covariance {

// ---- Members ----------------------------------------------------------------------------------------------

template <class T>
struct Arguments {
    const T* block;
    const T* const* list;
    std::int32_t step, height;
    const T* mean;
    double* dst_block;
    double* const* dst_list;
    std::int32_t width, dst_step;
    double factor;
};

// The stack pointer modulo 16 at each call; below 0 calls are made as the compiler makes them (i386).
inline int stack_misalign = -1;

template <class... Parameter>
SrStatus invoke(SrStatus (*function)(Parameter...), std::type_identity_t<Parameter>... arguments)
{
#ifdef __i386__
    if (stack_misalign >= 0)
        return call_misaligned<SrStatus, Parameter...>(function, stack_misalign, arguments...);
#endif
    return function(arguments...);
}

inline SrStatus blocks(const Arguments<float>& a)
{
    return invoke(zelsAccCovarianceMatrix_32f64f_D2, a.block, a.step, a.height, a.mean, a.dst_block, a.width,
                  a.dst_step, a.factor);
}
inline SrStatus blocks(const Arguments<std::int16_t>& a)
{
    return invoke(zelsAccCovarianceMatrix_16s64f_D2, a.block, a.step, a.height, a.mean, a.dst_block, a.width,
                  a.dst_step, a.factor);
}
inline SrStatus lists(const Arguments<float>& a)
{
    return invoke(zelsAccCovarianceMatrix_32f64f_D2L, a.list, a.height, a.mean, a.dst_list, a.width, a.factor);
}
inline SrStatus lists(const Arguments<std::int16_t>& a)
{
    return invoke(zelsAccCovarianceMatrix_16s64f_D2L, a.list, a.height, a.mean, a.dst_list, a.width, a.factor);
}

template <class T, bool List>
struct Form {
    using Element = T;
    static constexpr bool list = List;
    // Of the step (the width of lists) times the height.
    static constexpr int large = sizeof(T) == 4 ? (List ? 134000 : 140000) : (List ? 260000 : 270000);
    static SrStatus call(const Arguments<T>& a) { return List ? lists(a) : blocks(a); }
};

// ---- One job ----------------------------------------------------------------------------------------------

struct Shape {
    int width, height;
    int beyond = 0, dst_beyond = 0;  // steps less the width
    // Addresses modulo 16 of frames, mean and matrix.
    int frames_off = 0, mean_off = 0, dst_off = 0;
    // Lists: this row of the frames, of the matrix, one element further.
    int odd_frame = -1, odd_row = -1;
    double factor = 0.37;
};

// Frames are between guard pages together, rows at the step, in lists too; what lies between them is not a number.
template <class F>
class Job {
  public:
    using T = typename F::Element;

    explicit Job(const Shape& shape, bool with_special = false)
        : s_(shape),
          step_(s_.width + s_.beyond),
          dst_step_(s_.width + s_.dst_beyond),
          mean_values_(draw(with_special)),
          frames_(frame_block(with_special), {s_.frames_off}),
          mean_(mean_values_, {s_.mean_off}),
          dst_(matrix_block(), {s_.dst_off}),
          before_(dst_.values())
    {
        for (int r = 0; r < s_.height; ++r) list_.push_back(frames_.data() + place(r, step_, s_.odd_frame));
        for (int r = 0; r < s_.width; ++r) dst_list_.push_back(dst_.data() + place(r, dst_step_, s_.odd_row));
        frames_.take_snapshot();
        mean_.take_snapshot();
        dst_.take_snapshot();
    }

    Arguments<T> arguments() const
    {
        return {frames_.data(), list_.data(),     step_,    s_.height, mean_.data(),
                dst_.data(),    dst_list_.data(), s_.width, dst_step_, s_.factor};
    }
    Guarded<double>& dst() { return dst_; }

    // By the rule, from the addresses themselves.
    bool large() const
    {
        const auto aligned = [](const void* p) { return reinterpret_cast<std::uintptr_t>(p) % 16 == 0; };
        if (!aligned(mean_.data())) return false;
        if (F::list)
            return std::all_of(list_.begin(), list_.end(), aligned) &&
                   std::all_of(dst_list_.begin(), dst_list_.end(), aligned) && s_.height * s_.width >= F::large;
        return aligned(frames_.data()) && aligned(dst_.data()) && step_ % 4 == 0 && dst_step_ % 4 == 0 &&
               step_ * s_.height >= F::large;
    }
    std::vector<double> expected(bool by_frames) const
    {
        std::vector<std::vector<double>> matrix;
        for (int r = 0; r < s_.width; ++r) {
            const double* row = &before_[place(r, dst_step_, s_.odd_row)];
            matrix.emplace_back(row, row + s_.width);
        }
        if (by_frames)
            reference::add_covariance_by_frames(rows_, mean_values_, matrix, s_.factor);
        else
            reference::add_covariance(rows_, mean_values_, matrix, s_.factor);
        std::vector<double> block = before_;
        for (int r = 0; r < s_.width; ++r)
            std::copy(matrix[static_cast<std::size_t>(r)].begin(), matrix[static_cast<std::size_t>(r)].end(),
                      &block[place(r, dst_step_, s_.odd_row)]);
        return block;
    }
    testing::AssertionResult right(SrStatus status) const
    {
        testing::AssertionResult verdict = same_values(expected(large()), dst_.values());
        if (status != SrOk) verdict = testing::AssertionFailure() << "status " << status;
        if (!dst_.intact()) verdict = testing::AssertionFailure() << "written beside the matrix";
        if (!frames_.as_snapshot() || !mean_.as_snapshot())
            verdict = testing::AssertionFailure() << "a source was written";
        if (verdict) return verdict;
        return verdict << "; " << s_.height << " frames of " << s_.width << " + " << s_.beyond << ", matrix + "
                       << s_.dst_beyond << ", off " << s_.frames_off << " " << s_.mean_off << " " << s_.dst_off
                       << ", odd rows " << s_.odd_frame << " " << s_.odd_row << (large() ? ", large" : "");
    }
    testing::AssertionResult runs() const { return right(F::call(arguments())); }

  private:
    static std::size_t place(int row, int step, int odd)
    {
        return static_cast<std::size_t>(row) * static_cast<std::size_t>(step) + (row == odd ? 1 : 0);
    }
    std::vector<T> draw(bool with_special) const
    {
        std::vector<T> values = uniform_vector<T>(s_.width, T(-30000), T(30000));
        const std::vector<T> special = special_values<T>();
        for (T& x : values)
            if (with_special && generator()() % 6 == 0) x = special[generator()() % special.size()];
        return values;
    }
    std::vector<T> frame_block(bool with_special)
    {
        using Limits = std::numeric_limits<T>;
        std::vector<T> block(
            place(s_.height - 1, step_, -1) + static_cast<std::size_t>(s_.width) + (s_.odd_frame >= 0),
            Limits::has_quiet_NaN ? Limits::quiet_NaN() : Limits::max());
        for (int r = 0; r < s_.height; ++r) {
            rows_.push_back(draw(with_special));
            std::copy(rows_.back().begin(), rows_.back().end(), &block[place(r, step_, s_.odd_frame)]);
        }
        return block;
    }
    std::vector<double> matrix_block() const
    {
        return uniform_vector<double>(
            static_cast<int>(place(s_.width - 1, dst_step_, -1)) + s_.width + (s_.odd_row >= 0), -1e6, 1e6);
    }

    Shape s_;
    std::int32_t step_, dst_step_;
    std::vector<T> mean_values_;
    std::vector<std::vector<T>> rows_;
    Guarded<T> frames_, mean_;
    Guarded<double> dst_;
    std::vector<double> before_;
    std::vector<const T*> list_;
    std::vector<double*> dst_list_;
};

}  // namespace zelsr::test::covariance
