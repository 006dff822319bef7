#include <stdexcept>

#include "platform/executable_path.h"

namespace receiver {

std::filesystem::path ExecutableDirectory() {
    std::error_code error;
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
    if (error) throw std::runtime_error("Cannot find the program's directory");
    return program.parent_path();
}

}  // namespace receiver
