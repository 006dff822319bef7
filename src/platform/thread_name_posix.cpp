#include <pthread.h>

#include <string>

#include "platform/thread_name.h"

namespace receiver {

void SetCurrentThreadName(const char* name) {
    constexpr size_t kMaxLength = 15;  // of the kernel, without the terminator
    const std::string shortened = std::string(name).substr(0, kMaxLength);
    pthread_setname_np(pthread_self(), shortened.c_str());
}

}  // namespace receiver
