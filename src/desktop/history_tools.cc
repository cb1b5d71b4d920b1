// The tools of the windows on the history.
#include <QAction>
#include <QHBoxLayout>
#include <QShortcut>
#include <QToolButton>
#include <QVBoxLayout>
#include <algorithm>
#include <utility>

#include "core/text.h"
#include "desktop/chosen_index.h"
#include "desktop/email_view.h"
#include "desktop/history_grid.h"
#include "desktop/history_window.h"
#include "desktop/icons.h"
#include "desktop/list_printer.h"
#include "desktop/shown_text.h"
#include "notify/grid_to_html.h"
#include "views/list_export.h"

namespace vantry {
namespace {

constexpr char kEverySite[] = "All Sites";

QDate DateOf(Day day) {
  return QDate(1899, 12, 30).addDays(day.n);
}

Day DayOfDate(const QDate& date) {
  return Day{QDate(1899, 12, 30).daysTo(date)};
}

QLabel* Caption(const char* name, const QString& text, QWidget* buddy, QWidget* parent) {
  QLabel* label = PlainLabel(name, text, parent);
  label->setBuddy(buddy);
  return label;
}

}  // namespace

QAction* HistoryWindow::Tool(QToolBar* bar, const char* name, const QString& caption, const char* drawing,
                             std::function<void()> run) {
  auto* action = new QAction(CommandIcon(drawing), caption, this);
  action->setObjectName(name);
  QObject::connect(
      action, &QAction::triggered, this,
      [this, run = std::move(run)] {
        if (links_.parts.t.Closing) return;
        links_.parts.log.Guard(look_.tool_label, [&] {
          run();
          return Status::Ok();
        });
      },
      Qt::QueuedConnection);
  bar->addAction(action);
  return action;
}

void HistoryWindow::MakeTools() {
  QToolBar* bar = bar_ = new QToolBar(look_.caption, this);
  bar->setObjectName("ActiveBar21");
  bar->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  layout()->addWidget(bar);
  Tool(bar, "miClose", "Close", "miExit", [this] { close(); })->setShortcut(QKeySequence(Qt::Key_Escape));
  Tool(bar, "miPrint", "Print", "miPrint", [this] { Print(); })->setShortcut(QKeySequence::Print);
  Tool(bar, "miEmail", "Email", "miEmailView", [this] { Email(); });
  Tool(bar, "miSaveAs", "Save As...", "miSaveAs", [this] { SaveAs(); })->setShortcut(QKeySequence::Save);
  if (kind_ == HistoryKind::kReferers) {
    Tool(bar, "miDelete", "Delete", "miDelete", [this] { DeleteReferrer(); })->setShortcut(QKeySequence::Delete);
  }
  if (kind_ == HistoryKind::kVisitDetails) {
    Tool(bar, "miPrevVisits", "Previous Visits", "miHistory", [this] {
      links_.open(HistoryKind::kPrevVisits, {subject_.ip, subject_.site, 0, {}, {}});
    });
    Tool(bar, "miDownloads", "Downloads", "miViewDownloads", [this] {
      links_.open(HistoryKind::kPrevDownloads, {subject_.ip, subject_.site, 0, {}, {}});
    });
  }
  stop_ = Tool(bar, "miStop", "Stop", "miStop", [this] { Stop(); });
  stop_->setEnabled(false);
  if (links_.help) {
    Tool(bar, "miHelp", "Help", "miHelp", [this] {
      links_.help(kind_ == HistoryKind::kDays ? "days" : "history");
    })->setShortcut(QKeySequence::HelpContents);
  }
  QToolBar* subject = subject_bar_ = new QToolBar("Subject", this);
  subject->setObjectName(kind_ == HistoryKind::kTopDownloads ? "Band1" : "subjectBar");
  subject->setToolButtonStyle(Qt::ToolButtonTextBesideIcon);
  layout()->addWidget(subject);
  if (kind_ == HistoryKind::kPrevVisits || kind_ == HistoryKind::kPrevDownloads) AddAddressTools(subject);
  if (kind_ == HistoryKind::kReferers || kind_ == HistoryKind::kTopDownloads || kind_ == HistoryKind::kDays) {
    AddSiteTools(subject);
  }
  if (kind_ == HistoryKind::kTopDownloads) AddDateTools(subject);
  if (kind_ == HistoryKind::kDays) AddSpanTools(subject);
  auto* room = new QWidget(subject);
  room->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  subject->addWidget(room);
  find_ = new QLineEdit(subject);
  find_->setObjectName("txtFind");
  find_->setAccessibleName("Find");
  find_->setPlaceholderText("Find");
  find_->setClearButtonEnabled(true);
  find_->setMaximumWidth(fontMetrics().averageCharWidth() * 30);
  QObject::connect(find_, &QLineEdit::textChanged, this, [this](const QString& text) { model_->Search(text); });
  subject->addWidget(find_);
  auto* to_find = new QShortcut(QKeySequence::Find, this);
  QObject::connect(to_find, &QShortcut::activated, find_, [this] { find_->setFocus(Qt::ShortcutFocusReason); });
}

void HistoryWindow::AddAddressTools(QToolBar* bar) {
  address_ = new QLineEdit(bar);
  address_->setObjectName("txtIP");
  address_->setAccessibleName("Address");
  address_->setToolTip("An address. address:site asks for another site, address: for all sites");
  address_->setMaximumWidth(fontMetrics().averageCharWidth() * 40);
  bar->addWidget(Caption("lblIP", "&Address: ", address_, bar));
  bar->addWidget(address_);
  QObject::connect(address_, &QLineEdit::returnPressed, this, [this] { LookUp(); });
  Tool(bar, "miLookup", "Look Up", "miFind", [this] { LookUp(); });
  dns_ = PlainLabel("lblDNS", "", bar);
  bar->addWidget(dns_);
}

void HistoryWindow::AddSiteTools(QToolBar* bar) {
  site_ = new QComboBox(bar);
  site_->setObjectName("txtSITE");
  site_->setAccessibleName("Site");
  site_->setEditable(true);
  site_->setInsertPolicy(QComboBox::NoInsert);
  site_->setMinimumContentsLength(20);
  site_->addItem(kEverySite);
  for (const SiteRec& site : links_.parts.t.Sites) {
    if (!site.Deleted) site_->addItem(ShownText(site.Name), QByteArray::fromStdString(site.Name));
  }
  bar->addWidget(Caption("lblSITE", "&Site: ", site_, bar));
  bar->addWidget(site_);
  QObject::connect(site_, &QComboBox::activated, this, [this] { LookUp(); });
  Tool(bar, "miLookup", "Look Up", "miFind", [this] { LookUp(); });
}

void HistoryWindow::AddDateTools(QToolBar* bar) {
  bar->addSeparator();
  Tool(bar, "miAllDates", "All Dates", "miTopDownloads", [this] {
    subject_.day.reset();
    Repeat();
  });
  date_ = new QDateEdit(DateOf(links_.parts.t.Today), bar);
  date_->setObjectName("txtDate");
  date_->setAccessibleName("Date");
  date_->setCalendarPopup(true);
  bar->addWidget(date_);
  Tool(bar, "miDate", "Date", "miFind", [this] { StepDay(0); });
  Tool(bar, "miPrev", "Previous Day", "btnBack", [this] { StepDay(-1); });
  Tool(bar, "miNext", "Next Day", "btnForward", [this] { StepDay(1); });
}

void HistoryWindow::AddSpanTools(QToolBar* bar) {
  constexpr std::pair<const char*, int> kSpans[] = {
      {"Last 30 days", 30}, {"Last 90 days", 90}, {"Last year", 365}, {"Last 10 years", 3653}, {"All", 0}};
  span_ = new QComboBox(bar);
  span_->setObjectName("cmboSpan");
  span_->setAccessibleName("Span");
  for (const auto& [text, days] : kSpans) span_->addItem(text, days);
  bar->addWidget(span_);
  QObject::connect(span_, &QComboBox::activated, this, [this] { Repeat(); });
  count_ = new QComboBox(bar);
  count_->setObjectName("cmboCount");
  count_->setAccessibleName("Count");
  count_->addItems({"Visitors", "Alerts", "Spiders", "Exceptions", "Downloads"});
  bar->addWidget(count_);
  QObject::connect(count_, &QComboBox::activated, this, [this] { ShowChart(); });
}

void HistoryWindow::ShowSubject() {
  if (address_) {
    address_->setText(ShownText(subject_.ip));
    dns_->setText(subject_.ip.empty() ? QString() : ShownText(links_.parts.engine.LookupDNS(subject_.ip)));
  }
  if (site_) {
    const int place = site_->findData(QByteArray::fromStdString(subject_.site));
    site_->setCurrentIndex(place < 0 ? 0 : place);
    if (place < 0 && !subject_.site.empty()) site_->setEditText(ShownText(subject_.site));
  }
  if (date_ && subject_.day) date_->setDate(DateOf(*subject_.day));
}

void HistoryWindow::LookUp() {
  HistorySubject subject{.day = subject_.day};
  if (address_) {
    const VisitSubject wanted = ParseSubject(address_->text().toStdString(), subject_.site);
    if (wanted.ip.empty()) return;
    subject.ip = wanted.ip;
    subject.site = wanted.site;
  } else {
    const QString text = site_->currentText().trimmed();
    const int place = site_->findText(text, Qt::MatchFixedString);
    if (place > 0) {
      subject.site = site_->itemData(place).toByteArray().toStdString();
    } else if (place < 0) {
      subject.site = text.toStdString();
    }
  }
  Ask(subject);
}

// From the day that the rows are of, or the one that was typed.
void HistoryWindow::StepDay(int days) {
  const Day from = days != 0 && subject_.day ? *subject_.day : DayOfDate(date_->date());
  subject_.day = Day{from.n + days};
  Repeat();
}

void HistoryWindow::Email() {
  WhenRead(SIZE_MAX, [this] {
    if (findChild<QDialog*>("frmEmailView")) return;
    const auto& sites = links_.parts.t.Sites;
    const auto site = std::find_if(sites.begin(), sites.end(), [this](const SiteRec& s) {
      return !subject_.site.empty() && s.Name == subject_.site;
    });
    const MailedList mailed{kMailedViews[look_.mailed_view], model_->List().Title(),
                            [this] { return std::make_unique<HistoryGrid>(*model_, links_.parts.regional); },
                            dns_ ? dns_->text().toStdString() : std::string()};
    auto* dialog = new EmailView(links_.parts, links_.prompts, mailed, site == sites.end() ? nullptr : &*site, this);
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->open();
  });
}

void HistoryWindow::Print() {
  WhenRead(kMostPrintedRows + 1, [this] { PreviewList(this, *grid_, title_->text()); });
}

void HistoryWindow::SaveAs() {
  const QString name = QString(look_.caption) + ".csv";
  links_.prompts.FileToSave(this, "Save As", name, "CSV (*.csv);;HTML (*.html)",
                            [this](const QString& path) { WhenRead(SIZE_MAX, [this, path] { Write(path); }); });
}

void HistoryWindow::Write(const QString& path) {
  const WindowParts& parts = links_.parts;
  const std::string file = path.toStdString();
  Status status;
  if (path.endsWith(".html", Qt::CaseInsensitive) || path.endsWith(".htm", Qt::CaseInsensitive)) {
    const std::string title = EscapeHTML(model_->List().Title());
    status = GridToHTML(HistoryGrid(*model_, parts.regional), parts.files, file, {.title = title, .subtitle = ""});
  } else {
    std::string text = CsvHead(model_->List(), &parts.regional);
    for (int row = 0; row < model_->rowCount(); ++row) {
      text += CsvRow(model_->List(), model_->RowAt(row), &parts.regional);
    }
    status = parts.files.Replace(file, text);
  }
  if (!status.ok()) {
    links_.prompts.Tell(this, BoxKind::kWarning, ShownLines("The list was not saved: " + status.text));
  }
}

// With a row chosen, of one site: the same name may stand for another referrer on another site.
void HistoryWindow::DeleteReferrer() {
  const QModelIndex chosen = ChosenIndex(*grid_);
  if (!chosen.isValid() || subject_.site.empty()) return;
  const std::string name(model_->List().Text(model_->RowAt(chosen.row()), top_referrers::kName));
  const QString question =
      "Are you sure you want to delete the referrer \n\n" + ShownText(name) + "\n\nfrom the Vantry database?";
  links_.prompts.Choose(this, question, kYesNo, [this, name](QMessageBox::StandardButton first) {
    if (first != QMessageBox::Yes || links_.parts.t.Closing) return;
    links_.prompts.Choose(this, "Do you want to exclude this referrer from the Top Referrers View in the future?",
                          kYesNo | QMessageBox::Cancel, [this, name](QMessageBox::StandardButton second) {
                            if (second == QMessageBox::Yes || second == QMessageBox::No)
                              DropReferrer(name, second == QMessageBox::Yes);
                          });
  });
}

void HistoryWindow::DropReferrer(const std::string& name, bool exclude) {
  const WindowParts& parts = links_.parts;
  if (parts.t.Closing) return;
  parts.log.Guard("frmReferrers.DeleteReferrer", [&] {
    return exclude ? parts.history.ExcludeReferrer(name, subject_.site)
                   : parts.history.DeleteReferrer(name, subject_.site);
  });
  Repeat();
}

HistorySubject HistoryWindow::SubjectOf(size_t row) const {
  const HistoryList& list = model_->List();
  HistorySubject subject = subject_;
  subject.referrer.clear();
  if (kind_ == HistoryKind::kPrevVisits) {
    using namespace previous_visits;
    if (list.Columns().size() > kIP) subject.ip = list.Text(row, kIP);
    subject.site = list.Text(row, kSite);
    subject.visit = list.Number(row, kNo);
    if (list.Number(row, kDate) != 0) subject.day = Day{list.Number(row, kDate)};
  } else {
    using namespace previous_downloads;
    subject.site = list.Text(row, kSite);
    subject.visit = list.Number(row, kVisitNo);
    subject.day.reset();
  }
  return subject;
}

// Goes on to what a row stands for: a referrer's visits, a visit's pages, an address's visits.
void HistoryWindow::Follow(const QModelIndex& index) {
  if (!index.isValid() || links_.parts.t.Closing) return;
  const size_t row = model_->RowAt(index.row());
  switch (kind_) {
    case HistoryKind::kPrevVisits:
    case HistoryKind::kPrevDownloads:
      return links_.open(HistoryKind::kVisitDetails, SubjectOf(row));
    case HistoryKind::kReferers:
      return links_.open(
          HistoryKind::kPrevVisits,
          {.site = subject_.site, .referrer = std::string(model_->List().Text(row, top_referrers::kName))});
    case HistoryKind::kVisitDetails:
      if (model_->List().Text(row, 0) != "IP Address") return;
      return links_.open(HistoryKind::kPrevVisits, {.ip = subject_.ip, .site = subject_.site});
    default:
      return;
  }
}

}  // namespace vantry
