#include "record_run.h"

#include <fstream>
#include <sstream>

#include "log_place.h"
#include "platform/clock.h"
#include "platform/executable_path.h"
#include "platform/text.h"
#include "testing/wav_file.h"

namespace receiver {

RecordRun::RecordRun() : broadcast_(MakeBroadcast(44100, 2)), body_(WavBytes(broadcast_.audio)) {
    SetLogPlace(LogPlace());
    WriteWavFile(folder_.File("jingle.wav"), broadcast_.startJingle);
    WriteWavFile(folder_.File("outro.wav"), broadcast_.endJingle);
}

void RecordRun::Serve(StationRoute route, const std::string& path) {
    route.contentType = "audio/wav";
    route.body = body_;
    station_.Serve(path, route);
}

size_t RecordRun::BodyBytes(size_t frame) const {
    return body_.size() - broadcast_.audio.Bytes() + frame * 4;
}

std::vector<std::string> RecordRun::Arguments(const std::vector<std::string>& further) const {
    std::vector<std::string> arguments = {station_.Url("/live"), "--start",
                                          folder_.File("jingle.wav")};
    arguments.insert(arguments.end(), further.begin(), further.end());
    return arguments;
}

int RecordRun::Execute(const std::vector<std::string>& further) {
    return RunWith(Arguments(further));
}

int RecordRun::ExecuteAt(const std::string& url, const std::vector<std::string>& further) {
    std::vector<std::string> arguments = Arguments(further);
    arguments[0] = url;
    return RunWith(arguments);
}

int RecordRun::RunWith(const std::vector<std::string>& arguments) {
    ChildProcess process(RecordProgram(), arguments, ChildProcess::ErrorStream::kCapture);
    const uint64_t deadline = TickMs() + kRunPatienceMs;
    errors_.clear();
    while (const auto line = process.ReadErrorLine(deadline)) errors_.push_back(*line);
    output_ = process.ReadAllOutput(deadline).value_or("");
    return process.WaitForExit(deadline).value_or(-1);
}

std::vector<int16_t> RecordRun::Recorded() const {
    return DecodeStream(OutputFile()).samples;
}

nlohmann::json RecordRun::Sidecar() const {
    std::ifstream file(OutputFile() + ".json");
    return nlohmann::json::parse(file);
}

std::vector<int16_t> RecordRun::Expected(uint64_t frames) const {
    return Slice(broadcast_.audio, broadcast_.startJingleFrame, static_cast<size_t>(frames))
        .samples;
}

std::string RecordProgram() {
    return ToUtf8(ExecutableDirectory() / "receiver-record");
}

bool WaitForErrorLine(ChildProcess& process, const std::string& part) {
    const uint64_t deadline = TickMs() + kRunPatienceMs;
    while (const auto line = process.ReadErrorLine(deadline)) {
        if (line->find(part) != std::string::npos) return true;
    }
    return false;
}

}  // namespace receiver
