// docs/reliability.md names the tests that show what it promises: each of them is there, and no
// promise is without one.
#include <gtest/gtest.h>

#include <filesystem>
#include <regex>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "docs/document_text.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

const fs::path kRoot(SOURCE_PATH);

constexpr const char* kTestName = "`([A-Z][A-Za-z0-9]*\\.[A-Z][A-Za-z0-9_]*)`";
constexpr const char* kSoakName = "`soak:([a-z_]+)`";

std::string Promises() {
    return TextOf(kRoot / "docs/reliability.md");
}

}  // namespace

TEST(NamedTests, EachTestIsThere) {
    const std::set<std::string> tests = TestsOfTheTree(kRoot);
    const std::vector<std::string> named = AllOf(Promises(), kTestName);
    EXPECT_GE(named.size(), 40u);
    for (const std::string& test : named) EXPECT_TRUE(tests.contains(test)) << test;
}

TEST(NamedTests, EachKindOfSessionIsThere) {
    const std::set<std::string> kinds = FoundIn(kRoot / "soak", ".py", "@kind\\ndef (\\w+)\\(");
    const std::vector<std::string> named = AllOf(Promises(), kSoakName);
    EXPECT_GE(named.size(), 25u);
    for (const std::string& kind : named) EXPECT_TRUE(kinds.contains(kind)) << kind;
}

TEST(NamedTests, EachPromiseNamesOneThatShowsIt) {
    std::istringstream document(Promises());
    bool inTable = false;
    size_t promises = 0;
    for (std::string line; std::getline(document, line);) {
        if (!line.starts_with("|")) inTable = false;
        if (inTable && !line.starts_with("|---")) {
            EXPECT_TRUE(!AllOf(line, kTestName).empty() || !AllOf(line, kSoakName).empty()) << line;
            ++promises;
        }
        if (line.ends_with("| shown by |")) inTable = true;
    }
    EXPECT_GE(promises, 30u);
}

}  // namespace receiver
