import assert from 'node:assert/strict';
import { test } from 'node:test';
import {
  MOST_RULES,
  canHaveRule,
  fitsReally,
  livingRules,
  matchChoices,
  mindsLinks,
  pathIn,
  restoredRules,
  ruleFor,
  ruleWords,
  scopeChoices,
  withRule,
} from '../../../web/stores/inboxrules.js';

const chat = { task: '', createdAt: 0, folder: '/home/me/proj', directory: '/home/me/proj' };
const task = { task: 't1-7', createdAt: 100, folder: '/home/me/proj', directory: '/data/worktrees/t1-7' };
const otherTask = { ...task, task: 't2-8', createdAt: 200, directory: '/data/worktrees/t2-8' };
const elsewhere = { ...otherTask, task: 't3-9', folder: '/home/me/other' };

const asked = (tool, input, more = {}) => ({
  id: 'q1',
  kind: 'tool',
  tool,
  toolUseId: '',
  input,
  suggestions: [],
  reason: '',
  ...more,
});
const bash = (command, more = {}) => asked('Bash', { command, ...more });
const edit = (file_path, more = {}) => asked('Edit', { file_path, old_string: 'a', new_string: 'b', ...more });

/** A rule as the card makes it: of a choice of what, and one of whom. */
const ruleOf = (question, asker, { what = 0, whose = 0, behavior = 'allow' } = {}) => {
  const { match } = matchChoices(question, asker)[what];
  const { scope } = scopeChoices(asker)[whose];
  return withRule([], { behavior, tool: question.tool, match, scope }, 1)[0];
};
const answers = (rule, question, asker) => ruleFor([rule], question, asker) !== null;

test('rules: a command is allowed as a whole, never by its beginning', () => {
  const rule = ruleOf(bash('make test', { description: 'Test it' }), task);
  assert.ok(answers(rule, bash('make test'), task));
  assert.ok(answers(rule, bash('make test', { description: 'Other words' }), task));
  for (const command of ['make test; rm -rf ~', 'make tests', 'make', ' make test', 'make test ', 'make  test', '']) {
    assert.ok(!answers(rule, bash(command), task), command);
  }
  assert.ok(!answers(rule, bash('make test', { run_in_background: true }), task), 'another way to run it');
  assert.ok(!answers(rule, bash('make test', { dangerouslyDisableSandbox: true }), task));
  assert.ok(!answers(rule, asked('Execute', { command: 'make test' }), task), 'another tool');
});

test('rules: the order of fields does not matter, their values do', () => {
  const rule = ruleOf(bash('ls', { timeout: 5, run_in_background: false }), task);
  assert.ok(answers(rule, asked('Bash', { run_in_background: false, timeout: 5, command: 'ls' }), task));
  assert.ok(!answers(rule, bash('ls', { timeout: 6, run_in_background: false }), task));
  assert.ok(!answers(rule, bash('ls'), task));
});

test('rules: no word about a tool ever allows every command', () => {
  assert.deepEqual(
    matchChoices(bash('ls'), task).map(({ id }) => id),
    ['input'],
  );
  const rule = { ...ruleOf(bash('ls'), task), match: { kind: 'any' } };
  assert.ok(!answers(rule, bash('ls'), task), 'not even when it was written by hand');
  assert.ok(answers({ ...rule, behavior: 'deny' }, bash('whatever'), task), 'a no may be as wide as that');
});

test('rules: a file below a folder, seen from where each task works', () => {
  const question = edit('/data/worktrees/t1-7/src/net/a.c');
  const choices = matchChoices(question, task);
  assert.deepEqual(
    choices.map(({ label }) => label),
    ['the file src/net/a.c', 'files in src/net/', 'files in src/', 'all files where it works'],
  );
  const rule = ruleOf(question, task, { what: 2, whose: 1 });
  assert.ok(answers(rule, edit('/data/worktrees/t1-7/src/b.c'), task));
  assert.ok(answers(rule, edit('/data/worktrees/t2-8/src/deep/er/b.c'), otherTask), 'the same place of another task');
  assert.ok(answers(rule, edit('src/b.c'), task));
  for (const path of [
    '/data/worktrees/t1-7/srcs/b.c',
    '/data/worktrees/t1-7/b.c',
    '/data/worktrees/t2-8/src/b.c',
    '/data/worktrees/t1-7/src/../b.c',
    'src/../../b.c',
    '/etc/passwd',
    '',
    undefined,
    7,
  ]) {
    assert.ok(!answers(rule, edit(path), task), String(path));
  }
  assert.ok(!answers(rule, asked('Write', { file_path: '/data/worktrees/t1-7/src/b.c' }), task), 'another tool');
  const one = ruleOf(question, task);
  assert.ok(answers(one, edit('src/net/a.c'), task));
  assert.ok(!answers(one, edit('src/net/a.cc'), task));
});

