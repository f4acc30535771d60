// The bins of a predictor as a chart that is worked on: bars of equal width for the cases, a line
// for the rate or the mean with its 95 % interval, broken lines for its targets, and the bounds
// between bins of ordered values, which are dragged or moved by arrow keys.
import { useRef, useState } from "preact/hooks";
import { cutPlaces, formatCount, formatNumber, formatPercent, formatRate, formatValue, placeForDrag, wilsonInterval } from "./logic";
import type { BinsPanel } from "./types";

const height = 250;
const top = 18;
const stripHeight = 26;
const left = 10;
const right = 50;
const bottom = 54;
const normalQuantile = 1.959963984540054;

interface Point {
  value: number | null;
  lower: number;
  upper: number;
}

function pointsOf(panel: BinsPanel): Point[] {
  return panel.figures.map((bin) => {
    if (panel.kind === "binary") {
      const [lower, upper] = wilsonInterval(bin.bad ?? 0, bin.cases);
      return { value: bin.badRate ?? null, lower, upper };
    }
    const mean = bin.mean ?? null;
    const half = bin.standardDeviation === undefined ? 0 : (normalQuantile * bin.standardDeviation) / Math.sqrt(bin.cases);
    return { value: mean, lower: (mean ?? 0) - half, upper: (mean ?? 0) + half };
  });
}

function overall(panel: BinsPanel): number | null {
  const cases = panel.figures.reduce((sum, bin) => sum + bin.cases, 0);
  if (!(cases > 0)) return null;
  if (panel.kind === "binary") return panel.figures.reduce((sum, bin) => sum + (bin.bad ?? 0), 0) / cases;
  return panel.figures.reduce((sum, bin) => sum + bin.cases * (bin.mean ?? 0), 0) / cases;
}

// A scale from round numbers around the values.
function scaleOf(values: number[], fromZero: boolean): { low: number; high: number; ticks: number[] } {
  let low = fromZero ? 0 : Math.min(...values);
  let high = Math.max(...values);
  if (!(high > low)) [low, high] = [low - 0.5, low + 0.5];
  const raw = (high - low) / 4;
  const power = 10 ** Math.floor(Math.log10(raw));
  const step = [1, 2, 2.5, 5, 10].map((one) => one * power).find((one) => one >= raw) ?? raw;
  low = Math.floor(low / step) * step;
  high = Math.ceil(high / step) * step;
  // Counted, since a step may be too small to change a large number.
  const count = Math.min(Math.round((high - low) / step), 10);
  return { low, high, ticks: Array.from({ length: count + 1 }, (_, index) => low + index * step) };
}

function shortened(text: string, characters: number): string {
  return text.length > characters ? `${text.slice(0, Math.max(1, characters - 1))}…` : text;
}

// The columns of texts at these heights, each below the next: beside the one before when they are
// too close for one above the other.
function columnsOf(heights: number[]): number[] {
  const columns: number[] = [];
  heights.forEach((at, index) => {
    const before = heights[index - 1];
    columns.push(before !== undefined && Math.abs(before - at) < 13 ? (columns[index - 1] ?? 0) + 1 : 0);
  });
  return columns;
}

