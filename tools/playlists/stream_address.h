// From the address that people are given to that of the stream: playlists are asked for, and what
// they name in turn.
//
//   Threads  the calling one, and one of its own that has ended when it returns.
#pragma once

#include <string>

#include "audio/source_policy.h"
#include "platform/manual_reset_event.h"

namespace receiver {

// `url` itself unless its extension is a playlist's: nothing is asked for then. Else the first
// address that the playlist names, through up to 5 of them; `url`, too, when it answers with audio,
// with nothing that names an address, or not within 10 seconds a playlist: whoever opens it finds
// out why. The event ends the wait. `request` is said to the server of `url` alone.
std::string FindStreamUrl(const std::string& url, const NetworkRequest& request,
                          const ManualResetEvent& interrupted);

}  // namespace receiver
