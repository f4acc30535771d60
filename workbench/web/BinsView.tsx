// The binned predictors of an outcome, and the editor of the bins of one of them. Every figure
// comes from the server, which computes it from counts.
import { useEffect, useLayoutEffect, useRef, useState } from "preact/hooks";
import { get, getText, send } from "./api";
import { BinsChart } from "./BinsChart";
import { shapeWords } from "./fields";
import { formatCount, formatNumber, formatP, formatPercent, formatRate, formatValue, nearestCut, parseNumber, parseTargets, searchNames, splitPlace, strengthOf, targetsOf, usesDecimalComma } from "./logic";
import { OutcomeChoice } from "./OutcomeChoice";
import { Remarks, RunBar } from "./RunBar";
import { copyText } from "./TakeAway";
import { base, changeRun, choose, currentRun, fail, setState, useStore } from "./store";
import { useShownReport } from "./shownReport";
import type { BinEdit, BinsPanel, Decision, Run, ScreeningReport, Worth } from "./types";
import { VirtualList } from "./VirtualList";

type Response = ScreeningReport["responses"][number];

const rowHeight = 34; // pixels, of a predictor

const strengthNames = { binary: "information value of held-out cases", continuous: "variance explained, held out", categorical: "deviance explained, held out" };

export function BinsView() {
  const store = useStore();
  const [search, setSearch] = useState("");
  const [onlyOpen, setOnlyOpen] = useState(false);
  const current = currentRun("screen");
  const shownReport = useShownReport<ScreeningReport>(current);
  const report = shownReport?.report;
  const isOld = shownReport?.isOld === true;
  const run = shownReport?.run ?? current;
  const response = report?.responses[0];
  const outcomes = store.snapshot?.choices.outcomes ?? [];
  if (!run || !current)
    return (
      <div class="empty">
        <h2>Bins that describe the outcome</h2>
        <p>Choose an outcome. Each predictor gets the bins that describe it best; you correct them with the mouse.</p>
      </div>
    );
  const decisions = response ? (run.decisions[response.name] ?? {}) : {};
  const names = response?.predictors.map((one) => one.name) ?? [];
  const byName = new Map(response?.predictors.map((one) => [one.name, one]));
  let shown = searchNames(search, names);
  if (search === "") shown = names;
  if (onlyOpen) shown = shown.filter((name) => !decisions[name]?.accepted);
  const predictor = names.includes(store.predictor) ? store.predictor : (shown[0] ?? names[0]);
  const highest = response ? Math.max(1e-9, ...response.predictors.map((one) => strengthOf(response.kind, one) ?? 0)) : 1;
  const accepted = names.filter((name) => decisions[name]?.accepted).length;
  const drifts = report?.stability?.predictors.filter((one) => one.response === response?.name && one.reading === "shifted") ?? [];
  const shifted = new Map(drifts.map((one) => [one.predictor, one.psi]));
  const step = (by: number) => {
    const at = shown.indexOf(predictor ?? "");
    const next = shown[Math.min(Math.max(at + by, 0), shown.length - 1)];
    if (next !== undefined) setState({ predictor: next, variable: next });
  };
  return (
    <section class="results bins-view" aria-label="Bins">
      <RunBar run={current} />
      {response && report && (
        <div class={`columns ${isOld ? "old" : ""}`} aria-busy={isOld} inert={isOld}>
          <div class="predictors" role="region" aria-label="Predictors">
            {(outcomes.length > 1 || !outcomes.includes(response.name)) && (
              <OutcomeChoice title="Outcome" outcomes={[...new Set([...outcomes, response.name])]} outcome={response.name} choose={(screened) => choose({ screened })} />
            )}
            <input type="search" placeholder="Search predictors" aria-label="Search predictors" value={search} onInput={(event) => setSearch(event.currentTarget.value)} />
            <label class="check">
              <input type="checkbox" checked={onlyOpen} onChange={(event) => setOnlyOpen(event.currentTarget.checked)} />
              not accepted yet ({formatCount(names.length - accepted)})
            </label>
            <p class="soft">By {strengthNames[response.kind]}</p>
            <VirtualList names={shown} chosen={predictor ?? ""} rowHeight={rowHeight} label="Binned predictors" choose={(name) => setState({ predictor: name, variable: name })}>
              {(name) => {
                const one = byName.get(name);
                const value = one ? strengthOf(response.kind, one) : null;
                const decision = decisions[name];
                return (
                  <>
                    <span class="name">{name}</span>
                    <span class="marks">
                      {decision?.accepted && <span title="accepted">✓</span>}
                      {decision?.locked && <LockSign />}
                      {(run.edits[response.name]?.[name]?.length ?? 0) > 0 && <span title="edited">✎</span>}
                      {one?.noBetterThanChance && <span class="mark" title="No better than chance">chance</span>}
                      {one?.saysTheSameAs && <span class="mark plain" title={`Says the same as ${one.saysTheSameAs}`}>same</span>}
                      {(one?.warnings?.length ?? 0) > 0 && (
                        <span class="mark" title={one?.warnings?.map((warning) => warning.text).join("\n")}>check</span>
                      )}
                      {shifted.has(name) && <span class="mark" title={`Shifted: PSI ${formatNumber(shifted.get(name), 2)}`}>drift</span>}
                    </span>
                    <span class="value">{formatNumber(value)}</span>
                    <span class="meter" style={{ width: `${(100 * Math.max(0, value ?? 0)) / highest}%` }} />
                  </>
                );
              }}
            </VirtualList>
            {response.failed.length > 0 && (
              <details>
                <summary>{response.failed.length} without bins</summary>
                <ul class="failed">
                  {response.failed.map((one) => (
                    <li key={one.name}>
                      <b>{one.name}</b> {one.reason}
                    </li>
                  ))}
                </ul>
              </details>
            )}
            <Remarks texts={report.run.notices} />
          </div>
          {predictor && <Editor key={`${run.run}/${predictor}`} run={run} response={response} predictor={predictor} isOld={isOld} step={step} />}
        </div>
      )}
    </section>
  );
}

