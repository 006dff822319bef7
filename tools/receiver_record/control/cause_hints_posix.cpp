#include "receiver_record/control/cause_hints.h"

namespace receiver {

bool RefusalLooksLikeTimeout() {
    return false;
}

}  // namespace receiver
