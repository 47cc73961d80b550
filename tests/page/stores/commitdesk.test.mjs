import assert from 'node:assert/strict';
import { beforeEach, test } from 'node:test';
import {
  bringBack,
  cancel,
  changeDesk,
  deskOf,
  deskUsed,
  earlierMessage,
  failureOf,
  isAboutAll,
  isOld,
  isWorking,
  loadDesks,
  lookOver,
  takeProposal,
  writeMessage,
} from '../../../web/stores/commitdesk.js';
import { filesIn, nameOf, readDesk } from '../../../web/stores/commitdeskdiff.js';
import * as git from '../../../web/stores/git.js';
import { messages, setMessage } from '../../../web/stores/gitmessages.js';
import { applyToIndex, readDiff, readPatch } from '../../../web/stores/hunksapply.js';
import { applyConfig, version } from '../../../web/stores/settings.js';
import * as uistate from '../../../web/stores/uistate.js';
import { deferred, startBridge, until } from '../support/bridge.mjs';

/** What the bridge answers now, by route; a test changes it. */
let answers = {};
const bridge = await startBridge(async ({ route, body }) => {
  if (answers[route]) return answers[route](body && JSON.parse(body));
  const repos = [{ name: 'p', root: '/w/p', isRepo: true, branch: 'main', files: [] }];
  return { body: { ok: true, gitAvailable: true, repos } };
});
const asked = (route) => bridge.asked.filter((one) => one.route === route).map(({ body }) => JSON.parse(body));
const repo = () => git.repos.value[0];
const message = () => messages.value.get('/w/p') ?? '';

beforeEach(async () => {
  answers = {};
  bridge.asked.length = 0;
  version.value = '1';
  applyConfig({ roots: [{ name: 'p', path: '/w/p' }] });
  await git.refreshGit();
  setMessage('/w/p', '');
  deskUsed(repo());
});

const says = (text) => {
  answers['git/message'] = () => ({ body: { ok: true, message: text } });
};

test('commit desk: a message goes into an empty box, and waits beside one that is not', async () => {
  says('Theirs');
  await writeMessage(repo(), { everything: true, mark: 'm1' });
  assert.equal(message(), 'Theirs');
  assert.equal(earlierMessage(repo()), '');
  assert.deepEqual(asked('git/message'), [{ repo: 'p', everything: true }]);
  setMessage('/w/p', 'Mine');
  says('Second');
  await writeMessage(repo(), { everything: false, mark: 'm2' });
  assert.equal(message(), 'Mine');
  assert.deepEqual(deskOf(repo()).proposal, { text: 'Second', everything: false, mark: 'm2' });
  takeProposal(repo());
  assert.equal(message(), 'Second');
  assert.equal(deskOf(repo()).proposal, null);
  assert.equal(earlierMessage(repo()), 'Mine');
  bringBack(repo());
  assert.equal(message(), 'Mine');
  assert.equal(deskOf(repo()).proposal.text, 'Second');
  assert.equal(earlierMessage(repo()), '');
});

test('commit desk: asked for into the box, a message never takes the place of words written meanwhile', async () => {
  setMessage('/w/p', 'Mine');
  says('Theirs');
  await writeMessage(repo(), { everything: false, intoBox: true });
  assert.equal(message(), 'Theirs');
  assert.equal(earlierMessage(repo()), 'Mine');
  setMessage('/w/p', 'Theirs, edited');
  assert.equal(earlierMessage(repo()), '');
  const hold = deferred();
  answers['git/message'] = async () => (await hold.promise, { body: { ok: true, message: 'Late' } });
  const late = writeMessage(repo(), { everything: false, intoBox: true });
  assert.ok(isWorking(repo(), 'message'));
  setMessage('/w/p', 'Typed meanwhile');
  hold.resolve();
  await late;
  assert.equal(message(), 'Typed meanwhile');
  assert.equal(deskOf(repo()).proposal.text, 'Late');
});

test('commit desk: one of each work at a time; a failure keeps its words, stopping leaves none', async () => {
  const hold = deferred();
  answers['git/review'] = async () => (await hold.promise, { body: { ok: true, review: 'Fine', truncated: true } });
  const first = lookOver(repo(), { everything: false, mark: 'm' });
  await lookOver(repo(), { everything: false, mark: 'm' });
  assert.ok(isWorking(repo(), 'review'));
  hold.resolve();
  await first;
  assert.equal(asked('git/review').length, 1);
  assert.deepEqual(deskOf(repo()).review, { text: 'Fine', everything: false, mark: 'm', cut: true });
  answers['git/review'] = () => ({ status: 400, body: { ok: false, error: 'nothing is staged' } });
  await lookOver(repo(), { everything: false });
  assert.equal(failureOf(repo(), 'review'), 'nothing is staged');
  assert.equal(deskOf(repo()).review.text, 'Fine');
  const never = deferred();
  answers['git/review'] = () => never.promise;
  const stopped = lookOver(repo(), { everything: false });
  assert.equal(failureOf(repo(), 'review'), '');
  await until(() => asked('git/review').length === 3);
  cancel(repo(), 'review');
  await stopped;
  assert.equal(failureOf(repo(), 'review'), '');
  assert.equal(isWorking(repo(), 'review'), false);
  never.resolve({ body: { ok: true } });
});

