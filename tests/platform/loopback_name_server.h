// A name server on loopback that turns with the Qt loop and answers as its test says.
#pragma once

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QUdpSocket>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace vantry {

struct NameQuery {
  std::string bytes;
  std::string name;  // With dots, without one at the end.
  bool by_tcp = false;
};

enum Rcode { kNoError = 0, kServFail = 2, kNxDomain = 3, kNotImp = 4, kRefused = 5 };

// "one.example" as the labels of a message.
inline std::string Labels(const std::string& name) {
  std::string out;
  for (size_t at = 0; at < name.size();) {
    const size_t end = std::min(name.find('.', at), name.size());
    out += static_cast<char>(end - at) + name.substr(at, end - at);
    at = end + 1;
  }
  return out + '\0';
}

// An answer to this query with these names, each given as labels.
inline std::string Reply(const NameQuery& query, const std::vector<std::string>& names, Rcode code = kNoError) {
  std::string out = query.bytes.substr(0, 2);
  out += {'\x81', static_cast<char>(0x80 | code), 0, 1, 0, static_cast<char>(names.size()), 0, 0, 0, 0};
  out += query.bytes.substr(12);
  for (const std::string& name : names) {
    out += {'\xC0', '\x0C', 0, 12, 0, 1, 0, 0, 0, 60};  // The name of the question; PTR, IN, time to live.
    out += {static_cast<char>(name.size() >> 8), static_cast<char>(name.size() & 0xFF)};
    out += name;
  }
  return out;
}

class LoopbackNameServer {
 public:
  std::function<std::string(const NameQuery&)> answer;  // The bytes to send back; none when it is empty.
  std::vector<std::string> asked;                       // The names, in order.

  explicit LoopbackNameServer(const QHostAddress& address = QHostAddress::LocalHost, uint16_t port = 0) {
    bound_ = udp_.bind(address, port) && tcp_.listen(address, udp_.localPort());
    QObject::connect(&udp_, &QUdpSocket::readyRead, &udp_, [this] { ServeUdp(); });
    QObject::connect(&tcp_, &QTcpServer::newConnection, &tcp_, [this] { ServeTcp(*tcp_.nextPendingConnection()); });
  }
  bool Bound() const { return bound_; }
  uint16_t Port() const { return udp_.localPort(); }
  std::string Place() const {
    const std::string host = udp_.localAddress().toString().toStdString();
    return (host.find(':') == std::string::npos ? host : "[" + host + "]") + ":" + std::to_string(Port());
  }

 private:
  std::string Serve(std::string bytes, bool by_tcp) {
    NameQuery query{std::move(bytes), {}, by_tcp};
    for (size_t at = 12; at < query.bytes.size() && query.bytes[at] != 0;) {
      const auto size = static_cast<size_t>(query.bytes[at]);
      query.name += (query.name.empty() ? "" : ".") + query.bytes.substr(at + 1, size);
      at += size + 1;
    }
    asked.push_back(query.name);
    return answer ? answer(query) : std::string();
  }
  void ServeUdp() {
    while (udp_.hasPendingDatagrams()) {
      std::string bytes(static_cast<size_t>(udp_.pendingDatagramSize()), '\0');
      QHostAddress host;
      quint16 port = 0;
      udp_.readDatagram(bytes.data(), static_cast<qint64>(bytes.size()), &host, &port);
      const std::string reply = Serve(bytes, false);
      if (!reply.empty()) udp_.writeDatagram(reply.data(), static_cast<qint64>(reply.size()), host, port);
    }
  }
  // Two bytes of length precede each message.
  void ServeTcp(QTcpSocket& peer) {
    QObject::connect(&peer, &QTcpSocket::disconnected, &peer, &QObject::deleteLater);
    QObject::connect(&peer, &QTcpSocket::readyRead, &peer, [this, &peer] {
      const std::string head = peer.peek(2).toStdString();
      if (head.size() < 2) return;
      const auto size = (static_cast<uint8_t>(head[0]) << 8) | static_cast<uint8_t>(head[1]);
      if (peer.bytesAvailable() < size + 2) return;
      const std::string reply = Serve(peer.read(size + 2).toStdString().substr(2), true);
      if (reply.empty()) return;
      const char length[2] = {static_cast<char>(reply.size() >> 8), static_cast<char>(reply.size() & 0xFF)};
      peer.write(length, 2);
      peer.write(reply.data(), static_cast<qint64>(reply.size()));
    });
  }

  QUdpSocket udp_;
  QTcpServer tcp_;
  bool bound_ = false;
};

}  // namespace vantry
