// The report of a run, and until it comes the last one, so that a change of an option does not empty
// the view.
import { useRef } from "preact/hooks";
import { useStore } from "./store";
import type { RankingReport, Run, ScreeningReport } from "./types";

interface Shown<Report> {
  run: Run;
  report: Report;
  isOld: boolean; // of an earlier run, while this one is being computed
}

export function useShownReport<Report extends RankingReport | ScreeningReport>(run: Run | undefined): Shown<Report> | null {
  const { reports, session } = useStore();
  const last = useRef<{ session: number; run: Run; report: Report } | null>(null);
  const report = run && (reports[run.run] as Report | undefined);
  if (run && report) {
    last.current = { session, run, report };
    return { run, report, isOld: false };
  }
  const isComing = run?.status === "running" || run?.status === "done";
  if (!isComing || last.current?.session !== session) return null;
  return { ...last.current, isOld: true };
}
