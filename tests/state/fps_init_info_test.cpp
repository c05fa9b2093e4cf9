#include "fp_utils/fps_init_info.h"

#include <android-base/properties.h>
#include <android/log.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <fstream>
#include <functional>
#include <regex>
#include <thread>

#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

using State = FpsInitInfo::State;
using testing::FpUtilsTest;
using testing::ScopedProperty;

constexpr char kTag[] = "FpsInitInfo";
constexpr char kProperty[] = "vendor.fingerprint.init.error";
constexpr char kErrorFile[] = "/data/vendor/tombstones/fingerprint/init_error.txt";
constexpr char kTrustyLog[] = "/dev/trusty-log0";
constexpr char kTrustyCopy[] = "/data/vendor/tombstones/fingerprint/init_trusty_log.txt";
constexpr char kLocalTime[] = R"((\d{4}-\d\d-\d\d \d\d:\d\d:\d\d))";

// System clock, as the record stamps it: microseconds since the epoch.
int64_t NowUs() {
    return std::chrono::duration_cast<std::chrono::microseconds>(
               std::chrono::system_clock::now().time_since_epoch())
        .count();
}

// Seconds since the epoch of a local "%Y-%m-%d %H:%M:%S" text.
int64_t ParseLocal(const std::string& text) {
    struct tm tm = {};
    if (strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &tm) == nullptr) return -1;
    tm.tm_isdst = -1;
    return mktime(&tm);
}

bool WaitFor(const std::function<bool()>& done) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!done()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

std::string DumpOf(FpsInitInfo& info) {
    FILE* out = tmpfile();
    info.Dump(fileno(out));
    rewind(out);
    std::string text;
    for (int c; (c = fgetc(out)) != EOF;) text += static_cast<char>(c);
    fclose(out);
    return text;
}

class FpsInitInfoTest : public FpUtilsTest {
  protected:
    // A zone far from UTC, so that a text in UTC cannot pass for local time.
    void SetUp() override {
        const char* tz = getenv("TZ");
        saved_tz_ = tz ? tz : "";
        had_tz_ = tz != nullptr;
        setenv("TZ", "FPT-5:30", 1);
        tzset();
    }
    void TearDown() override {
        had_tz_ ? setenv("TZ", saved_tz_.c_str(), 1) : unsetenv("TZ");
        tzset();
    }

    FpsInitInfo info_;
    ScopedProperty property_{kProperty, ""};
    std::string saved_tz_;
    bool had_tz_ = false;
};

TEST_F(FpsInitInfoTest, DumpReportsEveryStateButSuccessAsUnexpected) {
    EXPECT_EQ(DumpOf(info_), "Unexpected state:0\n");
    info_.SetState(FpsInitInfo::kStarting);
    EXPECT_EQ(DumpOf(info_), "Unexpected state:1\n");
    info_.SetState(static_cast<State>(7));
    EXPECT_EQ(DumpOf(info_), "Unexpected state:7\n");
    EXPECT_FALSE(root_.Exists(kErrorFile));
}

TEST_F(FpsInitInfoTest, LatencyRunsFromTheLastStartStampToTheEndStamp) {
    info_.SetState(FpsInitInfo::kStarting);  // re-entered below: this stamp must not count
    int64_t early = NowUs();
    WaitFor([&] { return NowUs() - early >= 30000; });
    int64_t a = NowUs();
    info_.SetState(FpsInitInfo::kStarting);
    int64_t b = NowUs();
    info_.SetState(static_cast<State>(5));  // stamps nothing
    WaitFor([&] { return NowUs() - b >= 40000; });
    int64_t c = NowUs();
    info_.SetState(FpsInitInfo::kSucceeded);
    int64_t d = NowUs();

    std::smatch m;
    std::string dump = DumpOf(info_);
    ASSERT_TRUE(std::regex_match(dump, m,
                                 std::regex(std::string("Initialization successful, start_time:") +
                                            kLocalTime + R"(\.(\d{3}), latency:(\d+)ms\n)")))
        << dump;
    int64_t start_ms = ParseLocal(m[1]) * 1000 + std::stoi(m[2]);
    EXPECT_GE(start_ms, a / 1000);
    EXPECT_LE(start_ms, b / 1000);
    int latency = std::stoi(m[3]);
    EXPECT_GE(latency, (c - b) / 1000);
    EXPECT_LE(latency, (d - a) / 1000);
}

