#pragma once

#include <string>

#include "core/status.h"

namespace vantry {

// Whom the folder belongs to: a name, or a number if it has none; empty when the folder is not there.
std::string OwnerOf(const std::string& folder);

// From now on root is whoever the folder belongs to, with that one's groups: what it makes there can be read and
// written by the owner, and no link that the owner has laid there leads root anywhere. Nothing for anybody else.
Status BecomeOwnerOf(const std::string& folder);

}  // namespace vantry
