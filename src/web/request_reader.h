// The steps by which a connection's lines become a request: pure changes of the connection's record.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "web/connection_table.h"

namespace vantry {

// A connection opened in this slot.
void OpenClient(WebClient& client);
// It ended. Name, password and what was found out about the client stay for the next connection in this slot.
void CloseClient(WebClient& client);

// A login ends after more whole minutes of silence than these.
inline constexpr int64_t kLoginMinutes = 5;

// The query that ends a login, where it is a cookie.
inline constexpr std::string_view kLogoutCommand = "LOGOUT";

enum class ReadStep { kMore, kRequestComplete };

// Takes one line (State 1 and 2) or piece of a body (State 3). `end_of_line`: the text ended at a line end.
// `remote_host` is the peer's address.
ReadStep TakeLine(WebClient& client, std::string_view text, bool end_of_line, std::string_view remote_host,
                  WallTime now);

// The value after "name=" up to the next "&". Without a further "&" its last character is lost. False without "name=".
bool FormValue(std::string_view text, std::string_view name_and_equals, std::string& value);

// The value of the first field with this name in a form as browsers write it ("a=b&c=d", with "+" and "%xx" for signs);
// empty when there is none.
std::optional<std::string> FormField(std::string_view form, std::string_view name);

struct Command {
  std::string word;      // Upper-cased and trimmed.
  std::string argument;  // With a blank for each "_".
};
// A query without "&" is its own argument as a whole; links always carry the "&".
Command SplitCommand(std::string_view query);

}  // namespace vantry
