// The cells of the table, drawn for the rows and columns in view and fetched by block.
import { useEffect, useRef, useState } from "preact/hooks";
import { get } from "./api";
import { formatCount } from "./logic";
import { base, setState, useStore } from "./store";

const rowHeight = 26;
const columnWidth = 128;
const numberWidth = 76;
const blockRows = 200;
const blockColumns = 20;
const mostBlocks = 120;
const mostFetches = 4; // at once
const mostWaiting = 12; // more than any screen shows
const tallest = 8_000_000; // pixels; browsers draw no taller element
const wheelRows = 3;

type Block = (string | null)[][];

class Blocks {
  private blocks = new Map<string, Block | null>();
  private waiting: string[] = []; // the newest last
  private fetches = 0;
  private before: Blocks | null;
  // before: of the same table; its cells are shown until those of this object come.
  constructor(
    private readonly path: string,
    private readonly changed: () => void,
    before: Blocks | null,
  ) {
    this.before = before?.path === path ? before : null;
    if (this.before) this.before.before = null;
  }

  // Undefined while the block is being fetched.
  cell(row: number, column: number): string | null | undefined {
    const key = `${Math.floor(row / blockRows)}/${Math.floor(column / blockColumns)}`;
    const block = this.blocks.get(key);
    if (block === undefined) this.ask(key);
    return (block ?? this.before?.blocks.get(key))?.[row % blockRows]?.[column % blockColumns];
  }

  // What came into view last comes first; what a fast scroll has left behind is not fetched.
  private ask(key: string): void {
    this.blocks.set(key, null);
    this.waiting.push(key);
    const left = this.waiting.length > mostWaiting ? this.waiting.shift() : undefined;
    if (left !== undefined) this.blocks.delete(left);
    this.fetchNext();
  }

  private fetchNext(): void {
    const key = this.fetches < mostFetches ? this.waiting.pop() : undefined;
    if (key !== undefined) void this.fetch(key);
  }

  private async fetch(key: string): Promise<void> {
    const [row, column] = key.split("/").map(Number) as [number, number];
    ++this.fetches;
    try {
      const query = `row=${row * blockRows}&rows=${blockRows}&column=${column * blockColumns}&columns=${blockColumns}`;
      const answer = await get<{ cells: Block }>(`${this.path}/grid?${query}`);
      const oldest = this.blocks.keys().next().value;
      if (this.blocks.size > mostBlocks && oldest !== undefined) this.blocks.delete(oldest);
      this.blocks.set(key, answer.cells);
    } catch {
      this.blocks.delete(key); // asked for again when it is next in view
    }
    --this.fetches;
    this.fetchNext();
    this.changed();
  }
}

