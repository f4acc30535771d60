// The options of the analyses that have a field of their own, under the names of the command line.
// Options that name variables, codes and cases are set by the boxes above them (choicesOptions).
import type { Analysis, Choices } from "./types";

type Own = Record<string, unknown>;
type When = (own: Own, choices: Choices) => boolean;

interface FieldBase {
  option: string;
  label: string;
  hint: string;
  when?: When; // shown, and given, only then
}

export type Field = FieldBase &
  (
    | { kind: "number"; standard: string }
    | { kind: "choice"; words: [string, string][] } // the first, "", is the default
    | { kind: "flag" }
    | { kind: "variable" | "variables" }
  );

export interface FieldGroup {
  title: string;
  open?: boolean;
  fields: Field[];
}

// Options that are set by other parts of the page.
export const choicesOptions: Record<Analysis, string[]> = {
  "feature-selection": ["dependents", "predictors", "continuous", "categorical", "missing", "select", "exclude", "weight"],
  screen: [
    "binary-response", "good", "bad", "continuous-response", "categorical-response", "predictors", "continuous",
    "categorical", "missing", "special", "select", "exclude", "weight",
  ],
};

const number = (option: string, label: string, standard: string, hint: string, when?: When): Field => ({
  kind: "number", option, label, standard, hint, ...(when ? { when } : {}),
});
const choice = (option: string, label: string, words: [string, string][], hint: string, when?: When): Field => ({
  kind: "choice", option, label, words, hint, ...(when ? { when } : {}),
});
const flag = (option: string, label: string, hint: string, when?: When): Field => ({
  kind: "flag", option, label, hint, ...(when ? { when } : {}),
});

const isClassic = (own: Own) => own["classic"] === true;
const isNew = (own: Own) => own["classic"] !== true;
export const isSearched = (own: Own) => isNew(own) && own["binning"] !== "tree";
const takesRawWeights = (own: Own, choices: Choices) => Boolean(choices.weight) && own["raw-weights"] === true;
// Raw weights are ranked as the dialogs rank them.
const isNewRanking = (own: Own, choices: Choices) => isNew(own) && !takesRawWeights(own, choices);

export const shapeWords: [string, string][] = [
  ["", "free"],
  ["monotone", "rising or falling"],
  ["ascending", "rising"],
  ["descending", "falling"],
  ["peak", "one peak"],
  ["valley", "one valley"],
  ["auto", "the best of these"],
];

const sample = (when: When): Field[] => [
  { kind: "variable", option: "strata", label: "Strata", hint: "Of the sample.", when },
  { kind: "variable", option: "clusters", label: "Clusters", hint: "Primary sampling units.", when },
];

const weights = (takesCounts: When): Field[] => [
  flag("raw-weights", "Weights as they are", "Not relative to their mean: their sum is the number of cases.", (_own, choices) => Boolean(choices.weight)),
  { kind: "variable", option: "count", label: "Counts", hint: "The number of equal cases that each row represents.", when: takesCounts },
];

const decimalSeparator = choice("decimal-separator", "Decimals in labels", [
  ["", "with a point: 0.5"],
  [",", "with a comma: 0,5"],
], "Of bins and intervals, in every output.");

