// The module's own dialogs, as its templates describe them: every control in its place, the
// questions that commands ask, and the page of results that they fill. The server's runtime
// decides; the page shows its state and passes on what the user does.
import { useEffect, useRef, useState } from "preact/hooks";
import { send } from "./api";
import { formatCount, namesMatching, searchNames } from "./logic";
import { NameField } from "./OptionsPanel";
import { FileList } from "./Picker";
import { base, fail, useStore } from "./store";
import type { DialogControl, DialogQuestion, DialogState, DialogsState, Snapshot } from "./types";

// Pixels per dialog unit.
const scaleX = 1.9;
const scaleY = 1.85;
const tabHeight = 13; // dialog units
const cancelButton = 2;
const mostRows = 200;

// Actions arrive in the order in which they were done.
let last: Promise<unknown> = Promise.resolve();
function act(action: Record<string, unknown>): void {
  const path = `${base()}/dialogs/actions`;
  last = last.then(() => send("POST", path, action)).catch(fail);
}

async function startDialogs(analysis: string): Promise<void> {
  try {
    await send("POST", `${base()}/dialogs`, { analysis });
  } catch (error) {
    fail(error);
  }
}

export function DialogsView() {
  const { snapshot, dialogsProgress } = useStore();
  const shown = snapshot?.dialogs;
  if (!snapshot) return null;
  if (!shown)
    return (
      <div class="empty">
        <h2>The dialogs of the analyses</h2>
        <p>Variables, options and outputs as the analyses prescribe them, on the data with the present selection and weight.</p>
        <p class="buttons">
          <button type="button" class="primary" onClick={() => void startDialogs("feature-selection")}>
            Feature selection
          </button>
          <button type="button" class="primary" onClick={() => void startDialogs("screen")}>
            Predictor screening
          </button>
        </p>
      </div>
    );
  const results = `${base()}/dialogs/results`;
  const newest = shown.documents.at(-1)?.id ?? 0;
  return (
    <section class="dialogs-view" aria-label="Dialogs">
      <div class="windows">
        {shown.dialogs.map((dialog) => (
          <Dialog key={dialog.dialog} dialog={dialog} blocked={shown.question !== null} />
        ))}
        {dialogsProgress && dialogsProgress.fraction < 1 && (
          <p class="line" role="status">
            <progress aria-label="Progress" value={dialogsProgress.fraction} max={1} /> {dialogsProgress.stage}
            <button type="button" onClick={() => act({ do: "interrupt" })}>
              Cancel
            </button>
          </p>
        )}
        <Messages state={shown} />
        <button type="button" class="link" onClick={() => void send("DELETE", `${base()}/dialogs`).catch(fail)}>
          End the dialogs
        </button>
      </div>
      {newest > 0 && (
        <div class="outputs">
          <p class="line">
            <b>{shown.documents.length === 1 ? "1 output" : `${shown.documents.length} outputs`}</b>
            <a href={`${results}?format=html`} target="_blank" rel="noreferrer">
              In a window
            </a>
            <a href={`${results}?format=html&save=1`}>Page</a>
            <a href={`${results}?format=xlsx`}>Workbook</a>
          </p>
          <iframe title="Outputs of the dialogs" sandbox="allow-scripts allow-downloads" src={`${results}?format=html&until=${newest}`} />
        </div>
      )}
      {shown.question && <Question key={shown.question.number} question={shown.question} snapshot={snapshot} />}
    </section>
  );
}

function Messages({ state }: { state: DialogsState }) {
  const [seen, setSeen] = useState(0);
  const fresh = state.messages.filter((one) => one.number > seen);
  if (fresh.length === 0 || state.question) return null;
  return (
    <div class="notices" role="alert">
      {fresh.map((one) => (
        <p key={one.number}>{one.text}</p>
      ))}
      <button type="button" onClick={() => setSeen(fresh.at(-1)?.number ?? seen)}>
        OK
      </button>
    </div>
  );
}

// A caption with its accelerator underlined.
function Caption({ control }: { control: DialogControl }) {
  const { text, key = -1 } = control;
  if (key < 0 || key >= text.length) return <>{text}</>;
  return (
    <>
      {text.slice(0, key)}
      <u>{text[key]}</u>
      {text.slice(key + 1)}
    </>
  );
}

