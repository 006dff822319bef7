#include "program_recorder.h"

#include <algorithm>
#include <utility>

#include "message_json.h"
#include "platform/thread_name.h"
#include "wire/messages.h"

namespace receiver {
namespace {

using std::chrono::milliseconds;

constexpr milliseconds kCommandTimeout(10000);
constexpr milliseconds kReconnectTimeout(30000);
constexpr milliseconds kAudioOpenTimeout(2000);  // it waits already, unless the session has ended
constexpr milliseconds kAcknowledgeTimeout(1000);
// The session ends in its own time, and the cancellation ends the wait.
constexpr milliseconds kWithoutLimit(std::chrono::hours(24 * 365));
constexpr size_t kReadBytes = 65536;
constexpr size_t kMaxQueuedBytes = 256u << 20;

}  // namespace

ProgramRecorder::ProgramRecorder(ReceiverClient& client, const Cancellation& cancellation,
                                 const ProgramSink& sink)
    : client_(client), cancellation_(cancellation), sink_(sink) {}

ProgramRecorder::~ProgramRecorder() {
    if (events_.joinable() || audio_.joinable()) Stop();  // only when a thread cannot be started
    if (events_.joinable()) events_.join();
    if (audio_.joinable()) audio_.join();
}

ProgramResult ProgramRecorder::Run(const PrepareRequest& request) {
    sessionId_ = request.sessionId;
    const std::optional<SessionSnapshot> session = client_.Prepare(request, kCommandTimeout);
    if (!session) {
        result_.error = client_.LastError();
        return std::move(result_);
    }
    const std::vector<std::string> missing = MissingAdditions(request, *session);
    if (!missing.empty()) RefuseUnsupported(missing);
    try {
        events_ = std::thread([this] { FollowEvents(); });
    } catch (const std::system_error&) {
        Stop();
        throw;
    }
    while (HandOut()) {
    }
    events_.join();
    if (audio_.joinable()) audio_.join();
    if (thrown_) std::rethrow_exception(thrown_);
    Judge();
    return std::move(result_);
}

// The events' thread.
void ProgramRecorder::FollowEvents() {
    SetCurrentThreadName("program-events");
    try {
        for (;;) {
            std::optional<News> news = NextNews();
            if (!news) return EndEvents(client_.LastError());
            const bool last = !news->event && !news->session;
            const bool finished = news->session
                                      ? news->session->state == kStateFinished
                                      : news->event && news->event->type == kEventFinished &&
                                            news->event->sessionId == sessionId_;
            if (!last) {
                MutexLock lock(mutex_);
                news_.push_back(std::move(*news));
                changed_.notify_all();
            }
            if (last || finished) return EndEvents({});
        }
    } catch (const std::exception& e) {
        EndEvents({ErrorKind::kSystem, 0, e.what()});
    }
}

// Nothing after a failure that ends it all; without content when the receiver has no session
// of ours any more.
std::optional<ProgramRecorder::News> ProgramRecorder::NextNews() {
    if (std::optional<Event> event = client_.NextEvent(kWithoutLimit)) {
        return News{std::move(event), {}};
    }
    if (client_.LastError().kind != ErrorKind::kDisconnected) return {};
    std::optional<Welcome> welcome = client_.Reconnect(kReconnectTimeout);
    if (!welcome) return {};
    if (!welcome->active || welcome->active->sessionId != sessionId_) return News{};
    return News{{}, std::move(welcome->active)};
}

void ProgramRecorder::EndEvents(const Error& error) {
    MutexLock lock(mutex_);
    eventsError_ = error;
    eventsEnded_ = true;
    changed_.notify_all();
}

// The audio's thread.
void ProgramRecorder::ReadAudio(const std::string& uri) {
    SetCurrentThreadName("program-audio");
    using Result = Pcm1Reader::Result;
    try {
        Pcm1Reader reader(cancellation_);
        if (!reader.Open(uri, kAudioOpenTimeout)) {
            return EndAudio(Result::kError, reader.LastError());
        }
        {
            MutexLock lock(mutex_);
            format_ = reader.Format();
            changed_.notify_all();
        }
        std::vector<std::byte> buffer(kReadBytes);
        for (;;) {
            size_t bytes = 0;
            const Result result = reader.Read(buffer, &bytes, kWithoutLimit);
            if (result == Result::kError) return EndAudio(result, reader.LastError());
            if (result != Result::kData) {
                const bool acknowledged = reader.Acknowledge(kAcknowledgeTimeout);
                return EndAudio(result, acknowledged ? Error{} : reader.LastError());
            }
            if (!QueueAudio({buffer.data(), bytes})) {
                return EndAudio(Result::kError,
                                {ErrorKind::kSystem, 0, "The audio is not written fast enough"});
            }
        }
    } catch (const std::exception& e) {
        EndAudio(Result::kError, {ErrorKind::kSystem, 0, e.what()});
    }
}

bool ProgramRecorder::QueueAudio(std::span<const std::byte> pcm) {
    std::vector<std::byte> copy(pcm.begin(), pcm.end());
    MutexLock lock(mutex_);
    if (pcmBytes_ + copy.size() > kMaxQueuedBytes) return false;
    pcmBytes_ += copy.size();
    pcm_.push_back(std::move(copy));
    changed_.notify_all();
    return true;
}

void ProgramRecorder::EndAudio(Pcm1Reader::Result result, const Error& error) {
    MutexLock lock(mutex_);
    audioResult_ = result;
    audioError_ = error;
    audioEnded_ = true;
    changed_.notify_all();
}

// Waits for what the two threads have left and hands it to the sink. False once there is no
// more to come. The events go first: an end that is known cuts what came with it.
bool ProgramRecorder::HandOut() {
    std::deque<News> news;
    std::deque<std::vector<std::byte>> pcm;
    bool ended = false;
    {
        MutexLock lock(mutex_);
        while (news_.empty() && pcm_.empty() && !(eventsEnded_ && audioEnded_)) {
            lock.Wait(changed_);
        }
        news.swap(news_);
        pcm.swap(pcm_);
        pcmBytes_ = 0;
        ended = eventsEnded_ && audioEnded_;
        result_.format = format_;
    }
    if (result_.format && !std::exchange(begun_, true)) {
        CallSink([&] { return !sink_.begin || sink_.begin(*result_.format); });
    }
    for (const News& item : news) Take(item);
    for (const std::vector<std::byte>& piece : pcm) Take(piece);
    if (!ended) return true;
    {
        // The last news may just have started the audio.
        MutexLock lock(mutex_);
        if (!audioEnded_ || !pcm_.empty() || (format_ && !begun_)) return true;
    }
    Flush();
    return false;
}

void ProgramRecorder::Take(const News& news) {
    if (news.session) return Take(*news.session);
    const Event& event = *news.event;
    if (event.sessionId != sessionId_) return;
    CallSink([&] {
        if (sink_.event) sink_.event(event);
        return true;
    });
    if (const auto* end = std::get_if<ProgramEndEvent>(&event.body)) {
        result_.program = end->program;
    } else if (const auto* ready = std::get_if<ReadyEvent>(&event.body)) {
        result_.startSample = ready->sourceSample;
        result_.servedSample = ready->servedSample.value_or(ready->sourceSample);
        StartAudio(ready->uri);
    } else if (const auto* finished = std::get_if<FinishedEvent>(&event.body)) {
        Take(finished->session);
    }
}

void ProgramRecorder::Take(const SessionSnapshot& session) {
    if (session.program) result_.program = session.program;
    if (session.sourceSample) {
        result_.startSample = session.sourceSample;
        result_.servedSample = session.servedSample.value_or(*session.sourceSample);
    }
    if (session.state == kStateFinished) {
        result_.session = session;
    } else if (session.uri) {
        StartAudio(*session.uri);
    }
}

void ProgramRecorder::StartAudio(const std::string& uri) {
    if (audio_.joinable() || refused_) return;
    {
        MutexLock lock(mutex_);
        audioEnded_ = false;
    }
    try {
        audio_ = std::thread([this, uri] { ReadAudio(uri); });
    } catch (const std::system_error& e) {
        EndAudio(Pcm1Reader::Result::kError, {ErrorKind::kSystem, 0, e.what()});
        Stop();
    }
}

// With bounds the end may still move forward, by what passes while an outro is recognised: the
// newest second is kept back until all is known, and written in pieces of a second.
void ProgramRecorder::Take(std::span<const std::byte> pcm) {
    if (!result_.program) return Give(pcm);
    held_.insert(held_.end(), pcm.begin(), pcm.end());
    const size_t second = size_t{result_.format->FrameBytes()} * result_.format->sampleRate;
    if (held_.size() < 2 * second) return;
    const size_t old = held_.size() - second;
    Give(std::span(held_).first(old));
    held_.erase(held_.begin(), held_.begin() + static_cast<std::ptrdiff_t>(old));
}

void ProgramRecorder::Flush() {
    if (!held_.empty()) Give(held_);
    held_.clear();
}

void ProgramRecorder::Give(std::span<const std::byte> pcm) {
    const uint32_t frameBytes = result_.format->FrameBytes();
    const uint64_t wanted = FramesWanted();
    const uint64_t room = wanted > result_.frames ? wanted - result_.frames : 0;
    const uint64_t frames = std::min<uint64_t>(pcm.size() / frameBytes, room);
    if (frames == 0 || refused_) return;
    CallSink([&] {
        if (sink_.write && !sink_.write(pcm.first(static_cast<size_t>(frames * frameBytes)))) {
            return false;
        }
        result_.frames += frames;
        return true;
    });
}

uint64_t ProgramRecorder::FramesWanted() const {
    if (!result_.program) return UINT64_MAX;
    const Program& program = *result_.program;
    const uint64_t first = result_.servedSample.value_or(program.startSample);
    return program.endSample - std::min(first, program.endSample);
}

// A sink that wants no more, or throws, ends the session; what still comes passes it by.
template <typename Call>
void ProgramRecorder::CallSink(Call call) {
    if (refused_) return;
    try {
        if (call()) return;
    } catch (...) {
        thrown_ = std::current_exception();
    }
    refused_ = true;
    Stop();
}

// What comes would not be what was asked for: the session is ended before any of it is written.
void ProgramRecorder::RefuseUnsupported(const std::vector<std::string>& missing) {
    result_.error = {ErrorKind::kUnsupported, 0,
                     "The receiver is of a version that does not know " + JoinKeys(missing)};
    refused_ = true;
    Stop();
}

void ProgramRecorder::Stop() {
    client_.RequestCancel(sessionId_);
}

void ProgramRecorder::Judge() {
    MutexLock lock(mutex_);
    result_.sourceFailed = audioResult_ == Pcm1Reader::Result::kSourceFailed;
    const bool eof = result_.session ? result_.session->reason == kReasonEof
                                     : eventsError_.kind == ErrorKind::kNone;
    result_.complete = eof && !refused_ && audioResult_ == Pcm1Reader::Result::kEnd;
    if (result_.complete || result_.error.kind == ErrorKind::kUnsupported) return;
    if (refused_ || (result_.session && result_.session->reason == kReasonCancelled)) {
        result_.error = {ErrorKind::kCancelled, 0, "The session was cancelled"};
    } else if (eventsError_.kind != ErrorKind::kNone) {
        result_.error = eventsError_;
    } else if (audioError_.kind == ErrorKind::kSystem) {
        result_.error = audioError_;
    } else {
        result_.error = {ErrorKind::kSessionFailed, 0,
                         result_.session ? result_.session->message
                                         : "The session ended, and its last message was lost"};
    }
}

}  // namespace receiver
