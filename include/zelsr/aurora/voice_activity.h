/* Which frames hold speech. */
#ifndef ZELSR_AURORA_VOICE_ACTIVITY_H
#define ZELSR_AURORA_VOICE_ACTIVITY_H

#include "zelsr/types.h"

ZELSR_BEGIN_DECLARATIONS

/** @defgroup voice_activity Voice activity
 *
 * Three detectors compare a measure of the frame with a level T that follows the measure's background. Their votes
 * go into a ring of seven frames; the longest run of votes in it and two hangovers decide.
 *
 * With n the count of frames, this one included, x the 64 samples, e the 25 band energies (the Mel bands of the
 * frame, of which only the sum and the entries 1 to 3 count), in single precision, steps in this order, each with
 * the T of the step before it:
 *
 *     variance:  E = sum x^2 * 0.015625 - (sum x)^2 * 2^-12
 *                n < 15: T = max(T, E)
 *                0.85 T < E < 1.5 T: T = 0.8 T + 0.2 E;   E < 0.25 T: T = 0.97 T + 0.03 E
 *                vote: E > 1.65 T
 *     energy:    L = (sum e)^2 - 3
 *                n = 1: T = L
 *                n < 15: A = ((n - 1) * A + L) * 1.1 / n;   the latch is set if L / A > 2.5;
 *                        T = max(T, L) as long as the latch is not set
 *                0.75 T < L < 1.5 T: T = 0.8 T + 0.2 L;   L <= 0.5 T: T = 0.97 T + 0.03 L
 *                vote: L > 1.65 T
 *     low band:  M = (e[1] + e[2] + e[3]) / 3,   C = 0.75 M + 0.25 (M of the frame before, 0 at first)
 *                n < 15: T = max(T, C)
 *                0.75 T < C < 1.5 T: T = 0.8 T + 0.2 C;   C <= 0.5 T: T = 0.97 T + 0.03 C
 *                vote: C > 3.25 T
 *
 * The sums are those of zelsDotProd_32f() and zelsSum_32f() (hint 2). L / A counts as 0 where A is 0. Negative
 * levels are compared as they stand; a measure that is not a number wins no comparison.
 *
 * The first ten frames are not decided and cast no vote. From the eleventh on the frame's vote (any detector's, or
 * the caller's) takes the place of the oldest in the ring, and with R the longest run of votes, H the speech
 * hangover, G the short one,
 *
 *     R >= 4:                  H = the long hangover, 23; which n < 36 then sets to 40 for the runs to come
 *     R >= 3, H not negative:  G = 5
 *     R < 3, H not negative:   G and H fall by 1 each, but not below 0
 *     no speech if R < 3, G = 0 and H = 0; else speech
 *
 * Only frames decided after a flush find a negative H or G: a negative one stands, and means speech, until it is
 * loaded again.
 *
 * Fixed point: E, L and C are formed from exact sums and compared in integers, >> rounding down, products by a
 * level and squares of sums modulo 2^32 (signed), levels stored as the low 32 bits:
 *
 *     variance:  E = 64 * sum x^2 - (sum x)^2, in 64 bits
 *                n < 15: T = E if E >= T
 *                T * 27 >> 5 < E < T * 48 >> 5: T = (T * 26 >> 5) + (6 * E >> 5)
 *                E < T * 8 >> 5: T = (T * 31 >> 5) + E, the whole of it: wanted;   vote: E > T * 53 >> 5
 *     energy:    L = (sum e)^2 - 3
 *                n = 1: T = L
 *                n < 15: A = 141 * ((n - 1) * A + L) / n >> 7, the quotient in 64 bits and truncated;
 *                        the latch is set if (L << 7, modulo 2^32) / A > 320;   T = L if L >= T and no latch
 *                T * 96 >> 7 < L < T * 192 >> 7: T = (T * 102 >> 7) + (26 * L >> 7)
 *                L <= T * 64 >> 7: T = (T * 124 >> 7) + (L >> 5);   vote: L > T * 211 >> 7
 *     low band:  M = (e[1] + e[2] + e[3]) * 341,   C = (M * 24 >> 5) + (M of the frame before * 8 >> 5)
 *                n < 15: T = max(T, C)
 *                T * 24 >> 5 < C < T * 48 >> 5: T = (T * 102 >> 7) + (C * 26 >> 7)
 *                C <= T * 16 >> 5: T = (T * 124 >> 7) + (C * 4 >> 7);   vote: C > T * 416 >> 7
 *
 * No memory is allocated. Thread rules: a state serves one stream, one thread at a time.
 * @{ */

