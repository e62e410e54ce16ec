#pragma once

#include <wx/protocol/http.h>

#include <chrono>
#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quarn::detail {

/// How long a fetch may take and how much it may bring. Tests shorten them.
struct HttpLimits {
    std::chrono::milliseconds Silence = std::chrono::seconds(10);  ///< longest wait for a connection, or for a byte
    std::chrono::milliseconds Pause = std::chrono::seconds(1);     ///< after each look-up of a name that fails
    // A reply has this time, and more as its bytes arrive: a server that sends a byte now and then ends too.
    std::chrono::milliseconds Grace = std::chrono::seconds(60);
    std::size_t BytesPerSecond = 1000;
    std::size_t HeaderBytes = std::size_t{1} << 16;  ///< longest line of a header, and the most of its lines
    std::size_t BodyBytes = (std::size_t{1} << 31) - 1;
};

/// The client of wxWidgets, but for what it does once it is connected: its own reading can go on for ever, or end the
/// process, on what a server sends. Here every wait has an end. Where the main loop runs, or on another thread, that for
/// the connection itself is the system's: some two minutes.
class HttpConnection : private wxHTTP {
 public:
    explicit HttpConnection(const HttpLimits& limits);

    /// Looks a host up: a name, an IPv4 address, or an IPv6 address in brackets; ":" and a port may follow, else it is
    /// port 80. False for what is no such text, and for a name that is not found.
    bool Find(const std::string& host);

    /// Connects to the host that was found last, and asks for a target. False if nobody answers, or not everything could
    /// be sent. The time of the reply starts here.
    bool Ask(const std::string& target);

    /// The next line without its end, LF or CR LF. Nothing if it does not come whole, in time and within HeaderBytes.
    std::optional<std::string> ReadLine();

    /// Appends the next count bytes to body. False if they do not all come, or not in time.
    bool Read(std::string& body, std::size_t count);

    /// Appends everything up to the end of the connection. False if that is broken instead, or late.
    /// Errors: std::bad_alloc as soon as body is longer than BodyBytes.
    bool ReadToEnd(std::string& body);

 private:
    bool ConnectSocket(bool waits);
    bool Open();
    bool Send(std::string_view bytes);
    /// Makes sure that a byte is waiting. False at the end, which sets m_atEnd, and on failure.
    bool Fill();
    std::string_view Waiting() const { return {m_block.data() + m_begin, m_end - m_begin}; }

    HttpLimits m_limits;
    std::chrono::steady_clock::time_point m_start;
    std::size_t m_received = 0;
    std::vector<char> m_block;
    std::size_t m_begin = 0, m_end = 0;  ///< of the bytes waiting in m_block
    bool m_atEnd = false;
};

}  // namespace quarn::detail
