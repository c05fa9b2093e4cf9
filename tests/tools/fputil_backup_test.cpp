// fputil inspect and repair on backup files: the bundled samples, and files damaged in each
// way the HAL's reader can meet.
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <fstream>

#include "fp_utils/auth_event.h"
#include "history/backup_file.h"
#include "tests/support/fixture.h"
#include "tests/tools/run_tool.h"
#include "tools/fputil/json.h"

namespace android {
namespace fp_utils {
namespace {

using ::testing::HasSubstr;
using ::testing::Not;
using testing::RunTool;
using testing::ToolRun;

const std::string kSamples = SAMPLES_DIR;
const std::string kDir = "/data/vendor/fingerprint/";

ToolRun Fputil(const std::vector<std::string>& args) {
    return RunTool(FPUTIL_PATH, args);
}

// `n` G7 records, each one different up to its last byte.
std::string Records(int n) {
    std::string out;
    for (int i = 0; i < n; ++i) {
        AuthEventG7 e;
        e.time = 0x67a1b2c3 + i;
        e.acquired_info = 1;
        e.auth_successful = i % 3 != 0;
        e.stitch_img_area_[4] = 100 + i;
        out += FormatBackupRecord(e.ToBackupString());
    }
    return out;
}

class FputilBackupTest : public ::testing::Test {
  protected:
    // Writes `bytes` as the backup file `name` of the test's device tree; returns its path.
    std::string Put(const std::string& name, const std::string& bytes) {
        root_.WriteFile(kDir + name, bytes);
        return root_.Path(kDir + name);
    }
    testing::TempRoot root_;
};

TEST_F(FputilBackupTest, SamplesAreWhatTheLibraryWritesToday) {
    ASSERT_EQ(RunTool(MAKE_SAMPLES_PATH, {root_.dir()}).status, 0);
    for (std::string name : {"AuthStats.fingerprint", "AuthStats.fingerprint-damaged",
                             "EnrollEventContainer", "FingerSizes.fingerprint"}) {
        std::string fresh = root_.ReadFile("/" + name);
        EXPECT_FALSE(fresh.empty()) << name;
        std::ifstream committed(kSamples + "/" + name, std::ios::binary);
        EXPECT_EQ(fresh, std::string(std::istreambuf_iterator<char>(committed), {}))
            << name << ": write the samples again with fp_make_samples";
    }
}

TEST_F(FputilBackupTest, CleanSamplesAreInspectedWithWhatTheHalKeeps) {
    ToolRun run =
        Fputil({"inspect", kSamples + "/AuthStats.fingerprint", kSamples + "/EnrollEventContainer",
                kSamples + "/FingerSizes.fingerprint"});
    EXPECT_EQ(run.status, 0) << run.err;
    for (const char* part :
         {"AuthStats \"fingerprint\", AuthEventG7 records, 6645 bytes", "\n  39   6482 ",
          "the HAL keeps 40 records\n  total_attempts:40, auth_attempts:36, auth_rejects:13, "
          "frr:36.11%",
          "the HAL keeps 14 records\n  Enroll Events:\n    #000 ",
          "the HAL keeps 64 records\n  total_count:64, op1_count:41, op2_count:23\n  x: p5 "}) {
        EXPECT_THAT(run.out, HasSubstr(part));
    }
    EXPECT_THAT(run.out, Not(HasSubstr("NOT CLEAN")));
}

TEST_F(FputilBackupTest, DamagedSampleIsReportedInJsonAndExitsOne) {
    ToolRun run = Fputil({"inspect", "--json", kSamples + "/AuthStats.fingerprint-damaged"});
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.out.front(), '[');
    for (const char* part : {"\"verdict\": \"bad-checksum\"", "\"damage_offset\": 2833",
                             "\"kept\": 17", "Crc checksum didn't match!"}) {
        EXPECT_THAT(run.out, HasSubstr(part));
    }
}

// What the HAL keeps of each kind of damage is the loader's business; here, what is said.
TEST_F(FputilBackupTest, EachKindOfDamageIsNamed) {
    const std::string three = Records(3), one = Records(1);
    const struct {
        const char* what;
        std::string bytes, said;
    } cases[] = {
        {"garbage", three + "junk", "4 bytes at offset 393 are not a record head"},
        // The missing tail equals the previous record's: the stale buffer completes it.
        {"cut short", one + one.substr(0, one.size() - 3), "record #1 is cut short"},
        {"too long", three + "0x0,0x401," + std::string(1025, 'x'), "the HAL's process terminates"},
        {"refused", three + FormatBackupRecord("0x1,0x2"),
         "1 record refused by the record parser: the HAL skips it\n  the HAL keeps 3"},
    };
    for (const auto& c : cases) {
        ToolRun run = Fputil({"inspect", Put("AuthStats.x", c.bytes)});
        EXPECT_EQ(run.status, 1) << c.what;
        EXPECT_THAT(run.out, HasSubstr(c.said)) << c.what;
    }
}

TEST_F(FputilBackupTest, RefusedRecordShowsTheHalsLogLine) {
    EXPECT_THAT(Fputil({"inspect", Put("FingerSizes.x", FormatBackupRecord("x,1,2"))}).out,
                HasSubstr("E/FingerSizes: [virtual bool android::fp_utils::FingerSize::"
                          "LoadFromBackupString(std::string &)] failed to parse str:'x,1,2'"));
}

TEST_F(FputilBackupTest, LimitKeepsTheNewest) {
    EXPECT_THAT(Fputil({"inspect", "--limit", "2", Put("AuthStats.five", Records(5))}).out,
                HasSubstr("the HAL keeps 2 records\n  total_attempts:2"));
}

TEST_F(FputilBackupTest, BaseRecordsAreToldFromTheRecordsAndRefusedAsG7) {
    std::string base = Put("AuthStats.base", FormatBackupRecord(AuthEvent().ToBackupString()));
    EXPECT_THAT(Fputil({"inspect", base}).out, HasSubstr("AuthEvent records"));
    EXPECT_EQ(Fputil({"inspect", "--class", "G7", base}).status, 1);
}

TEST_F(FputilBackupTest, KindOfARenamedFileIsNamedOnTheCommandLine) {
    std::string renamed = Put("pulled", FormatBackupRecord("0x1,0,0x1,0x0,0x1,0x2,3.50,0x1"));
    EXPECT_THAT(Fputil({"inspect", "--kind", "enroll", renamed}).out,
                HasSubstr("E/EnrollEventG7: [virtual bool android::fp_utils::"
                          "EnrollEventG7::LoadFromBackupString(std::string &)] failed"));
}

TEST_F(FputilBackupTest, RootInspectsTheBackupFilesOfAPulledTreeInOrder) {
    Put("AuthStats.five", Records(5));
    Put("AuthStats.base", Records(1));
    Put("EnrollEventContainer", "");
    Put("FingerSizes.index", FormatBackupRecord("1,7.3,9.8"));
    Put("pulled", "");
    ToolRun run = Fputil({"inspect", "--root", root_.dir()});
    EXPECT_EQ(run.status, 0) << run.out;
    size_t a = run.out.find("AuthStats.base: AuthStats \"base\"");
    size_t b = run.out.find("AuthStats.five: AuthStats \"five\"");
    EXPECT_LT(a, b);
    EXPECT_NE(b, std::string::npos);
    EXPECT_THAT(run.out, HasSubstr("EnrollEventContainer: EnrollEventContainer,"));
    EXPECT_THAT(run.out, HasSubstr("FingerSizes.index: FingerSizes \"index\""));
    EXPECT_THAT(run.out, Not(HasSubstr("pulled")));
}

TEST_F(FputilBackupTest, BareFileNameWithRootIsTakenFromTheBackupDirectory) {
    Put("FingerSizes.index", FormatBackupRecord("1,7.3,9.8"));
    EXPECT_THAT(Fputil({"inspect", "--root", root_.dir(), "FingerSizes.index"}).out,
                HasSubstr("the HAL keeps 1 record\n"));
}

TEST_F(FputilBackupTest, BadArgumentsExitTwoWithAUsageLine) {
    const std::vector<std::vector<std::string>> bad = {
        {"inspect"},
        {"inspect", "--bogus", "x"},
        {"inspect", "--limit", "abc", "x"},
        {"inspect", "--limit", "0", "x"},
        {"inspect", "--kind", "pets", "x"},
        {"inspect", "--class", "G8", "x"},
        {"inspect", root_.dir() + "/no_such_file/AuthStats.x"},
        {"inspect", Put("notes.txt", "")},
        {"repair"},
        {"repair", "--json", "x"},
        {"no-such-command"},
    };
    for (const auto& args : bad) {
        ToolRun run = Fputil(args);
        EXPECT_EQ(run.status, 2) << args.back();
        EXPECT_THAT(run.err, HasSubstr("usage: fputil")) << args.back();
    }
}

TEST_F(FputilBackupTest, ANonRegularFileIsUnreadable) {
    root_.MakeDirs(kDir + "AuthStats.dir");
    ASSERT_EQ(mkfifo(root_.Path(kDir + "AuthStats.fifo").c_str(), 0600), 0);
    const std::pair<std::string, std::string> cases[] = {
        {"AuthStats.dir", "unreadable: a directory, not a regular file"},
        {"AuthStats.fifo", "unreadable: a FIFO, not a regular file"},
    };
    for (const auto& [name, said] : cases) {
        for (const char* command : {"inspect", "repair"}) {
            // A FIFO must not be opened at all: it would wait for a writer for ever.
            ToolRun run = RunTool("timeout", {"10", FPUTIL_PATH, command, root_.Path(kDir + name)});
            EXPECT_EQ(run.status, 2) << command << " " << name;
            EXPECT_THAT(run.err, HasSubstr(said)) << command;
        }
    }
    // Found by looking through a pulled tree: skipped, not reported clean.
    EXPECT_EQ(Fputil({"inspect", "--root", root_.dir()}).status, 1);
}

// Bytes that are not UTF-8, in a file name and in a record body, come out escaped; well-formed
// UTF-8 passes as it is.
TEST_F(FputilBackupTest, JsonIsValidUtf8WhateverTheFileHolds) {
    const std::string body = "0x1,\xff\xc3\xa9\xed\xa0\x80";  // refused by the parser
    ToolRun run = Fputil({"inspect", "--json", Put("AuthStats.\xfe", FormatBackupRecord(body))});
    EXPECT_EQ(run.status, 1);
    EXPECT_THAT(run.out, HasSubstr("\"name\": \"\\udcfe\""));
    EXPECT_THAT(run.out, HasSubstr("str:'0x1,\\udcff\xc3\xa9\\udced\\udca0\\udc80'"));
}

TEST(FputilJson, StringsEscapeEveryByteThatIsNotWellFormedUtf8) {
    const std::pair<std::string, std::string> cases[] = {
        {"plain \"q\" \\ \t\x01", "\"plain \\\"q\\\" \\\\ \\t\\u0001\""},
        {"\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80 \xf4\x8f\xbf\xbf",
         "\"\xc3\xa9 \xe2\x82\xac \xf0\x9f\x98\x80 \xf4\x8f\xbf\xbf\""},
        {"\xc0\xaf", "\"\\udcc0\\udcaf\""},                        // overlong "/"
        {"\xe0\x9f\xbf", "\"\\udce0\\udc9f\\udcbf\""},             // overlong three bytes
        {"\xed\xbf\xbf", "\"\\udced\\udcbf\\udcbf\""},             // a surrogate
        {"\xf4\x90\x80\x80", "\"\\udcf4\\udc90\\udc80\\udc80\""},  // above U+10FFFF
        {"\xe2\x82", "\"\\udce2\\udc82\""},                        // cut at the end
        {"\xe2(", "\"\\udce2(\""},                                 // cut by an ASCII byte
        {"\x80\xf8", "\"\\udc80\\udcf8\""},                        // never a lead byte
    };
    for (const auto& [text, json] : cases) EXPECT_EQ(fputil::JsonString(text), json) << json;
}

// A refused record is dropped; the bad checksum loses the rest.
TEST_F(FputilBackupTest, RepairKeepsTheOriginalAndLeavesWhatTheHalLoads) {
    const std::string damaged = Records(4) + FormatBackupRecord("0x1,0x2") + Records(2) +
                                "0x0,0x20," + std::string(32, 'z') + Records(3);
    const std::string path = Put("AuthStats.fix", damaged);
    ToolRun run = Fputil({"repair", path});
    ASSERT_EQ(run.status, 0) << run.err;
    EXPECT_THAT(run.out, HasSubstr("original kept as " + path + ".orig"));
    EXPECT_THAT(run.out, HasSubstr("dropped record #4"));
    EXPECT_THAT(run.out, HasSubstr("now 6 records"));
    EXPECT_EQ(root_.ReadFile(kDir + "AuthStats.fix.orig"), damaged);
    EXPECT_EQ(root_.ReadFile(kDir + "AuthStats.fix"), Records(4) + Records(2));
}

TEST_F(FputilBackupTest, SecondRepairFindsNothingToDo) {
    const std::string path = Put("AuthStats.fix", Records(2) + "junk");
    ASSERT_EQ(Fputil({"repair", path}).status, 0);
    EXPECT_THAT(Fputil({"repair", path}).out, HasSubstr("nothing to repair"));
    EXPECT_FALSE(root_.Exists(kDir + "AuthStats.fix.orig.1"));
}

TEST_F(FputilBackupTest, RepairKeepsWhatPrecedesARecordLongerThanTheHalsBuffer) {
    const std::string path =
        Put("AuthStats.long", Records(2) + "0x0,0x500," + std::string(1280, 'x'));
    EXPECT_EQ(Fputil({"repair", path}).status, 0);
    EXPECT_EQ(root_.ReadFile(kDir + "AuthStats.long"), Records(2));
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
