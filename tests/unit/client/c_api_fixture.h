// What the tests of receiver_client.h share: handles that give themselves back, a receiver's
// messages, and what goes through the interface in either direction.
#pragma once

#include <gtest/gtest.h>

#include <future>
#include <iterator>
#include <memory>
#include <nlohmann/json.hpp>
#include <string>

#include "receiver_client.h"
#include "testing/fake_peer.h"

namespace receiver {

struct Destroyer {
    void operator()(receiver_client* client) const { receiver_client_destroy(client); }
    void operator()(receiver_process* process) const { receiver_process_destroy(process); }
    void operator()(receiver_audio* audio) const { receiver_audio_destroy(audio); }
    void operator()(receiver_cancellation* signal) const { receiver_cancellation_destroy(signal); }
};
template <typename Handle>
using Owned = std::unique_ptr<Handle, Destroyer>;

inline nlohmann::json Ack(const nlohmann::json& command) {
    return {{"type", "ACK"},
            {"version", 1},
            {"command", command.at("type")},
            {"requestId", command.at("requestId")},
            {"session",
             {{"sessionId", "s"}, {"state", "PREPARING"}, {"matches", nlohmann::json::array()}}}};
}

inline nlohmann::json EventOf(const char* type, nlohmann::json body = nlohmann::json::object()) {
    body.update({{"type", type}, {"version", 1}, {"sessionId", "s"}, {"sequence", 7}});
    return body;
}

// A client for C, whose receiver is played by the test.
class CApiTest : public testing::Test {
protected:
    // An event as a C program is given it.
    receiver_event Taken(const nlohmann::json& message) {
        FakePeer peer([&](FakePeer& p) {
            p.Welcome();
            p.SendMessage(message);
            p.WaitForHangUp();
        });
        EXPECT_EQ(receiver_client_connect(client_.get(), peer.Uri().c_str(), kPatienceMs),
                  RECEIVER_OK);
        const receiver_event* event = nullptr;
        EXPECT_EQ(receiver_client_next_event(client_.get(), kPatienceMs, &event), RECEIVER_OK)
            << receiver_client_error_text(client_.get());
        receiver_client_disconnect(client_.get());
        return event != nullptr ? *event : receiver_event{};
    }

    // The command that the request becomes.
    nlohmann::json Sent(const receiver_request& request) {
        std::promise<nlohmann::json> command;
        FakePeer peer([&](FakePeer& p) {
            p.Welcome();
            const nlohmann::json prepare = p.ReceiveMessage();
            p.SendMessage(Ack(prepare));
            command.set_value(prepare);
            p.WaitForHangUp();
        });
        EXPECT_EQ(receiver_client_connect(client_.get(), peer.Uri().c_str(), kPatienceMs),
                  RECEIVER_OK);
        EXPECT_EQ(receiver_client_is_connected(client_.get()), 1);
        EXPECT_EQ(receiver_client_prepare(client_.get(), &request, kPatienceMs), RECEIVER_OK)
            << receiver_client_error_text(client_.get());
        receiver_client_disconnect(client_.get());
        return Await(command.get_future(), "PREPARE");
    }

    receiver_request Request() const {
        receiver_request request{};
        request.size = sizeof(request);
        request.session_id = "s";
        request.url = "http://radio/";
        request.references = references_;
        request.reference_count = std::size(references_);
        return request;
    }

    const receiver_reference references_[2] = {{"a", "/a.wav", RECEIVER_ROLE_START},
                                               {"b", "/b.wav", RECEIVER_ROLE_END}};
    const Owned<receiver_cancellation> stop_{receiver_cancellation_create()};
    const Owned<receiver_client> client_{receiver_client_create(stop_.get())};
};

}  // namespace receiver
