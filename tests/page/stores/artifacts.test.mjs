import assert from 'node:assert/strict';
import { test } from 'node:test';
import * as artifacts from '../../../web/stores/artifacts.js';

const targets = (text) => artifacts.piecesOf(text).flatMap(({ target }) => (target ? [target] : []));

test('artifacts: what is looked at, and what the desktop can be asked to open', () => {
  for (const name of ['a.html', 'A.HTM', 'x/y.svg', 'b.md']) assert.deepEqual([artifacts.isArtifact(name), artifacts.opensOutside(name)], [true, true], name);
  for (const name of ['a.png', 'a.PDF', 'a.jpeg', 'a.ico']) assert.deepEqual([artifacts.isArtifact(name), artifacts.opensOutside(name)], [true, false], name);
  for (const name of ['a.js', 'html', 'a.html.gz', 'a.htmlx', 'md']) assert.equal(artifacts.isArtifact(name), false, name);
});

test('artifacts: only plain local addresses with a port go by the route for results', () => {
  const route = (url) => artifacts.outsideCall(url);
  assert.deepEqual(route('http://localhost:3000/a?b'), { route: 'artifact/open', body: { url: 'http://localhost:3000/a?b' } });
  assert.deepEqual(route('HTTP://127.0.0.1:80'), { route: 'artifact/open', body: { url: 'http://127.0.0.1:80' } });
  assert.deepEqual(route('http://0.0.0.0:8000/'), { route: 'artifact/open', body: { url: 'http://localhost:8000/' } });
  for (const url of ['https://localhost:3000/', 'http://[::1]:3000/', 'http://localhost/', 'http://localhost.example.com:80/', 'https://example.com/'])
    assert.deepEqual(route(url), { route: 'browser', body: { cmd: 'external', url } }, url);
});

test('artifacts: names and servers are found in what programs print', () => {
  assert.deepEqual(targets('Wrote out/report.html and ./b.SVG.'), ['out/report.html', './b.SVG']);
  assert.deepEqual(targets('see (docs/a.md), [x.png], `c.pdf`: --out=d.gif'), ['docs/a.md', 'x.png', 'c.pdf', 'd.gif']);
  assert.deepEqual(targets('saved to "my pages/first one.html"'), ['my pages/first one.html']);
  assert.deepEqual(targets('/tmp/w/a.html:12:5: bad\nfile:///tmp/a.html'), ['/tmp/w/a.html:12:5', 'file:///tmp/a.html']);
  assert.deepEqual(targets('  ➜  Local:   http://localhost:5173/\n  at http://127.0.0.1:8000, http://[::1]:9/x.'), [
    'http://localhost:5173/',
    'http://127.0.0.1:8000',
    'http://[::1]:9/x',
  ]);
});

test('artifacts: talk about kinds of files, patterns and foreign addresses are no results', () => {
  for (const text of ['all .html files', 'src/*.svg', '**/.md', 'https://example.com/page.html', 'ftp://x/a.html', 'http://localhostess.com/', 'http://localhost.example.com/', 'a.html.gz', '$name.html', 'x'.repeat(2100) + ' a.html'])
    assert.deepEqual(targets(text), [], text.slice(0, 40));
});

test('artifacts: the pieces are the text, whatever it holds', () => {
  for (const text of ['', 'a', '\n', 'a.html', 'x a.html\r\ny "b c.svg" z\n\n', 'http://localhost:1 a.md.']) {
    assert.equal(artifacts.piecesOf(text).map((piece) => piece.text).join(''), text);
  }
  assert.deepEqual(artifacts.piecesOf('a.md b\nc'), [{ text: 'a.md', target: 'a.md' }, { text: ' b\nc', target: '' }]);
});

test('artifacts: a long text takes no long time', () => {
  const line = `${'a.html/'.repeat(280)}\n`;
  const begun = process.cpuUsage();
  artifacts.piecesOf(line.repeat(400));
  assert.ok(process.cpuUsage(begun).user < 4e6, 'seconds of one processor');
});

test('artifacts: a name with a line', () => {
  assert.deepEqual(artifacts.nameAndLine('a/b.html:12:5'), { path: 'a/b.html', line: 12 });
  assert.deepEqual(artifacts.nameAndLine('a.c#L12-L20'), { path: 'a.c', line: 12 });
  assert.deepEqual(artifacts.nameAndLine('file:///x y.md'), { path: '/x y.md' });
  assert.deepEqual(artifacts.nameAndLine(''), { path: '' });
});
