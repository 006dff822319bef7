#include "references/reference_list.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <stdexcept>

#include "platform/text.h"
#include "wire/identifier.h"

namespace receiver {

namespace fs = std::filesystem;

namespace {

constexpr size_t kMaxNameLength = 76;  // the longest identifier, less room for a number

std::string IdFor(const std::string& file, const std::set<std::string>& taken) {
    std::string id = ToUtf8(ToFilesystemPath(file).stem());
    std::replace_if(
        id.begin(), id.end(),
        [](const char& c) {
            return !IsValidSessionId({&c, 1});
        },
        '-');
    id.resize(std::min(id.size(), kMaxNameLength));
    if (id.empty()) id = "reference";
    std::string unique = id;
    for (int number = 2; taken.count(unique) != 0; ++number) {
        unique = id + "-" + std::to_string(number);
    }
    return unique;
}

void Append(const std::vector<std::string>& arguments, Role role,
            std::vector<Reference>& references, std::set<std::string>& taken) {
    for (const std::string& argument : arguments) {
        const size_t equals = argument.find('=');
        Reference reference{"", role, argument};
        if (equals != std::string::npos && IsValidSessionId(argument.substr(0, equals))) {
            reference.id = argument.substr(0, equals);
            reference.path = argument.substr(equals + 1);
            if (!taken.insert(reference.id).second) {
                throw std::invalid_argument("the name \"" + reference.id + "\" is given twice");
            }
        }
        if (reference.path.find("://") != std::string::npos) {
            throw std::invalid_argument("a recording to listen for is a file, not a URL");
        }
        references.push_back(std::move(reference));
    }
}

}  // namespace

std::vector<Reference> MakeReferences(const std::vector<std::string>& starts,
                                      const std::vector<std::string>& ends,
                                      const std::vector<std::string>& others) {
    std::vector<Reference> references;
    std::set<std::string> taken;
    Append(starts, Role::kStart, references, taken);
    Append(ends, Role::kEnd, references, taken);
    Append(others, Role::kOther, references, taken);
    for (Reference& reference : references) {
        if (reference.id.empty()) {
            reference.id = IdFor(reference.path, taken);
            taken.insert(reference.id);
        }
        // A receiver that was started elsewhere has another working directory.
        reference.path = ToUtf8(fs::absolute(ToFilesystemPath(reference.path)).lexically_normal());
    }
    return references;
}

}  // namespace receiver
