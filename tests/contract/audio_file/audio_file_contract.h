// One suite over every CAudioFile: the promises that each stage of the chain relies on.
// A test program that has classes of its own instantiates it:
//     INSTANTIATE_TEST_SUITE_P(Detector, AudioFileContractTest,
//                              testing::Values(AudioFileCase{"Detector", MakeDetector}),
//                              NameOfCase);
#pragma once

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>

#include "audio/audio_file.h"
#include "testing/audio_generator.h"

namespace receiver {

// What every file under test plays: noise, 44100 Hz, 16 bits, stereo, about a third of a second.
TestPcm ContractPcm();

// A file together with what it needs around it (a folder, a station, a source).
class AudioFileUnderTest {
public:
    virtual ~AudioFileUnderTest() = default;
    virtual CAudioFile& File() = 0;                // closed at first
    virtual std::string Path() = 0;                // opening it plays ContractPcm()
    virtual bool Reopens() const { return true; }  // whether a closed file can be opened again
};

struct AudioFileCase {
    std::string name;
    std::function<std::unique_ptr<AudioFileUnderTest>()> make;
};

class AudioFileContractTest : public testing::TestWithParam<AudioFileCase> {
protected:
    AudioFileContractTest() : subject_(GetParam().make()) {}

    CAudioFile& File() { return subject_->File(); }
    bool Open() { return File().Open(subject_->Path()) != 0; }

    const std::unique_ptr<AudioFileUnderTest> subject_;
};

inline std::string NameOfCase(const testing::TestParamInfo<AudioFileCase>& info) {
    return info.param.name;
}

}  // namespace receiver
