#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

// Sets the application's identity, so that settings go to the store that is this test program's
// own, and empties that store. Call it first in initTestCase().
void useOwnSettings();

// Stores a folder as the work folder, where the next request finds it.
void setWorkFolder(const QString &folder);

// A new, empty work folder, deleted with this object.
class OwnWorkFolder
{
public:
    OwnWorkFolder();

    [[nodiscard]] QString path() const;
    [[nodiscard]] QString filePath(const QString &name) const;
    [[nodiscard]] QStringList names() const; // of all that lies in it, sorted

private:
    QTemporaryDir m_folder;
};

// The whole content of a file; a missing one reads as empty, with a warning.
[[nodiscard]] QByteArray contentOf(const QString &path);

// Makes a file with this content, or empties and refills it.
void makeFile(const QString &path, const QByteArray &content = {});
