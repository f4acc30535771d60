// The page's plain functions: numbers, names, options, code, places of cut points.
import { fieldGroups, isSearched } from "./fields";
import type { Analysis, BinsPanel, Choices, Options, Place, RankedPredictor, RankingReport, Run, ScreenedPredictor, ScreeningReport, Variable, View } from "./types";

// --- Numbers

// A number as people type it, in English or German: "1,234.5", "1.234,5", "0,05", "12 %" is 0.12.
// decimalComma: what a single separator before exactly three digits means. Null: not a number.
export function parseNumber(text: string, decimalComma: boolean): number | null {
  let digits = text.trim().replace(/[\s\u00a0\u202f']/g, "");
  let scale = 1;
  if (digits.endsWith("%")) {
    digits = digits.slice(0, -1);
    scale = 0.01;
  }
  digits = digits.replace(/^[\u2212\u2013]/, "-");
  const comma = digits.lastIndexOf(",");
  const point = digits.lastIndexOf(".");
  if (comma >= 0 && point >= 0) {
    digits = comma > point ? digits.replace(/\./g, "").replace(",", ".") : digits.replace(/,/g, "");
  } else if (comma >= 0) {
    const grouped = /^[-+]?[1-9]\d{0,2}(,\d{3})+$/.test(digits);
    const several = digits.indexOf(",") !== comma;
    digits = grouped && (several || !decimalComma) ? digits.replace(/,/g, "") : digits.replace(",", ".");
  } else if (point >= 0 && /^[-+]?[1-9]\d{0,2}(\.\d{3})+$/.test(digits)) {
    const several = digits.indexOf(".") !== point;
    if (several || decimalComma) digits = digits.replace(/\./g, "");
  }
  if (!/^[-+]?(\d+\.?\d*|\.\d+)(e[-+]?\d+)?$/i.test(digits)) return null;
  const value = Number(digits);
  return Number.isFinite(value) ? (scale === 1 ? value : value / 100) : null;
}

export function usesDecimalComma(locale: string): boolean {
  return new Intl.NumberFormat(locale).format(1.5).includes(",");
}

export function formatNumber(value: number | null | undefined, digits = 3): string {
  if (value === null || value === undefined || !Number.isFinite(value)) return "–";
  return value.toFixed(digits);
}

export function formatCount(value: number | null | undefined): string {
  if (value === null || value === undefined) return "–";
  const rounded = Number.isInteger(value) ? value : Math.round(value * 100) / 100;
  return rounded.toLocaleString("en-US").replace(/,/g, "\u202f");
}

export function formatPercent(share: number | null | undefined, digits = 1): string {
  return share === null || share === undefined ? "–" : `${(100 * share).toFixed(digits)}\u202f%`;
}

export function formatP(p: number | null | undefined): string {
  if (p === null || p === undefined) return "–";
  if (p < 1e-16) return "< 1e-16";
  return p < 0.001 ? p.toExponential(1) : p.toFixed(3);
}

// Six significant digits at most, as short as possible.
export function formatValue(value: number): string {
  return String(Number(value.toPrecision(6)));
}

// A rate in percent, with all of its digits.
export function formatRate(rate: number): string {
  return `${formatValue(100 * rate)}\u202f%`;
}

// The 95 % score interval of a rate (Wilson 1927, doi:10.2307/2276774).
export function wilsonInterval(events: number, cases: number): [number, number] {
  if (!(cases > 0)) return [0, 1];
  const z = 1.959963984540054;
  const rate = events / cases;
  const denominator = 1 + (z * z) / cases;
  const center = (rate + (z * z) / (2 * cases)) / denominator;
  const half = (z * Math.sqrt((rate * (1 - rate)) / cases + (z * z) / (4 * cases * cases))) / denominator;
  return [Math.max(0, center - half), Math.min(1, center + half)];
}

// --- Names

// The names that a text matches: one name, or a pattern with * and ?; letter case is ignored.
export function namesMatching(text: string, names: string[]): string[] {
  const wanted = text.trim();
  if (wanted === "") return [];
  if (names.includes(wanted)) return [wanted];
  const lower = wanted.toLowerCase();
  if (!/[*?]/.test(wanted)) return names.filter((name) => name.toLowerCase() === lower);
  const pattern = lower.replace(/[.+^${}()|[\]\\]/g, "\\$&").replace(/\*/g, ".*").replace(/\?/g, ".");
  const expression = new RegExp(`^${pattern}$`, "s");
  return names.filter((name) => expression.test(name.toLowerCase()));
}

// Names that contain the letters of a search, those that begin with it first.
export function searchNames(text: string, names: string[]): string[] {
  const lower = text.trim().toLowerCase();
  if (lower === "") return names;
  if (/[*?]/.test(lower)) return namesMatching(lower, names);
  const found = names.filter((name) => name.toLowerCase().includes(lower));
  return [
    ...found.filter((name) => name.toLowerCase().startsWith(lower)),
    ...found.filter((name) => !name.toLowerCase().startsWith(lower)),
  ];
}

// Names that hold the letters of a search in this order, the closest first: whole names, then
// beginnings, parts, beginnings of words ("cd" of "credit_duration"), and scattered letters.
export function quickMatches(text: string, names: string[]): string[] {
  const letters = text.toLowerCase().replace(/\s+/g, "");
  if (letters === "") return names;
  const found: { name: string; cost: number }[] = [];
  for (const name of names) {
    const cost = matchCost(letters, name);
    if (cost !== null) found.push({ name, cost });
  }
  return found.sort((a, b) => a.cost - b.cost || a.name.length - b.name.length).map((one) => one.name);
}

// Null: the name does not hold the letters in this order.
function matchCost(letters: string, name: string): number | null {
  const lower = name.toLowerCase();
  if (lower === letters) return 0;
  const at = lower.replace(/\s+/g, "").indexOf(letters);
  if (at === 0) return 1;
  const words = lower.split(/[^\p{L}\p{N}]+/u);
  if (words.some((word) => word.startsWith(letters))) return 2;
  if (at > 0) return 3;
  if (words.map((word) => word[0] ?? "").join("").includes(letters)) return 4;
  let from = 0;
  let first = -1;
  for (const letter of letters) {
    from = lower.indexOf(letter, from) + 1;
    if (from === 0) return null;
    if (first < 0) first = from;
  }
  return 5 + (from - first + 1 - letters.length);
}

// The word of an expression that ends at the caret, for completing it.
export function wordAtCaret(text: string, caret: number): { start: number; word: string } {
  const word = /[\p{L}_][\p{L}\p{N}_.]*$/u.exec(text.slice(0, caret))?.[0] ?? "";
  return { start: caret - word.length, word };
}

// A name as expressions take it.
export function nameInExpression(name: string): string {
  return /^[A-Za-z_]\w*$/.test(name) ? name : `"${name.replace(/"/g, '""')}"`;
}

// --- Choices

export function measurementOf(variable: Variable, choices: Choices): string {
  return choices.measurement?.[variable.name] ?? variable.measurement;
}

// The role of a variable in the analyses.
export function roleOf(variable: Variable, choices: Choices): "outcome" | "predictor" | "weight" | "none" {
  if (choices.outcomes?.includes(variable.name)) return "outcome";
  if (choices.weight === variable.name) return "weight";
  if (choices.predictors) return choices.predictors.includes(variable.name) ? "predictor" : "none";
  if (choices.leftOut?.includes(variable.name)) return "none";
  return variable.role === "usable" ? "predictor" : "none";
}

// The predictors to name; null: leave the choice to the command, which knows only the outcome of
// its own run.
export function predictorsToName(analysis: Analysis, variables: Variable[], choices: Choices): string[] | null {
  const hasOthers = analysis === "screen" && (choices.outcomes?.length ?? 0) > 1;
  if (!choices.predictors && !choices.leftOut?.length && !hasOthers) return null;
  const own = (analysis === "screen" ? choices.screening : choices.ranking) ?? {};
  // Variables with another role are predictors only if the user names them.
  const elsewhere = choices.predictors ? [] : [own["by"], own["strata"], own["clusters"], own["count"]];
  return variables.filter((one) => roleOf(one, choices) === "predictor" && !elsewhere.includes(one.name)).map((one) => one.name);
}

export type ResponseKind = "binary" | "continuous" | "categorical";

export function responseKind(variable: Variable, choices: Choices): ResponseKind {
  if (measurementOf(variable, choices) === "continuous") return "continuous";
  return variable.distinct === 2 && !variable.distinctIsLowerBound ? "binary" : "categorical";
}

// The outcome whose bins are searched: the chosen one, else the first. A screening has only one, so
// that its bins can be edited and passed to the command.
export function screenedOutcome(variables: Variable[], choices: Choices): Variable | undefined {
  const outcomes = choices.outcomes ?? [];
  const name = outcomes.find((one) => one === choices.screened) ?? outcomes[0];
  return variables.find((one) => one.name === name);
}

// The outcome in the options of a screening.
export function outcomeOf(options: Options): string {
  const kinds: ResponseKind[] = ["binary", "continuous", "categorical"];
  return String(kinds.map((kind) => options[`${kind}-response`]).find((name) => name !== undefined) ?? "");
}

export function viewNamed(name: unknown): View | undefined {
  const views: View[] = ["data", "rank", "bins", "history", "dialogs"];
  return views.find((one) => one === name);
}

// The place stored in choices, which may come from any file and is checked.
export function placeOf(choices: Choices): Place {
  const stored: Record<string, unknown> = { ...choices.place };
  const place: Place = {};
  const view = viewNamed(stored["view"]);
  if (view) place.view = view;
  for (const name of ["variable", "predictor"] as const) {
    const value = stored[name];
    if (typeof value === "string") place[name] = value;
  }
  return place;
}

// The targets of an outcome, ascending. A project file may hold anything, so they are checked.
export function targetsOf(choices: Choices, outcome: string): number[] {
  const stored: unknown = Object.entries(choices.targets ?? {}).find(([name]) => name === outcome)?.[1];
  const numbers = Array.isArray(stored) ? stored.filter((one): one is number => Number.isFinite(one)) : [];
  return [...new Set(numbers)].sort((a, b) => a - b);
}

// Targets as people type them, separated by semicolons; null: one of them is invalid.
export function parseTargets(text: string, isRate: boolean, decimalComma: boolean): number[] | null {
  const targets: number[] = [];
  for (const word of text.split(";").filter((one) => one.trim() !== "")) {
    const value = parseNumber(word, decimalComma);
    if (value === null || (isRate && (value < 0 || value > 1))) return null;
    targets.push(value);
  }
  return targets;
}

// Whether bins of the run have been edited, accepted, locked or commented.
export function hasWork(run: Pick<Run, "edits" | "decisions">): boolean {
  const work: Record<string, Record<string, object>>[] = [run.edits, run.decisions];
  return work.some((ones) => Object.values(ones).some((predictors) => Object.values(predictors).some((one) => Object.keys(one).length > 0)));
}

// The codes of a binary response, as the command takes them; the bad one is the rarer
// one unless the user says so.
export function codesOf(variable: Variable, choices: Choices): { good: string; bad: string } {
  const levels = variable.histogram?.labels ?? [];
  const common = levels[0] ?? "";
  const rare = levels[1] ?? "";
  const chosen = choices.badCodes?.[variable.name] ?? choices.bad;
  const bad = typeof chosen === "string" && levels.includes(chosen) ? chosen : rare;
  return { bad, good: bad === common ? rare : common };
}

function codeList(text: string): string[] {
  return text.split(/[;\s]+/).filter((code) => code !== "");
}

export function codesByVariable(codes: Record<string, string | null> | undefined): Record<string, string[]> | null {
  const entries = Object.entries(codes ?? {})
    .map(([name, text]) => [name, codeList(text ?? "")] as const)
    .filter(([, list]) => list.length > 0);
  return entries.length > 0 ? Object.fromEntries(entries) : null;
}

// The options of an analysis, those of the command line; null: an outcome is missing.
export function optionsOf(analysis: Analysis, variables: Variable[], choices: Choices): Options | null {
  const outcome = analysis === "screen" ? screenedOutcome(variables, choices) : variables.find((one) => one.name === choices.outcomes?.[0]);
  if (!outcome) return null;
  const options: Options = {};
  if (analysis === "feature-selection") {
    options["dependents"] = choices.outcomes;
  } else {
    const kind = responseKind(outcome, choices);
    options[`${kind}-response`] = outcome.name;
    if (kind === "binary") {
      const codes = codesOf(outcome, choices);
      options["good"] = codes.good;
      options["bad"] = codes.bad;
    }
  }
  const predictors = predictorsToName(analysis, variables, choices);
  if (predictors) options["predictors"] = predictors;
  for (const measurement of ["continuous", "categorical"] as const) {
    const names = Object.entries(choices.measurement ?? {}).filter(([, value]) => value === measurement);
    if (names.length > 0) options[measurement] = names.map(([name]) => name);
  }
  const missing = codesByVariable(choices.missing);
  if (missing) options["missing"] = missing;
  if (choices.select) options["select"] = choices.select;
  if (choices.exclude) options["exclude"] = choices.exclude;
  if (choices.weight) options["weight"] = choices.weight;
  const special = codesByVariable(choices.special);
  if (special && analysis === "screen") options["special"] = special;
  const own = analysis === "screen" ? choices.screening : choices.ranking;
  // An option without effect in combination with the others is left out, because the command would
  // refuse it.
  const fields = new Map(fieldGroups[analysis].flatMap((group) => group.fields.map((field) => [field.option, field])));
  for (const [name, value] of Object.entries(own ?? {})) {
    const applies = fields.get(name)?.when?.(own ?? {}, choices) ?? true;
    if (applies && value !== null && value !== "" && value !== false) options[name] = value;
  }
  if (options["user-missing"]) {
    delete options["user-missing"];
    const codes = Object.entries(special ?? {}).map(([name, list]) => `${name}=${list.join(",")}`);
    options["special"] = [...codes, "user-missing"];
  }
  const shapes = analysis === "screen" ? shapesThatApply(variables, choices) : [];
  if (shapes.length > 0) options["shape"] = [...(typeof options["shape"] === "string" ? [options["shape"]] : []), ...shapes];
  return options;
}

// The shapes of single predictors that the command takes: those of predictors of the run, where
// bins are searched for a rate or a mean.
function shapesThatApply(variables: Variable[], choices: Choices): string[] {
  const own = choices.screening ?? {};
  const outcome = screenedOutcome(variables, choices);
  if (!isSearched(own) || !outcome || responseKind(outcome, choices) === "categorical") return [];
  const elsewhere = [own["by"], own["strata"], own["clusters"], own["count"]];
  return Object.entries(choices.shapes ?? {}).flatMap(([name, shape]) => {
    const variable = variables.find((one) => one.name === name);
    const applies = variable && roleOf(variable, choices) === "predictor" && !elsewhere.includes(name);
    return shape && applies ? [`${name}=${shape}`] : [];
  });
}

// Adds the variables that are not known yet; both lists ascend by number.
export function withVariables(known: Variable[], more: Variable[]): Variable[] {
  const last = known.at(-1)?.number ?? 0;
  return [...known, ...more.filter((one) => one.number > last)];
}

// RFC 7396: null deletes a member.
export function mergePatch<Target>(target: Target, patch: unknown): Target {
  if (patch === null || typeof patch !== "object" || Array.isArray(patch)) return patch as Target;
  const merged: Record<string, unknown> =
    target !== null && typeof target === "object" && !Array.isArray(target) ? { ...target } : {};
  for (const [name, value] of Object.entries(patch)) {
    if (value === null) delete merged[name];
    else merged[name] = mergePatch(merged[name], value);
  }
  return merged as Target;
}

// --- Code

function pythonText(value: unknown): string {
  if (value === true) return "True";
  if (value === false || value === null) return value === null ? "None" : "False";
  if (Array.isArray(value)) return `[${value.map(pythonText).join(", ")}]`;
  if (typeof value === "object")
    return `{${Object.entries(value as object).map(([key, one]) => `${JSON.stringify(key)}: ${pythonText(one)}`).join(", ")}}`;
  return JSON.stringify(value);
}

// The run in the Python package, with the edits of its bins.
export function pythonCode(file: string, run: Pick<Run, "analysis" | "options" | "cutPoints" | "binsFile" | "edits">): string {
  const rest = { ...run.options };
  const kinds = ["binary", "continuous", "categorical"];
  let outcome: unknown = rest["dependents"];
  delete rest["dependents"];
  for (const kind of kinds) {
    if (run.analysis !== "screen" || rest[`${kind}-response`] === undefined) continue;
    outcome = rest[`${kind}-response`];
    delete rest[`${kind}-response`];
    if (kind !== "binary") rest["kind"] = kind;
  }
  const single = Array.isArray(outcome) && outcome.length === 1 ? outcome[0] : outcome;
  const call = (result: string, more: Options) => {
    const named = Object.entries({ ...rest, ...more }).map(([name, value]) => `,\n    ${name.replace(/-/g, "_")}=${pythonText(value)}`);
    return `${result} = velmora.${run.analysis === "screen" ? "screen" : "rank"}(${pythonText(file)}, ${pythonText(single)}${named.join("")})\n`;
  };
  const given: Options = run.cutPoints ? { "cut-points": run.cutPoints } : {};
  const edits = Object.values(run.edits).flatMap((predictors) =>
    Object.entries(predictors).flatMap(([predictor, list]) =>
      list.map(({ operation, ...members }) => {
        const named = Object.entries(members).map(([name, value]) => `, ${name}=${pythonText(value)}`);
        return `bins = bins.edit(${pythonText(operation)}, ${pythonText(predictor)}${named.join("")})\n`;
      }),
    ),
  );
  // A run as in the dialogs marks no predictor as chance.
  const saved: Options = rest["classic"] === true ? {} : { "save-chance": true };
  if (edits.length === 0) return `import velmora\n\n${call("result", given)}`;
  return (
    `import velmora\n\n${call("found", { ...given, ...saved })}bins = found.bins(best=100000)\n${edits.join("")}` +
    `bins.save(${pythonText(run.binsFile)})\n${call("result", { "cut-points": run.binsFile })}`
  );
}

// --- Rankings

// The strength of a predictor, on held-out cases if that is known.
export function strengthOf(kind: string, one: ScreenedPredictor): number | null {
  if (kind === "binary") return one.outOfFoldInformationValue ?? one.informationValue;
  return one.outOfFoldExplained ?? one.rSquared ?? one.cramersV;
}

// The predictors of an outcome in the order of its ranking.
export function rankedPredictors(dependent: RankingReport["dependents"][number], rankBy: string): RankedPredictor[] {
  const keys: Record<string, (one: RankedPredictor) => unknown> = {
    p: (one) => one.minusLog10P ?? 0,
    statistic: (one) => one.statistic,
  };
  const ranked = sortedBy(dependent.predictors, keys[rankBy] ?? ((one) => one.effect), true);
  return sortedBy(ranked, (one) => (one.betterThanChance === false ? 1 : 0), false);
}

export interface Ranked {
  name: string;
  rank: number;
  figure: number | null;
}

export function outcomesIn(report: RankingReport | ScreeningReport): string[] {
  return ("responses" in report ? report.responses : report.dependents).map((one) => one.name);
}

// The predictors of an outcome of a run, best first; of the first outcome if the run lacks this
// one.
export function rankingOf(report: RankingReport | ScreeningReport, outcome = ""): Ranked[] {
  if ("responses" in report) {
    const response = report.responses[0];
    return (response?.predictors ?? []).map((one, index) => ({ name: one.name, rank: index + 1, figure: strengthOf(response?.kind ?? "", one) }));
  }
  const dependent = report.dependents.find((one) => one.name === outcome) ?? report.dependents[0];
  if (!dependent) return [];
  const rankBy = report.run.rankBy ?? "effect";
  const figure = (one: RankedPredictor) => (rankBy === "effect" ? one.effect : one.statistic) ?? null;
  return rankedPredictors(dependent, rankBy).map((one, index) => ({ name: one.name, rank: index + 1, figure: figure(one) }));
}

export interface ComparedPredictor {
  name: string;
  before: Ranked | null;
  after: Ranked | null;
  difference: number | null;
}

// In the order of the second run; predictors that it lacks come last.
export function compareRankings(before: Ranked[], after: Ranked[]): ComparedPredictor[] {
  const old = new Map(before.map((one) => [one.name, one]));
  const now = new Set(after.map((one) => one.name));
  const both = after.map((one) => {
    const was = old.get(one.name) ?? null;
    const difference = one.figure === null || was?.figure === null || was === null ? null : one.figure - was.figure;
    return { name: one.name, before: was, after: one, difference };
  });
  const gone = before.filter((one) => !now.has(one.name));
  return [...both, ...gone.map((one) => ({ name: one.name, before: one, after: null, difference: null }))];
}

// The options in which two runs differ.
export function compareOptions(before: Options, after: Options): { name: string; before: string; after: string }[] {
  const text = (value: unknown) => (value === undefined ? "–" : typeof value === "string" ? value : JSON.stringify(value));
  const names = [...new Set([...Object.keys(before), ...Object.keys(after)])].sort();
  return names
    .map((name) => ({ name, before: text(before[name]), after: text(after[name]) }))
    .filter((one) => one.before !== one.after);
}

// --- Cut points

// The places to which the cut point with this index may be moved, ascending, its own place among
// them: the last values of runs of neighboring values that leave no bin empty.
export function cutPlaces(panel: BinsPanel, index: number): number[] {
  const cuts = panel.predictor.cutPoints ?? [];
  const runs = panel.predictor.preBins ?? [];
  const lower = index > 0 ? (cuts[index - 1] ?? -Infinity) : -Infinity;
  const upper = cuts[index + 1] ?? Infinity;
  const own = cuts[index];
  const inside = runs.filter((run) => run.first > lower && run.last <= upper);
  const places = inside.slice(0, -1).map((run) => run.last);
  if (own === undefined) return places;
  // The cut may be written with fewer digits than the value below it.
  const below = Math.max(-Infinity, ...inside.filter((run) => run.last <= own).map((run) => run.last));
  return places.map((place) => (place === below ? own : place));
}

// The place nearest to a value where a new cut leaves no bin empty; null: there is none.
export function nearestCut(panel: BinsPanel, value: number): number | null {
  const runs = panel.predictor.preBins ?? [];
  const cuts = panel.predictor.cutPoints ?? [];
  let nearest: number | null = null;
  runs.slice(0, -1).forEach((run, index) => {
    const next = runs[index + 1]?.first ?? Infinity;
    if (cuts.some((cut) => cut >= run.last && cut < next)) return;
    if (nearest === null || Math.abs(run.last - value) < Math.abs(nearest - value)) nearest = run.last;
  });
  return nearest;
}

// The place for a drag by a share of a bar's width; a whole width leads to the neighboring bound.
export function placeForDrag(places: number[], own: number, share: number): number {
  const at = places.indexOf(own);
  if (at < 0 || places.length === 0) return own;
  const steps = share < 0 ? Math.round(share * (at + 1)) : Math.round(share * (places.length - at));
  return places[Math.min(Math.max(at + steps, 0), places.length - 1)] ?? own;
}

// The first proposal for splitting a bin of ordered values: two halves with about the same number
// of cases.
export function splitPlace(panel: BinsPanel, bin: number): number | null {
  const cuts = panel.predictor.cutPoints ?? [];
  const lower = bin > 0 ? (cuts[bin - 1] ?? -Infinity) : -Infinity;
  const upper = cuts[bin] ?? Infinity;
  const inside = (panel.predictor.preBins ?? []).filter((run) => run.first > lower && run.last <= upper);
  if (inside.length < 2) return null;
  const casesIn = (counts: number[]) => (panel.kind === "continuous" ? (counts[0] ?? 0) : counts.reduce((a, b) => a + b, 0));
  const total = inside.reduce((sum, run) => sum + casesIn(run.counts), 0);
  let below = 0;
  let best = inside[0]?.last ?? null;
  let nearest = Infinity;
  for (const run of inside.slice(0, -1)) {
    below += casesIn(run.counts);
    if (Math.abs(below - total / 2) >= nearest) continue;
    nearest = Math.abs(below - total / 2);
    best = run.last;
  }
  return best;
}

// --- Tables

// Sorted copies: texts by the alphabet, numbers with those that are missing last.
export function sortedBy<Row>(rows: Row[], key: (row: Row) => unknown, descending: boolean): Row[] {
  const sign = descending ? -1 : 1;
  return [...rows].sort((a, b) => {
    const x = key(a) ?? null;
    const y = key(b) ?? null;
    if (x === null || y === null) return x === y ? 0 : x === null ? 1 : -1;
    if (typeof x === "string" && typeof y === "string") return sign * x.localeCompare(y);
    return sign * (Number(x) - Number(y));
  });
}
