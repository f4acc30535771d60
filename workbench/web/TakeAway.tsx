// What can be taken away from a run: files as the command writes them, and the steps as commands
// and as Python.
import { useEffect, useRef, useState } from "preact/hooks";
import { getFile, getText } from "./api";
import { parseNumber, pythonCode, usesDecimalComma } from "./logic";
import { base, fail, setState, useStore } from "./store";
import type { Run } from "./types";

const dialects = ["standard", "postgresql", "mysql", "sqlserver", "oracle", "bigquery", "spark", "duckdb", "sqlite"];

export async function copyText(text: string, title: string): Promise<void> {
  try {
    await navigator.clipboard.writeText(text);
    setState({ message: `${title} copied.` });
  } catch {
    fail(new Error("The browser does not let the page copy."));
  }
}

export function CopyCommands({ run }: { run: Run }) {
  const several = run.commands.length > 1;
  return (
    <button
      type="button"
      onClick={() => void copyText(`${run.commands.join("\n")}\n`, several ? "The command lines are" : "The command line is")}
    >
      {several ? "Copy the command lines" : "Copy the command line"}
    </button>
  );
}

export function CopyPython({ run }: { run: Run }) {
  const { snapshot } = useStore();
  return (
    <button type="button" onClick={() => void copyText(pythonCode(snapshot?.file ?? "", run), "The Python code is")}>
      Copy as Python
    </button>
  );
}

// A link to a file. A failure is a message of this page, not a page of its own.
function FileLink({ address, title }: { address: string; title: string }) {
  const [busy, setBusy] = useState(false);
  const save = async () => {
    setBusy(true);
    setState({ message: "" });
    try {
      const file = await getFile(address);
      const link = document.createElement("a");
      link.href = URL.createObjectURL(file.bytes);
      link.download = file.name;
      link.click();
      setTimeout(() => URL.revokeObjectURL(link.href), 60_000);
      if (file.notice) setState({ message: file.notice });
    } catch (error) {
      fail(error);
    }
    setBusy(false);
  };
  return (
    <a
      href={address}
      aria-busy={busy}
      onClick={(event) => {
        event.preventDefault();
        if (!busy) void save();
      }}
    >
      {title}
      {busy && " …"}
    </a>
  );
}

// The result as the terminal shows it, to read and to copy.
function TextButton({ address }: { address: string }) {
  const [open, setOpen] = useState(false);
  const [text, setText] = useState("");
  const { message } = useStore();
  const dialog = useRef<HTMLDialogElement>(null);
  useEffect(() => {
    if (!open) return;
    setText("");
    dialog.current?.showModal();
    getText(address).then(setText).catch((error: unknown) => (setOpen(false), fail(error)));
  }, [open, address]);
  return (
    <>
      <button type="button" onClick={() => setOpen(true)}>
        Text to copy …
      </button>
      {open && (
        <dialog class="text" ref={dialog} onClose={(event) => (event.stopPropagation(), setOpen(false))} aria-label="The result as text">
          {text === "" && <p role="status">Computing …</p>}
          {text !== "" && <pre tabIndex={0}>{text}</pre>}
          <p role="status">{message}</p>
          <div class="buttons">
            <button type="button" class="primary" disabled={text === ""} onClick={() => void copyText(text, "The text is")}>
              Copy
            </button>
            <button type="button" onClick={() => dialog.current?.close()}>
              Close
            </button>
          </div>
        </dialog>
      )}
    </>
  );
}

type AddressOf = (format: string, more?: string) => string;

function ReportLinks({ address }: { address: AddressOf }) {
  return (
    <>
      <a href={address("html")} target="_blank" rel="noopener">
        Report
      </a>
      <FileLink address={address("html", "&save=1")} title="Report as a file" />
      <FileLink address={address("xlsx")} title="Workbook (XLSX)" />
    </>
  );
}

function SqlLink({ address, title }: { address: AddressOf; title: string }) {
  const [dialect, setDialect] = useState("standard");
  return (
    <span class="line">
      <FileLink address={address("sql", `&dialect=${dialect}`)} title={title} />
      <select aria-label="SQL dialect" value={dialect} onChange={(event) => setDialect(event.currentTarget.value)}>
        {dialects.map((one) => (
          <option key={one}>{one}</option>
        ))}
      </select>
    </span>
  );
}

