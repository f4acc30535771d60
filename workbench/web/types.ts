// The messages of the server, as described in its headers.

export interface Histogram {
  counts: number[];
  minimum?: number;
  maximum?: number;
  labels?: string[];
  rest?: number;
}

export type Measurement = "continuous" | "categorical";

export interface Variable {
  number: number;
  name: string;
  longName: string;
  type: string;
  measurement: Measurement;
  measurementReason: string;
  role: string;
  roleReason: string;
  distinct: number;
  distinctIsLowerBound: boolean;
  valid: number;
  missing: number;
  minimum: number | null;
  maximum: number | null;
  labels: { value: number; label: string }[];
  histogram?: Histogram;
}

export type Analysis = "feature-selection" | "screen";
export type Options = Record<string, unknown>;

export interface Decision {
  accepted?: boolean;
  locked?: boolean;
  comment?: string;
}

export interface Run {
  run: number;
  analysis: Analysis;
  name: string;
  note: string;
  status: "running" | "done" | "failed" | "cancelled" | "stale";
  error: string;
  created: string;
  seconds: number;
  options: Options;
  commands: string[]; // that repeat the run with its edits; the last one makes the outputs
  cutPoints: string; // file of the bins that were given
  binsFile: string; // of the edited bins
  notices: string[];
  kept: boolean;
  decisions: Record<string, Record<string, Decision>>;
  edits: Record<string, Record<string, Record<string, unknown>[]>>;
}

export type View = "data" | "rank" | "bins" | "history" | "dialogs";

export interface Place {
  view?: View;
  variable?: string;
  predictor?: string;
}

// The user's choices. They belong to the page; the server stores them.
export interface Choices {
  outcomes?: string[];
  screened?: string | null; // the outcome whose bins are searched; the first by default
  predictors?: string[] | null; // null: all usable variables
  leftOut?: string[]; // usable variables that are no predictors
  weight?: string;
  select?: string;
  exclude?: string;
  measurement?: Record<string, Measurement | null>;
  missing?: Record<string, string | null>;
  special?: Record<string, string | null>;
  badCodes?: Record<string, string | null>; // of flags
  bad?: string; // of all flags, in projects of earlier versions
  ranking?: Record<string, unknown>; // options of the command; a missing one has its default
  screening?: Record<string, unknown>;
  shapes?: Record<string, string | null>; // of the bins of single predictors
  targets?: Record<string, number[] | null>; // of the rate or mean of outcomes, drawn across their bins
  place?: Place; // where the last window was
}

// The dialogs of the module (server/page_dialogs.h).
export interface DialogControl {
  id: number;
  kind: "button" | "check box" | "radio button" | "group" | "label" | "list" | "edit" | "drop-down list" | "tabs";
  page: number; // -1: on the dialog itself
  text: string;
  x: number;
  y: number;
  width: number;
  height: number; // dialog units
  enabled: boolean;
  key?: number; // place of the accelerator in the text
  isDefault?: boolean;
  checked?: boolean;
  items?: string[];
  item?: number;
  error?: string;
}

export interface DialogState {
  dialog: number;
  caption: string;
  dataLine: string;
  takesCommands: boolean;
  pages: string[];
  page: number;
  controls: DialogControl[];
}

export interface DialogQuestion {
  number: number; // which the answer names
  kind: "variables" | "codes" | "cases" | "weight" | "file" | "save" | "replace";
  title?: string;
  wrong: string; // the error of the last answer; empty: none
  lists?: { caption: string; kind: number; most: number; set: number; names: string[] }[];
  variables?: { name: string; text: string; values: string[] }[];
  allNames?: string[]; // of data that are not those of the page
  measurements?: string[];
  include?: string;
  exclude?: string;
  name?: string;
  extension?: string;
  folder?: string;
  files?: string[];
}

export interface DialogsState {
  dialogs: DialogState[];
  question: DialogQuestion | null;
  messages: { number: number; text: string }[];
  documents: { id: number; title: string }[];
}

