// The calls of receiver_client.h on the control connection.
#include <algorithm>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "c_handles.h"
#include "message_json.h"

using namespace receiver;

namespace receiver {
namespace {

receiver_role RoleOf(Role role) {
    switch (role) {
        case Role::kStart:
            return RECEIVER_ROLE_START;
        case Role::kEnd:
            return RECEIVER_ROLE_END;
        case Role::kOther:
            break;
    }
    return RECEIVER_ROLE_OTHER;
}

// Fills the record with what its type speaks of.
struct EventFields {
    receiver_event& record;

    void operator()(const UnknownEvent&) const { record.type = RECEIVER_EVENT_UNKNOWN; }
    void operator()(const ConnectedEvent&) const { record.type = RECEIVER_EVENT_CONNECTED; }
    void operator()(const DetectedEvent& event) const {
        record.type = RECEIVER_EVENT_DETECTED;
        record.reference_id = event.match.referenceId.c_str();
        record.role = RoleOf(event.match.role);
        record.bit_error_rate = event.match.ber;
        record.sample = event.match.sample;
    }
    void operator()(const ProgramEndEvent& event) const {
        record.type = RECEIVER_EVENT_PROGRAM_END;
        record.start_sample = event.program.startSample;
        record.end_sample = event.program.endSample;
        record.reason = event.program.reason.c_str();
    }
    void operator()(const ReadyEvent& event) const {
        record.type = RECEIVER_EVENT_READY;
        record.uri = event.uri.c_str();
        record.sample = event.sourceSample;
        record.served_sample = event.servedSample.value_or(event.sourceSample);
    }
    void operator()(const SourceErrorEvent& event) const {
        record.type = RECEIVER_EVENT_SOURCE_ERROR;
        record.error = event.error;
        record.can_drain = event.canDrain ? 1 : 0;
        record.end_sample = event.sourceEndSample;
        TakeCause(event.cause);
    }
    void operator()(const FinishedEvent& event) const {
        record.type = RECEIVER_EVENT_FINISHED;
        record.reason = event.session.reason.c_str();
        record.message = event.session.message.c_str();
        TakeCause(event.session.cause);
    }
    void operator()(const ResumedEvent& event) const {
        record.type = RECEIVER_EVENT_RESUMED;
        record.sample = event.resumption.sample;
        record.outage_ms = event.resumption.outageMs;
        record.repeated_frames = event.resumption.repeatedFrames;
        record.lost_frames = event.resumption.lostFrames;
        record.attempts = event.resumption.attempts;
        record.exact = event.resumption.exact ? 1 : 0;
        TakeCause(event.cause);
    }
    void operator()(const DamagedEvent& event) const {
        record.type = RECEIVER_EVENT_DAMAGED;
        record.sample = event.sample;
        record.lost_frames = event.frames;
        record.damage_kind = event.kind.c_str();
    }
    void operator()(const TitleEvent& event) const {
        record.type = RECEIVER_EVENT_TITLE;
        record.sample = event.sample;
        record.title = event.title.c_str();
    }
    void operator()(const StationEvent& event) const {
        record.type = RECEIVER_EVENT_STATION;
        record.sample = event.sample;
        record.station = event.name.c_str();
    }