/** State of a detector, in memory of the caller's, on any address; it may be moved. There is no Free.
 *
 * A record of 64 bytes: of 16 bits each the votes of energy, low band and variance (1 or 0) and the latch; of 32
 * bits each A, the levels of low band, energy and variance, M of the frame before and of this frame (32f or 32s,
 * by the family: a state is not to be moved from one to the other); the position in the ring, its value when the
 * first flush came or -1, the long, the speech and the short hangover; seven votes of 8 bits, and one byte that is
 * left as it is; the count of frames, 32 bits, which stays at 0x7fffffff once it is there. */
typedef struct ZelVadState_Aurora ZelVadState_Aurora;

/** Whether a frame holds speech. */
enum {
    SrVadSpeech = 1,   /**< It does. */
    SrVadNoSpeech = 2, /**< It does not. */
    SrVadUnknown = 4   /**< Not decided. */
};

/** @name Bytes of a state
 * 64.
 *
 * Checks: null ::SrErrNullPtr.
 * @{ */
/** Single precision. */
SrStatus zelsVADGetBufSize_Aurora_32f(int32_t* size);
/** Fixed point. */
SrStatus zelsVADGetBufSize_Aurora_16s(int32_t* size);
/** @} */

/** @name Construction
 * A state that is built again starts anew; without that, the next utterance keeps the levels. The votes of low
 * band and variance and M of this frame keep what the memory held: the next frame writes them.
 *
 * Checks: null ::SrErrNullPtr.
 * @{ */
/** Single precision. */
SrStatus zelsVADInit_Aurora_32f(ZelVadState_Aurora* state);
/** Fixed point. */
SrStatus zelsVADInit_Aurora_16s(ZelVadState_Aurora* state);
/** @} */

/** @name One frame
 * bands has 25 values, samples 64. extra_votes of 5 or more makes the frame vote speech, whatever the detectors
 * say; less has no effect. decision receives ::SrVadSpeech, ::SrVadNoSpeech, or in the first ten frames
 * ::SrVadUnknown. A state is not checked.
 *
 * Checks: null ::SrErrNullPtr.
 * @{ */
/** Single precision, in the default floating-point environment, whatever the caller's. */
SrStatus zelsVADDecision_Aurora_32f(const float* bands, const float* samples, int32_t extra_votes,
                                    uint32_t* decision, ZelVadState_Aurora* state);
/** Fixed point. */
SrStatus zelsVADDecision_Aurora_16s(const int16_t* bands, const int16_t* samples, int32_t extra_votes,
                                    uint32_t* decision, ZelVadState_Aurora* state);
/** @} */

/** @name Frames behind the end of the input
 * A decision for each frame that is still on its way through the caller's delay. Each call counts as a frame,
 * advances in the ring, whose votes stay as they are, and with R, H and G of the decision takes
 *
 *     R >= 4:  H = the long hangover, which n < 36 then sets to 40
 *     R >= 3:  G = 5
 *     G = G - 1, H = H - 1, below 0 too
 *     no speech if R < 3, G < 1 and H < 1; else speech
 *
 * decision receives ::SrVadUnknown, and R, H and G are left alone, when the ring has been walked round (the
 * seventh call and every seventh behind it) and while the count of frames is below 11.
 *
 * Checks: null ::SrErrNullPtr.
 * @{ */
/** Single precision. */
SrStatus zelsVADFlush_Aurora_32f(uint32_t* decision, ZelVadState_Aurora* state);
/** Fixed point. */
SrStatus zelsVADFlush_Aurora_16s(uint32_t* decision, ZelVadState_Aurora* state);
/** @} */

/** @} */

ZELSR_END_DECLARATIONS

#endif
