// Puts a Claude CLI into a test's home that plays a script (tests/fakes/claude.cpp says how one is written)
// and notes what it was given.
import { existsSync } from 'node:fs';
import { chmod, mkdir, readFile, rm, writeFile } from 'node:fs/promises';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

const top = fileURLToPath(new URL('../../../', import.meta.url));
const built = join(dirname(process.env.MB_EXE ?? join(top, 'build/marlin-bench')), 'tests/fakes/fake_claude');
const fake = process.env.MB_FAKE_CLAUDE ?? built;

/** @param {{home: string, api: (route: string, body?: any) => Promise<any>}} editor */
export async function installClaude(editor) {
  if (!existsSync(fake)) throw new Error(`${fake} is not built`);
  const folder = join(editor.home, 'claude');
  const path = join(folder, 'claude');
  await mkdir(folder, { recursive: true });
  const names = { FAKE_CLAUDE_SCRIPT: 'script', FAKE_CLAUDE_LOG: '', FAKE_CLAUDE_AUTH: 'auth' };
  const exports = Object.entries(names).map(([name, file]) => `export ${name}='${join(folder, file)}'`);
  await writeFile(path, ['#!/bin/sh', ...exports, `exec '${fake}' "$@"`, ''].join('\n'));
  await chmod(path, 0o755);
  await editor.api('config', { claudeCommand: path });

  const noted = async (name) => (await readFile(join(folder, name), 'utf8').catch(() => '')).trimEnd();
  const claude = {
    path,
    folder,
    /** What the next start plays. @param {string[]} script */
    async play(...script) {
      await rm(join(folder, 'stdin'), { force: true });
      await writeFile(join(folder, 'script'), `${script.join('\n')}\n`);
    },
    /** @param {unknown} answer of "auth status" */
    signIn: (answer) => writeFile(join(folder, 'auth'), JSON.stringify(answer)),
    /** The arguments of the latest start. */
    argv: async () => (await noted('argv')).split('\n'),
    /** The lines that the latest start was given. */
    stdin: async () =>
      (await noted('stdin'))
        .split('\n')
        .filter(Boolean)
        .map((line) => JSON.parse(line)),
    /** Lets a script go on that stands at "await" of this name. */
    allow: (name) => writeFile(join(folder, name), ''),
    /** What a script waits for. */
    gate: (name) => `await ${join(folder, name)}`,
  };
  await claude.play();
  await claude.signIn({ loggedIn: true, email: 'me@example.invalid', subscriptionType: 'max' });
  return claude;
}

/** Says a line of the CLI. */
export const out = (line) => `out ${line}`;

/** Waits for the introduction and answers it. */
export const introduces = (answer = {}) => [
  'expect "initialize"',
  `out {"type":"control_response","response":{"subtype":"success","request_id":"\${id}","response":${JSON.stringify(answer)}}}`,
];

/** Waits until a condition on what the CLI got holds; a limit that passes is a failure. */
export async function until(condition, limitMs = 10000) {
  const end = Date.now() + limitMs;
  for (;;) {
    const value = await condition();
    if (value) return value;
    if (Date.now() > end) throw new Error(`never true: ${condition}`);
    await new Promise((resolve) => setTimeout(resolve, 20)); // a file of another process announces nothing
  }
}
