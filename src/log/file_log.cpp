#include "log/file_log.h"

#include <algorithm>
#include <array>
#include <cstdio>

namespace receiver {

std::string TimeStampedLogName(const std::string& path, const LocalTime& time) {
    std::array<char, 80> suffix{};
    std::snprintf(suffix.data(), suffix.size(), "_%04u%02u%02u_%02u%02u%02u", time.year, time.month,
                  time.day, time.hour, time.minute, time.second);
    const size_t separator = path.find_last_of("\\/");
    size_t extension = path.rfind('.');
    const bool isInFolderName = separator != std::string::npos && extension < separator;
    if (extension == std::string::npos || isInFolderName) extension = path.size();
    return std::string(path).insert(extension, suffix.data());
}

CFileLog::CFileLog(const std::string& path, uint64_t sizeLimit, int32_t bufferSize)
    : path_(path), bufferSize_(bufferSize), sizeLimit_(sizeLimit) {
    const std::string name = sizeLimit == 0 ? path_ : TimeStampedLogName(path_, GetLocalTimeNow());
    if (file_.Open(name, AppendFile::Mode::kOpenAlways)) fileSize_ = file_.Size();
    ReserveBuffer();
}

bool CFileLog::IsOpen() const {
    const MutexLock lock(mutex_);
    return file_.IsOpen();
}

void CFileLog::Flush() {
    const MutexLock lock(mutex_);
    FlushLocked();
}

int32_t CFileLog::Write(std::string_view line) {
    const MutexLock lock(mutex_);
    const bool isFull = sizeLimit_ != 0 && fileSize_ + line.size() > sizeLimit_;
    if (isFull && file_.IsOpen()) RollOver();

    if (FitsBuffer(line.size())) {
        if (FitsBuffer(buffer_.size() + line.size())) {
            buffer_.insert(buffer_.end(), line.begin(), line.end());
            return 0;
        }
        WriteBufferedBytes();
    }
    // A line as long as the buffer goes past what the buffer holds; a front that flushes
    // each line never leaves anything there.
    return static_cast<int32_t>(WriteToFile(line));
}

void CFileLog::SetBufferSize(int32_t bytes) {
    const MutexLock lock(mutex_);
    FlushLocked();
    bufferSize_ = bytes;
    ReserveBuffer();
}

void CFileLog::ReserveBuffer() {
    buffer_.reserve(static_cast<size_t>(std::max(bufferSize_, 0)));
}

bool CFileLog::FitsBuffer(size_t bytes) const {
    return bufferSize_ > 0 && bytes < static_cast<size_t>(bufferSize_);
}

void CFileLog::FlushLocked() {
    WriteBufferedBytes();
    file_.Flush();
}

void CFileLog::RollOver() {
    FlushLocked();
    file_.Close();
    const std::string name = TimeStampedLogName(path_, GetLocalTimeNow());
    fileSize_ = 0;
    // Without a file there is nothing to continue: lines are dropped from here on.
    if (!file_.Open(name, AppendFile::Mode::kCreateAlways)) sizeLimit_ = 0;
}

void CFileLog::WriteBufferedBytes() {
    WriteToFile(std::string_view(buffer_.data(), buffer_.size()));
    buffer_.clear();
}

size_t CFileLog::WriteToFile(std::string_view bytes) {
    const size_t written = file_.Write(bytes.data(), bytes.size());
    fileSize_ += written;
    return written;
}

}  // namespace receiver
