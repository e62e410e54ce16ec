#pragma once

#include "Matrices.h"

#include <quarn/datasets/Dataset.h>

#include <algorithm>
#include <string>

namespace quarn::testing {

/// What differs between two imports, or "".
inline std::string Difference(const Dataset& a, const Dataset& b) {
    if (a.Loaded != b.Loaded || a.StatusText != b.StatusText) return "status: " + a.StatusText + " / " + b.StatusText;
    if (a.VarNames != b.VarNames || a.NumVars != b.NumVars) return "names";
    if (a.NumObs != b.NumObs) return "number of observations";
    if (!SameCells(a.Data, b.Data)) return "cells";
    const auto sameString = [](const auto& x, const auto& y) {
        return x.first == y.first && x.second.Column == y.second.Column && x.second.Name == y.second.Name &&
               x.second.Values == y.second.Values;
    };
    if (!std::equal(a.StringVars.begin(), a.StringVars.end(), b.StringVars.begin(), b.StringVars.end(), sameString))
        return "strings";
    return "";
}

}  // namespace quarn::testing
