// Encodes test audio in memory, as a station would send it.
#pragma once

#include <string>

#include "testing/audio_generator.h"

namespace receiver {

enum class AudioCoding { kMp3, kAacAdts, kOggVorbis, kOggOpus, kOggFlac, kFlac, kWav, kAacTs };

// But the transport stream, which is for playlists.
inline constexpr AudioCoding kAllAudioCodings[] = {
    AudioCoding::kMp3,     AudioCoding::kAacAdts, AudioCoding::kOggVorbis, AudioCoding::kOggOpus,
    AudioCoding::kOggFlac, AudioCoding::kFlac,    AudioCoding::kWav};

// A letters-only name, fit for the name of a test.
const char* NameOf(AudioCoding coding);
const char* MimeTypeOf(AudioCoding coding);
// Whether FLAC, Ogg FLAC or WAV: decoding gives back every sample.
bool IsLossless(AudioCoding coding);
// Whether the FFmpeg in use has the encoder; without it EncodeAudio throws.
bool CanEncode(AudioCoding coding);

// The whole file. Opus always codes at 48 kHz, whatever the rate of `pcm`.
// A bit rate of 0 means 64000 for each channel. Throws std::runtime_error naming the FFmpeg
// call that failed. A title goes into the container's tags, where it has any.
std::string EncodeAudio(const TestPcm& pcm, AudioCoding coding, int bitRate = 0,
                        const std::string& title = {});

}  // namespace receiver
