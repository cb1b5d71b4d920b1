// Hands a change over to the program that runs.
#pragma once

#include <string>

#include "core/status.h"
#include "ctl/client.h"
#include "forms/edit_request.h"
#include "ports/files.h"

namespace vantry {

// The change goes into a file of the program's folder, whose name is told to the program at its port. `told` is what
// the program says it did. Every failure says whether something was changed.
Status HandOver(Files& files, const std::string& home, const Endpoint& endpoint, const EditRequest& request,
                std::string& told);

// What one try came to.
enum class HandedOver { kDone, kBusy, kFailed };
HandedOver ReadEditReply(std::string_view reply, Status& status, std::string& told);

}  // namespace vantry
