#include "desktop/known_visitor_window.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QTabBar>
#include <utility>

#include "core/text.h"
#include "desktop/shown_text.h"
#include "forms/visitor_form.h"

namespace vantry {

KnownVisitorWindow::KnownVisitorWindow(const WindowParts& parts, Prompts& prompts, const std::string& subject,
                                       ShowHelp help, QWidget* parent)
    : FormDialog("frmKnownVisitor", parts.t, prompts, std::move(help), parent),
      parts_(parts),
      subject_(ReadSubject(subject)) {
  help_page_ = "window";
  setWindowTitle("Known Visitor");
  pages_->tabBar()->hide();
  AddLine("lblIP", "IP Address:", subject_.host);
  AddLine("lblDNS", "DNS:", parts_.engine.LookupDNS(subject_.host));
  pages_->AddFields(kKnownVisitorFields);
  pages_->Show(kKnownVisitorFields, KnownVisitorForm{parts_.engine.GetFriendlyName(subject_.host)});
  pages_->Find("txtName").text->setMaxLength(kFriendlyNameLength);
  AddButtons();
  pages_->GoTo("txtName");
}

void KnownVisitorWindow::AddLine(const char* name, const QString& caption, const std::string& text) {
  auto* line = new QHBoxLayout;
  line->addWidget(PlainLabel((std::string(name) + "Caption").c_str(), caption, pages_));
  QLabel* label = PlainLabel(name, ShownText(text), pages_);
  label->setAccessibleName(caption.chopped(1) + " " + label->text());
  label->setTextInteractionFlags(Qt::TextSelectableByMouse);
  line->addWidget(label, 1);
  pages_->ColumnOf("Visitor")->addLayout(line);
}

void KnownVisitorWindow::Confirm() {
  parts_.log.Guard("frmKnownVisitor.btnOK_Click", [this] {
    KnownVisitorForm form;
    pages_->Read(kKnownVisitorFields, form);
    const std::string name(Trim(form.name));
    if (subject_.site >= 1 && subject_.site <= t_.SiteCount()) {
      parts_.engine.ChangeFriendlyName(subject_.host, t_.Site(subject_.site).Name, name);
      ShowFriendlyName(t_, subject_.site, subject_.host, name);
    }
    accept();
    return Status::Ok();
  });
}

}  // namespace vantry
