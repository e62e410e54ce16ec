#include "Commands.h"

#include <filesystem>
#include <system_error>

namespace quarn::cli {

std::string WhyNotOpened(const std::string& file) {
    if (file.starts_with("https://")) return "cannot open: only plain http:// is understood";
    std::error_code error;
    const auto status = std::filesystem::status(file, error);
    if (!std::filesystem::exists(status)) return "cannot open: no such file";
    if (std::filesystem::is_directory(status)) return "cannot open: it is a directory";
    return "cannot open or read it";
}

}  // namespace quarn::cli
