import { describe, expect, it } from "vitest";
import {
  codesOf,
  compareOptions,
  compareRankings,
  cutPlaces,
  mergePatch,
  namesMatching,
  nearestCut,
  formatRate,
  hasWork,
  optionsOf,
  outcomeOf,
  parseNumber,
  parseTargets,
  placeForDrag,
  placeOf,
  pythonCode,
  quickMatches,
  rankingOf,
  roleOf,
  searchNames,
  sortedBy,
  splitPlace,
  targetsOf,
  wilsonInterval,
  withVariables,
  wordAtCaret,
} from "../../workbench/web/logic";
import type { BinsPanel, Choices, RankingReport, Variable } from "../../workbench/web/types";

describe("variables", () => {
  it("arrive once, also when a snapshot has some of them", () => {
    const named = (...numbers: number[]) => numbers.map((number) => ({ number }) as Variable);
    expect(withVariables(named(1, 2, 3), named(2, 3, 4, 5))).toEqual(named(1, 2, 3, 4, 5));
    expect(withVariables([], named(1, 2))).toEqual(named(1, 2));
    expect(withVariables(named(1, 2), named(1))).toEqual(named(1, 2));
  });
});

describe("numbers", () => {
  it.each([
    // text, with decimal points, with decimal commas
    ["0.05", 0.05, 0.05],
    ["0,05", 0.05, 0.05],
    ["1,234.5", 1234.5, 1234.5],
    ["1.234,5", 1234.5, 1234.5],
    ["1,234", 1234, 1.234],
    ["1.234", 1.234, 1234],
    ["1,234,567", 1234567, 1234567],
    ["1.234.567", 1234567, 1234567],
    ["1 234", 1234, 1234],
    ["0,125", 0.125, 0.125],
    ["0.125", 0.125, 0.125],
    ["12 %", 0.12, 0.12],
    ["7 %", 0.07, 0.07],
    ["2,5 %", 0.025, 0.025],
    ["−3", -3, -3],
    ["1e-3", 0.001, 0.001],
    [".5", 0.5, 0.5],
    ["", null, null],
    ["five", null, null],
    ["1,2,3", null, null],
    ["1.2.3", null, null],
    ["--1", null, null],
    ["1e999", null, null],
    ["Infinity", null, null],
  ])("reads %s", (text, point, comma) => {
    expect(parseNumber(text, false)).toBe(point);
    expect(parseNumber(text, true)).toBe(comma);
  });

  it.each([
    // text, with decimal points, with decimal commas, of a rate and of a mean
    ["0.05", [0.05], [0.05]],
    ["0,05", [0.05], [0.05]],
    ["5 %; 10%", [0.05, 0.1], [0.05, 0.1]],
    ["0 %;100 %;", [0, 1], [0, 1]],
    ["5", null, [5]],
    ["5 %; 5", null, [0.05, 5]],
    ["-1 %", null, [-0.01]],
    ["5 % 10 %", null, null],
    ["five", null, null],
  ])("reads the targets %s", (text, rates, means) => {
    for (const comma of [false, true]) {
      expect(parseTargets(text, true, comma)).toEqual(rates);
      expect(parseTargets(text, false, comma)).toEqual(means);
    }
  });

  it("writes rates with the digits that they have", () => {
    expect([0.05, 0.07, 0.125, 1 / 3].map(formatRate)).toEqual(["5\u202f%", "7\u202f%", "12.5\u202f%", "33.3333\u202f%"]);
  });

  it("gives the published score interval", () => {
    // Newcombe 1998, table I: 81 of 263.
    const [lower, upper] = wilsonInterval(81, 263);
    expect(lower).toBeCloseTo(0.2553, 4);
    expect(upper).toBeCloseTo(0.3662, 4);
    expect(wilsonInterval(0, 10)[0]).toBe(0);
    expect(wilsonInterval(0, 0)).toEqual([0, 1]);
  });
});

