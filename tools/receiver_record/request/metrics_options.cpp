#include "receiver_record/request/metrics_options.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <filesystem>
#include <stdexcept>

#include "platform/text.h"

namespace receiver {
namespace {

constexpr const char* kExtension = ".prom";
constexpr size_t kMaxIdBytes = 80;

bool IsLabelText(const std::string& text) {
    return ReplaceIllFormedUtf8(text) == text && std::none_of(text.begin(), text.end(), [](char c) {
               return static_cast<unsigned char>(c) < 0x20 || c == 0x7F;
           });
}

}  // namespace

void DeclareMetrics(CLI::App& app, MetricsValues& values) {
    const char* const group = "Metrics";
    app.add_option("--metrics", values.address,
                   "Let Prometheus ask here: HOST:PORT, [ADDRESS]:PORT, or :PORT for programs of "
                   "this machine")
        ->type_name("ADDRESS")
        ->group(group);
    app.add_option("--metrics-file", values.file,
                   "Write the metrics to this file, FILE.prom, for the node exporter")
        ->type_name("FILE")
        ->group(group);
    app.add_option("--metrics-id", values.id,
                   "What the metrics call this recorder (default: the name of --metrics-file)")
        ->type_name("TEXT")
        ->group(group);
}

MetricsOptions CheckMetrics(const MetricsValues& values) {
    MetricsOptions options;
    if (!values.address.empty()) {
        options.address = ParseMetricsAddress(values.address);
        if (!options.address) {
            throw std::invalid_argument("--metrics: \"" + values.address +
                                        "\" is not HOST:PORT, [ADDRESS]:PORT or :PORT");
        }
    }
    options.file = values.file;
    options.id = values.id;
    if (!options.file.empty()) {
        const std::filesystem::path path = ToFilesystemPath(options.file);
        if (path.extension() != kExtension || path.stem().empty()) {
            throw std::invalid_argument("--metrics-file: the name of " + options.file +
                                        " does not end in .prom");
        }
        if (options.id.empty()) options.id = ToUtf8(path.stem());
    }
    if (!options.id.empty() && !options.IsWanted()) {
        throw std::invalid_argument("--metrics-id: there is no --metrics and no --metrics-file");
    }
    if (options.id.size() > kMaxIdBytes || !IsLabelText(options.id)) {
        throw std::invalid_argument("--metrics-id: at most " + std::to_string(kMaxIdBytes) +
                                    " bytes of text in one line are possible");
    }
    return options;
}

}  // namespace receiver
