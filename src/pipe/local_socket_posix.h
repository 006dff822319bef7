// The Unix-domain socket beneath CPcmPipe: its name in the endpoint directory, its
// life while a server waits for the one client, and the client's way to it. Descriptors
// do not block and are not inherited.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <memory>
#include <string>

#include "pipe/endpoint_claim_posix.h"
#include "platform/unique_fd_posix.h"

namespace receiver {

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

    // Makes anew what somebody else has removed of the name or the claim to it. 0 when all is
    // in place again; 5 when another server has the name. After any failure the server goes
    // on as it was, and may try again. Only after Open.
    uint32_t Restore();
    // Clears the directory of what killed servers left in it. Only after Open.
    void SweepDirectory() const;

    int Fd() const { return listener_.Get(); }  // -1 unless listening

private:
    uint32_t Bind();
    uint32_t BindOnce();
    void StopListening();
    bool IsSocketInPlace() const;
    int DirectoryFd() const { return claim_->Directory().Fd(); }

    std::string directoryPath_;
    std::string name_;
    std::unique_ptr<EndpointClaim> claim_;  // not empty after Open
    UniqueFd listener_;
    ino_t socketInode_ = 0;  // of the listener's name
};

// Connects `stream`. 0, or the code of the failure: 2 no such endpoint, 231 it has a
// client already or its server is gone, 5 the directory or the socket is not ours to use.
uint32_t ConnectToServer(const std::string& directoryPath, const std::string& name,
                         UniqueFd& stream);

}  // namespace receiver
