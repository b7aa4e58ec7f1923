#include "common/output_file.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <optional>

#include "common/failure.h"

namespace zelsr::examples {
namespace {

// None if nothing is there, or it has no name.
std::optional<std::string> behind_links(const std::string& path)
{
    const std::unique_ptr<char, decltype(&std::free)> real(realpath(path.c_str(), nullptr), std::free);
    return real ? std::optional<std::string>(real.get()) : std::nullopt;
}

// What the system would give a new file.
mode_t new_file_mode()
{
    const mode_t mask = umask(0);
    umask(mask);
    return 0666 & ~mask;
}

}  // namespace

OutputFile::OutputFile(const std::string& path) : path_(path)
{
    const std::optional<std::string> real = behind_links(path);
    place_ = real.value_or(path);
    struct stat info {};
    const bool exists = stat(place_.c_str(), &info) == 0;
    if (exists && S_ISDIR(info.st_mode)) fail("is a directory");
    // The standard output may be a file whose name is gone: renaming would take the link's place.
    if (exists && (!S_ISREG(info.st_mode) || !real)) {
        file_ = std::fopen(place_.c_str(), "wb");
        if (file_ == nullptr) fail(system_error_text());
        return;
    }
    if (exists && access(place_.c_str(), W_OK) != 0) fail(system_error_text());
    written_as_ = place_ + ".XXXXXX";
    const int handle = mkstemp(written_as_.data());
    if (handle < 0) {
        written_as_.clear();
        fail(system_error_text());
    }
    fchmod(handle, exists ? info.st_mode & 07777 : new_file_mode());
    file_ = fdopen(handle, "wb");
    if (file_ != nullptr) return;
    const std::string reason = system_error_text();
    close(handle);
    unlink(written_as_.c_str());
    fail(reason);
}

OutputFile::OutputFile(Standard) : path_("the standard output"), file_(stdout) {}

OutputFile::~OutputFile()
{
    if (file_ == nullptr || file_ == stdout) return;
    std::fclose(file_);
    if (!direct()) unlink(written_as_.c_str());
}

void OutputFile::fail(const std::string& reason) const { throw Failure("cannot write " + path_ + ": " + reason); }

void OutputFile::write(std::string_view bytes)
{
    if (std::fwrite(bytes.data(), 1, bytes.size(), file_) != bytes.size()) fail(system_error_text());
}

void OutputFile::write_at_start(std::string_view bytes)
{
    if (std::fseek(file_, 0, SEEK_SET) != 0) fail(system_error_text());
    write(bytes);
}

void OutputFile::flush()
{
    if (std::fflush(file_) != 0) fail(system_error_text());
}

void OutputFile::commit()
{
    if (file_ == stdout) {
        flush();
        return;
    }
    std::FILE* file = file_;
    file_ = nullptr;
    if (std::fclose(file) == 0 && (direct() || std::rename(written_as_.c_str(), place_.c_str()) == 0)) return;
    const std::string reason = system_error_text();
    if (!direct()) unlink(written_as_.c_str());
    fail(reason);
}

void write_file(const std::string& path, std::string_view content)
{
    OutputFile file(path);
    file.write(content);
    file.commit();
}

bool same_file(const std::string& first, const std::string& second)
{
    struct stat a {
    }, b{};
    return stat(first.c_str(), &a) == 0 && stat(second.c_str(), &b) == 0 && a.st_dev == b.st_dev &&
           a.st_ino == b.st_ino;
}

bool same_output(const std::string& first, const std::string& second)
{
    const auto place = [](const std::string& name) {
        std::error_code none;
        const std::filesystem::path full = std::filesystem::absolute(name, none);
        return std::filesystem::weakly_canonical(full, none);
    };
    return first == second || same_file(first, second) || (place(first) == place(second) && !place(first).empty());
}

}  // namespace zelsr::examples
