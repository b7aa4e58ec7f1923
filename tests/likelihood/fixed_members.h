// What the tests of the scores on 16-bit data share: members by name, their calls in one form, problems, and what
// each member must do with them.
#pragma once

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <ostream>
#include <string>
#include <string_view>
#include <vector>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/odd_stack.h"
#include "support/reference/fixed.h"
#include "zelsr/likelihood/fixed.h"
#include "zelsr/likelihood/log_add.h"

namespace zelsr::test::fixed {

using reference::fixed::Arithmetic;
using reference::fixed::Form;
using reference::fixed::Kernel;
using reference::fixed::Operands;
using reference::fixed::Score;

// --- calls ---

// Everything that any member takes. rows: the frames of a frame member, the means of the others.
struct Arguments {
    const int16_t *rows, *row_variances;                // D2 members
    int32_t step;                                       // D2 members
    const int16_t *const *list, *const *variance_list;  // D2L members
    const int16_t *vector, *variance;                   // the one vector; its variances where rows have none
    int32_t width;
    void* result;
    int32_t height;
    double val;        // frame members
    const void* vals;  // one constant a row, where they do not lie in the result
    int32_t sf;
    int stack = -1;  // the stack pointer modulo 16 at the call, where it is not left to the compiler
};

template <class... Parameter>
SrStatus call_with(const Arguments& a, SrStatus (*function)(Parameter...),
                   std::type_identity_t<Parameter>... arguments)
{
#ifdef __i386__
    if (a.stack >= 0) return call_misaligned(function, a.stack, arguments...);
#endif
    static_cast<void>(a);
    return function(arguments...);
}

// The shapes of argument lists. Sf: int32_t, or none in the forms without a scale factor.
using Row = const int16_t*;
using Rows = const int16_t* const*;

template <class T, class... Sf>
SrStatus shaped(SrStatus (*f)(Row, int32_t, Row, Row, int32_t, T*, int32_t, T, Sf...), const Arguments& a)
{
    return call_with(a, f, a.rows, a.step, a.vector, a.variance, a.width, static_cast<T*>(a.result), a.height,
                     static_cast<T>(a.val), static_cast<Sf>(a.sf)...);
}
template <class T, class... Sf>
SrStatus shaped(SrStatus (*f)(Row, int32_t, Row, int32_t, T*, int32_t, T, Sf...), const Arguments& a)
{
    return call_with(a, f, a.rows, a.step, a.vector, a.width, static_cast<T*>(a.result), a.height,
                     static_cast<T>(a.val), static_cast<Sf>(a.sf)...);
}
template <class T, class... Sf>
SrStatus shaped(SrStatus (*f)(Rows, Row, Row, int32_t, T*, int32_t, T, Sf...), const Arguments& a)
{
    return call_with(a, f, a.list, a.vector, a.variance, a.width, static_cast<T*>(a.result), a.height,
                     static_cast<T>(a.val), static_cast<Sf>(a.sf)...);
}
template <class T, class... Sf>
SrStatus shaped(SrStatus (*f)(Rows, Row, int32_t, T*, int32_t, T, Sf...), const Arguments& a)
{
    return call_with(a, f, a.list, a.vector, a.width, static_cast<T*>(a.result), a.height, static_cast<T>(a.val),
                     static_cast<Sf>(a.sf)...);
}
template <class T, class... Sf>
SrStatus shaped(SrStatus (*f)(Row, Row, int32_t, Row, int32_t, T*, int32_t, Sf...), const Arguments& a)
{
    return call_with(a, f, a.rows, a.row_variances, a.step, a.vector, a.width, static_cast<T*>(a.result), a.height,
                     static_cast<Sf>(a.sf)...);
}
template <class T, class... Sf>
SrStatus shaped(SrStatus (*f)(Rows, Rows, Row, int32_t, T*, int32_t, Sf...), const Arguments& a)
{
    return call_with(a, f, a.list, a.variance_list, a.vector, a.width, static_cast<T*>(a.result), a.height,
                     static_cast<Sf>(a.sf)...);
}
template <class T>
SrStatus shaped(SrStatus (*f)(Row, Row, int32_t, Row, int32_t, const T*, T*, int32_t, int32_t), const Arguments& a)
{
    return call_with(a, f, a.rows, a.row_variances, a.step, a.vector, a.width, static_cast<const T*>(a.vals),
                     static_cast<T*>(a.result), a.height, a.sf);
}
template <class T>
SrStatus shaped(SrStatus (*f)(Rows, Rows, Row, int32_t, const T*, T*, int32_t, int32_t), const Arguments& a)
{
    return call_with(a, f, a.list, a.variance_list, a.vector, a.width, static_cast<const T*>(a.vals),
                     static_cast<T*>(a.result), a.height, a.sf);
}
template <class T>
SrStatus shaped(SrStatus (*f)(Row, Row, Row, int32_t, int32_t, int32_t, const T*, T*, int32_t), const Arguments& a)
{
    return call_with(a, f, a.vector, a.rows, a.row_variances, a.height, a.step, a.width,
                     static_cast<const T*>(a.vals), static_cast<T*>(a.result), a.sf);
}
template <class T>
SrStatus shaped(SrStatus (*f)(Row, Row, int32_t, int32_t, int32_t, const T*, T*, int32_t), const Arguments& a)
{
    return call_with(a, f, a.vector, a.rows, a.height, a.step, a.width, static_cast<const T*>(a.vals),
                     static_cast<T*>(a.result), a.sf);
}
template <class T>
SrStatus shaped(SrStatus (*f)(Row, Rows, Rows, int32_t, int32_t, const T*, T*, int32_t), const Arguments& a)
{
    return call_with(a, f, a.vector, a.list, a.variance_list, a.height, a.width, static_cast<const T*>(a.vals),
                     static_cast<T*>(a.result), a.sf);
}
template <class T>
SrStatus shaped(SrStatus (*f)(Row, Rows, int32_t, int32_t, const T*, T*, int32_t), const Arguments& a)
{
    return call_with(a, f, a.vector, a.list, a.height, a.width, static_cast<const T*>(a.vals),
                     static_cast<T*>(a.result), a.sf);
}
// One vector: its feature and mean are a block of one row and the vector.
template <class T>
SrStatus shaped(SrStatus (*f)(Row, Row, Row, int32_t, T*, T, int32_t), const Arguments& a)
{
    return call_with(a, f, a.rows, a.vector, a.variance, a.width, static_cast<T*>(a.result), static_cast<T>(a.val),
                     a.sf);
}
template <class T>
SrStatus shaped(SrStatus (*f)(Row, Row, int32_t, T*, T, int32_t), const Arguments& a)
{
    return call_with(a, f, a.rows, a.vector, a.width, static_cast<T*>(a.result), static_cast<T>(a.val), a.sf);
}

template <auto Function>
SrStatus call(const Arguments& a)
{
    return shaped(Function, a);
}

// --- members ---

// A member is known by its name: what the words of a name mean is the same in all families.
struct Member {
    std::string_view name;
    SrStatus (*call)(const Arguments&);

