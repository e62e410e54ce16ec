#pragma once

#include <quarn/datasets/Dataset.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

namespace quarn::testing {

enum PanelColumns : int { IdColumn, GroupColumn, TimeColumn, XColumn, YColumn, TextColumn };

/// What a random panel is like. All are unbalanced and have gaps; x and y have missing and infinite cells.
struct PanelKind {
    bool isInOrder = false;       ///< else the rows are shuffled
    bool hasSparseIds = false;    ///< ids millions apart, else neighbours, negative ones too
    bool hasSparseTimes = false;  ///< times thousands apart
    bool hasFractions = false;    ///< ids and times that are no whole numbers, and the same time twice
    bool hasMissingKeys = false;  ///< groups and times that are NaN or infinite
    bool isStaggered = false;     ///< each group starts long after the one before
    bool hasTextTimes = false;    ///< months as text
};

inline PanelKind RandomKind(std::mt19937_64& engine) {
    const auto maybe = [&engine] { return engine() % 3 == 0; };
    return {maybe(), maybe(), maybe(), maybe(), maybe(), maybe(), maybe()};
}

inline double MissingCell(std::mt19937_64& engine) {
    constexpr double infinity = std::numeric_limits<double>::infinity();
    const double cells[] = {std::numeric_limits<double>::quiet_NaN(), infinity, -infinity};
    return cells[engine() % 3];
}

/// A declared panel of up to `groups` groups with ids, group, time, x, y, text.
inline Dataset RandomPanel(const PanelKind& kind, int groups, std::mt19937_64& engine) {
    const double idStep = kind.hasSparseIds ? 5e6 : (kind.hasFractions ? 0.4 : 1.0);
    const double timeStep = kind.hasSparseTimes && !kind.hasTextTimes ? 3000.0 : (kind.hasFractions ? 0.5 : 1.0);
    std::vector<std::pair<double, double>> keys;
    for (int g = 0; g < groups; ++g) {
        const int start = static_cast<int>(engine() % 7) + (kind.isStaggered ? 100 * (g % 9) : 0),
                  end = start + static_cast<int>(engine() % 9);
        for (int t = start; t < end; ++t)
            for (std::size_t copies = engine() % 5 == 0 ? 0 : (kind.hasFractions ? 1 + engine() % 2 : 1); copies > 0;
                 --copies)
                keys.emplace_back(idStep * (g - groups / 2), timeStep * (kind.hasTextTimes ? t : t - 4));
    }
    if (!kind.isInOrder) std::shuffle(keys.begin(), keys.end(), engine);

    const auto n = static_cast<Eigen::Index>(keys.size());
    wxArrayString names;
    for (const char* name : {"QuarnSystemVar_obsID", "group", "time", "x", "y", "text"}) names.Add(name);
    MatrixXd data(n, 6);
    for (Eigen::Index i = 0; i < n; ++i) {
        const auto& [group, time] = keys[static_cast<std::size_t>(i)];
        data.row(i) << static_cast<double>(100 + 3 * i), group, time, std::normal_distribution<double>()(engine),
            static_cast<double>(engine() % 4), 0.0;
        for (const int column : {XColumn, YColumn})
            if (engine() % 8 == 0) data(i, column) = MissingCell(engine);
        for (const int column : {GroupColumn, TimeColumn})
            if (kind.hasMissingKeys && engine() % 8 == 0) data(i, column) = MissingCell(engine);
    }
    Dataset dataset(names, data);
    dataset.Name = "d";
    StringVar text{TextColumn, "text", std::vector<std::string>(keys.size()), false, {}};
    dataset.StringVars[TextColumn] = text;
    if (kind.hasTextTimes && !kind.hasFractions) {
        for (std::size_t i = 0; i < keys.size(); ++i) {
            const int month = static_cast<int>(keys[i].second);
            dataset.StringVars[TextColumn].Values[i] =
                std::to_string(1990 + month / 12) + "m" + std::to_string(1 + month % 12);
        }
        EXPECT_EQ(dataset.SetPanelData("text", "group", "yyyymxx"), "OK");
    } else if (kind.hasFractions || kind.hasMissingKeys) {
        // What no declaration accepts, by the public fields.
        dataset.DatasetType = 2;
        dataset.TimeVariable = "time";
        dataset.GroupVariable = "group";
        dataset.TimeFormat = "index";
    } else {
        EXPECT_EQ(dataset.SetPanelData("time", "group", "index"), "OK");
    }
    return dataset;
}

/// The time of an observation.
inline double TimeOf(const Dataset& dataset, Eigen::Index row) {
    if (dataset.TimeVariable == "text") return dataset.StringVars.at(TextColumn).TimeIndex[row];
    return dataset.Data(row, TimeColumn);
}

/// Transforms the dataset so that a declaration by numbers no longer holds.
inline void BreakDeclaration(Dataset& dataset) {
    dataset.Data.col(TimeColumn).setOnes();
    dataset.Data.col(GroupColumn).setOnes();
    dataset.TransformedSinceDeclaration = true;
}

}  // namespace quarn::testing
