// The references of a session, loaded side by side: as many at a time as the machine has
// processors, and with the outcome of loading them one after the other.
//
//   Threads  its own, "loader", joined before it returns; the caller's loads as well.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "detect/reference_loading.h"

namespace receiver {

// One for each path, in their order. Throws what LoadReference throws for the first path, in
// their order, that cannot be loaded; "Cancelled during reference loading" is such a failure,
// and so is a file that has gone by the time when all before it are loaded.
// stopRequested (may be empty) is asked from all of the threads at once. A thread that cannot
// be started is done without. `threads` 0 stands for one a processor. Before it throws, the
// path's place in the list is in `failed`, if there is one.
std::vector<ReferenceFingerprint> LoadReferenceList(const std::vector<std::string>& paths,
                                                    const std::function<bool()>& stopRequested = {},
                                                    size_t* failed = nullptr, size_t threads = 0);

}  // namespace receiver
