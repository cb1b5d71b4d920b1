// The whole engine on fakes, with its window on no screen and nobody to answer its questions but the test.
#pragma once

#include <QAbstractButton>
#include <QApplication>
#include <QTest>
#include <QTreeView>
#include <QUrl>
#include <deque>
#include <functional>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "desktop/desktop_view.h"
#include "support/engine_rig.h"

namespace vantry {

// Answers each question with what the test has said, and keeps what was asked.
struct ScriptedPrompts final : Prompts {
  std::vector<std::string> told, asked, opened;
  QMessageBox::StandardButton answer = QMessageBox::No;
  std::deque<QMessageBox::StandardButton> answers;  // Of Choose, one after the other.
  QString file;
  QColor color;
  std::function<void()> meanwhile;  // While the question is open.

  void Tell(QWidget*, BoxKind, const QString& text) override { told.push_back(text.toStdString()); }
  QMessageBox::StandardButton Ask(QWidget*, const QString& text, QMessageBox::StandardButtons buttons,
                                  QMessageBox::StandardButton) override {
    asked.push_back(text.toStdString());
    EXPECT_TRUE(buttons.testFlag(answer));
    if (meanwhile) meanwhile();
    return answer;
  }
  void Confirm(QWidget* parent, const QString& text, QMessageBox::StandardButtons buttons,
               std::function<void()> yes) override {
    if (Ask(parent, text, buttons, QMessageBox::No) == QMessageBox::Yes) yes();
  }
  void Choose(QWidget* parent, const QString& text, QMessageBox::StandardButtons buttons,
              std::function<void(QMessageBox::StandardButton)> choose) override {
    if (!answers.empty()) {
      answer = answers.front();
      answers.pop_front();
    }
    choose(Ask(parent, text, buttons, QMessageBox::No));
  }
  void FileToSave(QWidget*, const QString&, const QString&, const QString&,
                  std::function<void(const QString& path)> save) override {
    if (!file.isEmpty()) save(file);
  }
  QString FileToOpen(QWidget*, const QString&, const QString&, const QString&) override { return file; }
  QColor Color(QWidget*, const QString&, const QColor&) override { return color; }
  void OpenInBrowser(const QUrl& url) override { opened.push_back(url.toString(QUrl::FullyEncoded).toStdString()); }
};

template <class W>
W& WidgetIn(const QWidget& of, const char* name) {
  // Qt looks for its own types alone by type; there may be several of one name, such as a menu and what it belongs to.
  for (QObject* found : of.findChildren<QObject*>(name)) {
    if (auto* widget = dynamic_cast<W*>(found)) return *widget;
  }
  throw std::runtime_error(std::string("there is no ") + name);
}

struct WindowTest : EngineTest {
  ScriptedPrompts prompts;
  std::unique_ptr<DesktopView> view;

  ~WindowTest() override { engine.reset(); }
  bool Open() {
    engine.reset();
    view = std::make_unique<DesktopView>(prompts);
    window = view.get();
    return Start();
  }
  MainWindow& Frm() { return *view->Window(); }
  LiveTables& T() { return engine->Tables(); }
  template <class W>
  W& Find(const char* name) {
    return WidgetIn<W>(Frm(), name);
  }
  std::string Label(const char* name) { return Find<QLabel>(name).text().toStdString(); }
  // As its menu does.
  void Trigger(const char* name) {
    Frm().ActionOf(name)->trigger();
    QApplication::processEvents();
  }
  static void Click(const QWidget& of, const char* button) {
    WidgetIn<QAbstractButton>(of, button).click();
    QApplication::processEvents();
  }
  bool Enabled(const char* name) { return Frm().ActionOf(name)->isEnabled(); }
};

// With sites and visitors to look at.
struct MainWindowTest : WindowTest {
  // Three visitors on the first of two sites, one on the second.
  void OpenWithVisitors() {
    Sites(2);
    for (const char* ip : {"10.0.0.1", "10.0.0.2", "10.0.0.3"}) Log("11:59:00", ip);
    ASSERT_TRUE(Open());
    Run(6);
    Frm().Refresh();
  }
  void ChooseNode(const char* key) {
    auto& tree = Find<QTreeView>("TreeView");
    const QModelIndexList found =
        tree.model()->match(tree.model()->index(0, 0), Qt::UserRole, key, 1, Qt::MatchExactly | Qt::MatchRecursive);
    ASSERT_EQ(found.size(), 1) << key;
    tree.setCurrentIndex(found[0]);
  }
  std::string NodeText(const char* key) {
    auto& tree = Find<QTreeView>("TreeView");
    const QModelIndexList found =
        tree.model()->match(tree.model()->index(0, 0), Qt::UserRole, key, 1, Qt::MatchExactly | Qt::MatchRecursive);
    return found.size() == 1 ? found[0].data().toString().toStdString() : std::string();
  }
};

}  // namespace vantry
