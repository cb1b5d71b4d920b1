// A window on the history: one view for all of its lists. It opens beside the program and reads a little at a time, so
// that no scan waits for it.
#pragma once

#include <QComboBox>
#include <QDateEdit>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QTableView>
#include <QTimer>
#include <QToolBar>
#include <QWidget>
#include <array>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "desktop/desktop_module.h"
#include "desktop/history_bars.h"
#include "desktop/history_model.h"
#include "desktop/message_box.h"
#include "views/history_lists.h"

namespace vantry {

enum class HistoryKind : uint8_t {
  kPrevVisits,
  kVisitDetails,
  kReferers,
  kPrevDownloads,
  kTopDownloads,
  kDays,
  kCount
};

// What a window is asked for. Sites go by their names, an empty one is all of them.
struct HistorySubject {
  std::string ip = {}, site = {};
  int64_t visit = 0;            // Of visit details.
  std::optional<Day> day = {};  // That visit's, or the day of top downloads; empty for any.
  std::string referrer = {};    // Visits that came from there, in place of those of an address.
};

struct HistoryLinks {
  const WindowParts& parts;
  Prompts& prompts;
  std::function<void(const QString& page)> help;
  std::function<void(HistoryKind kind, const HistorySubject& subject)> open;
};

struct HistoryLook;  // What a kind of window has of its own; see history_window.cc.

class HistoryWindow final : public QWidget {
 public:
  HistoryWindow(HistoryLinks links, HistoryKind kind, QWidget* parent);

  void Ask(const HistorySubject& subject);
  // Asks again.
  void Repeat() { Ask(HistorySubject(subject_)); }
  bool IsReading() const { return fill_.isActive(); }

  HistoryPace pace;

 private:
  // history_tools.cc: the tool bars and what the tools do.
  void MakeTools();
  void AddAddressTools(QToolBar* bar);
  void AddSiteTools(QToolBar* bar);
  void AddDateTools(QToolBar* bar);
  void AddSpanTools(QToolBar* bar);
  QAction* Tool(QToolBar* bar, const char* name, const QString& caption, const char* drawing,
                std::function<void()> run);
  void ShowSubject();
  void LookUp();
  void StepDay(int days);
  void Email();
  void Print();
  void SaveAs();
  void Write(const QString& path);
  void DeleteReferrer();
  void DropReferrer(const std::string& name, bool exclude);
  void Follow(const QModelIndex& index);
  HistorySubject SubjectOf(size_t row) const;

  // history_window.cc: the list.
  void MakeGrid();
  std::unique_ptr<HistoryList> MakeList() const;
  std::optional<DaySoFar> Today() const;
  DayRange Span() const;
  void SizeColumns();
  void SortBy(int column);
  void Fill();
  void ShowState();
  void ShowChart();
  // Runs it once so many rows are there, or all.
  void WhenRead(size_t rows, std::function<void()> then);
  void Stop();
  void NoMore();

  HistoryLinks links_;
  HistoryKind kind_;
  const HistoryLook& look_;
  HistorySubject subject_;
  HistoryModel* model_;
  QTableView* grid_ = nullptr;
  QToolBar *bar_ = nullptr, *subject_bar_ = nullptr;
  QLabel *title_ = nullptr, *state_ = nullptr, *dns_ = nullptr;
  QLineEdit *address_ = nullptr, *find_ = nullptr;
  QComboBox *site_ = nullptr, *span_ = nullptr, *count_ = nullptr;
  QDateEdit* date_ = nullptr;
  QAction* stop_ = nullptr;
  DaysChart* chart_ = nullptr;
  QTimer fill_;
  size_t then_rows_ = 0;
  std::function<void()> then_;
  bool failed_ = false, stopped_ = false;
};

// What a kind of window has of its own.
struct HistoryLook {
  const char *name, *caption, *grid;  // Object name of the window, its caption, object name of the list.
  const char *load_label, *tool_label;
  const char *one, *many;  // What a row is.
  size_t mailed_view;      // As in kMailedViews.
};

// The windows of one main window: one of each kind at most.
class HistoryWindows {
 public:
  HistoryWindows(const WindowParts& parts, Prompts& prompts, std::function<void(const QString&)> help, QWidget* parent);
  ~HistoryWindows() { CloseAll(); }
  HistoryWindows(const HistoryWindows&) = delete;
  HistoryWindows& operator=(const HistoryWindows&) = delete;

  void Open(HistoryKind kind, const HistorySubject& subject);
  void CloseAll();

 private:
  HistoryLinks links_;
  QWidget* parent_;
  std::array<QPointer<HistoryWindow>, static_cast<size_t>(HistoryKind::kCount)> windows_;
};

}  // namespace vantry
