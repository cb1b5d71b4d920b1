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

class EmailView final : public QDialog {
 public:
  // `view` as in kMailedViews. `summary` is what stands above the list.
  EmailView(const WindowParts& parts, Prompts& prompts, int view, const SiteRec* site,
            std::function<std::unique_ptr<ReportGrid>()> grid, std::string summary, QWidget* parent);

 private:
  void Send();
  WindowParts parts_;
  Prompts& prompts_;
  const MailedView& view_;
  std::function<std::unique_ptr<ReportGrid>()> grid_;
  std::string summary_;
  QComboBox* address_;
  QPushButton* send_;
};

}  // namespace vantry
