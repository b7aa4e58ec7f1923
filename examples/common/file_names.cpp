#include "common/file_names.h"

#include <sys/stat.h>

#include <sstream>

#include "common/failure.h"
#include "common/fields.h"

namespace zelsr::examples {

FileNames listed_files(const std::string& path)
{
    FileNames files;
    std::string text;
    try {
        text = read_file(path);
    } catch (const Failure& failure) {
        throw Failure(path + ": " + failure.what());
    }
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.ends_with('\r')) line.pop_back();
        if (!line.empty() && !line.starts_with('#')) files.push_back(line);
    }
    return files;
}

std::vector<double> sizes_of(const FileNames& files)
{
    std::vector<double> sizes;
    for (const std::string& file : files) {
        struct stat info {};
        if (stat(file.c_str(), &info) != 0)
            throw Failure(file + ": " + (errno == ENOENT ? "no such file" : system_error_text()));
        sizes.push_back(static_cast<double>(info.st_size));
    }
    return sizes;
}

}  // namespace zelsr::examples
