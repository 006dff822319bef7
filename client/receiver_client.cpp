#include "receiver_client/receiver_client.h"

#include <algorithm>
#include <atomic>
#include <deque>
#include <utility>

#include "control_connection.h"
#include "message_json.h"
#include "platform/clock.h"
#include "platform/ids.h"
#include "platform/process_watch.h"
#include "platform/thread_safety.h"
#include "program_recorder.h"
#include "wire/messages.h"

namespace receiver {
namespace {

using nlohmann::json;

// Events that wait while a reply is awaited; no session has nearly as many.
constexpr size_t kMaxPendingEvents = 65536;
constexpr uint32_t kReconnectPauseMs = 50;
// Replies that nobody waits for any more, in one call that is over its time.
constexpr size_t kMaxStrayReplies = 64;
constexpr uint64_t kRequestCancelMs = 1000;

uint64_t TickDeadline(ReceiverClient::Milliseconds timeout) {
    return TickMs() + static_cast<uint64_t>(std::max<int64_t>(timeout.count(), 0));
}

bool IsReply(const json& message) {
    const json& type = message.at("type");
    return type == kReplyWelcome || type == kReplyAck || type == kReplyRejected;
}

std::string RefusalText(const json& rejected) {
    const auto text = rejected.find("message");
    return text != rejected.end() && text->is_string() ? text->get<std::string>() : "Rejected";
}

}  // namespace

class ReceiverClient::Connection {
public:
    explicit Connection(const Cancellation& cancellation)
        : channel_(cancellation),
          cancellation_(cancellation),
          requestPrefix_(CreateInstanceId() + "-") {}

    std::optional<Welcome> Connect(uint64_t deadline) {
        if (!channel_.Open(uri_, deadline)) return {};
        receiver_ = WatchProcess(channel_.ServerProcessId());
        std::optional<Welcome> welcome = Hello(deadline);
        if (!welcome) {
            channel_.Close();
        } else if (welcome->active) {
            RepeatCancel(welcome->active->sessionId);
        }
        return welcome;
    }

    std::optional<Welcome> Reconnect(uint64_t deadline) {
        for (;;) {
            std::optional<Welcome> welcome = Connect(deadline);
            if (welcome || channel_.Failure().kind != ErrorKind::kDisconnected) return welcome;
            if (TickMs() >= deadline) return {};
            // A receiver that is about to listen again needs a moment.
            cancellation_.Shared()->Event().Wait(kReconnectPauseMs);
        }
    }

    std::optional<Welcome> Hello(uint64_t deadline) {
        return Typed<Welcome>(Request(kCommandHello, json::object(), deadline), ParseWelcome);
    }

    std::optional<SessionSnapshot> SessionRequest(const char* type, json message,
                                                  uint64_t deadline) {
        return Typed<SessionSnapshot>(
            Request(type, std::move(message), deadline),
            [](const json& reply) { return ParseSnapshot(reply.at("session")); });
    }

    std::optional<SessionSnapshot> Prepare(const PrepareRequest& request, uint64_t deadline) {
        std::optional<SessionSnapshot> session =
            SessionRequest(kCommandPrepare, ToJson(request), deadline);
        if (session) RepeatCancel(session->sessionId);
        return session;
    }

    // Any thread.
    Error RequestCancel(const std::string& sessionId) EXCLUDES(wishMutex_) {
        {
            MutexLock lock(wishMutex_);
            toCancel_ = sessionId;
        }
        return SendCancel(sessionId);
    }

    // Sends the command and waits for its reply; a refusal is a failure.
    std::optional<json> Request(const char* type, json message, uint64_t deadline) {
        const std::string requestId = Identify(message, type);
        if (!channel_.Send(message, deadline)) return {};
        std::optional<json> reply = AwaitReply(type, requestId, deadline);
        if (reply && (*reply)["type"] == kReplyAck) acknowledged_ = requestId;
        return reply;
    }

