#include "audio_output/muxer.h"

namespace receiver {

std::string FfmpegErrorText(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof(text));
    return text;
}

int Check(int result, const char* what) {
    if (result < 0) {
        throw std::runtime_error(std::string(what) + ": " + FfmpegErrorText(result));
    }
    return result;
}

OutputContextPtr MakeMuxer(const OutputFormat& format, AVIOContext* io) {
    AVFormatContext* context = nullptr;
    Check(avformat_alloc_output_context2(&context, nullptr, format.muxer, nullptr),
          "Cannot create the output file's format");
    OutputContextPtr muxer(context);
    muxer->pb = io;
    Check(avformat_new_stream(muxer.get(), nullptr), "Out of memory");
    return muxer;
}

int WriteMuxerHead(AVFormatContext& muxer, const RecordingTags& tags, const char* options) {
    for (const auto& [key, value] : tags) {
        Check(av_dict_set(&muxer.metadata, key.c_str(), value.c_str(), 0), "Out of memory");
    }
    AVDictionary* dictionary = nullptr;
    const int parsed = av_dict_parse_string(&dictionary, options, "=", ":", 0);
    const int result = parsed < 0 ? parsed : avformat_write_header(&muxer, &dictionary);
    const DictionaryPtr left(dictionary);
    return result;
}

}  // namespace receiver
