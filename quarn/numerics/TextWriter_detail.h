#pragma once

#include <quarn/base/Types.h>
#include <quarn/numerics/NumberFormat_detail.h>

#include <cstddef>
#include <cstdint>
#include <memory>
#include <ostream>
#include <string_view>

namespace quarn::detail {

/// Text for a stream, gathered in blocks. The bytes do not depend on the locale of the process, nor on the locale, the
/// flags or the fill of the stream: nothing but plain bytes reaches it.
class TextWriter {
 public:
    explicit TextWriter(std::ostream& stream);

    TextWriter& operator<<(char c);
    TextWriter& operator<<(std::string_view text);
    TextWriter& operator<<(int number) { return *this << std::int64_t{number}; }
    TextWriter& operator<<(std::int64_t number);
    void Number(double value, int precision);

    /// Rows of numbers, between them the delimiter and a line feed behind each, the last one too.
    void Rows(const MatrixXd& matrix, char delimiter, int precision);

    /// Hands everything to the stream and flushes that. Without it, the end of the text is lost.
    void Flush();

 private:
    static constexpr std::size_t BlockSize = 1 << 16;

    /// Room for a number, or anything else of that length.
    char* Reserve();
    void WriteBlock();

    std::ostream& m_stream;
    std::unique_ptr<char[]> m_block;
    char* m_end;  ///< of what is gathered
};

}  // namespace quarn::detail