    std::optional<Event> NextEvent(uint64_t deadline) {
        for (size_t strays = 0; pending_.empty();) {
            std::optional<json> message = channel_.Receive(deadline);
            if (!message) return {};
            // Any other reply here belongs to a command that nobody waits for. What has come
            // behind it counts as here: a descriptor would not tell of it again.
            if (!IsReply(*message) || IsTakenBack(*message)) {
                pending_.push_back(std::move(*message));
            } else if (TickMs() >= deadline && ++strays > kMaxStrayReplies) {
                channel_.Fail(ErrorKind::kTimedOut, "No event in time");
                return {};
            }
        }
        json message = std::move(pending_.front());
        pending_.pop_front();
        if (IsReply(message)) {
            channel_.Fail(ErrorKind::kRejected, RefusalText(message));
            return {};
        }
        std::optional<Event> event = Typed<Event>(std::move(message), ParseEvent);
        if (event && event->type == kEventFinished) ForgetCancel(event->sessionId);
        return event;
    }

    const Cancellation& Signal() const { return cancellation_; }

    ControlConnection channel_;
    std::string uri_;
    std::unique_ptr<ProcessWatch> receiver_;  // of the last connection; empty before one
    std::deque<json> pending_;  // events, in order of arrival, and a session taken back

private:
    std::string Identify(json& message, const char* type) {
        std::string requestId = requestPrefix_ + std::to_string(++requests_);
        message["type"] = type;
        message["version"] = kProtocolVersion;
        message["requestId"] = requestId;
        return requestId;
    }

    Error SendCancel(const std::string& sessionId) {
        json message = {{"sessionId", sessionId}};
        Identify(message, kCommandCancel);
        return channel_.SendBeside(message, TickMs() + kRequestCancelMs);
    }

    // A wish that came before the session did, or that a lost connection may have swallowed.
    // Should it be lost again, the next use of the connection finds out.
    void RepeatCancel(const std::string& sessionId) EXCLUDES(wishMutex_) {
        {
            MutexLock lock(wishMutex_);
            if (toCancel_ != sessionId) return;
        }
        SendCancel(sessionId);
    }

    void ForgetCancel(const std::string& sessionId) EXCLUDES(wishMutex_) {
        MutexLock lock(wishMutex_);
        if (toCancel_ == sessionId) toCancel_.clear();
    }

    std::optional<json> AwaitReply(const std::string& command, const std::string& requestId,
                                   uint64_t deadline) {
        for (;;) {
            std::optional<json> message = channel_.Receive(deadline);
            if (!message) return {};
            if (!IsReply(*message) || IsTakenBack(*message)) {
                if (!Keep(std::move(*message))) return {};
            } else if (std::optional<bool> accepted = Accepts(*message, command, requestId)) {
                return *accepted ? std::move(message) : std::nullopt;
            }
            if (TickMs() >= deadline) {
                channel_.Fail(ErrorKind::kTimedOut, "The receiver did not answer in time");
                return {};
            }
        }
    }

    // Nothing when the reply is for another command.
    std::optional<bool> Accepts(const json& reply, const std::string& command,
                                const std::string& requestId) {
        const bool rejected = reply["type"] == kReplyRejected;
        const json id = reply.contains("requestId") ? reply["requestId"] : json();
        // A refusal without an id: the receiver could not even read what was sent.
        if (id != requestId &&
            !(rejected && id.is_string() && id.get_ref<const std::string&>().empty()))
            return {};
        if (rejected) return channel_.Fail(ErrorKind::kRejected, RefusalText(reply));
        const bool fits = command == kCommandHello
                              ? reply["type"] == kReplyWelcome
                              : reply["type"] == kReplyAck && reply.contains("command") &&
                                    reply["command"] == command;
        return fits || Broken("the reply does not fit the command");
    }

