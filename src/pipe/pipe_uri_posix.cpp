#include "pipe/endpoint_directory_posix.h"
#include "pipe/endpoint_names_posix.h"
#include "pipe/pipe_uri.h"

namespace receiver {

std::string PipePathOfName(const std::string& name) {
    return EndpointDirectoryPath() + "/" + SocketFileName(name);
}

}  // namespace receiver
