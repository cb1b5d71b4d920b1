#include "desktop/alert_window.h"

#include <QHBoxLayout>
#include <utility>

#include "desktop/list_text.h"
#include "desktop/shown_text.h"
#include "forms/alert_form.h"

namespace vantry {
namespace {

struct ListLook {
  const char* control;
  const char* page;
  const char* heading;
  std::vector<std::string> AlertRec::*entries;
};

constexpr ListLook kLists[] = {{"gridDNS", "DNS", "DNS or IP Address", &AlertRec::DNS},
                               {"gridWORDS", "Keywords", "Keyword", &AlertRec::Word},
                               {"gridPAGES", "Pages", "Page", &AlertRec::Page}};

}  // namespace

AlertWindow::AlertWindow(const WindowParts& parts, Prompts& prompts, const AlertRec& alert,
                         std::function<void(const AlertRec&)> store, FormDialog* parent)
    : FormDialog("frmAlert", parts.t, prompts, parent->Help(), parent),
      parts_(parts),
      alert_(alert),
      store_(std::move(store)) {
  help_page_ = "alerts";
  setWindowTitle("Alert:" + QString::number(alert_.AlertNo) + " [" + ShownText(alert_.Name) + "]");
  pages_->AddFields(kAlertFields);
  MakeColour();
  MakeLists();
  const std::pair<const char*, const char*> pickers[] = {{"btnPickAlertSound", "txtAlertSound"},
                                                         {"btnPickEXE", "txtEXE"}};
  for (const auto& [name, control] : pickers) {
    QPushButton* pick = AddButtonBeside(pages_->Find(control), name, "Browse...");
    const bool sound = pick->objectName() == "btnPickAlertSound";
    Picks(pick, [this, sound] {
      sound ? PickFile("txtAlertSound", "Select Sound File", "Sound File (*.WAV *.wav)")
            : PickFile("txtEXE", "Select Script Or EXE File",
                       "Program Files (*.EXE *.exe);;VBScript (*.VBS *.vbs);;All Files (*)");
    });
  }
  pages_->Show(kAlertFields, alert_);
  AddButtons();
}

void AlertWindow::MakeColour() {
  auto* line = new QHBoxLayout;
  auto* pick = new QPushButton("&Color...", pages_);
  pick->setObjectName("btnPickColor");
  pick->setAutoDefault(false);
  colour_label_ = PlainLabel("lblForeColor", "Default", pages_);
  colour_label_->setAutoFillBackground(true);
  colour_label_->setContentsMargins(8, 4, 8, 4);
  line->addWidget(pick);
  line->addWidget(colour_label_);
  line->addStretch(1);
  pages_->ColumnOf("General")->addLayout(line);
  Picks(pick, [this] {
    const QColor color = prompts_.Color(this, "Select Color",
                                        BackColour(static_cast<uint32_t>(alert_.Color)).value_or(QColor(Qt::white)));
    if (!color.isValid()) return;
    alert_.Color = color.red() | color.green() << 8 | color.blue() << 16;
    ShowColour();
  });
  ShowColour();
}

// As rows of the alert are shown.
void AlertWindow::ShowColour() {
  QPalette palette = this->palette();
  const std::optional<QColor> back = BackColour(static_cast<uint32_t>(alert_.Color));
  palette.setColor(QPalette::Window, back.value_or(palette.color(QPalette::Base)));
  if (back) palette.setColor(QPalette::WindowText, ReadableOn(*back));
  colour_label_->setPalette(palette);
}

void AlertWindow::MakeLists() {
  for (size_t n = 0; n < std::size(kLists); ++n) {
    const ListLook& look = kLists[n];
    QTableWidget* table = MakeFormTable(look.control, look.heading, {"No.", look.heading}, pages_);
    table->setRowCount(AlertRec::kMaxEntries);
    const std::vector<std::string>& entries = alert_.*look.entries;
    for (int row = 0; row < table->rowCount(); ++row) {
      table->setItem(row, 0, FixedItem(QString::number(row + 1), Qt::AlignRight));
      const auto place = static_cast<size_t>(row);
      table->setItem(row, 1, new QTableWidgetItem(place < entries.size() ? ShownText(entries[place]) : QString()));
    }
    table->resizeColumnToContents(0);
    pages_->ColumnOf(look.page)->addWidget(table, 1);
    lists_[n] = table;
  }
  engines_ = new QListWidget(pages_);
  engines_->setObjectName("listRef");
  engines_->setAccessibleName("Referrers");
  engines_->setSelectionMode(QAbstractItemView::MultiSelection);
  engines_->addItem("[Anywhere]");
  for (const SearchEngine& engine : parts_.settings.SearchEngines) engines_->addItem(ShownText(engine.name));
  for (const size_t row : ChosenEngines(alert_, parts_.settings.SearchEngines)) {
    engines_->item(static_cast<int>(row))->setSelected(true);
  }
  pages_->ColumnOf("Referrers")->addWidget(engines_, 1);
}

AlertRec AlertWindow::Draft() {
  AlertRec draft = alert_;
  pages_->Read(kAlertFields, draft);
  TidyAlert(draft);
  for (size_t n = 0; n < std::size(kLists); ++n) {
    draft.*kLists[n].entries = AlertEntries(ColumnTexts(*lists_[n], 1));
  }
  std::vector<size_t> rows;
  for (int row = 0; row < engines_->count(); ++row) {
    if (engines_->item(row)->isSelected()) rows.push_back(static_cast<size_t>(row));
  }
  ChooseEngines(rows, parts_.settings.SearchEngines, draft);
  return draft;
}

void AlertWindow::Confirm() {
  parts_.log.Guard("frmAlert.btnOK_Click", [this] {
    const AlertRec draft = Draft();
    if (const auto problem = CheckAlert(draft, parts_.files); problem && Refused(*problem)) return Status::Ok();
    store_(draft);
    accept();
    return Status::Ok();
  });
}

void AlertWindow::PickFile(const char* control, const char* title, const char* filter) {
  QLineEdit* text = pages_->Find(control).text;
  const QString file = prompts_.FileToOpen(this, title, text->text(), filter);
  if (!file.isEmpty()) text->setText(file);
}

}  // namespace vantry
