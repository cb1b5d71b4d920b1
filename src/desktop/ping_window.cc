#include "desktop/ping_window.h"

#include "network/ping_bytes.h"

namespace vantry {

PingWindow::PingWindow(const WindowParts& parts, std::string_view subject, const ShowHelp& help, QWidget* parent)
    : ToolWindow("frmPing", parts, subject, parent), start_(NewButton("cmdStart", "St&art")) {
  setWindowTitle("Ping");
  host_ = AddHost("txtHost", {start_});
  AddDns();
  track_ = AddText("lstTrack", "Answers");
  AddStatus("", help);
  start_->setDefault(true);
  start_->setFocus();
  QObject::connect(start_, &QPushButton::clicked, this, [this] { StartOrStop(); });
}

void PingWindow::StartOrStop() {
  if (run_ && run_->IsRunning()) {
    run_->Stop();
    Say("Stopped.");
    return ShowWhatApplies();
  }
  const auto list = [this](const std::string& line) { track_->appendPlainText(ShownReport(line)); };
  run_ = std::make_unique<PingRun>(
      parts_.ping, ReadSubject(host_->text().toStdString()).host, PingBytes(parts_.registry),
      PingRunEvents{list, [this](const std::string& text) { Say(text); }, [this] { ShowWhatApplies(); }});
  run_->Start();
  ShowWhatApplies();
}

void PingWindow::ShowWhatApplies() {
  start_->setText(run_ && run_->IsRunning() ? "St&op" : "St&art");
}

}  // namespace vantry