    bool has(std::string_view word) const { return name.find(word) != std::string_view::npos; }
    bool list() const { return has("D2L"); }
    bool integer() const { return has("16s32s"); }
    bool unit() const { return has("IdVar"); }
    bool low() const { return has("Low"); }
    bool scaled() const { return has("Scaled") || has("Sfs"); }  // takes a scale factor
    bool single_vector() const { return has("Single"); }
    bool mixture() const { return has("Mixture"); }
    bool constants_in_result() const { return has("GaussMultiMix"); }
    bool running() const { return has("GaussMax") || has("GaussAdd"); }  // the result goes in and out
    bool rows_are_gaussians() const { return has("MultiMix") || mixture(); }
    bool constant_a_row() const { return rows_are_gaussians(); }
    Form form() const
    {
        // Of a mixture with unit variances each component is scored as one vector.
        const bool vector = single_vector() || (mixture() && unit());
        return {low() ? Arithmetic::Low : Arithmetic::Plain, vector ? Kernel::Vector : Kernel::Rows, integer()};
    }
    friend std::ostream& operator<<(std::ostream& out, const Member& m) { return out << m.name; }
};

inline std::string member_name(const testing::TestParamInfo<Member>& info)
{
    return std::string(info.param.name.substr(std::string_view("zelsLogGauss").size()));
}

// --- problems ---

using Vector = std::vector<int16_t>;

// Constants and running values are singles or 32-bit integers by the member; a double holds both.
struct Problem {
    std::vector<Vector> rows, row_variances;
    Vector vector, variance;
    std::vector<double> vals;    // one a row, or one
    std::vector<double> before;  // running values
    int32_t sf = 0;

