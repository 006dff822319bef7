// Loaded into the receiver ahead of the system's libraries: counts its calls of the system for
// pipes, sockets and files, in a file of eight bytes, CALL_COUNT_FILE, that others can read
// meanwhile.
#include <dlfcn.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <cstdint>
#include <cstdlib>

namespace receiver {
namespace {

std::atomic<uint64_t>* OpenCounter() {
    const char* path = std::getenv("CALL_COUNT_FILE");
    const int file = path ? open(path, O_RDWR | O_CLOEXEC) : -1;
    if (file < 0) std::abort();
    void* page = mmap(nullptr, sizeof(uint64_t), PROT_READ | PROT_WRITE, MAP_SHARED, file, 0);
    if (page == MAP_FAILED) std::abort();
    close(file);
    return static_cast<std::atomic<uint64_t>*>(page);
}

template <typename Function>
Function Counted(const char* name) {
    static std::atomic<uint64_t>* const counter = OpenCounter();
    ++*counter;
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

}  // namespace

extern "C" {

int poll(pollfd* fds, nfds_t count, int timeoutMs) {
    return Counted<int (*)(pollfd*, nfds_t, int)>("poll")(fds, count, timeoutMs);
}
ssize_t recv(int socket, void* buffer, size_t size, int flags) {
    return Counted<ssize_t (*)(int, void*, size_t, int)>("recv")(socket, buffer, size, flags);
}
ssize_t send(int socket, const void* buffer, size_t size, int flags) {
    return Counted<ssize_t (*)(int, const void*, size_t, int)>("send")(socket, buffer, size, flags);
}
ssize_t read(int file, void* buffer, size_t size) {
    return Counted<ssize_t (*)(int, void*, size_t)>("read")(file, buffer, size);
}
ssize_t write(int file, const void* buffer, size_t size) {
    return Counted<ssize_t (*)(int, const void*, size_t)>("write")(file, buffer, size);
}
int fdatasync(int file) {
    return Counted<int (*)(int)>("fdatasync")(file);
}

}  // extern "C"

}  // namespace receiver
