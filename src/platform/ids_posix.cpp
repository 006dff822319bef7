#include <sys/random.h>
#include <unistd.h>

#include <array>
#include <stdexcept>

#include "platform/ids.h"

namespace receiver {

uint32_t CurrentProcessId() {
    return static_cast<uint32_t>(getpid());
}

uint32_t CurrentThreadId() {
    return static_cast<uint32_t>(gettid());
}

std::string CreateInstanceId() {
    std::array<unsigned char, 16> bytes{};
    // A request of up to 256 bytes is answered whole, once the kernel's pool is ready.
    if (getrandom(bytes.data(), bytes.size(), 0) != static_cast<ssize_t>(bytes.size())) {
        throw std::runtime_error("Cannot create instance id");
    }
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // version 4: random
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);  // the RFC 4122 variant

    constexpr char kDigits[] = "0123456789ABCDEF";
    std::string id;
    for (size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) id += '-';
        id += kDigits[bytes[i] >> 4];
        id += kDigits[bytes[i] & 0x0F];
    }
    return id;
}

}  // namespace receiver
