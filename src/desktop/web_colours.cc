#include "desktop/web_colours.h"

#include <QColor>
#include <utility>

#include "desktop/shown_text.h"
#include "forms/settings_form.h"

namespace vantry {

WebColours::WebColours(LiveTables& t, Prompts& prompts, const Settings& settings,
                       std::function<void(const Settings&)> store, FormDialog* parent)
    : FormDialog("frmWebColours", t, prompts, parent->Help(), parent), settings_(settings), store_(std::move(store)) {
  help_page_ = "web";
  setWindowTitle("Web Access Colours");
  pages_->AddFields(kWebColours);
  for (const FormField<Settings>& field : kWebColours) AddPicker(pages_->Find(field.look.control));
  pages_->Show(kWebColours, settings_);
  AddButtons();
}

// A button in the colour that is written beside it.
void WebColours::AddPicker(FormControl& control) {
  const std::string name = "btn" + control.text->objectName().toStdString();
  QPushButton* pick = AddButtonBeside(control, name.c_str(), "Pick...");
  QLineEdit* text = control.text;
  QObject::connect(text, &QLineEdit::textChanged, pick, [pick, text] {
    QPixmap swatch(pick->iconSize());
    const QColor color(text->text());
    swatch.fill(color.isValid() ? color : QColor(Qt::transparent));
    pick->setIcon(swatch);
  });
  Picks(pick, [this, text] {
    const QColor color = prompts_.Color(this, "Select Color", QColor(text->text()));
    if (color.isValid()) text->setText(color.name().toUpper());
  });
}

void WebColours::Confirm() {
  pages_->Read(kWebColours, settings_);
  store_(settings_);
  accept();
}

}  // namespace vantry