// Not every font has a padlock.
function LockSign() {
  return (
    <svg class="lock" width={12} height={14} viewBox="0 0 12 14" role="img" aria-label="locked">
      <title>locked</title>
      <path d="M3 6V4a3 3 0 0 1 6 0v2" fill="none" stroke="currentColor" stroke-width={1.6} />
      <rect x={1} y={6} width={10} height={7} rx={1.5} fill="currentColor" />
    </svg>
  );
}

const heldOutHint = "Each fold is judged by the figures that the others give these bins. In the list, the search for bins is repeated in each fold.";

interface ChangeProps {
  name: string;
  before: number | null | undefined;
  after: number | null | undefined;
  digits: number;
  hint?: string;
}

function Change({ name, before, after, digits, hint }: ChangeProps) {
  if (after === undefined) return null;
  const same = formatNumber(before, digits) === formatNumber(after, digits);
  return (
    <span class="figure" title={hint}>
      <small>{name}</small>
      <b>{formatNumber(after, digits)}</b>
      {!same && <small class={digits === 0 ? "soft" : (after ?? 0) < (before ?? 0) ? "worse" : "better"}>was {formatNumber(before, digits)}</small>}
    </span>
  );
}

function Figures({ kind, before, after }: { kind: Response["kind"]; before: Worth; after: Worth }) {
  return (
    <div class="figures">
      <Change name="information value" before={before.informationValue} after={after.informationValue} digits={4} />
      <Change name="Gini" before={before.gini} after={after.gini} digits={4} />
      <Change name={kind === "continuous" ? "variance explained" : "deviance explained"} before={before.explained} after={after.explained} digits={4} />
      <Change name="held-out information value" before={before.outOfFold?.informationValue} after={after.outOfFold?.informationValue} digits={4} hint={heldOutHint} />
      <Change name="held-out Gini" before={before.outOfFold?.gini} after={after.outOfFold?.gini} digits={4} hint={heldOutHint} />
      {kind !== "binary" && <Change name="explained, held out" before={before.outOfFold?.explained} after={after.outOfFold?.explained} digits={4} hint={heldOutHint} />}
      <Change name="bins" before={before.bins} after={after.bins} digits={0} />
    </div>
  );
}

