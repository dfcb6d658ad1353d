#pragma once

#include "sampletool/failure.h"
#include "sampletool/iccprofile.h"

#include <mutex>
#include <string>
#include <variant>
#include <vector>

namespace sample {

enum class Format
{
    Tiff,
    Jpeg,
    Png
};

// The format that an output's suffix asks for; a name without suffix asks for TIFF.
[[nodiscard]] std::variant<Format, Failure> formatFor(const std::string &path, ColourSpace space);

// The name to write under where the caller has left the name to the tool: another suffix where the
// one asked for cannot hold the colours, photo.tif for photo.png in CMYK; else the same.
[[nodiscard]] std::string nameThatHolds(const std::string &path, ColourSpace space);

// photo.tif, photo_1.tif, photo_2.tif: the number goes before the last dot of the file name.
[[nodiscard]] std::string numberedPath(const std::string &path, int number);

// The files of this run that do not bear their final name yet. What is left is removed at the end.
// Any thread may call.
class TemporaryFiles
{
public:
    TemporaryFiles() = default;
    ~TemporaryFiles();
    TemporaryFiles(const TemporaryFiles &) = delete;
    TemporaryFiles &operator=(const TemporaryFiles &) = delete;

    // An empty file in the folder of the output.
    [[nodiscard]] std::variant<std::string, Failure> create(const std::string &output);

    // Removes all files. None can be made after this.
    void removeAll();

private:
    std::mutex m_mutex;
    std::vector<std::string> m_paths;
    bool m_closed = false;
};

// Gives a finished file its name and returns that name. With increment an existing file is never
// touched, whoever makes it and however late: the first free number is taken.
[[nodiscard]] std::variant<std::string, Failure>
publish(const std::string &temporary, const std::string &output, bool increment);

} // namespace sample
