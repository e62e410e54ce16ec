#include <quarn/datasets/Http_detail.h>
#include <quarn/datasets/StatusTexts.h>

#include <wx/convauto.h>
#include <wx/init.h>
#include <wx/string.h>

#include <algorithm>
#include <charconv>
#include <new>
#include <optional>
#include <stdexcept>
#include <string_view>
#include <thread>
#include <utility>

namespace quarn::detail {
namespace {

bool IsSuccess(int status) { return status >= 200 && status <= 299; }

/// A request target: a "/" in front, and in place of bytes that would end it, "%" and two digits.
std::string RequestTarget(const std::string& file) {
    constexpr char digits[] = "0123456789ABCDEF";
    std::string target = file.starts_with('/') ? "" : "/";
    for (const char c : file) {
        const auto byte = static_cast<unsigned char>(c);
        if (byte > ' ' && byte < 0x7F && byte != '#') {
            target += c;
        } else {
            target += '%';
            target += digits[byte >> 4U];
            target += digits[byte & 15U];
        }
    }
    return target;
}

std::string_view WithoutBlanksAround(std::string_view text) {
    const auto first = std::min(text.find_first_not_of(" \t"), text.size());
    return text.substr(first, text.find_last_not_of(" \t") + 1 - first);
}

/// The whole of a text but blanks around it as a number. Nothing if it is none.
template <class Number>
std::optional<Number> ReadNumber(std::string_view text, int base = 10) {
    text = WithoutBlanksAround(text);
    Number number = 0;
    const char* const end = text.data() + text.size();
    const auto [stop, error] = std::from_chars(text.data(), end, number, base);
    if (error != std::errc() || stop != end) return std::nullopt;
    return number;
}

/// The status of "HTTP/1.0 200 OK"; 0 if the line is no such thing.
int ReadStatus(const std::optional<std::string>& line) {
    if (!line || !line->starts_with("HTTP/")) return 0;
    const auto blank = std::min(line->find(' '), line->size());
    const auto code = std::string_view(*line).substr(blank).substr(0, 5);  // the blank, three digits, a blank
    return ReadNumber<int>(code).value_or(0);
}

/// How the end of a body is told.
struct Framing {
    std::optional<std::size_t> Length;  ///< else by the end of the connection
    bool InChunks = false;
};

/// Takes a header line in. False if it says what we do not understand.
bool TakeHeaderLine(std::string line, Framing& framing) {
    const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
    std::transform(line.begin(), line.end(), line.begin(), lower);
    const auto colon = line.find(':');
    const std::string_view name = std::string_view(line).substr(0, colon);
    const std::string_view value = std::string_view(line).substr(std::min(colon, line.size() - 1) + 1);
    if (name == "content-length") framing.Length = ReadNumber<std::size_t>(value);
    if (name == "transfer-encoding") framing.InChunks = WithoutBlanksAround(value) == "chunked";
    return (name != "content-length" || framing.Length) && (name != "transfer-encoding" || framing.InChunks);
}

/// Reads the header lines behind the status. Nothing if they do not come whole, or are not understood.
std::optional<Framing> ReadFraming(HttpConnection& connection, const HttpLimits& limits) {
    Framing framing;
    std::size_t size = 0;
    for (;;) {
        const auto line = connection.ReadLine();
        if (!line || (size += line->size() + 1) > limits.HeaderBytes) return std::nullopt;
        if (line->empty()) return framing;
        if (!TakeHeaderLine(*line, framing)) return std::nullopt;
    }
}

bool ReadCounted(HttpConnection& connection, std::string& body, std::size_t count, const HttpLimits& limits) {
    if (count > limits.BodyBytes - body.size()) throw std::bad_alloc();
    return connection.Read(body, count);
}

bool ReadChunks(HttpConnection& connection, std::string& body, const HttpLimits& limits) {
    for (;;) {
        const auto line = connection.ReadLine();
        const auto count = line ? ReadNumber<std::size_t>(line->substr(0, line->find(';')), 16) : std::nullopt;
        if (!count || *count == 0) return count.has_value();
        if (!ReadCounted(connection, body, *count, limits) || connection.ReadLine() != "") return false;
    }
}

bool ReadBody(HttpConnection& connection, std::string& body, const HttpLimits& limits) {
    const auto framing = ReadFraming(connection, limits);
    if (!framing) return false;
    if (framing->InChunks) return ReadChunks(connection, body, limits);
    return framing->Length ? ReadCounted(connection, body, *framing->Length, limits) : connection.ReadToEnd(body);
}

/// Of UTF-16 or UTF-32.
bool HasWideMark(const std::string& text) {
    using namespace std::string_view_literals;
    return text.starts_with("\xFF\xFE") || text.starts_with("\xFE\xFF") || text.starts_with("\0\0\xFE\xFF"sv);
}

}  // namespace

HttpReply FetchFile(const std::string& host, const std::string& file, const HttpLimits& limits) {
    const wxInitializer isInUse;  // counted: nothing happens where the application has initialised wxWidgets
    if (!isInUse.IsOk()) throw std::runtime_error("wxWidgets cannot be initialised");
    HttpConnection connection(limits);
    // Three look-ups, whatever the first ones give: the last one counts.
    for (int attempt = 0; attempt < 3; ++attempt)
        if (!connection.Find(host)) std::this_thread::sleep_for(limits.Pause);
    HttpReply reply;
    if (!connection.Ask(RequestTarget(file))) return reply;
    reply.Status = ReadStatus(connection.ReadLine());
    reply.IsComplete = IsSuccess(reply.Status) && ReadBody(connection, reply.Body, limits);
    return reply;
}

std::string WhyNotFetched(const HttpReply& reply, const std::string& host, const std::string& file) {
    namespace Texts = StatusTexts;
    const std::string code = std::to_string(reply.Status), end = Texts::HttpStatusCode + code + Texts::EndOfStatusCode;
    if (reply.IsComplete) return "";
    if (reply.Status == 0) return Texts::NoConnection + host + Texts::CauseOfNoConnection;
    switch (reply.Status / 100) {
        case 3:
            return Texts::RequestTo + host + Texts::IsRedirected + end;
        case 4:
            return Texts::NoAccessToFile + file + Texts::OnServer + host + Texts::EndOfServer + end;
        case 5:
            return Texts::Server + host + Texts::ReturnedError;
        default:
            return Texts::RequestToServer + host + Texts::FailedWithCode + code + end;
    }
}

void MakePlainLines(std::string& text) {
    if (HasWideMark(text)) {
        const wxString wide(text.data(), wxConvAuto(), text.size());
        if (!wide.empty()) text = wide.utf8_string();
    }
    if (text.starts_with("\xEF\xBB\xBF")) text.erase(0, 3);
    std::size_t to = std::min(text.find('\r'), text.size());
    for (std::size_t from = to; from < text.size(); ++from, ++to) {
        const bool isReturn = text[from] == '\r';
        if (isReturn && text[from + 1] == '\n') ++from;  // behind the last character stands a zero
        text[to] = isReturn ? '\n' : text[from];
    }
    text.resize(to);
}

}  // namespace quarn::detail
