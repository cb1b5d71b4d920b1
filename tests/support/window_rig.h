// The whole engine on fakes, with its window on no screen and nobody to answer its questions but the test.
#pragma once

#include <QApplication>
#include <QTest>
#include <QUrl>
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
  QString file;
  std::function<void()> meanwhile;  // While the question is open.

  void Tell(QWidget*, BoxKind, const QString& text) override { told.push_back(text.toStdString()); }
  QMessageBox::StandardButton Ask(QWidget*, const QString& text, QMessageBox::StandardButtons buttons,
                                  QMessageBox::StandardButton) override {
    asked.push_back(text.toStdString());
    EXPECT_TRUE(buttons.testFlag(answer));
    if (meanwhile) meanwhile();
    return answer;
  }
  QString FileToSave(QWidget*, const QString&, const QString&, const QString&) override { return file; }
  void OpenInBrowser(const QUrl& url) override { opened.push_back(url.toString(QUrl::FullyEncoded).toStdString()); }
};

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
    W* widget = Frm().findChild<W*>(name);
    if (!widget) throw std::runtime_error(std::string("there is no ") + name);
    return *widget;
  }
  std::string Label(const char* name) { return Find<QLabel>(name).text().toStdString(); }
  // As its menu does.
  void Trigger(const char* name) {
    Frm().ActionOf(name)->trigger();
    QApplication::processEvents();
  }
  bool Enabled(const char* name) { return Frm().ActionOf(name)->isEnabled(); }
};

}  // namespace vantry
