// The references of a command line: each is FILE, or ID=FILE to name it. Pure but
// for making paths absolute.
#pragma once

#include <string>
#include <vector>

#include "receiver_client/messages.h"

namespace receiver {

// "ID=" counts as a name when ID is one (1..80 characters of A-Z a-z 0-9 - _). Files
// without a name are called after themselves, apart from each other and from the
// names that were given. Throws std::invalid_argument when a name is given twice,
// or a URL instead of a file.
std::vector<Reference> MakeReferences(const std::vector<std::string>& starts,
                                      const std::vector<std::string>& ends,
                                      const std::vector<std::string>& others);

}  // namespace receiver
