import assert from 'node:assert/strict';
import { test } from 'node:test';
import { fontList } from '../../../web/look/fonts.js';
import { fieldFault, fieldText, fieldValue, kClaudeFields } from '../../../web/stores/claudefields.js';

const field = (key) => kClaudeFields.find((one) => one.key === key);

test('settings: what stands in a field of the CLI is what its start reads', () => {
  assert.equal(fieldText({ agent: 'me' }, field('agent')), 'me');
  assert.equal(fieldText({ agent: 7 }, field('agent')), '');
  assert.equal(fieldText({ maxBudgetUsd: 1.5 }, field('maxBudgetUsd')), '1.5');
  assert.equal(fieldText({ maxBudgetUsd: '1.5' }, field('maxBudgetUsd')), '');
  assert.equal(fieldText({ maxBudgetUsd: -1 }, field('maxBudgetUsd')), '');
});

test('settings: a budget is a number above nothing, and an empty field forgets its key', () => {
  const budget = field('maxBudgetUsd');
  for (const text of ['x', '0', '-1', 'Infinity']) assert.notEqual(fieldFault(budget, text), '', text);
  for (const text of ['', ' ', '2', '0.5']) assert.equal(fieldFault(budget, text), '', text);
  assert.equal(fieldValue(budget, '2'), 2);
  assert.equal(fieldValue(budget, ' '), undefined);
  assert.equal(fieldValue(field('systemPrompt'), ' a '), ' a ');
});

test('settings: a font is named in front of the usual ones, and can break out of nothing', () => {
  assert.equal(fontList(' Fira Code ', 'monospace'), '"Fira Code", monospace');
  assert.equal(fontList('', 'monospace'), 'monospace');
  assert.equal(fontList('x"; } body { color: red', 'serif'), '"x; } body { color: red", serif');
});
