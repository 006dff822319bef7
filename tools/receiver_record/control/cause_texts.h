// What a cause that the receiver names means for a recording. Pure.
#pragma once

#include <string>
#include <vector>

#include "receiver_client/messages.h"
#include "receiver_record/control/verdict.h"

namespace receiver {

// Of a session without a programme. The references are those of its request: the text names
// the file of the one that is unfit.
Verdict DecideByCause(const Cause& cause, const std::vector<Reference>& references);
// What a person has to know of a source that failed, as a whole sentence without its point.
std::string SourceFailureText(const Cause& cause);
// What failed may well be there in a moment: nothing that a person has to mend first.
bool PassesByItself(const Cause& cause);

}  // namespace receiver
