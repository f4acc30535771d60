// What an analysis works on and how: boxes for variables, selection, weight, options with short
// explanations. Results follow every change.
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
  screenedOutcome,
  searchNames,
  usesDecimalComma,
  wordAtCaret,
} from "./logic";
import { type Field, fieldGroups, shapeWords } from "./fields";
import { base, choose, currentRun, setRole, startRun, useStore } from "./store";
import type { Analysis, Choices } from "./types";

type Own = string | number | boolean | string[] | null; // the value of an option; null: its default

const mostSuggestions = 12;
const countDelay = 200;

// A text field that completes names of variables. take is called with one
// name, or those of a pattern.
export function NameField({ label, names, take }: { label: string; names: string[]; take: (names: string[]) => void }) {
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
      <label class="excluded">
        Leave out cases where
        <input
          value={exclude ?? ""}
          placeholder="IsMD(income)"
          spellcheck={false}
          onChange={(event) => choose({ exclude: event.currentTarget.value || null })}
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

// One option, by its kind.
function OptionField({ field, own, names, set }: { field: Field; own: Record<string, unknown>; names: string[]; set: (name: string, value: Own) => void }) {
  const value = own[field.option];
  const take = (next: Own) => set(field.option, next);
  switch (field.kind) {
    case "number":
      return <NumberField label={field.label} value={value} standard={field.standard} hint={field.hint} take={take} />;
    case "choice":
      return <ChoiceField label={field.label} value={value} words={field.words} hint={field.hint} take={take} />;
    case "flag":
      return (
        <label class="check" title={field.hint}>
          <input type="checkbox" checked={value === true} onChange={(event) => take(event.currentTarget.checked || null)} />
          {field.label}
        </label>
      );
    default: {
      const chosen = Array.isArray(value) ? (value as string[]) : typeof value === "string" ? [value] : [];
      const several = field.kind === "variables";
      const without = (name: string) => chosen.filter((one) => one !== name);
      return (
        <Box
          title={field.label}
          chosen={chosen}
          empty={field.hint}
          names={names}
          drop={(added) => take(several ? [...new Set([...chosen, ...added])] : (added[0] ?? null))}
          remove={(name) => take(several && without(name).length > 0 ? without(name) : null)}
        />
      );
    }
  }
}

// The shapes that the editor of the bins has set for single predictors.
function SingleShapes({ choices }: { choices: Choices }) {
  const shapes = Object.entries(choices.shapes ?? {}).filter(([, shape]) => shape);
  if (shapes.length === 0) return null;
  return (
    <div role="group" aria-label="Shapes of single predictors">
      <small>Of single predictors</small>
      <div class="chips">
        {shapes.map(([name, shape]) => (
          <span class="chip" key={name}>
            {name}: {shapeWords.find(([word]) => word === shape)?.[1] ?? shape}
            <button type="button" aria-label={`Any shape of ${name}`} onClick={() => choose({ shapes: { [name]: null } })}>
              ×
            </button>
          </span>
        ))}
      </div>
    </div>
  );
}

export function OptionsPanel({ analysis }: { analysis: Analysis }) {
  const { snapshot } = useStore();
  if (!snapshot) return null;
  const choices: Choices = snapshot.choices;
  const names = snapshot.data.names ?? [];
  const outcomes = choices.outcomes ?? [];
  const outcome = screenedOutcome(snapshot.variables, choices);
  const predictors = predictorsToName(analysis, snapshot.variables, choices);
  const usable = snapshot.variables.filter((one) => roleOf(one, choices) === "predictor").length;
  const member = analysis === "screen" ? "screening" : "ranking";
  const own = (analysis === "screen" ? choices.screening : choices.ranking) ?? {};
  const set = (name: string, value: Own) => choose({ [member]: { [name]: value } });
  const run = currentRun(analysis);
  const kind = outcome ? responseKind(outcome, choices) : null;
  const codes = outcome && kind === "binary" ? codesOf(outcome, choices) : null;
  return (
    <section class="options" aria-label="Options">
      <Box
        title="Outcomes"
        chosen={outcomes}
        empty="Drag a variable here, double click it in the list, or type its name."
        names={names}
        drop={(added) =>
          choose({ outcomes: [...new Set([...outcomes, ...added])], ...(analysis === "screen" ? { screened: added[0] ?? null } : {}) })
        }
        remove={(name) => choose({ outcomes: outcomes.filter((one) => one !== name) })}
      />
      {analysis === "screen" && outcome && codes && (
        <label class="line">
          {outcomes.length > 1 ? `Bad of ${outcome.name} is` : "Bad is"}
          <select value={codes.bad} onChange={(event) => choose({ badCodes: { [outcome.name]: event.currentTarget.value } })}>
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
      {fieldGroups[analysis].map((group) => {
        const shown = group.fields.filter((field) => !field.when || field.when(own, choices));
        if (shown.length === 0) return null;
        const isSet = shown.some((field) => own[field.option] !== undefined);
        return (
          <details key={`${analysis}/${group.title}`} open={group.open === true || isSet}>
            <summary>{group.title}</summary>
            <div class="fields">
              {shown.map((field) => (
                <OptionField key={field.option} field={field} own={own} names={names} set={set} />
              ))}
              {shown.some((field) => field.option === "shape") && <SingleShapes choices={choices} />}
            </div>
          </details>
        );
      })}
      <button type="button" class="primary" disabled={outcomes.length === 0 || run?.status === "running"} onClick={() => void startRun(analysis)}>
        {analysis !== "screen" ? "Rank predictors" : outcome && outcomes.length > 1 ? `Find bins for ${outcome.name}` : "Find bins"}
      </button>
    </section>
  );
}
