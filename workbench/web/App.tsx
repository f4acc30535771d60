// The frame of the page: what is open, the four views, light and dark.
import { useEffect, useState } from "preact/hooks";
import { BinsView } from "./BinsView";
import { DialogsView } from "./Dialogs";
import { Grid } from "./Grid";
import { History } from "./History";
import { formatCount } from "./logic";
import { OptionsPanel, Selection } from "./OptionsPanel";
import { Picker } from "./Picker";
import { QuickOpen } from "./QuickOpen";
import { Ranking } from "./Ranking";
import { openDropped, openSession, setState, show, signOut, useStore } from "./store";
import type { View } from "./types";
import { VariableList } from "./VariableList";

const views: [View, string][] = [
  ["data", "Data"],
  ["rank", "Ranking"],
  ["bins", "Bins"],
  ["history", "History"],
  ["dialogs", "Dialogs"],
];

function useTheme(): [string, () => void] {
  const [theme, setTheme] = useState(localStorage.getItem("velmora-theme") ?? "");
  useEffect(() => {
    document.documentElement.dataset["theme"] = theme;
    localStorage.setItem("velmora-theme", theme);
  }, [theme]);
  const isDark = theme === "dark" || (theme === "" && matchMedia("(prefers-color-scheme: dark)").matches);
  return [isDark ? "dark" : "light", () => setTheme(isDark ? "light" : "dark")];
}

export function App() {
  const { snapshot, view, message, connected, stopped, loading, sessions, session, hasPassword } = useStore();
  const [theme, switchTheme] = useTheme();
  useEffect(() => {
    const onKey = (event: KeyboardEvent) => {
      const number = ["1", "2", "3", "4", "5"].indexOf(event.key);
      if (event.altKey && number >= 0) {
        event.preventDefault();
        show(views[number]?.[0] ?? "data");
      } else if ((event.ctrlKey || event.metaKey) && event.key === "o") {
        event.preventDefault();
        setState({ picker: true });
      } else if ((event.ctrlKey || event.metaKey) && (event.key === "p" || event.key === "k")) {
        event.preventDefault();
        if (!document.querySelector("dialog[open]")) setState({ quickOpen: true });
      } else if (event.key === "Escape") {
        closeMenus(null);
      }
    };
    // A menu closes with a click elsewhere, or with Esc.
    const closeMenus = (except: EventTarget | null) => {
      for (const menu of document.querySelectorAll<HTMLDetailsElement>("details.menu[open]")) {
        if (!(except instanceof Node) || !menu.contains(except)) menu.open = false;
      }
    };
    const onPress = (event: PointerEvent) => !document.querySelector("dialog[open]") && closeMenus(event.target);
    // A file may be dropped anywhere; what else is dropped concerns the boxes alone.
    const hasFile = (event: DragEvent) => event.dataTransfer?.types.includes("Files") === true;
    const onDragOver = (event: DragEvent) => hasFile(event) && event.preventDefault();
    const onDrop = (event: DragEvent) => {
      const file = event.dataTransfer?.files[0];
      if (!hasFile(event) || !file) return;
      event.preventDefault();
      void openDropped(file);
    };
    addEventListener("keydown", onKey);
    addEventListener("pointerdown", onPress);
    addEventListener("dragover", onDragOver);
    addEventListener("drop", onDrop);
    return () => {
      removeEventListener("keydown", onKey);
      removeEventListener("pointerdown", onPress);
      removeEventListener("dragover", onDragOver);
      removeEventListener("drop", onDrop);
    };
  }, []);
  const loaded = snapshot?.status === "loaded";
  const firstRows = snapshot?.status === "loading" && snapshot.firstRows !== null && view === "data";
  return (
    <>
      <header class="top">
        <h1>Velmora</h1>
        {sessions.length > 1 && (
          <select aria-label="Open data files" value={String(session)} onChange={(event) => void openSession(Number(event.currentTarget.value))}>
            {sessions.map((one) => (
              <option key={one.session} value={String(one.session)}>
                {one.file}
              </option>
            ))}
          </select>
        )}
        {sessions.length <= 1 && <strong>{snapshot?.file}</strong>}
        {loaded && (
          <span class="soft wide">
            {formatCount(snapshot.data.cases)} cases, {formatCount(snapshot.data.names?.length)} variables
          </span>
        )}
        {snapshot?.dataChanged && <span class="mark" title="The data file has changed since the project was saved">changed</span>}
        <nav aria-label="Views">
          {views.map(([name, title], index) => (
            <button key={name} type="button" aria-current={view === name ? "page" : undefined} title={`Alt+${index + 1}`} onClick={() => show(name)}>
              {title}
            </button>
          ))}
        </nav>
        <button type="button" onClick={() => setState({ quickOpen: true })} title="Ctrl+P: a variable, a view or an action by a few letters">
          Go to
        </button>
        <button type="button" onClick={() => setState({ picker: true })} title="Ctrl+O">
          Open
        </button>
        {hasPassword && (
          <button type="button" onClick={() => void signOut()}>
            Sign out
          </button>
        )}
        <button type="button" onClick={switchTheme} aria-label={theme === "dark" ? "Light colours" : "Dark colours"}>
          {theme === "dark" ? "☀" : "☾"}
        </button>
      </header>
      <div class="message" role="alert">
        {stopped
          ? "The workbench has ended. What you decided is kept in the project beside the data."
          : !connected && snapshot
            ? "The connection to the workbench is lost; it is tried again."
            : message}
        {message && connected && !stopped && (
          <button type="button" aria-label="Close the message" onClick={() => setState({ message: "" })}>
            ×
          </button>
        )}
      </div>
      {snapshot?.status === "loading" && (
        <div class="loading" role="status">
          <progress aria-label="Reading the file" value={loading} max={1} /> Reading {snapshot.file}
        </div>
      )}
      <main class={view}>
        {!loaded && firstRows && <section class="variables" aria-label="Variables" />}
        {loaded && (view === "data" || view === "rank") && <VariableList />}
        {(firstRows || (loaded && view === "data")) && (
          <div class="data-view">
            <div class="above">{loaded ? <Selection /> : <p class="soft">The first cases; the others are being read.</p>}</div>
            <Grid />
          </div>
        )}
        {loaded && (
          <>
            {view === "rank" && (
              <>
                <OptionsPanel analysis="feature-selection" />
                <Ranking />
              </>
            )}
            {view === "bins" && (
              <>
                <OptionsPanel analysis="screen" />
                <BinsView />
              </>
            )}
            {view === "history" && <History />}
            {view === "dialogs" && <DialogsView />}
          </>
        )}
      </main>
      <Picker />
      <QuickOpen views={views} />
    </>
  );
}
