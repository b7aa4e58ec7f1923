#include "aurora/convert.h"

#include <cmath>
#include <cstdio>
#include <type_traits>

#include "aurora/picture.h"
#include "common/failure.h"
#include "common/output_file.h"
#include "common/progress.h"
#include "common/sound_writer.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

constexpr double kShift = static_cast<double>(kHop) / kLowRate;
// A frame's features are of kFrame samples; it stands for the shift around their middle.
double time_of(std::int64_t frame)
{
    return static_cast<double>(frame) * kShift + 0.5 * (kFrame - kHop) / kLowRate;
}

// Everything that a conversion writes; nothing takes its place before all is whole.
template <class T>
class Outputs {
  public:
    Outputs(const Conversion& conversion, const FrontEnd<T>& front_end, int rate)
        : conversion_(conversion), features_(conversion.out)
    {
        writer_ = make_writer<T>(conversion.format, front_end.options(), features_);
        if (conversion.marks) {
            marks_.emplace(*conversion.marks);
            marks_->write("seconds,mark\n");
        }
        if (conversion.cleaned) {
            const int container = container_of_ending(*conversion.cleaned).value();
            cleaned_.emplace(*conversion.cleaned, kLowRate, 1, container | SF_FORMAT_PCM_16);
        }
        if (conversion.picture) picture_.emplace(rate);
    }

    bool wants_cleaned() const { return cleaned_ || picture_; }
    const Stretches& speech() const { return speech_; }
    bool on_standard_output() const { return features_.direct() || (marks_ && marks_->direct()); }

    void take_sound(std::span<const T> samples)
    {
        if (picture_) picture_->add_noisy(samples);
    }

    void take(const RowBlock<T>& rows, std::span<const Mark> marks, std::span<const T> cleaned)
    {
        if (rows.rows > 0) writer_->write(rows);
        if (marks_) {
            std::string lines;
            for (std::size_t i = 0; i < marks.size(); ++i)
                lines += fixed(time_of(speech_.frames() + static_cast<std::int64_t>(i)), 4) + "," +
                         std::string(mark_name(marks[i])) + "\n";
            marks_->write(lines);
        }
        speech_.add(marks);
        if (cleaned_ && !cleaned.empty()) {
            if constexpr (std::is_same_v<T, float>) {
                full_scale_.resize(cleaned.size());
                require(zelsMulC_32f(cleaned.data(), 1.0f / 32768, full_scale_.data(),
                                     static_cast<std::int32_t>(cleaned.size())),
                        "zelsMulC_32f");
                cleaned_->write(full_scale_);
            } else {
                cleaned_->write(cleaned);
            }
        }
        if (picture_) picture_->add_cleaned(cleaned);
        if (picture_) picture_->add_marks(marks);
    }

    void commit(const std::string& summary)
    {
        writer_->finish();
        std::optional<OutputFile> drawn;
        if (picture_) {
            drawn.emplace(*conversion_.picture);
            drawn->write(picture_->svg(file_name(conversion_.sound), summary));
        }
        features_.commit();
        if (marks_) marks_->commit();
        if (cleaned_) cleaned_->commit();
        if (drawn) drawn->commit();
    }

  private:
    const Conversion& conversion_;
    OutputFile features_;
    std::unique_ptr<FeatureWriter<T>> writer_;
    std::optional<OutputFile> marks_;
    std::optional<SoundWriter> cleaned_;
    std::optional<ReductionPicture> picture_;
    Stretches speech_;
    std::vector<float> full_scale_;
};

template <class T>
void convert_as(const Conversion& conversion)
{
    SoundFile sound(conversion.sound, conversion.channels);
    FrontEnd<T> front_end(sound.rate());
    Outputs<T> outputs(conversion, front_end, sound.rate());
    if (outputs.wants_cleaned()) front_end.keep_cleaned();
    const auto hand_on = [&](const RowBlock<T>& rows) {
        outputs.take(rows, front_end.take_marks(), front_end.take_cleaned());
    };

    {
        Progress progress(file_name(conversion.sound), static_cast<double>(sound.expected()) / sound.rate());
        std::vector<float> part(conversion.block);
        std::vector<T> samples(conversion.block);
        while (const std::size_t got = sound.read(part)) {
            to_16_bit_units(std::span(part).first(got), samples.data());
            outputs.take_sound(std::span(samples).first(got));
            hand_on(front_end.add(std::span(samples).first(got)));
            progress.at(static_cast<double>(sound.position()) / sound.rate());
        }
        hand_on(front_end.finish());
    }

    const Stretches& speech = outputs.speech();
    const double seconds = static_cast<double>(sound.position()) / sound.rate();
    const std::string of_speech = fixed(static_cast<double>(speech.of(Mark::Speech)) * kShift, 2) +
                                  " s marked as speech in " + std::to_string(speech.all().size()) +
                                  (speech.all().size() == 1 ? " stretch" : " stretches");
    outputs.commit(fixed(seconds, 2) + " s, " + std::to_string(sound.rate()) + " Hz; " + of_speech);
    if (outputs.on_standard_output()) return;

    std::string text = conversion.out + ": " + std::to_string(speech.frames()) +
                       (speech.frames() == 1 ? " frame of " : " frames of ") + std::to_string(kRow) + " values";
    if (conversion.fixed) text += " in 16 bits, times 2^" + std::to_string(kRowBits);
    text += "; " + fixed(seconds, 2) + " s, " + std::to_string(sound.rate()) + " Hz; " + of_speech + "\n";
    constexpr std::size_t kMostListed = 20;
    const auto all = speech.all();
    for (std::size_t i = 0; i < all.size() && i < kMostListed; ++i)
        text += "  speech from " + fixed(all[i].start, 2) + " to " + fixed(all[i].end, 2) + " s\n";
    if (all.size() > kMostListed) text += "  and " + std::to_string(all.size() - kMostListed) + " more\n";
    for (const std::string& remark : remarks_on(sound)) text += "  note: " + remark + "\n";
    std::fputs(text.c_str(), stdout);
}

}  // namespace

void Stretches::add(std::span<const Mark> marks)
{
    for (const Mark mark : marks) {
        const double left = time_of(frames_), right = time_of(frames_ + 1);
        if (mark == Mark::Speech && open_)
            all_.back().end = right;
        else if (mark == Mark::Speech)
            all_.push_back({left, right});
        open_ = mark == Mark::Speech;
        ++counts_[static_cast<std::size_t>(mark)];
        ++frames_;
    }
}

void convert(const Conversion& conversion)
{
    conversion.fixed ? convert_as<std::int16_t>(conversion) : convert_as<float>(conversion);
}

}  // namespace zelsr::examples
