// Plain versions of the authentication history's file work, written straight from the rules
// without any care for speed: scanf and printf for every field, a regular expression built for
// every record, the checksum a byte at a time, one fprintf per record. The library's versions
// must load the same records, log the same lines and write the same bytes.
#pragma once

#include <string>

#include "fp_utils/auth_event.h"
#include "fp_utils/auth_stats.h"

namespace android {
namespace fp_utils {
namespace testing {

uint32_t ReferenceCrc32(const void* data, size_t length);

// The record parsers, cutting the base part off `text` by a regular expression.
bool ReferenceLoadAuthEvent(AuthEvent& event, std::string& text);
bool ReferenceLoadAuthEventG7(AuthEventG7& event, std::string& text);
// The record's backup string, formatted field by field with printf.
std::string ReferenceAuthEventBackupString(const AuthEvent& event);
std::string ReferenceAuthEventG7BackupString(const AuthEventG7& event);

// The start-up load of `stats`'s backup file at `device_path` (under the current root):
// fscanf for each head, fread for each body, records made by stats.CreateAttempt() and added
// by stats.AddAttempt().
void ReferenceLoadAuthStats(AuthStats& stats, const std::string& device_path);
// The whole-file rewrite: fopen, one fprintf per record, fclose.
void ReferenceSaveAuthStats(AuthStats& stats, const std::string& device_path);

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
