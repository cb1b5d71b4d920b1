// One list of the window: its rows in columns, chosen, sorted and searched by the operator.
#pragma once

#include <QTableView>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "desktop/list_cell.h"
#include "desktop/list_columns.h"
#include "desktop/list_model.h"
#include "desktop/list_source.h"

namespace vantry {

// The chosen rows stay chosen and the list stays where it is scrolled to while rows come and go, as rows are known by
// their numbers and not by their places.
class ListPane final : public QTableView {
 public:
  // Tables and formats outlive it.
  ListPane(LiveTables& t, const Regional& regional, ListKind kind, IconSource icons, QWidget* parent = nullptr);
  ~ListPane() override;

  // Takes over what has changed in the tables. To be called about four times a second while it can be seen, and when
  // the view has changed. Costs next to nothing when nothing has.
  void Refresh();
  void SetSearch(const QString& text);
  // What the commands on a row need of the chosen one. Empty without one, or where rows are not a visitor's.
  std::optional<SelectedRow> Selected() const;
  // For the list of pages: whose they are (VisitorRec::Key), empty for nobody's.
  void ShowPagesOf(const std::string& key);
  size_t ShownRows() const { return model_.ShownRows(); }
  const ListModel& Rows() const { return model_; }

  // The list as it is shown, with headings, as a CSV file.
  std::string Csv() const;
  // Puts the chosen rows on the clipboard, a line each, with tabs between the columns.
  void CopySelection() const;

  std::map<std::string, std::string> ColumnState() const { return columns_.State(); }
  void RestoreColumns(const std::map<std::string, std::string>& state) { columns_.Restore(state); }
  // Where columns are shown and hidden. The heading opens it at a right click.
  void OpenColumnMenu(const QPoint& global) { columns_.OpenMenu(global); }

  // What an empty list shows.
  void SetEmptyHint(const QString& hint);

  std::function<void()> on_selection;              // Another row was chosen, or the chosen one left.
  std::function<void(QPoint global)> on_menu;      // A right click on a row, which is chosen then, or the menu key.
  void keyboardSearch(const QString&) override {}  // The search field is for that; this would walk all rows.

 protected:
  void contextMenuEvent(QContextMenuEvent* event) override;
  void keyPressEvent(QKeyEvent* event) override;
  QModelIndex moveCursor(CursorAction action, Qt::KeyboardModifiers modifiers) override;
  void paintEvent(QPaintEvent* event) override;
  void showEvent(QShowEvent* event) override;
  void changeEvent(QEvent* event) override;
  bool viewportEvent(QEvent* event) override;

 private:
  struct Chosen {
    std::vector<uint64_t> rows;  // In order.
    std::optional<uint64_t> current;
    int column = 0;  // Of the current cell.
  };

  void SetUpLook();
  void SetUpHeading();
  void SetUpModel();
  void SizeRows();
  // Changes the model by `change`, and leaves the list where it was, or, if `to_chosen`, at the chosen row.
  void Change(const std::function<void()>& change, bool to_chosen);
  void ScrollBack(uint64_t top, int value);
  void KeepChosen();
  void RestoreChosen();
  void TellSelection();
  std::optional<uint64_t> ChosenRow() const;
  std::vector<bool> SearchedColumns() const;
  QString TipAt(const QModelIndex& index) const;

  LiveTables& t_;
  const ListKind kind_;
  ListStyle style_;
  ListModel model_;
  ListColumns columns_;
  Needle needle_;
  QString hint_;
  Chosen kept_;                   // While the model is made anew.
  std::optional<uint64_t> told_;  // The chosen row that on_selection was called for.
  bool changing_ = false;         // The model is being changed, so scrolling is not the operator's.
  bool follow_ = true;            // The trace: its end is shown.
};

}  // namespace vantry
