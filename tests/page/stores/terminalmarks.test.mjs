import assert from 'node:assert/strict';
import { test } from 'node:test';
import { CommandList, failed, KEPT_COMMANDS, neighbour, parseMark, runsLine } from '../../../web/stores/terminalmarks.js';

/** A list over a terminal that is only a count of lines and a text for the prompt's line. */
function make() {
  const world = { line: 0, text: '', dropped: [], time: 0 };
  const list = new CommandList({
    here: () => ({ line: world.line++ }),
    read: () => world.text,
    drop: (place) => world.dropped.push(place.line),
    now: () => ++world.time,
  });
  const marks = (...all) => all.map((one) => list.mark(parseMark(one))).at(-1);
  /** A prompt, a typed line, and the marks of the next prompt. */
  const run = (text, code) => {
    marks('A', 'B');
    world.text = text;
    list.typed(`${text}\r`);
    return marks(`D;${code}`);
  };
  return { world, list, marks, run };
}

test('terminal marks: what is a mark and what is not', () => {
  assert.deepEqual(parseMark('A'), { kind: 'prompt' });
  assert.deepEqual(parseMark('B'), { kind: 'input' });
  assert.deepEqual(parseMark('C'), { kind: 'run' });
  assert.deepEqual(parseMark('D;0'), { kind: 'done', code: 0 });
  assert.deepEqual(parseMark('D;130;aid=1'), { kind: 'done', code: 130 });
  assert.deepEqual(parseMark('D;-1'), { kind: 'done', code: -1 });
  for (const odd of ['D', 'D;', 'D;x', 'D;1.5', 'D;99999999999999999999', 'D; 1']) {
    assert.deepEqual(parseMark(odd), { kind: 'done', code: null }, odd);
  }
  for (const other of ['', 'E;ls', 'P;Cwd=/', 'AB', 'a']) assert.equal(parseMark(other), null, other);
});

test('terminal marks: each command is listed with its text, its code and its places', () => {
  const { list, run } = make();
  assert.equal(run(' make test ', 0).text, 'make test');
  assert.equal(run('false', 1).code, 1);
  assert.deepEqual(
    list.commands.map(({ id, text, code }) => [id, text, code]),
    [
      [1, 'make test', 0],
      [2, 'false', 1],
    ],
  );
  const { prompt, input, end } = list.commands[0];
  assert.ok(prompt.line < input.line && input.line < end.line);
  assert.deepEqual(list.commands.map(failed), [false, true]);
});

test('terminal marks: the first prompt, an empty line and Ctrl+C are no commands', () => {
  const { list, marks, run, world } = make();
  marks('D;0', 'A', 'B'); // what bash sends before anything was typed
  assert.equal(list.commands.length, 0);
  run('', 0);
  assert.equal(list.commands.length, 0);
  marks('A', 'B');
  world.text = 'half a comm';
  list.typed('half a comm');
  list.typed('\x03');
  assert.equal(marks('D;130'), null);
  assert.equal(list.commands.length, 0);
});

test('terminal marks: a prompt that is drawn again stays one prompt', () => {
  const { list, marks, world } = make();
  marks('D;0', 'A', 'B', 'D;0', 'A', 'B'); // a change of size
  world.text = 'ls';
  list.typed('ls');
  list.typed('\r');
  assert.equal(marks('D;0').text, 'ls');
  assert.equal(list.commands.length, 1);
  assert.deepEqual(world.dropped, [0, 1], 'the places of the first drawing are given back');
});

test('terminal marks: the shell waits between the end of its prompt and Enter', () => {
  const { list, marks } = make();
  assert.equal(list.waiting, false);
  marks('A');
  assert.equal(list.waiting, false);
  marks('B');
  assert.equal(list.waiting, true);
  list.typed('sleep 9');
  assert.equal(list.waiting, true);
  list.typed('\r');
  assert.equal(list.waiting, false);
});

test('terminal marks: a shell that tells when it runs a line needs no key', () => {
  const { marks, world, list } = make();
  world.text = 'from elsewhere';
  marks('A', 'B', 'C', 'D;2');
  assert.equal(list.commands[0].code, 2);
});

test('terminal marks: what runs a line', () => {
  for (const keys of ['\r', 'ls\r', '\n', '\x0f']) assert.ok(runsLine(keys));
  for (const keys of ['a', '\x03', '\x1b[A', '']) assert.ok(!runsLine(keys));
});

test('terminal marks: only so many commands are kept, and the places of the others given back', () => {
  const { list, run, world } = make();
  for (let i = 0; i <= KEPT_COMMANDS; i++) run(`c${i}`, 0);
  assert.equal(list.commands.length, KEPT_COMMANDS);
  assert.equal(list.commands[0].text, 'c1');
  assert.deepEqual(world.dropped, [0, 1, 2]);
  list.forget(list.commands[0].id);
  list.forget(4711);
  assert.equal(list.commands[0].text, 'c2');
});

test('terminal marks: the neighbour of a line', () => {
  const list = [{ line: -1 }, { line: 3 }, { line: 8 }, { line: 20 }];
  assert.equal(neighbour(list, 8, -1), 1);
  assert.equal(neighbour(list, 8, 1), 3);
  assert.equal(neighbour(list, 30, -1), 3);
  assert.equal(neighbour(list, 3, -1), -1, 'a command whose line is gone is none');
  assert.equal(neighbour(list, 20, 1), -1);
});
