import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { test } from 'node:test';
import * as git from '../../../web/stores/git.js';
import { readPatch } from '../../../web/stores/patch.js';
import * as pulls from '../../../web/stores/pull.js';
import * as drafts from '../../../web/stores/pulldrafts.js';
import { loadViewed, setViewed, viewedOf } from '../../../web/stores/pullviewed.js';
import * as wire from '../../../web/stores/pullwire.js';
import { applyConfig, version } from '../../../web/stores/settings.js';
import * as uistate from '../../../web/stores/uistate.js';
import { deferred, startBridge } from '../support/bridge.mjs';
import { head, makeGh, patch, view } from '../support/github.mjs';

const gh = makeGh({ script: true });
process.on('exit', gh.remove);

/** What the bridge does for "blueprint/exec", with the fake gh: how it ends with a pipe is the shell's. */
function exec(command) {
  const { status, stdout, stderr } = spawnSync('/bin/sh', ['-c', `${command} </dev/null`], { env: gh.env, encoding: 'utf8' });
  return { ok: true, exitCode: status, out: stdout, err: stderr };
}

const answers = { hold: null, comment: { body: { ok: true, url: 'https://github.com/c/1' } }, review: { body: {} } };
const bridge = await startBridge(async ({ route, body }) => {
  if (route === 'git/status') return { body: { ok: true, repos: [{ name: 'p', root: '/w/p', isRepo: true, files: [] }] } };
  await answers.hold?.promise;
  if (route === 'blueprint/exec') return { body: exec(JSON.parse(body).command) };
  if (route === 'github/pr-comment') return answers.comment;
  return route === 'github/pr-review' ? answers.review : undefined;
});
gh.answers('pr-checkout', { out: 'Switched\n' });
const asked = (route) => bridge.asked.filter((one) => one.route === route).map(({ body }) => JSON.parse(body || '{}'));

await uistate.loadUiState();
version.value = '1';
applyConfig({ roots: [{ name: 'p', path: '/w/p' }] });
await git.refreshGit();

const kArg = pulls.pullArg('p', 7);
const page = () => pulls.pullPage(kArg).value;
const kPull = { url: 'https://github.com/ann/proj/pull/7', arg: kArg };

test('pull: the page is read from gh, in the folder that git has told of', async () => {
  await pulls.readPull(kArg);
  assert.equal(page().failure, '');
  assert.equal(page().detail.head, head);
  assert.equal(page().detail.body, view().body);
  assert.deepEqual(page().files.map(({ path, kind, added, removed }) => [path, kind, added, removed]), [
    ['src/fish.c', 'modified', 3, 1],
    ['docs/how to.md', 'renamed', 1, 1],
    ['pond.png', 'added', 0, 0],
  ]);
  assert.ok(asked('blueprint/exec').every(({ root }) => root === 'p'));
  assert.equal(wire.missingWords(page().detail, page().files, page().cut), '');
  assert.deepEqual(pulls.pullOfArg(pulls.pullArg('a/b', 12)), { repo: 'a/b', number: 12 }, 'a name may hold a slash');
});

test('pull: a folder that git does not know is never named', async () => {
  const before = asked('blueprint/exec').length;
  await pulls.readPull(pulls.pullArg('other', 7));
  assert.match(pulls.pullPage('other/7').value.failure, /no repository called other/);
  await assert.rejects(drafts.review({ url: 'https://x', arg: 'other/7' }), /no repository called other/);
  assert.equal(asked('blueprint/exec').length, before);
  assert.equal(asked('github/pr-review').length, 0);
  pulls.keepPulls(new Set([kArg]));
  assert.equal(pulls.pullPage('other/7').value.failure, '', 'nobody has it open: it is forgotten');
  assert.equal(page().files.length, 3);
});