// The stability of the bins over groups of cases, as the bins were found and as they are.
function Stability({ before, after }: { before: Worth; after: Worth }) {
  const now = after.stability;
  if (!now) return null;
  const found = new Map(before.stability?.groups.map((group) => [group.name, group]));
  return (
    <div class="scroll" tabIndex={0} role="region" aria-label="Stability over groups">
      <table class="stability">
        <thead>
          <tr>
            <th>{now.by}</th>
            <th class="number">cases</th>
            <th class="number">PSI</th>
            <th class="number">as found</th>
            <th class="number">strength</th>
            <th class="number">as found</th>
          </tr>
        </thead>
        <tbody>
          {now.groups.map((group) => (
            <tr key={group.name}>
              <th scope="row">
                {group.name} {group.isReference && <span class="mark plain">reference</span>}
              </th>
              <td class="number">{formatCount(group.cases)}</td>
              <td class={`number ${group.reading === "shifted" ? "worse" : ""}`} title={group.reading ?? ""}>
                {formatNumber(group.psi)}
              </td>
              <td class="number soft">{formatNumber(found.get(group.name)?.psi)}</td>
              <td class="number">{formatNumber(group.strength)}</td>
              <td class="number soft">{formatNumber(found.get(group.name)?.strength)}</td>
            </tr>
          ))}
        </tbody>
      </table>
    </div>
  );
}

interface EditorProps {
  run: Run;
  response: Response;
  predictor: string;
  isOld: boolean; // shown until the next run has a result
  step: (by: number) => void;
}

