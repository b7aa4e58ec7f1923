// Checks that functions between rows of vectors and rows of indices share, whichever of them is the source.
#pragma once

#include <functional>
#include <vector>

#include "support/faults.h"
#include "support/guarded.h"

namespace zelsr::test {

template <class State>
struct IndexRows {
    const void* src;
    int32_t src_step;
    void* dst;
    int32_t dst_step;
    int32_t height;
    std::vector<const State*> states;
    bool no_states;
    int32_t count;
    const State* const* list() const { return no_states ? nullptr : states.data(); }
};

template <class State>
using IndexRowsCall = std::function<SrStatus(const IndexRows<State>&)>;

// good: two rows with codebooks of 3 and 5 bits, of widths 2 and 3; large: one of more than 256 codewords. Which
// of the steps is the indices' and which the vectors' is told by its member.
template <class State>
void expect_index_row_checks(const IndexRows<State>& good, int32_t IndexRows<State>::*index_step,
                             int32_t IndexRows<State>::*vector_step, const State* large,
                             const IndexRowsCall<State>& by_16s, const IndexRowsCall<State>& by_8u,
                             const IndexRowsCall<State>& by_1u, GuardedBytes& dst)
{
    using A = IndexRows<State>;
    using Faults = std::vector<Fault<A>>;
    const Fault<A> narrow{"index step below the count", SrErrSize, [=](A& a) { a.*index_step = 1; }};
    const Fault<A> few_bits{"index step below the bits", SrErrSize, [=](A& a) { a.*index_step = 7; }};
    const Fault<A> short_vector{"vector step below the widths", SrErrSize, [=](A& a) { a.*vector_step = 4; }};
    const Fault<A> first_null{"first state", SrErrNullPtr, [](A& a) { a.states[0] = nullptr; }};
    const Fault<A> second_null{"second state", SrErrNullPtr, [](A& a) { a.states[1] = nullptr; }};
    const Fault<A> first_large{"first of 257", SrErrSize, [=](A& a) { a.states[0] = large; }};
    const Fault<A> second_large{"second of 257", SrErrSize, [=](A& a) { a.states[1] = large; }};
    for (int32_t bad : {0, -1, INT32_MIN}) {
        const Faults common = {{"source", SrErrNullPtr, [](A& a) { a.src = nullptr; }},
                               {"destination", SrErrNullPtr, [](A& a) { a.dst = nullptr; }},
                               {"states", SrErrNullPtr, [](A& a) { a.no_states = true; }},
                               {"source step", SrErrSize, [=](A& a) { a.src_step = bad; }},
                               {"destination step", SrErrSize, [=](A& a) { a.dst_step = bad; }},
                               {"height", SrErrSize, [=](A& a) { a.height = bad; }},
                               {"count", SrErrSize, [=](A& a) { a.count = bad; }}};
        const auto in_order = [&](const IndexRowsCall<State>& call, const Faults& others) {
            Faults faults = common;
            faults.insert(faults.end(), others.begin(), others.end());
            expect_check_order<A>(good, faults, call, {&dst});
        };
        in_order(by_16s, {narrow, second_null, short_vector});
        in_order(by_8u, {narrow, second_null, short_vector});
        // The first codebook's limit comes before the second's null, and the other way round.
        in_order(by_8u, {narrow, first_large, second_null, short_vector});
        in_order(by_8u, {narrow, first_null, second_large, short_vector});
        in_order(by_1u, {second_null, short_vector, few_bits});
    }
}

}  // namespace zelsr::test
