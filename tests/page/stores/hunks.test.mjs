// Parts of changes, with the real git as the judge: what it makes of each patch is compared with what the
// chosen rows mean.
import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { mkdtempSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, test } from 'node:test';
import {
  bytesOf,
  fitsShown,
  inverted,
  parseDiff,
  partPatch,
  partProblem,
  readable,
  rowCount,
  rowsIn,
  rowsOf,
  runsTouched,
} from '../../../web/stores/hunks.js';
import { withoutLines } from '../../../web/stores/hunksrevert.js';
import { lineHunks, linesWithEnds } from '../../../web/stores/changes.js';

const folder = mkdtempSync(join(tmpdir(), 'marlin-hunks-'));
after(() => rmSync(folder, { recursive: true, force: true }));
const env = { PATH: process.env.PATH, HOME: folder, GIT_CONFIG_GLOBAL: '/dev/null', GIT_CONFIG_NOSYSTEM: '1' };
for (const who of ['AUTHOR', 'COMMITTER']) Object.assign(env, { [`GIT_${who}_NAME`]: 'A', [`GIT_${who}_EMAIL`]: 'a@b' });

/** Texts are bytes as characters everywhere here. */
const git = (args, input) =>
  execFileSync('git', args, { cwd: folder, env, encoding: 'latin1', stdio: 'pipe', ...(input !== undefined && { input }) });
git(['init', '-q', '-b', 'main']);

const put = (name, text) => writeFileSync(join(folder, name), Buffer.from(text, 'latin1'));
const kDiff = ['diff', '--no-renames', '--src-prefix=a/', '--dst-prefix=b/'];
const unstaged = (name) => parseDiff(git([...kDiff, '--', name]));
const staged = (name) => parseDiff(git([...kDiff, '--cached', '--', name]));
const inIndex = (name) => git(['cat-file', 'blob', `:0:${name}`]);
const apply = (patch) => git(['apply', '--cached', '--whitespace=nowarn', '-'], Buffer.from(patch, 'latin1'));
const begin = (name, text) => {
  git(['read-tree', '--empty']);
  put(name, text);
  git(['add', name]);
};

/** What a text becomes when the chosen rows of its change are taken: said once more, in the simplest way. */
function expected(old, diff, rows) {
  const lines = old.match(/[^\n]*\n|[^\n]+/g) ?? [];
  const out = [];
  let at = 0;
  for (const run of diff.runs) {
    out.push(...lines.slice(at, run.old - 1));
    at = run.old - 1 + run.removed.length;
    for (let row = 0; row < rowCount(run); row++) {
      const line = (rows.has(`${run.at}:${row}`) ? run.added : run.removed)[row];
      if (line) out.push(line.text + (line.open ? '' : '\n'));
    }
  }
  out.push(...lines.slice(at));
  return out.map((line, i) => (i < out.length - 1 && !line.endsWith('\n') ? `${line}\n` : line)).join('');
}

/** The same numbers each time: a failure can be looked at again. */
function dice(seed) {
  let state = seed;
  return (most) => {
    state = (Math.imul(state, 1664525) + 1013904223) >>> 0;
    return Math.floor((state / 2 ** 32) * most);
  };
}

const kWords = ['', 'one', 'two', 'x', '}', '\tindent', 'Gr\xfc\xdfe', '\xc3\xa4', '@@ -1 +1 @@', '-- a', '\\ No', ' '];
const kEnds = ['\n', '\n', '\n', '\r\n', '\r\r\n'];

function randomText(roll, most) {
  const lines = Array.from({ length: roll(most) }, () => kWords[roll(kWords.length)] + kEnds[roll(kEnds.length)]);
  const text = lines.join('');
  return roll(3) === 0 ? text.replace(/\n$/, '') : text;
}

function randomEdit(roll, text) {
  const lines = text.match(/[^\n]*\n|[^\n]+/g) ?? [];
  for (let count = 1 + roll(4); count > 0; count--) {
    const at = roll(lines.length + 1);
    const fresh = (randomText(roll, 4).match(/[^\n]*\n/g) ?? []);
    lines.splice(at, roll(3), ...fresh);
  }
  const whole = lines.map((line, i) => (i < lines.length - 1 && !line.endsWith('\n') ? `${line}\n` : line)).join('');
  return roll(4) === 0 ? whole.replace(/\n$/, '') : whole;
}

const randomRows = (roll, diff) => new Set([...rowsOf(diff.runs)].filter(() => roll(2) === 0));

