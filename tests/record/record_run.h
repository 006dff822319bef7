// One run of receiver-record against a station on loopback that sends a broadcast:
// noise, a start jingle, a programme, an end jingle, noise.
#pragma once

#include <filesystem>
#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "platform/child_process.h"
#include "testing/broadcast.h"
#include "testing/http_station.h"
#include "testing/temp_folder.h"

namespace receiver {

inline constexpr uint32_t kRunPatienceMs = 60000;

class RecordRun {
public:
    RecordRun();

    // The broadcast as WAV: by default the station's only stream.
    void Serve(StationRoute route = {}, const std::string& path = "/live");
    // Bytes of the stream's body up to a frame of the broadcast.
    size_t BodyBytes(size_t frame) const;

    // URL and --start, then what is given.
    std::vector<std::string> Arguments(const std::vector<std::string>& further) const;
    // Runs it to its end; at another address than the station's only stream.
    int Execute(const std::vector<std::string>& further);
    int ExecuteAt(const std::string& url, const std::vector<std::string>& further);
    std::vector<std::string> Errors() const { return errors_; }  // standard error, by line
    std::string Output() const { return output_; }               // standard output

    // Of the last run's -o, which is always this file.
    std::string OutputFile() const { return folder_.File("out.wav"); }
    std::vector<int16_t> Recorded() const;
    nlohmann::json Sidecar() const;
    // Of the receivers that are started without --log.
    std::filesystem::path LogPlace() const { return folder_.Path() / "state"; }
    // What the receiver must have recorded, from the jingle on.
    std::vector<int16_t> Expected(uint64_t frames) const;

    TempFolder folder_;
    HttpStation station_;
    const Broadcast broadcast_;

private:
    int RunWith(const std::vector<std::string>& arguments);

    std::string body_;
    std::vector<std::string> errors_;
    std::string output_;
};

std::string RecordProgram();
// True once a line of standard error has this in it.
bool WaitForErrorLine(ChildProcess& process, const std::string& part);

}  // namespace receiver
