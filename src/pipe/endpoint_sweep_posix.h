// Clears away what servers that were killed left behind.
#pragma once

#include "pipe/endpoint_directory_posix.h"

namespace receiver {

// Removes sockets, locks and temporary names that no living server holds. A name counts as
// nobody's once its lock could be taken, and is given back at once; a server that wants it at
// that moment waits for it.
void SweepEndpoints(const EndpointDirectory& directory);

}  // namespace receiver
