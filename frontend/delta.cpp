// Deltas of a stream of frames, block by block.
//
// Static row i completes the delta of row i - reach and the second derivative of row i - 2 reach, so that a
// derivative is formed as soon as the rows which it needs are there, in one pass; only the ends of an utterance
// replace rows that do not exist.
#include "zelsr/frontend/delta.h"

#include <algorithm>

#include "core/contract.h"
#include "frontend/delta_lanes.h"

namespace zelsr {
namespace {

struct Win1 {
    static constexpr int32_t reach = 1;

    // row(k): the values k rows from the one whose derivative this is.
    template <class Arithmetic, class Rows, class Lanes>
    static Lanes derivative(const Arithmetic& arithmetic, Rows row, Lanes multiplier)
    {
        return arithmetic.one_neighbour(arithmetic.difference(row(1), row(-1)), multiplier);
    }
};
struct Win2 {
    static constexpr int32_t reach = 2;

    template <class Arithmetic, class Rows, class Lanes>
    static Lanes derivative(const Arithmetic& arithmetic, Rows row, Lanes multiplier)
    {
        return arithmetic.two_neighbours(arithmetic.difference(row(1), row(-1)),
                                         arithmetic.difference(row(2), row(-2)), multiplier);
    }
};

// What derivative() of a window is asked for: the delta alone, or the second derivative too.
enum Derivatives : int32_t { kDelta = 1, kSecond = 2 };

// Rows of the history: those that a derivative of the next static row reaches back to.
template <class Window, Derivatives Order>
constexpr int32_t kHistory = (1 + Order) * Window::reach;

// Static values as they are, one multiplier for all columns of a derivative.
template <class T>
struct Values {
    decltype(repeat(T())) first, second;

    Values(T val1, T val2) : first(repeat(val1)), second(repeat(val2)) {}

    template <class Arithmetic, class Lanes>
    Lanes static_value(const Arithmetic&, Lanes x, auto /*part*/, std::ptrdiff_t /*column*/) const
    {
        return x;
    }
    // The multiplier of a derivative at a column.
    template <Derivatives Order>
    auto multiplier(auto /*part*/, std::ptrdiff_t /*column*/) const
    {
        return Order == kDelta ? first : second;
    }
};

// A multiplier for each column of a row of the destination.
template <class T>
struct ColumnValues {
    const T* mul;
    std::ptrdiff_t width;

    template <class Arithmetic, class Lanes>
    Lanes static_value(const Arithmetic& arithmetic, Lanes x, auto part, std::ptrdiff_t column) const
    {
        return arithmetic.product(x, part.of(mul + column));
    }
    template <Derivatives Order>
    auto multiplier(auto part, std::ptrdiff_t column) const
    {
        return part.of(mul + Order * width + column);
    }
};

// The arguments of a call.
template <class T>
struct Frames {
    const T* src;
    int32_t width;
    T* dst;
    std::ptrdiff_t step;
    int32_t height;
    int32_t mode;

    bool first() const { return (mode & DeltaFirstBlock) != 0; }
    bool last() const { return (mode & DeltaLastBlock) != 0; }
};

template <class Window, Derivatives Highest, class T, class Arithmetic, class Scaling>
class Stream {
  public:
    Stream(const Frames<T>& frames, const Arithmetic& arithmetic, const Scaling& scaling)
        : frames_(frames), width_(frames.width), arithmetic_(arithmetic), scaling_(scaling)
    {}

    void run() const
    {
        constexpr int32_t history = kHistory<Window, Highest>;
        const T* src = frames_.src;
        const std::ptrdiff_t rows = std::ptrdiff_t{frames_.height} + (frames_.first() ? 0 : history);
        if (frames_.first()) {
            for (std::ptrdiff_t i = 0; i < history; ++i, src += width_) put_static(src, i);
            put_clamped<kDelta>(0, history - Window::reach, history - 1);
            if constexpr (Highest == kSecond) put_clamped<kSecond>(0, history - 2 * Window::reach, history - 1);
        }
        for (std::ptrdiff_t i = history; i < rows; ++i, src += width_)
            advance(src, frames_.dst + i * frames_.step);
        if (frames_.last()) {
            put_clamped<kDelta>(rows - Window::reach, rows, rows - 1);
            if constexpr (Highest == kSecond) put_clamped<kSecond>(rows - 2 * Window::reach, rows, rows - 1);
        }
    }

  private:
    [[gnu::noinline]] void put_static(const T* src, std::ptrdiff_t i) const
    {
        T* const row = frames_.dst + i * frames_.step;
        for_columns(src, frames_.width, [&](auto part, std::ptrdiff_t c) {
            part.put(row + c, scaling_.static_value(arithmetic_, part.of(src + c), part, c));
        });
    }

