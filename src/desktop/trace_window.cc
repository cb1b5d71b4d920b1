#include "desktop/trace_window.h"

#include <QHeaderView>
#include <iterator>

#include "desktop/form_pages.h"
#include "desktop/shown_text.h"

namespace vantry {
namespace {

enum TraceColumn { kHop, kDuration, kAddress, kName };

struct TraceHeading {
  const char* text;
  Qt::Alignment side;
  int width;  // In characters.
};

const TraceHeading kTraceHeadings[] = {{"Hop", Qt::AlignRight, 5},
                                       {"Duration", Qt::AlignRight, 11},
                                       {"IP Address", Qt::AlignLeft, 30},
                                       {"DNS", Qt::AlignLeft, 0}};

}  // namespace

TraceWindow::TraceWindow(const WindowParts& parts, std::string_view subject, const ShowHelp& help, QWidget* parent)
    : ToolWindow("frmTracert", parts, subject, parent),
      go_(NewButton("btnGO", "&Go")),
      cancel_(NewButton("Command1", "Cancel")) {
  setWindowTitle("Trace Route");
  host_ = AddHost("txtIP", {go_, cancel_});
  AddDns();
  MakeGrid();
  AddStatus("Click Go to start.", help);
  go_->setDefault(true);
  go_->setFocus();
  QObject::connect(go_, &QPushButton::clicked, this, [this] { Start(); });
  QObject::connect(cancel_, &QPushButton::clicked, this, [this] {
    if (run_) run_->Stop();
  });
  ShowWhatApplies();
}

void TraceWindow::MakeGrid() {
  QStringList headings;
  for (const TraceHeading& heading : kTraceHeadings) headings += heading.text;
  grid_ = MakeFormTable("Grid", "Hops", headings, this);
  for (int column = 0; column < grid_->columnCount(); ++column) {
    const TraceHeading& heading = kTraceHeadings[column];
    grid_->horizontalHeaderItem(column)->setTextAlignment(heading.side | Qt::AlignVCenter);
    if (heading.width > 0) grid_->setColumnWidth(column, heading.width * grid_->fontMetrics().averageCharWidth());
  }
  column_->addWidget(grid_, 1);
}

void TraceWindow::Start() {
  run_.reset();
  grid_->setRowCount(0);
  Say("Tracing the route to " + host_->text().toStdString());
  names_ = parts_.settings.ReverseDNS && parts_.resolver ? parts_.resolver() : nullptr;
  const auto end = [this](const std::string& text) {
    Say(text);
    ShowWhatApplies();
  };
  run_ = std::make_unique<TraceRun>(
      parts_.route, names_.get(), ReadSubject(host_->text().toStdString()).host,
      TraceRunEvents{[this](const TraceHop& hop) { AddHop(hop); },
                     [this](int32_t hop, const std::string& name) { ShowName(hop, name); }, end});
  run_->Start();
  ShowWhatApplies();
}

void TraceWindow::AddHop(const TraceHop& hop) {
  const int row = grid_->rowCount();
  grid_->insertRow(row);
  const QString name = hop.note.empty() ? QString() : "(" + ShownText(hop.note) + ")";
  const QString texts[] = {QString::number(hop.hop), ShownText(hop.duration), ShownText(hop.address), name};
  for (int column = 0; column < grid_->columnCount(); ++column) {
    grid_->setItem(row, column, FixedItem(texts[column], kTraceHeadings[column].side));
  }
  grid_->scrollToBottom();
}

void TraceWindow::ShowName(int32_t hop, const std::string& name) {
  for (int row = 0; row < grid_->rowCount(); ++row) {
    QTableWidgetItem* cell = grid_->item(row, kName);
    if (grid_->item(row, kHop)->text().toInt() != hop) continue;
    const QString note = cell->text();
    cell->setText(ShownText(name) + (note.isEmpty() ? note : " " + note));
  }
}

void TraceWindow::ShowWhatApplies() {
  const bool running = run_ && run_->IsRunning();
  go_->setEnabled(!running);
  cancel_->setEnabled(running);
}

}  // namespace vantry
