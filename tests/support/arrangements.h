// Placements of several arrays of one call, for kernels that are chosen by the alignment of all of them.
#pragma once

#include <cstddef>
#include <string>
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

}  // namespace zelsr::test
