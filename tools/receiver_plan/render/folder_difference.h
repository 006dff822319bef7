// What a folder has, and what it should have. Pure but for reading the folder.
#pragma once

#include <string>
#include <vector>

#include "receiver_plan/render/rendered_files.h"

namespace receiver {

// The files below the folder that were rendered once, and those of these names whoever made them.
// Throws std::runtime_error with a text for people.
RenderedFiles FilesBelow(const std::string& folder, const RenderedFiles& wanted);

// For people: each file that is new, gone or changed, with its lines behind "+", "-" and " ".
// Nothing when all is the same.
std::vector<std::string> DifferenceLines(const RenderedFiles& old, const RenderedFiles& wanted);

}  // namespace receiver
