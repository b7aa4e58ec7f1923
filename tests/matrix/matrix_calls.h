// Calls of functions that take a matrix, in either layout, and make one element of a row or of a column, with or
// without a vector: their arguments in one form, and one call between guard pages.
#pragma once

#include <gtest/gtest.h>
#include <sys/mman.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <type_traits>
#include <vector>

#include "support/arrangements.h"
#include "support/bits.h"
#include "support/effort.h"
#include "support/odd_stack.h"
#include "zelsr/types.h"

namespace zelsr::test::matrix {

template <class T>
using Rows = std::vector<std::vector<T>>;

template <class T>
T any_of(const std::vector<T>& values)
{
    return values[generator()() % values.size()];
}

enum class Values { Small, Whole, Wide };  // Small: every sum is exact
inline const std::vector<Values>& all_values()
{
    static const std::vector<Values> all = {Values::Small, Values::Whole, Values::Wide};
    return all;
}

template <class T>
T random_value(Values values)
{
    if (values == Values::Small) return static_cast<T>(uniform<int>(-9, 9));
    if constexpr (std::is_floating_point_v<T>) {
        const T x = uniform<T>(-1, 1);
        return values == Values::Whole ? x : std::ldexp(x, uniform<int>(-20, 20));
    } else {
        using Limits = std::numeric_limits<T>;
        if (values == Values::Wide)
            return any_of<T>({Limits::min(), Limits::min(), Limits::max(), T(1), T(-1), T(0)});
        return uniform<T>(Limits::min(), Limits::max());
    }
}
template <class T>
std::vector<T> random_values(Values values, std::size_t count)
{
    std::vector<T> all(count);
    for (T& x : all) x = random_value<T>(values);
    return all;
}
template <class T>
Rows<T> random_rows(Values values, int width, int height)
{
    Rows<T> rows;
    for (int r = 0; r < height; ++r) rows.push_back(random_values<T>(values, static_cast<std::size_t>(width)));
    return rows;
}

// What lies between the rows of a block: of one that is read, values that spoil every result (of integers, the
// extremes); of one that is written, numbers that would not come out of any operation the same.
enum class Gaps { Read, Written };

template <class T>
std::vector<T> as_block(const Rows<T>& rows, std::size_t step, Gaps gaps = Gaps::Read)
{
    if constexpr (std::is_floating_point_v<T>)
        if (gaps == Gaps::Read) return test::as_block(rows, step);
    std::vector<T> block;
    for (const std::vector<T>& row : rows) {
        while (block.size() % step != 0)
            if (gaps == Gaps::Read)
                block.push_back(block.size() % 2 == 0 ? std::numeric_limits<T>::min()
                                                      : std::numeric_limits<T>::max());
            else
                block.push_back(static_cast<T>(12345 + block.size() % 100));
        block.insert(block.end(), row.begin(), row.end());
    }
    return block;
}

template <class T>
std::vector<T> column_of(const Rows<T>& rows, std::size_t column)
{
    std::vector<T> values;
    for (const std::vector<T>& row : rows) values.push_back(row[column]);
    return values;
}

// A matrix between guard pages, as a block or as a list of rows. Row r of a list lies row_misalign[r modulo its
// size] bytes off 16.
struct Layout {
    Placement block, vector, result, list;
    int beyond_width = 0;  // step less width
    std::vector<int> row_misalign = {0};
};

inline std::string describe(const Layout& layout)
{
    std::string text = "block " + test::describe(layout.block) + "; vector " + test::describe(layout.vector) +
                       "; result " + test::describe(layout.result) + "; list " + test::describe(layout.list) +
                       "; step = width + " + std::to_string(layout.beyond_width) + "; rows off";
    for (int misalign : layout.row_misalign) text += " " + std::to_string(misalign);
    return text;
}

template <class T>
class GuardedMatrix {
  public:
    GuardedMatrix(const Rows<T>& rows, bool as_list, const Layout& layout, Gaps gaps = Gaps::Read)
        : step_(static_cast<int32_t>(rows[0].size()) + layout.beyond_width),
          gaps_(gaps),
          block_(as_list ? std::vector<T>{T(0)} : as_block(rows, static_cast<std::size_t>(step_), gaps),
                 layout.block),
          rows_(as_list ? rows : Rows<T>{}, layout.row_misalign, layout.block.edge),
          list_(as_list ? rows.size() : 1, layout.list),
          before_(as_list ? rows : Rows<T>{})
    {
        for (std::size_t r = 0; r < before_.size(); ++r) list_.set(r, rows_.list()[r]);
        block_.take_snapshot();
        list_.take_snapshot();
    }
    T* block() const { return block_.data(); }
    int32_t step() const { return step_; }
    T* const* list() const { return list_.data(); }