    void TakeCause(const std::optional<Cause>& cause) const {
        if (!cause) return;
        record.cause_kind = cause->kind.c_str();
        record.cause_text = cause->text.c_str();
        record.cause_status = cause->status.value_or(0);
        if (cause->referenceId) record.cause_reference_id = cause->referenceId->c_str();
    }
};

Role RoleOf(receiver_role role) {
    switch (role) {
        case RECEIVER_ROLE_START:
            return Role::kStart;
        case RECEIVER_ROLE_END:
            return Role::kEnd;
        case RECEIVER_ROLE_OTHER:
            return Role::kOther;
    }
    throw std::invalid_argument("A reference has an unknown role");
}

std::string Required(const char* text, const char* what) {
    if (text == nullptr) throw std::invalid_argument(std::string("The request has no ") + what);
    return text;
}

// The record as this version knows it: what a program compiled against an older header does not
// have is 0.
template <typename Record>
Record Known(const Record* record) {
    if (record == nullptr || record->size < sizeof(size_t)) {
        throw std::invalid_argument("A record has no size");
    }
    Record known{};
    std::memcpy(&known, record, std::min(record->size, sizeof(Record)));
    return known;
}

HttpOptions HttpOf(const receiver_request& request) {
    HttpOptions http;
    if (request.user_agent != nullptr) http.userAgent = request.user_agent;
    if (request.ca_file != nullptr) http.caFile = request.ca_file;
    if (request.headers == nullptr && request.header_count > 0) {
        throw std::invalid_argument("The request has no headers");
    }
    for (size_t i = 0; i < request.header_count; ++i) {
        const receiver_header& header = request.headers[i];
        const bool added = http.headers
                               .emplace(Required(header.name, "header name"),
                                        Required(header.value, "header value"))
                               .second;
        if (!added) throw std::invalid_argument("The request has a header twice");
    }
    return http;
}

void AddAdditions(const receiver_request& request, PrepareRequest& made) {
    if (request.look_back_ms != 0) made.lookBackMs = request.look_back_ms;
    if (request.reconnect_ms != 0) made.reconnectMs = request.reconnect_ms;
    if (request.pre_roll_ms != 0) made.preRollMs = request.pre_roll_ms;
    made.startNow = request.start_now != 0;
    made.reconnectLostOnly = request.reconnect_lost_only != 0;
    constexpr uint32_t kReports = RECEIVER_REPORT_CAUSE | RECEIVER_REPORT_DAMAGE |
                                  RECEIVER_REPORT_TITLES | RECEIVER_REPORT_STATION;
    if ((request.report & ~kReports) != 0) {
        throw std::invalid_argument("The request has an unknown report");
    }
    made.report.cause = (request.report & RECEIVER_REPORT_CAUSE) != 0;
    made.report.damage = (request.report & RECEIVER_REPORT_DAMAGE) != 0;
    made.report.titles = (request.report & RECEIVER_REPORT_TITLES) != 0;
    made.report.station = (request.report & RECEIVER_REPORT_STATION) != 0;
    made.http = HttpOf(request);
}

PrepareRequest RequestOf(const receiver_request* given) {
    const receiver_request request = Known(given);
    PrepareRequest made;
    made.sessionId = Required(request.session_id, "session_id");
    made.url = Required(request.url, "url");
    if (request.io_timeout_ms != 0) made.ioTimeoutMs = request.io_timeout_ms;
    if (request.block_bytes != 0) made.blockBytes = request.block_bytes;
    if (request.maximum_ms != 0) made.program = ProgramLimits{request.maximum_ms, request.fade_ms};
    if (request.references == nullptr && request.reference_count > 0) {
        throw std::invalid_argument("The request has no references");
    }
    for (size_t i = 0; i < request.reference_count; ++i) {
        const receiver_reference& reference = request.references[i];
        made.references.push_back({Required(reference.id, "reference id"), RoleOf(reference.role),
                                   Required(reference.path, "reference path")});
    }
    AddAdditions(request, made);
    return made;
}

// What the caller got wrong, told as such.
template <typename Call>
receiver_status WithArguments(receiver_client* client, Call call) noexcept {
    return Guarded(client, [&] {
        try {
            return call();
        } catch (const std::invalid_argument& e) {
            return FailArgument(client, e.what());
        }
    });
}

receiver_status Answer(receiver_client* client, bool done) {
    return done ? RECEIVER_OK : Fail(client, client->client.LastError());
}

ProgramSink SinkOf(const receiver_sink& sink) {
    ProgramSink made;
    if (sink.begin != nullptr) {
        made.begin = [&sink](const PcmFormat& format) {
            return sink.begin(sink.user, format.sampleRate, format.channels) == 0;
        };
    }
    if (sink.write != nullptr) {
        made.write = [&sink](std::span<const std::byte> pcm) {
            return sink.write(sink.user, pcm.data(), pcm.size()) == 0;
        };
    }
    if (sink.event != nullptr) {
        made.event = [&sink](const Event& event) {
            const receiver_event record = RecordOf(event);
            sink.event(sink.user, &record);
        };
    }
    return made;
}

void Report(const ProgramResult& program, receiver_result* given) {
    receiver_result result = Known(given);
    result.complete = program.complete ? 1 : 0;
    result.source_failed = program.sourceFailed ? 1 : 0;
    const PcmFormat format = program.format.value_or(PcmFormat{});
    result.sample_rate = format.sampleRate;
    result.channels = format.channels;
    result.frames = program.frames;
    result.start_sample = program.startSample.value_or(0);
    result.end_sample = program.program ? program.program->endSample : 0;
    result.reason = program.session ? program.session->reason.c_str() : "";
    result.message = program.session ? program.session->message.c_str() : "";
    result.served_sample = program.servedSample.value_or(0);
    std::memcpy(given, &result, std::min(given->size, sizeof(result)));
}

}  // namespace

receiver_event RecordOf(const Event& event) {
    receiver_event record{};
    record.type_name = event.type.c_str();
    record.session_id = event.sessionId.c_str();
    record.json = event.raw.c_str();
    record.sequence = event.sequence;
    std::visit(EventFields{record}, event.body);
    return record;
}

}  // namespace receiver

