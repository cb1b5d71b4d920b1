#include "desktop/import_window.h"

#include <QHeaderView>
#include <QVBoxLayout>
#include <iterator>
#include <string>
#include <utility>

#include "desktop/shown_text.h"
#include "import/find_sites.h"

namespace vantry {
namespace {

constexpr const char* kImportColumns[] = {"Domain", "Server", "Log", "Format", "Readable"};
constexpr int kImportColumnCount = static_cast<int>(std::size(kImportColumns));

bool CanBeAdded(const JudgedSite& site) {
  return site.readable && site.there.empty();
}

QString StateOf(const JudgedSite& site) {
  if (!site.there.empty()) return site.same_log ? "There already" : "Domain is taken";
  return site.readable ? "Yes" : "No";
}

}  // namespace

ImportWindow::ImportWindow(const WindowParts& parts, const ConfigTree& tree, Prompts& prompts, ShowHelp help,
                           QWidget* parent)
    : FormDialog("frmImport", parts.t, prompts, std::move(help), parent),
      parts_(parts),
      list_(new QTableWidget(this)),
      more_(new QPlainTextEdit(this)) {
  setWindowTitle("Import Web Sites");
  help_page_ = "add-site";
  pages_->hide();
  auto* column = static_cast<QVBoxLayout*>(layout());
  column->setStretchFactor(pages_, 0);
  auto* heading = PlainLabel("lblImport", "Web &sites of this machine:", this);
  heading->setBuddy(list_);
  column->addWidget(heading);
  list_->setObjectName("VsImport");
  list_->setAccessibleName("Web sites of this machine");
  list_->setMinimumSize(fontMetrics().averageCharWidth() * 90, fontMetrics().lineSpacing() * 10);
  column->addWidget(list_, 3);
  more_->setObjectName("txtImport");
  more_->setAccessibleName("About the chosen web site");
  more_->setReadOnly(true);
  more_->setTabChangesFocus(true);
  more_->setMinimumHeight(fontMetrics().lineSpacing() * 6);
  column->addWidget(more_, 2);
  AddButtons();
  auto* add = findChild<QPushButton*>("btnOK");
  add->setObjectName("btnAdd");
  add->setText("&Add");
  Find(tree);
  ShowSites();
  QObject::connect(list_, &QTableWidget::currentCellChanged, this, [this](int row) { ShowMore(row); });
  if (!sites_.empty()) list_->setCurrentCell(0, 0);
}

void ImportWindow::Find(const ConfigTree& tree) {
  FoundSites found = FindSites(tree);
  for (FoundSite& site : found.sites) {
    sites_.push_back(Judge(tree, parts_.files, std::move(site), t_.Corrected.NcsaFields));
  }
  FindThoseThere(t_.Sites, sites_);
  std::string text = sites_.empty() ? "No site of a web server was found on this machine.\n" : "";
  for (const std::string& problem : found.problems) text += problem + "\n";
  more_->setPlainText(ShownLines(text));
}

void ImportWindow::ShowSites() {
  list_->setColumnCount(kImportColumnCount);
  list_->setRowCount(static_cast<int>(sites_.size()));
  for (int i = 0; i < kImportColumnCount; ++i)
    list_->setHorizontalHeaderItem(i, new QTableWidgetItem(kImportColumns[i]));
  list_->verticalHeader()->hide();
  list_->setSelectionBehavior(QAbstractItemView::SelectRows);
  list_->setSelectionMode(QAbstractItemView::SingleSelection);
  bool any = false;
  for (int row = 0; row < list_->rowCount(); ++row) {
    const JudgedSite& site = sites_[static_cast<size_t>(row)];
    const QString cells[] = {ShownText(site.found.domain), ShownText(site.found.server), ShownText(site.found.log),
                             ShownText(site.found.format), StateOf(site)};
    for (int i = 0; i < kImportColumnCount; ++i) {
      auto* item = new QTableWidgetItem(cells[i]);
      item->setFlags(Qt::ItemIsEnabled | Qt::ItemIsSelectable);
      if (i == 0 && CanBeAdded(site)) {
        item->setFlags(item->flags() | Qt::ItemIsUserCheckable);
        item->setCheckState(Qt::Checked);
        any = true;
      }
      list_->setItem(row, i, item);
    }
  }
  list_->resizeColumnsToContents();
  list_->horizontalHeader()->setStretchLastSection(true);
  findChild<QPushButton*>("btnAdd")->setEnabled(any);
}

void ImportWindow::ShowMore(int row) {
  if (row < 0 || static_cast<size_t>(row) >= sites_.size()) return;
  const JudgedSite& site = sites_[static_cast<size_t>(row)];
  std::string text = site.found.domain + ", " + site.found.where + "\n";
  for (const std::string& line : LinesAbout(site)) text += line + "\n";
  more_->setPlainText(ShownLines(text));
}

void ImportWindow::Confirm() {
  parts_.log.Guard("frmImport.btnAdd_Click", [this] {
    std::string problems;
    bool any = false;
    for (int row = 0; row < list_->rowCount(); ++row) {
      if (list_->item(row, 0)->checkState() != Qt::Checked) continue;
      const Status status = AddFoundSite(sites_[static_cast<size_t>(row)], parts_.clock.Now(), t_);
      any = any || status.ok();
      if (!status.ok()) problems += status.text + "\n";
    }
    if (any) {
      t_.CurrentView = t_.SiteCount();
      parts_.engine.SettingsChanged();
      parts_.engine.SaveSites();
    }
    // The dialog goes before it is read.
    if (!problems.empty()) prompts_.Tell(parentWidget(), BoxKind::kWarning, ShownLines(problems));
    accept();
    return Status::Ok();
  });
}

}  // namespace vantry
