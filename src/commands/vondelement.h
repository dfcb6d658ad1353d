#pragma once

#include "tool/claimedpaths.h"

#include <QString>

namespace base {
class JsonText;
} // namespace base

namespace commands {

// One element of the request's argument array, read.
struct VondElement
{
    enum class Kind
    {
        Literal, // text is the argument
        ReturnFile, // text is what stands before the marker, name the file that is wanted back
        InputFile, // name and base64 content of a file that comes along
        Neither // an element that is refused
    };

    Kind kind = Kind::Neither;
    QString text;
    QString name;
    QString base64;
};

[[nodiscard]] VondElement readVondElement(const base::JsonText &element);

// A file that the client wants back: the argument for the tool and the name to fetch it by.
struct ReturnFile
{
    QString argument;
    QString key;
};

// Gives the wanted file a name in the folder that is free, and nobody else's while the claims live.
// The file is not made. A name that one request asks for twice is one file.
[[nodiscard]] ReturnFile
reserveReturnFile(const VondElement &element, const QString &folder, tool::ClaimedPaths *claims);

} // namespace commands
