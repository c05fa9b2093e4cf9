// fputil sim as a user runs it: the bundled day against its reviewed output, the same session
// as JSON, a tree that keeps what one session wrote for the next, and scenario errors.
#include <android-base/file.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <json/json.h>

#include <fstream>
#include <iterator>
#include <regex>
#include <sstream>
#include <string>

#include "host/support/temp_root.h"
#include "tests/tools/run_tool.h"

namespace android::fp_utils {
namespace {

using ::testing::HasSubstr;
using testing::RunTool;
using testing::ToolRun;

const std::string kSamples = SAMPLES_DIR;
const std::string kDay = kSamples + "/day.scenario";

ToolRun Sim(const std::vector<std::string>& args) {
    std::vector<std::string> all = {"sim"};
    all.insert(all.end(), args.begin(), args.end());
    return RunTool(FPUTIL_PATH, all);
}

std::string ReadFile(const std::string& path) {
    std::string text;
    android::base::ReadFileToString(path, &text);
    return text;
}

// A switch's measured time depends on the machine's load: it is compared as a placeholder.
std::string WithoutMeasuredTimes(const std::string& text) {
    static const std::regex kElapsed("elapsed [0-9]+ ms");
    return std::regex_replace(text, kElapsed, "elapsed N ms");
}

class FputilSimTest : public ::testing::Test {
  protected:
    host::TempRoot dir_;

    std::string Put(const std::string& name, const std::string& text) {
        const std::string path = dir_.dir() + "/" + name;
        std::ofstream(path) << text;
        return path;
    }
};

TEST_F(FputilSimTest, BundledDayMatchesItsReviewedOutput) {
    ToolRun run = Sim({kDay});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_EQ(WithoutMeasuredTimes(run.out),
              WithoutMeasuredTimes(ReadFile(kSamples + "/day.expected")))
        << "the library's behaviour changed; once reviewed, refresh the expected output with\n"
           "  build/tools/fputil/fputil sim samples/day.scenario > samples/day.expected";
}

// The JSON document holds the same session: one entry per event, in time order, the final
// dumps, and backup files whose loaded records agree with the dump of the same history.
TEST_F(FputilSimTest, JsonHoldsTheSameSessionAsOneDocument) {
    ToolRun text = Sim({kDay});
    ToolRun run = Sim({"--json", kDay});
    ASSERT_EQ(run.status, 0) << run.err;
    Json::Value doc;
    std::string errors;
    std::istringstream in(run.out);
    ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), in, &doc, &errors)) << errors;

    const Json::Value& timeline = doc["timeline"];
    size_t events_in_text = 0;
    std::istringstream lines(text.out);
    for (std::string line; std::getline(lines, line);) {
        if (!line.empty() && isdigit(static_cast<unsigned char>(line[0]))) ++events_in_text;
    }
    EXPECT_EQ(timeline.size(), events_in_text);
    for (Json::ArrayIndex i = 1; i < timeline.size(); ++i) {
        EXPECT_LE(timeline[i - 1]["time"].asString(), timeline[i]["time"].asString()) << i;
    }
    EXPECT_THAT(text.out, HasSubstr(doc["dumps"]["AuthStats"].asString()));

    const Json::Value& files = doc["backup_files"];
    ASSERT_EQ(files.size(), 3u);
    for (const Json::Value& file : files) {
        EXPECT_TRUE(file["clean"].asBool()) << file["file"];
    }
    const std::string kept = "total_attempts:" + std::to_string(files[0]["kept"].asInt()) + ",";
    EXPECT_THAT(doc["dumps"]["AuthStats"].asString(), HasSubstr(kept));
}

// With --root the files stay, and the next session's HAL starts from them, record times
// included: they come from the scenario's clock. (A lone rejection is not written at once.)
TEST_F(FputilSimTest, NextSessionOnTheSameTreeLoadsWhatTheFirstWrote) {
    const std::string scenario = Put("s",
                                     "day 2024-02-29\n"
                                     "08:00 start\n"
                                     "08:00:01 auth match fid=3 iq=50\n"
                                     "08:00:02 auth reject iq=20\n"
                                     "08:00:03 auth match fid=4 iq=40\n");
    const std::string tree = dir_.dir() + "/tree";
    ASSERT_EQ(Sim({"--root", tree, scenario}).status, 0);
    ToolRun second = Sim({"--root", tree, scenario});
    ASSERT_EQ(second.status, 0) << second.err;
    EXPECT_THAT(second.out, HasSubstr("3 attempts loaded; total_attempts:3, auth_attempts:3, "
                                      "auth_rejects:1"));
    EXPECT_THAT(second.out, HasSubstr("#002 2024-02-29 08:00:03 auth_successful:1, fid:4"));
}

TEST_F(FputilSimTest, SlowDisplayShowsInTheSwitchTime) {
    const std::string scenario = Put("s",
                                     "08:00 start\n"
                                     "08:00 display slow 30ms\n"
                                     "08:00:01 lhbm on\n");
    ToolRun run = Sim({scenario});
    ASSERT_EQ(run.status, 0) << run.err;
    std::smatch m;
    ASSERT_TRUE(std::regex_search(run.out, m, std::regex("SetLhbm\\(on\\): 0, elapsed ([0-9]+)")));
    EXPECT_GE(std::stoi(m[1]), 30);
}

