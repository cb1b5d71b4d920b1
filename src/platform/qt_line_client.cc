#include "platform/qt_line_client.h"

#include <QNetworkProxy>
#include <cerrno>

namespace vantry {
namespace {

std::string PlaceText(const std::string& host, int32_t port) {
  const bool v6 = host.find(':') != std::string::npos;
  return (v6 ? "[" + host + "]" : host) + ":" + std::to_string(port);
}

}  // namespace

QtLineClient::QtLineClient(int time_limit_ms, HostLookUp look_up)
    : time_limit_ms_(time_limit_ms), look_up_(std::move(look_up)) {
  limit_.setSingleShot(true);
  delivery_.setSingleShot(true);
  next_try_.setSingleShot(true);
  QObject::connect(&limit_, &QTimer::timeout, &limit_, [this] {
    Drop();
    EndAttempt(ETIMEDOUT, "no connection within " + std::to_string(time_limit_ms_) + " ms");
  });
  QObject::connect(&next_try_, &QTimer::timeout, &next_try_, [this] { TryNextAddress(); });
  QObject::connect(&delivery_, &QTimer::timeout, &delivery_, [this] { DeliverOne(); });
}

QtLineClient::~QtLineClient() {
  Drop();
}

bool QtLineClient::IsConnected() const {
  return state_ == State::kOpen && socket_ && socket_->state() == QAbstractSocket::ConnectedState;
}

void QtLineClient::Connect(const std::string& host, int32_t port, const std::string& end_of_line) {
  if (state_ == State::kConnecting || IsConnected()) return;
  state_ = State::kConnecting;
  place_ = PlaceText(host, port);
  end_of_line_ = end_of_line;
  Drop();
  if (host.empty()) return EndAttempt(EINVAL, "the name of the host is empty");
  if (port < 1 || port > 65'535) return EndAttempt(EINVAL, "the port must be from 1 to 65535");
  port_ = static_cast<quint16>(port);
  limit_.start(time_limit_ms_);
  lookup_ = std::make_unique<PendingLookUp>(host, look_up_, [this](const HostAddresses& found) {
    if (!found.problem.empty()) return EndAttempt(ENOENT, found.problem);
    addresses_.assign(found.addresses.begin(), found.addresses.end());
    TryNextAddress();
  });
}

void QtLineClient::TryNextAddress() {
  OpenSocket();
  socket_->connectToHost(QString::fromStdString(addresses_.front()), port_);
  addresses_.pop_front();
}

void QtLineClient::OpenSocket() {
  socket_ = std::make_unique<QTcpSocket>();
  QTcpSocket* socket = socket_.get();
  socket->setProxy(QNetworkProxy::NoProxy);
  // Anything more waits in the system, and in the end with the peer.
  socket->setReadBufferSize(kMaxMessage);
  QObject::connect(socket, &QTcpSocket::connected, socket, [this] { SocketConnected(); });
  QObject::connect(socket, &QTcpSocket::readyRead, socket, [this] { Absorb(); });
  QObject::connect(socket, &QTcpSocket::errorOccurred, socket, [this] { SocketFailed(); });
}

void QtLineClient::EndAttempt(int code, const std::string& problem) {
  limit_.stop();
  ready_.push_back({Event::Kind::kOutcome, code, problem.empty() ? problem : place_ + ": " + problem});
  delivery_.start(0);
}

void QtLineClient::SocketConnected() {
  // The connection stays open for days; a peer that has vanished is to be noticed.
  socket_->setSocketOption(QAbstractSocket::KeepAliveOption, 1);
  EndAttempt(0, "");
}

void QtLineClient::SocketFailed() {
  if (limit_.isActive() && !addresses_.empty()) {
    next_try_.start(0);  // This socket is in the middle of its own signal.
  } else if (limit_.isActive()) {
    EndAttempt(static_cast<int>(socket_->error()) + 1, socket_->errorString().toStdString());
  } else {
    TakeBytes();  // What came before the end can't be read later.
    TellEnd(socket_->errorString().toStdString());
  }
}

void QtLineClient::TellEnd(const std::string& why) {
  if (ready_.empty() || ready_.back().kind != Event::Kind::kEnd) ready_.push_back({Event::Kind::kEnd, 0, why});
  delivery_.start(0);
}

void QtLineClient::Absorb() {
  // While messages wait to be handed out, more of them wait with the peer.
  if (ready_.empty() && socket_) TakeBytes();
}

void QtLineClient::TakeBytes() {
  if (socket_->bytesAvailable() == 0) return;
  in_ += socket_->readAll().toStdString();
  CutMessages();
}

void QtLineClient::CutMessages() {
  size_t begin = 0;
  bool too_long = false;
  while (!too_long && !end_of_line_.empty()) {
    const size_t end = in_.find(end_of_line_, searched_);
    if (end == std::string::npos) break;
    too_long = end - begin > kMaxMessage;
    if (!too_long) ready_.push_back({Event::Kind::kMessage, 0, in_.substr(begin, end - begin)});
    begin = searched_ = end + end_of_line_.size();
  }
  in_.erase(0, begin);
  // An end may have come in part.
  searched_ = in_.size() < end_of_line_.size() ? 0 : in_.size() - end_of_line_.size();
  if (too_long || in_.size() >= kMaxMessage + end_of_line_.size()) {
    socket_->abort();
    in_.clear();
    searched_ = 0;
    TellEnd("a message of more than " + std::to_string(kMaxMessage) + " bytes");
  }
  if (!ready_.empty()) delivery_.start(0);
}

void QtLineClient::Send(std::string_view bytes) {
  if (!IsConnected()) return;
  socket_->write(bytes.data(), static_cast<qint64>(bytes.size()));
  socket_->flush();
  if (socket_->bytesToWrite() > kMaxWaiting) socket_->abort();
}

// Nothing more is heard of the socket.
void QtLineClient::Drop() {
  limit_.stop();
  next_try_.stop();
  lookup_.reset();
  addresses_.clear();
  if (socket_) socket_->disconnect();
  socket_.reset();
  in_.clear();
  searched_ = 0;
}

void QtLineClient::Close() {
  if (IsConnected() && socket_->bytesToWrite() > 0) {
    QTcpSocket* socket = socket_.release();
    socket->disconnect();
    socket->setParent(&lingering_);
    QObject::connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
    auto* limit = new QTimer(socket);
    QObject::connect(limit, &QTimer::timeout, socket, [socket] { socket->abort(); });
    limit->start(time_limit_ms_);
    socket->disconnectFromHost();
  }
  Drop();
  ready_.clear();
  state_ = State::kIdle;
}

void QtLineClient::DeliverOne() {
  if (in_handler_ || ready_.empty()) return;
  const Event event = std::move(ready_.front());
  ready_.pop_front();
  if (event.kind == Event::Kind::kOutcome) state_ = event.code == 0 ? State::kOpen : State::kIdle;
  in_handler_ = true;
  if (event.kind == Event::Kind::kOutcome) {
    events_.connected(event.code, event.text);
  } else if (event.kind == Event::Kind::kMessage) {
    events_.data_in(event.text);
  } else if (events_.lost) {
    events_.lost(event.text);
  }
  in_handler_ = false;
  Absorb();
  if (!ready_.empty()) delivery_.start(0);
}

}  // namespace vantry
