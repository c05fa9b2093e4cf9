// The number forms of backup strings and record heads, read and written without the C
// library's formatted input and output.
//
// Writers produce exactly what printf produces for "%x", "%lx", "%u" and, for the values they
// accept, "%.2f". Readers accept only the common form of a field, exactly as the library's own
// writers produce it: for "0x%x" the text "0x" and one to eight hexadecimal digits, the first
// of which is not a "0" followed by "x" or "X"; for "%u" one to nine decimal digits; for "%f"
// an optional "-", one to seven digits, "." and two digits, worth less than 2^24 hundredths.
// Within that form they give what scanf gives. Any other text (blanks, signs, prefixes, long
// fields, other float forms) makes a reader fail without side effects, and its caller hands
// the whole text to the plain scanf path, which decides.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>

namespace android {
namespace fp_utils {

// Appends lowercase hexadecimal without padding; returns the end. Writes 8 bytes at `out`
// (16 for values of 2^32 and more) whatever the digit count: the buffer must have that room.
inline char* AppendHex(char* out, uint64_t value);
// Appends decimal; returns the end.
char* AppendDecimal(char* out, uint32_t value);
// Appends `value` as "%.2f" prints it and returns the end, or returns nullptr (writing
// nothing) when the value is not finite or not below 10^13 in magnitude.
char* AppendFixed2(char* out, float value);

// A cursor over text that ends at `end` or at the first NUL, as a C string would.
struct TextCursor {
    const char* p;
    const char* end;

    bool AtEnd() const { return p == end || *p == '\0'; }
    bool Take(char c) {
        if (AtEnd() || *p != c) return false;
        ++p;
        return true;
    }
};

// "0x" and up to `max_digits` hexadecimal digits (8 for 32-bit fields, 16 for 64-bit).
bool ReadHexField(TextCursor& text, size_t max_digits, uint64_t* value);
// One to nine decimal digits.
bool ReadDecimalField(TextCursor& text, uint32_t* value);
// An optional "-", one to seven digits, "." and two digits.
bool ReadFixed2Field(TextCursor& text, float* value);

namespace backup_numbers_internal {

static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__, "hexadecimal digits are stored as a word");

// The eight hexadecimal digits of `value`, most significant first, as the bytes of a
// little-endian word: each nibble is spread to a byte of its own, and a byte holding 10 or
// more gets the distance from '9' + 1 to 'a' added.
inline uint64_t HexWord(uint32_t value) {
    uint64_t v = value;
    v = ((v & 0xFFFF0000u) << 16) | (v & 0xFFFFu);
    v = ((v & 0x0000FF000000FF00ull) << 8) | (v & 0x000000FF000000FFull);
    v = ((v & 0x00F000F000F000F0ull) << 4) | (v & 0x000F000F000F000Full);
    v = __builtin_bswap64(v);
    const uint64_t letters = ((v + 0x0606060606060606ull) >> 4) & 0x0101010101010101ull;
    return v + 0x3030303030303030ull + letters * ('a' - '0' - 10);
}

// The last `digits` (1 to 8) digits of `value`, stored as a whole word.
inline char* StoreHexDigits(char* out, uint32_t value, unsigned digits) {
    const uint64_t word = HexWord(value) >> (8 * (8 - digits));
    memcpy(out, &word, sizeof(word));
    return out + digits;
}

inline unsigned HexDigitCount(uint32_t value) {
    return (32 - static_cast<unsigned>(__builtin_clz(value | 1)) + 3) / 4;
}

}  // namespace backup_numbers_internal

inline char* AppendHex(char* out, uint64_t value) {
    using namespace backup_numbers_internal;
    const uint32_t high = static_cast<uint32_t>(value >> 32);
    const uint32_t low = static_cast<uint32_t>(value);
    if (high == 0) return StoreHexDigits(out, low, HexDigitCount(low));
    out = StoreHexDigits(out, high, HexDigitCount(high));
    return StoreHexDigits(out, low, 8);
}

}  // namespace fp_utils
}  // namespace android
