import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { existsSync, mkdtempSync, readdirSync, rmSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, beforeEach, test } from 'node:test';
import * as git from '../../../web/stores/git.js';
import { busy } from '../../../web/stores/gitactions.js';
import { GitError, actGit, actLine, gitLine, readGit } from '../../../web/stores/gitexec.js';
import { goBack, listBetween, listEntries, readEntries, someLines } from '../../../web/stores/historyreflog.js';
import { LIST_STASHES, readStashes, stashLine, stashWords } from '../../../web/stores/historystash.js';
import { FileBlame } from '../../../web/stores/blame.js';
import { jobs } from '../../../web/stores/jobs.js';
import { applyConfig, version } from '../../../web/stores/settings.js';
import { startBridge } from '../support/bridge.mjs';
import { repositoryIn } from '../support/repository.mjs';

// Commands run by a real shell on a real repository, in a folder above that of the workspace.
const top = mkdtempSync(join(tmpdir(), "marlin it's $HOME "));
after(() => rmSync(top, { recursive: true, force: true }));
const folder = join(top, 'repo');
const repository = repositoryIn(folder);
const env = {
  PATH: process.env.PATH,
  HOME: top,
  GIT_CONFIG_NOSYSTEM: '1',
  GIT_AUTHOR_NAME: 'Ann',
  GIT_AUTHOR_EMAIL: 'ann@x',
  GIT_COMMITTER_NAME: 'Ann',
  GIT_COMMITTER_EMAIL: 'ann@x',
  LANG: 'C',
};

let status = { name: 'p', root: folder, isRepo: true, branch: 'main', files: [] };
const bridge = await startBridge(({ route, body, query }) => {
  if (route === 'git/status') return { body: { ok: true, gitAvailable: true, repos: [status] } };
  if (route === 'git/diff') {
    const text = repository.git('show', `${query.get('rev')}:${query.get('path')}`);
    return { body: { ok: true, original: text, modified: '' } };
  }
  const { command } = JSON.parse(body);
  const { status: exitCode, stdout, stderr: err } = spawnSync('sh', ['-c', command], { cwd: join(folder, 'sub'), env, encoding: 'utf8' });
  return { body: { ok: true, exitCode, out: stdout.slice(-200_000), err } };
});

const shown = () => git.repos.value[0];
const asked = () => bridge.asked.map(({ route }) => route);

beforeEach(async () => {
  rmSync(folder, { recursive: true, force: true });
  repository.begin({ 'one.txt': 'one\ntwo\nthree\n', 'sub/two.txt': 'two\n', '.marlin/backups/x': 'kept\n'.slice(0, 0) });
  version.value = '1';
  applyConfig({ roots: [{ name: 'p', path: join(folder, 'sub') }] });
  await git.refreshGit();
  bridge.asked.length = 0;
});

test('git by the shell: a repository is acted on from below it, and its status asked again', async () => {
  await actGit(shown(), ['branch', '--', 'topic', 'HEAD'], 'Create topic');
  assert.match(repository.git('branch'), /topic/);
  assert.deepEqual(asked(), ['blueprint/exec', 'git/status']);
  const { root, command } = JSON.parse(bridge.asked[0].body);
  assert.equal(root, 'p');
  assert.ok(command.startsWith("export LC_ALL=C; 'git' '-C' '"));
  assert.equal(busy.value.size, 0);
});

test('git by the shell: names are never read by it', async () => {
  const names = ['x;touch${IFS}pwned', '$(touch${IFS}pwned)', '`touch${IFS}pwned`', "a'b", 'a"b', 'a&b', 'a|b', '!x', '#x', 'a>b'];
  for (const name of names) {
    await actGit(shown(), ['branch', '--', name, 'HEAD'], 'Create');
    await actGit(shown(), ['tag', '--no-sign', '--', name, 'HEAD'], 'Tag');
    await actGit(shown(), ['branch', '-D', '--', name], 'Delete');
    assert.ok(repository.git('tag').split('\n').includes(name), name);
  }
  // A name that looks like an option is one only where nothing says otherwise.
  await assert.rejects(actGit(shown(), ['branch', '-D', '--', '-r'], 'Delete'), /branch '-r' not found/);
  for (const place of [folder, join(folder, 'sub'), top]) assert.ok(!readdirSync(place).includes('pwned'), place);
  assert.throws(() => gitLine(shown(), ['branch', 'a\nb']), /line break/);
});

