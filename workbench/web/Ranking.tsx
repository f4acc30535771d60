// The predictors of an outcome, best first: search, order, what no more than chance
// explains, effects with intervals.
import { useState } from "preact/hooks";
import { formatCount, formatNumber, formatP, outcomesIn, rankedPredictors, searchNames, sortedBy } from "./logic";
import { OutcomeChoice } from "./OutcomeChoice";
import { Remarks, RunBar } from "./RunBar";
import { choose, currentRun, setState, show, startRun, useStore } from "./store";
import { useShownReport } from "./shownReport";
import type { RankedPredictor, RankingReport } from "./types";

const rowsAtOnce = 200;

// An effect as a bar with its interval.
function EffectBar({ one, highest }: { one: RankedPredictor; highest: number }) {
  const width = 120;
  const at = (value: number | null | undefined) => (Math.max(0, value ?? 0) / highest) * width;
  return (
    <svg class="effect" width={width + 8} height={18} aria-hidden="true">
      <rect x={0} y={4} width={at(one.effect)} height={10} class={one.betterThanChance === false ? "chance" : ""} />
      {one.effectUpper !== null && one.effectUpper !== undefined && (
        <path d={`M${at(one.effectLower)} 9H${Math.max(at(one.effectUpper), 1)}M${at(one.effectLower)} 6v6M${at(one.effectUpper)} 6v6`} />
      )}
    </svg>
  );
}

function openBins(outcome: string): void {
  const follows = currentRun("screen") !== undefined;  // the choice starts the run then
  choose({ screened: outcome });
  show("bins");
  if (!follows) void startRun("screen");
}

type Column = { title: string; hint: string; key: (one: RankedPredictor) => unknown; descending: boolean };

export function Ranking() {
  const store = useStore();
  const [search, setSearch] = useState("");
  const [hideChance, setHideChance] = useState(false);
  const [order, setOrder] = useState<{ column: number; descending: boolean } | null>(null);
  const [shown, setShown] = useState(rowsAtOnce);
  const [outcome, setOutcome] = useState("");
  const run = currentRun("feature-selection");
  const shownReport = useShownReport<RankingReport>(run);
  const report = shownReport?.report;
  if (!run)
    return (
      <div class="empty">
        <h2>Which variables matter?</h2>
        <p>Choose an outcome, then rank all other variables by how strongly they are related to it.</p>
      </div>
    );
  const dependent = report?.dependents.find((one) => one.name === outcome) ?? report?.dependents[0];
  const rankBy = report?.run.rankBy ?? "effect";
  const columns: Column[] = [
    { title: "predictor", hint: "", key: (one) => one.name, descending: false },
    { title: dependent?.effectName ?? "effect", hint: "Corrected for the number of levels, with its 95 % interval", key: (one) => one.effect, descending: true },
    { title: dependent?.statisticName ?? "statistic", hint: "The statistic of the pair", key: (one) => one.statistic, descending: true },
    { title: "adjusted p", hint: "Adjusted for the number of predictors", key: (one) => one.adjustedP ?? one.pValue, descending: false },
    { title: "levels", hint: "Categories or intervals that have cases", key: (one) => one.levels, descending: true },
    { title: "cases", hint: "Cases with both values", key: (one) => one.cases, descending: true },
  ];
  const remarks = [...(dependent?.notices ?? []), ...(report?.run.notices ?? [])];
  let rows = dependent?.predictors ?? [];
  const column = order ? columns[order.column] : undefined;
  if (column) {
    rows = sortedBy(rows, column.key, order?.descending ?? false);
  } else {
    rows = dependent ? rankedPredictors(dependent, rankBy) : [];
  }
  if (hideChance) rows = rows.filter((one) => one.betterThanChance !== false);
  const wanted = new Set(searchNames(search, rows.map((one) => one.name)));
  rows = rows.filter((one) => wanted.has(one.name));
  const highest = Math.max(1e-9, ...(dependent?.predictors ?? []).map((one) => one.effectUpper ?? one.effect ?? 0));
  return (
    <section class="results" aria-label="Ranking">
      <RunBar run={run} />
      {dependent && (
        <div class={`result ${shownReport?.isOld ? "old" : ""}`} aria-busy={shownReport?.isOld} inert={shownReport?.isOld}>
          <div class="tools">
            <h2>{dependent.name}</h2>
            {report && report.dependents.length > 1 && (
              <OutcomeChoice title="Outcome" outcomes={outcomesIn(report)} outcome={dependent.name} choose={setOutcome} />
            )}
            <input type="search" placeholder="Search predictors" aria-label="Search predictors" value={search} onInput={(event) => setSearch(event.currentTarget.value)} />
            <label class="check">
              <input type="checkbox" checked={hideChance} onChange={(event) => setHideChance(event.currentTarget.checked)} />
              hide chance
            </label>
            <span class="soft">{formatCount(rows.length)} predictors</span>
            <button
              type="button"
              onClick={() => openBins(dependent.name)}
            >
              Find their bins
            </button>
          </div>
          <Remarks texts={remarks} />
          <div class="scroll" tabIndex={0} role="region" aria-label="Ranking of the predictors">
            <table>
              <thead>
                <tr>
                  <th class="number">rank</th>
                  {columns.map((one, index) => (
                    <th
                      key={one.title}
                      class={index > 0 ? "number" : ""}
                      aria-sort={order?.column === index ? (order.descending ? "descending" : "ascending") : "none"}
                    >
                      <button
                        type="button"
                        title={one.hint}
                        onClick={() => setOrder({ column: index, descending: order?.column === index ? !order.descending : one.descending })}
                      >
                        {one.title}
                      </button>
                    </th>
                  ))}
                </tr>
              </thead>
              <tbody>
                {rows.slice(0, shown).map((one, index) => (
                  <tr key={one.name} class={store.variable === one.name ? "chosen" : ""} onClick={() => setState({ variable: one.name })}>
                    <td class="number">{index + 1}</td>
                    <th scope="row">
                      <button
                        type="button"
                        class="link"
                        title="Open its bins"
                        onClick={() => {
                          setState({ predictor: one.name, variable: one.name });
                          openBins(dependent.name);
                        }}
                      >
                        {one.name}
                      </button>
                      {one.betterThanChance === false && <span class="mark" title="Cannot be distinguished from chance">chance</span>}
                      {one.notComputable && <span class="mark">not computable</span>}
                    </th>
                    <td class="number">
                      <span class="with-bar">
                        <EffectBar one={one} highest={highest} />
                        {formatNumber(one.effect)}
                      </span>
                    </td>
                    <td class="number">{formatNumber(one.statistic)}</td>
                    <td class="number">{formatP(one.adjustedP ?? one.pValue)}</td>
                    <td class="number">{one.levels}</td>
                    <td class="number">{formatCount(one.cases)}</td>
                  </tr>
                ))}
              </tbody>
            </table>
          </div>
          {rows.length > shown && (
            <button type="button" onClick={() => setShown(shown + 5 * rowsAtOnce)}>
              Show more
            </button>
          )}
        </div>
      )}
    </section>
  );
}
