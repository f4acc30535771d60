// The variables: search, distribution, missing share and role of each. A virtual list: thousands of
// variables draw as fast as twenty.
import { useEffect, useRef, useState } from "preact/hooks";
import { formatCount, formatPercent, formatValue, measurementOf, roleOf, searchNames } from "./logic";
import { choose, setRole, setState, useStore } from "./store";
import type { Histogram, Variable } from "./types";

const rowHeight = 46;

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
  const [top, setTop] = useState(0);
  const [height, setHeight] = useState(600);
  const list = useRef<HTMLDivElement>(null);
  useEffect(() => {
    const element = list.current;
    if (!element) return;
    const observer = new ResizeObserver(() => setHeight(element.clientHeight));
    observer.observe(element);
    return () => observer.disconnect();
  }, []);
  if (!snapshot) return null;
  const byName = new Map(snapshot.variables.map((one) => [one.name, one]));
  const names = searchNames(search, snapshot.data.names ?? []);
  const first = Math.max(0, Math.floor(top / rowHeight) - 3);
  const last = Math.min(names.length, Math.ceil((top + height) / rowHeight) + 3);
  const cases = snapshot.data.cases ?? 0;

  const select = (name: string) => setState({ variable: name });
  const onKey = (event: KeyboardEvent) => {
    const at = names.indexOf(chosen);
    const step = event.key === "ArrowDown" ? 1 : event.key === "ArrowUp" ? -1 : 0;
    const roles: Record<string, "outcome" | "predictor" | "weight" | "none"> = {
      o: "outcome",
      p: "predictor",
      w: "weight",
      Delete: "none",
    };
    if (step !== 0) {
      event.preventDefault();
      const next = Math.min(Math.max(at + step, 0), names.length - 1);
      const name = names[next];
      if (name === undefined) return;
      select(name);
      const element = list.current;
      if (!element) return;
      if (next * rowHeight < element.scrollTop) element.scrollTop = next * rowHeight;
      if ((next + 1) * rowHeight > element.scrollTop + height) element.scrollTop = (next + 1) * rowHeight - height;
    } else if (chosen && roles[event.key] !== undefined && !event.ctrlKey && !event.metaKey) {
      setRole(chosen, roles[event.key] ?? "none");
    }
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
      <div
        class="list"
        ref={list}
        role="listbox"
        tabIndex={0}
        aria-label="Variables: arrow keys move, o makes the outcome, p a predictor, w the weight, Delete leaves out"
        aria-activedescendant={chosen && names.includes(chosen) ? `variable-${names.indexOf(chosen)}` : undefined}
        onScroll={(event) => setTop(event.currentTarget.scrollTop)}
        onKeyDown={onKey}
      >
        <div style={{ height: `${names.length * rowHeight}px`, position: "relative" }} role="presentation">
          {names.slice(first, last).map((name, index) => {
            const one = byName.get(name);
            const role = one ? roleOf(one, snapshot.choices) : "none";
            const measurement = one ? measurementOf(one, snapshot.choices) : "";
            return (
              <div
                key={name}
                id={`variable-${first + index}`}
                class={`variable ${role} ${name === chosen ? "chosen" : ""}`}
                style={{ top: `${(first + index) * rowHeight}px` }}
                role="option"
                aria-selected={name === chosen}
                aria-posinset={first + index + 1}
                aria-setsize={names.length}
                draggable
                onDragStart={(event) => event.dataTransfer?.setData("text/plain", name)}
                onClick={() => select(name)}
                onDblClick={() => setRole(name, role === "outcome" ? "predictor" : "outcome")}
                title="Double click makes it the outcome; drag it to a box"
              >
                <span class="sign" title={measurement}>
                  {one ? typeSign(one, measurement) : "…"}
                </span>
                <span class="name">
                  {name}
                  <small>
                    {one ? roleNames[role] : "…"}
                    {one && one.missing > 0 && cases > 0 && ` · ${formatPercent(one.missing / cases)} missing`}
                  </small>
                </span>
                {one?.histogram && <HistogramBars histogram={one.histogram} width={64} height={26} />}
              </div>
            );
          })}
        </div>
      </div>
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
