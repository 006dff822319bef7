// Ctrl+C while a stream is listened to.
#include <gtest/gtest.h>

#include "scan_run.h"
#include "testing/broadcast.h"
#include "testing/http_station.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {

TEST(Interrupted, TheListeningEndsWithASummary) {
    const TempFolder folder;
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    WriteWavFile(folder.File("start.wav"), broadcast.startJingle);
    HttpStation station;
    StationRoute route;
    route.body = WavBytes(broadcast.audio);
    route.stallAfter = route.body.size() / 2;
    station.Serve("/live", route);
    ChildProcess process((ExecutableDirectory() / "receiver-scan").string(),
                         {"listen", station.Url("/live"), "--json", "--io-timeout", "2s", "--start",
                          folder.File("start.wav")},
                         ChildProcess::ErrorStream::kCapture);
    ASSERT_TRUE(station.WaitForStall("/live", kPatienceMs));
    process.Interrupt();
    const uint64_t deadline = TickMs() + kPatienceMs;
    ScanRun run;
    run.output = process.ReadAllOutput(deadline).value_or("");
    EXPECT_EQ(process.WaitForExit(deadline).value_or(-1), 5);
    ASSERT_EQ(run.Objects("summary").size(), 1u) << run.output;
}

}  // namespace receiver