test('git by the shell: a failure tells both streams and the code, and the status is asked again', async () => {
  const error = await actLine(shown(), 'echo out; echo err >&2; exit 7', 'Try').catch((caught) => caught);
  assert.ok(error instanceof GitError);
  assert.equal(error.message, 'err\nout (code 7)');
  assert.equal(error.exitCode, 7);
  assert.deepEqual(asked(), ['blueprint/exec', 'git/status']);
  await assert.rejects(actLine(shown(), 'exit 3', 'Try'), { message: 'git ended with code 3' });
  await assert.rejects(readGit(shown(), ['log', 'nothing'], 'Look'), /unknown revision[^]*\(code 128\)/);
  await assert.rejects(readGit({ ...shown(), root: '/elsewhere' }, ['status'], 'Look'), /not among the repositories/);
});

test('git by the shell: the row of a command in the tray says what came of it', async () => {
  const lines = ['echo a', 'echo b', 'echo c', 'echo said; echo wrong >&2; exit 9'];
  await Promise.allSettled(lines.map((line) => actLine(shown(), line, 'Try')));
  // Three run at once; the one that had to wait has a row.
  const row = jobs.value.find(({ title }) => title === 'Try in p');
  assert.deepEqual([row?.state, row?.result], ['done', 'wrong\nsaid (code 9)']);
});

test('git by the shell: a conflict is known by its words', async () => {
  repository.git('checkout', '-q', '-b', 'side');
  repository.write('one.txt', 'theirs\n');
  repository.git('commit', '-q', '-am', 'theirs');
  repository.git('checkout', '-q', 'main');
  repository.write('one.txt', 'ours\n');
  repository.git('commit', '-q', '-am', 'ours');
  const error = await actGit(shown(), ['cherry-pick', 'side'], 'Cherry-pick').catch((caught) => caught);
  assert.equal(error.conflict, true);
  assert.match(error.streams, /CONFLICT \(content\): Merge conflict in one.txt/);
  await actGit(shown(), ['cherry-pick', '--abort'], 'Abort');
  assert.equal(repository.git('status', '--porcelain'), '');
  const other = await actGit(shown(), ['cherry-pick', 'nothing'], 'Cherry-pick').catch((caught) => caught);
  assert.equal(other.conflict, false);
});

test('stashes: changes are put away with a message, without the editor’s own files, and come back by number and hash', async () => {
  repository.write('one.txt', 'changed\n');
  repository.write('sub/new file.txt', 'new\n');
  repository.write('sub/.marlin/backups/b', 'unsaved\n');
  await actGit(shown(), stashWords({ message: "it's; $(x)", untracked: true, keepStaged: false }), 'Stash');
  assert.equal(repository.git('status', '--porcelain'), '?? sub/.marlin/\n');
  assert.ok(existsSync(join(folder, 'sub/.marlin/backups/b')));
  repository.write('one.txt', 'again\n');
  await actGit(shown(), stashWords({ message: '', untracked: false, keepStaged: false }), 'Stash');
  const list = readStashes(await readGit(shown(), LIST_STASHES, 'List'));
  assert.deepEqual(list.map(({ index, words }) => [index, words.replace(/: [0-9a-f]{7} /, ': ')]), [
    [0, 'WIP on main: first'],
    [1, "On main: it's; $(x)"],
  ]);
  assert.match(list[0].hash, /^[0-9a-f]{40}$/);
  assert.ok(list[0].time > 1e9);
  await actLine(shown(), stashLine(shown(), 'drop', list[0]), 'Drop');
  // The number is now that of another one.
  const error = await actLine(shown(), stashLine(shown(), 'pop', list[0]), 'Pop').catch((caught) => caught);
  assert.match(error.message, /the list of stashes has changed meanwhile/);
  await actLine(shown(), stashLine(shown(), 'pop', { ...list[1], index: 0 }), 'Pop');
  assert.match(repository.git('status', '--porcelain'), / M one.txt/);
  assert.ok(existsSync(join(folder, 'sub/new file.txt')));
  assert.deepEqual(readStashes(await readGit(shown(), LIST_STASHES, 'List')), []);
});

test('stashes: what is staged can stay', async () => {
  repository.write('one.txt', 'staged\n');
  repository.git('add', 'one.txt');
  repository.write('sub/two.txt', 'changed\n');
  await actGit(shown(), stashWords({ message: '', untracked: false, keepStaged: true }), 'Stash');
  assert.equal(repository.git('status', '--porcelain'), 'M  one.txt\n');
});