    bool untouched() const
    {
        for (std::size_t r = 0; r < before_.size(); ++r)
            if (std::memcmp(rows_.list()[r], before_[r].data(), before_[r].size() * sizeof(T)) != 0) return false;
        return rows_.intact() && list_.as_snapshot() && block_.as_snapshot();
    }
    // These elements in the matrix, and nothing else changed: not the words between rows either.
    testing::AssertionResult holds(const Rows<T>& expected) const
    {
        if (!block_.intact() || !rows_.intact() || !list_.as_snapshot())
            return testing::AssertionFailure() << "written beside the elements";
        if (before_.empty()) {
            const std::vector<T> block = as_block(expected, static_cast<std::size_t>(step_), gaps_);
            return same_values(block, block_.values());
        }
        for (std::size_t r = 0; r < expected.size(); ++r) {
            const T* row = rows_.list()[r];
            std::vector<T> actual(expected[r].size());
            std::memcpy(actual.data(), row, actual.size() * sizeof(T));
            if (auto same = same_values(expected[r], actual); !same) return same << " of row " << r;
        }
        return testing::AssertionSuccess();
    }

  private:
    int32_t step_;
    Gaps gaps_;
    Guarded<T> block_;
    GuardedRows<T> rows_;
    Guarded<T*> list_;
    Rows<T> before_;
};

#ifdef __x86_64__
// Rows whose places do not fit 32 bits, in address space of which only the rows exist.
template <class T>
class SparseBlock {
  public:
    static constexpr int32_t kStep = 1 << 29, kHeight = 9;

    SparseBlock()
    {
        void* map = mmap(nullptr, kBytes, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS | MAP_NORESERVE, -1, 0);
        if (map == MAP_FAILED) std::abort();
        first_ = static_cast<T*>(map);
        for (std::size_t r = 0; r < kHeight; ++r)
            if (mprotect(row(r), 4096, PROT_READ | PROT_WRITE) != 0) std::abort();
    }
    ~SparseBlock() { munmap(first_, kBytes); }
    SparseBlock(const SparseBlock&) = delete;
    SparseBlock& operator=(const SparseBlock&) = delete;

    T* row(std::size_t r) { return first_ + r * kStep; }
    void fill(const Rows<T>& rows)
    {
        for (std::size_t r = 0; r < kHeight; ++r) std::copy(rows[r].begin(), rows[r].end(), row(r));
    }
    Rows<T> rows(int width)
    {
        Rows<T> rows;
        for (std::size_t r = 0; r < kHeight; ++r) rows.emplace_back(row(r), row(r) + width);
        return rows;
    }

  private:
    static constexpr std::size_t kBytes = std::size_t{kStep} * kHeight * sizeof(T);
    T* first_;
};
#endif

template <class Source, class Result>
struct Arguments {
    const Source* block;        // D2 members
    int32_t step;               // D2 members
    const Source* const* list;  // D2L members
    const Source* vector;       // products
    int32_t width, height;
    Result* result;
    int32_t sf;  // Sfs members
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
// With sf, where the function takes one.
template <class... Parameter, class... Argument>
SrStatus invoke_scaled(int32_t sf, SrStatus (*function)(Parameter...), Argument... arguments)
{
    if constexpr (sizeof...(Parameter) == sizeof...(Argument) + 1)
        return invoke(function, arguments..., sf);
    else
        return invoke(function, arguments...);
}

// The orders of arguments.
template <auto kFunction, class Source, class Result>
SrStatus sum_column(const Arguments<Source, Result>& a)
{
    return invoke_scaled(a.sf, kFunction, a.block, a.step, a.height, a.result, a.width);
}
template <auto kFunction, class Source, class Result>
SrStatus sum_column_list(const Arguments<Source, Result>& a)
{
    return invoke_scaled(a.sf, kFunction, a.list, a.height, a.result, a.width);
}
template <auto kFunction, class Source, class Result>
SrStatus sum_row(const Arguments<Source, Result>& a)
{
    return invoke_scaled(a.sf, kFunction, a.block, a.width, a.step, a.result, a.height);
}
template <auto kFunction, class Source, class Result>
SrStatus sum_row_list(const Arguments<Source, Result>& a)
{
    return invoke_scaled(a.sf, kFunction, a.list, a.width, a.result, a.height);
}
template <auto kFunction, class Source, class Result>
SrStatus matrix_by_vector(const Arguments<Source, Result>& a)
{
    return invoke_scaled(a.sf, kFunction, a.block, a.step, a.vector, a.width, a.result, a.height);
}
template <auto kFunction, class Source, class Result>
SrStatus list_by_vector(const Arguments<Source, Result>& a)
{
    return invoke_scaled(a.sf, kFunction, a.list, a.vector, a.width, a.result, a.height);
}
template <auto kFunction, class Source, class Result>
SrStatus vector_by_matrix(const Arguments<Source, Result>& a)
{
    return invoke_scaled(a.sf, kFunction, a.vector, a.block, a.step, a.height, a.result, a.width);
}
template <auto kFunction, class Source, class Result>
SrStatus vector_by_list(const Arguments<Source, Result>& a)
{
    return invoke_scaled(a.sf, kFunction, a.vector, a.list, a.height, a.result, a.width);
}

template <class Source>
struct Problem {
    Rows<Source> rows;
    std::vector<Source> vector;  // of the size that the product takes
    int32_t sf = 0;

