#include "audio_output/sink_io.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <stdexcept>

namespace receiver {
namespace {

constexpr int kBufferBytes = 65536;

}  // namespace

void SinkIo::ContextDeleter::operator()(AVIOContext* context) const {
    av_freep(&context->buffer);
    avio_context_free(&context);
}

SinkIo::SinkIo(RecordingSink& sink) : sink_(sink) {
    auto* const buffer = static_cast<unsigned char*>(av_malloc(kBufferBytes));
    if (buffer == nullptr) throw std::runtime_error("Out of memory");
    context_.reset(avio_alloc_context(buffer, kBufferBytes, 1, this, nullptr, WritePacket,
                                      sink.CanSeek() ? Seek : nullptr));
    if (context_ == nullptr) {
        av_free(buffer);
        throw std::runtime_error("Out of memory");
    }
}

bool SinkIo::Flush() {
    avio_flush(context_.get());
    if (context_->error < 0) return false;
    good_ = std::max(good_, static_cast<uint64_t>(avio_tell(context_.get())));
    return true;
}

bool SinkIo::RewindToGood() {
    if (!sink_.CanSeek() || !sink_.Truncate(good_)) return false;
    dropping_ = true;
    avio_flush(context_.get());
    dropping_ = false;
    context_->error = 0;
    size_ = good_;
    return avio_seek(context_.get(), static_cast<int64_t>(good_), SEEK_SET) >= 0;
}

int SinkIo::WritePacket(void* self, const uint8_t* data, int size) {
    auto* const io = static_cast<SinkIo*>(self);
    if (io->dropping_) return size;
    if (!io->sink_.WriteAt(io->position_, data, static_cast<size_t>(size))) {
        io->failure_ = io->sink_.FailureText();
        return AVERROR(EIO);
    }
    io->position_ += static_cast<uint64_t>(size);
    io->size_ = std::max(io->size_, io->position_);
    return size;
}

int SinkIo::WritePacket(void* self, uint8_t* data, int size) {
    return WritePacket(self, static_cast<const uint8_t*>(data), size);
}

int64_t SinkIo::Seek(void* self, int64_t offset, int whence) {
    auto* const io = static_cast<SinkIo*>(self);
    if (whence == AVSEEK_SIZE) return static_cast<int64_t>(io->size_);
    if (whence == SEEK_CUR) offset += static_cast<int64_t>(io->position_);
    if (whence == SEEK_END) offset += static_cast<int64_t>(io->size_);
    if (offset < 0) return AVERROR(EINVAL);
    io->position_ = static_cast<uint64_t>(offset);
    return offset;
}

}  // namespace receiver
