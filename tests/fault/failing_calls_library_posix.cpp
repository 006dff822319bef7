// Loaded into the receiver ahead of the system's libraries: fails the one call that the plan
// names (see fault_plan_posix.h), and passes all others on.
#include "fault/fault_plan_posix.h"

#include <dlfcn.h>
#include <execinfo.h>
#include <fcntl.h>
#include <linux/futex.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string_view>

#include "testing/patience.h"

namespace receiver {
namespace {

FaultPlan* plan = nullptr;  // none until the library has been set up

template <typename Function>
Function Next(const char* name) {
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}

__attribute__((constructor)) void SetUp() {
    const char* const path = std::getenv(kFaultPlanVariable);
    if (path == nullptr) return;
    const int fd = Next<decltype(&::open)>("open")(path, O_RDWR | O_CLOEXEC);
    void* const mapped =
        mmap(nullptr, sizeof(FaultPlan), PROT_READ | PROT_WRITE, MAP_SHARED, fd, 0);
    close(fd);
    if (mapped == MAP_FAILED) std::abort();
    std::array<void*, 1> first;  // loads what it needs
    backtrace(first.data(), first.size());
    plan = static_cast<FaultPlan*>(mapped);
}

bool IsThreadOfPlan() {
    if (plan->thread.front() == '\0') return true;
    std::array<char, FaultPlan::kNameBytes> name{};
    prctl(PR_GET_NAME, name.data());
    return name == plan->thread;
}

void NoteCallers() {
    std::array<void*, 24> callers;
    const int count = backtrace(callers.data(), callers.size());
    std::string_view text;
    for (int i = 0; i < count; ++i) {
        Dl_info object;
        if (dladdr(callers[i], &object) == 0) continue;
        char* const end = plan->callers.data() + text.size();
        const size_t room = plan->callers.size() - text.size();
        const auto offset = static_cast<char*>(callers[i]) - static_cast<char*>(object.dli_fbase);
        const int length = std::snprintf(end, room, "%s %#tx %s\n", object.dli_fname, offset,
                                         object.dli_sname ? object.dli_sname : "-");
        if (length < 0 || static_cast<size_t>(length) >= room) return;
        text = std::string_view(plan->callers.data(), text.size() + static_cast<size_t>(length));
    }
}

// True, with errno set, when this call is the one.
bool Fails(FaultKind kind, const char* function, int error) {
    if (plan == nullptr || plan->kind != kind || !IsThreadOfPlan()) return false;
    if (--plan->callsUntilFault != 0) return false;
    std::strncpy(plan->function.data(), function, plan->function.size() - 1);
    plan->kind = FaultKind::kNone;
    NoteCallers();
    plan->happened = 1;
    errno = error;
    return true;
}

// Ends the process when nobody ends it.
void WaitForRelease() {
    const timespec most{.tv_sec = kMaxHoldMs / 1000, .tv_nsec = 0};
    const uint32_t own = ++plan->held;
    for (uint32_t released = plan->released; released < own; released = plan->released) {
        const long result =
            syscall(SYS_futex, &plan->released, FUTEX_WAIT, released, &most, nullptr, 0);
        if (result != 0 && errno == ETIMEDOUT) std::abort();
    }
}

// The mode is there only with O_CREAT; without it the system does not look at it.
mode_t ModeOf(int flags, va_list rest) {
    return (flags & (O_CREAT | O_TMPFILE)) != 0 ? va_arg(rest, mode_t) : mode_t{};
}

}  // namespace

// NOLINTBEGIN(cert-dcl50-cpp): the C library's own declarations
extern "C" {

// A function of the C library without a variable number of arguments.
#define FAILING_CALL(kind, error, failure, result, name, parameters, arguments, specifier) \
    result name parameters specifier {                                                     \
        if (Fails(FaultKind::kind, #name, error)) return failure;                          \
        static const auto next = Next<result(*) parameters>(#name);                        \
        return next arguments;                                                             \
    }

FAILING_CALL(kDescriptor, EMFILE, -1, int, socket, (int domain, int type, int protocol),
             (domain, type, protocol), noexcept)
FAILING_CALL(kDescriptor, EMFILE, -1, int, accept, (int fd, sockaddr* address, socklen_t* size),
             (fd, address, size), )
FAILING_CALL(kDescriptor, EMFILE, -1, int, accept4,
             (int fd, sockaddr* address, socklen_t* size, int flags), (fd, address, size, flags), )
FAILING_CALL(kDescriptor, EMFILE, -1, int, eventfd, (unsigned count, int flags), (count, flags),
             noexcept)
FAILING_CALL(kDescriptor, EMFILE, -1, int, pipe2, (int* ends, int flags), (ends, flags), noexcept)
FAILING_CALL(kDescriptor, EMFILE, -1, int, inotify_init1, (int flags), (flags), noexcept)

FAILING_CALL(kWrite, EIO, -1, ssize_t, write, (int fd, const void* bytes, size_t count),
             (fd, bytes, count), )
FAILING_CALL(kWrite, EIO, -1, ssize_t, writev, (int fd, const iovec* parts, int count),
             (fd, parts, count), )
FAILING_CALL(kWrite, EIO, -1, int, fdatasync, (int fd), (fd), )
FAILING_CALL(kWrite, ECONNRESET, -1, ssize_t, send,
             (int fd, const void* bytes, size_t count, int flags), (fd, bytes, count, flags), )
FAILING_CALL(kWrite, ECONNRESET, -1, ssize_t, sendto,
             (int fd, const void* bytes, size_t count, int flags, const sockaddr* address,
              socklen_t size),
             (fd, bytes, count, flags, address, size), )
FAILING_CALL(kWrite, ECONNRESET, -1, ssize_t, sendmsg, (int fd, const msghdr* message, int flags),
             (fd, message, flags), )

FAILING_CALL(kSocket, ENOBUFS, -1, int, bind, (int fd, const sockaddr* address, socklen_t size),
             (fd, address, size), noexcept)
FAILING_CALL(kSocket, ENOBUFS, -1, int, listen, (int fd, int waiting), (fd, waiting), noexcept)
FAILING_CALL(kSocket, ENOBUFS, -1, int, connect, (int fd, const sockaddr* address, socklen_t size),
             (fd, address, size), )
FAILING_CALL(kSocket, ENOBUFS, -1, int, getsockopt,
             (int fd, int level, int name, void* value, socklen_t* size),
             (fd, level, name, value, size), noexcept)
FAILING_CALL(kSocket, ENOBUFS, -1, int, setsockopt,
             (int fd, int level, int name, const void* value, socklen_t size),
             (fd, level, name, value, size), noexcept)
FAILING_CALL(kSocket, ENOTCONN, -1, int, shutdown, (int fd, int how), (fd, how), noexcept)
FAILING_CALL(kSocket, ECONNRESET, -1, ssize_t, recv, (int fd, void* bytes, size_t count, int flags),
             (fd, bytes, count, flags), )
FAILING_CALL(kSocket, ECONNRESET, -1, ssize_t, read, (int fd, void* bytes, size_t count),
             (fd, bytes, count), )

FAILING_CALL(kWait, ENOMEM, -1, int, poll, (pollfd * fds, nfds_t count, int ms), (fds, count, ms), )

FAILING_CALL(kFile, EIO, -1, int, mkdir, (const char* path, mode_t mode), (path, mode), noexcept)
FAILING_CALL(kFile, EIO, -1, int, unlinkat, (int directory, const char* path, int flags),
             (directory, path, flags), noexcept)
FAILING_CALL(kFile, EIO, -1, int, renameat,
             (int from, const char* source, int to, const char* target), (from, source, to, target),
             noexcept)
FAILING_CALL(kFile, EIO, -1, int, flock, (int fd, int operation), (fd, operation), noexcept)
FAILING_CALL(kFile, EIO, -1, int, stat, (const char* path, struct stat* status), (path, status),
             noexcept)
FAILING_CALL(kFile, EIO, -1, int, lstat, (const char* path, struct stat* status), (path, status),
             noexcept)
FAILING_CALL(kFile, EIO, -1, int, fstat, (int fd, struct stat* status), (fd, status), noexcept)
FAILING_CALL(kFile, EIO, -1, int, fstat64, (int fd, struct stat64* status), (fd, status), noexcept)
FAILING_CALL(kFile, EIO, -1, int, fstatat,
             (int directory, const char* path, struct stat* status, int flags),
             (directory, path, status, flags), noexcept)
FAILING_CALL(kFile, EIO, -1, off64_t, lseek64, (int fd, off64_t offset, int whence),
             (fd, offset, whence), noexcept)
FAILING_CALL(kFile, EIO, -1, int, inotify_add_watch, (int fd, const char* path, uint32_t mask),
             (fd, path, mask), noexcept)

#undef FAILING_CALL

#define FAILING_OPEN(name)                                                    \
    int name(const char* path, int flags, ...) {                              \
        va_list rest;                                                         \
        va_start(rest, flags);                                                \
        const mode_t mode = ModeOf(flags, rest);                              \
        va_end(rest);                                                         \
        if (Fails(FaultKind::kDescriptor, #name, EMFILE)) return -1;          \
        static const auto next = Next<int (*)(const char*, int, ...)>(#name); \
        return next(path, flags, mode);                                       \
    }

FAILING_OPEN(open)
FAILING_OPEN(open64)
#undef FAILING_OPEN

int openat(int directory, const char* path, int flags, ...) {
    va_list rest;
    va_start(rest, flags);
    const mode_t mode = ModeOf(flags, rest);
    va_end(rest);
    if (Fails(FaultKind::kDescriptor, "openat", EMFILE)) return -1;
    static const auto next = Next<int (*)(int, const char*, int, ...)>("openat");
    return next(directory, path, flags, mode);
}

int pthread_mutex_lock(pthread_mutex_t* mutex) noexcept {
    if (Fails(FaultKind::kLock, "pthread_mutex_lock", 0)) WaitForRelease();
    static const auto next = Next<decltype(&pthread_mutex_lock)>("pthread_mutex_lock");
    return next(mutex);
}

int pthread_create(pthread_t* thread, const pthread_attr_t* attributes, void* (*routine)(void*),
                   void* argument) noexcept {
    if (Fails(FaultKind::kThread, "pthread_create", EAGAIN)) return EAGAIN;
    static const auto next = Next<decltype(&pthread_create)>("pthread_create");
    return next(thread, attributes, routine, argument);
}

#ifndef RECEIVER_SANITIZED  // whose allocator is its own
// The next ones of these are the C library's, which has them under a second name: looking one
// up may itself allocate.
void* __libc_malloc(size_t bytes);
void* __libc_calloc(size_t count, size_t bytes);
void* __libc_realloc(void* block, size_t bytes);
void* __libc_memalign(size_t alignment, size_t bytes);

void* malloc(size_t bytes) noexcept {
    if (Fails(FaultKind::kAllocation, "malloc", ENOMEM)) return nullptr;
    return __libc_malloc(bytes);
}
void* calloc(size_t count, size_t bytes) noexcept {
    if (Fails(FaultKind::kAllocation, "calloc", ENOMEM)) return nullptr;
    return __libc_calloc(count, bytes);
}
void* realloc(void* block, size_t bytes) noexcept {
    if (Fails(FaultKind::kAllocation, "realloc", ENOMEM)) return nullptr;
    return __libc_realloc(block, bytes);
}
void* memalign(size_t alignment, size_t bytes) noexcept {
    if (Fails(FaultKind::kAllocation, "memalign", ENOMEM)) return nullptr;
    return __libc_memalign(alignment, bytes);
}
void* aligned_alloc(size_t alignment, size_t bytes) noexcept {
    if (Fails(FaultKind::kAllocation, "aligned_alloc", ENOMEM)) return nullptr;
    return __libc_memalign(alignment, bytes);
}
int posix_memalign(void** block, size_t alignment, size_t bytes) noexcept {
    if (Fails(FaultKind::kAllocation, "posix_memalign", ENOMEM)) return ENOMEM;
    *block = __libc_memalign(alignment, bytes);
    return *block == nullptr ? ENOMEM : 0;
}
#endif

}  // extern "C"
// NOLINTEND(cert-dcl50-cpp)

}  // namespace receiver