function Dialog({ dialog, blocked }: { dialog: DialogState; blocked: boolean }) {
  const { controls } = dialog;
  const tabs = controls.find((control) => control.kind === "tabs");
  const placeOf = (control: DialogControl) => ({
    x: control.x + (control.page >= 0 && tabs ? tabs.x + 1 : 0),
    y: control.y + (control.page >= 0 && tabs ? tabs.y + tabHeight : 0),
  });
  const width = Math.max(0, ...controls.map((control) => placeOf(control).x + control.width)) + 6;
  const height = Math.max(0, ...controls.map((control) => placeOf(control).y + control.height)) + 6;
  const takes = dialog.takesCommands && !blocked;
  const press = (control: DialogControl) => act({ do: "press", dialog: dialog.dialog, control: control.id });
  const onKey = (event: KeyboardEvent) => {
    if (!takes || event.defaultPrevented) return;
    if (event.key === "Escape") return press({ id: cancelButton } as DialogControl);
    const field = (event.target as HTMLElement).matches("input:not([type=checkbox]):not([type=radio]), select");
    const byDefault = controls.find((control) => control.isDefault && control.enabled);
    if (event.key === "Enter" && field && byDefault) return press(byDefault);
    if (!event.altKey || event.key.length !== 1) return;
    const meant = controls.find(
      (control) => control.enabled && control.key !== undefined && control.key >= 0 && control.text[control.key]?.toLowerCase() === event.key.toLowerCase(),
    );
    if (!meant || !["button", "check box", "radio button"].includes(meant.kind)) return;
    event.preventDefault();
    press(meant);
  };
  // A field is called by the label before it.
  let label = "";
  return (
    <div class="window" role="dialog" aria-label={dialog.caption} onKeyDown={onKey} style={{ width: `${width * scaleX}px` }}>
      <h2>{dialog.caption}</h2>
      <div class="controls" style={{ height: `${height * scaleY}px` }}>
        {controls.map((control, index) => {
          if (control.kind === "label" || control.kind === "check box") label = control.text;
          const { x, y } = placeOf(control);
          const style = { left: `${x * scaleX}px`, top: `${y * scaleY}px`, width: `${control.width * scaleX}px`, height: `${control.height * scaleY}px` };
          return (
            <div key={`${control.page}/${control.id}/${index}`} class="control" data-kind={control.kind} style={style}>
              <ControlFace control={control} dialog={dialog} label={label} takes={takes} press={() => press(control)} />
            </div>
          );
        })}
      </div>
      <p class="soft">{dialog.dataLine}</p>
    </div>
  );
}

function ControlFace({ control, dialog, label, takes, press }: { control: DialogControl; dialog: DialogState; label: string; takes: boolean; press: () => void }) {
  const disabled = !takes || !control.enabled;
  switch (control.kind) {
    case "button":
      return (
        <button type="button" class={control.isDefault ? "primary" : ""} disabled={disabled} title={control.text} onClick={press}>
          <Caption control={control} />
        </button>
      );
    case "check box":
    case "radio button":
      return (
        <label class="check" title={control.text}>
          <input type={control.kind === "check box" ? "checkbox" : "radio"} checked={control.checked === true} disabled={disabled} onClick={press} />
          <span>
            <Caption control={control} />
          </span>
        </label>
      );
    case "edit":
      return <TextFace control={control} dialog={dialog.dialog} label={label} disabled={disabled} />;
    case "drop-down list":
      return (
        <select
          aria-label={label || control.text}
          disabled={disabled}
          value={String(control.item ?? -1)}
          onChange={(event) => act({ do: "choose", dialog: dialog.dialog, control: control.id, item: Number(event.currentTarget.value) })}
        >
          {control.items?.map((item, index) => (
            <option key={index} value={String(index)}>
              {item}
            </option>
          ))}
        </select>
      );
    case "tabs":
      return (
        <div class="tab-row" role="tablist" aria-label={dialog.caption}>
          {dialog.pages.map((page, index) => (
            <button
              key={page}
              type="button"
              role="tab"
              aria-selected={index === dialog.page}
              disabled={!takes}
              onClick={() => act({ do: "page", dialog: dialog.dialog, page: index })}
            >
              {page}
            </button>
          ))}
        </div>
      );
    default:
      return (
        <span title={control.text}>
          <Caption control={control} />
        </span>
      );
  }
}

