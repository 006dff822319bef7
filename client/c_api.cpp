// The calls of receiver_client.h that are not about the control connection.
#include <memory>

#include "c_handles.h"
#include "client_version.h"

using namespace receiver;

namespace receiver {

receiver_status StatusOf(ErrorKind kind) {
    switch (kind) {
        case ErrorKind::kNone:
            return RECEIVER_OK;
        case ErrorKind::kTimedOut:
            return RECEIVER_TIMED_OUT;
        case ErrorKind::kCancelled:
            return RECEIVER_CANCELLED;
        case ErrorKind::kDisconnected:
            return RECEIVER_DISCONNECTED;
        case ErrorKind::kRejected:
            return RECEIVER_REJECTED;
        case ErrorKind::kProtocol:
            return RECEIVER_PROTOCOL;
        case ErrorKind::kInvalidArgument:
            return RECEIVER_INVALID_ARGUMENT;
        case ErrorKind::kSystem:
            break;
        case ErrorKind::kSessionFailed:
            return RECEIVER_SESSION_FAILED;
        case ErrorKind::kUnsupported:
            return RECEIVER_UNSUPPORTED;
    }
    return RECEIVER_SYSTEM;
}

}  // namespace receiver

const char* receiver_status_text(receiver_status status) {
    switch (status) {
        case RECEIVER_OK:
            return "Done";
        case RECEIVER_TIMED_OUT:
            return "Nothing came in time";
        case RECEIVER_CANCELLED:
            return "Cancelled";
        case RECEIVER_DISCONNECTED:
            return "There is no connection to the receiver, or it was lost";
        case RECEIVER_REJECTED:
            return "The receiver refused the command";
        case RECEIVER_PROTOCOL:
            return "The receiver broke the protocol";
        case RECEIVER_INVALID_ARGUMENT:
            return "The request cannot be expressed";
        case RECEIVER_SYSTEM:
            return "The system or the receiver program failed";
        case RECEIVER_SESSION_FAILED:
            return "The session ended with an error";
        case RECEIVER_NO_MEMORY:
            return "Out of memory";
        case RECEIVER_END:
            return "The stream is complete";
        case RECEIVER_UNSUPPORTED:
            return "The receiver does not know what was asked for";
    }
    return "Unknown status";
}

const char* receiver_version(void) {
    return kClientVersion;
}

receiver_cancellation* receiver_cancellation_create(void) {
    try {
        return std::make_unique<receiver_cancellation>().release();
    } catch (...) {
        return nullptr;
    }
}

void receiver_cancellation_destroy(receiver_cancellation* cancellation) {
    Destroy(cancellation);
}

void receiver_cancellation_signal(receiver_cancellation* cancellation) {
    if (cancellation != nullptr) cancellation->signal.Cancel();
}

receiver_process* receiver_process_create(receiver_cancellation* cancellation) {
    return Create<receiver_process>(cancellation);
}

void receiver_process_destroy(receiver_process* process) {
    Destroy(process);
}

receiver_status receiver_process_start(receiver_process* process, const char* receiver_host,
                                       const char* log_path, uint32_t timeout_ms) {
    return Guarded(process, [&] {
        if (receiver_host == nullptr || log_path == nullptr) {
            return FailArgument(process, "The receiver and its log need a path");
        }
        if (process->tried) return FailArgument(process, "A receiver is started once only");
        process->tried = true;
        process->started = process->process.Start(receiver_host, log_path, Ms(timeout_ms));
        if (process->started) return RECEIVER_OK;
        return Fail(process, process->process.LastError());
    });
}

const char* receiver_process_control_uri(const receiver_process* process) {
    if (process == nullptr || !process->started) return nullptr;
    return process->process.ControlUri().c_str();
}

receiver_status receiver_process_wait(receiver_process* process, uint32_t timeout_ms,
                                      int* exit_code) {
    return Guarded(process, [&] {
        if (exit_code == nullptr || !process->started) {
            return FailArgument(process,
                                "No receiver was started, or there is no place for its code");
        }
        const std::optional<int> code = process->process.WaitForExit(Ms(timeout_ms));
        if (!code) return Fail(process, Error{ErrorKind::kTimedOut, 0, "It still runs"});
        *exit_code = *code;
        return RECEIVER_OK;
    });
}

const char* receiver_process_error_text(const receiver_process* process) {
    return process != nullptr ? process->error.text.c_str() : "";
}

receiver_audio* receiver_audio_create(receiver_cancellation* cancellation) {
    return Create<receiver_audio>(cancellation);
}

void receiver_audio_destroy(receiver_audio* audio) {
    Destroy(audio);
}

receiver_status receiver_audio_open(receiver_audio* audio, const char* uri, uint32_t timeout_ms,
                                    uint32_t* sample_rate, uint16_t* channels) {
    return Guarded(audio, [&] {
        if (uri == nullptr || sample_rate == nullptr || channels == nullptr) {
            return FailArgument(audio, "A URI and places for the format are needed");
        }
        if (!audio->reader.Open(uri, Ms(timeout_ms))) return Fail(audio, audio->reader.LastError());
        *sample_rate = audio->reader.Format().sampleRate;
        *channels = audio->reader.Format().channels;
        return RECEIVER_OK;
    });
}

receiver_status receiver_audio_read(receiver_audio* audio, void* buffer, size_t size,
                                    uint32_t timeout_ms, size_t* bytes) {
    return Guarded(audio, [&] {
        if (buffer == nullptr || bytes == nullptr) {
            return FailArgument(audio, "A buffer and a place for its bytes are needed");
        }
        switch (
            audio->reader.Read({static_cast<std::byte*>(buffer), size}, bytes, Ms(timeout_ms))) {
            case Pcm1Reader::Result::kData:
                return RECEIVER_OK;
            case Pcm1Reader::Result::kEnd:
                return RECEIVER_END;
            case Pcm1Reader::Result::kSourceFailed:
                return Fail(audio, Error{ErrorKind::kSessionFailed, 0, "The source broke off"});
            case Pcm1Reader::Result::kError:
                break;
        }
        return Fail(audio, audio->reader.LastError());
    });
}

receiver_status receiver_audio_acknowledge(receiver_audio* audio, uint32_t timeout_ms) {
    return Guarded(audio, [&] {
        if (audio->reader.Acknowledge(Ms(timeout_ms))) return RECEIVER_OK;
        return Fail(audio, audio->reader.LastError());
    });
}

const char* receiver_audio_error_text(const receiver_audio* audio) {
    return audio != nullptr ? audio->error.text.c_str() : "";
}
