// The eight members of the singular value decomposition: one call between guard pages, in any layout.
#pragma once

#include "matrix/matrix_calls.h"
#include "support/reference/svd.h"
#include "zelsr/matrix/svd.h"

namespace zelsr::test::svd {

using matrix::any_of;
using matrix::invoke;
using reference::svd::Decomposition;
using reference::svd::Matrix;

struct Arguments {
    const double* src;              // where source and U are apart
    const double* const* src_list;  // the same
    double* u;                      // in place: source and U
    double* const* u_list;
    int32_t height;
    double* w;
    double* v;
    double* const* v_list;
    int32_t width, step, iterations;
};

struct Member {
    const char* name;
    bool list, in_place, sorted;
    SrStatus (*call)(const Arguments&);
};

template <auto kFunction>
SrStatus block(const Arguments& a)
{
    return invoke(kFunction, a.src, a.u, a.height, a.w, a.v, a.width, a.step, a.iterations);
}
template <auto kFunction>
SrStatus block_in_place(const Arguments& a)
{
    return invoke(kFunction, a.u, a.height, a.w, a.v, a.width, a.step, a.iterations);
}
template <auto kFunction>
SrStatus rows(const Arguments& a)
{
    return invoke(kFunction, a.src_list, a.u_list, a.height, a.w, a.v_list, a.width, a.iterations);
}
template <auto kFunction>
SrStatus rows_in_place(const Arguments& a)
{
    return invoke(kFunction, a.u_list, a.height, a.w, a.v_list, a.width, a.iterations);
}

inline const std::vector<Member>& members()
{
    static const std::vector<Member> all = {
        {"zelsSVD_64f_D2", false, false, false, block<zelsSVD_64f_D2>},
        {"zelsSVD_64f_D2_I", false, true, false, block_in_place<zelsSVD_64f_D2_I>},
        {"zelsSVD_64f_D2L", true, false, false, rows<zelsSVD_64f_D2L>},
        {"zelsSVD_64f_D2L_I", true, true, false, rows_in_place<zelsSVD_64f_D2L_I>},
        {"zelsSVDSort_64f_D2", false, false, true, block<zelsSVDSort_64f_D2>},
        {"zelsSVDSort_64f_D2_I", false, true, true, block_in_place<zelsSVDSort_64f_D2_I>},
        {"zelsSVDSort_64f_D2L", true, false, true, rows<zelsSVDSort_64f_D2L>},
        {"zelsSVDSort_64f_D2L_I", true, true, true, rows_in_place<zelsSVDSort_64f_D2L_I>},
    };
    return all;
}

struct Layout {
    Placement src, u, w, v;
    int beyond_width = 0;  // step less width
    std::vector<int> row_misalign = {0};
};

inline std::string describe(const Layout& layout)
{
    return "source " + test::describe(layout.src) + "; U " + test::describe(layout.u) + "; w " +
           test::describe(layout.w) + "; V " + test::describe(layout.v) + "; step = width + " +
           std::to_string(layout.beyond_width);
}

inline Layout random_layout()
{
    static const std::vector<Placement> places = placements(sizeof(double));
    const auto somewhere = [] { return generator()() % 2 == 0 ? Placement{} : any_of(places); };
    Layout layout{somewhere(), somewhere(), somewhere(), somewhere(), uniform(0, 5), {}};
    for (int r = 0; r < 3; ++r) layout.row_misalign.push_back(somewhere().misalign);
    return layout;
}

// Rows at a step, each number between them its own. padded: those behind the last row, too.
inline std::vector<double> as_block(const Matrix& rows, int32_t step, double first_gap, bool padded)
{
    std::vector<double> block;
    for (const std::vector<double>& row : rows) {
        for (; block.size() % static_cast<std::size_t>(step) != 0; first_gap += 1) block.push_back(first_gap);
        block.insert(block.end(), row.begin(), row.end());
    }
    for (; padded && block.size() % static_cast<std::size_t>(step) != 0; first_gap += 1)
        block.push_back(first_gap);
    return block;
}

inline Matrix rows_of(double* const* list, std::size_t height, std::size_t width)
{
    Matrix rows(height, std::vector<double>(width));
    for (std::size_t r = 0; r < height; ++r) std::memcpy(rows[r].data(), list[r], width * sizeof(double));
    return rows;
}
inline Matrix rows_of(const std::vector<double>& block, int32_t step, std::size_t height, std::size_t width)
{
    Matrix rows;
    for (std::size_t r = 0; r < height; ++r) {
        const auto first = block.begin() + static_cast<std::ptrdiff_t>(r) * step;
        rows.emplace_back(first, first + static_cast<std::ptrdiff_t>(width));
    }
    return rows;
}

inline testing::AssertionResult same_rows(const Matrix& expected, const Matrix& actual)
{
    for (std::size_t r = 0; r < expected.size(); ++r)
        if (auto same = same_values(expected[r], actual[r]); !same) return same << ", row " << r;
    return testing::AssertionSuccess();
}

// A source's arrays between guard pages. Before the call U (apart from the source), w and V hold numbers of their
// own.
class Trial {
  public:
    static constexpr double kUnwritten = -777.25, kSourceGap = 1000, kGap = 5000;

