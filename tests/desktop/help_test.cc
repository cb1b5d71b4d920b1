#include <QApplication>
#include <QClipboard>
#include <QFile>
#include <QImage>
#include <QLabel>
#include <QPushButton>
#include <QRegularExpression>
#include <QStatusBar>
#include <QTextBlock>
#include <map>
#include <set>
#include <vector>

#include <gtest/gtest.h>

#include "core/corrections.h"
#include "core/exception_numbers.h"
#include "desktop/about_window.h"
#include "desktop/commands.h"
#include "desktop/help_window.h"
#include "desktop/icons.h"
#include "pictures.h"

namespace vantry {
namespace {

QString HelpText(const QString& file) {
  QFile page(":/vantry/help/" + file + ".html");
  return page.open(QIODevice::ReadOnly) ? QString::fromUtf8(page.readAll()) : QString();
}

std::vector<QString> AllOf(const QString& text, const QString& pattern) {
  std::vector<QString> found;
  auto matches = QRegularExpression(pattern).globalMatch(text);
  while (matches.hasNext()) found.push_back(matches.next().captured(1));
  return found;
}

class HelpTest : public ::testing::Test {
 protected:
  HelpTest() : window([this](const QUrl& url) { opened.push_back(url.toString()); }) {
    text = window.findChild<QTextBrowser*>("helpText");
  }
  void TearDown() override { QApplication::setPalette(QPalette()); }
  void Click(const QString& link) { Q_EMIT text->anchorClicked(QUrl(link)); }
  QString Shown() const { return text->source().fileName(); }

