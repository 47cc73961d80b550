// The lines of a graph of commits: in which lane each commit stands, and what is drawn in its row. Commits
// come with children before their parents. A lane keeps its number and its colour from the commit that
// opens it down to the one that ends it, so what stands above never changes when older commits are added.

/** How many colours there are for lanes. */
export const LANE_COLORS = 8;

/**
 * What is drawn in the row of a commit; lanes and colours are numbers from 0.
 * @typedef {object} LaneRow
 * @property {number} lane of the commit
 * @property {number} color
 * @property {number} width how many lanes the row has
 * @property {[lane: number, color: number][]} through lines from top to bottom
 * @property {[lane: number, color: number][]} into lines from the top that end in the commit
 * @property {[lane: number, color: number][]} out lines from the commit to the bottom
 */

/** @typedef {{hash: string, color: number}} Lane waits for the commit `hash` */

/**
 * @param {readonly {hash: string, parents: readonly string[]}[]} commits
 * @returns {LaneRow[]}
 */
export function layLanes(commits) {
  /** @type {(Lane | null)[]} */
  const lanes = [];
  const colors = colorCycle(lanes);
  return commits.map((commit) => layRow(lanes, colors, commit));
}

/**
 * Lays one row and leaves in `lanes` what goes on below it.
 * @param {(Lane | null)[]} lanes
 * @param {() => number} nextColor
 * @param {{hash: string, parents: readonly string[]}} commit
 * @returns {LaneRow}
 */
function layRow(lanes, nextColor, { hash, parents }) {
  /** @type {LaneRow} */
  const row = { lane: -1, color: 0, width: 0, through: [], into: [], out: [] };
  lanes.forEach((waiting, lane) => {
    if (waiting?.hash === hash) row.into.push([lane, waiting.color]);
    else if (waiting) row.through.push([lane, waiting.color]);
  });
  row.lane = row.into[0]?.[0] ?? freeLane(lanes);
  row.color = row.into[0]?.[1] ?? nextColor();
  const above = Math.max(lanes.length, row.lane + 1);
  for (const [lane] of row.into) lanes[lane] = null;
  lanes[row.lane] = null;
  // A history that was cut may name a parent twice.
  for (const parent of new Set(parents)) row.out.push(follow(lanes, nextColor, row, parent));
  while (lanes.length && !lanes.at(-1)) lanes.pop();
  row.width = Math.max(above, lanes.length);
  return row;
}

/**
 * The line from a commit to a parent: in its own lane for the first, else in one that already leads there, or
 * in a new one.
 * @param {(Lane | null)[]} lanes
 * @param {() => number} nextColor
 * @param {LaneRow} row
 * @param {string} parent
 * @returns {[lane: number, color: number]}
 */
function follow(lanes, nextColor, row, parent) {
  if (row.out.length === 0) {
    lanes[row.lane] = { hash: parent, color: row.color };
    return [row.lane, row.color];
  }
  const there = lanes.findIndex((lane) => lane?.hash === parent);
  if (there >= 0) return [there, /** @type {Lane} */ (lanes[there]).color];
  const lane = freeLane(lanes);
  const color = nextColor();
  lanes[lane] = { hash: parent, color };
  return [lane, color];
}

/** @param {(Lane | null)[]} lanes */
function freeLane(lanes) {
  const free = lanes.findIndex((lane) => !lane);
  return free < 0 ? lanes.length : free;
}

/**
 * Colours in turn, leaving out those of lanes that are in use while others are free.
 * @param {(Lane | null)[]} lanes
 */
function colorCycle(lanes) {
  let last = -1;
  return () => {
    const used = new Set(lanes.map((lane) => lane?.color));
    for (let step = 1; step <= LANE_COLORS; step++) {
      const color = (last + step) % LANE_COLORS;
      if (!used.has(color)) return (last = color);
    }
    return (last = (last + 1) % LANE_COLORS);
  };
}
