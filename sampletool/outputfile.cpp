#include "sampletool/outputfile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <optional>
#include <unistd.h>

namespace sample {
namespace {

namespace fs = std::filesystem;

constexpr mode_t newFileMode = 0666; // less the umask

std::string lowerCase(std::string text)
{
    for (char &c : text) {
        if (c >= 'A' && c <= 'Z') {
            c = static_cast<char>(c - 'A' + 'a');
        }
    }
    return text;
}

std::optional<Format> formatOfSuffix(const std::string &suffix)
{
    // A lone dot is not a suffix: outputs are planned like that for inputs without one.
    if (suffix.empty() || suffix == "." || suffix == ".tif" || suffix == ".tiff") {
        return Format::Tiff;
    }
    if (suffix == ".jpg" || suffix == ".jpeg") {
        return Format::Jpeg;
    }
    if (suffix == ".png") {
        return Format::Png;
    }
    return std::nullopt;
}

Failure cannotWrite(const std::string &output, int problem)
{
    return {"'" + output + "' cannot be written: " + std::strerror(problem) + '.', {}};
}

// Zero, or the error number. Never replaces anything.
int renameToFreeName(const std::string &from, const std::string &to)
{
    if (::link(from.c_str(), to.c_str()) == 0) {
        (void)::unlink(from.c_str()); // the file already has its final name
        return 0;
    }
    if (errno != EPERM && errno != EOPNOTSUPP) {
        return errno;
    }
    // A file system without hard links.
    return ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE) == 0 ? 0
                                                                                            : errno;
}

} // namespace

std::string nameThatHolds(const std::string &path, ColourSpace space)
{
    fs::path name(path);
    if (space != ColourSpace::Cmyk
        || formatOfSuffix(lowerCase(name.extension().string())) != Format::Png) {
        return path;
    }
    return name.replace_extension(".tif").string(); // without loss, as PNG would be
}

std::variant<Format, Failure> formatFor(const std::string &path, ColourSpace space)
{
    const std::string suffix = lowerCase(fs::path(path).extension().string());
    const std::optional<Format> format = formatOfSuffix(suffix);
    if (!format) {
        return Failure{"'" + path + "' cannot be written: '" + suffix
                           + "' is none of .tif, .tiff, .jpg, .jpeg and .png.",
                       {}};
    }
    if (*format == Format::Png && space == ColourSpace::Cmyk) {
        return Failure{"'" + path + "' cannot be written: PNG cannot hold CMYK colours.", {}};
    }
    return *format;
}

std::string numberedPath(const std::string &path, int number)
{
    const fs::path whole(path);
    fs::path numbered = whole;
    numbered.replace_filename(whole.stem().string() + '_' + std::to_string(number)
                              + whole.extension().string());
    return numbered.string();
}

TemporaryFiles::~TemporaryFiles()
{
    removeAll();
}

std::variant<std::string, Failure> TemporaryFiles::create(const std::string &output)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_closed) {
        return cannotWrite(output, ECANCELED);
    }
    for (int number = 0;; ++number) {
        fs::path candidate(output);
        candidate.replace_filename(".vond-sample-" + std::to_string(::getpid()) + '-'
                                   + std::to_string(number) + ".part");
        const int file =
            ::open(candidate.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, newFileMode);
        if (file >= 0) {
            (void)::close(file); // nothing was written, so nothing can fail
            m_paths.push_back(candidate.string());
            return m_paths.back();
        }
        if (errno != EEXIST) {
            return cannotWrite(output, errno);
        }
    }
}

void TemporaryFiles::removeAll()
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_closed = true;
    for (const std::string &path : m_paths) {
        (void)::unlink(path.c_str()); // already gone if it was published
    }
    m_paths.clear();
}

std::variant<std::string, Failure>
publish(const std::string &temporary, const std::string &output, bool increment)
{
    if (!increment) {
        if (std::rename(temporary.c_str(), output.c_str()) != 0) {
            return cannotWrite(output, errno);
        }
        return output;
    }
    std::string candidate = output;
    int problem = renameToFreeName(temporary, candidate);
    for (int number = 1; problem == EEXIST; ++number) {
        candidate = numberedPath(output, number);
        problem = renameToFreeName(temporary, candidate);
    }
    if (problem != 0) {
        return cannotWrite(output, problem);
    }
    return candidate;
}

} // namespace sample
