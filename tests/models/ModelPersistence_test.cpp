#include "../support/CommaLocale.h"
#include "../support/Damage.h"
#include "../support/Matrices.h"
#include "../support/TemporaryFile.h"

#include <quarn/models/Model.h>

#include <gtest/gtest.h>

#include <fstream>
#include <limits>
#include <new>
#include <random>
#include <sstream>

namespace {

using namespace quarn;
using namespace quarn::testing;
using Names = std::vector<std::string>;

constexpr double Infinity = std::numeric_limits<double>::infinity();

std::shared_ptr<MatrixXd> Shared(MatrixXd matrix) { return std::make_shared<MatrixXd>(std::move(matrix)); }

/// A model with something in every field.
Model Finished() {
    Model model;
    model.ModelCode = 12;
    model.ModelType = "Probit";
    model.ModelCommand = "probit(y ~ x)";
    model.ModelFlag = true;
    model.SetTableTop("Probit\n\nObs.: 2");
    model.ElapsedTime = "0.5";
    model.SamplesNames = {"a", "", "b c"};
    model.Samples = Shared(MatrixXd(2, 3));
    *model.Samples << 0.1, std::nan(""), -0.0, Infinity, 1e300, -1.0 / 3;
    model.ObsId = Shared(MatrixXd::Ones(2, 1));
    model.Summary.SetDepVars({"y"});
    model.Summary.SetIndVars({"a", "", "b c"});
    model.Summary.SetSummaryMatrix(MatrixXd::Constant(3, 2, 0.25));
    model.Summary.SetSpacesVector(VectorXi::Constant(1, 3));
    model.IntList = {-1, 2147483647};
    model.IntLists = {{5}, {}, {6, 7}};
    model.Elements = {{"logML", Shared(MatrixXd::Constant(1, 1, -10.5))}, {"empty", Shared(MatrixXd(0, 4))}};
    model.HiddenElements = {{"null", nullptr}};
    model.DatasetChanged = true;
    model.DatasetLink = "dataset7";
    return model;
}

const std::string passage =
    "12\nProbit\nprobit(y ~ x)\ntrue\n2\nProbit\n\nObs.: 2\n0.5\n3\na~~b c\n"
    "2~3\n0.10000000000000001~nan~-0\ninf~1.0000000000000001e+300~-0.33333333333333331\n2~1\n1\n1\n"
    "1\ny\n3\na~~b c\n3~2\n0.25~0.25\n0.25~0.25\n0.25~0.25\n1\n3\n"
    "2~-1~2147483647\n3\n1~5\n0\n2~6~7\n2\nempty~0~4\nlogML~1~1\n-10.5\n1\nnull~0~0\ntrue\nfalse\ndataset7\n";

std::string Saved(const Model& model) {
    std::ostringstream stream;
    model.SaveModel(stream);
    return stream.str();
}

Model Loaded(const std::string& text) {
    std::istringstream stream(text);
    return Model(stream);
}

TEST(ModelPersistence, WritesThePassageLineByLine) {
    {
        const ForeignNumbers foreign;
        EXPECT_EQ(Saved(Finished()), passage);
        EXPECT_EQ(Saved(Loaded("m\n" + passage)), passage);
    }
    std::ostringstream failed;
    failed.setstate(std::ios::failbit);
    Finished().SaveModel(failed);
    EXPECT_EQ(failed.str(), "");
}

TEST(ModelPersistence, TakesItsPassageAndNothingBehindIt) {
    std::vector<Model> models(8, Finished());
    const char* const tops[] = {"", "\n", "one line", "ends\n", "a\r\n\n\nb"};
    for (std::size_t i = 0; i < std::size(tops); ++i) models[i].SetTableTop(tops[i]);
    models[0].DatasetLink.clear();
    models[1].SamplesNames = {"one"};
    models[2].Samples = Shared(MatrixXd(5, 0));
    models[3].ObsId = nullptr;
    models[4].Summary = {};
    models[5] = Model();
    models[6].IntList.assign(100000, 3);
    models[7].Samples = Shared(MatrixXd::Random(3000, 40));
    std::string workspace;
    for (const Model& model : models) workspace += "m\n" + Saved(model);
    const TemporaryFile file(workspace + "rest");
    std::ifstream stream(file.Path());
    for (const Model& model : models) {
        const Model loaded(stream);
        EXPECT_EQ(Saved(loaded), Saved(model));
        EXPECT_EQ(loaded.ModelName, "m");
        EXPECT_EQ(loaded.DatasetLink, model.DatasetLink);
    }
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(stream), {}), "rest");
}

