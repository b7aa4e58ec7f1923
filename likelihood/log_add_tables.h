// ln(1 + e^d) for d at most 0, as polynomials on three intervals, and their coefficients for every way in which
// the lanes of a register can lie in the intervals.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace zelsr {

// One polynomial an interval; the first entry is the coefficient of the highest power, the last the constant. The
// argument of an interval is d less the interval's upper bound (d itself in the first).
template <std::size_t Terms>
using Polynomials = std::array<std::array<double, Terms>, 3>;

// Degree 10, for the single-precision domain: fits of ln(1 + e^d) on (-2.55, 0], (-6.8, -2.55], [-15.32, -6.8].
inline constexpr Polynomials<11> kFastPolynomials = {{
    {{-6.780103715801104e-07, -8.27710395983359e-06, -3.1261214564328406e-05, 2.1955075181092877e-05,
      0.0004062108907165097, 6.910012478334781e-05, -0.005163737400850404, 1.5878560708463796e-05,
      0.125002818406354, 0.5000001923981635, 0.6931471827215062}},
    {{-7.083237702375219e-09, -1.8491608098957698e-07, -2.094649399521823e-06, -1.2793327302109763e-05,
      -3.4842057389070787e-05, 0.00010764583059022215, 0.0016847989052690858, 0.009582361774741538,
      0.033592464138937767, 0.07242669818681209, 0.07518323027822499}},
    {{6.536044962123068e-12, 3.4510675551141127e-10, 8.230386128280675e-09, 1.183290602139997e-07,
      1.157908356720776e-06, 8.25762745567427e-06, 4.458031414389642e-05, 0.00018342101716467817,
      0.0005549481290265323, 0.0011123966452324845, 0.0011131507706311817}},
}};

// Degree 21, for the double-precision domain: (-3.5, 0], (-9, -3.5], [-23.03, -9].
inline constexpr Polynomials<22> kFullPolynomials = {{
    {{2.4223551556971103e-14, 1.2811707930131747e-12,  2.979508062290527e-11,  4.091290155130968e-10,
      3.717428002038248e-09,  2.3532270503994952e-08,  1.055613856863438e-07,  3.320992500314504e-07,
      7.091358966640867e-07,  1.0406444519836742e-06,  1.6353412792505214e-06, 3.844457955118119e-06,
      1.3867656181255913e-06, -2.5487163524155248e-05, 4.065812849423804e-07,  0.0003473626701744988,
      3.4289110129737e-08,    -0.005208327741081266,   5.587714108476228e-10,  0.12500000002958675,
      0.5000000000006226,     0.6931471805599475}},
    {{1.3708407243051937e-19,  9.601624129865304e-18,  3.191870701452749e-16,  6.702281854356589e-15,
      9.973092519816427e-14,   1.1165229253200852e-12, 9.711578249998531e-12,  6.632489267913665e-11,
      3.487750749690926e-10,   1.277933984587361e-09,  1.6292813548790022e-09, -1.909513758655842e-08,
      -1.8820558187982419e-07, -9.461042535100208e-07, -2.209235331735495e-06, 9.625041106025868e-06,
      0.00014699683220535022,  0.0009831490265710303,  0.004464163447126563,   0.014226511939950807,
      0.0293122307513593,      0.02975041827262059}},
    {{1.7034225392923792e-27, 3.0781354635598557e-25, 2.6542272637469554e-23, 1.4576061250276504e-21,
      5.745038767733748e-20,  1.73794899924144e-18,   4.217783891653166e-17,  8.4810302862868775e-16,
      1.4486369363407485e-14, 2.1432698000428128e-13, 2.7867099954008822e-12, 3.2140356172044866e-11,
      3.300948845025808e-10,  3.0140517373824124e-09, 2.4295529030919333e-08, 1.7072955802867207e-07,
      1.0263887628748916e-06, 5.137002703123242e-06,  2.0558151089723745e-05, 6.168967511733263e-05,
      0.00012339457601536868, 0.00012340218972425103}},
}};

namespace detail {

// For every assignment of Lanes lanes to the three intervals, the coefficients lane by lane: entry sum of
// 3^lane * interval(lane), in it coefficient after coefficient, in that lane after lane.
template <int Lanes, std::size_t Terms>
constexpr auto spread_over_lanes(const Polynomials<Terms>& polynomials)
{
    constexpr std::size_t entries = Lanes == 4 ? 81 : 9;
    std::array<std::array<std::array<double, Lanes>, Terms>, entries> table{};
    for (std::size_t entry = 0; entry < entries; ++entry) {
        std::size_t intervals = entry;
        for (std::size_t lane = 0; lane < Lanes; ++lane, intervals /= 3)
            for (std::size_t term = 0; term < Terms; ++term)
                table[entry][term][lane] = polynomials[intervals % 3][term];
    }
    return table;
}

}  // namespace detail

alignas(16) inline constexpr auto kFastLanes_64f = detail::spread_over_lanes<4>(kFastPolynomials);
alignas(16) inline constexpr auto kFullLanes_64f = detail::spread_over_lanes<2>(kFullPolynomials);

// The entry of a table by the lanes that lie at or below each of the two bounds, as 4-bit (2-bit) masks.
inline constexpr std::array<std::uint8_t, 16> kPowersOfThree = [] {
    std::array<std::uint8_t, 16> sums{};
    for (unsigned mask = 0; mask < 16; ++mask)
        sums[mask] = static_cast<std::uint8_t>((mask & 1) + 3 * (mask >> 1 & 1) + 9 * (mask >> 2 & 1) +
                                               27 * (mask >> 3 & 1));
    return sums;
}();
inline std::size_t lane_entry(int at_or_below_upper, int at_or_below_lower)
{
    return static_cast<std::size_t>(kPowersOfThree[static_cast<std::size_t>(at_or_below_upper)] +
                                    kPowersOfThree[static_cast<std::size_t>(at_or_below_lower)]);
}

}  // namespace zelsr
