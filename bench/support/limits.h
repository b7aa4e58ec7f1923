// How fast this processor can be at best, measured: the limit that a row is held against.
#pragma once

namespace zelsr::bench {

// Operations on registers of 16 bytes; `adds` stands for sums, differences and extremes alike. Either what a call
// needs, or how many of each the processor finishes in a nanosecond. Doubles count where they take longer.
struct Operations {
    double loads = 0, stores = 0, multiplies = 0, adds = 0, divides = 0, double_divides = 0, double_roots = 0;
};

// The shortest time that a call can take, and the operation that bounds it.
struct Bound {
    double ns;
    const char* operation;
};

// Independent operations on data in the nearest cache; measured at the first call.
const Operations& rates_per_ns();

// The time of one short stretch of additions by the shortest that was ever measured: what the clock, which falls
// and rises with the load, and other programs make of a nanosecond just now.
double slowness();

// Every kind of operation overlaps with all others, so that the slowest alone bounds the call. At the highest
// clock.
Bound bound_of(const Operations& call);

}  // namespace zelsr::bench
