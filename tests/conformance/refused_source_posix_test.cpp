// FFmpeg sees a refusal at once here; on Windows it takes one for silence.
#include "testing/receiver_fixture.h"
#include "testing/tcp_socket.h"

namespace receiver {

using nlohmann::json;

namespace {

class RefusedSourceTest : public ReceiverTest {};

}  // namespace

TEST_F(RefusedSourceTest, IsToldAsTheCause) {
    const uint16_t port = TcpSocket::ListenOnLoopback().Port();
    json prepare = PrepareCommand("s", "http://127.0.0.1:" + std::to_string(port) + "/",
                                  SaveJingles(MakeBroadcast(44100, 1)));
    prepare["report"] = {"cause"};
    ASSERT_EQ(receiver_.Ask(prepare)["type"], "ACK");
    EXPECT_EQ(receiver_.WaitFor("FINISHED")["cause"],
              json({{"kind", "refused"}, {"text", "the host refuses the connection"}}));
}

}  // namespace receiver
