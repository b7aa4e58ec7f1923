// What every function on vectors keeps. A test file holds a table of members and INSTANTIATE_TEST_SUITE_P.
#pragma once

#include <cfenv>
#include <ostream>

#include "estimation/vector_calls.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/hooks.h"

namespace zelsr::test::estimation {

class AnyMember {
  public:
    virtual ~AnyMember() = default;
    virtual const std::string& name() const = 0;
    virtual void every_length_and_placement() const = 0;
    virtual void special_values_of_arrays() const = 0;
    virtual void shared_addresses() const = 0;
    virtual void overlaps() const = 0;
    virtual void long_arrays() const = 0;
    virtual void checks() const = 0;
    virtual void environment() const = 0;
    virtual void memory() const = 0;
    virtual void exact_arrays() const = 0;
    virtual void odd_stacks() const = 0;
};

template <class T, class R>
class TestedMember : public AnyMember {
  public:
    explicit TestedMember(Member<T, R> m) : m_(std::move(m)) {}
    const std::string& name() const override { return m_.name; }
    void every_length_and_placement() const override;
    void special_values_of_arrays() const override;
    void shared_addresses() const override;
    void overlaps() const override;
    void long_arrays() const override;
    void checks() const override;
    void environment() const override;
    void memory() const override;
    void exact_arrays() const override;
    void odd_stacks() const override;

  private:
    // The next scalars and scale factor of the table.
    Trial<T, R> trial(int len, Values values, const std::vector<Placement>& places,
                      std::optional<Share> share = {}) const
    {
        const std::size_t turn = turn_++;
        return Trial<T, R>(m_, len, values, places, share, m_.scalars[turn % m_.scalars.size()],
                           m_.scale_factors[turn / m_.scalars.size() % m_.scale_factors.size()]);
    }
    testing::AssertionResult runs(int len, Values values, const std::vector<Placement>& places,
                                  std::optional<Share> share = {}) const
    {
        auto one = trial(len, values, places, share);
        const SrStatus status = m_.call(one.arguments());
        return one.right(status);
    }
    std::vector<Placement> aligned() const { return std::vector<Placement>(m_.roles.size()); }
    // Every destination on every source, none of them the same.
    template <class Body>
    void for_each_pair(Body body) const
    {
        for (std::size_t to = 0; to < m_.roles.size(); ++to)
            for (std::size_t from = 0; from < m_.roles.size(); ++from)
                if (to != from && m_.destination(to) && m_.source(from)) body(to, from);
    }

