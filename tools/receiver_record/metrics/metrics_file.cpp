#include "receiver_record/metrics/metrics_file.h"

#include <system_error>

#include "audio_output/output_file.h"

namespace receiver {

std::string WriteMetricsFile(const std::filesystem::path& path, const std::string& text) {
    std::filesystem::path part = path;
    part += ".part";
    OutputFile file;
    if (!file.Create(part, true)) return file.FailureText();
    std::string why;
    if (!file.WriteAt(0, text.data(), text.size())) why = file.FailureText();
    file.Close();
    std::error_code error;
    if (why.empty()) std::filesystem::rename(part, path, error);
    if (error) why = error.message();
    if (!why.empty()) std::filesystem::remove(part, error);
    return why;
}

}  // namespace receiver
