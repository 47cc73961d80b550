// Draws what belongs to one row of the history: lines between commits, and the commit as a dot.

import { html } from 'htm/preact';

/** @typedef {import('../../stores/graphlanes.js').LaneRow} LaneRow */

/** Lanes further out share the last place: the words must keep their room. */
export const MOST_LANES = 16;
/** Units of the drawing; a lane is 0.875rem and a row 1.5rem (graph.css). */
const kLane = 14;
const kRow = 24;

/** @param {number} lanes */
export const lanesWidth = (lanes) => `${(Math.min(lanes, MOST_LANES) * kLane) / 16}rem`;

/** @param {number} lane */
const middle = (lane) => Math.min(lane, MOST_LANES - 1) * kLane + kLane / 2;

/**
 * @param {object} props
 * @param {LaneRow} props.row
 * @param {number} props.lanes how many there are in the widest row
 * @param {'commit' | 'merge' | 'head' | 'stash'} props.look
 */
export function Lanes({ row, lanes, look }) {
  const width = Math.min(lanes, MOST_LANES) * kLane;
  const x = middle(row.lane);
  const half = kRow / 2;
  return html`<svg class="graph-lanes" viewBox=${`0 0 ${width} ${kRow}`} aria-hidden="true" focusable="false">
    ${row.through.map(([lane, color]) => html`<path class=${`lane-${color}`} d=${`M${middle(lane)} 0V${kRow}`} />`)}
    ${row.into.map(([lane, color]) => html`<path class=${`lane-${color}`} d=${curve(middle(lane), 0, x, half)} />`)}
    ${row.out.map(([lane, color]) => html`<path class=${`lane-${color}`} d=${curve(x, half, middle(lane), kRow)} />`)}
    <circle class=${`graph-dot ${look} lane-${row.color}`} cx=${x} cy=${half} r=${look === 'merge' ? 3 : 4} />
  </svg>`;
}

/** @param {number} fromX @param {number} fromY @param {number} toX @param {number} toY */
function curve(fromX, fromY, toX, toY) {
  if (fromX === toX) return `M${fromX} ${fromY}V${toY}`;
  const turn = (fromY + toY) / 2;
  return `M${fromX} ${fromY}C${fromX} ${turn + 3} ${toX} ${turn - 3} ${toX} ${toY}`;
}
