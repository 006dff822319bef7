#include "receiver_plan/render/folder_difference.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <stdexcept>
#include <system_error>
#include <utility>

#include "platform/text.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

std::vector<std::string> LinesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream stream(text);
    for (std::string line; std::getline(stream, line);) lines.push_back(line);
    return lines;
}

// The lines of both, those that they share once: the fewest changes that lead from one to the
// other.
void AppendChanges(const std::vector<std::string>& a, const std::vector<std::string>& b,
                   std::vector<std::string>& changes) {
    std::vector<std::vector<size_t>> common(a.size() + 1, std::vector<size_t>(b.size() + 1));
    for (size_t i = a.size(); i-- > 0;) {
        for (size_t j = b.size(); j-- > 0;) {
            common[i][j] = a[i] == b[j] ? common[i + 1][j + 1] + 1
                                        : std::max(common[i + 1][j], common[i][j + 1]);
        }
    }
    size_t i = 0;
    size_t j = 0;
    while (i < a.size() || j < b.size()) {
        if (i < a.size() && j < b.size() && a[i] == b[j]) {
            changes.push_back("  " + a[i++]);
            ++j;
        } else if (j == b.size() || (i < a.size() && common[i + 1][j] >= common[i][j + 1])) {
            changes.push_back("- " + a[i++]);
        } else {
            changes.push_back("+ " + b[j++]);
        }
    }
}

std::string TextOf(const fs::path& path) {
    std::ifstream file(path, std::ios::binary);
    std::string text{std::istreambuf_iterator<char>(file), {}};
    if (!file) throw std::runtime_error(ToUtf8(path) + ": cannot be read");
    return text;
}

}  // namespace

RenderedFiles FilesBelow(const std::string& folder, const RenderedFiles& wanted) {
    const fs::path root = ToFilesystemPath(folder);
    RenderedFiles files;
    std::error_code error;
    if (!fs::exists(root, error)) return files;
    for (fs::recursive_directory_iterator at(root, error), end; !error && at != end;
         at.increment(error)) {
        if (!at->is_regular_file()) continue;
        std::string text = TextOf(at->path());
        const std::string name = ToUtf8(at->path().lexically_relative(root));
        if (IsRendered(text) || wanted.contains(name)) files[name] = std::move(text);
    }
    if (error) throw std::runtime_error(folder + ": " + error.message());
    return files;
}

std::vector<std::string> DifferenceLines(const RenderedFiles& old, const RenderedFiles& wanted) {
    RenderedFiles all = wanted;
    all.insert(old.begin(), old.end());
    std::vector<std::string> lines;
    for (const auto& [name, text] : all) {
        const auto before = old.find(name);
        const auto after = wanted.find(name);
        if (before == old.end()) {
            lines.push_back("new: " + name);
            AppendChanges({}, LinesOf(after->second), lines);
        } else if (after == wanted.end()) {
            lines.push_back("gone: " + name);
        } else if (before->second != after->second) {
            lines.push_back("changed: " + name);
            AppendChanges(LinesOf(before->second), LinesOf(after->second), lines);
        }
    }
    return lines;
}

}  // namespace receiver