    Trial(const Member& member, const Matrix& source, int32_t iterations = 1000, const Layout& layout = {})
        : m_(member),
          source_(source),
          step_(static_cast<int32_t>(width()) + layout.beyond_width),
          iterations_(iterations),
          layout_(layout),
          unwritten_u_(height(), std::vector<double>(width(), kUnwritten)),
          unwritten_v_(width(), std::vector<double>(width(), kUnwritten)),
          src_(block_of(source, kSourceGap, true), layout.src),
          u_(block_of(m_.in_place ? source : unwritten_u_, kGap, !m_.in_place), layout.u),
          v_(block_of(unwritten_v_, kGap, false), layout.v),
          w_(std::vector<double>(width(), kUnwritten), layout.w),
          src_rows_(rows_if_list(source), layout.row_misalign, layout.src.edge),
          u_rows_(rows_if_list(m_.in_place ? source : unwritten_u_), layout.row_misalign, layout.u.edge),
          v_rows_(rows_if_list(unwritten_v_), layout.row_misalign, layout.v.edge)
    {
        src_.take_snapshot();
    }

    std::size_t height() const { return source_.size(); }
    std::size_t width() const { return source_[0].size(); }

    Arguments arguments() const
    {
        return {src_.data(),
                src_rows_.list(),
                u_.data(),
                u_rows_.list(),
                static_cast<int32_t>(height()),
                w_.data(),
                v_.data(),
                v_rows_.list(),
                static_cast<int32_t>(width()),
                step_,
                iterations_};
    }
    SrStatus call() const { return m_.call(arguments()); }

    Decomposition result() const
    {
        Decomposition d{{}, w_.values(), {}};
        d.u =
            m_.list ? rows_of(u_rows_.list(), height(), width()) : rows_of(u_.values(), step_, height(), width());
        d.v = m_.list ? rows_of(v_rows_.list(), width(), width()) : rows_of(v_.values(), step_, width(), width());
        return d;
    }
    std::vector<GuardedBytes*> blocks() { return {&src_, &u_, &v_, &w_}; }