TEST_F(FpsInitInfoTest, ErrorsAccumulateInPropertyFileAndDump) {
    info_.SetState(FpsInitInfo::kStarting);
    info_.SetState(FpsInitInfo::kSucceeded);
    root_.WriteFile(kTrustyLog, "tee: first\n");
    int64_t before1 = time(nullptr);
    info_.SetError("sensor reset failed");
    int64_t after1 = time(nullptr);
    std::string first = root_.ReadFile(kErrorFile);
    root_.WriteFile(kTrustyLog, "tee: first\ntee: second\n");
    int64_t before2 = time(nullptr);
    info_.SetError("calibration missing");
    int64_t after2 = time(nullptr);

    std::string text = root_.ReadFile(kErrorFile);
    const std::regex both(std::string(kLocalTime) + " sensor reset failed," + kLocalTime +
                          " calibration missing");
    std::smatch m;
    ASSERT_TRUE(std::regex_match(text, m, both)) << text;
    EXPECT_GE(ParseLocal(m[1]), before1);
    EXPECT_LE(ParseLocal(m[1]), after1);
    EXPECT_GE(ParseLocal(m[2]), before2);
    EXPECT_LE(ParseLocal(m[2]), after2);
    EXPECT_EQ(first, text.substr(0, text.find(',')));
    EXPECT_EQ(android::base::GetProperty(kProperty, ""), text);
    EXPECT_EQ(DumpOf(info_), "Error:" + text + "\n");
    EXPECT_EQ(root_.ReadFile(kTrustyCopy), "tee: first\ntee: second\n");
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag, "SetError: error_str_:" + first));
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag, "SetError: error_str_:" + text));
}

TEST_F(FpsInitInfoTest, SymbolicLinkAtTheErrorFileIsNotFollowed) {
    root_.WriteFile("/data/vendor/fingerprint/AuthStats.fp", "keep");
    ASSERT_EQ(symlink(root_.Path("/data/vendor/fingerprint/AuthStats.fp").c_str(),
                      root_.Path(kErrorFile).c_str()),
              0);
    root_.WriteFile(kTrustyLog, "tee\n");
    info_.SetError("boom");

    EXPECT_EQ(root_.ReadFile("/data/vendor/fingerprint/AuthStats.fp"), "keep");
    struct stat st;
    ASSERT_EQ(lstat(root_.Path(kErrorFile).c_str(), &st), 0);
    EXPECT_TRUE(S_ISLNK(st.st_mode));
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag,
                              std::string("SetError: failed to write '") + kErrorFile + "'"));
    // The failed write stops nothing else.
    std::string text = android::base::GetProperty(kProperty, "");
    EXPECT_TRUE(std::regex_match(text, std::regex(std::string(kLocalTime) + " boom"))) << text;
    EXPECT_EQ(DumpOf(info_), "Error:" + text + "\n");
    EXPECT_EQ(root_.ReadFile(kTrustyCopy), "tee\n");
}

TEST_F(FpsInitInfoTest, MissingTombstoneDirectoryIsLoggedAndSurvived) {
    root_.Remove("/data/vendor/tombstones");
    info_.SetError("boom");
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag,
                              std::string("SetError: failed to write '") + kErrorFile + "'"));
    EXPECT_NE(android::base::GetProperty(kProperty, "").find(" boom"), std::string::npos);
    EXPECT_FALSE(root_.Exists(kTrustyCopy));
}

// 'S' while the thread waits in the kernel: on a lock, or on a child process.
bool Sleeping(pid_t tid) {
    std::ifstream stat("/proc/self/task/" + std::to_string(tid) + "/stat");
    std::string line;
    std::getline(stat, line);
    size_t end = line.rfind(") ");
    return end != std::string::npos && line.compare(end + 2, 1, "S") == 0;
}

// Writes `text` to the FIFO once a reader has opened it.
bool Feed(const std::string& fifo, const std::string& text) {
    int fd = -1;
    if (!WaitFor([&] { return (fd = open(fifo.c_str(), O_WRONLY | O_NONBLOCK)) >= 0; })) {
        return false;
    }
    bool ok = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    close(fd);
    return ok;
}

TEST_F(FpsInitInfoTest, SecondErrorWaitsUntilTheFirstLogCopyIsComplete) {
    // The copy blocks on a FIFO until the test writes the trusted-OS log.
    ASSERT_EQ(mkfifo(root_.Path(kTrustyLog).c_str(), 0600), 0);
    std::thread first([&] { info_.SetError("first"); });
    EXPECT_TRUE(WaitFor([] { return !android::base::GetProperty(kProperty, "").empty(); }));

    std::atomic<pid_t> second_tid{0};
    std::thread second([&] {
        second_tid = static_cast<pid_t>(syscall(SYS_gettid));
        info_.SetError("second");
    });
    // Once the second caller sleeps it is either on the record's lock (nothing published
    // yet) or, had the lock been let go during the copy, in its own copy after publishing.
    EXPECT_TRUE(WaitFor([&] { return second_tid != 0 && Sleeping(second_tid); }));
    EXPECT_EQ(android::base::GetProperty(kProperty, "").find("second"), std::string::npos);

    EXPECT_TRUE(Feed(root_.Path(kTrustyLog), "tee: one\n"));
    first.join();
    EXPECT_TRUE(Feed(root_.Path(kTrustyLog), "tee: two\n"));
    second.join();
    EXPECT_EQ(root_.ReadFile(kTrustyCopy), "tee: two\n");
    EXPECT_TRUE(
        std::regex_match(android::base::GetProperty(kProperty, ""),
                         std::regex(std::string(kLocalTime) + " first," + kLocalTime + " second")));
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
