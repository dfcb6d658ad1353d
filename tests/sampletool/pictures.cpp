#include "pictures.h"

#include <QFile>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>
#include <vips/vips8>

namespace pictures {
namespace {

using vips::VImage;

constexpr int side = 256;
constexpr int cubeSteps = 16;

std::string local(const QString &path)
{
    return QFile::encodeName(path).toStdString();
}

VImage fromBytes(std::vector<unsigned char> &bytes, int bands, VipsInterpretation interpretation)
{
    const auto height = static_cast<int>(bytes.size()) / bands / side;
    const VImage borrowed =
        VImage::new_from_memory(bytes.data(), bytes.size(), side, height, bands, VIPS_FORMAT_UCHAR);
    return borrowed.copy(VImage::option()->set("interpretation", interpretation)).copy_memory();
}

unsigned char byteOf(double value)
{
    return static_cast<unsigned char>(std::lround(std::clamp(value, 0.0, 1.0) * 255));
}

void appendHue(std::vector<unsigned char> &bytes, double hue, double saturation, double value)
{
    for (const double shift : {0.0, 2.0, 4.0}) {
        const double distance = std::abs(std::fmod(hue * 6 + 6 - shift, 6.0) - 3);
        const double pure = std::clamp(distance - 1, 0.0, 1.0);
        bytes.push_back(byteOf(value * (1 - saturation * (1 - pure))));
    }
}

VImage colourfulRgb()
{
    std::vector<unsigned char> bytes;
    for (int y = 0; y < side; ++y) { // hue to the right, saturation then darkness downwards
        const double down = 2.0 * y / (side - 1);
        for (int x = 0; x < side; ++x) {
            appendHue(bytes, double(x) / side, std::min(down, 1.0), std::min(2 - down, 1.0));
        }
    }
    for (int i = 0; i < cubeSteps * cubeSteps * cubeSteps; ++i) {
        for (const int step :
             {i / cubeSteps / cubeSteps, i / cubeSteps % cubeSteps, i % cubeSteps}) {
            bytes.push_back(byteOf(double(step) / (cubeSteps - 1)));
        }
    }
    for (int y = 0; y < side; ++y) { // every pair of red and green, with every blue
        for (int x = 0; x < side; ++x) {
            bytes.insert(bytes.end(),
                         {static_cast<unsigned char>(x),
                          static_cast<unsigned char>(y),
                          static_cast<unsigned char>((x * 7 + y * 13) % 256)});
        }
    }
    return fromBytes(bytes, 3, VIPS_INTERPRETATION_sRGB);
}

VImage colourfulCmyk()
{
    const VImage rgb = colourfulRgb();
    const VImage black = rgb.extract_band(0).rot180() / 2;
    return rgb.invert()
        .bandjoin(black.cast(VIPS_FORMAT_UCHAR))
        .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_CMYK));
}

VImage colourful(Kind kind)
{
    switch (kind) {
    case Kind::Rgb:
        break;
    case Kind::Rgb16:
        return (colourfulRgb() * 257)
            .cast(VIPS_FORMAT_USHORT)
            .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_RGB16));
    case Kind::RgbAlpha:
        return colourfulRgb().bandjoin(colourfulRgb().extract_band(1).invert().rot180());
    case Kind::Gray:
        return colourfulRgb().extract_band(0).copy(
            VImage::option()->set("interpretation", VIPS_INTERPRETATION_B_W));
    case Kind::Cmyk:
        return colourfulCmyk();
    }
    return colourfulRgb();
}

} // namespace

void start()
{
    if (VIPS_INIT("sampletool-test") != 0) {
        std::abort();
    }
    vips_cache_set_max(0); // a path is read again each time
}

QByteArray profile(const char *name)
{
    VipsBlob *blob = nullptr;
    if (vips_profile_load(name, &blob, nullptr) != 0 || !blob) {
        std::abort();
    }
    std::size_t size = 0;
    const auto *const data = static_cast<const char *>(vips_blob_get(blob, &size));
    const QByteArray bytes(data, static_cast<int>(size));
    vips_area_unref(VIPS_AREA(blob));
    return bytes;
}

void writeColourful(const QString &path, Kind kind, const QByteArray &profile)
{
    const VImage image = colourful(kind).copy();
    if (!profile.isEmpty()) {
        vips_image_set_blob_copy(image.get_image(),
                                 VIPS_META_ICC_NAME,
                                 profile.constData(),
                                 static_cast<std::size_t>(profile.size()));
    }
    image.write_to_file(local(path).c_str());
}

void writeLargePlain(const QString &path, int width, int height, bool interlaced)
{
    const std::vector<double> colour{200, 60, 30};
    const VImage image =
        (VImage::black(width, height) + colour)
            .cast(VIPS_FORMAT_UCHAR)
            .copy(VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
    image.jpegsave(local(path).c_str(), VImage::option()->set("interlace", interlaced));
}

Pixels read(const QString &path)
{
    const VImage image = VImage::new_from_file(local(path).c_str());
    if (image.format() != VIPS_FORMAT_UCHAR) {
        std::abort(); // the tool writes 8 bits per channel
    }
    Pixels pixels{image.width(), image.height(), image.bands(), {}, {}};
    std::size_t size = 0;
    void *const memory = image.write_to_memory(&size);
    pixels.bytes = QByteArray(static_cast<const char *>(memory), static_cast<int>(size));
    g_free(memory);
    if (image.get_typeof(VIPS_META_ICC_NAME) != 0) {
        const auto *const data =
            static_cast<const char *>(image.get_blob(VIPS_META_ICC_NAME, &size));
        pixels.profile = QByteArray(data, static_cast<int>(size));
    }
    return pixels;
}

int largestDifference(const Pixels &a, const Pixels &b)
{
    if (a.width != b.width || a.height != b.height || a.bands != b.bands) {
        return -1;
    }
    int largest = 0;
    for (int i = 0; i < a.bytes.size(); ++i) {
        const int difference =
            static_cast<unsigned char>(a.bytes.at(i)) - static_cast<unsigned char>(b.bytes.at(i));
        largest = std::max(largest, std::abs(difference));
    }
    return largest;
}

} // namespace pictures
