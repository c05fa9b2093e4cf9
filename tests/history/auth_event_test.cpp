#include "fp_utils/auth_event.h"

#include <gtest/gtest.h>

#include <tuple>

#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

using testing::LogCapture;

constexpr time_t kTime = 0x67a1b2c3;  // 2025-02-04 06:25:07 UTC
const std::string kStamp = "2025-02-04 06:25:07 ";

AuthEventG7 Event(int8_t info, bool ok = false, uint32_t rc = 0) {
    AuthEventG7 e;
    e.time = kTime, e.acquired_info = info, e.auth_successful = ok, e.rc = rc;
    e.fid = -7, e.latency = 150, e.iq = 60, e.t_cov = 87.256f, e.t_dist = 1.5f;
    e.lptw = 4000000000u, e.rawmean_delta = -250, e.metric_3 = -5, e.match_score = 4321;
    for (int i = 0; i < 5; ++i) e.stitch_img_num_[i] = i + 1, e.stitch_img_area_[i] = -(i + 10);
    return e;
}

TEST(AuthEventText, DebugLineByAcquiredInfo) {
    struct Case {
        int8_t info;
        bool ok;
        std::string tail;
    } cases[] = {
        {1, true, "auth_successful:1, fid:-7, latency:150, iq:60"},
        {1, false, "auth_successful:0, fid:-7, latency:150, iq:60"},
        {0, false, "acquisition_error:UNKNOWN"},
        {3, false, "acquisition_error:INSUFFICIENT"},
        {14, false, "acquisition_error:POWER_PRESS"},
        {15, false, "acquisition_error:15"},
        {-2, false, "acquisition_error:-2"},
    };
    for (const Case& c : cases) {
        AuthEvent base = Event(c.info, c.ok);
        EXPECT_EQ(base.AuthEvent::ToDebugString(), kStamp + c.tail);
    }
}

TEST(AuthEventText, G7DebugLineShowsStitchFiguresOrTheReason) {
    const std::string head = kStamp + "auth_successful:1, fid:-7, latency:150, iq:60, rc:";
    const std::string figures =
        ", lptw:4000000000, t_cov:87%, t_dist:1.5mm, rawmean_delta:-250, match_score:4321";
    EXPECT_EQ(
        Event(1, true).ToDebugString(),
        head + "0" + figures + ", stitch_img_num_:1_2_3_4_5, stitch_img_area_:-10_-11_-12_-13_-14");
    EXPECT_EQ(Event(1, true, 1014).ToDebugString(),
              head + "1014" + figures + ", reason:Low quality");
    EXPECT_EQ(
        Event(2, false, 1014).ToDebugString(),
        kStamp + "acquisition_error:PARTIAL, rc:1014, lptw:4000000000, t_cov:87%, t_dist:1.5mm");
    EXPECT_EQ(Event(3).ToDebugString(),
              kStamp + "acquisition_error:INSUFFICIENT, rc:0, lptw:4000000000");
}

TEST(AuthEventText, FailureReasonsInOrder) {
    AuthEventG7 e;
    auto reason = [&e](uint32_t rc, int32_t delta) {
        e.rc = rc;
        e.rawmean_delta = delta;
        return e.GetAuthFailureReason();
    };
    const std::tuple<uint32_t, int32_t, std::string> cases[] = {
        {1164, 0, "Too Dark"},    {1013, -1001, "Too Dark"}, {1013, -1000, "Image Partial"},
        {1014, 0, "Low quality"}, {1137, 0, "Spoof"},        {1138, 0, "Residual"},
        {1513, 0, "Too bright"},  {0, 0, "Off target"}};
    for (const auto& [rc, delta, text] : cases) EXPECT_EQ(reason(rc, delta), "reason:" + text);

    e.metric_1 = 225220215;
    e.metric_2 = 83205205;
    e.metric_3 = 119999999;
    EXPECT_EQ(reason(7, 0), "reason:Partial off target");
    e.metric_3 = 120000000;
    EXPECT_EQ(reason(7, 0), "reason:Unknown");
    e.foreign_matter = 1;
    EXPECT_EQ(reason(7, 0), "reason:Foreign matter");
    // One below each of the six thresholds is off target; a negative part counts as large.
    for (int32_t* metric : {&e.metric_1, &e.metric_2}) {
        for (int32_t below : {1000000, 1000, 1}) {
            *metric -= below;
            EXPECT_EQ(reason(7, 0), "reason:Off target") << *metric;
            *metric += below;
        }
    }
    e.metric_1 = -225220215;
    EXPECT_EQ(reason(7, 0), "reason:Foreign matter");
}

