#pragma once

#include <chrono>
#include <cstddef>
#include <memory>
#include <optional>
#include <string>

/// Where the bytes of a delimited text come from.
namespace quarn::detail {

/// Bytes that can be read more than once.
class ByteSource {
 public:
    virtual ~ByteSource() = default;
    /// Reads up to size bytes from offset on into target. Returns how many, 0 at the end; nothing on failure.
    virtual std::optional<std::size_t> Read(char* target, std::size_t size, std::size_t offset) = 0;
};

/// A source over bytes in memory.
std::unique_ptr<ByteSource> MakeMemorySource(std::string bytes);

/// A source over a regular file as long as it is now, or over what comes through a pipe up to its end, which is read
/// into memory first. Null where the path cannot be opened or read, or leads to a directory or a device. A pipe that
/// stays silent for longer than silence counts as one that cannot be read, so that a named pipe without a writer does
/// not hold the caller for ever. Errors: std::bad_alloc.
std::unique_ptr<ByteSource> OpenSource(const std::string& path,
                                       std::chrono::milliseconds silence = std::chrono::seconds(10));

}  // namespace quarn::detail
