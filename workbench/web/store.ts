// The state of the page: a copy of the server's data about one table, and the view of this window.
// Every change goes to the server, which tells the other windows.
import { useEffect, useState } from "preact/hooks";
import { get, send, windowName } from "./api";
import { hasWork, mergePatch, optionsOf, outcomeOf, placeOf, viewNamed, withVariables } from "./logic";
import type { Analysis, Choices, Place, RankingReport, Run, ScreeningReport, Snapshot, Variable, View } from "./types";

export interface State {
  session: number;
  snapshot: Snapshot | null;
  loading: number; // the share of the file that has been read
  connected: boolean;
  stopped: boolean;
  view: View;
  variable: string; // shown in detail
  current: Partial<Record<Analysis, number>>; // the run that each view shows
  reports: Record<number, RankingReport | ScreeningReport>;
  progress: Record<number, { stage: string; fraction: number }>;
  binsVersion: number; // counts changes of bins
  predictor: string; // open in the bin editor
  dialogsProgress: { stage: string; fraction: number } | null;
  message: string; // shown to the user until the next one
  picker: boolean;
  quickOpen: boolean;
  sessions: { session: number; file: string }[];
  recent: string[]; // files that were opened before
  hasPassword: boolean; // the page is served to other machines
}

let state: State = {
  session: 0,
  snapshot: null,
  loading: 0,
  connected: false,
  stopped: false,
  view: "data",
  variable: "",
  current: {},
  reports: {},
  progress: {},
  binsVersion: 0,
  predictor: "",
  dialogsProgress: null,
  message: "",
  picker: false,
  quickOpen: false,
  sessions: [],
  recent: [],
  hasPassword: false,
};

const listeners = new Set<() => void>();

export function setState(change: Partial<State>): void {
  const hasMoved = (["view", "variable", "predictor"] as const).some((name) => change[name] !== undefined && change[name] !== state[name]);
  state = { ...state, ...change };
  if (hasMoved) rememberPlace();
  for (const listener of [...listeners]) listener();
}

const placeDelay = 500; // ms
let leaving: ReturnType<typeof setTimeout> | undefined;

function placeNow(): Place {
  return { view: state.view, variable: state.variable, predictor: state.predictor };
}

// Saves the place in the project, which reopens there. Other windows do not follow.
function rememberPlace(): void {
  clearTimeout(leaving);
  if (!state.snapshot?.runs.length) return; // do not create a project just for looking at data
  const session = state.session;
  const place = placeNow();
  leaving = setTimeout(() => {
    send("PATCH", `/api/sessions/${session}/choices`, { place }).catch(() => undefined); // the next place is kept
  }, placeDelay);
}

export function useStore(): State {
  const [, redraw] = useState(0);
  useEffect(() => {
    const listener = () => redraw((count) => count + 1);
    listeners.add(listener);
    return () => {
      listeners.delete(listener);
    };
  }, []);
  return state;
}

export function fail(error: unknown): void {
  setState({ message: error instanceof Error ? error.message : String(error) });
}

export function base(): string {
  return `/api/sessions/${state.session}`;
}

function setSnapshot(change: Partial<Snapshot>): void {
  if (state.snapshot) setState({ snapshot: { ...state.snapshot, ...change } });
}

// --- Opening

// The address after # names the session and the view, so that a reload comes back to them.
function writeAddress(): void {
  const hash = `#${state.session}/${state.view}`;
  if (location.hash !== hash) history.replaceState(null, "", hash);
}

export function show(view: View): void {
  setState({ view, message: "" });
  writeAddress();
}

const changedData = "The data file has changed since the project was saved. Repeat the runs to see the present figures.";
const unsavedProject = "The project cannot be saved beside the data: what you decide is lost when the program ends.";

// The state of the file for a window that was opened later.
function stateOf(snapshot: Snapshot): string {
  if (snapshot.status === "failed") return snapshot.error;
  return snapshot.dataChanged ? changedData : snapshot.unsaved ? unsavedProject : "";
}

