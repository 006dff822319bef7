#include "audio/standard_input_audio_file.h"

#include "audio/ffmpeg.h"

namespace receiver {

StandardInputAudioFile::~StandardInputAudioFile() {
    StandardInputAudioFile::Close();
}

int StandardInputAudioFile::ConfigureInput(AVFormatContext* context, AVDictionary** options) {
    // Nothing that the bytes name is opened.
    const int restricted = CFFmpegStreamingDecoder::ConfigureInput(context, options);
    if (restricted < 0) return restricted;
    avio_closep(&stream_);
    const int opened = avio_open2(&stream_, "pipe:0", AVIO_FLAG_READ, nullptr, nullptr);
    context->pb = stream_;
    return opened;
}

BOOL StandardInputAudioFile::Close() {
    CFFmpegStreamingDecoder::Close();
    avio_closep(&stream_);
    return 1;
}

}  // namespace receiver
