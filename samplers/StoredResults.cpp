#include <samplers/StoredResults.h>

#include <algorithm>
#include <numeric>

namespace quarn::samplers {

bool HasDraws(const Model& model, Eigen::Index least, const std::string& kind, std::string& message) {
    if (least >= 0 && model.Samples && model.Samples->rows() > 0 && model.Samples->cols() >= least) return true;
    message = "The model lacks results that " + kind + " has.";
    return false;
}

Eigen::Index SumOfSizes(const std::vector<int>& sizes) {
    const bool isSane = std::all_of(sizes.begin(), sizes.end(), [](int size) { return size >= 0; });
    const auto sum = std::accumulate(sizes.begin(), sizes.end(), Eigen::Index{0});
    return isSane && sum > 0 ? sum : -1;
}

}  // namespace quarn::samplers