    // Derivatives of rows from begin to end - 1, where a row before the first stands for the first, one behind
    // last for the last.
    template <Derivatives Order>
    [[gnu::noinline]] void put_clamped(std::ptrdiff_t begin, std::ptrdiff_t end, std::ptrdiff_t last) const
    {
        for (std::ptrdiff_t t = begin; t < end; ++t) {
            const T* from[2 * Window::reach + 1];
            for (std::ptrdiff_t k = -Window::reach; k <= Window::reach; ++k)
                from[Window::reach + k] =
                    frames_.dst + std::clamp(t + k, std::ptrdiff_t{0}, last) * frames_.step + (Order - 1) * width_;
            T* const to = frames_.dst + t * frames_.step + Order * width_;
            for_columns(to, frames_.width, [&](auto part, std::ptrdiff_t c) {
                const auto row = [&](int32_t k) { return part.of(from[Window::reach + k] + c); };
                part.put(to + c,
                         Window::derivative(arithmetic_, row, scaling_.template multiplier<Order>(part, c)));
            });
        }
    }

    // The next frame becomes the static row `newest`, and the derivatives that it completes are formed: all that
    // is read was stored at least one row ago.
    [[gnu::always_inline]] void advance(const T* src, T* newest) const
    {
        constexpr std::ptrdiff_t reach = Window::reach;
        const std::ptrdiff_t step = frames_.step;
        T* const delta = newest - reach * step + width_;
        T* const second = newest - 2 * reach * step + 2 * width_;
        const Arithmetic arithmetic = arithmetic_;  // copies that no store can change stay in registers
        const Scaling scaling = scaling_;
        const auto one_register = [&](auto part, std::ptrdiff_t c) __attribute__((always_inline))
        {
            const auto s = scaling.static_value(arithmetic, part.of(src + c), part, c);
            part.put(newest + c, s);
            const auto static_row = [&](int32_t k) __attribute__((always_inline))
            {
                return k == reach ? s : part.of(newest + (k - reach) * step + c);
            };
            const auto d =
                Window::derivative(arithmetic, static_row, scaling.template multiplier<kDelta>(part, c));
            part.put(delta + c, d);
            if constexpr (Highest == kSecond) {
                const auto delta_row = [&](int32_t k) __attribute__((always_inline))
                {
                    return k == reach ? d : part.of(delta + (k - reach) * step + c);
                };
                part.put(second + c,
                         Window::derivative(arithmetic, delta_row, scaling.template multiplier<kSecond>(part, c)));
            }
        };
        for_columns(src, frames_.width, one_register);
    }

    Frames<T> frames_;
    std::ptrdiff_t width_;
    Arithmetic arithmetic_;
    Scaling scaling_;
};

template <class Window, Derivatives Highest, class Scaling>
SrStatus append(const Frames<float>& frames, const Scaling& scaling)
{
    Stream<Window, Highest, float, SingleArithmetic, Scaling>(frames, {}, scaling).run();
    return SrOk;
}

template <class Window, Derivatives Highest, class Scaling>
SrStatus append(const Frames<int16_t>& frames, const Scaling& scaling, int32_t sf)
{
    with_shift(sf, [&](auto shift) {
        using Arithmetic = FixedArithmetic<decltype(shift)>;
        Stream<Window, Highest, int16_t, Arithmetic, Scaling>(frames, {shift}, scaling).run();
    });
    return SrOk;
}

// Size, stride and the rows that prime the window, in this order.
template <class Window, Derivatives Highest, class T>
SrStatus fits(const Frames<T>& frames)
{
    const int64_t columns = (1 + Highest) * int64_t{frames.width};
    return first_failure(positive(frames.width),
                         require(frames.height > 0 || (frames.height == 0 && frames.last()), SrErrSize),
                         require(columns <= frames.step, SrErrStride),
                         require(!frames.first() || frames.height >= kHistory<Window, Highest>, SrErrSize));
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsDelta_Win1_32f_D2(const float* src, int32_t width, float* dst, int32_t step, int32_t height,
                               float val, int32_t mode)
{
    const Frames<float> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, dst), fits<Win1, kDelta>(frames))) return failed;
    return append<Win1, kDelta>(frames, Values<float>(val, 0));
}

SrStatus zelsDelta_Win2_32f_D2(const float* src, int32_t width, float* dst, int32_t step, int32_t height,
                               float val, int32_t mode)
{
    const Frames<float> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, dst), fits<Win2, kDelta>(frames))) return failed;
    return append<Win2, kDelta>(frames, Values<float>(val, 0));
}

SrStatus zelsDeltaDelta_Win1_32f_D2(const float* src, int32_t width, float* dst, int32_t step, int32_t height,
                                    float val1, float val2, int32_t mode)
{
    const Frames<float> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, dst), fits<Win1, kSecond>(frames))) return failed;
    return append<Win1, kSecond>(frames, Values<float>(val1, val2));
}

SrStatus zelsDeltaDelta_Win2_32f_D2(const float* src, int32_t width, float* dst, int32_t step, int32_t height,
                                    float val1, float val2, int32_t mode)
{
    const Frames<float> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, dst), fits<Win2, kSecond>(frames))) return failed;
    return append<Win2, kSecond>(frames, Values<float>(val1, val2));
}

