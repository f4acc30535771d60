// Chooses a data file among the folders that were opened.
import { useEffect, useState } from "preact/hooks";
import { get } from "./api";
import { formatCount } from "./logic";
import { useModal } from "./modal";
import { fail, openFile, setState, useStore } from "./store";

interface Listing {
  folder: string | null;
  parent: string | null;
  folders: { name: string; path: string }[];
  files: { name: string; path: string; bytes: number }[];
}

// The folders and files that may be opened.
export function FileList({ choose }: { choose: (path: string) => void }) {
  const [listing, setListing] = useState<Listing | null>(null);
  const go = async (folder: string) => {
    try {
      const found = await get<Listing>(`/api/files?folder=${encodeURIComponent(folder)}`);
      const only = found.folders[0];
      // A single root is opened at once.
      if (found.folder === null && found.folders.length === 1 && only) return void (await go(only.path));
      setListing(found);
    } catch (error) {
      fail(error);
    }
  };
  useEffect(() => void go(""), []);
  return (
    <>
      <p class="soft">{listing?.folder ?? "Folders"}</p>
      <ul class="files">
        {listing?.parent !== null && listing?.parent !== undefined && (
          <li>
            <button type="button" onClick={() => void go(listing.parent ?? "")}>
              ‹ up
            </button>
          </li>
        )}
        {listing?.folders.map((one) => (
          <li key={one.path}>
            <button type="button" onClick={() => void go(one.path)}>
              <b>{one.name}</b> ›
            </button>
          </li>
        ))}
        {listing?.files.map((one) => (
          <li key={one.path}>
            <button type="button" onClick={() => choose(one.path)}>
              {one.name} <span class="soft">{formatCount(Math.ceil(one.bytes / 1024))} kB</span>
            </button>
          </li>
        ))}
      </ul>
      {listing && listing.files.length === 0 && <p class="soft">This folder has no data files.</p>}
    </>
  );
}

// Files that were opened before, the newest first.
export function RecentFiles() {
  const { recent } = useStore();
  if (recent.length === 0) return null;
  return (
    <>
      <p class="soft">Opened before</p>
      <ul class="files recent">
        {recent.map((path) => (
          <li key={path}>
            <button type="button" title={path} onClick={() => void openFile(path)}>
              {path.slice(path.lastIndexOf("/") + 1)} <span class="soft">{path.slice(0, path.lastIndexOf("/"))}</span>
            </button>
          </li>
        ))}
      </ul>
    </>
  );
}

export function Picker() {
  const { picker, snapshot } = useStore();
  const dialog = useModal(picker);
  return (
    <dialog ref={dialog} aria-label="Open data" onClose={() => setState({ picker: false })}>
      <h2>Open data</h2>
      {picker && <RecentFiles />}
      {picker && <FileList choose={(path) => void openFile(path)} />}
      {snapshot && (
        <button type="button" onClick={() => setState({ picker: false })}>
          Cancel
        </button>
      )}
    </dialog>
  );
}
