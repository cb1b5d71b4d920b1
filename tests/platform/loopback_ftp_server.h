// An FTP server on loopback that turns with the Qt loop and has its files in memory. Passive data connections only.
#pragma once

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

class LoopbackFtpServer {
 public:
  std::map<std::string, std::string> files;  // "folder/name" and the content.
  std::vector<std::string> listing;          // The lines of every listing, without line ends.
  std::string password;
  std::vector<std::string> commands;

  LoopbackFtpServer() {
    server_.listen(QHostAddress::LocalHost);
    QObject::connect(&server_, &QTcpServer::newConnection, &server_,
                     [this] { Serve(*server_.nextPendingConnection()); });
  }
  std::string Place() const { return "127.0.0.1:" + std::to_string(server_.serverPort()); }

 private:
  struct Peer {
    explicit Peer(QTcpSocket& s) : control(s) {}
    QTcpSocket& control;
    std::string received, folder;
    QTcpServer data_server;
    size_t start = 0;
    bool sends = false;
    std::string to_send;

    // A connection that was not used, for a file that is not there, must not serve the next one.
    void Renew() {
      data_server.close();
      while (data_server.hasPendingConnections()) delete data_server.nextPendingConnection();
      data_server.listen(QHostAddress::LocalHost);
    }
    void Say(const std::string& text) { control.write((text + "\r\n").c_str()); }
    // The client connects before or after its command is answered.
    void Send() {
      if (!sends || !data_server.hasPendingConnections()) return;
      QTcpSocket& data = *data_server.nextPendingConnection();
      QObject::connect(&data, &QTcpSocket::disconnected, &data, &QObject::deleteLater);
      data.write(to_send.data(), static_cast<qint64>(to_send.size()));
      data.disconnectFromHost();  // Once all is written.
      sends = false;
      Say("226 done");
    }
  };

  void Serve(QTcpSocket& socket) {
    auto peer = std::make_shared<Peer>(socket);
    QObject::connect(&socket, &QTcpSocket::readyRead, &socket, [this, peer] {
      peer->received += peer->control.readAll().toStdString();
      for (size_t end = 0; (end = peer->received.find("\r\n")) != std::string::npos;) {
        const std::string line = peer->received.substr(0, end);
        peer->received.erase(0, end + 2);
        Answer(*peer, line);
      }
    });
    QObject::connect(&peer->data_server, &QTcpServer::newConnection, &socket, [p = peer.get()] { p->Send(); });
    QObject::connect(&socket, &QTcpSocket::disconnected, &socket, &QObject::deleteLater);
    peer->Say("220 ready");
  }

  void Answer(Peer& peer, const std::string& line) {
    commands.push_back(line);
    const size_t blank = std::min(line.find(' '), line.size());
    const std::string verb = line.substr(0, blank), rest = line.substr(std::min(blank + 1, line.size()));
    if (verb == "SIZE" || verb == "RETR") return AnswerFile(peer, verb, peer.folder + "/" + rest);
    if (verb == "LIST") {
      std::string text;
      for (const std::string& entry : listing) text += entry + "\r\n";
      return Transfer(peer, text);
    }
    if (verb == "EPSV") {
      peer.Renew();
      return peer.Say("229 (|||" + std::to_string(peer.data_server.serverPort()) + "|)");
    }
    if (verb == "CWD") peer.folder = rest;
    if (verb == "REST") peer.start = static_cast<size_t>(std::atoll(rest.c_str()));
    static const std::map<std::string, std::string> kReplies = {
        {"USER", "331 and the password?"}, {"PWD", "257 \"/\""}, {"CWD", "250 there"},   {"REST", "350 from there"},
        {"TYPE", "200 so be it"},          {"QUIT", "221 bye"},  {"HELP", "214 Help OK"}};
    const auto reply = kReplies.find(verb);
    if (verb == "PASS") return peer.Say(rest == password ? "230 in" : "530 not you");
    peer.Say(reply == kReplies.end() ? "502 not here" : reply->second);
  }

  void AnswerFile(Peer& peer, const std::string& verb, const std::string& path) {
    const auto file = files.find(path);
    if (file == files.end()) return peer.Say("550 no such file");
    if (verb == "SIZE") return peer.Say("213 " + std::to_string(file->second.size()));
    Transfer(peer, file->second.substr(std::min(peer.start, file->second.size())));
  }

  static void Transfer(Peer& peer, std::string bytes) {
    peer.Say("150 here it comes");
    peer.to_send = std::move(bytes);
    peer.start = 0;
    peer.sends = true;
    peer.Send();
  }

  QTcpServer server_;
};

}  // namespace vantry
