// What others see of the recorder: on its page, and in its file.
#include "metrics_run.h"

#include <gmock/gmock.h>

namespace receiver {
namespace {

using testing::AllOf;
using testing::Contains;
using testing::HasSubstr;
using testing::Not;

using RecordMetricsTest = MetricsRun;

}  // namespace

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

}  // namespace receiver
