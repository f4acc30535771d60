// The variables: search, distribution, missing share and role of each.
import { useState } from "preact/hooks";
import { formatCount, formatPercent, formatValue, measurementOf, roleOf, searchNames } from "./logic";
import { choose, setRole, setState, useStore } from "./store";
import type { Histogram, Variable } from "./types";
import { VirtualList } from "./VirtualList";

const rowHeight = 46; // pixels

export function HistogramBars({ histogram, width, height }: { histogram: Histogram; width: number; height: number }) {
  const counts = histogram.counts;
  const highest = Math.max(...counts, 1);
  const step = width / Math.max(counts.length, 1);
  return (
    <svg class="histogram" width={width} height={height} aria-hidden="true">
      {counts.map((count, index) => (
        <rect
          key={index}
          x={index * step}
          y={height - Math.max(count > 0 ? 1 : 0, (count / highest) * height)}
          width={Math.max(1, step - 1)}
          height={Math.max(count > 0 ? 1 : 0, (count / highest) * height)}
        />
      ))}
    </svg>
  );
}

const roleNames = { outcome: "outcome", predictor: "predictor", weight: "weight", none: "left out" } as const;

function typeSign(variable: Variable, measurement: string): string {
  if (variable.type.startsWith("date")) return "D";
  if (measurement === "continuous") return "#";
  return variable.type === "text" ? "A" : "C";
}

export function VariableList() {
  const { snapshot, variable: chosen } = useStore();
  const [search, setSearch] = useState("");
  if (!snapshot) return null;
  const byName = new Map(snapshot.variables.map((one) => [one.name, one]));
  const names = searchNames(search, snapshot.data.names ?? []);
  const cases = snapshot.data.cases ?? 0;
  const roleNow = (name: string) => {
    const one = byName.get(name);
    return one ? roleOf(one, snapshot.choices) : "none";
  };
  const onKey = (event: KeyboardEvent) => {
    const roles: Record<string, "outcome" | "predictor" | "weight" | "none"> = {
      o: "outcome",
      p: "predictor",
      w: "weight",
      Delete: "none",
    };
    const role = roles[event.key];
    if (chosen && role !== undefined && !event.ctrlKey && !event.metaKey) setRole(chosen, role);
  };

  return (
    <section class="variables" aria-label="Variables">
      <div class="search">
        <input
          type="search"
          placeholder={`Search ${formatCount(snapshot.data.names?.length ?? 0)} variables`}
          aria-label="Search variables; * and ? are patterns"
          value={search}
          onInput={(event) => setSearch(event.currentTarget.value)}
        />
      </div>
      {search.trim() !== "" && names.length > 0 && (
        <div class="bulk">
          <span>{formatCount(names.length)} found:</span>
          <button type="button" onClick={() => choose({ predictors: names.filter((name) => !snapshot.choices.outcomes?.includes(name)) })}>
            only these predict
          </button>
        </div>
      )}
      {(snapshot.choices.predictors || (snapshot.choices.leftOut?.length ?? 0) > 0) && (
        <div class="bulk">
          <button type="button" onClick={() => choose({ predictors: null, leftOut: null })}>
            use all usable variables
          </button>
        </div>
      )}
      <VirtualList
        names={names}
        chosen={chosen}
        rowHeight={rowHeight}
        label="Variables: arrow keys move, o makes the outcome, p a predictor, w the weight, Delete leaves out"
        choose={(name) => setState({ variable: name })}
        onKey={onKey}
        row={(name) => ({
          class: `variable ${roleNow(name)}`,
          draggable: true,
          title: "Double click makes it the outcome; drag it to a box",
          onDragStart: (event) => event.dataTransfer?.setData("text/plain", name),
          onDblClick: () => setRole(name, roleNow(name) === "outcome" ? "predictor" : "outcome"),
        })}
      >
        {(name) => {
          const one = byName.get(name);
          const measurement = one ? measurementOf(one, snapshot.choices) : "";
          return (
            <>
              <span class="sign" title={measurement}>
                {one ? typeSign(one, measurement) : "…"}
              </span>
              <span class="name">
                {name}
                <small>
                  {one ? roleNames[roleNow(name)] : "…"}
                  {one && one.missing > 0 && cases > 0 && ` · ${formatPercent(one.missing / cases)} missing`}
                </small>
              </span>
              {one?.histogram && <HistogramBars histogram={one.histogram} width={64} height={26} />}
            </>
          );
        }}
      </VirtualList>
      <VariableDetail />
    </section>
  );
}

function VariableDetail() {
  const { snapshot, variable: name } = useStore();
  const one = snapshot?.variables.find((variable) => variable.name === name);
  if (!snapshot || !one) return null;
  const choices = snapshot.choices;
  const measurement = measurementOf(one, choices);
  const histogram = one.histogram;
  const cases = snapshot.data.cases ?? 0;
  return (
    <div class="detail">
      <h2>{one.name}</h2>
      {one.longName && <p>{one.longName}</p>}
      <div class="fields">
        <label>
          Role
          <select value={roleOf(one, choices)} onChange={(event) => setRole(one.name, event.currentTarget.value as "none")}>
            <option value="predictor">predictor</option>
            <option value="outcome">outcome</option>
            <option value="weight">weight</option>
            <option value="none">left out</option>
          </select>
        </label>
        <label>
          Measurement
          <select
            value={measurement}
            title={one.measurementReason}
            onChange={(event) => {
              const value = event.currentTarget.value;
              choose({ measurement: { [one.name]: value === one.measurement ? null : value } });
            }}
          >
            <option value="continuous" disabled={one.type === "text"}>
              continuous
            </option>
            <option value="categorical">categorical</option>
          </select>
        </label>
        <label>
          Missing codes
          <input
            value={choices.missing?.[one.name] ?? ""}
            placeholder="-9 -8"
            onChange={(event) => choose({ missing: { [one.name]: event.currentTarget.value || null } })}
          />
        </label>
        <label>
          Special codes
          <input
            value={choices.special?.[one.name] ?? ""}
            placeholder="999"
            onChange={(event) => choose({ special: { [one.name]: event.currentTarget.value || null } })}
          />
        </label>
      </div>
      {histogram && <HistogramBars histogram={histogram} width={236} height={54} />}
      {histogram?.labels ? (
        <ul class="levels">
          {histogram.labels.slice(0, 6).map((label, index) => (
            <li key={label}>
              <span>{label}</span> {formatPercent((histogram.counts[index] ?? 0) / Math.max(one.valid, 1))}
            </li>
          ))}
        </ul>
      ) : (
        one.minimum !== null && one.maximum !== null && (
          <p class="range">
            {formatValue(one.minimum)} … {formatValue(one.maximum)}
          </p>
        )
      )}
      <p class="soft">
        {one.type}, {one.distinctIsLowerBound ? "more than " : ""}
        {formatCount(one.distinct)} different values, {formatPercent(one.missing / Math.max(cases, 1))} missing.{" "}
        {one.role !== "usable" && `Left out by default: ${one.roleReason || one.role}.`}
      </p>
    </div>
  );
}
