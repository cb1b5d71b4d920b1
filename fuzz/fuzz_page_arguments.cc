// The query of a request through the splitting of command and argument and through the pages, with texts escaped.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "support/database_rig.h"
#include "support/html_shape.h"
#include "web/log_extract.h"
#include "web/pages.h"
#include "web/request_reader.h"

namespace vantry {
namespace {

struct Pages {
  DatabaseRig rig;
  Settings settings;
  WebClientTable clients;
  PageContext context{rig.t,         settings, rig.regional, rig.log, rig.clock, rig.files,
                      *rig.database, clients,  "/app/",      "2",     true};

  Pages() {
    settings.DDFPath = "/data/";
    rig.t.Site(1).Domain = "www.one.example";
    rig.t.Site(2).Domain = "two.example:8080";
    rig.t.Site(1).WebAccess = true;
    clients[1].LoggedIn = clients[1].AllSites = true;
    VisitorRec v = rig.Visitor("10.0.0.1", "11:00:00");
    v.Page = v.Referrer = "http://from.example/<script>";
    v.Pages = 1;
    rig.database->UpdateVisitor(v, false);
    rig.database->AddVisitToDatabase(v, "index.htm");
    rig.database->AddPageToDatabase(v);
    rig.t.Visitors.At(rig.t.Visitors.Add(1, "10.0.0.1"))->Page = v.Page;
  }
};

// "&" stays: it parts an argument. None of the others is in a domain or an address.
std::string WithoutMarkup(std::string text) {
  for (char& c : text) {
    if (c == '<' || c == '>' || c == '"' || c == '\'') c = '^';
  }
  return text;
}

}  // namespace
}  // namespace vantry

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace vantry;
  static Pages& p = *new Pages;
  const std::string query(reinterpret_cast<const char*>(data), size);
  const Command command = SplitCommand(query);
  for (const Page& page : kPages) {
    if (page.commands[0].empty() || page.build == GetVisitorsList) continue;
    const std::string text = page.build(p.context, 1, command.argument);
    if (!text.ends_with("</HTML>\r\n") || !FindScript(text).empty()) std::abort();
    if (HtmlShape(text) != HtmlShape(page.build(p.context, 1, WithoutMarkup(command.argument)))) std::abort();
  }
  (void)GetVisitorsList(p.context, 1, command.argument);
  ExtractLogEntriesToFile(p.context, command.argument, 1);
  p.rig.program_log.clear();
  return 0;
}
