// The authentication history's fast text and file work against the plain versions
// (tests/history/reference_history.h): same backup strings, same parses, same loaded records,
// same log lines and same file bytes, on the common forms and on every odd form the scanf
// parsers accept or refuse.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cerrno>
#include <cmath>
#include <cstring>
#include <limits>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "fp_utils/auth_stats.h"
#include "history/backup_file.h"
#include "tests/history/reference_history.h"
#include "tests/support/fixture.h"

namespace android {
namespace fp_utils {
namespace {

constexpr char kPath[] = "/data/vendor/fingerprint/AuthStats.diff";

template <typename T>
uint32_t Bits(T v) {
    uint32_t b = 0;
    memcpy(&b, &v, sizeof(v) < sizeof(b) ? sizeof(v) : sizeof(b));
    return b;
}

// Every field's bits, so NaN and -0.0 compare as what they are.
std::vector<uint64_t> Fields(const AuthEventG7& e) {
    std::vector<uint64_t> f = {static_cast<uint64_t>(e.time),
                               Bits(e.acquired_info),
                               e.auth_successful,
                               Bits(e.fid),
                               Bits(e.latency),
                               Bits(e.iq),
                               Bits(e.t_cov),
                               Bits(e.t_dist),
                               e.lptw,
                               e.rc,
                               Bits(e.rawmean_delta),
                               Bits(e.metric_1),
                               Bits(e.metric_2),
                               Bits(e.metric_3),
                               Bits(e.metric_4),
                               Bits(e.foreign_matter),
                               Bits(e.match_score)};
    for (int k = 0; k < 5; ++k) f.push_back(Bits(e.stitch_img_num_[k]));
    for (int k = 0; k < 5; ++k) f.push_back(Bits(e.stitch_img_area_[k]));
    return f;
}

class Generator {
  public:
    explicit Generator(uint32_t seed) : rng_(seed) {}

    // Small and negative values, every width of hexadecimal field, and the limits.
    int32_t Int() {
        const int32_t limits[] = {0, -1, 1, std::numeric_limits<int32_t>::min(),
                                  std::numeric_limits<int32_t>::max()};
        switch (rng_() % 5) {
            case 0:
                return static_cast<int32_t>(rng_() % 100);
            case 1:
                return -static_cast<int32_t>(rng_() % 2000);
            case 2:
                return limits[rng_() % 5];
            default:
                return static_cast<int32_t>(rng_() >> (rng_() % 32));
        }
    }

    // Times of this decade, before 1970, and beyond 32 bits either way.
    time_t Time() {
        const time_t limits[] = {0, std::numeric_limits<time_t>::min(),
                                 std::numeric_limits<time_t>::max(), time_t{1} << 32};
        switch (rng_() % 8) {
            case 0:
                return -static_cast<time_t>(rng_());
            case 1:
                return limits[rng_() % 4];
            case 2:
                return static_cast<time_t>((uint64_t{rng_()} << 32) | rng_());
            default:
                return 0x65e70000 + (rng_() % 99999);
        }
    }

    // Ordinary percentages and distances, values on exact ties of two decimals, signed
    // zeros, values too large or not finite for the fast writer.
    float Float() {
        const float odd[] = {0.125f,
                             -0.375f,
                             -0.0f,
                             -0.001f,
                             1e-40f,
                             std::numeric_limits<float>::denorm_min(),
                             -std::numeric_limits<float>::max(),
                             0.005f,
                             99.995f,
                             9999999999.995f,
                             167772.16f,
                             9.99999e12f,
                             1e13f,
                             -3e38f,
                             std::numeric_limits<float>::infinity(),
                             std::numeric_limits<float>::quiet_NaN()};
        if (rng_() % 8 == 0) return odd[rng_() % (sizeof(odd) / sizeof(odd[0]))];
        return std::uniform_real_distribution<float>(-150.0f, 150.0f)(rng_);
    }

    std::shared_ptr<AuthEventG7> Event() {
        auto e = std::make_shared<AuthEventG7>();
        e->time = Time();
        e->acquired_info = static_cast<int8_t>(rng_() % 3 == 0 ? Int() : 1);
        e->auth_successful = rng_() % 2;
        e->fid = Int();
        e->latency = Int();
        e->iq = Int();
        e->t_cov = Float();
        e->t_dist = Float();
        e->lptw = static_cast<uint32_t>(Int());
        e->rc = static_cast<uint32_t>(Int());
        for (int32_t* f : {&e->rawmean_delta, &e->metric_1, &e->metric_2, &e->metric_3,
                           &e->metric_4, &e->foreign_matter, &e->match_score}) {
            *f = Int();
        }
        for (int k = 0; k < 5; ++k) {
            e->stitch_img_num_[k] = Int();
            e->stitch_img_area_[k] = Int();
        }
        return e;
    }

