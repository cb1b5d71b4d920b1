#include "desktop/site_properties.h"

#include <QHBoxLayout>
#include <QLayout>
#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "core/text.h"
#include "desktop/alert_window.h"
#include "desktop/shown_text.h"
#include "forms/alert_form.h"
#include "forms/log_look.h"
#include "forms/site_form.h"
#include "monitors/touch.h"

namespace vantry {
namespace {

constexpr std::string_view kExclusions = "Exclusions", kAlertsPage = "Alerts";

constexpr const char* kFtpControls[] = {"txtFTPDomain", "txtFTPUser", "txtFTPPw", "txtFTPPath", "chkFTPPassive"};

// The name of an address if it is on line.
QString KnownName(LiveTables& t, int16_t site, const std::string& address) {
  const VisitorRec* v = t.Visitors.Lookup(site, address);
  return v && v->DNS != v->IP ? ShownText(v->DNS) : QString();
}

}  // namespace

SiteProperties::SiteProperties(const WindowParts& parts, Prompts& prompts, int16_t site, ShowHelp help, QWidget* parent)
    : FormDialog("frmProperties", parts.t, prompts, std::move(help), parent),
      parts_(parts),
      site_(site),
      looker_(parts_.files, parts_.clock, [this](const auto& s, const LogLook* look) { ShowReadNow(s, look); }),
      shown_exclude_(parts.t.Site(site).Exclude) {
  help_page_ = "add-site";
  setWindowTitle("Site Properties");
  for (const FormField<SiteRec>& field : kSiteFields) {
    // The two pages without fields stand before the mails.
    if (field.look.page == "Email Settings" && !exclude_) {
      MakeExclusions();
      MakeAlerts();
    }
    pages_->Add(field.look);
  }
  QPushButton* folder = AddButtonBeside(pages_->Find("txtLog"), "btnPick", "&Browse...");
  Picks(folder, [this] { PickFolder(); });
  QPushButton* logo = AddButtonBeside(pages_->Find("txtLogo"), "btnPick2", "Pic&k...");
  Picks(logo, [this] { PickLogo(); });
  full_url_ = PlainLabel("lblfullURL", "", this);
  full_url_->setWordWrap(true);
  pages_->ColumnOf("Touch")->addWidget(full_url_);
  pages_->Show(kSiteFields, t_.Site(site_));
  MakeReadNow();
  AddButtons();
  for (const char* control : {"chkFTP", "chkSleepMode"}) {
    QObject::connect(pages_->Find(control).check, &QCheckBox::toggled, this, [this] { ShowWhatApplies(); });
  }
  for (const char* control : {"txtTouchPage", "txtDomain"}) {
    QObject::connect(pages_->Find(control).text, &QLineEdit::textChanged, this, [this] { ShowWhatApplies(); });
  }
  ShowWhatApplies();
  FillAlerts(0);
}

// Below the mask, which of the files there would be read.
void SiteProperties::MakeReadNow() {
  read_now_ = PlainLabel("lblReadNow", "", this);
  read_now_->setWordWrap(true);
  pages_->Find("txtEXT").row->layout()->addWidget(read_now_);
  look_.setSingleShot(true);
  look_.setInterval(kLookMs);
  QObject::connect(&look_, &QTimer::timeout, this, [this] { LookAtFolder(); });
  for (const char* control : {"txtEXT", "txtLog", "cmboSelect", "chkFTP"}) {
    pages_->Find(control).OnChange(this, [this] { look_.start(); });
  }
  LookAtFolder();
}

void SiteProperties::LookAtFolder() {
  SiteRec draft = t_.Site(site_);
  pages_->Read(kSiteFields, draft);
  if (!draft.FTP) return looker_.Start(draft);
  looker_.Stop();
  const LogLook none;
  ShowReadNow(draft, &none);
}

void SiteProperties::ShowReadNow(const SiteRec& site, const LogLook* look) {
  read_now_->setText(look ? ShownText(DescribeReadNow(*look, site)) : "Looking...");
}

void SiteProperties::MakeExclusions() {
  auto* column = pages_->ColumnOf(kExclusions);
  auto* label = new QLabel("You can exclude u&sers from certain domains. Enter the domain IP addresses below:", pages_);
  label->setWordWrap(true);
  column->addWidget(label);
  exclude_ = MakeFormTable("gridExclude", "Excluded addresses", {"No", "IP Address", "DNS (If Known)"}, pages_);
  label->setBuddy(exclude_);
  column->addWidget(exclude_, 1);
  pages_->Add({kExclusions, "",
               "Note: You can use wildcards for IP addresses. For example, 192.168.0.* or 192.* or 192.168.?.101 etc.",
               FieldKind::kNote});
  std::vector<std::string> addresses = ExcludedAddresses(t_.Site(site_).Exclude);
  addresses.emplace_back();  // There is always an empty row to type in.
  for (const std::string& address : addresses) {
    const int row = exclude_->rowCount();
    exclude_->insertRow(row);
    exclude_->setItem(row, 0, FixedItem(QString::number(row + 1), Qt::AlignRight));
    exclude_->setItem(row, 1, new QTableWidgetItem(ShownText(address)));
    exclude_->setItem(row, 2, FixedItem(KnownName(t_, site_, address)));
  }
  exclude_->setColumnWidth(1, exclude_->fontMetrics().averageCharWidth() * 30);
  QObject::connect(exclude_, &QTableWidget::cellChanged, this, [this](int row, int changed) {
    const bool last = row + 1 == exclude_->rowCount();
    if (changed != 1 || !last || exclude_->item(row, 1)->text().trimmed().isEmpty()) return;
    exclude_->insertRow(row + 1);
    exclude_->setItem(row + 1, 0, FixedItem(QString::number(row + 2), Qt::AlignRight));
    exclude_->setItem(row + 1, 1, new QTableWidgetItem);
    exclude_->setItem(row + 1, 2, FixedItem({}));
  });
}

void SiteProperties::MakeAlerts() {
  auto* column = pages_->ColumnOf(kAlertsPage);
  pages_->Add({kAlertsPage, "",
               "Alerts allow you to monitor how visitors arrive at your site and where from more closely.",
               FieldKind::kNote});
  alerts_ = MakeFormTable("gridAlerts", "Alerts", {"No", "Enabled", "Name"}, pages_);
  column->addWidget(alerts_, 1);
  alerts_->setSelectionBehavior(QAbstractItemView::SelectRows);
  auto* line = new QHBoxLayout;
  const std::pair<const char*, std::function<void()>> buttons[] = {{"&New", [this] { EditAlert(true); }},
                                                                   {"&Delete", [this] { RemoveAlert(); }},
                                                                   {"Move &Up", [this] { MoveAlert(-1); }},
                                                                   {"Move Do&wn", [this] { MoveAlert(1); }},
                                                                   {"&Modify", [this] { EditAlert(false); }}};
  int place = 0;
  for (const auto& [caption, run] : buttons) {
    auto* button = new QPushButton(caption, pages_);
    button->setObjectName("btnAlert" + QString::number(place++));
    button->setAutoDefault(false);
    line->addWidget(button);
    QObject::connect(button, &QPushButton::clicked, this, [this, run = run] { WhenQuiet(run); });
  }
  line->addStretch(1);
  column->addLayout(line);
  QObject::connect(alerts_, &QTableWidget::cellDoubleClicked, this,
                   [this] { WhenQuiet([this] { EditAlert(false); }); });
}

void SiteProperties::FillAlerts(int row) {
  const std::vector<size_t> places = AlertsOf(t_, site_);
  alerts_->setRowCount(static_cast<int>(places.size()));
  for (int i = 0; i < alerts_->rowCount(); ++i) {
    const AlertRec& alert = t_.Alerts[places[static_cast<size_t>(i)]];
    alerts_->setItem(i, 0, FixedItem(QString::number(alert.AlertNo), Qt::AlignRight));
    alerts_->setItem(i, 1, FixedItem(alert.Enabled ? "Yes" : "No", Qt::AlignHCenter));
    alerts_->setItem(i, 2, FixedItem(ShownText(alert.Name)));
  }
  alerts_->selectRow(std::clamp(row, 0, std::max(0, alerts_->rowCount() - 1)));
}

void SiteProperties::EditAlert(bool is_new) {
  const std::vector<size_t> places = AlertsOf(t_, site_);
  const int row = is_new ? static_cast<int>(places.size()) : alerts_->currentRow();
  if (!is_new && (row < 0 || static_cast<size_t>(row) >= places.size())) return;
  const AlertRec alert = is_new ? NewAlert(t_, site_) : t_.Alerts[places[static_cast<size_t>(row)]];
  const auto store = [this, is_new, row, alert](const AlertRec& draft) {
    const auto place = is_new ? std::nullopt : PlaceOfAlert(t_, alert);
    if (place) {
      t_.Alerts[*place] = draft;
    } else {
      AppendAlert(t_, draft);
    }
    FillAlerts(row);
  };
  auto* window = new AlertWindow(parts_, prompts_, alert, store, this);
  window->setAttribute(Qt::WA_DeleteOnClose);
  window->open();
}

void SiteProperties::RemoveAlert() {
  const std::vector<size_t> places = AlertsOf(t_, site_);
  const int row = alerts_->currentRow();
  if (row < 0 || static_cast<size_t>(row) >= places.size()) return;
  const AlertRec alert = t_.Alerts[places[static_cast<size_t>(row)]];
  const QString question = "Delete Alert: " + ShownText(alert.Name) + "?";
  const auto buttons = QMessageBox::Yes | QMessageBox::No | QMessageBox::Cancel;
  if (prompts_.Ask(this, question, buttons, QMessageBox::No) != QMessageBox::Yes || t_.Closing) return;
  WhenQuiet([this, alert, row] {
    if (const auto place = PlaceOfAlert(t_, alert)) DeleteAlert(t_, *place);
    FillAlerts(row);
  });
}

void SiteProperties::MoveAlert(int by) {
  const std::vector<size_t> places = AlertsOf(t_, site_);
  const int row = alerts_->currentRow(), other = row + by;
  if (row < 0 || other < 0 || static_cast<size_t>(std::max(row, other)) >= places.size()) return;
  std::swap(t_.Alerts[places[static_cast<size_t>(row)]], t_.Alerts[places[static_cast<size_t>(other)]]);
  FillAlerts(other);
}

void SiteProperties::ShowWhatApplies() {
  const bool ftp = pages_->Find("chkFTP").check->isChecked();
  pages_->Find("txtLog").row->setVisible(!ftp);
  for (const char* control : kFtpControls) pages_->Find(control).row->setVisible(ftp);
  for (const char* control : {"cmboCloseAll", "cmboWakeUp"}) {
    pages_->Find(control).input->setEnabled(pages_->Find("chkSleepMode").check->isChecked());
  }
  SiteRec draft = t_.Site(site_);
  pages_->Read(kSiteFields, draft);
  full_url_->setText(ShownText(TouchURL(draft)));
}

// The site as it is now, with what was changed here: it may have been edited by other means meanwhile.
SiteRec SiteProperties::Draft() {
  SiteRec draft = t_.Site(site_);
  pages_->ReadChanges(kSiteFields, draft);
  const std::string typed = ExcludeList(ColumnTexts(*exclude_, 1));
  const bool untouched = typed == ExcludeList(ExcludedAddresses(shown_exclude_));
  if (!untouched || draft.Exclude == shown_exclude_) draft.Exclude = typed;
  TidySite(draft);
  return draft;
}

void SiteProperties::Confirm() {
  if (t_.Site(site_).Deleted) {
    prompts_.Tell(parentWidget(), BoxKind::kInformation, "The site was removed meanwhile.");
    return reject();
  }
  const bool done = parts_.log.Guard("frmProperties.btnOK_Click", [this] {
    SiteRec draft = Draft();
    while (const auto problem = CheckSite(draft, site_, t_, parts_.files, renaming_)) {
      if (Refused(*problem)) return Status::Ok();
      renaming_ = true;  // The one question there is.
    }
    (void)StoreSite(draft, t_.Site(site_));
    parts_.engine.SettingsChanged();
    parts_.engine.SaveSites();
    accept();
    return Status::Ok();
  });
  if (!done) prompts_.Tell(this, BoxKind::kWarning, "The site could not be stored. See the program log.");
}

void SiteProperties::PickFolder() {
  const QString file = prompts_.FileToOpen(this, "Select Log File Folder", pages_->Find("txtLog").text->text(),
                                           "Log Files (*.log);;All Files (*)");
  const qsizetype end = file.lastIndexOf('/');
  if (end >= 0) pages_->Find("txtLog").text->setText(file.left(end + 1));
}

void SiteProperties::PickLogo() {
  const QString file =
      prompts_.FileToOpen(this, "Select Site Logo File", pages_->Find("txtLogo").text->text(),
                          "All Files (*);;Windows Bitmaps (*.bmp);;PC Paintbrush (*.pcx);;Gif Files (*.gif);;JPEG "
                          "Files (*.jpg *.jpeg);;Windows Metafiles (*.wmf)");
  if (!file.isEmpty()) pages_->Find("txtLogo").text->setText(file);
}

}  // namespace vantry