test('commit desk: it outlives the page until it is used, but for the wish to push', async () => {
  changeDesk(repo(), { push: true, everything: true, review: { text: 'Fine', everything: true, mark: 'm' } });
  const kept = uistate.get('scm.desks', {});
  changeDesk(repo(), { review: null });
  uistate.set('scm.desks', kept);
  loadDesks();
  assert.equal(deskOf(repo()).review.text, 'Fine');
  assert.equal(isAboutAll(repo()), true);
  changeDesk(repo(), { review: { text: 'x'.repeat(20001), everything: true, mark: '' } });
  assert.equal(uistate.get('scm.desks', {})['/w/p'].review, null);
  deskUsed(repo());
  assert.deepEqual(deskOf(repo()), { review: null, proposal: null, everything: null, push: true });
  for (const odd of [[], 'x', { '/w/p': 5 }, { '/w/p': { review: { text: 1 }, everything: 'yes' } }]) {
    uistate.set('scm.desks', odd);
    loadDesks();
    assert.equal(deskOf(repo()).review, null);
    assert.equal(deskOf(repo()).everything, null);
  }
});

test('commit desk: it is about what is staged, or about all where nothing is; words grow old with the change', () => {
  const with_ = (staged) => ({ ...repo(), files: [{ path: 'a', staged }] });
  assert.equal(isAboutAll(with_(true)), false);
  assert.equal(isAboutAll(with_(false)), true);
  const said = { text: '', everything: false, mark: 'm' };
  assert.equal(isOld(said, { everything: false, mark: 'm' }), false);
  assert.equal(isOld(said, { everything: false, mark: 'n' }), true);
  assert.equal(isOld(said, { everything: true, mark: 'm' }), true);
  assert.equal(isOld(said, { everything: false, mark: '' }), false);
});

const kPatch = `diff --git a/a b.txt b/a b.txt
index 1..2 100644
--- a/a b.txt\t
+++ b/a b.txt\t
@@ -1 +1 @@
-diff --git a/x b/x
+new
diff --git "a/q\\"\\303\\244" "b/q\\"\\303\\244"
new file mode 100644
index 0..1
--- /dev/null
+++ "b/q\\"\\303\\244"
@@ -0,0 +1 @@
+one
diff --git a/old.txt b/dir/new.txt
similarity index 100%
rename from old.txt
rename to dir/new.txt
diff --git a/run me b/run me
old mode 100644
new mode 100755
diff --git a/gone b/gone
deleted file mode 100644
--- a/gone
+++ /dev/null
@@ -1 +0,0 @@
-x
`;

test('commit desk: a patch of several files is taken apart, whatever their names are', () => {
  assert.deepEqual(
    filesIn(kPatch).map(({ path, old, kind, added, removed }) => [path, old, kind, added, removed]),
    [
      ['a b.txt', '', 'modified', 1, 1],
      ['q"ä', '', 'added', 1, 0],
      ['dir/new.txt', 'old.txt', 'renamed', 0, 0],
      ['run me', '', 'modified', 0, 0],
      ['gone', '', 'deleted', 0, 1],
    ],
  );
  assert.deepEqual(filesIn(''), []);
  assert.equal(nameOf('"a\\tb\\\\"'), 'a\tb\\');
});

const told = (patch, more = {}) => ({ body: { ok: true, exitCode: 0, err: '', out: Buffer.from(`${patch}.`, 'latin1').toString('base64'), ...more } });

test('commit desk: the change is read byte for byte; what is cut or failed is not taken for nothing', async () => {
  answers['blueprint/exec'] = () => told('diff --git a/f b/f\n--- a/f\n+++ b/f\n@@ -1 +1 @@\n-\xfc\n+\xe4\n');
  const { files, mark, cut } = await readDesk(repo(), false);
  assert.equal(files[0].diff.runs[0].added[0].text, '\xe4');
  assert.ok(mark);
  assert.equal(cut, false);
  const [{ command, root }] = asked('blueprint/exec');
  assert.equal(root, 'p');
  assert.match(command, /'-C' '\/w\/p' 'diff' .*'--cached'/);
  answers['blueprint/exec'] = () => told('x'.repeat(200000));
  assert.deepEqual(await readDesk(repo(), true), { files: [], mark: '', cut: true });
  await assert.rejects(readDiff(repo(), 'f', 'work'), /too large/);
  answers['blueprint/exec'] = () => ({ body: { ok: true, exitCode: 0, out: '', err: 'fatal: bad revision' } });
  await assert.rejects(readPatch(repo(), ['HEAD'], 'x'), /fatal: bad revision/);
  answers['blueprint/exec'] = () => told('');
  assert.equal(await readDiff(repo(), 'f', 'work'), null);
});

test('commit desk: a patch goes through a file that is gone after it, and git says why it does not fit', async () => {
  answers['file/create'] = () => ({ body: { ok: true } });
  answers['blueprint/exec'] = () => ({ body: { ok: true, exitCode: 1, out: '', err: 'error: patch does not apply\n' } });
  await assert.rejects(applyToIndex(repo(), 'diff\n+\xfc\n', 'Stage'), /^Error: error: patch does not apply$/);
  const [made] = bridge.asked.filter(({ route }) => route === 'file/create');
  const path = /"path":"(p\/\.marlin\/[^"]+\.patch)"/.exec(made.body)[1];
  const [{ command }] = asked('blueprint/exec');
  const file = `/w/${path}`;
  assert.ok(command.includes(`'apply' '--cached' '--whitespace=nowarn' '--no-ignore-whitespace' '--' '${file}'; code=$?; 'rm' '-f' '--' '${file}'; exit $code`));
  assert.equal(bridge.asked.at(-1).route, 'git/status');
});

test('commit desk: a repository that is not known any more is never written to', async () => {
  await assert.rejects(readDiff({ ...repo(), name: 'gone' }, 'f', 'work'), /gone is not among the/);
  assert.deepEqual(asked('blueprint/exec'), []);
});
