#include "receiver_scan/source/interruption.h"

#include <algorithm>
#include <filesystem>
#include <system_error>

#include "platform/text.h"
#include "receiver_scan/source/opened_source.h"

namespace receiver {
namespace {

// What is missing does not block either.
bool MayBlock(const std::string& source) {
    if (IsUrl(source)) return false;
    if (IsStandardInput(source)) return true;
    std::error_code ignored;
    const std::filesystem::path path = ToFilesystemPath(source);
    return std::filesystem::exists(path, ignored) &&
           !std::filesystem::is_regular_file(path, ignored);
}

}  // namespace

Interruption::Interruption(const std::vector<std::string>& sources) {
    if (std::none_of(sources.begin(), sources.end(), MayBlock)) control_.emplace(event_);
}

void Interruption::ThrowIfRequested() const {
    if (IsRequested()) throw Interrupted();
}

}  // namespace receiver