test('rules: what changes later permissions or hooks is in no folder', () => {
  const rule = ruleOf(edit('src/a.c'), task, { what: 2 });
  assert.ok(answers(rule, edit('any/where.c'), task));
  for (const path of ['.git/hooks/pre-commit', '.git', '.claude/settings.json', 'sub/.claude/x', '.mcp.json', '.envrc']) {
    assert.ok(!answers(rule, edit(path), task), path);
    assert.ok(answers({ ...rule, behavior: 'deny' }, edit(path), task), `a no covers ${path}`);
  }
});

test('rules: a file outside is answered only as that very call', () => {
  const question = edit('/etc/hosts');
  assert.deepEqual(
    matchChoices(question, task).map(({ id }) => id),
    ['input'],
  );
  const rule = ruleOf(question, task);
  assert.ok(answers(rule, edit('/etc/hosts'), task));
  assert.ok(!answers(rule, edit('/etc/hosts', { new_string: 'c' }), task));
});

test('rules: a file is where its links lead', () => {
  const rule = ruleOf(edit('src/a.c'), task, { what: 1 });
  assert.ok(mindsLinks(rule));
  assert.ok(!mindsLinks({ ...rule, behavior: 'deny' }));
  assert.ok(!mindsLinks(ruleOf(bash('ls'), task)));
  assert.ok(fitsReally(rule, '/real', '/real/src/b.c'));
  for (const path of ['/real/lib/b.c', '/real/src/.git/x', '/realm/src/b.c', '/etc/src/b.c', '/real', '']) {
    assert.ok(!fitsReally(rule, '/real', path), path);
  }
  assert.ok(!fitsReally(rule, '', '/src/b.c'));
});

test('rules: other tools by their very input, or at all', () => {
  const question = asked('WebFetch', { url: 'https://a.example/', prompt: 'x' });
  const exact = ruleOf(question, task);
  assert.ok(answers(exact, question, task));
  assert.ok(!answers(exact, asked('WebFetch', { url: 'https://a.example/b', prompt: 'x' }), task));
  const any = ruleOf(question, task, { what: 1 });
  assert.ok(answers(any, asked('WebFetch', {}), task));
  assert.ok(!answers(any, asked('WebSearch', {}), task));
});

test('rules: one task, all tasks of a folder, the chat', () => {
  const one = ruleOf(bash('ls'), task);
  const all = ruleOf(bash('ls'), task, { whose: 1 });
  const talk = ruleOf(bash('ls'), chat);
  const askers = { task, otherTask, elsewhere, chat };
  const fitting = (rule) => Object.keys(askers).filter((name) => answers(rule, bash('ls'), askers[name]));
  assert.deepEqual(fitting(one), ['task']);
  assert.deepEqual(fitting(all), ['task', 'otherTask']);
  assert.deepEqual(fitting(talk), ['chat']);
  assert.ok(!answers(one, bash('ls'), { ...task, createdAt: 101 }), 'a later run gave the id anew');
  assert.ok(!answers(talk, bash('ls'), { ...chat, folder: '/home/me/other' }), 'another project');
});

test('rules: a no wins, wherever it stands', () => {
  const yes = ruleOf(bash('ls'), task);
  const no = ruleOf(bash('ls', { timeout: 9 }), task, { whose: 1, behavior: 'deny' });
  for (const rules of [
    [yes, no],
    [no, yes],
  ]) {
    assert.equal(ruleFor(rules, bash('ls'), task), no, 'in whatever way it is to be run');
  }
  assert.equal(ruleFor([yes, no], bash('pwd'), task), null);
});

