// Steps of the flows with background tasks: an editor on a real repository with a Claude that plays scripts, and
// what is clicked and awaited on the board and on a task's page.
import { installClaude, out, until } from './chatclaude.mjs';
import { init, result, says } from './chatlines.mjs';
import { startEditor } from './editor.mjs';
import { repositoryIn } from './repository.mjs';

/** Whoever runs the tests may have no name for git, and landing a task commits. */
export const IDENTITY = {
  GIT_CONFIG_GLOBAL: '/dev/null',
  GIT_CONFIG_NOSYSTEM: '1',
  GIT_AUTHOR_NAME: 'Ann',
  GIT_AUTHOR_EMAIL: 'ann@example.invalid',
  GIT_COMMITTER_NAME: 'Ann',
  GIT_COMMITTER_EMAIL: 'ann@example.invalid',
};

/** @param {Parameters<typeof startEditor>[0]} [options] */
export async function startWithRepository(options = {}) {
  const prepare = (project) => repositoryIn(project).begin({ 'a.txt': 'one\n', 'b.txt': 'two\n' });
  const editor = await startEditor({ prepare, env: IDENTITY, ...options });
  const claude = await installClaude(editor);
  return { editor, claude, ...repositoryIn(editor.project) };
}

/**
 * Ends the program as a crash does and starts it in the same home.
 * @param {Awaited<ReturnType<typeof startEditor>>} editor
 */
export async function startAgain(editor) {
  await editor.kill();
  return startEditor({ again: editor.home, env: IDENTITY });
}

/** A task that says something, does its work in its own folder, and ends. @param {string[]} work */
export const ends = (...work) => [out(init()), 'expect "user"', ...work, out(says('All done.')), out(result())];

/**
 * @param {import('playwright-core').Page} page
 * @param {Awaited<ReturnType<typeof installClaude>>} claude
 */
export function dispatchSteps(page, claude) {
  const column = (id) => page.locator(`.board-column[data-column="${id}"]`);
  const words = () => page.getByRole('textbox', { name: 'What is to be done' });
  const steps = {
    column,
    words,
    card: (id, title) => column(id).locator('.task-open', { hasText: title }),
    taskPage: () => page.locator('.task-page'),
    question: () => page.locator('.task-page .chat-question'),
    /** Opens the form on the board. */
    form: async () => {
      await page.keyboard.press('Control+Alt+N');
      await words().waitFor();
    },
    /** Creates a task whose CLI plays a script. @param {string} task @param {string[]} script */
    create: async (task, script) => {
      await claude.play(...script);
      await steps.form();
      await words().fill(task);
      await words().press('Control+Enter');
      await page.locator('.board .task-open', { hasText: task }).first().waitFor();
    },
    /** Opens a task's page from its card. */
    open: async (id, title) => {
      await steps.card(id, title).click();
      await page.locator('.task-page', { hasText: title }).waitFor();
    },
    board: () => page.keyboard.press('Control+Alt+K'),
    tab: (name) => page.locator('.task-page').getByRole('tab', { name }).click(),
    dialog: () => page.getByRole('dialog').or(page.getByRole('alertdialog')),
    /** What the CLI that was started last got as an answer to a question. */
    answerTo: (id) =>
      until(
        async () =>
          (await claude.stdin()).find(
            ({ type, response }) => type === 'control_response' && response.request_id === id,
          )?.response.response,
      ),
  };
  return steps;
}
