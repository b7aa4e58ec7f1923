// The whole distributed front-end (examples/aurora), from 80 samples, or 160 at 16 kHz, to a row of 39 features
// and a mark: two stages of noise reduction, pitch periods, cepstrum, equalisation, voice activity, derivatives.
// The size is the rate. Beside it the way to plain cepstra (examples/common/mfcc), which has other definitions, so
// that only its time is compared.
#include <algorithm>
#include <cmath>
#include <memory>

#include "aurora/front_end.h"
#include "common/mfcc.h"
#include "support/row.h"

namespace zelsr::bench {
namespace {

using examples::FrontEnd;
using examples::Mfcc;
using examples::MfccOptions;
using examples::RowBlock;

constexpr double shift_seconds = 0.010;
constexpr int seconds = 4;

// Noise with bursts of a buzzing tone, in 16-bit units, that goes round and round.
template <class T>
T* sound_of(Row& row)
{
    const int rate = row.len, count = seconds * rate;
    const float* noise = row.input(count, -300.0F, 300.0F);
    T* sound = row.array<T>(count);
    for (int n = 0; n < count; ++n) {
        const float time = static_cast<float>(n) / static_cast<float>(rate);
        const bool spoken = std::fmod(time, 1.0F) < 0.6F;
        const float period = std::fmod(time * 120, 1.0F);
        sound[n] =
            static_cast<T>(noise[n] + (spoken ? 9000 * std::exp(-5 * period) * std::sin(60 * period) : 0.0F));
    }
    return sound;
}

// One that has heard the sound once already.
template <class T, class FeatureMaker>
struct Stream {
    FeatureMaker maker;
    const T* sound;
    int hop, length, at = 0;

    template <class Options>
    Stream(const Options& options, Row& row)
        : maker(options), sound(sound_of<T>(row)), hop(row.len / 100), length(seconds * row.len)
    {
        maker.add({sound, static_cast<std::size_t>(length)});
    }

    void next(T* dst)
    {
        const RowBlock<T> rows = maker.add({sound + at, static_cast<std::size_t>(hop)});
        at = (at + hop) % length;
        if (rows.rows > 0) std::copy_n(rows[0], maker.width(), dst);
    }
};

constexpr int values = examples::kRow;

template <class T>
void front_end(Row& row)
{
    row.sound(shift_seconds);
    auto answer = row.answer<T>(values);
    const auto whole = std::make_shared<Stream<T, FrontEnd<T>>>(row.len, row);
    answer.library([whole](T* dst) {
        whole->next(dst);
        whole->maker.take_marks();
    });
    MfccOptions options;
    options.rate = row.len;
    const auto plain = std::make_shared<Stream<T, Mfcc<T>>>(options, row);
    answer.peer_of_other_definition("plain cepstra", [plain](T* dst) { plain->next(dst); });
}

const Table chain{"aurora/chain",
                  {{"front-end, single", front_end<float>}, {"front-end, 16 bits", front_end<std::int16_t>}},
                  {{8000}, {16000}}};

}  // namespace
}  // namespace zelsr::bench
