// What people are told of a recording, in words. Pure.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "receiver_client/messages.h"
#include "receiver_record/record_report.h"

namespace receiver {

// One line about an event; empty for what only helps to find a fault.
std::string DescribeEvent(const Event& event);
// What became of the recording.
std::vector<std::string> SummaryLines(const RecordReport& report);

// Of texts that found nobody to read them in time, each a whole line.
std::string DroppedLinesNote(uint64_t lines);
std::string DroppedEventsNote(uint64_t events);

}  // namespace receiver
