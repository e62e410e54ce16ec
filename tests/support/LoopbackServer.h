#pragma once

#include <arpa/inet.h>
#include <array>
#include <chrono>
#include <mutex>
#include <netinet/in.h>
#include <optional>
#include <stdexcept>
#include <string>
#include <string_view>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace quarn::testing {

/// A server on a free port of the loopback, until it is destroyed. It reads a request and sends the reply; then it closes
/// the connection or, until the client has gone, sends the same bytes again and again, or waits if there are none. A
/// pause follows each time.
class LoopbackServer {
 public:
    explicit LoopbackServer(std::string reply, std::optional<std::string> then = std::nullopt,
                            std::chrono::milliseconds pause = std::chrono::milliseconds(0))
        : m_reply(std::move(reply)),
          m_then(std::move(then)),
          m_pause(pause),
          m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        if (bind(m_listener, generic, size) != 0 || listen(m_listener, 8) != 0 ||
            getsockname(m_listener, generic, &size) != 0)
            throw std::runtime_error("no port of the loopback is to be had");
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { Run(); });
    }
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;
    ~LoopbackServer() {
        shutdown(m_listener, SHUT_RDWR);
        m_thread.join();
        close(m_listener);
    }

    std::string Host() const { return "127.0.0.1:" + std::to_string(m_port); }
    /// Replaces the reply, for the requests after this call. None may be under way.
    void Answer(std::string reply) {
        const std::lock_guard lock(m_mutex);
        m_reply = std::move(reply);
    }
    /// The last one; to be read when its answer has come.
    const std::string& Request() const { return m_request; }

 private:
    void Run() {
        while ((m_connection = accept(m_listener, nullptr, nullptr)) >= 0) {
            m_request.clear();
            while (!m_request.ends_with("\r\n\r\n") && Receive()) {
            }
            Send(Reply());
            while (m_then && (m_then->empty() ? Receive() : Send(*m_then))) std::this_thread::sleep_for(m_pause);
            close(m_connection);
        }
    }

    std::string Reply() {
        const std::lock_guard lock(m_mutex);
        return m_reply;
    }

    bool Receive() {
        std::array<char, 4096> block;
        const auto got = recv(m_connection, block.data(), block.size(), 0);
        if (got > 0) m_request.append(block.data(), static_cast<std::size_t>(got));
        return got > 0;
    }

    bool Send(std::string_view bytes) const {
        while (!bytes.empty()) {
            const auto sent = send(m_connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent <= 0) return false;
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
        return true;
    }

    std::mutex m_mutex;
    std::string m_reply;
    std::optional<std::string> m_then;
    std::chrono::milliseconds m_pause;
    int m_listener, m_connection = -1;
    unsigned m_port = 0;
    std::string m_request;
    std::thread m_thread;
};

}  // namespace quarn::testing
