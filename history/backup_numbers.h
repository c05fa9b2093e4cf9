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

namespace android {
namespace fp_utils {

// Appends lowercase hexadecimal without padding; returns the end.
char* AppendHex(char* out, uint64_t value);
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

}  // namespace fp_utils
}  // namespace android
