// Functions that work element by element: a table holds one entry a function (and constant), and every entry is
// held to the same promises.
#pragma once

#include <gtest/gtest.h>

#include <array>
#include <cfenv>
#include <cstring>
#include <functional>
#include <memory>
#include <ostream>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "support/bits.h"
#include "support/effort.h"
#include "support/environment.h"
#include "support/faults.h"
#include "support/guarded.h"
#include "zelsr/types.h"

namespace zelsr::test {

// What a call is given. By its form a function takes one source, two or none, and may have one in dst.
template <class In, class Out>
struct Arrays {
    const In* first;
    const In* second;
    Out* dst;
    int32_t len;
};

enum class Form {
    Fill,            // (dst, len)
    Map,             // (src, dst, len)
    MapInPlace,      // (srcdst, len): the first operand lies in dst
    Combine,         // (first, second, dst, len)
    CombineInPlace,  // (src, srcdst, len): the second operand lies in dst
};

// How two arrays are compared, and what they are filled with.
enum class Compare {
    Values,  // values with special ones among them; every NaN is the same
    Bits,    // bytes of any pattern, signalling NaN among them, which must arrive as they are
};

// Every bit pattern, numbers or not.
template <class T>
std::vector<T> random_bits(int count)
{
    std::vector<T> values(static_cast<std::size_t>(count));
    std::vector<std::uint32_t> words(values.size() * sizeof(T) / 4 + 1);
    for (std::uint32_t& word : words) word = generator()();
    std::memcpy(values.data(), words.data(), values.size() * sizeof(T));
    return values;
}

// Values of the whole range (floating point: up to 1000), one in six from special.
template <class T>
std::vector<T> mixed_values(int count, const std::vector<T>& special)
{
    std::vector<T> values(static_cast<std::size_t>(count));
    for (T& value : values) {
        if (!special.empty() && generator()() % 6 == 0)
            value = special[generator()() % special.size()];
        else if constexpr (std::is_floating_point_v<T>)
            value = uniform(T(-1000), T(1000));
        else
            value = uniform(std::numeric_limits<T>::min(), std::numeric_limits<T>::max());
    }
    return values;
}

// The same few values again and again: as good as fresh ones for a long array, and much faster.
template <class T>
std::vector<T> repeated(const std::vector<T>& values, int count)
{
    std::vector<T> all(static_cast<std::size_t>(count));
    for (std::size_t done = 0; done < all.size();) {
        const std::size_t part = std::min(values.size(), all.size() - done);
        std::memcpy(&all[done], values.data(), part * sizeof(T));
        done += part;
    }
    return all;
}

// Where the array lies for which the sweep is in this step; the others go through all placements as well.
inline Placement cycle(const std::vector<Placement>& all, std::size_t step) { return all[step % all.size()]; }

// What the tests ask of a table's entry.
class ElementwiseMember {
  public:
    virtual ~ElementwiseMember() = default;
    virtual const std::string& name() const = 0;
    virtual void expect_reference_at_every_length_and_placement() const = 0;
    virtual void expect_reference_for_every_pair_of_special_values() const = 0;
    virtual void expect_works_in_place() const = 0;
    virtual void expect_reference_for_length(int len) const = 0;
    virtual void expect_null_is_checked_before_size() const = 0;
    virtual void expect_same_in_each_environment() const = 0;
    virtual void expect_takes_the_rounding_mode() const = 0;
};

template <class In, class Out = In>
class Elementwise : public ElementwiseMember {
  public:
    using Values = std::vector<In>;
    using Call = std::function<SrStatus(const Arrays<In, Out>&)>;
    using Reference = std::function<SrStatus(const Values& first, const Values& second, std::vector<Out>& dst)>;

    Elementwise(std::string name, Form form, Call call, Reference reference, Compare compare = Compare::Values,
                Values special = default_special())
        : name_(std::move(name)),
          form_(form),
          call_(std::move(call)),
          reference_(std::move(reference)),
          compare_(compare),
          special_(std::move(special))
    {}

