#include "desktop/group_window.h"

#include <QLabel>
#include <QTabBar>
#include <utility>

#include "desktop/shown_text.h"
#include "forms/visitor_form.h"

namespace vantry {
namespace {

constexpr std::string_view kGroupsPage = "Groups";

}  // namespace

GroupWindow::GroupWindow(const WindowParts& parts, Prompts& prompts, const std::string& dns, ShowHelp help,
                         QWidget* parent)
    : FormDialog("frmGroup", parts.t, prompts, std::move(help), parent), parts_(parts), masks_(parts.settings.DNSMask) {
  help_page_ = "dns-groups";
  setWindowTitle("DNS Groups");
  pages_->tabBar()->hide();
  pages_->Add({kGroupsPage, "",
               "Creating a group allows Vantry to show visitors with similar DNS Names together as single visitors.",
               FieldKind::kNote});
  pages_->Add({kGroupsPage, "",
               "For example, *.dialup.provider.example will show every visitor of that provider who arrived within 5 "
               "minutes as a single visitor.",
               FieldKind::kNote});
  MakeGrid();
  AddButtons();
  resize(fontMetrics().averageCharWidth() * 80, fontMetrics().lineSpacing() * 32);
  if (!dns.empty()) AddRow(GroupRow(dns));
}

void GroupWindow::MakeGrid() {
  auto* label = new QLabel("&DNS Masks: (Use Wildcards) Double-click to edit.", pages_);
  label->setObjectName("lblMasks");
  grid_ = MakeFormTable("GridGroups", "DNS Masks", {"No", "DNS Mask"}, pages_);
  label->setBuddy(grid_);
  const auto& masks = parts_.settings.DNSMask;
  grid_->setRowCount(static_cast<int>(masks.size()));
  for (int row = 0; row < grid_->rowCount(); ++row) {
    grid_->setItem(row, 0, FixedItem(QString::number(row + 1), Qt::AlignRight));
    grid_->setItem(row, 1, new QTableWidgetItem(ShownText(masks[static_cast<size_t>(row)])));
  }
  grid_->resizeColumnToContents(0);
  pages_->ColumnOf(kGroupsPage)->addWidget(label);
  pages_->ColumnOf(kGroupsPage)->addWidget(grid_, 1);
}

void GroupWindow::AddRow(const std::string& dns) {
  const auto place = PlaceForGroup(Rows());
  if (!place) {
    return TellLater(BoxKind::kInformation, "All " + std::to_string(grid_->rowCount()) + " places are taken.");
  }
  QTableWidgetItem* item = grid_->item(static_cast<int>(*place), 1);
  item->setText(ShownText(dns));
  grid_->setCurrentItem(item);
  grid_->setFocus();
}

// What nobody has touched stays as it was, even if it can't be shown.
std::vector<std::string> GroupWindow::Rows() const {
  std::vector<std::string> rows = ColumnTexts(*grid_, 1);
  for (size_t row = 0; row < rows.size(); ++row) {
    if (rows[row] == ShownText(masks_[row]).toStdString()) rows[row] = masks_[row];
  }
  return rows;
}

void GroupWindow::Confirm() {
  parts_.log.Guard("frmGroup.btnOK_Click", [this] {
    const std::vector<std::string> rows = Rows();
    if (const auto problem = CheckGroups(rows)) {
      // Whoever gives up now has no groups until the next start, as the list is made anew from its beginning.
      if (!parts_.t.Corrected.KeepGroups) StoreGroups({}, parts_.settings);
      prompts_.Tell(this, BoxKind::kInformation, ShownLines(problem->text));
      grid_->setCurrentCell(static_cast<int>(problem->row), 1);
      grid_->setFocus();
      return Status::Ok();
    }
    StoreGroups(rows, parts_.settings);
    parts_.engine.SaveSettings();
    accept();
    return Status::Ok();
  });
}

}  // namespace vantry
