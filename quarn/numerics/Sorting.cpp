#include <quarn/base/LargeTables_detail.h>
#include <quarn/numerics/SortKeys_detail.h>
#include <quarn/numerics/Sorting.h>

#include <algorithm>
#include <cstdint>

namespace quarn {
namespace {

using Eigen::Index;

template <class Vector>
VectorXi OrderOfVector(const Vector& x) {
    return detail::OrderOf(std::vector{x.data()}, x.size());
}

template <class Scalar>
void Gather(const Scalar* from, const VectorXi& p, Scalar* to) {
    for (const int position : p) *to++ = from[position];
}

template <class Vector, class View>
Vector GatherVector(const View& x, const VectorXi& p) {
    Vector gathered(p.size());
    Gather(x.data(), p, gathered.data());
    return gathered;
}

template <class Matrix>
Matrix GatherRows(const Matrix& m, const VectorXi& p) {
    Matrix gathered;
    detail::ResizeUninitialised(gathered, p.size(), m.cols());
    for (Index j = 0; j < m.cols(); ++j) Gather(m.col(j).data(), p, gathered.col(j).data());
    return gathered;
}

template <class Matrix>
VectorXi OrderOfRows(const Matrix& m, const VectorXi& columns) {
    std::vector<const typename Matrix::Scalar*> keys;
    for (const int column : columns) keys.push_back(m.col(column).data());
    return detail::OrderOf(keys, m.rows());
}

template <class Matrix>
Matrix SortRows(const Matrix& m, const VectorXi& columns, VectorXi& order) {
    const VectorXi p = OrderOfRows(m, columns);
    order = GatherVector<VectorXi>(order, p);
    return GatherRows(m, p);
}

/// A string with its first eight bytes as a number, which decides most comparisons without a look at the text.
struct PrefixedString {
    std::uint64_t prefix;
    const std::string* text;

    explicit PrefixedString(const std::string& string) : prefix(0), text(&string) {
        for (std::size_t i = 0; i < sizeof prefix; ++i) {
            prefix = prefix << 8 | (i < string.size() ? static_cast<unsigned char>(string[i]) : 0U);
        }
    }
    friend bool operator<(const PrefixedString& a, const PrefixedString& b) {
        return a.prefix != b.prefix ? a.prefix < b.prefix : *a.text < *b.text;
    }
};

}  // namespace

VectorXi SortIndex(const Eigen::Ref<const VectorXd>& x) { return OrderOfVector(x); }
VectorXi SortIndex_int(const Eigen::Ref<const VectorXi>& x) { return OrderOfVector(x); }

VectorXd SortVector(const Eigen::Ref<const VectorXd>& x) { return SortVector(x, SortIndex(x)); }
VectorXi SortVector_int(const Eigen::Ref<const VectorXi>& x) { return SortVector_int(x, SortIndex_int(x)); }
VectorXd SortVector(const Eigen::Ref<const VectorXd>& x, const VectorXi& p) { return GatherVector<VectorXd>(x, p); }
VectorXi SortVector_int(const Eigen::Ref<const VectorXi>& x, const VectorXi& p) { return GatherVector<VectorXi>(x, p); }

MatrixXd SortMatrix(const MatrixXd& m, const VectorXi& p) { return GatherRows(m, p); }
MatrixXi SortMatrix_int(const MatrixXi& m, const VectorXi& p) { return GatherRows(m, p); }

MatrixXd SortMatrixVarIndex(const MatrixXd& m, const VectorXi& columns) {
    return GatherRows(m, OrderOfRows(m, columns));
}
MatrixXd SortMatrixVarIndex(const MatrixXd& m, const VectorXi& columns, VectorXi& order) {
    return SortRows(m, columns, order);
}
MatrixXi SortMatrixVarIndex_int(const MatrixXi& m, const VectorXi& columns, VectorXi& order) {
    return SortRows(m, columns, order);
}

VectorXi SortOrderToInt(const std::vector<std::string>& strings) {
    std::vector<PrefixedString> sorted(strings.begin(), strings.end());
    std::sort(sorted.begin(), sorted.end());
    VectorXi ranks(static_cast<Index>(strings.size()));
    const std::string noValue = "__Quarn_SYSTEM_DEFAULT_STRING___";
    const std::string* previous = &noValue;
    int rank = -1;
    for (const PrefixedString& string : sorted) {
        if (*string.text != *previous) {
            ++rank;
            previous = string.text;
        }
        ranks[string.text - strings.data()] = rank;
    }
    return ranks;
}

MatrixXd matrixSort(const MatrixXd& X) {
    MatrixXd sorted(X.rows(), X.cols());
    for (Index j = 0; j < X.cols(); ++j) sorted.col(j) = SortVector(X.col(j));
    return sorted;
}

MatrixXd matrixSortRowwise(const MatrixXd& X) { return matrixSort(X.transpose()).transpose(); }

}  // namespace quarn
