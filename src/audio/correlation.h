// Normalised cross-correlation of a short signal with a long one.
#pragma once

#include <vector>

namespace receiver {

// For each place where `pattern` fits into `signal`, how alike the two are there: 1 for the
// same but for a factor, 0 for nothing in common or no signal. Empty when it fits nowhere,
// has no signal, or memory is short.
std::vector<float> Correlate(const std::vector<float>& pattern, const std::vector<float>& signal);

}  // namespace receiver
