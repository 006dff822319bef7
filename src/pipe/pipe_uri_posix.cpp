#include "pipe/local_socket_posix.h"
#include "pipe/pipe_uri.h"

namespace receiver {

std::string PipePathOfName(const std::string& name) {
    return EndpointDirectoryPath() + "/" + SocketFileName(name);
}

}  // namespace receiver
