#include "receiver_client/pcm1_reader.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <string>
#include <utility>

#include "pipe/pcm_pipe.h"
#include "platform/clock.h"
#include "platform/error_codes.h"
#include "wire/pcm1_record.h"

namespace receiver {
namespace {

constexpr uint16_t kMaxChannels = 64;
constexpr uint32_t kMaxSampleRate = 768000;

uint64_t TickDeadline(Pcm1Reader::Milliseconds timeout) {
    return TickMs() + static_cast<uint64_t>(std::max<int64_t>(timeout.count(), 0));
}

const char* FaultOf(const Pcm1Header& header) {
    if (header.magic != kPcm1Magic) return "it is no PCM1 stream";
    if (header.version != kPcm1Version) return "its version is not 1";
    if (header.headerBytes != sizeof(Pcm1Header)) return "its header has another size";
    if (header.bitsPerSample != 16) return "its samples do not have 16 bits";
    if (header.channels == 0 || header.channels > kMaxChannels) return "channels";
    if (header.sampleRate == 0 || header.sampleRate > kMaxSampleRate) return "sample rate";
    return nullptr;
}

const char* FaultOf(const Pcm1ChunkRecord& record, uint32_t frameBytes, uint64_t frames) {
    if (record.firstFrame != frames) return "a record does not continue at the next frame";
    if (record.type == kPcm1Data) {
        if (record.byteCount == 0 || record.byteCount > kMaxPcm1ChunkBytes) return "a chunk's size";
        if (record.byteCount % frameBytes != 0) return "a chunk holds a broken frame";
        return record.status == 0 ? nullptr : "a chunk's status";
    }
    if (record.type != kPcm1End && record.type != kPcm1SourceFailed) return "a record's type";
    if (record.byteCount != 0) return "an end record with data";
    const uint64_t status = record.type == kPcm1End ? 0 : kPcm1SourceFailedStatus;
    return record.status == status ? nullptr : "an end record's status";
}

}  // namespace

class Pcm1Reader::Stream {
public:
    explicit Stream(const Cancellation& cancellation) : pipe_(cancellation.Shared()) {}

    bool Open(const std::string& uri, Milliseconds timeout) {
        Close();
        const uint64_t deadline = TickDeadline(timeout);
        const auto wait =
            static_cast<uint32_t>(std::clamp<int64_t>(timeout.count(), 0, 0xFFFFFFFE));
        if (!pipe_.Connect(uri, wait)) return FailPipe("Cannot connect to the audio pipe");
        Pcm1Header header;
        if (!pipe_.Read(&header, sizeof(header), deadline)) {
            FailPipe("No header came on the audio pipe");
            Close();
            return false;
        }
        if (const char* fault = FaultOf(header)) return Broken(fault);
        format_ = {header.sampleRate, header.channels};
        streamToken_ = header.streamToken;
        frames_ = 0;
        state_ = State::kRecord;
        return true;
    }

    Result Read(std::span<std::byte> buffer, size_t* bytes, Milliseconds timeout) {
        *bytes = 0;
        if (state_ == State::kEnd) return end_;
        if (state_ == State::kClosed) {
            Fail(ErrorKind::kDisconnected, "The audio pipe is not open");
            return Result::kError;
        }
        if (buffer.size() < format_.FrameBytes()) {
            Fail(ErrorKind::kInvalidArgument, "The buffer holds no frame");
            return Result::kError;
        }
        const uint64_t deadline = TickDeadline(timeout);
        if (state_ == State::kRecord) {
            if (!ReadRecord(deadline)) return Result::kError;
            if (state_ == State::kEnd) return end_;
        }
        return ReadPcm(buffer, bytes, deadline) ? Result::kData : Result::kError;
    }

    bool Acknowledge(Milliseconds timeout) {
        if (state_ != State::kEnd) {
            return Fail(ErrorKind::kInvalidArgument, "The stream has not ended");
        }
        Pcm1Acknowledgement acknowledgement;
        acknowledgement.streamToken = streamToken_;
        const bool sent =
            pipe_.Write(&acknowledgement, sizeof(acknowledgement), TickDeadline(timeout)) ||
            FailPipe("Cannot acknowledge the audio");
        // An end that waits to be read by a receiver that has gone is not taken back.
        Close();
        return sent;
    }

    void Close() {
        pipe_.Close();
        state_ = State::kClosed;
        recordBytes_ = 0;
        carried_ = 0;
        chunkLeft_ = 0;
    }

    PcmFormat format_;
    uint64_t frames_ = 0;  // handed out
    Error failure_;

private:
    enum class State { kClosed, kRecord, kPcm, kEnd };