    const std::string& name() const override { return name_; }
    void expect_reference_at_every_length_and_placement() const override;
    void expect_reference_for_every_pair_of_special_values() const override;
    void expect_works_in_place() const override;
    void expect_reference_for_length(int len) const override;
    void expect_null_is_checked_before_size() const override;
    void expect_same_in_each_environment() const override;
    void expect_takes_the_rounding_mode() const override;

  private:
    // Operands that lie in the same array.
    struct Sharing {
        bool first_is_dst = false;
        bool second_is_dst = false;
        bool second_is_first = false;
    };
    // A call's arrays, and what it must leave in them.
    struct Trial {
        Trial(const Elementwise& member, const Values& first_values, Values second_values, Sharing sharing,
              std::array<Placement, 3> places);
        Arrays<In, Out> arrays() const;
        void refill();
        void expect(SrStatus returned, const std::string& setting = {}) const;

        const Elementwise& member;
        Sharing sharing;
        std::array<Placement, 3> places;
        Guarded<In> first, second;
        Guarded<Out> dst;
        std::vector<Out> start, expected;
        SrStatus status;
    };

    static Values default_special()
    {
        if constexpr (std::is_arithmetic_v<In>)
            return special_values<In>();
        else
            return {};
    }
    bool reads_first() const { return form_ != Form::Fill; }
    bool reads_second() const { return form_ == Form::Combine || form_ == Form::CombineInPlace; }
    Sharing own_sharing() const { return {form_ == Form::MapInPlace, form_ == Form::CombineInPlace, false}; }
    Values draw(int count) const
    {
        if constexpr (std::is_arithmetic_v<In>)
            if (compare_ == Compare::Values) return mixed_values(count, special_);
        return random_bits<In>(count);
    }
    void check(const Values& first, const Values& second, Sharing sharing, std::array<Placement, 3> places) const
    {
        Trial trial(*this, first, second, sharing, places);
        trial.expect(call_(trial.arrays()));
    }

