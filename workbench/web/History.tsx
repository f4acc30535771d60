// Every run that was kept: compare, repeat, rename, annotate, delete.
import { useState } from "preact/hooks";
import { CompareRuns, nameOfRun } from "./CompareRuns";
import { formatNumber, hasWork } from "./logic";
import { CopyCommands, CopyPython } from "./TakeAway";
import { changeRun, deleteRun, loadReports, repeatRun, show, showRun, useStore } from "./store";
import type { RankingReport, Run, ScreeningReport } from "./types";

const statusNames = { running: "computing", done: "done", failed: "failed", cancelled: "cancelled", stale: "not computed yet" };

// The best predictors of each outcome.
function best(report: RankingReport | ScreeningReport | undefined): { outcome: string; names: string }[] {
  if (!report) return [];
  const outcomes =
    "dependents" in report
      ? report.dependents.map((one) => ({ outcome: one.name, names: one.best }))
      : report.responses.map((one) => ({ outcome: one.name, names: one.order }));
  return outcomes.filter((one) => one.names.length > 0).map((one) => ({ ...one, names: one.names.slice(0, 4).join(", ") }));
}

export function History() {
  const { snapshot, reports } = useStore();
  const [compared, setCompared] = useState<number[]>([]);
  const [asked, setAsked] = useState(0); // the run whose work is lost by another click
  const runs = [...(snapshot?.runs ?? [])].reverse();
  // The last two that were chosen, the older one first.
  const pair = runs.filter((run) => compared.includes(run.run)).reverse();
  const [first, second] = pair;
  const compare = (run: Run, take: boolean) => {
    const others = compared.filter((one) => one !== run.run && runs.find((other) => other.run === one)?.analysis === run.analysis);
    setCompared(take ? [...others.slice(-1), run.run] : others);
    if (take) void loadReports(run);
  };
  return (
    <section class="results history" aria-label="History">
      <h2>History</h2>
      {first && !second && <p class="soft">Choose another {first.analysis === "screen" ? "screening" : "ranking"} to compare it with {nameOfRun(first)}.</p>}
      {first && second && <CompareRuns first={first} second={second} />}
      {runs.length === 0 && <p class="soft">No analysis has run yet.</p>}
      {runs.map((run) => {
        const outcomes = best(reports[run.run]);
        const open = () => {
          show(run.analysis === "screen" ? "bins" : "rank");
          void showRun(run.analysis, run.run);
        };
        return (
          <article key={run.run} class="run">
            <header>
              <input
                class="title"
                aria-label="Name of the run"
                value={run.name}
                placeholder={nameOfRun({ ...run, name: "" })}
                onChange={(event) => void changeRun(run.run, { name: event.currentTarget.value })}
              />
              <span class="soft">
                {statusNames[run.status]}
                {run.status === "done" && `, ${formatNumber(run.seconds, 2)} s`}, {run.created.replace("T", " ").replace("Z", " UTC")}
              </span>
              <span class="buttons">
                <label class="check">
                  <input
                    type="checkbox"
                    aria-label={`Compare ${nameOfRun(run)}`}
                    checked={compared.includes(run.run)}
                    onChange={(event) => compare(run, event.currentTarget.checked)}
                  />
                  compare
                </label>
                <button type="button" onClick={open}>
                  Show
                </button>
                <button type="button" onClick={() => void repeatRun(run)}>
                  Repeat
                </button>
                <button
                  type="button"
                  onClick={() => (hasWork(run) && asked !== run.run ? setAsked(run.run) : void deleteRun(run.run))}
                  onBlur={() => setAsked(0)}
                  aria-label={asked === run.run ? `Delete run ${run.run} with its edits and decisions?` : `Delete run ${run.run}`}
                >
                  {asked === run.run ? "Delete with its edits and decisions?" : "Delete"}
                </button>
              </span>
            </header>
            {outcomes.map(({ outcome, names }) => (
              <p key={outcome}>
                Best{outcomes.length > 1 && ` for ${outcome}`}: {names}
              </p>
            ))}
            <code>{run.commands.join("\n")}</code>
            <span class="line">
              <CopyCommands run={run} />
              <CopyPython run={run} />
            </span>
            <input
              aria-label="Note"
              class="note"
              value={run.note}
              placeholder="Note"
              onChange={(event) => void changeRun(run.run, { note: event.currentTarget.value })}
            />
          </article>
        );
      })}
    </section>
  );
}