receiver_client* receiver_client_create(receiver_cancellation* cancellation) {
    return Create<receiver_client>(cancellation);
}

void receiver_client_destroy(receiver_client* client) {
    Destroy(client);
}

receiver_status receiver_client_connect(receiver_client* client, const char* uri,
                                        uint32_t timeout_ms) {
    return Guarded(client, [&] {
        if (uri == nullptr) return FailArgument(client, "A URI is needed");
        return Answer(client, client->client.Connect(uri, Ms(timeout_ms)).has_value());
    });
}

receiver_status receiver_client_reconnect(receiver_client* client, uint32_t timeout_ms) {
    return Guarded(client, [&] {
        return Answer(client, client->client.Reconnect(Ms(timeout_ms)).has_value());
    });
}

void receiver_client_disconnect(receiver_client* client) {
    if (client != nullptr) client->client.Disconnect();
}

int receiver_client_is_connected(const receiver_client* client) {
    return client != nullptr && client->client.IsConnected() ? 1 : 0;
}

receiver_status receiver_client_hello(receiver_client* client, uint32_t timeout_ms,
                                      const char** json) {
    return Guarded(client, [&] {
        std::optional<Welcome> welcome = client->client.Hello(Ms(timeout_ms));
        if (!welcome) return Fail(client, client->client.LastError());
        client->text = std::move(welcome->raw);
        if (json != nullptr) *json = client->text.c_str();
        return RECEIVER_OK;
    });
}

receiver_status receiver_client_prepare(receiver_client* client, const receiver_request* request,
                                        uint32_t timeout_ms) {
    return WithArguments(client, [&] {
        const PrepareRequest made = RequestOf(request);
        const auto session = client->client.Prepare(made, Ms(timeout_ms));
        if (!session) return Fail(client, client->client.LastError());
        client->missing = JoinKeys(MissingAdditions(made, *session));
        return RECEIVER_OK;
    });
}

const char* receiver_client_missing_additions(const receiver_client* client) {
    return client != nullptr ? client->missing.c_str() : "";
}

receiver_status receiver_client_cancel(receiver_client* client, const char* session_id,
                                       uint32_t timeout_ms) {
    return Guarded(client, [&] {
        if (session_id == nullptr) return FailArgument(client, "A session is needed");
        return Answer(client, client->client.Cancel(session_id, Ms(timeout_ms)).has_value());
    });
}

// Beside another call: nothing of the object but the client itself is touched.
receiver_status receiver_client_request_cancel(receiver_client* client, const char* session_id) {
    if (client == nullptr || session_id == nullptr) return RECEIVER_INVALID_ARGUMENT;
    try {
        return StatusOf(client->client.RequestCancel(session_id).kind);
    } catch (...) {
        return RECEIVER_NO_MEMORY;
    }
}

receiver_status receiver_client_shutdown(receiver_client* client, uint32_t timeout_ms) {
    return Guarded(client, [&] { return Answer(client, client->client.Shutdown(Ms(timeout_ms))); });
}

receiver_status receiver_client_next_event(receiver_client* client, uint32_t timeout_ms,
                                           const receiver_event** event) {
    return Guarded(client, [&] {
        if (event == nullptr) return FailArgument(client, "A place for the event is needed");
        client->event = client->client.NextEvent(Ms(timeout_ms));
        if (!client->event) return Fail(client, client->client.LastError());
        client->record = RecordOf(*client->event);
        *event = &client->record;
        return RECEIVER_OK;
    });
}

intptr_t receiver_client_event_descriptor(receiver_client* client) {
    return client != nullptr ? client->client.EventDescriptor() : -1;
}

const char* receiver_client_error_text(const receiver_client* client) {
    return client != nullptr ? client->error.text.c_str() : "";
}

uint32_t receiver_client_error_code(const receiver_client* client) {
    return client != nullptr ? client->error.code : 0;
}

receiver_status receiver_client_record(receiver_client* client, const receiver_request* request,
                                       const receiver_sink* sink, receiver_result* result) {
    return WithArguments(client, [&] {
        const receiver_sink known = Known(sink);
        client->result = {};
        if (result != nullptr) Report(client->result, result);
        client->result = client->client.RecordProgram(RequestOf(request), SinkOf(known));
        if (result != nullptr) Report(client->result, result);
        return client->result.complete ? RECEIVER_OK : Fail(client, client->result.error);
    });
}
