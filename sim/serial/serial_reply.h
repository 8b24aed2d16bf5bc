// The replies of the serial line, as the model would give them.
#pragma once

#include "sim/model/ups_model.h"
#include "sim/model/ups_request.h"

#include <string>

// The reply to a request with its CR; empty for one that has none.
std::string ModelReply(const UpsModel& model, LineVerb verb);
