// make-aircheck FOLDER: the broadcast of the guide's pictures. opening.wav and closing.wav are
// heard in aircheck.wav, and nearly heard: under a voice, cut off, too fast; weather.wav is not
// in it.
#include <cstdio>
#include <string>

#include "testing/sound_effects.h"
#include "testing/wav_file.h"

namespace receiver {
namespace {

constexpr int kRate = 44100;

size_t Frames(double seconds) {
    return static_cast<size_t>(seconds * kRate);
}

TestPcm Tune(uint64_t seed, double seconds) {
    return MakeTune(seed, kRate, 2, Frames(seconds));
}

TestPcm Voice(uint64_t seed, double seconds) {
    return MakeVoice(seed, kRate, 2, Frames(seconds));
}

void MakeAircheck(const std::string& folder) {
    const TestPcm opening = Tune(7, 3);
    const TestPcm closing = Tune(21, 2.4);
    const TestPcm talk = MixedAt(Amplified(Tune(92, 50), -14), Voice(5, 50), 0, 2);
    WriteWavFile(folder + "/opening.wav", opening);
    WriteWavFile(folder + "/closing.wav", closing);
    WriteWavFile(folder + "/weather.wav", Tune(300, 4));
    WriteWavFile(folder + "/aircheck.wav",
                 Concatenate({Tune(90, 20), MixedAt(opening, Voice(3, 3), 0, -1), Tune(91, 14),
                              MakeSilence(kRate, 2, kRate), opening, talk,
                              Slice(opening, 0, Frames(1.8)), Tune(93, 20), AtSpeed(closing, 1.02),
                              Voice(9, 18), closing, Tune(94, 18), closing, Tune(95, 8)}));
}

}  // namespace
}  // namespace receiver

int main(int argc, char** argv) {
    if (argc != 2) {
        std::fputs("make-aircheck FOLDER\n", stderr);
        return 2;
    }
    receiver::MakeAircheck(argv[1]);
}
