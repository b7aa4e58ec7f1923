// The commands that look at speech: report, train.
#include <cstdio>
#include <optional>

#include "codec/command_parts.h"
#include "codec/commands.h"
#include "codec/folders.h"
#include "codec/picture.h"
#include "codec/report.h"
#include "common/output_file.h"
#include "common/text.h"

namespace zelsr::examples {
namespace {

CodingLoss loss_of(const std::string& path, EnvelopeBook& book, int block, Picture* picture,
                   FileProgress& progress)
{
    CodingLoss loss;
    SpeechInput input(path, kRate, block);
    Encoder encoder(book, [&](const Frame& frame, const Measured& measured) {
        loss.add(frame, measured, book);
        if (picture != nullptr) picture->add(frame, measured, book);
    });
    progress.begin(path, input);
    encode_all(input, encoder, [&] { progress.at(input); });
    loss.add_bytes(loss.frames() * kFrameBytes + kHeadBytes + kEndBytes, encoder.samples());
    print_remarks(path, input);
    return loss;
}

}  // namespace

bool run_report(const Arguments& arguments)
{
    const std::vector<std::string> files = sounds_of(some_words(arguments));
    const std::optional<std::string> drawn = arguments.text("--picture");
    if (drawn && files.size() != 1) throw WrongUse("--picture is of one sound file");
    if (drawn && same_file(*drawn, files[0])) throw WrongUse(files[0] + " would be overwritten");
    EnvelopeBook book = book_of(arguments);
    const int block = block_of(arguments);
    std::optional<OutputFile> out;
    if (drawn) out.emplace(*drawn);
    std::optional<Picture> picture;
    if (drawn) picture.emplace(file_name(files[0]));

    std::fputs(CodingLoss::heading().c_str(), stdout);
    CodingLoss all;
    std::size_t done = 0;
    FileProgress progress(files.size());
    for (const std::string& file : files) {
        try {
            const CodingLoss loss =
                about(file, [&] { return loss_of(file, book, block, picture ? &*picture : nullptr, progress); });
            std::fputs(loss.line(file).c_str(), stdout);
            all.add(loss);
            ++done;
        } catch (const Failure& failure) {
            std::fflush(stdout);
            complain(failure.what());
        }
        progress.end();
    }
    if (done > 1) std::fputs(all.line("all of them").c_str(), stdout);
    if (out && done == 1) {
        out->write(picture->svg());
        out->commit();
    }
    return done == files.size();
}

bool run_train(const Arguments& arguments)
{
    const std::vector<std::string> files = sounds_of(some_words(arguments));
    const std::string to = output_of(arguments);
    for (const std::string& file : files)
        if (same_file(file, to)) throw WrongUse(file + " would be overwritten");
    OutputFile out(to);
    // Codes do not matter yet: any book serves.
    EnvelopeBook any = EnvelopeBook::own();
    std::vector<LineSpectrum> spectra;
    FileProgress progress(files.size());
    for (const std::string& file : files) {
        about(file, [&] {
            SpeechInput input(file, kRate, block_of(arguments));
            Encoder encoder(any, [&](const Frame& frame, const Measured& measured) {
                if (measured.sound && frame.level > 0) spectra.push_back(measured.lines);
            });
            progress.begin(file, input);
            encode_all(input, encoder, [&] { progress.at(input); });
            print_remarks(file, input);
        });
        progress.end();
    }
    const EnvelopeBook book = EnvelopeBook::train(spectra);
    out.write(book.text());
    const bool shown = !out.direct();
    out.commit();
    if (shown)
        std::printf("%s: %d codewords for each of %d parts, from %zu frames of %zu files\n", to.c_str(),
                    kCodewords, kEnvelopeParts, spectra.size(), files.size());
    return true;
}

}  // namespace zelsr::examples
