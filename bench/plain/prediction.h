// Linear prediction as a user would write it: lpc_bench.cpp.
#pragma once

namespace zelsr::bench::plain {

constexpr int most_coefficients = 64;

// The coefficients of A(z) without the leading 1, from order + 1 lags; the prediction error.
float durbin(const float* acorr, float* a, int order);
void predict(const float* src, int len, float* a, int order);
void predict_covariance(const float* src, int len, float* a, int order);

void step_down(const float* a, float* k, int order);
void step_up(const float* k, float* a, int order);
void cepstrum(const float* a, float* c, int order);
void from_cepstrum(const float* c, float* a, int order);

// Even orders: cosines of the line spectral pairs by sign changes over a grid, bisection and a secant step; back.
int line_spectrum(const float* a, float* lsp, int order, int cells, int halvings);
void from_line_spectrum(const float* lsp, float* a, int order);

void log_area_ratios(const float* k, float* dst, int len, float limit);

}  // namespace zelsr::bench::plain