  std::vector<QString> opened;
  HelpWindow window;
  QTextBrowser* text = nullptr;
};

TEST(HelpPages, EachLinkLeadsToAPageAndEachPageIsLinkedTo) {
  std::set<QString> linked;
  for (const HelpPage& page : kHelpPages) {
    const QString html = HelpText(page.file);
    ASSERT_FALSE(html.isEmpty()) << page.file;
    for (const QString& link : AllOf(html, "<a href=\"([^\"]*)\"")) {
      EXPECT_TRUE(link.endsWith(".html") && !HelpText(link.chopped(5)).isEmpty())
          << page.file << " links to " << link.toStdString();
      if (link != QString(page.file) + ".html") linked.insert(link.chopped(5));
    }
    for (const QString& picture : AllOf(html, "<img src=\"([^\"]*)\"")) {
      EXPECT_TRUE(picture.startsWith("icons/") && QFile::exists(":/vantry/" + picture)) << picture.toStdString();
    }
  }
  for (const HelpPage& page : kHelpPages) EXPECT_TRUE(linked.count(page.file)) << page.file;
}

TEST(HelpPages, TheFirstPageListsAllInTheirOrder) {
  const QString first = HelpText(kHelpPages[0].file);
  const auto listed = AllOf(first.mid(first.indexOf("All pages")), "<li><a href=\"[a-z-]*.html\">([^<]*)</a>");
  ASSERT_EQ(listed.size(), kHelpPages.size() - 1);
  for (size_t i = 0; i < listed.size(); ++i) EXPECT_EQ(listed[i], kHelpPages[i + 1].title);
}

TEST(HelpPages, HaveTheirTitlesAndNoScript) {
  for (const HelpPage& page : kHelpPages) {
    const QString html = HelpText(page.file);
    EXPECT_TRUE(html.contains(QString("<title>%1</title>").arg(page.title))) << page.file;
    EXPECT_TRUE(html.contains(QString("<h1>%1</h1>").arg(page.title))) << page.file;
    EXPECT_FALSE(html.contains("<script", Qt::CaseInsensitive)) << page.file;
    EXPECT_FALSE(html.contains("style=")) << page.file;
  }
}

TEST(HelpPages, EveryExceptionNumberIsExplained) {
  const QString html = HelpText("exceptions");
  std::set<int> numbers;
  for (const QString& cell : AllOf(html, "<tr><td>([0-9][0-9, to]*)</td>")) {
    for (const QString& part : cell.split(", ")) {
      const QStringList ends = part.split(" to ");
      for (int n = ends.first().toInt(); n <= ends.last().toInt(); ++n) numbers.insert(n);
    }
  }
  for (const DefaultExceptionType& type : kDefaultExceptionTypes) {
    EXPECT_TRUE(numbers.count(type.number)) << type.number;
    numbers.erase(type.number);
  }
  EXPECT_EQ(numbers, std::set<int>{402});  // Lies between two others.
}

TEST(HelpPages, NameCorrectionsThatThereAre) {
  std::set<QString> keys;
  for (const CorrectionRow& row : CorrectionRows())
    keys.insert(QString::fromUtf8(row.key.data(), qsizetype(row.key.size())));
  for (const HelpPage& page : kHelpPages) {
    for (const QString& name : AllOf(HelpText(page.file), "corrections? <code>([A-Za-z]+)</code>")) {
      EXPECT_TRUE(keys.count(name)) << page.file << ": " << name.toStdString();
    }
  }
  for (const QString& name : AllOf(HelpText("corrections"), "<tr><td><code>([A-Za-z]+)</code>")) {
    EXPECT_TRUE(keys.count(name)) << name.toStdString();
  }
}

QString Plain(std::string_view caption) {
  return QString::fromUtf8(caption.data(), static_cast<qsizetype>(caption.size())).remove('&');
}

// What is bold on a page is the caption of a command or of a menu.
TEST(HelpPages, EveryCommandThatIsNamedIsThere) {
  std::map<QString, const Command*> commands;
  for (const Command& command : kCommands) commands.emplace(Plain(command.caption), &command);
  for (const CommandList& menu : kMenus) commands.emplace(Plain(menu.caption), nullptr);
  for (const HelpPage& page : kHelpPages) {
    for (const QString& caption : AllOf(HelpText(page.file), "<b>([^<]*)</b>")) {
      const auto found = commands.find(caption);
      ASSERT_NE(found, commands.end()) << page.file << " names " << caption.toStdString();
    }
  }
}

TEST(HelpPages, TheKeysAreThoseOfTheCommands) {
  std::map<QString, QString> keys;
  for (const Command& command : kCommands) keys.emplace(Plain(command.caption), Plain(command.shortcut));
  std::set<QString> listed;
  auto rows = QRegularExpression("<tr><td>([^<]*)</td><td><b>([^<]*)</b>").globalMatch(HelpText("keys"));
  while (rows.hasNext()) {
    const auto row = rows.next();
    EXPECT_EQ(keys[row.captured(2)], row.captured(1)) << row.captured(2).toStdString();
    listed.insert(row.captured(2));
  }
  for (const Command& command : kCommands) {
    if (command.shortcut.empty()) continue;
    EXPECT_TRUE(listed.count(Plain(command.caption))) << command.name;
  }
}

TEST_F(HelpTest, OpensOnTheFirstPageAndGoesWhereOneIsSent) {
  EXPECT_EQ(Shown(), "welcome.html");
  window.ShowPage("exceptions");
  EXPECT_EQ(Shown(), "exceptions.html");
  EXPECT_EQ(window.findChild<QListWidget*>("helpContents")->currentItem()->text(), "Exceptions");
  window.ShowPage("nothing");
  EXPECT_EQ(Shown(), "welcome.html");
}

TEST_F(HelpTest, LinksStayInsideOrOpenInTheBrowser) {
  Click("alerts.html");
  EXPECT_EQ(Shown(), "alerts.html");
  Click("https://www.my.example/a");
  Click("http://www.my.example/b");
  EXPECT_EQ(opened, (std::vector<QString>{"https://www.my.example/a", "http://www.my.example/b"}));
  for (const char* bad : {"file:///etc/passwd", "javascript:alert(1)", "mailto:a@b", "nothing.html",
                          "../icons/site.svg", "qrc:/vantry/icons/site.svg", "ftp://www.my.example/"}) {
    Click(bad);
  }
  EXPECT_EQ(opened.size(), 2u);
  EXPECT_EQ(Shown(), "alerts.html");
}

TEST_F(HelpTest, BackForwardAndHome) {
  auto* back = window.findChild<QAction*>("btnBack");
  auto* forward = window.findChild<QAction*>("btnForward");
  EXPECT_FALSE(back->isEnabled());
  Click("alerts.html");
  Click("spiders.html");
  back->trigger();
  EXPECT_EQ(Shown(), "alerts.html");
  forward->trigger();
  EXPECT_EQ(Shown(), "spiders.html");
  EXPECT_FALSE(forward->isEnabled());
  window.findChild<QAction*>("btnHome")->trigger();
  EXPECT_EQ(Shown(), "welcome.html");
  EXPECT_EQ(window.findChild<QListWidget*>("helpContents")->currentRow(), 0);
}

TEST_F(HelpTest, ChoosingInTheContentsShowsThePage) {
  auto* contents = window.findChild<QListWidget*>("helpContents");
  ASSERT_EQ(contents->count(), static_cast<int>(kHelpPages.size()));
  for (int i = 0; i < contents->count(); ++i) {
    contents->setCurrentRow(i);
    EXPECT_EQ(Shown(), QString(kHelpPages[static_cast<size_t>(i)].file) + ".html");
    EXPECT_EQ(text->documentTitle(), contents->item(i)->text());
  }
}

TEST_F(HelpTest, FindsRoundThePageInBothDirections) {
  window.ShowPage("glossary");
  auto* field = window.findChild<QLineEdit*>("txtFind");
  field->setText("page view");
  const auto press = [&](const char* name) { window.findChild<QAction*>(name)->trigger(); };
  press("helpFindNext");
  const int first = text->textCursor().selectionStart();
  EXPECT_EQ(text->textCursor().selectedText().toLower(), "page view");
  press("helpFindNext");
  EXPECT_EQ(text->textCursor().selectionStart(), first);  // There is one.
  press("helpFindPrevious");
  EXPECT_EQ(text->textCursor().selectionStart(), first);
  field->setText("no such words");
  press("helpFindNext");
  EXPECT_TRUE(window.findChild<QStatusBar*>("helpStatus")->currentMessage().contains("no such words"));
  EXPECT_EQ(text->textCursor().selectionStart(), first);
}

TEST_F(HelpTest, FollowsThePalette) {
  window.ShowPage("columns");
  const auto link_colour = [&] {
    for (QTextBlock block = text->document()->begin(); block.isValid(); block = block.next()) {
      for (auto part = block.begin(); !part.atEnd(); ++part) {
        if (part.fragment().charFormat().isAnchor()) return part.fragment().charFormat().foreground().color();
      }
    }
    return QColor();
  };
  for (const bool dark : {false, true}) {
    QApplication::setPalette(PicturePalette(dark));
    QApplication::processEvents();
    EXPECT_EQ(link_colour(), PicturePalette(dark).color(QPalette::Link));
  }
}

TEST_F(HelpTest, EveryWidgetHasANameForPeopleAndOneForPrograms) {
  for (const char* name : {"helpText", "helpContents", "txtFind", "helpBar"}) {
    auto* widget = window.findChild<QWidget*>(name);
    ASSERT_TRUE(widget) << name;
    EXPECT_FALSE(widget->accessibleName().isEmpty()) << name;
  }
}

const AboutFacts kFacts{"2.0.000", "2.0.0-0123456789abcdef", "/srv/vantry/<b>\x01/"};

TEST(AboutWindowTest, CopiesWhatAReportNeeds) {
  AboutWindow about(kFacts);
  about.findChild<QPushButton*>("btnCopy")->click();
  const QStringList lines = QApplication::clipboard()->text().split('\n');
  ASSERT_EQ(lines.size(), 5);
  EXPECT_EQ(lines[0], "Version: 2.0.000");
  EXPECT_EQ(lines[1], "Build: 2.0.0-0123456789abcdef");
  EXPECT_EQ(lines[2], QString("Qt: %1 (offscreen)").arg(qVersion()));
  EXPECT_TRUE(lines[3].startsWith("System: "));
  EXPECT_EQ(lines[4], QString("Folder: /srv/vantry/<b>") + QChar(QChar::ReplacementCharacter) + "/");
  EXPECT_EQ(about.findChild<QLabel*>("lblFacts")->text(), lines.join('\n'));
}

TEST(AboutWindowTest, ShowsPlainTextAndCloses) {
  AboutWindow about(kFacts);
  EXPECT_EQ(about.objectName(), "frmAbout");
  for (const QLabel* label : about.findChildren<QLabel*>()) EXPECT_EQ(label->textFormat(), Qt::PlainText);
  EXPECT_EQ(about.findChild<QLabel*>("lblTitle")->text(), "Vantry 2.0.000");
  about.show();
  about.findChild<QPushButton*>("btnClose")->click();
  EXPECT_FALSE(about.isVisible());
}

// To look at: VANTRY_PICTURES=FOLDER, and QT_SCALE_FACTOR=2 for a dense screen.
TEST_F(HelpTest, PicturesOfHelpAndAbout) {
  if (!PicturesWanted()) GTEST_SKIP() << "VANTRY_PICTURES is not set.";
  const QString scale = QString::number(window.devicePixelRatioF());
  for (const bool dark : {false, true}) {
    QApplication::setPalette(PicturePalette(dark));
    const QString theme = dark ? "dark" : "light";
    window.show();
    for (const HelpPage& page : kHelpPages) {
      window.ShowPage(page.file);
      QApplication::processEvents();
      SavePicture(window.grab().toImage(), QString("help-%1-%2-%3").arg(page.file, theme, scale));
    }
    AboutWindow about({"2.0.000", "2.0.0-0123456789abcdef", "/srv/vantry/"});
    about.show();
    QApplication::processEvents();
    SavePicture(about.grab().toImage(), QString("about-%1-%2").arg(theme, scale));
  }
}

}  // namespace
}  // namespace vantry
