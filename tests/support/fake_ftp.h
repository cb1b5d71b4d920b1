// FTP servers in memory. What a client is asked happens when the test turns it, one event at a time.
#pragma once

#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "core/text.h"
#include "ports/ftp.h"

namespace vantry {

class FakeFtp final : public Ftp {
 public:
  std::map<std::string, std::string> files;  // "folder/name" and the content.
  std::vector<FtpEntry> entries;             // What every listing shows.
  size_t chunk_bytes = 64 * 1024;
  bool has_size = true;
  Status login, listing, help;           // What comes of these.
  std::pair<int, Status> broken{0, {}};  // When not ok: a download ends so, after its first chunk.
  std::vector<std::string> calls;

  std::unique_ptr<FtpClient> NewClient(FtpEvents& events) override { return std::make_unique<Client>(*this, events); }

  // Tells the next thing of a client that takes events. False when there is none.
  bool TurnOnce() {
    for (auto it = pending_.begin(); it != pending_.end(); ++it) {
      if (!it->client->alive || !it->client->events->TakesEvents()) {
        if (it->client->alive) continue;
        pending_.erase(it);
        return true;
      }
      const auto next = std::move(*it);
      pending_.erase(it);
      next.tell(*next.client->events);
      return true;
    }
    return false;
  }
  void TurnAll() {
    while (TurnOnce()) {
    }
  }
  bool Waits() const { return !pending_.empty(); }

 private:
  struct Told {
    FtpEvents* events = nullptr;
    bool alive = true;
    bool idle = true, connected = false;
    std::string reply;
  };
  struct Event {
    std::shared_ptr<Told> client;
    std::function<void(FtpEvents&)> tell;
  };

  class Client final : public FtpClient {
   public:
    Client(FakeFtp& owner, FtpEvents& events) : owner_(owner), events_(events) { Renew(); }
    ~Client() override { told_->alive = false; }
    bool Connected() const override { return told_->connected; }
    bool Idle() const override { return told_->idle; }
    const std::string& LastReply() const override { return told_->reply; }

    void LogOn(const FtpLogon& logon) override {
      if (!told_->idle) return;
      Call("logon " + logon.server + " " + logon.user + (logon.passive ? " passive" : ""));
      Tell([this](FtpEvents& e) { Done(e, owner_.login, owner_.login.ok()); });
    }
    void Size(const std::string& folder, const std::string& name) override {
      if (!told_->idle) return;
      Call("size " + folder + " " + name);
      Tell([this, folder, name](FtpEvents& e) {
        const auto file = owner_.files.find(folder + "/" + name);
        const bool known = owner_.has_size && file != owner_.files.end();
        told_->reply = known ? "213 " + std::to_string(file->second.size()) : "550 No size";
        Done(e, Status::Ok(), true);
      });
    }
    void List(const std::string& folder) override {
      if (!told_->idle) return;
      Call("list " + folder);
      for (const FtpEntry& entry : owner_.entries) {
        Tell([entry](FtpEvents& e) { e.DirectoryEntry(entry); });
      }
      Tell([this](FtpEvents& e) { Done(e, owner_.listing, owner_.listing.ok()); });
    }
    void Download(const FtpDownload& d) override {
      if (!told_->idle) return;
      Call("download " + d.folder + " " + d.name + " " + std::to_string(d.start_byte) + " " +
           std::to_string(d.timeout_s));
      const auto file = owner_.files.find(d.folder + "/" + d.name);
      if (file == owner_.files.end()) return Fail(0, Status::Error(Fail_::kNotFound, "no such file"));
      const std::string& bytes = file->second;
      auto at = static_cast<size_t>(d.start_byte);
      if (at > bytes.size()) return Fail(0, Status::Error(Fail_::kBadData, "shorter than what was read of it"));
      Tell([](FtpEvents& e) { e.StartOfTransfer(); });
      for (; at < bytes.size(); at += owner_.chunk_bytes) {
        const std::string chunk = bytes.substr(at, owner_.chunk_bytes);
        const auto count = static_cast<int64_t>(at + chunk.size());
        Tell([count, chunk](FtpEvents& e) { e.Transfer(count, chunk); });
        if (!owner_.broken.second.ok()) return Fail(owner_.broken.first, owner_.broken.second);
      }
      Tell([this](FtpEvents& e) {
        told_->idle = true;
        e.EndOfTransfer();
      });
    }
    void Help() override {
      if (!told_->idle) return;
      Call("help");
      Tell([](FtpEvents& e) {
        e.ProtocolTrail(FtpTrail::kSent, "HELP");
        e.ProtocolTrail(FtpTrail::kReceived, "214 Help OK");
      });
      Tell([this](FtpEvents& e) { Done(e, owner_.help, true); });
    }
    void LogOff() override {
      if (told_->connected || !told_->idle) owner_.calls.emplace_back("logoff");
      told_->alive = false;
      Renew();
    }

   private:
    using Fail_ = vantry::Fail;
    void Renew() {
      told_ = std::make_shared<Told>();
      told_->events = &events_;
    }
    void Call(const std::string& text) {
      owner_.calls.push_back(text);
      told_->idle = false;
    }
    void Tell(std::function<void(FtpEvents&)> tell) { owner_.pending_.push_back({told_, std::move(tell)}); }
    void Done(FtpEvents& e, const Status& status, bool connected) {
      told_->idle = true;
      told_->connected = connected;
      e.Done(status);
    }
    void Fail(int code, const Status& status) {
      Tell([this, code, status](FtpEvents& e) {
        told_->idle = true;
        e.Error(code, status);
      });
    }

    FakeFtp& owner_;
    FtpEvents& events_;
    std::shared_ptr<Told> told_;
  };

  std::deque<Event> pending_;
};

}  // namespace vantry
