#include "desktop/site_wizard.h"

#include <QHBoxLayout>
#include <QTabBar>
#include <QTextCursor>
#include <utility>

#include "core/text.h"
#include "desktop/shown_text.h"
#include "forms/log_look.h"
#include "forms/new_site.h"

namespace vantry {
namespace {

constexpr const char* kRemoteControls[] = {"txtFTPDomain", "txtFTPUser", "txtFTPPw", "txtFTPPath"};

}  // namespace

SiteWizard::SiteWizard(const WindowParts& parts, Prompts& prompts, ShowHelp help, QWidget* parent)
    : FormDialog("frmWizard", parts.t, prompts, std::move(help), parent),
      parts_(parts),
      looker_(parts_.files, parts_.clock, [this](const SiteRec& site, const LogLook* look) { ShowLook(site, look); }) {
  setWindowTitle("New Site");
  heading_ = PlainLabel("lblHeading", "", this);
  QFont font = heading_->font();
  font.setBold(true);
  font.setPointSizeF(font.pointSizeF() * 1.3);
  heading_->setFont(font);
  static_cast<QVBoxLayout*>(layout())->insertWidget(0, heading_);
  pages_->setObjectName("SSTabs");
  pages_->tabBar()->hide();
  for (const std::string_view title : kNewSiteHeadings) pages_->Page(title);
  pages_->AddFields(kNewSiteFields);
  QPushButton* pick = AddButtonBeside(pages_->Find("txtLoc"), "btnPick", "&Browse...");
  Picks(pick, [this] { PickFolder(); });
  MakeLook();
  MakeFtpPage();
  MakeButtons();
  pages_->Finish();
  pages_->setMinimumSize(fontMetrics().averageCharWidth() * 76, fontMetrics().lineSpacing() * 20);
  SiteRec draft = NewSiteDraft();
  pages_->Show(kNewSiteFields, draft);
  // A choice overwrites the mask, which can be edited afterwards.
  pages_->Find("optType").OnChange(this, [this] {
    const int type = pages_->Find("optType").buttons->checkedId();
    for (const NewSiteType& row : kNewSiteTypes) {
      if (static_cast<int>(row.type) == type) {
        pages_->Find("txtMask").text->setText(QString::fromStdString(std::string(row.mask)));
      }
    }
  });
  pages_->Find("optAccess").OnChange(this, [this] { ShowWhatApplies(); });
  // What was tested is another place now.
  for (const char* control : kRemoteControls) {
    pages_->Find(control).OnChange(this, [this] { ftp_passed_ = false; });
  }
  ShowWhatApplies();
  ShowPage(0);
}

// What the folder holds, so that a wrong mask or type is seen here.
void SiteWizard::MakeLook() {
  look_ = new QPlainTextEdit(pages_);
  look_->setObjectName("lstLogs");
  look_->setAccessibleName("Log files in this folder");
  look_->setReadOnly(true);
  look_->setTabChangesFocus(true);
  pages_->ColumnOf(kNewSiteHeadings[kLocationPage])->addWidget(look_, 1);
  look_timer_.setSingleShot(true);
  look_timer_.setInterval(kLookMs);
  QObject::connect(&look_timer_, &QTimer::timeout, this, [this] { LookAtFolder(); });
  pages_->Find("txtLoc").OnChange(this, [this] { look_timer_.start(); });
}

void SiteWizard::LookAtFolder() {
  look_timer_.stop();
  look_->clear();
  seen_.Folder.clear();
  const SiteRec draft = Draft();
  if (draft.FTP || Trim(draft.Folder).empty()) return looker_.Stop();
  looker_.Start(draft);
}

void SiteWizard::ShowLook(const SiteRec& draft, const LogLook* look) {
  if (!look) return look_->setPlainText("Looking...");
  look_->clear();
  if (look->fitting > 0) seen_ = draft;
  LogLook seen = *look;
  LookInside(draft, parts_.files, t_.Corrected.NcsaFields, seen);
  for (const std::string& line : DescribeLook(seen, draft)) look_->appendPlainText(ShownText(line));
  look_->moveCursor(QTextCursor::Start);
}

void SiteWizard::MakeFtpPage() {
  QVBoxLayout* column = pages_->ColumnOf(kNewSiteHeadings[kFtpTestPage]);
  ftp_result_ = PlainLabel("lblFTPTest", "", pages_);
  ftp_result_->setWordWrap(true);
  column->addWidget(ftp_result_);
  ftp_list_ = new QPlainTextEdit(pages_);
  ftp_list_->setObjectName("ftpList");
  ftp_list_->setAccessibleName("Dialogue with the FTP server");
  ftp_list_->setReadOnly(true);
  ftp_list_->setTabChangesFocus(true);
  ftp_list_->setMaximumBlockCount(2'000);  // A folder may hold a hundred thousand files.
  column->addWidget(ftp_list_, 1);
}

void SiteWizard::MakeButtons() {
  auto* line = new QHBoxLayout;
  const auto add = [&](const char* name, const QString& caption, std::function<void()> run) {
    auto* button = new QPushButton(caption, this);
    button->setObjectName(name);
    button->setAutoDefault(false);
    QObject::connect(button, &QPushButton::clicked, this, std::move(run));
    line->addWidget(button);
    return button;
  };
  add("btnHelp", "&Help", [this] { Help()("new-site"); });
  web_help_ = add("btnHelpWeb", "Learn More About Web Access", [this] { Help()("web"); });
  line->addStretch(1);
  previous_ = add("btnPrev", "Back", [this] { Back(); });
  next_ = add("btnNext", "Next", [this] { Next(); });
  next_->setDefault(true);
  add("btnCancel", "Cancel", [this] { reject(); });
  static_cast<QVBoxLayout*>(layout())->addLayout(line);
}

void SiteWizard::ShowPage(int page) {
  pages_->setCurrentIndex(page);
  const std::string_view heading = kNewSiteHeadings[static_cast<size_t>(page)];
  heading_->setText(QString::fromUtf8(heading.data(), static_cast<qsizetype>(heading.size())));
  previous_->setEnabled(page > 0);
  next_->setText(page == kDonePage ? "Finish" : "Next");
  web_help_->setVisible(page == kWebPage);
  if (page == kLocationPage) LookAtFolder();
  if (page == kFtpTestPage && !ftp_passed_) {
    ftp_result_->setText("The FTP connection will now be tested. Click the Next button to begin.");
  }
}

void SiteWizard::ShowWhatApplies() {
  const bool ftp = pages_->Find("optAccess").IsOn();
  pages_->Find("txtLoc").row->setVisible(!ftp);
  look_->setVisible(!ftp);
  for (const char* control : kRemoteControls) pages_->Find(control).row->setVisible(ftp);
}

SiteRec SiteWizard::Draft() {
  SiteRec draft = NewSiteDraft();
  pages_->Read(kNewSiteFields, draft);
  draft.FTPPassive = ftp_passive_;
  return draft;
}

bool SiteWizard::TestFolder() {
  std::string warning;
  const SiteRec draft = Draft();
  const bool has_files = seen_.Folder == draft.Folder && seen_.Mask == draft.Mask;
  if (const auto problem = CheckNewFolder(draft, has_files, parts_.files, warning)) {
    (void)Refused(*problem);
    return false;
  }
  if (!warning.empty()) prompts_.Tell(this, BoxKind::kWarning, ShownLines(warning));
  return true;
}

void SiteWizard::Next() {
  parts_.log.Guard("frmWizard.btnNext", [this] {
    const int page = pages_->currentIndex();
    const bool ftp = Draft().FTP;
    if (page == kLocationPage && !ftp) {
      if (TestFolder()) ShowPage(kWebPage);
    } else if (page == kLocationPage) {
      ftp_list_->clear();
      ShowPage(kFtpTestPage);
    } else if (page == kFtpTestPage && !ftp_passed_) {
      TestFtp();
    } else if (page == kDonePage) {
      WhenQuiet([this] { Confirm(); });
    } else {
      ShowPage(page + 1);
    }
    return Status::Ok();
  });
}

void SiteWizard::Back() {
  const int page = pages_->currentIndex();
  ftp_test_.reset();
  next_->setEnabled(true);
  ShowPage(page == kWebPage && !Draft().FTP ? kLocationPage : page - 1);
}

void SiteWizard::TestFtp() {
  const SiteRec draft = Draft();
  if (draft.FTPDomain.empty()) {
    prompts_.Tell(this, BoxKind::kInformation, "You must specify an FTP location, such as ftp.example.com");
    return ShowPage(kLocationPage);
  }
  next_->setEnabled(false);
  ftp_list_->clear();
  FtpTestEvents events;
  events.line = [this](std::string_view line) { ftp_list_->appendPlainText(ShownText(line)); };
  events.first_failed = [this] { ftp_result_->setText("First Test Failed.. Now Trying Passive Mode."); };
  events.done = [this](bool passed, bool passive, bool found) { FtpTested(passed, passive, found); };
  ftp_test_ = std::make_unique<FtpTest>(parts_.ftp, draft, std::move(events));
  ftp_test_->Start();
}

void SiteWizard::FtpTested(bool passed, bool passive, bool found) {
  ftp_passed_ = passed;
  ftp_passive_ = passed && passive;
  if (!passed) {
    // The way on leads back.
    return ftp_result_->setText("Test Failed. Click Back and check your connection settings.");
  }
  next_->setEnabled(true);
  ftp_result_->setText("Test Successful. Click Next to continue.");
  if (found) return;
  const std::string mask = Draft().Mask;
  TellLater(BoxKind::kWarning,
            "WARNING! \r\nThere does appear to be any files with a " + mask +
                " mask in this FTP location. Use the Site Properties to edit the File Mask used for your log files.");
}

// On the last page: validate and save.
void SiteWizard::Confirm() {
  parts_.log.Guard("frmWizard.SaveLogFile", [this] {
    const SiteRec draft = Draft();
    if (const auto problem = CheckNewSite(draft, t_)) {
      (void)Refused(*problem);
      ShowPage(pages_->currentIndex());
      return Status::Ok();
    }
    t_.CurrentView = AddNewSite(draft, parts_.clock.Now(), t_);
    parts_.engine.SettingsChanged();
    parts_.engine.SaveSites();
    accept();
    return Status::Ok();
  });
}

void SiteWizard::PickFolder() {
  parts_.log.Guard("frmWizard.btnPick", [this] {
    QLineEdit* text = pages_->Find("txtLoc").text;
    const QString file =
        prompts_.FileToOpen(this, "Select Log File Folder", text->text(), "Log Files (*.log);;All Files (*)");
    const qsizetype end = file.lastIndexOf('/');
    if (end >= 0) text->setText(file.left(end + 1));
    return Status::Ok();
  });
}

}  // namespace vantry
