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

// The format for an output's suffix; TIFF for a name without one.
[[nodiscard]] std::variant<Format, Failure> formatFor(const std::string &path, ColourSpace space);

// The name to write to if the tool may choose: with another suffix if the requested format cannot
// hold the colours (photo.tif for photo.png in CMYK), otherwise the same.
[[nodiscard]] std::string nameThatHolds(const std::string &path, ColourSpace space);

// photo.tif, photo_1.tif, photo_2.tif: the number goes before the last dot in the file name.
[[nodiscard]] std::string numberedPath(const std::string &path, int number);

// The files of this run that do not have their final names yet. The rest are removed at the end.
// Any thread may call.
class TemporaryFiles
{
public:
    TemporaryFiles() = default;
    ~TemporaryFiles();
    TemporaryFiles(const TemporaryFiles &) = delete;
    TemporaryFiles &operator=(const TemporaryFiles &) = delete;

    // Creates an empty file in the output's folder.
    [[nodiscard]] std::variant<std::string, Failure> create(const std::string &output);

    // Removes all files. No more can be created afterwards.
    void removeAll();

private:
    std::mutex m_mutex;
    std::vector<std::string> m_paths;
    bool m_closed = false;
};

// Gives a finished file its name and returns that name. With increment an existing file is never
// touched, whoever creates it and however late: the first free number is used.
[[nodiscard]] std::variant<std::string, Failure>
publish(const std::string &temporary, const std::string &output, bool increment);

} // namespace sample