// What is typed stays in the field while the answers to earlier letters arrive.
function TextFace({ control, dialog, label, disabled }: { control: DialogControl; dialog: number; label: string; disabled: boolean }) {
  const [text, setText] = useState(control.text);
  const [focused, setFocused] = useState(false);
  useEffect(() => {
    if (!focused) setText(control.text);
  }, [control.text, focused]);
  const list = `values-${dialog}-${control.id}`;
  const type = (next: string) => {
    setText(next);
    act({ do: "type", dialog, control: control.id, text: next });
  };
  return (
    <>
      <input
        aria-label={label}
        aria-invalid={control.error !== undefined}
        class={control.error ? "wrong" : ""}
        title={control.error ?? label}
        disabled={disabled}
        value={text}
        {...(control.items ? { list } : {})}
        onFocus={() => setFocused(true)}
        onBlur={() => void last.then(() => setFocused(false))}
        onInput={(event) => type(event.currentTarget.value)}
      />
      {control.items && (
        <datalist id={list}>
          {control.items.map((item) => (
            <option key={item} value={item} />
          ))}
        </datalist>
      )}
    </>
  );
}

// --- Questions

function Question({ question, snapshot }: { question: DialogQuestion; snapshot: Snapshot }) {
  const dialog = useRef<HTMLDialogElement>(null);
  const [answer, setAnswer] = useState<Record<string, unknown>>(() => firstAnswer(question));
  useEffect(() => {
    dialog.current?.showModal();
  }, []);
  const reply = (what: Record<string, unknown>) => act({ do: "answer", question: question.number, ...what });
  const names = question.allNames ?? snapshot.data.names ?? [];
  return (
    <dialog
      ref={dialog}
      class="question"
      aria-label={question.title ?? titles[question.kind]}
      onCancel={(event) => {
        event.preventDefault();
        reply({ cancel: true });
      }}
    >
      <form
        onSubmit={(event) => {
          event.preventDefault();
          reply(answer);
        }}
      >
        <h2>{question.title ?? titles[question.kind]}</h2>
        {question.wrong && (
          <p class="problem" role="alert">
            {question.wrong}
          </p>
        )}
        {question.kind === "variables" && <VariableLists question={question} snapshot={snapshot} answer={answer as { lists: string[][] }} take={setAnswer} />}
        {question.kind === "codes" && <Codes question={question} answer={answer as { texts: string[] }} take={setAnswer} />}
        {question.kind === "cases" &&
          ([
            ["include", "Include cases for which this is true (empty for all)"],
            ["exclude", "Exclude cases for which this is true (empty for none)"],
          ] as const).map(([name, text]) => (
            <label key={name}>
              {text}
              <input value={String(answer[name] ?? "")} spellcheck={false} onInput={(event) => setAnswer({ ...answer, [name]: event.currentTarget.value })} />
            </label>
          ))}
        {question.kind === "weight" && (
          <label>
            Weight variable
            <select value={String(answer["name"] ?? "")} onChange={(event) => setAnswer({ name: event.currentTarget.value })}>
              <option value="">none</option>
              {names.map((name) => (
                <option key={name}>{name}</option>
              ))}
            </select>
          </label>
        )}
        {question.kind === "file" && <FileList choose={(path) => reply({ path })} />}
        {question.kind === "save" && (
          <label>
            Name of the file in {question.folder}
            <input value={String(answer["file"] ?? "")} placeholder={`name${question.extension ?? ""}`} onInput={(event) => setAnswer({ file: event.currentTarget.value })} />
          </label>
        )}
        {question.kind === "replace" && (
          <>
            <p>{question.files?.length === 1 ? "This file exists. Replace it?" : "These files exist. Replace them?"}</p>
            <ul>
              {question.files?.slice(0, 10).map((file) => (
                <li key={file}>{file}</li>
              ))}
            </ul>
          </>
        )}
        <p class="buttons">
          {question.kind !== "file" && (
            <button type="submit" class="primary">
              {question.kind === "replace" ? "Replace" : "OK"}
            </button>
          )}
          <button type="button" onClick={() => reply({ cancel: true })}>
            Cancel
          </button>
        </p>
      </form>
    </dialog>
  );
}

const titles = {
  variables: "Variables",
  codes: "Codes",
  cases: "Case selection conditions",
  weight: "Case weights",
  file: "Open data",
  save: "Save",
  replace: "Replace files",
};

function firstAnswer(question: DialogQuestion): Record<string, unknown> {
  switch (question.kind) {
    case "variables":
      return { lists: question.lists?.map((list) => list.names) ?? [] };
    case "codes":
      return { texts: question.variables?.map((one) => one.text) ?? [] };
    case "cases":
      return { include: question.include ?? "", exclude: question.exclude ?? "" };
    case "weight":
      return { name: question.name ?? "" };
    case "save":
      return { file: "" };
    case "replace":
      return { replace: true };
    default:
      return {};
  }
}

