// The calls of the scores on 16-bit data in one form.
#pragma once

#include <cstdint>
#include <type_traits>

#include "support/odd_stack.h"
#include "zelsr/likelihood/fixed.h"

namespace zelsr::test::fixed {

// Everything that any member takes. rows: the frames of a frame member, the means of the others.
struct Arguments {
    const int16_t *rows, *row_variances;                // D2 members
    int32_t step;                                       // D2 members
    const int16_t *const *list, *const *variance_list;  // D2L members
    const int16_t *vector, *variance;                   // the one vector; its variances where rows have none
    int32_t width;
    void* result;
    int32_t height;
    double val;        // frame members
    const void* vals;  // one constant a row, where they do not lie in the result
    int32_t sf;
    int stack = -1;  // the stack pointer modulo 16 at the call, where it is not left to the compiler
};

template <class... Parameter>
SrStatus call_with(const Arguments& a, SrStatus (*function)(Parameter...),
                   std::type_identity_t<Parameter>... arguments)
{
#ifdef __i386__
    if (a.stack >= 0) return call_misaligned(function, a.stack, arguments...);
#endif
    static_cast<void>(a);
    return function(arguments...);
}

// The shapes of argument lists. Sf: int32_t, or none in the forms without a scale factor.
using Row = const int16_t*;
using Rows = const int16_t* const*;

template <class T, class... Sf>
SrStatus shaped(SrStatus (*f)(Row, int32_t, Row, Row, int32_t, T*, int32_t, T, Sf...), const Arguments& a)
{
    return call_with(a, f, a.rows, a.step, a.vector, a.variance, a.width, static_cast<T*>(a.result), a.height,
                     static_cast<T>(a.val), static_cast<Sf>(a.sf)...);
}
template <class T, class... Sf>
SrStatus shaped(SrStatus (*f)(Row, int32_t, Row, int32_t, T*, int32_t, T, Sf...), const Arguments& a)
{
    return call_with(a, f, a.rows, a.step, a.vector, a.width, static_cast<T*>(a.result), a.height,
                     static_cast<T>(a.val), static_cast<Sf>(a.sf)...);
}
template <class T, class... Sf>
SrStatus shaped(SrStatus (*f)(Rows, Row, Row, int32_t, T*, int32_t, T, Sf...), const Arguments& a)
{
    return call_with(a, f, a.list, a.vector, a.variance, a.width, static_cast<T*>(a.result), a.height,
                     static_cast<T>(a.val), static_cast<Sf>(a.sf)...);
}
template <class T, class... Sf>
SrStatus shaped(SrStatus (*f)(Rows, Row, int32_t, T*, int32_t, T, Sf...), const Arguments& a)
{
    return call_with(a, f, a.list, a.vector, a.width, static_cast<T*>(a.result), a.height, static_cast<T>(a.val),
                     static_cast<Sf>(a.sf)...);
}
template <class T, class... Sf>
SrStatus shaped(SrStatus (*f)(Row, Row, int32_t, Row, int32_t, T*, int32_t, Sf...), const Arguments& a)
{
    return call_with(a, f, a.rows, a.row_variances, a.step, a.vector, a.width, static_cast<T*>(a.result), a.height,
                     static_cast<Sf>(a.sf)...);
}
template <class T, class... Sf>
SrStatus shaped(SrStatus (*f)(Rows, Rows, Row, int32_t, T*, int32_t, Sf...), const Arguments& a)
{
    return call_with(a, f, a.list, a.variance_list, a.vector, a.width, static_cast<T*>(a.result), a.height,
                     static_cast<Sf>(a.sf)...);
}
template <class T>
SrStatus shaped(SrStatus (*f)(Row, Row, int32_t, Row, int32_t, const T*, T*, int32_t, int32_t), const Arguments& a)
{
    return call_with(a, f, a.rows, a.row_variances, a.step, a.vector, a.width, static_cast<const T*>(a.vals),
                     static_cast<T*>(a.result), a.height, a.sf);
}
template <class T>
SrStatus shaped(SrStatus (*f)(Rows, Rows, Row, int32_t, const T*, T*, int32_t, int32_t), const Arguments& a)
{
    return call_with(a, f, a.list, a.variance_list, a.vector, a.width, static_cast<const T*>(a.vals),
                     static_cast<T*>(a.result), a.height, a.sf);
}
template <class T>
SrStatus shaped(SrStatus (*f)(Row, Row, Row, int32_t, int32_t, int32_t, const T*, T*, int32_t), const Arguments& a)
{
    return call_with(a, f, a.vector, a.rows, a.row_variances, a.height, a.step, a.width,
                     static_cast<const T*>(a.vals), static_cast<T*>(a.result), a.sf);
}
template <class T>
SrStatus shaped(SrStatus (*f)(Row, Row, int32_t, int32_t, int32_t, const T*, T*, int32_t), const Arguments& a)
{
    return call_with(a, f, a.vector, a.rows, a.height, a.step, a.width, static_cast<const T*>(a.vals),
                     static_cast<T*>(a.result), a.sf);
}
template <class T>
SrStatus shaped(SrStatus (*f)(Row, Rows, Rows, int32_t, int32_t, const T*, T*, int32_t), const Arguments& a)
{
    return call_with(a, f, a.vector, a.list, a.variance_list, a.height, a.width, static_cast<const T*>(a.vals),
                     static_cast<T*>(a.result), a.sf);
}
template <class T>
SrStatus shaped(SrStatus (*f)(Row, Rows, int32_t, int32_t, const T*, T*, int32_t), const Arguments& a)
{
    return call_with(a, f, a.vector, a.list, a.height, a.width, static_cast<const T*>(a.vals),
                     static_cast<T*>(a.result), a.sf);
}
// One vector: its feature and mean are a block of one row and the vector.
template <class T>
SrStatus shaped(SrStatus (*f)(Row, Row, Row, int32_t, T*, T, int32_t), const Arguments& a)
{
    return call_with(a, f, a.rows, a.vector, a.variance, a.width, static_cast<T*>(a.result), static_cast<T>(a.val),
                     a.sf);
}
template <class T>
SrStatus shaped(SrStatus (*f)(Row, Row, int32_t, T*, T, int32_t), const Arguments& a)
{
    return call_with(a, f, a.rows, a.vector, a.width, static_cast<T*>(a.result), static_cast<T>(a.val), a.sf);
}

template <auto Function>
SrStatus call(const Arguments& a)
{
    return shaped(Function, a);
}

}  // namespace zelsr::test::fixed
