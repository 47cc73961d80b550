import assert from 'node:assert/strict';
import { test } from 'node:test';
import { fileAt, hunkWords, lineAt, linesBetween, readPatch } from '../../../web/stores/patch.js';
import { patch } from '../support/github.mjs';

const numbers = (file) => file.hunks.flatMap(({ lines }) => lines.map((line) => [line.old, line.new]));

test('patch: lines have their numbers on both sides', () => {
  const [fish] = readPatch(patch);
  assert.equal(fish.path, 'src/fish.c');
  assert.equal(fish.kind, 'modified');
  assert.deepEqual([fish.added, fish.removed, fish.hunks.length], [3, 1, 2]);
  assert.deepEqual(numbers(fish), [[1, 1], [2, 2], [3, 0], [0, 3], [0, 4], [4, 5], [20, 21], [0, 22], [21, 23]]);
  assert.equal(lineAt(fish, 'new', 4)?.text, 'int fish() { return count; }');
  assert.equal(lineAt(fish, 'old', 3)?.kind, 'removed');
  assert.equal(lineAt(fish, 'old', 4)?.new, 5);
  assert.equal(lineAt(fish, 'new', 10), null, 'between the hunks');
  assert.equal(lineAt(fish, 'new', 0), null, 'what is not there has no number');
  assert.deepEqual(linesBetween(fish, 'new', 4, 21), ['int fish() { return count; }', '/* the end */', '{']);
  assert.deepEqual(linesBetween(fish, 'old', 0, 3), ['#include "fish.h"', '', 'int fish() { return 0; }']);
  assert.deepEqual(fish.hunks.map(hunkWords), ['Lines 1–5', 'Lines 21–23']);
});

test('patch: renames, files without a line end, pictures', () => {
  const files = readPatch(patch);
  const howTo = fileAt(files, 'docs/how to.md');
  assert.deepEqual([howTo.kind, howTo.oldPath], ['renamed', 'docs/howto.md']);
  assert.deepEqual(howTo.hunks[0].lines.map(({ noEnd }) => noEnd), [true, true]);
  assert.equal(hunkWords(howTo.hunks[0]), 'Line 1');
  const picture = fileAt(files, 'pond.png');
  assert.deepEqual([picture.kind, picture.binary, picture.hunks, picture.cut], ['added', true, [], false]);
  assert.equal(fileAt(files, 'docs/howto.md'), null, 'the old name is no file any more');
});

test('patch: what comes, goes, moves whole or only changes its mode', () => {
  const text = [
    'diff --git a/new b/new',
    'new file mode 100644',
    '--- /dev/null',
    '+++ b/new',
    '@@ -0,0 +1,2 @@',
    '+one',
    '+two',
    'diff --git a/gone b/gone',
    'deleted file mode 100644',
    '--- a/gone',
    '+++ /dev/null',
    '@@ -1,2 +0,0 @@',
    '--- a list',
    '-two',
    'diff --git a/from b/to',
    'similarity index 100%',
    'rename from from',
    'rename to to',
    'diff --git a/run.sh b/run.sh',
    'old mode 100644',
    'new mode 100755',
    'diff --git "a/t\\303\\244 g.txt" "b/t\\303\\244 g.txt"',
    '--- "a/t\\303\\244 g.txt"',
    '+++ "b/t\\303\\244 g.txt"',
    '@@ -1 +1 @@',
    '-x\r',
    '+y\r',
    '',
  ].join('\n');
  const files = readPatch(text);
  assert.deepEqual(
    files.map(({ path, oldPath, kind, modes }) => [path, oldPath, kind, modes]),
    [
      ['new', 'new', 'added', ''],
      ['gone', 'gone', 'deleted', ''],
      ['to', 'from', 'renamed', ''],
      ['run.sh', 'run.sh', 'modified', '100644 → 100755'],
      ['tä g.txt', 'tä g.txt', 'modified', ''],
    ],
  );
  assert.deepEqual(numbers(files[0]), [[0, 1], [0, 2]]);
  assert.equal(files[1].hunks[0].lines[0].text, '-- a list', 'a removed line may look like a header');
  assert.equal(hunkWords(files[1].hunks[0]), 'Old lines 1–2');
  assert.equal(files[4].hunks[0].lines[1].text, 'y', 'a carriage return is part of the line end');
});

test('patch: wherever its end is missing, what stands before it is read', () => {
  const whole = readPatch(patch);
  const start = patch.indexOf('@@ -20,2') + '@@ -20,2 +21,3 @@ int pond()\n {\n+  '.length;
  const [cut] = readPatch(patch.slice(0, start), { cut: true });
  assert.equal(cut.cut, true);
  assert.deepEqual(numbers(cut), [[1, 1], [2, 2], [3, 0], [0, 3], [0, 4], [4, 5], [20, 21]], 'half a line is none');
  for (let length = 0; length <= patch.length; length++) {
    for (const options of [{ cut: true }, {}]) {
      const files = readPatch(patch.slice(0, length), options);
      assert.ok(files.length <= whole.length);
      files.forEach((file, at) => {
        if (at < files.length - 1) assert.deepEqual(file, whole[at]);
        for (const hunk of file.hunks)
          for (const line of hunk.lines.slice(0, -1)) {
            const side = line.new ? 'new' : 'old';
            assert.equal(lineAt(whole[at], side, line[side])?.text, line.text, `cut at ${length}`);
          }
      });
    }
  }
});

test('patch: what stands before the first file counts for nothing', () => {
  const rest = patch.slice(patch.indexOf('+static'));
  assert.deepEqual(readPatch(rest).map(({ path }) => path), ['docs/how to.md', 'pond.png']);
  assert.deepEqual(readPatch(''), []);
  assert.deepEqual(readPatch('fatal: no such thing\n'), []);
});

test('patch: a hunk that cannot be read leaves the name of its file', () => {
  const files = readPatch('diff --git a/x y.c b/x y.c\n--- a/x y.c\n+++ b/x y.c\n@@ -1,1 +1,1 @@\n-a\n?what\n+b\n');
  assert.equal(files.length, 1);
  assert.deepEqual([files[0].path, files[0].cut], ['x y.c', true]);
});
