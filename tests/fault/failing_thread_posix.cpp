// Loaded into the receiver ahead of the system's libraries: the thread whose number, counted
// from 1, is in FAILING_THREAD cannot be started; all others can.
#include <dlfcn.h>
#include <pthread.h>

#include <atomic>
#include <cerrno>
#include <cstdlib>

namespace receiver {

extern "C" int pthread_create(pthread_t* thread, const pthread_attr_t* attributes,
                              void* (*routine)(void*), void* argument) {
    using Create = int (*)(pthread_t*, const pthread_attr_t*, void* (*)(void*), void*);
    static const auto real = reinterpret_cast<Create>(dlsym(RTLD_NEXT, "pthread_create"));
    static const long failing = std::atol(std::getenv("FAILING_THREAD"));
    static std::atomic<long> started{0};
    if (++started == failing) return EAGAIN;
    return real(thread, attributes, routine, argument);
}

}  // namespace receiver
