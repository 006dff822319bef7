// ReceiverClient::RecordProgram with a receiver that does not know what it was asked for.
#include <gtest/gtest.h>

#include <future>
#include <string>

#include "receiver_client/receiver_client.h"
#include "testing/fake_peer.h"

namespace receiver {
namespace {

using nlohmann::json;

json SessionReply(const json& command, const char* state) {
    return {{"type", "ACK"},
            {"version", 1},
            {"command", command.at("type")},
            {"requestId", command.at("requestId")},
            {"session", {{"sessionId", "s"}, {"state", state}, {"matches", json::array()}}}};
}

}  // namespace

// It would record something else than was asked for: the session ends before any of it is written.
TEST(ProgramRecorder, AReceiverThatDoesNotKnowAnAdditionIsToldToCancel) {
    std::promise<std::string> command;
    FakePeer peer([&](FakePeer& p) {
        p.Welcome();
        p.SendMessage(SessionReply(p.ReceiveMessage(), "PREPARING"));
        json event = {{"type", "CONNECTED"}, {"version", 1}, {"sessionId", "s"}, {"sequence", 1}};
        p.SendMessage(event);
        event.update({{"type", "READY"}, {"sequence", 2}, {"uri", p.Uri()}, {"sourceSample", 0}});
        p.SendMessage(event);
        const json cancel = p.ReceiveMessage();
        p.SendMessage(SessionReply(cancel, "CANCELLING"));
        p.SendMessage({{"type", "FINISHED"},
                       {"version", 1},
                       {"sessionId", "s"},
                       {"sequence", 3},
                       {"state", "FINISHED"},
                       {"reason", "cancelled"},
                       {"message", ""},
                       {"matches", json::array()}});
        command.set_value(cancel.at("type"));
        p.WaitForHangUp();
    });
    const Cancellation cancellation;
    ReceiverClient client(cancellation);
    ASSERT_TRUE(client.Connect(peer.Uri(), std::chrono::milliseconds(kPatienceMs)));

    PrepareRequest request;
    request.sessionId = "s";
    request.url = "http://radio/";
    request.references = {{"a", Role::kStart, "/a.wav"}};
    request.reconnectMs = 60000;
    request.preRollMs = 100;
    bool given = false;
    ProgramSink sink;
    sink.begin = [&](const PcmFormat&) { return given = true; };
    sink.event = [&](const Event&) { given = true; };
    const ProgramResult result = client.RecordProgram(request, sink);
    EXPECT_EQ(Await(command.get_future(), "the command after PREPARE"), "CANCEL");
    EXPECT_FALSE(result.complete);
    EXPECT_EQ(result.error.kind, ErrorKind::kUnsupported);
    EXPECT_EQ(result.error.text,
              "The receiver is of a version that does not know preRollMs, reconnectMs");
    EXPECT_FALSE(given);
}

}  // namespace receiver
