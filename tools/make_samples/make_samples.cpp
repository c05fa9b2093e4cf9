// Writes the sample backup files under samples/ with the library itself: a day of a device's
// authentication attempts as its AuthStatsG7 history saves them, a copy damaged the way flash
// corruption damages one (a flipped bit inside a record), an enrollment history and a
// finger-size history.
//
// usage: fp_make_samples OUTDIR
// The output is deterministic (fixed times, fixed pseudo-random sequence), so the committed
// samples can be checked against a fresh run.
#include <android-base/file.h>
#include <android/log.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "fp_utils/auth_stats.h"
#include "fp_utils/enroll_event_container.h"
#include "fp_utils/finger_size.h"
#include "history/backup_file.h"
#include "host/support/temp_root.h"

namespace {

using android::fp_utils::AuthEventG7;
using android::fp_utils::AuthStatsG7;

// A small fixed generator: the same samples on every machine and library version.
class Sequence {
  public:
    uint32_t Next() {
        state_ = state_ * 6364136223846793005ull + 1442695040888963407ull;
        return static_cast<uint32_t>(state_ >> 33);
    }
    int Between(int low, int high) { return low + static_cast<int>(Next() % (high - low + 1)); }

  private:
    uint64_t state_ = 20261012;
};

// A packed triplet with parts drawn from the ranges, low part first: the draws are made in
// a fixed order whatever compiler builds the tool.
int32_t Triplet(Sequence& seq, int high_min, int high_max, int middle_min, int middle_max,
                int low_min, int low_max) {
    int low = seq.Between(low_min, low_max);
    int middle = seq.Between(middle_min, middle_max);
    int high = seq.Between(high_min, high_max);
    return high * 1000000 + middle * 1000 + low;
}

void FillAttempt(AuthEventG7& e, Sequence& seq, int index) {
    e.time = 1760256000 + index * 1783 + seq.Between(0, 600);  // from 2025-10-12 08:00 UTC
    int roll = seq.Between(0, 99);
    e.lptw = static_cast<uint32_t>(seq.Between(0, 3));
    e.t_cov = static_cast<float>(seq.Between(5500, 10000)) / 100.0f;
    e.t_dist = static_cast<float>(seq.Between(0, 320)) / 100.0f;
    e.latency = seq.Between(180, 420);
    e.iq = seq.Between(18, 72);
    e.rawmean_delta = seq.Between(-400, 400);
    e.match_score = seq.Between(0, 90000);
    e.metric_1 = Triplet(seq, 200, 255, 200, 255, 200, 255);
    e.metric_2 = Triplet(seq, 60, 120, 190, 255, 190, 255);
    e.metric_3 = Triplet(seq, 80, 160, 0, 999, 0, 999);
    e.metric_4 = seq.Between(0, 5000);
    for (int i = 0; i < 5; ++i) {
        e.stitch_img_num_[i] = seq.Between(0, 6);
        e.stitch_img_area_[i] = e.stitch_img_num_[i] * seq.Between(20, 90);
    }
    if (roll < 62) {  // a match
        e.acquired_info = 1;
        e.auth_successful = true;
        e.fid = seq.Between(1, 3);
    } else if (roll < 82) {  // a rejection, for one of the usual reasons
        static const uint32_t kCodes[] = {0, 1013, 1014, 1164, 1137, 1513, 7};
        e.acquired_info = 1;
        e.rc = kCodes[seq.Between(0, 6)];
        if (e.rc == 1164) e.rawmean_delta = -seq.Between(1001, 1800);
        e.foreign_matter = seq.Between(0, 4) == 0 ? 1 : 0;
    } else if (roll < 92) {  // a partial touch
        e.acquired_info = 2;
        e.t_cov = static_cast<float>(seq.Between(1000, 5400)) / 100.0f;
    } else {  // other acquisition errors: insufficient, too fast, immobile
        static const int8_t kInfo[] = {3, 6, 11};
        e.acquired_info = kInfo[seq.Between(0, 2)];
    }
}

// Two users enrolling their fingers over a few weeks, with failed attempts and a removal.
void MakeEnrollments(Sequence& seq) {
    using android::fp_utils::EnrollEventG7;
    android::fp_utils::EnrollEventContainer events;
    events.Init("EnrollEventG7");
    int enrolled = 0;
    for (int i = 0; i < 14; ++i) {
        auto event = events.CreateEvent();
        auto& e = static_cast<EnrollEventG7&>(*event);
        e.time = 1757916000 + i * 86400 * 2 + seq.Between(0, 40000);  // from 2025-09-15
        e.gid = i < 9 ? 0 : 10;
        e.capture_count = seq.Between(8, 18);
        e.iq_avg = static_cast<float>(seq.Between(2200, 6800)) / 100.0f;
        e.rawmean_delta = static_cast<float>(seq.Between(-600, 600)) / 100.0f;
        for (int k = 0; k < 5; ++k) {
            e.stitch_img_num_[k] = seq.Between(0, 8);
            e.stitch_img_area_[k] = e.stitch_img_num_[k] * seq.Between(20, 90);
        }
        if (i == 7 || i == 12) {  // a finger removed in the settings
            e.op = android::fp_utils::DEL;
            e.enroll_successful = false;
            e.fid = 100 + i - 4;
            e.enrolled_fingers_count = --enrolled;
        } else if (seq.Between(0, 3) == 0) {  // an enrollment given up or refused
            e.op = android::fp_utils::ADD;
            e.rc = static_cast<uint32_t>(seq.Between(1, 4));
            e.capture_count = seq.Between(1, 6);
            e.enrolled_fingers_count = enrolled;
        } else {
            e.op = android::fp_utils::ADD;
            e.enroll_successful = true;
            e.fid = 100 + i;
            e.enrolled_fingers_count = ++enrolled;
        }
        events.AddEvent(event);
    }
}

// Finger sizes measured at each touch: width and height of the contact in panel units.
void MakeFingerSizes(Sequence& seq) {
    android::fp_utils::FingerSizes sizes("fingerprint", 64, true);
    for (int i = 0; i < 80; ++i) {
        auto finger = std::make_shared<android::fp_utils::FingerSize>();
        finger->op = seq.Between(0, 9) < 7 ? 1 : 2;
        finger->size.first = static_cast<float>(seq.Between(480, 980)) / 10.0f;
        finger->size.second =
            finger->size.first * static_cast<float>(seq.Between(105, 140)) / 100.0f;
        sizes.AddFinger(finger, i % 8 == 7);
    }
}

bool Copy(const std::string& from, const std::string& to, size_t flip_at = std::string::npos) {
    std::string bytes;
    if (!android::base::ReadFileToString(from, &bytes) || bytes.empty()) return false;
    if (flip_at != std::string::npos && flip_at < bytes.size()) bytes[flip_at] ^= 0x04;
    return android::base::WriteStringToFile(bytes, to, /*follow_symlinks=*/true);
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 2) {
        fprintf(stderr, "usage: fp_make_samples OUTDIR\n");
        return 2;
    }
    std::string out = argv[1];
    // The first start finds no file and says so; that is expected here.
    __android_log_set_minimum_priority(ANDROID_LOG_FATAL);
    android::fp_utils::host::TempRoot scratch;
    if (!scratch.ok()) return 1;
    std::string device_dir = scratch.Path("/data/vendor/fingerprint");

