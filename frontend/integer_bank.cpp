// The filter bank in integers: Hz, mel constants in Q15, logarithms in Q22, weights in Q30.
#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>

#include "core/contract.h"
#include "core/simd.h"
#include "core/table.h"
#include "frontend/bank_record.h"
#include "frontend/bank_storage.h"
#include "zelsr/frontend/integer_bank.h"

// A caller may put a bank on any byte address: packed members are reached byte by byte. On i386 it takes 24 bytes.
struct __attribute__((packed)) ZelFBankState_32s {
    int32_t* centers;
    int32_t** left_weights;
    int32_t** right_weights;
    int32_t flag;
    int32_t filters;
    int32_t bins;  // N/2 + 1
};

namespace zelsr::bank {
namespace {

static_assert(sizeof(ZelFBankState_32s) == 12 + 3 * sizeof(void*));

constexpr int32_t kWeightBits = 30;
constexpr int64_t kLn2 = 1488522236;      // Q31
constexpr int64_t kLog2OfE = 0xB8AA3B29;  // Q31
constexpr int32_t kOne = 1 << 22;         // Q22

// Products and left shifts modulo 2^64: parameters far from any speech, such as a sample rate of 1 Hz, leave 64
// bits.
constexpr int64_t product(int64_t x, int64_t y)
{
    return static_cast<int64_t>(static_cast<uint64_t>(x) * static_cast<uint64_t>(y));
}
constexpr int64_t shifted_left(int64_t x, int32_t count)
{
    return static_cast<int64_t>(static_cast<uint64_t>(x) << count);
}
// Of a value in Q22, halves up.
constexpr int64_t rounded_q22(int64_t x) { return (x >> 22) + (x >> 21 & 1); }

// ln(x), x above 0, both in Q22: the binary logarithm bit by bit, by squaring, times ln 2.
int64_t ln_q22(int64_t x)
{
    const int32_t exponent = static_cast<int32_t>(std::bit_width(static_cast<uint64_t>(x))) - 1;
    int64_t mantissa = exponent > 29 ? x >> (exponent - 29) : x << (29 - exponent);  // Q29, from 1 up to 2
    int64_t fraction = 0;
    for (int bit = 0; bit < 31; ++bit) {
        fraction *= 2;
        mantissa = mantissa * mantissa >> 29;
        if (mantissa >= 0x40000000) {
            mantissa >>= 1;
            fraction |= 1;
        }
    }
    return (kLn2 * (exponent - 22) + (kLn2 * fraction >> 31)) >> 9;
}

// ln(1 + x) = 2 (q + q^3 / 3 + q^5 / 5 ...), q = x / (2 + x).
constexpr long double ln_one_plus(long double x)
{
    const long double q = x / (2 + x);
    long double sum = 0, power = q;
    for (int n = 1; n < 50; n += 2, power *= q * q) sum += power / n;
    return 2 * sum;
}
constexpr int64_t nearest_q31(long double x)
{
    const long double scaled = x * 0x1p31L;
    return static_cast<int64_t>(scaled < 0 ? scaled - 0.5L : scaled + 0.5L);
}
// Entry k: ln(1 + 2^-(k+1)), and ln(1 - 2^-(k+1)), in Q31, rounded to nearest.
template <int Sign>
constexpr auto ln_table()
{
    std::array<int64_t, 32> table{};
    long double step = 0.5L;
    for (auto& entry : table) {
        entry = nearest_q31(ln_one_plus(Sign * step));
        step /= 2;
    }
    return table;
}
constexpr auto _ExpTable1 = ln_table<1>();
constexpr auto _ExpTable2 = ln_table<-1>();
static_assert(_ExpTable1[28] == 4 && _ExpTable1[29] == 2 && _ExpTable1[30] == 1 && _ExpTable1[31] == 0);
static_assert(_ExpTable2[28] == -4 && _ExpTable2[29] == -2 && _ExpTable2[30] == -1 && _ExpTable2[31] == -1);

// exp(t) - 1, t at least 0, both in Q22: 2^whole times the exponential of the rest, which is taken apart into
// factors 1 + 2^-k and 1 - 2^-k. Limited to 2^31 - 1 before 1 is subtracted.
int64_t exp_less_one_q22(int64_t t)
{
    const int64_t power_of_two = product(t, kLog2OfE) >> 22;  // Q31
    const int64_t whole = power_of_two >> 31;
    int64_t rest = product(power_of_two - shifted_left(whole, 31), kLn2) >> 31;

    uint64_t exponential = uint64_t{1} << 31, step = uint64_t{1} << 30;  // Q31
    for (std::size_t k = 0; k < 32; ++k, step /= 2) {
        if (rest > _ExpTable1[k]) {
            rest -= _ExpTable1[k];
            exponential = ((exponential << 31) + exponential * step) >> 31;
        } else if (rest < _ExpTable2[k]) {
            rest -= _ExpTable2[k];
            exponential = ((exponential << 31) - exponential * step) >> 31;
        }
    }
    const auto down = std::clamp<int64_t>(9 - whole, -31, 63);
    const uint64_t scaled = down >= 0 ? exponential >> down : exponential << -down;
    return static_cast<int64_t>(std::min<uint64_t>(scaled, 0x7FFFFFFF)) - kOne;
}

struct IntegerBand {
    int32_t sample_rate, low, high;  // Hz
    int32_t mel_mul, mel_div;        // Q15
};

void fill_centers(const ZelFBankState_32s& bank, const IntegerBand& band, int64_t fft_len)
{
    const int64_t div = int64_t{band.mel_div} << 7, mul = int64_t{band.mel_mul} << 7;
    const auto mel = [&](int32_t freq) {  // Q22
        return product(ln_q22((int64_t{freq} << 22) + div) - ln_q22(div), band.mel_mul) >> 15;
    };
    const int64_t low = mel(band.low), span = mel(band.high) - low;
    const int64_t steps = int64_t{bank.filters} + 1;
    const int64_t bins_per_ratio = product((fft_len << 22) / band.sample_rate, div) >> 22;
    for (int64_t i = 0; i <= steps; ++i) {
        const int64_t point = (steps * low + i * span) / steps;
        const int64_t ratio = exp_less_one_q22(shifted_left(point, 22) / mul);
        bank.centers[i] = static_cast<int32_t>(rounded_q22(product(ratio, bins_per_ratio) >> 22));
    }
}

// A row has N/2 weights: one that would lie behind them belongs to centres beyond N/2, or to none.
Slope left_slope(const ZelFBankState_32s& bank, const int32_t* c)
{
    Slope bins = rising(c, bank.bins - 1);
    bins.count = std::min(bins.count, bank.bins - 1);
    return bins;
}
Slope right_slope(const ZelFBankState_32s& bank, const int32_t* c) { return falling(c, bank.bins - 1); }

int32_t q30(int64_t numerator, int64_t denominator)
{
    return static_cast<int32_t>((numerator << kWeightBits) / denominator);
}

void fill_weights(const ZelFBankState_32s& bank, int32_t filter)
{
    const int32_t* c = bank.centers + filter - 1;
    const int64_t left = c[0], middle = c[1], right = c[2];
    fill_slope(bank.left_weights[filter - 1], left_slope(bank, c),
               [=](int64_t b) { return q30(b - left + 1, middle - left + 1); });
    fill_slope(bank.right_weights[filter - 1], right_slope(bank, c + 1),
               [=](int64_t b) { return q30(right + 1 - b, right - middle + 1); });
}

// Bytes between the tables: the left one's row list, its rows and the gaps for aligning them.
int64_t bytes_to_right_table(int64_t filters, int64_t columns)
{
    return 9 * (4 * filters + 8) + 4 * columns * (filters + 2);
}

int64_t integer_bank_bytes(int64_t filters, int64_t columns)
{
    return 4 * filters + 96 + 9 * (4 * filters + 8) + bytes_to_right_table(filters, columns) +
           4 * columns * (filters + 2) + 64;
}

// Columns are a multiple of 16, so that rows of whole 32 bytes leave no gap between them.
void lay_out_integer_bank(ZelFBankState_32s* bank, int32_t filters, int32_t columns)
{
    Parts parts(bank + 1);
    bank->centers = parts.take<int32_t>(4 * (int64_t{filters} + 2));
    bank->left_weights = parts.take<int32_t*>(bytes_to_right_table(filters, columns));
    bank->right_weights = parts.take<int32_t*>(0);
    bank->flag = FBankWeightsFreq;
    bank->filters = filters;
    bank->bins = columns + 1;
    for (int32_t** table : {bank->left_weights, bank->right_weights}) {
        Init2_32s(table, filters + 2, columns);
        std::memset(table[0], 0, (static_cast<std::size_t>(filters) + 2) * static_cast<std::size_t>(columns) * 4);
    }
}

// Every product loses eight bits before it joins the sum, which is in Q22.
int64_t weighted_sum(const int32_t* src, const int32_t* weights, const Slope& bins, int64_t sum)
{
    for (int32_t k = 0; k < bins.count; ++k)
        sum =
            static_cast<int64_t>(static_cast<uint64_t>(sum) +
                                 static_cast<uint64_t>(int64_t{weights[k]} * load_one(src + bins.first + k) >> 8));
    return sum;
}

// Limited from above only, also before a left shift, whose negative sums wrap; what is too low wraps: all wanted.
int32_t result_of(int64_t sum, int32_t sf)
{
    constexpr int64_t most = std::numeric_limits<int64_t>::max();
    if (sf > 0)
        sum >>= sf;
    else if (sf < 0)
        sum = sum >= int64_t{1} << (63 + sf) ? most : shifted_left(sum, -sf);
    return static_cast<int32_t>(std::min<int64_t>(rounded_q22(sum), std::numeric_limits<int32_t>::max()));
}

SrStatus length_in_range(int32_t fft_len) { return require(fft_len >= 32 && fft_len <= 8192, SrErrSize); }
SrStatus bins_alone(int32_t flag) { return require(flag == FBankWeightsFreq, SrErrFBankFlag); }

}  // namespace
}  // namespace zelsr::bank

