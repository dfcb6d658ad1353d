#pragma once

#include <QByteArray>

// The system's reasons, as messages end with them.
namespace systemtexts {

#ifdef Q_OS_WIN
constexpr int noFile = 2; // ERROR_FILE_NOT_FOUND and its kin
constexpr int noFolder = 3;
constexpr int isFolder = 5;

inline QByteArray of(int error)
{
    return qt_error_string(error).toUtf8();
}
#else
enum Error
{
    noFile,
    noFolder,
    isFolder,
    longName
};

inline QByteArray of(Error error)
{
    switch (error) {
    case isFolder:
        return "file to open is a directory";
    case longName:
        return "File name too long";
    case noFile:
    case noFolder:
        break;
    }
    return "No such file or directory";
}
#endif

} // namespace systemtexts
