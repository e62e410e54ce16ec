#include "ModelKinds.h"

#include "Commands.h"

#include <quarn/datasets/StatusTexts.h>

#include <samplers/Autoregression.h>
#include <samplers/BinaryProbit.h>
#include <samplers/LinearRegression.h>
#include <samplers/MultinomialProbit.h>
#include <samplers/PanelRegression.h>
#include <samplers/RegressionMixture.h>
#include <samplers/SUR.h>

#include <algorithm>
#include <set>
#include <utility>

namespace quarn::cli {
namespace {

const char* const ConstantName = "constant";

// ---- What a model takes ----

/// Says which options a model needs, and refuses those that it would ignore.
enum Takes : unsigned { SeveralY = 1, Z = 2, OptionalX = 4, XPerEquation = 8, Panel = 16, Series = 32 };

void CheckOptions(const Specification& s, const ModelKind& kind) {
    const unsigned takes = kind.Takes;
    const auto fail = [&kind](const std::string& what) {
        throw Failure(std::string("the model ") + kind.Name + ' ' + what);
    };
    if (!(takes & SeveralY) && s.Y.size() != 1) fail("has one dependent variable (--y)");
    if ((takes & SeveralY) && s.Y.size() < 2) fail("has at least two dependent variables (--y A,B)");
    if (s.X.size() > 1 && !((takes & XPerEquation) && s.X.size() == s.Y.size()))
        fail((takes & XPerEquation) ? "takes one list of regressors (--x), or one for each dependent variable"
                                    : "takes one list of regressors (--x)");
    if (s.X.empty() && !s.Constant && !(takes & OptionalX)) fail("needs regressors (--x, --constant)");
    if (!(takes & Z) && !s.Z.empty()) fail("takes no second group of regressors (--z)");
    if ((takes & Panel) && s.Panel.empty()) fail("needs a panel (--panel TIME,GROUP)");
    if ((takes & Series) && s.Series.empty()) fail("needs a time variable (--series TIME)");
    if (!(takes & Panel) && !s.Panel.empty()) fail("takes no panel (--panel)");
    if (!(takes & Series) && !s.Series.empty()) fail("takes no time variable (--series)");
}

// ---- Names and matrices ----

std::string NameOf(const Dataset& dataset) { return dataset.Name.utf8_string(); }

void CheckVariables(Dataset& dataset, const Specification& s) {
    std::vector<std::string> all = s.Y;
    for (const auto& list : s.X) all.insert(all.end(), list.begin(), list.end());
    all.insert(all.end(), s.Z.begin(), s.Z.end());
    for (const auto& name : all) {
        if (!dataset.VariableExists(name)) throw Failure(NameOf(dataset) + ": there is no variable " + name);
        if (s.Constant && name == ConstantName)
            throw Failure(NameOf(dataset) + ": a variable is named constant; leave out --constant, or rename it");
    }
    for (const auto& list : s.X) {
        std::set<std::string> once(list.begin(), list.end());
        once.insert(s.Z.begin(), s.Z.end());
        if (once.size() != list.size() + s.Z.size()) throw Failure("a regressor is named twice");
        for (const auto& y : s.Y)
            if (once.contains(y)) throw Failure("the dependent variable " + y + " is among the regressors");
    }
}

/// Throws the message of a preparation that has no outputs.
void Require(const std::string& status, const Dataset& dataset) {
    if (status == "noData")
        throw Failure(NameOf(dataset) + ": no observation is left without missing values in these variables");
    if (status == "noTimeVar") throw Failure(NameOf(dataset) + ": the time variable does not exist");
    if (status == "noGroupVar") throw Failure(NameOf(dataset) + ": the group variable does not exist");
    if (status != StatusTexts::OK) throw Failure(NameOf(dataset) + ": " + status);
}

std::vector<std::string> Joined(const std::vector<std::string>& a, const std::vector<std::string>& b) {
    std::vector<std::string> both = a;
    both.insert(both.end(), b.begin(), b.end());
    return both;
}

std::vector<std::string> RegressorsOf(const Specification& s, std::size_t equation = 0) {
    if (s.X.empty()) return {};
    return s.X[s.X.size() == 1 ? 0 : equation];
}

/// The regressors, behind a constant if there is to be one; the names likewise.
MatrixXd WithConstant(const Specification& s, const MatrixXd& X) {
    if (!s.Constant) return X;
    MatrixXd all(X.rows(), X.cols() + 1);
    all << VectorXd::Ones(X.rows()), X;
    return all;
}

std::vector<std::string> WithConstant(const Specification& s, const std::vector<std::string>& names) {
    return s.Constant ? Joined({ConstantName}, names) : names;
}

// ---- The models ----

struct CrossSection {
    MatrixXd X, ids;
    VectorXd y;
    std::vector<std::string> Names;
};

CrossSection PrepareCrossSection(Dataset& dataset, const Specification& s) {
    CrossSection data;
    auto names = Joined(RegressorsOf(s), s.Y);
    Require(dataset.Prepare_CrossSection(names, data.X, data.y, data.ids), dataset);
    data.X = WithConstant(s, data.X);
    data.Names = WithConstant(s, RegressorsOf(s));
    return data;
}

Prepared Linear(Dataset& dataset, const Specification& s) {
    const CrossSection data = PrepareCrossSection(dataset, s);
    return {std::make_shared<samplers::LinearRegression>(data.y, data.X, data.ids, s.Y[0], data.Names),
            data.y.size(),
            0,
            {}};
}

Prepared Autoregression(Dataset& dataset, const Specification& s) {
    const auto regressors = RegressorsOf(s);
    auto names = Joined(s.Y, regressors);
    std::vector<VectorXi> lags(names.size(), VectorXi::Zero(1));
    MatrixXd data, ids;
    MatrixXi unused;
    VectorXd time;
    std::vector<std::vector<int>> missing;
    Prepared prepared;
    Require(dataset.Prepare_TimeSeries(names, lags, static_cast<int>(regressors.size()), data, ids, time, unused,
                                       missing, prepared.Warnings, s.Impute ? 1 : 0),
            dataset);
    const auto K = static_cast<Eigen::Index>(regressors.size());
    // The regressors stand where the preparation leaves them: behind the columns of the dependent variable.
    const auto sampler = std::make_shared<samplers::Autoregression>(
        data.col(0), WithConstant(s, data.rightCols(K)), time, ids, s.Lags, s.Y[0], WithConstant(s, regressors));
    prepared.Sampler = sampler;
    const MatrixXd kept = sampler->GetObsId();
    prepared.Used = kept.rows();
    prepared.Inserted = (kept.array() == -1.0).count();
    return prepared;
}

Prepared PanelRegression(Dataset& dataset, const Specification& s) {
    const auto regressors = RegressorsOf(s);
    auto names = Joined(Joined(s.Z, regressors), s.Y);
    MatrixXd X, ids;
    VectorXd y;
    MatrixXi structure;
    Require(dataset.Prepare_PanelData(names, X, y, ids, structure, false), dataset);
    const auto numZ = static_cast<Eigen::Index>(s.Z.size());
    const MatrixXd own = WithConstant(s, X.rightCols(X.cols() - numZ));
    return {std::make_shared<samplers::PanelRegression>(y, X.leftCols(numZ), own, ids, structure, s.Y[0], s.Z,
                                                        WithConstant(s, regressors)),
            y.size(),
            0,
            {}};
}

Prepared Mixture(Dataset& dataset, const Specification& s) {
    const CrossSection data = PrepareCrossSection(dataset, s);
    return {std::make_shared<samplers::RegressionMixture>(data.y, data.X, data.ids, s.Components, s.Y[0], data.Names),
            data.y.size(),
            0,
            {}};
}

Prepared Probit(Dataset& dataset, const Specification& s) {
    const CrossSection data = PrepareCrossSection(dataset, s);
    return {
        std::make_shared<samplers::BinaryProbit>(data.y, data.X, data.ids, s.Y[0], data.Names), data.y.size(), 0, {}};
}

Prepared MultinomialProbit(Dataset& dataset, const Specification& s) {
    CrossSection data = PrepareCrossSection(dataset, s);
    auto names = Joined(RegressorsOf(s), s.Y);
    int largest = 0;
    VectorXi counts;
    Require(dataset.CheckIntegral(names, largest, counts, 0), dataset);
    samplers::ChoiceData choices{data.y, data.X, {}, data.Names, {}, {}};
    for (int j = 1; j <= largest; ++j) choices.AlternativeNames.push_back(s.Y[0] + " = " + std::to_string(j));
    return {std::make_shared<samplers::MultinomialProbit>(choices, data.ids), data.y.size(), 0, {}};
}

Prepared SUR(Dataset& dataset, const Specification& s) {
    std::vector<std::string> names = s.Y;
    for (const auto& list : s.X) names.insert(names.end(), list.begin(), list.end());
    MatrixXd data, ids;
    Require(dataset.Prepare_CrossSection(names, data, ids), dataset);
    std::vector<MatrixXd> X;
    std::vector<std::vector<std::string>> regressors;
    auto from = static_cast<Eigen::Index>(s.Y.size());
    for (std::size_t m = 0; m < s.Y.size(); ++m) {
        const auto list = RegressorsOf(s, m);
        const auto K = static_cast<Eigen::Index>(list.size());
        X.push_back(WithConstant(s, data.middleCols(from, K)));
        regressors.push_back(WithConstant(s, list));
        if (s.X.size() > 1) from += K;
    }
    const auto M = static_cast<Eigen::Index>(s.Y.size());
    return {std::make_shared<samplers::SUR>(data.leftCols(M), X, ids, s.Y, regressors), data.rows(), 0, {}};
}

}  // namespace

const std::vector<ModelKind>& ModelKinds() {
    static const std::vector<ModelKind> kinds = {
        {"linear", "Linear regression with a normal prior of the coefficients and a gamma prior of the precision.",
         "--y NAME --x NAME,... [--constant]", 0, Linear},
        {"mixture", "Finite mixture of linear regressions, its components put into one order.",
         "--y NAME --x NAME,... [--constant] [--components G]", 0, Mixture},
        {"probit", "Binary probit of a variable of 0 and 1, by data augmentation.",
         "--y NAME --x NAME,... [--constant]", 0, Probit},
        {"mprobit", "Multinomial probit of a choice coded 0, 1, ..., of which 0 is the base.",
         "--y NAME --x NAME,... [--constant]", 0, MultinomialProbit},
        {"sur", "Seemingly unrelated regressions, their errors correlated between equations.",
         "--y NAME,NAME,... --x NAME,... [--x NAME,... for each equation] [--constant]", SeveralY | XPerEquation, SUR},
        {"panel",
         "Panel regression whose coefficients of --x (and --constant) vary between groups; --z has common ones.",
         "--y NAME --panel TIME,GROUP [--x NAME,...] [--constant] [--z NAME,...]", Panel | Z, PanelRegression},
        {"ar", "Autoregression of a time series. Missing values are drawn along with the parameters.",
         "--y NAME --series TIME [--lags P] [--x NAME,...] [--constant] [--impute]", Series | OptionalX,
         Autoregression},
    };
    return kinds;
}

Prepared Prepare(const ModelKind& kind, Dataset& dataset, const Specification& specification) {
    CheckOptions(specification, kind);
    CheckVariables(dataset, specification);
    return kind.Prepare(dataset, specification);
}

const ModelKind& FindModelKind(const std::string& name) {
    std::string names;
    for (const ModelKind& kind : ModelKinds()) {
        if (name == kind.Name) return kind;
        names += (names.empty() ? "" : ", ") + std::string(kind.Name);
    }
    throw Failure("there is no model " + name + "; the models are " + names);
}

}  // namespace quarn::cli
