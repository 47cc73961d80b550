import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { mkdtempSync, readFileSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, test } from 'node:test';
import {
  TAIL_LINES,
  checkCommand,
  durationWords,
  fileRows,
  leftBehind,
  likeness,
  newName,
  readCheck,
  regionsOf,
} from '../../../web/stores/dispatchtries.js';
import { readPatch } from '../../../web/stores/patch.js';

const folder = mkdtempSync(join(tmpdir(), "marlin-tries it's "));
after(() => rmSync(folder, { recursive: true, force: true }));

/** What the bridge makes of a line. */
function run(command) {
  const { status, stdout, stderr } = spawnSync('/bin/sh', ['-c', `${command} </dev/null`], { encoding: 'utf8' });
  return { exitCode: status, out: stdout, err: stderr };
}

const diff = (...files) => ({
  files: files.map(([path, added, removed]) => ({ path, added, removed })),
  added: 0,
  removed: 0,
  fileCount: files.length,
  patch: '',
  cut: false,
});

test('tries: every file that any of them changed has a row', () => {
  const rows = fileRows([diff(['b', 1, 2], ['a', 3, 0]), null, diff(['b', 4, 0], ['src/{x => y}/c', 0, 0])]);
  assert.deepEqual(rows, [
    { path: 'a', tries: [{ added: 3, removed: 0 }, null, null] },
    { path: 'b', tries: [{ added: 1, removed: 2 }, null, { added: 4, removed: 0 }] },
    { path: 'src/y/c', tries: [null, null, { added: 0, removed: 0 }] },
  ]);
});

test('tries: a renamed file stands under its new name', () => {
  const names = [
    ['a.c', 'a.c'],
    ['a.c => b.c', 'b.c'],
    ['old dir/a => new dir/a', 'new dir/a'],
    ['src/{ => sub}/a', 'src/sub/a'],
    ['src/{sub => }/a', 'src/a'],
    ['{a => b}/c', 'b/c'],
  ];
  for (const [told, name] of names) assert.equal(newName(told), name, told);
});

const patch = (hunks) => readPatch(`diff --git a/f b/f\n--- a/f\n+++ b/f\n${hunks}`)[0];

test('tries: the same place of a file stands side by side', () => {
  const one = patch('@@ -1,3 +1,3 @@\n a\n-b\n+B\n c\n@@ -20,2 +20,3 @@\n t\n+new\n u\n');
  const two = patch('@@ -2,4 +2,3 @@\n b\n-c\n d\n e\n');
  const regions = regionsOf([one, null, two]);
  assert.deepEqual(
    regions.map(({ from, to }) => [from, to]),
    [
      [1, 5],
      [20, 21],
    ],
  );
  assert.deepEqual(
    regions[0].tries.map((lines) => lines?.map(({ kind, text }) => `${kind} ${text}`) ?? null),
    [['same a', 'removed b', 'added B', 'same c'], null, ['same b', 'removed c', 'same d', 'same e']],
  );
  assert.deepEqual(
    regions[1].tries.map((lines) => lines?.length ?? 0),
    [3, 0, 0],
  );
  assert.deepEqual(regionsOf([null, null]), []);
});

test('tries: a new file is one place in all tries that made it', () => {
  const head = 'diff --git a/n b/n\nnew file mode 100644\n--- /dev/null\n+++ b/n\n@@ -0,0 +1 @@\n';
  const made = (text) => readPatch(`${head}+${text}\n`)[0];
  const regions = regionsOf([made('x'), made('y')]);
  assert.equal(regions.length, 1);
  assert.deepEqual(
    regions[0].tries.map((lines) => lines.map(({ text }) => text)),
    [['x'], ['y']],
  );
});

test('tries: those that made the very same are told', () => {
  const same = '@@ -1 +1 @@\n-a\n+b\n';
  assert.deepEqual(likeness([patch(same), null, patch('@@ -1 +1 @@\n-a\n+c\n'), patch(same)]), [0, -1, 2, 0]);
});

test('tries: a check runs in its folder, and tells its code, its time and what it printed', () => {
  const good = readCheck(run(checkCommand(folder, `pwd; echo "it's" wrong >&2; echo made > made.txt`)));
  assert.deepEqual([good.exitCode, good.tail], [0, `${folder}\nit's wrong`]);
  assert.ok(good.ms >= 0);
  assert.equal(readFileSync(join(folder, 'made.txt'), 'utf8'), 'made\n');
  assert.equal(readCheck(run(checkCommand(folder, 'exit 7'))).exitCode, 7);
  assert.equal(readCheck(run(checkCommand(folder, 'false; true'))).exitCode, 0);
  const waiting = readCheck(run(checkCommand(folder, 'cat; echo done')));
  assert.deepEqual([waiting.exitCode, waiting.tail], [0, 'done'], 'it has no input to wait for');
  const gone = readCheck(run(checkCommand(join(folder, 'not there'), 'true')));
  assert.notEqual(gone.exitCode, 0);
  assert.match(gone.tail, /not there/);
  assert.equal(gone.ms, -1);
  assert.throws(() => checkCommand(folder, 'a\nb'), /line break/);
});

test('tries: of a long output the end is kept', () => {
  const { tail, cut } = readCheck(run(checkCommand(folder, 'seq 500')));
  assert.equal(tail.split('\n').length, TAIL_LINES);
  assert.ok(tail.endsWith('\n500') && cut);
  assert.equal(readCheck(run(checkCommand(folder, 'seq 3'))).cut, false);
});

test('tries: what a check left behind is told', () => {
  const before = diff(['a', 1, 0], ['b', 2, 2]);
  assert.deepEqual(leftBehind(before, diff(['a', 1, 0], ['b', 2, 3], ['out/log', 9, 0])), ['b', 'out/log']);
  assert.deepEqual(leftBehind(before, before), []);
});

test('tries: durations in words', () => {
  assert.deepEqual([-1, 40, 9949, 12400, 75000].map(durationWords), ['', '0.0 s', '9.9 s', '12 s', '1 min 15 s']);
});