test('rules: plans and questions are read by the user, whatever the rules say', () => {
  const any = (tool) => ({ ...ruleOf(asked('WebSearch', {}), task, { what: 1 }), tool });
  for (const tool of ['ExitPlanMode', 'AskUserQuestion']) {
    for (const kind of ['plan', 'choice', 'tool']) {
      const question = asked(tool, {}, { kind });
      assert.ok(!canHaveRule(question));
      assert.equal(ruleFor([any(tool), { ...any(tool), behavior: 'deny' }], question, task), null);
    }
  }
  assert.ok(!canHaveRule(asked('', {})));
  for (const kind of ['plan', 'choice']) assert.ok(!canHaveRule(asked('WebSearch', {}, { kind })), kind);
});

test('rules: names of object members are tools like others', () => {
  for (const tool of ['constructor', 'toString', '__proto__']) {
    const rule = ruleOf(asked(tool, { a: 1 }), task);
    assert.ok(answers(rule, asked(tool, { a: 1 }), task));
    assert.ok(!answers(rule, asked(tool, { a: 2 }), task));
  }
  assert.equal(pathIn(asked('constructor', { undefined: '/x' }), task), null);
});

test('rules: the same said again replaces, also with the other answer', () => {
  const saying = (command) => ({ kind: 'input', input: { command } });
  const about = { tool: 'Bash', match: saying('ls'), scope: { kind: 'chat', folder: '/p' } };
  let rules = withRule([], { ...about, behavior: 'allow' }, 1);
  rules = withRule(rules, { ...about, behavior: 'deny' }, 2);
  assert.deepEqual(
    rules.map(({ behavior, made }) => [behavior, made]),
    [['deny', 2]],
  );
  for (let at = 0; at < MOST_RULES + 5; at++) {
    rules = withRule(rules, { ...about, behavior: 'allow', match: saying(`${at}`) }, 3);
  }
  assert.equal(rules.length, MOST_RULES);
  assert.equal(new Set(rules.map(({ id }) => id)).size, MOST_RULES, 'every id once');
});

test('rules: of tasks that are gone nothing stays', () => {
  const rules = [ruleOf(bash('a'), task), ruleOf(bash('b'), task, { whose: 1 }), ruleOf(bash('c'), chat)];
  assert.equal(livingRules(rules, [{ id: 't1-7', createdAt: 100 }]), rules);
  assert.deepEqual(livingRules(rules, [{ id: 't1-7', createdAt: 101 }]), rules.slice(1));
  assert.deepEqual(livingRules(rules, []), rules.slice(1));
});

test('rules: what was kept is taken up whole or not at all', () => {
  const good = [ruleOf(bash('a'), task), { ...ruleOf(edit('src/a'), chat), id: 'r2' }];
  assert.deepEqual(restoredRules(JSON.parse(JSON.stringify(good))), good);
  const bad = [
    null,
    7,
    { ...good[0], id: '' },
    { ...good[0], behavior: 'maybe' },
    { ...good[0], tool: 4 },
    { ...good[0], match: {} },
    { ...good[0], match: { kind: 'below' } },
    { ...good[0], match: { kind: 'input', input: ['x'] } },
    { ...good[0], scope: { kind: 'task', folder: '/p' } },
    { ...good[0], scope: { kind: 'chat', folder: '' } },
    { ...good[0], scope: { kind: 'all', folder: '/p' } },
  ];
  assert.deepEqual(restoredRules(bad), []);
  assert.deepEqual(restoredRules('x'), []);
  assert.equal(restoredRules([good[0], good[0]]).length, 1);
});

test('rules: in words', () => {
  assert.equal(ruleWords(ruleOf(bash('make test'), task), 'Fix it'), 'Allow Bash: make test, for the task Fix it');
  const no = ruleOf(edit('src/a.c'), task, { what: 1, whose: 1, behavior: 'deny' });
  assert.equal(ruleWords(no), 'Refuse Edit in src, for every task in proj');
  const any = ruleOf(asked('WebSearch', { query: 'x' }), chat, { what: 1 });
  assert.equal(ruleWords(any), 'Allow Search the web, whatever it is, for the chat in proj');
});
