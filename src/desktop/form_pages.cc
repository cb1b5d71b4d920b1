#include "desktop/form_pages.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QIntValidator>
#include <QLabel>
#include <QRadioButton>
#include <QStyledItemDelegate>
#include <QTabBar>
#include <QToolButton>
#include <algorithm>
#include <limits>

#include "desktop/shown_text.h"

namespace vantry {
namespace {

QString Caption(std::string_view text) {
  return QString::fromUtf8(text.data(), static_cast<qsizetype>(text.size()));
}

// Hides what is typed, with a button that shows it.
QToolButton* MakeShowButton(QLineEdit* text) {
  text->setEchoMode(QLineEdit::Password);
  auto* show = new QToolButton(text->parentWidget());
  show->setText("Show");
  show->setCheckable(true);
  show->setObjectName(text->objectName() + "Show");
  show->setAccessibleName("Show " + text->accessibleName());
  QObject::connect(show, &QToolButton::toggled, text,
                   [text](bool on) { text->setEchoMode(on ? QLineEdit::Normal : QLineEdit::Password); });
  return show;
}

// What is longer could not be shown again.
class BoundedCells final : public QStyledItemDelegate {
 public:
  using QStyledItemDelegate::QStyledItemDelegate;
  QWidget* createEditor(QWidget* parent, const QStyleOptionViewItem& option, const QModelIndex& at) const override {
    QWidget* editor = QStyledItemDelegate::createEditor(parent, option, at);
    if (auto* text = qobject_cast<QLineEdit*>(editor)) text->setMaxLength(static_cast<int>(kMostShownBytes));
    return editor;
  }
};

}  // namespace

QString PlainCaption(std::string_view caption) {
  QString text = Caption(caption);
  text.replace("&&", "\x01").remove('&').replace("\x01", "&");
  return text.endsWith(':') ? text.chopped(1).trimmed() : text;
}

void FormControl::Show(const FieldValue& value) {
  was = value;
  if (check) {
    check->setChecked(std::get<bool>(value));
  } else if (buttons) {
    if (QAbstractButton* button = buttons->button(std::get<int32_t>(value))) button->setChecked(true);
    shown = QString::number(buttons->checkedId());
  } else if (list) {
    list->setCurrentIndex(list->findData(std::get<int32_t>(value)));
    shown = QString::number(list->currentIndex());
  } else {
    const auto* number = std::get_if<int32_t>(&value);
    shown = number ? QString::number(*number) : ShownText(std::get<std::string>(value));
    text->setText(shown);
  }
}

FieldValue FormControl::Value() const {
  if (check) return check->isChecked();
  if (list) return QString::number(list->currentIndex()) == shown ? was : FieldValue(list->currentData().toInt());
  if (buttons) return QString::number(buttons->checkedId()) == shown ? was : FieldValue(buttons->checkedId());
  if (text->text() == shown) return was;
  if (look.kind == FieldKind::kNumber) return static_cast<int32_t>(text->text().toInt());
  return text->text().toStdString();
}

bool FormControl::IsOn() const {
  return check ? check->isChecked() : buttons->checkedId() > 0;
}

void FormControl::OnChange(QObject* receiver, const std::function<void()>& changed) {
  if (check) QObject::connect(check, &QCheckBox::toggled, receiver, changed);
  if (buttons) QObject::connect(buttons, &QButtonGroup::idToggled, receiver, changed);
  if (text) QObject::connect(text, &QLineEdit::textChanged, receiver, changed);
  if (list) QObject::connect(list, &QComboBox::currentIndexChanged, receiver, changed);
}

FormPages::FormPages(QWidget* parent) : QTabWidget(parent) {
  setObjectName("SSActiveTabs1");
  setUsesScrollButtons(true);
}

QWidget* FormPages::Page(std::string_view title) {
  for (int i = 0; i < count(); ++i) {
    if (tabText(i) == Caption(title)) return widget(i);
  }
  auto* page = new QWidget(this);
  page->setAccessibleName(Caption(title));
  new QVBoxLayout(page);
  addTab(page, Caption(title));
  return page;
}

QVBoxLayout* FormPages::ColumnOf(std::string_view title) {
  return static_cast<QVBoxLayout*>(Page(title)->layout());
}

void FormPages::Finish() {
  for (int i = 0; i < count(); ++i) {
    auto* column = static_cast<QVBoxLayout*>(widget(i)->layout());
    bool is_full = false;  // A list takes what is left.
    for (int row = 0; row < column->count(); ++row) is_full = is_full || column->stretch(row) > 0;
    if (!is_full) column->addStretch(1);
  }
  if (!tabBar()->isHidden()) setMinimumWidth(tabBar()->sizeHint().width() + 2 * fontMetrics().height());
}

QPushButton* AddButtonBeside(FormControl& control, const char* name, const QString& caption) {
  auto* button = new QPushButton(caption, control.row);
  button->setObjectName(name);
  button->setAccessibleName(PlainCaption(caption.toStdString()) + " " + control.input->accessibleName());
  button->setAutoDefault(false);
  control.line->addWidget(button);
  return button;
}

QTableWidget* MakeFormTable(const char* name, const QString& caption, const QStringList& headings, QWidget* parent) {
  auto* table = new QTableWidget(0, static_cast<int>(headings.size()), parent);
  table->setObjectName(name);
  table->setAccessibleName(caption);
  table->setHorizontalHeaderLabels(headings);
  table->verticalHeader()->hide();
  table->verticalHeader()->setDefaultSectionSize(table->fontMetrics().height() + 8);
  table->horizontalHeader()->setStretchLastSection(true);
  table->horizontalHeader()->setHighlightSections(false);
  table->setSelectionMode(QAbstractItemView::SingleSelection);
  table->setTabKeyNavigation(false);
  table->setItemDelegate(new BoundedCells(table));
  return table;
}

std::vector<std::string> ColumnTexts(const QTableWidget& table, int column) {
  std::vector<std::string> texts;
  texts.reserve(static_cast<size_t>(table.rowCount()));
  for (int row = 0; row < table.rowCount(); ++row) texts.push_back(table.item(row, column)->text().toStdString());
  return texts;
}

QTableWidgetItem* FixedItem(const QString& text, Qt::Alignment align) {
  auto* item = new QTableWidgetItem(text);
  item->setFlags(item->flags() & ~Qt::ItemIsEditable);
  item->setTextAlignment(align | Qt::AlignVCenter);
  return item;
}

QWidget* FormPages::MakeText(const FieldLook& look, FormControl& control, QWidget* parent) {
  control.text = new QLineEdit(parent);
  if (look.kind == FieldKind::kNumber) {
    control.text->setValidator(new QIntValidator(0, std::numeric_limits<int32_t>::max(), control.text));
    control.text->setMaximumWidth(control.text->fontMetrics().averageCharWidth() * 14);
    control.text->setAlignment(Qt::AlignRight);
  } else {
    control.text->setMaxLength(static_cast<int>(kMostShownBytes));  // What is longer could not be shown again.
  }
  return control.text;
}

QWidget* FormPages::MakeList(const FieldLook& look, FormControl& control, QWidget* parent) {
  control.list = new QComboBox(parent);
  for (const Choice& choice : look.choices) control.list->addItem(Caption(choice.text), choice.value);
  control.list->setSizePolicy(QSizePolicy::Maximum, QSizePolicy::Fixed);
  return control.list;
}

void FormPages::MakeButtons(const FieldLook& look, FormControl& control, QVBoxLayout* column) {
  control.buttons = new QButtonGroup(control.row);
  for (const Choice& choice : look.choices) {
    auto* button = new QRadioButton(Caption(choice.text), control.row);
    button->setObjectName(Caption(look.control) + QString::number(choice.value));
    button->setAccessibleName(PlainCaption(choice.text));
    control.buttons->addButton(button, choice.value);
    column->addWidget(button);
    if (!control.input) control.input = button;
  }
}

void FormPages::Add(const FieldLook& look) {
  QWidget* page = Page(look.page);
  auto* row = new QWidget(page);
  auto* column = new QVBoxLayout(row);
  column->setContentsMargins(0, 0, 0, 0);
  column->setSpacing(2);
  ColumnOf(look.page)->addWidget(row);
  if (look.kind == FieldKind::kNote) {
    auto* note = PlainLabel("", Caption(look.caption), row);
    note->setWordWrap(true);
    return column->addWidget(note);
  }
  FormControl& control = controls_.emplace_back();
  control.look = look;
  control.row = row;
  if (look.kind == FieldKind::kRadio) return MakeButtons(look, control, column);
  if (look.kind == FieldKind::kCheck) {
    control.input = control.check = new QCheckBox(Caption(look.caption), row);
    column->addWidget(control.check);
  } else {
    auto* label = new QLabel(Caption(look.caption), row);
    label->setWordWrap(true);
    column->addWidget(label);
    control.input = look.kind == FieldKind::kChoice ? MakeList(look, control, row) : MakeText(look, control, row);
    label->setBuddy(control.input);
  }
  control.input->setObjectName(Caption(look.control));
  control.input->setAccessibleName(PlainCaption(look.caption));
  if (control.check) return;
  auto* line = control.line = new QHBoxLayout;
  line->addWidget(control.input);
  if (look.kind == FieldKind::kPassword) line->addWidget(MakeShowButton(control.text));
  if (!look.unit.empty()) line->addWidget(PlainLabel("", Caption(look.unit), row));
  if (!control.text || look.kind == FieldKind::kNumber) line->addStretch(1);
  column->addLayout(line);
}

FormControl& FormPages::Find(std::string_view control) {
  return *std::find_if(controls_.begin(), controls_.end(),
                       [&](const FormControl& c) { return c.look.control == control; });
}

void FormPages::GoTo(std::string_view control) {
  // Also a table or list, which stand beside the rows.
  auto* input = findChild<QWidget*>(Caption(control));
  if (!input) input = Find(control).input;
  for (int i = 0; i < count(); ++i) {
    if (widget(i)->isAncestorOf(input)) setCurrentIndex(i);
  }
  input->setFocus(Qt::OtherFocusReason);
  if (auto* text = qobject_cast<QLineEdit*>(input)) text->selectAll();
}

}  // namespace vantry
