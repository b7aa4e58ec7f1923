// Feature rows as files: text, NumPy's array format, HTK's parameter format.
#pragma once

#include <memory>
#include <string>

#include "common/mfcc.h"
#include "common/output_file.h"

namespace zelsr::examples {

enum class Format { Csv, Npy, Htk };

// The format that a path's ending names: .csv; .npy; .htk, .mfc or .fea. Throws WrongUse for others.
Format format_of_ending(const std::string& path);

// Rows go to the file as they come. Features in 16 bits, which are their values times 2^bits, keep their precision
// in every format: CSV holds the values exactly; .npy the 16-bit integers; HTK files are compressed ones, which
// scale 16-bit integers back.
template <class T>
class FeatureWriter {
  public:
    virtual ~FeatureWriter() = default;
    virtual void write(const RowBlock<T>& rows) = 0;
    virtual void finish() = 0;  // completes the header; the caller commits the file
};

template <class T>
std::unique_ptr<FeatureWriter<T>> make_writer(Format format, const MfccOptions& options, OutputFile& file);

}  // namespace zelsr::examples
