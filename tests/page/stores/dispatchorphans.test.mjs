// Worktrees that no task belongs to any more, in real repositories: found, compared, landed, removed. The bridge of
// these tests runs each command as the program does.
import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { existsSync, mkdirSync, mkdtempSync, readFileSync, realpathSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { join } from 'node:path';
import { after, beforeEach, test } from 'node:test';
import { startBridge } from '../support/bridge.mjs';
import { repositoryIn } from '../support/repository.mjs';

const top = realpathSync(mkdtempSync(join(tmpdir(), 'marlin-orphans-')));
after(() => rmSync(top, { recursive: true, force: true }));
const data = join(top, 'da ta');
const home = join(data, 'marlin-bench/worktrees');
const env = {
  PATH: process.env.PATH,
  HOME: top,
  XDG_DATA_HOME: data,
  GIT_CONFIG_GLOBAL: '/dev/null',
  GIT_CONFIG_NOSYSTEM: '1',
  GIT_AUTHOR_NAME: 'Ann',
  GIT_AUTHOR_EMAIL: 'ann@example.invalid',
  GIT_COMMITTER_NAME: 'Ann',
  GIT_COMMITTER_EMAIL: 'ann@example.invalid',
};
/** @type {string[]} */
let ran = [];

let folder = '';
await startBridge(({ route, body }) => {
  if (route === 'dispatch/list') {
    return { body: { tasks: [], limit: 2, roots: [{ name: 'proj', git: true }, { name: 'plain', git: false }] } };
  }
  if (route !== 'blueprint/exec') return { body: { ok: true } };
  const { command } = JSON.parse(body);
  assert.equal(command.includes('\n'), false);
  ran.push(command);
  // As the bridge does it: the input ends at once.
  const { status, stdout, stderr } = spawnSync('/bin/sh', ['-c', `${command} </dev/null`], {
    cwd: folder, env, encoding: 'utf8',
  });
  return { body: { ok: true, exitCode: status, out: stdout.slice(-200000), err: stderr.slice(-200000) } };
});

const { readTasks } = await import('../../../web/stores/dispatch.js');
const { listLine, orphansIn, readListing, readNumstat, landingMessage } = await import('../../../web/stores/dispatchorphans.js');
const { hideBackups } = await import('../../../web/stores/dispatchfolders.js');
const memory = await import('../../../web/stores/dispatchmemory.js');
const rescue = await import('../../../web/stores/dispatchrescue.js');
const { applyConfig } = await import('../../../web/stores/settings.js');
await readTasks();

let count = 0;
/** @type {ReturnType<typeof repositoryIn>} */
let repo;
beforeEach(() => {
  ran = [];
  folder = join(top, `it's a $(touch pwned) "repo" ${++count}`);
  repo = repositoryIn(folder);
  repo.begin({ 'a.txt': 'one\n', 'b.txt': 'two\n' });
  applyConfig({ roots: [{ name: 'proj', path: folder }, { name: 'plain', path: top }] });
  rmSync(home, { recursive: true, force: true });
  mkdirSync(home, { recursive: true });
});

/** A worktree as a task has left it, with a branch of an odd name. */
function leave(id = 't3-48211', { memo = {}, branch = `marlin/it's-$HOME-${id}` } = {}) {
  const directory = join(home, id);
  repo.git('worktree', 'add', '-q', '-b', branch, directory, 'HEAD');
  memory.rememberTask(
    { id, title: 'Fix the "parser"\nand more', repoRoot: folder, directory, branch, baseBranch: 'main', createdAt: 1, ...memo },
    'Fix the "parser"',
  );
  const inside = repositoryIn(directory);
  return { id, directory, branch, ...inside };
}
const only = async () => {
  await rescue.findOrphans();
  assert.equal(rescue.orphans.value.length, 1);
  return rescue.orphans.value[0];
};
const branches = () => repo.git('branch', '--format=%(refname:short)').trim().split('\n');

test('orphans: only worktrees right below the program’s own folder, that no open task has, with what is remembered', async () => {
  const left = leave();
  repo.git('worktree', 'add', '-q', '-b', 'own', join(top, `own ${count}`));
  repo.git('worktree', 'add', '-q', '--detach', join(home, 'deep/er'));
  const orphan = await only();
  assert.deepEqual(
    [orphan.id, orphan.directory, orphan.branch, orphan.repoRoot, orphan.title, orphan.prompt, orphan.baseBranch, orphan.gone],
    [left.id, left.directory, left.branch, folder, 'Fix the "parser"\nand more', 'Fix the "parser"', 'main', false],
  );
  assert.equal(existsSync(join(folder, 'pwned')), false);
  assert.equal(ran.length, 1, 'one command for all folders');
});

test('orphans: what the shell printed is read line by line, and a task of the list keeps its worktree', () => {
  const out = [
    'worktrees /data/worktrees', 'folder /p', 'worktree /p', 'HEAD 1111', 'branch refs/heads/main', '',
    'worktree /data/worktrees/t1-1', 'HEAD 2222', 'branch refs/heads/marlin/x', '',
    'worktree /data/worktrees/t2-2', 'HEAD 3333', 'detached', 'prunable gitdir file points to non-existent location', '',
    'worktree /data/worktrees/t4-4', 'HEAD 4444', 'branch refs/heads/y', 'locked', '',
    'folder /p/below', 'worktree /p', 'HEAD 1111', '', 'worktree /data/worktrees/t1-1', 'HEAD 2222', '',
    'folder /none', '',
  ].join('\n');
  const listing = readListing(out);
  assert.equal(listing.home, '/data/worktrees');
  const found = orphansIn(listing, [{ directory: '/data/worktrees/t4-4' }], [
    { id: 't1-1', branch: 'another', title: 'Of another run', prompt: '', repoRoot: '', directory: '', baseBranch: '', createdAt: 0 },
  ]);
  assert.deepEqual(found.map(({ id, branch, gone, title }) => [id, branch, gone, title]), [
    ['t1-1', 'marlin/x', false, 'marlin/x'],
    ['t2-2', '', true, 't2-2'],
  ]);
  assert.deepEqual(orphansIn(readListing(''), [], []), []);
  assert.match(listLine(["/it's"]), /'\/it'\\''s'/);
});

test('orphans: the changes hold new, committed and open work since the branch began', async () => {
  const left = leave();
  left.write('a.txt', 'ONE\n');
  left.git('commit', '-qam', 'mine');
  left.write('new file.txt', 'new\n');
  repo.write('b.txt', 'two\nthree\n');
  repo.git('commit', '-qam', 'main went on');
  const diff = await rescue.diffOfOrphan(await only());
  assert.deepEqual(diff.files, [{ path: 'a.txt', added: 1, removed: 1 }, { path: 'new file.txt', added: 1, removed: 0 }]);
  assert.deepEqual([diff.added, diff.removed, diff.fileCount, diff.cut], [2, 1, 2, false]);
  assert.match(diff.patch, /^diff --git a\/a.txt/);
});

test('orphans: a patch that is too large keeps its beginning and says so', async () => {
  const left = leave();
  left.write('a.txt', 'a long line of words\n'.repeat(12000));
  const diff = await rescue.diffOfOrphan(await only());
  assert.deepEqual([diff.cut, diff.added], [true, 12000]);
  assert.match(diff.patch, /^diff --git/);
});

test('orphans: landing commits what is left, merges into what is checked out, and takes folder and branch away', async () => {
  const left = leave();
  left.write('new.txt', 'new\n');
  await rescue.landOrphan(await only());
  assert.equal(readFileSync(join(folder, 'new.txt'), 'utf8'), 'new\n');
  assert.equal(existsSync(left.directory), false);
  assert.deepEqual(branches(), ['main']);
  assert.deepEqual(repo.git('log', '--topo-order', '--format=%s').trim().split('\n').slice(1), ['Dispatch: Fix the "parser"', 'first']);
  assert.equal(repo.git('rev-list', '--merges', '--count', 'HEAD').trim(), '1');
  assert.deepEqual(rescue.orphans.value, []);
  assert.equal(memory.memoryOf(left.id), undefined);
});

test('orphans: a conflict is taken back, with everything as it was', async () => {
  const left = leave();
  left.write('a.txt', 'theirs\n');
  repo.write('a.txt', 'ours\n');
  repo.git('commit', '-qam', 'ours');
  repo.write('b.txt', 'not committed\n');
  await assert.rejects(rescue.landOrphan(await only()), /the merge did not go through, and nothing was changed: .*Commit or stash/s);
  assert.equal(readFileSync(join(folder, 'a.txt'), 'utf8'), 'ours\n');
  assert.equal(readFileSync(join(folder, 'b.txt'), 'utf8'), 'not committed\n');
  assert.equal(repo.git('status', '--porcelain').trim(), 'M b.txt');
  assert.equal(rescue.orphans.value.length, 1);
  assert.ok(memory.memoryOf(left.id));
  assert.equal(rescue.rescueUnderWay.value.size, 0);
});

test('orphans: a merge that git refuses before it begins is not "taken back"', async () => {
  const left = leave();
  left.write('a.txt', 'theirs\n');
  repo.write('a.txt', 'mine, not committed\n');
  await assert.rejects(rescue.landOrphan(await only()), /did not go through/);
  assert.equal(readFileSync(join(folder, 'a.txt'), 'utf8'), 'mine, not committed\n');
  assert.equal(ran.some((line) => line.includes("'--abort'")), false);
});

test('orphans: the user’s own merge that is under way is left alone', async () => {
  const left = leave();
  left.write('new.txt', 'new\n');
  repo.git('checkout', '-q', '-b', 'side');
  repo.write('a.txt', 'side\n');
  repo.git('commit', '-qam', 'side');
  repo.git('checkout', '-q', 'main');
  repo.write('a.txt', 'main\n');
  repo.git('commit', '-qam', 'main');
  assert.throws(() => repo.git('merge', 'side'));
  repo.write('a.txt', 'half resolved\n');
  await assert.rejects(rescue.landOrphan(await only()), /a merge is under way/);
  assert.equal(readFileSync(join(folder, 'a.txt'), 'utf8'), 'half resolved\n');
  assert.ok(repo.git('rev-parse', '--verify', 'MERGE_HEAD'));
});

test('orphans: one that changed nothing cannot land', async () => {
  leave();
  await assert.rejects(rescue.landOrphan(await only()), /changed nothing/);
  assert.equal(rescue.orphans.value.length, 1);
});

test('orphans: what would be lost is counted: open files, and commits that no other branch has', async () => {
  const left = leave();
  assert.deepEqual(await rescue.lossOf(await only()), { files: [], commits: 0 });
  left.write('a.txt', 'x\n');
  left.git('commit', '-qam', 'one');
  left.write('c.txt', 'x\n');
  assert.deepEqual(await rescue.lossOf(await only()), { files: ['?? c.txt'], commits: 1 });
  repo.git('branch', 'copy', left.branch);
  assert.deepEqual(await rescue.lossOf(await only()), { files: ['?? c.txt'], commits: 0 });
});

test('orphans: removing refuses open files without force, and takes the branch too', async () => {
  const left = leave();
  left.write('a.txt', 'x\n');
  const orphan = await only();
  await assert.rejects(rescue.removeOrphan(orphan, { force: false }), /contains modified or untracked files/);
  assert.ok(existsSync(left.directory));
  assert.ok(branches().includes(left.branch));
  await rescue.removeOrphan(orphan, { force: true });
  assert.equal(existsSync(left.directory), false);
  assert.deepEqual(branches(), ['main']);
  assert.deepEqual(rescue.orphans.value, []);
});

test('orphans: one whose folder is gone is found, and removed with its branch', async () => {
  const left = leave();
  rmSync(left.directory, { recursive: true });
  const orphan = await only();
  assert.equal(orphan.gone, true);
  assert.deepEqual(await rescue.lossOf(orphan), { files: [], commits: 0 });
  await rescue.removeOrphan(orphan, { force: false });
  assert.deepEqual(branches(), ['main']);
  assert.deepEqual(rescue.orphans.value, []);
});

test('orphans: what somebody else has removed is remembered no longer', async () => {
  const left = leave();
  const other = leave('t4-1', { memo: { repoRoot: '/elsewhere' } });
  repo.git('worktree', 'remove', left.directory);
  repo.git('worktree', 'remove', other.directory);
  await rescue.findOrphans();
  assert.equal(memory.memoryOf(left.id), undefined);
  assert.ok(memory.memoryOf(other.id), 'its repository was not looked at');
});

test('orphans: the message of a long title is cut as the program cuts it', () => {
  assert.equal(landingMessage('x'.repeat(68)), `Dispatch: ${'x'.repeat(68)}`);
  assert.equal(landingMessage('x'.repeat(69)), `Dispatch: ${'x'.repeat(65)}...`);
  assert.equal(landingMessage('\n one \ntwo'), 'Dispatch: one');
});

test('orphans: a worktree that is opened keeps the editor’s backups out of what lands, told to git once', async () => {
  const left = leave();
  await hideBackups(left.directory);
  await hideBackups(left.directory);
  left.write('.marlin/backups/x.json', '{}');
  left.write('new.txt', 'new\n');
  const diff = await rescue.diffOfOrphan(await only());
  assert.deepEqual(diff.files.map(({ path }) => path), ['new.txt']);
  const ignored = readFileSync(join(folder, '.git/info/exclude'), 'utf8');
  assert.equal(ignored.split('\n').filter((line) => line === '.marlin/').length, 1);
  assert.equal(repo.git('status', '--porcelain').trim(), '', 'no file of the project says so');
  await assert.rejects(hideBackups(join(home, 'none')), /none/);
});

test('orphans: numstat counts a binary file as nothing', () => {
  assert.deepEqual(readNumstat('1\t2\ta b.txt\n-\t-\tp.png\nnoise\n'), [
    { path: 'a b.txt', added: 1, removed: 2 },
    { path: 'p.png', added: 0, removed: 0 },
  ]);
});
