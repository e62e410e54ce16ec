#include "Property.h"

#include <quarn/datasets/TimeFormats.h>

#include <algorithm>
#include <array>

namespace {

using namespace quarn;

struct Outcome {
    bool Ok;
    std::string Message;
    VectorXi Index;
    bool operator==(const Outcome& other) const {
        return Ok == other.Ok && Message == other.Message && Index.size() == other.Index.size() && Index == other.Index;
    }
};

const VectorXi untouched = VectorXi::Constant(1, -7);

template <class Convert>
Outcome Result(const Convert& convert) {
    Outcome result{false, "before", untouched};
    result.Ok = convert(result.Index, result.Message);
    fuzz::Require(result.Ok == (result.Message == "OK"));
    return result;
}

void RequireIndex(const Outcome& result, std::size_t observations) {
    if (!result.Ok) {
        fuzz::Require(result.Index == untouched);
        return;
    }
    fuzz::Require(result.Index.size() == static_cast<Eigen::Index>(observations));
    fuzz::Require(observations == 0 || result.Index.minCoeff() == 0);
}

}  // namespace

/// Lines as dates: the format, the number of groups, then a date on each line.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    fuzz::Input input(data, size);
    const std::array<std::string, 4> formats = {"yyyyqx", "yyyymxx", "yyyy/mm/dd", "index"};
    const std::string& format = formats[input.Byte() % formats.size()];
    const int groups = 1 + input.Byte() % 4;
    std::vector<std::string> values;
    std::istringstream lines(input.Rest());
    for (std::string line; std::getline(lines, line);) values.push_back(line);

    const auto series = [&](const std::vector<std::string>& dates) {
        return Result(
            [&](VectorXi& index, std::string& message) { return SetTSFormat_TS(dates, format, index, message); });
    };
    const auto panel = [&](int count) {
        VectorXd group(static_cast<Eigen::Index>(values.size()));
        for (Eigen::Index i = 0; i < group.size(); ++i) group[i] = static_cast<double>(i % count);
        return Result([&](VectorXi& index, std::string& message) {
            return SetTSFormat_PD(values, group, format, index, message);
        });
    };
    const Outcome plain = series(values), grouped = panel(groups), together = panel(1);
    RequireIndex(plain, values.size());
    RequireIndex(grouped, values.size());
    fuzz::Require(together.Ok == plain.Ok && (!plain.Ok || together == plain));
    if (plain.Ok) {
        fuzz::Require(grouped == plain);
        Outcome backward = series({values.rbegin(), values.rend()});
        backward.Index.reverseInPlace();
        fuzz::Require(backward == plain);
    }
    return 0;
}
