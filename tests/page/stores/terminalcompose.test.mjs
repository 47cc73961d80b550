// Each row of events is one way in which an engine tells of the same text; however it does, the text
// goes out once.
import assert from 'node:assert/strict';
import { test } from 'node:test';
import { compose, RESTING } from '../../../web/stores/terminalcompose.js';

const taken = { type: 'keydown', keyCode: 229 };
const plain = (keyCode = 65) => ({ type: 'keydown', keyCode });
const up = { type: 'keyup', keyCode: 65 };
const start = { type: 'compositionstart', data: '' };
const update = (data) => ({ type: 'compositionupdate', data });
const end = (data) => ({ type: 'compositionend', data });
const input = (inputType, data) => ({ type: 'input', inputType, data });
const preedit = (data) => input('insertCompositionText', data);
const final = (data) => input('insertFromComposition', data);
const text = (data) => input('insertText', data);
const settle = { type: 'settle' };

/** What is sent by a row of events, and which of them the terminal may see. */
function play(...events) {
  let state = RESTING;
  const sent = [];
  const seen = [];
  let shown = '';
  for (const event of events.flat()) {
    const decision = compose(state, event);
    state = decision.state;
    if (decision.send) sent.push(decision.send);
    if (decision.show !== null) shown = decision.show;
    if (!decision.stop && event.type !== 'settle') seen.push(event.type);
  }
  return { sent, seen, shown, state };
}

/** Recorded in Chromium: "你好" from a method that shows what it has. */
const kChrome = [
  [taken, start, update('n'), preedit('n'), up],
  [taken, update('ni'), preedit('ni'), up],
  [taken, update('你好'), preedit('你好'), end('你好'), settle, up],
];
/** Recorded in WebKitGTK with a pinyin method. */
const kWebKit = [
  [taken, start, update('你'), preedit('你')],
  [taken, update('你好'), preedit('你好')],
  [taken, input('deleteCompositionText', null), final('你好'), end('你好'), settle, up],
];
/** The same where the method answers before the key is told. */
const kKeyLast = [
  [start, update('你'), preedit('你'), taken, up],
  [input('deleteCompositionText', null), final('你好'), end('你好'), settle, taken, up],
];
/** The method clears what it showed before it hands out the text. */
const kClearedFirst = [
  [start, update('你'), preedit('你'), taken, up],
  [input('deleteCompositionText', null), end(''), final('你好'), end('你好'), settle, taken, up],
];
const kEndBeforeInput = [[taken, start, update('你好'), preedit('你好'), up], [taken, end('你好'), text('你好'), settle, up]];

test('terminal composition: the text goes out once in every order of events', () => {
  for (const [name, events] of Object.entries({ kChrome, kWebKit, kKeyLast, kClearedFirst, kEndBeforeInput })) {
    const { sent, seen, shown, state } = play(...events);
    assert.deepEqual(sent, ['你好'], name);
    assert.equal(shown, '', name);
    assert.equal(state.composing, false, name);
    assert.ok(seen.every((type) => type === 'keyup'), `${name}: the terminal would act on ${seen}`);
  }
});

test('terminal composition: the same text twice in a row goes out twice', () => {
  for (const events of [kChrome, kWebKit, kKeyLast, kClearedFirst, kEndBeforeInput]) {
    assert.deepEqual(play(...events, ...events).sent, ['你好', '你好']);
  }
});

test('terminal composition: text that was never under composition', () => {
  // Punctuation of an input method, an emoji from its picker, a character by its number. The first
  // is recorded in Chromium, the second in WebKitGTK, which ends what never began.
  assert.deepEqual(play(taken, text('。'), settle, up).sent, ['。']);
  assert.deepEqual(play(taken, final('。'), end('。'), settle, up).sent, ['。']);
  assert.deepEqual(play(final('。'), end('。'), settle, taken, up).sent, ['。']);
  assert.deepEqual(play(text('。'), end('。'), settle, taken, up).sent, ['。']);
  assert.deepEqual(play(end('。'), settle, taken, up).sent, ['。']);
  assert.deepEqual(play(text('🐟'), settle).sent, ['🐟']);
});

test('terminal composition: punctuation twice goes out twice', () => {
  const once = [taken, final('，'), end('，'), settle, up];
  assert.deepEqual(play(once, once).sent, ['，', '，']);
  assert.deepEqual(play(taken, text('，'), settle, up, taken, text('，'), settle, up).sent, ['，', '，']);
});

test('terminal composition: a second word does not bring the first along', () => {
  assert.deepEqual(play(...kWebKit, taken, final('，'), end('，'), settle, up, ...kWebKit).sent, ['你好', '，', '你好']);
});

test('terminal composition: what is under composition is shown and not sent', () => {
  const { sent, shown, state } = play(taken, start, update('n'), preedit('n'), update('ni'), preedit('ni'));
  assert.deepEqual([sent, shown, state.composing], [[], 'ni', true]);
});

test('terminal composition: one that is given up sends nothing', () => {
  // Chromium, then WebKitGTK, both recorded.
  assert.deepEqual(play(taken, start, update('x'), preedit('x'), update(''), preedit(null), end(''), settle, up).sent, []);
  assert.deepEqual(play(taken, start, update('新'), preedit('新'), taken, input('deleteCompositionText', null), end(''), settle, up).sent, []);
});

test('terminal composition: a syllable that ends as the next begins', () => {
  // Korean: the vowel takes the last consonant along.
  const events = [taken, start, update('간'), preedit('간'), taken, update('가'), preedit('가'), end('가'), start, update('나'), preedit('나'), settle];
  const { sent, shown, state } = play(events);
  assert.deepEqual([sent, shown, state.composing], [['가'], '나', true]);
});

test('terminal composition: ordinary keys are the terminal\'s own affair', () => {
  const { sent, seen } = play(plain(), text('a'), up, plain(13), { type: 'keyup', keyCode: 13 });
  assert.deepEqual(sent, []);
  assert.deepEqual(seen, ['keydown', 'input', 'keyup', 'keydown', 'keyup']);
  assert.deepEqual(play(plain(86), input('insertFromPaste', 'x'), up).seen, ['keydown', 'input', 'keyup']);
});

test('terminal composition: a shortcut during a composition still reaches the terminal', () => {
  const { sent, seen, shown } = play(start, update('n'), preedit('n'), plain(67), up);
  assert.deepEqual([sent, seen, shown], [[], ['keydown', 'keyup'], 'n']);
});

test('terminal composition: losing the focus leaves nothing on the screen, and text that comes then goes out', () => {
  const { sent, shown } = play(taken, start, update('n'), preedit('n'), { type: 'blur' });
  assert.deepEqual([sent, shown], [[], '']);
  assert.deepEqual(play(taken, start, update('n'), preedit('n'), { type: 'blur' }, end('n'), settle).sent, ['n']);
  assert.deepEqual(play(taken, start, update('n'), preedit('n'), end('n'), { type: 'blur' }, settle).sent, ['n']);
});
