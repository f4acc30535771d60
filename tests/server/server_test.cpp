// The parts of the page's server that need neither a browser nor a worker.
#include <gtest/gtest.h>
#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cmath>
#include <filesystem>
#include <fstream>
#include <thread>

#include "tests/support/paths.h"
#include "workbench/bins/edit_bins.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/data/errors.h"
#include "workbench/data/measurement.h"
#include "workbench/data/save.h"
#include "workbench/report/json_text.h"
#include "workbench/server/bins_panel.h"
#include "workbench/server/channel.h"
#include "workbench/server/connection_guard.h"
#include "workbench/server/event_hub.h"
#include "workbench/server/file_places.h"
#include "workbench/server/first_rows.h"
#include "workbench/server/host_name.h"
#include "workbench/server/page_options.h"
#include "workbench/server/run_steps.h"
#include "workbench/server/sign_in.h"
#include "workbench/server/table_view.h"

namespace velmora {
namespace {

namespace fs = std::filesystem;

// --- Messages

TEST(Channel, MessagesOfAnySizeArriveWholeAndInOrder) {
  const SocketPair ends = MakeSocketPair();
  Channel sender(ends.ours), receiver(ends.theirs);
  const std::string large(3'000'000, '\n'), binary("a\0b", 3);
  std::thread sending([&] {
    EXPECT_TRUE(sender.Send({"result", 7, large}));
    EXPECT_TRUE(sender.Send({"line", 0, ""}));
    EXPECT_TRUE(sender.Send({"report", ~std::uint64_t{0}, binary}));
    sender.Shut();
  });
  std::vector<Frame> frames;
  while (receiver.Fill()) {
    while (std::optional<Frame> frame = receiver.Next()) frames.push_back(*frame);
  }
  sending.join();
  ASSERT_EQ(frames.size(), 3u);
  EXPECT_EQ(frames[0].payload, large);
  EXPECT_EQ(frames[1].type, "line");
  EXPECT_EQ(frames[2].id, ~std::uint64_t{0});
  EXPECT_EQ(frames[2].payload, binary);
}

TEST(Channel, DamagedHeadersAreRefused) {
  const std::string rows[] = {"\n",
                              "result\n",
                              "result 1\n",
                              "result x 3\nabc",
                              "result 1 -3\n",
                              "result 1 3x\n",
                              std::string(200, 'a'),
                              "result 1 99999999999999999999999\n"};
  for (const std::string& row : rows) {
    const SocketPair ends = MakeSocketPair();
    const Channel sender(ends.ours);
    Channel receiver(ends.theirs);
    ASSERT_EQ(send(sender.Socket(), row.data(), row.size(), 0), static_cast<ssize_t>(row.size()));
    ASSERT_TRUE(receiver.Fill());
    EXPECT_THROW(static_cast<void>(receiver.Next()), RunError) << row;
  }
}

// --- Files

class Places : public testing::Test {
 protected:
  void SetUp() override {
    fs::create_directories(folder_ / "data" / "inner");
    fs::create_directories(folder_ / "database");
    for (const char* name : {"data/a.csv", "data/.hidden.csv", "data/notes.docx", "data/p.csv.velmora",
                             "database/b.csv", "secret.csv"})
      std::ofstream(folder_ / name) << "x\n1\n";
    fs::create_symlink(folder_ / "secret.csv", folder_ / "data" / "link.csv");
    fs::create_symlink(folder_, folder_ / "data" / "up");
    fs::create_symlink("a.csv", folder_ / "data" / "same.csv");
  }
  void TearDown() override { fs::remove_all(folder_); }

