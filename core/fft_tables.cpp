// The tables of an FFT record, all drawn from one quarter of a sine wave.
#include "core/fft_tables.h"

#include <array>
#include <cmath>
#include <numbers>

#include "core/fft_complex.h"

namespace zelsr::fft {
namespace {

// sin(x) for x from 0 to pi/4, in extended precision: the error is far below a single's half unit.
constexpr long double sine(long double x)
{
    long double term = x, sum = x;
    for (int n = 2; n < 24; n += 2) sum += term *= -x * x / static_cast<long double>(n * (n + 1));
    return sum;
}
constexpr long double cosine(long double x)
{
    long double term = 1, sum = 1;
    for (int n = 1; n < 24; n += 2) sum += term *= -x * x / static_cast<long double>(n * (n + 1));
    return sum;
}

// sin(2 pi j / 1024), j from 0 to 256, each correctly rounded.
constexpr auto fft_fix_twiddle_table_32f = [] {
    std::array<float, 257> table{};
    for (int j = 0; j <= 256; ++j) {
        const long double pi = std::numbers::pi_v<long double>;
        const long double value = j <= 128 ? sine(pi * j / 512) : cosine(pi * (256 - j) / 512);
        table[static_cast<std::size_t>(j)] = static_cast<float>(value);
    }
    return table;
}();

// sin(2 pi j / N), j from 0 to N/4, read with a spacing; angles in units of 2 pi / N, from 0 to N - 1.
struct QuarterWave {
    const float* sines;
    std::size_t spacing;
    std::size_t quarter;

    float sine(std::size_t angle) const
    {
        const std::size_t half = 2 * quarter;
        if (angle >= half) return -sine(angle - half);
        return sines[spacing * (angle <= quarter ? angle : half - angle)];
    }
    float cosine(std::size_t angle) const { return sine((angle + quarter) & (4 * quarter - 1)); }
};

QuarterWave quarter_wave(int32_t order, uint8_t* setup)
{
    const std::size_t quarter = std::size_t{1} << (order - 2);
    if (order <= kMaxFixedOrder)
        return {fft_fix_twiddle_table_32f.data(), std::size_t{1} << (kMaxFixedOrder - order), quarter};

    // Sines up to 45 degrees and cosines beyond: full accuracy near zero and near one.
    float* sines = reinterpret_cast<float*>(align_up(setup));
    const double step = 2 * std::numbers::pi / static_cast<double>(4 * quarter);
    for (std::size_t j = 0; j <= quarter / 2; ++j)
        sines[j] = static_cast<float>(std::sin(static_cast<double>(j) * step));
    for (std::size_t j = quarter / 2 + 1; j <= quarter; ++j)
        sines[j] = static_cast<float>(std::cos(static_cast<double>(quarter - j) * step));
    return {sines, 1, quarter};
}

// Writes values into blocks of four: re of four, then im of four.
struct BlockWriter {
    float* table;

