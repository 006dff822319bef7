// Sends hostile control frames to a live receiver: each must get its answer, and the receiver's
// own memory must stay as it is.
//
//     frame_storm FRAMES
//
// The receiver logs every answer, about 200 bytes each. Its log goes to memory where there is a
// file system for it (/dev/shm), and of the files that it rolls over only the newest is kept:
// there are never more than two, of 128 MiB at most.
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <exception>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <stdexcept>
#include <string>
#include <vector>

#include "fuzz/hostile_frames.h"
#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/ids.h"
#include "testing/process_probe_posix.h"
#include "testing/raw_control_client.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"
#include "wire/messages.h"

namespace receiver {
namespace {

using nlohmann::json;

// In a batch: as much as the receiver reads at a time, and few enough answers for the pipe.
constexpr size_t kBatchBytes = 4000;
constexpr size_t kBatchFrames = 100;
constexpr uint64_t kFramesPerConnection = 5000;
constexpr uint64_t kMaxFramesPerLargeOne = 10000;
constexpr uint64_t kMaxWarmUpFrames = 100000;
// What the pages of a heap that is in use all the time come and go by; each frame that left
// one byte behind would show in a run of a million.
constexpr size_t kMaxGrowthKilobytes = 1024;
constexpr char kTakenId[] = "taken";

void Require(bool holds, const std::string& what) {
    if (!holds) throw std::runtime_error(what);
}

class Storm final {
public:
    explicit Storm(uint64_t frames) : frames_(frames), random_(1), hostile_(2, kTakenId) {}

    void Run();

private:
    void StartReceiver();
    void UseUpAnId();
    void Connect();
    void EndConnection();
    void SendBatch(size_t most);
    void TakeAnswers(size_t leave);
    void Send(HostileFrame frame);
    json Receive();
    void DropOldLogs() const;
    void Report(const char* what) const;

