// The metrics as Prometheus reads them: its text format 0.0.4, which its own library writes.
// Pure. docs/monitoring.md lists them.
#pragma once

#include <string>

#include "receiver_record/metrics/record_metrics.h"

namespace receiver {

std::string MetricsText(const RecordMetrics& metrics);

}  // namespace receiver
