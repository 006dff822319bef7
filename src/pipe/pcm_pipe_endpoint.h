// What each platform provides beneath CPcmPipe: single steps on its handles. All
// results are 0 or a code of platform/error_codes.h; waits end with 995 at the
// cancellation, which goes before everything else, and with 1460 at the deadline. One
// thread writes while another does the rest; closing is kept apart from both by the caller.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>

#include "pipe/pcm_pipe_cancellation.h"
#include "platform/wake_up_event.h"

namespace receiver {

class PcmPipeEndpoint {
public:
    virtual ~PcmPipeEndpoint() = default;

    // Both are called closed. One try each.
    virtual uint32_t Listen(const std::string& name) = 0;
    virtual uint32_t Connect(const std::string& name) = 0;

    virtual uint32_t Accept(uint64_t deadlineTickMs) = 0;
    // At most `count` bytes; `moved` is set in every case, 0 at success is the end. A wait
    // that ends with 995 or 1460 may have moved bytes as well.
    virtual uint32_t ReadSome(void* buffer, size_t count, uint64_t deadlineTickMs,
                              size_t& moved) = 0;
    virtual uint32_t WriteSome(const void* buffer, size_t count, uint64_t deadlineTickMs,
                               size_t& moved) = 0;
    virtual uint32_t Peek(size_t& available) = 0;
    // Of a connected client's server; 0 when the system does not tell.
    virtual uint32_t ServerProcessId() const = 0;
    // Of the connected client; see CPcmPipe::Readiness. -1 when the system refuses.
    virtual std::intptr_t Readiness() = 0;
    // 0 when Accept, or with a peer Peek, should be asked again, or `other` is signalled; also
    // without either.
    virtual uint32_t WaitForNews(const WakeUpEvent& other, uint64_t deadlineTickMs) = 0;
    virtual void Close() = 0;
};

// The cancellation outlives the endpoint. Throws std::runtime_error "Could not initialize
// pipe I/O".
std::unique_ptr<PcmPipeEndpoint> CreatePcmPipeEndpoint(const CPcmPipeCancellation& cancellation);

}  // namespace receiver
