#include "../support/LoopbackServer.h"
#include "Property.h"

#include <quarn/datasets/Http_detail.h>

#include <wx/init.h>

#include <algorithm>

namespace {

using namespace quarn;

/// Short of all that a fetch needs here, where the server closes the connection at once.
const detail::HttpLimits limits{.HeaderBytes = 2000, .BodyBytes = 5000};

bool MayBeInChunks(std::string reply) {
    std::transform(reply.begin(), reply.end(), reply.begin(), [](unsigned char c) { return std::tolower(c); });
    return reply.find("transfer-encoding") != std::string::npos;
}

void RequirePlainLines(std::string text) {
    const std::size_t size = text.size();
    detail::MakePlainLines(text);
    fuzz::Require(text.find('\r') == std::string::npos && text.size() <= 2 * size);
}

}  // namespace

/// Any bytes as what a server answers before it closes the connection.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    static const wxInitializer isInUse;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    static testing::LoopbackServer server("");
    server.Answer(bytes);
    detail::HttpReply reply;
    if (fuzz::IsRefused([&] { reply = detail::FetchFile(server.Host(), "file", limits); })) {
        fuzz::Require(bytes.size() > limits.BodyBytes || bytes.starts_with("HTTP/"));
        return 0;
    }
    fuzz::Require(reply.Body.size() <= limits.BodyBytes);
    fuzz::Require(!reply.IsComplete || (reply.Status >= 200 && reply.Status <= 299));
    fuzz::Require(reply.IsComplete == detail::WhyNotFetched(reply, server.Host(), "file").empty());
    fuzz::Require(MayBeInChunks(bytes) || bytes.find(reply.Body) != std::string::npos);
    RequirePlainLines(reply.Body);
    return 0;
}
