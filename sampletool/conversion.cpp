#include "sampletool/conversion.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <filesystem>
#include <vector>
#include <vips/vips8>

namespace sample {
namespace {

using vips::VImage;

constexpr int mostThreads = 4; // several conversions run in parallel
constexpr int outputDepth = 8; // bits per channel
constexpr int pngEffort = 6; // of 9
constexpr double whiteOf8Bit = 255;
constexpr double whiteOf16Bit = 65535;
constexpr double noInk = 0;
constexpr double bytesOfClassicTiff = 3.5e9; // beyond this the offsets need 64 bits

// Only formats whose readers have been tested with a lot of hostile input.
constexpr std::array<const char *, 3> trustedReaders{
    "VipsForeignLoadTiff", "VipsForeignLoadJpeg", "VipsForeignLoadPng"};

// A failure thrown by the functions below; convertPicture() turns it into a value.
struct Refused
{
    Failure failure;
};

void dropLogMessage(const char *, GLogLevelFlags, const char *, void *)
{
    // Library warnings must not precede "Error:" on standard error.
}

VipsIntent vipsIntent(Intent intent)
{
    switch (intent) {
    case Intent::Perceptual:
        return VIPS_INTENT_PERCEPTUAL;
    case Intent::Relative:
        return VIPS_INTENT_RELATIVE;
    case Intent::Saturation:
        return VIPS_INTENT_SATURATION;
    case Intent::Absolute:
        return VIPS_INTENT_ABSOLUTE;
    }
    return VIPS_INTENT_RELATIVE;
}

// Finding a reader ignores what is blocked.
bool isTrusted(const char *reader)
{
    const std::string name = reader ? reader : "";
    return std::any_of(trustedReaders.begin(), trustedReaders.end(), [&name](const char *trusted) {
        return name.compare(0, std::strlen(trusted), trusted) == 0;
    });
}

void checkIsFile(const std::string &path)
{
    std::error_code problem;
    const auto status = std::filesystem::status(path, problem);
    if (!std::filesystem::exists(status)) {
        throw Refused{{"The input '" + path + "' does not exist or cannot be reached.", {}}};
    }
    if (!std::filesystem::is_regular_file(status)) {
        throw Refused{{"The input '" + path + "' is not a file.", {}}};
    }
}

// Through a source, because libvips parses options in brackets in a file name.
VImage openPicture(const std::string &path)
{
    checkIsFile(path);
    const vips::VSource source = vips::VSource::new_from_file(path.c_str());
    if (!isTrusted(vips_foreign_find_load_source(source.get_source()))) {
        throw Refused{{"The input '" + path + "' cannot be read as a TIFF, JPEG or PNG picture.",
                       vips_error_buffer()}};
    }
    return VImage::new_from_source(source,
                                   "",
                                   VImage::option()
                                       ->set("access", VIPS_ACCESS_SEQUENTIAL)
                                       ->set("fail_on", VIPS_FAIL_ON_ERROR));
}

ColourSpace colourSpaceOfPixels(const VImage &image, const std::string &name)
{
    const auto interpretation = image.interpretation();
    const int colours = image.bands() - (image.has_alpha() ? 1 : 0);
    const bool depthIsKnown =
        image.format() == VIPS_FORMAT_UCHAR || image.format() == VIPS_FORMAT_USHORT;
    if (depthIsKnown && colours == 1
        && (interpretation == VIPS_INTERPRETATION_B_W
            || interpretation == VIPS_INTERPRETATION_GREY16)) {
        return ColourSpace::Gray;
    }
    if (depthIsKnown && colours == 3
        && (interpretation == VIPS_INTERPRETATION_sRGB
            || interpretation == VIPS_INTERPRETATION_RGB16)) {
        return ColourSpace::Rgb;
    }
    if (depthIsKnown && colours == 4 && interpretation == VIPS_INTERPRETATION_CMYK) {
        return ColourSpace::Cmyk;
    }
    throw Refused{
        {"The input '" + name + "' is not RGB, CMYK or gray with 8 or 16 bits per channel.", {}}};
}

// On white paper: full light for RGB and gray, no ink for CMYK.
VImage flatten(const VImage &image, ColourSpace space)
{
    const double white = image.format() == VIPS_FORMAT_USHORT ? whiteOf16Bit : whiteOf8Bit;
    const double background = space == ColourSpace::Cmyk ? noInk : white;
    return image.flatten(VImage::option()->set("background", std::vector<double>{background}));
}

bool hasProfile(const VImage &image)
{
    return image.get_typeof(VIPS_META_ICC_NAME) != 0;
}

void checkEmbeddedProfile(const VImage &image, ColourSpace pixels, const std::string &name)
{
    std::size_t size = 0;
    const auto *const data = static_cast<const char *>(image.get_blob(VIPS_META_ICC_NAME, &size));
    const auto space = colourSpaceOf(std::string(data, size), "in " + name);
    if (const auto *const failure = std::get_if<Failure>(&space)) {
        throw Refused{*failure};
    }
    if (std::get<ColourSpace>(space) != pixels) {
        throw Refused{{"The profile in '" + name + "' is for other colours than its pixels.", {}}};
    }
}

// Gray without a profile has the curve of sRGB, and so becomes sRGB with three equal channels.
VImage grayToSrgb(const VImage &image)
{
    return image.colourspace(image.format() == VIPS_FORMAT_USHORT ? VIPS_INTERPRETATION_RGB16
                                                                  : VIPS_INTERPRETATION_sRGB);
}

VImage convertColours(VImage image, ColourSpace pixels, const Recipe &recipe)
{
    auto *const options = VImage::option()
                              ->set("intent", vipsIntent(recipe.intent))
                              ->set("black_point_compensation", false)
                              ->set("depth", outputDepth);
    if (hasProfile(image)) {
        options->set("embedded", true);
    } else {
        if (pixels == ColourSpace::Gray) {
            image = grayToSrgb(image);
        }
        options->set("input_profile", pixels == ColourSpace::Cmyk ? "cmyk" : "srgb");
    }
    return image.icc_transform(recipe.profile.c_str(), options);
}

bool keepsTransparency(Format format, ColourSpace space)
{
    return format != Format::Jpeg && space != ColourSpace::Cmyk;
}

// The whole picture as a description; no pixel is computed yet.
VImage prepare(const std::string &input, Format format, const Recipe &recipe)
{
    VImage image = openPicture(input);
    const ColourSpace pixels = colourSpaceOfPixels(image, input);
    if (hasProfile(image)) {
        checkEmbeddedProfile(image, pixels, input);
    }
    if (image.has_alpha() && !keepsTransparency(format, recipe.colourSpace)) {
        image = flatten(image, pixels);
    }
    return convertColours(image, pixels, recipe);
}

void save(const VImage &image, const std::string &path, Format format, int quality)
{
    switch (format) {
    case Format::Tiff: {
        const double bytes = static_cast<double>(image.width()) * image.height() * image.bands();
        image.tiffsave(path.c_str(),
                       VImage::option()
                           ->set("compression", VIPS_FOREIGN_TIFF_COMPRESSION_LZW)
                           ->set("predictor", VIPS_FOREIGN_TIFF_PREDICTOR_HORIZONTAL)
                           ->set("bigtiff", bytes > bytesOfClassicTiff));
        return;
    }
    case Format::Jpeg:
        image.jpegsave(path.c_str(), VImage::option()->set("Q", quality));
        return;
    case Format::Png:
        image.pngsave(path.c_str(), VImage::option()->set("compression", pngEffort));
        return;
    }
}

void onEvaluation(VipsImage *image, VipsProgress *progress, void *listener)
{
    if (!(*static_cast<const ProgressListener *>(listener))(progress->percent)) {
        vips_image_set_kill(image, TRUE);
    }
}

void saveWithProgress(const VImage &image,
                      const std::string &path,
                      Format format,
                      int quality,
                      ProgressListener listener)
{
    VipsImage *const raw = image.get_image();
    vips_image_set_progress(raw, TRUE);
    const gulong connection = g_signal_connect(raw, "eval", G_CALLBACK(onEvaluation), &listener);
    try {
        save(image, path, format, quality);
    } catch (...) {
        g_signal_handler_disconnect(raw, connection);
        throw;
    }
    g_signal_handler_disconnect(raw, connection);
}

} // namespace

Imaging::Imaging()
{
    g_log_set_default_handler(dropLogMessage, nullptr);
    if (VIPS_INIT("vond-sample") != 0) {
        vips_error_exit(nullptr);
    }
    vips_cache_set_max(0); // every picture is converted only once
    vips_concurrency_set(std::min(vips_concurrency_get(), mostThreads));
    vips_operation_block_set("VipsForeignLoad", TRUE);
    for (const char *const reader : trustedReaders) {
        vips_operation_block_set(reader, FALSE);
    }
}

Imaging::~Imaging()
{
    vips_shutdown();
}

std::string imagingVersion()
{
    return vips_version_string();
}

std::optional<Failure> convertPicture(const std::string &input,
                                      const std::string &outputFile,
                                      Format format,
                                      const Recipe &recipe,
                                      const ProgressListener &listener)
{
    try {
        const VImage image = prepare(input, format, recipe);
        saveWithProgress(image, outputFile, format, recipe.quality, listener);
        return std::nullopt;
    } catch (const Refused &refused) {
        return refused.failure;
    } catch (const vips::VError &error) {
        return Failure{"'" + input + "' could not be converted.", error.what()};
    }
}

} // namespace sample
