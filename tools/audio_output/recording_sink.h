// Where the bytes of a recording go: a file, standard output, or a test's fake.
//
//   Units    offsets and sizes are bytes.
//   Threads  one at a time.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace receiver {

class RecordingSink {
public:
    RecordingSink() = default;
    RecordingSink(const RecordingSink&) = delete;
    RecordingSink& operator=(const RecordingSink&) = delete;
    virtual ~RecordingSink() = default;

    virtual bool CanSeek() const = 0;
    // All of the bytes, or false; some may then have been written. Without CanSeek
    // the offset is always the end of what was written before.
    virtual bool WriteAt(uint64_t offset, const void* data, size_t size) = 0;
    // Cuts off what lies behind `size`. Only with CanSeek.
    virtual bool Truncate(uint64_t size) = 0;
    // Ends a write that waits for a reader, and every later one. Any thread.
    virtual void Stop() {}
    // The cause of the last failure, for people.
    virtual std::string FailureText() const = 0;
};

}  // namespace receiver