test('reflog: a branch’s own notes tell its steps, and lead back to before one', async () => {
  const commit = (/** @type {string} */ text) => {
    repository.write('one.txt', `${text}\n`);
    repository.git('commit', '-q', '-am', text);
  };
  commit('second');
  repository.git('checkout', '-q', '-b', 'other');
  repository.git('checkout', '-q', 'main');
  repository.git('commit', '-q', '--amend', '-m', 'better');
  const entries = readEntries(await readGit(shown(), listEntries('main'), 'Read'));
  assert.deepEqual(entries.map(({ words }) => words), ['Amend: better', 'Commit: second', 'First commit: first']);
  assert.ok(entries.every(({ movesBranch }) => movesBranch));
  assert.equal(entries[2].before, '');
  assert.ok(entries[0].time > 1e9);
  const lost = someLines(await readGit(shown(), listBetween(entries[1].before, 'HEAD'), 'Compare'));
  assert.deepEqual(lost.map((line) => line.slice(8)), ['better']);
  repository.write('sub/two.txt', 'not committed\n');
  await actGit(shown(), goBack(entries[1].before), 'Go back');
  assert.equal(repository.git('log', '--format=%s').trim(), 'first');
  assert.equal(repository.git('status', '--porcelain'), ' M sub/two.txt\n');
  // Those of the head change branches in between, which a branch must not follow.
  repository.git('checkout', '-q', '--detach', 'other');
  const [last] = readEntries(await readGit(shown(), listEntries(''), 'Read'));
  assert.deepEqual([last.words, last.movesBranch], ['Switch from main to other', false]);
});

test('reflog: going back refuses where changes would be overwritten', async () => {
  repository.write('one.txt', 'second\n');
  repository.git('commit', '-q', '-am', 'second');
  repository.write('one.txt', 'not committed\n');
  const [entry] = readEntries(await readGit(shown(), listEntries('main'), 'Read'));
  await assert.rejects(actGit(shown(), goBack(entry.before), 'Go back'), /not uptodate|would be overwritten/);
  assert.equal(repository.git('log', '-1', '--format=%s').trim(), 'second');
});

test('reflog: long lists are cut and say so', () => {
  assert.deepEqual(someLines('a\nb\n'), ['a', 'b']);
  const cut = someLines(Array.from({ length: 51 }, (_, at) => `line ${at}`).join('\n'));
  assert.equal(cut.length, 51);
  assert.equal(cut.at(-1), 'and more');
});

test('blame: git tells some lines at once, and an edited text finds its own', async () => {
  repository.git('config', 'user.name', 'Bob');
  repository.write('sub/two.txt', Array.from({ length: 120 }, (_, at) => `line ${at + 1}\n`).join(''));
  repository.git('commit', '-q', '-am', 'long', '--author=Bob O’Neil <bob@x>');
  repository.write('sub/two.txt', Array.from({ length: 120 }, (_, at) => `line ${at + 1}${at === 99 ? '!' : ''}\n`).join(''));
  repository.git('commit', '-q', '-am', 'mark one');
  await git.refreshGit();
  bridge.asked.length = 0;
  const blame = await FileBlame.of({ repo: shown(), path: 'sub/two.txt' });
  const text = repository.git('show', 'HEAD:sub/two.txt').replace('line 5\n', 'line 5\nnew\n').replace('line 90\n', '');
  assert.equal(blame.committedLine(text, 6), 0);
  const at = blame.committedLine(text, 100);
  assert.equal(at, 100);
  const commit = await blame.commitOf(at);
  assert.equal(commit.subject, 'mark one');
  assert.equal(commit.author, 'Ann');
  assert.equal((await blame.commitOf(99)).author, 'Bob O’Neil');
  assert.equal((await blame.commitOf(99)).path, 'sub/two.txt');
  assert.equal(asked().filter((route) => route === 'blueprint/exec').length, 1);
  assert.equal((await blame.commitOf(3)).subject, 'long');
});

test('blame: lines so long that the answer is cut are asked about alone', async () => {
  repository.write('one.txt', Array.from({ length: 9 }, () => `${'x'.repeat(40_000)}\n`).join(''));
  repository.git('commit', '-q', '-am', 'wide');
  await git.refreshGit();
  const blame = await FileBlame.of({ repo: shown(), path: 'one.txt' });
  assert.equal((await blame.commitOf(5)).subject, 'wide');
  assert.equal(blame.lines.size, 1);
});
