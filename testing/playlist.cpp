#include "testing/playlist.h"

#include <array>
#include <cstdint>
#include <memory>

extern "C" {
#include <libavutil/aes.h>
#include <libavutil/mem.h>
}

namespace receiver {

std::string MakePlaylist(const std::vector<std::string>& segments, const std::string& keyUrl) {
    std::string text = "#EXTM3U\n#EXT-X-VERSION:3\n#EXT-X-TARGETDURATION:2\n";
    if (!keyUrl.empty()) {
        text += "#EXT-X-KEY:METHOD=AES-128,URI=\"" + keyUrl +
                "\",IV=0x00000000000000000000000000000000\n";
    }
    for (const std::string& segment : segments) text += "#EXTINF:2.0,\n" + segment + "\n";
    return text + "#EXT-X-ENDLIST\n";
}

std::string EncryptSegment(std::string bytes) {
    constexpr size_t kBlock = 16;
    const size_t padding = kBlock - bytes.size() % kBlock;
    bytes.append(padding, static_cast<char>(padding));
    const std::unique_ptr<AVAES, decltype(&av_free)> aes(av_aes_alloc(), &av_free);
    std::array<uint8_t, kBlock> vector{};
    av_aes_init(aes.get(), reinterpret_cast<const uint8_t*>(kTestKey), 128, 0);
    std::string encrypted(bytes.size(), '\0');
    av_aes_crypt(aes.get(), reinterpret_cast<uint8_t*>(encrypted.data()),
                 reinterpret_cast<const uint8_t*>(bytes.data()),
                 static_cast<int>(bytes.size() / kBlock), vector.data(), 0);
    return encrypted;
}

}  // namespace receiver
