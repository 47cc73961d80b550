import assert from 'node:assert/strict';
import { test } from 'node:test';
import { LANE_COLORS, layLanes } from '../../../web/stores/graphlanes.js';

/** Commits as "hash:parent,parent". */
const history = (...words) =>
  words.map((word) => {
    const [hash, parents = ''] = word.split(':');
    return { hash, parents: parents.split(',').filter(Boolean) };
  });

const places = (rows) => rows.map(({ lane }) => lane);

test('lanes: a line of commits stays in one lane of one colour, and ends with the first commit', () => {
  const rows = layLanes(history('c:b', 'b:a', 'a'));
  assert.deepEqual(rows, [
    { lane: 0, color: 0, width: 1, through: [], into: [], out: [[0, 0]] },
    { lane: 0, color: 0, width: 1, through: [], into: [[0, 0]], out: [[0, 0]] },
    { lane: 0, color: 0, width: 1, through: [], into: [[0, 0]], out: [] },
  ]);
});

test('lanes: a merge opens a lane for its second parent, which ends where both meet', () => {
  const rows = layLanes(history('m:a,b', 'a:base', 'b:base', 'base'));
  assert.deepEqual(places(rows), [0, 0, 1, 0]);
  assert.deepEqual(rows[0].out, [[0, 0], [1, 1]]);
  assert.deepEqual(rows[1].through, [[1, 1]]);
  assert.deepEqual(rows[2], { lane: 1, color: 1, width: 2, through: [[0, 0]], into: [[1, 1]], out: [[1, 1]] });
  assert.deepEqual(rows[3].into, [[0, 0], [1, 1]]);
  assert.equal(rows[3].width, 2);
});

test('lanes: several heads have lanes of their own, and a free one is used again', () => {
  const rows = layLanes(history('x:r', 'y:r', 'r', 'z'));
  assert.deepEqual(places(rows), [0, 1, 0, 0]);
  assert.notEqual(rows[0].color, rows[1].color);
  assert.equal(rows[3].width, 1);
});

test('lanes: a second parent that a lane leads to already gets no lane of its own', () => {
  const rows = layLanes(history('n:b', 'm:a,b', 'b:a', 'a'));
  assert.deepEqual(rows[1].out, [[1, 1], [0, 0]]);
  assert.equal(Math.max(...rows.map(({ width }) => width)), 2);
});

test('lanes: merges of many parents, a parent named twice, and parents beyond the end of the list', () => {
  const octopus = layLanes(history('o:a,b,c,d', 'a:z', 'b:z', 'c:z', 'd:z', 'z'));
  assert.deepEqual(octopus[0].out.map(([lane]) => lane), [0, 1, 2, 3]);
  assert.equal(octopus[5].into.length, 4);
  assert.deepEqual(layLanes(history('m:a,a', 'a'))[0].out, [[0, 0]]);
  const cut = layLanes(history('b:a', 'd:c'));
  assert.deepEqual(cut[1].through, [[0, 0]]);
  assert.deepEqual(layLanes([]), []);
});

test('lanes: rows stay as they are when older commits are added', () => {
  const all = history('m:a,b', 'h:b', 'a:base', 'b:base', 'base:r', 'r');
  const whole = layLanes(all);
  for (let count = 1; count < all.length; count++) assert.deepEqual(layLanes(all.slice(0, count)), whole.slice(0, count));
});

test('lanes: lines below a row are those above the next one, whatever the history', () => {
  let seed = 7;
  const random = (/** @type {number} */ below) => {
    seed = (seed * 16807) % 2147483647;
    return seed % below;
  };
  const count = 400;
  const commits = Array.from({ length: count }, (_, at) => {
    const parents = new Set(Array.from({ length: random(4) }, () => at + 1 + random(9)).filter((each) => each < count));
    return { hash: `c${at}`, parents: [...parents].map((each) => `c${each}`) };
  });
  const rows = layLanes(commits);
  const sorted = (/** @type {[number, number][]} */ lines) => [...new Map(lines)].sort((a, b) => a[0] - b[0]);
  rows.forEach((row, at) => {
    const below = sorted([...row.through, ...row.out]);
    const next = rows[at + 1];
    if (next) assert.deepEqual(below, sorted([...next.through, ...next.into]), `below row ${at}`);
    assert.equal(row.out.length, commits[at].parents.length);
    assert.ok(!row.through.some(([lane]) => lane === row.lane), `a line runs through the commit of row ${at}`);
    for (const [lane, color] of below) assert.ok(lane < row.width && color < LANE_COLORS);
  });
  assert.deepEqual(sorted([...rows.at(-1).through, ...rows.at(-1).out]), []);
});

test('lanes: neighbours differ in colour while there are colours left', () => {
  const heads = history('a:z', 'b:z', 'c:z', 'd:z', 'e:z', 'f:z', 'g:z', 'h:z', 'z');
  const long = history('top:z', ...Array.from({ length: 12 }, (_, at) => `side${at}`), 'z');
  const [first, ...others] = layLanes(long).slice(0, 13);
  assert.ok(others.every(({ color }) => color !== first.color), 'the colour of a line that goes on is not given again');
  assert.equal(new Set(layLanes(heads).slice(0, LANE_COLORS).map(({ color }) => color)).size, LANE_COLORS);
});
