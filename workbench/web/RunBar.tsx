// The state of a run, and what can be taken away from it.
import { useState } from "preact/hooks";
import { formatNumber, pythonCode } from "./logic";
import { base, cancelRun, changeRun, fail, repeatRun, setState, startRun, useStore } from "./store";
import type { Run } from "./types";

const dialects = ["standard", "postgresql", "mysql", "sqlserver", "oracle", "bigquery", "spark", "duckdb", "sqlite"];

export async function copyText(text: string, what: string): Promise<void> {
  try {
    await navigator.clipboard.writeText(text);
    setState({ message: `${what} is copied.` });
  } catch {
    fail(new Error("The browser does not let the page copy."));
  }
}

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
  const { progress, snapshot } = useStore();
  const [dialect, setDialect] = useState("standard");
  const now = progress[run.run];
  const address = (format: string, more = "") => `${base()}/runs/${run.run}/export?format=${format}${more}`;
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
            <button type="button" title="A new run with the present options; accepted predictors keep their bins" onClick={() => void startRun("screen", run.run)}>
              Search the others again
            </button>
          )}
          <details class="menu">
            <summary>Take away</summary>
            <div>
              <a href={address("html")} target="_blank" rel="noopener">
                Report
              </a>
              <a href={address("html", "&save=1")}>Report as a file</a>
              <a href={address("xlsx")}>Workbook (XLSX)</a>
              <a href={address("csv")}>Table (CSV)</a>
              <a href={address("json")}>JSON</a>
              {run.analysis === "screen" && (
                <>
                  <a href={address("bins")}>Bins (JSON)</a>
                  <a href={address("python")}>Bins as Python</a>
                  <span class="line">
                    <a href={address("sql", `&dialect=${dialect}`)}>Bins as SQL</a>
                    <select aria-label="SQL dialect" value={dialect} onChange={(event) => setDialect(event.currentTarget.value)}>
                      {dialects.map((one) => (
                        <option key={one}>{one}</option>
                      ))}
                    </select>
                  </span>
                </>
              )}
              <a href={`${base()}/project`}>Project</a>
              <button type="button" onClick={() => void copyText(run.command, "The command line")}>
                Copy the command line
              </button>
              <button
                type="button"
                onClick={() => void copyText(pythonCode(snapshot?.file ?? "", run.analysis, run.options), "The Python code")}
              >
                Copy as Python
              </button>
            </div>
          </details>
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
