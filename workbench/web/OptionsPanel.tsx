// What an analysis works on and how: boxes for variables, selection, weight, options with short explanations. Results
// follow every change.
import { useEffect, useId, useRef, useState } from "preact/hooks";
import { send } from "./api";
import {
  codesByVariable,
  codesOf,
  formatCount,
  nameInExpression,
  namesMatching,
  parseNumber,
  predictorsToName,
  responseKind,
  roleOf,
  searchNames,
  usesDecimalComma,
  wordAtCaret,
} from "./logic";
import { base, choose, currentRun, setRole, startRun, useStore } from "./store";
import type { Analysis, Choices } from "./types";

const mostSuggestions = 12;
const countDelay = 200;

// A text field that completes names of variables. take is called with one name, or those of a pattern.
function NameField({ label, names, take }: { label: string; names: string[]; take: (names: string[]) => void }) {
  const [text, setText] = useState("");
  const [at, setAt] = useState(0);
  const id = useId();
  const found = text.trim() === "" ? [] : searchNames(text, names).slice(0, mostSuggestions);
  const isPattern = /[*?]/.test(text);
  const finish = (chosen: string[]) => {
    if (chosen.length === 0) return;
    take(chosen);
    setText("");
    setAt(0);
  };
  const onKey = (event: KeyboardEvent) => {
    if (event.key === "ArrowDown" || event.key === "ArrowUp") {
      event.preventDefault();
      setAt(Math.min(Math.max(at + (event.key === "ArrowDown" ? 1 : -1), 0), Math.max(found.length - 1, 0)));
    } else if (event.key === "Enter") {
      event.preventDefault();
      finish(isPattern ? namesMatching(text, names) : found.slice(at, at + 1));
    } else if (event.key === "Escape") {
      setText("");
    }
  };
  return (
    <div class="name-field">
      <input
        value={text}
        placeholder={label}
        aria-label={label}
        role="combobox"
        aria-autocomplete="list"
        aria-expanded={found.length > 0}
        aria-controls={id}
        onInput={(event) => {
          setText(event.currentTarget.value);
          setAt(0);
        }}
        onKeyDown={onKey}
      />
      <ul id={id} class="suggestions" role="listbox" aria-label={label} hidden={found.length === 0}>
        {isPattern && found.length > 0 && (
          <li role="option" aria-selected={false} onMouseDown={() => finish(namesMatching(text, names))}>
            all {formatCount(namesMatching(text, names).length)} that match (Enter)
          </li>
        )}
        {found.map((name, index) => (
          <li key={name} role="option" aria-selected={!isPattern && index === at} onMouseDown={() => finish([name])}>
            {name}
          </li>
        ))}
      </ul>
    </div>
  );
}

// A box that variables are dropped into.
function Box({
  title,
  chosen,
  empty,
  drop,
  remove,
  names,
}: {
  title: string;
  chosen: string[];
  empty: string;
  drop: (names: string[]) => void;
  remove: (name: string) => void;
  names: string[];
}) {
  const [over, setOver] = useState(false);
  return (
    <div
      class={`box ${over ? "over" : ""}`}
      role="group"
      aria-label={title}
      onDragOver={(event) => {
        event.preventDefault();
        setOver(true);
      }}
      onDragLeave={() => setOver(false)}
      onDrop={(event) => {
        event.preventDefault();
        setOver(false);
        const name = event.dataTransfer?.getData("text/plain") ?? "";
        if (names.includes(name)) drop([name]);
      }}
    >
      <h2>{title}</h2>
      {chosen.length === 0 && <p class="soft">{empty}</p>}
      <div class="chips">
        {chosen.slice(0, 30).map((name) => (
          <span class="chip" key={name}>
            {name}
            <button type="button" aria-label={`Remove ${name}`} onClick={() => remove(name)}>
              ×
            </button>
          </span>
        ))}
        {chosen.length > 30 && <span class="soft">and {formatCount(chosen.length - 30)} more</span>}
      </div>
      <NameField label="Type a name or a pattern" names={names} take={drop} />
    </div>
  );
}

// A number that may be typed in English or German. Null when the field is empty.
function NumberField({
  label,
  value,
  hint,
  standard,
  take,
}: {
  label: string;
  value: unknown;
  hint: string;
  standard: string;
  take: (value: number | null) => void;
}) {
  const [wrong, setWrong] = useState(false);
  return (
    <label title={hint}>
      {label}
      <input
        inputMode="decimal"
        class={wrong ? "wrong" : ""}
        aria-invalid={wrong}
        placeholder={standard}
        value={value === null || value === undefined ? "" : String(value)}
        onChange={(event) => {
          const text = event.currentTarget.value;
          const number = text.trim() === "" ? null : parseNumber(text, usesDecimalComma(navigator.language));
          const isWrong = text.trim() !== "" && number === null;
          setWrong(isWrong);
          if (!isWrong) take(number);
        }}
      />
      <small>{wrong ? "This is not a number." : hint}</small>
    </label>
  );
}

