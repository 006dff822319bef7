// The Unix-domain socket beneath CPcmPipe: its name in the endpoint directory, its
// life while a server waits for the one client, and the client's way to it. Descriptors
// do not block and are not inherited.
#pragma once

#include <cstdint>
#include <string>

#include "pipe/endpoint_directory_posix.h"
#include "pipe/endpoint_lock_posix.h"
#include "platform/unique_fd_posix.h"

namespace receiver {

std::string SocketFileName(const std::string& name);

// Not thread-safe. Its destructor leaves nothing in the directory.
class ServerSocket final {
public:
    ServerSocket() = default;
    ~ServerSocket() { StopListening(); }
    ServerSocket(const ServerSocket&) = delete;
    ServerSocket& operator=(const ServerSocket&) = delete;

    // Once only. 0, or the code of the failure: 5 when the name is taken or the directory
    // is not ours to use. A socket that a killed server left is replaced.
    uint32_t Open(const std::string& directoryPath, const std::string& name);
    // Takes the client that made Fd() readable. Once it returns 0 with a valid `stream`, the
    // socket and its name are gone while the claim to the name stays; an invalid one means
    // that it was nobody's to serve (gone, or another user's) and waiting may go on.
    uint32_t Accept(UniqueFd& stream);

    int Fd() const { return listener_.Get(); }  // -1 unless listening

private:
    uint32_t Bind();
    void StopListening();

    EndpointDirectory directory_;
    EndpointLock lock_;
    std::string fileName_;
    UniqueFd listener_;
};

// Connects `stream`. 0, or the code of the failure: 2 no such endpoint, 231 it has a
// client already or its server is gone, 5 the directory or the socket is not ours to use.
uint32_t ConnectToServer(const std::string& directoryPath, const std::string& name,
                         UniqueFd& stream);

}  // namespace receiver
