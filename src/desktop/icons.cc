#include "desktop/icons.h"

#include <QDir>
#include <QFile>
#include <QGuiApplication>
#include <QIconEngine>
#include <QPaintEngine>
#include <QPainter>
#include <QPalette>
#include <QPixmapCache>
#include <QRegularExpression>
#include <QSvgRenderer>

#include "core/look.h"

namespace vantry {
namespace {

constexpr char kFolder[] = ":/vantry/icons/";
constexpr char kProgramDrawing[] = "vantry";

struct SlotDrawing {
  int16_t slot;
  const char* drawing;
};

constexpr SlotDrawing kSlots[] = {
    {kIconNewVisitor, "visitor-new"},
    {kIconIdle, "visitor-idle"},
    {kIconRepeatVisitor, "visitor-repeat"},
    {kIconFailedRequest, "failed-request"},
    {kIconKnownName, "visitor-known"},
    {kIconGroup, "group"},
    {kIconSuspect, "visitor-suspect"},
    {kIconBrowserOther, "browser"},
    {kIconBrowserIE, "browser-ie"},
    {kIconBrowserNS, "browser-ns"},
    {kIconBrowserOP, "browser-op"},
    {kIconSpider, "spider"},
    {kIconSiteIdle, "site"},
    {kIconSiteIdleProxy, "site-proxy"},
    {kIconSiteScanning, "site-scanning"},
};

struct CommandDrawing {
  std::string_view name;
  const char* drawing;
};

constexpr CommandDrawing kCommandDrawings[] = {
    {"miAdd", "site-add"},
    {"miEdit", "edit"},
    {"miDelete", "remove"},
    {"miStart", "start"},
    {"miStop", "stop"},
    {"miOptions", "options"},
    {"miHide", "hide"},
    {"miViewVisitors", "view-visitors"},
    {"miViewAlerts", "view-alerts"},
    {"miViewSpiders", "spider"},
    {"miViewExceptions", "view-exceptions"},
    {"miHelp", "help"},
    {"miAbout", "about"},
    {"miWhois", "whois"},
    {"miOpenReferrer", "open-referrer"},
    {"miOpenPage", "open-page"},
    {"miOpenDNS", "open-dns"},
    {"miViewLog", "view-log"},
    {"miTracert", "trace-route"},
    {"miPing", "ping"},
    {"miAddKnown", "add-known"},
    {"miGroup", "group"},
    {"miGroups", "groups"},
    {"miHistory", "history"},
    {"miViewVisitDetails", "visit-details"},
    {"miViewDownloads", "downloads"},
    {"miTopReferers", "top-referrers"},
    {"miTopDownloads", "top-downloads"},
    {"miDays", "activity"},
    {"miEmailView", "mail"},
    {"miPrint", "print"},
    {"miSaveAs", "save-as"},
    {"miFind", "find"},
    {"miCopy", "copy"},
    {"miShowPages", "pages"},
    {"miShowTrace", "trace"},
    {"miLockTrace", "lock"},
    {"miShowActivity", "activity"},
    {"miExclude", "exclude"},
    {"miExit", "exit"},
    {"miTree", "sites"},
    {"miEmail", "pending-mail"},
    {"miStatDNS", "looking-up"},
    {"miSQLError", "database-error"},
    {"btnBack", "back"},
    {"btnForward", "forward"},
    {"btnHome", "home"},
};

struct Ink {
  QColor colour;
  bool accents;  // Else the accents take the colour, too.
};

// Paper is white, whatever the palette is. A preview of a print draws on a picture.
bool IsPaper(const QPainter& painter) {
  const QPaintEngine* engine = painter.paintEngine();
  if (!engine) return false;
  const QPaintEngine::Type type = engine->type();
  return type == QPaintEngine::Picture || type == QPaintEngine::Pdf ||
         painter.device()->devType() == QInternal::Printer;
}

// What is marked or under the pointer may stand on any colour, so only the text's own colour is safe there.
Ink InkFor(QIcon::Mode mode) {
  const QPalette palette = QGuiApplication::palette();
  switch (mode) {
    case QIcon::Disabled:
      return {palette.color(QPalette::Disabled, QPalette::WindowText), false};
    case QIcon::Selected:
      return {palette.color(QPalette::Active, QPalette::HighlightedText), false};
    case QIcon::Active:
      return {palette.color(QPalette::Active, QPalette::WindowText), false};
    default:
      return {palette.color(QPalette::Active, QPalette::WindowText), true};
  }
}

QPixmap Drawn(const QString& drawing, QSize size, const Ink& ink) {
  QFile file(kFolder + drawing + ".svg");
  QPixmap pixmap(size);
  pixmap.fill(Qt::transparent);
  if (!file.open(QIODevice::ReadOnly)) return pixmap;
  QString svg = QString::fromUtf8(file.readAll());
  const QString colour = ink.colour.name();
  svg.replace("currentColor", colour);
  if (!ink.accents && drawing != kProgramDrawing) {
    static const QRegularExpression accent("#[0-9a-f]{6}");
    svg.replace(accent, colour);
  }
  QSvgRenderer renderer(svg.toUtf8());
  const int side = std::min(size.width(), size.height());
  QPainter painter(&pixmap);
  painter.setOpacity(ink.colour.alphaF());
  renderer.render(&painter, QRectF((size.width() - side) / 2.0, (size.height() - side) / 2.0, side, side));
  return pixmap;
}

class DrawnIconEngine final : public QIconEngine {
 public:
  explicit DrawnIconEngine(const QString& drawing) : drawing_(drawing) {}