  const fs::path folder_ = fs::temp_directory_path() / ("velmora-places-" + std::to_string(getpid()));
};

TEST_F(Places, NothingOutsideOfTheRootsIsReached) {
  const FilePlaces places({(folder_ / "data").string()});
  EXPECT_EQ(places.Resolve("a.csv"), fs::canonical(folder_ / "data" / "a.csv"));
  EXPECT_EQ(places.Resolve("same.csv"), fs::canonical(folder_ / "data" / "a.csv"));
  EXPECT_EQ(places.Resolve("inner/../a.csv"), fs::canonical(folder_ / "data" / "a.csv"));
  const std::string outside[] = {"../secret.csv",
                                 "link.csv",
                                 "up/secret.csv",
                                 "up",
                                 "..",
                                 "../database/b.csv",  // its name begins like the root's
                                 (folder_ / "secret.csv").string(),
                                 "/etc/passwd",
                                 "/",
                                 "no_such.csv",
                                 std::string("a.csv\0/../../secret.csv", 23)};
  std::string sentence;
  for (const std::string& path : outside) {
    try {
      ADD_FAILURE() << path << " is " << places.Resolve(path);
    } catch (const UsageError& error) {
      EXPECT_NE(std::string(error.what()).find("There is no file "), std::string::npos) << path;
    }
  }
}

TEST_F(Places, OfOtherFoldersOnlyKnownFilesAreReached) {
  FilePlaces places({(folder_ / "data").string()});
  places.AlsoAllow({folder_ / "database" / "b.csv", folder_ / "gone.csv", folder_ / "database"});
  EXPECT_EQ(places.Resolve((folder_ / "database" / "b.csv").string()),
            fs::canonical(folder_ / "database" / "b.csv"));
  EXPECT_THROW(static_cast<void>(places.Resolve((folder_ / "database").string())), UsageError);
  EXPECT_THROW(static_cast<void>(places.Resolve((folder_ / "secret.csv").string())), UsageError);

  // Dropped files are known by name and size.
  std::ofstream(folder_ / "data" / "inner" / "deep.csv") << "x,y\n1,2\n";
  EXPECT_EQ(places.Find("deep.csv", 8), fs::canonical(folder_ / "data" / "inner" / "deep.csv"));
  EXPECT_EQ(places.Find("b.csv", 4), fs::canonical(folder_ / "database" / "b.csv"));
  for (const auto& [name, bytes] : {std::pair{"deep.csv", 9},
                                    {"secret.csv", 4},
                                    {"link.csv", 4},
                                    {"", 8},
                                    {"inner/deep.csv", 8},
                                    {"../data/a.csv", 4}})
    EXPECT_THROW(static_cast<void>(places.Find(name, static_cast<std::uintmax_t>(bytes))), UsageError)
        << name;
}

TEST_F(Places, ADroppedFileIsSoughtInVisibleFoldersAndIsTheOnlyOne) {
  const fs::path root = folder_ / "data";
  for (const char* name : {".git", "inner/.git"}) {
    fs::create_directories(root / name);
    std::ofstream(root / name / "hidden.csv") << "x\n";
  }
  const FilePlaces places({root.string()});
  // Neither a copy in a hidden folder nor a hidden file is meant.
  EXPECT_THROW(static_cast<void>(places.Find("hidden.csv", 2)), UsageError);
  EXPECT_THROW(static_cast<void>(places.Find(".hidden.csv", 4)), UsageError);
  EXPECT_EQ(places.Find("p.csv.velmora", 4), fs::canonical(root / "p.csv.velmora"));
  std::ofstream(root / "inner" / "p.csv.velmora") << "y\n2\n";
  try {
    ADD_FAILURE() << places.Find("p.csv.velmora", 4);
  } catch (const UsageError& error) {
    EXPECT_STREQ(error.what(), "Several files are called p.csv.velmora; open it from the list.");
  }
  EXPECT_TRUE(places.MayOpen("inner/p.csv.velmora"));
  for (const char* path : {"inner", "../secret.csv", "gone.csv"}) EXPECT_FALSE(places.MayOpen(path)) << path;
}

TEST_F(Places, AFolderListsWhatCanBeOpened) {
  const FilePlaces places({(folder_ / "data").string()});
  const Json roots = Json::parse(places.ListJson(""));
  ASSERT_EQ(roots.at("folders").size(), 1u);
  const Json listed = Json::parse(places.ListJson(roots.at("folders")[0].at("path").get<std::string>()));
  std::vector<std::string> names;
  for (const Json& file : listed.at("files")) names.push_back(file.at("name"));
  EXPECT_EQ(names, (std::vector<std::string>{"a.csv", "p.csv.velmora", "same.csv"}));
  ASSERT_EQ(listed.at("folders").size(), 1u);
  EXPECT_EQ(listed.at("folders")[0].at("name"), "inner");
  EXPECT_EQ(listed.at("parent"), "");
  EXPECT_THROW(FilePlaces({(folder_ / "secret.csv").string()}), UsageError);
}

// --- Connections

TEST(ConnectionGuard, ConnectionsThatSendWithoutEndAreEnded) {
  const int listening = socket(AF_INET, SOCK_STREAM, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const any = reinterpret_cast<sockaddr*>(&address);
  ASSERT_EQ(bind(listening, any, sizeof address), 0);
  ASSERT_EQ(listen(listening, 4), 0);
  ASSERT_EQ(getsockname(listening, any, &size), 0);
  struct Ends {
    int client, server;
    // Sends count bytes and takes them; false when the connection has ended.
    bool Pass(std::size_t count) const {
      std::string bytes(count, 'x');
      std::thread sending([&] { static_cast<void>(send(client, bytes.data(), count, MSG_NOSIGNAL)); });
      std::string taken(count, ' ');
      const bool whole = recv(server, taken.data(), count, MSG_WAITALL) == static_cast<ssize_t>(count);
      if (!whole) shutdown(client, SHUT_RDWR);
      sending.join();
      return whole;
    }
  };
  const auto connected = [&] {
    const int client = socket(AF_INET, SOCK_STREAM, 0);
    EXPECT_EQ(connect(client, any, sizeof address), 0);
    return Ends{client, accept(listening, nullptr, nullptr)};
  };
  const Ends large = connected(), slow = connected(), quiet = connected();
  ConnectionGuard guard(ntohs(address.sin_port), 100'000, std::chrono::seconds(30));
  const ConnectionGuard::Time start;
  const auto at = [&](int seconds) { return start + std::chrono::seconds(seconds); };
  EXPECT_TRUE(large.Pass(90'000));
  EXPECT_TRUE(quiet.Pass(10));
  for (int second = 0; second <= 30; second += 10) {
    EXPECT_TRUE(slow.Pass(1)) << second;
    guard.Look(at(second));
  }
  EXPECT_TRUE(large.Pass(9'000));
  EXPECT_TRUE(large.Pass(2'000)) << "more than it may, but nobody has looked";
  EXPECT_TRUE(slow.Pass(1));
  guard.Look(at(31));
  EXPECT_FALSE(large.Pass(1));
  EXPECT_FALSE(slow.Pass(1));
  guard.Look(at(1000));
  EXPECT_TRUE(quiet.Pass(1)) << "it has waited for its answer";
  for (const Ends& ends : {large, slow, quiet}) {
    close(ends.client);
    close(ends.server);
  }
  // A new connection with the number of an old one starts from the beginning.
  const Ends fresh = connected();
  EXPECT_TRUE(fresh.Pass(1));
  guard.Look(at(2000));
  EXPECT_TRUE(fresh.Pass(1));
  close(fresh.client);
  close(fresh.server);
  close(listening);
}

// --- Passwords

TEST(SignIn, OnlyThePasswordLetsInAndWrongOnesMakeWait) {
  EXPECT_THROW(SignIn("short"), UsageError);
  EXPECT_THROW(SignIn(std::string(1001, 'x')), UsageError);  // which no form could send
  SignIn door("correct horse");
  const SignIn::Time start;
  const auto at = [&](int seconds) { return start + std::chrono::seconds(seconds); };
  EXPECT_FALSE(door.Knows("", start));
  const std::optional<std::string> cookie = door.Try("correct horse", "a", start);
  ASSERT_TRUE(cookie);
  EXPECT_EQ(cookie->size(), 64u);
  EXPECT_TRUE(door.Knows(*cookie, at(60)));
  EXPECT_FALSE(door.Knows(*cookie + "0", at(60)));

  for (const char* wrong : {"correct hors", "correct horse ", "Correct horse"})
    EXPECT_FALSE(door.Try(wrong, "a", at(100))) << wrong;
  EXPECT_EQ(door.Wait("a", at(100)).count(), 1);
  EXPECT_FALSE(door.Try("correct horse", "a", at(100))) << "while it has to wait";
  EXPECT_TRUE(door.Try("correct horse", "b", at(100))) << "others need not wait";
  EXPECT_FALSE(door.Try("", "a", at(101)));
  EXPECT_EQ(door.Wait("a", at(101)).count(), 2);
  int now = 101;
  for (int i = 0; i < 8; ++i) {
    now += static_cast<int>(door.Wait("a", at(now)).count());
    EXPECT_FALSE(door.Try("guess", "a", at(now)));
  }
  EXPECT_EQ(door.Wait("a", at(now)).count(), 256) << "the longest wait";
  now += 256;
  EXPECT_TRUE(door.Try("correct horse", "a", at(now)));
  EXPECT_EQ(door.Wait("a", at(now)).count(), 0);

  const std::optional<std::string> later = door.Try("correct horse", "a", at(now));
  ASSERT_TRUE(later);
  constexpr int kHour = 3600;
  EXPECT_TRUE(door.Knows(*later, at(now + 11 * kHour)));
  EXPECT_TRUE(door.Knows(*later, at(now + 22 * kHour))) << "half a day after the last use";
  // A stream of events that is still open does not count as a use of the cookie.
  EXPECT_TRUE(door.IsOpen(*later, at(now + 33 * kHour)));
  EXPECT_FALSE(door.IsOpen(*later, at(now + 35 * kHour)));
  EXPECT_FALSE(door.Knows(*later, at(now + 35 * kHour)));
  const std::optional<std::string> last = door.Try("correct horse", "a", at(now));
  ASSERT_TRUE(last);
  door.Forget(*last);
  EXPECT_FALSE(door.Knows(*last, at(now)));
  EXPECT_FALSE(door.IsOpen(*last, at(now)));
}

TEST(SignIn, APasswordFileIsForItsOwnerAlone) {
  const fs::path file = fs::temp_directory_path() / ("velmora-password-" + std::to_string(getpid()));
  std::ofstream(file) << "correct horse\r\nsecond line\n";
  fs::permissions(file, fs::perms::owner_read | fs::perms::group_read);
  EXPECT_THROW(static_cast<void>(ReadPassword(file.string())), UsageError);
  fs::permissions(file, fs::perms::owner_read);
  EXPECT_EQ(ReadPassword(file.string()).Text(), "correct horse");
  fs::remove(file);
  EXPECT_THROW(static_cast<void>(ReadPassword(file.string())), RunError);
  setenv("VELMORA_PASSWORD", "battery staple", 1);
  const char* const inEnvironment = getenv("VELMORA_PASSWORD");
  EXPECT_EQ(ReadPassword("").Text(), "battery staple");
  EXPECT_EQ(getenv("VELMORA_PASSWORD"), nullptr);  // no process that is started inherits it
  EXPECT_STREQ(inEnvironment, "") << "and nobody reads it in /proc";
  EXPECT_THROW(static_cast<void>(ReadPassword("")), UsageError);
}

TEST(HostNames, AreThoseThatBrowsersSend) {
  struct Row {
    const char *host, *inAddress, *toBind;
    bool isOfThisMachine;
  };
  const Row rows[] = {{"Stats.Example.ORG", "stats.example.org", "Stats.Example.ORG", false},
                      {"::1", "[::1]", "::1", true},
                      {"[::1]", "[::1]", "::1", true},
                      {"2001:DB8::7", "[2001:db8::7]", "2001:DB8::7", false},
                      {"::", "[::]", "::", false},
                      {"LOCALHOST", "localhost", "LOCALHOST", true},
                      {"127.0.0.1", "127.0.0.1", "127.0.0.1", true},
                      {"10.0.0.1", "10.0.0.1", "10.0.0.1", false}};
  for (const Row& row : rows) {
    EXPECT_EQ(HostInAddress(row.host), row.inAddress);
    EXPECT_EQ(HostToBind(row.host), row.toBind);
    EXPECT_EQ(IsOfThisMachine(row.host), row.isOfThisMachine) << row.host;
  }
}

// --- Steps

TEST(RunSteps, ScreeningsOfAllPredictorsHaveNoOptionThatClassicRefuses) {
  for (const bool classic : {false, true}) {
    RunSteps steps{"screen", {"a.csv", "--continuous-response=y"}, {}, "b.json"};
    if (classic) steps.words.emplace_back("--classic");
    steps.edits["y"]["x"] = Json::array({{{"operation", "merge"}, {"bins", {0, 1}}}});
    const std::vector<std::string> commands = CommandsOf(steps);
    ASSERT_EQ(commands.size(), 3u);
    EXPECT_EQ(commands[0],
              std::string("velmora screen a.csv --continuous-response=y") +
                  (classic ? " --classic --save-best=100000" : " --save-best=100000 --save-chance") +
                  " --bins=b.json");
  }
}

TEST(RunSteps, OptionsOfOtherPredictorsGo) {
  using Words = std::vector<std::string>;
  const std::pair<Words, Words> rows[] = {
      {{"--special=a=1,2", "--special=b=3", "--special=q*=9", "--special-together"},
       {"--special=b=3", "--special=q*=9", "--special-together", "--predictors=b"}},
      {{"--special=a=1", "--special-together", "--max-bins=3"}, {"--max-bins=3", "--predictors=b"}},
      {{"--shape=monotone", "--shape=a=peak", "--shape=b=valley", "--shape=b=c=free"},
       {"--shape=monotone", "--shape=b=valley", "--predictors=b"}},
      {{"--predictors=a", "--predictors=b", "--missing=a=5"}, {"--missing=a=5", "--predictors=b"}}};
  for (const auto& [words, expected] : rows) EXPECT_EQ(WithPredictors(words, {"b"}), expected);
}

// --- Options

TEST(PageOptions, OnlyAnalysesCanBeSetAndOnlyByWholeNames) {
  EXPECT_EQ(WordsOfPage(
                R"({"binary-response":"r","good":"g","casewise":true,"max-bins":5,"special":{"a":[-9,-8]}})"),
            (std::vector<std::string>{"--binary-response=r", "--good=g", "--casewise", "--max-bins=5",
                                      "--special=a=-9,-8"}));
  EXPECT_THROW(WordsOfPage("{\"best\":" + std::string(200000, '[') + std::string(200000, ']') + "}"),
               UsageError);
  for (const char* name : {"module", "modul", "mod", "log", "lo", "out", "bins", "sql", "coded", "cut-points",
                           "cut-p", "cu", "recode", "format", "delimiter", "missing-text", "", "-module"}) {
    const Json options = {{name, "/tmp/x"}};
    EXPECT_THROW(WordsOfPage(options.dump()), UsageError) << name;
  }
}

// --- Tables

Table SmallTable() {
  Table table;
  table.caseCount = 4;
  Column city, day, size;
  city.name = "city";
  city.fromText = true;
  city.labels = {{1, "Bonn"}, {2, "<b>"}};
  city.values = {1, 2, kMissing, 1};
  city.measurement = Measurement::kCategorical;
  day.name = "day";
  day.dateUnit = DateUnit::kDays;
  day.values = {0, 18262, -1, kMissing};
  size.name = "size";
  size.missingCode = -9;
  size.values = {0.1, -9, 1e21, 0.1 + 0.2};
  table.columns = {city, day, size};
  return table;
}

TEST(TableView, CellsAreTheTextsOfTheValues) {
  const Table table = SmallTable();
  EXPECT_EQ(GridJson(table, {.row = 0, .rows = 10, .column = 0, .columns = 10}),
            R"({"row":0,"column":0,"cells":[["Bonn","1970-01-01","0.1"],["<b>","2020-01-01",null],)"
            R"([null,"1969-12-31","1e+21"],["Bonn",null,"0.30000000000000004"]]})");
  EXPECT_EQ(GridJson(table, {.row = 3, .rows = 5, .column = 2, .columns = 1}),
            R"({"row":3,"column":2,"cells":[["0.30000000000000004"]]})");
  // Blocks outside of the table, and of absurd sizes.
  const std::int64_t most = std::numeric_limits<std::int64_t>::max();
  const int mostColumns = std::numeric_limits<int>::max();
  const GridBlock outside[] = {{4, 10, 0, 3},
                               {0, 10, 3, 3},
                               {-5, -5, 0, 3},
                               {most, most, 0, 1},
                               {0, 0, 0, 0},
                               {0, 10, 0, -1},
                               {0, 4, mostColumns, mostColumns}};
  for (const GridBlock& block : outside) {
    const Json json = Json::parse(GridJson(table, block));
    for (const Json& line : json.at("cells")) EXPECT_TRUE(line.empty());
  }
  EXPECT_EQ(Json::parse(GridJson(table, {-3, most, -3, mostColumns})).at("cells").size(), 4u);
}

TEST(TableView, DistributionsCountEveryValue) {
  Table table = SmallTable();
  InferMeasurements(table);
  for (int number = 1; number <= 3; ++number) {
    const Json json = Json::parse(VariableViewJson(table, ProfileVariable(table, number)));
    std::int64_t sum = 0;
    for (const Json& count : json.at("histogram").at("counts")) sum += count.get<std::int64_t>();
    EXPECT_EQ(sum, 3) << number;
  }
  EXPECT_EQ(CaseCountJson(table, "", "", 0), R"({"cases":4,"selected":4})");
  EXPECT_EQ(CaseCountJson(table, "city = 'Bonn'", "", 3), R"({"cases":4,"selected":2,"weight":0.4})");
  EXPECT_THROW(CaseCountJson(table, "town = 'Bonn'", "", 0), UsageError);
}

TEST(FirstRows, OfLargeFilesAreReadAlone) {
  const fs::path folder = fs::temp_directory_path() / ("velmora-first-" + std::to_string(getpid()));
  fs::create_directories(folder);
  Table table;
  table.caseCount = 400'000;
  for (const char* name : {"id", "half"}) {
    Column column;
    column.name = name;
    std::vector<double> values;
    for (std::int64_t i = 0; i < table.caseCount; ++i)
      values.push_back(*name == 'i' ? static_cast<double>(i * 7919 % 1'000'003)
                                    : std::sqrt(static_cast<double>(i)));
    column.values = std::move(values);
    table.columns.push_back(std::move(column));
  }
  const auto file = [&](const char* name) { return (folder / name).string(); };
  ReadOptions reading, parts;
  reading.infer = parts.infer = false;
  parts.part.query = "SELECT 1";
  for (const char* name : {"large.csv", "large.parquet", "large.tsv"}) SaveTable(table, file(name), {});
  for (const char* name : {"large.csv", "large.parquet", "large.tsv"}) {
    const std::optional<Table> rows = ReadFirstRows(file(name), reading);
    ASSERT_TRUE(rows) << name;
    ASSERT_GE(rows->caseCount, 200) << name;
    EXPECT_LT(rows->caseCount, 50'000) << name;
    const std::string json = FirstRowsJson(*rows);
    EXPECT_EQ(Json::parse(json).at("names"), Json({"id", "half"})) << name;
    EXPECT_EQ(GridOfFirstRows(json, {.row = 2, .rows = 2, .column = 0, .columns = 9}),
              GridJson(table, {.row = 2, .rows = 2, .column = 0, .columns = 9}))
        << name;
    // Beyond the rows that are known, and of absurd sizes.
    const std::int64_t most = std::numeric_limits<std::int64_t>::max();
    for (const GridBlock& block :
         {GridBlock{500, 10, 0, 2}, {most, most, 0, 2}, {-5, -5, -1, -1}, {0, 0, 0, 2}})
      EXPECT_TRUE(Json::parse(GridOfFirstRows(json, block)).at("cells").empty()) << name;
  }
  // A line break in quotes at the end, text of two bytes per character, files that are small, parts.
  std::string text = "a,b\n";
  while (text.size() < (5 << 20)) text += "1,\"x\ny\"\n";
  std::ofstream(folder / "quoted.csv") << text;
  const std::optional<Table> quoted = ReadFirstRows(file("quoted.csv"), reading);
  EXPECT_TRUE(!quoted || *quoted->Variable(2).LabelOf(1) == "x\ny");
  std::ofstream(folder / "wide.csv") << std::string(5 << 20, '\0');
  std::ofstream(folder / "small.csv") << "a\n1\n";
  for (const char* name : {"wide.csv", "small.csv", "no_such.csv"})
    EXPECT_FALSE(ReadFirstRows(file(name), reading)) << name;
  EXPECT_FALSE(ReadFirstRows(file("large.parquet"), parts));
  EXPECT_EQ(std::distance(fs::directory_iterator(folder), {}), 6);
  fs::remove_all(folder);
}

// --- Bins

// 2 AUC - 1 by all pairs of a bad and a good case, the bins in order of their bad rate.
double GiniByPairs(const SavedPredictor& predictor) {
  double wins = 0, pairs = 0;
  const auto rate = [](const SavedBin& bin) { return bin.counts[0] / (bin.counts[0] + bin.counts[1]); };
  for (const SavedBin& a : predictor.bins) {
    for (const SavedBin& b : predictor.bins) {
      const double weight = a.counts[0] * b.counts[1];
      pairs += weight;
      wins += weight * (rate(a) > rate(b) ? 1 : rate(a) == rate(b) ? 0.5 : 0);
    }
  }
  return 2 * wins / pairs - 1;
}

SavedBins AgeBins() {
  return ParseBinsJson(R"json({"format":"velmora bins","version":2,"dataFile":"x.csv","responses":[
    {"name":"risk","kind":"binary","codes":["bad","good"],"predictors":[
     {"name":"age","kind":"continuous","codedVariable":"c","figureVariables":["w"],"cutPoints":[25,40],
      "missing":{"bin":3,"counts":[8,10]},
      "preBins":[{"first":19,"last":21,"counts":[5,9]},{"first":22,"last":25,"counts":[75,101]},
       {"first":26,"last":30,"counts":[60,80]},{"first":31,"last":40,"counts":[49,196]},
       {"first":41,"last":75,"counts":[100,300]}],
      "bins":[{"label":"(-Inf, 25]","woe":0,"counts":[80,110]},{"label":"(25, 40]","woe":0,"counts":[109,276]},
       {"label":"(40, Inf)","woe":0,"counts":[100,300]},{"label":"missing","woe":0,"counts":[8,10]}]
},
     {"name":"other","kind":"categorical","codedVariable":"d","figureVariables":["v"],
      "levels":[{"level":"a","bin":0,"counts":[1,2]}],"bins":[{"label":"a","woe":0,"counts":[1,2]}]}]
}]
})json",
                       "x.json");
}

TEST(EditedBins, FiguresFollowEveryEditAndUndoAndRedoGoBackAndForth) {
  EditedBins edited(AgeBins(), "risk", "age");
  const std::string found = edited.PanelJson();
  const char* const edits[] = {
      R"({"operation":"move","cutPoint":25,"to":30})", R"({"operation":"split","cutPoint":21})",
      R"({"operation":"merge","bins":[2,3]})", R"({"operation":"group","missing":true,"bins":[0]})",
      R"({"operation":"label","bins":[0],"label":"<young>"})"};
  std::vector<std::string> panels = {found};
  for (const char* edit : edits) {
    const std::string preview = edited.PreviewJson(edit);
    EXPECT_EQ(edited.PanelJson(), panels.back()) << "a preview changes nothing";
    edited.Apply(edit);
    panels.push_back(edited.PanelJson());
    EXPECT_EQ(Json::parse(preview).at("figures"), Json::parse(panels.back()).at("figures"));
    const Json panel = Json::parse(panels.back());
    const SavedPredictor& predictor = edited.Bins().responses[0].predictors[0];
    EXPECT_NEAR(panel.at("after").at("gini").get<double>(), GiniByPairs(predictor), 1e-12) << edit;
    EXPECT_EQ(panel.at("before"), Json::parse(found).at("before"));
    double cases = 0;
    for (const Json& bin : panel.at("figures")) cases += bin.at("cases").get<double>();
    EXPECT_EQ(cases, 993) << edit;
  }
  const auto figuresOf = [](const std::string& panel) {
    const Json json = Json::parse(panel);
    return json.at("figures").dump() + json.at("predictor").at("bins").dump() + json.at("after").dump();
  };
  for (std::size_t i = panels.size() - 1; i > 1; --i) {
    ASSERT_TRUE(edited.Undo());
    EXPECT_EQ(figuresOf(edited.PanelJson()), figuresOf(panels[i - 1])) << i;
  }
  for (std::size_t i = 2; i < panels.size(); ++i) {
    ASSERT_TRUE(edited.Redo());
    EXPECT_EQ(figuresOf(edited.PanelJson()), figuresOf(panels[i])) << i;
  }
  EXPECT_FALSE(edited.Redo());
  ASSERT_TRUE(edited.Undo());
  edited.Apply(edits[4]);  // a new edit forgets what was undone
  EXPECT_FALSE(edited.Redo());
  while (edited.Undo()) continue;
  EXPECT_FALSE(edited.Undo());
}

TEST(EditedBins, TheShareExplainedIsThatOfTheCases) {
  // Two bins of a measured outcome: 1, 2, 3 and 5, 7; and three classes in two bins.
  const auto panelOf = [](const char* kind, const char* codes, const char* figure, const char* first,
                          const char* second) {
    const std::string text =
        std::string(R"({"format":"velmora bins","version":2,"dataFile":"","responses":[{)") +
        R"("name":"y","kind":")" + kind + R"(","codes":)" + codes +
        R"(,"predictors":[{"name":"x","kind":"categorical","codedVariable":"coded",)" +
        R"("figureVariables":)" + (codes[1] == ']' ? R"(["m"])" : R"(["a","b","c"])") +
        R"(,"levels":[{"level":"p","bin":0,"counts":)" + first + R"(},{"level":"q","bin":1,"counts":)" +
        second + R"(}],"bins":[{"label":"p",)" + figure + R"(,"counts":)" + first + R"(},{"label":"q",)" +
        figure + R"(,"counts":)" + second + "}]}]}]}";
    return Json::parse(EditedBins(ParseBinsJson(text, "x.json"), "y", "x").PanelJson());
  };
  const Json measured = panelOf("continuous", "[]", R"("mean":0)", "[3,6,14]", "[2,12,74]");
  // Total sum of squares about 3.6: 23.2; within: 2 + 2.
  EXPECT_NEAR(measured.at("after").at("explained").get<double>(), 1 - 4 / 23.2, 1e-12);
  const Json classes =
      panelOf("categorical", R"(["a","b","c"])", R"("shares":[0,0,0])", "[4,0,0]", "[0,2,2]");
  // Bits: 1.5 for each of the 8 cases, of which 1 is left for each of the 4 in the second bin.
  EXPECT_NEAR(classes.at("after").at("explained").get<double>(), 1 - 4.0 / 12, 1e-12);
}

TEST(EditedBins, AnEditThatDoesNotFitChangesNothing) {
  EditedBins edited(AgeBins(), "risk", "age");
  const std::string found = edited.PanelJson();
  for (const char* edit :
       {R"({"operation":"move","cutPoint":25,"to":50})", R"({"operation":"merge","bins":[0,2]})",
        R"({"operation":"split","cutPoint":23})", R"({"operation":"fly"})", "[]", "{",
        // The page names no other predictor than the one that is open.
        R"({"operation":"merge","bins":[0,9],"predictor":"other"})"}) {
    EXPECT_THROW(edited.Apply(edit), DataError) << edit;
    EXPECT_THROW(static_cast<void>(edited.PreviewJson(edit)), DataError) << edit;
    EXPECT_EQ(edited.PanelJson(), found) << edit;
  }
  EXPECT_THROW(EditedBins(AgeBins(), "risk", "wage"), DataError);
  EXPECT_THROW(EditedBins(AgeBins(), "hazard", "age"), DataError);
}

// --- Events

TEST(EventHub, EachWindowGetsEveryEventAndASlowOneIsCutOff) {
  EventHub hub;
  EXPECT_EQ(hub.Deserted().count(), 0);
  const auto one = hub.Listen(), two = hub.Listen();
  hub.Publish("a");
  hub.Publish("b");
  const auto wait = std::chrono::milliseconds(1);
  EXPECT_EQ(hub.Wait(*one, wait), "a");
  EXPECT_EQ(hub.Wait(*one, wait), "b");
  EXPECT_EQ(hub.Wait(*one, wait), "");
  for (int i = 0; i < 5000; ++i) {
    hub.Publish("c");
    EXPECT_EQ(hub.Wait(*one, wait), "c");
  }
  EXPECT_EQ(hub.Wait(*two, wait), std::nullopt);
  hub.Leave(two);
  EXPECT_EQ(hub.Deserted().count(), 0);
  hub.Leave(one);
  std::this_thread::sleep_for(std::chrono::milliseconds(5));
  EXPECT_GT(hub.Deserted().count(), 0);
  const auto three = hub.Listen();
  EXPECT_EQ(hub.Deserted().count(), 0);
  hub.Publish("last");
  hub.Close();
  EXPECT_EQ(hub.Wait(*three, wait), "last");
  EXPECT_EQ(hub.Wait(*three, std::chrono::hours(1)), std::nullopt);
}

}  // namespace
}  // namespace velmora