function Editor({ run, response, predictor, isOld, step }: EditorProps) {
  const { binsVersion, snapshot } = useStore();
  const [panel, setPanel] = useState<BinsPanel | null>(null);
  const [preview, setPreview] = useState<BinsPanel | null>(null);
  const [chosen, setChosen] = useState<Set<number>>(new Set());
  const [levels, setLevels] = useState<Set<string | number>>(new Set());
  const [width, setWidth] = useState(700);
  const section = useRef<HTMLElement>(null);
  const asked = useRef<BinEdit | null>(null);
  const asking = useRef(false);
  const address = `${base()}/runs/${run.run}/bins`;
  const decision: Decision = run.decisions[response.name]?.[predictor] ?? {};
  const locked = decision.locked === true;

  useEffect(() => {
    if (isOld) return;
    let current = true;
    const query = `response=${encodeURIComponent(response.name)}&predictor=${encodeURIComponent(predictor)}`;
    get<BinsPanel>(`${address}?${query}`)
      .then((answer) => current && (setPanel(answer), setPreview(null)))
      .catch(() => current && setPanel(null)); // the counts are still being made; binsReady comes
    return () => {
      current = false;
    };
  }, [address, predictor, binsVersion, isOld]);
  useEffect(() => {
    const element = section.current;
    if (!element) return;
    const observer = new ResizeObserver(() => setWidth(Math.max(420, element.clientWidth - 34)));
    observer.observe(element);
    return () => observer.disconnect();
  }, [panel === null]);

  const post = (body: Record<string, unknown>) =>
    send<BinsPanel>("POST", address, { response: response.name, predictor, ...body });
  const act = async (body: Record<string, unknown>) => {
    asked.current = null;
    try {
      setPanel(await post(body));
      setChosen(new Set());
      setLevels(new Set());
    } catch (error) {
      fail(error);
    }
    setPreview(null);
  };
  const edit = (one: BinEdit) => void act({ edit: one });
  // One preview is on its way at a time; the last place that was asked for wins.
  const look = async (one: BinEdit) => {
    asked.current = one;
    if (asking.current) return;
    asking.current = true;
    while (asked.current) {
      const now: BinEdit = asked.current;
      asked.current = null;
      try {
        const answer = await post({ preview: now });
        setPreview(answer);
      } catch {
        setPreview(null);
      }
    }
    asking.current = false;
  };
  const decide = (change: Record<string, unknown>) =>
    void changeRun(run.run, { decisions: { [response.name]: { [predictor]: change } } });
  const accept = () => {
    decide({ accepted: decision.accepted ? null : true });
    if (!decision.accepted) step(1);
  };
  const merge = () => {
    const bins = [...chosen].sort((a, b) => a - b);
    edit({ operation: "merge", bins: bins.length === 1 ? [bins[0] ?? 0, (bins[0] ?? 0) + 1] : bins });
  };
  const split = () => {
    const bin = [...chosen][0];
    const place = panel && bin !== undefined ? splitPlace(panel, bin) : null;
    if (place === null) return fail(new Error("The values of this bin cannot be divided further."));
    edit({ operation: "split", cutPoint: place });
  };

  const cutAt = (input: HTMLInputElement) => {
    const value = parseNumber(input.value, usesDecimalComma(navigator.language));
    const place = panel && value !== null ? nearestCut(panel, value) : null;
    if (value === null) return fail(new Error(`${input.value} is not a number.`));
    if (place === null) return fail(new Error("The values of these bins cannot be divided further."));
    input.value = "";
    input.blur(); // the keys of the editor are meant next
    // The counts are known at some values only.
    setState({ message: place === value ? "" : `The counts know no cut at ${formatValue(value)}; ${formatValue(place)} is the nearest.` });
    edit({ operation: "split", cutPoint: place });
  };

  const targets = targetsOf(snapshot?.choices ?? {}, response.name);
  const setTargets = (changed: number[]) => choose({ targets: { [response.name]: changed.length > 0 ? changed : null } });
  const addTargets = (input: HTMLInputElement) => {
    const isRate = response.kind === "binary";
    const more = parseTargets(input.value, isRate, usesDecimalComma(navigator.language));
    if (more === null)
      return fail(new Error(`${input.value} is no target: ${isRate ? "a rate is from 0 to 1, or in percent as 5 %" : "it is not a number"}.`));
    input.value = "";
    input.blur();
    setState({ message: "" });
    setTargets([...targets, ...more]);
  };

  const onKey = (event: KeyboardEvent) => {
    const target = event.target as HTMLElement;
    if (isOld || target.matches("input, select, textarea") || event.altKey) return;
    const key = event.key.toLowerCase();
    if (event.ctrlKey || event.metaKey) {
      if (key === "z") void act(event.shiftKey ? { redo: true } : { undo: true });
      else if (key === "y") void act({ redo: true });
      else return;
      event.preventDefault();
      return;
    }
    const actions: Record<string, () => void> = {
      n: () => step(1),
      p: () => step(-1),
      a: accept,
      l: () => decide({ locked: locked ? null : true }),
      m: () => chosen.size > 0 && merge(),
      s: () => chosen.size > 0 && split(),
    };
    const action = actions[key];
    if (action) {
      event.preventDefault();
      action();
    } else if (/^[1-9]$/.test(key) && panel && Number(key) <= panel.figures.length) {
      toggle(Number(key) - 1);
    }
  };
  // Before the next key can come: an effect after painting would answer it with the state before this one.
  useLayoutEffect(() => {
    addEventListener("keydown", onKey);
    return () => removeEventListener("keydown", onKey);
  });
  const toggle = (bin: number) => {
    const next = new Set(chosen);
    if (!next.delete(bin)) next.add(bin);
    setChosen(next);
  };

  if (!panel)
    return (
      <section class="editor" ref={section}>
        <p class="soft" role="status">
          Counting the cases of the bins …
        </p>
      </section>
    );
  const shown = preview ?? panel;
  const allLevels = [...(panel.predictor.levels ?? []), ...(panel.predictor.specialCodes ?? [])];
  const binary = panel.kind === "binary";
  const one = response.predictors.find((candidate) => candidate.name === predictor);
  const moveLevels = (target: string) => {
    const values = [...levels].filter((level) => level !== "\u0000missing");
    const group: BinEdit = { operation: "group" };
    if (values.length > 0) group.levels = values;
    if (levels.has("\u0000missing")) group.missing = true;
    if (target !== "new") group.bins = [Number(target)];
    edit(group);
  };
  return (
    <section class="editor" aria-label={`Bins of ${predictor}`} ref={section}>
      <header>
        <h2>{predictor}</h2>
        {one?.noBetterThanChance && <span class="mark">no better than chance</span>}
        {one?.shape && one.shape !== "any" && <span class="mark plain">{one.shape}</span>}
        {one?.saysTheSameAs && <span class="mark plain">says the same as {one.saysTheSameAs}</span>}
        {one?.adjustedSearchP !== null && one?.adjustedSearchP !== undefined && <span class="mark plain">p of the search {formatP(one.adjustedSearchP)}</span>}
        {one?.warnings?.map((warning) => <span class="mark" key={warning.text}>{warning.text}</span>)}
        {panel.kind !== "categorical" && panel.predictor.kind === "continuous" && (
          <label class="line">
            Shape
            <select
              title="The next search for the bins of this predictor keeps to it"
              value={snapshot?.choices.shapes?.[predictor] ?? ""}
              onChange={(event) => choose({ shapes: { [predictor]: event.currentTarget.value || null } })}
            >
              {shapeWords.map(([word, text]) => (
                <option key={word} value={word}>
                  {word === "" ? "as all" : text}
                </option>
              ))}
            </select>
          </label>
        )}
        <span class="buttons">
          <button type="button" onClick={() => step(-1)} title="p">
            ‹ Previous
          </button>
          <button type="button" onClick={() => step(1)} title="n">
            Next ›
          </button>
        </span>
      </header>
      <Figures kind={panel.kind} before={shown.before} after={shown.after} />
      {panel.kind !== "categorical" && (
        <div class="targets">
          <label class="line" title="Lines across the bins of every predictor of this outcome; Enter draws, semicolons part several">
            {binary ? "Target rate" : "Target mean"}
            <input
              inputMode="text"
              placeholder={binary ? "5 %; 10 %" : ""}
              onKeyDown={(event) => event.key === "Enter" && event.currentTarget.value.trim() !== "" && addTargets(event.currentTarget)}
            />
          </label>
          {targets.map((one) => {
            const text = binary ? formatRate(one) : formatValue(one);
            return (
              <button type="button" class="chip" key={one} aria-label={`Remove the target ${text}`} title="Remove" onClick={() => setTargets(targets.filter((other) => other !== one))}>
                {text} ×
              </button>
            );
          })}
        </div>
      )}
      <BinsChart
        panel={shown}
        targets={targets}
        width={width}
        chosen={chosen}
        locked={locked}
        choose={toggle}
        preview={(cutPoint, to) => void look({ operation: "move", cutPoint, to })}
        move={(cutPoint, to) => {
          asked.current = null;
          if (to === cutPoint) setPreview(null);
          else edit({ operation: "move", cutPoint, to });
        }}
      />
      <div class="tools">
        <button type="button" disabled={panel.edits === 0 || locked} onClick={() => void act({ undo: true })} title="Ctrl+Z">
          Undo
        </button>
        <button type="button" disabled={panel.redo === 0 || locked} onClick={() => void act({ redo: true })} title="Ctrl+Y">
          Redo
        </button>
        <button type="button" disabled={panel.edits === 0 || locked} onClick={() => edit({ operation: "reset" })}>
          As found
        </button>
        <span class="divider" />
        <button type="button" disabled={chosen.size === 0 || locked} onClick={merge} title="m: the chosen bins, or one with the next">
          Merge
        </button>
        <button type="button" disabled={chosen.size !== 1 || locked || panel.predictor.kind !== "continuous"} onClick={split} title="s: the chosen bin in two">
          Split
        </button>
        {panel.predictor.kind === "continuous" && !locked && (
          <label class="line" title="A new bound at this value, or at the nearest one that the counts know; Enter cuts">
            Cut at
            <input
              class="cut"
              inputMode="decimal"
              onKeyDown={(event) => event.key === "Enter" && event.currentTarget.value.trim() !== "" && cutAt(event.currentTarget)}
            />
          </label>
        )}
        {levels.size > 0 && (
          <label class="line">
            Move {levels.size} to
            <select value="" onChange={(event) => event.currentTarget.value !== "" && moveLevels(event.currentTarget.value)}>
              <option value="">…</option>
              {panel.predictor.bins.map((bin, index) => (
                <option key={index} value={String(index)}>
                  {index + 1}: {bin.label}
                </option>
              ))}
              <option value="new">a new bin</option>
            </select>
          </label>
        )}
        <span class="divider" />
        <button type="button" class={decision.accepted ? "primary" : ""} aria-pressed={decision.accepted === true} onClick={accept} title="a">
          {decision.accepted ? "✓ Accepted" : "Accept"}
        </button>
        <button type="button" aria-pressed={locked} onClick={() => decide({ locked: locked ? null : true })} title="l">
          {locked ? "Unlock" : "Lock"}
        </button>
        <input
          class="comment"
          aria-label="Comment"
          placeholder="Comment"
          value={decision.comment ?? ""}
          onChange={(event) => decide({ comment: event.currentTarget.value || null })}
        />
      </div>
      <div class="scroll" tabIndex={0} role="region" aria-label="Table of the bins">
        <table>
          <thead>
            <tr>
              <th class="number">bin</th>
              <th>label</th>
              <th class="number">cases</th>
              <th class="number">share</th>
              {binary && (
                <>
                  <th class="number">{panel.codes[0]}</th>
                  <th class="number">bad rate</th>
                  <th class="number">WOE</th>
                  <th class="number">IV</th>
                </>
              )}
              {panel.kind === "continuous" && <th class="number">mean</th>}
              {panel.kind === "categorical" && panel.codes.map((code, index) => (
                <th class="number" key={code}>
                  <span class={`swatch class${index % 8}`} />
                  {code}
                </th>
              ))}
            </tr>
          </thead>
          <tbody>
            {shown.figures.map((bin, index) => (
              <tr
                key={index}
                class={chosen.has(index) ? "chosen" : ""}
                onDragOver={(event) => event.preventDefault()}
                onDrop={(event) => {
                  event.preventDefault();
                  const text = event.dataTransfer?.getData("application/velmora-level");
                  if (!text) return;
                  const level = JSON.parse(text) as string | number;
                  edit(level === "\u0000missing" ? { operation: "group", missing: true, bins: [index] } : { operation: "group", levels: [level], bins: [index] });
                }}
              >
                <td class="number">
                  <button type="button" class="link" aria-pressed={chosen.has(index)} aria-label={`Choose bin ${index + 1}`} onClick={() => toggle(index)}>
                    {index + 1}
                  </button>
                </td>
                <th scope="row">
                  <input
                    class="title"
                    aria-label={`Label of bin ${index + 1}`}
                    disabled={locked}
                    value={shown.predictor.bins[index]?.label ?? ""}
                    onChange={(event) => edit({ operation: "label", bins: [index], label: event.currentTarget.value })}
                  />
                  <Levels panel={shown} bin={index} all={allLevels} chosen={levels} choose={setLevels} />
                </th>
                <td class="number">{formatCount(bin.cases)}</td>
                <td class="number">{formatPercent(bin.share)}</td>
                {binary && (
                  <>
                    <td class="number">{formatCount(bin.bad)}</td>
                    <td class="number">{formatPercent(bin.badRate)}</td>
                    <td class="number">{formatNumber(bin.woe, 2)}</td>
                    <td class="number">{formatNumber(bin.informationValue, 4)}</td>
                  </>
                )}
                {panel.kind === "continuous" && <td class="number">{formatNumber(bin.mean, 4)}</td>}
                {panel.kind === "categorical" && bin.shares?.map((share, code) => <td class="number" key={code}>{formatPercent(share)}</td>)}
              </tr>
            ))}
            <tr class="total">
              <td />
              <th scope="row">All</th>
              <td class="number">{formatCount(shown.figures.reduce((sum, bin) => sum + bin.cases, 0))}</td>
              <td />
              {binary && (
                <>
                  <td class="number">{formatCount(shown.figures.reduce((sum, bin) => sum + (bin.bad ?? 0), 0))}</td>
                  <td />
                  <td />
                  <td class="number">{formatNumber(shown.after.informationValue, 4)}</td>
                </>
              )}
            </tr>
          </tbody>
        </table>
      </div>
      <Stability before={shown.before} after={shown.after} />
      <Code run={run} response={response.name} predictor={predictor} />
    </section>
  );
}

