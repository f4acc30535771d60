#include "workbench/server/page_options.h"

#include <algorithm>

#include "workbench/api/options_json.h"
#include "workbench/cli/exit_codes.h"
#include "workbench/documents/terminal_text.h"

namespace velmora {
namespace {

constexpr std::string_view kAllowed[] = {
    // Both analyses
    "predictors", "continuous", "categorical", "missing", "select", "exclude", "weight", "raw-weights",
    "count", "classic", "rank-by", "seed", "best", "decimal-separator",
    // Feature selection
    "dependents", "strata", "clusters", "casewise", "intervals", "cuts", "cut-dependents", "dependent-cuts",
    "chi-square", "adjust", "adjust-across", "exact", "replicates", "alpha", "show", "best-by-p",
    "p-criterion", "round-weights",
    // Screening
    "binary-response", "good", "bad", "continuous-response", "categorical-response", "nominal", "ordinal",
    "shape", "max-bins", "min-bins", "bin-count", "min-bin-share", "min-bin-cases", "min-bin-events",
    "max-adjacent-p", "min-level-share", "criterion", "pre-bins", "special", "special-together",
    "missing-bin", "pure-bin-correction", "binning", "no-prune", "sort-binary", "sort-continuous",
    "sort-categorical", "by", "by-reference", "permutations", "compare", "same-from", "distinct", "adds"};

constexpr std::string_view kOfScorecards[] = {"stepwise", "any-sign", "shrink",      "folds", "seed",
                                              "holdout",  "odds",     "base-points", "pdo",   "round-points"};

template <std::size_t kCount>
std::vector<std::string> AllowedWords(const std::string& options, const std::string_view (&allowed)[kCount]) {
  std::vector<std::string> words = CommandWords(options);
  for (const std::string& word : words) {
    // Whole names only: the command line also takes the beginning of a name.
    const std::string name = word.substr(2, word.find('=') - 2);
    if (std::find(std::begin(allowed), std::end(allowed), name) == std::end(allowed))
      throw UsageError("The page cannot set the option " + ShortenedText(name) + ".");
  }
  return words;
}

}  // namespace

std::vector<std::string> PageOptionNames() { return {std::begin(kAllowed), std::end(kAllowed)}; }

std::vector<std::string> WordsOfPage(const std::string& options) { return AllowedWords(options, kAllowed); }

std::vector<std::string> WordsOfScorecard(const std::string& options) {
  return AllowedWords(options, kOfScorecards);
}

}  // namespace velmora
