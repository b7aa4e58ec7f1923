// Loops over groups of elements, for steps whose source and destination elements differ in size or that read
// several registers at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace zelsr {

namespace detail {

template <class T, int32_t Group>
struct ElementGroup {
    T element[Group];
};

// The first len elements (fewer than a group), zeros behind them.
template <int32_t Group, class T>
inline ElementGroup<T, Group> padded_group(const T* src, int32_t len)
{
    ElementGroup<T, Group> group{};
    std::memcpy(group.element, src, static_cast<std::size_t>(len) * sizeof(T));
    return group;
}

}  // namespace detail

// Calls step(to, from...) for each group of Group elements of dst and of every source; an element's result may
// depend on that element alone. The last group, which overlaps the one before it where Group does not divide len,
// is computed first and stored last, so that dst may be one of the sources. Fewer elements than a group run
// through a copy padded with zeros.
template <int32_t Group, class Target, class Step, class... Source>
inline void in_groups(int32_t len, Target* dst, const Step& step, const Source*... src)
{
    detail::ElementGroup<Target, Group> last_group;
    if (len < Group) {
        step(last_group.element, detail::padded_group<Group>(src, len).element...);
        std::memcpy(dst, last_group.element, static_cast<std::size_t>(len) * sizeof(Target));
        return;
    }
    const std::ptrdiff_t last = len - Group;
    step(last_group.element, (src + last)...);
    std::ptrdiff_t i = 0;
    for (; i < last - Group; i += 2 * Group) {
        step(dst + i, (src + i)...);
        step(dst + i + Group, (src + i + Group)...);
    }
    if (i < last) step(dst + i, (src + i)...);
    std::memcpy(dst + last, last_group.element, sizeof last_group);
}

}  // namespace zelsr
