#include "pipe/pipe_uri.h"

namespace receiver {

std::string PipePathOfName(const std::string& name) {
    return "\\\\.\\pipe\\Corvadel.PCM." + name;
}

}  // namespace receiver
