// What the tests of the documents read of the tree.
#pragma once

#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <set>
#include <string>
#include <utility>
#include <vector>

namespace receiver {

inline std::string TextOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

// What the pattern's one group holds wherever it matches.
inline std::vector<std::string> AllOf(const std::string& text, const char* pattern) {
    const std::regex regex(pattern);
    std::vector<std::string> found;
    for (std::sregex_iterator at(text.begin(), text.end(), regex), end; at != end; ++at) {
        found.push_back((*at)[1]);
    }
    return found;
}

// What a pattern with one group finds in all files of a folder that end so.
inline std::set<std::string> FoundIn(const std::filesystem::path& folder, const char* extension,
                                     const char* pattern) {
    std::set<std::string> found;
    for (const auto& entry : std::filesystem::recursive_directory_iterator(folder)) {
        if (entry.path().extension() != extension) continue;
        for (std::string& text : AllOf(TextOf(entry.path()), pattern)) {
            found.insert(std::move(text));
        }
    }
    return found;
}

// As the documents write them: SUITE.NAME.
inline std::set<std::string> TestsOfTheTree(const std::filesystem::path& root) {
    std::set<std::string> tests;
    const std::regex separator(",\\s*");
    for (const std::string& arguments :
         FoundIn(root / "tests", ".cpp", "\\bTEST(?:_F|_P)?\\((\\w+,\\s*\\w+)\\)")) {
        tests.insert(std::regex_replace(arguments, separator, "."));
    }
    return tests;
}

}  // namespace receiver