test("pull: gh's words tell why it failed, also in front of a pipe, and what was read stays", async () => {
  gh.answers('pr-diff', { err: 'could not find pull request diff: HTTP 406\n', code: 1 });
  await pulls.readPull(kArg);
  assert.equal(page().failure, 'could not find pull request diff: HTTP 406');
  assert.equal(page().files.length, 3);
  gh.answers('pr-diff', { out: patch });
  gh.answers('pr-view', { err: 'GraphQL: no such number\n', code: 1 });
  await pulls.readPull(kArg);
  assert.equal(page().failure, 'GraphQL: no such number');
  gh.answers('pr-view', { code: 4 });
  await pulls.readPull(kArg);
  assert.equal(page().failure, 'gh exited with code 4');
  gh.answers('pr-view', { out: 'a warning instead' });
  await pulls.readPull(kArg);
  assert.equal(page().failure, 'the answer of gh could not be read');
  gh.answers('pr-view', { out: view() });
  await pulls.readPull(kArg);
  assert.equal(page().failure, '');
});

test('pull: a patch that is too long is cut at its end, and the rest is read file by file', async () => {
  const lines = Array.from({ length: 12000 }, (_, at) => `+line number ${at}`);
  const section = (name) => [`diff --git a/${name} b/${name}`, `--- a/${name}`, `+++ b/${name}`, `@@ -0,0 +1,${lines.length} @@`, ...lines];
  const odd = '"b/t\\303\\244 \\"q\\" b/x.txt"';
  const last = [`diff --git ${odd.replace('b/', 'a/')} ${odd}`, `--- ${odd.replace('b/', 'a/')}`, `+++ ${odd}`, '@@ -1 +1 @@', '-b/x.txt', '+diff --git a/x b/x'];
  const files = [
    { path: 'one.txt', additions: 12000, deletions: 0 },
    { path: "it's $HOME/b/x.txt", additions: 12000, deletions: 0 },
    { path: 'tä "q" b/x.txt', additions: 1, deletions: 1 },
  ];
  gh.answers('pr-diff', { out: [...section('one.txt'), ...section("it's $HOME/b/x.txt"), ...last, ''].join('\n') });
  gh.answers('pr-view', { out: view({ files, changedFiles: 105 }) });
  await pulls.readPull(kArg);
  assert.equal(page().cut, true);
  const one = page().files[0];
  assert.deepEqual([one.path, one.added, one.patch.cut], ['one.txt', 12000, true], 'gh knows the true numbers');
  assert.deepEqual(page().files.slice(1).map(({ kind, patch: none }) => [kind, none]), [['', null], ['', null]]);
  assert.match(wire.missingWords(page().detail, page().files, page().cut), /190 KB.*102 more files/);
  await pulls.readPullFile(kArg, 'tä "q" b/x.txt');
  const read = page().files[2];
  assert.deepEqual(read.patch.hunks[0].lines.map(({ text }) => text), ['b/x.txt', 'diff --git a/x b/x']);
  assert.equal(read.patch.cut, false);
  await pulls.readPullFile(kArg, "it's $HOME/b/x.txt");
  assert.equal(page().files[1].patch.cut, true, 'one file alone is too long as well');
  assert.equal(page().files[1].patch.hunks[0].lines[0].text, 'line number 0', 'its beginning is there');
  await pulls.readPullFile(kArg, 'nowhere.txt');
  assert.match(page().fileFailures.get('nowhere.txt'), /does not have this file/);
  assert.equal(page().reading.size, 0);
  gh.answers('pr-diff', { out: patch });
  gh.answers('pr-view', { out: view() });
  await pulls.readPull(kArg);
});

test('pull: checking out fails with what git said', async () => {
  assert.equal(await pulls.checkOutPull(kArg), 'Switched\n');
  gh.answers('pr-checkout', { err: 'error: Your local changes would be overwritten\n', code: 1 });
  await assert.rejects(pulls.checkOutPull(kArg), /local changes would be overwritten/);
});

