#include "testing/raw_control_client.h"

#include "pipe/pcm_pipe_cancellation.h"
#include "platform/clock.h"
#include "platform/error_codes.h"

namespace receiver {
namespace {

constexpr size_t kLengthBytes = 4;

RawControlClient::Observer& TheObserver() {
    static RawControlClient::Observer observer;
    return observer;
}

}  // namespace

void RawControlClient::ObserveAll(Observer observer) {
    TheObserver() = std::move(observer);
}

RawControlClient::RawControlClient() : pipe_(std::make_shared<CPcmPipeCancellation>()) {}

bool RawControlClient::Connect(const std::string& uri, uint32_t timeoutMs) {
    received_.clear();
    return pipe_.Connect(uri, timeoutMs);
}

bool RawControlClient::Send(std::string_view bytes) {
    return pipe_.Write(bytes.data(), bytes.size(), TickMs() + kPatienceMs);
}

bool RawControlClient::SendFrame(std::string_view body) {
    if (TheObserver().sent) TheObserver().sent(std::string(body));
    return Send(Frame(body));
}

std::optional<std::string> RawControlClient::Receive(uint32_t timeoutMs) {
    const uint64_t deadline = TickMs() + timeoutMs;
    if (!Fill(kLengthBytes, deadline)) return std::nullopt;
    size_t length = 0;
    for (size_t i = kLengthBytes; i-- > 0;) {
        length = length << 8 | static_cast<unsigned char>(received_[i]);
    }
    if (!Fill(kLengthBytes + length, deadline)) return std::nullopt;
    std::string body = received_.substr(kLengthBytes);
    received_.clear();
    if (TheObserver().received) TheObserver().received(body);
    return body;
}

bool RawControlClient::WaitForHangUp() {
    char byte = 0;
    return received_.empty() && !pipe_.Read(&byte, 1, TickMs() + kPatienceMs) &&
           pipe_.LastError() == kErrorBrokenPipe;
}

std::string RawControlClient::LengthField(uint32_t length) {
    std::string field;
    for (size_t i = 0; i < kLengthBytes; ++i) {
        field.push_back(static_cast<char>(length >> (8 * i) & 0xFF));
    }
    return field;
}

std::string RawControlClient::Frame(std::string_view body) {
    return LengthField(static_cast<uint32_t>(body.size())).append(body);
}

bool RawControlClient::Fill(size_t bytes, uint64_t deadline) {
    if (received_.size() >= bytes) return true;
    const size_t before = received_.size();
    size_t transferred = 0;
    received_.resize(bytes);
    const bool complete =
        pipe_.Read(received_.data() + before, bytes - before, deadline, &transferred);
    received_.resize(before + transferred);
    return complete;
}

}  // namespace receiver
