// `frmEmailView`: mails the list that the window shows.
#pragma once

#include <QComboBox>
#include <QDialog>
#include <QPushButton>
#include <memory>
#include <string>

#include "desktop/desktop_module.h"
#include "desktop/message_box.h"
#include "notify/mailed_views.h"
#include "notify/report_grid.h"

namespace vantry {

// The list to be mailed.
struct MailedList {
  MailedView view;    // One of kMailedViews.
  std::string title;  // Of the list, in place of the view's; empty if that is to stand.
  std::function<std::unique_ptr<ReportGrid>()> grid;
  std::string summary;  // What stands above the list.
};

class EmailView final : public QDialog {
 public:
  // `site`: the one whose address comes first; may be null.
  EmailView(const WindowParts& parts, Prompts& prompts, MailedList list, const SiteRec* site, QWidget* parent);

 private:
  void Send();
  WindowParts parts_;
  Prompts& prompts_;
  MailedList list_;
  QComboBox* address_;
  QPushButton* send_;
};

}  // namespace vantry
