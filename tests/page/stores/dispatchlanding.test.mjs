import assert from 'node:assert/strict';
import { spawnSync } from 'node:child_process';
import { chmodSync, existsSync, mkdirSync, mkdtempSync, readFileSync, rmSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';
import { after, test } from 'node:test';
import { foretell } from '../../../web/stores/dispatchforetell.js';
import { judge, verdictOf } from '../../../web/stores/dispatchjudge.js';
import {
  OUTPUT_BYTES,
  canForetell,
  readDirt,
  readFacts,
  readNames,
  readTrial,
} from '../../../web/stores/dispatchlanding.js';

const top = mkdtempSync(join(tmpdir(), 'marlin-landing-'));
after(() => rmSync(top, { recursive: true, force: true }));

const env = {
  PATH: process.env.PATH,
  HOME: top,
  GIT_CONFIG_NOSYSTEM: '1',
  GIT_AUTHOR_NAME: 'Ann',
  GIT_AUTHOR_EMAIL: 'ann@example.invalid',
  GIT_COMMITTER_NAME: 'Ann',
  GIT_COMMITTER_EMAIL: 'ann@example.invalid',
};

const shell = (command, more = {}) => {
  const { status, stdout, stderr } = spawnSync('/bin/sh', ['-c', `${command} </dev/null`], {
    env: { ...env, ...more },
    encoding: 'utf8',
    maxBuffer: 1 << 26,
  });
  return { exitCode: status ?? -1, out: stdout.slice(-OUTPUT_BYTES), err: stderr };
};

let scenes = 0;

/** A repository with a task's worktree, as the bridge makes them. */
function scene(files = { 'a.txt': '1\n2\n3\n4\n5\n6\n7\n8\n9\n', 'b.txt': 'b\n' }) {
  const home = join(top, `it's ${++scenes}`);
  const repo = join(home, 'the repo');
  const directory = join(home, 'tree');
  const branch = 'marlin/do-it-t1-1';
  const git = (folder, ...args) => {
    const { status, stdout, stderr } = spawnSync('git', args, { cwd: folder, env, encoding: 'utf8' });
    return { ok: status === 0, out: stdout.trim(), err: stderr.trim() };
  };
  const put = (folder) => (path, text) => {
    mkdirSync(dirname(join(folder, path)), { recursive: true });
    writeFileSync(join(folder, path), text);
  };
  mkdirSync(repo, { recursive: true });
  const here = { git: (...args) => git(repo, ...args), write: put(repo) };
  const there = { git: (...args) => git(directory, ...args), write: put(directory) };
  here.git('init', '-q', '-b', 'main');
  for (const [path, text] of Object.entries(files)) here.write(path, text);
  here.git('add', '-A');
  here.git('commit', '-qm', 'first');
  const base = here.git('rev-parse', 'HEAD').out;
  here.git('worktree', 'add', '-q', '-b', branch, directory, base);
  const task = { repoRoot: repo, directory, branch, baseBranch: 'main', status: 'done' };
  return { repo, directory, here, there, task, base, commit: (folder, words) => commit(folder, words) };

  function commit(folder, words) {
    folder.git('add', '-A');
    folder.git('commit', '-qm', words);
  }
}

/** What the bridge does to land a task, one step after the other. */
function land({ here, there, task, base }) {
  there.git('add', '-A');
  if (there.git('diff', '--cached', '--quiet', base).ok) return { ok: false, words: 'nothing' };
  if (!there.git('diff', '--cached', '--quiet').ok && !there.git('commit', '-m', 'Dispatch: it').ok) {
    return { ok: false, words: 'commit' };
  }
  const merged = here.git('merge', '--no-ff', '--no-edit', task.branch);
  if (!merged.ok) here.git('merge', '--abort');
  return { ok: merged.ok, words: merged.err || merged.out };
}

const told = ({ findings }) => findings.map(({ id }) => id);

/** Scenes, what is foretold of them, and whether landing them goes through. */
const kScenes = [
  {
    name: 'new and changed files that are not committed',
    make: ({ there }) => {
      there.write('a.txt', 'one\n2\n3\n4\n5\n6\n7\n8\n9\n');
      there.write('new dir/ü ümläut.txt', 'n\n');
    },
    expected: [],
    seen: {
      uncommitted: true,
      changed: ['a.txt', 'new dir/ü ümläut.txt'],
      drift: 0,
      counts: { files: 2, added: 2, removed: 1 },
    },
  },
  {
    name: 'work that the agent committed itself, with drift that git joins',
    make: ({ here, there, commit }) => {
      there.write('a.txt', 'one\n2\n3\n4\n5\n6\n7\n8\n9\n');
      commit(there, 'mine');
      here.write('a.txt', '1\n2\n3\n4\n5\n6\n7\n8\nnine\n');
      commit(here, 'drift');
    },
    expected: ['joined'],
    seen: { uncommitted: false, drift: 1, bothSides: ['a.txt'] },
  },
  {
    name: 'a conflict of what is not committed yet',
    make: ({ here, there, commit }) => {
      there.write('a.txt', 'one\n2\n3\n4\n5\n6\n7\n8\n9\n');
      here.write('a.txt', 'uno\n2\n3\n4\n5\n6\n7\n8\n9\n');
      commit(here, 'drift');
    },
    expected: ['conflicts'],
    seen: { drift: 1, conflicts: [{ path: 'a.txt', words: '(content): Merge conflict in a.txt' }] },
  },
  {
    name: 'a file that one side deletes and the other changes',
    make: ({ here, there, commit }) => {
      there.git('rm', '-q', 'b.txt');
      here.write('b.txt', 'other\n');
      commit(here, 'drift');
    },
    expected: ['conflicts'],
  },
  {
    name: 'nothing at all',
    make: () => {},
    expected: ['nothing'],
  },
  {
    name: 'changes that were taken back again',
    make: ({ there, commit }) => {
      there.write('b.txt', 'other\n');
      commit(there, 'there');
      there.write('b.txt', 'b\n');
    },
    expected: ['nothing'],
  },
  {
    name: 'own changes in other files',
    make: ({ here, there }) => {
      there.write('a.txt', 'x\n');
      here.write('b.txt', 'mine\n');
    },
    expected: ['beside'],
  },
  {
    name: 'own changes in a file that lands',
    make: ({ here, there }) => {
      there.write('a.txt', 'x\n');
      here.write('a.txt', 'mine\n');
    },
    expected: ['overlap'],
    paths: { overlap: ['a.txt'] },
  },
  {
    name: 'own changes in a file that the task changed as the branch already did',
    make: ({ here, there, commit }) => {
      there.write('a.txt', 'x\n');
      there.write('new.txt', 'x\n');
      here.write('a.txt', 'x\n');
      commit(here, 'the same');
      here.write('a.txt', 'mine\n');
    },
    expected: ['beside'],
    seen: { touched: ['new.txt'] },
  },
  {
    name: 'a staged change anywhere',
    make: ({ here, there }) => {
      there.write('a.txt', 'x\n');
      here.write('b.txt', 'mine\n');
      here.git('add', 'b.txt');
    },
    expected: ['staged'],
  },
  {
    name: 'a file that is only marked to be added',
    make: ({ here, there }) => {
      there.write('a.txt', 'x\n');
      here.write('c.txt', 'mine\n');
      here.git('add', '-N', 'c.txt');
    },
    expected: ['staged'],
  },
  {
    name: 'an unknown file where a new one lands',
    make: ({ here, there }) => {
      there.write('sub/n ew.txt', 'x\n');
      here.write('sub/n ew.txt', 'mine\n');
    },
    expected: ['untracked'],
    paths: { untracked: ['sub/n ew.txt'] },
  },
  {
    name: 'an ignored file where a new one lands',
    make: ({ here, there }) => {
      there.write('.env', 'x\n');
      there.git('add', '-f', '.env');
      here.write('.git/info/exclude', '.env\n');
      here.write('.env', 'mine\n');
    },
    expected: ['ignored'],
    paths: { ignored: ['.env'] },
  },
  {
    name: 'another branch than the one the task began on',
    make: ({ here, there }) => {
      there.write('a.txt', 'x\n');
      here.git('checkout', '-q', '-b', 'feature/two');
    },
    expected: ['other'],
    seen: { place: 'feature/two' },
  },
  {
    name: 'no branch checked out',
    make: ({ here, there }) => {
      there.write('a.txt', 'x\n');
      here.git('checkout', '-q', '--detach');
    },
    expected: ['detached'],
    seen: { place: /^the detached head [0-9a-f]{7}$/ },
  },
  {
    name: 'a cherry-pick under way',
    make: ({ here, there, commit }) => {
      there.write('a.txt', 'x\n');
      here.git('checkout', '-q', '-b', 'else');
      here.write('b.txt', 'else\n');
      commit(here, 'else');
      here.git('checkout', '-q', 'main');
      here.write('b.txt', 'main\n');
      commit(here, 'main');
      here.git('cherry-pick', 'else');
    },
    expected: ['midway', 'unmerged'],
  },
  {
    name: 'work that the branch has already',
    make: ({ here, there, task, commit }) => {
      there.write('a.txt', 'x\n');
      commit(there, 'x');
      here.git('merge', '-q', '--ff-only', task.branch);
    },
    expected: [],
    seen: { touched: [], drift: 1 },
  },
  {
    name: 'a task that has left its branch, with work on it',
    make: ({ there, commit }) => {
      there.write('a.txt', 'x\n');
      commit(there, 'x');
      there.git('checkout', '-q', '--detach');
      there.write('b.txt', 'left behind\n');
    },
    expected: ['strayed'],
    seen: {
      touched: ['a.txt'],
      changed: ['a.txt'],
      uncommitted: false,
      counts: { files: 1, added: 1, removed: 9 },
    },
  },
  {
    name: 'a task that still runs',
    make: ({ there, task }) => {
      there.write('a.txt', 'x\n');
      task.status = 'running';
    },
    expected: ['running'],
  },
  {
    name: 'own changes that git puts away by itself',
    make: ({ here, there }) => {
      there.write('a.txt', 'x\n2\n3\n4\n5\n6\n7\n8\n9\n');
      here.write('a.txt', '1\n2\n3\n4\n5\n6\n7\n8\nmine\n');
      here.git('config', 'merge.autoStash', 'yes');
    },
    expected: ['overlap'],
  },
];

for (const { name, make, expected, seen = {}, paths = {} } of kScenes) {
  test(`landing: ${name}: what is foretold is what happens`, async () => {
    const place = scene();
    make(place);
    const before = [place.here.git('rev-parse', 'HEAD').out, place.there.git('rev-parse', 'HEAD').out];
    const landing = await foretell(place.task, async (command) => shell(command));
    assert.deepEqual(told(landing), expected);
    for (const [key, value] of Object.entries(seen)) {
      if (value instanceof RegExp) assert.match(landing[key], value);
      else assert.deepEqual(landing[key], value, key);
    }
    for (const [id, list] of Object.entries(paths)) {
      assert.deepEqual(landing.findings.find((one) => one.id === id)?.paths, list);
    }
    const now = [place.here.git('rev-parse', 'HEAD').out, place.there.git('rev-parse', 'HEAD').out];
    assert.deepEqual(now, before, 'asking moved a branch');
    const goesThrough = ['clear', 'ask'].includes(verdictOf(landing));
    const { ok, words } = land(place);
    assert.equal(ok, goesThrough, words);
  });
}

test('landing: what lands is what was foretold, file by file', async () => {
  const place = scene();
  place.there.write('a.txt', 'one\n2\n3\n4\n5\n6\n7\n8\n9\n');
  place.there.write('new.txt', 'n\n');
  place.here.write('a.txt', '1\n2\n3\n4\n5\n6\n7\n8\nnine\n');
  place.commit(place.here, 'drift');
  const before = place.here.git('rev-parse', 'HEAD').out;
  const { touched } = await foretell(place.task, async (command) => shell(command));
  assert.ok(land(place).ok);
  assert.deepEqual(place.here.git('diff', '--name-only', before, 'HEAD').out.split('\n'), touched);
  assert.equal(readFileSync(join(place.repo, 'a.txt'), 'utf8'), 'one\n2\n3\n4\n5\n6\n7\n8\nnine\n');
});

test("landing: the user's own merge is never put at risk", async () => {
  const place = scene();
  place.there.write('b.txt', 'x\n');
  const { here } = place;
  here.git('checkout', '-q', '-b', 'else');
  here.write('a.txt', 'else\n');
  place.commit(here, 'else');
  here.git('checkout', '-q', 'main');
  here.write('a.txt', 'main\n');
  place.commit(here, 'main');
  here.git('merge', 'else');
  const landing = await foretell(place.task, async (command) => shell(command));
  assert.equal(verdictOf(landing), 'stop');
  assert.match(landing.findings[0].words, /^A merge is under way on main\./);
  // Why it must not be tried: the landing fails, and takes the merge with it.
  assert.ok(existsSync(join(place.repo, '.git/MERGE_HEAD')));
  assert.equal(land(place).ok, false);
  assert.equal(existsSync(join(place.repo, '.git/MERGE_HEAD')), false);
});

test('landing: a folder or a branch that is gone, or that belongs to another repository', async () => {
  const gone = scene();
  rmSync(gone.directory, { recursive: true });
  const run = async (command) => shell(command);
  assert.deepEqual(told(await foretell(gone.task, run)), ['folder']);

  const other = scene();
  const task = { ...other.task, directory: scene().directory };
  assert.equal((await foretell(task, run)).findings[0].id, 'folder');

  const branchless = scene();
  branchless.there.git('checkout', '-q', '--detach');
  branchless.here.git('branch', '-D', branchless.task.branch);
  assert.equal((await foretell(branchless.task, run)).findings[0].id, 'branch');
  const nowhere = { ...branchless.task, repoRoot: join(top, 'not there') };
  await assert.rejects(foretell(nowhere, run), /not there/);
});

test('landing: without a name git cannot commit', async () => {
  const place = scene();
  place.there.write('a.txt', 'x\n');
  const nobody = { GIT_AUTHOR_NAME: '', GIT_COMMITTER_NAME: '' };
  const landing = await foretell(place.task, async (command) => shell(command, nobody));
  assert.equal(landing.findings[0].id, 'identity');
});

test('landing: an older git cannot foretell conflicts, and says so', async () => {
  assert.ok(canForetell('git version 2.38.0'));
  assert.ok(canForetell('git version 10.1'));
  for (const version of ['git version 2.37.9', 'git version 1.99.0', '']) assert.ok(!canForetell(version));

  const place = scene();
  place.there.write('a.txt', 'x\n');
  place.here.write('a.txt', 'mine\n');
  const folder = join(top, 'old git');
  mkdirSync(folder);
  const script = '#!/bin/sh\n[ "$1" = --version ] && { echo "git version 2.30.2"; exit; }\nexec /usr/bin/git "$@"\n';
  writeFileSync(join(folder, 'git'), script);
  chmodSync(join(folder, 'git'), 0o755);
  const old = { PATH: `${folder}:${env.PATH}` };
  const landing = await foretell(place.task, async (command) => shell(command, old));
  assert.deepEqual(told(landing), ['overlap', 'unknown']);
  assert.match(landing.findings[1].words, /it needs git 2\.38, and this is git version 2\.30\.2/);
});

test('landing: a task that worked in place only closes', async () => {
  const task = { repoRoot: '/p', directory: '/p', branch: '', baseBranch: '', status: 'done' };
  const landing = await foretell(task, () => assert.fail('git was asked'));
  assert.equal(landing.inPlace, true);
  assert.equal(verdictOf(landing), 'clear');
});

test('landing: a repository whose folder is only a part of it', async () => {
  const place = scene({ 'part/a.txt': 'a\n', 'b.txt': 'b\n' });
  place.there.write('part/a.txt', 'x\n');
  place.there.write('part/new.txt', 'x\n');
  place.here.write('part/a.txt', 'mine\n');
  place.here.write('part/new.txt', 'mine\n');
  const task = { ...place.task, repoRoot: join(place.repo, 'part') };
  const landing = await foretell(task, async (command) => shell(command));
  assert.deepEqual(told(landing), ['overlap', 'untracked']);
  assert.deepEqual(landing.findings.map(({ paths }) => paths), [['part/a.txt'], ['part/new.txt']]);
});

test('landing: the trial is read whole, whatever it holds', () => {
  const tree = 'c'.repeat(40);
  const parts = [tree, 'a', 'b c', '', '1', 'x', 'Auto-merging', 'Auto-merging x\n'];
  parts.push('2', 'a', 'b c', 'CONFLICT (rename/rename)', 'CONFLICT (rename/rename): a and b c\n', '');
  const trial = readTrial({ exitCode: 1, out: parts.join('\0'), err: '' });
  assert.deepEqual(trial.conflicts, [
    { path: 'a', words: '(rename/rename): a and b c' },
    { path: 'b c', words: '(rename/rename): a and b c' },
  ]);
  assert.deepEqual(trial.bothSides, ['x']);

  const failed = readTrial({ exitCode: 128, out: '', err: 'fatal: refusing to merge unrelated histories\n' });
  assert.deepEqual([failed.known, failed.why], [false, 'fatal: refusing to merge unrelated histories']);
  const unusable = readTrial({ exitCode: 1, out: '', err: 'merge-tree: x - not something we can merge' });
  assert.equal(unusable.known, false);
  assert.equal(readTrial({ exitCode: 0, out: '', err: '' }).known, false);
  const odd = readTrial({ exitCode: 0, out: `${tree}\0\0-3\0x\0y`, err: '' });
  assert.deepEqual([odd.known, odd.bothSides], [true, []]);

  const cut = readTrial({ exitCode: 1, out: 'lf a name\0and more\0\0', err: '' });
  assert.deepEqual([cut.known, cut.conflicts.length], [true, 1]);
});

test('landing: of names that were cut the first is left out, and it is said', () => {
  assert.deepEqual(readNames('a\0b c\0'), { paths: ['a', 'b c'], cut: false });
  assert.deepEqual(readNames(''), { paths: [], cut: false });
  const rest = `lf a name\0${'x'.repeat(OUTPUT_BYTES - 11)}\0`;
  assert.equal(rest.length, OUTPUT_BYTES);
  assert.deepEqual(readNames(rest), { paths: ['x'.repeat(OUTPUT_BYTES - 11)], cut: true });
  const facts = readFacts('head abc\nbranch refs/heads/main\nidentity x\ntip t\ntheirhead t\ntheirtree y\n');
  const names = { paths: [], cut: false };
  const dirty = { staged: [], unstaged: [], unmerged: [], cut: true };
  const trial = { known: true, why: '', tree: 'x', conflicts: [], bothSides: [] };
  const task = { repoRoot: '/r', directory: '/w', branch: 'b', baseBranch: 'main', status: 'done' };
  const lists = { changed: names, touched: names, dirty, inTheWay: names, ignored: names };
  assert.ok(told(judge(task, facts, trial, lists)).includes('cut'));
});

test('landing: what is not committed is sorted by what it means for a merge', () => {
  const out = [' M one', 'M  two', 'MM three', 'UU four', 'AA five', ' A six', ' D seven', 'A  a b', ''].join('\0');
  assert.deepEqual(readDirt(out), {
    staged: ['two', 'three', 'six', 'a b'],
    unstaged: ['one', 'seven'],
    unmerged: ['four', 'five'],
    cut: false,
  });
});
