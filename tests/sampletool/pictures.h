#pragma once

#include <QByteArray>
#include <QString>

// Pictures and profiles for the tests of the sample tool.
namespace pictures {

void start(); // once per program

// The bytes of a profile built into libvips.
QByteArray profile(const char *name);

enum class Kind
{
    Rgb,
    Rgb16,
    RgbAlpha,
    Gray,
    Cmyk
};

// Dark to light, all hues from pale to saturated, and the steps of a colour cube. The suffix of the
// path determines the format; with an empty profile, the picture has none.
void writeColourful(const QString &path, Kind kind, const QByteArray &profile = {});

// One plain colour: many pixels, but a small file.
void writeLargePlain(const QString &path, int width, int height, bool interlaced);

struct Pixels
{
    int width = 0;
    int height = 0;
    int bands = 0;
    QByteArray bytes; // one per channel
    QByteArray profile;
};

Pixels read(const QString &path);

// -1 when the sizes differ.
int largestDifference(const Pixels &a, const Pixels &b);

} // namespace pictures
