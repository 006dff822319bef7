// What happens to sound on its way to a listener: it is mixed, filtered, played at another
// speed, made quieter.
//
//   Units    levels in dB; frequencies in Hz; positions in frames.
#pragma once

#include <cstddef>
#include <cstdint>

#include "testing/audio_generator.h"

namespace receiver {

// `over` at this level onto `under`, from frame `at` on, as far as `under` goes. Both of one
// rate and channel count. What is too loud is clipped.
TestPcm MixedAt(const TestPcm& under, const TestPcm& over, size_t at, double overDb = 0.0);
TestPcm Amplified(const TestPcm& pcm, double db);
// Faster above 1: shorter and higher, as a tape is.
TestPcm AtSpeed(const TestPcm& pcm, double factor);
// 48 dB an octave.
TestPcm LowPassed(const TestPcm& pcm, double hz);
TestPcm HighPassed(const TestPcm& pcm, double hz);

// A voice: syllables of vowels and hiss on a moving pitch, with pauses. One seed is one speech.
TestPcm MakeVoice(uint64_t seed, int rate, int channels, size_t frames);
// Music with a beat: notes with their harmonics that fade, a bass, a drum. One seed is one tune.
TestPcm MakeTune(uint64_t seed, int rate, int channels, size_t frames);

}  // namespace receiver
