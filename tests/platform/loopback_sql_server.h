// A SQL server on loopback that turns with the Qt loop: it knows one user, and no query.
#pragma once

#include <QHostAddress>
#include <QTcpServer>
#include <QTcpSocket>
#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace vantry {

class LoopbackSqlServer {
 public:
  std::string user = "watcher", password = "secret";

  LoopbackSqlServer() {
    server_.listen(QHostAddress::LocalHost);
    QObject::connect(&server_, &QTcpServer::newConnection, &server_,
                     [this] { Serve(*server_.nextPendingConnection()); });
  }
  std::string Place() const { return "127.0.0.1:" + std::to_string(server_.serverPort()); }

 private:
  enum Kind : uint8_t { kLogin = 0x10, kPrelogin = 0x12 };

  static std::string Little(uint64_t value, int bytes) {
    std::string out;
    for (int i = 0; i < bytes; ++i) out += static_cast<char>(value >> (8 * i));
    return out;
  }
  static size_t Number(std::string_view bytes, size_t at, bool big) {
    if (at + 2 > bytes.size()) return 0;
    const auto a = static_cast<uint8_t>(bytes[at]), b = static_cast<uint8_t>(bytes[at + 1]);
    return big ? a * 256u + b : b * 256u + a;
  }
  static std::string Utf16(std::string_view text) {
    std::string out;
    for (const char c : text) out.append({c, '\0'});
    return out;
  }
  static std::string Packet(const std::string& body) {
    const size_t size = body.size() + 8;
    return std::string{4, 1, static_cast<char>(size >> 8), static_cast<char>(size), 0, 0, 1, 0} + body;
  }
  static std::string Done(bool failed) { return '\xFD' + Little(failed ? 2 : 0, 2) + Little(0, 2) + Little(0, 8); }
  static std::string Token(char kind, const std::string& body) { return kind + Little(body.size(), 2) + body; }

  static std::string Accepted() {
    const std::string name = "Fake";
    return Token('\xE3', '\4' + ('\4' + Utf16("4096")) + '\4' + Utf16("4096")) +
           Token('\xAD', std::string{1, 0x74, 0, 0, 4, static_cast<char>(name.size())} + Utf16(name) + Little(0, 4)) +
           Done(false);
  }
  static std::string Refused(const std::string& login) {
    const std::string text = "Login failed for user '" + login + "'.";
    return Token('\xAA', Little(18'456, 4) + std::string{1, 14} + Little(text.size(), 2) + Utf16(text) + Little(0, 2) +
                             Little(1, 4)) +
           Done(true);
  }
  // Version, no encryption, no instance, no MARS: each an option number, where its value is and how long that is.
  static std::string PreloginReply() {
    const std::vector<std::string> values = {{15, 0, 0, 0, 0, 0}, {2}, {0}, {0}};
    const std::string numbers{0, 1, 2, 4};
    std::string head, data;
    for (size_t i = 0; i < values.size(); ++i) {
      const size_t at = 5 * values.size() + 1 + data.size();
      head += {numbers[i], 0, static_cast<char>(at), 0, static_cast<char>(values[i].size())};
      data += values[i];
    }
    return head + '\xFF' + data;
  }
  // A text of a login packet, every second byte of it.
  static std::string LoginText(std::string_view body, size_t place) {
    const size_t from = Number(body, place, false), count = Number(body, place + 2, false);
    std::string out;
    for (size_t i = 0; i < count && from + 2 * i < body.size(); ++i) out += body[from + 2 * i];
    return out;
  }

  void Serve(QTcpSocket& socket) {
    auto received = std::make_shared<std::string>();
    QObject::connect(&socket, &QTcpSocket::readyRead, &socket, [this, &socket, received] {
      *received += socket.readAll().toStdString();
      for (size_t size = 0; (size = Number(*received, 2, true)) >= 8 && size <= received->size();) {
        Answer(socket, static_cast<uint8_t>((*received)[0]), received->substr(8, size - 8));
        received->erase(0, size);
      }
    });
    QObject::connect(&socket, &QTcpSocket::disconnected, &socket, &QObject::deleteLater);
  }
  void Answer(QTcpSocket& socket, uint8_t kind, const std::string& body) const {
    std::string reply = Done(false);
    if (kind == kPrelogin) reply = PreloginReply();
    if (kind == kLogin) {
      std::string word = LoginText(body, 44);
      for (char& c : word) {
        const auto plain = static_cast<uint8_t>(c ^ 0xA5);
        c = static_cast<char>(plain << 4 | plain >> 4);
      }
      const std::string login = LoginText(body, 40);
      reply = login == user && word == password ? Accepted() : Refused(login);
    }
    const std::string packet = Packet(reply);
    socket.write(packet.data(), static_cast<qint64>(packet.size()));
  }

  QTcpServer server_;
};

}  // namespace vantry
