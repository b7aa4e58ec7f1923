// The order of argument checks: every combination of faults must report the one that is checked first.
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

#include "support/guarded.h"
#include "zelsr/types.h"

namespace zelsr::test {

template <class Arguments>
struct Fault {
    std::string name;
    SrStatus status;
    std::function<void(Arguments&)> inject;
};

// in_order: faults in the order of the family's checks; faults of one check may stand in any order. Calls with
// every non-empty set of them (injected last to first, so that a later one may be relative to an earlier one's
// argument), up to 2^12 sets, and wants the status of the set's first, with no output written.
template <class Arguments>
void expect_check_order(const Arguments& good, const std::vector<Fault<Arguments>>& in_order,
                        const std::function<SrStatus(const Arguments&)>& call,
                        const std::vector<GuardedBytes*>& outputs = {})
{
    ASSERT_LE(in_order.size(), 12u);
    for (GuardedBytes* output : outputs) output->take_snapshot();
    for (unsigned set = 1; set < 1u << in_order.size(); ++set) {
        Arguments arguments = good;
        std::string names;
        SrStatus expected = SrOk;
        for (std::size_t f = in_order.size(); f-- > 0;) {
            if ((set >> f & 1) == 0) continue;
            in_order[f].inject(arguments);
            names = in_order[f].name + (names.empty() ? "" : ", ") + names;
            expected = in_order[f].status;
        }
        EXPECT_EQ(call(arguments), expected) << "faults: " << names;
        for (GuardedBytes* output : outputs)
            EXPECT_TRUE(output->as_snapshot()) << "written with faults: " << names;
    }
}

}  // namespace zelsr::test