function VariableLists({
  question,
  snapshot,
  answer,
  take,
}: {
  question: DialogQuestion;
  snapshot: Snapshot;
  answer: { lists: string[][] };
  take: (answer: Record<string, unknown>) => void;
}) {
  const [search, setSearch] = useState("");
  const [onlyFitting, setOnlyFitting] = useState(true);
  const all = question.allNames ?? snapshot.data.names ?? [];
  const measurements = new Map<string, string>(
    question.allNames
      ? question.allNames.map((name, index) => [name, question.measurements?.[index] ?? ""])
      : snapshot.variables.map((one) => [one.name, one.measurement]),
  );
  const found = searchNames(search, all);
  const kinds: Record<number, string> = { 1: "categorical", 2: "continuous" };
  const put = (index: number, names: string[]) => take({ lists: answer.lists.map((list, at) => (at === index ? names : list)) });
  return (
    <>
      <div class="line">
        <input type="search" placeholder="Find" aria-label="Find variables" value={search} onInput={(event) => setSearch(event.currentTarget.value)} />
        <label class="check">
          <input type="checkbox" checked={onlyFitting} onChange={(event) => setOnlyFitting(event.currentTarget.checked)} />
          Show appropriate variables only
        </label>
      </div>
      <div class="lists">
        {question.lists?.map((list, index) => {
          const chosen = answer.lists[index] ?? [];
          const kind = kinds[list.kind];
          const shown = found.filter((name) => !onlyFitting || !kind || measurements.get(name) === kind || chosen.includes(name));
          const single = list.most === 1;
          return (
            <div key={list.caption + index} role="group" aria-label={list.caption}>
              <b>{list.caption}</b>
              <select
                aria-label={list.caption}
                multiple={!single}
                size={10}
                onChange={(event) => {
                  const picked = [...event.currentTarget.selectedOptions].map((option) => option.value);
                  const hidden = single ? [] : chosen.filter((name) => !shown.includes(name));
                  put(index, [...hidden, ...picked]);
                }}
              >
                {shown.map((name) => (
                  <option key={name} value={name} selected={chosen.includes(name)}>
                    {name}
                  </option>
                ))}
              </select>
              <small>{chosen.length === 0 ? "none" : chosen.length <= 4 ? chosen.join(", ") : `${formatCount(chosen.length)} variables`}</small>
              <NameField label="Type a name or a pattern" names={all} take={(names) => put(index, single ? names.slice(0, 1) : [...new Set([...chosen, ...names])])} />
              {chosen.length > 0 && (
                <button type="button" class="link" onClick={() => put(index, [])}>
                  none
                </button>
              )}
            </div>
          );
        })}
      </div>
    </>
  );
}

function Codes({ question, answer, take }: { question: DialogQuestion; answer: { texts: string[] }; take: (answer: Record<string, unknown>) => void }) {
  const [search, setSearch] = useState("");
  const variables = question.variables ?? [];
  const wanted = new Set(search === "" ? variables.map((one) => one.name) : [...searchNames(search, variables.map((one) => one.name)), ...namesMatching(search, variables.map((one) => one.name))]);
  const rows = variables.map((one, index) => ({ ...one, index })).filter((one) => wanted.has(one.name));
  const put = (index: number, text: string) => take({ texts: answer.texts.map((one, at) => (at === index ? text : one)) });
  return (
    <>
      <div class="line">
        {variables.length > 10 && <input type="search" placeholder="Find" aria-label="Find variables" value={search} onInput={(event) => setSearch(event.currentTarget.value)} />}
        <button type="button" onClick={() => take({ texts: answer.texts.map(() => "*") })}>
          All codes of all variables
        </button>
      </div>
      <div class="code-rows">
        {rows.slice(0, mostRows).map((one) => (
          <div key={one.name} class="line">
            <label>
              {one.name}
              <input value={answer.texts[one.index] ?? ""} spellcheck={false} onInput={(event) => put(one.index, event.currentTarget.value)} />
              <small>{one.values.slice(0, 12).join("  ")}{one.values.length > 12 ? " …" : ""}</small>
            </label>
            <button type="button" aria-label={`All codes of ${one.name}`} onClick={() => put(one.index, "*")}>
              All
            </button>
          </div>
        ))}
        {rows.length > mostRows && <p class="soft">and {formatCount(rows.length - mostRows)} more: search for them</p>}
      </div>
    </>
  );
}
