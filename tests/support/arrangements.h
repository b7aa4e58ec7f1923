// Placements of several arrays of one call, for kernels that are chosen by the alignment of all of them; D2
// blocks.
#pragma once

#include <cstddef>
#include <limits>
#include <string>
#include <utility>
#include <vector>

#include "support/guarded.h"

namespace zelsr::test {

using Arrangement = std::vector<Placement>;

// Each array at every address with the others aligned; all at the same address; every set of the arrays one
// element off 16 bytes.
inline std::vector<Arrangement> arrangements(std::size_t arrays, std::size_t element_size)
{
    std::vector<Arrangement> all;
    for (const Placement& placement : placements(element_size)) {
        for (std::size_t moved = 0; moved < arrays; ++moved) {
            Arrangement one(arrays);
            one[moved] = placement;
            all.push_back(one);
        }
        all.push_back(Arrangement(arrays, placement));
    }
    for (unsigned set = 0; set < 1u << arrays; ++set) {
        Arrangement some(arrays);
        for (std::size_t i = 0; i < arrays; ++i)
            if ((set >> i & 1) != 0) some[i].misalign = static_cast<int>(element_size);
        all.push_back(some);
    }
    return all;
}

inline std::string describe(const Arrangement& arrangement)
{
    std::string text;
    for (const Placement& placement : arrangement) text += (text.empty() ? "" : "; ") + describe(placement);
    return text;
}

// The values of a list in turn, over and over: a sweep over one argument that meets every value of another without
// the product of the two.
template <class T>
class Cycle {
  public:
    explicit Cycle(std::vector<T> values) : values_(std::move(values)) {}
    const T& next() { return values_[i_++ % values_.size()]; }

  private:
    std::vector<T> values_;
    std::size_t i_ = 0;
};

// A D2 block: rows at the step, not a number and infinities between them, nothing behind the last element.
template <class T>
std::vector<T> as_block(const std::vector<std::vector<T>>& rows, std::size_t step)
{
    std::vector<T> block;
    for (const std::vector<T>& row : rows) {
        while (block.size() % step != 0)
            block.push_back(block.size() % 2 == 0 ? std::numeric_limits<T>::quiet_NaN()
                                                  : std::numeric_limits<T>::infinity());
        block.insert(block.end(), row.begin(), row.end());
    }
    return block;
}

}  // namespace zelsr::test