    int width() const { return static_cast<int>(vector.size()); }
    int height() const { return static_cast<int>(rows.size()); }
    double val(std::size_t row) const { return vals[vals.size() == 1 ? 0 : row]; }
    Operands operands(const Member& m, std::size_t row) const
    {
        const Vector& p = m.rows_are_gaussians() ? row_variances[row] : variance;
        const int16_t* const variances = m.unit() ? nullptr : p.data();
        if (m.rows_are_gaussians()) return {vector.data(), rows[row].data(), variances, width()};
        return {rows[row].data(), vector.data(), variances, width()};
    }
};

enum class Values {
    Small,     // every sum is exact in single precision
    Extreme,   // differences of all sizes up to 65535, beyond saturation; sums are exact all the same
    Wide,      // the whole type
    Positive,  // the whole type, variances not below 0
};

inline Vector vector_of(Values values, int width)
{
    if (values == Values::Small) return uniform_vector<int16_t>(width, -20, 20);
    if (values != Values::Extreme) return uniform_vector<int16_t>(width, INT16_MIN, INT16_MAX);
    Vector all(static_cast<std::size_t>(width));
    for (int16_t& x : all) x = std::vector<int16_t>{INT16_MIN, INT16_MIN, 0, INT16_MAX}[generator()() % 4];
    return all;
}

inline Vector variances_of(Values values, int width)
{
    if (values == Values::Small) return uniform_vector<int16_t>(width, 0, 8);
    if (values == Values::Extreme) return uniform_vector<int16_t>(width, -2, 4);
    if (values == Values::Positive) return uniform_vector<int16_t>(width, 0, INT16_MAX);
    return uniform_vector<int16_t>(width, INT16_MIN, INT16_MAX);
}

// Pairs of squares of -32768 do not fit into 32 bits with a sign, where unit variances add pairs.
inline void keep_pairs_within_32_bits(Vector& row, const Vector& vector, bool row_is_minuend)
{
    for (std::size_t k = 1; k < row.size(); k += 2) {
        const int difference = row_is_minuend ? row[k] - vector[k] : vector[k] - row[k];
        if (difference <= INT16_MIN) row[k] = vector[k];
    }
}

// Log additions do something only where the terms lie within 15.3 of each other: running values near the scores,
// components' constants that bring their scores together.
inline void bring_together(const Member& m, Problem& p)
{
    for (std::size_t r = 0; r < p.rows.size(); ++r) {
        const double apart = uniform(-18.0F, 18.0F);
        const double score = reference::fixed::score(m.form(), p.operands(m, r), p.val(r), p.sf).value;
        if (m.has("GaussAdd")) p.before[r] = static_cast<float>(score + apart);
        if (m.mixture()) p.vals[r] = static_cast<float>(p.vals[r] - score + apart);
    }
}

inline Problem random_problem(const Member& m, Values values, int width, int height, int32_t sf)
{
    Problem p;
    p.sf = m.scaled() ? sf : 0;
    p.vector = vector_of(values, width);
    p.variance = variances_of(values, width);
    const double bound = m.integer() ? 1e6 : 1024;
    for (int r = 0; r < height; ++r) {
        p.rows.push_back(vector_of(values, width));
        p.row_variances.push_back(variances_of(values, width));
        if (m.unit()) keep_pairs_within_32_bits(p.rows.back(), p.vector, !m.rows_are_gaussians());
        if (r == 0 || m.constant_a_row()) p.vals.push_back(std::round(uniform(-bound, bound)));
        p.before.push_back(std::round(uniform(-bound, bound)));
    }
    bring_together(m, p);
    return p;
}

// --- results ---

inline uint32_t to_word(const Member& m, double value)
{
    if (m.integer()) return static_cast<uint32_t>(static_cast<int32_t>(value));
    return std::bit_cast<uint32_t>(static_cast<float>(value));
}
inline double from_word(const Member& m, uint32_t word)
{
    if (m.integer()) return static_cast<int32_t>(word);
    return std::bit_cast<float>(word);
}

inline testing::AssertionResult agrees(const Member& m, const Score& expected, double actual)
{
    if (expected.not_fixed == 0) return same_value(expected.value, actual);
    if (std::abs(actual - expected.value) <= expected.not_fixed) return testing::AssertionSuccess();
    const bool may_not_fit =
        expected.value + expected.not_fixed >= 0x1p31 || expected.value - expected.not_fixed < -0x1p31;
    if (m.integer() && may_not_fit && actual == INT32_MIN) return testing::AssertionSuccess();
    return testing::AssertionFailure() << std::fixed << "expected " << expected.value << " +- "
                                       << expected.not_fixed << ", got " << actual;
}

inline float log_add(double before, double score, int32_t hint)
{
    const auto from = static_cast<float>(score);
    auto sum = static_cast<float>(before);
    zelsLogAdd_32f(&from, &sum, 1, hint);
    return sum;
}

// The sum of a mixture: blocks of 100, from the second on with the running sum as the first element.
inline float log_sum(const std::vector<float>& scores)
{
    float sum = 0;
    for (std::size_t done = 0; done < scores.size(); done += 100) {
        std::vector<float> block;
        if (done != 0) block.push_back(sum);
        for (std::size_t j = done; j < std::min(done + 100, scores.size()); ++j) block.push_back(scores[j]);
        zelsLogSum_32f(block.data(), &sum, static_cast<int32_t>(block.size()));
    }
    return sum;
}

// fused(row): whether that row's score is added by the fast arithmetic.
template <class Fused>
std::vector<Score> expected_results(const Member& m, const Problem& p, Fused fused)
{
    std::vector<Score> results;
    std::vector<float> components;
    double not_fixed = 0;
    for (std::size_t r = 0; r < p.rows.size(); ++r) {
        Score score = reference::fixed::score(m.form(), p.operands(m, r), p.val(r), p.sf);
        if (m.has("GaussMax")) score = reference::fixed::larger(m.integer(), p.before[r], score);
        if (m.has("GaussAdd")) {
            // The sum moves less than its operands; its own rounding and its pieces' joints come on top.
            score.value = log_add(p.before[r], score.value, fused(r) ? 1 : 0);
            if (score.not_fixed != 0) score.not_fixed += 1e-6 * (1 + std::abs(score.value));
        }
        components.push_back(static_cast<float>(score.value));
        not_fixed = std::max(not_fixed, score.not_fixed);
        results.push_back(score);
    }
    if (!m.mixture()) return results;
    const double sum = log_sum(components);
    if (not_fixed != 0) not_fixed += 1e-6 * (1 + std::abs(sum)) * static_cast<double>(p.rows.size());
    return {{sum, not_fixed}};
}

// --- calls between guard pages ---

// Where a problem's arrays lie. Of a list, row r lies misalign[r modulo its size] bytes off 16.
struct Layout {
    Placement rows, row_variances, vector, variance, vals, result;
    int beyond_width = 0;  // step less width
    std::vector<int> row_misalign = {0}, variance_misalign = {0};

