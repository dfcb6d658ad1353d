#pragma once

#include <QByteArray>
#include <QString>
#include <QTemporaryDir>

// Sets the application's identity, so that settings go to this test program's own store, and
// empties that store. Call it first in initTestCase().
void useOwnSettings();

// Stores a folder as the work folder, for the next request.
void setWorkFolder(const QString &folder);

// A new, empty work folder, deleted with this object.
class OwnWorkFolder
{
public:
    OwnWorkFolder();

    [[nodiscard]] QString path() const;
    [[nodiscard]] QString filePath(const QString &name) const;
    [[nodiscard]] QStringList names() const; // of everything in it, sorted

private:
    QTemporaryDir m_folder;
};

// The whole content of a file; empty, with a warning, for a missing one.
[[nodiscard]] QByteArray contentOf(const QString &path);

// Creates a file with this content, or overwrites it.
void makeFile(const QString &path, const QByteArray &content = {});
