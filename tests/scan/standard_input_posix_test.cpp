// A source on standard input.
#include <gtest/gtest.h>

#include "platform/child_process.h"
#include "platform/clock.h"
#include "platform/executable_path.h"
#include "scan_run.h"
#include "testing/audio_encoder.h"
#include "testing/broadcast.h"
#include "testing/temp_folder.h"
#include "testing/wav_file.h"

namespace receiver {

TEST(StandardInput, WhatIsPipedInIsHeardAsTheFileIs) {
    const TempFolder folder;
    const Broadcast broadcast = MakeBroadcast(44100, 2);
    WriteWavFile(folder.File("start.wav"), broadcast.startJingle);
    WriteFileBytes(folder.File("aircheck.mp3"), EncodeAudio(broadcast.audio, AudioCoding::kMp3));
    const ScanRun ofFile = RunScan(
        {"listen", folder.File("aircheck.mp3"), "--json", "--start", folder.File("start.wav")});
    ASSERT_EQ(ofFile.Objects("match").size(), 1u) << ofFile.errors;

    ChildProcess process("sh",
                         {"-c", "cat \"$1\" | \"$0\" listen - --json --start \"$2\"",
                          (ExecutableDirectory() / "receiver-scan").string(),
                          folder.File("aircheck.mp3"), folder.File("start.wav")},
                         ChildProcess::ErrorStream::kCapture);
    const uint64_t deadline = TickMs() + kPatienceMs;
    ScanRun piped;
    piped.output = process.ReadAllOutput(deadline).value_or("");
    EXPECT_EQ(process.ReadAllErrors(deadline).value_or("-"), "");
    EXPECT_EQ(process.WaitForExit(deadline).value_or(-1), 0);
    EXPECT_EQ(piped.Objects("match"), ofFile.Objects("match"));
    EXPECT_EQ(piped.Objects("summary").at(0).at("source"), "standard input");
}

}  // namespace receiver
