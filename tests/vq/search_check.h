// A search of rows against the reference.
#pragma once

#include "vq/search_members.h"

namespace zelsr::test {

// The rows, in one call of each form, against the reference.
template <class Family>
testing::AssertionResult finds(const Quantiser<Family>& q, const Rows<typename Family::Element>& rows,
                               int beyond = 0, int32_t sf = 0, Placement from = {}, Placement to = {})
{
    using T = typename Family::Element;
    using D = typename Family::Distance;
    const auto& book = q.book;
    const int step = book.width() + beyond, height = static_cast<int>(rows.size());
    Guarded<T> src(as_block(rows, at(step)), from);
    src.take_snapshot();
    Guarded<int32_t> index(rows.size(), to), index_too(rows.size(), to);
    Guarded<D> distance(rows.size(), to);
    const SrStatus status = Family::kNearest(src.data(), step, index.data(), height, q.get());
    const SrStatus status_too =
        Family::nearest_dist(src.data(), step, index_too.data(), distance.data(), height, q.get(), sf);
    if (status != SrOk || status_too != SrOk)
        return testing::AssertionFailure() << "status " << status << ", " << status_too;
    if (!src.as_snapshot()) return testing::AssertionFailure() << "the rows were written";
    if (!index.intact() || !index_too.intact() || !distance.intact())
        return testing::AssertionFailure() << "a byte beside the results was written";
    for (std::size_t r = 0; r < rows.size(); ++r) {
        const auto plain = reference::nearest(book, rows[r], false);
        const auto with_distance = reference::nearest(book, rows[r], true);
        if (index.get(r) != plain.index || index_too.get(r) != with_distance.index)
            return testing::AssertionFailure()
                   << q.describe() << ", row " << r << " (" << describe(rows[r]) << "): expected " << plain.index
                   << " and with distances " << with_distance.index << ", got " << index.get(r) << " and "
                   << index_too.get(r);
        if (const auto right = same_value(reference::reported<D>(with_distance.squared, sf), distance.get(r));
            !right)
            return testing::AssertionFailure() << q.describe() << ", row " << r << " (" << describe(rows[r])
                                               << "), distance: " << right.message();
    }
    return testing::AssertionSuccess();
}

}  // namespace zelsr::test
