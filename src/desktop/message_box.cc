#include "desktop/message_box.h"

#include <QColorDialog>
#include <QDesktopServices>
#include <QFileDialog>
#include <algorithm>

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
  QMessageBox box(IconOf(kind), "Vantry", {}, QMessageBox::Ok, parent);
  box.setObjectName("messageBox");
  box.setTextFormat(Qt::PlainText);
  box.setText(text);
  box.exec();
}

QMessageBox::StandardButton RealPrompts::Ask(QWidget* parent, const QString& text, QMessageBox::StandardButtons buttons,
                                             QMessageBox::StandardButton otherwise) {
  QMessageBox box(QMessageBox::Question, "Vantry", {}, buttons, parent);
  box.setObjectName("question");
  box.setTextFormat(Qt::PlainText);
  box.setText(text);
  box.setDefaultButton(otherwise);
  return static_cast<QMessageBox::StandardButton>(box.exec());
}

QString RealPrompts::FileToSave(QWidget* parent, const QString& title, const QString& name, const QString& filter) {
  return QFileDialog::getSaveFileName(parent, title, name, filter);
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