    // Nothing written beside the elements of U, w and V, but for the source's padding in U.
    testing::AssertionResult clean() const
    {
        testing::AssertionResult verdict = testing::AssertionSuccess();
        if (!src_.as_snapshot()) verdict = testing::AssertionFailure() << "the source was written";
        if (!w_.intact()) verdict = testing::AssertionFailure() << "written beside w";
        if (!u_.intact() || !u_rows_.intact()) verdict = testing::AssertionFailure() << "written beside U";
        if (!v_.intact() || !v_rows_.intact()) verdict = testing::AssertionFailure() << "written beside V";
        if (!src_rows_.intact() || (m_.list && !same_rows(source_, rows_of(src_rows_.list(), height(), width()))))
            verdict = testing::AssertionFailure() << "the source was written";
        if (!m_.list) {
            const Decomposition d = result();
            if (auto same = same_values(as_block(d.v, step_, kGap, false), v_.values()); !same)
                verdict = same << " between the rows of V";
            const auto u = as_block(d.u, step_, m_.in_place ? kGap : kSourceGap, !m_.in_place);
            if (auto same = same_values(u, u_.values()); !same) verdict = same << " between the rows of U";
        }
        return explained(verdict);
    }
    testing::AssertionResult holds(const Decomposition& expected) const
    {
        if (auto verdict = clean(); !verdict) return verdict;
        const Decomposition d = result();
        testing::AssertionResult verdict = same_rows(expected.u, d.u);
        if (!verdict) verdict << " of U";
        if (verdict && !(verdict = same_values(expected.w, d.w))) verdict << " of w";
        if (verdict && !(verdict = same_rows(expected.v, d.v))) verdict << " of V";
        return explained(verdict);
    }

  private:
    std::vector<double> block_of(const Matrix& rows, double first_gap, bool padded) const
    {
        return m_.list ? std::vector<double>{0} : as_block(rows, step_, first_gap, padded);
    }
    Matrix rows_if_list(const Matrix& rows) const { return m_.list ? rows : Matrix{{0}}; }
    testing::AssertionResult explained(const testing::AssertionResult& verdict) const
    {
        if (verdict) return verdict;
        return testing::AssertionFailure() << m_.name << ", " << height() << " rows of " << width() << ": "
                                           << verdict.message() << "; " << describe(layout_);
    }

    Member m_;
    Matrix source_;
    int32_t step_, iterations_;
    Layout layout_;
    Matrix unwritten_u_, unwritten_v_;
    Guarded<double> src_, u_, v_, w_;
    GuardedRows<double> src_rows_, u_rows_, v_rows_;
};

inline SrStatus expected_status(const Decomposition& d) { return d.converged ? SrOk : SrErrSvdConverge; }

// The result of a member on a matrix, bit by bit what the steps give.
inline testing::AssertionResult decomposes(const Member& m, const Matrix& source, int32_t iterations = 1000,
                                           const Layout& layout = {})
{
    const Trial trial(m, source, iterations, layout);
    const SrStatus status = trial.call();
    Decomposition expected = reference::svd::decompose(source, iterations);
    if (status != expected_status(expected))
        return testing::AssertionFailure() << m.name << ", " << trial.height() << " rows of " << trial.width()
                                           << ", limit " << iterations << ": status " << status;
    if (m.sorted && expected.converged) expected = reference::svd::sorted(expected);
    return trial.holds(expected);
}

inline Matrix random_matrix(int height, int width)
{
    return matrix::random_rows<double>(matrix::Values::Whole, width, height);
}
inline Matrix product(const Matrix& a, const Matrix& b)
{
    Matrix c(a.size(), std::vector<double>(b[0].size()));
    for (std::size_t i = 0; i < a.size(); ++i)
        for (std::size_t k = 0; k < b.size(); ++k)
            for (std::size_t j = 0; j < b[0].size(); ++j) c[i][j] += a[i][k] * b[k][j];
    return c;
}
inline Matrix transposed(const Matrix& a)
{
    Matrix t(a[0].size(), std::vector<double>(a.size()));
    for (std::size_t r = 0; r < a.size(); ++r)
        for (std::size_t c = 0; c < a[0].size(); ++c) t[c][r] = a[r][c];
    return t;
}
// All elements times 2^exponent.
inline Matrix scaled(Matrix a, int exponent)
{
    for (std::vector<double>& row : a)
        for (double& x : row) x = std::ldexp(x, exponent);
    return a;
}

}  // namespace zelsr::test::svd
