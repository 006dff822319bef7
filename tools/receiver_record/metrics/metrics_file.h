// A file that another program reads at any time: it has all of the old text, or all of the new.
//
//   Threads  one at a time.
#pragma once

#include <filesystem>
#include <string>

namespace receiver {

// By FILE.part beside it, which nobody reads. Returns why it could not; empty when it did. The
// text is worth nothing after a crash of the machine, so the disk is not waited for.
std::string WriteMetricsFile(const std::filesystem::path& path, const std::string& text);

}  // namespace receiver