// Devices that differ from the bundled day: each scenario and a line its timeline must show.
TEST_F(FputilSimTest, DeviceVariantsShowInTheTimeline) {
    struct Case {
        const char* name;
        const char* text;
        const char* shown;
    };
    const Case cases[] = {
        {"thermal over HIDL", "07:00 thermal-service hidl\n08:00 start\n08:01 thermal 47 severe\n",
         "skin 47.0 C, SEVERE; Thermal::GetCpuSeverity: 3 SEVERE"},
        {"no thermal service", "08:00 start\n08:01 thermal 47 severe\n",
         "Thermal::GetCpuSeverity: -19"},
        {"display not declared", "07:00 display missing\n08:00 start\n08:01 lhbm on\n",
         "SetLhbm(on): -19 (no display service), elapsed 0 ms"},
        {"failed switch-on is a critical error",
         "08:00 start\n08:00 display fail 1\n08:01 lhbm on\n08:02 dump\n",
         "#000 2025-10-12 08:01:00 *failed to enable lhbm"},
        {"touch handler turned off",
         "07:00 prop persist.vendor.udfps.fps_touch_handler_supported false\n08:00 start\n"
         "08:01 finger-down 540 1600 100 80 0\n",
         "no touch event arrived (the touch handler is not running)"},
        {"rectangular sensor fully covered",
         "07:00 sensor rect 500 1560 580 1640\n08:00 start\n"
         "08:01 finger-down 540 1600 300 300 0\n",
         "coverage: 100.00% of the sensor area"},
        {"dark room steps the exposure up",
         "07:00 prop persist.vendor.udfps.dynamic_exposure_supported true\n"
         "07:00 prop persist.vendor.udfps.dynamic.exposure.number_of_attempts 2\n08:00 start\n"
         "08:00 calibrate 40 200\n08:01 auth reject iq=10 rawmean=500\n"
         "08:02 auth reject iq=10 rawmean=500\n",
         "exposure callback: expo 43.333 ms, base 216.667 ms (step +1)"},
    };
    for (const Case& c : cases) {
        ToolRun run = Sim({Put("variant", c.text)});
        EXPECT_EQ(run.status, 0) << c.name << ": " << run.err;
        EXPECT_THAT(run.out, HasSubstr(c.shown)) << c.name;
    }
}

// The picture: one dot per attempt, one bar per LHBM interval, one lane per series.
TEST_F(FputilSimTest, PictureDrawsEveryAttemptAndEveryLhbmInterval) {
    const std::string svg = dir_.dir() + "/day.svg";
    ToolRun run = Sim({"--json", "--svg", svg, kDay});
    ASSERT_EQ(run.status, 0) << run.err;
    Json::Value doc;
    std::istringstream in(run.out);
    ASSERT_TRUE(Json::parseFromStream(Json::CharReaderBuilder(), in, &doc, nullptr));
    const std::string picture = ReadFile(svg);
    auto count = [&](const std::string& what) {
        size_t n = 0;
        for (size_t at = picture.find(what); at != std::string::npos;
             at = picture.find(what, at + 1))
            ++n;
        return n;
    };
    size_t intervals = 0;
    for (const Json::Value& s : doc["series"]["lhbm"]) intervals += s["value"].asDouble() > 0;
    EXPECT_EQ(count("<circle "), doc["series"]["auth"].size());
    EXPECT_EQ(count("fill='#f0a030'"), intervals);
    EXPECT_EQ(picture.rfind("</svg>\n"), picture.size() - 7);
}

// Each problem is reported with file, line and reason, and nothing runs.
TEST_F(FputilSimTest, ScenarioErrorsNameTheLineAndTheReason) {
    struct Case {
        const char* name;
        const char* text;
        int line;
        const char* reason;
    };
    const Case cases[] = {
        {"unknown event", "08:00 start\n08:01 blink\n", 2, "unknown event 'blink'"},
        {"bad number", "08:00 start\n\n08:01 auth match iq=4x\n", 3, "bad number '4x' for iq"},
        {"time backwards", "08:00 start\n07:59 dump\n", 2,
         "time goes backwards (07:59:00.000 after 08:00:00.000)"},
        {"bad time", "8h start\n", 1, "bad time '8h' (HH:MM, HH:MM:SS or HH:MM:SS.mmm)"},
        {"set-up after start", "08:00 start\n08:01 prop a b\n", 2,
         "'prop' only before the first start"},
        {"event before start", "# x\n08:00 lhbm on\n08:01 start\n", 2,
         "'lhbm' before the HAL's start"},
        {"missing number", "08:00 start\n08:01 finger-down 1 2 3\n", 2,
         "'finger-down' takes 5 numbers, not 3"},
        {"unknown field", "08:00 start\n08:01 auth match colour=3\n", 2,
         "unknown field 'colour' for 'auth'"},
        {"unknown state", "08:00 start\n08:01 wait asleep 10ms\n", 2, "unknown HAL state 'asleep'"},
        {"open quote", "08:00 start\n08:01 error \"no end\n", 2, "the quoted text is not closed"},
    };
    for (const Case& c : cases) {
        const std::string path = Put("bad", c.text);
        ToolRun run = Sim({path});
        EXPECT_EQ(run.status, 2) << c.name;
        EXPECT_EQ(run.err, path + ":" + std::to_string(c.line) + ": " + c.reason + "\n") << c.name;
        EXPECT_EQ(run.out, "") << c.name;
    }
}

}  // namespace
}  // namespace android::fp_utils
