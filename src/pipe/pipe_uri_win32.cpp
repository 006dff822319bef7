#include "pipe/pipe_uri.h"

std::string PipePathOfName(const std::string& name) {
    return "\\\\.\\pipe\\Corvadel.PCM." + name;
}
