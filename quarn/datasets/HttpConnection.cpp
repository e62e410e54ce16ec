#include <quarn/datasets/HttpConnection_detail.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <fcntl.h>
#include <new>
#include <poll.h>
#include <sys/socket.h>

namespace quarn::detail {
namespace {

constexpr std::size_t BlockSize = std::size_t{1} << 16;

bool IsControlOrBlank(char c) {
    const auto byte = static_cast<unsigned char>(c);
    return byte <= ' ' || byte == 0x7F;
}

bool IsPort(const std::string& text) {
    std::uint16_t port = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, port);
    return error == std::errc() && stop == end && port > 0;
}

using Clock = std::chrono::steady_clock;

bool WaitFor(int socket, short events, Clock::time_point deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        pollfd entry{.fd = socket, .events = events, .revents = 0};
        const int ready = poll(&entry, 1, static_cast<int>(left.count()));
        if (ready > 0) return true;
        if (ready < 0 && errno != EINTR) return false;
    }
}

bool Connect(int descriptor, const addrinfo& address, std::chrono::milliseconds silence) {
    if (connect(descriptor, address.ai_addr, address.ai_addrlen) == 0) return true;
    // A signal does not keep a connection from being made either.
    if (errno != EINPROGRESS && errno != EINTR) return false;
    int error = 0;
    socklen_t size = sizeof error;
    return WaitFor(descriptor, POLLOUT, Clock::now() + silence) &&
           getsockopt(descriptor, SOL_SOCKET, SO_ERROR, &error, &size) == 0 && error == 0;
}

FileDescriptor ConnectToAny(const addrinfo* address, std::chrono::milliseconds silence) {
    for (; address != nullptr; address = address->ai_next) {
        FileDescriptor descriptor(
            socket(address->ai_family, address->ai_socktype | SOCK_CLOEXEC | SOCK_NONBLOCK, address->ai_protocol));
        if (descriptor.Get() >= 0 && Connect(descriptor.Get(), *address, silence)) return descriptor;
    }
    return FileDescriptor(-1);
}

}  // namespace

Addresses ResolveHost(const std::string& host) {
    const auto colon = host.find(':', host.starts_with('[') ? std::min(host.find(']'), host.size()) : 0);
    std::string name = host.substr(0, colon);
    const std::string port = colon == std::string::npos ? "80" : host.substr(colon + 1);
    const bool inBrackets = name.starts_with('[') && name.ends_with(']');
    if (inBrackets) name = name.substr(1, name.size() - 2);
    Addresses addresses(nullptr, &freeaddrinfo);
    // The system's look-up would cut a name at a zero byte and ask servers for the others.
    if (name.empty() || !IsPort(port) || std::any_of(name.begin(), name.end(), IsControlOrBlank)) return addresses;
    addrinfo wanted{};
    wanted.ai_family = inBrackets ? AF_INET6 : AF_UNSPEC;
    wanted.ai_socktype = SOCK_STREAM;
    wanted.ai_flags = AI_NUMERICSERV | (inBrackets ? AI_NUMERICHOST : 0);
    addrinfo* found = nullptr;
    if (getaddrinfo(name.c_str(), port.c_str(), &wanted, &found) == 0) addresses.reset(found);
    return addresses;
}

HttpConnection::HttpConnection(const addrinfo* addresses, const HttpLimits& limits)
    : m_limits(limits), m_socket(ConnectToAny(addresses, limits.Silence)), m_block(BlockSize) {}

bool HttpConnection::Send(std::string_view bytes) {
    m_start = Clock::now();
    while (!bytes.empty()) {
        if (!WaitFor(m_socket.Get(), POLLOUT, m_start + m_limits.Silence)) return false;
        const auto sent = send(m_socket.Get(), bytes.data(), bytes.size(), MSG_NOSIGNAL);
        if (sent >= 0)
            bytes.remove_prefix(static_cast<std::size_t>(sent));
        else if (errno != EAGAIN && errno != EINTR)
            return false;
    }
    return true;
}

bool HttpConnection::Fill() {
    const auto earned = std::chrono::milliseconds(m_received / m_limits.BytesPerSecond * 1000);
    const auto deadline = std::min(Clock::now() + m_limits.Silence, m_start + m_limits.Grace + earned);
    while (m_begin == m_end) {
        if (!WaitFor(m_socket.Get(), POLLIN, deadline)) return false;
        const auto got = recv(m_socket.Get(), m_block.data(), m_block.size(), 0);
        m_atEnd = got == 0;
        if (m_atEnd || (got < 0 && errno != EAGAIN && errno != EINTR)) return false;
        m_begin = 0;
        m_end = got < 0 ? 0 : static_cast<std::size_t>(got);
        m_received += m_end;
    }
    return true;
}

std::optional<std::string> HttpConnection::ReadLine() {
    std::string line;
    while (line.size() <= m_limits.HeaderBytes && Fill()) {
        const auto waiting = Waiting();
        const auto length = waiting.find('\n');
        line += waiting.substr(0, length);
        m_begin += std::min(length, waiting.size() - 1) + 1;
        if (length == std::string_view::npos) continue;
        if (line.ends_with('\r')) line.pop_back();
        return line;
    }
    return std::nullopt;
}

bool HttpConnection::Read(std::string& body, std::size_t count) {
    while (count > 0) {
        if (!Fill()) return false;
        const auto piece = Waiting().substr(0, count);
        body += piece;
        m_begin += piece.size();
        count -= piece.size();
    }
    return true;
}

bool HttpConnection::ReadToEnd(std::string& body) {
    while (Fill()) {
        body += Waiting();
        m_begin = m_end;
        if (body.size() > m_limits.BodyBytes) throw std::bad_alloc();
    }
    return m_atEnd;
}

}  // namespace quarn::detail
