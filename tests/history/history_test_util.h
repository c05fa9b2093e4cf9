// Helpers shared by the history tests: a dump's text and backup records made independently of
// the library's writer.
#pragma once

#include <cstdio>
#include <string>

#include "fp_utils/crc32.h"

namespace android {
namespace fp_utils {
namespace testing {

// What `dump(fd)` writes to a descriptor.
template <typename DumpFn>
std::string DumpText(DumpFn dump) {
    FILE* tmp = tmpfile();
    if (tmp == nullptr) return "<no temporary file>";
    dump(fileno(tmp));
    rewind(tmp);
    std::string out;
    char buf[512];
    size_t n;
    while ((n = fread(buf, 1, sizeof(buf), tmp)) > 0) out.append(buf, n);
    fclose(tmp);
    return out;
}

// One backup record carrying `body`, with a correct checksum unless `crc_delta` spoils it.
inline std::string BackupRecordOf(const std::string& body, uint32_t crc_delta = 0) {
    char head[40];
    snprintf(head, sizeof(head), "0x%x,0x%zx,", crc32(body.data(), body.size()) + crc_delta,
             body.size());
    return head + body;
}

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
