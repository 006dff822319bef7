// A station with one broadcast on the air, for programs that start a receiver of their own.
#pragma once

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "testing/broadcast.h"
#include "testing/http_station.h"
#include "testing/receiver_driver.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {

inline constexpr uint32_t kRunPatienceMs = 60000;

class StationTest : public testing::Test {
protected:
    struct Outcome {
        int exitCode;
        std::string output, errors;
    };

    StationTest() : broadcast_(MakeBroadcast(44100, 2)) {
        WriteWavFile(Jingle(), broadcast_.startJingle);
        WriteWavFile(Outro(), broadcast_.endJingle);
    }

    std::string Jingle() const { return folder_.File("jingle.wav"); }
    std::string Outro() const { return folder_.File("outro.wav"); }
    std::string Output() const { return folder_.File("programme"); }
    std::string Url() const { return station_.Url(kPath); }

    void Serve(StationRoute route = {}) {
        route.contentType = "audio/wav";
        route.body = WavBytes(broadcast_.audio);
        station_.Serve(kPath, std::move(route));
    }
    // Of the body, up to a frame of the broadcast.
    size_t BodyBytes(size_t frame) const {
        return WavBytes(broadcast_.audio).size() - broadcast_.audio.Bytes() + frame * 4;
    }

    Outcome Run(const std::string& program, const std::vector<std::string>& arguments) {
        ChildProcess process(program, arguments, ChildProcess::ErrorStream::kCapture);
        const uint64_t deadline = TickMs() + kRunPatienceMs;
        const std::string errors = process.ReadAllErrors(deadline).value_or("(open)");
        const std::string output = process.ReadAllOutput(deadline).value_or("(open)");
        return {process.WaitForExit(deadline).value_or(-1), output, errors};
    }
    // RECEIVER LOG URL JINGLE OUTPUT, as the examples of the library want them.
    std::vector<std::string> ExampleArguments() const {
        return {ReceiverDriver::ProgramPath(), folder_.File("receiver.log"), Url(), Jingle(),
                Output()};
    }

    // Of the logs whose names begin so.
    std::string LogText(const std::string& prefix) const {
        std::ostringstream text;
        for (const auto& entry : std::filesystem::directory_iterator(folder_.Path())) {
            if (!entry.path().filename().string().starts_with(prefix)) continue;
            text << std::ifstream(entry.path(), std::ios::binary).rdbuf();
        }
        return text.str();
    }

    static constexpr char kPath[] = "/live";

    const TempFolder folder_;
    const Broadcast broadcast_;
    HttpStation station_;
};

}  // namespace receiver
