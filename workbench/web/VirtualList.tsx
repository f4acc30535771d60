// A list of names that draws only the rows in view: thousands of them draw as fast as twenty. Arrow
// keys choose; a row chosen elsewhere scrolls into view.
import type { ComponentChildren, JSX } from "preact";
import { useEffect, useId, useLayoutEffect, useRef, useState } from "preact/hooks";

const rowsBeyond = 3; // drawn above and below, so that scrolling shows no gap

export function VirtualList({
  names,
  chosen,
  rowHeight,
  label,
  choose,
  onKey,
  row,
  children,
}: {
  names: string[];
  chosen: string;
  rowHeight: number; // pixels
  label: string;
  choose: (name: string) => void;
  onKey?: (event: KeyboardEvent) => void; // other keys
  row?: (name: string) => JSX.HTMLAttributes<HTMLDivElement>;
  children: (name: string) => ComponentChildren; // of a row
}) {
  const [top, setTop] = useState(0);
  const [height, setHeight] = useState(600);
  const list = useRef<HTMLDivElement>(null);
  const id = useId();
  useEffect(() => {
    const element = list.current;
    if (!element) return;
    const observer = new ResizeObserver(() => setHeight(element.clientHeight));
    observer.observe(element);
    return () => observer.disconnect();
  }, []);
  const at = names.indexOf(chosen);
  useLayoutEffect(() => {
    const element = list.current;
    if (!element || at < 0) return;
    if (at * rowHeight < element.scrollTop) element.scrollTop = at * rowHeight;
    const lowest = (at + 1) * rowHeight - element.clientHeight;
    if (lowest > element.scrollTop) element.scrollTop = lowest;
  }, [at, rowHeight]);
  const first = Math.max(0, Math.floor(top / rowHeight) - rowsBeyond);
  const last = Math.min(names.length, Math.ceil((top + height) / rowHeight) + rowsBeyond);
  const onKeyDown = (event: KeyboardEvent) => {
    const page = Math.max(1, Math.floor(height / rowHeight) - 1);
    const steps: Record<string, number> = { ArrowDown: 1, ArrowUp: -1, PageDown: page, PageUp: -page, Home: -names.length, End: names.length };
    const step = steps[event.key];
    if (step === undefined || event.altKey || event.ctrlKey || event.metaKey) return onKey?.(event);
    event.preventDefault();
    const next = names[Math.min(Math.max(at + step, 0), names.length - 1)];
    if (next !== undefined) choose(next);
  };
  return (
    <div
      class="list"
      ref={list}
      role="listbox"
      tabIndex={0}
      aria-label={label}
      aria-activedescendant={at >= first && at < last ? `${id}-${at}` : undefined}
      onScroll={(event) => setTop(event.currentTarget.scrollTop)}
      onKeyDown={onKeyDown}
    >
      <div style={{ height: `${names.length * rowHeight}px`, position: "relative" }} role="presentation">
        {names.slice(first, last).map((name, index) => {
          const more = row?.(name) ?? {};
          return (
            <div
              {...more}
              key={name}
              id={`${id}-${first + index}`}
              class={`row ${name === chosen ? "chosen" : ""} ${more.class ?? ""}`}
              style={{ top: `${(first + index) * rowHeight}px`, height: `${rowHeight}px` }}
              role="option"
              aria-selected={name === chosen}
              aria-posinset={first + index + 1}
              aria-setsize={names.length}
              onClick={() => choose(name)}
            >
              {children(name)}
            </div>
          );
        })}
      </div>
    </div>
  );
}
