// Paints the demo picture: an evening landscape with everything that is hard for a colour
// conversion (smooth skies, saturated hues, deep shadows, fine lines). Usage: demoimage OUTPUT.jpg
// Every pixel comes from the functions below; nothing is read in. Built and run by make-demo-image.

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>
#include <vips/vips8>

namespace {

constexpr int width = 6000;
constexpr int height = 4000;
constexpr double pi = 3.14159265358979323846;
constexpr double shore = 0.655; // all positions are fractions of the picture's height
constexpr double right = double(width) / height;

struct Colour
{
    double r;
    double g;
    double b;
};

Colour operator+(const Colour &a, const Colour &b)
{
    return {a.r + b.r, a.g + b.g, a.b + b.b};
}

Colour operator*(const Colour &c, double f)
{
    return {c.r * f, c.g * f, c.b * f};
}

Colour mix(const Colour &a, const Colour &b, double part)
{
    const double t = std::clamp(part, 0.0, 1.0);
    return a * (1 - t) + b * t;
}

double smooth(double from, double to, double x)
{
    const double t = std::clamp((x - from) / (to - from), 0.0, 1.0);
    return t * t * (3 - 2 * t);
}

// A fixed random number from 0 to 1 for a grid point.
double grain(std::int64_t x, std::int64_t y, std::uint64_t seed)
{
    std::uint64_t h = static_cast<std::uint64_t>(x) * 0x9e3779b97f4a7c15U
        ^ static_cast<std::uint64_t>(y) * 0xc2b2ae3d27d4eb4fU ^ seed * 0x165667b19e3779f9U;
    h = (h ^ (h >> 29)) * 0xbf58476d1ce4e5b9U;
    h = (h ^ (h >> 32)) * 0x94d049bb133111ebU;
    return static_cast<double>((h ^ (h >> 31)) >> 11) / 9007199254740992.0;
}

double noise(double x, double y, std::uint64_t seed)
{
    const double left = std::floor(x);
    const double top = std::floor(y);
    const auto i = static_cast<std::int64_t>(left);
    const auto j = static_cast<std::int64_t>(top);
    const double s = smooth(0, 1, x - left);
    const double t = smooth(0, 1, y - top);
    const double above = grain(i, j, seed) * (1 - s) + grain(i + 1, j, seed) * s;
    const double below = grain(i, j + 1, seed) * (1 - s) + grain(i + 1, j + 1, seed) * s;
    return above * (1 - t) + below * t;
}

double fractal(double x, double y, int octaves, std::uint64_t seed)
{
    double sum = 0;
    double weight = 0.5;
    for (int i = 0; i < octaves; ++i) {
        sum += weight * noise(x, y, seed + static_cast<std::uint64_t>(i));
        x = x * 2.03 + 17.1;
        y = y * 2.03 + 5.7;
        weight *= 0.5;
    }
    return sum;
}

Colour hsv(double hue, double saturation, double value)
{
    const auto channel = [&](double shift) {
        const double k = std::fmod(hue * 6 + shift, 6.0);
        return value * (1 - saturation * std::clamp(std::min(k, 4 - k), 0.0, 1.0));
    };
    return {channel(5), channel(3), channel(1)};
}

constexpr double sunX = 0.98;
constexpr double sunY = 0.322;

Colour sky(double x, double y)
{
    const Colour zenith{0.07, 0.17, 0.42};
    const Colour middle{0.36, 0.52, 0.76};
    const Colour low{0.98, 0.74, 0.50};
    Colour c = y < 0.34 ? mix(zenith, middle, smooth(-0.05, 0.36, y))
                        : mix(middle, low, smooth(0.28, 0.58, y));
    c = mix(c, {0.93, 0.62, 0.58}, 0.55 * std::exp(-std::pow((y - 0.40) / 0.10, 2)));

    const double toSun = std::hypot(x - sunX, (y - sunY) * 1.15);
    c = c + Colour{1.0, 0.62, 0.22} * (0.75 * std::exp(-toSun / 0.16));
    c = mix(c, {1.0, 0.97, 0.82}, 1 - smooth(0.036, 0.040, toSun));

    // Long streaks low, heaps of cloud higher up.
    const double bend = fractal(x * 1.5, y * 3, 3, 90) * 0.6;
    const double heaps = fractal(x * 2.6 + bend, y * 7.5 + bend, 7, 11);
    const double streaks = fractal(x * 1.7 + bend, y * 26, 6, 23);
    const double cover = smooth(0.50, 0.72, heaps) * smooth(0.46, 0.10, y)
        + 0.8 * smooth(0.52, 0.75, streaks) * smooth(0.22, 0.42, y);
    const double lit = fractal(x * 2.6 + bend, y * 7.5 + bend + 0.22, 5, 11);
    const Colour shade = mix({0.52, 0.52, 0.70}, {0.88, 0.56, 0.50}, smooth(0.1, 0.5, y));
    const Colour light = mix({1.0, 0.95, 0.90}, {1.0, 0.78, 0.52}, smooth(0.1, 0.5, y));
    return mix(c, mix(light, shade, smooth(0.38, 0.62, lit)), 0.92 * std::min(cover, 1.0));
}

struct Range
{
    double foot;
    double rise;
    double frequency;
    double haze;
    std::uint64_t seed;
};

double ridge(const Range &range, double x)
{
    double sum = 0;
    double weight = 0.55;
    double at = x * range.frequency;
    for (int i = 0; i < 9; ++i) {
        const double n = noise(at, 0.5, range.seed + static_cast<std::uint64_t>(i));
        sum += weight * (i < 4 ? 1 - std::abs(2 * n - 1) : n);
        at = at * 2.1 + 3.3;
        weight *= 0.46;
    }
    return range.foot - range.rise * sum;
}

Colour mountain(const Range &range, double x, double y, double top)
{
    const double depth = y - top;
    const double folds = fractal(x * 14 + depth * 9, y * 30 - depth * 12, 6, range.seed + 50);
    Colour rock = mix({0.07, 0.11, 0.17}, {0.34, 0.27, 0.30}, smooth(0.32, 0.66, folds));
    if (range.haze > 0.3 && range.haze < 0.7) { // snow lies on the high ones
        const double snow =
            smooth(0.085, 0.02, depth + (folds - 0.5) * 0.12) * smooth(0.50, 0.40, top);
        rock = mix(rock, mix({0.60, 0.64, 0.82}, {1.0, 0.88, 0.80}, folds * 1.3), snow);
    }
    if (range.haze < 0.2) { // woods on the near ones
        const double trees = fractal(x * 160, y * 90, 3, range.seed + 70);
        rock = mix({0.015, 0.06, 0.055}, {0.10, 0.20, 0.09}, smooth(0.3, 0.75, trees));
    }
    const Colour haze =
        mix({0.62, 0.60, 0.76}, {1.0, 0.74, 0.52}, std::exp(-std::pow((x - sunX) / 0.55, 2)));
    return mix(rock, haze, std::min(range.haze + 1.3 * depth * range.haze, 0.96));
}

Colour land(double x, double y)
{
    static const std::array<Range, 5> ranges{{{0.600, 0.27, 1.3, 0.80, 301},
                                              {0.640, 0.36, 1.9, 0.52, 402},
                                              {0.660, 0.22, 2.3, 0.38, 533},
                                              {0.670, 0.15, 2.9, 0.16, 604},
                                              {0.675, 0.085, 4.5, 0.05, 725}}};
    for (auto range = ranges.rbegin(); range != ranges.rend(); ++range) {
        const double top = ridge(*range, x);
        if (y > top) {
            return mountain(*range, x, y, top);
        }
    }
    return sky(x, y);
}

struct Balloon
{
    double x;
    double y;
    double radius;
    double firstHue;
    double hues; // fraction of the hue circle
    int gores;
};

// True if the balloon covers the point; then sets its colour.
bool paintBalloon(const Balloon &balloon, double x, double y, Colour &colour)
{
    const double dx = (x - balloon.x) / balloon.radius;
    const double dy = (y - balloon.y) / balloon.radius;
    const double half =
        dy < 0.35 ? std::sqrt(std::max(0.0, 1 - dy * dy)) : 0.9367 - (dy - 0.35) * 0.70;
    if (dy > -1 && dy < 1.30 && std::abs(dx) < half) {
        const double around = std::asin(std::clamp(dx / half, -1.0, 1.0)) / pi + 0.5;
        const double gore = std::floor(around * balloon.gores) / (balloon.gores - 1);
        const double hue = std::fmod(balloon.firstHue + gore * balloon.hues + 1, 1.0);
        const double within = std::fmod(around * balloon.gores, 1.0);
        const double seam = 0.86 + 0.14 * std::sin(within * pi);
        const double band = std::abs(dy - 0.18) < 0.10 ? 0.25 : 1;
        const double light = 0.50 + 0.50 * std::clamp(0.55 + 0.6 * dx - 0.30 * dy, 0.0, 1.0);
        colour = hsv(hue, 0.94 * band, 1.0) * (light * seam);
        const double shine = std::exp(-(std::pow(dx - 0.42, 2) + std::pow(dy + 0.42, 2)) / 0.05);
        colour = mix(colour, {1, 0.96, 0.88}, 0.55 * shine);
        return true;
    }
    const bool rope =
        dy >= 1.30 && dy < 1.62 && (std::abs(std::abs(dx) - 0.22 + (dy - 1.3) * 0.2) < 0.012);
    const bool basket = dy >= 1.60 && dy < 1.86 && std::abs(dx) < 0.19;
    if (rope || basket) {
        const double weave = std::sin(dx * 90) * std::sin(dy * 90) > 0 ? 1.0 : 0.72;
        colour = Colour{0.36, 0.22, 0.11} * (basket ? weave : 0.8);
        return true;
    }
    return false;
}

Colour scene(double x, double y)
{
    static const std::array<Balloon, 6> balloons{{{0.46, 0.205, 0.118, 0.0, 0.92, 12},
                                                  {1.22, 0.155, 0.074, 0.52, 0.30, 9},
                                                  {0.165, 0.330, 0.046, 0.08, 0.10, 7},
                                                  {0.815, 0.345, 0.036, 0.78, 0.18, 7},
                                                  {1.385, 0.395, 0.027, 0.28, 0.20, 7},
                                                  {0.66, 0.435, 0.016, 0.95, 0.15, 5}}};
    Colour colour{};
    for (const Balloon &balloon : balloons) {
        if (paintBalloon(balloon, x, y, colour)) {
            return colour;
        }
    }
    return land(x, y);
}

Colour lake(double x, double y)
{
    const double near = (y - shore) / (1 - shore);
    const double wave = fractal(x * 9 / (0.15 + near), 26 / (0.06 + near), 4, 800) - 0.47;
    const double swell = fractal(x * 30 / (0.2 + near), 160 / (0.12 + near), 3, 850) - 0.44;
    const double mirrored =
        shore - (y - shore) * 1.05 + (wave * 0.06 + swell * 0.02) * (0.2 + near);
    Colour c = scene(x + (wave * 0.03 + swell * 0.02) * near, std::min(mirrored, shore - 0.001));
    c = mix(c * 0.84, {0.05, 0.16, 0.28}, 0.18 + 0.30 * near);
    const double path = std::exp(-std::pow((x - sunX) / (0.03 + 0.10 * near), 2));
    const double glitter = smooth(0.02, 0.22, swell + 0.6 * wave) * path;
    return mix(c, {1.0, 0.86, 0.60}, 0.85 * glitter);
}

double bankTop(double x)
{
    return 0.905 + 0.035 * std::sin(x * 2.1 + 0.6) + 0.03 * (fractal(x * 3, 2, 5, 900) - 0.5);
}

// Grass and flowers at the painter's feet.
bool paintBank(double x, double y, Colour &colour)
{
    const double lean = fractal(x * 5, y * 4, 2, 930) * 0.03;
    const double blade = fractal((x + lean + y * 0.12) * 210, y * 14, 2, 910);
    const double top = bankTop(x) - 0.022 * blade;
    if (y < top) {
        return false;
    }
    const double depth = (y - top) / 0.12;
    colour =
        mix({0.05, 0.13, 0.04}, {0.42, 0.50, 0.12}, smooth(0.30, 0.72, blade) * (1 - 0.5 * depth));
    colour = mix(colour, {0.02, 0.05, 0.04}, smooth(0.1, 1.3, depth) * 0.6);

    constexpr double cell = 0.029;
    const auto column = static_cast<std::int64_t>(std::floor(x / cell));
    const auto row = static_cast<std::int64_t>(std::floor(y / cell));
    if (grain(column, row, 950) < 0.42) {
        const double fx =
            x / cell - static_cast<double>(column) - 0.3 - 0.4 * grain(column, row, 951);
        const double fy = y / cell - static_cast<double>(row) - 0.3 - 0.4 * grain(column, row, 952);
        const double size = 0.12 + 0.14 * grain(column, row, 953);
        const double petals = size * (0.72 + 0.28 * std::cos(5 * std::atan2(fy, fx)));
        const double far = std::hypot(fx, fy * 1.25);
        if (far < petals && depth > 0.06) {
            const std::array<double, 5> hues{0.0, 0.14, 0.78, 0.92, 0.60};
            const double hue = hues.at(static_cast<std::size_t>(grain(column, row, 954) * 5));
            colour = far < size * 0.28 ? Colour{0.98, 0.85, 0.15}
                                       : hsv(hue, 0.88, 0.70 + 0.30 * far / size);
        }
    }
    return true;
}

// The sign with the test patterns: 0 to 1 across and down.
constexpr double signLeft = 0.075;
constexpr double signTop = 0.700;
constexpr double signWidth = 0.34;
constexpr double signHeight = 0.195;

Colour signFace(double x, double y)
{
    const Colour paper{0.965, 0.955, 0.930};
    // Left: the wheel of hues.
    const double wx = (x - signLeft - 0.086) / 0.076;
    const double wy = (y - signTop - 0.0975) / 0.076;
    const double far = std::hypot(wx, wy);
    if (far < 1) {
        const double hue = std::fmod(std::atan2(wy, wx) / (2 * pi) + 1, 1.0);
        return far < 0.80
            ? hsv(hue, far / 0.80, 1.0)
            : hsv(std::floor(hue * 24) / 24, 1.0, 0.35 + 0.65 * std::fmod(hue * 24, 1.0));
    }
    // Right: ramps, patches and lines in rows.
    const double across = (x - signLeft - 0.180) / 0.146;
    const double down = (y - signTop - 0.070) / 0.112;
    if (across < 0 || across > 1 || down < 0 || down > 1) {
        return paper;
    }
    const double row = down * 4;
    if (row < 0.9) {
        return Colour{1, 1, 1} * across;
    }
    if (row > 1 && row < 1.9) {
        const double gray = std::floor(across * 11) / 10;
        return Colour{1, 1, 1} * std::min(gray, 1.0);
    }
    if (row > 2 && row < 2.9) {
        static const std::array<Colour, 8> patches{{{1, 0, 0},
                                                    {0, 1, 0},
                                                    {0, 0, 1},
                                                    {0, 1, 1},
                                                    {1, 0, 1},
                                                    {1, 1, 0},
                                                    {0.87, 0.66, 0.53},
                                                    {0.36, 0.25, 0.20}}};
        return patches.at(static_cast<std::size_t>(std::min(across * 8, 7.0)));
    }
    if (row > 3 && row < 3.9) { // lines that get finer to the right
        const double phase = 14 * across + 26 * across * across;
        return std::fmod(phase, 1.0) < 0.5 ? Colour{0.05, 0.05, 0.06} : paper;
    }
    return paper;
}

bool paintSign(double x, double y, Colour &colour)
{
    const double dx = std::max({signLeft - x, x - signLeft - signWidth, 0.0});
    const double dy = std::max({signTop - y, y - signTop - signHeight, 0.0});
    const double outside = std::hypot(dx, dy);
    const bool inside = outside == 0;
    if (inside) {
        colour = signFace(x, y);
        return true;
    }
    const bool post = y > signTop
        && (std::abs(x - signLeft - 0.05) < 0.008
            || std::abs(x - signLeft - signWidth + 0.05) < 0.008);
    if (outside < 0.009 || post) {
        const double wood = fractal(x * 40, y * 260, 4, 990);
        colour = mix({0.22, 0.13, 0.07}, {0.52, 0.34, 0.18}, wood);
        return true;
    }
    return false;
}

Colour picture(double x, double y)
{
    Colour colour{};
    if (paintBank(x, y, colour)) {
        return colour;
    }
    if (paintSign(x, y, colour)) {
        return colour;
    }
    return y > shore ? lake(x, y) : scene(x, y);
}

std::uint8_t level(double light)
{
    return static_cast<std::uint8_t>(std::lround(std::clamp(light, 0.0, 1.0) * 255));
}

// Two by two samples per pixel, for smooth edges.
std::vector<std::uint8_t> paint()
{
    std::vector<std::uint8_t> bytes(std::size_t(width) * height * 3);
    for (int y = 0; y < height; ++y) {
        for (int x = 0; x < width; ++x) {
            Colour sum{};
            for (const double sy : {0.25, 0.75}) {
                for (const double sx : {0.25, 0.75}) {
                    sum = sum + picture((x + sx) / height, (y + sy) / height) * 0.25;
                }
            }
            std::uint8_t *const pixel = &bytes[(std::size_t(y) * width + std::size_t(x)) * 3];
            pixel[0] = level(sum.r);
            pixel[1] = level(sum.g);
            pixel[2] = level(sum.b);
        }
        if (y % 200 == 0) {
            std::fprintf(stderr, "%d%%\n", y * 100 / height);
        }
    }
    return bytes;
}

vips::VImage
write(const vips::VImage &image, const char *text, const char *font, int dpi, double x, double y)
{
    const vips::VImage mask =
        vips::VImage::text(text, vips::VImage::option()->set("font", font)->set("dpi", dpi));
    const auto left = static_cast<int>(x * height);
    const auto top = static_cast<int>(y * height);
    const vips::VImage area = image.extract_area(left, top, mask.width(), mask.height());
    const vips::VImage ink = (area * 0 + std::vector<double>{24, 28, 52}).cast(VIPS_FORMAT_UCHAR);
    return image.insert(
        mask.ifthenelse(ink, area, vips::VImage::option()->set("blend", true)), left, top);
}

} // namespace

int main(int argc, char *argv[])
{
    if (argc != 2 || VIPS_INIT(argv[0]) != 0) {
        std::fprintf(stderr, "Usage: demoimage OUTPUT.jpg\n");
        return 1;
    }
    try {
        std::vector<std::uint8_t> bytes = paint();
        vips::VImage image = vips::VImage::new_from_memory(
            bytes.data(), bytes.size(), width, height, 3, VIPS_FORMAT_UCHAR);
        image = image.copy(vips::VImage::option()->set("interpretation", VIPS_INTERPRETATION_sRGB));
        image =
            write(image, "vondServer", "DejaVu Serif Bold", 540, signLeft + 0.180, signTop + 0.014);
        image = write(image,
                      "The quick brown fox jumps over the lazy dog. 0123456789 (demo picture)",
                      "DejaVu Sans",
                      88,
                      signLeft + 0.181,
                      signTop + 0.053);
        image.jpegsave(argv[1], vips::VImage::option()->set("Q", 84)->set("optimize_coding", true));
    } catch (const vips::VError &error) {
        std::fprintf(stderr, "%s\n", error.what());
        return 1;
    }
    vips_shutdown();
    return 0;
}
