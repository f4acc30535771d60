// Goes to a variable, a view or an action by a few letters of its name.
import { useEffect, useState } from "preact/hooks";
import { quickMatches } from "./logic";
import { useModal } from "./modal";
import { currentRun, setState, show, startRun, useStore } from "./store";
import type { ScreeningReport, View } from "./types";

interface Entry {
  name: string;
  detail: string;
  go: () => void;
}

const mostEntries = 40;

export function QuickOpen({ views }: { views: [View, string][] }) {
  const { quickOpen } = useStore();
  const dialog = useModal(quickOpen);
  return (
    <dialog class="quick-open" ref={dialog} aria-label="Go to" onClose={() => setState({ quickOpen: false })}>
      {quickOpen && <Entries views={views} />}
    </dialog>
  );
}

function Entries({ views }: { views: [View, string][] }) {
  const { snapshot, reports } = useStore();
  const [text, setText] = useState("");
  const [at, setAt] = useState(0);
  const run = currentRun("screen");
  const report = run ? (reports[run.run] as ScreeningReport | undefined) : undefined;
  const binned = new Set(report?.responses[0]?.predictors.map((one) => one.name));
  const hasOutcome = (snapshot?.choices.outcomes?.length ?? 0) > 0;

  const entries = new Map<string, Entry>();
  const add = (name: string, detail: string, go: () => void) => entries.has(name) || entries.set(name, { name, detail, go });
  for (const name of snapshot?.data.names ?? []) {
    if (binned.has(name)) add(name, "bins", () => (setState({ predictor: name, variable: name }), show("bins")));
    else add(name, "cells", () => (setState({ variable: name }), show("data")));
  }
  for (const [view, title] of views) add(title, "view", () => show(view));
  const start = (view: View, analysis: "feature-selection" | "screen") => () => (show(view), void startRun(analysis));
  if (hasOutcome) {
    add("Rank predictors", "action", start("rank", "feature-selection"));
    add("Find bins", "action", start("bins", "screen"));
  }
  add("Open another file", "action", () => setState({ picker: true }));

  const found = quickMatches(text, [...entries.keys()]).slice(0, mostEntries).map((name) => entries.get(name) as Entry);
  const chosen = found[Math.min(at, found.length - 1)];
  const go = (entry: Entry | undefined) => {
    if (!entry) return;
    setState({ quickOpen: false });
    entry.go();
  };
  const onKey = (event: KeyboardEvent) => {
    const step = event.key === "ArrowDown" ? 1 : event.key === "ArrowUp" ? -1 : 0;
    if (event.key === "Enter") go(chosen);
    else if (step !== 0) setAt(Math.min(Math.max(Math.min(at, found.length - 1) + step, 0), found.length - 1));
    else return;
    event.preventDefault();
  };
  useEffect(() => document.querySelector(".quick-open [aria-selected=true]")?.scrollIntoView({ block: "nearest" }), [at]);
  return (
    <>
      <input
        autofocus
        role="combobox"
        aria-label="Go to a variable, a view or an action"
        aria-expanded="true"
        aria-controls="quick-open-list"
        aria-activedescendant={chosen ? `quick-open-${found.indexOf(chosen)}` : undefined}
        placeholder="Go to a variable, a view or an action"
        value={text}
        onInput={(event) => (setText(event.currentTarget.value), setAt(0))}
        onKeyDown={onKey}
      />
      <ul id="quick-open-list" role="listbox" aria-label="Found">
        {found.map((entry, index) => (
          <li
            key={entry.name}
            id={`quick-open-${index}`}
            role="option"
            aria-selected={entry === chosen}
            onClick={() => go(entry)}
          >
            <span>{entry.name}</span> <span class="soft">{entry.detail}</span>
          </li>
        ))}
      </ul>
      {found.length === 0 && <p class="soft">Nothing has these letters.</p>}
    </>
  );
}
