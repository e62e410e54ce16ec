#pragma once

#include <quarn/datasets/HttpConnection_detail.h>

#include <string>

namespace quarn::detail {

struct HttpReply {
    int Status = 0;           ///< as the server gave it; 0 where there was no answer
    bool IsComplete = false;  ///< the status is one of success, and the file came whole
    std::string Body;         ///< with a status of success, what came of the file
};

/// Fetches a file by plain HTTP, with the arguments of the constructor of Dataset. No redirection is followed.
/// Errors: std::bad_alloc, also for a body of more than BodyBytes.
HttpReply FetchFile(const std::string& host, const std::string& file, const HttpLimits& limits = {});

/// What a user reads about a reply that does not bring the file; empty for one that does.
std::string WhyNotFetched(const HttpReply& reply, const std::string& host, const std::string& file);

/// The lines of a text as a file on disk has them. CR LF and CR become LF. A byte-order mark goes, and a text that has
/// one of UTF-16 or UTF-32 becomes UTF-8; all other bytes stay as they are.
void MakePlainLines(std::string& text);

}  // namespace quarn::detail