// The levels, special codes and missing values in a bin: chosen with a
// click, dragged to another bin.
function Levels({
  panel,
  bin,
  all,
  chosen,
  choose,
}: {
  panel: BinsPanel;
  bin: number;
  all: { level: string | number; label?: string }[];
  chosen: Set<string | number>;
  choose: (levels: Set<string | number>) => void;
}) {
  const here = [...(panel.predictor.levels ?? []), ...(panel.predictor.specialCodes ?? [])].filter((level) => level.bin === bin);
  const items: { value: string | number; text: string }[] = here.map((level) => ({
    value: level.level,
    text: level.label ?? String(level.level),
  }));
  if (panel.predictor.missing?.bin === bin) items.push({ value: "\u0000missing", text: "missing" });
  if (items.length === 0 || (all.length === 0 && panel.predictor.bins.length === 1)) return null;
  return (
    <span class="chips">
      {items.slice(0, 60).map((item) => (
        <button
          type="button"
          key={String(item.value)}
          class={`chip ${chosen.has(item.value) ? "chosen" : ""}`}
          aria-pressed={chosen.has(item.value)}
          draggable
          onDragStart={(event) => event.dataTransfer?.setData("application/velmora-level", JSON.stringify(item.value))}
          onClick={() => {
            const next = new Set(chosen);
            if (!next.delete(item.value)) next.add(item.value);
            choose(next);
          }}
        >
          {item.text}
        </button>
      ))}
      {items.length > 60 && <span class="soft">and {items.length - 60} more</span>}
    </span>
  );
}

// The bins of this predictor as code.
function Code({ run, response, predictor }: { run: Run; response: string; predictor: string }) {
  const [kind, setKind] = useState("");
  const [text, setText] = useState("");
  const { binsVersion } = useStore();
  useEffect(() => {
    if (kind === "") return;
    const query = `format=${kind}&show=1&response=${encodeURIComponent(response)}&predictor=${encodeURIComponent(predictor)}`;
    getText(`${base()}/runs/${run.run}/export?${query}`).then(setText).catch(fail);
  }, [kind, predictor, run.run, binsVersion]);
  return (
    <div class="code">
      {["sql", "python", "bins"].map((one) => (
        <button type="button" key={one} aria-pressed={kind === one} onClick={() => setKind(kind === one ? "" : one)}>
          {one === "sql" ? "SQL" : one === "python" ? "Python" : "JSON"}
        </button>
      ))}
      {kind !== "" && (
        <>
          <button type="button" onClick={() => void copyText(text, "The code")}>
            Copy
          </button>
          <pre tabIndex={0}>{text}</pre>
        </>
      )}
    </div>
  );
}
