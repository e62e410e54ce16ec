#include <quarn/datasets/HttpConnection_detail.h>

#include <wx/app.h>
#include <wx/string.h>
#include <wx/thread.h>

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdint>
#include <new>
#include <poll.h>
#include <sys/select.h>

// What the client of wxWidgets 3.2 does behind its connection, and why none of it is called here:
//  - Once a server closes the connection within a header line, its ReadLine() mostly peeks for the rest for ever.
//  - It waits by select(), which ends a process that has more than 1024 descriptors open (FD_SETSIZE).
//  - Peeking turns a socket into one that does not block, and registers it with the event loop of the application, from
//    whatever thread.
//  - It limits neither the time of a reply that trickles nor its size, and leaves the framing of chunks in the data.

namespace quarn::detail {
namespace {

constexpr std::size_t BlockSize = std::size_t{1} << 16;
/// What a socket that is ready to be written to takes without blocking.
constexpr std::size_t PieceSize = std::size_t{1} << 10;

struct Host {
    std::string Name;
    std::uint16_t Port = 80;
    bool IsInBrackets = false;
};

/// Nothing for what cannot be a host. A zero byte would cut the name, and a line end start another header.
std::optional<Host> ReadHost(const std::string& text) {
    const auto isStrange = [](char c) { return c <= ' ' || c >= 0x7F; };
    const auto colon = text.find(':', text.starts_with('[') ? std::min(text.find(']'), text.size()) : 0);
    Host host{.Name = text.substr(0, colon)};
    host.IsInBrackets = host.Name.starts_with('[') && host.Name.ends_with(']');
    if (host.IsInBrackets) host.Name = host.Name.substr(1, host.Name.size() - 2);
    if (host.Name.empty() || std::any_of(host.Name.begin(), host.Name.end(), isStrange)) return std::nullopt;
    if (colon != std::string::npos) {
        const char *const begin = text.data() + colon + 1, *const end = text.data() + text.size();
        const auto [stop, error] = std::from_chars(begin, end, host.Port);
        if (error != std::errc() || stop != end || host.Port == 0) return std::nullopt;
    }
    return host;
}

using Clock = std::chrono::steady_clock;

bool WaitFor(wxSOCKET_T socket, short events, Clock::time_point deadline) {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - Clock::now());
        if (left.count() <= 0) return false;
        pollfd entry{.fd = socket, .events = events, .revents = 0};
        const int ready = poll(&entry, 1, static_cast<int>(left.count()));
        if (ready > 0) return true;
        if (ready < 0 && errno != EINTR) return false;
    }
}

}  // namespace

HttpConnection::HttpConnection(const HttpLimits& limits) : m_limits(limits), m_block(BlockSize) {
    SetHeader("Content-type", "text/html; charset=utf-8");
    SetHeader("User-Agent", "quarn");
    SetHeader("Connection", "close");
    SetTimeout(std::chrono::ceil<std::chrono::seconds>(limits.Silence).count());
    SetFlags(wxSOCKET_BLOCK);  // no event of the application is handled by a thread that waits for a file
}

bool HttpConnection::Find(const std::string& text) {
    const auto host = ReadHost(text);
    if (!host) return false;
    wxIPV6address address;
    const bool isFound = (!host->IsInBrackets && Connect(host->Name, host->Port)) ||
                         (address.Hostname(host->Name) && address.Service(host->Port) && Connect(address));
    SetHeader("Host", text);
    return isFound;
}

bool HttpConnection::ConnectSocket(bool waits) {
    // NOLINTNEXTLINE(bugprone-parent-virtual-call): that of wxHTTP only keeps the address for a request of its own
    return wxSocketClient::Connect(*m_addr, waits);
}

bool HttpConnection::Open() {
    if (m_addr == nullptr) return false;
    // A socket that does not block belongs to the event loop, and with it to the main thread.
    if (!wxIsMainThread() || wxAppConsole::IsMainLoopRunning()) return ConnectSocket(true);
    SetFlags(wxSOCKET_NONE);
    const bool isConnected = ConnectSocket(false);
    SetFlags(wxSOCKET_BLOCK);
    if (isConnected || !IsOk() || LastError() != wxSOCKET_WOULDBLOCK) return isConnected;
    if (GetSocket() >= FD_SETSIZE) return ConnectSocket(true);
    return WaitFor(GetSocket(), POLLOUT, Clock::now() + m_limits.Silence) && WaitOnConnect(0) && IsConnected();
}

bool HttpConnection::Ask(const std::string& target) {
    if (!Open()) return false;
    m_start = Clock::now();
    if (!Send("GET " + target + " HTTP/1.0\r\n")) return false;
    SendHeaders();
    return Send("\r\n");
}

bool HttpConnection::Send(std::string_view bytes) {
    while (!bytes.empty()) {
        if (!WaitFor(GetSocket(), POLLOUT, m_start + m_limits.Silence)) return false;
        const auto piece = bytes.substr(0, PieceSize);
        Write(piece.data(), static_cast<wxUint32>(piece.size()));
        if (LastWriteCount() == 0) return false;
        bytes.remove_prefix(LastWriteCount());
    }
    return true;
}

bool HttpConnection::Fill() {
    const auto earned = std::chrono::milliseconds(m_received / m_limits.BytesPerSecond * 1000);
    const auto deadline = std::min(Clock::now() + m_limits.Silence, m_start + m_limits.Grace + earned);
    if (m_begin < m_end) return true;
    if (!WaitFor(GetSocket(), POLLIN, deadline)) return false;
    wxHTTP::Read(m_block.data(), static_cast<wxUint32>(m_block.size()));
    m_begin = 0;
    m_end = LastReadCount();
    m_received += m_end;
    m_atEnd = m_end == 0 && IsClosed();
    return m_end > 0;
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
