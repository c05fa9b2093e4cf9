#include "history/backup_numbers.h"

#include <cmath>
#include <cstring>

namespace android {
namespace fp_utils {
namespace {

// The value of each hexadecimal digit character; -1 for any other character.
struct HexTable {
    int8_t value[256];

    constexpr HexTable() : value() {
        for (int c = 0; c < 256; ++c) {
            value[c] = c >= '0' && c <= '9'   ? static_cast<int8_t>(c - '0')
                       : c >= 'a' && c <= 'f' ? static_cast<int8_t>(c - 'a' + 10)
                       : c >= 'A' && c <= 'F' ? static_cast<int8_t>(c - 'A' + 10)
                                              : -1;
        }
    }
};

constexpr HexTable kHex;

int HexValue(char c) {
    return kHex.value[static_cast<uint8_t>(c)];
}

bool IsDigit(char c) {
    return c >= '0' && c <= '9';
}

}  // namespace

namespace {

// Two decimal digits per value below 100.
struct DecimalPairs {
    char pair[100][2];

    constexpr DecimalPairs() : pair() {
        for (int v = 0; v < 100; ++v) {
            pair[v][0] = static_cast<char>('0' + v / 10);
            pair[v][1] = static_cast<char>('0' + v % 10);
        }
    }
};

constexpr DecimalPairs kDecimalPairs;

}  // namespace

char* AppendDecimal(char* out, uint32_t value) {
    char digits[10];
    size_t n = 0;
    do {
        digits[n++] = static_cast<char>('0' + value % 10);
        value /= 10;
    } while (value != 0);
    while (n > 0) *out++ = digits[--n];
    return out;
}

// The float times 100 is exact in double (24 + 7 significant bits), so rounding it to an
// integer in the default rounding mode (to nearest, ties to even) rounds the exact binary
// value as printf does. The sign is printed whenever the sign bit is set, as printf does for
// -0.0 and for small negative values that round to zero.
char* AppendFixed2(char* out, float value) {
    if (!std::isfinite(value) || std::fabs(value) >= 1e13f) return nullptr;
    const uint64_t n =
        static_cast<uint64_t>(std::nearbyint(std::fabs(static_cast<double>(value) * 100.0)));
    if (std::signbit(value)) *out++ = '-';
    // The whole part two digits at a time from its end; a leading zero of an odd count goes.
    char digits[16];
    char* const end = digits + sizeof(digits);
    char* p = end;
    uint64_t whole = n / 100;
    do {
        p -= 2;
        memcpy(p, kDecimalPairs.pair[whole % 100], 2);
        whole /= 100;
    } while (whole != 0);
    if (*p == '0') ++p;
    memcpy(out, p, static_cast<size_t>(end - p));
    out += end - p;
    *out++ = '.';
    memcpy(out, kDecimalPairs.pair[n % 100], 2);
    return out + 2;
}

bool ReadHexField(TextCursor& text, size_t max_digits, uint64_t* value) {
    const char* p = text.p;
    const char* end = text.end;
    if (end - p < 3 || p[0] != '0' || p[1] != 'x') return false;
    p += 2;
    // A leading "0x" after the field's own "0x" would be read by scanf as a prefix.
    if (end - p >= 2 && p[0] == '0' && (p[1] == 'x' || p[1] == 'X')) return false;
    // One digit more than allowed is looked at, to tell a long field from a short one.
    const char* const first = p;
    const char* const stop = static_cast<size_t>(end - p) > max_digits ? p + max_digits + 1 : end;
    uint64_t v = 0;
    for (; p != stop; ++p) {
        const int d = HexValue(*p);
        if (d < 0) break;
        v = (v << 4) | static_cast<uint64_t>(d);
    }
    const size_t digits = static_cast<size_t>(p - first);
    if (digits == 0 || digits > max_digits) return false;
    *value = v;
    text.p = p;
    return true;
}

bool ReadDecimalField(TextCursor& text, uint32_t* value) {
    const char* p = text.p;
    uint32_t v = 0;
    size_t digits = 0;
    for (; p != text.end && IsDigit(*p); ++p, ++digits) {
        if (digits == 9) return false;
        v = v * 10 + static_cast<uint32_t>(*p - '0');
    }
    if (digits == 0) return false;
    *value = v;
    text.p = p;
    return true;
}

// n hundredths with n below 2^24: n and 100 are exact floats, and a quotient of two floats
// formed in double and then rounded to float is the correctly rounded float quotient, which
// is what scanf's decimal conversion gives for the text.
bool ReadFixed2Field(TextCursor& text, float* value) {
    const char* p = text.p;
    const char* end = text.end;
    const bool negative = p != end && *p == '-';
    if (negative) ++p;
    uint32_t n = 0;
    size_t digits = 0;
    for (; p != end && IsDigit(*p); ++p, ++digits) {
        if (digits == 7) return false;
        n = n * 10 + static_cast<uint32_t>(*p - '0');
    }
    if (digits == 0 || end - p < 3 || p[0] != '.' || !IsDigit(p[1]) || !IsDigit(p[2])) {
        return false;
    }
    n = n * 100 + static_cast<uint32_t>(p[1] - '0') * 10 + static_cast<uint32_t>(p[2] - '0');
    p += 3;
    // A third decimal or an exponent would go on with the number.
    if (p != end && (IsDigit(*p) || *p == 'e' || *p == 'E')) return false;
    if (n >= (1u << 24)) return false;
    const float magnitude = static_cast<float>(static_cast<double>(n) / 100.0);
    *value = negative ? -magnitude : magnitude;
    text.p = p;
    return true;
}

}  // namespace fp_utils
}  // namespace android
