#include "../support/Matrices.h"
#include "../support/Messages.h"
#include "../support/Tables.h"

#include <quarn/datasets/Declaration_detail.h>
#include <quarn/models/Model.h>

#include <gtest/gtest.h>

namespace {

using quarn::Dataset;
using quarn::MatrixXd;
using namespace quarn::testing;

const std::string NoVariable = "QuarnSystemVar_DefaultVarName";
const std::string DuplicateTimes =
    "The time variable contains duplicate values. If the dataset is a panel, use the \"set_pd\" function.";

/// Four observations: t = 3, 1, 2, 5; g = 1, 1, 2, 2; x; the string variables q (quarters) and m (months); firm.
Dataset Example() {
    MatrixXd data = MatrixXd::Ones(4, 7);
    data.leftCols<4>() << 1, 3, 1, 0.5,  //
        2, 1, 1, 0.5,                    //
        3, 2, 2, 0.25,                   //
        4, 5, 2, 4;
    data.col(6) << 7, 8, 7, 9;
    Dataset dataset = MakeTable("id t g x q m firm", data);
    SetText(dataset, 4, {"2000q3", "2000q1", "2000q2", "2001q1"});
    SetText(dataset, 5, {"2000m3", "2000m1", "2000m3", "2001m1"});
    SetText(dataset, 6, {"7 a", "8 b", "7 c", "9 d"});
    return dataset;
}

/// Everything that a declaration consists of, as text.
std::string Declared(const Dataset& dataset) {
    std::string text = std::to_string(dataset.DatasetType) + " " + dataset.TimeVariable + " " + dataset.GroupVariable +
                       " " + dataset.TimeFormat + (dataset.TransformedSinceDeclaration ? " stale" : "");
    for (const auto& [column, variable] : dataset.StringVars) {
        if (variable.IsTimeVariable) text += " " + variable.Name;
        for (const int entry : variable.TimeIndex) text += " " + std::to_string(entry);
    }
    return text;
}

std::string Declare(Dataset& dataset, const std::string& time, const std::string& group, const std::string& format) {
    return group.empty() ? dataset.SetTimeSeries(time, format) : dataset.SetPanelData(time, group, format);
}

TEST(Declaration, IsStoredAsAWholeOrNotAtAll) {
    const auto wrong = [](const std::string& function, const std::string& rest) {
        return "The time variable passed as argument to \"" + function + "\" is a " + rest +
               " to indicate the format of the time variable.";
    };
    const std::string isString = "string variable. Use the \"format\" option";
    const std::string isNumber = "numerical variable. Set the \"format\" option to \"index\"";
    const struct {
        std::string time, group, format, status, declared = "";  // nothing declared: as before
    } steps[] = {
        {"q", "", "yyyyqx", "OK", "1 q " + NoVariable + " yyyyqx q 2 0 1 4"},
        {"m", "", "index", wrong("set_ts", isString)},
        {"t", "", "yyyyqx", wrong("set_ts", isNumber)},
        {"nothing", "", "index", "noTimeVar"},
        {"m", "", "yyyymxx", DuplicateTimes},
        {"g", "", "index", DuplicateTimes},
        {"x", "", "index", "The time variable contains non-integer values."},
        {"q", "", "quarters", "Unknown time-series format."},
        {"nothing", "nobody", "index", "noTimeVar"},
        {"t", "nobody", "index", "noGroupVar"},
        {"m", "g", "index", wrong("set_pd", isString)},
        {"t", "g", "none", wrong("set_pd", isNumber)},
        {"t", "x", "index", "The group-id variable contains non-integer values."},
        {"g", "g", "index", "The combinations of group and time variables contain duplicates."},
        {"m", "g", "yyyymxx", "OK", "2 m g yyyymxx m 2 0 2 12"},
        {"q", "firm", "yyyyqx", "OK", "2 q firm yyyyqx q 2 0 1 4"},
        {"t", "g", "index", "OK", "2 t g index"},
        {"t", "", "index", "OK", "1 t " + NoVariable + " index"},
        {"q", "", "yyyyqx", "OK", "1 q " + NoVariable + " yyyyqx q 2 0 1 4"},
    };
    for (const bool isStale : {false, true}) {
        Dataset dataset = Example();
        for (const auto& step : steps) {
            dataset.TransformedSinceDeclaration = isStale;
            const std::string before = Declared(dataset);
            EXPECT_EQ(Declare(dataset, step.time, step.group, step.format), step.status);
            EXPECT_EQ(Declared(dataset), step.declared.empty() ? before : step.declared);
            EXPECT_TRUE(SameCells(dataset.Data, Example().Data));
        }
        dataset.SetCrossSection();
        EXPECT_EQ(Declared(dataset), "0 " + NoVariable + " " + NoVariable + " none q 2 0 1 4");
    }
}

/// The status of CheckType and the type it found.
std::string Check(Dataset& dataset) {
    int type = -1;
    const std::string status = dataset.CheckType(type);
    return status + " " + std::to_string(type);
}

TEST(Declaration, IsCheckedAgainAfterAChange) {
    Dataset dataset = Example();
    EXPECT_EQ(Check(dataset), "OK 0");
    dataset.TransformedSinceDeclaration = true;
    EXPECT_EQ(Check(dataset), "OK 0");
    EXPECT_FALSE(dataset.TransformedSinceDeclaration);

    ASSERT_EQ(dataset.SetTimeSeries("q", "yyyyqx"), "OK");
    dataset.ChangeData(1, 4, std::string("2000q3"));
    EXPECT_EQ(Check(dataset), DuplicateTimes + " 0");
    EXPECT_EQ(quarn::detail::RefreshDeclaration(dataset), StaleSeries);
    EXPECT_EQ(Declared(dataset), "1 q " + NoVariable + " yyyyqx stale q 2 0 1 4");
    dataset.ChangeData(1, 4, std::string("1999q4"));
    EXPECT_EQ(Check(dataset), "OK 1");
    EXPECT_EQ(Declared(dataset), "1 q " + NoVariable + " yyyyqx q 3 0 2 5");

    ASSERT_EQ(dataset.SetPanelData("t", "g", "index"), "OK");
    dataset.ReplaceVariable(Eigen::Vector4d(7, 7, 9, 9), "t");
    EXPECT_EQ(Check(dataset), "The combinations of group and time variables contain duplicates. 0");
    EXPECT_EQ(quarn::detail::RefreshDeclaration(dataset), StalePanel);
    dataset.ReplaceVariable(Eigen::Vector4d(7, 8, 7, 8), "t");
    EXPECT_EQ(quarn::detail::RefreshDeclaration(dataset), "OK");
    EXPECT_FALSE(dataset.TransformedSinceDeclaration);
    dataset.DeleteVariable("g");
    EXPECT_EQ(Check(dataset), "noGroupVar 0");
    dataset.TimeFormat = "none";
    EXPECT_EQ(Check(dataset), "TSVariableHasNoFormat 0");
    EXPECT_EQ(dataset.DatasetType, 2);
    for (const int type : {-1, 3}) {
        dataset.DatasetType = type;
        EXPECT_EQ(Check(dataset), "Unknown dataset type (time-series, panel-data, etc.). 0");
        EXPECT_EQ(quarn::detail::RefreshDeclaration(dataset), "Unknown dataset type (time-series, panel-data, etc.).");
    }
}

TEST(Declaration, OutlivesDeletedNeighboursAndLostCodesButNoNewName) {
    Dataset dataset = Example();
    ASSERT_EQ(dataset.SetPanelData("q", "g", "yyyyqx"), "OK");
    dataset.DeleteVariable("t");  // q stands one column further left
    EXPECT_EQ(quarn::detail::RefreshDeclaration(dataset), "OK");
    EXPECT_EQ(quarn::detail::TimeValues(dataset), Eigen::Vector4d(2, 0, 1, 4));

    dataset.StringVars.at(3).TimeIndex.resize(0);  // as after loading
    EXPECT_FALSE(dataset.TransformedSinceDeclaration);
    EXPECT_EQ(quarn::detail::RefreshDeclaration(dataset), "OK");
    EXPECT_EQ(quarn::detail::TimeValues(dataset), Eigen::Vector4d(2, 0, 1, 4));

    for (const char* name : {"q", "g"}) {
        dataset.RenameVariable(name, "renamed");
        EXPECT_EQ(Check(dataset), "OK 2");
        EXPECT_EQ(quarn::detail::RefreshDeclaration(dataset), StalePanel);
        dataset.RenameVariable("renamed", name);
        EXPECT_EQ(quarn::detail::RefreshDeclaration(dataset), "OK");
    }
    ASSERT_EQ(dataset.SetTimeSeries("q", "yyyyqx"), "OK");
    dataset.DisassociateStringVar(3);
    EXPECT_EQ(quarn::detail::RefreshDeclaration(dataset), StaleSeries);
}

TEST(Declaration, IsMadeAgainByCopyAndTakenOverByAssignment) {
    const auto whole = [](const Dataset& dataset) {
        return dataset.Name.ToStdString() + dataset.StatusText + (dataset.Loaded ? " loaded\n" : "\n") +
               Declared(dataset) + "\n" + Saved(dataset);
    };
    for (const int type : {0, 1, 2}) {
        Dataset dataset = Example();
        dataset.Name = "d";
        dataset.SaveId = "dataset3";
        dataset.StatusText = "text";
        const auto model = std::make_shared<quarn::Model>();
        dataset.AddAssociatedModel(model);
        ASSERT_EQ(Declare(dataset, "q", type == 2 ? "g" : "", "yyyyqx"), "OK");
        if (type == 0) dataset.SetCrossSection();
        const std::string before = whole(dataset);
        const auto copy = dataset.Copy();
        Dataset assigned;
        assigned = dataset;
        const Dataset& itself = assigned;
        assigned = itself;
        dataset.ChangeData(1, 4, "2000q3");
        dataset.Data(0, 3) = 7.0;
        dataset.AddAssociatedModel(model);
        for (const Dataset* const same : std::initializer_list<const Dataset*>{copy.get(), &itself}) {
            EXPECT_EQ(whole(*same), before);
            EXPECT_EQ(same->AssociatedModels, std::vector{model});
        }
        assigned = dataset;
        EXPECT_EQ(whole(assigned), whole(dataset));
        const auto invalid = dataset.Copy();
        EXPECT_TRUE(invalid->DatasetType == 0 && invalid->TransformedSinceDeclaration);
    }
}

}  // namespace