    bool on_16_bytes(std::size_t row) const { return row_misalign[row % row_misalign.size()] == 0; }
};

inline std::string describe(const Layout& layout)
{
    std::string text = "rows, row variances, vector, variance, vals, result: " +
                       test::describe(Arrangement{layout.rows, layout.row_variances, layout.vector,
                                                  layout.variance, layout.vals, layout.result}) +
                       "; step = width + " + std::to_string(layout.beyond_width) + "; rows off";
    for (int misalign : layout.row_misalign) text += " " + std::to_string(misalign);
    text += "; variance rows off";
    for (int misalign : layout.variance_misalign) text += " " + std::to_string(misalign);
    return text;
}

// Rows in a member's layout. Up to 16 rows of a list lie between pages of their own; more share one array.
class GuardedModel {
  public:
    GuardedModel(bool list, const std::vector<Vector>& rows, int step, Placement place,
                 const std::vector<int>& misalign)
        : block_(list && rows.size() <= 16 ? Vector{0} : as_block(rows, padded_step(list, step)), place),
          rows_(list && rows.size() <= 16 ? rows : std::vector<Vector>{}, misalign, place.edge),
          list_(rows.size())
    {
        for (std::size_t r = 0; r < rows.size(); ++r)
            list_.set(r,
                      list && rows.size() <= 16 ? rows_.list()[r] : block_.data() + r * padded_step(list, step));
        if (list && rows.size() <= 16) source_ = rows;
        block_.take_snapshot();
        list_.take_snapshot();
    }
    const int16_t* block() const { return block_.data(); }
    const int16_t* const* list() const { return list_.data(); }
    testing::AssertionResult as_before() const
    {
        for (std::size_t r = 0; r < source_.size(); ++r)
            if (std::memcmp(rows_.list()[r], source_[r].data(), source_[r].size() * 2) != 0)
                return testing::AssertionFailure() << "row " << r << " was written";
        if (block_.as_snapshot() && rows_.intact() && list_.as_snapshot()) return testing::AssertionSuccess();
        return testing::AssertionFailure() << "an input or a byte beside it was written";
    }