    // A record that comes in pieces is put together over several calls.
    bool ReadRecord(uint64_t deadline) {
        std::byte* const at = reinterpret_cast<std::byte*>(&record_) + recordBytes_;
        size_t got = 0;
        const bool ok = pipe_.Read(at, sizeof(record_) - recordBytes_, deadline, &got);
        recordBytes_ += got;
        if (!ok) return FailRead();
        recordBytes_ = 0;
        if (const char* fault = FaultOf(record_, format_.FrameBytes(), frames_)) {
            return Broken(fault);
        }
        if (record_.type == kPcm1Data) {
            state_ = State::kPcm;
            chunkLeft_ = record_.byteCount;
        } else {
            state_ = State::kEnd;
            end_ = record_.type == kPcm1End ? Result::kEnd : Result::kSourceFailed;
        }
        return true;
    }

    // The bytes of a frame that a time-out cuts in two wait in carry_ for the next call.
    bool ReadPcm(std::span<std::byte> buffer, size_t* bytes, uint64_t deadline) {
        const size_t frameBytes = format_.FrameBytes();
        const size_t wanted = std::min<size_t>(buffer.size() / frameBytes * frameBytes, chunkLeft_);
        std::memcpy(buffer.data(), carry_.data(), carried_);
        size_t got = 0;
        const bool ok = pipe_.Read(buffer.data() + carried_, wanted - carried_, deadline, &got);
        got += carried_;
        carried_ = got % frameBytes;
        *bytes = got - carried_;
        std::memcpy(carry_.data(), buffer.data() + *bytes, carried_);
        chunkLeft_ -= *bytes;
        frames_ += *bytes / frameBytes;
        if (chunkLeft_ == 0) state_ = State::kRecord;
        return ok || *bytes > 0 || FailRead();
    }

    bool FailRead() {
        FailPipe("The audio pipe was lost");
        if (failure_.kind != ErrorKind::kTimedOut) Close();
        return false;
    }

    bool Broken(const char* fault) {
        Close();
        return Fail(ErrorKind::kProtocol, std::string("The audio pipe cannot be read: ") + fault);
    }

    bool Fail(ErrorKind kind, std::string text, uint32_t code = 0) {
        failure_ = {kind, code, std::move(text)};
        return false;
    }

    bool FailPipe(const char* doing) {
        const uint32_t code = pipe_.LastError();
        switch (code) {
            case kErrorTimedOut:
                return Fail(ErrorKind::kTimedOut, "No audio in time", code);
            case kErrorCancelled:
                return Fail(ErrorKind::kCancelled, "Cancelled", code);
            case kErrorInvalidName:
                return Fail(ErrorKind::kInvalidArgument, "The URI names no pipe", code);
            default:
                return Fail(ErrorKind::kDisconnected,
                            std::string(doing) + " (error " + std::to_string(code) + ")", code);
        }
    }

    CPcmPipe pipe_;
    State state_ = State::kClosed;
    Result end_ = Result::kError;  // valid in kEnd
    uint64_t streamToken_ = 0;
    Pcm1ChunkRecord record_;
    size_t recordBytes_ = 0;  // of record_ that have come
    size_t chunkLeft_ = 0;    // bytes of the chunk not yet handed out, those in carry_ included
    std::array<std::byte, size_t{kMaxChannels} * 2> carry_{};
    size_t carried_ = 0;
};

Pcm1Reader::Pcm1Reader(const Cancellation& cancellation)
    : stream_(std::make_unique<Stream>(cancellation)) {}

Pcm1Reader::~Pcm1Reader() = default;
Pcm1Reader::Pcm1Reader(Pcm1Reader&& other) noexcept = default;
Pcm1Reader& Pcm1Reader::operator=(Pcm1Reader&& other) noexcept = default;

bool Pcm1Reader::Open(const std::string& uri, Milliseconds timeout) {
    return stream_->Open(uri, timeout);
}

const PcmFormat& Pcm1Reader::Format() const {
    return stream_->format_;
}

Pcm1Reader::Result Pcm1Reader::Read(std::span<std::byte> buffer, size_t* bytes,
                                    Milliseconds timeout) {
    return stream_->Read(buffer, bytes, timeout);
}

bool Pcm1Reader::Acknowledge(Milliseconds timeout) {
    return stream_->Acknowledge(timeout);
}

void Pcm1Reader::Close() {
    stream_->Close();
}

uint64_t Pcm1Reader::FramesRead() const {
    return stream_->frames_;
}

const Error& Pcm1Reader::LastError() const {
    return stream_->failure_;
}

}  // namespace receiver
