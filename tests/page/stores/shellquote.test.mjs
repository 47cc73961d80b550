import assert from 'node:assert/strict';
import { execFileSync } from 'node:child_process';
import { test } from 'node:test';
import { commandLine, quoted } from '../../../web/stores/shellquote.js';

/** What a real shell makes of a line's words. */
const wordsOf = (line) =>
  execFileSync('/bin/sh', ['-c', `for word in ${line}; do printf '%s\\0' "$word"; done`], { encoding: 'utf8' })
    .split('\0')
    .slice(0, -1);

test('shell words: every text comes out of a real shell as it went in', () => {
  const texts = [
    '',
    'plain',
    'two words',
    "it's",
    "''",
    "'; touch /tmp/never; '",
    '$(id) `id` $HOME ${x}',
    '"double" \\ back\\\\slash',
    '* ? [a] ~ {a,b} !x #y',
    '-n --flag',
    'a&b|c;d<e>f',
    'tab\there',
    'Grüße 日本 🐟',
  ];
  assert.deepEqual(wordsOf(commandLine(...texts)), texts);
});

test('shell words: what cannot be one word of one line is refused', () => {
  for (const text of ['a\nb', 'a\rb', 'a\0b']) assert.throws(() => quoted(text), /line break/);
});
