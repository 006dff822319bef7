// The standard streams: that there are three of them, and whole lines on two: one write
// each, LF alone as line end on every platform, nothing held back in a buffer. A controlling
// program parses them.
#pragma once

#include <string_view>

namespace receiver {

// A program may be started without some of its standard streams. Where one is missing, the
// next file, socket or event that the program opens takes its place, and what is meant for
// people goes into it. So this is the first call of every main: the null device takes the
// places that are free. Returns whether standard output was missing, for a program that
// would write more than words to it. Throws std::runtime_error "Cannot open the null device".
bool OpenMissingStandardStreams();

// Writes text and a line feed. A stream that is closed or broken is ignored.
void WriteStandardOutputLine(std::string_view text);
void WriteStandardErrorLine(std::string_view text);

}  // namespace receiver