using namespace zelsr;
using namespace zelsr::bank;

SrStatus zelsMelFBankGetSize_32s(int32_t fft_len, int32_t filters, int32_t flag, int32_t* size)
{
    const auto columns = [=] { return int32_t{1} << (order_of(fft_len) - 1); };
    if (SrStatus failed =
            first_failure(non_null(size), positive(filters), length_in_range(fft_len), bins_alone(flag),
                          [=] { return require(filters <= columns(), SrErrSize); }))
        return failed;
    store_one(size, static_cast<int32_t>(integer_bank_bytes(filters, columns())));
    return SrOk;
}

// One filter more than GetSize allows, which is found only after the order has been written: both are wanted.
SrStatus zelsMelFBankInit_32s(ZelFBankState_32s* bank, int32_t* fft_order, int32_t fft_len, int32_t sample_rate,
                              int32_t low_freq, int32_t high_freq, int32_t filters, int32_t mel_mul,
                              int32_t mel_div, int32_t flag)
{
    if (SrStatus failed = first_failure(
            non_null(bank, fft_order), positive(filters, high_freq), length_in_range(fft_len), bins_alone(flag),
            require(sample_rate >= 1 && sample_rate <= 48000 && low_freq >= 0, SrErrSize),
            require(high_freq > low_freq && high_freq <= 24000, SrErrFBankFreq),
            require(mel_div >= 0x80001 && mel_div < 0x10000000, SrErrBadArg),
            require(mel_mul >= 0x80001 && mel_mul < 0x40000000, SrErrBadArg)))
        return failed;
    const int32_t order = order_of(fft_len), columns = int32_t{1} << (order - 1);
    store_one(fft_order, order);
    if (SrStatus failed = require(filters <= columns + 1, SrErrSize)) return failed;

    lay_out_integer_bank(bank, filters, columns);
    fill_centers(*bank, {sample_rate, low_freq, high_freq, mel_mul, mel_div}, 2 * int64_t{columns});
    for (int32_t filter = 1; filter <= filters; ++filter) fill_weights(*bank, filter);
    return SrOk;
}

SrStatus zelsEvalFBank_32s_Sfs(const int32_t* src, int32_t* dst, const ZelFBankState_32s* bank, int32_t sf)
{
    if (SrStatus failed = first_failure(non_null(src, dst, bank), require(sf >= -31 && sf <= 31, SrErrBadArg)))
        return failed;
    for (int32_t i = 0; i < bank->filters; ++i) {
        const int32_t* c = bank->centers + i;
        const int64_t rise = weighted_sum(src, bank->left_weights[i], left_slope(*bank, c), 0);
        const int64_t sum = weighted_sum(src, bank->right_weights[i], right_slope(*bank, c + 1), rise);
        store_one(dst + i, result_of(sum, sf));
    }
    return SrOk;
}