export interface Snapshot {
  session: number;
  file: string;
  path: string;
  project: string;
  unsaved: boolean;
  status: "loading" | "loaded" | "failed";
  error: string;
  dataChanged: boolean;
  data: { cases?: number; names?: string[]; notices?: string[] };
  firstRows: { names: string[]; rows: number } | null; // while the file is being read
  choices: Choices;
  runs: Run[];
  variables: Variable[];
  dialogs: DialogsState | null;
}

export interface RankedPredictor {
  name: string;
  kind: string;
  statistic: number;
  pValue: number;
  notComputable: boolean;
  cases: number;
  missingCases: number;
  effect?: number | null;
  effectLower?: number | null;
  effectUpper?: number | null;
  adjustedP?: number | null;
  minusLog10P?: number | null;
  betterThanChance?: boolean;
  levels?: number;
}

export interface RankingReport {
  run: { rankBy?: string; classic: boolean; notices: string[]; leftOut: { name: string; reason: string }[] };
  dependents: {
    name: string;
    kind: string;
    effectName?: string;
    statisticName: string;
    predictors: RankedPredictor[];
    best: string[];
    notices: string[];
  }[];
}

export interface ScreenedPredictor {
  name: string;
  kind: string;
  labels: string[];
  informationValue: number | null;
  outOfFoldInformationValue: number | null;
  outOfFoldGini: number | null;
  outOfFoldExplained: number | null;
  cramersV: number | null;
  rSquared: number | null;
  pValue: number | null;
  noBetterThanChance?: boolean | null;
  shape?: string;
  searchP?: number | null;
  adjustedSearchP?: number | null;
  warnings?: { kind: string; text: string }[];
  saysTheSameAs?: string | null;
  association?: number | null;
  addsPlace?: number | null;
  addsShare?: number | null;
}

export interface ScreeningReport {
  run: { notices: string[]; classic: boolean; leftOut: { name: string; reason: string }[] };
  responses: {
    name: string;
    kind: "binary" | "continuous" | "categorical";
    sortedBy: string;
    codes: string[];
    cases: { used: number };
    order: string[];
    predictors: ScreenedPredictor[];
    failed: { name: string; reason: string }[];
  }[];
  stability?: { run: { by: string }; predictors: { predictor: string; response: string; psi: number; psiGroup: string; reading: string }[] };
}

export interface BinFigures {
  cases: number;
  share: number | null;
  bad?: number;
  badRate?: number | null;
  woe?: number | null;
  informationValue?: number | null;
  mean?: number | null;
  standardDeviation?: number;
  shares?: (number | null)[];
}

export interface Level {
  level: string | number;
  label?: string;
  bin: number;
  counts?: number[];
}

export interface Worth {
  bins: number;
  informationValue?: number;
  gini?: number | null;
  explained?: number | null;
  outOfFold?: { informationValue?: number; gini?: number; explained: number };
  stability?: { by: string; groups: { name: string; cases: number; psi: number | null; reading: string | null; strength: number | null; isReference: boolean }[] };
}

export interface BinsPanel {
  response: string;
  kind: "binary" | "continuous" | "categorical";
  codes: string[];
  predictor: {
    name: string;
    kind: "continuous" | "categorical";
    cutPoints?: number[];
    levels?: Level[];
    specialCodes?: Level[];
    missing?: { bin: number | null; counts?: number[] };
    otherLevels?: { bin: number };
    preBins?: { first: number; last: number; counts: number[] }[];
    bins: { label: string; userLabel?: boolean; counts?: number[] }[];
  };
  figures: BinFigures[];
  before: Worth;
  after: Worth;
  edits: number;
  redo: number;
}

export type BinEdit =
  | { operation: "merge"; bins: number[] }
  | { operation: "split"; cutPoint: number }
  | { operation: "move"; cutPoint: number; to: number }
  | { operation: "group"; levels?: (string | number)[]; missing?: boolean; bins?: number[] }
  | { operation: "label"; bins: number[]; label: string }
  | { operation: "reset" };