    // A backup string in its common form, then changed the ways a damaged or hand-edited file
    // may be: blanks, signs, repeated or capital prefixes, long digit runs, other float forms,
    // text before it (the base pattern is not anchored), missing or extra fields, NULs.
    std::string Text() {
        std::string text = Event()->ToBackupString();
        const int edits = rng_() % 3 == 0 ? 0 : 1 + rng_() % 2;
        for (int i = 0; i < edits; ++i) {
            const size_t at = rng_() % (text.size() + 1);
            const char* inserts[] = {
                " ",  "+",  "-",       "0x",   "0X",        "00000000000",
                "e5", ",",  "x",       "F",    "nan",       "",  // a NUL, inserted below
                ".",  "\n", "1.5e-3,", "0x1,", "ffffffffff"};
            const size_t pick = rng_() % (sizeof(inserts) / sizeof(inserts[0]));
            switch (rng_() % 4) {
                case 0:
                    text.erase(at, 1 + rng_() % 4);
                    break;
                case 1:
                    text.insert(at, pick == 11 ? std::string(1, '\0') : std::string(inserts[pick]));
                    break;
                case 2:
                    text = "junk,0x" + text;
                    break;
                default:
                    text.resize(at);
                    break;
            }
        }
        return text;
    }

    std::mt19937& rng() { return rng_; }

