// Every page, and the one table that the port, the message bus and the tests walk. To add a page, write its routine,
// declare it here and give it a row.
//
// A page is one text, built whole from the live tables, the day's lists and the history as they are at that moment.
// Those of visitors, of the day's lists and of the history can be long: the port sends them in pieces, built as the
// client reads (page_pieces.h). A routine reports its failure in the program log under its own name and returns the
// part built so far.
#pragma once

#include <array>
#include <string>
#include <string_view>

#include "ports/automation.h"
#include "ports/listener.h"
#include "web/page_context.h"

namespace vantry {

// How many of the sites that visitors came from are shown.
inline constexpr int kMaxReferrers = 200;

// Client numbers are those of the connection table. Domains are compared without blanks and case.
using PageFunction = std::string (*)(const PageContext& c, int client_no, std::string_view argument);

using PieceFunction = PieceSource (*)(const PageContext& c, int client_no, std::string_view argument);

std::string SitesTable(const PageContext& c, int client_no, std::string_view none = {});
// "ALL" shows all sites in one table, an empty text one table for each.
std::string VisitorsTable(const PageContext& c, int client_no, std::string_view domain);
PieceSource VisitorsTablePieces(const PageContext& c, int client_no, std::string_view domain);
// The table of current visitors of the site with this number, or for 0 of all sites, without a page around it.
std::string SiteTable(const PageContext& c, int client_no, std::string_view site_number);
// "domain:address!visit number".
std::string VisitorDetailsTable(const PageContext& c, int client_no, std::string_view domain_visitor);
PieceSource VisitorDetailsPieces(const PageContext& c, int client_no, std::string_view domain_visitor);
// "domain:address".
std::string PreviousVisitsTable(const PageContext& c, int client_no, std::string_view domain_visitor);
PieceSource PreviousVisitsPieces(const PageContext& c, int client_no, std::string_view domain_visitor);
std::string AlertsTypeList(const PageContext& c, int client_no, std::string_view domain);
PieceSource AlertsTypeListPieces(const PageContext& c, int client_no, std::string_view domain);
// After the domain, "&alertno=" may name one alert.
std::string AlertsTable(const PageContext& c, int client_no, std::string_view domain);
PieceSource AlertsTablePieces(const PageContext& c, int client_no, std::string_view domain);
std::string SpidersTable(const PageContext& c, int client_no, std::string_view domain);
PieceSource SpidersTablePieces(const PageContext& c, int client_no, std::string_view domain);
std::string ExceptionsTable(const PageContext& c, int client_no, std::string_view domain);
PieceSource ExceptionsTablePieces(const PageContext& c, int client_no, std::string_view domain);
std::string ReferrersTable(const PageContext& c, int client_no, std::string_view domain);
PieceSource ReferrersTablePieces(const PageContext& c, int client_no, std::string_view domain);
std::string LoginTable(const PageContext& c, int client_no, std::string_view none = {});
// Forgets the slot's login and says so.
std::string InvalidLogin(const PageContext& c, int client_no, std::string_view none = {});
// The visitors of a domain's first site, or of all sites for an empty domain, as plain text: a line for each with
// tab-separated fields (domain, visit number, DNS, page, start, last hit, browser, referrer), a tab and LF.
std::string GetVisitorsList(const PageContext& c, int client_no, std::string_view domain);
PieceSource VisitorsListPieces(const PageContext& c, int client_no, std::string_view domain);

// What one page is called from outside.
struct Page {
  std::array<std::string_view, 3> commands;  // The first words of a query that lead to it.
  const char* operation;                     // On the message bus, with the arguments that it takes there.
  std::array<BusArgument, 3> takes;
  PageFunction build;
  const char* gives = "Page";
  PieceFunction pieces = nullptr;  // The same page in pieces, where it can be long.
};

inline constexpr BusArgument kClientNo{'n', "ClientNo"}, kDomain{'s', "Domain"}, kDomainVisitor{'s', "DomainVisitor"};

// Programs may rely on the order of the operations. Numbers of 32 bits come back as they went in.
inline constexpr Page kPages[] = {
    {{"SITETABLE", "SITE", "TABLE"}, "VisitorsTable", {kClientNo, kDomain}, VisitorsTable, "Page", VisitorsTablePieces},
    {{}, "SiteTable", {kClientNo, {'n', "LogNo"}}, SiteTable},
    {{"VISITOR"},
     "VisitorDetailsTable",
     {kClientNo, kDomainVisitor},
     VisitorDetailsTable,
     "Page",
     VisitorDetailsPieces},
    {{"PREVIOUS"},
     "PreviousVisitsTable",
     {kClientNo, kDomainVisitor},
     PreviousVisitsTable,
     "Page",
     PreviousVisitsPieces},
    {{"SITES"}, "SitesTable", {kClientNo}, SitesTable},
    {{"ALERTS"}, "AlertsTypeList", {kClientNo, kDomain}, AlertsTypeList, "Page", AlertsTypeListPieces},
    {{"ALERTSTABLE"}, "AlertsTable", {kClientNo, kDomain, {'i', "StartNo"}}, AlertsTable, "Page", AlertsTablePieces},
    {{"SPIDERS"}, "SpidersTable", {kClientNo, kDomain}, SpidersTable, "Page", SpidersTablePieces},
    {{"EXCEPT"}, "ExceptionsTable", {kClientNo, kDomain}, ExceptionsTable, "Page", ExceptionsTablePieces},
    {{}, "LoginTable", {kClientNo}, LoginTable},
    {{}, "InvalidLogin", {kClientNo}, InvalidLogin},
    {{"REFER"}, "ReferrersTable", {kClientNo, kDomain, {'i', "PageNo"}}, ReferrersTable, "Page", ReferrersTablePieces},
    {{"LIST"}, "GetVisitorsList", {kDomain}, GetVisitorsList, "List", VisitorsListPieces},
};

// The page of a command; the list of sites for every unknown one.
const Page& FindPage(std::string_view command);

}  // namespace vantry
