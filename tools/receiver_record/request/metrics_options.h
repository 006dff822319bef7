// Who is told what the recorder does: --metrics, --metrics-file, --metrics-id.
#pragma once

#include <optional>
#include <string>

#include "receiver_record/metrics/metrics_address.h"

namespace CLI {
class App;
}

namespace receiver {

// As typed.
struct MetricsValues {
    std::string address = {};
    std::string file = {};
    std::string id = {};
};

struct MetricsOptions {
    std::optional<MetricsAddress> address;  // where they can be asked for
    std::string file;                       // where they are written to; empty: nowhere
    std::string id;                         // of the recorder among others; empty: none

    bool IsWanted() const { return address || !file.empty(); }
};

// The values outlive the application.
void DeclareMetrics(CLI::App& app, MetricsValues& values);
// Throws std::invalid_argument with a text for people.
MetricsOptions CheckMetrics(const MetricsValues& values);

}  // namespace receiver
