#include "receiver_record/metrics/metrics_file.h"

#include <system_error>

#include "audio_output/output_file.h"

namespace receiver {

std::string WriteMetricsFile(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::path part = path;
    part += ".part";
    OutputFile file;
    if (!file.Create(part, true)) return file.FailureText();
    const bool isWritten = file.WriteAt(0, text.data(), text.size());
    file.Close();
    std::error_code error;
    if (isWritten) std::filesystem::rename(part, path, error);
    if (isWritten && !error) return {};
    const std::string why = isWritten ? error.message() : file.FailureText();
    std::filesystem::remove(part, error);
    return why;
}

}  // namespace receiver
