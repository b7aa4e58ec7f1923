// Writes a file so that one of that name stays whole until the new one is complete.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace zelsr::examples {

// Written beside its place under another name, which commit() changes to its own; without commit(), by a failure,
// nothing is left behind. What exists and is no regular file of some name (a pipe, a device, the standard output
// in a file that has been deleted) is written directly. Every member throws Failure if the system refuses.
class OutputFile {
  public:
    explicit OutputFile(const std::string& path);
    // The standard output, wherever it leads: written directly.
    enum class Standard { Output };
    explicit OutputFile(Standard);
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;
    ~OutputFile();

    void write(std::string_view bytes);
    void write_at_start(std::string_view bytes);  // over what was written there; the last write before commit()
    void flush();                                 // what was written leaves at once
    void commit();

    // For writers that move about in the file. They keep an eye on errors themselves, and say so by fail().
    std::FILE* stream() const { return file_; }
    [[noreturn]] void fail(const std::string& reason) const;

    bool direct() const { return written_as_.empty(); }

  private:
    std::string path_;        // as the user gave it
    std::string place_;       // behind symbolic links
    std::string written_as_;  // the name beside; empty if there is none
    std::FILE* file_ = nullptr;
};

// Throws Failure if the file cannot be written in full.
void write_file(const std::string& path, std::string_view content);

// True if both names lead to one existing file.
bool same_file(const std::string& first, const std::string& second);

// The same for outputs, of which none may exist yet.
bool same_output(const std::string& first, const std::string& second);

}  // namespace zelsr::examples
