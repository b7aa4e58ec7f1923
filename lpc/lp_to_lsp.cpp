// Line spectral pairs of a prediction polynomial, by a search over a grid.
#include <bit>

#include "core/contract.h"
#include "core/rounding.h"
#include "core/scratch.h"
#include "core/simd.h"
#include "lpc/scaled.h"
#include "zelsr/lpc/line_spectrum.h"

namespace zelsr {
namespace {

constexpr int32_t kOnStack = 240;  // up to this sum of cells and order no memory is allocated

SrStatus enough_cells(int32_t order, int32_t n_int) { return require(order <= n_int, SrErrSize); }

template <class T>
T every_lane(float x);
template <>
inline float every_lane(float x)
{
    return x;
}
template <>
inline __m128 every_lane(float x)
{
    return _mm_set1_ps(x);
}

// One of the two polynomials as a Chebyshev series in x = cos w; c[0] is 1 and not read.
struct Series {
    float* c;
    int32_t m;

    // T: one x, or four.
    template <class T>
    [[gnu::always_inline]] T at(T x) const
    {
        if (m == 0) return T{};
        const auto coefficient = [this](int32_t j) { return every_lane<T>(c[j]); };
        const T y = x + x;
        if (m == 1) return y + coefficient(1);
        T prev = every_lane<T>(1.0F), cur = coefficient(1) + y;
        for (int32_t j = 2; j < m; ++j) {
            const T next = y * cur - prev + coefficient(j);
            prev = cur;
            cur = next;
        }
        return coefficient(m) * every_lane<T>(0.5F) - prev + cur * x;
    }
};

// The grid's nodes and the two polynomials, in one block of work memory.
struct Search {
    float* nodes;
    Series polynomial[2];
    int32_t n_int;

    // The nodes are written in whole registers.
    static constexpr int64_t work_size(int64_t n_int, int64_t order) { return n_int + 4 + order + 2; }

    Search(float* work, int32_t cells, int32_t order)
        : nodes(work),
          polynomial{{work + cells + 4, (order + 1) / 2}, {work + cells + 5 + (order + 1) / 2, order / 2}},
          n_int(cells)
    {}
};
using Work = Scratch<float, Search::work_size(kOnStack, 0)>;

void place_nodes(const Search& search)
{
    const float d = 2.0F / static_cast<float>(search.n_int);
    __m128 four = _mm_set1_ps(1.0F) - _mm_setr_ps(0, 1, 2, 3) * _mm_set1_ps(d);
    for (int32_t i = 0;; i += 4) {
        Unaligned::put(search.nodes + i, four);
        if (i > search.n_int - 4) break;
        four = four - _mm_set1_ps(4.0F * d);
    }
    search.nodes[search.n_int] = -1.0F;
}

void split(const float* a, int32_t order, const Search& search)
{
    const auto from_start = [a](int32_t i) { return load_one(a + i - 1); };
    const auto from_end = [a, order](int32_t i) { return load_one(a + order - i); };
    float *g1 = search.polynomial[0].c, *g2 = search.polynomial[1].c;
    const int32_t m1 = search.polynomial[0].m, m2 = search.polynomial[1].m;
    g1[0] = g2[0] = 1.0F;
    if (m1 == m2) {
        for (int32_t i = 1; i <= m1; ++i) {
            g1[i] = from_start(i) - g1[i - 1] + from_end(i);
            g2[i] = from_start(i) + g2[i - 1] - from_end(i);
        }
        return;
    }
    for (int32_t i = 1; i < m1; ++i) g1[i] = 0 - from_start(i) - from_end(i);
    g1[m1] = -2.0F * from_start(m1);
    if (m2 >= 1) g2[1] = from_end(1) - from_start(1);
    for (int32_t i = 2; i <= m2; ++i) g2[i] = g2[i - 2] + from_end(i) - from_start(i);
}

// A change of sign between a and b, a above b.
struct Bracket {
    float xa, fa, xb, fb;

