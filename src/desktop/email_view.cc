#include "desktop/email_view.h"

#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QVBoxLayout>
#include <utility>

#include "desktop/shown_text.h"
#include "notify/grid_to_html.h"

namespace vantry {

EmailView::EmailView(const WindowParts& parts, Prompts& prompts, MailedList list, const SiteRec* site, QWidget* parent)
    : QDialog(parent), parts_(parts), prompts_(prompts), list_(std::move(list)) {
  setObjectName("frmEmailView");
  setWindowTitle(ShownText(list_.view.caption.empty() ? list_.title : list_.view.caption));
  auto* column = new QVBoxLayout(this);
  auto* form = new QFormLayout;
  address_ = new QComboBox(this);
  address_->setObjectName("cmboEmail");
  address_->setEditable(true);
  address_->setMinimumContentsLength(40);
  for (const std::string& address : KnownAddresses(parts_.settings, site, parts_.registry)) {
    address_->addItem(ShownText(address));
  }
  auto* label = new QLabel("&Send to:", this);
  label->setBuddy(address_);
  form->addRow(label, address_);
  column->addLayout(form);
  auto* buttons = new QDialogButtonBox(QDialogButtonBox::Cancel, this);
  send_ = buttons->addButton("&Send", QDialogButtonBox::AcceptRole);
  send_->setObjectName("btnSend");
  send_->setDefault(true);
  column->addWidget(buttons);
  const auto enable = [this] { send_->setEnabled(!address_->currentText().trimmed().isEmpty()); };
  QObject::connect(address_, &QComboBox::editTextChanged, this, enable);
  QObject::connect(buttons, &QDialogButtonBox::accepted, this, [this] { Send(); });
  QObject::connect(buttons, &QDialogButtonBox::rejected, this, &QDialog::reject);
  enable();
}

void EmailView::Send() {
  if (parts_.settings.EmailServer.empty()) {
    return prompts_.Tell(this, BoxKind::kWarning, "No mail server has been specified so email cannot be sent.");
  }
  const QString text = address_->currentText().trimmed();
  if (address_->findText(text, Qt::MatchExactly) < 0) address_->addItem(text);
  const std::string address = text.toStdString();
  RememberAddress(address, parts_.registry);
  const bool sent = parts_.log.Guard("frmEmailView.btnSend_Click", [&] {
    const std::unique_ptr<ReportGrid> grid = list_.grid();
    const std::string title = EscapeHTML(list_.title);
    MailedView view = list_.view;
    if (!title.empty()) view.title = title;
    return SendView({parts_.app_path, parts_.files, parts_.mail}, view, *grid, list_.summary, address);
  });
  if (!sent) {
    prompts_.Tell(this, BoxKind::kWarning,
                  "The view could not be written to " + ShownText(parts_.app_path + std::string(list_.view.file)) +
                      ". See the program log.");
    return;
  }
  accept();
}

}  // namespace vantry
