// What a playlist at an address names.
//
//   Threads  the calling one, and one of its own that has ended when it returns.
#pragma once

#include <string>
#include <vector>

#include "audio/source_policy.h"
#include "platform/manual_reset_event.h"

namespace receiver {

enum class PlaylistSign {
    kName,  // the address's extension: without one nothing is asked for
    kNone,  // whatever it is called: it did not answer with audio
};

// As ResolvePlaylist has them; none when it answers with audio, which is left unread at once, with
// nothing that names an address, or not within 10 seconds: whoever opens it finds out why. The
// event ends the wait.
std::vector<std::string> AskForPlaylist(const std::string& url, PlaylistSign sign,
                                        const NetworkRequest& request,
                                        const ManualResetEvent& interrupted);

}  // namespace receiver
