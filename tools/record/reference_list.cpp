#include "record/reference_list.h"

#include <algorithm>
#include <filesystem>
#include <set>
#include <stdexcept>

#include "platform/text.h"

namespace receiver {

namespace fs = std::filesystem;

namespace {

constexpr size_t kMaxIdLength = 80;

bool IsIdCharacter(char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' ||
           c == '_';
}

bool IsId(const std::string& text) {
    return !text.empty() && text.size() <= kMaxIdLength &&
           std::all_of(text.begin(), text.end(), IsIdCharacter);
}

std::string IdFor(const std::string& file, const std::set<std::string>& taken) {
    std::string id = ToUtf8(ToFilesystemPath(file).stem());
    std::replace_if(
        id.begin(), id.end(), [](char c) { return !IsIdCharacter(c); }, '-');
    id.resize(std::min(id.size(), kMaxIdLength - 4));  // room for a number
    if (id.empty()) id = "reference";
    std::string unique = id;
    for (int number = 2; taken.count(unique) != 0; ++number) {
        unique = id + "-" + std::to_string(number);
    }
    return unique;
}

void Append(const std::vector<std::string>& arguments, receiver::Role role,
            std::vector<receiver::Reference>& references, std::set<std::string>& taken) {
    for (const std::string& argument : arguments) {
        const size_t equals = argument.find('=');
        receiver::Reference reference{"", role, argument};
        if (equals != std::string::npos && IsId(argument.substr(0, equals))) {
            reference.id = argument.substr(0, equals);
            reference.path = argument.substr(equals + 1);
            if (!taken.insert(reference.id).second) {
                throw std::invalid_argument("The name " + reference.id + " is given twice");
            }
        }
        references.push_back(std::move(reference));
    }
}

}  // namespace

std::vector<receiver::Reference> MakeReferences(const std::vector<std::string>& starts,
                                                const std::vector<std::string>& ends,
                                                const std::vector<std::string>& others) {
    std::vector<receiver::Reference> references;
    std::set<std::string> taken;
    Append(starts, receiver::Role::kStart, references, taken);
    Append(ends, receiver::Role::kEnd, references, taken);
    Append(others, receiver::Role::kOther, references, taken);
    for (receiver::Reference& reference : references) {
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
