// Steps of the flows that talk with Claude: what they click and await in the chat's panel.

import { introduces, until } from './chatclaude.mjs';

/**
 * @param {import('playwright-core').Page} page
 * @param {Awaited<ReturnType<typeof import('./chatclaude.mjs').installClaude>>} claude
 */
export function chatSteps(page, claude) {
  const field = () => page.getByRole('textbox', { name: 'Message to Claude' });
  const anew = async () => {
    if (!(await field().isVisible())) await page.keyboard.press('Control+Alt+C');
    await page.getByRole('button', { name: 'New Conversation' }).click();
    const stop = page.getByRole('button', { name: 'Stop and go on' });
    await page.locator('.chat-welcome').or(stop).first().waitFor();
    if (await stop.isVisible()) await stop.click();
    await page.locator('.chat-welcome').waitFor();
  };
  const send = async (words) => {
    await field().fill(words);
    await field().press('Enter');
  };
  return {
    field,
    /** Begins an empty conversation. */
    anew,
    send,
    card: () => page.locator('.chat-question'),
    ended: (count = 1) =>
      page.waitForFunction((n) => document.querySelectorAll('.chat-result').length >= n, count),
    /** A new conversation whose CLI plays a script, with a first message. */
    talk: async (script, words = 'hello') => {
      await claude.play(...introduces(), 'expect "user"', ...script);
      await anew();
      await send(words);
    },
    /** What the CLI got as an answer to a question. */
    answerTo: (id) =>
      until(
        async () =>
          (await claude.stdin()).find(
            ({ type, response }) => type === 'control_response' && response.request_id === id,
          )?.response.response,
      ),
  };
}
