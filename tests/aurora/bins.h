// One call on spectra of the same length: sources, then the result.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <list>
#include <utility>
#include <vector>

#include "support/guarded.h"
#include "support/operation.h"

namespace zelsr::test {

template <class T, std::size_t Sources>
using Spectra = std::array<std::vector<T>, Sources>;

// call(source 0, ..., result, length): SrOk, the sources as they were, no byte beside an array written, and
// accept(results), an assertion.
template <class T, std::size_t Sources, class Call, class Accept>
testing::AssertionResult bins(const Spectra<T, Sources>& spectra, Call call, Accept accept,
                              const std::array<Placement, Sources + 1>& places = {})
{
    std::list<Guarded<T>> sources;
    for (std::size_t s = 0; s < Sources; ++s) sources.emplace_back(spectra[s], places[s]).take_snapshot();
    Guarded<T> result(spectra[0].size(), places[Sources]);
    const auto len = static_cast<int32_t>(spectra[0].size());
    std::array<const T*, Sources> of;
    std::size_t s = 0;
    for (const Guarded<T>& source : sources) of[s++] = source.data();
    const SrStatus returned = [&]<std::size_t... I>(std::index_sequence<I...>)
    {
        return call(of[I]..., result.data(), len);
    }
    (std::make_index_sequence<Sources>());
    if (auto right = status_is(SrOk, returned); !right) return right;
    for (const Guarded<T>& source : sources)
        if (!source.as_snapshot())
            return testing::AssertionFailure() << "a source or a byte beside it was written";
    if (!result.intact()) return testing::AssertionFailure() << "a byte beside the result was written";
    return accept(result.values());
}

template <class T>
auto equal_to(std::vector<T> expected)
{
    return [expected](const std::vector<T>& actual) { return same_values(expected, actual); };
}

}  // namespace zelsr::test
