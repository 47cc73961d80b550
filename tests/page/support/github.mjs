// Puts a gh into a test's PATH that answers from files (tests/fakes/gh.cpp says which), with pull requests as
// the real one tells them.
import { existsSync, mkdtempSync, readFileSync, rmSync, symlinkSync, writeFileSync } from 'node:fs';
import { tmpdir } from 'node:os';
import { dirname, join } from 'node:path';
import { fileURLToPath } from 'node:url';

const top = fileURLToPath(new URL('../../../', import.meta.url));
const built = join(dirname(process.env.MB_EXE ?? join(top, 'build/marlin-bench')), 'tests/fakes/fake_gh');
const fake = process.env.MB_FAKE_GH ?? built;

/** The same answers without anything that was built, for tests of stores; it takes no notes. */
const kScript = `#!/bin/sh
name="$FAKE_GH/$1-$2"
cat "$name.out"
cat "$name.err" >&2
exit "$(cat "$name.code")"
`;

/**
 * Before the editor starts: its environment names the folder.
 * @param {{script?: boolean}} [options]
 */
export function makeGh({ script = false } = {}) {
  if (!script && !existsSync(fake)) throw new Error(`${fake} is not built`);
  const folder = mkdtempSync(join(tmpdir(), 'marlin-gh-'));
  if (script) writeFileSync(join(folder, 'gh'), kScript, { mode: 0o755 });
  else symlinkSync(fake, join(folder, 'gh'));
  const write = (name, text) => writeFileSync(join(folder, name), text);
  const gh = {
    env: { PATH: `${folder}:${process.env.PATH}`, FAKE_GH: folder },
    /**
     * What a call such as "pr list" gives from now on.
     * @param {string} call "pr-list"
     * @param {{out?: unknown, err?: string, code?: number}} answer `out` as it is when it is a string, else as JSON
     */
    answers: (call, { out = '', err = '', code = 0 }) => {
      write(`${call}.out`, typeof out === 'string' ? out : JSON.stringify(out));
      write(`${call}.err`, err);
      write(`${call}.code`, String(code));
    },
    /** The calls so far, each as its arguments. */
    calls: () =>
      readFileSync(join(folder, 'log'), 'utf8')
        .split('\n\n')
        .filter(Boolean)
        .map((call) => call.split('\n')),
    /** The text of the latest comment. */
    body: () => readFileSync(join(folder, 'body'), 'utf8'),
    remove: () => rmSync(folder, { recursive: true, force: true }),
  };
  gh.answers('auth-status', { err: 'github.com\n  ✓ Logged in to github.com account ann (keyring)\n' });
  gh.answers('repo-view', { out: { nameWithOwner: 'ann/proj' } });
  gh.answers('pr-list', { out: [pull()] });
  gh.answers('issue-list', { out: [] });
  gh.answers('run-list', { out: [] });
  gh.answers('pr-view', { out: view() });
  gh.answers('pr-diff', { out: patch });
  gh.answers('api', { out: { html_url: 'https://github.com/ann/proj/pull/7#discussion_r1' } });
  return gh;
}

export const head = 'a1b2c3d4e5f60718293a4b5c6d7e8f9012345678';

/** A pull request of a list. */
export const pull = (more = {}) => ({
  number: 7,
  title: 'Count the fish',
  author: { login: 'bob' },
  state: 'OPEN',
  isDraft: false,
  createdAt: '2026-11-01T10:00:00Z',
  updatedAt: '2026-11-20T10:00:00Z',
  url: 'https://github.com/ann/proj/pull/7',
  headRefName: 'count-fish',
  baseRefName: 'main',
  additions: 4,
  deletions: 2,
  reviewDecision: 'REVIEW_REQUIRED',
  statusCheckRollup: [
    {
      __typename: 'CheckRun',
      name: 'build',
      workflowName: 'CI',
      status: 'COMPLETED',
      conclusion: 'SUCCESS',
      detailsUrl: 'https://github.com/ann/proj/actions/runs/1',
    },
    { __typename: 'StatusContext', context: 'cover', state: 'FAILURE', targetUrl: 'https://cover.example.invalid/7' },
  ],
  labels: [{ name: 'fish' }],
  ...more,
});

/** The same as "gh pr view" tells it. */
export const view = (more = {}) => ({
  ...pull(),
  body: 'Counts **all** fish.\n\n- slowly\n- but surely\n',
  headRefOid: head,
  changedFiles: 3,
  files: [
    { path: 'src/fish.c', additions: 3, deletions: 1 },
    { path: 'docs/how to.md', additions: 1, deletions: 1 },
    { path: 'pond.png', additions: 0, deletions: 0 },
  ],
  ...more,
});

export const patch = `diff --git a/src/fish.c b/src/fish.c
index 1111111..2222222 100644
--- a/src/fish.c
+++ b/src/fish.c
@@ -1,4 +1,5 @@
 #include "fish.h"
 
-int fish() { return 0; }
+static int count;
+int fish() { return count; }
 /* the end */
@@ -20,2 +21,3 @@ int pond()
 {
+    count++;
 }
diff --git a/docs/howto.md b/docs/how to.md
similarity index 60%
rename from docs/howto.md
rename to docs/how to.md
index 3333333..4444444 100644
--- a/docs/howto.md
+++ b/docs/how to.md
@@ -1 +1 @@
-Count them
\\ No newline at end of file
+Count all of them
\\ No newline at end of file
diff --git a/pond.png b/pond.png
new file mode 100644
index 0000000..5555555
Binary files /dev/null and b/pond.png differ
`;