    // A session that was acknowledged and then could not be started is rejected, too.
    bool IsTakenBack(const json& message) const {
        const auto id = message.find("requestId");
        return !acknowledged_.empty() && message["type"] == kReplyRejected && id != message.end() &&
               *id == acknowledged_;
    }

    bool Keep(json event) {
        if (pending_.size() >= kMaxPendingEvents) return Broken("too many events");
        pending_.push_back(std::move(event));
        return true;
    }

    bool Broken(const std::string& why) {
        channel_.Close();
        return channel_.Fail(ErrorKind::kProtocol, "The receiver broke the protocol: " + why);
    }

    template <typename Record, typename Parser>
    std::optional<Record> Typed(std::optional<json> message, Parser parse) {
        if (!message) return {};
        try {
            return parse(*message);
        } catch (const std::exception& e) {
            Broken(e.what());
            return {};
        }
    }

    const Cancellation cancellation_;
    // Request ids are remembered by the receiver for as long as it runs, whoever sent them.
    const std::string requestPrefix_;
    std::atomic<uint64_t> requests_ = 0;
    std::string acknowledged_;  // the request of the last command that was

    Mutex wishMutex_;
    std::string toCancel_ GUARDED_BY(wishMutex_);  // a session; empty for none
};

ReceiverClient::ReceiverClient(const Cancellation& cancellation)
    : connection_(std::make_unique<Connection>(cancellation)) {}

ReceiverClient::~ReceiverClient() = default;
ReceiverClient::ReceiverClient(ReceiverClient&& other) noexcept = default;
ReceiverClient& ReceiverClient::operator=(ReceiverClient&& other) noexcept = default;

std::optional<Welcome> ReceiverClient::Connect(const std::string& uri, Milliseconds timeout) {
    connection_->uri_ = uri;
    connection_->pending_.clear();
    return connection_->Connect(TickDeadline(timeout));
}

std::optional<Welcome> ReceiverClient::Reconnect(Milliseconds timeout) {
    return connection_->Reconnect(TickDeadline(timeout));
}

void ReceiverClient::Disconnect() {
    connection_->channel_.Close();
}

bool ReceiverClient::IsConnected() const {
    return connection_->channel_.IsOpen();
}

bool ReceiverClient::WaitForReceiverEnd(Milliseconds timeout) const {
    return connection_->receiver_ != nullptr &&
           connection_->receiver_->WaitForEnd(
               static_cast<uint32_t>(std::clamp<int64_t>(timeout.count(), 0, 0xFFFFFFFE)));
}

std::optional<Welcome> ReceiverClient::Hello(Milliseconds timeout) {
    return connection_->Hello(TickDeadline(timeout));
}

std::optional<SessionSnapshot> ReceiverClient::Prepare(const PrepareRequest& request,
                                                       Milliseconds timeout) {
    return connection_->Prepare(request, TickDeadline(timeout));
}

std::optional<SessionSnapshot> ReceiverClient::Cancel(const std::string& sessionId,
                                                      Milliseconds timeout) {
    return connection_->SessionRequest(kCommandCancel, {{"sessionId", sessionId}},
                                       TickDeadline(timeout));
}

Error ReceiverClient::RequestCancel(const std::string& sessionId) {
    return connection_->RequestCancel(sessionId);
}

bool ReceiverClient::Shutdown(Milliseconds timeout) {
    return connection_->Request(kCommandShutdown, json::object(), TickDeadline(timeout))
        .has_value();
}

std::optional<Event> ReceiverClient::NextEvent(Milliseconds timeout) {
    return connection_->NextEvent(TickDeadline(timeout));
}

std::intptr_t ReceiverClient::EventDescriptor() {
    return connection_->channel_.Readiness();
}

ProgramResult ReceiverClient::RecordProgram(const PrepareRequest& request,
                                            const ProgramSink& sink) {
    return ProgramRecorder(*this, connection_->Signal(), sink).Run(request);
}

const Error& ReceiverClient::LastError() const {
    return connection_->channel_.Failure();
}

}  // namespace receiver
