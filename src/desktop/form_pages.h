// The pages of a dialog, built from the rows that say what it edits.
#pragma once

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QHBoxLayout>
#include <QLineEdit>
#include <QPushButton>
#include <QString>
#include <QTabWidget>
#include <QTableWidget>
#include <QVBoxLayout>
#include <QWidget>
#include <deque>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "forms/form_field.h"

namespace vantry {

// A control and what stands around it. One that nobody touches leaves its field as it was, even when the control can't
// show what stands there.
struct FormControl {
  FieldLook look;
  QWidget* row = nullptr;       // Caption, control and unit.
  QHBoxLayout* line = nullptr;  // The control and what stands beside it; not of boxes and radio buttons.
  QWidget* input = nullptr;     // One of the next three, or the first of the buttons.
  QLineEdit* text = nullptr;
  QCheckBox* check = nullptr;
  QComboBox* list = nullptr;
  QButtonGroup* buttons = nullptr;  // By the values they stand for.
  QString shown;                    // What the control showed at first; of a list the place as a number.
  FieldValue was;                   // What that stood for.

  void Show(const FieldValue& value);
  // Shows no text for what Show was given.
  void ShowNothing() { text->setText(shown = QString()); }
  FieldValue Value() const;
  // Somebody has given it another value than it was shown with.
  bool Changed() const { return Value() != was; }
  // A box is checked, or a button other than the first is.
  bool IsOn() const;
  void OnChange(QObject* receiver, const std::function<void()>& changed);
};

class FormPages final : public QTabWidget {
 public:
  explicit FormPages(QWidget* parent = nullptr);

  // Adds a control, or a note, at the end of its page.
  void Add(const FieldLook& look);
  // The page with this title, made if there is none; and the column of its rows, to add other things to.
  QWidget* Page(std::string_view title);
  QVBoxLayout* ColumnOf(std::string_view title);
  // Fills up the pages' ends, once all rows are there.
  void Finish();

  // Of a control that was added.
  FormControl& Find(std::string_view control);
  // Shows the page of this control and puts the focus into it.
  void GoTo(std::string_view control);

  template <class Rec>
  void AddFields(std::span<const FormField<Rec>> fields) {
    for (const FormField<Rec>& field : fields) Add(field.look);
  }
  template <class Rec>
  void Show(std::span<const FormField<Rec>> fields, const Rec& record) {
    for (const FormField<Rec>& field : fields) {
      if (field.get) Find(field.look.control).Show(field.get(record));
    }
  }
  // Writes what the controls hold into the record.
  template <class Rec>
  void Read(std::span<const FormField<Rec>> fields, Rec& record) {
    for (const FormField<Rec>& field : fields) {
      if (field.set) field.set(record, Find(field.look.control).Value());
    }
  }
  // The same for those alone that somebody has changed: the record may have become another one since it was shown.
  template <class Rec>
  void ReadChanges(std::span<const FormField<Rec>> fields, Rec& record) {
    for (const FormField<Rec>& field : fields) {
      if (field.set && Find(field.look.control).Changed()) field.set(record, Find(field.look.control).Value());
    }
  }

 private:
  QWidget* MakeText(const FieldLook& look, FormControl& control, QWidget* parent);
  QWidget* MakeList(const FieldLook& look, FormControl& control, QWidget* parent);
  void MakeButtons(const FieldLook& look, FormControl& control, QVBoxLayout* column);
  std::deque<FormControl> controls_;
};

// A button beside a control, such as one that picks a file for it.
QPushButton* AddButtonBeside(FormControl& control, const char* name, const QString& caption);

// A table of a dialog, one row chosen at a time. Tab leaves it.
QTableWidget* MakeFormTable(const char* name, const QString& caption, const QStringList& headings, QWidget* parent);
// What stands in a column, row by row.
std::vector<std::string> ColumnTexts(const QTableWidget& table, int column);
// A cell that can't be edited.
QTableWidgetItem* FixedItem(const QString& text, Qt::Alignment align = Qt::AlignLeft);

// The caption without its mnemonic, as a screen reader says it.
QString PlainCaption(std::string_view caption);

}  // namespace vantry