    void put(std::size_t index, float re, float im) const
    {
        float* block = table + index / 4 * 8 + index % 4;
        block[0] = re;
        block[4] = im;
    }
};

// Lines of eight values, 16 floats, in bit-reversed order, by the usual running increment from the top bit.
void fill_reversal(int32_t* table, int32_t m)
{
    const std::size_t entries = reversal_entries(m), top = 16 * entries / 2;
    for (std::size_t a = 0, reversed = 0; a < entries; ++a) {
        table[a] = static_cast<int32_t>(reversed);
        std::size_t bit = top;
        for (; (reversed & bit) != 0; bit >>= 1) reversed ^= bit;
        reversed |= bit;
    }
}

// W^2j, W^j, W^3j, W = exp(-2 pi i / 4L), for every pass that joins sub-transforms of L values.
void fill_twiddles(float* table, int32_t m, const QuarterWave& wave)
{
    const std::size_t values = std::size_t{1} << m;
    for (auto sub = static_cast<std::size_t>(first_radix(m)); sub < values; sub *= 4) {
        float* group = table + twiddles_of_pass(m, sub);
        const std::size_t unit = wave.quarter / sub;
        for (std::size_t j = 0; j < sub; ++j) {
            const std::size_t multiples[3] = {2 * j, j, 3 * j};
            for (std::size_t i = 0; i < 3; ++i) {
                const std::size_t angle = multiples[i] * unit;
                BlockWriter{group + j / 4 * 24 + i * 8}.put(j % 4, wave.cosine(angle), -wave.sine(angle));
            }
        }
    }
}

// Forward: 0.5 - 0.5 sin and 0.5 cos; inverse: sin and cos of 2 pi k / N, k from 0 to N/4 - 1.
void fill_recombination(float* forward, float* inverse, const QuarterWave& wave)
{
    for (std::size_t k = 0; k < wave.quarter; ++k) {
        const float sine = wave.sine(k), cosine = wave.cosine(k);
        BlockWriter{forward}.put(k, 0.5F - 0.5F * sine, 0.5F * cosine);
        BlockWriter{inverse}.put(k, sine, cosine);
    }
}

// Of the level that transforms 2^m of the N/2 values: first W^rt, W = exp(-2 pi i / 2^m), for the rows in the
// order of the data, r bit-reversed, and t from 0 to the columns of a group; then W^rj for the first column j
// of each group, real and imaginary part side by side.
void fill_column_twiddles(float* table, int32_t m, const QuarterWave& wave)
{
    const Split split = split_of(m);
    const std::size_t rows = std::size_t{1} << split.rows, columns = std::size_t{1} << split.columns();
    const std::size_t groups = std::size_t{1} << (m - split.buffer);
    const std::size_t unit = 4 * wave.quarter >> m;
    float* first = table + 2 * rows * columns;
    for (std::size_t row = 0; row < rows; ++row) {
        std::size_t r = 0;
        for (std::size_t bit = 1; bit < rows; bit *= 2) r = 2 * r + ((row & bit) != 0);
        for (std::size_t t = 0; t < columns; ++t)
            BlockWriter{table + 2 * row * columns}.put(t, wave.cosine(unit * r * t), -wave.sine(unit * r * t));
        for (std::size_t group = 0; group < groups; ++group) {
            const std::size_t angle = unit * r * group * columns;
            first[2 * (group * rows + row)] = wave.cosine(angle);
            first[2 * (group * rows + row) + 1] = -wave.sine(angle);
        }
    }
}

void fill_row_twiddles(float* table, const QuarterWave& wave)
{
    const std::size_t unit = 4 * wave.quarter / kRowTwiddles;
    for (std::size_t j = 0; j < kRowTwiddles; ++j) {
        table[2 * j] = wave.cosine(unit * j);
        table[2 * j + 1] = -wave.sine(unit * j);
    }
}

// Tables follow each other from the first 32-byte boundary behind the head.
class Layout {
  public:
    explicit Layout(uint8_t* behind_head) : next_(align_up(behind_head)) {}

    template <class T>
    T* take(std::int64_t bytes)
    {
        T* table = reinterpret_cast<T*>(next_);
        next_ += bytes;
        return table;
    }

  private:
    uint8_t* next_;
};

void lay_out_tables(ZelFFTState_R_32f* record, int32_t order, uint8_t* setup)
{
    const Sizes sizes = sizes_of(order);
    const QuarterWave wave = quarter_wave(order, setup);
    Layout layout(reinterpret_cast<uint8_t*>(record + 1));
    const int32_t m = order - 1, leaf = leaf_order(m);

    auto* twiddles = layout.take<float>(sizes.twiddles);
    fill_twiddles(twiddles, leaf, QuarterWave{wave.sines, wave.spacing << (m - leaf), wave.quarter >> (m - leaf)});
    record->twiddles = twiddles;

    auto* forward = layout.take<float>(sizes.recombination);
    auto* inverse = layout.take<float>(sizes.recombination);
    fill_recombination(forward, inverse, wave);
    record->recombination = forward;
    record->ccs_recombination = inverse;

    if (m <= kMaxSingleLevel) {
        auto* reversal = layout.take<int32_t>(sizes.reversal);
        if (m > 4) fill_reversal(reversal, m);
        record->reversal = reversal;
        return;
    }
    int32_t level_order = m;
    for (int level = 0; level_order > kMaxSingleLevel; ++level) {
        auto* columns = layout.take<float>(sizes.column_twiddles[level]);
        fill_column_twiddles(columns, level_order, wave);
        record->column_twiddles[level] = columns;
        level_order -= split_of(level_order).rows;
    }
    auto* rows = layout.take<float>(sizes.row_twiddles);
    fill_row_twiddles(rows, wave);
    record->row_twiddles = rows;
}

// 1/N for flags 1 and 2, 1/sqrt(N) for flag 4, in extended precision.
float scale_of(int32_t order, int32_t flag)
{
    const auto values = static_cast<long double>(std::int64_t{1} << order);
    if (flag == 8) return 0.0F;
    return static_cast<float>(1.0L / (flag == 4 ? std::sqrt(values) : values));
}

}  // namespace

void lay_out(ZelFFTState_R_32f* record, int32_t order, int32_t flag, uint8_t* setup)
{
    record->scale = scale_of(order, flag);
    record->forward_scaled = flag == 1 || flag == 4;
    record->inverse_scaled = flag == 2 || flag == 4;
    if (order >= kFirstTableOrder) lay_out_tables(record, order, setup);
}

}  // namespace zelsr::fft