describe("names", () => {
  const names = ["age", "Age", "income_2020", "income_2021", "in.come", "outcome", "a*b"];
  it("finds names and patterns", () => {
    expect(namesMatching("income_*", names)).toEqual(["income_2020", "income_2021"]);
    expect(namesMatching("income_202?", names)).toEqual(["income_2020", "income_2021"]);
    expect(namesMatching("Age", names)).toEqual(["Age"]);
    expect(namesMatching("a*b", names)).toEqual(["a*b"]); // a name is no pattern
    expect(namesMatching("in.*", names)).toEqual(["in.come"]); // a point is a point
    expect(namesMatching("  ", names)).toEqual([]);
  });
  it("lists what begins with the search first", () => {
    expect(searchNames("come", names)).toEqual(["income_2020", "income_2021", "in.come", "outcome"]);
    expect(searchNames("out", names)).toEqual(["outcome"]);
    expect(searchNames("AGE", names)).toEqual(["age", "Age"]);
  });
  it("goes to names by a few letters, the closest first", () => {
    const names = ["duration_of_credit", "credit_duration", "amount", "code", "Open another file", "count", "Data"];
    const rows: [string, string[]][] = [
      ["", names],
      ["code", ["code"]],
      ["cd", ["credit_duration", "code", "duration_of_credit"]],
      ["CRE", ["credit_duration", "duration_of_credit"]],
      ["dur cre", ["duration_of_credit"]],
      ["open a", ["Open another file"]],
      ["ount", ["count", "amount"]],
      ["doc", ["duration_of_credit"]],
      ["zz", []],
      ["(.", []],
    ];
    for (const [text, expected] of rows) expect(quickMatches(text, names), text).toEqual(expected);
  });
  it("knows the word at the caret", () => {
    expect(wordAtCaret("age > 3 And inc", 15)).toEqual({ start: 12, word: "inc" });
    expect(wordAtCaret("age > 3", 7)).toEqual({ start: 7, word: "" });
    expect(wordAtCaret("größe", 3)).toEqual({ start: 0, word: "grö" });
  });
});

function variable(name: string, more: Partial<Variable> = {}): Variable {
  return {
    number: 1, name, longName: "", type: "number", measurement: "continuous", measurementReason: "", role: "usable",
    roleReason: "", distinct: 50, distinctIsLowerBound: false, valid: 100, missing: 0, minimum: 0, maximum: 1,
    labels: [], ...more,
  };
}

