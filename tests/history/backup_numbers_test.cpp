#include "history/backup_numbers.h"

#include <gtest/gtest.h>

#include <cinttypes>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <vector>

namespace android {
namespace fp_utils {
namespace {

std::string Printed(const char* format, double value) {
    char buf[64];
    snprintf(buf, sizeof(buf), format, value);
    return buf;
}

// Every writer against printf, on edges and random values.
TEST(BackupNumbersDifferential, WritersMatchPrintf) {
    std::mt19937_64 rng(5);
    std::vector<uint64_t> integers = {0, 1, 9, 10, 15, 16, 0xFFFFFFFFu, 0xFFFFFFFFFFFFFFFFull};
    for (int i = 0; i < 2000; ++i) integers.push_back(rng() >> (rng() % 64));
    for (uint64_t v : integers) {
        char buf[32];
        char expected[32];
        *AppendHex(buf, v) = '\0';
        snprintf(expected, sizeof(expected), "%" PRIx64, v);
        ASSERT_STREQ(expected, buf);
        *AppendDecimal(buf, static_cast<uint32_t>(v)) = '\0';
        snprintf(expected, sizeof(expected), "%u", static_cast<uint32_t>(v));
        ASSERT_STREQ(expected, buf);
    }
    // Ties of the exact binary value (0.125, 0.375, 2.5 hundredths), values just below a
    // rounding step, signed zeros and tiny negatives that print as "-0.00".
    std::vector<float> floats = {0.0f,    -0.0f,   0.125f,    0.375f,     -0.125f,   0.025f,
                                 0.005f,  -0.001f, 1e-30f,    -1e-30f,    2.675f,    80.5f,
                                 99.995f, 1e12f,   9.999e12f, -9.999e12f, 0.015625f, 1.005f};
    std::uniform_real_distribution<float> unit(-200.0f, 200.0f);
    for (int i = 0; i < 20000; ++i) floats.push_back(unit(rng));
    for (int i = 0; i < 2000; ++i) floats.push_back(std::round(unit(rng) * 800.0f) / 8.0f);
    for (float v : floats) {
        char buf[64];
        char* end = AppendFixed2(buf, v);
        ASSERT_NE(nullptr, end) << v;
        *end = '\0';
        ASSERT_EQ(Printed("%.2f", v), buf) << "bits of the value " << std::hexfloat << v;
    }
    char buf[64];
    for (float v : {1e13f, -1e20f, std::numeric_limits<float>::infinity(),
                    std::numeric_limits<float>::quiet_NaN()}) {
        EXPECT_EQ(nullptr, AppendFixed2(buf, v)) << v;
    }
}

// Each reader on texts in and out of the common form: where it reads, it reads what sscanf
// reads and stops where sscanf stops; it never reads a text that sscanf would read otherwise.
TEST(BackupNumbersDifferential, ReadersAgreeWithScanfOrDecline) {
    struct Case {
        const char* text;
        bool common;
    };
    const Case hex[] = {{"0x0,", true},          {"0x1aF,", true},  {"0xffffffff,", true},
                        {"0x123456789,", false}, {"0x0x5,", false}, {"0x0X5,", false},
                        {"0x -5,", false},       {"0x+5,", false},  {"0x,", false},
                        {"0xg,", false},         {"x5,", false},    {"0x00000000,", true},
                        {"0x5", true},           {"0x0", true},     {"0x", false}};
    for (const Case& c : hex) {
        TextCursor cursor{c.text, c.text + strlen(c.text)};
        uint64_t fast = 0;
        EXPECT_EQ(c.common, ReadHexField(cursor, 8, &fast)) << c.text;
        if (!c.common) continue;
        unsigned plain = 0;
        int consumed = 0;
        ASSERT_EQ(1, sscanf(c.text, "0x%x%n", &plain, &consumed)) << c.text;
        EXPECT_EQ(plain, fast) << c.text;
        EXPECT_EQ(consumed, cursor.p - c.text) << c.text;
    }
    const Case fixed[] = {{"80.50,", true},       {"-3.25,", true},      {"-0.00,", true},
                          {"167772.15,", true},   {"167772.16,", false}, {"1.5,", false},
                          {"1.505,", false},      {"1.50e3,", false},    {"+1.50,", false},
                          {" 1.50,", false},      {"inf,", false},       {".50,", false},
                          {"12345678.00,", false}};
    for (const Case& c : fixed) {
        TextCursor cursor{c.text, c.text + strlen(c.text)};
        float fast = 0;
        EXPECT_EQ(c.common, ReadFixed2Field(cursor, &fast)) << c.text;
        if (!c.common) continue;
        float plain = 0;
        ASSERT_EQ(1, sscanf(c.text, "%f", &plain)) << c.text;
        EXPECT_EQ(0, memcmp(&plain, &fast, sizeof(float))) << c.text;
        EXPECT_EQ(',', *cursor.p) << c.text;
    }
    // Every two-decimal text up to 167772.15 reads as sscanf reads it; a sample of them.
    std::mt19937 rng(9);
    for (int i = 0; i < 100000; ++i) {
        const uint32_t n = i < 50000 ? static_cast<uint32_t>(i) : rng() % (1u << 24);
        char text[32];
        snprintf(text, sizeof(text), "%s%u.%02u,", i % 2 ? "-" : "", n / 100, n % 100);
        TextCursor cursor{text, text + strlen(text)};
        float fast = 0;
        float plain = 0;
        ASSERT_TRUE(ReadFixed2Field(cursor, &fast)) << text;
        ASSERT_EQ(1, sscanf(text, "%f", &plain));
        ASSERT_EQ(0, memcmp(&plain, &fast, sizeof(float))) << text;
    }
    const Case decimal[] = {{"0,", true},   {"123456789,", true}, {"1234567890,", false},
                            {"-1,", false}, {"+1,", false},       {" 1,", false}};
    for (const Case& c : decimal) {
        TextCursor cursor{c.text, c.text + strlen(c.text)};
        uint32_t fast = 0;
        EXPECT_EQ(c.common, ReadDecimalField(cursor, &fast)) << c.text;
        unsigned plain = 0;
        if (!c.common) continue;
        ASSERT_EQ(1, sscanf(c.text, "%u", &plain)) << c.text;
        EXPECT_EQ(plain, fast) << c.text;
    }
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
