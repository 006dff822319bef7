#include "wire/control_frame.h"

namespace receiver {

bool IsValidFrameLength(uint32_t bodyBytes) {
    return bodyBytes >= 1 && bodyBytes <= kMaxFrameBodyBytes;
}

std::string EncodeFrame(std::string_view body) {
    const auto length = static_cast<uint32_t>(body.size());
    std::string frame;
    frame.reserve(kFrameLengthBytes + body.size());
    for (int shift = 0; shift < 32; shift += 8) {
        frame.push_back(static_cast<char>((length >> shift) & 0xFF));
    }
    frame.append(body);
    return frame;
}

void FrameAssembler::Append(const void* bytes, size_t count) {
    buffer_.erase(buffer_.begin(), buffer_.begin() + static_cast<ptrdiff_t>(consumed_));
    consumed_ = 0;
    const auto* first = static_cast<const char*>(bytes);
    buffer_.insert(buffer_.end(), first, first + count);
}

FrameAssembler::Result FrameAssembler::Next(std::string* body) {
    const size_t held = buffer_.size() - consumed_;
    if (held < kFrameLengthBytes) return Result::kIncomplete;
    uint32_t length = 0;
    for (size_t i = 0; i < kFrameLengthBytes; ++i) {
        const auto byte = static_cast<unsigned char>(buffer_[consumed_ + i]);
        length |= static_cast<uint32_t>(byte) << (8 * i);
    }
    if (!IsValidFrameLength(length)) return Result::kInvalidLength;
    if (held < kFrameLengthBytes + length) return Result::kIncomplete;
    body->assign(buffer_.data() + consumed_ + kFrameLengthBytes, length);
    consumed_ += kFrameLengthBytes + length;
    return Result::kFrame;
}

void FrameAssembler::Clear() {
    buffer_.clear();
    consumed_ = 0;
}

}  // namespace receiver
