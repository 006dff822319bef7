// Whole lines on the standard streams: one write each, LF alone as line end on
// every platform, nothing held back in a buffer. A controlling program parses them.
#pragma once

#include <string_view>

namespace receiver {

// Writes text and a line feed. A stream that is closed or broken is ignored.
void WriteStandardOutputLine(std::string_view text);
void WriteStandardErrorLine(std::string_view text);

}  // namespace receiver