  QPixmap pixmap(const QSize& size, QIcon::Mode mode, QIcon::State) override { return Find(size, InkFor(mode)); }

  QPixmap Find(const QSize& size, const Ink& ink) const {
    if (size.isEmpty()) return {};
    const QString key = QString("vantry-icon/%1/%2x%3/%4/%5")
                            .arg(drawing_)
                            .arg(size.width())
                            .arg(size.height())
                            .arg(ink.colour.rgba())
                            .arg(ink.accents);
    QPixmap pixmap;
    if (!QPixmapCache::find(key, &pixmap)) {
      pixmap = Drawn(drawing_, size, ink);
      QPixmapCache::insert(key, pixmap);
    }
    return pixmap;
  }

  void paint(QPainter* painter, const QRect& rect, QIcon::Mode mode, QIcon::State) override {
    const qreal ratio = painter->device() ? painter->device()->devicePixelRatioF() : 1.0;
    const Ink ink = IsPaper(*painter) ? Ink{Qt::black, true} : InkFor(mode);
    QPixmap drawn = Find((QSizeF(rect.size()) * ratio).toSize(), ink);
    drawn.setDevicePixelRatio(ratio);
    painter->drawPixmap(rect.topLeft(), drawn);
  }

  QList<QSize> availableSizes(QIcon::Mode, QIcon::State) override {
    return {QSize(16, 16), QSize(22, 22), QSize(24, 24), QSize(32, 32), QSize(48, 48), QSize(64, 64), QSize(128, 128)};
  }
  QIconEngine* clone() const override { return new DrawnIconEngine(*this); }
  bool isNull() override { return false; }
  QString key() const override { return "vantry-icon"; }

 private:
  QString drawing_;
};

}  // namespace

QIcon SlotIcon(int16_t slot) {
  for (const SlotDrawing& row : kSlots) {
    if (row.slot == slot) return DrawnIcon(row.drawing);
  }
  return {};
}

QIcon CommandIcon(std::string_view name) {
  for (const CommandDrawing& row : kCommandDrawings) {
    if (row.name == name) return DrawnIcon(row.drawing);
  }
  return {};
}

QIcon ProgramIcon() {
  return DrawnIcon(kProgramDrawing);
}

QStringList IconDrawings() {
  QStringList names = QDir(kFolder).entryList({"*.svg"}, QDir::Files, QDir::Name);
  for (QString& name : names) name.chop(4);
  names.sort();
  return names;
}

QStringList UsedIconDrawings() {
  QStringList names(kProgramDrawing);
  for (const SlotDrawing& row : kSlots) names.append(row.drawing);
  for (const CommandDrawing& row : kCommandDrawings) names.append(row.drawing);
  names.sort();
  names.removeDuplicates();
  return names;
}

QIcon DrawnIcon(const QString& drawing) {
  return QIcon(new DrawnIconEngine(drawing));
}

}  // namespace vantry