TEST(AuthEventBackup, FormatsAndRoundTrips) {
    AuthEvent base = Event(-2, true);
    base.fid = 2;
    EXPECT_EQ(base.AuthEvent::ToBackupString(), "0x67a1b2c3,0xfffffffe,0x1,0x2,0x96,0x3c");

    AuthEventG7 original = Event(1, true, 1138);
    std::string text = original.ToBackupString();
    EXPECT_EQ(text,
              "0x67a1b2c3,0x1,0x1,0xfffffff9,0x96,0x3c,87.26,1.50,4000000000,0x472,0xffffff06,"
              "0x0,0x0,0xfffffffb,0x0,0x0,0x10e1,0x1,0x2,0x3,0x4,0x5,0xfffffff6,0xfffffff5,"
              "0xfffffff4,0xfffffff3,0xfffffff2");
    AuthEventG7 loaded;
    ASSERT_TRUE(loaded.LoadFromBackupString(text));
    EXPECT_EQ(loaded.ToBackupString(), original.ToBackupString());
    EXPECT_FLOAT_EQ(loaded.t_cov, 87.26f);  // two decimals kept
    EXPECT_EQ(loaded.GetClassName(), "AuthEventG7");

    // The base parser takes the low byte of the code, any non-zero flag, and cuts its part.
    std::string rest = "0x1,0x1ff,0x7,0x0,0x0,0x0,tail";
    AuthEvent plain;
    ASSERT_TRUE(plain.LoadFromBackupString(rest));
    EXPECT_EQ(plain.acquired_info, -1);
    EXPECT_TRUE(plain.auth_successful);
    EXPECT_EQ(rest, ",tail");
    EXPECT_EQ(plain.GetClassName(), "AuthEvent");
}

TEST(AuthEventBackup, RefusedTextsAreLogged) {
    LogCapture log;
    const std::string sig = "[virtual bool android::fp_utils::AuthEvent";
    auto only_line = [&log](const char* tag) {
        auto lines = log.Lines(tag);
        log.Clear();
        return lines.size() == 1 && lines[0].priority == ANDROID_LOG_ERROR ? lines[0].text : "";
    };
    AuthEvent e = Event(1, true);
    std::string text = "0x1,0x3,0x0,0x9";
    EXPECT_FALSE(e.LoadFromBackupString(text));
    EXPECT_EQ(e.time, kTime);  // time, code and flag stay; scanned fields changed
    EXPECT_TRUE(e.auth_successful);
    EXPECT_EQ(e.fid, 9);
    EXPECT_EQ(only_line("AuthEvent")
                  .rfind(sig + "::LoadFromBackupString(std::string &)] failed "
                               "to parse str:'0x1,0x3,0x0,0x9' with error ",
                         0),
              0u);

    // One stitch value missing: the base part loads, the G7 scan fails.
    text = Event(1).ToBackupString();
    text.erase(text.rfind(','));
    AuthEventG7 g7;
    EXPECT_FALSE(g7.LoadFromBackupString(text));
    EXPECT_EQ(g7.time, kTime);
    EXPECT_EQ(only_line("AuthEventG7")
                  .find(sig + "G7::LoadFromBackupString(std::string &)] failed "
                              "to parse str:',87.26,"),
              0u);
    text = "garbage";
    EXPECT_FALSE(g7.LoadFromBackupString(text));
    EXPECT_EQ(only_line("AuthEventG7"),
              sig + "G7::LoadFromBackupString(std::string &)] AuthEvent failed to load 'garbage'");
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
