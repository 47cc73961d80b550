// A real git repository for flow tests, untouched by the settings of whoever runs them.
import { execFileSync } from 'node:child_process';
import { mkdirSync, writeFileSync } from 'node:fs';
import { dirname, join } from 'node:path';

const env = {
  PATH: process.env.PATH,
  GIT_CONFIG_GLOBAL: '/dev/null',
  GIT_CONFIG_NOSYSTEM: '1',
  GIT_AUTHOR_NAME: 'Ann',
  GIT_AUTHOR_EMAIL: 'ann@example.invalid',
  GIT_COMMITTER_NAME: 'Ann',
  GIT_COMMITTER_EMAIL: 'ann@example.invalid',
};

/** @param {string} folder */
export function repositoryIn(folder) {
  const git = (...args) => execFileSync('git', args, { cwd: folder, env, stdio: 'pipe', encoding: 'utf8' });
  const write = (path, text) => {
    mkdirSync(dirname(join(folder, path)), { recursive: true });
    writeFileSync(join(folder, path), text);
  };
  /** @param {Record<string, string>} files what the first commit holds */
  const begin = (files) => {
    mkdirSync(folder, { recursive: true });
    git('init', '-q', '-b', 'main');
    for (const [path, text] of Object.entries(files)) write(path, text);
    git('add', '-A');
    git('commit', '-q', '--allow-empty', '-m', 'first');
  };
  return { git, write, begin };
}