    std::string name_;
    Form form_;
    Call call_;
    Reference reference_;
    Compare compare_;
    Values special_;
};

template <class In, class Out>
Elementwise<In, Out>::Trial::Trial(const Elementwise& member, const Values& first_values, Values second_values,
                                   Sharing sharing, std::array<Placement, 3> places)
    : member(member),
      sharing(sharing),
      places(places),
      first(first_values, places[0]),
      second(second_values.size(), places[1]),
      dst(first_values.size(), places[2]),
      expected(first_values.size())
{
    if (sharing.second_is_first || (sharing.first_is_dst && sharing.second_is_dst)) second_values = first_values;
    second.fill(second_values);
    if constexpr (std::is_same_v<In, Out>) {
        if (sharing.first_is_dst) dst.fill(first_values);
        if (sharing.second_is_dst) dst.fill(second_values);
    }
    start = dst.values();
    first.take_snapshot();
    second.take_snapshot();
    status = member.reference_(first_values, second_values, expected);
}

template <class In, class Out>
Arrays<In, Out> Elementwise<In, Out>::Trial::arrays() const
{
    Arrays<In, Out> arrays{first.data(), second.data(), dst.data(), static_cast<int32_t>(dst.size())};
    if constexpr (std::is_same_v<In, Out>) {
        if (sharing.first_is_dst) arrays.first = dst.data();
        if (sharing.second_is_dst) arrays.second = dst.data();
        if (sharing.second_is_first) arrays.second = arrays.first;
    }
    return arrays;
}

template <class In, class Out>
void Elementwise<In, Out>::Trial::refill()
{
    dst.fill(start);
}

template <class In, class Out>
void Elementwise<In, Out>::Trial::expect(SrStatus returned, const std::string& setting) const
{
    const auto where = [&] {
        return " with " + std::to_string(dst.size()) + " elements, sources " + describe(places[0]) + " and " +
               describe(places[1]) + ", destination " + describe(places[2]) + " " + setting;
    };
    EXPECT_EQ(returned, status) << where();
    if (std::memcmp(expected.data(), dst.data(), dst.bytes()) != 0) {
        EXPECT_TRUE(same_values(expected, dst.values())) << where();
        EXPECT_NE(member.compare_, Compare::Bits) << "other bits than expected" << where();
    }
    EXPECT_TRUE(dst.intact()) << "written beside the destination" << where();
    EXPECT_TRUE(first.as_snapshot() && second.as_snapshot()) << "a source was written" << where();
}

// At each length every array goes through every placement; over all lengths their pairs change too.
template <class In, class Out>
void Elementwise<In, Out>::expect_reference_at_every_length_and_placement() const
{
    const std::vector<Placement> in = placements(sizeof(In));
    const std::vector<Placement> out = placements(sizeof(Out));
    for (int len : lengths(32))
        for (std::size_t p = 0; p < std::max(in.size(), out.size()); ++p) {
            const std::size_t turn = static_cast<std::size_t>(len);
            check(draw(len), draw(len), own_sharing(),
                  {cycle(in, p + turn), cycle(in, p + 3 * turn + 1), cycle(out, p)});
            if (testing::Test::HasFailure()) return;
        }
}

template <class In, class Out>
void Elementwise<In, Out>::expect_reference_for_every_pair_of_special_values() const
{
    Values first, second;
    for (In a : special_)
        for (In b : special_) {
            first.push_back(a);
            second.push_back(b);
        }
    if (first.empty()) return;
    for (const Placement& place : placements(sizeof(Out)))
        check(first, second, own_sharing(), {place, place, place});
}

// Each operand in the destination's place, and both in one.
template <class In, class Out>
void Elementwise<In, Out>::expect_works_in_place() const
{
    if (!std::is_same_v<In, Out> || !reads_first()) return;
    std::vector<Sharing> all;
    if (form_ == Form::Map) all = {{true, false, false}};
    if (form_ == Form::Combine)
        all = {{true, false, false}, {false, true, false}, {true, true, true}, {false, false, true}};
    if (form_ == Form::CombineInPlace) all = {{true, true, true}};
    const std::vector<Placement> places = placements(sizeof(In));
    std::size_t p = 0;
    for (const Sharing& sharing : all)
        for (int len : lengths(32)) {
            check(draw(len), draw(len), sharing, {cycle(places, p), cycle(places, p + 1), cycle(places, p + 2)});
            if (testing::Test::HasFailure()) return;
            ++p;
        }
}

template <class In, class Out>
void Elementwise<In, Out>::expect_reference_for_length(int len) const
{
    const int step = static_cast<int>(sizeof(Out)) % 16;
    for (const std::array<Placement, 3>& places :
         {std::array<Placement, 3>{Placement{0}, Placement{0}, Placement{0}},
          std::array<Placement, 3>{Placement{step}, Placement{7}, Placement{8, Edge::Front}}}) {
        check(repeated(draw(1021), len), repeated(draw(1019), reads_second() ? len : 1), own_sharing(), places);
        if (testing::Test::HasFailure()) return;
    }
}

template <class In, class Out>
void Elementwise<In, Out>::expect_null_is_checked_before_size() const
{
    using Fault = Fault<Arrays<In, Out>>;
    std::vector<Fault> faults;
    const bool takes_first = form_ == Form::Map || form_ == Form::Combine || form_ == Form::CombineInPlace;
    if (takes_first) faults.push_back({"null first", SrErrNullPtr, [](auto& a) { a.first = nullptr; }});
    if (form_ == Form::Combine)
        faults.push_back({"null second", SrErrNullPtr, [](auto& a) { a.second = nullptr; }});
    faults.push_back({"null destination", SrErrNullPtr, [](auto& a) { a.dst = nullptr; }});
    for (int32_t len : {0, -1, INT32_MIN})
        faults.push_back({"length " + std::to_string(len), SrErrSize, [len](auto& a) { a.len = len; }});
    Trial trial(*this, draw(8), draw(8), own_sharing(), {});
    expect_check_order<Arrays<In, Out>>(trial.arrays(), faults, call_, {&trial.dst, &trial.first, &trial.second});

    // Arrays of no bytes begin with the forbidden page: not one element may be looked at.
    const Guarded<In> source(0);
    const Guarded<Out> destination(0);
    for (int32_t len : {0, -1, INT32_MIN})
        EXPECT_EQ(call_({source.data(), source.data(), destination.data(), len}), SrErrSize);
}

template <class In, class Out>
void Elementwise<In, Out>::expect_same_in_each_environment() const
{
    for (int len : {5, 67}) {
        Trial trial(*this, draw(len), draw(len), own_sharing(), {Placement{0}, Placement{0}, Placement{2}});
        const Arrays<In, Out> arrays = trial.arrays();
        SrStatus returned = SrErrUnknown;
        under_each_environment([&] { returned = call_(arrays); },
                               [&](const std::string& setting) {
                                   trial.expect(returned, setting);
                                   trial.refill();
                               });
    }
}

template <class In, class Out>
void Elementwise<In, Out>::expect_takes_the_rounding_mode() const
{
    for (int mode : {FE_TONEAREST, FE_DOWNWARD, FE_UPWARD, FE_TOWARDZERO}) {
        std::fesetround(mode);
        Trial trial(*this, draw(67), draw(67), own_sharing(), {});
        const SrStatus returned = call_(trial.arrays());
        std::fesetround(FE_TONEAREST);
        trial.expect(returned, "in rounding mode " + std::to_string(mode));
    }
}

// A table's entry as a test's parameter.
struct Member {
    std::shared_ptr<const ElementwiseMember> member;
    const ElementwiseMember* operator->() const { return member.get(); }
    friend std::ostream& operator<<(std::ostream& out, const Member& m) { return out << m->name(); }
};

inline std::string member_name(const testing::TestParamInfo<Member>& info) { return info.param->name(); }

// Entries by form. call: the function's own arguments but for its constants; reference: operands, then result.
template <class T, class Call, class Reference>
Member fill(std::string name, Call call, Reference reference)
{
    return {std::make_shared<Elementwise<T>>(
        std::move(name), Form::Fill, [call](const Arrays<T, T>& a) { return call(a.dst, a.len); },
        [reference](const auto&, const auto&, auto& dst) { return reference(dst); }, Compare::Bits)};
}

template <class In, class Out = In, class Call, class Reference>
Member map(std::string name, Call call, Reference reference, Compare compare = Compare::Values)
{
    return {std::make_shared<Elementwise<In, Out>>(
        std::move(name), Form::Map, [call](const Arrays<In, Out>& a) { return call(a.first, a.dst, a.len); },
        [reference](const auto& src, const auto&, auto& dst) { return reference(src, dst); }, compare)};
}

template <class T, class Call, class Reference>
Member map_in_place(std::string name, Call call, Reference reference, Compare compare = Compare::Values)
{
    return {std::make_shared<Elementwise<T>>(
        std::move(name), Form::MapInPlace, [call](const Arrays<T, T>& a) { return call(a.dst, a.len); },
        [reference](const auto& src, const auto&, auto& dst) { return reference(src, dst); }, compare)};
}

template <class T, class Call, class Reference>
Member combine(std::string name, Call call, Reference reference)
{
    return {std::make_shared<Elementwise<T>>(
        std::move(name), Form::Combine,
        [call](const Arrays<T, T>& a) { return call(a.first, a.second, a.dst, a.len); }, reference)};
}

template <class T, class Call, class Reference>
Member combine_in_place(std::string name, Call call, Reference reference,
                        std::vector<T> special = special_values<T>())
{
    return {std::make_shared<Elementwise<T>>(
        std::move(name), Form::CombineInPlace,
        [call](const Arrays<T, T>& a) { return call(a.first, a.dst, a.len); }, reference, Compare::Values,
        std::move(special))};
}

}  // namespace zelsr::test
