#include <quarn/datasets/ByteSource_detail.h>
#include <quarn/datasets/FileDescriptor_detail.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace quarn::detail {
namespace {

class MemorySource final : public ByteSource {
 public:
    explicit MemorySource(std::string bytes) : m_bytes(std::move(bytes)) {}

    std::optional<std::size_t> Read(char* target, std::size_t size, std::size_t offset) override {
        const std::size_t count = std::min(size, m_bytes.size() - std::min(offset, m_bytes.size()));
        if (count > 0) std::memcpy(target, m_bytes.data() + offset, count);
        return count;
    }

 private:
    std::string m_bytes;
};

class FileSource final : public ByteSource {
 public:
    FileSource(FileDescriptor file, std::size_t size) : m_file(std::move(file)), m_size(size) {}

    /// Bytes that are appended while we read are left for another time; a file cut short meanwhile is a failure.
    std::optional<std::size_t> Read(char* target, std::size_t size, std::size_t offset) override {
        const std::size_t wanted = std::min(size, m_size - std::min(offset, m_size));
        if (wanted == 0) return 0;
        const auto got = Retried([&] { return pread(m_file.Get(), target, wanted, static_cast<off_t>(offset)); });
        if (got && *got == 0) return std::nullopt;
        return got;
    }

 private:
    FileDescriptor m_file;
    std::size_t m_size;
};

bool WaitForInput(int descriptor, std::chrono::milliseconds silence) {
    pollfd entry{.fd = descriptor, .events = POLLIN, .revents = 0};
    const auto ready = Retried([&] { return poll(&entry, 1, static_cast<int>(silence.count())); });
    return ready && *ready > 0;
}

std::optional<std::string> ReadStream(int descriptor, bool mayBeSilent, std::chrono::milliseconds silence) {
    std::string bytes;
    std::array<char, std::size_t{1} << 16> block;
    for (;;) {
        if (mayBeSilent && !WaitForInput(descriptor, silence)) return std::nullopt;
        const auto got = Retried([&] { return read(descriptor, block.data(), block.size()); });
        if (!got) return std::nullopt;
        if (*got == 0) return bytes;
        bytes.append(block.data(), *got);
    }
}

}  // namespace

std::unique_ptr<ByteSource> MakeMemorySource(std::string bytes) {
    return std::make_unique<MemorySource>(std::move(bytes));
}

std::unique_ptr<ByteSource> OpenSource(const std::string& path, std::chrono::milliseconds silence) {
    // Without O_NONBLOCK a pipe that nobody writes to would already hold us here.
    FileDescriptor file(open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC));
    struct stat status {};
    if (file.Get() < 0 || fstat(file.Get(), &status) != 0) return nullptr;
    const bool pipe = S_ISFIFO(status.st_mode);
    if (!pipe && !S_ISREG(status.st_mode)) return nullptr;
    // Files of the kernel state a size of 0, whatever they hold.
    if (!pipe && status.st_size > 0)
        return std::make_unique<FileSource>(std::move(file), static_cast<std::size_t>(status.st_size));
    auto bytes = ReadStream(file.Get(), pipe, silence);
    return bytes ? MakeMemorySource(std::move(*bytes)) : nullptr;
}

}  // namespace quarn::detail
