// Whether streams are there: each address is opened as a receiver opens it, playlists are
// followed as the recorder follows them, and nothing is listened to.
//
//   Units    ms.
//   Threads  its own, "plan-address", joined before it returns; the caller's asks, too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace receiver {

// So many are asked at a time.
inline constexpr size_t kMaxAskedAtOnce = 16;

struct AskedAddress {
    bool answers = false;  // with audio that can be decoded
    // Without its secrets: the one that answered, or the last one that was tried.
    std::string address;
    std::string failure;   // when none answers: a sentence for people without its point
    bool mayPass = false;  // the failure is none that somebody has to mend first
};

// One for each address, in their order; each is http:// or https://. A connection may take
// `ioTimeoutMs`. A thread that cannot be started is done without.
std::vector<AskedAddress> AskAddresses(const std::vector<std::string>& urls, uint32_t ioTimeoutMs);

}  // namespace receiver
