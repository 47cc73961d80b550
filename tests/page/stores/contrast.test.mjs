// Computes the contrast of text on its grounds from tokens.css itself, for each theme.
import assert from 'node:assert/strict';
import { readFileSync } from 'node:fs';
import { test } from 'node:test';

const css = readFileSync(new URL('../../../web/look/tokens.css', import.meta.url), 'utf8');
const THEMES = ['marlin-dark', 'marlin-light', 'marlin-contrast-dark', 'marlin-contrast-light'];

const GROUNDS = ['bg', 'side', 'bar', 'raised', 'input', 'hover', 'selected', 'selected-quiet'];
const TEXTS = ['text', 'strong', 'dim', 'faint'];
const SIGNS = ['error', 'warning', 'info', 'ok', 'link', 'accent', 'match'];
const CODE_GROUNDS = [
  'bg',
  'line-highlight',
  'selection',
  'selection-quiet',
  'find-other',
  'added',
  'removed',
];

/** The variables of a theme, by name without the dashes. */
function tokensOf(theme) {
  const block = new RegExp(`\\[data-theme="${theme}"\\] \\{([^}]*)\\}`).exec(css);
  assert.ok(block, `tokens.css has no theme ${theme}`);
  return new Map([...block[1].matchAll(/--([\w-]+):\s*([^;]+);/g)].map(([, name, value]) => [name, value]));
}

/** Relative luminance as WCAG 2 defines it. */
function luminance(hex) {
  assert.match(hex, /^#[0-9a-f]{6}$/, 'colours that are compared are written in six digits');
  const [r, g, b] = [1, 3, 5].map((at) => {
    const part = parseInt(hex.slice(at, at + 2), 16) / 255;
    return part <= 0.04045 ? part / 12.92 : ((part + 0.055) / 1.055) ** 2.4;
  });
  return 0.2126 * r + 0.7152 * g + 0.0722 * b;
}

function contrast(one, other) {
  const [light, dark] = [luminance(one), luminance(other)].sort((a, b) => b - a);
  return (light + 0.05) / (dark + 0.05);
}

/** Every pair of names that falls below `least`, in words. */
function tooFaint(tokens, texts, grounds, least) {
  const found = [];
  for (const text of texts) {
    for (const ground of grounds) {
      const ratio = contrast(tokens.get(text), tokens.get(ground));
      if (ratio < least) found.push(`--${text} on --${ground} is ${ratio.toFixed(2)}, not ${least}`);
    }
  }
  return found;
}

test('contrast: black on white is 21, and equal colours are 1', () => {
  assert.equal(contrast('#000000', '#ffffff'), 21);
  assert.equal(contrast('#123456', '#123456'), 1);
});

for (const theme of THEMES) {
  const least = theme.includes('contrast') ? 7 : 4.5;
  const tokens = tokensOf(theme);
  const syntax = [...tokens.keys()].filter((name) => name.startsWith('syntax-'));

  test(`contrast: ${theme} has all colours that the first theme has`, () => {
    const colours = [...tokensOf(THEMES[0]).keys()].filter((name) => name !== 'shadow');
    assert.deepEqual(
      colours.filter((name) => !tokens.has(name)),
      [],
    );
  });

  test(`contrast: ${theme} shows its words with ${least}:1 on every ground`, () => {
    assert.deepEqual(tooFaint(tokens, TEXTS, GROUNDS, least), []);
    assert.deepEqual(tooFaint(tokens, SIGNS, ['bg', 'side', 'bar', 'raised', 'hover'], least), []);
    assert.deepEqual(tooFaint(tokens, ['match'], ['selected'], 4.5), []);
    assert.deepEqual(tooFaint(tokens, ['accent-text'], ['accent-ground'], least), []);
    assert.deepEqual(tooFaint(tokens, ['error-text'], ['error-ground'], least), []);
  });

  test(`contrast: ${theme} shows code with 4.5:1, also where it is selected or found`, () => {
    assert.ok(syntax.length > 10);
    assert.deepEqual(tooFaint(tokens, syntax, CODE_GROUNDS, 4.5), []);
    assert.deepEqual(tooFaint(tokens, ['syntax-variable'], ['find-match'], 4.5), []);
    assert.deepEqual(tooFaint(tokens, ['line-number'], ['bg', 'line-highlight'], 4.5), []);
  });

  test(`contrast: ${theme} shows controls, focus and cursor with 3:1`, () => {
    assert.deepEqual(tooFaint(tokens, ['focus'], [...GROUNDS], 3), []);
    assert.deepEqual(tooFaint(tokens, ['line-strong'], ['bg', 'side', 'raised', 'input'], 3), []);
    assert.deepEqual(
      tooFaint(tokens, ['cursor', 'added-mark', 'removed-mark', 'changed-mark'], ['bg'], 3),
      [],
    );
  });
}
