// Messages of the engine to whoever sits at the window.
#pragma once

#include <QColor>
#include <QMessageBox>
#include <QString>
#include <QUrl>
#include <QWidget>
#include <deque>
#include <functional>
#include <utility>

#include "ports/notices.h"

namespace vantry {

inline constexpr QMessageBox::StandardButtons kYesNo = QMessageBox::Yes | QMessageBox::No;

// One box for all messages: they are shown one after the other, and nothing waits for an answer. A message that waits
// already is not added again, and of too many the newest are kept, so that a hundred sites without a log make one box.
class MessageQueue {
 public:
  static constexpr size_t kMost = 100;

  explicit MessageQueue(QWidget* parent) : parent_(parent) {}
  void Add(BoxKind kind, const QString& text);

 private:
  void ShowNext();
  QWidget* parent_;
  QMessageBox* box_ = nullptr;  // The one that is open.
  QString shown_;
  std::deque<std::pair<BoxKind, QString>> waiting_;
};

// What goes to whoever sits there. Tests answer by themselves. A call that waits for its answer holds the scan it may
// have come in the middle of, so commands of the window take those that go on at once.
class Prompts {
 public:
  virtual ~Prompts() = default;
  // Asks and goes on; `yes` runs when somebody says so, and never when `parent` has gone. A question that is open
  // already is not asked twice.
  virtual void Confirm(QWidget* parent, const QString& text, QMessageBox::StandardButtons buttons,
                       std::function<void()> yes) = 0;
  // The same where each answer matters.
  virtual void Choose(QWidget* parent, const QString& text, QMessageBox::StandardButtons buttons,
                      std::function<void(QMessageBox::StandardButton)> answer) = 0;
  // The file to save to; nothing runs when there is to be none. `filter` as QFileDialog takes it.
  virtual void FileToSave(QWidget* parent, const QString& title, const QString& name, const QString& filter,
                          std::function<void(const QString& path)> save) = 0;
  // Shows a message. Without a parent there is no window yet, and it waits until somebody has read it.
  virtual void Tell(QWidget* parent, BoxKind kind, const QString& text) = 0;
  // Waits. `otherwise` is what Enter gives and what a closed box stands for.
  virtual QMessageBox::StandardButton Ask(QWidget* parent, const QString& text, QMessageBox::StandardButtons buttons,
                                          QMessageBox::StandardButton otherwise) = 0;
  // Waits for a file that is there; empty when none is to be taken.
  virtual QString FileToOpen(QWidget* parent, const QString& title, const QString& at, const QString& filter) = 0;
  // Waits. No colour when none is to be taken.
  virtual QColor Color(QWidget* parent, const QString& title, const QColor& now) = 0;
  virtual void OpenInBrowser(const QUrl& url) = 0;
};

class RealPrompts final : public Prompts {
 public:
  void Confirm(QWidget* parent, const QString& text, QMessageBox::StandardButtons buttons,
               std::function<void()> yes) override;
  void Choose(QWidget* parent, const QString& text, QMessageBox::StandardButtons buttons,
              std::function<void(QMessageBox::StandardButton)> answer) override;
  void FileToSave(QWidget* parent, const QString& title, const QString& name, const QString& filter,
                  std::function<void(const QString& path)> save) override;
  void Tell(QWidget* parent, BoxKind kind, const QString& text) override;
  QMessageBox::StandardButton Ask(QWidget* parent, const QString& text, QMessageBox::StandardButtons buttons,
                                  QMessageBox::StandardButton otherwise) override;
  QString FileToOpen(QWidget* parent, const QString& title, const QString& at, const QString& filter) override;
  QColor Color(QWidget* parent, const QString& title, const QColor& now) override;
  void OpenInBrowser(const QUrl& url) override;
};

}  // namespace vantry
