#include "desktop/who_is_window.h"

#include <QTimer>

#include "desktop/shown_text.h"

namespace vantry {

WhoIsWindow::WhoIsWindow(const WindowParts& parts, const std::string& subject, const ShowHelp& help, QWidget* parent)
    : ToolWindow("frmWhoIs", parts, subject, parent),
      fields_(new QFormLayout),
      run_(parts.who_is, ReadWhoIsServers(parts.registry), subject,
           {[this](const std::string& text) { Say(text); },
            [this](const std::string& text, const std::vector<WhoIsField>& fields) { ShowAnswer(text, fields); },
            [this] { ShowWhatApplies(); }}) {
  setWindowTitle("Who Is: " + ShownText(subject));
  AddDns();
  column_->addLayout(fields_);
  text_ = AddText("txtWhois", "Answer");
  AddStatus("", help);
  cancel_ = NewButton("btnCancel", "Cancel");
  static_cast<QHBoxLayout*>(column_->itemAt(column_->count() - 1)->layout())
      ->insertWidget(1, cancel_, 0, Qt::AlignBottom);
  QObject::connect(cancel_, &QPushButton::clicked, this, [this] {
    run_.Stop();
    Say("Stopped.");
    ShowWhatApplies();
  });
  parts_.log.Guard("frmWhoIs.Internic", [this] {
    run_.Start();
    return Status::Ok();
  });
  ShowWhatApplies();
}

void WhoIsWindow::ShowAnswer(const std::string& text, const std::vector<WhoIsField>& fields) {
  while (fields_->rowCount() > 0) fields_->removeRow(0);
  for (const WhoIsField& field : fields) {
    const std::string caption(field.caption);
    QLabel* value = PlainLabel(("lbl" + caption.substr(0, caption.find(' '))).c_str(), ShownText(field.value), this);
    value->setAccessibleName(ShownText(caption) + " " + value->text());
    value->setTextInteractionFlags(Qt::TextSelectableByMouse);
    value->setWordWrap(true);
    fields_->addRow(PlainLabel("", ShownText(caption) + ":", this), value);
  }
  text_->setPlainText(ShownReport(text));
}

void WhoIsWindow::ShowWhatApplies() {
  cancel_->setEnabled(run_.IsRunning());
}

}  // namespace vantry
