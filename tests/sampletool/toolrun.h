#pragma once

#include <QByteArray>
#include <QList>
#include <QString>
#include <QStringList>

QString toolPath();

struct ToolRun
{
    int exitCode = -1; // -1: did not end on its own
    QByteArray out;
    QByteArray err;
    QList<QByteArray> chunks; // standard output in chunks, as read
};

// Runs the built tool to its end. A reader that pauses waits before each chunk.
ToolRun runTool(const QStringList &arguments, unsigned long readerPauseMs = 0);
