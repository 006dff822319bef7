// What others see of the recorder: on its page while it waits and records, and in its file.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <map>
#include <optional>
#include <sstream>
#include <utility>

#include "platform/clock.h"
#include "record_run.h"
#include "testing/patience.h"
#include "testing/tcp_socket.h"

namespace receiver {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

// A sample's value by its name and labels, without the prefix and the labels that all have.
using Samples = std::map<std::string, double>;

Samples ParseMetrics(const std::string& text, const std::string& common) {
    const std::string prefix = "receiver_record_";
    Samples samples;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (line.empty() || line.front() == '#') continue;
        const size_t space = line.rfind(' ');
        std::string name = line.substr(0, space);
        EXPECT_TRUE(name.starts_with(prefix)) << line;
        const size_t at = name.find("{" + common);
        EXPECT_NE(at, std::string::npos) << line;
        if (at == std::string::npos) continue;
        name.erase(at + 1, common.size());
        if (name.substr(at, 2) == "{,") name.erase(at + 1, 1);
        if (name.ends_with("{}")) name.resize(at);
        samples[name.substr(prefix.size())] = std::stod(line.substr(space + 1));
    }
    return samples;
}

std::string Ask(uint16_t port, const std::string& request) {
    TcpSocket socket = TcpSocket::ConnectToLoopback(port);
    if (!socket.IsValid() || !socket.Send(request)) return {};
    std::string answer;
    char buffer[4096];
    while (const size_t count = socket.Receive(buffer, sizeof buffer)) answer.append(buffer, count);
    return answer;
}

Samples Scrape(uint16_t port, const std::string& common = "stream=\"127.0.0.1\"") {
    const std::string answer = Ask(port, "GET /metrics HTTP/1.1\r\nHost: a\r\n\r\n");
    const size_t head = answer.find("\r\n\r\n");
    if (head == std::string::npos) return {};
    return ParseMetrics(answer.substr(head + 4), common);
}

