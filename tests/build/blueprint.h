// A reader of Blueprint files (Android.bp), enough to look at the modules a vendor tree builds.
//
// Reads the whole language as bpfmt accepts it: comments, variables (`x = ...`, `x += ...`),
// modules `type { name: value, ... }`, strings, integers, booleans, lists, maps and `+`
// between values of one kind. Variables are resolved as they are read. Evaluation stops at
// the first error, which names its line.
#pragma once

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace android {
namespace fp_utils {
namespace testing {

struct BlueprintValue {
    enum Kind { kString, kInt, kBool, kList, kMap };
    Kind kind = kString;
    std::string text;  // a string's text, or the digits of an integer, or "true"/"false"
    std::vector<BlueprintValue> items;                               // a list
    std::vector<std::pair<std::string, BlueprintValue>> properties;  // a map, in file order

    // The property `name` of a map, or null.
    const BlueprintValue* Find(const std::string& name) const;
    // The strings of a list property, or nothing when it is absent or not a list of strings.
    std::vector<std::string> Strings(const std::string& name) const;
};

struct BlueprintModule {
    std::string type;  // "cc_library_shared", ...
    BlueprintValue properties;
};

struct Blueprint {
    std::vector<BlueprintModule> modules;

    // The module named `name`, or null.
    const BlueprintModule* Module(const std::string& name) const;
    // The module's `srcs` followed by those of the modules it names in `defaults`.
    std::vector<std::string> Sources(const BlueprintModule& module) const;
};

// Parses `text`; on failure returns false and says why, with the line, in `error`.
bool ParseBlueprint(const std::string& text, Blueprint* blueprint, std::string* error);

}  // namespace testing
}  // namespace fp_utils
}  // namespace android
