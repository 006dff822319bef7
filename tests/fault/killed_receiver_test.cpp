// A receiver that is killed leaves its name to the next one.
#include "testing/receiver_fixture.h"

namespace receiver {

TEST(KilledReceiver, IsReplacedWhileNobodyWasConnected) {
    ReceiverDriver killed;
    killed.Kill();
    ReceiverDriver::Options sameName;
    sameName.uri = killed.Uri();
    ReceiverDriver next(sameName);
    EXPECT_EQ(next.Introduce()["type"], "WELCOME");
}

TEST(KilledReceiver, IsReplacedAfterItsClientHasSeenTheEnd) {
    ReceiverDriver killed;
    killed.Introduce();
    killed.Kill();
    EXPECT_FALSE(killed.Control().Receive().has_value());
    ReceiverDriver::Options sameName;
    sameName.uri = killed.Uri();
    ReceiverDriver next(sameName);
    EXPECT_EQ(next.Introduce()["type"], "WELCOME");
}

TEST_F(ReceiverTest, AReceiverKilledInASessionIsReplaced) {
    const Broadcast broadcast = MakeBroadcast(44100, 1);
    StationRoute route = WavRoute(broadcast.audio);
    route.stallAfter = 44 + broadcast.startJingleFrame * 2;
    ReceiverDriver killed;
    killed.Introduce();
    ASSERT_EQ(
        killed.Ask(PrepareCommand("s", ServeAll(std::move(route)), SaveJingles(broadcast)))["type"],
        "ACK");
    ASSERT_TRUE(station_.WaitForStall(kPath, kPatienceMs));
    killed.Kill();
    ReceiverDriver::Options sameName;
    sameName.uri = killed.Uri();
    ReceiverDriver next(sameName);
    EXPECT_EQ(next.Introduce()["active"], nullptr);
}

}  // namespace receiver
