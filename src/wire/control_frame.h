// Frames of the control pipe: a 4-byte little-endian length (1 to 65,536), then
// that many bytes of JSON. Pure: bytes in, bodies out; used by both ends.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace receiver {

inline constexpr uint32_t kMaxFrameBodyBytes = 65536;  // bytes
inline constexpr size_t kFrameLengthBytes = 4;

bool IsValidFrameLength(uint32_t bodyBytes);
// Length and body in one piece. The body's length must be valid.
std::string EncodeFrame(std::string_view body);

// Collects received bytes and gives out the frames that are complete.
class FrameAssembler final {
public:
    enum class Result { kFrame, kIncomplete, kInvalidLength };

    void Append(const void* bytes, size_t count);
    // kFrame moves the next body to `body`; otherwise `body` is left alone. After
    // kInvalidLength the stream has lost its framing: only Clear helps.
    Result Next(std::string* body);
    void Clear();

private:
    std::vector<char> buffer_;
    size_t consumed_ = 0;  // bytes at the front that were already given out
};

}  // namespace receiver
