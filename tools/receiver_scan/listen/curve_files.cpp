#include "receiver_scan/listen/curve_files.h"

#include <cstdio>

#include "receiver_scan/source/scan_output.h"

namespace receiver {

void WriteBerFile(const std::string& path, const ScanResult& result) {
    ScanOutput file(path);
    std::string line = "seconds,sample";
    for (const ScanReference& reference : result.references) line += "," + reference.id;
    file.Write(line + "\n");
    for (size_t word = 0; word < result.heard.words.size(); ++word) {
        const uint64_t sample = result.heard.frameAt[word];
        char text[64];
        std::snprintf(text, sizeof(text), "%.6f,%llu", SecondsOf(sample),
                      static_cast<unsigned long long>(sample));
        line = text;
        for (const ReferenceView& view : result.views) {
            line += ',';
            if (word >= view.curve.size()) continue;
            std::snprintf(text, sizeof(text), "%.5f", static_cast<double>(view.curve[word]));
            line += text;
        }
        file.Write(line + "\n");
    }
    file.Close();
}

void WriteWordsFile(const std::string& path, const HeardAudio& heard) {
    ScanOutput file(path);
    std::string bytes;
    for (const uint32_t word : heard.words) {
        for (int shift = 0; shift < 32; shift += 8) {
            bytes += static_cast<char>(word >> shift & 0xFF);
        }
    }
    file.Write(bytes);
    file.Close();
}

}  // namespace receiver
