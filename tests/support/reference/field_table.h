// Tables of the codewords near each cell of a grid, for codebooks of one and two dimensions, by the plainest code.
#pragma once

#include <cfloat>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <set>
#include <type_traits>
#include <vector>

#include "support/reference/codebook.h"

namespace zelsr::test::reference {

using Lists = std::vector<std::vector<std::int32_t>>;

struct Range {
    float low, high;            // of the codewords
    float low_edge, high_edge;  // of the grid
    float cell(int cells) const { return static_cast<float>(std::abs(high - low) * 1.1 / cells); }
};

template <class T>
Range range_of(const Rows<T>& rows, std::size_t k)
{
    Range r{FLT_MAX, -FLT_MAX, 0, 0};
    for (const auto& row : rows) {
        r.low = std::min(r.low, static_cast<float>(row[k]));
        r.high = std::max(r.high, static_cast<float>(row[k]));
    }
    r.low_edge = static_cast<float>(r.low * (r.low > 0 ? 0.9 : 1.1));
    r.high_edge = static_cast<float>(r.high * (r.low > 0 || r.high > 0 ? 1.1 : 0.9));
    return r;
}

// Whether one more cell pays.
template <class T>
bool gains(float score, float next)
{
    if constexpr (std::is_same_v<T, float>)
        return double{score} - double{next} > double{score} * 0.05;
    else
        return clearly_greater(score - next, 0.05F * score);
}

inline bool pays(float score, double most)
{
    const auto limit = static_cast<float>(most);
    return clearly_less(score, limit) || about_equal(score, limit);
}

struct LinearField {
    bool made = false;
    int cells = 4;
    Range range{};
    float width = 0;
    Lists lists;
};

// Twice the codewords a cell, if every cell has one.
template <class T>
float linear_score(const Rows<T>& rows, const Range& range, int cells)
{
    if (std::abs(range.high - range.low) < 0.00001) return FLT_MAX;
    const float width = range.cell(cells);
    std::set<float> marked;
    for (const auto& row : rows)
        if (const float cell = std::trunc((static_cast<float>(row[0]) - range.low_edge) / width);
            cell >= 0 && cell < static_cast<float>(cells))
            marked.insert(cell);
    const auto count = static_cast<float>(rows.size());
    return marked.size() == static_cast<std::size_t>(cells) ? (count + count) / static_cast<float>(cells)
                                                            : FLT_MAX;
}

template <class T>
LinearField linear_field(const Rows<T>& rows)
{
    LinearField f;
    f.range = range_of(rows, 0);
    float score = linear_score(rows, f.range, f.cells);
    for (float next; gains<T>(score, next = linear_score(rows, f.range, f.cells + 1)); score = next) ++f.cells;
    f.made = pays(score, static_cast<double>(rows.size()) / 5);
    if (!f.made) return f;

    f.width = f.range.cell(f.cells);
    std::vector<double> cell_of;
    for (const auto& row : rows) {
        const float quotient = (static_cast<float>(row[0]) - f.range.low_edge) / f.width;
        cell_of.push_back(std::trunc(double{quotient} + (std::is_same_v<T, float> ? 0.0 : 0.001)));
    }
    f.lists.resize(static_cast<std::size_t>(f.cells) + 2);
    for (int i = 0; i < f.cells; ++i) {
        auto& list = f.lists[static_cast<std::size_t>(i) + 1];
        const auto closest = [&](auto&& belongs, float border) {
            std::int32_t found = -1;
            float best = FLT_MAX;
            for (std::size_t c = 0; c < rows.size(); ++c)
                if (const float d = std::abs(static_cast<float>(rows[c][0]) - border);
                    belongs(cell_of[c]) && d < best) {
                    best = d;
                    found = static_cast<std::int32_t>(c);
                }
            if (found >= 0) list.push_back(found);
        };
        for (std::size_t c = 0; c < rows.size(); ++c)
            if (cell_of[c] == i) list.push_back(static_cast<std::int32_t>(c));
        const float lower = f.range.low_edge + f.width * static_cast<float>(i);
        const float upper = f.range.low_edge + f.width * static_cast<float>(i + 1);
        if (i > 0) closest([&](double cell) { return cell < i; }, lower);
        if (i < f.cells - 1) closest([&](double cell) { return cell > i; }, upper);
    }
    f.lists.front() = f.lists[1];
    f.lists.back() = f.lists[static_cast<std::size_t>(f.cells)];
    return f;
}

struct SquareField {
    bool made = false;
    int columns = 4, rows = 4;
    Range first{}, second{};
    float width = 0, height = 0;
    Lists lists;
};

// The codewords that can be nearest to a point on the border of a cell.
template <class T>
std::vector<std::int32_t> near_cell(const Rows<T>& rows, const std::vector<T>& weights, const SquareField& f,
                                    int i, int j, float w, float h)
{
    const auto p = static_cast<float>(weights[0]), q = static_cast<float>(weights[1]);
    std::vector<float> nearest;
    float bound = FLT_MAX;
    for (const auto& row : rows) {
        const float x = static_cast<float>(row[0]) - f.first.low_edge;
        const float y = static_cast<float>(row[1]) - f.second.high_edge;
        const float e1 = x - static_cast<float>(i) * w, e2 = x - static_cast<float>(i + 1) * w;
        const float f1 = y + static_cast<float>(j) * h, f2 = y + static_cast<float>(j + 1) * h;
        float low = FLT_MAX, high = 0;
        const auto consider = [&](float d) {
            if (clearly_less(d, low)) low = d;
            if (clearly_greater(d, high)) high = d;
        };
        for (float e : {e1, e2})
            for (float g : {f1, f2}) consider(e * e * p + g * g * q);
        if (e1 >= 0 && e2 <= 0)
            for (float g : {f1, f2}) consider(g * g * q);
        if (f1 <= 0 && f2 >= 0)
            for (float e : {e1, e2}) consider(e * e * p);
        nearest.push_back(low);
        bound = std::min(bound, high);
    }
    std::vector<std::int32_t> list;
    for (std::size_t c = 0; c < rows.size(); ++c)
        if (clearly_less(nearest[c], bound) || about_equal(nearest[c], bound))
            list.push_back(static_cast<std::int32_t>(c));
    return list;
}

template <class T>
float square_score(const Rows<T>& rows, const std::vector<T>& weights, const SquareField& f, int columns,
                   int lines)
{
    if (about_equal(f.first.low, f.first.high) || about_equal(f.second.low, f.second.high)) return FLT_MAX;
    std::size_t sum = 0;
    for (int j = 0; j < lines; ++j)
        for (int i = 0; i < columns; ++i)
            sum += near_cell(rows, weights, f, i, j, f.first.cell(columns), f.second.cell(lines)).size();
    return static_cast<float>(sum) / static_cast<float>(columns * lines);
}

template <class T>
SquareField square_field(const Rows<T>& rows, const std::vector<T>& weights)
{
    SquareField f;
    f.first = range_of(rows, 0);
    f.second = range_of(rows, 1);
    float score = square_score(rows, weights, f, 4, 4);
    for (;;) {
        const float higher = square_score(rows, weights, f, f.columns, f.rows + 1);
        const float wider = square_score(rows, weights, f, f.columns + 1, f.rows);
        const bool grow_rows = clearly_less(higher, wider);
        const float next = grow_rows ? higher : wider;
        if (!gains<T>(score, next)) break;
        ++(grow_rows ? f.rows : f.columns);
        score = next;
    }
    f.made = pays(score, static_cast<double>(rows.size()) / 10);
    if (!f.made) return f;

    f.width = f.first.cell(f.columns);
    f.height = f.second.cell(f.rows);
    const int across = f.columns + 2;
    f.lists.resize(static_cast<std::size_t>(across * (f.rows + 2)));
    const auto at = [&](int row, int column) -> auto&
    {
        return f.lists[static_cast<std::size_t>(row * across + column)];
    };
    for (int j = 0; j < f.rows; ++j)
        for (int i = 0; i < f.columns; ++i)
            at(j + 1, i + 1) = near_cell(rows, weights, f, i, j, f.width, f.height);
    // All of column and row: 0 stands for none.
    const auto joined = [&](int column, int row) {
        std::set<std::int32_t> all;
        for (int j = 1; column > 0 && j <= f.rows; ++j) all.insert(at(j, column).begin(), at(j, column).end());
        for (int i = 1; row > 0 && i <= f.columns; ++i) all.insert(at(row, i).begin(), at(row, i).end());
        return std::vector<std::int32_t>(all.begin(), all.end());
    };
    for (int row : {1, f.rows}) {
        const int edge = row == 1 ? 0 : f.rows + 1;
        at(edge, 0) = joined(1, row);
        at(edge, f.columns + 1) = joined(f.columns, row);
        for (int i = 1; i <= f.columns; ++i) at(edge, i) = joined(0, row);
    }
    for (int j = 1; j <= f.rows; ++j) {
        at(j, 0) = joined(1, 0);
        at(j, f.columns + 1) = joined(f.columns, 0);
    }
    return f;
}

}  // namespace zelsr::test::reference