test('hunks: random rows of random changes are staged as they read', () => {
  let patches = 0;
  for (let seed = 1; seed <= 45; seed++) {
    const roll = dice(seed);
    const old = randomText(roll, 30);
    begin('a b.txt', old);
    put('a b.txt', randomEdit(roll, old));
    const diff = unstaged('a b.txt');
    if (!diff) continue;
    const rows = randomRows(roll, diff);
    const patch = partPatch(diff, rows);
    assert.equal(patch === '', rows.size === 0, `seed ${seed}`);
    if (!patch) continue;
    patches++;
    apply(patch);
    assert.equal(inIndex('a b.txt'), expected(old, diff, rows), `seed ${seed}`);
  }
  assert.ok(patches > 28);
});

test('hunks: random rows of what is staged are taken back, also of new and deleted files', () => {
  for (let seed = 200; seed < 230; seed++) {
    const roll = dice(seed);
    const old = seed % 3 === 0 ? null : randomText(roll, 20) + 'x\n';
    begin('f', old ?? '');
    if (old === null) git(['rm', '-q', '-f', '--cached', 'f']);
    git(['commit', '-q', '--allow-empty', '-m', 'x']);
    const now = old === null ? randomText(roll, 20) + 'y\n' : randomEdit(roll, old);
    put('f', now);
    const deleted = old !== null && seed % 3 === 1;
    git(deleted ? ['rm', '-q', '-f', '--cached', 'f'] : ['add', 'f']);
    const diff = staged('f');
    if (!diff) continue;
    const rows = randomRows(roll, diff);
    const back = inverted(diff);
    const patch = partPatch(back, rows);
    if (!patch) continue;
    apply(patch);
    const all = rows.size === rowsOf(diff.runs).size;
    if (old === null && all) assert.equal(git(['ls-files', 'f']), '', `seed ${seed}`);
    else assert.equal(inIndex('f'), expected(deleted ? '' : now, back, rows), `seed ${seed}`);
  }
});

test('hunks: lines of a new file, of a deleted one, and a mode that stays behind', () => {
  begin('gone', 'one\ntwo\nthree\n');
  rmSync(join(folder, 'gone'));
  let diff = unstaged('gone');
  apply(partPatch(diff, rowsIn(diff, [{ side: 'old', from: 2, to: 2 }])));
  assert.equal(inIndex('gone'), 'one\nthree\n');
  diff = unstaged('gone');
  apply(partPatch(diff, rowsOf(diff.runs)));
  assert.equal(git(['ls-files', 'gone']), '');

  put('fresh "q"', 'one\ntwo\n');
  let text = '';
  try {
    git([...kDiff, '--no-index', '--', '/dev/null', 'fresh "q"']);
  } catch (error) {
    text = error.stdout; // it ends with 1 where there is a difference
  }
  diff = parseDiff(text);
  apply(partPatch(diff, rowsIn(diff, [{ side: 'now', from: 1, to: 1 }])));
  assert.equal(inIndex('fresh "q"'), 'one\n');

  begin('run.sh', 'one\n');
  git(['update-index', '--chmod=+x', 'run.sh']);
  put('run.sh', 'one\ntwo\n');
  diff = unstaged('run.sh');
  apply(partPatch(diff, rowsOf(diff.runs)));
  assert.match(git(['ls-files', '-s', 'run.sh']), /^100755 /);
  assert.equal(inIndex('run.sh'), 'one\ntwo\n');
});

test('hunks: lines choose rows on either side, and a removal belongs to the line above', () => {
  begin('f', 'a\nb\nc\nd\ne\nf\ng\nh\ni\nj\nk\nl\n');
  put('f', 'a\nB\nB2\nc\nd\ng\nh\ni\nj\nk\nl\nm\n');
  const diff = unstaged('f');
  assert.deepEqual(diff.runs.map(({ old, now }) => [old, now]), [[2, 2], [5, 6], [13, 12]]);
  const now = (from, to) => [...rowsIn(diff, [{ side: 'now', from, to }])];
  const old = (from, to) => [...rowsIn(diff, [{ side: 'old', from, to }])];
  assert.deepEqual(now(2, 2), ['0:0']);
  assert.deepEqual(now(3, 3), ['0:1']);
  assert.deepEqual(now(5, 5), ['1:0', '1:1']);
  assert.deepEqual(now(6, 6), []);
  assert.deepEqual(now(12, 12), ['2:0']);
  assert.deepEqual(old(2, 2), ['0:0', '0:1']);
  assert.deepEqual(old(6, 6), ['1:1']);
  assert.deepEqual(runsTouched(diff, [{ side: 'old', from: 6, to: 6 }]).map(({ at }) => at), [1]);
  assert.equal(partPatch(diff, new Set()), '');
});

