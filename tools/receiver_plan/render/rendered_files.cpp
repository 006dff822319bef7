#include "receiver_plan/render/rendered_files.h"

#include <algorithm>
#include <filesystem>
#include <string_view>

#include "platform/text.h"

namespace receiver {
namespace {

constexpr const char* kMadeBy = "# Made by receiver-plan from ";
constexpr const char* kXmlMadeBy = "<!-- Made by receiver-plan from ";

std::string NameOf(const Plan& plan) {
    return ToUtf8(ToFilesystemPath(plan.path).filename());
}

// A comment of XML ends with the first two hyphens.
std::string WithoutDoubleHyphens(const std::string& text) {
    std::string apart;
    for (const char c : text) {
        if (c == '-' && apart.ends_with('-')) apart += ' ';
        apart += c;
    }
    return apart;
}

}  // namespace

std::string RenderedHeader(const Plan& plan, const std::string& use) {
    return kMadeBy + NameOf(plan) + "; changes belong into the plan.\n# " + use + "\n";
}

std::string RenderedXmlHeader(const Plan& plan, const std::string& use) {
    return kXmlMadeBy +
           WithoutDoubleHyphens(NameOf(plan) + "; changes belong into the plan.\n     " + use) +
           " -->\n";
}

bool IsRendered(const std::string& text) {
    if (text.starts_with(kXmlMadeBy)) return true;
    const size_t first = text.starts_with("#!") ? text.find('\n') + 1 : 0;
    return text.compare(first, std::string_view(kMadeBy).size(), kMadeBy) == 0;
}

std::string MachineFolder(unsigned copy) {
    return "machine-" + std::to_string(copy) + "/";
}

unsigned MachinesOf(const Plan& plan) {
    unsigned machines = 0;
    for (const PlannedProgram& program : plan.programs) {
        machines = std::max(machines, program.copies);
    }
    return machines;
}

std::string ShellWord(const std::string& text) {
    const char* const plain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789-_./:=,@+";
    if (!text.empty() && text.find_first_not_of(plain) == std::string::npos) return text;
    std::string word = "'";
    for (const char c : text) {
        if (c == '\'') {
            word += "'\\''";
        } else {
            word += c;
        }
    }
    word += '\'';
    return word;
}

}  // namespace receiver
