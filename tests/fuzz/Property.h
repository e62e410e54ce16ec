#pragma once

#include "../support/Damage.h"

#include <quarn/datasets/Dataset.h>
#include <quarn/numerics/MatrixText.h>

#include <cstdio>
#include <cstdlib>
#include <sstream>
#include <string>
#include <string_view>

/// What the fuzz targets share: a failed property, and values as text by which they are compared bit by bit.
namespace quarn::fuzz {

using testing::IsRefused;

/// Ends the process, which the fuzzer reports and keeps the bytes of, where a property does not hold.
inline void Require(bool holds, const char* file = __builtin_FILE(), int line = __builtin_LINE()) {
    if (holds) return;
    std::fprintf(stderr, "%s:%d: a property does not hold\n", file, line);
    std::abort();
}

/// The bytes of an input, the first ones taken as settings. A missing one is 0.
class Input {
 public:
    Input(const unsigned char* data, std::size_t size) : m_rest(reinterpret_cast<const char*>(data), size) {}

    unsigned char Byte() {
        if (m_rest.empty()) return 0;
        const auto byte = static_cast<unsigned char>(m_rest.front());
        m_rest.remove_prefix(1);
        return byte;
    }
    std::string Rest() const { return std::string(m_rest); }

 private:
    std::string_view m_rest;
};

/// The passage that save writes into a stream.
template <class Save>
std::string Passage(const Save& save) {
    std::ostringstream stream;
    save(stream);
    Require(stream.good());
    return stream.str();
}

inline std::string Saved(const Dataset& dataset) {
    return Passage([&](std::ostream& stream) { dataset.SaveDataset(stream); });
}

inline std::string Saved(const MatrixXd& matrix) {
    return Passage([&](std::ostream& stream) { SaveMatrix(matrix, stream); });
}

/// What is left of a stream.
inline std::string Rest(std::istream& stream) { return {std::istreambuf_iterator<char>(stream), {}}; }

/// The invariants that Dataset.h states, and that a passage of the dataset brings all of it back.
inline void RequireComesBack(const Dataset& dataset) {
    Require(dataset.Data.rows() == dataset.NumObs && dataset.Data.cols() == dataset.NumVars);
    Require(static_cast<int>(dataset.VarNames.size()) == dataset.NumVars);
    for (const auto& [column, text] : dataset.StringVars) {
        Require(column >= 0 && column < dataset.NumVars && text.Column == column);
        Require(static_cast<int>(text.Values.size()) == dataset.NumObs);
    }
    const std::string saved = Saved(dataset);
    std::istringstream stream("key~" + saved + "rest");
    const Dataset again(stream);
    Require(Saved(again) == saved && again.VarNames == dataset.VarNames && again.Name == "key");
    for (const auto& [column, text] : dataset.StringVars) Require(again.StringVars.at(column).Values == text.Values);
    Require(Rest(stream) == "rest");
}

}  // namespace quarn::fuzz