    const uint64_t frames_;
    const TempFolder folder_;
    TestRandom random_;
    HostileFrames hostile_;
    const std::string uri_ = "pcm-pipe://storm-" + CreateInstanceId();
    std::unique_ptr<ChildProcess> receiver_;
    RawControlClient control_;
    std::deque<HostileFrame> waiting_;  // for their answers
    uint64_t sent_ = 0;
    uint64_t answered_ = 0;
    uint64_t abandoned_ = 0;  // sent by a client that hung up before the answer
    uint64_t connections_ = 0;
    uint64_t started_ = TickMs();
};

void Storm::Run() {
    StartReceiver();
    Connect();
    UseUpAnId();
    // The receiver's buffers have their largest size when the comparison begins: it has also had
    // several large frames by then, since the first leaves less behind than a second one.
    const uint64_t framesPerLargeOne = std::min(frames_ / 10, kMaxFramesPerLargeOne);
    const uint64_t warmUp = std::min(frames_ / 2, kMaxWarmUpFrames);
    size_t before = 0;
    uint64_t nextReport = frames_ / 10;
    uint64_t nextConnection = kFramesPerConnection;
    uint64_t nextLarge = 0;
    while (sent_ < frames_) {
        if (sent_ >= nextLarge) {
            Send(hostile_.NextLarge());
            nextLarge += framesPerLargeOne;
        }
        SendBatch(static_cast<size_t>(std::min<uint64_t>(kBatchFrames, frames_ - sent_)));
        TakeAnswers(kBatchFrames);
        if (sent_ >= nextConnection) {
            EndConnection();
            Connect();
            DropOldLogs();
            nextConnection += kFramesPerConnection;
        }
        if (before == 0 && sent_ >= warmUp) {
            TakeAnswers(0);
            before = PrivateKilobytesOf(receiver_->ProcessId());
            Report("after the warm-up");
        } else if (sent_ >= nextReport) {
            Report("so far");
            nextReport += frames_ / 10;
        }
    }
    TakeAnswers(0);
    Report("in all");
    const size_t after = PrivateKilobytesOf(receiver_->ProcessId());
    Require(before > 0 && after > 0, "the receiver's memory cannot be read");
    Require(after <= before + kMaxGrowthKilobytes, "the receiver has grown from " +
                                                       std::to_string(before) + " to " +
                                                       std::to_string(after) + " kB");
    control_.SendFrame(R"({"requestId":"last","type":"SHUTDOWN","version":1})");
    Require(Receive().at("type") == kReplyAck, "SHUTDOWN was not accepted");
    Require(receiver_->WaitForExit(TickMs() + kPatienceMs) == 0, "the receiver did not end well");
}

void Storm::StartReceiver() {
    receiver_ = std::make_unique<ChildProcess>(
        RECEIVER_HOST_PATH, std::vector<std::string>{uri_, folder_.File("storm.log")});
    const auto line = receiver_->ReadLine(TickMs() + kPatienceMs);
    Require(line == kListeningPrefix + uri_, "the receiver does not listen");
}

// One command that is accepted: its session ends at once, as its reference is no audio.
void Storm::UseUpAnId() {
    const std::string reference = folder_.File("reference.txt");
    WriteFileBytes(reference, "no audio\n");
    const json prepare = {
        {"requestId", kTakenId},
        {"type", kCommandPrepare},
        {"version", kProtocolVersion},
        {"sessionId", "s"},
        {"url", "http://127.0.0.1:9/"},
        {"references", {{{"id", "a"}, {"role", kRoleStart}, {"path", reference}}}}};
    Require(control_.SendFrame(prepare.dump()), "cannot send PREPARE");
    const json reply = Receive();
    Require(reply.at("type") == kReplyAck, "PREPARE was refused: " + reply.dump());
    while (Receive().at("type") != kEventFinished) {
    }
}

void Storm::Connect() {
    Require(control_.Connect(uri_), "cannot connect");
    ++connections_;
    Send(hostile_.BeforeHello());
    Send(hostile_.Hello());
    TakeAnswers(0);
}

// In one of the ways in which a hostile client leaves.
void Storm::EndConnection() {
    switch (random_.Below(3)) {
        case 0:
            Send(hostile_.WrongLength());
            TakeAnswers(0);
            Require(control_.WaitForHangUp(), "a wrong length was not the end");
            break;
        case 1:
            TakeAnswers(0);
            Require(control_.Send(hostile_.CutFrame()), "cannot send half a frame");
            break;
        default:
            abandoned_ += waiting_.size();
            waiting_.clear();
    }
    control_.Close();
}

void Storm::SendBatch(size_t most) {
    std::string bytes;
    for (size_t i = 0; i < most && bytes.size() < kBatchBytes; ++i) {
        HostileFrame frame = hostile_.Next();
        bytes += frame.bytes;
        waiting_.push_back(std::move(frame));
        ++sent_;
    }
    Require(control_.Send(bytes), "the receiver takes no more frames");
}

void Storm::Send(HostileFrame frame) {
    Require(control_.Send(frame.bytes), "the receiver takes no more frames");
    waiting_.push_back(std::move(frame));
    ++sent_;
}

void Storm::TakeAnswers(size_t leave) {
    for (; waiting_.size() > leave; waiting_.pop_front(), ++answered_) {
        const HostileFrame& frame = waiting_.front();
        const json answer = Receive();
        const bool isRight = answer.at("type") == frame.answer &&
                             answer.at("requestId") == frame.requestId &&
                             answer.at("version") == kProtocolVersion &&
                             (frame.message.empty() || answer.at("message") == frame.message);
        Require(isRight, "the answer to " + frame.bytes.substr(4, 200) + " is " + answer.dump());
    }
}

json Storm::Receive() {
    const auto body = control_.Receive();
    Require(body.has_value(), "no answer");
    return json::parse(*body);
}

void Storm::DropOldLogs() const {
    std::vector<std::filesystem::path> logs;
    for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
        if (entry.path().extension() == ".log") logs.push_back(entry.path());
    }
    std::sort(logs.begin(), logs.end());  // by the time in their names
    for (size_t i = 0; i + 1 < logs.size(); ++i) std::filesystem::remove(logs[i]);
}

void Storm::Report(const char* what) const {
    const uint64_t ms = std::max<uint64_t>(TickMs() - started_, 1);
    std::printf(
        "%s: %llu frames, %llu answered, %llu abandoned, %llu connections, "
        "%llu frames/s, %zu kB private\n",
        what, static_cast<unsigned long long>(sent_), static_cast<unsigned long long>(answered_),
        static_cast<unsigned long long>(abandoned_), static_cast<unsigned long long>(connections_),
        static_cast<unsigned long long>(sent_ * 1000 / ms),
        PrivateKilobytesOf(receiver_->ProcessId()));
    std::fflush(stdout);
}

}  // namespace
}  // namespace receiver

int main(int argc, char** argv) {
    using namespace receiver;
    const uint64_t frames = argc == 2 ? std::strtoull(argv[1], nullptr, 10) : 0;
    if (frames < 1000) {
        std::fputs("usage: frame_storm FRAMES    (1000 or more)\n", stderr);
        return 2;
    }
    try {
        if (std::filesystem::is_directory("/dev/shm")) setenv("TMPDIR", "/dev/shm", 0);
        Storm(frames).Run();
        return 0;
    } catch (const std::exception& error) {
        std::fprintf(stderr, "frame_storm: %s\n", error.what());
        return 1;
    }
}
