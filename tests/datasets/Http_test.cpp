#include "../support/Difference.h"
#include "../support/LoopbackServer.h"
#include "../support/TemporaryFile.h"

#include <quarn/datasets/FileDescriptor_detail.h>
#include <quarn/datasets/Http_detail.h>

#include <gtest/gtest.h>
#include <wx/init.h>
#include <wx/socket.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <future>
#include <new>
#include <optional>
#include <sstream>
#include <sys/resource.h>
#include <unistd.h>

namespace {

using namespace std::chrono_literals;
using namespace std::string_literals;
using quarn::Dataset;
using quarn::detail::FetchFile;
using quarn::detail::HttpLimits;
using quarn::testing::Difference;
using quarn::testing::LoopbackServer;
using quarn::testing::TemporaryFile;

const std::string ok = "HTTP/1.0 200 OK\r\n", plain = ok + "Server: test\r\n\r\n";

std::string WithLength(const std::string& text, std::size_t length) {
    return ok + "content-LENGTH: " + std::to_string(length) + "\r\n\r\n" + text;
}

/// A reply in chunks of size bytes.
std::string InChunks(const std::string& text, std::size_t size) {
    std::string reply = "HTTP/1.1 200 OK\r\nTransfer-Encoding: chunked\r\n\r\n";
    for (std::size_t i = 0; i < text.size(); i += size) {
        std::ostringstream length;
        length << std::hex << std::min(size, text.size() - i);
        reply += length.str() + ";name=value\r\n" + text.substr(i, size) + "\r\n";
    }
    return reply + "0\r\nTrailer: 1\r\n\r\n";
}

Dataset Served(const std::string& reply) {
    const LoopbackServer server(reply);
    return Dataset(server.Host(), "/data.csv", ',');
}

Dataset FromDisk(const std::string& text) { return Dataset(TemporaryFile(text).Path(), ','); }

TEST(ImportOverHttp, GivesTheDatasetOfTheFileOnDisk) {
    const std::string texts[] = {"a,b\n1,x\n3,4\n",
                                 "a,b\n1,x\n3,4",
                                 "a,b\n1,2\n\n",
                                 "QuarnSystemVar_obsID,b\n7,\n\n8,é\n",
                                 "a,a\n1,2\n",
                                 "a\n1,2\n",
                                 "a",
                                 "",
                                 "\n",
                                 "a,\xE9\n1,\xE9\n"};
    for (const std::string& text : texts) {
        const Dataset expected = FromDisk(text);
        for (const std::string& reply :
             {plain + text, WithLength(text, text.size()), InChunks(text, 1), InChunks(text, 5),
              WithLength(text + "not of the file", text.size()), "HTTP/1.1 206 Part\nAge: 1\n\n" + text})
            EXPECT_EQ(Difference(Served(reply), expected), "") << reply;
    }
    const Dataset loaded = Served(plain + texts[0]);
    EXPECT_TRUE(loaded.Loaded && loaded.StatusText.empty() && loaded.Name.empty());
    EXPECT_EQ(loaded.NumObs, 2);
}

TEST(ImportOverHttp, TakesLineEndsOfAnySystem) {
    const Dataset expected = FromDisk("a,b\n1,2\n\n3,4\n");
    ASSERT_TRUE(expected.StringVars.empty());
    for (const char* text :
         {"a,b\r\n1,2\r\n\r\n3,4\r\n", "a,b\r\n1,2\r\n\r\n3,4", "a,b\r1,2\r\r3,4\r", "a,b\r\n1,2\n\r3,4"})
        EXPECT_EQ(Difference(Served(plain + text), expected), "") << text;
}

TEST(ImportOverHttp, DropsAByteOrderMarkAndDecodesByIt) {
    const std::string text = "QuarnSystemVar_obsID,b\n5,\xC3\xA9\n6,x\n";
    const Dataset expected = FromDisk(text);
    ASSERT_EQ(expected.StringVars.at(1).Values[0], "\xC3\xA9");
    std::string little = "\xFF\xFE", big = "\xFE\xFF", wide = "\xFF\xFE\0\0"s;
    for (const char c : "QuarnSystemVar_obsID,b\n5,\xE9\n6,x\n"s) {
        little += {c, '\0'};
        big += {'\0', c};
        wide += {c, '\0', '\0', '\0'};
    }
    for (const std::string& marked : {"\xEF\xBB\xBF" + text, little, big, wide})
        EXPECT_EQ(Difference(Served(plain + marked), expected), "") << marked;
}

TEST(ImportOverHttp, WordsEveryStatus) {
    const struct {
        std::string status, text;
    } cases[] = {
        {"301", "The request to \"HOST\" is being redirected \n(HTTP status code: 301)."},
        {"302", "The request to \"HOST\" is being redirected \n(HTTP status code: 302)."},
        {"400", "Could not access file \"/data.csv\" on server \"HOST\" \n(HTTP status code: 400)."},
        {"404", "Could not access file \"/data.csv\" on server \"HOST\" \n(HTTP status code: 404)."},
        {"500", "Server \"HOST\" returned an error "},
        {"503", "Server \"HOST\" returned an error "},
        {"100", "The request to server \"HOST\" failed with HTTP status code 100\n(HTTP status code: 100)."},
        {"600", "The request to server \"HOST\" failed with HTTP status code 600\n(HTTP status code: 600)."},
        {"0",
         "Quarn could not connect to \"HOST\". This could be due to an invalid URL or problems with the machine's "
         "Ineternet connection."},
    };
    for (auto [status, text] : cases)
        for (const char* rest :
             {" Word\r\nLocation: http://127.0.0.1:1/\r\nContent-Length: 3\r\n\r\na,b", "\r\n", "\n"}) {
            const LoopbackServer server("HTTP/1.0 " + status + rest);
            const Dataset dataset(server.Host(), "/data.csv", ',');
            std::string expected = text;
            expected.replace(expected.find("HOST"), 4, server.Host());
            EXPECT_EQ(dataset.StatusText, expected);
            EXPECT_FALSE(dataset.Loaded || !dataset.VarNames.empty() || dataset.Data.size() > 0);
        }
}

TEST(ImportOverHttp, AsksForTheFileAndNothingElse) {
    const LoopbackServer server(plain);
    const std::pair<std::string, std::string> targets[] = {
        {"/d/a.csv?x=1", "/d/a.csv?x=1"},
        {"a b%20.csv", "/a%20b%20.csv"},
        {"", "/"},
        {"/a HTTP/1.0\r\nX: \xC3\xA9", "/a%20HTTP/1.0%0D%0AX:%20%C3%A9"}};
    for (const auto& [file, target] : targets) {
        EXPECT_TRUE(Dataset(server.Host(), file, ',').Loaded);
        EXPECT_TRUE(server.Request().starts_with("GET " + target + " HTTP/1.0\r\n")) << server.Request();
        for (const std::string& header : {"Host: " + server.Host(), "Content-type: text/html; charset=utf-8"s})
            EXPECT_NE(server.Request().find("\r\n" + header + "\r\n"), std::string::npos) << server.Request();
    }
}

// ---- Servers that misbehave ----

TEST(ImportOverHttp, EndsSoonWhateverTheServerDoes) {
    const HttpLimits soon{.Silence = 500ms, .Pause = 1ms, .Grace = 1s, .BytesPerSecond = 1'000'000};
    const std::string chunks = InChunks("a,b\n1,2\n", 6), inChunks = ok + "Transfer-Encoding: chunked\r\n\r\n";
    const auto closes = std::nullopt;
    const std::optional<std::string> isSilent = "", trickles = "x";
    const struct {
        std::string reply;
        std::optional<std::string> then;
        int status;
        bool isComplete = false;
    } cases[] = {
        {"", closes, 0},
        {"", isSilent, 0},
        {"", trickles, 0},
        {"HTTP/1.0 20", closes, 0},
        {"HTTP/1.0 20", isSilent, 0},
        {"a,b\n1,2\n", closes, 0},
        {ok, closes, 200},
        {ok, isSilent, 200},
        {ok, trickles, 200},
        {ok + "Content-Le", closes, 200},
        {ok + "Content-Length: 3\r\n", closes, 200},
        {ok + "Content-Length: x\r\n\r\na,b", closes, 200},
        {ok + "Content-Length: -1\r\n\r\na,b", closes, 200},
        {ok + "Content-Length: 99999999999999999999\r\n\r\na,b", closes, 200},
        {WithLength("a,b", 4), closes, 200},
        {WithLength("a,b", 4), isSilent, 200},
        {WithLength("a,b", 3), isSilent, 200, true},
        {WithLength("", 99'999), trickles, 200},
        {plain, isSilent, 200},
        {plain + "a,b\n1", isSilent, 200},
        {plain, trickles, 200},
        {chunks, isSilent, 200, true},
        {chunks.substr(0, chunks.find("0\r\nT")), closes, 200},
        {chunks.substr(0, chunks.find("a,b") + 2), closes, 200},
        {inChunks, trickles, 200},
        {inChunks + "2\r\na,b\r\n0\r\n\r\n", closes, 200},
        {inChunks + "\r\n", closes, 200},
        {ok + "Transfer-Encoding: gzip, chunked\r\n\r\n0\r\n\r\n", closes, 200},
    };
    // All at once: the time-outs that they run into are then as long as that of one. Other threads than the main one
    // need wxWidgets' sockets to be ready.
    const wxInitializer isInUse;
    ASSERT_TRUE(wxSocketBase::Initialize());
    const auto start = std::chrono::steady_clock::now();
    std::deque<LoopbackServer> servers;
    std::deque<std::future<quarn::detail::HttpReply>> replies;
    for (const auto& c : cases) {
        const std::string host = servers.emplace_back(c.reply, c.then, 10ms).Host();
        replies.push_back(std::async(std::launch::async, [host, soon] { return FetchFile(host, "a", soon); }));
    }
    for (const auto& c : cases) {
        const auto reply = replies.front().get();
        replies.pop_front();
        EXPECT_EQ(std::pair(reply.Status, reply.IsComplete), std::pair(c.status, c.isComplete)) << c.reply;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 8s);
    EXPECT_TRUE(Served(WithLength("a,b\n1,2\n", 9)).StatusText.ends_with("code 200\n(HTTP status code: 200)."));
}

TEST(ImportOverHttp, BoundsTheMemoryForAReply) {
    const HttpLimits small{.HeaderBytes = 5000, .BodyBytes = 100'000};
    const std::string block(1000, 'x'), chunk = "3e8\r\n" + block + "\r\n";
    const auto start = std::chrono::steady_clock::now();
    for (const auto& [reply, then] : {std::pair(plain, block), std::pair(WithLength("", 100'001), block),
                                      std::pair(ok + "Transfer-Encoding: chunked\r\n\r\n", chunk)}) {
        const LoopbackServer server(reply, then);
        EXPECT_THROW(FetchFile(server.Host(), "a", small), std::bad_alloc) << reply;
    }
    for (const auto& [reply, then] : {std::pair(""s, block), std::pair(ok, block), std::pair(ok, "x: 1\r\n"s)}) {
        const LoopbackServer server(reply, then);
        EXPECT_FALSE(FetchFile(server.Host(), "a", small).IsComplete) << reply;
    }
    EXPECT_LT(std::chrono::steady_clock::now() - start, 5s);
}

TEST(ImportOverHttp, PutsExceptionsIntoTheStatusText) {
    const Dataset dataset = Served(WithLength("a,b\n1,2\n", 3'000'000'000));
    EXPECT_EQ(dataset.StatusText, "Exception: \"std::bad_alloc\".");
    EXPECT_FALSE(dataset.Loaded);
    EXPECT_EQ(std::pair(dataset.NumObs, dataset.NumVars), std::pair(0, 0));
}

// ---- Hosts ----

TEST(ImportOverHttp, TriesThreeTimesToFindAHost) {
    HttpLimits limits;
    limits.Pause = 5ms;
    for (const std::string& host : {"nowhere.invalid"s, ""s, "127.0.0.1:"s, "127.0.0.1:x"s, "127.0.0.1:0"s,
                                    "127.0.0.1:65536"s, "127.0.0.1:80:80"s, "127.0.0.1\0x"s, "127.0.0.1\r\nX: y"s,
                                    "[::1"s, "[127.0.0.1]"s, ":80"s, "http://127.0.0.1"s}) {
        const auto start = std::chrono::steady_clock::now();
        const auto reply = FetchFile(host, "/data.csv", limits);
        EXPECT_GE(std::chrono::steady_clock::now() - start, 15ms) << host;
        EXPECT_EQ(quarn::detail::WhyNotFetched(reply, host, "/data.csv"),
                  "Quarn could not connect to \"" + host +
                      "\". This could be due to an invalid URL or problems with the machine's Ineternet connection.");
    }
    const wxInitializer isInUse;
    for (const char* host : {"127.0.0.1", "localhost:65535", "[::1]:8080"})
        EXPECT_TRUE(quarn::detail::HttpConnection(limits).Find(host)) << host;
}

TEST(ImportOverHttp, SaysAtOnceThatNobodyListens) {
    std::optional<LoopbackServer> server(plain);
    const std::string host = server->Host();
    server.reset();
    const auto start = std::chrono::steady_clock::now();
    EXPECT_TRUE(Dataset(host, "/data.csv", ',').StatusText.starts_with("Quarn could not connect to \"" + host));
    EXPECT_LT(std::chrono::steady_clock::now() - start, 900ms);  // a host that is found costs no pause
}

TEST(ImportOverHttp, GivesUpOnASilentHost) {
    // Once as many connections wait as it may have, a listener that never accepts any answers no others.
    const quarn::detail::FileDescriptor listener(socket(AF_INET, SOCK_STREAM, 0));
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t size = sizeof address;
    auto* const generic = reinterpret_cast<sockaddr*>(&address);
    ASSERT_TRUE(bind(listener.Get(), generic, size) == 0 && listen(listener.Get(), 0) == 0);
    ASSERT_EQ(getsockname(listener.Get(), generic, &size), 0);
    std::deque<quarn::detail::FileDescriptor> waiting;
    for (int i = 0; i < 3; ++i) {
        waiting.emplace_back(socket(AF_INET, SOCK_STREAM | SOCK_NONBLOCK, 0));
        connect(waiting.back().Get(), generic, size);
    }
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(FetchFile("127.0.0.1:" + std::to_string(ntohs(address.sin_port)), "a", {.Silence = 300ms}).Status, 0);
    const auto time = std::chrono::steady_clock::now() - start;
    EXPECT_GE(time, 300ms);
    EXPECT_LT(time, 900ms);
}

TEST(ImportOverHttp, WorksBesideManyOpenFiles) {
    rlimit limit{};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &limit), 0);
    const rlimit raised{.rlim_cur = std::min<rlim_t>(limit.rlim_max, 2000), .rlim_max = limit.rlim_max};
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &raised), 0);
    std::deque<quarn::detail::FileDescriptor> files;
    do files.emplace_back(dup(STDERR_FILENO));
    while (files.back().Get() >= 0 && files.back().Get() < 1100);  // select() knows 1024
    if (files.back().Get() < 0) GTEST_SKIP() << "this system allows no 1100 open files";
    EXPECT_TRUE(Served(plain + "a,b\n1,2\n").Loaded);
}

// ---- Sizes ----

TEST(ImportOverHttp, TakesALargeFile) {
    std::string text = "a,b,c\n", withReturns = "a,b,c\r\n";
    for (int i = 0; i < 500'000; ++i) {
        const std::string line = std::to_string(i) + ",1234.5," + (i % 1000 == 0 ? "x" : "2");
        text += line + "\n";
        withReturns += line + "\r\n";
    }
    EXPECT_EQ(Difference(Served(WithLength(withReturns, withReturns.size())), FromDisk(text)), "");
    EXPECT_EQ(Difference(Served(InChunks(text, 30'000)), FromDisk(text)), "");
}

}  // namespace