export function Grid() {
  const { snapshot, variable } = useStore();
  const [, redraw] = useState(0);
  const [place, setPlace] = useState({ top: 0, left: 0, width: 800, height: 600 });
  const view = useRef<HTMLDivElement>(null);
  const blocks = useRef<Blocks | null>(null);
  const scheduled = useRef(false);
  const path = base();
  useEffect(() => {
    blocks.current = new Blocks(path, () => redraw((count) => count + 1), blocks.current);
    redraw((count) => count + 1);
  }, [path, snapshot?.status]);
  const measure = () => {
    scheduled.current = false;
    const element = view.current;
    if (element)
      setPlace({ top: element.scrollTop, left: element.scrollLeft, width: element.clientWidth, height: element.clientHeight });
  };
  const schedule = () => {
    if (scheduled.current) return;
    scheduled.current = true;
    requestAnimationFrame(measure);
  };
  useEffect(() => {
    const element = view.current;
    if (!element) return;
    const observer = new ResizeObserver(schedule);
    observer.observe(element);
    return () => observer.disconnect();
  }, []);
  const names = snapshot?.data.names ?? snapshot?.firstRows?.names ?? [];
  useEffect(() => {
    const at = names.indexOf(variable);
    const element = view.current;
    if (at < 0 || !element) return;
    const left = at * columnWidth;
    if (left < element.scrollLeft || left + columnWidth > element.scrollLeft + element.clientWidth - numberWidth)
      element.scrollLeft = Math.max(0, left - columnWidth);
  }, [variable]);
  if (!snapshot) return null;

  const cases = snapshot.data.cases ?? snapshot.firstRows?.rows ?? 0;
  const fullHeight = cases * rowHeight;
  const shownHeight = Math.min(fullHeight, tallest);
  const bodyHeight = place.height - rowHeight;
  // In a very tall table the scroll bar moves over shares of the table, and the wheel over rows.
  const scale = fullHeight > shownHeight ? (fullHeight - bodyHeight) / (shownHeight - bodyHeight) : 1;
  const firstRow = Math.max(0, Math.floor((place.top * scale) / rowHeight));
  const lastRow = Math.min(cases, firstRow + Math.ceil(bodyHeight / rowHeight) + 1);
  const firstColumn = Math.max(0, Math.floor(place.left / columnWidth));
  const lastColumn = Math.min(names.length, Math.ceil((place.left + place.width) / columnWidth) + 1);
  const shift = scale === 1 ? firstRow * rowHeight : place.top;
  const rows: number[] = [];
  for (let row = firstRow; row < lastRow; ++row) rows.push(row);

  const onWheel = (event: WheelEvent) => {
    const element = view.current;
    if (scale === 1 || !element || event.deltaY === 0) return;
    event.preventDefault();
    element.scrollTop += (Math.sign(event.deltaY) * wheelRows * rowHeight) / scale;
  };
  const onKey = (event: KeyboardEvent) => {
    const element = view.current;
    if (!element) return;
    const page = (bodyHeight - rowHeight) / scale;
    const moves: Record<string, () => void> = {
      ArrowDown: () => (element.scrollTop += rowHeight / scale),
      ArrowUp: () => (element.scrollTop -= rowHeight / scale),
      ArrowRight: () => (element.scrollLeft += columnWidth),
      ArrowLeft: () => (element.scrollLeft -= columnWidth),
      PageDown: () => (element.scrollTop += page),
      PageUp: () => (element.scrollTop -= page),
      Home: () => (element.scrollTop = 0),
      End: () => (element.scrollTop = shownHeight),
    };
    const move = moves[event.key];
    if (!move) return;
    event.preventDefault();
    move();
  };

  return (
    <div
      class="grid"
      ref={view}
      role="grid"
      tabIndex={0}
      aria-label="Cells of the data"
      aria-rowcount={cases + 1}
      aria-colcount={names.length + 1}
      onScroll={schedule}
      onWheel={onWheel}
      onKeyDown={onKey}
    >
      <div
        style={{
          height: `${shownHeight + rowHeight}px`,
          width: `${names.length * columnWidth + numberWidth}px`,
          position: "relative",
        }}
        role="presentation"
      >
        <div class="head" role="row" aria-rowindex={1} style={{ height: `${rowHeight}px` }}>
          <span class="corner" role="columnheader" style={{ width: `${numberWidth}px` }}>
            case
          </span>
          {names.slice(firstColumn, lastColumn).map((name, index) => (
            <span
              key={name}
              role="columnheader"
              class={name === variable ? "chosen" : ""}
              style={{ left: `${numberWidth + (firstColumn + index) * columnWidth}px`, width: `${columnWidth}px` }}
              title={name}
              onClick={() => setState({ variable: name })}
            >
              {name}
            </span>
          ))}
        </div>
        <div style={{ transform: `translateY(${shift}px)` }} role="rowgroup">
          {rows.map((row) => (
            <div key={row} class="row" role="row" aria-rowindex={row + 2} style={{ height: `${rowHeight}px` }}>
              <span class="corner" role="rowheader" style={{ width: `${numberWidth}px` }}>
                {formatCount(row + 1)}
              </span>
              {names.slice(firstColumn, lastColumn).map((name, index) => {
                const cell = blocks.current?.cell(row, firstColumn + index);
                const number = typeof cell === "string" && cell !== "" && !Number.isNaN(Number(cell));
                return (
                  <span
                    key={name}
                    role="gridcell"
                    class={`${number ? "number" : ""} ${cell === null ? "absent" : ""} ${name === variable ? "chosen" : ""}`}
                    style={{ left: `${numberWidth + (firstColumn + index) * columnWidth}px`, width: `${columnWidth}px` }}
                  >
                    {cell === undefined ? "" : (cell ?? "·")}
                  </span>
                );
              })}
            </div>
          ))}
        </div>
      </div>
    </div>
  );
}
