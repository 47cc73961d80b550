import assert from 'node:assert/strict';
import { test } from 'node:test';
import { sessionToken, takeToken } from '../../../web/bridge/token.js';

/** A page at an address, with what its tab kept. */
function pageAt(href, kept = {}) {
  const store = { ...kept };
  const page = {
    location: { href },
    history: { state: null, replaceState: (_state, _title, to) => (page.shown = to) },
    sessionStorage: { getItem: (key) => store[key] ?? null, setItem: (key, value) => (store[key] = value) },
    store,
    shown: '',
  };
  return page;
}

test('token: it is read from the start address and taken out of it', () => {
  const page = pageAt('http://127.0.0.1:4000/?token=abc&x=1#top');
  takeToken(page);
  assert.equal(sessionToken(), 'abc');
  assert.equal(page.shown, '/?x=1#top');
  assert.deepEqual(Object.values(page.store), ['abc']);
});

test('token: after a reload it is what the tab kept, and the address is left alone', () => {
  const first = pageAt('http://127.0.0.1:4000/?token=abc');
  takeToken(first);
  const second = pageAt('http://127.0.0.1:4000/', first.store);
  takeToken(second);
  assert.equal(sessionToken(), 'abc');
  assert.equal(second.shown, '');
});

test('token: a newer one in the address wins over the kept one', () => {
  takeToken(pageAt('http://127.0.0.1:4000/?token=new', { 'marlin-token': 'old' }));
  assert.equal(sessionToken(), 'new');
});

test('token: an empty one leaves the kept one in use', () => {
  takeToken(pageAt('http://127.0.0.1:4000/?token=', { 'marlin-token': 'kept' }));
  assert.equal(sessionToken(), 'kept');
});
