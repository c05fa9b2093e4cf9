// Android.bp and the CMake build compile the same sources, so that the two builds cannot drift
// apart: each module of Android.bp is paired with the CMake targets it mirrors, and their
// compiled sources must be the same files. A CMake source "X_host.cpp" is the host half of a
// piece whose device half "X_android.cpp" takes its place in Android.bp.
#include <android-base/file.h>
#include <android-base/strings.h>
#include <gtest/gtest.h>

#include <cstring>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "tests/build/blueprint.h"

namespace android {
namespace fp_utils {
namespace testing {
namespace {

using SourceSet = std::set<std::string>;

struct Mirror {
    const char* module;                // in Android.bp
    std::vector<std::string> targets;  // in the CMake build
};

const Mirror kMirrors[] = {
    {"libfp_utils_internal", {"fp_utils_internal"}},
    {"libfp_utils_host_support", {"fp_utils_host_support"}},
    {"fp_utils_exposure_test", {"exposure_test", "fp_utils_test_support"}},
    {"fp_utils_geometry_test", {"geometry_test", "fp_utils_test_support"}},
};

bool Compiled(const std::string& path) {
    return base::EndsWith(path, ".cpp") || base::EndsWith(path, ".cc") || base::EndsWith(path, ".c");
}

// What each CMake target compiles, relative to the top of the tree, with host halves named by
// their device halves. The build writes one line per target: "target<TAB>dir<TAB>a;b;...".
std::map<std::string, SourceSet> CMakeSources() {
    std::string text;
    EXPECT_TRUE(base::ReadFileToString(CMAKE_SOURCES_FILE, &text)) << CMAKE_SOURCES_FILE;
    const std::string top = std::string(PROJECT_DIR) + "/";
    std::map<std::string, SourceSet> sources;
    for (const auto& line : base::Split(text, "\n")) {
        std::vector<std::string> fields = base::Split(line, "\t");
        if (fields.size() != 3) continue;
        for (std::string path : base::Split(fields[2], ";")) {
            if (!Compiled(path)) continue;
            if (path[0] != '/') path = fields[1] + "/" + path;
            if (base::StartsWith(path, top)) path = path.substr(top.size());
            if (base::EndsWith(path, "_host.cpp")) {
                path = path.substr(0, path.size() - strlen("_host.cpp")) + "_android.cpp";
            }
            sources[fields[0]].insert(path);
        }
    }
    return sources;
}

Blueprint ReadAndroidBp() {
    Blueprint blueprint;
    std::string text, error;
    EXPECT_TRUE(base::ReadFileToString(std::string(PROJECT_DIR) + "/Android.bp", &text));
    EXPECT_TRUE(ParseBlueprint(text, &blueprint, &error)) << error;
    return blueprint;
}

std::string Difference(const SourceSet& a, const SourceSet& b) {
    std::vector<std::string> only;
    for (const auto& path : a) {
        if (b.count(path) == 0) only.push_back(path);
    }
    return only.empty() ? "(none)" : base::Join(only, ", ");
}

TEST(AndroidBpTest, EveryModuleCompilesWhatItsCMakeTargetsCompile) {
    const Blueprint blueprint = ReadAndroidBp();
    const std::map<std::string, SourceSet> cmake = CMakeSources();
    for (const Mirror& mirror : kMirrors) {
        const BlueprintModule* module = blueprint.Module(mirror.module);
        ASSERT_NE(module, nullptr) << mirror.module << " is missing from Android.bp";
        std::vector<std::string> listed = blueprint.Sources(*module);
        SourceSet bp(listed.begin(), listed.end());
        EXPECT_EQ(bp.size(), listed.size()) << mirror.module << " lists a source twice";
        SourceSet host;
        for (const auto& target : mirror.targets) {
            auto it = cmake.find(target);
            ASSERT_NE(it, cmake.end()) << "no CMake target " << target;
            host.insert(it->second.begin(), it->second.end());
        }
        EXPECT_EQ(bp, host) << mirror.module
                            << " lacks what CMake compiles: " << Difference(host, bp)
                            << "; lists what CMake does not compile: " << Difference(bp, host);
    }
}

TEST(AndroidBpTest, TheDeviceLibraryIsTheInternalLibraryLinkedWhole) {
    const Blueprint blueprint = ReadAndroidBp();
    const BlueprintModule* library = blueprint.Module("libfp_utils");
    ASSERT_NE(library, nullptr);
    EXPECT_EQ(library->type, "cc_library_shared");
    EXPECT_EQ(library->properties.Strings("whole_static_libs"),
              std::vector<std::string>{"libfp_utils_internal"});
}

}  // namespace
}  // namespace testing
}  // namespace fp_utils
}  // namespace android
