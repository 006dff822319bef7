// What stands behind the handles of receiver_client.h, and how a call crosses from C into C++.
//
//   Errors  Guarded lets no exception out.
#pragma once

#include <chrono>
#include <cstdint>
#include <exception>
#include <memory>
#include <new>
#include <optional>
#include <string>

#include "receiver_client.h"
#include "receiver_client/pcm1_reader.h"
#include "receiver_client/receiver_client.h"
#include "receiver_client/receiver_process.h"

struct receiver_cancellation {
    receiver::Cancellation signal;
};

struct receiver_process {
    explicit receiver_process(const receiver::Cancellation& signal) : process(signal) {}
    receiver::ReceiverProcess process;
    bool tried = false;
    bool started = false;
    receiver::Error error;
};

struct receiver_client {
    explicit receiver_client(const receiver::Cancellation& signal) : client(signal) {}
    receiver::ReceiverClient client;
    receiver::Error error;
    std::string text;     // what the last call gave out
    std::string missing;  // additions of the last acknowledged request
    std::optional<receiver::Event> event;
    receiver_event record{};  // of event
    receiver::ProgramResult result;
};

struct receiver_audio {
    explicit receiver_audio(const receiver::Cancellation& signal) : reader(signal) {}
    receiver::Pcm1Reader reader;
    receiver::Error error;
};

namespace receiver {

receiver_status StatusOf(ErrorKind kind);
// The event's texts are the record's for as long as it lives.
receiver_event RecordOf(const Event& event);

inline std::chrono::milliseconds Ms(uint32_t timeout) {
    return std::chrono::milliseconds(timeout);
}

// Keeps the error with the object.
template <typename Handle>
receiver_status Fail(Handle* handle, const Error& error) {
    handle->error = error;
    return StatusOf(error.kind);
}

template <typename Handle>
receiver_status FailArgument(Handle* handle, const char* text) {
    return Fail(handle, Error{ErrorKind::kInvalidArgument, 0, text});
}

// Runs the call of an object; null and exceptions are failures.
template <typename Handle, typename Call>
receiver_status Guarded(Handle* handle, Call call) noexcept {
    if (handle == nullptr) return RECEIVER_INVALID_ARGUMENT;
    try {
        return call();
    } catch (const std::bad_alloc&) {
        handle->error = {};
        return RECEIVER_NO_MEMORY;
    } catch (const std::exception& e) {
        try {
            return Fail(handle, Error{ErrorKind::kSystem, 0, e.what()});
        } catch (...) {
            return RECEIVER_NO_MEMORY;
        }
    } catch (...) {
        return RECEIVER_SYSTEM;
    }
}

template <typename Handle>
Handle* Create(receiver_cancellation* cancellation) noexcept {
    try {
        return std::make_unique<Handle>(cancellation != nullptr ? cancellation->signal
                                                                : Cancellation())
            .release();
    } catch (...) {
        return nullptr;
    }
}

// Gives back what Create has released.
template <typename Handle>
void Destroy(Handle* handle) noexcept {
    const std::unique_ptr<Handle> owner(handle);
}

}  // namespace receiver
