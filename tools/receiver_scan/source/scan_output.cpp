#include "receiver_scan/source/scan_output.h"

#include "platform/text.h"

namespace receiver {

ScanOutput::ScanOutput(const std::string& path)
    : path_(path), stream_(ToFilesystemPath(path), std::ios::binary | std::ios::trunc) {
    if (!stream_) throw OutputError("cannot open " + path_ + " for writing");
}

void ScanOutput::Close() {
    stream_.close();
    if (!stream_) throw OutputError("cannot write " + path_);
}

void WriteWholeFile(const std::string& path, std::string_view bytes) {
    ScanOutput file(path);
    file.Write(bytes);
    file.Close();
}

}  // namespace receiver
