// The state of a run.
import { formatNumber, hasWork } from "./logic";
import { cancelRun, changeRun, isOutdated, repeatRun, startRun, useStore } from "./store";
import { TakeAway } from "./TakeAway";
import type { Run } from "./types";

export function Remarks({ texts }: { texts: string[] }) {
  if (texts.length === 0) return null;
  return (
    <details class="notices">
      <summary>{texts.length === 1 ? "1 remark" : `${texts.length} remarks`}</summary>
      <ul>
        {texts.map((text) => (
          <li key={text}>{text}</li>
        ))}
      </ul>
    </details>
  );
}

export function RunBar({ run }: { run: Run }) {
  const { progress } = useStore();
  const now = progress[run.run];
  const done = run.status === "done";
  const accepted = Object.values(run.decisions).some((ones) => Object.values(ones).some((one) => one.accepted));
  return (
    <div class="run-bar" role="status">
      {run.status === "running" && (
        <>
          <progress aria-label="Progress" {...(now ? { value: now.fraction } : {})} max={1} />
          <span>{now?.stage ?? "Computing"}</span>
          <button type="button" onClick={() => void cancelRun(run.run)}>
            Cancel
          </button>
        </>
      )}
      {run.status === "failed" && <span class="problem">{run.error}</span>}
      {run.status === "cancelled" && <span>Cancelled.</span>}
      {(run.status === "failed" || run.status === "cancelled" || run.status === "stale") && (
        <button type="button" onClick={() => void repeatRun(run)}>
          Compute again
        </button>
      )}
      {done && (
        <>
          <span class="soft">{formatNumber(run.seconds, 2)} s</span>
          <label class="check">
            <input type="checkbox" checked={run.kept} onChange={(event) => void changeRun(run.run, { kept: event.currentTarget.checked })} />
            keep in the history
          </label>
          {accepted && (
            <button type="button" title="A new run with the present options; accepted predictors keep their bins" onClick={() => void startRun("screen", { keepBinsOf: run.run })}>
              Search the others again
            </button>
          )}
          <TakeAway run={run} />
          {run.analysis === "screen" && hasWork(run) && isOutdated(run) && (
            <span class="changed">
              The options have changed. {accepted ? "Search the others again keeps what is accepted" : "Find bins searches anew"}; this run stays in the history.
            </span>
          )}
        </>
      )}
      {run.notices.length > 0 && (
        <details class="menu">
          <summary>{run.notices.length === 1 ? "1 warning" : `${run.notices.length} warnings`}</summary>
          <ul>
            {run.notices.map((notice) => (
              <li key={notice}>{notice}</li>
            ))}
          </ul>
        </details>
      )}
    </div>
  );
}