export function BinsChart({
  panel,
  targets,
  width,
  chosen,
  locked,
  choose,
  preview,
  move,
}: {
  panel: BinsPanel; // as previewed while a bound is dragged
  targets: number[]; // of the rate or mean, ascending
  width: number;
  chosen: Set<number>;
  locked: boolean;
  choose: (bin: number) => void;
  preview: (cutPoint: number, to: number) => void;
  move: (cutPoint: number, to: number) => void;
}) {
  // The bound that is being dragged, with what was there when the drag began.
  const [drag, setDrag] = useState<{ index: number; cut: number; places: number[]; start: number; offset: number; to: number } | null>(null);
  const svg = useRef<SVGSVGElement>(null);
  const count = panel.figures.length;
  const step = (width - left - right) / Math.max(count, 1);
  const plot = height - top - bottom - stripHeight;
  const cuts = panel.predictor.cutPoints ?? [];
  const most = 1.15 * Math.max(0.01, ...panel.figures.map((bin) => bin.share ?? 0)); // room for the text above
  const points = panel.kind === "categorical" ? [] : pointsOf(panel);
  const known = points.filter((point) => point.value !== null);
  const scale =
    known.length > 0
      ? scaleOf([...known.flatMap((point) => [point.lower, point.upper]), ...targets], panel.kind === "binary")
      : null;
  const lines = scale ? targets : [];
  const x = (bin: number) => left + (bin + 0.5) * step;
  const y = (value: number) => (scale ? top + plot * (1 - (value - scale.low) / (scale.high - scale.low)) : 0);
  const targetText = panel.kind === "binary" ? formatRate : formatValue;
  const textHeights = lines.map((target) => (y(target) < top + 16 ? y(target) + 13 : y(target) - 4));
  const columns = columnsOf(textHeights);
  const average = overall(panel);
  const barWidth = Math.min(step * 0.72, 120);
  const preBins = panel.predictor.preBins ?? [];
  const casesIn = (counts: number[]) => (panel.kind === "continuous" ? (counts[0] ?? 0) : counts.reduce((a, b) => a + b, 0));
  const densest = Math.max(1, ...preBins.map((run) => casesIn(run.counts)));
  const stripTop = height - bottom - stripHeight + 4;

  const startDrag = (event: PointerEvent, index: number) => {
    const cut = cuts[index];
    if (locked || cut === undefined) return;
    (event.currentTarget as Element).setPointerCapture(event.pointerId);
    setDrag({ index, cut, places: cutPlaces(panel, index), start: event.clientX, offset: 0, to: cut });
  };
  const onMove = (event: PointerEvent) => {
    if (!drag) return;
    const offset = Math.min(Math.max(event.clientX - drag.start, -step * 0.95), step * 0.95);
    const to = placeForDrag(drag.places, drag.cut, offset / step);
    if (to !== drag.to) preview(drag.cut, to);
    setDrag({ ...drag, offset, to });
  };
  const endDrag = () => {
    if (drag) move(drag.cut, drag.to);
    setDrag(null);
  };
  const onKey = (event: KeyboardEvent, index: number) => {
    const direction = event.key === "ArrowRight" ? 1 : event.key === "ArrowLeft" ? -1 : 0;
    const cut = cuts[index];
    if (direction === 0 || cut === undefined || locked) return;
    event.preventDefault();
    event.stopPropagation();
    const places = cutPlaces(panel, index);
    const to = places[places.indexOf(cut) + direction];
    if (to !== undefined) move(cut, to);
  };

  return (
    <svg ref={svg} class="bins-chart" width={width} height={height} role="group" aria-label={`Bins of ${panel.predictor.name}`}>
      {lines.length > 0 && <desc>{`Target lines at ${lines.map(targetText).join(", ")}`}</desc>}
      {scale?.ticks.map((tick) => (
        <g key={tick} class="tick">
          <line x1={left} x2={width - right} y1={y(tick)} y2={y(tick)} />
          <text x={width - right + 6} y={y(tick) + 4}>
            {panel.kind === "binary" ? formatPercent(tick, scale.high < 0.1 ? 1 : 0) : formatValue(tick)}
          </text>
        </g>
      ))}
      <text class="axis" x={left} y={top - 6}>
        share of cases
      </text>
      <text class="axis" x={width} y={top - 6} text-anchor="end">
        {panel.kind === "binary" ? "bad rate" : panel.kind === "continuous" ? "mean" : ""}
      </text>
      {panel.figures.map((bin, index) => {
        const barHeight = ((bin.share ?? 0) / most) * plot;
        const label = panel.predictor.bins[index]?.label ?? "";
        return (
          <g
            key={index}
            class={`bar ${chosen.has(index) ? "chosen" : ""}`}
            role="button"
            tabindex={0}
            aria-pressed={chosen.has(index)}
            aria-label={`Bin ${index + 1}: ${label}, ${formatCount(bin.cases)} cases`}
            onClick={() => choose(index)}
            onKeyDown={(event) => {
              if (event.key !== "Enter" && event.key !== " ") return;
              event.preventDefault();
              choose(index);
            }}
          >
            <title>{`${label}\n${formatCount(bin.cases)} cases`}</title>
            <rect class="back" x={x(index) - step / 2 + 1} y={top} width={step - 2} height={plot + stripHeight + bottom - 8} />
            {panel.kind === "categorical" && bin.shares ? (
              bin.shares.map((share, code) => {
                const before = bin.shares!.slice(0, code).reduce<number>((sum, one) => sum + (one ?? 0), 0);
                return (
                  <rect
                    key={code}
                    class={`class${code % 8}`}
                    x={x(index) - barWidth / 2}
                    y={top + plot - barHeight + barHeight * before}
                    width={barWidth}
                    height={Math.max(0, barHeight * (share ?? 0))}
                  />
                );
              })
            ) : (
              <rect class="cases" x={x(index) - barWidth / 2} y={top + plot - barHeight} width={barWidth} height={barHeight} />
            )}
            <text class="count" x={x(index)} y={top + plot - barHeight - 4} text-anchor="middle">
              {step > 44 ? formatPercent(bin.share) : ""}
            </text>
            <text class="label" x={x(index)} y={height - bottom + 18} text-anchor="middle">
              {shortened(label, Math.floor(step / 6.6))}
            </text>
            {bin.woe !== undefined && (
              <text class="woe" x={x(index)} y={height - bottom + 36} text-anchor="middle">
                {step > 52 ? `WOE ${formatNumber(bin.woe, 1)}` : formatNumber(bin.woe, 0)}
              </text>
            )}
          </g>
        );
      })}
      <line class="ground" x1={left} x2={width - right} y1={top + plot} y2={top + plot} />
      {preBins.map((run, index) => {
        const bin = cuts.filter((cut) => run.first > cut).length;
        const inBin = preBins.filter((one) => cuts.filter((cut) => one.first > cut).length === bin);
        const barStep = (step - 8) / inBin.length;
        const tall = Math.max(1, (casesIn(run.counts) / densest) * (stripHeight - 8));
        return (
          <rect
            key={index}
            class="strip"
            x={x(bin) - step / 2 + 4 + inBin.indexOf(run) * barStep}
            y={stripTop + stripHeight - 8 - tall}
            width={Math.max(0.8, barStep - 0.6)}
            height={tall}
          />
        );
      })}
      {average !== null && scale && panel.kind !== "categorical" && (
        <line class="average" x1={left} x2={width - right} y1={y(average)} y2={y(average)}>
          <title>all cases</title>
        </line>
      )}
      {lines.map((target, index) => (
        <g key={target} class="target">
          <line x1={left} x2={width - right} y1={y(target)} y2={y(target)} />
          <text x={left + 4 + 64 * (columns[index] ?? 0)} y={textHeights[index]}>
            {targetText(target)}
          </text>
        </g>
      ))}
      {scale && (
        <g class="rate">
          <path
            d={points
              .map((point, index) => (point.value === null ? "" : `${index > 0 && points[index - 1]?.value !== null ? "L" : "M"}${x(index)} ${y(point.value)}`))
              .slice(0, Math.max(cuts.length + 1, panel.predictor.kind === "categorical" ? count : 0))
              .join("")}
          />
          {points.map(
            (point, index) =>
              point.value !== null && (
                <g key={index}>
                  <path class="interval" d={`M${x(index)} ${y(point.lower)}V${y(point.upper)}M${x(index) - 4} ${y(point.lower)}h8M${x(index) - 4} ${y(point.upper)}h8`} />
                  <circle cx={x(index)} cy={y(point.value)} r={4} />
                </g>
              ),
          )}
        </g>
      )}
      {panel.predictor.kind === "continuous" &&
        cuts.map((cut, index) => {
          const dragged = drag?.index === index;
          const at = left + (index + 1) * step + (dragged ? drag.offset : 0);
          return (
            <g
              key={index}
              class={`bound ${dragged ? "dragged" : ""} ${locked ? "locked" : ""}`}
              role="slider"
              tabindex={0}
              aria-label={`Bound between bins ${index + 1} and ${index + 2}`}
              aria-valuenow={cut}
              aria-valuetext={formatValue(cut)}
              aria-disabled={locked}
              onPointerDown={(event) => startDrag(event, index)}
              onPointerMove={onMove}
              onPointerUp={endDrag}
              onPointerCancel={() => setDrag(null)}
              onKeyDown={(event) => onKey(event, index)}
            >
              <rect class="grip" x={at - 9} y={top} width={18} height={plot + stripHeight} />
              <line x1={at} x2={at} y1={top} y2={top + plot + stripHeight} />
              <rect class="handle" x={at - 4} y={top + plot / 2 - 11} width={8} height={22} rx={4} />
              <text x={at} y={top - 5} text-anchor="middle">
                {formatValue(dragged ? drag.to : cut)}
              </text>
            </g>
          );
        })}
    </svg>
  );
}
