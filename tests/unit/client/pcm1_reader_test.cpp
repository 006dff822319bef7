#include "receiver_client/pcm1_reader.h"

#include <gtest/gtest.h>

#include <array>
#include <future>
#include <vector>

#include "platform/manual_reset_event.h"
#include "testing/fake_peer.h"
#include "wire/pcm1_record.h"

namespace receiver {
namespace {

using receiver::Cancellation;
using receiver::ErrorKind;
using receiver::Pcm1Reader;
using Result = receiver::Pcm1Reader::Result;
using std::chrono::milliseconds;

constexpr milliseconds kLong(kPatienceMs);
constexpr uint64_t kToken = 0x1122334455667788;

Pcm1Header Header(uint16_t channels = 2) {
    Pcm1Header header;
    header.sampleRate = 44100;
    header.channels = channels;
    header.bitsPerSample = 16;
    header.streamToken = kToken;
    return header;
}

template <typename Record>
void SendRecord(FakePeer& peer, const Record& record) {
    peer.Send(&record, sizeof(record));
}

void SendChunk(FakePeer& peer, uint64_t firstFrame, const std::vector<int16_t>& pcm) {
    const auto bytes = static_cast<uint32_t>(pcm.size() * sizeof(int16_t));
    SendRecord(peer, Pcm1ChunkRecord{kPcm1Data, bytes, firstFrame, 0});
    peer.Send(pcm.data(), bytes);
}

class Pcm1ReaderTest : public testing::Test {
protected:
    Result Read(milliseconds timeout = kLong) { return reader_.Read(buffer_, &bytes_, timeout); }
    std::vector<int16_t> Samples() const {
        std::vector<int16_t> samples(bytes_ / sizeof(int16_t));
        std::memcpy(samples.data(), buffer_.data(), bytes_);
        return samples;
    }

