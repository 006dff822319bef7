// What only a POSIX system can put in the receiver's way.
#include <gmock/gmock.h>
#include <sys/stat.h>

#include "testing/receiver_fixture.h"
#include "testing/tls_station_posix.h"

namespace receiver {

class BadSourcePosixTest : public ReceiverTest {
protected:
    void ExpectReferenceFound(const std::string& fileName) {
        const Broadcast broadcast = MakeBroadcast(44100, 2);
        const ReferenceFile named{"a", "start", folder_.File(fileName)};
        WriteWavFile(named.path, broadcast.startJingle);
        station_.Serve("/radio", WavRoute(broadcast.audio));
        const Recording recording =
            Record(receiver_, PrepareCommand("s", station_.Url("/radio"), {named}, 1000, 0));
        EXPECT_EQ(recording.finished["reason"], "eof");
    }
};

TEST_F(BadSourcePosixTest, ACertificateThatNobodyVouchesForIsRefused) {
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    TlsStation secure(MimeTypeOf(AudioCoding::kWav), WavBytes(broadcast.audio));
    const Recording recording =
        Record(receiver_, PrepareCommand("s", secure.Url("/radio"), SaveJingles(broadcast)));
    EXPECT_THAT(recording.EventTypes(), testing::ElementsAre("FINISHED"));
    EXPECT_EQ(recording.finished["reason"], "error");
    EXPECT_EQ(recording.finished["message"], "Network source Open failed");
    EXPECT_EQ(secure.ServedRequests(), 0u);
    ExpectCleanSession();
}

TEST_F(BadSourcePosixTest, AFifoIsNoReference) {
    const ReferenceFile fifo{"fifo", "start", folder_.File("fifo")};
    ASSERT_EQ(mkfifo(fifo.path.c_str(), 0600), 0);
    const Recording recording =
        Record(receiver_, PrepareCommand("s", station_.Url("/radio"), {fifo}));
    EXPECT_EQ(recording.finished["message"], "Reference Open failed");
    ExpectCleanSession();
}

TEST_F(BadSourcePosixTest, ADeviceIsNoReference) {
    const Recording recording = Record(
        receiver_, PrepareCommand("s", station_.Url("/radio"), {{"a", "start", "/dev/zero"}}));
    EXPECT_EQ(recording.finished["message"], "Reference Open failed");
    ExpectCleanSession();
}

TEST_F(BadSourcePosixTest, AReferencePathOfIllFormedUtf8CannotBeSent) {
    const auto reply = receiver_.AskRaw(
        "{\"requestId\":\"r\",\"type\":\"PREPARE\",\"version\":1,\"sessionId\":\"\xFF\"}");
    EXPECT_THAT(reply.value["message"].get<std::string>(),
                testing::StartsWith("[json.exception.parse_error.101]"));
}

TEST_F(BadSourcePosixTest, AReferenceNameMayHoldAnyCharacter) {
    ExpectReferenceFound("J\xC3\xBCngle \xE2\x99\xAB %20 #1?.wav");
}

TEST_F(BadSourcePosixTest, AReferenceNameWithAColonIsAFileAndNoProtocol) {
    ExpectReferenceFound("http:a.wav");
}

}  // namespace receiver
