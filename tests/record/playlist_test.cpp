// Addresses of playlists in place of the stream's, by HTTP.
#include <gmock/gmock.h>

#include <algorithm>

#include "platform/clock.h"
#include "record_run.h"

namespace receiver {
namespace {

using testing::Contains;
using testing::Each;
using testing::HasSubstr;
using testing::Not;

class PlaylistTest : public testing::Test, public RecordRun {
protected:
    void ServeText(const std::string& path, const std::string& type, const std::string& body) {
        StationRoute route;
        route.contentType = type;
        route.body = body;
        station_.Serve(path, route);
    }
    // A second of the programme, from this address.
    int ExecuteFrom(const std::string& path, std::vector<std::string> further = {}) {
        further.insert(further.end(), {"--max", "1s", "-o", OutputFile()});
        return ExecuteAt(station_.Url(path), further);
    }
    size_t RequestsOf(const std::string& path) const { return station_.RequestHeads(path).size(); }
    size_t Lines(const std::string& part) const {
        const std::vector<std::string> lines = Errors();
        return static_cast<size_t>(std::count_if(
            lines.begin(), lines.end(),
            [&](const std::string& line) { return line.find(part) != std::string::npos; }));
    }
    std::string Said() const { return testing::PrintToString(Errors()); }
};

}  // namespace

TEST_F(PlaylistTest, WhatAPlaylistNamesIsRecorded) {
    Serve();
    ServeText("/list.pls", "audio/x-scpls", "[playlist]\nFile1=/live\n");
    ASSERT_EQ(ExecuteFrom("/list.pls"), 0) << Said();
    EXPECT_EQ(Recorded(), Expected(44100));
    EXPECT_EQ(Sidecar()["source"], station_.Url("/live"));
    EXPECT_EQ(Lines("Waiting for " + station_.Url("/live") + ", which the playlist names"), 1u);
    EXPECT_EQ(RequestsOf("/list.pls"), 1u);
}

TEST_F(PlaylistTest, AnAddressMayAnswerWithAPlaylistWhateverItIsCalled) {
    Serve();
    ServeText("/listen", "text/plain", station_.Url("/live") + "\n");
    ASSERT_EQ(ExecuteFrom("/listen"), 0) << Said();
    EXPECT_EQ(Recorded(), Expected(44100));
    EXPECT_EQ(RequestsOf("/live"), 1u);
}

TEST_F(PlaylistTest, AStreamIsNeverAskedForAPlaylist) {
    Serve();
    ASSERT_EQ(ExecuteFrom("/live"), 0) << Said();
    EXPECT_EQ(station_.RequestCount(), 1u);
}

TEST_F(PlaylistTest, AnAddressThatDoesNotOpenGivesWayToTheNext) {
    Serve();
    ServeText("/page", "text/html", "<html><body>Our studio</body></html>");
    ServeText("/list.m3u", "audio/x-mpegurl", "/gone\n/page\n/live\n");
    ASSERT_EQ(ExecuteFrom("/list.m3u"), 0) << Said();
    EXPECT_EQ(Recorded(), Expected(44100));
    EXPECT_EQ(Sidecar()["source"], station_.Url("/live"));
    EXPECT_EQ(Lines("There is nothing at this address"), 1u);
    EXPECT_EQ(Lines("; the playlist names another address"), 1u);
}

TEST_F(PlaylistTest, APlaylistOfWhichNothingOpensIsAFailureOfTheSource) {
    ServeText("/list.m3u", "audio/x-mpegurl", "/gone\n/away\n");
    EXPECT_EQ(ExecuteFrom("/list.m3u"), 4) << Said();
    EXPECT_THAT(Errors().back(), HasSubstr("There is nothing at this address"));
    EXPECT_EQ(RequestsOf("/gone"), 1u);
    EXPECT_EQ(RequestsOf("/away"), 1u);
}

TEST_F(PlaylistTest, AWebPageIsSaidToBeOne) {
    ServeText("/page", "text/html", "<html><body>Our studio</body></html>");
    EXPECT_EQ(ExecuteFrom("/page"), 4) << Said();
    EXPECT_THAT(Errors().back(), HasSubstr("it may be that of a web page"));
    EXPECT_LE(RequestsOf("/page"), 2u);
}

// One that passes by itself, though the others do not.
TEST_F(PlaylistTest, AStationThatIsFullIsTriedAgain) {
    StationRoute full;
    full.status = 503;
    station_.Serve("/live", full);
    ServeText("/list.m3u", "audio/x-mpegurl", "/live\n/gone\n");
    ChildProcess process(RecordProgram(),
                         {station_.Url("/list.m3u"), "--start", folder_.File("jingle.wav"), "--max",
                          "1s", "-o", OutputFile()},
                         ChildProcess::ErrorStream::kCapture);
    ASSERT_TRUE(WaitForErrorLine(process, "it is tried again for up to"));
    Serve();
    EXPECT_EQ(process.WaitForExit(TickMs() + kRunPatienceMs), 0);
    EXPECT_EQ(Recorded(), Expected(44100));
}

TEST_F(PlaylistTest, HeadersAreForTheServerThatWasGivenAlone) {
    Serve();
    HttpStation lists;
    StationRoute route;
    route.contentType = "audio/x-mpegurl";
    route.body = station_.Url("/live") + "\n";
    lists.Serve("/list.m3u", route);
    ASSERT_EQ(ExecuteAt(lists.Url("/list.m3u"), {"--header", "X-Pass: secret", "--user-agent",
                                                 "Archive", "--max", "1s", "-o", OutputFile()}),
              0)
        << Said();
    EXPECT_THAT(lists.RequestHeads("/list.m3u"), Each(HasSubstr("X-Pass: secret")));
    EXPECT_THAT(station_.RequestHeads("/live"), Each(Not(HasSubstr("secret"))));
    EXPECT_THAT(station_.RequestHeads("/live"), Contains(HasSubstr("Archive")));
}

}  // namespace receiver
