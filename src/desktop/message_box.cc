#include "desktop/message_box.h"

#include <QColorDialog>
#include <QDesktopServices>
#include <QFileDialog>
#include <algorithm>
#include <utility>

namespace vantry {
namespace {

QMessageBox::Icon IconOf(BoxKind kind) {
  switch (kind) {
    case BoxKind::kInformation:
      return QMessageBox::Information;
    case BoxKind::kWarning:
      return QMessageBox::Warning;
    default:
      return QMessageBox::Critical;
  }
}

void MakeQuestion(QMessageBox& box, const QString& text, QMessageBox::StandardButtons buttons,
                  QMessageBox::StandardButton otherwise) {
  box.setIcon(QMessageBox::Question);
  box.setWindowTitle("Vantry");
  box.setObjectName("question");
  box.setTextFormat(Qt::PlainText);
  box.setText(text);
  box.setStandardButtons(buttons);
  box.setDefaultButton(otherwise);
}

}  // namespace

void MessageQueue::Add(BoxKind kind, const QString& text) {
  if (box_ && shown_ == text) return;
  const std::pair<BoxKind, QString> message(kind, text);
  if (std::find(waiting_.begin(), waiting_.end(), message) != waiting_.end()) return;
  waiting_.push_back(message);
  if (waiting_.size() > kMost) waiting_.pop_front();
  if (!box_) ShowNext();
}

void MessageQueue::ShowNext() {
  if (waiting_.empty()) return;
  const auto [kind, text] = waiting_.front();
  waiting_.pop_front();
  shown_ = text;
  box_ = new QMessageBox(IconOf(kind), "Vantry", {}, QMessageBox::Ok, parent_);
  box_->setTextFormat(Qt::PlainText);
  box_->setText(text);
  box_->setObjectName("messageBox");
  box_->setAttribute(Qt::WA_DeleteOnClose);
  box_->setModal(false);
  QObject::connect(box_, &QMessageBox::finished, parent_, [this] {
    box_ = nullptr;
    ShowNext();
  });
  box_->show();
}

void RealPrompts::Tell(QWidget* parent, BoxKind kind, const QString& text) {
  auto* box = new QMessageBox(IconOf(kind), "Vantry", {}, QMessageBox::Ok, parent);
  box->setAttribute(Qt::WA_DeleteOnClose);
  box->setObjectName("messageBox");
  box->setTextFormat(Qt::PlainText);
  box->setText(text);
  if (parent) return box->open();
  box->exec();
}

QMessageBox::StandardButton RealPrompts::Ask(QWidget* parent, const QString& text, QMessageBox::StandardButtons buttons,
                                             QMessageBox::StandardButton otherwise) {
  QMessageBox box(parent);
  MakeQuestion(box, text, buttons, otherwise);
  return static_cast<QMessageBox::StandardButton>(box.exec());
}

void RealPrompts::Confirm(QWidget* parent, const QString& text, QMessageBox::StandardButtons buttons,
                          std::function<void()> yes) {
  Choose(parent, text, buttons, [yes = std::move(yes)](QMessageBox::StandardButton button) {
    if (button == QMessageBox::Yes) yes();
  });
}

void RealPrompts::Choose(QWidget* parent, const QString& text, QMessageBox::StandardButtons buttons,
                         std::function<void(QMessageBox::StandardButton)> answer) {
  for (QMessageBox* open : parent->findChildren<QMessageBox*>("question")) {
    if (open->text() == text) return open->raise();
  }
  auto* box = new QMessageBox(parent);
  MakeQuestion(*box, text, buttons, QMessageBox::No);
  box->setAttribute(Qt::WA_DeleteOnClose);
  QObject::connect(box, &QDialog::finished, parent, [answer = std::move(answer)](int button) {
    answer(static_cast<QMessageBox::StandardButton>(button));
  });
  box->open();
}

void RealPrompts::FileToSave(QWidget* parent, const QString& title, const QString& name, const QString& filter,
                             std::function<void(const QString& path)> save) {
  auto* dialog = new QFileDialog(parent, title, name, filter);
  dialog->setObjectName("fileToSave");
  dialog->setAcceptMode(QFileDialog::AcceptSave);
  dialog->selectFile(name);
  dialog->setAttribute(Qt::WA_DeleteOnClose);
  QObject::connect(dialog, &QFileDialog::fileSelected, parent, save);
  dialog->open();
}

QString RealPrompts::FileToOpen(QWidget* parent, const QString& title, const QString& at, const QString& filter) {
  return QFileDialog::getOpenFileName(parent, title, at, filter);
}

QColor RealPrompts::Color(QWidget* parent, const QString& title, const QColor& now) {
  return QColorDialog::getColor(now, parent, title);
}

void RealPrompts::OpenInBrowser(const QUrl& url) {
  QDesktopServices::openUrl(url);
}

}  // namespace vantry