  private:
    static std::size_t padded_step(bool list, int step)
    {
        return static_cast<std::size_t>(list ? (step + 7) / 8 * 8 : step);
    }
    std::vector<Vector> source_;
    Guarded<int16_t> block_;
    GuardedRows<int16_t> rows_;
    Guarded<const int16_t*> list_;
};

// A problem's arrays between guard pages, and a member's call on them.
class Trial {
  public:
    Trial(const Member& member, const Problem& problem, const Layout& layout = {})
        : m(member),
          p(problem),
          step(problem.width() + layout.beyond_width),
          rows(m.list(), p.rows, step, layout.rows, layout.row_misalign),
          variances(m.list(), p.row_variances, step, layout.row_variances, layout.variance_misalign),
          vector(p.vector, layout.vector),
          variance(p.variance, layout.variance),
          vals(words(p.vals), layout.vals),
          result(m.mixture() ? 1 : p.rows.size(), layout.result)
    {
        refill();
        for (GuardedBytes* input : {static_cast<GuardedBytes*>(&vector), static_cast<GuardedBytes*>(&variance),
                                    static_cast<GuardedBytes*>(&vals)})
            input->take_snapshot();
    }
    void refill()
    {
        if (m.running()) result.fill(words(p.before));
        if (m.constants_in_result()) result.fill(words(p.vals));
    }
    Arguments arguments() const
    {
        return {rows.block(),  variances.block(), step,      rows.list(),   variances.list(),
                vector.data(), variance.data(),   p.width(), result.data(), p.height(),
                p.vals[0],     vals.data(),       p.sf};
    }
    testing::AssertionResult holds(SrStatus status, const std::vector<Score>& expected) const
    {
        if (status != SrOk) return testing::AssertionFailure() << "status " << status;
        if (!result.intact()) return testing::AssertionFailure() << "written beside the result";
        if (auto before = rows.as_before(); !before) return before;
        if (auto before = variances.as_before(); !before) return before;
        if (!vector.as_snapshot() || !variance.as_snapshot() || !vals.as_snapshot())
            return testing::AssertionFailure() << "an input was written";
        for (std::size_t r = 0; r < expected.size(); ++r)
            if (auto right = agrees(m, expected[r], from_word(m, result.get(r))); !right)
                return testing::AssertionFailure() << "result " << r << ": " << right.message();
        return testing::AssertionSuccess();
    }

    const Member m;
    const Problem& p;
    const int step;
    const GuardedModel rows, variances;
    Guarded<int16_t> vector, variance;
    Guarded<uint32_t> vals, result;

  private:
    std::vector<uint32_t> words(const std::vector<double>& values) const
    {
        std::vector<uint32_t> all;
        for (double value : values) all.push_back(to_word(m, value));
        return all;
    }
};

// Whether a row's score is added by the fast arithmetic: the two members with a kernel that scores and adds in one
// pass, where their arrays allow it.
inline bool takes_fused_addition(const Member& m, const Problem& p, const Layout& layout, std::size_t row)
{
    if (m.name == "zelsLogGaussAdd_IdVarScaled_16s32f_D2")
        return layout.rows.misalign == 0 && layout.vector.misalign == 0 &&
               (p.width() + layout.beyond_width) % 8 == 0 && p.width() >= 4;
    if (m.name != "zelsLogGaussAdd_Scaled_16s32f_D2L") return false;
    if (layout.vector.misalign != 0 || layout.variance.misalign != 0 || layout.result.misalign != 0) return false;
    if (p.rows.size() > 16) return layout.rows.misalign == 0;  // rows at a common step that is a multiple of 8
    for (std::size_t r = row / 128 * 128; r < p.rows.size() && r < row / 128 * 128 + 128; ++r)
        if (!layout.on_16_bytes(r)) return false;
    return true;
}

inline testing::AssertionResult runs(const Member& m, const Problem& p, const Layout& layout = {}, int stack = -1)
{
    const Trial trial(m, p, layout);
    Arguments arguments = trial.arguments();
    arguments.stack = stack;
    const SrStatus status = m.call(arguments);
    const auto right = trial.holds(
        status, expected_results(m, p, [&](std::size_t row) { return takes_fused_addition(m, p, layout, row); }));
    if (right) return right;
    return testing::AssertionFailure() << "width " << p.width() << ", height " << p.height() << ", sf " << p.sf
                                       << ": " << right.message() << "; " << describe(layout);
}

}  // namespace zelsr::test::fixed