test('pull: what was viewed counts for its head only, and outlives a restart', () => {
  const here = { url: kPull.url, head };
  setViewed(here, 'a', true);
  setViewed(here, 'b', true);
  setViewed(here, 'a', true);
  assert.deepEqual(viewedOf(here), ['b', 'a']);
  loadViewed();
  assert.deepEqual(viewedOf(here), ['b', 'a']);
  assert.deepEqual(viewedOf({ ...here, head: 'other' }), []);
  setViewed({ ...here, head: 'other' }, 'c', true);
  assert.deepEqual(viewedOf(here), [], 'new commits make all of it new');
  setViewed({ ...here, head: 'other' }, 'c', false);
  assert.deepEqual(uistate.get('pull.viewed', {}), {});
  for (let at = 0; at < 60; at++) setViewed({ url: `https://x/${at}`, head }, 'a', true);
  assert.equal(Object.keys(uistate.get('pull.viewed', {})).length, 50);
  assert.deepEqual(viewedOf({ url: 'https://x/59', head }), ['a'], 'the latest are kept');
  uistate.set('pull.viewed', 'nonsense');
  loadViewed();
});

const desk = () => drafts.deskOf(kPull.url);
const bodies = () => desk().drafts.map(({ path, line, body }) => `${path}:${line} ${body}`);

test('drafts: a review lands as drafts, once, beside what is there', async () => {
  const comments = [
    { path: 'src/fish.c', line: 4, body: 'Overflows' },
    { path: 'src/fish.c', line: 10, body: 'Between the hunks' },
    { path: 'src/pond.c', line: 1, body: 'Another file' },
    { path: '', line: 1, body: 'nowhere' },
    { path: 'src/fish.c', line: 'x', body: 'no line' },
  ];
  answers.review = { body: { ok: true, summary: 'Mostly fine.', comments, head, title: 'Count the fish' } };
  drafts.beginDraft(kPull.url, { head, path: 'src/fish.c', line: 3 });
  answers.hold = deferred();
  const first = drafts.review(kPull);
  assert.equal(await drafts.review(kPull), 0, 'one at a time');
  assert.ok(drafts.reviewing.value.has(kPull.url));
  answers.hold.resolve();
  answers.hold = null;
  assert.equal(await first, 3);
  assert.deepEqual(asked('github/pr-review'), [{ repo: 'p', number: 7 }]);
  assert.equal(await drafts.review(kPull), 0, 'the same again is nothing new');
  assert.equal(drafts.reviewing.value.size, 0);
  assert.equal(desk().summary, 'Mostly fine.');
  assert.deepEqual(bodies(), ['src/fish.c:3 ', 'src/fish.c:4 Overflows', 'src/fish.c:10 Between the hunks', 'src/pond.c:1 Another file']);
});

test('drafts: those on no line of the patch say why', () => {
  const [own, placed, between, elsewhere] = desk().drafts;
  const why = (draft, files = page().files, now = head) => drafts.astrayWords(draft, files, now);
  assert.deepEqual([why(own), why(placed)], ['', '']);
  assert.match(why(between), /^Line 10 is not in the patch.*takes no comment on it\.$/);
  assert.match(why(between, page().files, 'other'), /other commits by now/);
  assert.match(why(elsewhere), /does not change this file/);
  const unread = page().files.map((file) => ({ ...file, patch: null }));
  assert.match(why(placed, unread), /not read yet/);
  const start = patch.indexOf('+static');
  const cut = wire.pullFiles(page().detail, readPatch(patch.slice(0, start), { cut: true }));
  assert.match(why(placed, cut), /not in the part of the patch that is shown/);
});

test('drafts: they outlive a restart, with what was edited and dropped', () => {
  const [, overflows, between] = desk().drafts;
  drafts.editDraft(kPull.url, overflows.id, 'Overflows after 2^31');
  drafts.dropDraft(kPull.url, between.id);
  drafts.loadDrafts();
  assert.deepEqual(bodies(), ['src/fish.c:3 ', 'src/fish.c:4 Overflows after 2^31', 'src/pond.c:1 Another file']);
  assert.deepEqual(desk().drafts.map(({ from }) => from), ['own', 'review', 'review']);
  const again = drafts.beginDraft(kPull.url, { head, path: 'src/fish.c', line: 3 });
  assert.equal(again, desk().drafts[0].id, 'one begun comment a line');
});