// Restores the saved view and predictor, except those in kept.
export async function openSession(session: number, kept: Place = {}): Promise<void> {
  early = [];
  setState({ session, snapshot: null, reports: {}, current: {}, progress: {}, picker: false, loading: 0, message: "" });
  try {
    const snapshot = await get<Snapshot>(base());
    const current: State["current"] = {};
    if (state.session !== session) return; // another one has been opened meanwhile
    for (const run of snapshot.runs) current[run.analysis] = run.run;
    setState({ ...placeOf(snapshot.choices), ...kept, snapshot, current, message: stateOf(snapshot) });
    for (const event of early.splice(0)) takeEvent(event);
    document.title = `${snapshot.file} – Velmora`;
    writeAddress();
    for (const analysis of ["feature-selection", "screen"] as const) void showRun(analysis, current[analysis]);
  } catch (error) {
    fail(error);
  }
}

export async function openFile(path: string): Promise<void> {
  try {
    const { session } = await send<{ session: number }>("POST", "/api/open", { path });
    await openSession(session);
    await loadOverview();
  } catch (error) {
    fail(error);
  }
}

// A browser gives the name and size of a dropped file, not its folder.
export async function openDropped(file: File): Promise<void> {
  try {
    const { session } = await send<{ session: number }>("POST", "/api/drop", { name: file.name, bytes: file.size });
    await openSession(session);
    await loadOverview();
  } catch (error) {
    fail(error);
  }
}

async function loadOverview(): Promise<void> {
  const { sessions, recent, hasPassword } = await get<Pick<State, "sessions" | "recent" | "hasPassword">>("/api/overview");
  setState({ sessions, recent, hasPassword });
}

export async function signOut(): Promise<void> {
  try {
    await send("POST", "/api/sign-out");
    location.assign("/");
  } catch (error) {
    fail(error);
  }
}

export async function start(): Promise<void> {
  listen();
  try {
    await loadOverview();
  } catch (error) {
    return fail(error);
  }
  const [, number, name] = /^#(\d+)\/(\w+)$/.exec(location.hash) ?? [];
  const view = viewNamed(name);
  if (view) setState({ view });
  const known = state.sessions.find((one) => one.session === Number(number)) ?? state.sessions[0];
  if (known) await openSession(known.session, view ? { view } : {});
  else setState({ picker: true });
}

// --- Events

type Event = { type: string; session?: number } & Record<string, unknown>;

// Events that arrive while a snapshot is on its way; the snapshot may include them already.
let early: Event[] = [];

function takeEvent(event: Event): void {
  if (event.type === "stopped") return setState({ stopped: true });
  if (event.session !== state.session) return;
  if (!state.snapshot) {
    early.push(event);
    return;
  }
  const snapshot = state.snapshot;
  switch (event.type) {
    case "loading":
      return setState({ loading: event["fraction"] as number });
    case "firstRows":
      return setSnapshot({ firstRows: event["value"] as Snapshot["firstRows"] });
    case "loaded":
      return setSnapshot({ status: "loaded", firstRows: null, data: event as unknown as Snapshot["data"] });
    case "failed":
      setSnapshot({ status: "failed", error: event["error"] as string });
      return fail(event["error"]);
    case "variables":
      return setSnapshot({ variables: withVariables(snapshot.variables, event["variables"] as Variable[]) });
    case "choices":
      if (event["window"] !== windowName) setSnapshot({ choices: mergePatch(snapshot.choices, event["patch"]) });
      return;
    case "run": {
      const value = event["value"] as Run;
      const known = snapshot.runs.some((run) => run.run === value.run);
      const runs = known
        ? snapshot.runs.map((run) => (run.run === value.run ? value : run))
        : [...snapshot.runs, value];
      setSnapshot({ runs });
      if (!known) setState({ current: { ...state.current, [value.analysis]: value.run } });
      if (state.current[value.analysis] === value.run && value.status === "done" && !state.reports[value.run])
        void loadReport(value.run);
      return;
    }
    case "runDeleted": {
      const runs = snapshot.runs.filter((run) => run.run !== event["run"]);
      setSnapshot({ runs });
      for (const analysis of ["feature-selection", "screen"] as const) {
        if (state.current[analysis] !== event["run"]) continue;
        const last = runs.filter((run) => run.analysis === analysis).at(-1);
        const current = { ...state.current };
        if (last) current[analysis] = last.run;
        else delete current[analysis];
        setState({ current });
      }
      return;
    }
    case "progress":
      return setState({
        progress: {
          ...state.progress,
          [event["run"] as number]: { stage: event["stage"] as string, fraction: event["fraction"] as number },
        },
      });
    case "dialogs":
      setState({ dialogsProgress: null });
      setSnapshot({ dialogs: event["state"] as Snapshot["dialogs"] });
      return event["error"] ? fail(event["error"]) : undefined;
    case "dialogsProgress":
      return setState({ dialogsProgress: { stage: event["stage"] as string, fraction: event["fraction"] as number } });
    case "bins":
    case "binsReady":
      return setState({ binsVersion: state.binsVersion + 1 });
    case "dataChanged":
      setSnapshot({ dataChanged: true });
      return fail(changedData);
    case "restarted":
      void openSession(state.session, placeNow());
      return fail("The process that held the data ended unexpectedly; the data are being read again.");
    case "unsaved":
      setSnapshot({ unsaved: true });
      return fail(event["error"]);
  }
}

