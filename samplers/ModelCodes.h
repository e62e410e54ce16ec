#pragma once

#include <quarn/models/Model.h>

namespace quarn::samplers {

/// ModelCode of the models of this folder, from 11 to 99. They stand in saved workspaces: numbers are never given anew.
enum ModelCodes : int {
    LinearRegressionCode = Model::FirstCodeWithDataset,
    BinaryProbitCode,
    MultinomialProbitCode,
    SURCode,
    PanelRegressionCode,
    RegressionMixtureCode,
    AutoregressionCode,
};

}  // namespace quarn::samplers