describe("choices", () => {
  const risk = variable("risk", {
    type: "text", measurement: "categorical", distinct: 2, histogram: { counts: [700, 300], labels: ["good", "bad"] },
  });
  const table = [risk, variable("age"), variable("id", { role: "identifier" }), variable("w")];

  it("takes the rarer code for the bad one", () => {
    expect(codesOf(risk, {})).toEqual({ good: "good", bad: "bad" });
    expect(codesOf(risk, { bad: "good" })).toEqual({ good: "bad", bad: "good" });
    expect(codesOf(risk, { bad: "of another variable" })).toEqual({ good: "good", bad: "bad" });
  });

  it("gives the options of the command", () => {
    expect(optionsOf("screen", table, {})).toBeNull();
    const choices: Choices = {
      outcomes: ["risk"], weight: "w", select: "age > 30", measurement: { age: "categorical" },
      special: { age: "999; -1" }, missing: { w: "-9" }, screening: { "max-bins": 5, shape: null },
    };
    expect(optionsOf("screen", table, choices)).toEqual({
      "binary-response": "risk", good: "good", bad: "bad", categorical: ["age"], missing: { w: ["-9"] },
      select: "age > 30", weight: "w", special: { age: ["999", "-1"] }, "max-bins": 5,
    });
    const declared = { ...choices, screening: { "user-missing": true } };
    expect(optionsOf("screen", table, declared)).toMatchObject({ special: ["age=999,-1", "user-missing"] });
    const alone = optionsOf("screen", table, { ...declared, special: {} });
    expect(alone).toMatchObject({ special: ["user-missing"] });
    expect(alone).not.toHaveProperty("user-missing");
    expect(optionsOf("feature-selection", table, { outcomes: ["age", "risk"] })).toEqual({ dependents: ["age", "risk"] });
    expect(optionsOf("screen", table, { outcomes: ["age"] })).toEqual({ "continuous-response": "age" });
  });

  it("screens one outcome at a time, and no other outcome predicts it", () => {
    const both: Choices = { outcomes: ["risk", "age"], screening: { by: "id2" } };
    const all = [...table, variable("id2")];
    expect(optionsOf("screen", all, both)).toEqual({ "binary-response": "risk", good: "good", bad: "bad", predictors: ["w"], by: "id2" });
    expect(optionsOf("screen", all, { ...both, screened: "age" })).toEqual({ "continuous-response": "age", predictors: ["w"], by: "id2" });
    expect(optionsOf("screen", all, { ...both, screened: "gone" })).toMatchObject({ "binary-response": "risk" });
    expect(optionsOf("screen", all, { ...both, predictors: ["id2"] })).toMatchObject({ predictors: ["id2"] });
    expect(optionsOf("feature-selection", all, { ...both, screened: "age" })).toEqual({ dependents: ["risk", "age"] });
    expect(outcomeOf({ "continuous-response": "age" })).toBe("age");
    // Flags whose levels have the same names.
    expect(codesOf({ ...risk, name: "other" }, { badCodes: { risk: "good" } })).toEqual({ good: "good", bad: "bad" });
    expect(codesOf(risk, { badCodes: { risk: "good" } })).toEqual({ good: "bad", bad: "good" });
  });

  it("gives no option that the command would refuse beside the others", () => {
    const classes = variable("class", { type: "text", measurement: "categorical", distinct: 3 });
    const all = [...table, classes];
    const risky: Choices = { outcomes: ["risk"], shapes: { age: "peak", w: "valley", gone: "peak", id: null } };
    const shapeRows: [string, Choices, unknown][] = [
      ["of predictors", risky, ["age=peak", "w=valley"]],
      ["after that of all", { ...risky, screening: { shape: "monotone" } }, ["monotone", "age=peak", "w=valley"]],
      ["of all alone", { ...risky, shapes: { gone: "peak" }, screening: { shape: "monotone" } }, "monotone"],
      ["with trees", { ...risky, screening: { binning: "tree" } }, undefined],
      ["as the dialogs", { ...risky, screening: { classic: true } }, undefined],
      ["of classes", { ...risky, outcomes: ["class"] }, undefined],
      ["of the outcome", { ...risky, outcomes: ["age"] }, ["w=valley"]],
      ["of the weight", { ...risky, weight: "w" }, ["age=peak"]],
      ["of groups", { ...risky, screening: { by: "age" } }, ["w=valley"]],
      ["of chosen predictors", { ...risky, predictors: ["w"] }, ["w=valley"]],
      ["of what is left out", { ...risky, leftOut: ["w"] }, ["age=peak"]],
    ];
    for (const [name, choices, expected] of shapeRows) expect(optionsOf("screen", all, choices)?.["shape"], name).toEqual(expected);
    expect(optionsOf("feature-selection", all, risky)?.["shape"]).toBeUndefined();

    const given = (analysis: "screen" | "feature-selection", own: Record<string, unknown>, more: Choices = {}) => {
      const options = optionsOf(analysis, all, { outcomes: ["risk"], ...more, [analysis === "screen" ? "screening" : "ranking"]: own });
      return Object.keys(own).filter((name) => options?.[name] !== undefined);
    };
    expect(given("screen", { count: "w", classic: true })).toEqual(["classic"]);
    expect(given("feature-selection", { count: "w", classic: true })).toEqual(["count", "classic"]);
    for (const analysis of ["screen", "feature-selection"] as const) {
      expect(given(analysis, { "raw-weights": true })).toEqual([]);
      expect(given(analysis, { "raw-weights": true, strata: "id" })).toEqual(["strata"]);
      expect(given(analysis, { "raw-weights": true, strata: "id" }, { weight: "w" })).toEqual(["raw-weights"]);
    }
    expect(given("feature-selection", { "raw-weights": true, "rank-by": "p", alpha: 0.1, cuts: 5 }, { weight: "w" })).toEqual(["raw-weights", "cuts"]);
  });

  it("names predictors only when the user has chosen them", () => {
    const leftOut: Choices = { outcomes: ["risk"], leftOut: ["w"] };
    expect(optionsOf("feature-selection", table, leftOut)?.["predictors"]).toEqual(["age"]);
    expect(roleOf(table[2]!, {})).toBe("none");
    expect(roleOf(table[2]!, { predictors: ["id"] })).toBe("predictor");
    expect(roleOf(table[1]!, { predictors: ["id"] })).toBe("none");
  });

  it("takes from a project what a place can be", () => {
    const place = (stored: unknown) => placeOf({ place: stored } as Choices);
    expect(place({ view: "bins", variable: "age", predictor: "w", more: 1 })).toEqual({ view: "bins", variable: "age", predictor: "w" });
    for (const stored of [undefined, null, 5, "bins", [], { view: "constructor", variable: 5, predictor: null }]) expect(place(stored)).toEqual({});
  });

  it("takes from a project what targets can be", () => {
    const targets = (stored: unknown) => targetsOf({ targets: stored } as Choices, "risk");
    expect(targets({ risk: [0.1, 0.05, 0.1, null, "0.2"], age: [30] })).toEqual([0.05, 0.1]);
    for (const stored of [undefined, null, 5, "risk", [], { risk: null }, { risk: 5 }, { risk: { 0: 5 } }]) expect(targets(stored)).toEqual([]);
    expect(targetsOf({ targets: {} }, "constructor")).toEqual([]);
  });

  it("knows whether a run has work in it", () => {
    expect(hasWork({ edits: {}, decisions: {} })).toBe(false);
    expect(hasWork({ edits: { risk: { age: [] } }, decisions: { risk: { age: {} } } })).toBe(false); // undone
    expect(hasWork({ edits: {}, decisions: { risk: { age: {}, w: { comment: "odd" } } } })).toBe(true);
    expect(hasWork({ edits: { risk: { age: [{ operation: "reset" }] } }, decisions: {} })).toBe(true);
  });

  it("merges patches as the server does", () => {
    // From RFC 7396, appendix A.
    expect(mergePatch({ a: "b" }, { a: null })).toEqual({});
    expect(mergePatch({ a: { b: "c" } }, { a: { b: "d", c: null } })).toEqual({ a: { b: "d" } });
    expect(mergePatch({ a: [1, 2] }, { a: { b: null, c: 1 } })).toEqual({ a: { c: 1 } });
    expect(mergePatch({ e: null }, { a: 1 })).toEqual({ e: null, a: 1 });
  });

  it("writes the run in Python, with the edits of its bins", () => {
    const run = { analysis: "screen", options: {}, cutPoints: "", binsFile: "c_bins_2.json", edits: {} } as const;
    expect(pythonCode("c.csv", { ...run, analysis: "feature-selection", options: { dependents: ["risk"], casewise: true, "p-criterion": 0.01 } })).toBe(
      'import velmora\n\nresult = velmora.rank("c.csv", "risk",\n    casewise=True,\n    p_criterion=0.01)\n',
    );
    const options = { "continuous-response": "price", missing: { age: ["-9"] } };
    const start = '"c.csv", "price",\n    missing={"age": ["-9"]},\n    kind="continuous"';
    expect(pythonCode("c.csv", { ...run, options, cutPoints: "old.json" })).toBe(
      `import velmora\n\nresult = velmora.screen(${start},\n    cut_points="old.json")\n`,
    );
    const edits = { price: { age: [{ operation: "group", missing: true, levels: ["it's"], bins: [1] }] } };
    expect(pythonCode("c.csv", { ...run, options, edits })).toBe(
      `import velmora\n\nfound = velmora.screen(${start},\n    save_chance=True)\nbins = found.bins(best=100000)\n` +
        `bins = bins.edit("group", "age", missing=True, levels=["it's"], bins=[1])\nbins.save("c_bins_2.json")\n` +
        `result = velmora.screen(${start},\n    cut_points="c_bins_2.json")\n`,
    );
    expect(pythonCode("c.csv", { ...run, options: { ...options, classic: true }, edits })).not.toMatch("save_chance");
  });

  it("compares two runs", () => {
    const ranked = (...ones: [string, number | null, boolean?][]) =>
      ({ run: { rankBy: "effect" }, dependents: [{ name: "risk", predictors: ones.map(([name, effect, chance]) => ({ name, effect, statistic: 1, betterThanChance: !chance })) }, { name: "other", predictors: [{ name: "z", effect: 1 }] }] }) as unknown as RankingReport;
    // Chance comes last, whatever its effect.
    const before = rankingOf(ranked(["a", 0.5], ["b", 0.9, true], ["c", 0.7], ["gone", null]));
    expect(before.map((one) => [one.name, one.rank])).toEqual([["c", 1], ["a", 2], ["gone", 3], ["b", 4]]);
    const after = rankingOf(ranked(["a", 0.75], ["b", 0.9], ["new", 0.1]), "risk");
    expect(rankingOf(ranked(["a", 0.75]), "other")).toEqual([{ name: "z", rank: 1, figure: 1 }]);
    expect(compareRankings(before, after).map((one) => [one.name, one.before?.rank, one.after?.rank, one.difference])).toEqual([
      ["b", 4, 1, 0],
      ["a", 2, 2, 0.25],
      ["new", undefined, 3, null],
      ["c", 1, undefined, null],
      ["gone", 3, undefined, null],
    ]);
    expect(compareOptions({ cuts: 5, select: "x > 1", casewise: true }, { select: "x > 2", casewise: true, predictors: ["a"] })).toEqual([
      { name: "cuts", before: "5", after: "–" },
      { name: "predictors", before: "–", after: '["a"]' },
      { name: "select", before: "x > 1", after: "x > 2" },
    ]);
  });

  it("sorts with missing figures last", () => {
    const rows = [{ v: 2 }, { v: null }, { v: 10 }, { v: 1 }];
    expect(sortedBy(rows, (row) => row.v, false).map((row) => row.v)).toEqual([1, 2, 10, null]);
    expect(sortedBy(rows, (row) => row.v, true).map((row) => row.v)).toEqual([10, 2, 1, null]);
  });
});

