#include "receiver_record/metrics/record_monitor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <vector>

#include "testing/temp_folder.h"
#include "unit/tools/receiver_record/complete_report.h"
#include "wire/messages.h"

namespace receiver {
namespace {

using testing::HasSubstr;

class RecordMonitorTest : public testing::Test {
protected:
    RecordMonitorTest() {
        options_.url = "http://radio.example/live";
        options_.metrics.file = (folder_.Path() / "metrics" / "news.prom").string();
        options_.metrics.id = "news";
        std::filesystem::create_directories(folder_.Path() / "metrics");
    }
    std::string Text() const {
        std::ifstream in(options_.metrics.file, std::ios::binary);
        return {std::istreambuf_iterator<char>(in), {}};
    }
    static std::string Is(const std::string& state) { return "state=\"" + state + "\"} 1\n"; }
    RecordMoment Moment(const std::string& state) const {
        RecordMoment moment;
        moment.session.state = state;
        return moment;
    }
    void Warn(const std::string& line) { warnings_.push_back(line); }

    const TempFolder folder_;
    RecordOptions options_;
    std::vector<std::string> warnings_;
    const RecordMonitor::Tell warn_ = [this](const std::string& line) { Warn(line); };
};

}  // namespace

TEST_F(RecordMonitorTest, TheFileIsThereFromTheBeginningAndStays) {
    {
        RecordMonitor monitor(options_, warn_);
        EXPECT_TRUE(monitor.IsOn());
        EXPECT_EQ(monitor.Url(), "");
        EXPECT_THAT(Text(), HasSubstr(Is("starting")));
        monitor.EndRecording(CompleteReport());
        EXPECT_THAT(Text(), HasSubstr("recordings_total{id=\"news\",stream=\"radio.example\","
                                      "outcome=\"complete\"} 1\n"));
        monitor.End(ExitCode::kComplete);
    }
    EXPECT_THAT(Text(), HasSubstr(Is("ended")));
    EXPECT_THAT(warnings_, testing::IsEmpty());
}

TEST_F(RecordMonitorTest, AStateThatHasChangedIsNewsAndOtherThingsWait) {
    RecordMonitor monitor(options_, warn_);
    monitor.Note(Moment(kStateScanning));
    EXPECT_THAT(Text(), HasSubstr(Is("scanning")));
    const std::string before = Text();
    RecordMoment moment = Moment(kStateScanning);
    moment.writtenBytes = 12345;
    monitor.Note(moment);
    EXPECT_EQ(Text(), before);
    moment.session.state = kShownRecording;
    monitor.Note(moment);
    EXPECT_THAT(Text(), HasSubstr(Is("recording")));
    EXPECT_THAT(Text(),
                HasSubstr("written_bytes_total{id=\"news\",stream=\"radio.example\"} 12345"));
}

TEST_F(RecordMonitorTest, AFileThatCannotBeWrittenFromTheBeginningIsRefused) {
    options_.metrics.file = folder_.File("none/news.prom");
    EXPECT_THROW(RecordMonitor(options_, warn_), std::runtime_error);
}

TEST_F(RecordMonitorTest, AFileThatCannotBeWrittenAnyMoreIsToldOnce) {
    RecordMonitor monitor(options_, warn_);
    std::filesystem::remove_all(folder_.Path() / "metrics");
    monitor.Note(Moment(kStateScanning));
    monitor.Note(Moment(kShownRecording));
    monitor.End(ExitCode::kComplete);
    ASSERT_EQ(warnings_.size(), 1u);
    EXPECT_THAT(warnings_[0], HasSubstr("Cannot write " + options_.metrics.file + ": "));
}

TEST_F(RecordMonitorTest, WithoutEitherOptionNothingIsDone) {
    options_.metrics = {};
    RecordMonitor monitor(options_, warn_);
    EXPECT_FALSE(monitor.IsOn());
    monitor.BeginRecording();
    monitor.Note(Moment(kStateScanning));
    monitor.End(ExitCode::kComplete);
    EXPECT_THAT(warnings_, testing::IsEmpty());
}

}  // namespace receiver