export const fieldGroups: Record<Analysis, FieldGroup[]> = {
  screen: [
    {
      title: "Bins",
      open: true,
      fields: [
        choice("shape", "Shape", shapeWords, "How the rate or mean runs over the bins.", isSearched),
        number("max-bins", "Most bins", "8", "Never more bins than this.", isSearched),
        number("min-bin-share", "Least share", "0.05", "Share of the cases in each bin.", isSearched),
        number("min-bin-events", "Least events", "none", "Cases of each class in each bin.", isSearched),
        choice("missing-bin", "Missing values", [
          ["", "a bin of their own"],
          ["most-alike", "with the bin most alike"],
          ["lowest", "with the first bin"],
          ["highest", "with the last bin"],
          ["drop", "left out"],
        ], "Where cases without a value go.", isNew),
        choice("criterion", "Best means", [
          ["", "most deviance explained"],
          ["iv", "information value"],
          ["gini", "Gini impurity"],
          ["variance", "variance"],
        ], "What the search makes as large as it can.", isSearched),
      ],
    },
    {
      title: "More about bins",
      fields: [
        number("bin-count", "Exactly", "any", "So many bins, where the other rules allow it.", isSearched),
        number("min-bins", "At least", "1", "So many bins, where the other rules allow it.", isSearched),
        number("min-bin-cases", "Least cases", "none", "Cases in each bin.", isSearched),
        number("max-adjacent-p", "Neighbours differ at", "1", "p-value of the test of neighbouring bins.", isSearched),
        number("min-level-share", "Rare below", "0.01", "Levels that are rarer than this and than half the average level share a bin.", isSearched),
        number("pre-bins", "Pre-bins", "100", "Quantiles or values that the search joins, 2 to 1000.", isSearched),
        choice("pure-bin-correction", "Pure bins", [
          ["", "half a case more in each class"],
          ["off", "without a weight of evidence"],
        ], "Bins without bad or good cases.", isNew),
        choice("binning", "Method", [
          ["", "optimal bins"],
          ["tree", "decision trees"],
        ], "Trees are quicker on very wide data.", isNew),
        flag("no-prune", "Keep chance splits", "Trees keep splits that do no better than chance.", (own) => !isSearched(own)),
        flag("user-missing", "Declared missing apart", "Values that an SPSS, Stata or SAS file declares missing have bins of their own.", isNew),
        flag("special-together", "Special codes together", "One bin for all special codes of a variable.", isNew),
        { kind: "variables", option: "ordinal", label: "Ordered values", hint: "Their values have an order, also where they have labels.", when: isNew },
        { kind: "variables", option: "nominal", label: "Names, not numbers", hint: "Their numbers are names of categories.", when: isNew },
      ],
    },
    {
      title: "Groups of cases",
      fields: [
        { kind: "variable", option: "by", label: "Compare groups of", hint: "Stability of the bins over its groups, such as periods." },
        choice("by-reference", "Reference", [
          ["", "the first group"],
          ["all", "all groups together"],
        ], "What the groups are compared with.", (own) => Boolean(own["by"])),
      ],
    },
    {
      title: "Order, chance, redundancy",
      fields: [
        choice("rank-by", "Rank by", [
          ["", "held-out figure"],
          ["out-of-fold-gini", "held-out Gini"],
          ["iv", "information value"],
          ["gini", "Gini impurity"],
          ["chi-square", "Chi-square"],
          ["p", "p-value"],
          ["v", "Cramer's V"],
          ["r2", "R-squared"],
          ["f", "F"],
          ["r2-ranks", "R-squared of ranks"],
        ], "The order of the predictors.", isNew),
        number("permutations", "Permutations", "none", "Of the response: p-values of the whole search.", isSearched),
        number("seed", "Seed", "1", "Of the random numbers.", (own) => isSearched(own) && Boolean(own["permutations"])),
        number("compare", "Compare", "50", "The best so many: which say the same as a better one.", isSearched),
        number("same-from", "Same from", "0.6", "Corrected Cramer's V from which they say the same.", isSearched),
        flag("distinct", "Only distinct ones", "List the best of those that say the same.", isSearched),
        flag("adds", "What each adds", "The order in which predictors add most.", isSearched),
      ],
    },
    {
      title: "Sample and weights",
      fields: [...sample((own, choices) => isSearched(own) && !takesRawWeights(own, choices)), ...weights(isNew)],
    },
    {
      title: "The run of the dialogs",
      fields: [
        flag("classic", "Exactly as the dialogs", "Trees, missing values left out, the order of the dialogs."),
        choice("sort-binary", "Order, flag", [["", "Gini impurity"], ["iv", "information value"]], "Of predictors of a flag.", isClassic),
        choice("sort-continuous", "Order, measured", [["", "R-squared"], ["f", "F"]], "Of predictors of a measured outcome.", isClassic),
        choice("sort-categorical", "Order, classes", [["", "p-value"], ["chi-square", "Chi-square"]], "Of predictors of classes.", isClassic),
      ],
    },
    {
      title: "Report",
      fields: [number("best", "Bins shown", "20", "Predictors whose bins the report shows."), decimalSeparator],
    },
  ],
  "feature-selection": [
    {
      title: "Ranking",
      open: true,
      fields: [
        choice("rank-by", "Rank by", [
          ["", "size of the effect"],
          ["p", "p-value"],
          ["statistic", "statistic"],
        ], "Effects are corrected for the number of levels.", isNewRanking),
        choice("intervals", "Intervals", [
          ["", "equally many cases"],
          ["equal-width", "equal width"],
          ["tree", "searched for"],
        ], "How measured predictors are cut for the test.", isNewRanking),
        number("cuts", "How many", "10", "Intervals of a measured predictor, 1 to 20."),
        choice("adjust", "Adjust p-values", [
          ["", "Benjamini–Hochberg"],
          ["by", "Benjamini–Yekutieli"],
          ["holm", "Holm"],
          ["none", "not at all"],
        ], "For the number of predictors that are tried.", isNewRanking),
        number("alpha", "Chance above", "0.05", "An adjusted p-value above it is no more than chance.", isNewRanking),
        flag("casewise", "Complete cases only", "Cases without a missing value in the variables of the run."),
      ],
    },
    {
      title: "More about the tests",
      fields: [
        flag("adjust-across", "Adjust over all outcomes", "Over the predictors of all outcomes together.", isNewRanking),
        flag("exact", "Exact tests", "Where expected counts are small: Fisher's or a Monte Carlo test.", isNewRanking),
        number("replicates", "Tables", "9999", "Of a Monte Carlo test.", (own, choices) => isNewRanking(own, choices) && own["exact"] === true),
        number("seed", "Seed", "1", "Of its random numbers.", (own, choices) => isNewRanking(own, choices) && own["exact"] === true),
        flag("cut-dependents", "Cut outcomes too", "Measured outcomes become categories."),
        number("dependent-cuts", "Into", "10", "Intervals of a measured outcome, 1 to 20.", (own) => own["cut-dependents"] === true),
        flag("chi-square", "Show Chi-square", "Instead of Cramer's V."),
      ],
    },
    {
      title: "Sample and weights",
      fields: [
        ...sample(isNewRanking),
        ...weights(() => true),
        flag("round-weights", "Round the weights", "To whole numbers.", isClassic),
      ],
    },
    {
      title: "Report and run of the dialogs",
      fields: [
        flag("classic", "Exactly as the dialogs", "By statistic, equal width, p-values not adjusted."),
        choice("show", "Shown", [
          ["", "the best"],
          ["p", "all up to a p-value"],
          ["best-by-p", "the best by p-value"],
        ], "Predictors that the report lists."),
        number("best", "Best listed", "10", "In the report."),
        number("best-by-p", "Best by p", "10", "In the report.", (own) => own["show"] === "best-by-p"),
        number("p-criterion", "Up to p", "0.01", "Above 0 and below 1.", (own) => own["show"] === "p"),
        decimalSeparator,
      ],
    },
  ],
};