class RecordMetricsTest : public testing::Test, public RecordRun {
protected:
    std::unique_ptr<ChildProcess> Start(std::vector<std::string> further) {
        for (const char* const argument : {"--metrics", ":0", "-o"}) further.push_back(argument);
        further.push_back(OutputFile());
        auto process = std::make_unique<ChildProcess>(RecordProgram(), Arguments(further),
                                                      ChildProcess::ErrorStream::kCapture);
        const std::string told = "Metrics: http://127.0.0.1:";
        while (const auto line = process->ReadErrorLine(TickMs() + kRunPatienceMs)) {
            const size_t at = line->find(told);
            if (at == std::string::npos) continue;
            port_ = static_cast<uint16_t>(std::stoul(line->substr(at + told.size())));
            break;
        }
        EXPECT_NE(port_, 0);
        return process;
    }
    // Asks until this sample is 1, which it is a moment after the recorder has said this.
    Samples ScrapeWhen(ChildProcess& process, const std::string& said,
                       const std::string& sample) const {
        EXPECT_TRUE(WaitForErrorLine(process, said));
        const Patience patience(sample, kRunPatienceMs);
        for (;;) {
            Samples samples = Scrape(port_);
            if (samples[sample] == 1) return samples;
            patience.Check();
        }
    }
    static std::optional<int> Exit(ChildProcess& process) {
        return process.WaitForExit(TickMs() + kRunPatienceMs);
    }
    std::string MetricsFile() const { return folder_.File("news.prom"); }
    std::string FileText() const {
        std::ifstream in(MetricsFile(), std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    Samples FileSamples() const {
        return ParseMetrics(FileText(), "id=\"news\",stream=\"127.0.0.1\"");
    }

    uint16_t port_ = 0;
};

}  // namespace

TEST_F(RecordMetricsTest, ThePageTellsOfTheWaitingAndTheRecording) {
    StationRoute route;
    route.gated = true;
    Serve(route);
    const auto process = Start({"--end", folder_.File("outro.wav")});
    Samples samples = ScrapeWhen(*process, "Waiting for", "state{state=\"connecting\"}");
    EXPECT_EQ(samples["state{state=\"recording\"}"], 0);
    EXPECT_EQ(samples["matches_total{reference=\"jingle\",role=\"start\"}"], 0);
    EXPECT_EQ(samples["matches_total{reference=\"outro\",role=\"end\"}"], 0);
    EXPECT_FALSE(samples.contains("program_position_seconds"));

    station_.Release("/live", BodyBytes(broadcast_.programmeFrame + 88200));
    samples = ScrapeWhen(*process, "Recording from sample", "state{state=\"recording\"}");
    EXPECT_EQ(samples["state{state=\"connecting\"}"], 0);
    EXPECT_EQ(samples["matches_total{reference=\"jingle\",role=\"start\"}"], 1);
    EXPECT_LT(samples["last_match_bit_error_ratio{reference=\"jingle\",role=\"start\"}"], 0.14);
    EXPECT_GT(samples["last_match_margin_ratio{reference=\"jingle\",role=\"start\"}"], 0);
    EXPECT_FALSE(samples.contains("exit_code"));

    station_.Release("/live", BodyBytes(broadcast_.tailFrame + 66150));
    EXPECT_EQ(Exit(*process), 0);
    EXPECT_TRUE(Ask(port_, "GET /metrics HTTP/1.1\r\n\r\n").empty()) << "it has ended";
}

TEST_F(RecordMetricsTest, TheFileTellsHowItEnded) {
    Serve();
    EXPECT_EQ(Execute({"--end", folder_.File("outro.wav"), "--metrics-file", MetricsFile(), "-o",
                       OutputFile()}),
              0);
    Samples samples = FileSamples();
    EXPECT_EQ(samples["state{state=\"ended\"}"], 1);
    EXPECT_EQ(samples["exit_code"], 0);
    EXPECT_EQ(samples["recordings_total{outcome=\"complete\"}"], 1);
    EXPECT_EQ(samples["recordings_total{outcome=\"source-error\"}"], 0);
    EXPECT_EQ(samples["last_recording_info{outcome=\"complete\",reason=\"outro\"}"], 1);
    const double seconds = Sidecar()["frames"].get<double>() / 44100;
    EXPECT_NEAR(samples["last_recording_seconds"], seconds, 1e-6);
    EXPECT_NEAR(samples["written_seconds_total"], seconds, 1e-6);
    EXPECT_GE(samples["stream_seconds_total"], seconds);
    EXPECT_GE(samples["written_bytes_total"],
              static_cast<double>(std::filesystem::file_size(OutputFile()) - 1024));
    EXPECT_EQ(samples["matches_total{reference=\"outro\",role=\"end\"}"], 1);
    EXPECT_EQ(samples["gaps_total"], 0);
    EXPECT_GT(samples["last_complete_timestamp_seconds"], samples["start_time_seconds"]);
}

TEST_F(RecordMetricsTest, TheFileTellsOfAFailureToo) {
    StationRoute route;
    route.closeAfter = BodyBytes(broadcast_.startJingleFrame);
    Serve(route);
    EXPECT_EQ(Execute({"--reconnect", "0", "--metrics-file", MetricsFile(), "-o", OutputFile()}),
              4);
    Samples samples = FileSamples();
    EXPECT_EQ(samples["exit_code"], 4);
    EXPECT_EQ(samples["recordings_total{outcome=\"source-error\"}"], 1);
    EXPECT_FALSE(samples.contains("last_complete_timestamp_seconds"));
    EXPECT_EQ(samples["written_bytes_total"], 0);
}

TEST_F(RecordMetricsTest, NothingSecretOfTheAddressIsTold) {
    Serve();
    std::string url = station_.Url("/live") + "?token=geheim";
    url.insert(url.find("//") + 2, "user:geheim@");
    ExecuteAt(url, {"--reconnect", "0", "--metrics-file", MetricsFile(), "-o", OutputFile()});
    EXPECT_THAT(FileText(), AllOf(HasSubstr("stream=\"127.0.0.1\""), Not(HasSubstr("geheim")),
                                  Not(HasSubstr("user"))));
}

TEST_F(RecordMetricsTest, AnAddressThatIsTakenIsToldBeforeAnythingIsRecorded) {
    Serve();
    const TcpSocket taken = TcpSocket::ListenOnLoopback();
    EXPECT_EQ(Execute({"--metrics", std::to_string(taken.Port()), "-o", OutputFile()}), 2);
    EXPECT_THAT(Errors(), Contains(HasSubstr("Cannot listen on http://127.0.0.1:" +
                                             std::to_string(taken.Port()) + "/metrics: ")));
    EXPECT_FALSE(std::filesystem::exists(OutputFile() + ".part"));
    EXPECT_FALSE(station_.WaitForRequests(1, 0));
}

TEST_F(RecordMetricsTest, AFileThatCannotBeWrittenIsToldBeforeAnythingIsRecorded) {
    Serve();
    const std::string file = folder_.File("none/news.prom");
    EXPECT_EQ(Execute({"--metrics-file", file, "-o", OutputFile()}), 2);
    EXPECT_THAT(Errors(), Contains(HasSubstr("Cannot write " + file + ": ")));
    EXPECT_FALSE(station_.WaitForRequests(1, 0));
}

TEST_F(RecordMetricsTest, AScraperThatHangsChangesNothing) {
    StationRoute route;
    route.gated = true;
    Serve(route);
    const auto process = Start({"--end", folder_.File("outro.wav")});
    const TcpSocket silent = TcpSocket::ConnectToLoopback(port_);
    TcpSocket halfway = TcpSocket::ConnectToLoopback(port_);
    ASSERT_TRUE(halfway.Send("GET /metrics"));
    EXPECT_FALSE(Scrape(port_).empty());
    station_.Release("/live", BodyBytes(broadcast_.tailFrame + 66150));
    EXPECT_EQ(Exit(*process), 0);
    EXPECT_EQ(Recorded(), Expected(Sidecar()["frames"].get<uint64_t>()));
}

TEST_F(RecordMetricsTest, CtrlCDoesNotWaitForAScraper) {
    StationRoute route;
    route.gated = true;
    Serve(route);
    const auto process = Start({});
    ScrapeWhen(*process, "Waiting for", "state{state=\"connecting\"}");
    TcpSocket silent = TcpSocket::ConnectToLoopback(port_);
    process->Interrupt();
    EXPECT_EQ(Exit(*process), 5);
    char byte = 0;
    EXPECT_EQ(silent.Receive(&byte, 1), 0u);
}

}  // namespace receiver
