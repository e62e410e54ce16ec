#pragma once

#include <quarn/datasets/Dataset.h>

#include <samplers/Sampler.h>

#include <memory>
#include <string>
#include <vector>

namespace quarn::cli {

/// What the user asks to be estimated.
struct Specification {
    std::vector<std::string> Y;
    std::vector<std::vector<std::string>> X;  ///< one list, or one for each equation
    std::vector<std::string> Z;
    bool Constant = false;
    std::string Panel;   ///< "TIME,GROUP", or empty
    std::string Series;  ///< the time variable, or empty
    std::string Format = "index";
    bool Impute = false;
    int Lags = 1;
    int Components = 2;
};

/// A sampler with its data.
struct Prepared {
    std::shared_ptr<samplers::Sampler> Sampler;
    Eigen::Index Used = 0, Inserted = 0;  ///< observations in the sample; those of them that are no rows of the file
    std::vector<std::string> Warnings;    ///< of the library
};

/// A model of `quarn estimate`.
struct ModelKind {
    const char* Name;
    const char* What;  ///< first line of its description
    const char* Uses;  ///< second line: the options that it takes
    unsigned Takes;    ///< the same for the program: a sum of values of ModelKinds.cpp
    Prepared (*Prepare)(Dataset& dataset, const Specification& specification);
};

/// All of them, in the order in which they are shown.
const std::vector<ModelKind>& ModelKinds();

/// Makes the sampler of a model. Throws Failure with the library's message on the data, or with one on options and
/// variables that are lacking or that the model does not take.
Prepared Prepare(const ModelKind& kind, Dataset& dataset, const Specification& specification);

/// The kind of that name; throws Failure with a list of the names if there is none.
const ModelKind& FindModelKind(const std::string& name);

}  // namespace quarn::cli
