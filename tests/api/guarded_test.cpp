// Exceptions become codes and sentences; options become words.
#include "workbench/api/last_error.h"

#include <gtest/gtest.h>

#include <functional>
#include <stdexcept>
#include <string>
#include <vector>

#include "workbench/api/options_json.h"

namespace velmora {
namespace {

TEST(Guarded, EveryExceptionIsACodeAndASentence) {
  const struct Row {
    const char* name;
    std::function<void()> work;
    int code;
    const char* sentence;
  } rows[] = {
      {"usage", [] { throw UsageError("--best is wrong."); }, VELMORA_BAD_USE, "--best is wrong."},
      {"data", [] { throw DataError("a.csv is damaged."); }, VELMORA_FAILED, "a.csv is damaged."},
      {"cancelled", [] { throw Cancelled(); }, VELMORA_CANCELLED, "Cancelled."},
      {"memory", [] { throw std::bad_alloc(); }, VELMORA_NO_MEMORY, "There is not enough memory for this."},
      {"library", [] { throw std::out_of_range("vector"); }, VELMORA_FAILED, "vector"},
      {"no exception class", [] { throw 7; }, VELMORA_FAILED, "An unknown failure."},
  };
  for (const Row& row : rows) {
    LastError error;
    EXPECT_EQ(Guarded(error, row.work), row.code) << row.name;
    EXPECT_STREQ(error.Text(), row.sentence) << row.name;
  }
}

TEST(OptionsJson, MembersAreTheWordsOfTheCommand) {
  const struct Row {
    const char* json;
    std::vector<std::string> words;
  } rows[] = {
      {"", {}},
      {"{}", {}},
      {R"({"best": 5, "p-criterion": 1e-05, "select": "a = 'b c'"})",
       {"--best=5", "--p-criterion=1e-05", "--select=a = 'b c'"}},
      {R"({"casewise": true, "chi-square": false, "weight": null})", {"--casewise"}},
      {R"({"predictors": ["-x", "a,b", 7], "dependents": []})",
       {"--predictors=-x", "--predictors=a,b", "--predictors=7"}},
      {R"({"missing": {"age": [-9, "none"], "x": 1.5}})", {"--missing=age=-9,none", "--missing=x=1.5"}},
  };
  for (const Row& row : rows) EXPECT_EQ(CommandWords(row.json), row.words) << row.json;
  for (const char* wrong : {"[", "7", R"({"best": [[1]]})", R"({"missing": {"a": {"b": 1}}})"})
    EXPECT_THROW(CommandWords(wrong), UsageError) << wrong;
}

}  // namespace
}  // namespace velmora