let dropped = false;

function listen(): void {
  const source = new EventSource("/api/events");
  source.onopen = () => {
    setState({ connected: true });
    // Events may have been missed in between.
    if (dropped && state.session > 0) void openSession(state.session, placeNow());
    dropped = false;
  };
  source.onerror = () => {
    dropped = true;
    // After a sign-out, or when the cookie has expired, the server refuses a new stream.
    if (source.readyState === EventSource.CLOSED && state.hasPassword && !state.stopped) return location.assign("/");
    setState({ connected: false });
  };
  source.onmessage = (message) => {
    takeEvent(JSON.parse(message.data as string) as Event);
    if (state.stopped) source.close();
  };
}

// --- Choices

const changeDelay = 20; // ms, in which changes made together are collected
let saving: ReturnType<typeof setTimeout> | undefined;
let pending: Record<string, unknown> = {};

// Applies a merge patch at once, sends it shortly afterwards, and starts the analysis in view
// again.
export function choose(patch: Record<string, unknown>): void {
  if (!state.snapshot) return;
  setSnapshot({ choices: mergePatch(state.snapshot.choices, patch) });
  pending = { ...pending, ...combine(pending, patch) };
  clearTimeout(saving);
  saving = setTimeout(() => void flush(), changeDelay);
}

// Two patches in one: members of objects are combined, and null stays.
function combine(first: Record<string, unknown>, second: Record<string, unknown>): Record<string, unknown> {
  const combined = { ...first };
  for (const [name, value] of Object.entries(second)) {
    const old = combined[name];
    const both = [old, value].every((one) => one !== null && typeof one === "object" && !Array.isArray(one));
    combined[name] = both ? combine(old as Record<string, unknown>, value as Record<string, unknown>) : value;
  }
  return combined;
}

async function flush(): Promise<void> {
  const patch = pending;
  pending = {};
  try {
    const analysis = state.view === "rank" ? "feature-selection" : state.view === "bins" ? "screen" : null;
    const follows = analysis && state.current[analysis] !== undefined;
    await Promise.all([send("PATCH", `${base()}/choices`, patch), follows ? startRun(analysis, { asked: false }) : null]);
  } catch (error) {
    fail(error);
  }
}

// --- Runs

export function currentRun(analysis: Analysis): Run | undefined {
  return state.snapshot?.runs.find((run) => run.run === state.current[analysis]);
}

// Whether the present options would give another run of the same outcome.
export function isOutdated(run: Run): boolean {
  const options = state.snapshot && optionsOf(run.analysis, state.snapshot.variables, state.snapshot.choices);
  return !!options && outcomeOf(options) === outcomeOf(run.options) && JSON.stringify(options) !== JSON.stringify(run.options);
}