export function TakeAway({ run }: { run: Run }) {
  const [predictors, setPredictors] = useState<string | null>(null);
  const [card, setCard] = useState(false);
  const [coded, setCoded] = useState("csv");
  const [spreadsheet, setSpreadsheet] = useState(false);
  const accepted = Object.values(run.decisions).flatMap((ones) => Object.values(ones).filter((one) => one.accepted)).length;
  const which = predictors ?? (accepted > 0 ? "accepted" : "best");
  const address: AddressOf = (format, more = "") => `${base()}/runs/${run.run}/export?format=${format}${more}`;
  const ofBins: AddressOf = (format, more = "") => address(format, `&predictors=${which}${more}`);
  const reader = spreadsheet ? "&reader=spreadsheet" : "";
  const binary = run.options["binary-response"] !== undefined;
  return (
    <>
      <details class="menu">
        <summary>Take away</summary>
        <div>
          <ReportLinks address={address} />
          <FileLink address={address("csv", reader)} title="Table (CSV)" />
          {run.analysis === "screen" && <FileLink address={address("tables", reader)} title="All tables (CSV in ZIP)" />}
          <label class="check" title="Texts that begin with =, +, - or @ get an apostrophe, so that no program takes them for formulas">
            <input type="checkbox" checked={spreadsheet} onChange={(event) => setSpreadsheet(event.currentTarget.checked)} />
            CSV for a spreadsheet
          </label>
          <FileLink address={address("json")} title="JSON" />
          {run.analysis === "feature-selection" && <FileLink address={address("bundles")} title="Data with the best as bundles (Parquet)" />}
          {run.options["classic"] === true && <FileLink address={address("script")} title="Script of the dialogs" />}
          {run.analysis === "screen" && (
            <fieldset>
              <legend>For new data</legend>
              <label class="line">
                Predictors
                <select value={which} onChange={(event) => setPredictors(event.currentTarget.value)}>
                  <option value="accepted" disabled={accepted === 0}>
                    accepted ({accepted})
                  </option>
                  <option value="best">better than chance</option>
                  <option value="all">all</option>
                </select>
              </label>
              <FileLink address={ofBins("bins")} title="Bins (JSON)" />
              <SqlLink address={ofBins} title="Bins as SQL" />
              <FileLink address={ofBins("python")} title="Bins as Python" />
              <FileLink address={ofBins("recode")} title="Recode files (ZIP)" />
              <FileLink address={ofBins("rules")} title="Rules" />
              <span class="line">
                <FileLink address={ofBins(`coded-${coded}`, reader)} title="Data with coded variables" />
                <select aria-label="Format of the data" value={coded} onChange={(event) => setCoded(event.currentTarget.value)}>
                  <option value="csv">CSV</option>
                  <option value="parquet">Parquet</option>
                </select>
              </span>
              {binary && (
                <button type="button" onClick={() => setCard(true)}>
                  Scorecard …
                </button>
              )}
            </fieldset>
          )}
          <FileLink address={`${base()}/project`} title="Project" />
          <CopyCommands run={run} />
          <CopyPython run={run} />
          <TextButton address={address("text", "&show=1")} />
        </div>
      </details>
      {card && <Scorecard run={run} predictors={which} close={() => setCard(false)} />}
    </>
  );
}

const cardNumbers: [option: string, label: string, standard: string, hint: string][] = [
  ["base-points", "Score at the odds beside", "600", "The score of a case whose odds are those of the next field"],
  ["odds", "Good cases per bad case", "50", "The odds at which a case has the score of the field before"],
  ["pdo", "Points more at twice the odds", "20", "Points to double the odds"],
  ["holdout", "Share of cases held out", "none", "The scorecard is measured on cases that it was not made from"],
];
const cardFlags: [option: string, label: string][] = [
  ["stepwise", "let predictors in one by one, as long as one helps"],
  ["shrink", "shrink the coefficients of predictors that determine each other"],
  ["round-points", "whole points"],
];

function Scorecard({ run, predictors, close }: { run: Run; predictors: string; close: () => void }) {
  const [texts, setTexts] = useState<Record<string, string>>({});
  const [flags, setFlags] = useState<Record<string, boolean>>({});
  const { message } = useStore();
  const dialog = useRef<HTMLDialogElement>(null);
  useEffect(() => dialog.current?.showModal(), []);
  const comma = usesDecimalComma(navigator.language);
  const options: Record<string, unknown> = {};
  for (const [option] of cardNumbers) {
    const number = parseNumber(texts[option] ?? "", comma);
    if (number !== null) options[option] = number;
  }
  for (const [option] of cardFlags) if (flags[option]) options[option] = true;
  const query = `predictors=${predictors}&options=${encodeURIComponent(JSON.stringify(options))}`;
  const address: AddressOf = (format, more = "") => `${base()}/runs/${run.run}/scorecard?format=${format}&${query}${more}`;
  const names = { accepted: "the accepted predictors", best: "the predictors better than chance", all: "all predictors" };
  return (
    <dialog class="scorecard" ref={dialog} onClose={close} aria-label="Scorecard">
      <form method="dialog">
        <h2>Scorecard</h2>
        <p class="soft">
          A logistic regression gives each bin of {names[predictors as keyof typeof names]} its points; the score of a case is their sum.
        </p>
        <div class="fields">
          {cardNumbers.map(([option, label, standard, hint]) => {
            const text = texts[option] ?? "";
            return (
              <label key={option} title={hint}>
                {label}
                <input
                  inputMode="decimal"
                  placeholder={standard}
                  value={text}
                  class={text !== "" && parseNumber(text, comma) === null ? "wrong" : ""}
                  aria-invalid={text !== "" && parseNumber(text, comma) === null}
                  onInput={(event) => setTexts({ ...texts, [option]: event.currentTarget.value })}
                />
              </label>
            );
          })}
          {cardFlags.map(([option, label]) => (
            <label class="check" key={option}>
              <input type="checkbox" checked={flags[option] === true} onChange={(event) => setFlags({ ...flags, [option]: event.currentTarget.checked })} />
              {label}
            </label>
          ))}
        </div>
        <div class="card-files">
          <ReportLinks address={address} />
          <FileLink address={address("tables")} title="Tables (CSV in ZIP)" />
          <FileLink address={address("card")} title="Scorecard (JSON)" />
          <SqlLink address={address} title="SQL" />
          <FileLink address={address("python")} title="Python" />
          <FileLink address={address("pmml")} title="PMML" />
          <TextButton address={address("text", "&show=1")} />
        </div>
        <p role="alert">{message}</p>
        <div class="buttons">
          <button type="submit">Close</button>
        </div>
      </form>
    </dialog>
  );
}
