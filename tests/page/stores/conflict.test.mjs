import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  basesOf,
  chosen,
  conflictAt,
  conflictsIn,
  decided,
  mayHoldConflicts,
  nextConflict,
  placesIn,
  stagesIn,
} from '../../../web/stores/conflict.js';
import { conflictsLike } from '../../../web/stores/gitactions.js';

const text = `top
<<<<<<< HEAD
ours 1
ours 2
=======
theirs
>>>>>>> side branch
middle
<<<<<<< HEAD
||||||| 1234567
base
=======
theirs too
>>>>>>> side branch
end`.split('\n');

test('conflict: both kinds are found with their labels', () => {
  const [first, second, ...more] = conflictsIn(text);
  assert.deepEqual(more, []);
  assert.deepEqual(first, {
    start: 1,
    end: 6,
    ours: { from: 2, to: 4, label: 'HEAD' },
    base: null,
    theirs: { from: 5, to: 6, label: 'side branch' },
  });
  assert.deepEqual(second.ours, { from: 9, to: 9, label: 'HEAD' });
  assert.deepEqual(second.base, { from: 10, to: 11, label: '1234567' });
  assert.deepEqual(second.theirs, { from: 12, to: 13, label: 'side branch' });
});

test('conflict: what is not whole is text, and a new beginning counts', () => {
  assert.deepEqual(conflictsIn(['Heading', '=======', '>>>>>>> x', '||||||| y']), []);
  assert.deepEqual(conflictsIn(['<<<<<<< a', 'x', '>>>>>>> b']), []);
  assert.deepEqual(conflictsIn(['<<<<<<<< a', '=======', '>>>>>>> b']), []);
  const [only] = conflictsIn(['<<<<<<< lost', 'x', '<<<<<<< a', 'y', '=======', 'z', '>>>>>>> b']);
  assert.equal(only.start, 2);
  // A second line of signs is a line of theirs.
  const [odd] = conflictsIn(['<<<<<<< a', '=======', '=======', '>>>>>>> b']);
  assert.deepEqual(odd.theirs, { from: 2, to: 3, label: 'b' });
  assert.ok(mayHoldConflicts('a\n<<<<<<< b'));
  assert.ok(!mayHoldConflicts('a <<<<<<< b\n<<<<<<<<'));
});

test('conflict: each choice gives its lines, and others stay as they are', () => {
  const conflicts = conflictsIn(text);
  const of = (choice, base) => chosen(text, conflicts[0], choice, base);
  assert.deepEqual(of('ours'), ['ours 1', 'ours 2']);
  assert.deepEqual(of('theirs'), ['theirs']);
  assert.deepEqual(of('both'), ['ours 1', 'ours 2', 'theirs']);
  assert.deepEqual(of('bothTurned'), ['theirs', 'ours 1', 'ours 2']);
  assert.equal(of('base'), null);
  assert.deepEqual(of('base', ['b']), ['b']);
  assert.deepEqual(chosen(text, conflicts[1], 'base'), ['base']);
  const one = decided(text, conflicts, (conflict, at) => (at === 0 ? chosen(text, conflict, 'theirs') : null));
  assert.deepEqual(one, ['top', 'theirs', ...text.slice(7)]);
  const all = decided(text, conflicts, (conflict) => chosen(text, conflict, 'ours'));
  assert.deepEqual(all, ['top', 'ours 1', 'ours 2', 'middle', 'end']);
});

test('conflict: steps go round, and a line belongs to the conflict around it', () => {
  const conflicts = conflictsIn(text);
  assert.equal(conflictAt(conflicts, 1), -1);
  assert.equal(conflictAt(conflicts, 2), 0);
  assert.equal(conflictAt(conflicts, 7), 0);
  assert.equal(conflictAt(conflicts, 8), -1);
  assert.equal(nextConflict(conflicts, 1, 1), 0);
  assert.equal(nextConflict(conflicts, 2, 1), 1);
  assert.equal(nextConflict(conflicts, 9, 1), 0);
  assert.equal(nextConflict(conflicts, 9, -1), 0);
  assert.equal(nextConflict(conflicts, 1, -1), 1);
  assert.equal(nextConflict([], 1, 1), -1);
});

test('conflict: what stood there before is found by the sides, or left unsaid', () => {
  const base = ['top', 'old 1', 'middle', 'gone', 'kept', 'end'];
  const ours = ['top', 'ours 1', 'ours 2', 'middle', 'kept', 'end'];
  const theirs = ['top', 'theirs', 'middle', 'changed', 'kept', 'end'];
  const lines = [
    'top', '<<<<<<< a', 'ours 1', 'ours 2', '=======', 'theirs', '>>>>>>> b',
    'middle', '<<<<<<< a', '=======', 'changed', '>>>>>>> b', 'kept', 'end',
  ];
  const conflicts = conflictsIn(lines);
  assert.deepEqual(basesOf(lines, conflicts, ours, base), [['old 1'], ['gone']]);
  assert.deepEqual(placesIn(lines, conflicts, 'ours', ours), [{ from: 1, to: 3 }, { from: 4, to: 4 }]);
  assert.deepEqual(placesIn(lines, conflicts, 'theirs', theirs), [{ from: 1, to: 2 }, { from: 3, to: 4 }]);
  // A conflict that git cut short at lines that both sides added begins inside a change.
  const short = ['top', 'same', '<<<<<<< a', 'x', '=======', 'y', '>>>>>>> b', 'end'];
  assert.deepEqual(basesOf(short, conflictsIn(short), ['top', 'same', 'x', 'end'], ['top', 'old', 'end']), [null]);
});

test('conflict: the versions that the index has', () => {
  const { stages, modes } = stagesIn('100644 aa11 1\ta b\x00120000 bb22 3\ta b\0');
  assert.deepEqual([...stages], [1, 3]);
  assert.deepEqual([...modes], ['100644', '120000']);
  assert.deepEqual([...stagesIn('').stages], []);
});

test('conflict: a cut name is found again, also one that git quotes', () => {
  const whole = ['a b.c', 'dir/b.c', 'odd "x" ä.c', 'tab\tx y'];
  assert.deepEqual(conflictsLike(whole, 'b.c'), ['a b.c']);
  assert.deepEqual(conflictsLike(whole, 'ä.c"'), ['odd "x" ä.c']);
  assert.deepEqual(conflictsLike(whole, 'y"'), ['tab\tx y']);
  assert.deepEqual(conflictsLike(['q"'], '"q\\""'), ['q"']);
});
