// The start-up record: how the start went, and the errors published to the property, the
// error file and the dump, each with a copy of the trusted-OS log.
#include "fp_utils/fps_init_info.h"

#include <android-base/file.h>
#include <fcntl.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <thread>

#include "tests/support/fixture.h"

namespace android::fp_utils {
namespace {

using namespace std::chrono_literals;

constexpr char kTag[] = "FpsInitInfo", kTrustyLog[] = "/dev/trusty-log0";
constexpr char kProperty[] = "vendor.fingerprint.init.error";
const std::string kErrorFile = "/data/vendor/tombstones/fingerprint/init_error.txt";
constexpr char kTrustyCopy[] = "/data/vendor/tombstones/fingerprint/init_trusty_log.txt";

int64_t NowUs() {
    return std::chrono::system_clock::now().time_since_epoch() / 1us;
}

// Local time to the millisecond, as the record writes it; such texts sort as the times do.
std::string Local(int64_t us) {
    time_t seconds = us / 1000000;
    char text[32];
    strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", localtime(&seconds));
    return text + std::to_string(1000 + us / 1000 % 1000).replace(0, 1, ".");  // ".mmm"
}

testing::LogLine Error(const std::string& text) {
    return {ANDROID_LOG_ERROR, kTag, "SetError: " + text};
}

class FpsInitInfoTest : public testing::FpUtilsTest {
  protected:
    // A zone far from UTC, so that a time in UTC cannot pass for local time.
    void SetUp() override {
        setenv("TZ", "FPT-5:30", 1);
        tzset();
        root_.WriteFile(kTrustyLog, "");
    }
    void TearDown() override {
        setenv("TZ", "UTC", 1);
        tzset();
    }
    std::string Dump() {
        int fd = open(root_.Path("/dump").c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
        info_.Dump(fd);
        close(fd);
        return root_.ReadFile("/dump");
    }
    // Two errors; returns the time before the first.
    int64_t TwoErrors() {
        const int64_t before = NowUs();
        info_.SetError("sensor reset failed");
        info_.SetError("calibration missing");
        return before;
    }

    FpsInitInfo info_;
    testing::ScopedProperty property_{kProperty, ""};
};

TEST_F(FpsInitInfoTest, DumpShowsTheStateUntilTheStartUpSucceeds) {
    EXPECT_EQ(Dump(), "Unexpected state:0\n");
    info_.SetState(FpsInitInfo::kStarting);
    EXPECT_EQ(Dump(), "Unexpected state:1\n");
    info_.SetState(static_cast<FpsInitInfo::State>(7));
    EXPECT_EQ(Dump(), "Unexpected state:7\n");
}

// The clock read just before and after brackets the start that counts (a, b) and the end
// (c, d); each change comes 30 ms after the previous one, so that a wrong start shows.
TEST_F(FpsInitInfoTest, SuccessShowsTheLastStartInLocalTimeAndTheLatency) {
    info_.SetState(FpsInitInfo::kStarting);
    usleep(30000);
    const int64_t a = NowUs();
    info_.SetState(FpsInitInfo::kStarting);
    const int64_t b = NowUs();
    usleep(30000);
    info_.SetState(static_cast<FpsInitInfo::State>(7));  // stamps nothing
    usleep(30000);
    const int64_t c = NowUs();
    info_.SetState(FpsInitInfo::kSucceeded);
    const int64_t d = NowUs();
    const std::string dump = Dump(), start = dump.substr(38, 23);
    const int latency = atoi(dump.c_str() + 71);
    EXPECT_EQ(dump, "Initialization successful, start_time:" + start +
                        ", latency:" + std::to_string(latency) + "ms\n");
    EXPECT_LE(Local(a), start);
    EXPECT_LE(start, Local(b));
    EXPECT_GE(latency, (c - b) / 1000);
    EXPECT_LE(latency, (d - a) / 1000);
}

TEST_F(FpsInitInfoTest, ErrorsAccumulateWithTheirLocalTimesInFilePropertyAndDump) {
    const int64_t before = TwoErrors();
    const std::string all = root_.ReadFile(kErrorFile);
    const std::string t1 = all.substr(0, 19), t2 = all.substr(40, 19);
    EXPECT_EQ(all, t1 + " sensor reset failed," + t2 + " calibration missing");
    for (const std::string& t : {t1, t2}) {
        EXPECT_LE(Local(before).substr(0, 19), t);
        EXPECT_LE(t, Local(NowUs()));
    }
    EXPECT_EQ(base::GetProperty(kProperty, ""), all);
    EXPECT_EQ(Dump(), "Error:" + all + "\n");
    EXPECT_EQ(log_.Lines(kTag),
              (std::vector{Error("error_str_:" + all.substr(0, 39)), Error("error_str_:" + all)}));
}

TEST_F(FpsInitInfoTest, ErrorFileWriteDoesNotFollowASymbolicLinkAndTheRestGoesOn) {
    ASSERT_EQ(symlink(root_.Path("/victim").c_str(), root_.Path(kErrorFile).c_str()), 0);
    info_.SetError("sensor reset failed");
    EXPECT_FALSE(root_.Exists("/victim"));
    EXPECT_TRUE(
        log_.Contains(ANDROID_LOG_ERROR, kTag, "SetError: failed to write '" + kErrorFile + "'"));
    EXPECT_NE(base::GetProperty(kProperty, "").find("sensor reset failed"), std::string::npos);
}

TEST_F(FpsInitInfoTest, TrustedOsLogCopyIsReplacedNotAppended) {
    root_.WriteFile(kTrustyLog, "tee: one\n");
    TwoErrors();
    EXPECT_EQ(root_.ReadFile(kTrustyCopy), "tee: one\n");
}

TEST_F(FpsInitInfoTest, SecondErrorWaitsUntilTheFirstLogCopyIsComplete) {
    // While the test holds this FIFO's writing end open (and no copy inherits it), a copy reads
    // and waits.
    root_.Remove(kTrustyLog);
    ASSERT_EQ(mkfifo(root_.Path(kTrustyLog).c_str(), 0600), 0);
    int writer = open(root_.Path(kTrustyLog).c_str(), O_RDWR | O_CLOEXEC);
    std::thread first([&] { info_.SetError("first"); });
    // Up to 10 s for the first caller to publish: it then holds the lock until its copy ends.
    // The error file tells, not the property: libbase's host property store has no lock, so
    // this thread reads no property while another may set it.
    for (int i = 0; i < 10000 && root_.ReadFile(kErrorFile).empty(); ++i) usleep(1000);
    std::atomic<pid_t> tid{0};
    std::thread second([&] {
        tid = gettid();
        info_.SetError("second");
    });
    // Asleep, the second caller waits either on the record's lock (nothing published yet) or,
    // had the lock been let go during the first copy, in its own copy after publishing.
    std::string stat;
    for (int i = 0; i < 10000 && stat.find(") S ") == stat.npos; ++i) {
        usleep(1000);
        base::ReadFileToString("/proc/self/task/" + std::to_string(tid) + "/stat", &stat);
    }
    EXPECT_NE(stat.find(") S "), stat.npos);
    EXPECT_EQ(root_.ReadFile(kErrorFile).find("second"), std::string::npos);
    root_.Remove(kTrustyLog);
    root_.WriteFile(kTrustyLog, "");  // what the second copy reads
    close(writer);
    first.join();
    second.join();
}

}  // namespace
}  // namespace android::fp_utils