    Cancellation cancellation_;
    Pcm1Reader reader_{cancellation_};
    std::array<std::byte, 4096> buffer_{};
    size_t bytes_ = 0;
};

}  // namespace

TEST_F(Pcm1ReaderTest, AStreamIsReadToItsEndAndAcknowledgedWithItsToken) {
    std::promise<Pcm1Acknowledgement> acknowledged;
    FakePeer peer([&](FakePeer& p) {
        SendRecord(p, Header());
        SendChunk(p, 0, {1, 2, 3, 4});
        SendChunk(p, 2, {5, 6});
        SendRecord(p, Pcm1ChunkRecord{kPcm1End, 0, 3, 0});
        Pcm1Acknowledgement acknowledgement;
        p.Receive(&acknowledgement, sizeof(acknowledgement));
        acknowledged.set_value(acknowledgement);
    });
    ASSERT_TRUE(reader_.Open(peer.Uri(), kLong)) << reader_.LastError().text;
    EXPECT_EQ(reader_.Format().sampleRate, 44100u);
    EXPECT_EQ(reader_.Format().channels, 2);
    ASSERT_EQ(Read(), Result::kData);
    EXPECT_EQ(Samples(), (std::vector<int16_t>{1, 2, 3, 4}));
    ASSERT_EQ(Read(), Result::kData);
    EXPECT_EQ(Samples(), (std::vector<int16_t>{5, 6}));
    EXPECT_EQ(Read(), Result::kEnd);
    EXPECT_EQ(Read(), Result::kEnd);
    EXPECT_EQ(bytes_, 0u);
    EXPECT_EQ(reader_.FramesRead(), 3u);
    ASSERT_TRUE(reader_.Acknowledge(kLong));
    const Pcm1Acknowledgement acknowledgement =
        Await(acknowledged.get_future(), "the acknowledgement");
    EXPECT_EQ(acknowledgement.magic, kPcm1Magic);
    EXPECT_EQ(acknowledgement.status, 0u);
    EXPECT_EQ(acknowledgement.streamToken, kToken);
}

TEST_F(Pcm1ReaderTest, AFailedSourceIsToldApartFromTheEnd) {
    FakePeer peer([](FakePeer& p) {
        SendRecord(p, Header());
        SendRecord(p, Pcm1ChunkRecord{kPcm1SourceFailed, 0, 0, kPcm1SourceFailedStatus});
        p.WaitForHangUp();
    });
    ASSERT_TRUE(reader_.Open(peer.Uri(), kLong));
    EXPECT_EQ(Read(), Result::kSourceFailed);
}

TEST_F(Pcm1ReaderTest, AChunkLargerThanTheBufferComesInPiecesOfWholeFrames) {
    FakePeer peer([](FakePeer& p) {
        SendRecord(p, Header());
        SendChunk(p, 0, {1, 2, 3, 4, 5, 6});
        SendRecord(p, Pcm1ChunkRecord{kPcm1End, 0, 3, 0});
        p.WaitForHangUp();
    });
    ASSERT_TRUE(reader_.Open(peer.Uri(), kLong));
    std::array<std::byte, 11> small{};  // two frames and a part
    ASSERT_EQ(reader_.Read(small, &bytes_, kLong), Result::kData);
    EXPECT_EQ(bytes_, 8u);
    EXPECT_EQ(reader_.FramesRead(), 2u);
    ASSERT_EQ(reader_.Read(small, &bytes_, kLong), Result::kData);
    EXPECT_EQ(bytes_, 4u);
    EXPECT_EQ(reader_.Read(small, &bytes_, kLong), Result::kEnd);
}

TEST_F(Pcm1ReaderTest, ABufferThatHoldsNoFrameIsRefused) {
    FakePeer peer([](FakePeer& p) {
        SendRecord(p, Header());
        p.WaitForHangUp();
    });
    ASSERT_TRUE(reader_.Open(peer.Uri(), kLong));
    std::array<std::byte, 3> small{};
    EXPECT_EQ(reader_.Read(small, &bytes_, kLong), Result::kError);
    EXPECT_EQ(reader_.LastError().kind, ErrorKind::kInvalidArgument);
}

TEST_F(Pcm1ReaderTest, ATimeOutAnywhereInTheStreamLosesNothing) {
    // Cut in the record, within the first frame, and within the second.
    std::string stream;
    const Pcm1ChunkRecord record{kPcm1Data, 8, 0, 0};
    stream.append(reinterpret_cast<const char*>(&record), sizeof(record));
    stream += "abcdefgh";
    const std::vector<size_t> cuts = {5, sizeof(record) + 3, sizeof(record) + 7, stream.size()};
    std::array<ManualResetEvent, 4> go;
    FakePeer peer([&](FakePeer& p) {
        SendRecord(p, Header());
        size_t sent = 0;
        for (size_t i = 0; i < cuts.size(); ++i) {
            go[i].Wait(kPatienceMs);
            p.Send(stream.substr(sent, cuts[i] - sent));
            sent = cuts[i];
        }
        p.WaitForHangUp();
    });
    ASSERT_TRUE(reader_.Open(peer.Uri(), kLong));
    std::string got;
    for (ManualResetEvent& next : go) {
        while (Read(milliseconds(10)) == Result::kData) {
            got.append(reinterpret_cast<const char*>(buffer_.data()), bytes_);
        }
        ASSERT_EQ(reader_.LastError().kind, ErrorKind::kTimedOut) << reader_.LastError().text;
        next.Signal();
    }
    while (got.size() < 8) {
        ASSERT_EQ(Read(), Result::kData) << reader_.LastError().text;
        got.append(reinterpret_cast<const char*>(buffer_.data()), bytes_);
    }
    EXPECT_EQ(got, "abcdefgh");
    EXPECT_EQ(reader_.FramesRead(), 2u);
}

TEST_F(Pcm1ReaderTest, CancellingFromAnotherThreadEndsARead) {
    FakePeer peer([this](FakePeer& p) {
        SendRecord(p, Header());
        cancellation_.Cancel();
        p.WaitForHangUp();
    });
    // The cancellation may come as early as during Open.
    if (reader_.Open(peer.Uri(), kLong)) {
        EXPECT_EQ(Read(), Result::kError);
    }
    EXPECT_EQ(reader_.LastError().kind, ErrorKind::kCancelled);
}

TEST_F(Pcm1ReaderTest, APeerThatGoesInMidStreamIsADisconnectionAfterWhatCame) {
    FakePeer peer([](FakePeer& p) {
        SendRecord(p, Header());
        SendRecord(p, Pcm1ChunkRecord{kPcm1Data, 400, 0, 0});
        p.Send("abcdef");
    });
    ASSERT_TRUE(reader_.Open(peer.Uri(), kLong));
    EXPECT_EQ(Read(), Result::kData);
    EXPECT_EQ(bytes_, 4u);
    EXPECT_EQ(Read(), Result::kError);
    EXPECT_EQ(reader_.LastError().kind, ErrorKind::kDisconnected);
}

TEST_F(Pcm1ReaderTest, OpenFailsWhenNoHeaderComes) {
    FakePeer peer([](FakePeer& p) { p.WaitForHangUp(); });
    EXPECT_FALSE(reader_.Open(peer.Uri(), milliseconds(50)));
    EXPECT_EQ(reader_.LastError().kind, ErrorKind::kTimedOut);
    EXPECT_EQ(Read(), Result::kError);
    EXPECT_EQ(reader_.LastError().kind, ErrorKind::kDisconnected);
}

TEST_F(Pcm1ReaderTest, AStreamThatHasNotEndedCannotBeAcknowledged) {
    FakePeer peer([](FakePeer& p) {
        SendRecord(p, Header());
        p.WaitForHangUp();
    });
    ASSERT_TRUE(reader_.Open(peer.Uri(), kLong));
    EXPECT_FALSE(reader_.Acknowledge(kLong));
}

struct BadHeader {
    const char* name;
    void (*spoil)(Pcm1Header&);
};
class Pcm1ReaderHeaderTest : public Pcm1ReaderTest,
                             public testing::WithParamInterface<BadHeader> {};

TEST_P(Pcm1ReaderHeaderTest, IsAProtocolError) {
    FakePeer peer([](FakePeer& p) {
        Pcm1Header header = Header();
        GetParam().spoil(header);
        SendRecord(p, header);
        p.WaitForHangUp();
    });
    EXPECT_FALSE(reader_.Open(peer.Uri(), kLong));
    EXPECT_EQ(reader_.LastError().kind, ErrorKind::kProtocol) << reader_.LastError().text;
}

INSTANTIATE_TEST_SUITE_P(
    , Pcm1ReaderHeaderTest,
    testing::Values(BadHeader{"Magic", [](Pcm1Header& h) { h.magic ^= 1; }},
                    BadHeader{"Version", [](Pcm1Header& h) { h.version = 2; }},
                    BadHeader{"HeaderBytes", [](Pcm1Header& h) { h.headerBytes = 44; }},
                    BadHeader{"Bits", [](Pcm1Header& h) { h.bitsPerSample = 24; }},
                    BadHeader{"NoChannels", [](Pcm1Header& h) { h.channels = 0; }},
                    BadHeader{"TooManyChannels", [](Pcm1Header& h) { h.channels = 65; }},
                    BadHeader{"NoRate", [](Pcm1Header& h) { h.sampleRate = 0; }},
                    BadHeader{"AbsurdRate", [](Pcm1Header& h) { h.sampleRate = 0x7FFFFFFF; }}),
    [](const auto& test) { return std::string(test.param.name); });

struct BadRecord {
    const char* name;
    Pcm1ChunkRecord record;
};
class Pcm1ReaderRecordTest : public Pcm1ReaderTest,
                             public testing::WithParamInterface<BadRecord> {};

// The stream stands at frame 1.
TEST_P(Pcm1ReaderRecordTest, IsAProtocolErrorThatClosesThePipe) {
    FakePeer peer([](FakePeer& p) {
        SendRecord(p, Header());
        SendChunk(p, 0, {1, 2});
        SendRecord(p, GetParam().record);
        p.WaitForHangUp();
    });
    ASSERT_TRUE(reader_.Open(peer.Uri(), kLong));
    ASSERT_EQ(Read(), Result::kData);
    EXPECT_EQ(Read(), Result::kError);
    EXPECT_EQ(reader_.LastError().kind, ErrorKind::kProtocol) << reader_.LastError().text;
    EXPECT_EQ(bytes_, 0u);
    EXPECT_EQ(Read(), Result::kError);
    EXPECT_EQ(reader_.LastError().kind, ErrorKind::kDisconnected);
}

INSTANTIATE_TEST_SUITE_P(
    , Pcm1ReaderRecordTest,
    testing::Values(BadRecord{"UnknownType", {9, 4, 1, 0}}, BadRecord{"TypeZero", {0, 4, 1, 0}},
                    BadRecord{"NoBytes", {kPcm1Data, 0, 1, 0}},
                    BadRecord{"BrokenFrame", {kPcm1Data, 6, 1, 0}},
                    BadRecord{"AbsurdSize", {kPcm1Data, 0xFFFFFFFC, 1, 0}},
                    BadRecord{"JustAboveTheLimit", {kPcm1Data, 1048580, 1, 0}},
                    BadRecord{"GapInFrames", {kPcm1Data, 4, 2, 0}},
                    BadRecord{"RepeatedFrame", {kPcm1Data, 4, 0, 0}},
                    BadRecord{"DataWithStatus", {kPcm1Data, 4, 1, 30}},
                    BadRecord{"EndWithData", {kPcm1End, 4, 1, 0}},
                    BadRecord{"EndWithStatus", {kPcm1End, 0, 1, 30}},
                    BadRecord{"EndElsewhere", {kPcm1End, 0, 7, 0}},
                    BadRecord{"FailureWithoutStatus", {kPcm1SourceFailed, 0, 1, 0}}),
    [](const auto& test) { return std::string(test.param.name); });

}  // namespace receiver
