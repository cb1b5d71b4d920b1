#include "desktop/settings_window.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QPointer>
#include <QTabBar>
#include <algorithm>
#include <utility>

#include "config/settings_file.h"
#include "config/value_forms.h"
#include "desktop/exception_window.h"
#include "desktop/shown_text.h"
#include "desktop/web_colours.h"
#include "forms/settings_form.h"

namespace vantry {
namespace {

QString PageText(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// A table that always has an empty row at its end: typing there makes the next.
void FillAndGrow(QTableWidget* table, const std::vector<QStringList>& rows) {
  const auto add = [table](const QStringList& cells) {
    const int row = table->rowCount();
    table->insertRow(row);
    table->setItem(row, 0, FixedItem(QString::number(row + 1), Qt::AlignRight));
    for (int column = 1; column < table->columnCount(); ++column) {
      table->setItem(row, column, new QTableWidgetItem(cells.value(column - 1)));
    }
  };
  for (const QStringList& row : rows) add(row);
  add({});
  table->resizeColumnToContents(0);
  QObject::connect(table, &QTableWidget::cellChanged, table, [table, add](int row, int column) {
    if (column > 0 && row + 1 == table->rowCount() && !table->item(row, column)->text().trimmed().isEmpty()) add({});
  });
}

}  // namespace

SettingsWindow::SettingsWindow(const WindowParts& parts, Prompts& prompts, ShowHelp help, QWidget* parent)
    : FormDialog("frmSettings", parts.t, prompts, std::move(help), parent),
      parts_(parts),
      shown_(parts.settings),
      colours_(parts.settings) {
  setWindowTitle("Options");
  MakePages();
  help_line_ = PlainLabel("lblTabHelp", "", this);
  help_line_->setWordWrap(true);
  help_line_->setMinimumHeight(4 * fontMetrics().lineSpacing());
  help_line_->setAlignment(Qt::AlignLeft | Qt::AlignTop);
  layout()->addWidget(help_line_);
  MakeSideBar();
  AddButtons();
  pages_->Show(kSettingsFields, parts_.settings);
  shown_lists_ = TypedLists();
  for (const Enabling& e : kEnablings) pages_->Find(e.control).OnChange(this, [this] { ShowWhatApplies(); });
  ShowWhatApplies();
  ChoosePage(0);
  QObject::connect(this, &QDialog::finished, this, [this] { parts_.engine.LeaveTestMail(); });
}

void SettingsWindow::MakeSideBar() {
  side_ = new QTreeWidget(this);
  side_->setObjectName("ActiveBar21");
  side_->setAccessibleName("Pages");
  side_->setHeaderHidden(true);
  side_->setRootIsDecorated(false);
  side_->setTabKeyNavigation(false);
  QTreeWidgetItem* section = nullptr;
  for (size_t n = 0; n < kSettingsPages.size(); ++n) {
    const SettingsPage& page = kSettingsPages[n];
    if (!section || section->text(0) != PageText(page.section)) {
      section = new QTreeWidgetItem(side_, {PageText(page.section)});
      section->setFlags(Qt::ItemIsEnabled);
    }
    auto* item = new QTreeWidgetItem(section, {PageText(page.caption)});
    item->setData(0, Qt::UserRole, static_cast<int>(n));
  }
  side_->expandAll();
  side_->setItemsExpandable(false);
  int width = 0;
  for (const SettingsPage& page : kSettingsPages) {
    width = std::max(width, fontMetrics().horizontalAdvance(PageText(page.caption)));
  }
  side_->setFixedWidth(width + 2 * side_->indentation() + 2 * fontMetrics().height());
  QObject::connect(side_, &QTreeWidget::currentItemChanged, this, [this](QTreeWidgetItem* item) {
    if (item && item->parent()) ChoosePage(static_cast<size_t>(item->data(0, Qt::UserRole).toInt()));
  });
  // Beside the pages, in their place.
  auto* line = new QHBoxLayout;
  auto* column = static_cast<QVBoxLayout*>(layout());
  column->removeWidget(pages_);
  line->addWidget(side_);
  line->addWidget(pages_, 1);
  column->insertLayout(0, line, 1);
  pages_->tabBar()->hide();
  pages_->setMinimumWidth(fontMetrics().averageCharWidth() * 76);
  QObject::connect(pages_, &QTabWidget::currentChanged, this,
                   [this](int page) { ChoosePage(static_cast<size_t>(page)); });
}

void SettingsWindow::ChoosePage(size_t page) {
  help_line_->setText(PageText(kSettingsPages[page].help));
  help_page_ = PageText(kSettingsPages[page].topic);
  pages_->setCurrentIndex(static_cast<int>(page));
  for (QTreeWidgetItemIterator it(side_); *it; ++it) {
    if ((*it)->parent() && (*it)->data(0, Qt::UserRole).toInt() == static_cast<int>(page)) side_->setCurrentItem(*it);
  }
}

void SettingsWindow::MakePages() {
  for (const SettingsPage& page : kSettingsPages) {
    pages_->Page(page.command)->setAccessibleName(PageText(page.caption));
    for (const FormField<Settings>& field : kSettingsFields) {
      if (field.look.page == page.command) pages_->Add(field.look);
    }
  }
  MakeDatabasePage();
  MakeReferrersPage();
  MakeExtensionsPage();
  MakeExceptionsPage();
  AddPickers();
}

QPushButton* SettingsWindow::AddButton(const char* page, const char* name, const QString& caption,
                                       std::function<void()> run) {
  auto* button = new QPushButton(caption, pages_);
  button->setObjectName(name);
  button->setAutoDefault(false);
  pages_->ColumnOf(page)->addWidget(button, 0, Qt::AlignLeft);
  QObject::connect(button, &QPushButton::clicked, this, std::move(run));
  return button;
}

void SettingsWindow::AddPickers() {
  QPushButton* sound = AddButtonBeside(pages_->Find("txtSound"), "btnPick", "&Browse...");
  Picks(sound, [this] {
    QLineEdit* text = pages_->Find("txtSound").text;
    const QString file = prompts_.FileToOpen(this, "Select Sound File", text->text(), "WAV Files (*.WAV *.wav)");
    if (!file.isEmpty()) text->setText(file);
  });
  AddButton("miHTTP", "btnColourChange", "&Colours...", [this] { EditColours(); });
  AddButton("miArchive", "btnViewArchive", "View Archive Log", [this] { ViewArchiveLog(); });
  AddButton("miEmail", "btnEmailTest", "&Test Email", [this] { TestEmail(); });
  AddButton("miSQL", "btnSQLTest", "&Test Login", [this] { TestLogin(); });
  mail_trace_ = AddTrace("miEmail", "lstSMTPTrace", "Dialogue with the mail server");
  AddButton("miSMSSettings", "btnSMSTest", "&Test Connection", [this] { TestSms(); });
  sms_trace_ = AddTrace("miSMSSettings", "lstSMSTrace", "Dialogue with the SMS server");
  sms_limit_.setSingleShot(true);
  sms_limit_.setInterval(SmsTest::kPatienceMs);
  QObject::connect(&sms_limit_, &QTimer::timeout, this, [this] { sms_test_->TimeIsUp(); });
}

QPlainTextEdit* SettingsWindow::AddTrace(const char* page, const char* name, const QString& caption) {
  auto* trace = new QPlainTextEdit(pages_);
  trace->setObjectName(name);
  trace->setAccessibleName(caption);
  trace->setReadOnly(true);
  trace->setTabChangesFocus(true);
  trace->setMaximumBlockCount(1'000);
  // What is left of the page, and a few lines at least.
  trace->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Ignored);
  trace->setMinimumHeight(5 * fontMetrics().lineSpacing());
  pages_->ColumnOf(page)->addWidget(trace, 1);
  return trace;
}

void SettingsWindow::MakeDatabasePage() {
  folder_ = new QLineEdit(ShownText(parts_.settings.DDFPath), pages_);
  folder_->setObjectName("DirCap");
  folder_->setAccessibleName("Database folder");
  auto* label = new QLabel("Database &Folder:", pages_);
  label->setBuddy(folder_);
  pages_->ColumnOf("miDatabase")->addWidget(label);
  pages_->ColumnOf("miDatabase")->addWidget(folder_);
  AddButton("miDatabase", "btnDBApply", "&Apply", [this] { ApplyFolder(); });
}

void SettingsWindow::MakeReferrersPage() {
  engines_ = MakeFormTable("refGrid", "Referring Sites", {"No", "Name", "Look For Text In Referrer"}, pages_);
  pages_->ColumnOf("miReferrers")->addWidget(engines_, 1);
  std::vector<QStringList> rows;
  for (const SearchEngine& engine : parts_.settings.SearchEngines) {
    rows.push_back({ShownText(engine.name), ShownText(engine.match)});
  }
  engines_->setColumnWidth(1, engines_->fontMetrics().averageCharWidth() * 26);
  FillAndGrow(engines_, rows);
}

void SettingsWindow::MakeExtensionsPage() {
  extensions_ = MakeFormTable("extGrid", "File Types", {"No", "Extension"}, pages_);
  pages_->ColumnOf("miExtensions")->addWidget(extensions_, 1);
  pages_->Add({"miExtensions", "",
               "Tip: For maximum performance only include extensions for human readable pages (not graphic files).",
               FieldKind::kNote});
  std::vector<QStringList> rows;
  for (const std::string& extension : parts_.settings.Extension) rows.push_back({ShownText(extension)});
  FillAndGrow(extensions_, rows);
}

void SettingsWindow::MakeExceptionsPage() {
  exceptions_ = MakeFormTable("exGrid", "Exception Types",
                              {"Number", "Raise", "Email", "SMS", "Event Log", "Description"}, pages_);
  exceptions_->setSelectionBehavior(QAbstractItemView::SelectRows);
  pages_->ColumnOf("miExceptions")->addWidget(exceptions_, 1);
  QObject::connect(exceptions_, &QTableWidget::cellDoubleClicked, this, [this](int row) { EditException(row); });
  QObject::connect(exceptions_, &QTableWidget::itemActivated, this,
                   [this](const QTableWidgetItem* item) { EditException(item->row()); });
  // For those without a mouse.
  AddButton("miExceptions", "btnModifyType", "&Modify...", [this] {
    const QModelIndexList chosen = exceptions_->selectionModel()->selectedRows();
    if (!chosen.isEmpty()) EditException(chosen[0].row());
  });
  FillExceptions();
  for (int column = 0; column < 5; ++column) exceptions_->resizeColumnToContents(column);
}

void SettingsWindow::FillExceptions() {
  const auto& types = parts_.settings.ExceptionTypes;
  exceptions_->setRowCount(static_cast<int>(types.size()));
  for (int row = 0; row < exceptions_->rowCount(); ++row) {
    const ExceptionType& type = types[static_cast<size_t>(row)];
    const bool flags[] = {type.Raise, type.Email, type.SMS, type.EventLog};
    exceptions_->setItem(row, 0, FixedItem(QString::number(type.Number), Qt::AlignRight));
    for (int flag = 0; flag < 4; ++flag) {
      exceptions_->setItem(row, flag + 1, FixedItem(flags[flag] ? "Yes" : "", Qt::AlignHCenter));
    }
    exceptions_->setItem(row, 5, FixedItem(ShownText(ShownDescription(type))));
  }
}

void SettingsWindow::EditException(int row) {
  auto& types = parts_.settings.ExceptionTypes;
  if (row < 0 || static_cast<size_t>(row) >= types.size() || findChild<QDialog*>("frmSettingsExtype")) return;
  const ExceptionType type = types[static_cast<size_t>(row)];
  auto* window = new ExceptionWindow(
      parts_, prompts_, type,
      [this](const ExceptionType& confirmed) {
        for (ExceptionType& t : parts_.settings.ExceptionTypes) {
          if (t.Number == confirmed.Number) t = confirmed;
        }
        FillExceptions();
      },
      this);
  window->setAttribute(Qt::WA_DeleteOnClose);
  window->open();
}

void SettingsWindow::EditColours() {
  auto* window = new WebColours(
      t_, prompts_, colours_, [this](const Settings& confirmed) { colours_ = confirmed; }, this);
  window->setAttribute(Qt::WA_DeleteOnClose);
  window->open();
}

void SettingsWindow::ShowWhatApplies() {
  // A control may depend on several others.
  for (const Enabling& e : kEnablings) pages_->Find(e.depends).row->setEnabled(true);
  for (const Enabling& e : kEnablings) {
    if (pages_->Find(e.control).IsOn() != e.when) pages_->Find(e.depends).row->setEnabled(false);
  }
}

// The settings as they are now, with what was changed here: they may have been edited by other means meanwhile.
Settings SettingsWindow::Draft() {
  Settings draft = parts_.settings;
  pages_->ReadChanges(kSettingsFields, draft);
  for (const FormField<Settings>& field : kWebColours) {
    if (field.get && field.get(colours_) != field.get(shown_)) field.set(draft, field.get(colours_));
  }
  const auto [names, matches, extensions] = TypedLists();
  const bool same_engines = names == shown_lists_[0] && matches == shown_lists_[1];
  if (!same_engines) draft.SearchEngines = TypedEngines(names, matches);
  if (extensions != shown_lists_[2]) draft.Extension = TypedExtensions(extensions);
  TidySettings(draft);
  return draft;
}

std::array<std::vector<std::string>, 3> SettingsWindow::TypedLists() const {
  return {ColumnTexts(*engines_, 1), ColumnTexts(*engines_, 2), ColumnTexts(*extensions_, 1)};
}

// What the pages say, for tests of servers.
Settings SettingsWindow::ShownDraft() {
  Settings draft = parts_.settings;
  pages_->Read(kSettingsFields, draft);
  TidySettings(draft);
  return draft;
}

void SettingsWindow::Confirm() {
  parts_.log.Guard("frmSettings.btnOK_Click", [this] {
    const Settings draft = Draft();
    if (const auto problem = CheckSettings(draft, parts_.files); problem && Refused(*problem)) return Status::Ok();
    StoreSettings(draft, parts_.settings);
    if (!parts_.engine.SaveSettings()) {
      prompts_.Tell(parentWidget(), BoxKind::kWarning,
                    ShownLines("The options hold until Vantry ends, but could not be saved in " + parts_.app_path +
                               "SETTINGS.INI or EXTYPES.INI. See the program log."));
    }
    WriteEngines(draft);
    parts_.engine.SettingsChanged();
    accept();
    return Status::Ok();
  });
}

void SettingsWindow::WriteEngines(const Settings& draft) {
  const std::string path = WithSeparator(draft.DDFPath) + kSearchEnginesFile;
  std::string before;
  (void)parts_.files.Read(path, before);
  const std::string text = RewriteSearchEngines(before, draft.SearchEngines);
  if (text == before) return;
  if (const Status status = parts_.files.Replace(path, text); !status.ok()) {
    prompts_.Tell(parentWidget(), BoxKind::kWarning, ShownLines("The referring sites were not saved: " + status.text));
  }
}

void SettingsWindow::ApplyFolder() {
  const std::string folder = WithSeparator(folder_->text().toStdString());
  const auto buttons = QMessageBox::Yes | QMessageBox::No;
  if (prompts_.Ask(this, ShownText("Change the Vantry database path to: " + folder + "?"), buttons, QMessageBox::No) !=
      QMessageBox::Yes) {
    return;
  }
  parts_.log.Guard("frmSettings.btnDBApply", [&] {
    Status status = parts_.registry.Set("Settings", "DDFPath", folder);
    if (status.ok()) {
      prompts_.Tell(this, BoxKind::kInformation, "You must restart Vantry for the change to take effect.");
    }
    return status;
  });
}

void SettingsWindow::ViewArchiveLog() {
  if (!parts_.programs.Start(parts_.app_path + "ARCHIVE.LOG").ok()) {
    prompts_.Tell(this, BoxKind::kWarning, "Unable to start NOTEPAD.EXE");
  }
}

void SettingsWindow::TestEmail() {
  // Of what the page says now; nothing is stored.
  const Settings draft = ShownDraft();
  mail_trace_->setPlainText("Sending A Test Email To " + ShownText(draft.EmailSendTo));
  parts_.engine.SendTestMail(
      draft,
      [this](bool sent, std::string_view text) {
        QString shown = ShownText(text);
        if (!sent) shown.remove('?').remove('<').remove('>');
        mail_trace_->appendPlainText(sent ? "> " + shown : shown);
      },
      [this](const std::string& problem) {
        mail_trace_->appendPlainText(problem.empty() ? "The server took the mail" : "Failed");
        if (!problem.empty()) TellLater(BoxKind::kWarning, "Email Failed: " + problem);
      });
}

// On a connection of its own, which ends with the dialog.
void SettingsWindow::TestSms() {
  if (!parts_.line_client) return;
  sms_trace_->clear();
  SmsTestEvents events;
  events.line = [this](std::string_view line) { sms_trace_->appendPlainText(ShownText(line)); };
  events.done = [this](bool passed, const std::string& text) {
    sms_limit_.stop();
    TellLater(passed ? BoxKind::kInformation : BoxKind::kWarning, text);
  };
  sms_test_ = std::make_unique<SmsTest>(parts_.line_client(), ShownDraft(), parts_.version, std::move(events));
  sms_limit_.start();
  sms_test_->Start();
}

// Of what is stored, as the check itself would.
void SettingsWindow::TestLogin() {
  const QPointer<SettingsWindow> self(this);
  parts_.engine.TrySqlLogon([self](bool ok, const std::string& text) {
    if (!self) return;
    self->TellLater(
        ok ? BoxKind::kInformation : BoxKind::kCritical,
        ok ? "Logged In & Out OK: " + text : "Failed To Login: " + text + "\n\nAn exception has been raised.");
  });
}

}  // namespace vantry
