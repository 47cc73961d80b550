import assert from 'node:assert/strict';
import { test } from 'node:test';
import * as announcing from '../../../web/stores/announce.js';
import { get } from '../../../web/stores/uistate.js';

const { Announcer, kBetweenMs, kJoinMs, kMostJoined, kRestMs } = announcing;

/** An announcer on a clock that only the test moves. */
function made() {
  let time = 1000;
  /** @type {{at: number, fn: () => void}[]} */
  let timers = [];
  const said = [];
  const clock = { now: () => time, later: (fn, ms) => timers.push({ at: time + ms, fn }) };
  const one = new Announcer((words) => said.push(words), clock);
  const pass = (ms) => {
    const end = time + ms;
    for (;;) {
      const next = timers.filter(({ at }) => at <= end).sort((a, b) => a.at - b.at)[0];
      if (!next) break;
      timers = timers.filter((each) => each !== next);
      time = Math.max(time, next.at);
      next.fn();
    }
    time = end;
  };
  return { one, said, pass, timers: () => timers.length };
}

test('announce: what comes together is one message, in its order', () => {
  const { one, said, pass } = made();
  one.tell('a', 'One');
  one.tell('b', 'Two?');
  assert.deepEqual(said, []);
  pass(kJoinMs);
  assert.deepEqual(said, ['One. Two?']);
});

test('announce: of a state only the latest counts, and what does not hold any more is not said', () => {
  const { one, said, pass, timers } = made();
  one.tell('problems', '3 errors');
  one.tell('branch', 'on main');
  one.tell('problems', '1 error');
  one.tell('branch', '');
  pass(kJoinMs);
  assert.deepEqual(said, ['1 error.']);
  one.tell('a', 'x');
  one.tell('a', '');
  pass(60000);
  assert.deepEqual(said, ['1 error.']);
  assert.equal(timers(), 0);
});

test('announce: at most one message in a while', () => {
  const { one, said, pass } = made();
  one.tell('a', 'first');
  pass(kJoinMs);
  one.tell('a', 'second');
  pass(kBetweenMs - 1);
  assert.equal(said.length, 1);
  pass(1);
  assert.deepEqual(said, ['first.', 'second.']);
});

test('announce: nothing while somebody types, then the latest', () => {
  const { one, said, pass } = made();
  one.typed();
  one.tell('problems', '9 errors');
  for (let key = 0; key < 20; key++) {
    pass(kRestMs - 1);
    one.typed();
    one.tell('problems', `${key} errors`);
  }
  assert.deepEqual(said, []);
  pass(kRestMs);
  assert.deepEqual(said, ['19 errors.']);
});

test('announce: what was asked for is said at once, and holds the rest back', () => {
  const { one, said, pass } = made();
  one.typed();
  one.tell('a', 'later');
  one.speak('now');
  assert.deepEqual(said, ['now']);
  pass(kRestMs);
  assert.deepEqual(said, ['now', 'later.']);
});

test('announce: more than anybody listens to is counted', () => {
  const { one, said, pass } = made();
  for (let at = 0; at < kMostJoined + 3; at++) one.tell(`task ${at}`, `Task ${at} is done.`);
  pass(kJoinMs);
  assert.match(said[0], /^Task 0 is done\. .*Task 3 is done\. And 3 more messages\.$/);
});

test('announce: how much is said is the choice of the user', () => {
  const { isHeard, loadTalk, setTalk, speak, spoken, talk } = announcing;
  const topics = ['question', 'answer', 'task', 'link', 'saved', 'problems', 'branch', 'search'];
  const heard = (much) => topics.filter((topic) => isHeard(topic, much));
  assert.deepEqual(heard('all'), topics);
  assert.deepEqual(heard('needed'), ['question', 'answer', 'task', 'link']);
  assert.deepEqual(heard('nothing'), []);
  setTalk('nothing');
  speak('Line 3');
  assert.equal(spoken.value.words, 'Line 3', 'what was asked for is said in any case');
  assert.equal(get('access.talk', ''), 'nothing');
  setTalk('some nonsense');
  assert.equal(talk.value, 'nothing');
  talk.value = 'all';
  loadTalk();
  assert.equal(talk.value, 'nothing');
});
