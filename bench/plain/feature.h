// Cepstra, deltas, energies and offsets, as a user would write them.
#pragma once

#include <cstdint>

namespace zelsr::bench::plain {

// dst[k] = lifter[k] * sum over j of src[j] * cosines[k * len_dct + j]
template <class T>
void lifted_cosines(const T* src, const float* cosines, const float* lifter, int len_dct, int len_cep, float* dst);

// One neighbour, two neighbours with second derivative, a window over a whole utterance.
void delta(const float* src, int width, float* dst, int step, int height, float val);
void delta(const std::int16_t* src, int width, std::int16_t* dst, int step, int height, std::int16_t val, int sf);
void delta_delta(const float* src, int width, float* dst, int step, int height, float val1, float val2);
void delta_delta(const std::int16_t* src, int width, std::int16_t* dst, int step, int height, std::int16_t val1,
                 std::int16_t val2, int sf);
void delta_mul(const float* src, const float* mul, int width, float* dst, int step, int height);
void eval_delta(float* srcdst, int height, int step, int width, int window, float val);
void aurora(const float* src, float* dst, int step, int height);

void normalise_energy(float* column, int step, int height, float silence_floor, float scale);
void normalise_energy(std::int16_t* column, int step, int height, std::int16_t silence_floor, std::int16_t unit,
                      float scale);

float compensate(const float* src, float* dst, int len, float val);
void compensate(const std::int16_t* src, std::int16_t* dst, int len, float val);
void compensate_q12(const std::int16_t* src, std::int16_t* dst, int len, float val);
void compensate_q15(const std::int16_t* src, std::int16_t* dst, int len, std::int16_t val);

int sign_changes(const std::int16_t* src, int len);
float sign_changes(const float* src, int len);
int sign_bit_changes(const float* src, int len);
float sign_distance(const float* src, int len);

}  // namespace zelsr::bench::plain
