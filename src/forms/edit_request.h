// A change that somebody asks for by name, and its form as the bytes of a file: so it comes to a program that runs.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "core/status.h"
#include "forms/named_fields.h"

namespace vantry {

enum class EditVerb { kSetSite, kRemoveSite, kSet, kSetException, kSetAlert, kRemoveAlert };

struct EditRequest {
  EditVerb verb = EditVerb::kSet;
  std::string name;    // Of the site; the number of the exception type. Empty for the settings.
  std::string number;  // The alert's place in the list of its site, from 1; "new" for one more.
  bool yes = false;    // What would be asked is agreed to.
  std::vector<NamedValue> values;
};

// A program takes a request from the file with this name and a token, in its folder.
inline constexpr char kRequestFile[] = "vantry-edit-";
inline constexpr size_t kTokenSize = 32;
// Lower-case hexadecimal digits: it can't name a file elsewhere.
bool IsToken(std::string_view text);

inline constexpr size_t kMostRequestBytes = 1'000'000, kMostValues = 200;

std::string FormatRequest(const EditRequest& request);
// kBadData when the bytes are not a whole request, or one of a later version.
Status ParseRequest(std::string_view bytes, EditRequest& request);

}  // namespace vantry
