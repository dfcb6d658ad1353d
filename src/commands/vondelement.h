#pragma once

#include "tool/claimedpaths.h"

#include <QString>

namespace base {
class JsonText;
} // namespace base

namespace commands {

// One parsed element of the request's argument array.
struct VondElement
{
    enum class Kind
    {
        Literal, // text is the argument
        ReturnFile, // text precedes the marker, name is the file that is wanted back
        InputFile, // name and base64 content of an attached file
        Neither // to be rejected
    };

    Kind kind = Kind::Neither;
    QString text;
    QString name;
    QString base64;
};

[[nodiscard]] VondElement readVondElement(const base::JsonText &element);

// A file that the client wants back: the tool's argument and the name to fetch it by.
struct ReturnFile
{
    QString argument;
    QString key;
};

// Gives the wanted file a free name in the folder, reserved as long as the claims live. Does not
// create the file. A name that one request asks for twice is one file.
[[nodiscard]] ReturnFile
reserveReturnFile(const VondElement &element, const QString &folder, tool::ClaimedPaths *claims);

} // namespace commands