    float secant() const { return xb - (xa - xb) * fb / (fa - fb); }
};

// Three points between the ends at a time: the fourth lane has no use.
void quarter(const Series& series, Bracket& bracket, int32_t rounds)
{
    float step = (bracket.xa - bracket.xb) * 0.25F;
    for (; rounds > 0; --rounds, step *= 0.25F) {
        alignas(16) float x[4], f[4];
        const __m128 points = _mm_set1_ps(bracket.xa) - _mm_set1_ps(step) * _mm_setr_ps(1, 2, 3, 4);
        const __m128 values = series.at(points);
        Aligned::put(x, points);
        Aligned::put(f, values);
        const __m128 same_sign = _mm_cmpgt_ps(values * _mm_set1_ps(bracket.fa), _mm_setzero_ps());
        const int passed = std::countr_one(static_cast<unsigned>(_mm_movemask_ps(same_sign)) & 7U);
        if (passed < 3) bracket.xb = x[passed], bracket.fb = f[passed];
        if (passed > 0) bracket.xa = x[passed - 1], bracket.fa = f[passed - 1];
    }
}

void halve(const Series& series, Bracket& bracket, int32_t rounds)
{
    for (; rounds > 0; --rounds) {
        const float x = (bracket.xa + bracket.xb) * 0.5F, f = series.at(x);
        if (bracket.fb * f > 0)
            bracket.xb = x, bracket.fb = f;
        else
            bracket.xa = x, bracket.fa = f;
    }
}

// Moves the bracket's left end on until the next of up to four nodes is its right end: whether there is one. i is
// the node before.
bool next_of_four(const Search& search, const Series& series, Bracket& bracket, int32_t& i)
{
    alignas(16) float x[5], f[5];
    const __m128 points = Unaligned::four(search.nodes + i + 1), values = series.at(points);
    const __m128 first_before =
        _mm_move_ss(_mm_shuffle_ps(values, values, _MM_SHUFFLE(2, 1, 0, 0)), _mm_set_ss(bracket.fa));
    const __m128 same_sign = _mm_cmpgt_ps(first_before * values, _mm_setzero_ps());
    const int passed = std::countr_one(static_cast<unsigned>(_mm_movemask_ps(same_sign)));
    i += passed;
    x[0] = bracket.xa;
    f[0] = bracket.fa;
    Unaligned::put(x + 1, points);
    Unaligned::put(f + 1, values);
    bracket.xa = x[passed];
    bracket.fa = f[passed];
    if (passed == 4) return false;
    bracket.xb = x[passed + 1];
    bracket.fb = f[passed + 1];
    return true;
}

// The same for the one next node.
bool next_of_one(const Search& search, const Series& series, Bracket& bracket, int32_t& i)
{
    const float x = search.nodes[i + 1], f = series.at(x);
    if (bracket.fa * f > 0) {
        bracket.xa = x;
        bracket.fa = f;
        ++i;
        return false;
    }
    bracket.xb = x;
    bracket.fb = f;
    return true;
}

// How many roots there are, up to order. A root becomes the left end of the other polynomial's next bracket.
[[gnu::noinline]] int32_t find_roots(const float* a, float* lsp, int32_t order, int32_t n_int, int32_t n_div,
                                     float* work)
{
    const Search search(work, n_int, order);
    place_nodes(search);
    split(a, order, search);
    const Series* series = &search.polynomial[0];
    Bracket bracket{};
    bracket.xa = search.nodes[0];
    bracket.fa = series->at(bracket.xa);
    int32_t count = 0;
    for (int32_t i = 0; count < order && i < n_int;) {
        // Where four nodes are looked at together, roots are quartered, elsewhere halved: wanted.
        if (i < n_int - 5) {
            if (!next_of_four(search, *series, bracket, i)) continue;
            quarter(*series, bracket, n_div / 2 + n_div % 2);
        } else {
            if (!next_of_one(search, *series, bracket, i)) continue;
            halve(*series, bracket, n_div);
        }
        const float root = bracket.secant();
        store_one(lsp + count++, root);
        series = &search.polynomial[count % 2];
        bracket.xa = root;
        bracket.fa = series->at(root);
    }
    return count;
}

SrStatus report(int32_t count, int32_t order, int32_t* n_roots)
{
    store_one(n_roots, count);
    return count < order ? SrErrLpToLsp : SrOk;
}

}  // namespace
}  // namespace zelsr

using namespace zelsr;

SrStatus zelsLPToLSP_32f(const float* a, float* lsp, int32_t order, int32_t* n_roots, int32_t n_int, int32_t n_div)
{
    if (SrStatus failed =
            first_failure(non_null(a, lsp, n_roots), positive(n_int, n_div, order), enough_cells(order, n_int)))
        return failed;
    const Work work(Search::work_size(n_int, order));
    if (!work) return SrErrMemAlloc;
    return report(find_roots(a, lsp, order, n_int, n_div, work.data()), order, n_roots);
}

SrStatus zelsLPToLSP_16s_Sfs(const int16_t* a, int32_t src_sf, int16_t* lsp, int32_t order, int32_t* n_roots,
                             int32_t n_int, int32_t n_div, int32_t sf)
{
    if (SrStatus failed =
            first_failure(non_null(a, lsp, n_roots), positive(n_int, order, n_div), enough_cells(order, n_int)))
        return failed;
    const Scratch<float, kOnStack> single(2 * int64_t{order});
    const Work work(Search::work_size(n_int, order));
    if (!single || !work) return SrErrMemAlloc;
    const DefaultFloatEnvironment environment;
    float *coefficients = single.data(), *roots = coefficients + order;
    to_single(a, coefficients, order, GetScale_32s32f(src_sf));
    const int32_t count = find_roots(coefficients, roots, order, n_int, n_div, work.data());
    to_low_16s(roots, lsp, count, sf);
    return report(count, order, n_roots);
}