    Member<T, R> m_;
    mutable std::size_t turn_ = 0;
};

template <class T, class R>
void TestedMember<T, R>::every_length_and_placement() const
{
    const std::vector<Placement> all = placements(sizeof(T));
    for (int len : lengths(16)) {
        for (Values values : {Values::Ordinary, Values::WithSpecial})
            for (std::size_t s = 0; s < 3; ++s) ASSERT_TRUE(runs(len, values, aligned()));
        for (std::size_t step = 0; step < all.size(); ++step) {
            std::vector<Placement> places;
            for (std::size_t p = 0; p < m_.roles.size(); ++p)
                places.push_back(all[(step + p * static_cast<std::size_t>(len)) % all.size()]);
            ASSERT_TRUE(runs(len, step % 2 == 0 ? Values::Ordinary : Values::WithSpecial, places));
        }
    }
    for (const auto& scalars : m_.scalars)
        for (std::int32_t sf : m_.scale_factors)
            for (int len : {3, 21})
                for (int misalign : {0, 1}) {
                    std::vector<Placement> places = aligned();
                    places[0].misalign = misalign;
                    Trial<T, R> one(m_, len, Values::Ordinary, places, {}, scalars, sf);
                    const SrStatus status = m_.call(one.arguments());
                    ASSERT_TRUE(one.right(status));
                }
}

// Every pair of special values in every pair of arrays, ordinary ones elsewhere; in blocks, since results may end
// the work.
template <class T, class R>
void TestedMember<T, R>::special_values_of_arrays() const
{
    const std::vector<T> special = special_values<T>();
    const int count = static_cast<int>(special.size());
    for (std::size_t one = 0; one < m_.roles.size(); ++one)
        for (std::size_t other = 0; other < m_.roles.size(); ++other) {
            if (!m_.source(one) || !m_.source(other) || (one == other && m_.roles.size() > 2)) continue;
            for (T x : special) {
                auto t = trial(count, Values::Ordinary, aligned());
                t.set_array(one, std::vector<T>(special.size(), x));
                t.set_array(other, special);
                const SrStatus status = m_.call(t.arguments());
                ASSERT_TRUE(t.right(status));
            }
        }
}

template <class T, class R>
void TestedMember<T, R>::shared_addresses() const
{
    const std::vector<Placement> all = placements(sizeof(T));
    for (int len : lengths(8))
        for_each_pair([&](std::size_t to, std::size_t from) {
            ASSERT_TRUE(runs(len, Values::WithSpecial, aligned(), Share{to, from}));
            const Placement place = all[static_cast<std::size_t>(len) % all.size()];
            ASSERT_TRUE(
                runs(len, Values::Ordinary, std::vector<Placement>(m_.roles.size(), place), Share{to, from}));
        });
}

template <class T, class R>
void TestedMember<T, R>::overlaps() const
{
    if (m_.overlap == Overlap::Undefined) return;
    for (int len : {1, 2, 3, 4, 5, 7, 8, 9, 12, 16, 17, 19, 33})
        for (int elements = -17; elements <= 17; ++elements)
            for_each_pair([&](std::size_t to, std::size_t from) {
                if (elements == 0) return;
                for (int misalign : {0, 5}) {
                    const std::vector<Placement> places(m_.roles.size(), Placement{misalign});
                    ASSERT_TRUE(runs(len, Values::Ordinary, places, Share{to, from, elements}));
                }
            });
}

template <class T, class R>
void TestedMember<T, R>::long_arrays() const
{
    for (int len : {100, 1001, 4099, (1 << (thin_effort() ? 12 : 15)) + 5}) {
        ASSERT_TRUE(runs(len, Values::Ordinary, aligned()));
        std::vector<Placement> places = aligned();
        for (std::size_t p = 0; p < places.size(); ++p)
            places[p] = {static_cast<int>(p * 5 + 1) % 16, Edge::Front};
        ASSERT_TRUE(runs(len, Values::Ordinary, places));
    }
}

template <class T, class R>
void TestedMember<T, R>::checks() const
{
    using Fault = Fault<Arguments>;
    std::vector<Fault> null, size;
    for (std::size_t p = 0; p < m_.roles.size(); ++p)
        null.push_back({"null " + std::to_string(p), SrErrNullPtr, [p](auto& a) { a.pointer[p] = nullptr; }});
    for (std::int32_t len : {0, -1, INT32_MIN})
        size.push_back({"length " + std::to_string(len), SrErrSize, [len](auto& a) { a.integer[0] = len; }});
    std::vector<Fault> faults = m_.checks == Checks::NullFirst ? null : size;
    const std::vector<Fault>& behind = m_.checks == Checks::NullFirst ? size : null;
    faults.insert(faults.end(), behind.begin(), behind.end());
    auto good = trial(9, Values::Ordinary, aligned());
    expect_check_order<Arguments>(good.arguments(), faults, m_.call, good.outputs());

    // Arrays of no bytes begin with the forbidden page: not one element may be looked at.
    for (std::int32_t len : {0, -1, INT32_MIN}) {
        auto nothing = trial(0, Values::Ordinary, aligned());
        Arguments arguments = nothing.arguments();
        arguments.integer[0] = len;
        EXPECT_EQ(m_.call(arguments), SrErrSize);
    }
}

template <class T, class R>
void TestedMember<T, R>::environment() const
{
    for (std::size_t s = 0; s < m_.scalars.size() + 2; ++s)
        for (int len : {5, 12, 37})
            for (int misalign : {0, 3}) {
                auto one = trial(len, Values::Ordinary, std::vector<Placement>(m_.roles.size(), {misalign}));
                if (m_.rounding == Rounding::Own) {
                    one.compute_reference();
                    SrStatus status = SrErrUnknown;
                    const Arguments arguments = one.arguments();
                    under_each_environment([&] { status = m_.call(arguments); },
                                           [&](const std::string& setting) {
                                               EXPECT_TRUE(one.as_expected(status)) << setting;
                                               one.refill();
                                           });
                } else {
                    for (int mode : {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
                        std::fesetround(mode);
                        const SrStatus status = m_.call(one.arguments());
                        const testing::AssertionResult right = one.right(status);
                        EXPECT_EQ(std::fegetround(), mode);
                        std::fesetround(FE_TONEAREST);
                        EXPECT_TRUE(right) << "rounding mode " << mode;
                        one.refill();
                    }
                }
            }
}

template <class T, class R>
void TestedMember<T, R>::memory() const
{
    for (int len : {1, 12, 13, 3000}) {
        auto one = trial(len, Values::Ordinary, aligned());
        const AllocatorWatch watch(1);
        const SrStatus status = m_.call(one.arguments());
        EXPECT_TRUE(one.right(status));
        EXPECT_EQ(watch.requests(), 0);
    }
}

// Blocks of the exact size, for the address sanitizer and valgrind: an aligned load beyond the last element
// touches no forbidden page.
template <class T, class R>
void TestedMember<T, R>::exact_arrays() const
{
    for (int len = 1; len <= 35; ++len) {
        auto one = trial(len, Values::Ordinary, aligned());
        Arguments arguments = one.arguments();
        std::vector<std::unique_ptr<T[]>> arrays;
        for (std::size_t p = 0; p < m_.roles.size(); ++p) {
            if (m_.result(p)) continue;
            arrays.push_back(std::make_unique<T[]>(static_cast<std::size_t>(len)));
            std::memcpy(arrays.back().get(), arguments.pointer[p], static_cast<std::size_t>(len) * sizeof(T));
            arguments.pointer[p] = arrays.back().get();
        }
        const SrStatus status = m_.call(arguments);
        one.compute_reference();
        EXPECT_TRUE(one.right_status(status));
    }
}

template <class T, class R>
void TestedMember<T, R>::odd_stacks() const
{
    for (int stack : {0, 4, 8, 12})
        for (int len : {1, 7, 24, 37})
            for (int misalign : {0, 4}) {
                auto one = trial(len, Values::Ordinary, std::vector<Placement>(m_.roles.size(), {misalign}));
                stack_misalign = stack;
                const SrStatus status = m_.call(one.arguments());
                stack_misalign = -1;
                ASSERT_TRUE(one.right(status)) << "stack " << stack;
            }
}

// A table's entry as a test's parameter.
struct Tested {
    std::shared_ptr<const AnyMember> member;
    const AnyMember* operator->() const { return member.get(); }
    friend std::ostream& operator<<(std::ostream& out, const Tested& t) { return out << t->name(); }
};

template <class T, class R>
void append(std::vector<Tested>& all, Member<T, R> m)
{
    all.push_back({std::make_shared<TestedMember<T, R>>(std::move(m))});
}

inline std::string tested_name(const testing::TestParamInfo<Tested>& info) { return info.param->name(); }

class OnVectors : public testing::TestWithParam<Tested> {};

TEST_P(OnVectors, AreTheReferenceAtEveryLengthAndPlacement) { GetParam()->every_length_and_placement(); }
TEST_P(OnVectors, AreTheReferenceForPairsOfSpecialValues) { GetParam()->special_values_of_arrays(); }
TEST_P(OnVectors, TakeASourceAsADestination) { GetParam()->shared_addresses(); }
TEST_P(OnVectors, GoInOrderOverOverlappingArrays) { GetParam()->overlaps(); }
TEST_P(OnVectors, AreTheReferenceForLongArrays) { GetParam()->long_arrays(); }
TEST_P(OnVectors, ReportTheFirstFailedCheckAndWriteNothing) { GetParam()->checks(); }
TEST_P(OnVectors, KeepTheEnvironment) { GetParam()->environment(); }
TEST_P(OnVectors, AskForNoMemory) { GetParam()->memory(); }
TEST_P(OnVectors, ReadNothingBesideTheArrays) { GetParam()->exact_arrays(); }
#ifdef __i386__
TEST_P(OnVectors, TakeACallWithTheStackOn4Bytes) { GetParam()->odd_stacks(); }
#endif

}  // namespace zelsr::test::estimation
