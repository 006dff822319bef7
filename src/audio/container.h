// What the container of an open input means for its packets. Private to audio/. Any thread.
#pragma once

#include "audio/ffmpeg.h"

namespace receiver {

// Frames follow each other without a container, whatever codec they are of. Only there a packet's
// place in the input's bytes tells what lies between it and others.
bool IsBareStream(const AVFormatContext& context);

bool IsOgg(const AVFormatContext& context);

// Its time stamps are the sender's, the same for all who listen, not counted from where a
// listener began.
bool HasSendersTime(const AVFormatContext& context);

}  // namespace receiver
