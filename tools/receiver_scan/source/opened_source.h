// What a scan listens to, opened as the receiver opens its stream: a file, standard input or
// a URL, decoded to 44100 Hz and 16 bits.
//
//   Units    lengths ms.
//   Threads  one.
#pragma once

#include <cstdint>
#include <memory>
#include <stdexcept>
#include <string>

#include "audio/audio_file.h"
#include "wire/prepare_limits.h"

namespace receiver {

// A source that cannot be opened or read; the text is for people.
class SourceError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

struct OpenedSource {
    std::unique_ptr<CAudioFile> file;  // open
    uint64_t lengthMs = 0;             // 0 when unknown
    bool isLive = false;               // it comes at its own pace
};

bool IsUrl(const std::string& source);            // http:// or https://
bool IsStandardInput(const std::string& source);  // "-"

// As people may be shown it, and strangers, too: a URL without what may be secret in it, user,
// password, query and fragment.
std::string PublicName(const std::string& source);

// Throws SourceError.
OpenedSource OpenSource(const std::string& source, uint32_t ioTimeoutMs = kDefaultIoTimeoutMs);

}  // namespace receiver
