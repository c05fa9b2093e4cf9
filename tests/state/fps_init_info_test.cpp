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

// Local time to the millisecond, as the record writes it; such texts sort as the times do.
std::string Local(int64_t us) {
    time_t seconds = us / 1000000;
    char text[32];
    strftime(text, sizeof(text), "%Y-%m-%d %H:%M:%S", localtime(&seconds));
    return text + std::to_string(1000 + us / 1000 % 1000).replace(0, 1, ".");  // ".mmm"
}

class FpsInitInfoTest : public testing::FpUtilsTest {
  protected:
    // A zone far from UTC, so that a time in UTC cannot pass for local time.
    void SetUp() override { setenv("TZ", "FPT-5:30", 1), tzset(); }
    void TearDown() override { setenv("TZ", "UTC", 1), tzset(); }
    std::string Dump() {
        int fd = open(root_.Path("/dump").c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
        return info_.Dump(fd), close(fd), root_.ReadFile("/dump");
    }

    FpsInitInfo info_;
    testing::ScopedProperty property_{kProperty, ""};
};

TEST_F(FpsInitInfoTest, StartUpThenErrorsAsDumpedAndPublished) {
    auto now_us = [] { return std::chrono::system_clock::now().time_since_epoch() / 1us; };
    EXPECT_EQ(Dump(), "Unexpected state:0\n");
    EXPECT_EQ((info_.SetState(FpsInitInfo::kStarting), Dump()), "Unexpected state:1\n");
    // Each change comes 30 ms after the previous one. The clock read just before and just after
    // brackets the start that counts (a, b) and the end (c, d); state 7 stamps nothing.
    int64_t a = (usleep(30000), now_us()), b = (info_.SetState(FpsInitInfo::kStarting), now_us());
    usleep(30000), info_.SetState(static_cast<FpsInitInfo::State>(7));
    EXPECT_EQ(Dump(), "Unexpected state:7\n");
    int64_t c = (usleep(30000), now_us()), d = (info_.SetState(FpsInitInfo::kSucceeded), now_us());
    std::string dump = Dump(), start = dump.substr(38, 23);
    int latency = atoi(dump.c_str() + 71);
    EXPECT_EQ(dump, "Initialization successful, start_time:" + start +
                        ", latency:" + std::to_string(latency) + "ms\n");
    EXPECT_TRUE(Local(a) <= start && start <= Local(b)) << dump;
    EXPECT_TRUE(latency >= (c - b) / 1000 && latency <= (d - a) / 1000) << dump;

    // The first error file write meets a symbolic link, which is not followed; all else goes on.
    ASSERT_EQ(symlink(root_.Path("/victim").c_str(), root_.Path(kErrorFile).c_str()), 0);
    root_.WriteFile(kTrustyLog, "tee: one\n"), info_.SetError("sensor reset failed");
    root_.Remove(kErrorFile), info_.SetError("calibration missing");
    // All the errors so far, and the times of the two.
    std::string all = root_.ReadFile(kErrorFile), t1 = all.substr(0, 19), t2 = all.substr(40, 19);
    EXPECT_EQ(all, t1 + " sensor reset failed," + t2 + " calibration missing");
    for (auto t : {t1, t2}) EXPECT_TRUE(Local(d).substr(0, 19) <= t && t <= Local(now_us())) << t;
    EXPECT_EQ(base::GetProperty(kProperty, ""), all);
    EXPECT_EQ(Dump(), "Error:" + all + "\n");
    // The copy of the trusted-OS log is replaced, not appended to.
    EXPECT_EQ(root_.ReadFile(kTrustyCopy), "tee: one\n");
    auto error = [](auto t) { return testing::LogLine{ANDROID_LOG_ERROR, kTag, "SetError: " + t}; };
    EXPECT_EQ(log_.Lines(kTag), (std::vector{error("error_str_:" + all.substr(0, 39)),
                                             error("failed to write '" + kErrorFile + "'"),
                                             error("error_str_:" + all)}));
}

TEST_F(FpsInitInfoTest, SecondErrorWaitsUntilTheFirstLogCopyIsComplete) {
    // While the test holds this FIFO's writing end open (and no copy inherits it), a copy reads
    // and waits.
    ASSERT_EQ(mkfifo(root_.Path(kTrustyLog).c_str(), 0600), 0);
    int writer = open(root_.Path(kTrustyLog).c_str(), O_RDWR | O_CLOEXEC);
    std::thread first([&] { info_.SetError("first"); });
    // Up to 10 s for the first caller to publish: it then holds the lock until its copy ends.
    // The error file tells, not the property: libbase's host property store has no lock, so
    // this thread reads no property while another may set it.
    for (int i = 0; i < 10000 && root_.ReadFile(kErrorFile).empty(); ++i) usleep(1000);
    std::atomic<pid_t> tid{0};
    std::thread second([&] { tid = gettid(), info_.SetError("second"); });
    // Asleep, the second caller waits either on the record's lock (nothing published yet) or,
    // had the lock been let go during the first copy, in its own copy after publishing.
    std::string stat;
    for (int i = 0; i < 10000 && stat.find(") S ") == stat.npos; ++i, usleep(1000))
        base::ReadFileToString("/proc/self/task/" + std::to_string(tid) + "/stat", &stat);
    EXPECT_NE(stat.find(") S "), stat.npos);
    EXPECT_EQ(root_.ReadFile(kErrorFile).find("second"), std::string::npos);
    root_.Remove(kTrustyLog), root_.WriteFile(kTrustyLog, "");  // what the second copy reads
    close(writer), first.join(), second.join();
}

}  // namespace
}  // namespace android::fp_utils
