#include "receiver_record/control/output_name.h"

#include <filesystem>
#include <system_error>

#include "platform/text.h"

namespace receiver {
namespace {

namespace fs = std::filesystem;

fs::path FolderOf(const std::string& name) {
    return ToFilesystemPath(name).parent_path();
}

}  // namespace

bool IsNamedAtTheStart(const RecordOptions& options) {
    return !options.ToStandardOutput() && HasFields(options.output);
}

RecordOptions WithOutputName(const RecordOptions& options, const NameFacts& facts) {
    RecordOptions named = options;
    const bool isFixed = !IsNamedAtTheStart(options) && !options.schedule.repeat;
    if (isFixed || options.ToStandardOutput()) return named;
    named.output = FillFields(options.output, facts);
    if (HasFields(ToUtf8(FolderOf(options.output)))) {
        std::error_code error;  // one that cannot be made is missed by whoever creates the file
        fs::create_directories(FolderOf(named.output), error);
    }
    if (!options.force || options.schedule.repeat) named.output = FreeName(named.output);
    return named;
}

std::string FolderFault(const RecordOptions& options) {
    const fs::path folder = FolderOf(options.output);
    std::error_code error;
    if (folder.empty() || HasFields(ToUtf8(folder)) || fs::is_directory(folder, error)) return "";
    return "No such folder: " + ToUtf8(folder);
}

}  // namespace receiver