test('drafts: posted one at a time, with the link back; a failure keeps the draft and its words', async () => {
  const [empty, overflows, elsewhere] = desk().drafts;
  assert.equal(await drafts.postDraft(kPull, empty.id), false, 'without words there is nothing to post');
  answers.hold = deferred();
  const first = drafts.postDraft(kPull, overflows.id);
  assert.equal(drafts.posting.value, overflows.id);
  assert.equal(await drafts.postDraft(kPull, elsewhere.id), false);
  answers.hold.resolve();
  answers.hold = null;
  assert.equal(await first, true);
  const body = 'Overflows after 2^31';
  assert.deepEqual(asked('github/pr-comment'), [{ repo: 'p', number: 7, head, path: 'src/fish.c', line: 4, body }]);
  assert.equal(desk().drafts[1].url, 'https://github.com/c/1');
  assert.equal(await drafts.postDraft(kPull, overflows.id), false, 'never twice');
  answers.comment = { status: 400, body: { ok: false, error: 'gh: Validation Failed (HTTP 422)' } };
  assert.equal(await drafts.postDraft(kPull, elsewhere.id), false);
  assert.equal(desk().drafts[2].failure, 'gh: Validation Failed (HTTP 422)');
  assert.equal(desk().drafts[2].body, 'Another file');
  drafts.editDraft(kPull.url, elsewhere.id, 'Another place');
  assert.equal(desk().drafts[2].failure, '', 'it was another text that failed');
  answers.comment = { body: { ok: true, url: '' } };
  assert.equal(await drafts.postDraft(kPull, elsewhere.id), true);
  assert.equal(desk().drafts[2].url, kPull.url, 'without a link, the way to the pull request');
});

test('drafts: what is posted goes when it is taken away, the rest stays', () => {
  drafts.clearPosted(kPull.url);
  assert.deepEqual(bodies(), ['src/fish.c:3 ']);
  assert.equal(desk().summary, 'Mostly fine.');
  drafts.dropDraft(kPull.url, desk().drafts[0].id);
  drafts.clearPosted(kPull.url);
  assert.equal(drafts.desks.value.size, 0);
  assert.deepEqual(uistate.get('pull.drafts', {}), {});
});

test('drafts: too many for the storage are said to be unsaved', () => {
  const id = drafts.beginDraft(kPull.url, { head, path: 'a', line: 1 });
  drafts.editDraft(kPull.url, id, 'x'.repeat(uistate.MAX_BYTES));
  assert.equal(drafts.unsaved.value, true);
  drafts.editDraft(kPull.url, id, 'short');
  assert.equal(drafts.unsaved.value, false);
  drafts.dropDraft(kPull.url, id);
});

test('drafts: nonsense that was kept becomes nothing worse', () => {
  uistate.set('pull.drafts', { x: { drafts: [null, 3, { path: 'a', line: 'b' }] }, y: 5 });
  drafts.loadDrafts();
  assert.deepEqual(drafts.deskOf('x').drafts.map(({ path, line }) => [path, line]), [['', 0], ['', 0], ['a', 0]]);
  uistate.set('pull.drafts', undefined);
  drafts.loadDrafts();
});

test('pull: names as git quotes them', () => {
  assert.equal(wire.gitQuoted('b/tä "q".txt'), '"b/t\\303\\244 \\"q\\".txt"');
  assert.equal(wire.gitQuoted('a\tb\\\x01'), '"a\\tb\\\\\\001"');
  assert.throws(() => wire.filePatchCommand(7, 'two\nlines'), /line break/);
});

