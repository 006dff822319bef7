// The documents name files and folders of the tree: each of them is there.
#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "docs/document_text.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

const fs::path kRoot(SOURCE_PATH);

std::vector<fs::path> Documents() {
    std::vector<fs::path> documents = {kRoot / "README.md", kRoot / "CONTRIBUTING.md",
                                       kRoot / "fuzz/README.md"};
    for (const auto& entry : fs::directory_iterator(kRoot / "docs")) {
        if (entry.path().extension() == ".md") documents.push_back(entry.path());
    }
    return documents;
}

}  // namespace

TEST(NamedFiles, EveryLinkLeadsToAFile) {
    size_t links = 0;
    for (const fs::path& document : Documents()) {
        for (const std::string& target : AllOf(TextOf(document), "\\]\\(([^)#:]+)(?:#[^)]*)?\\)")) {
            EXPECT_TRUE(fs::exists(document.parent_path() / target))
                << document.filename() << " links to " << target;
            ++links;
        }
    }
    EXPECT_GE(links, 20u);
}

TEST(NamedFiles, EveryPathOfTheTreeIsThere) {
    size_t paths = 0;
    for (const fs::path& document : Documents()) {
        for (const std::string& path :
             AllOf(TextOf(document),
                   "`((?:\\.ci|src|client|tools|testing|tests|bench|fuzz|soak|demo|cmake|packaging|"
                   "scripts|docs)/[A-Za-z0-9_./-]*)")) {
            EXPECT_TRUE(fs::exists(kRoot / path)) << document.filename() << " names " << path;
            ++paths;
        }
    }
    EXPECT_GE(paths, 60u);
}

}  // namespace receiver
