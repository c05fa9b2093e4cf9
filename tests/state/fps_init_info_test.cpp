#include "fp_utils/fps_init_info.h"

#include <android-base/file.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>
#include <unistd.h>

#include <atomic>
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

// Polls `done` for up to 10 s.
template <typename F>
bool WaitFor(F done) {
    for (int i = 0; i < 10000 && !done(); ++i) usleep(1000);
    return done();
}

class FpsInitInfoTest : public testing::FpUtilsTest {
  protected:
    // A zone far from UTC, so that a time in UTC cannot pass for local time.
    void SetUp() override { setenv("TZ", "FPT-5:30", 1), tzset(); }
    void TearDown() override { setenv("TZ", "UTC", 1), tzset(); }
    std::string Dump() {
        int fd = open(root_.Path("/dump").c_str(), O_CREAT | O_TRUNC | O_WRONLY, 0600);
        info_.Dump(fd), close(fd);
        return root_.ReadFile("/dump");
    }

    FpsInitInfo info_;
    testing::ScopedProperty property_{kProperty, ""};
};

TEST_F(FpsInitInfoTest, StartUpThenErrorsAsDumpedAndPublished) {
    // Changes the state 30 ms after the previous change; returns the time just before.
    auto set = [&](int state) {
        usleep(30000);
        int64_t before = NowUs();
        info_.SetState(static_cast<FpsInitInfo::State>(state));
        return before;
    };
    EXPECT_EQ(Dump(), "Unexpected state:0\n");
    set(FpsInitInfo::kStarting);
    EXPECT_EQ(Dump(), "Unexpected state:1\n");
    int64_t a = set(FpsInitInfo::kStarting), b = NowUs();  // the start that counts
    set(7);                                                // stamps nothing
    EXPECT_EQ(Dump(), "Unexpected state:7\n");
    int64_t c = set(FpsInitInfo::kSucceeded), d = NowUs();
    std::smatch m;
    std::string dump = Dump();
    std::regex success("Initialization successful, start_time:" + kTime +
                       R"(\.(\d{3}), latency:(\d+)ms\n)");
    ASSERT_TRUE(std::regex_match(dump, m, success)) << dump;
    int64_t start_ms = ParseLocal(m[1]) * 1000 + std::stoi(m[2]);
    EXPECT_TRUE(start_ms >= a / 1000 && start_ms <= b / 1000) << dump;
    EXPECT_TRUE(std::stoi(m[3]) >= (c - b) / 1000 && std::stoi(m[3]) <= (d - a) / 1000) << dump;

    // The first error file write meets a symbolic link, which is not followed; all else goes on.
    ASSERT_EQ(symlink(root_.Path("/victim").c_str(), root_.Path(kErrorFile).c_str()), 0);
    root_.WriteFile(kTrustyLog, "tee: one\n");
    info_.SetError("sensor reset failed");
    EXPECT_FALSE(root_.Exists("/victim"));
    EXPECT_EQ(root_.ReadFile(kTrustyCopy), "tee: one\n");
    unlink(root_.Path(kErrorFile).c_str());
    info_.SetError("calibration missing");

    std::string text = root_.ReadFile(kErrorFile);
    ASSERT_TRUE(std::regex_match(
        text, m, std::regex(kTime + " sensor reset failed," + kTime + " calibration missing")))
        << text;
    for (int i : {1, 2}) EXPECT_NEAR(ParseLocal(m[i]), time(nullptr), 5) << text;
    EXPECT_EQ(GetProperty(kProperty, ""), text);
    EXPECT_EQ(Dump(), "Error:" + text + "\n");
    EXPECT_EQ(root_.ReadFile(kTrustyCopy), "tee: one\n");  // replaced, not appended
    auto error = [](std::string t) { return testing::LogLine{ANDROID_LOG_ERROR, kTag, t}; };
    EXPECT_EQ(log_.Lines(kTag),
              (std::vector<testing::LogLine>{
                  error("SetError: error_str_:" + text.substr(0, text.find(','))),
                  error(std::string("SetError: failed to write '") + kErrorFile + "'"),
                  error("SetError: error_str_:" + text)}));
}

TEST_F(FpsInitInfoTest, SecondErrorWaitsUntilTheFirstLogCopyIsComplete) {
    // Each copy blocks on this FIFO until the test opens and closes its writing end.
    const std::string fifo = root_.Path(kTrustyLog);
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    auto release_copy = [&] {
        return WaitFor([&] {
            int fd = open(fifo.c_str(), O_WRONLY | O_NONBLOCK);  // fails until a copy reads
            return fd >= 0 && close(fd) == 0;
        });
    };
    std::thread first([&] { info_.SetError("first"); });
    EXPECT_TRUE(WaitFor([] { return !GetProperty(kProperty, "").empty(); }));
    std::atomic<pid_t> tid{0};
    std::thread second([&] { tid = gettid(), info_.SetError("second"); });
    // Asleep, the second caller waits either on the record's lock (nothing published yet) or,
    // had the lock been let go during the first copy, in its own copy after publishing.
    EXPECT_TRUE(WaitFor([&] {
        std::string stat;
        android::base::ReadFileToString("/proc/self/task/" + std::to_string(tid) + "/stat", &stat);
        return tid != 0 && stat.find(") S ") != std::string::npos;
    }));
    EXPECT_EQ(GetProperty(kProperty, "").find("second"), std::string::npos);
    EXPECT_TRUE(release_copy());
    first.join();
    EXPECT_TRUE(release_copy());
    second.join();
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