function ChoiceField({
  label,
  value,
  words,
  hint,
  take,
}: {
  label: string;
  value: unknown;
  words: [string, string][];
  hint: string;
  take: (value: string | null) => void;
}) {
  return (
    <label title={hint}>
      {label}
      <select
        value={typeof value === "string" ? value : ""}
        onChange={(event) => take(event.currentTarget.value === "" ? null : event.currentTarget.value)}
      >
        {words.map(([word, text]) => (
          <option key={word} value={word}>
            {text}
          </option>
        ))}
      </select>
      <small>{hint}</small>
    </label>
  );
}

// The selection: an expression whose names are completed, and how many cases it leaves.
export function Selection() {
  const { snapshot } = useStore();
  const stored = snapshot?.choices.select ?? "";
  const [text, setText] = useState(stored);
  const [caret, setCaret] = useState(0);
  const [count, setCount] = useState<{ cases: number; selected: number; weight?: number } | null>(null);
  const [error, setError] = useState("");
  const input = useRef<HTMLInputElement>(null);
  const weight = snapshot?.choices.weight;
  const exclude = snapshot?.choices.exclude;
  const status = snapshot?.status;
  const codes = Object.entries(codesByVariable(snapshot?.choices.missing) ?? {}).map(([name, list]) => `${name}=${list.join(",")}`);
  const missing = codes.length > 0 ? JSON.stringify(codes) : "";
  useEffect(() => setText(stored), [stored]);
  useEffect(() => {
    if (status !== "loaded") return;
    let current = true;
    const timer = setTimeout(async () => {
      const selection: Record<string, unknown> = { select: text };
      if (missing !== "") selection["missing"] = JSON.parse(missing);
      if (exclude) selection["exclude"] = exclude;
      if (weight) selection["weight"] = weight;
      try {
        const answer = await send<{ cases: number; selected: number; weight?: number }>("POST", `${base()}/count`, selection);
        if (!current) return;
        setCount(answer);
        setError("");
        if (text !== stored) choose({ select: text === "" ? null : text });
      } catch (failure) {
        if (current) setError((failure as Error).message.replace(/^--(select|exclude|missing)(, --exclude)?: /, ""));
      }
    }, countDelay);
    return () => {
      current = false;
      clearTimeout(timer);
    };
  }, [text, weight, exclude, missing, status]);
  const { start, word } = wordAtCaret(text, caret);
  const names = snapshot?.data.names ?? [];
  const found = word.length > 0 && !names.includes(word) ? searchNames(word, names).slice(0, 6) : [];
  const complete = (name: string) => {
    setText(text.slice(0, start) + nameInExpression(name) + text.slice(caret));
    input.current?.focus();
    setCaret(start + nameInExpression(name).length);
  };
  return (
    <div class="selection">
      <label>
        Only cases where
        <input
          ref={input}
          value={text}
          placeholder="age >= 18 And region = 'north'"
          spellcheck={false}
          aria-invalid={error !== ""}
          class={error ? "wrong" : ""}
          onInput={(event) => {
            setText(event.currentTarget.value);
            setCaret(event.currentTarget.selectionStart ?? event.currentTarget.value.length);
          }}
          onKeyDown={(event) => {
            if (event.key !== "Tab" || found.length === 0 || event.shiftKey) return;
            event.preventDefault();
            complete(found[0] ?? "");
          }}
          onBlur={() => setCaret(0)}
        />
      </label>
      {found.length > 0 && caret > 0 && (
        <p class="completions" aria-label="Names">
          {found.map((name) => (
            <button type="button" key={name} onMouseDown={(event) => (event.preventDefault(), complete(name))}>
              {name}
            </button>
          ))}
        </p>
      )}
      <p class={error ? "problem" : "soft"} role="status">
        {error ||
          (count &&
            `${formatCount(count.selected)} of ${formatCount(count.cases)} cases` +
              (count.weight === undefined ? "" : `, weights ${formatCount(count.weight)}`))}
      </p>
    </div>
  );
}

const shapes: [string, string][] = [
  ["", "free"],
  ["monotone", "rising or falling"],
  ["ascending", "rising"],
  ["descending", "falling"],
  ["peak", "one peak"],
  ["valley", "one valley"],
  ["auto", "the best of these"],
];