TEST(ModelPersistence, LoadsWhatACutPassageStillHolds) {
    const Model cut = Loaded(("m\n" + passage).substr(0, passage.find("inf~") + 5));  // "inf"
    MatrixXd samples = *Finished().Samples;
    samples.row(1).setConstant(Infinity);
    EXPECT_TRUE(SameCells(*cut.Samples, samples));
    EXPECT_TRUE(cut.ObsId->size() == 0 && cut.Summary.IndVars.empty() && cut.Elements.empty());
    EXPECT_TRUE(Loaded("").ModelCode == 0 && Loaded("").ModelType.empty());
    EXPECT_EQ(Loaded("m\n1\n\n\n\n2147483647\na\nb").TableTop->size(), 4U);
    EXPECT_EQ(Loaded("m\n1\n\n\n\n0\ntop\n1\n5\na~b~c").SamplesNames, (Names{"a", "b", "c", "", ""}));
}

/// The passage with its first occurrence of a text replaced.
std::string With(const std::string& text, const std::string& replacement) {
    std::string changed = "m\n" + passage;
    return changed.replace(changed.find(text), text.size(), replacement);
}

TEST(ModelPersistence, EndsAtOnceWhateverTheCountsSay) {
    const std::string huge = "2147483647";
    for (const std::string& refused :
         {With("2~3\n", "-2~3\n"), With("2~3\n", "2~-3\n"), With("2~3\n", huge + "~" + huge + "\n"),
          With("2~3\n", "2~30000\n"), With("3\na~~b", huge + "\na~~b"), With("2~-1", huge + "~-1"),
          With("2~6~7", "60000~6~7"), With("0~4", "0~-4"), With("logML~1~1", "logML~1~65000"),
          With("1\n3\n2~-1", "99999999\n3\n2~-1")})
        EXPECT_THROW(Loaded(refused), std::bad_alloc) << refused;
    for (const std::string& read :
         {With("3\n1~5", huge + "\n1~5"), With("2\nempty", huge + "\nempty"), With("2\nProbit\n", huge + "\nProbit\n"),
          With("3\na~~b", "-1\na~~b"), With("3\n1~5", "-1\n1~5"), With("2~-1", "-2~-1")})
        Loaded(read);
    // Many small claims on few bytes: of lists, names and elements.
    std::string claims;
    for (int i = 0; i < 20000; ++i) claims += "65536\n";
    EXPECT_THROW(Loaded(With("3\n1~5", "20000\n" + claims)), std::bad_alloc);
    claims.clear();
    for (int i = 0; i < 20000; ++i) claims += std::to_string(i) + "~1~65536\n1\n";
    EXPECT_THROW(Loaded(With("2\nempty", "20000\n" + claims)), std::bad_alloc);
}

/// Loads a passage that need not be one, saves and loads what is left of it, and prints that.
void UseDamaged(const std::string& damaged) {
    const Model model = Loaded(damaged);
    const std::string saved = Saved(model);
    EXPECT_EQ(Saved(Loaded("m\n" + saved)), saved) << damaged;
    std::ostringstream page;
    model.PrintResults(EventDispatcher(MakeStreamSink(page, TerminalStyle::None)));
}

TEST(ModelPersistence, SurvivesDamage) {
    const std::string whole = "m\n" + passage;
    for (std::size_t i = 0; i < whole.size(); ++i) IsRefused([&] { UseDamaged(whole.substr(0, i)); });
    std::mt19937_64 engine(43);
    int refused = 0;
    for (int i = 0; i < 5500; ++i) refused += IsRefused([&] { UseDamaged(Damaged(whole, engine)); }) ? 1 : 0;
    EXPECT_GT(refused, 20);
}

TEST(ExportSamples, WritesSixDigitsWithoutQuoting) {
    Model model = Finished();
    const TemporaryFile file("what stood there before, and was longer than what replaces it by far");
    ASSERT_TRUE(model.ExportSamples(file.Path(), ','));
    EXPECT_EQ(file.Read(), "a,,b c\n0.1,nan,-0\ninf,1e+300,-0.333333\n");
    model.Samples = nullptr;
    model.SamplesNames = {"a,b"};
    ASSERT_TRUE(model.ExportSamples(file.Path(), ';'));
    EXPECT_EQ(file.Read(), "a,b\n");
    EXPECT_FALSE(model.ExportSamples("/nowhere/samples.csv", ','));
    EXPECT_FALSE(model.ExportSamples("/dev/full", ','));
}

}  // namespace
