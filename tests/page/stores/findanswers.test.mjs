import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import { FindAnswers, answersIn } from '../../../web/stores/findanswers.js';
import { deferred, startBridge, until } from '../support/bridge.mjs';

let answer = () => ({ body: { ok: true, hits: [] } });
const bridge = await startBridge((one) => answer(JSON.parse(one.body)));
const stop = new AbortController().signal;

/** @type {string[]} */
let told = [];
const fresh = () =>
  new FindAnswers({
    lookingAt: () => 'p/now.c',
    shown: (path) => path.slice(2),
    open: ({ path, line }, beside) => told.push(`open ${path}:${line} ${beside}`),
    asked: (question) => told.push(`asked ${question}`),
    answered: (question, words) => told.push(`answered ${question}: ${words}`),
  });

beforeEach(() => {
  told = [];
  bridge.asked.length = 0;
});

test('find answers: typing alone never asks, and one word is no question', async () => {
  const [answers, ask] = fresh().sources();
  assert.deepEqual((await ask.find('words', stop)).items, []);
  assert.deepEqual((await answers.find('where is it', stop)).items, []);
  const { items } = await ask.find(' where is it ', stop);
  assert.equal(items[0].label, 'Ask Claude: where is it');
  assert.equal(bridge.asked.length, 0);
});

test('find answers: a chosen question is asked once, and its answers open', async () => {
  const hold = deferred();
  answer = async () => {
    await hold.promise;
    return { body: { ok: true, hits: [{ path: 'p/a.c', line: 7, reason: 'here' }, { path: 'p/b.c', line: 1, reason: '' }] } };
  };
  const find = fresh();
  const [answers, ask] = find.sources();
  const [row] = (await ask.find('where is it', stop)).items;
  row.open(false);
  row.open(false);
  const coming = answers.find('where is it', stop);
  assert.deepEqual((await ask.find('where is it', stop)).items, []);
  hold.resolve();
  const { items } = await coming;
  assert.deepEqual(items.map(({ label, description }) => [label, description]), [['here', 'a.c:7'], ['b.c', 'b.c:1']]);
  items[0].open(true);
  assert.equal(bridge.asked.length, 1);
  assert.deepEqual(JSON.parse(bridge.asked[0].body), { question: 'where is it', path: 'p/now.c' });
  assert.deepEqual(told, ['asked where is it', 'asked where is it', 'answered where is it: 2 places', 'open p/a.c:7 true']);
  assert.deepEqual((await answers.find('another thing', stop)).items, []);
});

test('find answers: nothing found is said, and a failure in its words, after which it can be asked again', async () => {
  answer = () => ({ body: { ok: true, hits: [] } });
  const find = fresh();
  const [answers, ask] = find.sources();
  find.ask('what is this');
  assert.deepEqual(await answers.find('what is this', stop), { items: [], note: 'Claude found no place that fits.' });
  answer = () => ({ status: 500, body: { ok: false, error: 'out of credit' } });
  find.ask('and what is that');
  await assert.rejects(answers.find('and what is that', stop), /out of credit/);
  assert.equal((await ask.find('and what is that', stop)).items.length, 1);
  await until(() => told.length > 0);
  assert.deepEqual(told, ['answered what is this: no places']);
});

test('find answers: whatever comes is read, and only some questions are kept', async () => {
  assert.deepEqual(answersIn({ hits: [{ path: 'p/a', line: 'x' }, { line: 1 }, null] }), [{ path: 'p/a', line: 1, reason: '' }]);
  assert.deepEqual(answersIn(null), []);
  answer = () => ({ body: { ok: true, hits: [] } });
  const find = fresh();
  for (let i = 0; i < 14; i++) {
    find.ask(`question ${i}`);
    await find.questions.get(`question ${i}`).promise;
    await until(() => told.length > i);
  }
  assert.equal(find.questions.size, 10);
  assert.ok(!find.questions.has('question 0'));
});
