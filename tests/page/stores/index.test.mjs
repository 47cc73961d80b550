// What index.html promises: its policy, its import map, and a first paint without script.
import assert from 'node:assert/strict';
import { createHash } from 'node:crypto';
import { existsSync, readFileSync } from 'node:fs';
import { test } from 'node:test';

const html = readFileSync(new URL('../../../web/index.html', import.meta.url), 'utf8');
const content = /http-equiv="Content-Security-Policy" content="([^"]*)"/.exec(html)[1];
const policy = Object.fromEntries(
  content.split(';').map((rule) => {
    const [name, ...values] = rule.trim().split(/\s+/);
    return [name, values];
  }),
);
const map = /<script type="importmap">([^]*?)<\/script>/.exec(html)[1];

test('index: the policy is as strict as it can be', () => {
  const { 'script-src': scripts, ...rest } = policy;
  assert.deepEqual(rest, {
    'default-src': ["'none'"],
    'style-src': ["'self'", "'unsafe-inline'"],
    'font-src': ["'self'"],
    'connect-src': ["'self'"],
    'worker-src': ["'self'"],
    'frame-src': ["'self'", 'blob:'],
    'img-src': ["'self'", 'blob:', 'data:'],
    'media-src': ["'self'", 'blob:', 'data:'],
    'object-src': ["'none'"],
    'base-uri': ["'none'"],
    'form-action': ["'none'"],
  });
  assert.equal(scripts.length, 2);
  assert.equal(scripts[0], "'self'");
});

test('index: the only inline script is the import map, and its hash is the one in the policy', () => {
  const inline = [...html.matchAll(/<script(?![^>]*\bsrc=)[^>]*>([^]*?)<\/script>/g)];
  assert.equal(inline.length, 1);
  const hash = createHash('sha256').update(map).digest('base64');
  assert.equal(policy['script-src'][1], `'sha256-${hash}'`);
  assert.doesNotMatch(html, /\son\w+=/);
});

test('index: the policy stands before everything it governs', () => {
  assert.ok(html.indexOf('Content-Security-Policy') < html.search(/<(script|link|style)/));
});

test('index: everything it names is there, and nothing comes from elsewhere', () => {
  const named = [...html.matchAll(/(?:href|src)="(\/[^"]*)"/g)].map(([, path]) => path);
  for (const path of [...named, ...Object.values(JSON.parse(map).imports)]) {
    const below = path.startsWith('/vendor/') ? '../../..' : '../../../web';
    assert.ok(existsSync(new URL(`${below}${path}`, import.meta.url)), path);
  }
  assert.doesNotMatch(html, /https?:/);
});

test('index: the first paint needs no script and has the colour of the window', () => {
  const style = /<style>([^]*?)<\/style>/.exec(html)[1];
  assert.match(style, /html \{ background: #0f1722; \}/);
  assert.match(html, /<div id="app"><div class="frame"/);
  assert.doesNotMatch(style, /url\(|@import/);
});
