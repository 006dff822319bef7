// A receiver that is killed leaves its name to the next one.
#include "conformance/session_fixture.h"

TEST(KilledReceiverTest, IsReplacedWhileNobodyWasConnected) {
    CReceiverDriver killed;
    killed.Kill();
    CReceiverDriver::Options sameName;
    sameName.uri = killed.Uri();
    CReceiverDriver next(sameName);
    EXPECT_EQ(next.Introduce()["type"], "WELCOME");
}

TEST(KilledReceiverTest, IsReplacedAfterItsClientHasSeenTheEnd) {
    CReceiverDriver killed;
    killed.Introduce();
    killed.Kill();
    EXPECT_FALSE(killed.Control().Receive().has_value());
    CReceiverDriver::Options sameName;
    sameName.uri = killed.Uri();
    CReceiverDriver next(sameName);
    EXPECT_EQ(next.Introduce()["type"], "WELCOME");
}

TEST_F(SessionTest, AReceiverKilledInASessionIsReplaced) {
    const Broadcast broadcast = MakeBroadcast(44100, 1);
    StationRoute route = WavRoute(broadcast.audio);
    route.stallAfter = 44 + broadcast.startJingleFrame * 2;
    CReceiverDriver killed;
    killed.Introduce();
    ASSERT_EQ(
        killed.Ask(PrepareCommand("s", ServeAll(std::move(route)), SaveJingles(broadcast)))["type"],
        "ACK");
    ASSERT_TRUE(station_.WaitForStall(kPath, kPatienceMs));
    killed.Kill();
    CReceiverDriver::Options sameName;
    sameName.uri = killed.Uri();
    CReceiverDriver next(sameName);
    EXPECT_EQ(next.Introduce()["active"], nullptr);
}
