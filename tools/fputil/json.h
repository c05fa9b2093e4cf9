// Just enough JSON writing for fputil's reports.
#pragma once

#include <cstddef>
#include <cstdio>
#include <string>
#include <vector>

namespace fputil {

// The length of the well-formed UTF-8 sequence at the start of `s` (`n` bytes available),
// or 0 when it does not start with one: overlong forms, surrogates and code points above
// U+10FFFF are not well formed.
inline size_t Utf8SequenceLength(const unsigned char* s, size_t n) {
    const unsigned char c = s[0];
    if (c < 0x80) return 1;
    size_t length;
    unsigned char low = 0x80, high = 0xBF;  // allowed range of the second byte
    if (c >= 0xC2 && c <= 0xDF) {
        length = 2;
    } else if (c >= 0xE0 && c <= 0xEF) {
        length = 3;
        if (c == 0xE0) low = 0xA0;
        if (c == 0xED) high = 0x9F;
    } else if (c >= 0xF0 && c <= 0xF4) {
        length = 4;
        if (c == 0xF0) low = 0x90;
        if (c == 0xF4) high = 0x8F;
    } else {
        return 0;
    }
    if (n < length || s[1] < low || s[1] > high) return 0;
    for (size_t i = 2; i < length; ++i) {
        if (s[i] < 0x80 || s[i] > 0xBF) return 0;
    }
    return length;
}

// `text` as a JSON string literal, quotes included, always valid UTF-8. Well-formed UTF-8
// passes as it is; control characters are escaped; every other byte (one that is not part
// of a well-formed UTF-8 sequence, say from a damaged record) becomes "\udcXX", XX being
// the byte in hexadecimal: the lone low surrogates U+DC80 to U+DCFF, as Python's
// "surrogateescape" error handler writes them, so the original bytes can be recovered.
inline std::string JsonString(const std::string& text) {
    std::string out = "\"";
    const auto* bytes = reinterpret_cast<const unsigned char*>(text.data());
    for (size_t i = 0; i < text.size();) {
        const unsigned char c = bytes[i];
        const size_t length = Utf8SequenceLength(bytes + i, text.size() - i);
        char escape[8];
        if (length == 0) {
            snprintf(escape, sizeof(escape), "\\udc%02x", c);
            out += escape;
            ++i;
            continue;
        }
        if (length > 1) {
            out.append(text, i, length);
            i += length;
            continue;
        }
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (c < 0x20 || c == 0x7f) {
                    snprintf(escape, sizeof(escape), "\\u%04x", c);
                    out += escape;
                } else {
                    out += static_cast<char>(c);
                }
        }
        ++i;
    }
    return out + "\"";
}

inline std::string JsonStrings(const std::vector<std::string>& items) {
    std::string out = "[";
    for (size_t i = 0; i < items.size(); ++i) {
        if (i > 0) out += ", ";
        out += JsonString(items[i]);
    }
    return out + "]";
}

}  // namespace fputil
