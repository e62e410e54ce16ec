#include "../support/TemporaryFile.h"
#include "../workspace/Workspaces.h"

#include <quarn/datasets/Dataset.h>
#include <quarn/numerics/MatrixText.h>

#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <future>
#include <map>
#include <sstream>
#include <sys/stat.h>
#include <unistd.h>

namespace {

using namespace quarn;
using quarn::testing::TemporaryFile;

const std::string passage = "d~2~2\n0~none~none~none~0\nid~x\n1~0.5\n2~1.5\n1\n1~x~0\none\ntwo\nkey\n";

/// A workspace of one of each kind, or what a stream gives of it, and its passage.
class Tree {
 public:
    Tree() { quarn::testing::AddOneOfEach(m_top); }
    explicit Tree(std::istream& stream) : m_top(stream, m_datasets) { m_top.AssociateModelsToDatasets(m_datasets); }
    void Save(std::ostream& stream) {
        int counter = 0;
        m_top.NotifyAssociatedModelsForSaving(counter);
        m_top.SaveStructure(stream);
    }
    std::string Text() {
        std::ostringstream stream;
        Save(stream);
        return stream.str();
    }
    const Model& FirstModel() const { return *m_top.Models.begin()->second; }

 private:
    std::map<std::string, std::shared_ptr<Dataset>> m_datasets;
    quarn::testing::Workspace m_top;
};

/// A source that breaks off with an error of the device behind some bytes.
class Breaking : public std::streambuf {
 public:
    explicit Breaking(std::string bytes) : m_bytes(std::move(bytes)) {
        setg(m_bytes.data(), m_bytes.data(), m_bytes.data() + m_bytes.size());
    }

 protected:
    int_type underflow() override { throw std::ios_base::failure("the device is gone"); }

 private:
    std::string m_bytes;
};

TEST(BrokenSources, GiveWhatCameBeforeAndLeaveTheStreamFailed) {
    for (std::size_t length = 0; length < passage.size(); ++length) {
        const std::string start = passage.substr(0, length);
        Breaking broken(start);
        std::istream stream(&broken);
        std::istringstream cut(start.substr(0, start.rfind('\n') + 1));  // half a line counts as none
        const Dataset dataset(stream), expected(cut);
        EXPECT_TRUE(stream.bad() && cut.eof()) << length;
        std::ostringstream text, expectedText;
        dataset.SaveDataset(text);
        expected.SaveDataset(expectedText);
        EXPECT_EQ(text.str(), expectedText.str()) << length;
    }
    const std::string workspace = Tree().Text();
    for (std::size_t length = 0; length != std::string::npos; length = workspace.find('\n', length + 1)) {
        const std::string start = workspace.substr(0, length == 0 ? 0 : length + 1);
        Breaking broken(start);
        std::istream stream(&broken);
        std::istringstream cut(start);
        EXPECT_EQ(Tree(stream).Text(), Tree(cut).Text()) << length;
        EXPECT_EQ(stream.bad(), start != workspace) << length;
    }
    // Whoever asked the stream for exceptions gets them.
    Breaking broken("d~2~2\n");
    std::istream stream(&broken);
    stream.exceptions(std::ios::badbit);
    EXPECT_THROW(Dataset{stream}, std::ios_base::failure);
    EXPECT_EQ(stream.exceptions(), std::ios::badbit);
}

TEST(BrokenSources, AreDirectoriesToo) {
    const std::string directory = std::filesystem::temp_directory_path();
    const Dataset imported(directory, ',');
    EXPECT_TRUE(!imported.Loaded && imported.StatusText.empty());
    for (const bool isTable : {true, false}) {
        std::ifstream stream(directory);
        if (isTable)
            EXPECT_EQ(Dataset(stream).NumObs, 0);
        else
            EXPECT_EQ(LoadVectorXi(stream).size(), 0);
        EXPECT_TRUE(stream.bad());
    }
    std::ifstream model(directory), workspace(directory);
    EXPECT_EQ(Model(model).Samples->size(), 0);
    EXPECT_EQ(Tree(workspace).Text(), "0\n0\n0\n0\n0\n");
    EXPECT_TRUE(model.bad() && workspace.bad());
    std::ifstream matrix(directory), body(directory);
    EXPECT_EQ(LoadMatrix(matrix, ',').size(), 0);
    MatrixXd cells = MatrixXd::Ones(2, 2);
    LoadMatrix(body, cells, 2, 2, ',');
    EXPECT_TRUE(matrix.bad() && body.bad() && cells.isZero());
}

TEST(BrokenSources, AreNoPipes) {
    const TemporaryFile pipe;
    std::remove(pipe.Path().c_str());
    ASSERT_EQ(mkfifo(pipe.Path().c_str(), 0600), 0);
    const std::string workspace = Tree().Text();
    const auto writer =
        std::async(std::launch::async, [&] { std::ofstream(pipe.Path()) << passage << "rest" << workspace; });
    std::ifstream stream(pipe.Path());
    const Dataset dataset(stream);
    EXPECT_TRUE(stream.good() && dataset.Data == (MatrixXd(2, 2) << 1, 0.5, 2, 1.5).finished());
    EXPECT_EQ(dataset.SaveId, "key");
    std::string rest(4, ' ');
    stream.read(rest.data(), 4);
    EXPECT_EQ(rest, "rest");
    EXPECT_EQ(Tree(stream).Text(), workspace);
}

TEST(FullDevices, ShowInTheStateOfTheStream) {
    if (access("/dev/full", W_OK) != 0) GTEST_SKIP() << "no /dev/full";
    std::istringstream source(passage);
    const Dataset dataset(source);
    Tree tree;
    const std::array<std::function<void(std::ostream&)>, 5> saves = {
        [&](std::ostream& stream) { tree.Save(stream); },
        [&](std::ostream& stream) { tree.FirstModel().SaveModel(stream); },
        [&](std::ostream& stream) { dataset.SaveDataset(stream); },
        [](std::ostream& stream) { SaveMatrix(MatrixXd::Ones(3, 3), stream); },
        [](std::ostream& stream) { SaveVectorXi(VectorXi::Ones(3), stream); },
    };
    for (const auto& save : saves) {
        std::ofstream full("/dev/full");
        save(full);
        EXPECT_TRUE(full.bad());
    }
}

}  // namespace
