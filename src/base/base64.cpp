#include "base/base64.h"

#include "base/hugepages.h"

#include <array>
#include <cstdint>
#include <string_view>

namespace base {

namespace {

constexpr std::uint8_t noDigit = 64;

// The value of each character of the base64 alphabet (RFC 4648 section 4).
constexpr std::array<std::uint8_t, 256> makeDigits()
{
    constexpr std::string_view alphabet =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::array<std::uint8_t, 256> digits = {};
    for (std::uint8_t &digit : digits) {
        digit = noDigit;
    }
    for (std::size_t i = 0; i < alphabet.size(); ++i) {
        digits[static_cast<std::uint8_t>(alphabet[i])] = static_cast<std::uint8_t>(i);
    }
    return digits;
}

constexpr std::array<std::uint8_t, 256> digitValues = makeDigits();

std::uint32_t digitOf(ushort character)
{
    return character < digitValues.size() ? digitValues[character] : noDigit;
}

// Three bytes from the low 24 bits.
char *putThree(char *out, std::uint32_t bits)
{
    *out++ = static_cast<char>(bits >> 16U);
    *out++ = static_cast<char>(bits >> 8U);
    *out++ = static_cast<char>(bits);
    return out;
}

// The usual case, four digits in a row. Returns the first position from which the next four
// characters are not all digits.
const ushort *takeFours(const ushort *in, const ushort *end, char **out)
{
    for (; end - in >= 4; in += 4) {
        const std::uint32_t a = digitOf(in[0]);
        const std::uint32_t b = digitOf(in[1]);
        const std::uint32_t c = digitOf(in[2]);
        const std::uint32_t d = digitOf(in[3]);
        if (((a | b | c | d) & noDigit) != 0) {
            break;
        }
        *out = putThree(*out, a << 18U | b << 12U | c << 6U | d);
    }
    return in;
}

} // namespace

QByteArray decodedBase64(const QString &text)
{
    QByteArray bytes((text.size() / 4 + 1) * 3, Qt::Uninitialized);
    preferHugePages(bytes.constData(), bytes.size());
    char *out = bytes.data();
    const ushort *in = text.utf16();
    const ushort *const end = in + text.size();
    std::uint32_t bits = 0;
    int digits = 0; // in `bits`, not yet written
    while (in != end) {
        if (digits == 0 && end - in >= 4) {
            const ushort *const before = in;
            in = takeFours(in, end, &out);
            if (in != before) {
                continue;
            }
        }
        const std::uint32_t digit = digitOf(*in++);
        if (digit == noDigit) {
            continue;
        }
        bits = bits << 6U | digit;
        if (++digits == 4) {
            out = putThree(out, bits);
            bits = 0;
            digits = 0;
        }
    }
    if (digits > 1) { // two digits hold a byte, three hold two
        *out++ = static_cast<char>(bits >> (digits == 2 ? 4U : 10U));
    }
    if (digits > 2) {
        *out++ = static_cast<char>(bits >> 2U);
    }
    bytes.truncate(static_cast<int>(out - bytes.constData()));
    return bytes;
}

} // namespace base
