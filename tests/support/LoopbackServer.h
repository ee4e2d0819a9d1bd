#pragma once

#include <memory>
#include <stdexcept>
#include <string>
#include <thread>

#include <httplib.h>

namespace parvel::test_support {

// An HTTP server (or an httplib::SSLServer) on 127.0.0.1 at a free port, answering on its own
// thread. Set up the handlers on http() before start(); the server stops when it goes away.
class LoopbackServer {
  public:
    explicit LoopbackServer(
        std::unique_ptr<httplib::Server> server = std::make_unique<httplib::Server>())
        : server_(std::move(server)) {}
    ~LoopbackServer() {
        server_->stop();
        if (thread_.joinable()) {
            thread_.join();
        }
    }
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;

    httplib::Server& http() { return *server_; }

    // Returns once the server runs: stopping it any earlier would leave the thread listening.
    void start() {
        port_ = server_->bind_to_any_port("127.0.0.1");
        if (port_ <= 0) {
            throw std::runtime_error("could not bind a loopback port");
        }
        thread_ = std::thread([this] { server_->listen_after_bind(); });
        while (!server_->is_running()) {
            std::this_thread::yield();
        }
    }

    // "http://127.0.0.1:<port>", or another scheme such as "https".
    std::string url(const std::string& scheme = "http") const {
        return scheme + "://127.0.0.1:" + std::to_string(port_);
    }

  private:
    std::unique_ptr<httplib::Server> server_;
    std::thread thread_;
    int port_ = 0;
};

}  // namespace parvel::test_support
