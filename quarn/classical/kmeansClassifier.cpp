// Why the recursion over subsets finds what a comparison of all permutations finds, to the last bit: rounded addition
// is monotone, so that of two sums of the first terms the smaller one never ends in the larger total. The least total
// of all permutations, summed from the first component on, is therefore the recursion of least partial sums, in the
// same arithmetic; and a permutation can be built up from its first entry by asking whether that total is still in
// reach.

#include <quarn/classical/MixtureSteps_detail.h>
#include <quarn/classical/kmeansClassifier.h>
#include <quarn/numerics/DescriptiveStatistics.h>

#include <algorithm>
#include <bit>
#include <cstddef>
#include <limits>
#include <vector>

namespace quarn {
namespace {

using Eigen::Index;

class Assignment {
 public:
    explicit Assignment(int K) : distances(K, K), m_K(K) {}

    /// Of component j of the draw (row) from component k of the reference (column).
    MatrixXd distances;

    template <class Row>
    void Find(Row permutation) {
        for (int j = 0; j < m_K; ++j) permutation[j] = j;
        double identity = 0.0, bound = 0.0;
        for (Index j = 0; j < m_K; ++j) {
            identity += distances(j, j);
            bound += distances.row(j).minCoeff();
        }
        if (!(bound < identity)) return;  // NaN stays with the identity, too
        m_rest.resize(static_cast<std::size_t>(m_K));
        for (int k = 0; k < m_K; ++k) m_rest[static_cast<std::size_t>(k)] = k;
        const double least = LeastTotal(0.0);
        if (least < identity) BuildUp(least, permutation);
    }

 private:
    /// The first permutation, in lexicographic order, with the total `least`.
    template <class Row>
    void BuildUp(double least, Row permutation) {
        double sum = 0.0;
        for (int j = 0; j < m_K; ++j) {
            for (std::size_t i = 0;; ++i) {
                const int k = m_rest[i];
                const double extended = sum + distances(j, k);
                m_rest.erase(m_rest.begin() + static_cast<std::ptrdiff_t>(i));
                if (extended <= least && LeastTotal(extended) == least) {
                    permutation[j] = k;
                    sum = extended;
                    break;
                }
                m_rest.insert(m_rest.begin() + static_cast<std::ptrdiff_t>(i), k);
            }
        }
    }

    /// The least total of the permutations that begin with sum `start` and place the components m_rest behind.
    double LeastTotal(double start) {
        const std::size_t count = m_rest.size(), subsets = std::size_t{1} << std::min<std::size_t>(count, 59);
        if (m_least.size() < subsets) m_least.resize(subsets);
        const Index first = m_K - static_cast<Index>(count);
        m_least[0] = start;
        for (std::size_t subset = 1; subset < subsets; ++subset) {
            const Index j = first + std::popcount(subset) - 1;
            double least = std::numeric_limits<double>::infinity();
            for (std::size_t left = subset; left != 0; left &= left - 1) {
                const auto last = static_cast<std::size_t>(std::countr_zero(left));
                const double sum = m_least[subset ^ (std::size_t{1} << last)] + distances(j, m_rest[last]);
                least = sum < least ? sum : least;
            }
            m_least[subset] = least;
        }
        return m_least[subsets - 1];
    }

    int m_K;
    std::vector<int> m_rest;      ///< components not yet placed, ascending
    std::vector<double> m_least;  ///< by subset of m_rest: least sum with these placed next
};

RowVectorXd Reference(const MatrixXd& draws, const RowVectorXd& sd, Index count) {
    MatrixXd first = draws.topRows(count);
    first.array().rowwise() /= sd.array();
    RowVectorXd mean;
    matrixMean(first, mean);
    return mean;
}

}  // namespace

kmeansClassifier::kmeansClassifier(const std::shared_ptr<MatrixXd>& draws, int K, int nInitial)
    : classification(draws->rows(), K) {
    const Index R = draws->rows(), m = draws->cols() / K;
    for (int j = 0; j < K; ++j) classification.col(j).setConstant(j);
    if (R == 0 || nInitial < 1) return;
    const RowVectorXd sd = matrixVar(*draws).cwiseSqrt();
    const RowVectorXd reference = Reference(*draws, sd, std::min<Index>(R, nInitial));
    Assignment assignment(K);
    RowVectorXd draw(draws->cols());
    for (Index r = 0; r < R; ++r) {
        draw = draws->row(r).cwiseQuotient(sd);
        for (Index j = 0; j < K; ++j) {
            for (Index k = 0; k < K; ++k) {
                double square = 0.0;
                for (Index c = 0; c < m; ++c) {
                    const double distance = draw[j * m + c] - reference[k * m + c];
                    square += distance * distance;
                }
                assignment.distances(j, k) = square;
            }
        }
        assignment.Find(classification.row(r));
    }
}

VectorXd kmeansClassifier::triangMat2Vec(const MatrixXd& M) { return detail::LowerTriangle(M); }

}  // namespace quarn