    int32_t width() const { return static_cast<int32_t>(rows[0].size()); }
    int32_t height() const { return static_cast<int32_t>(rows.size()); }
};

// Element i of a result.
template <class Source, class Result>
using Expected = Result (*)(const Problem<Source>&, std::size_t i);

template <class Source, class Result>
struct Member {
    const char* name;
    SrStatus (*call)(const Arguments<Source, Result>&);
    bool result_is_row;  // one element a column
    bool takes_vector;
    Expected<Source, Result> expected;

    bool list() const { return std::string(name).find("D2L") != std::string::npos; }
    bool scaled() const { return std::string(name).find("Sfs") != std::string::npos; }
    std::size_t vector_size(int width, int height) const
    {
        return static_cast<std::size_t>(result_is_row ? height : width);
    }
    std::size_t result_size(int width, int height) const
    {
        return static_cast<std::size_t>(result_is_row ? width : height);
    }
};

template <class Source, class Result>
std::vector<Result> expected_result(const Member<Source, Result>& m, const Problem<Source>& p)
{
    std::vector<Result> result(m.result_size(p.width(), p.height()));
    for (std::size_t i = 0; i < result.size(); ++i) result[i] = m.expected(p, i);
    return result;
}

// A problem's arrays between guard pages.
template <class Source, class Result>
struct Trial {
    Trial(const Member<Source, Result>& member, const Problem<Source>& problem, const Layout& where = {})
        : m(member),
          p(problem),
          layout(where),
          matrix(p.rows, m.list(), layout),
          vector(p.vector.empty() ? std::vector<Source>{0} : p.vector, layout.vector),
          result(m.result_size(p.width(), p.height()), layout.result)
    {
        vector.take_snapshot();
        result.take_snapshot();
    }
    Arguments<Source, Result> arguments() const
    {
        return {matrix.block(), matrix.step(), matrix.list(), vector.data(),
                p.width(),      p.height(),    result.data(), p.sf};
    }
    // After a call: its result right, and nothing else written.
    testing::AssertionResult right(SrStatus status) const
    {
        testing::AssertionResult verdict = same_values(expected_result(m, p), result.values());
        if (status != SrOk) verdict = testing::AssertionFailure() << "status " << status;
        if (!result.intact()) verdict = testing::AssertionFailure() << "written beside the result";
        if (!vector.as_snapshot()) verdict = testing::AssertionFailure() << "the vector was written";
        if (!matrix.untouched()) verdict = testing::AssertionFailure() << "the matrix was written";
        if (verdict) return verdict;
        return testing::AssertionFailure() << m.name << ", " << p.height() << " rows of " << p.width() << ", sf "
                                           << p.sf << ": " << verdict.message() << "; " << describe(layout);
    }

    Member<Source, Result> m;
    const Problem<Source>& p;
    Layout layout;
    GuardedMatrix<Source> matrix;
    Guarded<Source> vector;
    Guarded<Result> result;
};

// The result of a call in the plainest of layouts: dense, the block and all rows as the heap gives them.
template <class Source, class Result>
std::vector<Result> plain_result(const Member<Source, Result>& m, const Problem<Source>& p)
{
    const std::vector<Source> block = as_block(p.rows, p.rows[0].size());
    std::vector<const Source*> list;
    for (const std::vector<Source>& row : p.rows) list.push_back(row.data());
    std::vector<Result> result(m.result_size(p.width(), p.height()));
    EXPECT_EQ(m.call({block.data(), p.width(), list.data(), p.vector.data(), p.width(), p.height(), result.data(),
                      p.sf}),
              SrOk);
    return result;
}

template <class Source, class Result>
testing::AssertionResult runs(const Member<Source, Result>& m, const Problem<Source>& p, const Layout& layout = {})
{
    const Trial<Source, Result> trial(m, p, layout);
    return trial.right(m.call(trial.arguments()));
}

// Rows on 16 bytes: the step is the next multiple of the elements of a register.
template <class T>
Layout aligned_layout(int width)
{
    constexpr int kLanes = 16 / static_cast<int>(sizeof(T));
    Layout layout;
    layout.beyond_width = (kLanes - width % kLanes) % kLanes;
    return layout;
}

// Every array anywhere with even odds; steps of all kinds.
template <class T>
Layout random_layout(int width)
{
    static const std::vector<Placement> places = placements(sizeof(T));
    Layout layout = aligned_layout<T>(width);
    layout.beyond_width = any_of<int>({layout.beyond_width, layout.beyond_width + 8, 0, 1, 2, 3});
    for (Placement* place : {&layout.block, &layout.vector, &layout.result, &layout.list})
        if (generator()() % 2 == 0) *place = any_of(places);
    if (generator()() % 2 == 0) layout.row_misalign = {any_of(places).misalign, 0, any_of(places).misalign};
    return layout;
}

}  // namespace zelsr::test::matrix
