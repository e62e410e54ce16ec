#pragma once

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <string>
#include <string_view>
#include <unistd.h>

namespace quarn::testing {

/// A file of its own name that is gone when this object is. It lies in memory where the system has a place for that:
/// thousands of small files on a disk take seconds.
class TemporaryFile {
 public:
    explicit TemporaryFile(std::string_view bytes = {}) : m_path(Folder() / "quarn_test_XXXXXX") {
        const int descriptor = mkstemp(m_path.data());
        if (descriptor < 0) throw std::runtime_error("cannot make " + m_path);
        close(descriptor);
        Write(bytes);
    }
    TemporaryFile(const TemporaryFile&) = delete;
    TemporaryFile& operator=(const TemporaryFile&) = delete;
    ~TemporaryFile() { std::remove(m_path.c_str()); }

    const std::string& Path() const { return m_path; }

    void Write(std::string_view bytes) {
        std::ofstream(m_path, std::ios::binary).write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    }

    std::string Read() const {
        std::ifstream stream(m_path, std::ios::binary);
        return {std::istreambuf_iterator<char>(stream), {}};
    }

 private:
    static std::filesystem::path Folder() {
        return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : std::filesystem::temp_directory_path();
    }

    std::string m_path;
};

}  // namespace quarn::testing
