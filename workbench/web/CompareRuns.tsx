// Two runs of an analysis side by side: the options that differ, and each predictor's place and
// figure in both.
import { useState } from "preact/hooks";
import { compareOptions, compareRankings, formatNumber, outcomesIn, rankingOf, searchNames } from "./logic";
import { OutcomeChoice } from "./OutcomeChoice";
import { useStore } from "./store";
import type { Run } from "./types";

const mostRows = 200;

export function nameOfRun(run: Run): string {
  return run.name || `${run.analysis === "screen" ? "Bins" : "Ranking"} ${run.run}`;
}

function Step({ before, after }: { before: number | null; after: number | null }) {
  if (before === null || after === null || before === after) return <td />;
  const up = after < before;
  return <td class={`number ${up ? "" : "worse"}`}>{`${up ? "▲" : "▼"} ${Math.abs(before - after)}`}</td>;
}

export function CompareRuns({ first, second }: { first: Run; second: Run }) {
  const { reports } = useStore();
  const [search, setSearch] = useState("");
  const [chosen, setChosen] = useState("");
  const [a, b] = [reports[first.run], reports[second.run]];
  if (!a || !b)
    return (
      <p class="soft" role="status">
        A run without results cannot be compared; repeat it.
      </p>
    );
  const options = compareOptions(first.options, second.options);
  const outcomes = outcomesIn(a).filter((one) => outcomesIn(b).includes(one));
  const outcome = outcomes.find((one) => one === chosen) ?? outcomes[0];
  const rows = compareRankings(rankingOf(a, outcome), rankingOf(b, outcome));
  const wanted = new Set(searchNames(search, rows.map((row) => row.name)));
  const shown = rows.filter((row) => wanted.has(row.name));
  const [nameA, nameB] = [nameOfRun(first), nameOfRun(second)];
  return (
    <section class="compare" aria-label="Comparison of two runs">
      <h3>
        {nameA} and {nameB}
      </h3>
      {options.length === 0 && <p class="soft">The options are the same.</p>}
      {options.length > 0 && (
        <table>
          <thead>
            <tr>
              <th>option</th>
              <th>{nameA}</th>
              <th>{nameB}</th>
            </tr>
          </thead>
          <tbody>
            {options.map((one) => (
              <tr key={one.name}>
                <th scope="row">{one.name}</th>
                <td>{one.before}</td>
                <td>{one.after}</td>
              </tr>
            ))}
          </tbody>
        </table>
      )}
      {outcome !== undefined && outcomes.length > 1 && <OutcomeChoice title="Outcome" outcomes={outcomes} outcome={outcome} choose={setChosen} />}
      <input type="search" placeholder="Search predictors" aria-label="Search compared predictors" value={search} onInput={(event) => setSearch(event.currentTarget.value)} />
      <div class="scroll" tabIndex={0} role="region" aria-label="Predictors in both runs">
        <table>
          <thead>
            <tr>
              <th>predictor</th>
              <th class="number">rank, {nameA}</th>
              <th class="number">rank, {nameB}</th>
              <th class="number">moves</th>
              <th class="number">figure, {nameA}</th>
              <th class="number">figure, {nameB}</th>
              <th class="number">difference</th>
            </tr>
          </thead>
          <tbody>
            {shown.slice(0, mostRows).map((row) => (
              <tr key={row.name}>
                <th scope="row">{row.name}</th>
                <td class="number">{row.before?.rank ?? "–"}</td>
                <td class="number">{row.after?.rank ?? "–"}</td>
                <Step before={row.before?.rank ?? null} after={row.after?.rank ?? null} />
                <td class="number">{formatNumber(row.before?.figure)}</td>
                <td class="number">{formatNumber(row.after?.figure)}</td>
                <td class="number">{formatNumber(row.difference)}</td>
              </tr>
            ))}
          </tbody>
        </table>
      </div>
      {shown.length > mostRows && <p class="soft">The first {mostRows} of {shown.length}.</p>}
    </section>
  );
}
