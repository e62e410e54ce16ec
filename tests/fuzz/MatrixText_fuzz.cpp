#include "../support/Matrices.h"
#include "Property.h"

namespace {

using namespace quarn;

/// A body of the saved form, read as the slow way: line by line, cell by cell with strtod.
void RequireBody(const std::string& text, int rows, int columns, char delimiter) {
    std::istringstream stream(text), lines(text);
    MatrixXd matrix = MatrixXd::Constant(rows, columns, -1.0), expected = MatrixXd::Zero(rows, columns);
    LoadMatrix(stream, matrix, rows, columns, delimiter);
    for (int i = 0; i < rows; ++i) {
        std::string line, cell;
        if (!std::getline(lines, line)) break;
        std::istringstream cells(line + delimiter);
        double value = 0.0;
        for (int j = 0; j < columns; ++j) {
            if (std::getline(cells, cell, delimiter)) value = std::strtod(cell.c_str(), nullptr);
            expected(i, j) = value;
        }
    }
    fuzz::Require(testing::SameCells(matrix, expected));
    fuzz::Require(fuzz::Rest(stream) == fuzz::Rest(lines));
}

void RequireComesBack(const MatrixXd& matrix) {
    std::stringstream passage(fuzz::Saved(matrix) + "rest");
    std::string line;
    std::getline(passage, line);
    fuzz::Require(line == std::to_string(matrix.rows()) + "~" + std::to_string(matrix.cols()));
    MatrixXd again(matrix.rows(), matrix.cols());
    if (matrix.size() != 0)
        LoadMatrix(passage, again, static_cast<int>(matrix.rows()), static_cast<int>(matrix.cols()), '~');
    else
        std::getline(passage, line);
    fuzz::Require(fuzz::Saved(again) == fuzz::Saved(matrix));
    fuzz::Require(fuzz::Rest(passage) == "rest");
}

}  // namespace

/// Any bytes as a matrix, with and without a shape that is known before.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    fuzz::Input input(data, size);
    const auto delimiter = static_cast<char>(input.Byte());
    const int rows = input.Byte() % 32, columns = input.Byte() % 32;
    const std::string text = input.Rest();
    if (delimiter != '\n') RequireBody(text, rows, columns, delimiter);
    std::istringstream stream(text);
    MatrixXd matrix;
    if (!fuzz::IsRefused([&] { matrix = LoadMatrix(stream, delimiter); })) RequireComesBack(matrix);
    return 0;
}
