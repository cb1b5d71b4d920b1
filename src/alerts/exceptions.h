// Exceptions: numbered conditions of the whole installation, raised from wherever they are noticed. One routine applies
// the type's settings, tells people, and keeps the record.
#pragma once

#include <functional>
#include <map>
#include <string>
#include <string_view>
#include <utility>

#include "alerts/alert_context.h"

namespace vantry {

// The message of a type: "[value]" everywhere, then whatever is in the first pair of brackets, replaced by the
// value; followed by the address and the visit number, where there are any.
std::string ExceptionMessage(std::string_view description, std::string_view value, std::string_view address,
                             int32_t visit_number);

class Exceptions final : public ExceptionSink {
 public:
  // `exception_number` gives the number of the type at a 1-based place of the type table, 0 for none.
  Exceptions(AlertContext context, std::function<int(int16_t place)> exception_number)
      : c_(context), exception_number_(std::move(exception_number)) {}

  bool AddException(int16_t site, int number, LogTime when, std::optional<std::string_view> value,
                    std::string_view address, int32_t visit_number) override;
  void CheckExceptions(int16_t site) override;
  void CountStored(int16_t site, int number, LogTime when, std::string_view value, std::string_view address) override;

  // Starts a program or opens a document; a file that does not exist is skipped in silence.
  void runThis(const std::string& file);

 private:
  struct Raised {
    int16_t site = 0;
    LogTime when;
    int16_t number = 0;
    std::string_view value, address;
    std::string message;
    std::string site_text;  // The site's name and ": "; empty for no site.
    int32_t visit_number = 0;
    bool of_line = false;  // Raised by a line of the site's log.
  };
  const ExceptionType* FindType(int number) const;
  // Stores it; with `tell` people and programs hear of it, and with `notify` by mail and short message too.
  void Act(const Raised& raised, const ExceptionType& type, bool notify, bool tell);
  bool IsTold(int16_t site, const ExceptionType& type, bool notify);
  void RunProgram(const Raised& raised, const ExceptionType& type);
  void Count(const Raised& raised);
  Status CheckType(int16_t site, const ExceptionType& type);
  bool IsDue(int16_t site, int16_t number) const;

  AlertContext c_;
  std::function<int(int16_t)> exception_number_;
  // When a condition that still holds was raised last, by site and type.
  std::map<std::pair<int16_t, int16_t>, SteadyTime> told_;
};

}  // namespace vantry