describe("cut points", () => {
  const run = (first: number, last: number, cases: number) => ({ first, last, counts: [cases, 0] });
  const panel = {
    kind: "binary",
    predictor: {
      cutPoints: [2.5, 5],
      preBins: [run(1, 1, 10), run(2, 2.4, 10), run(3, 3, 5), run(4, 5, 60), run(6, 6, 10), run(7, 9, 30)],
    },
  } as unknown as BinsPanel;
  it("can go to every value that leaves no bin empty", () => {
    expect(cutPlaces(panel, 0)).toEqual([1, 2.5, 3]); // 2.5 is the place after 2.4
    expect(cutPlaces(panel, 1)).toEqual([3, 5, 6]);
  });
  it("come at the nearest value that is not a cut yet", () => {
    const rows: [number, number][] = [[-5, 1], [1.4, 1], [1.9, 1], [2.3, 3], [3, 3], [5.1, 6], [1e9, 6]];
    for (const [value, place] of rows) expect(nearestCut(panel, value), String(value)).toBe(place);
    expect(nearestCut({ ...panel, predictor: { ...panel.predictor, cutPoints: [1, 2.5, 3, 5, 6] } } as BinsPanel, 4)).toBeNull();
  });
  it("follow a drag and stay inside", () => {
    const places = [1, 2.5, 3];
    expect(placeForDrag(places, 2.5, 0)).toBe(2.5);
    expect(placeForDrag(places, 2.5, -0.6)).toBe(1);
    expect(placeForDrag(places, 2.5, 0.9)).toBe(3);
    expect(placeForDrag(places, 2.5, 40)).toBe(3);
    expect(placeForDrag(places, 7, 0.5)).toBe(7); // a place that is not known is left alone
  });
  it("divide a bin into halves", () => {
    expect(splitPlace(panel, 2)).toBe(6);
    expect(splitPlace(panel, 1)).toBe(3);
    expect(splitPlace({ ...panel, predictor: { ...panel.predictor, cutPoints: [1] } } as BinsPanel, 0)).toBeNull();
  });
});