    // The HAL's history of the last 40 attempts, fed a little over a day of use.
    AuthStatsG7 stats("fingerprint", 40, true);
    stats.Init();
    Sequence seq;
    for (int i = 0; i < 52; ++i) {
        auto event = stats.CreateAttempt();
        FillAttempt(static_cast<AuthEventG7&>(*event), seq, i);
        stats.AddAttempt(event);
    }
    stats.SaveAttemptsToBackupFile();
    MakeEnrollments(seq);
    MakeFingerSizes(seq);

    std::string auth = device_dir + "/AuthStats.fingerprint";
    // The damaged copy has one bit flipped in the body of record #17.
    size_t offset = 0;
    for (int i = 0; i < 17; ++i) {
        offset += android::fp_utils::FormatBackupRecord(stats.attempts_[i]->ToBackupString()).size();
    }
    bool ok = Copy(auth, out + "/AuthStats.fingerprint") &&
              Copy(auth, out + "/AuthStats.fingerprint-damaged", offset + 40) &&
              Copy(device_dir + "/EnrollEventContainer", out + "/EnrollEventContainer") &&
              Copy(device_dir + "/FingerSizes.fingerprint", out + "/FingerSizes.fingerprint");
    if (!ok) {
        fprintf(stderr, "fp_make_samples: cannot write samples to %s\n", out.c_str());
        return 1;
    }
    return 0;
}
