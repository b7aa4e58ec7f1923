// Trains codebooks on the features of sound, and codes features by them: whole rows, or rows in parts.
#include <algorithm>
#include <cstdio>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "common/arguments.h"
#include "common/failure.h"
#include "common/feature_writers.h"
#include "common/mfcc_arguments.h"
#include "common/output_file.h"
#include "common/program.h"
#include "common/text.h"
#include "quantise/trainer.h"

namespace zelsr::examples {
namespace {

constexpr std::string_view kUsage =
    "usage: quantise train FILES... -o BOOK [--size N,...] [--bits N] [--split A,B,...] [OPTION...]\n"
    "       quantise compare FILES... [--bits N,...] [--split A,B,...] [OPTION...]\n"
    "       quantise measure BOOK FILES...\n"
    "       quantise encode BOOK FILE -o CODES\n"
    "       quantise decode BOOK CODES -o FEATURES\n"
    "       quantise --help\n";

constexpr std::string_view kHelp =
    "\n"
    "Trains codebooks on features of sound, and codes features by the codewords nearest to them.\n"
    "FILES are sound files, or features as examples/features writes them (.npy, .htk, .mfc,\n"
    ".fea). An output stays as it was until the new one is whole.\n"
    "\n"
    "  train        a codebook, and what coding by it takes from its files and others\n"
    "  compare      at like numbers of bits, codebooks of whole rows beside those of parts\n"
    "  measure      what coding by BOOK takes from FILES\n"
    "  encode       the codes of a file, packed into bits\n"
    "  decode       features from codes: .npy; of sound also .csv, .htk, .mfc or .fea\n"
    "\n"
    "  -o FILE            where the result goes\n"
    "  --list FILE        more files, one name a line\n"
    "  --size N,...       codewords of each part, or one number for all (default 256)\n"
    "  --bits N           instead: bits of a row, shared out among the parts; compare takes\n"
    "                     several numbers (default 4,8,12,16,24)\n"
    "  --split A,B,...    parts of so many columns, with a codebook each\n"
    "  --hold-out N       every Nth file is not trained on, but measured; 0: none (default 4)\n"
    "  --rows N           train on so many rows at most, evenly spaced (default 20000)\n"
    "  --grow BY          split next the cluster of largest radius or population (default)\n"
    "  --weights W        of squared differences: none (default), or variance: 1 over each\n"
    "                     column's\n"
    "  --help             this text\n"
    "\n"
    "Features of sound files, for train and compare; a codebook keeps them:\n";

constexpr std::string_view kHelpEnd = "\nExit status: 0 done, 1 failed, 2 wrong use.\n";

const std::string& word(const Arguments& arguments, std::size_t place, const char* what)
{
    if (arguments.words().size() <= place) throw WrongUse(std::string("no ") + what + " given");
    return arguments.words()[place];
}

std::string output(const Arguments& arguments, const FileNames& kept)
{
    const std::optional<std::string> out = arguments.text("-o");
    if (!out) throw WrongUse("-o says where the result goes");
    for (const std::string& name : kept)
        if (same_file(*out, name)) throw WrongUse(name + " would be overwritten");
    return *out;
}

Book book_of(const std::string& path)
{
    return with_name(path, [&] { return Book::parse(read_file(path)); });
}

std::vector<PartSize> sizes_of(const Trainer& trainer, const std::optional<Numbers>& sizes,
                               const std::optional<Numbers>& bits)
{
    if (bits) {
        const std::vector<PartSize> shared = trainer.shared(bits->front(), trainer.widths());
        if (shared.empty())
            throw Failure("there are too few rows for " + std::to_string(bits->front()) +
                          " bits: " + std::to_string(trainer.rows()));
        return shared;
    }
    const Numbers given = sizes.value_or(Numbers{256});
    const std::size_t parts = trainer.widths().size();
    if (given.size() != 1 && given.size() != parts)
        throw WrongUse("--size has " + std::to_string(given.size()) + " numbers for " + std::to_string(parts) +
                       " parts");
    std::vector<PartSize> result;
    std::int32_t first = 0;
    for (std::size_t p = 0; p < parts; ++p) {
        result.push_back({first, trainer.widths()[p], given[given.size() == 1 ? 0 : p]});
        first += trainer.widths()[p];
    }
    return result;
}

void run_train(const Arguments& arguments)
{
    const std::string out = output(arguments, files_of(arguments, 0));
    const std::optional<Numbers> sizes = numbers(arguments, "--size", kMostCodewords);
    const std::optional<Numbers> bits = numbers(arguments, "--bits", kMostBitsOfPart * kMostWidth);
    if (sizes && bits) throw WrongUse("take --size or --bits");
    if (bits && bits->size() > 1) throw WrongUse("--bits takes one number here");
    OutputFile file(out);
    const Trainer trainer(arguments);
    const Book book = trainer.train(sizes_of(trainer, sizes, bits));
    const bool shown = !file.direct();  // what goes to the standard output stays clean
    file.write(book.text());
    file.commit();
    if (!shown) return;
    std::printf("%s: %s, trained on %d rows of %d values\n\n", out.c_str(), book.summary().c_str(), trainer.rows(),
                book.kind().width);
    std::fwrite(kTableHead.data(), 1, kTableHead.size(), stdout);
    trainer.print(file_name(out), book);
}

// Static values and each order of derivatives, or halves.
Numbers usual_parts(const FeatureKind& kind)
{
    const int parts = kind.from_sound && kind.mfcc.derivatives > 0 ? kind.mfcc.derivatives + 1 : 2;
    if (kind.width < parts) throw Failure("a row of one value has no parts");
    Numbers widths;
    for (int p = 0; p < parts; ++p) widths.push_back(kind.width * (p + 1) / parts - kind.width * p / parts);
    return widths;
}

void run_compare(const Arguments& arguments)
{
    const Numbers all_bits =
        numbers(arguments, "--bits", kMostBitsOfPart * kMostWidth).value_or(Numbers{4, 8, 12, 16, 24});
    const Trainer trainer(arguments);
    const std::int32_t width = trainer.kind().width;
    const Numbers widths = arguments.text("--split") ? trainer.widths() : usual_parts(trainer.kind());
    std::string split_name = std::to_string(widths[0]);
    for (std::size_t p = 1; p < widths.size(); ++p) split_name += '+' + std::to_string(widths[p]);

    std::fwrite(kTableHead.data(), 1, kTableHead.size(), stdout);
    for (const std::int32_t bits : all_bits) {
        const auto try_out = [&](const Numbers& parts, const std::string& columns) {
            const std::vector<PartSize> sizes = trainer.shared(bits, parts);
            if (sizes.empty()) {
                std::printf("%s too few rows for %d bits: %d\n", padded(columns, -37).c_str(), bits,
                            trainer.rows());
                return;
            }
            const Book book = trainer.train(sizes);
            trainer.print(columns + ": " + book.summary(), book);
        };
        try_out({width}, std::to_string(width));
        try_out(widths, split_name);
    }
}

void run_measure(const Arguments& arguments)
{
    const Book book = book_of(word(arguments, 0, "codebook"));
    const FileNames files = files_of(arguments, 1);
    std::fwrite(kTableHead.data(), 1, kTableHead.size(), stdout);
    print_row(file_name(arguments.words()[0]), book, std::to_string(files.size()), distortion_of(book, files));
}

void run_encode(const Arguments& arguments)
{
    const std::string path = word(arguments, 0, "codebook"), in = word(arguments, 1, "file");
    if (arguments.words().size() > 2) throw WrongUse("encode takes one file");
    const std::string out = output(arguments, {path, in});
    const Book book = book_of(path);
    OutputFile file(out);
    CodeWriter writer(book, file);
    std::vector<std::uint8_t> codes;
    Encoder encoder(book, codes);
    const auto hand_on = [&] {
        writer.write({reinterpret_cast<const char*>(codes.data()), codes.size()});
        codes.clear();
    };
    read_all(
        {in}, book.kind(), "codebook", file_name(in), true,
        [&](const RowBlock<float>& rows) {
            encoder.add(rows);
            hand_on();
        },
        [](std::size_t) {});
    encoder.finish();
    hand_on();
    const Distortion& found = encoder.distortion();
    writer.finish(found.rows());
    const bool shown = !file.direct();
    file.commit();
    if (!shown) return;
    std::printf("%s: %lld frames in %lld bytes, %d bits a frame", out.c_str(),
                static_cast<long long>(found.rows()), static_cast<long long>(writer.bytes()), book.bits());
    if (book.kind().from_sound) std::printf(", %s bits a second", bits_a_second(book).c_str());
    if (found.rows() > 0)
        std::printf("; squared error %s, %s dB below the variance; %s frames a second", error_text(found).c_str(),
                    decibels(found).c_str(), fixed(found.rows_a_second(), 0).c_str());
    std::printf("\n");
}

// For .npy files only the width counts.
MfccOptions options_of(const FeatureKind& kind, Format format)
{
    if (kind.from_sound) return kind.mfcc;
    if (format != Format::Npy)
        throw Failure("the codebook is one of feature files, which do not tell what its columns are: write .npy");
    MfccOptions options;
    options.cepstra = kind.width;
    options.energy = Energy::None;
    options.derivatives = 0;
    return options;
}

void run_decode(const Arguments& arguments)
{
    const std::string path = word(arguments, 0, "codebook"), in = word(arguments, 1, "codes");
    if (arguments.words().size() > 2) throw WrongUse("decode takes one file");
    const std::string out = output(arguments, {path, in});
    const Format format = format_of_ending(out);
    const Book book = book_of(path);
    OutputFile file(out);
    const auto writer = make_writer<float>(format, options_of(book.kind(), format), file);
    const std::int64_t rows = with_name(in, [&] {
        CodeReader reader(in, book);
        for (RowBlock<float> block = reader.read(); block.rows > 0; block = reader.read()) writer->write(block);
        return reader.rows();
    });
    writer->finish();
    const bool shown = !file.direct();
    file.commit();
    if (shown)
        std::printf("%s: %lld frames of %d values\n", out.c_str(), static_cast<long long>(rows),
                    book.kind().width);
}

struct Command {
    std::string_view name;
    bool trains;                       // takes the options of Trainer and those of mfcc_arguments.h
    std::vector<std::string> options;  // with values
    void (*run)(const Arguments&);
};

const std::vector<Command>& commands()
{
    static const std::vector<Command> all = {
        {"train", true, {"-o", "--size"}, run_train}, {"compare", true, {}, run_compare},
        {"measure", false, {"--list"}, run_measure},  {"encode", false, {"-o"}, run_encode},
        {"decode", false, {"-o"}, run_decode},
    };
    return all;
}

bool run(const std::vector<std::string>& words)
{
    if (words.empty()) throw WrongUse("no command given");
    const auto command = std::find_if(commands().begin(), commands().end(),
                                      [&](const Command& one) { return one.name == words[0]; });
    if (command == commands().end()) throw WrongUse("'" + words[0] + "' is no command");
    std::vector<std::string> options = command->options;
    if (command->trains) {
        options.insert(options.end(),
                       {"--list", "--bits", "--split", "--hold-out", "--rows", "--grow", "--weights"});
        const std::vector<std::string> more = mfcc_option_names();
        options.insert(options.end(), more.begin(), more.end());
    }
    command->run(Arguments({words.begin() + 1, words.end()}, options, {}));
    return true;
}

}  // namespace
}  // namespace zelsr::examples

int main(int count, char** arguments)
{
    using namespace zelsr::examples;
    const Program program{"quantise", kUsage, std::string(kHelp).append(kMfccHelp).append(kHelpEnd)};
    return run_program(program, count, arguments, run);
}
