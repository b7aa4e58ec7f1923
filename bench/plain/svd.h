// Singular value decomposition, as a user's own loops.
#pragma once

namespace zelsr::bench::plain {

// u: A in, U out, height x width without gaps; v: width x width; w sorted downwards, for comparison, on its own.
void singular_values(double* u, double* w, double* v, int height, int width);

}  // namespace zelsr::bench::plain
