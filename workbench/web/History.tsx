// Every run that was kept: compare, repeat, rename, annotate, delete.
import { formatNumber } from "./logic";
import { CopyCommands, CopyPython } from "./TakeAway";
import { changeRun, deleteRun, repeatRun, show, showRun, useStore } from "./store";
import type { RankingReport, ScreeningReport } from "./types";

const statusNames = { running: "computing", done: "done", failed: "failed", cancelled: "cancelled", stale: "not computed yet" };

function best(report: RankingReport | ScreeningReport | undefined): string {
  if (!report) return "";
  const names = "dependents" in report ? (report.dependents[0]?.best ?? []) : (report.responses[0]?.order ?? []);
  return names.slice(0, 4).join(", ");
}

export function History() {
  const { snapshot, reports } = useStore();
  const runs = [...(snapshot?.runs ?? [])].reverse();
  return (
    <section class="results history" aria-label="History">
      <h2>History</h2>
      {runs.length === 0 && <p class="soft">No analysis has run yet.</p>}
      {runs.map((run) => {
        const names = best(reports[run.run]);
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
                placeholder={`${run.analysis === "screen" ? "Bins" : "Ranking"} ${run.run}`}
                onChange={(event) => void changeRun(run.run, { name: event.currentTarget.value })}
              />
              <span class="soft">
                {statusNames[run.status]}
                {run.status === "done" && `, ${formatNumber(run.seconds, 2)} s`}, {run.created.replace("T", " ").replace("Z", " UTC")}
              </span>
              <span class="buttons">
                <button type="button" onClick={open}>
                  Show
                </button>
                <button type="button" onClick={() => void repeatRun(run)}>
                  Repeat
                </button>
                <button type="button" onClick={() => void deleteRun(run.run)} aria-label={`Delete run ${run.run}`}>
                  Delete
                </button>
              </span>
            </header>
            {names && <p>Best: {names}</p>}
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
