// A mail server on loopback that turns with the Qt loop and answers as its test says.
#pragma once

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <QTimer>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace vantry {

class ScriptedMailServer {
 public:
  // What is sent back for a command line; "" sends nothing. "." is the end of a mail, "" the greeting.
  std::function<std::string(const std::string& line)> answer = [](const std::string& line) { return Good(line); };
  // Ends the connection in the place of the answer to this line.
  std::function<bool(const std::string& line)> closes = [](const std::string&) { return false; };
  bool drips = false;                 // Sends its answers one byte every 10 ms.
  std::vector<std::string> commands;  // All lines but those of mails.
  std::vector<std::string> mails;     // As they came over the line, without the line that ends them.
  int connections = 0;

  ScriptedMailServer() {
    server_.listen(QHostAddress::LocalHost);
    QObject::connect(&server_, &QTcpServer::newConnection, &server_,
                     [this] { Serve(*server_.nextPendingConnection()); });
  }
  std::string Place() const { return "127.0.0.1:" + std::to_string(server_.serverPort()); }

  // A server that takes everything.
  static std::string Good(const std::string& line) {
    if (line.empty()) return "220 mail.test ESMTP\r\n";
    if (line.starts_with("EHLO")) return "250-mail.test\r\n250 8BITMIME\r\n";
    if (line == "DATA") return "354 go on\r\n";
    if (line == ".") return "250 OK id=1\r\n";
    return line == "QUIT" ? "221 bye\r\n" : "250 OK\r\n";
  }

 private:
  struct Peer {
    explicit Peer(QTcpSocket& s) : socket(s) {}
    QTcpSocket& socket;
    std::string received, to_send;
    bool in_mail = false;
    QTimer drip;
  };

  void Serve(QTcpSocket& socket) {
    ++connections;
    auto peer = std::make_shared<Peer>(socket);
    QObject::connect(&socket, &QTcpSocket::readyRead, &socket, [this, peer] {
      peer->received += peer->socket.readAll().toStdString();
      while (TakeLine(*peer)) {
      }
    });
    QObject::connect(&socket, &QTcpSocket::disconnected, &socket, [s = &socket] { s->deleteLater(); });
    QObject::connect(&peer->drip, &QTimer::timeout, &socket, [p = peer.get()] {
      if (p->to_send.empty()) return p->drip.stop();
      p->socket.write(p->to_send.substr(0, 1).c_str(), 1);
      p->to_send.erase(0, 1);
    });
    Say(*peer, "");
  }
  bool TakeLine(Peer& peer) {
    if (peer.in_mail) return TakeMail(peer);
    const size_t end = peer.received.find("\r\n");
    if (end == std::string::npos) return false;
    const std::string line = peer.received.substr(0, end);
    peer.received.erase(0, end + 2);
    commands.push_back(line);
    peer.in_mail = line == "DATA" && answer(line).starts_with("354");
    Say(peer, line);
    return true;
  }
  bool TakeMail(Peer& peer) {
    const size_t end = peer.received.find("\r\n.\r\n");
    if (end == std::string::npos) {
      if (closes(".")) peer.socket.abort();
      return false;
    }
    mails.push_back(peer.received.substr(0, end + 2));
    peer.received.erase(0, end + 5);
    peer.in_mail = false;
    Say(peer, ".");
    return true;
  }
  void Say(Peer& peer, const std::string& line) {
    if (closes(line)) return peer.socket.abort();
    const std::string text = answer(line);
    if (drips) {
      peer.to_send += text;
      peer.drip.start(10);
    } else {
      peer.socket.write(text.data(), static_cast<qint64>(text.size()));
    }
  }

  QTcpServer server_;
};

}  // namespace vantry
