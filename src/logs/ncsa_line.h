// A line of the common or the combined layout cut with regard to its quotes:
//   [virtual host] client ident user [05/Mar/2026:12:00:00 +0100] "GET /page?query HTTP/1.1" status bytes "from"
//   "agent"
#pragma once

#include <string>
#include <string_view>

#include "logs/fields.h"

namespace vantry {

// Cuts no further than somebody has asked, keeps no copies, and takes any bytes. What a line lacks is empty.
class NcsaLine {
 public:
  // Takes the line, which must stay, and finds its time.
  void Start(std::string_view line);

  // "05/Mar/2026:12:00:00"; empty in a line that has no time before its request.
  std::string_view Stamp() const { return stamp_; }
  // What stands after the time; "+0100", or empty.
  std::string_view Zone() const { return zone_; }
  std::string_view Client() const;
  std::string_view User() const;
  // The page with its query. Empty when the request is not of the form METHOD TARGET [PROTOCOL], such as "-" or the
  // beginning of an encrypted connection.
  std::string_view Target() {
    if (cut_ == Part::kNone) CutRequest();
    return target_;
  }
  std::string_view Status() { return OfRest(status_); }
  std::string_view Referrer() { return OfRest(referrer_); }
  std::string_view Agent() { return OfRest(agent_); }

 private:
  enum class Part { kNone, kRequest, kAll };
  void CutRequest();
  void CutRest();
  std::string_view OfRest(const std::string_view& field) {
    if (cut_ != Part::kAll) CutRest();
    return field;
  }

  std::string_view head_;  // Up to the time.
  std::string_view stamp_, zone_;
  std::string_view after_;  // What was not cut yet: from the request's opening quote on, then from the status on.
  Part cut_ = Part::kAll;   // How much of what follows is of this line.
  std::string_view target_, status_, referrer_, agent_;
};

// The client's address in the beginning of a line, as far as that can be told from it.
std::string_view NcsaClient(std::string_view line);

// Returns whether a line can only be of this layout, with all that may stand in front of it and in its fields.
bool IsQuotedNcsaLine(std::string_view line);

// Takes the backslash from \" and \\; other escapes, such as \x16, stay readable as they are.
void Unescape(std::string& text);

}  // namespace vantry
