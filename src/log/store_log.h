// Where finished log lines go.
#pragma once

#include <cstdint>
#include <string_view>

namespace receiver {

class IStoreLog {
public:
    virtual ~IStoreLog() = default;
    virtual void Flush() = 0;  // what is buffered, to the disk
    // The bytes written through at once; 0 when the line was only buffered.
    virtual int32_t Write(std::string_view line) = 0;
    virtual void SetBufferSize(int32_t bytes) = 0;  // flushes first
};

}  // namespace receiver
