#include "database/schema.h"

namespace vantry {

const TableSchema& visits::Schema() {
  static const TableSchema schema{
      "Visits",
      {"RecordNo|C|9", "IP|C|15", "Site|C|20", "Active|C|1", "Alert|C|1", "AlertNo|N|3", "VisitNo|C|5", "VisitDate|D|8",
       "VisitTime|C|8", "FirstPage|C|20", "LastPage|C|20", "PagesSeen|N|5", "MinsOn|C|6", "Browser|C|5", "Spider|C|1",
       "SpiderT|C|15", "Referrer|C|50", "HackRaised|C|1", "Flags|C|10"},
      {"key0|IP + Site + DTOS(VisitDate) + VisitNo||U|", "key1|Site + DTOS(VisitDate) + VisitNo|"}};
  return schema;
}

const TableSchema& visitor::Schema() {
  static const TableSchema schema{"Visitor",
                                  {"RecordNo|C|9", "IP|C|15", "Site|C|20", "DNS|C|50", "Name|C|25", "Visits|N|5",
                                   "Country|C|2", "FirstVDate|D|8", "FirstVTime|C|8", "LastVDate|D|8", "LastVTime|C|8",
                                   "Browser|C|5", "Spider|C|1", "SpiderT|C|15", "HackCount|N|3", "Flags|C|10"},
                                  {"key0|IP + Site||U"}};
  return schema;
}

const TableSchema& referrers::Schema() {
  static const TableSchema schema{"Referrers",
                                  {"RecordNo|C|9", "Name|C|50", "Site|C|20", "FirstVDate|D|8", "FirstVTime|C|8",
                                   "LastVDate|D|8", "LastVTime|C|8", "Visits|N|5"},
                                  {"key0|Name + Site||U|", "key1|Site + STR(Visits,5)||N|D"}};
  return schema;
}

const TableSchema& exceptions::Schema() {
  static const TableSchema schema{
      "Exceptions",
      {"RecordNo|C|9", "Site|C|20", "ExDate|D|8", "ExTime|C|8", "Number|N|3", "Value|C|20", "IP|C|15", "VisitNo|C|5"},
      {"key0|Site + RecordNo||U|", "key1|Site + DTOS(ExDate)", "key2|Site + STR(Number,3)"}};
  return schema;
}

const TableSchema& pages::Schema() {
  static const TableSchema schema{"Pages",
                                  {"RecordNo|C|9", "IP|C|15", "Site|C|20", "VisitNo|C|5", "Page|C|40", "PageDate|D|8",
                                   "PageTime|C|8", "PageNo|C|4", "Status|N|3"},
                                  {"key0|IP + Site + VisitNo + PageNo||U|"}};
  return schema;
}

const TableSchema& downloads::Schema() {
  static const TableSchema schema{"Downloads",
                                  {"RecordNo|C|9", "IP|C|15", "Site|C|20", "VisitNo|C|5", "VisitDate|D|8",
                                   "VisitTime|C|8", "Download|C|30", "Status|N|3"},
                                  {"key0|IP + RecordNo||U|", "key1|IP + Site + VisitNo", "key2|Site + Download"}};
  return schema;
}

const TableSchema& day_sum::Schema() {
  static const TableSchema schema{"DaySum",
                                  {"RecordNo|C|9", "Site|C|20", "Dated|D|8", "Visitors|N|5", "Alerts|N|5",
                                   "Spiders|N|5", "Exceptions|N|5", "Downloads|N|5"},
                                  {"key0|Site + DTOS(Dated)||U|"}};
  return schema;
}

const TableSchema& ipcc::Schema() {
  static const TableSchema schema{"IPCC", {"IP|C|15", "Country|C|2"}, {"key0|IP"}};
  return schema;
}

std::array<const TableSchema*, 7> HistorySchemas() {
  return {&visits::Schema(), &visitor::Schema(),   &referrers::Schema(), &exceptions::Schema(),
          &pages::Schema(),  &downloads::Schema(), &day_sum::Schema()};
}

std::vector<std::string> WideFields(const TableSchema& schema) {
  std::vector<std::string> fields = schema.fields;
  for (std::string& field : fields) {
    if (field == "IP|C|15") field = "IP|C|45";
    if (field == "Site|C|20") field = "Site|C|60";
    if (field == "Browser|C|5") field = "Browser|C|30";
  }
  return fields;
}

}  // namespace vantry
