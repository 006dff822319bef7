// Where the next recording goes.
#pragma once

#include <string>

#include "receiver_record/request/file_name.h"
#include "receiver_record/request/record_options.h"

namespace receiver {

// Whether the name is known only when the programme begins.
bool IsNamedAtTheStart(const RecordOptions& options);
// The options with the name itself: its fields filled in, and free where it was not a fixed one.
// Makes the folders that only the fields name.
RecordOptions WithOutputName(const RecordOptions& options, const NameFacts& facts);
// Why the folder cannot take a recording; empty when it can, or will be made.
std::string FolderFault(const RecordOptions& options);

}  // namespace receiver
