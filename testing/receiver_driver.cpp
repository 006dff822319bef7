#include "testing/receiver_driver.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>

#include "pipe/pipe_uri.h"
#include "platform/clock.h"
#include "platform/executable_path.h"
#include "platform/ids.h"
#include "platform/text.h"
#include "testing/message_schema.h"

namespace receiver {

using nlohmann::json;

namespace {

constexpr char kPrefix[] = "pcm-pipe://";

uint64_t Deadline() {
    return TickMs() + kPatienceMs;
}

bool IsReply(const json& message) {
    const std::string type = message.value("type", "");
    return type == "ACK" || type == "REJECTED" || type == "WELCOME";
}

std::unique_ptr<ChildProcess> Launch(std::vector<std::string> launcher, const std::string& uri,
                                     const std::string& logPath) {
    launcher.insert(launcher.end(), {ReceiverDriver::ProgramPath(), uri, logPath});
    const std::string program = launcher.front();
    launcher.erase(launcher.begin());
    return std::make_unique<ChildProcess>(program, launcher, ChildProcess::ErrorStream::kCapture);
}

// Neither the pipe nor, on Linux, the lock that keeps its name.
void ExpectNoPipeLeft(const std::string& uri) {
    const std::filesystem::path pipe(MapPipeUri(uri).value());
    EXPECT_FALSE(std::filesystem::exists(pipe)) << uri;
    const std::string name = PipeNameFromUri(uri).value();
    EXPECT_FALSE(std::filesystem::exists(pipe.parent_path() / ("lock." + name))) << uri;
}

}  // namespace

std::string ReceiverDriver::ProgramPath() {
    return ToUtf8(ExecutableDirectory() / "ReceiverHost");
}

std::string ReceiverDriver::UniqueUri() {
    return kPrefix + ("test-" + CreateInstanceId());
}

ReceiverDriver::ReceiverDriver(const Options& options)
    : uri_(options.uri.empty() ? UniqueUri() : options.uri),
      logPath_(options.logPath.empty() ? folder_.File("receiver.log") : options.logPath),
      process_(Launch(options.launcher, uri_, logPath_)) {
    CheckAllControlTraffic();
    const std::string line = process_->ReadLine(Deadline()).value_or("(nothing)");
    if (line != "LISTENING " + uri_) {
        process_->Kill();
        throw std::runtime_error("not the LISTENING line: " + line + "; standard error: " +
                                 process_->ReadAllErrors(Deadline()).value_or("(nothing)"));
    }
}

ReceiverDriver::~ReceiverDriver() {
    if (ended_) return;
    process_->Interrupt();
    ExpectCleanEnd();
}

json ReceiverDriver::Introduce() {
    if (!control_.Connect(uri_)) {
        throw std::runtime_error("cannot connect, error " + std::to_string(control_.LastError()));
    }
    json welcome = Ask({{"type", "HELLO"}});
    instanceId_ = welcome.value("instanceId", "");
    return welcome;
}

void ReceiverDriver::Disconnect() {
    control_.Close();
    waitingEvents_.clear();
}

json ReceiverDriver::Ask(json command) {
    if (!command.contains("requestId")) {
        command["requestId"] = "r" + std::to_string(nextRequest_++);
    }
    if (!command.contains("version")) command["version"] = 1;
    return AskRaw(command.dump()).value;
}

ReceiverDriver::Message ReceiverDriver::AskRaw(const std::string& body) {
    if (!control_.SendFrame(body)) throw std::runtime_error("cannot send " + body.substr(0, 200));
    const Patience patience("the reply to " + body.substr(0, 200));
    Message message = Receive();
    while (!IsReply(message.value)) {
        patience.Check();
        waitingEvents_.push_back(std::move(message));
        message = Receive();
    }
    if (message.value.value("command", "") == "PREPARE") ++sessions_;
    return message;
}

ReceiverDriver::Message ReceiverDriver::NextEventMessage() {
    if (waitingEvents_.empty()) {
        Message message = Receive();
        if (IsReply(message.value)) throw std::runtime_error("no event: " + message.bytes);
        return message;
    }
    Message message = std::move(waitingEvents_.front());
    waitingEvents_.pop_front();
    return message;
}

json ReceiverDriver::WaitFor(const std::string& type) {
    const Patience patience(type);
    json event = NextEvent();
    while (event["type"] != type) {
        patience.Check();
        if (event["type"] == "FINISHED") {
            throw std::runtime_error("FINISHED without " + type + ": " + event.dump());
        }
        event = NextEvent();
    }
    return event;
}

std::string ReceiverDriver::AudioUri(int session) const {
    return kPrefix + ("receiver-audio-" + instanceId_ + "-" + std::to_string(session));
}

std::string ReceiverDriver::LogText() const {
    std::ostringstream text;
    const std::filesystem::path path(logPath_);
    for (const auto& entry : std::filesystem::directory_iterator(path.parent_path())) {
        if (!entry.path().filename().string().starts_with(path.stem().string() + "_")) continue;
        text << std::ifstream(entry.path(), std::ios::binary).rdbuf();
    }
    return text.str();
}

std::vector<std::string> ReceiverDriver::LogLines() const {
    std::vector<std::string> lines;
    std::istringstream text(LogText());
    for (std::string line; std::getline(text, line);) lines.push_back(line);
    return lines;
}

void ReceiverDriver::Shutdown() {
    const json reply = Ask({{"type", "SHUTDOWN"}});
    EXPECT_EQ(reply["type"], "ACK") << reply;
    ExpectCleanEnd();
}

void ReceiverDriver::Kill() {
    ended_ = true;
    process_->Kill();
    EXPECT_EQ(process_->WaitForExit(Deadline()).value_or(-1), 137);
}

void ReceiverDriver::ExpectCleanEnd() {
    ended_ = true;
    EXPECT_EQ(process_->WaitForExit(Deadline()).value_or(-1), 0);
    EXPECT_EQ(process_->ReadAllOutput(Deadline()).value_or("(open)"), "");
    EXPECT_EQ(process_->ReadAllErrors(Deadline()).value_or("(open)"), "");
    ExpectNoPipeLeft(uri_);
    for (int session = 1; session <= sessions_; ++session) ExpectNoPipeLeft(AudioUri(session));
}

ReceiverDriver::Message ReceiverDriver::Receive() {
    std::optional<std::string> body = control_.Receive();
    if (!body) {
        throw std::runtime_error("no message, error " + std::to_string(control_.LastError()));
    }
    json value = json::parse(*body);
    return {std::move(*body), std::move(value)};
}

}  // namespace receiver
