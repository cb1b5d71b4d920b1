// The help: pages that are part of the program, with a list of contents, and search in the page.
#pragma once

#include <QLineEdit>
#include <QListWidget>
#include <QMainWindow>
#include <QString>
#include <QTextBrowser>
#include <QToolBar>
#include <QUrl>
#include <functional>
#include <span>

namespace vantry {

struct HelpPage {
  const char* file;  // Without ".html".
  const char* title;
};

// In the order of the contents.
extern const std::span<const HelpPage> kHelpPages;

class HelpWindow final : public QMainWindow {
 public:
  // `open_outside` is given the http and https addresses that somebody chooses.
  explicit HelpWindow(std::function<void(const QUrl&)> open_outside, QWidget* parent = nullptr);

  // By its file; the first page if there is none of that name.
  void ShowPage(const QString& file);

 protected:
  void changeEvent(QEvent* event) override;

 private:
  void MakeBar();
  void MakePages();
  void Follow(const QUrl& link);
  void Find(bool backwards);

  std::function<void(const QUrl&)> open_outside_;
  QTextBrowser* text_ = nullptr;
  QListWidget* contents_ = nullptr;
  QLineEdit* find_ = nullptr;
};

}  // namespace vantry
