#include "platform/rdap_text.h"

#include <QByteArray>
#include <QJsonArray>
#include <QJsonDocument>
#include <QJsonObject>
#include <QString>
#include <algorithm>
#include <utility>

#include "core/text_encoding.h"

namespace vantry {
namespace {

// An entity may be below another one, as the abuse desk of a registrar is.
constexpr int kMostDepth = 4;
constexpr int kMostEntities = 200;

bool HasRole(const QJsonObject& entity, const QString& role) {
  const QJsonArray roles = entity.value("roles").toArray();
  return std::any_of(roles.begin(), roles.end(), [&](const QJsonValue& r) { return r.toString() == role; });
}

// A property of the visiting card: [name, parameters, type, value].
QString OfCard(const QJsonObject& entity, const QString& name) {
  const QJsonArray card = entity.value("vcardArray").toArray().at(1).toArray();
  for (qsizetype i = 0; i < card.size(); ++i) {
    const QJsonArray parts = card.at(i).toArray();
    if (parts.at(0).toString() == name) return parts.at(3).toString();
  }
  return {};
}

// The first entity of this role, here or below; empty when there is none.
QJsonObject FindRole(const QJsonObject& object, const QString& role, int depth = 0) {
  const QJsonArray entities = object.value("entities").toArray();
  for (int i = 0; i < std::min<int>(kMostEntities, static_cast<int>(entities.size())); ++i) {
    const QJsonObject entity = entities.at(i).toObject();
    if (HasRole(entity, role)) return entity;
    if (depth >= kMostDepth) continue;
    if (QJsonObject below = FindRole(entity, role, depth + 1); !below.isEmpty()) return below;
  }
  return {};
}

class RdapLines {
 public:
  std::string text;
  void Add(const char* key, const QString& value) {
    if (!value.trimmed().isEmpty()) text += std::string(key) + ": " + ToOneLine(value.trimmed().toStdString()) + "\n";
  }
};

QString OrganisationOf(const QJsonObject& entity) {
  const QString organisation = OfCard(entity, "org");
  return organisation.isEmpty() ? OfCard(entity, "fn") : organisation;
}

}  // namespace

Status ReadRdap(std::string_view json, std::string& text) {
  const QJsonDocument document = QJsonDocument::fromJson(QByteArray(json.data(), static_cast<qsizetype>(json.size())));
  const QJsonObject answer = document.object();
  if (answer.isEmpty()) return Status::Error(Fail::kBadData, "the answer is not one of RDAP");
  RdapLines lines;
  lines.Add("Domain Name", answer.value("ldhName").toString());
  const QString first = answer.value("startAddress").toString(), last = answer.value("endAddress").toString();
  if (!first.isEmpty()) lines.Add("NetRange", first + " - " + last);
  lines.Add("NetName", answer.value("name").toString());
  lines.Add("Organization", OrganisationOf(FindRole(answer, "registrant")));
  lines.Add("Registrar", OrganisationOf(FindRole(answer, "registrar")));
  lines.Add("Country", answer.value("country").toString());
  lines.Add("Abuse contact", OfCard(FindRole(answer, "abuse"), "email"));
  text = std::move(lines.text) + "\n" + document.toJson(QJsonDocument::Indented).toStdString();
  return Status::Ok();
}

}  // namespace vantry