export function OptionsPanel({ analysis }: { analysis: Analysis }) {
  const { snapshot } = useStore();
  if (!snapshot) return null;
  const choices: Choices = snapshot.choices;
  const names = snapshot.data.names ?? [];
  const outcomes = choices.outcomes ?? [];
  const outcome = snapshot.variables.find((one) => one.name === outcomes[0]);
  const predictors = predictorsToName(snapshot.variables, choices);
  const usable = snapshot.variables.filter((one) => roleOf(one, choices) === "predictor").length;
  const member = analysis === "screen" ? "screening" : "ranking";
  const own = (analysis === "screen" ? choices.screening : choices.ranking) ?? {};
  const set = (name: string) => (value: string | number | boolean | null) => choose({ [member]: { [name]: value } });
  const run = currentRun(analysis);
  const kind = outcome ? responseKind(outcome, choices) : null;
  const codes = outcome && kind === "binary" ? codesOf(outcome, choices) : null;
  return (
    <section class="options" aria-label="Options">
      <Box
        title={analysis === "screen" ? "Outcome" : "Outcomes"}
        chosen={analysis === "screen" ? outcomes.slice(0, 1) : outcomes}
        empty="Drag a variable here, double click it in the list, or type its name."
        names={names}
        drop={(added) =>
          choose({ outcomes: analysis === "screen" ? added.slice(0, 1) : [...new Set([...outcomes, ...added])], bad: null })
        }
        remove={(name) => choose({ outcomes: outcomes.filter((one) => one !== name) })}
      />
      {analysis === "screen" && codes && (
        <label class="line">
          Bad is
          <select value={codes.bad} onChange={(event) => choose({ bad: event.currentTarget.value })}>
            {[codes.bad, codes.good].sort().map((code) => (
              <option key={code}>{code}</option>
            ))}
          </select>
        </label>
      )}
      {analysis === "screen" && kind && kind !== "binary" && (
        <p class="soft">{kind === "continuous" ? "Bins are compared by their means." : "Bins are compared by the shares of the classes."}</p>
      )}
      <Box
        title="Predictors"
        chosen={predictors ?? []}
        empty={`All ${formatCount(usable)} usable variables.`}
        names={names}
        drop={(added) => choose({ predictors: [...new Set([...(choices.predictors ?? []), ...added])], leftOut: null })}
        remove={(name) => setRole(name, "none")}
      />
      <Selection />
      <details open={choices.weight !== undefined}>
        <summary>Weight</summary>
        <Box
          title="Weight of each case"
          chosen={choices.weight ? [choices.weight] : []}
          empty="None: every case counts once."
          names={names}
          drop={(added) => added[0] !== undefined && setRole(added[0], "weight")}
          remove={() => choose({ weight: null })}
        />
      </details>
      {analysis === "screen" ? (
        <details open>
          <summary>Bins</summary>
          <div class="fields">
            <ChoiceField label="Shape" value={own["shape"]} words={shapes} hint="How the rate or mean runs over the bins." take={set("shape")} />
            <NumberField label="Most bins" value={own["max-bins"]} standard="8" hint="Never more bins than this." take={set("max-bins")} />
            <NumberField label="Least share" value={own["min-bin-share"]} standard="0.05" hint="Share of the cases in each bin." take={set("min-bin-share")} />
            <NumberField label="Least events" value={own["min-bin-events"]} standard="none" hint="Cases of each class in each bin." take={set("min-bin-events")} />
            <ChoiceField
              label="Missing values"
              value={own["missing-bin"]}
              words={[
                ["", "a bin of their own"],
                ["most-alike", "with the bin most alike"],
                ["lowest", "with the first bin"],
                ["highest", "with the last bin"],
                ["drop", "left out"],
              ]}
              hint="Where cases without a value go."
              take={set("missing-bin")}
            />
            <ChoiceField
              label="Best means"
              value={own["criterion"]}
              words={[
                ["", "most deviance explained"],
                ["iv", "information value"],
                ["gini", "Gini impurity"],
                ["variance", "variance"],
              ]}
              hint="What the search makes as large as it can."
              take={set("criterion")}
            />
            <ChoiceField
              label="Method"
              value={own["binning"]}
              words={[
                ["", "optimal bins"],
                ["tree", "decision trees"],
              ]}
              hint="Trees are quicker on very wide data."
              take={set("binning")}
            />
          </div>
        </details>
      ) : (
        <details open>
          <summary>Ranking</summary>
          <div class="fields">
            <ChoiceField
              label="Rank by"
              value={own["rank-by"]}
              words={[
                ["", "size of the effect"],
                ["p", "p-value"],
                ["statistic", "statistic"],
              ]}
              hint="Effects are corrected for the number of levels."
              take={set("rank-by")}
            />
            <ChoiceField
              label="Intervals"
              value={own["intervals"]}
              words={[
                ["", "equally many cases"],
                ["equal-width", "equal width"],
                ["tree", "searched for"],
              ]}
              hint="How measured predictors are cut for the test."
              take={set("intervals")}
            />
            <NumberField label="How many" value={own["cuts"]} standard="10" hint="Intervals of a measured predictor, 1 to 20." take={set("cuts")} />
            <ChoiceField
              label="Adjust p-values"
              value={own["adjust"]}
              words={[
                ["", "Benjamini–Hochberg"],
                ["by", "Benjamini–Yekutieli"],
                ["holm", "Holm"],
                ["none", "not at all"],
              ]}
              hint="For the number of predictors that are tried."
              take={set("adjust")}
            />
            <NumberField label="Chance above" value={own["alpha"]} standard="0.05" hint="An adjusted p-value above it is no more than chance." take={set("alpha")} />
            <label class="check">
              <input type="checkbox" checked={own["casewise"] === true} onChange={(event) => set("casewise")(event.currentTarget.checked || null)} />
              Complete cases only
            </label>
          </div>
        </details>
      )}
      <button type="button" class="primary" disabled={outcomes.length === 0 || run?.status === "running"} onClick={() => void startRun(analysis)}>
        {analysis === "screen" ? "Find bins" : "Rank predictors"}
      </button>
    </section>
  );
}
