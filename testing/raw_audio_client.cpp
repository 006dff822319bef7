#include "testing/raw_audio_client.h"

#include <algorithm>
#include <cstring>

#include "pipe/pcm_pipe_cancellation.h"
#include "platform/clock.h"
#include "platform/error_codes.h"

namespace receiver {
namespace {

template <typename T>
T FieldAt(const uint8_t* bytes, size_t offset) {
    T value = 0;
    for (size_t i = sizeof(T); i-- > 0;) value = static_cast<T>(value << 8 | bytes[offset + i]);
    return value;
}

template <typename T>
void SetFieldAt(uint8_t* bytes, size_t offset, T value) {
    for (size_t i = 0; i < sizeof(T); ++i) bytes[offset + i] = static_cast<uint8_t>(value >> 8 * i);
}

constexpr uint32_t kData = 1;
constexpr size_t kHeaderBytes = 40;
constexpr size_t kRecordBytes = 24;
constexpr size_t kAcknowledgementBytes = 16;

}  // namespace

RawAudioClient::RawAudioClient() : pipe_(std::make_shared<CPcmPipeCancellation>()) {}

bool RawAudioClient::Connect(const std::string& uri, uint32_t timeoutMs) {
    return pipe_.Connect(uri, timeoutMs);
}

bool RawAudioClient::ReadHeader() {
    std::array<uint8_t, kHeaderBytes> bytes;
    if (!ReadBytes(bytes.data(), bytes.size())) return false;
    const uint8_t* at = bytes.data();
    header_ = {FieldAt<uint32_t>(at, 0),  FieldAt<uint32_t>(at, 4),  FieldAt<uint32_t>(at, 8),
               FieldAt<uint32_t>(at, 12), FieldAt<uint16_t>(at, 16), FieldAt<uint16_t>(at, 18),
               FieldAt<uint32_t>(at, 20), FieldAt<uint64_t>(at, 24), FieldAt<uint64_t>(at, 32)};
    return header_.channels != 0;
}

bool RawAudioClient::ReadRecord() {
    std::array<uint8_t, kRecordBytes> bytes;
    if (!ReadBytes(bytes.data(), bytes.size())) return false;
    const uint8_t* at = bytes.data();
    record_ = {FieldAt<uint32_t>(at, 0), FieldAt<uint32_t>(at, 4), FieldAt<uint64_t>(at, 8),
               FieldAt<uint64_t>(at, 16)};
    if (record_.firstFrame != Frames()) return false;
    if (record_.type != kData) return record_.byteCount == 0;

    const uint32_t blockAlign = 2u * header_.channels;
    if (record_.byteCount == 0 || record_.byteCount % blockAlign != 0 || record_.status != 0) {
        return false;
    }
    largestChunkBytes_ = std::max(largestChunkBytes_, record_.byteCount);
    const size_t before = pcm_.size();
    pcm_.resize(before + record_.byteCount / 2);
    if (ReadBytes(pcm_.data() + before, record_.byteCount)) return true;
    pcm_.resize(before);
    return false;
}

bool RawAudioClient::ReadToEnd() {
    const Patience patience("the end of the audio stream", kMaxHoldMs);
    do {
        patience.Check();
        if (!ReadRecord()) return false;
    } while (record_.type == kData);
    return true;
}

bool RawAudioClient::Acknowledge(uint32_t magic, uint32_t status, uint64_t streamToken) {
    std::array<uint8_t, kAcknowledgementBytes> bytes;
    SetFieldAt(bytes.data(), 0, magic);
    SetFieldAt(bytes.data(), 4, status);
    SetFieldAt(bytes.data(), 8, streamToken);
    return pipe_.Write(bytes.data(), bytes.size(), TickMs() + kPatienceMs);
}

bool RawAudioClient::WaitForHangUp() {
    char byte = 0;
    return !pipe_.Read(&byte, 1, TickMs() + kPatienceMs) && pipe_.LastError() == kErrorBrokenPipe;
}

bool RawAudioClient::ReadBytes(void* bytes, size_t count) {
    return pipe_.Read(bytes, count, TickMs() + kPatienceMs);
}

}  // namespace receiver
