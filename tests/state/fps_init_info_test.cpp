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

using android::base::GetProperty;

constexpr char kTag[] = "FpsInitInfo";
constexpr char kProperty[] = "vendor.fingerprint.init.error";
constexpr char kErrorFile[] = "/data/vendor/tombstones/fingerprint/init_error.txt";
constexpr char kTrustyLog[] = "/dev/trusty-log0";
constexpr char kTrustyCopy[] = "/data/vendor/tombstones/fingerprint/init_trusty_log.txt";
const std::string kTime = R"((\d{4}-\d\d-\d\d \d\d:\d\d:\d\d))";

// The system clock as the record stamps it.
int64_t NowUs() {
    using namespace std::chrono;
    return duration_cast<microseconds>(system_clock::now().time_since_epoch()).count();
}

int64_t ParseLocal(const std::string& text) {
    struct tm tm = {};
    strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &tm);
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

class FpsInitInfoTest : public testing::FpUtilsTest {
  protected:
    // A zone far from UTC, so that a time in UTC cannot pass for local time.
    void SetUp() override { setenv("TZ", "FPT-5:30", 1), tzset(); }
    void TearDown() override { unsetenv("TZ"), tzset(); }

    FpsInitInfo info_;
    testing::ScopedProperty property_{kProperty, ""};
};

TEST_F(FpsInitInfoTest, DumpReportsEveryStateButSuccessAsUnexpected) {
    EXPECT_EQ(DumpOf(info_), "Unexpected state:0\n");
    info_.SetState(FpsInitInfo::kStarting);
    EXPECT_EQ(DumpOf(info_), "Unexpected state:1\n");
    info_.SetState(static_cast<FpsInitInfo::State>(7));
    EXPECT_EQ(DumpOf(info_), "Unexpected state:7\n");
}

TEST_F(FpsInitInfoTest, LatencyRunsFromTheLastStartStampToTheEndStamp) {
    info_.SetState(FpsInitInfo::kStarting);  // stamped again below: this one must not count
    for (int64_t t = NowUs(); NowUs() - t < 30000;) std::this_thread::yield();
    int64_t a = NowUs();
    info_.SetState(FpsInitInfo::kStarting);
    int64_t b = NowUs();
    info_.SetState(static_cast<FpsInitInfo::State>(5));  // stamps nothing
    while (NowUs() - b < 40000) std::this_thread::yield();
    int64_t c = NowUs();
    info_.SetState(FpsInitInfo::kSucceeded);
    int64_t d = NowUs();

    std::smatch m;
    std::string dump = DumpOf(info_);
    ASSERT_TRUE(std::regex_match(dump, m,
                                 std::regex("Initialization successful, start_time:" + kTime +
                                            R"(\.(\d{3}), latency:(\d+)ms\n)")))
        << dump;
    int64_t start_ms = ParseLocal(m[1]) * 1000 + std::stoi(m[2]);
    EXPECT_GE(start_ms, a / 1000);
    EXPECT_LE(start_ms, b / 1000);
    EXPECT_GE(std::stoi(m[3]), (c - b) / 1000);
    EXPECT_LE(std::stoi(m[3]), (d - a) / 1000);
}

TEST_F(FpsInitInfoTest, ErrorsAccumulateInPropertyFileAndDump) {
    info_.SetState(FpsInitInfo::kStarting);
    info_.SetState(FpsInitInfo::kSucceeded);
    root_.WriteFile(kTrustyLog, "tee: one\n");
    int64_t before = time(nullptr);
    info_.SetError("sensor reset failed");
    std::string first = root_.ReadFile(kErrorFile);
    root_.WriteFile(kTrustyLog, "tee: one\ntee: two\n");
    info_.SetError("calibration missing");
    int64_t after = time(nullptr);

    std::string text = root_.ReadFile(kErrorFile);
    std::smatch m;
    ASSERT_TRUE(std::regex_match(
        text, m, std::regex(kTime + " sensor reset failed," + kTime + " calibration missing")))
        << text;
    for (int i : {1, 2}) EXPECT_TRUE(ParseLocal(m[i]) >= before && ParseLocal(m[i]) <= after);
    EXPECT_EQ(first, text.substr(0, text.find(',')));
    EXPECT_EQ(GetProperty(kProperty, ""), text);
    EXPECT_EQ(DumpOf(info_), "Error:" + text + "\n");
    EXPECT_EQ(root_.ReadFile(kTrustyCopy), "tee: one\ntee: two\n");
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag, "SetError: error_str_:" + first));
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag, "SetError: error_str_:" + text));
}

TEST_F(FpsInitInfoTest, SymbolicLinkAtTheErrorFileIsNotFollowed) {
    const std::string victim = "/data/vendor/fingerprint/AuthStats.fp";
    root_.WriteFile(victim, "keep");
    ASSERT_EQ(symlink(root_.Path(victim).c_str(), root_.Path(kErrorFile).c_str()), 0);
    root_.WriteFile(kTrustyLog, "tee\n");
    info_.SetError("boom");

    EXPECT_EQ(root_.ReadFile(victim), "keep");
    EXPECT_TRUE(log_.Contains(ANDROID_LOG_ERROR, kTag,
                              std::string("SetError: failed to write '") + kErrorFile + "'"));
    // The failed write stops nothing else.
    EXPECT_TRUE(std::regex_match(GetProperty(kProperty, ""), std::regex(kTime + " boom")));
    EXPECT_EQ(root_.ReadFile(kTrustyCopy), "tee\n");
}

// Whether the thread waits in the kernel: on a lock, or for a child process.
bool Sleeping(pid_t tid) {
    std::ifstream stat("/proc/self/task/" + std::to_string(tid) + "/stat");
    std::string line;
    std::getline(stat, line);
    return line.find(") S ") != std::string::npos;
}

// Writes `text` to the FIFO once a reader has it open.
bool Feed(const std::string& fifo, const std::string& text) {
    int fd = -1;
    if (!WaitFor([&] { return (fd = open(fifo.c_str(), O_WRONLY | O_NONBLOCK)) >= 0; })) {
        return false;
    }
    bool ok = write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size());
    return close(fd) == 0 && ok;
}

TEST_F(FpsInitInfoTest, SecondErrorWaitsUntilTheFirstLogCopyIsComplete) {
    // Each copy blocks on this FIFO until the test writes the trusted-OS log.
    ASSERT_EQ(mkfifo(root_.Path(kTrustyLog).c_str(), 0600), 0);
    std::thread first([&] { info_.SetError("first"); });
    EXPECT_TRUE(WaitFor([] { return !GetProperty(kProperty, "").empty(); }));
    std::atomic<pid_t> tid{0};
    std::thread second([&] {
        tid = static_cast<pid_t>(syscall(SYS_gettid));
        info_.SetError("second");
    });
    // Asleep, the second caller waits either on the record's lock (nothing published yet) or,
    // had the lock been let go during the first copy, in its own copy after publishing.
    EXPECT_TRUE(WaitFor([&] { return tid != 0 && Sleeping(tid); }));
    EXPECT_EQ(GetProperty(kProperty, "").find("second"), std::string::npos);

    EXPECT_TRUE(Feed(root_.Path(kTrustyLog), "tee: one\n"));
    first.join();
    EXPECT_TRUE(Feed(root_.Path(kTrustyLog), "tee: two\n"));
    second.join();
    EXPECT_EQ(root_.ReadFile(kTrustyCopy), "tee: two\n");
    EXPECT_TRUE(std::regex_match(GetProperty(kProperty, ""),
                                 std::regex(kTime + " first," + kTime + " second")));
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