SrStatus zelsDelta_Win1_16s_D2Sfs(const int16_t* src, int32_t width, int16_t* dst, int32_t step, int32_t height,
                                  int16_t val, int32_t mode, int32_t sf)
{
    const Frames<int16_t> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, dst), fits<Win1, kDelta>(frames))) return failed;
    return append<Win1, kDelta>(frames, Values<int16_t>(val, 0), sf);
}

SrStatus zelsDelta_Win2_16s_D2Sfs(const int16_t* src, int32_t width, int16_t* dst, int32_t step, int32_t height,
                                  int16_t val, int32_t mode, int32_t sf)
{
    const Frames<int16_t> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, dst), fits<Win2, kDelta>(frames))) return failed;
    return append<Win2, kDelta>(frames, Values<int16_t>(val, 0), sf);
}

SrStatus zelsDeltaDelta_Win1_16s_D2Sfs(const int16_t* src, int32_t width, int16_t* dst, int32_t step,
                                       int32_t height, int16_t val1, int16_t val2, int32_t mode, int32_t sf)
{
    const Frames<int16_t> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, dst), fits<Win1, kSecond>(frames))) return failed;
    return append<Win1, kSecond>(frames, Values<int16_t>(val1, val2), sf);
}

SrStatus zelsDeltaDelta_Win2_16s_D2Sfs(const int16_t* src, int32_t width, int16_t* dst, int32_t step,
                                       int32_t height, int16_t val1, int16_t val2, int32_t mode, int32_t sf)
{
    const Frames<int16_t> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, dst), fits<Win2, kSecond>(frames))) return failed;
    return append<Win2, kSecond>(frames, Values<int16_t>(val1, val2), sf);
}

SrStatus zelsDeltaMul_Win1_32f_D2(const float* src, const float* mul, int32_t width, float* dst, int32_t step,
                                  int32_t height, int32_t mode)
{
    const Frames<float> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, mul, dst), fits<Win1, kDelta>(frames))) return failed;
    return append<Win1, kDelta>(frames, ColumnValues<float>{mul, width});
}

SrStatus zelsDeltaMul_Win2_32f_D2(const float* src, const float* mul, int32_t width, float* dst, int32_t step,
                                  int32_t height, int32_t mode)
{
    const Frames<float> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, mul, dst), fits<Win2, kDelta>(frames))) return failed;
    return append<Win2, kDelta>(frames, ColumnValues<float>{mul, width});
}

SrStatus zelsDeltaDeltaMul_Win1_32f_D2(const float* src, const float* mul, int32_t width, float* dst, int32_t step,
                                       int32_t height, int32_t mode)
{
    const Frames<float> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, mul, dst), fits<Win1, kSecond>(frames))) return failed;
    return append<Win1, kSecond>(frames, ColumnValues<float>{mul, width});
}

SrStatus zelsDeltaDeltaMul_Win2_32f_D2(const float* src, const float* mul, int32_t width, float* dst, int32_t step,
                                       int32_t height, int32_t mode)
{
    const Frames<float> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, mul, dst), fits<Win2, kSecond>(frames))) return failed;
    return append<Win2, kSecond>(frames, ColumnValues<float>{mul, width});
}

SrStatus zelsDeltaMul_Win1_16s_D2Sfs(const int16_t* src, const int16_t* mul, int32_t width, int16_t* dst,
                                     int32_t step, int32_t height, int32_t mode, int32_t sf)
{
    const Frames<int16_t> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, mul, dst), fits<Win1, kDelta>(frames))) return failed;
    return append<Win1, kDelta>(frames, ColumnValues<int16_t>{mul, width}, sf);
}

SrStatus zelsDeltaMul_Win2_16s_D2Sfs(const int16_t* src, const int16_t* mul, int32_t width, int16_t* dst,
                                     int32_t step, int32_t height, int32_t mode, int32_t sf)
{
    const Frames<int16_t> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, mul, dst), fits<Win2, kDelta>(frames))) return failed;
    return append<Win2, kDelta>(frames, ColumnValues<int16_t>{mul, width}, sf);
}

SrStatus zelsDeltaDeltaMul_Win1_16s_D2Sfs(const int16_t* src, const int16_t* mul, int32_t width, int16_t* dst,
                                          int32_t step, int32_t height, int32_t mode, int32_t sf)
{
    const Frames<int16_t> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, mul, dst), fits<Win1, kSecond>(frames))) return failed;
    return append<Win1, kSecond>(frames, ColumnValues<int16_t>{mul, width}, sf);
}

SrStatus zelsDeltaDeltaMul_Win2_16s_D2Sfs(const int16_t* src, const int16_t* mul, int32_t width, int16_t* dst,
                                          int32_t step, int32_t height, int32_t mode, int32_t sf)
{
    const Frames<int16_t> frames{src, width, dst, step, height, mode};
    if (SrStatus failed = first_failure(non_null(src, mul, dst), fits<Win2, kSecond>(frames))) return failed;
    return append<Win2, kSecond>(frames, ColumnValues<int16_t>{mul, width}, sf);
}
