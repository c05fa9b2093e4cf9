// libfp_utils.so exports the public classes and functions of include/fp_utils/ and nothing
// else: no internal helper, no std:: template instantiation.
//
// The allowed names come from the public headers themselves: every class, struct or function
// declared FP_UTILS_EXPORT, qualified by the namespaces around it. A new public class is
// allowed by marking it FP_UTILS_EXPORT in its header under include/fp_utils/; nothing here
// changes. A symbol of such a class is any whose demangled name starts with the class's
// qualified name (members, nested lambdas) or that is its vtable or a thunk into it.
#include <dirent.h>
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <fstream>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

namespace {

// The tokens of a source text (words, "::" and single characters), leaving out comments,
// string literals and preprocessor lines.
std::vector<std::string> Tokens(const std::string& text) {
    static const std::regex noise(
        R"(//[^\n]*|/\*[\s\S]*?\*/|"(\\.|[^"\\])*"|(^|\n)[ \t]*#(\\\n|[^\n])*)");
    static const std::regex token(R"(\w+|::|\S)");
    const std::string code = std::regex_replace(text, noise, " ");
    std::vector<std::string> tokens;
    for (std::sregex_iterator it(code.begin(), code.end(), token), end; it != end; ++it) {
        tokens.push_back(it->str());
    }
    return tokens;
}

// What one header marks FP_UTILS_EXPORT.
std::vector<std::string> MarkedIn(const std::string& header_text) {
    std::vector<std::string> t = Tokens(header_text);
    std::vector<std::string> scopes;  // namespace names; "" for any other braces
    std::vector<std::string> marked;
    for (size_t i = 0; i < t.size(); ++i) {
        if (t[i] == "namespace") {
            std::string name;
            for (++i; i < t.size() && t[i] != "{"; ++i) name += t[i];
            scopes.push_back(name);
        } else if (t[i] == "{") {
            scopes.push_back("");
        } else if (t[i] == "}" && !scopes.empty()) {
            scopes.pop_back();
        } else if (t[i] == "FP_UTILS_EXPORT" && i + 1 < t.size()) {
            bool type = i > 0 && (t[i - 1] == "class" || t[i - 1] == "struct");
            size_t at = i + 1;
            if (!type) {
                while (at + 1 < t.size() && t[at + 1] != "(") ++at;  // the function's name
            }
            std::string qualified;
            for (const std::string& scope : scopes) {
                if (!scope.empty()) qualified += scope + "::";
            }
            marked.push_back(qualified + t[at]);
        }
    }
    return marked;
}

std::vector<std::string> MarkedInPublicHeaders() {
    std::vector<std::string> marked;
    DIR* dir = opendir(PUBLIC_HEADERS_DIR);
    if (dir == nullptr) return marked;
    while (const dirent* entry = readdir(dir)) {
        std::string name = entry->d_name;
        if (name.size() < 3 || name.compare(name.size() - 2, 2, ".h") != 0) continue;
        std::ifstream in(std::string(PUBLIC_HEADERS_DIR) + "/" + name);
        std::stringstream text;
        text << in.rdbuf();
        for (std::string& m : MarkedIn(text.str())) marked.push_back(m);
    }
    closedir(dir);
    return marked;
}

// Demangled names of the symbols the library defines: those of its dynamic symbol table (what
// a HAL may link to) or, with `dynamic` false, all of them, hidden ones included.
std::vector<std::string> DefinedSymbols(bool dynamic) {
    std::vector<std::string> symbols;
    std::string command =
        std::string("nm -C --defined-only ") + (dynamic ? "-D '" : "'") + FP_UTILS_SO + "'";
    FILE* nm = popen(command.c_str(), "r");
    if (nm == nullptr) return symbols;
    char line[4096];
    while (fgets(line, sizeof(line), nm) != nullptr) {
        std::string text = line;
        if (!text.empty() && text.back() == '\n') text.pop_back();
        // "<address> <type> <name>"
        size_t type = text.find(' ');
        if (type == std::string::npos || type + 3 > text.size()) continue;
        symbols.push_back(text.substr(type + 3));
    }
    EXPECT_EQ(0, pclose(nm)) << command;
    return symbols;
}

// The name a symbol belongs to: vtables and thunks belong to their class.
std::string Owner(std::string symbol) {
    for (const char* prefix : {"vtable for ", "VTT for ", "non-virtual thunk to ",
                               "virtual thunk to ", "guard variable for "}) {
        if (symbol.rfind(prefix, 0) == 0) return symbol.substr(strlen(prefix));
    }
    return symbol;
}

bool BelongsTo(const std::string& symbol, const std::string& name) {
    std::string owner = Owner(symbol);
    if (owner.rfind(name, 0) != 0) return false;
    return owner.size() == name.size() || owner.compare(name.size(), 2, "::") == 0 ||
           owner[name.size()] == '(';
}

TEST(ExportedSymbolsTest, OnlyWhatThePublicHeadersMarkIsExported) {
    std::vector<std::string> marked = MarkedInPublicHeaders();
    ASSERT_FALSE(marked.empty()) << "no FP_UTILS_EXPORT found under " << PUBLIC_HEADERS_DIR;
    std::vector<std::string> symbols = DefinedSymbols(/*dynamic=*/true);
    ASSERT_FALSE(symbols.empty()) << FP_UTILS_SO << " exports nothing";
    for (const std::string& symbol : symbols) {
        bool allowed = false;
        for (const std::string& m : marked) allowed = allowed || BelongsTo(symbol, m);
        EXPECT_TRUE(allowed) << "exported but not public: " << symbol;
    }
}

bool AnyBelongsTo(const std::vector<std::string>& symbols, const std::string& name) {
    for (const std::string& symbol : symbols) {
        if (BelongsTo(symbol, name)) return true;
    }
    return false;
}

// A marked class whose code is all inline (an interface, plain data) has no symbols at all;
// every other one must be reachable by a HAL.
TEST(ExportedSymbolsTest, EveryMarkedNameWithCodeIsExported) {
    std::vector<std::string> all = DefinedSymbols(/*dynamic=*/false);
    std::vector<std::string> exported = DefinedSymbols(/*dynamic=*/true);
    for (const std::string& m : MarkedInPublicHeaders()) {
        if (!AnyBelongsTo(all, m)) continue;
        EXPECT_TRUE(AnyBelongsTo(exported, m)) << "marked FP_UTILS_EXPORT but not exported: " << m;
    }
}

TEST(ExportedSymbolsTest, MarksAreQualifiedByTheirNamespaces) {
    const char* header = R"(
        #include "fp_utils/export.h"
        // class FP_UTILS_EXPORT Commented;
        namespace android {
        namespace fp_utils {
        class Forward;
        class FP_UTILS_EXPORT Outer {
            struct Inner { int x; };
        };
        FP_UTILS_EXPORT uint32_t crc32(const void* data, size_t length);
        }  // namespace fp_utils
        }  // namespace android
        namespace aidl::android::hardware::thermal {
        struct FP_UTILS_EXPORT Wrapper {};
        }
    )";
    EXPECT_EQ((std::vector<std::string>{"android::fp_utils::Outer", "android::fp_utils::crc32",
                                        "aidl::android::hardware::thermal::Wrapper"}),
              MarkedIn(header));
}

}  // namespace
