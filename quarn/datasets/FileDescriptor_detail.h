#pragma once

#include <cerrno>
#include <cstddef>
#include <optional>
#include <unistd.h>
#include <utility>

/// Files and sockets of the operating system.
namespace quarn::detail {

/// Closes what it holds; a negative descriptor is none.
class FileDescriptor {
 public:
    explicit FileDescriptor(int descriptor) : m_descriptor(descriptor) {}
    FileDescriptor(FileDescriptor&& other) noexcept : m_descriptor(std::exchange(other.m_descriptor, -1)) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    FileDescriptor& operator=(FileDescriptor&&) = delete;
    ~FileDescriptor() {
        if (m_descriptor >= 0) close(m_descriptor);
    }
    int Get() const { return m_descriptor; }

 private:
    int m_descriptor;
};

/// A system call, again while signals interrupt it; nothing on failure.
template <class Call>
std::optional<std::size_t> Retried(Call&& call) {
    for (;;) {
        const auto got = call();
        if (got >= 0) return static_cast<std::size_t>(got);
        if (errno != EINTR) return std::nullopt;
    }
}

}  // namespace quarn::detail
