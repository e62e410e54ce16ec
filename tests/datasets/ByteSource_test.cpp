#include "../support/Difference.h"
#include "../support/TemporaryFile.h"

#include <quarn/datasets/ByteSource_detail.h>
#include <quarn/datasets/DelimitedText_detail.h>
#include <quarn/datasets/LineBlocks_detail.h>

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <sys/stat.h>
#include <thread>
#include <utility>

namespace {

using namespace std::string_literals;
using quarn::Dataset;
using quarn::MatrixXd;
using quarn::detail::ParseOutcome;
using quarn::testing::SameCells;
using quarn::testing::TemporaryFile;

TEST(ByteSource, AnswersAtOnceWhereThereIsNothingToRead) {
    for (const std::string& path : {"/"s, "/tmp"s, "/nowhere/at/all"s, ""s, "/dev/null"s, "/dev/zero"s, "/dev/tty"s}) {
        const Dataset dataset(path, ',');
        EXPECT_FALSE(dataset.Loaded) << path;
        EXPECT_EQ(dataset.StatusText, "") << path;
    }
}

TEST(ByteSource, ReadsAPipeToItsEndButDoesNotWaitForAWriterForEver) {
    const TemporaryFile pipe, file;
    std::filesystem::remove(pipe.Path());
    ASSERT_EQ(mkfifo(pipe.Path().c_str(), 0600), 0);
    const auto start = std::chrono::steady_clock::now();
    ASSERT_EQ(quarn::detail::OpenSource(pipe.Path(), std::chrono::milliseconds(20)), nullptr);
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::seconds(5));

    std::string text = "a,b\n";
    for (int i = 0; i < 30000; ++i) text += std::to_string(i) + ",x\n";
    std::thread writer([&] {
        std::ofstream stream(pipe.Path(), std::ios::binary);
        stream << text.substr(0, 5) << std::flush;
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        stream << text.substr(5);
    });
    const Dataset imported(pipe.Path(), ',');
    writer.join();
    std::ofstream(file.Path(), std::ios::binary) << text;
    EXPECT_EQ(quarn::testing::Difference(imported, Dataset(file.Path(), ',')), "");
    EXPECT_EQ(imported.NumObs, 30000);
}

TEST(ByteSource, ReadsAFileAsLongAsItWasWhenOpened) {
    const TemporaryFile file("0123456789");
    const auto source = quarn::detail::OpenSource(file.Path());
    ASSERT_NE(source, nullptr);
    std::string bytes(20, ' ');
    std::ofstream(file.Path(), std::ios::app) << "more";
    EXPECT_EQ(source->Read(bytes.data(), 20, 4), 6U);
    EXPECT_EQ(bytes.substr(0, 7), "456789 ");
    EXPECT_EQ(source->Read(bytes.data(), 20, 10), 0U);
    EXPECT_EQ(source->Read(bytes.data(), 20, 11), 0U);
    std::filesystem::resize_file(file.Path(), 4);  // cut short: not an end, but a failure
    EXPECT_EQ(source->Read(bytes.data(), 20, 4), std::nullopt);
}

/// Bytes in small pieces, or a source that fails, or changes its bytes, from one of the reads on.
class UnreliableSource final : public quarn::detail::ByteSource {
 public:
    explicit UnreliableSource(std::string bytes, std::size_t piece) : m_bytes(std::move(bytes)), m_piece(piece) {}

    int FailsAt = -1, ChangesAt = -1, Reads = 0;
    std::string ChangesTo;

    std::optional<std::size_t> Read(char* target, std::size_t size, std::size_t offset) override {
        if (Reads == ChangesAt) m_bytes = ChangesTo;
        if (Reads++ == FailsAt) return std::nullopt;
        const std::size_t count = std::min({size, m_piece, m_bytes.size() - std::min(offset, m_bytes.size())});
        std::copy_n(m_bytes.data() + std::min(offset, m_bytes.size()), count, target);
        return count;
    }

 private:
    std::string m_bytes;
    std::size_t m_piece;
};

const std::string LateText = "1,2\n3,4\n5,6\n7,x\n8,9";

TEST(ByteSource, TakesBytesInPiecesOfAnySize) {
    for (std::size_t piece = 1; piece < 30; ++piece) {
        UnreliableSource source(LateText, piece);
        EXPECT_EQ(quarn::detail::CountLines(source, 0), 5U);
        MatrixXd table(5, 2);
        const auto parsed = quarn::detail::ParseRows(source, 0, ',', 0, table);
        ASSERT_EQ(parsed.Outcome, ParseOutcome::Complete);
        EXPECT_TRUE(SameCells(table, (MatrixXd(5, 2) << 1, 2, 3, 4, 5, 6, 7, 0, 8, 9).finished()));
        ASSERT_EQ(parsed.StringColumns.size(), 1U);
        EXPECT_EQ(parsed.StringColumns[0].Values, (std::vector<std::string>{"2", "4", "6", "x", "9"}));
    }
}

TEST(ByteSource, FailsWithASourceThatFailsInAnyPass) {
    UnreliableSource whole(LateText, 3);
    MatrixXd table(5, 2);
    quarn::detail::ParseRows(whole, 0, ',', 0, table);
    for (int read = 0; read < whole.Reads; ++read) {
        UnreliableSource source(LateText, 3);
        source.FailsAt = read;
        EXPECT_EQ(quarn::detail::ParseRows(source, 0, ',', 0, table).Outcome, ParseOutcome::Failed) << read;
        UnreliableSource counted(LateText, 3);
        counted.FailsAt = read;
        EXPECT_EQ(quarn::detail::CountLines(counted, 0).has_value(), read >= 8) << read;  // 7 pieces and the end
    }
}

TEST(ByteSource, SurvivesASourceThatChangesUnderWay) {
    for (const std::string& change : {""s, "1"s, "1,2\n"s, "1,2\n3,4\n5,6\n7,8\n9,9\n1,1\n"s, "1,2,3,4\n5,6,7\n"s,
                                      "\n\n\n\n\n\n"s, std::string(5000, ',') + "\n"})
        for (int read = 0; read < 16; ++read) {
            UnreliableSource source(LateText, 3);
            source.ChangesAt = read;
            source.ChangesTo = change;
            MatrixXd table(5, 2);
            const auto parsed = quarn::detail::ParseRows(source, 0, ',', 0, table);
            if (parsed.Outcome != ParseOutcome::Complete) continue;
            for (const auto& strings : parsed.StringColumns) EXPECT_EQ(strings.Values.size(), 5U);
        }
    UnreliableSource source(LateText, 100);
    for (const Eigen::Index rows : {4, 6}) {  // lines were added, or taken away, since they were counted
        MatrixXd table = MatrixXd::Ones(rows, 2);
        EXPECT_EQ(quarn::detail::ParseRows(source, 0, ',', 0, table).Outcome, ParseOutcome::Failed);
    }
}

}  // namespace
