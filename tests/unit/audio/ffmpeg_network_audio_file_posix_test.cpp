// The certificate check, with a station that OpenSSL gives us on POSIX systems only.
#include <gtest/gtest.h>

#include "audio/ffmpeg_network_audio_file.h"
#include "testing/audio_encoder.h"
#include "testing/scripted_audio_file.h"
#include "testing/tls_station_posix.h"

namespace receiver {

TEST(NetworkTls, ACertificateThatNobodyVouchesForIsRefused) {
    TlsStation station("audio/flac",
                       EncodeAudio(MakeNoise(1, 44100, 2, 44100), AudioCoding::kFlac));
    CFFmpegNetworkAudioFile file(nullptr, kTestDeadlineMs);
    EXPECT_EQ(file.Open(station.Url("/a.flac")), 0);
    EXPECT_EQ(file.ErrorCode(), kDecoderErrorOpen);
    EXPECT_EQ(station.ServedRequests(), 0u);
    EXPECT_NE(file.Failure().tlsText.find("certificate"), std::string::npos)
        << file.Failure().tlsText;
    EXPECT_EQ(file.Failure().httpStatus, 0);
}

}  // namespace receiver
