// `frmAbout`: which program this is, as lines that a report of a defect needs.
#pragma once

#include <QDialog>
#include <QString>
#include <string>

namespace vantry {

struct AboutFacts {
  std::string version, build;
  std::string folder;  // The one in use, with "/" at its end.
};

class AboutWindow final : public QDialog {
 public:
  explicit AboutWindow(const AboutFacts& facts, QWidget* parent = nullptr);

 private:
  // What "Copy" copies: one fact a line.
  static QString Lines(const AboutFacts& facts);
};

}  // namespace vantry
