// fputil inspect and repair on backup files: the bundled samples, and files damaged in each
// way the HAL's reader can meet.
#include <gtest/gtest.h>

#include "fp_utils/auth_event.h"
#include "history/backup_file.h"
#include "tests/support/temp_root.h"
#include "tests/tools/run_tool.h"

namespace android {
namespace fp_utils {
namespace {

using testing::RunTool;
using testing::TempRoot;
using testing::ToolRun;

const std::string kSamples = SAMPLES_DIR;
constexpr char kDir[] = "/data/vendor/fingerprint/";

ToolRun Fputil(const std::vector<std::string>& args) {
    return RunTool(FPUTIL_PATH, args);
}

std::string G7Body(int fid, bool ok) {
    AuthEventG7 e;
    e.time = 0x67a1b2c3 + fid;
    e.acquired_info = 1;
    e.auth_successful = ok;
    e.fid = fid;
    e.iq = 40 + fid;
    e.stitch_img_area_[4] = 100 + fid;
    return e.ToBackupString();
}

class FputilBackupTest : public ::testing::Test {
  protected:
    // Writes `bytes` as the backup file `file_name` of the test's device tree.
    std::string Put(const std::string& file_name, const std::string& bytes) {
        root_.WriteFile(kDir + file_name, bytes);
        return root_.Path(kDir + file_name);
    }
    std::string Records(int n) {
        std::string out;
        for (int i = 0; i < n; ++i) out += FormatBackupRecord(G7Body(i, i % 3 != 0));
        return out;
    }
    TempRoot root_;
};

TEST_F(FputilBackupTest, SamplesAreWhatTheLibraryWritesToday) {
    ToolRun made = RunTool(MAKE_SAMPLES_PATH, {root_.dir()});
    ASSERT_EQ(made.status, 0) << made.err;
    for (const char* name : {"AuthStats.fingerprint", "AuthStats.fingerprint-damaged"}) {
        std::string fresh, committed;
        ASSERT_TRUE(testing::MakeDirsOnHost(root_.dir()));
        FILE* f = fopen((root_.dir() + "/" + name).c_str(), "rb");
        ASSERT_NE(f, nullptr) << name;
        char buf[4096];
        size_t n;
        while ((n = fread(buf, 1, sizeof(buf), f)) > 0) fresh.append(buf, n);
        fclose(f);
        f = fopen((kSamples + "/" + name).c_str(), "rb");
        ASSERT_NE(f, nullptr) << name;
        while ((n = fread(buf, 1, sizeof(buf), f)) > 0) committed.append(buf, n);
        fclose(f);
        EXPECT_EQ(fresh, committed) << name << ": run tools/make_samples again";
    }
}

TEST_F(FputilBackupTest, CleanSampleReportsEveryRecordAndTheFigures) {
    ToolRun run = Fputil({"inspect", kSamples + "/AuthStats.fingerprint"});
    EXPECT_EQ(run.status, 0) << run.err;
    EXPECT_NE(run.out.find("AuthStats \"fingerprint\", AuthEventG7 records, 6645 bytes"),
              std::string::npos);
    EXPECT_NE(run.out.find("\n  39   6482 "), std::string::npos);
    EXPECT_NE(run.out.find("the HAL keeps 40 records\n  total_attempts:40, auth_attempts:36, "
                           "auth_rejects:13, frr:36.11%"),
              std::string::npos);
    EXPECT_NE(run.out.find("\n  clean\n"), std::string::npos);
}

TEST_F(FputilBackupTest, DamagedSampleNamesTheFirstBadRecordAndWhatIsKept) {
    ToolRun run = Fputil({"inspect", "--json", kSamples + "/AuthStats.fingerprint-damaged"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("\"verdict\": \"bad-checksum\""), std::string::npos);
    EXPECT_NE(run.out.find("\"damage_offset\": 2833"), std::string::npos);
    EXPECT_NE(run.out.find("\"kept\": 17"), std::string::npos);
    EXPECT_NE(run.out.find("Crc checksum didn't match!"), std::string::npos);
    EXPECT_EQ(run.out.front(), '[');
}

TEST_F(FputilBackupTest, EachKindOfDamage) {
    std::string three = Records(3);
    std::string twice = FormatBackupRecord(G7Body(1, true)) + FormatBackupRecord(G7Body(1, true));
    struct Case {
        const char* what;
        std::string bytes;
        const char* expected;
        size_t kept;
    } cases[] = {
        {"garbage after the last record", three + "junk", "4 bytes at offset", 3},
        {"cut inside a head", three.substr(0, three.size()) + "0x1234", "not a record head", 3},
        {"cut inside a body", three.substr(0, three.size() - 5), "the HAL stops reading here", 2},
        // The missing tail equals the previous record's: the stale buffer completes it.
        {"cut short but loaded", twice.substr(0, twice.size() - 3), "record #1 is cut short", 2},
        {"length above the buffer", three + "0x0,0x401," + std::string(1025, 'x'),
         "the HAL's process terminates", 0},
        {"record the parser refuses", three + FormatBackupRecord("0x1,0x2"),
         "1 record refused by the record parser", 3},
    };
    for (const Case& c : cases) {
        ToolRun run = Fputil({"inspect", Put("AuthStats.damage", c.bytes)});
        EXPECT_EQ(run.status, 1) << c.what;
        EXPECT_NE(run.out.find(c.expected), std::string::npos) << c.what << "\n" << run.out;
        if (c.kept > 0) {
            EXPECT_NE(run.out.find("the HAL keeps " + std::to_string(c.kept) + " record"),
                      std::string::npos)
                << c.what << "\n"
                << run.out;
        }
    }
}

TEST_F(FputilBackupTest, EmptyFileAndLimitAndClass) {
    ToolRun run = Fputil({"inspect", Put("AuthStats.empty", "")});
    EXPECT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_NE(run.out.find("the HAL keeps 0 records"), std::string::npos);

    run = Fputil({"inspect", "--limit", "2", Put("AuthStats.five", Records(5))});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("the HAL keeps 2 records\n  total_attempts:2"), std::string::npos);

    // Base records: decided from the records, or refused when G7 is asked for.
    AuthEvent base;
    base.acquired_info = 1;
    std::string path = Put("AuthStats.base", FormatBackupRecord(base.ToBackupString()));
    run = Fputil({"inspect", path});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("AuthEvent records"), std::string::npos);
    run = Fputil({"inspect", "--class", "G7", path});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.out.find("rejected"), std::string::npos);
}

TEST_F(FputilBackupTest, RootWithoutFilesInspectsTheBackupDirectory) {
    Put("AuthStats.a", Records(2));
    Put("AuthStats.b", Records(1));
    Put("unrelated.txt", "hello");
    ToolRun run = Fputil({"inspect", "--root", root_.dir()});
    EXPECT_EQ(run.status, 0) << run.err;
    size_t a = run.out.find("AuthStats.a: AuthStats \"a\"");
    size_t b = run.out.find("AuthStats.b: AuthStats \"b\"");
    EXPECT_NE(a, std::string::npos);
    EXPECT_NE(b, std::string::npos);
    EXPECT_LT(a, b);
    EXPECT_EQ(run.out.find("unrelated"), std::string::npos);
    // A bare file name with --root is taken from the backup directory.
    run = Fputil({"inspect", "--root", root_.dir(), "AuthStats.b"});
    EXPECT_NE(run.out.find("the HAL keeps 1 record\n"), std::string::npos);
}

TEST_F(FputilBackupTest, BadArgumentsExitTwoWithAUsageLine) {
    std::vector<std::vector<std::string>> bad = {
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
        EXPECT_NE(run.err.find("usage: fputil"), std::string::npos) << args.back() << run.err;
    }
}

TEST_F(FputilBackupTest, RepairKeepsTheOriginalAndLeavesWhatTheHalLoads) {
    std::string damaged = Records(4) + FormatBackupRecord("0x1,0x2") + Records(2);
    damaged += "0x0,0x20," + std::string(32, 'z');  // checksum mismatch: the rest is lost
    damaged += Records(3);
    std::string path = Put("AuthStats.fix", damaged);
    ToolRun run = Fputil({"repair", path});
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_NE(run.out.find("original kept as " + path + ".orig"), std::string::npos);
    EXPECT_NE(run.out.find("dropped record #4"), std::string::npos);
    EXPECT_NE(run.out.find("now 6 records"), std::string::npos) << run.out;
    EXPECT_EQ(root_.ReadFile(std::string(kDir) + "AuthStats.fix.orig"), damaged);
    // Exactly the records the HAL loaded, written by the HAL's own writer.
    std::string expected = Records(4) + Records(2);
    EXPECT_EQ(root_.ReadFile(std::string(kDir) + "AuthStats.fix"), expected);

    // A second repair finds nothing to do and keeps the file as it is.
    run = Fputil({"repair", path});
    EXPECT_EQ(run.status, 0);
    EXPECT_NE(run.out.find("nothing to repair"), std::string::npos);
    EXPECT_FALSE(root_.Exists(std::string(kDir) + "AuthStats.fix.orig.1"));
}

TEST_F(FputilBackupTest, RepairOfAFileThatWouldEndTheHalKeepsWhatPrecedesTheLongRecord) {
    std::string path = Put("AuthStats.long", Records(2) + "0x0,0x500," + std::string(1280, 'x'));
    ToolRun run = Fputil({"repair", path});
    ASSERT_EQ(run.status, 0) << run.out << run.err;
    EXPECT_EQ(root_.ReadFile(std::string(kDir) + "AuthStats.long"), Records(2));
    run = Fputil({"inspect", path});
    EXPECT_EQ(run.status, 0);
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