  private:
    std::mt19937 rng_;
};

class AuthHistoryDifferential : public testing::FpUtilsTest {};

TEST_F(AuthHistoryDifferential, BackupStringsMatchPrintf) {
    Generator gen(1);
    for (int i = 0; i < 20000; ++i) {
        const auto e = gen.Event();
        ASSERT_EQ(testing::ReferenceAuthEventG7BackupString(*e), e->ToBackupString()) << i;
        const AuthEvent& base = *e;
        ASSERT_EQ(testing::ReferenceAuthEventBackupString(base), base.AuthEvent::ToBackupString())
            << i;
    }
}

// Parses the same text both ways from the same starting record and errno; the results,
// every field, the text left over and the log lines must agree.
TEST_F(AuthHistoryDifferential, ParsersMatchScanfOnCommonAndOddForms) {
    Generator gen(2);
    for (int i = 0; i < 4000; ++i) {
        const std::string text = gen.Text();
        const auto start = gen.Event();
        const int start_errno = static_cast<int>(gen.rng()() % 3) * EINVAL;
        AuthEventG7 fast = *start;
        AuthEventG7 plain = *start;
        std::string fast_text = text;
        std::string plain_text = text;
        log_.Clear();
        errno = start_errno;
        const bool fast_ok = i % 2 ? fast.LoadFromBackupString(fast_text)
                                   : fast.AuthEvent::LoadFromBackupString(fast_text);
        const auto fast_log = log_.Lines();
        log_.Clear();
        errno = start_errno;
        const bool plain_ok = i % 2 ? testing::ReferenceLoadAuthEventG7(plain, plain_text)
                                    : testing::ReferenceLoadAuthEvent(plain, plain_text);
        ASSERT_EQ(plain_ok, fast_ok) << "text '" << text << "'";
        ASSERT_EQ(Fields(plain), Fields(fast)) << "text '" << text << "'";
        ASSERT_EQ(plain_text, fast_text) << "text '" << text << "'";
        ASSERT_EQ(log_.Lines(), fast_log) << "text '" << text << "'";
    }
}

// Files of good records, with odd heads and bodies, a bad checksum or a cut end, loaded by
// Init and by the plain loader into histories of a random limit.
TEST_F(AuthHistoryDifferential, StartUpLoadMatchesThePlainLoader) {
    Generator gen(3);
    for (int i = 0; i < 150; ++i) {
        std::string file;
        const int records = static_cast<int>(gen.rng()() % 40);
        for (int r = 0; r < records; ++r) {
            const std::string body =
                gen.rng()() % 5 == 0 ? gen.Text() : gen.Event()->ToBackupString();
            char head[64];
            const uint32_t crc =
                testing::ReferenceCrc32(body.data(), body.size()) + (gen.rng()() % 60 == 0 ? 1 : 0);
            const char* forms[] = {"0x%x,0x%zx,",  "0x%X,0x%zX,",  "0x0x%x,0x%zx,",
                                   "0x %x,0x%zx,", "0x%x,0x-%zx,", "0x%08x,0x%020zx,"};
            const int form = gen.rng()() % 10 == 0 ? 1 + gen.rng()() % 5 : 0;
            snprintf(head, sizeof(head), forms[form], crc,
                     form == 4 ? static_cast<size_t>(-static_cast<ptrdiff_t>(body.size()))
                               : body.size());
            file += head + body;
        }
        if (gen.rng()() % 4 == 0 && !file.empty()) file.resize(gen.rng()() % file.size());
        root_.WriteFile(kPath, file);
        const uint32_t limit = gen.rng()() % 3 == 0 ? 1 + gen.rng()() % 10 : 0xFFFFFFFF;

        log_.Clear();
        AuthStatsG7 fast("diff", limit, true);
        fast.Init();
        const auto fast_log = log_.Lines();
        log_.Clear();
        AuthStatsG7 plain("diff", limit, true);
        // Init makes the directory first, which leaves errno at EEXIST for the parsers' logs.
        ASSERT_NE(0, mkdir(root_.Path("/data/vendor/fingerprint/").c_str(), 0600));
        testing::ReferenceLoadAuthStats(plain, kPath);
        ASSERT_EQ(log_.Lines(), fast_log) << "file '" << file << "'";
        ASSERT_EQ(plain.attempts_.size(), fast.attempts_.size()) << "file '" << file << "'";
        for (size_t r = 0; r < plain.attempts_.size(); ++r) {
            ASSERT_EQ(Fields(static_cast<const AuthEventG7&>(*plain.attempts_[r])),
                      Fields(static_cast<const AuthEventG7&>(*fast.attempts_[r])))
                << "record " << r << " of file '" << file << "'";
        }
        ASSERT_EQ(Bits(plain.avg_rawmean_delta_), Bits(fast.avg_rawmean_delta_));
        ASSERT_EQ(Bits(plain.avg_iq_), Bits(fast.avg_iq_));
        ASSERT_EQ(plain.auth_rejects_, fast.auth_rejects_);

        // The rewrite of what was loaded.
        fast.SaveAttemptsToBackupFile();
        const std::string fast_bytes = root_.ReadFile(kPath);
        testing::ReferenceSaveAuthStats(fast, kPath);
        ASSERT_EQ(root_.ReadFile(kPath), fast_bytes);
    }
}

// The reader over a file on disk (read whole, common heads from memory) against the same
// reader over the same bytes through fmemopen, which can only go the stdio way: every step,
// offset, length, checksum, byte count and body, and where reading ends.
TEST_F(AuthHistoryDifferential, ReaderMatchesTheStdioReaderStepByStep) {
    Generator gen(5);
    for (int i = 0; i < 300; ++i) {
        std::string file;
        const int records = static_cast<int>(gen.rng()() % 12);
        for (int r = 0; r < records; ++r) {
            const std::string body = gen.Text();
            const char* forms[] = {"0x%x,0x%zx,", "0x0x%x,0x%zx,", " 0x%x,0x%zx,", "0x%x,0x%zx"};
            const int form = gen.rng()() % 8 == 0 ? 1 + gen.rng()() % 3 : 0;
            char head[64];
            snprintf(head, sizeof(head), forms[form],
                     testing::ReferenceCrc32(body.data(), body.size()),
                     body.size() + (gen.rng()() % 10 == 0 ? 5 : 0));
            file += head + body;
        }
        if (gen.rng()() % 3 == 0 && !file.empty()) file.resize(gen.rng()() % file.size());
        root_.WriteFile(kPath, file);
        BackupReader from_disk(UniqueFile(fopen(root_.Path(kPath).c_str(), "r")));
        BackupReader through_stdio(UniqueFile(fmemopen(file.data(), file.size(), "r")));
        for (int step = 0;; ++step) {
            BackupRecord a;
            BackupRecord b;
            const BackupReader::Step sa = from_disk.Next(&a);
            const BackupReader::Step sb = through_stdio.Next(&b);
            ASSERT_EQ(sb, sa) << "step " << step << " of '" << file << "'";
            ASSERT_EQ(b.offset, a.offset) << "step " << step << " of '" << file << "'";
            if (sa != BackupReader::kRecord) break;
            ASSERT_EQ(std::make_tuple(b.stored_crc, b.length, b.computed_crc, b.bytes_read, b.body),
                      std::make_tuple(a.stored_crc, a.length, a.computed_crc, a.bytes_read, a.body))
                << "step " << step << " of '" << file << "'";
        }
    }
}

// G7 records with base records among them, so that both record classes write through the
// writer's buffer.
TEST_F(AuthHistoryDifferential, RewriteMatchesThePlainWriter) {
    Generator gen(4);
    for (int i = 0; i < 50; ++i) {
        AuthStatsG7 stats("diff", 0xFFFFFFFF, true);
        stats.backup_path_ = kPath;
        const int records = static_cast<int>(gen.rng()() % 200);
        for (int r = 0; r < records; ++r) {
            const auto e = gen.Event();
            if (gen.rng()() % 8 == 0) {
                stats.AddAttempt(std::make_shared<AuthEvent>(static_cast<const AuthEvent&>(*e)));
            } else {
                stats.AddAttempt(e);
            }
        }
        stats.SaveAttemptsToBackupFile();
        const std::string fast = root_.ReadFile(kPath);
        testing::ReferenceSaveAuthStats(stats, kPath);
        ASSERT_EQ(root_.ReadFile(kPath), fast) << i;
    }
}

}  // namespace
}  // namespace fp_utils
}  // namespace android
