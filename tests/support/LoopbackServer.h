#pragma once

#include <gtest/gtest.h>

#include <arpa/inet.h>
#include <array>
#include <functional>
#include <netinet/in.h>
#include <string>
#include <sys/socket.h>
#include <thread>
#include <unistd.h>
#include <utility>

namespace quarn::testing {

/// A server on a free port of the loopback: reads a request, answers as it is told, closes; until it is destroyed.
class LoopbackServer {
 public:
    using Answer = std::function<void(const LoopbackServer&)>;

    explicit LoopbackServer(Answer answer)
        : m_answer(std::move(answer)), m_listener(socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
        sockaddr_in address{};
        address.sin_family = AF_INET;
        address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t size = sizeof address;
        auto* const generic = reinterpret_cast<sockaddr*>(&address);
        EXPECT_EQ(bind(m_listener, generic, size), 0);
        EXPECT_EQ(listen(m_listener, 8), 0);
        EXPECT_EQ(getsockname(m_listener, generic, &size), 0);
        m_port = ntohs(address.sin_port);
        m_thread = std::thread([this] { Run(); });
    }
    explicit LoopbackServer(std::string reply)
        : LoopbackServer([reply = std::move(reply)](const LoopbackServer& server) { server.Send(reply); }) {}
    LoopbackServer(const LoopbackServer&) = delete;
    LoopbackServer& operator=(const LoopbackServer&) = delete;
    ~LoopbackServer() {
        shutdown(m_listener, SHUT_RDWR);
        m_thread.join();
        close(m_listener);
    }

    std::string Host() const { return "127.0.0.1:" + std::to_string(m_port); }
    /// The last one; to be read when its answer has come.
    const std::string& Request() const { return m_request; }

    // For answers.

    /// False once the client has gone.
    bool Send(std::string_view bytes) const {
        while (!bytes.empty()) {
            const auto sent = send(m_connection, bytes.data(), bytes.size(), MSG_NOSIGNAL);
            if (sent <= 0) return false;
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        }
        return true;
    }
    void WaitUntilTheClientHasGone() const {
        for (char byte = 0; recv(m_connection, &byte, 1, 0) > 0;) {
        }
    }

 private:
    void Run() {
        while ((m_connection = accept(m_listener, nullptr, nullptr)) >= 0) {
            m_request.clear();
            std::array<char, 4096> block;
            while (!m_request.ends_with("\r\n\r\n")) {
                const auto got = recv(m_connection, block.data(), block.size(), 0);
                if (got <= 0) break;
                m_request.append(block.data(), static_cast<std::size_t>(got));
            }
            m_answer(*this);
            close(m_connection);
        }
    }

    Answer m_answer;
    int m_listener, m_connection = -1;
    unsigned m_port = 0;
    std::string m_request;
    std::thread m_thread;
};

}  // namespace quarn::testing
