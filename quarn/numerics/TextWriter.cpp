#include <quarn/numerics/TextWriter_detail.h>

#include <charconv>
#include <cstring>

namespace quarn::detail {

TextWriter::TextWriter(std::ostream& stream)
    : m_stream(stream), m_block(std::make_unique_for_overwrite<char[]>(BlockSize)), m_end(m_block.get()) {}

inline char* TextWriter::Reserve() {
    if (m_block.get() + BlockSize - m_end < NumberRoom) WriteBlock();
    return m_end;
}

TextWriter& TextWriter::operator<<(char c) {
    *Reserve() = c;
    ++m_end;
    return *this;
}

TextWriter& TextWriter::operator<<(std::string_view text) {
    if (text.size() > NumberRoom) {
        WriteBlock();
        m_stream.write(text.data(), static_cast<std::streamsize>(text.size()));
        return *this;
    }
    if (!text.empty()) std::memcpy(Reserve(), text.data(), text.size());
    m_end += text.size();
    return *this;
}

TextWriter& TextWriter::operator<<(std::int64_t number) {
    char* const text = Reserve();
    m_end = std::to_chars(text, text + NumberRoom, number).ptr;
    return *this;
}

void TextWriter::Number(double value, int precision) { m_end = WriteNumber(Reserve(), value, precision); }

void TextWriter::Rows(const MatrixXd& matrix, char delimiter, int precision) {
    for (Eigen::Index row = 0; row < matrix.rows(); ++row) {
        for (Eigen::Index column = 0; column < matrix.cols(); ++column) {
            if (column != 0) *m_end++ = delimiter;
            Number(matrix(row, column), precision);
        }
        *this << '\n';
    }
}

void TextWriter::Flush() {
    WriteBlock();
    m_stream.flush();
}

void TextWriter::WriteBlock() {
    m_stream.write(m_block.get(), m_end - m_block.get());
    m_end = m_block.get();
}

}  // namespace quarn::detail
