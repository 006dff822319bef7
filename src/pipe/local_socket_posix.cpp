#include "pipe/local_socket_posix.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <cerrno>
#include <utility>

#include "pipe/endpoint_names_posix.h"
#include "pipe/endpoint_sweep_posix.h"
#include "pipe/pipe_error_posix.h"
#include "platform/error_codes.h"

namespace receiver {
namespace {

UniqueFd CreateSocket() {
    return UniqueFd(socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0));
}

// Names of ours reach 193 characters and sun_path holds 107, so every address goes through
// a descriptor; false for a path that still does not fit.
bool FillAddress(const std::string& path, sockaddr_un& address) {
    address = {};
    address.sun_family = AF_UNIX;
    if (path.size() >= sizeof address.sun_path) return false;
    path.copy(address.sun_path, path.size());
    return true;
}

template <typename Call>
int CallWithAddress(Call call, int fd, const std::string& path) {
    sockaddr_un address{};
    if (!FillAddress(path, address)) {
        errno = ENAMETOOLONG;
        return -1;
    }
    return call(fd, reinterpret_cast<const sockaddr*>(&address), sizeof address);
}

// True when the peer of a connected socket runs as this user or as root.
bool IsTrustedPeer(int stream) {
    ucred peer{};
    socklen_t size = sizeof peer;
    if (getsockopt(stream, SOL_SOCKET, SO_PEERCRED, &peer, &size) != 0) return false;
    return peer.uid == geteuid() || peer.uid == 0;
}

}  // namespace

uint32_t ServerSocket::Open(const std::string& directoryPath, const std::string& name) {
    directoryPath_ = directoryPath;
    name_ = name;
    auto claim = std::make_unique<EndpointClaim>();
    if (const uint32_t error = claim->Take(directoryPath, name)) return error;
    claim_ = std::move(claim);
    return Bind();
}

// A sweeper may take the temporary name for one that was left behind, if the system gives the
// number of another server's lock to ours at that very moment.
uint32_t ServerSocket::Bind() {
    constexpr int kTries = 3;
    uint32_t error = kErrorNone;
    for (int i = 0; i < kTries; ++i) {
        error = BindOnce();
        if (error != kErrorFileNotFound) break;
    }
    return error;
}

// The socket listens before it gets its name, so that no client ever meets a name that
// refuses; and the rename replaces what a killed server left in one step.
uint32_t ServerSocket::BindOnce() {
    UniqueFd listener = CreateSocket();
    if (!listener.IsValid()) return TranslatePipeError(PipeOperation::kListen, errno);

    // Ours alone: the lock file's number is unique while we hold it. A leftover of that name
    // is from a server that was killed at this very place.
    const int directory = DirectoryFd();
    const std::string temporaryName = TemporaryFileName(claim_->Lock().Inode());
    unlinkat(directory, temporaryName.c_str(), 0);
    if (CallWithAddress(bind, listener.Get(), claim_->Directory().ShortPath(temporaryName)) != 0) {
        return TranslatePipeError(PipeOperation::kListen, errno);
    }
    constexpr int kOneWaitingClient = 0;
    struct stat status {};
    if (listen(listener.Get(), kOneWaitingClient) != 0 ||
        fstatat(directory, temporaryName.c_str(), &status, AT_SYMLINK_NOFOLLOW) != 0 ||
        renameat(directory, temporaryName.c_str(), directory, SocketFileName(name_).c_str()) != 0) {
        const int error = errno;
        unlinkat(directory, temporaryName.c_str(), 0);
        return TranslatePipeError(PipeOperation::kListen, error);
    }
    listener_ = std::move(listener);
    socketInode_ = status.st_ino;
    return kErrorNone;
}

uint32_t ServerSocket::Restore() {
    claim_->ProtectDirectory();
    if (!claim_->IsInPlace()) {
        auto claim = std::make_unique<EndpointClaim>();
        if (const uint32_t error = claim->Take(directoryPath_, name_)) return error;
        claim_ = std::move(claim);
    }
    return listener_.IsValid() && !IsSocketInPlace() ? Bind() : kErrorNone;
}

void ServerSocket::SweepDirectory() const {
    SweepEndpoints(claim_->Directory());
}

bool ServerSocket::IsSocketInPlace() const {
    struct stat status {};
    return fstatat(DirectoryFd(), SocketFileName(name_).c_str(), &status, AT_SYMLINK_NOFOLLOW) ==
               0 &&
           S_ISSOCK(status.st_mode) && status.st_ino == socketInode_;
}

// Refuses the next client before it takes this one: accepting makes room in the queue, and
// whoever connected between that and the end of the socket would be cut off without a word.
uint32_t ServerSocket::Accept(UniqueFd& stream) {
    shutdown(listener_.Get(), SHUT_RD);
    UniqueFd client;
    do {
        client.Reset(accept4(listener_.Get(), nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC));
    } while (!client.IsValid() && errno == EINTR);
    const int error = client.IsValid() ? 0 : errno;
    if (client.IsValid() && IsTrustedPeer(client.Get())) {
        StopListening();
        stream = std::move(client);
        return kErrorNone;
    }
    const bool isNobody = error == 0 || error == EAGAIN || error == EINVAL || error == ECONNABORTED;
    return isNobody ? Bind() : TranslatePipeError(PipeOperation::kAccept, error);
}

void ServerSocket::StopListening() {
    if (!listener_.IsValid()) return;
    if (IsSocketInPlace()) unlinkat(DirectoryFd(), SocketFileName(name_).c_str(), 0);
    listener_.Reset();
}

uint32_t ConnectToServer(const std::string& directoryPath, const std::string& name,
                         UniqueFd& stream) {
    EndpointDirectory directory;
    if (const uint32_t error = directory.OpenExisting(directoryPath)) return error;

    const UniqueFd file(
        openat(directory.Fd(), SocketFileName(name).c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
    if (!file.IsValid()) return TranslatePipeError(PipeOperation::kConnect, errno);

    UniqueFd socket = CreateSocket();
    if (!socket.IsValid()) return TranslatePipeError(PipeOperation::kConnect, errno);
    const std::string path = "/proc/self/fd/" + std::to_string(file.Get());
    int result = 0;
    do {
        result = CallWithAddress(connect, socket.Get(), path);
    } while (result != 0 && errno == EINTR);
    if (result != 0) return TranslatePipeError(PipeOperation::kConnect, errno);
    stream = std::move(socket);
    return kErrorNone;
}

}  // namespace receiver
