#include "command_line/tool_version.h"

namespace receiver {
namespace {

constexpr const char* kLicence =
    "Licence: MIT; built with FFmpeg and FFTW, whose own licences apply to the programs as a "
    "whole.";

}  // namespace

std::string ToolVersion() {
    return RECEIVER_VERSION;
}

std::string VersionText(const std::string& toolName) {
    return toolName + " " + ToolVersion() + "\n" + kLicence;
}

}  // namespace receiver
