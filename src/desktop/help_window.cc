#include "desktop/help_window.h"

#include <QAction>
#include <QEvent>
#include <QFileInfo>
#include <QSignalBlocker>
#include <QSplitter>
#include <QStatusBar>
#include <QTextCursor>
#include <QTextDocument>
#include <algorithm>

#include "desktop/icons.h"

namespace vantry {
namespace {

constexpr HelpPage kPages[] = {
    {"welcome", "Welcome"},
    {"add-site", "Adding a site"},
    {"new-site", "The wizard for a new site"},
    {"options", "Options"},
    {"window", "The main window"},
    {"columns", "What each column means"},
    {"alerts", "Alerts"},
    {"spiders", "Spiders"},
    {"exceptions", "Exceptions"},
    {"dns-groups", "DNS groups"},
    {"network-tools", "Ping, trace route and who is"},
    {"panes", "Visited pages and trace"},
    {"find", "Search, sort and filter"},
    {"activity", "Activity"},
    {"history", "What happened before"},
    {"days", "Days"},
    {"reports", "Reports and mail"},
    {"sms", "Text messages"},
    {"sql-server", "Watching a SQL server"},
    {"service", "Running as a service"},
    {"archive", "Archiving old logs"},
    {"print", "Printing and saving a list"},
    {"web", "In a browser, on a phone"},
    {"corrections", "Corrections"},
    {"security", "Security"},
    {"files", "Files and folders"},
    {"trouble", "When something is wrong"},
    {"keys", "Keyboard"},
    {"glossary", "Glossary"},
};

QUrl AddressOf(const QString& file) {
  return QUrl("qrc:/vantry/help/" + file + ".html");
}

int PlaceOf(const QUrl& address) {
  const auto* found = std::find_if(std::begin(kPages), std::end(kPages), [&](const HelpPage& page) {
    return AddressOf(page.file) == address.adjusted(QUrl::RemoveFragment);
  });
  return found == std::end(kPages) ? -1 : static_cast<int>(found - std::begin(kPages));
}

// Pictures on a page are the icons of the window, in the colours of the palette.
class HelpText final : public QTextBrowser {
 public:
  using QTextBrowser::QTextBrowser;
  QVariant loadResource(int type, const QUrl& name) override {
    const QString path = source().resolved(name).path();
    if (type != QTextDocument::ImageResource || !path.endsWith(".svg")) return QTextBrowser::loadResource(type, name);
    const int side = std::max(16, fontMetrics().height());  // 16 is what they are drawn for.
    return DrawnIcon(QFileInfo(path).completeBaseName()).pixmap(QSize(side, side), devicePixelRatioF());
  }
};

}  // namespace

const std::span<const HelpPage> kHelpPages = kPages;

HelpWindow::HelpWindow(std::function<void(const QUrl&)> open_outside, QWidget* parent)
    : QMainWindow(parent), open_outside_(std::move(open_outside)) {
  setObjectName("frmHelp");
  setWindowTitle("Vantry Help");
  setWindowIcon(ProgramIcon());
  MakePages();
  MakeBar();
  statusBar()->setObjectName("helpStatus");
  const int em = fontMetrics().horizontalAdvance('m');
  resize(90 * em, 40 * fontMetrics().lineSpacing());
  ShowPage(kPages[0].file);
  text_->clearHistory();
}

void HelpWindow::ShowPage(const QString& file) {
  const QUrl address = AddressOf(file);
  text_->setSource(PlaceOf(address) < 0 ? AddressOf(kPages[0].file) : address);
}

// The colours of links are fixed when a page is read.
void HelpWindow::changeEvent(QEvent* event) {
  QMainWindow::changeEvent(event);
  if (event->type() == QEvent::PaletteChange && text_) text_->reload();
}

void HelpWindow::MakePages() {
  auto* parts = new QSplitter(this);
  parts->setObjectName("helpParts");
  parts->setChildrenCollapsible(false);
  contents_ = new QListWidget(parts);
  contents_->setObjectName("helpContents");
  contents_->setAccessibleName("Contents");
  contents_->setSpacing(fontMetrics().lineSpacing() / 8);
  for (const HelpPage& page : kPages) contents_->addItem(page.title);
  QObject::connect(contents_, &QListWidget::currentRowChanged, this,
                   [this](int row) { ShowPage(kPages[std::max(row, 0)].file); });
  text_ = new HelpText(parts);
  text_->setObjectName("helpText");
  text_->setAccessibleName("Page");
  text_->setOpenLinks(false);
  text_->setTabChangesFocus(false);  // Tab goes from link to link.
  text_->document()->setDocumentMargin(fontMetrics().horizontalAdvance('m') * 1.5);
  // What a browser takes from its own colours.
  text_->document()->setDefaultStyleSheet("th { background-color: palette(alternate-base); }");
  QObject::connect(text_, &QTextBrowser::anchorClicked, this, [this](const QUrl& link) { Follow(link); });
  QObject::connect(text_, &QTextBrowser::sourceChanged, this, [this](const QUrl& address) {
    const QSignalBlocker quiet(contents_);
    contents_->setCurrentRow(PlaceOf(address));
    statusBar()->clearMessage();
  });
  parts->addWidget(contents_);
  parts->addWidget(text_);
  parts->setStretchFactor(1, 1);
  parts->setSizes({contents_->sizeHintForColumn(0) + 3 * fontMetrics().horizontalAdvance('m'), 10'000});
  setCentralWidget(parts);
}

void HelpWindow::MakeBar() {
  QToolBar* bar = addToolBar("Help");
  bar->setObjectName("helpBar");
  bar->setAccessibleName("Help");
  bar->setMovable(false);
  bar->toggleViewAction()->setEnabled(false);
  const auto add = [&](const char* name, const QString& caption, const QKeySequence& keys, auto run) {
    QAction* action = bar->addAction(CommandIcon(name), caption);
    action->setObjectName(name);
    action->setShortcut(keys);
    action->setToolTip(caption + " (" + keys.toString(QKeySequence::NativeText) + ")");
    QObject::connect(action, &QAction::triggered, this, run);
    return action;
  };
  QAction* back = add("btnBack", "Back", QKeySequence("Alt+Left"), [this] { text_->backward(); });
  QAction* forward = add("btnForward", "Forward", QKeySequence("Alt+Right"), [this] { text_->forward(); });
  add("btnHome", "Welcome", QKeySequence("Alt+Home"), [this] { ShowPage(kPages[0].file); });
  for (QAction* action : {back, forward}) action->setEnabled(false);
  QObject::connect(text_, &QTextBrowser::backwardAvailable, back, &QAction::setEnabled);
  QObject::connect(text_, &QTextBrowser::forwardAvailable, forward, &QAction::setEnabled);

  auto* space = new QWidget(bar);
  space->setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
  bar->addWidget(space);
  find_ = new QLineEdit(bar);
  find_->setObjectName("txtFind");
  find_->setAccessibleName("Find in page");
  find_->setPlaceholderText("Find in page");
  find_->setClearButtonEnabled(true);
  find_->setMaximumWidth(30 * fontMetrics().horizontalAdvance('m'));
  bar->addWidget(find_);
  QObject::connect(find_, &QLineEdit::returnPressed, this, [this] { Find(false); });

  const auto on_keys = [&](const char* name, const QKeySequence& keys, auto run) {
    auto* action = new QAction(this);
    action->setObjectName(name);
    action->setShortcut(keys);
    QObject::connect(action, &QAction::triggered, this, run);
    addAction(action);
  };
  on_keys("helpFind", QKeySequence("Ctrl+F"), [this] {
    find_->setFocus(Qt::ShortcutFocusReason);
    find_->selectAll();
  });
  on_keys("helpFindNext", QKeySequence("F3"), [this] { Find(false); });
  on_keys("helpFindPrevious", QKeySequence("Shift+F3"), [this] { Find(true); });
  on_keys("helpClose", QKeySequence("Esc"), [this] {
    if (find_->hasFocus()) return text_->setFocus();
    close();
  });
}

void HelpWindow::Follow(const QUrl& link) {
  const QUrl address = text_->source().resolved(link);
  if (PlaceOf(address) >= 0) return text_->setSource(address);
  if ((address.scheme() == "http" || address.scheme() == "https") && open_outside_) open_outside_(address);
}

// From the cursor on, and once round the page.
void HelpWindow::Find(bool backwards) {
  const QString wanted = find_->text();
  if (wanted.isEmpty()) return;
  const QTextDocument::FindFlags flags = backwards ? QTextDocument::FindBackward : QTextDocument::FindFlags();
  bool found = text_->find(wanted, flags);
  if (!found) {
    const QTextCursor here = text_->textCursor();
    text_->moveCursor(backwards ? QTextCursor::End : QTextCursor::Start);
    found = text_->find(wanted, flags);
    if (!found) text_->setTextCursor(here);
  }
  if (found) {
    statusBar()->clearMessage();
  } else {
    statusBar()->showMessage("This page does not have \"" + wanted + "\".");
  }
}

}  // namespace vantry