test('hunks: each hunk of a patch says where it stands on both sides', () => {
  const lines = Array.from({ length: 30 }, (_, i) => `${i}\n`);
  begin('f', lines.join(''));
  put('f', lines.with(2, '2\nnew\n').with(14, 'left alone\n').with(27, 'x\n').join(''));
  const diff = unstaged('f');
  const rows = rowsOf([diff.runs[0], diff.runs[2]]);
  const heads = partPatch(diff, rows).match(/^@@.*$/gm);
  assert.deepEqual(heads, ['@@ -1,6 +1,7 @@', '@@ -25,6 +26,6 @@']);
});

test('hunks: what has no lines is refused with the reason', () => {
  const of = (head) => partProblem(parseDiff(`diff --git a/x b/x\n${head}`));
  assert.match(of('index 1..2 100644\nBinary files a/x and b/x differ\n'), /binary/);
  assert.match(of('old mode 100644\nnew mode 100755\n'), /none of its lines differ/);
  assert.match(of('index 1..2 160000\n--- a/x\n+++ b/x\n@@ -1 +1 @@\n-Subproject commit 1\n+Subproject commit 2\n'), /repository of its own/);
  assert.equal(of('index 1..2 100644\n--- a/x\n+++ b/x\n@@ -1 +1 @@\n-1\n+2\n'), '');
  assert.equal(parseDiff(''), null);
});

test('hunks: numbers of lines count only where the shown lines are those that git compares', () => {
  begin('f', 'a\r\nGr\xfc\xdfe\r\n');
  put('f', 'a\r\nGr\xfc\xdfe!\r\n');
  const diff = unstaged('f');
  const rows = rowsOf(diff.runs);
  assert.ok(fitsShown(diff, rows, { old: ['a', 'Grüße'], now: ['a', 'Grüße!'] }));
  assert.ok(fitsShown(diff, rows, { now: ['a', 'Grüße!'] }));
  assert.ok(!fitsShown(diff, rows, { old: ['a', 'Grüße'], now: ['a', 'other'] }));
  assert.ok(!fitsShown(diff, rows, { old: ['a'], now: ['a', 'Grüße!'] }));
  assert.ok(fitsShown(diff, new Set(), { old: ['other'], now: [] }));
  assert.equal(readable('\xc3\xa4\r'), 'ä');
  assert.deepEqual([...bytesOf('\xff\n')], [255, 10]);
});

test('hunks: lines of a text that is being edited are taken back by rows', () => {
  const from = linesWithEnds('a\nb\nc\nd\ne');
  const to = linesWithEnds('a\nB\nC\nd\ne\nf');
  const hunks = lineHunks(from, to);
  const back = (first, last, whole, side = 'now') => withoutLines(from, to, hunks, { side, from: first, to: last }, whole);
  assert.equal(back(2, 2, false), 'a\nb\nC\nd\ne\nf');
  assert.equal(back(2, 2, true), 'a\nb\nc\nd\ne\nf');
  assert.equal(back(1, 1, true), null);
  assert.equal(back(6, 6, false), 'a\nB\nC\nd\ne\n');
  assert.equal(back(1, 9, false), 'a\nb\nc\nd\ne');
  assert.equal(back(3, 3, false, 'old'), 'a\nB\nc\nd\ne\nf');
  // What has no line of its own belongs to the last one, and a line that is not the last has its end.
  const three = linesWithEnds('1\n2\n3\n');
  const one = linesWithEnds('X\n');
  assert.equal(withoutLines(three, one, lineHunks(three, one), { side: 'now', from: 1, to: 1 }, false), '1\n2\n3\n');
  const open = linesWithEnds('a\nb');
  const longer = linesWithEnds('a\nb\nc');
  assert.equal(withoutLines(open, longer, lineHunks(open, longer), { side: 'now', from: 2, to: 2 }, false), 'a\nb\nc');
  const gone = linesWithEnds('a\nd\ne');
  const removed = lineHunks(from, gone);
  assert.equal(withoutLines(from, gone, removed, { side: 'now', from: 1, to: 1 }, false), 'a\nb\nc\nd\ne');
});
