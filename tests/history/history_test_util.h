// Helpers of the history tests: what a dump writes, backup records made independently of the
// library's writer, and producers running at once.
#pragma once

#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "fp_utils/crc32.h"
#include "host/support/dump_text.h"

namespace android::fp_utils::testing {

// What history.Dump(fd, nullptr, 0) writes.
template <typename History>
std::string DumpText(History& history) {
    return host::CaptureDump([&history](int fd) { history.Dump(fd, nullptr, 0); });
}

// One record carrying `body`; `crc_delta` spoils its checksum.
inline std::string BackupRecordOf(const std::string& body, uint32_t crc_delta = 0) {
    char head[40];
    snprintf(head, sizeof(head), "0x%x,0x%zx,", crc32(body.data(), body.size()) + crc_delta,
             body.size());
    return head + body;
}

// The file a history holding `items` should have written.
template <typename Items>
std::string BackupFileOf(const Items& items) {
    std::string out;
    for (const auto& item : items) out += BackupRecordOf(item->ToBackupString());
    return out;
}

// Runs body(0) to body(n - 1) on n threads at once and waits for all of them.
template <typename Body>
void OnThreads(int n, Body body) {
    std::vector<std::thread> threads;
    for (int t = 0; t < n; ++t) threads.emplace_back(body, t);
    for (auto& thread : threads) thread.join();
}

}  // namespace android::fp_utils::testing