// Shows the run of the present choices and starts one if there is none. A run with edited bins is
// replaced in view only when the user asks for it.
export async function startRun(analysis: Analysis, { keepBinsOf, asked = true }: { keepBinsOf?: number; asked?: boolean } = {}): Promise<void> {
  const snapshot = state.snapshot;
  const options = snapshot && optionsOf(analysis, snapshot.variables, snapshot.choices);
  if (!options) return;
  // Each outcome has screenings of its own.
  const shown = currentRun(analysis);
  const isOfOutcome = (run: Run) => run.analysis === analysis && (analysis !== "screen" || outcomeOf(run.options) === outcomeOf(options));
  const current = shown && isOfOutcome(shown) ? shown : snapshot.runs.filter(isOfOutcome).at(-1);
  const same = current && !keepBinsOf && JSON.stringify(current.options) === JSON.stringify(options);
  if (same && current !== shown && current.status !== "failed" && current.status !== "cancelled") return showRun(analysis, current.run);
  if (same && (current.status === "running" || current.status === "done")) return;
  if (!asked && current && hasWork(current)) return current === shown ? undefined : showRun(analysis, current.run);
  const request: Record<string, unknown> = { analysis, options };
  if (keepBinsOf) request["keepBinsOf"] = keepBinsOf;
  else if (current) request["replace"] = current.run;
  try {
    const { run } = await send<{ run: number }>("POST", `${base()}/runs`, request);
    setState({ current: { ...state.current, [analysis]: run }, message: "" });
    if (state.snapshot?.runs.find((one) => one.run === run)?.status === "done") void loadReport(run);
  } catch (error) {
    fail(error);
  }
}

async function loadReport(run: number): Promise<void> {
  try {
    const report = await get<RankingReport | ScreeningReport>(`${base()}/runs/${run}`);
    setState({ reports: { ...state.reports, [run]: report } });
  } catch (error) {
    fail(error);
  }
}

// Fetches the result of a run to be compared.
export async function loadReports(run: Run): Promise<void> {
  if (run.status === "done" && !state.reports[run.run]) await loadReport(run.run);
}

// Shows a run of the history; one of an earlier start of the program is computed again.
export async function showRun(analysis: Analysis, number: number | undefined): Promise<void> {
  if (number === undefined) return;
  setState({ current: { ...state.current, [analysis]: number } });
  const run = currentRun(analysis);
  if (run?.status === "done" && !state.reports[number]) return loadReport(number);
  if (run?.status !== "stale") return;
  try {
    await send("POST", `${base()}/runs/${number}/repeat`);
  } catch (error) {
    fail(error);
  }
}

export async function repeatRun(run: Run): Promise<void> {
  const reports = { ...state.reports };
  delete reports[run.run];
  setState({ reports, current: { ...state.current, [run.analysis]: run.run } });
  try {
    await send("POST", `${base()}/runs/${run.run}/repeat`);
  } catch (error) {
    fail(error);
  }
}

export async function changeRun(run: number, change: Record<string, unknown>): Promise<void> {
  try {
    await send("PATCH", `${base()}/runs/${run}`, change);
  } catch (error) {
    fail(error);
  }
}

export async function deleteRun(run: number): Promise<void> {
  try {
    await send("DELETE", `${base()}/runs/${run}`);
  } catch (error) {
    fail(error);
  }
}

export async function cancelRun(run: number): Promise<void> {
  try {
    await send("POST", `${base()}/runs/${run}/cancel`);
  } catch (error) {
    fail(error);
  }
}

// --- Roles

export function setRole(name: string, role: "outcome" | "predictor" | "weight" | "none"): void {
  const snapshot = state.snapshot;
  const variable = snapshot?.variables.find((one) => one.name === name);
  if (!snapshot || !variable) return;
  const choices: Choices = snapshot.choices;
  const patch: Record<string, unknown> = {};
  const without = (list: string[] | null | undefined) => (list ?? []).filter((one) => one !== name);
  patch["outcomes"] = role === "outcome" ? [name, ...without(choices.outcomes)] : without(choices.outcomes);
  if (role === "weight") patch["weight"] = name;
  else if (choices.weight === name) patch["weight"] = null;
  const named = choices.predictors;
  if (named) {
    patch["predictors"] = role === "predictor" ? [...without(named), name] : without(named);
  } else if (role === "predictor" && variable.role !== "usable") {
    // A variable that is not a predictor by default needs the whole list.
    const usable = snapshot.variables.filter((one) => one.role === "usable" && !choices.leftOut?.includes(one.name));
    patch["predictors"] = [...usable.map((one) => one.name).filter((one) => !choices.outcomes?.includes(one)), name];
  } else {
    patch["leftOut"] = role === "none" ? [...without(choices.leftOut), name] : without(choices.leftOut);
  }
  choose(patch);
}
