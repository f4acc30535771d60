// A screening run when ordinary memory ends once, at each allocation in turn: it says so, or its
// figures are those of a run that had enough.
#include <algorithm>
#include <new>
#include <optional>

#include "tests/screening/screening_session.h"
#include "tests/support/scratch_folder.h"
#include "workbench/documents/writers.h"
#include "workbench/system/system.h"

namespace {

// Allocations until one fails; negative: none does.
long allocationsLeft = -1;

}  // namespace

// Not inlined, so that no compiler warns about one half of a pair.
[[gnu::noinline]] void* operator new(std::size_t size, std::align_val_t alignment) {
  if (allocationsLeft >= 0 && allocationsLeft-- == 0) throw std::bad_alloc();
  void* const block = velmora::AllocateAligned(static_cast<std::size_t>(alignment), size > 0 ? size : 1);
  if (block == nullptr) throw std::bad_alloc();
  return block;
}
[[gnu::noinline]] void* operator new(std::size_t size) {
  return operator new (size, std::align_val_t{__STDCPP_DEFAULT_NEW_ALIGNMENT__});
}
[[gnu::noinline]] void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
  try {
    return operator new(size);
  } catch (...) {
    return nullptr;
  }
}
[[gnu::noinline]] void operator delete(void* block) noexcept { velmora::FreeAligned(block); }
[[gnu::noinline]] void operator delete(void* block, const std::nothrow_t&) noexcept {
  velmora::FreeAligned(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t) noexcept { velmora::FreeAligned(block); }
[[gnu::noinline]] void operator delete(void* block, std::align_val_t) noexcept {
  velmora::FreeAligned(block);
}
[[gnu::noinline]] void operator delete(void* block, std::size_t, std::align_val_t) noexcept {
  velmora::FreeAligned(block);
}

namespace velmora::testing {
namespace {

std::string Figures(ScreeningSession& run) {
  if (run.Results() == nullptr) return "";
  std::string text;
  const auto add = [&](double value) { text += std::to_string(value) + " "; };
  for (const int response : {vlm::kBinaryResponse, vlm::kContinuousResponse, vlm::kCategoricalResponse}) {
    for (const std::string& name : run.Order(response)) text += name + " ";
    const int count = static_cast<int>(run.Order(response).size());
    for (int i = 0; i < count; ++i) {
      const vlm::ScreeningPredictor p = run.Predictor(response, i);
      for (const double figure : {p.informationValue, p.giniBefore, p.giniAfter, p.chiSquare, p.chiSquareP,
                                  p.cramersV, p.rSquared, p.fStatistic, p.rSquaredRanks, p.mean, p.maximum}) {
        add(figure);
      }
      for (const std::string& label : run.Labels(response, i)) text += label + " ";
      for (int bin = 0; bin <= p.binCount; ++bin) add(run.Bin(response, i, bin).total);
    }
  }
  return text;
}

Table MemoryTable() {
  std::vector<double> flag, x, group, y, kind;
  for (int i = 0; i < 40; ++i) {
    flag.push_back(i % 3 == 0 || i > 25 ? 1 : 0);
    x.push_back(i / 2);
    group.push_back(1 + (i / 3) % 4);
    y.push_back(i * 7 % 11 + (i > 20 ? 6 : 0));
    kind.push_back(i * 5 % 3);
  }
  return MakeTable({MakeColumn("flag", flag), MakeColumn("x", x),
                    MakeColumn("group", group, {{1, "one \"1\""}, {2, "two"}}), MakeColumn("y", y),
                    MakeColumn("kind", kind)});
}

Wanted WantedOfMemory() {
  return {.continuousResponse = "4",
          .categoricalResponse = "5",
          .binaryResponse = "1",
          .categorical = "3",
          .continuous = "2"};
}

TEST(ScreeningMemory, AFailureIsToldOrHasNoEffect) {
  const Table table = MemoryTable();
  const Wanted wanted = WantedOfMemory();
  // Lives until the end and keeps the module loaded: MinGW's runtime takes an index of thread-local
  // memory for each load that throws and never gives it back, and there are 1,088 of them.
  ScreeningSession enough(table);
  ASSERT_TRUE(enough.Run(wanted));
  const std::string whole = Figures(enough);
  int told = 0;
  for (long allocations = 0;; ++allocations) {
    SCOPED_TRACE(std::to_string(allocations) + " allocations succeed");
    ScreeningSession run(table);
    AutomationClient startup = run.session.StartScreening();
    run.Prepare(startup, wanted);
    bool threw = false;  // the caller's own memory
    allocationsLeft = allocations;
    try {
      startup.Call("OK");
    } catch (const std::exception&) {
      threw = true;
    }
    const bool ended = allocationsLeft >= 0;
    allocationsLeft = -1;
    if (Figures(run) != whole) {
      ++told;
      EXPECT_TRUE(threw || !run.frontend.messages.empty());
    }
    if (ended) {
      EXPECT_TRUE(run.frontend.messages.empty());
      break;
    }
  }
  EXPECT_GT(told, 100);
}

// The results of a save: variables with their labels, bundles, files with their texts.
std::string Traces(ScreeningSession& run, const ScratchFolder& folder) {
  const Table& table = run.session.Data();
  std::string traces;
  for (const Column& column : table.columns) {
    traces += column.name + " " + column.longName;
    for (const ValueLabel& label : column.labels) traces += "|" + label.text;
    traces += "\n";
  }
  for (const VariableBundle& bundle : table.bundles) {
    traces += bundle.name + std::to_string(bundle.variableNumbers.size());
  }
  std::vector<std::string> files = folder.Names();
  std::sort(files.begin(), files.end());
  for (const std::string& file : files) traces += file + folder.Content(file);
  return traces;
}

TEST(ScreeningMemory, ASaveIsWholeOrNothing) {
  std::optional<ScratchFolder> folder;
  const char* const saves[] = {"SavePredictorsToVariableBundle", "AddCodedVarsToSprSheet",
                               "SaveAsDataRecodeConditions", "SaveAsRules"};
  for (const std::string save : saves) {
    const auto arguments = [&] {
      return save == "SaveAsDataRecodeConditions" ? std::vector<Variant>{folder->At("base")}
                                                  : std::vector<Variant>{};
    };
    const auto prepared = [&](ScreeningSession& run) {
      folder.reset();
      folder.emplace();
      EXPECT_TRUE(run.Run(WantedOfMemory()));
      AutomationClient results = run.session.ResultsDialog();
      results.Put("NumberOfPredictorsToSave", 2);
      results.Put("SaveToVariableBundle", 1);
      results.Put("ResultsSaveFileName", folder->At("rules.txt"));
      return results;
    };
    ScreeningSession enough(MemoryTable());
    prepared(enough).Call(save, arguments());
    const std::string whole = Traces(enough, *folder);

    std::optional<ScreeningSession> run;
    AutomationClient results;
    std::string before;
    int refused = 0;
    bool ended = false;
    for (long allocations = 0; !ended; ++allocations) {
      SCOPED_TRACE(save + ": " + std::to_string(allocations) + " allocations succeed");
      if (!run) {
        results = prepared(run.emplace(MemoryTable()));
        before = Traces(*run, *folder);
        EXPECT_NE(whole, before);
      }
      bool threw = false;
      allocationsLeft = allocations;
      try {
        results.Call(save, arguments());
      } catch (const std::exception&) {
        threw = true;
      }
      ended = allocationsLeft >= 0;
      allocationsLeft = -1;
      const std::string after = Traces(*run, *folder);
      if (after == before) {
        ++refused;
        EXPECT_TRUE(threw) << "what is left undone is told";
      } else {
        EXPECT_EQ(after, whole) << "nothing half done, and nothing left of what was refused";
        results = {};
        run.reset();
      }
    }
    EXPECT_GT(refused, 10) << save;
  }
}

// Short memory is reported and leaves no document; otherwise the graph is the one
// that enough memory gives.
TEST(ScreeningMemory, AGraphIsWholeOrNotThere) {
  ScreeningSession run(MemoryTable());
  ASSERT_TRUE(run.Run(WantedOfMemory()));
  AutomationClient results = run.session.ResultsDialog();
  const char* const graphs[] = {
      "BinaryResponseDistributionGraph",    "BinaryResponseDefaultRateGraph",
      "ContinuousResponseBoxPlot",          "ContinuousResponseOverlaidScatterWithMeans",
      "CategoricalResponseInteractionPlot", "CategoricalResponseCategorizedHistogram",
      "CategoricalResponse3dHistogram"};
  const auto documents = [&] { return run.session.Documents().Documents().size(); };
  const auto last = [&] {
    Workbook one;
    const auto& all = run.session.Documents().Documents();
    const auto graph =
        std::find_if(all.rbegin(), all.rend(), [](const Document& d) { return d.AsGraph() != nullptr; });
    one.Add(std::make_shared<Graph>(*graph->AsGraph()));
    return WriteJson(one);
  };
  for (const std::string graph : graphs) {
    for (const char* predictor : {"x", "group"}) {
      const std::string kind = graph.substr(0, graph.find("Response"));
      results.Put("Select" + kind + "ResponsePredictorString", predictor);
      results.Get(graph);
      const std::string whole = last();
      int refused = 0, made = 0;
      // After the graph itself the session sorts its documents, which takes more allocations the
      // more there are.
      for (long allocations = 0; made < 20; ++allocations) {
        SCOPED_TRACE(graph + " of " + predictor + ": " + std::to_string(allocations) +
                     " allocations succeed");
        const std::size_t before = documents();
        bool threw = false;
        allocationsLeft = allocations;
        try {
          results.Get(graph);
        } catch (const std::exception&) {
          threw = true;
        }
        allocationsLeft = -1;
        if (documents() == before) {
          ++refused;
          EXPECT_TRUE(threw || !run.frontend.messages.empty());
          run.frontend.messages.clear();
        } else {
          ++made;
          EXPECT_EQ(last(), whole);
        }
      }
      EXPECT_GT(refused, 20);
    }
  }
}

}  // namespace
}  // namespace velmora::testing
