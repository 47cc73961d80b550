// The chat in Chromium on the real bridge, with a Claude CLI that plays a script.
import assert from 'node:assert/strict';
import { readFile, readdir } from 'node:fs/promises';
import { join } from 'node:path';
import { after, afterEach, before, test } from 'node:test';
import { installClaude, introduces, out, until } from '../support/chatclaude.mjs';
import { begin, block, calls, init, result, says, textDelta, toolResult } from '../support/chatlines.mjs';
import { chatSteps } from '../support/chatsteps.mjs';
import { axeFindings, startEditor } from '../support/editor.mjs';
import { onePixelPng } from '../support/samples.mjs';
import { freshPage, openFromTree, settled } from '../support/steps.mjs';

let editor;
let claude;
let page;
let steps;

before(async () => {
  editor = await startEditor({ files: { 'a.txt': 'one\ntwo\nthree\n', 'my file.txt': 'x\n' } });
  claude = await installClaude(editor);
  page = await freshPage(editor);
  steps = chatSteps(page, claude);
});
after(async () => {
  await page?.done();
  await editor?.stop();
});
afterEach(async () => {
  assert.deepEqual(page.complaints, []);
});

test('chat: its key opens the panel with the keys in it, and it says who is signed in', async () => {
  const { field } = steps;
  await page.keyboard.press('Control+Alt+C');
  await field().waitFor();
  await page.waitForFunction(() => document.activeElement?.matches('.chat-field'));
  await page.getByText('Signed in as me@example.invalid, max').waitFor();
  await page.getByText(claude.path, { exact: true }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
});

test('chat: an answer grows, settles, and is Markdown that can do no harm', async () => {
  const { talk } = steps;
  const calls = [];
  page.on('request', (request) => calls.push(request.url()));
  const words = 'Hello **you** <b>raw</b> ![p](https://example.invalid/p.png) [js](javascript:alert(1))';
  await talk([
    out(init()),
    out(begin()),
    out(block(0, { type: 'text', text: '' })),
    out(textDelta('First paragraph.\n\nHel')),
    claude.gate('go-on'),
    out(says(words)),
    out(result()),
  ]);
  await page.locator('.growing').getByText('First paragraph.').waitFor();
  await page.locator('.growing').getByText('Hel', { exact: true }).waitFor();
  await claude.allow('go-on');
  await page.locator('.chat-item.text strong', { hasText: 'you' }).waitFor();
  assert.equal(await page.locator('.growing').count(), 0);
  assert.equal(await page.locator('.chat-markdown :is(b, img)').count(), 0);
  assert.equal(await page.locator('.chat-markdown a[href^="javascript"]').count(), 0);
  await page.locator('.chat-result', { hasText: '1.2 s · $0.02' }).waitFor();
  assert.deepEqual(
    calls.filter((url) => url.includes('example.invalid')),
    [],
  );
  await page.locator('[role="status"]', { hasText: 'Claude answered: Hello' }).waitFor({ state: 'attached' });
});

test('chat: calls are cards: a command with its output, a change as lines, the rest as data', async () => {
  const { talk, ended } = steps;
  const path = join(editor.project, 'a.txt');
  await talk([
    out(init()),
    out(calls('t1', 'Bash', { command: 'ls -l' })),
    out(toolResult('t1', 'a.txt')),
    out(calls('t2', 'Edit', { file_path: path, old_string: 'one\ntwo', new_string: 'one\n2' })),
    out(toolResult('t2', 'ok')),
    out(calls('t3', 'mcp__db__query', { table: 'fish' })),
    out(toolResult('t3', 'no such table', true)),
    out(result()),
  ]);
  await ended();
  const bash = page.locator('[data-tool="Bash"]');
  assert.equal(await bash.locator('.chat-command').innerText(), 'ls -l');
  assert.equal((await bash.locator('.chat-output').innerText()).trim(), 'a.txt');
  const rows = page.locator('[data-tool="Edit"] .diff-row');
  assert.deepEqual(await rows.allInnerTexts(), ['  one', '- two', '+ 2']);
  const other = page.locator('[data-tool="mcp__db__query"]');
  await other.getByText('no such table').waitFor();
  await other.getByRole('button', { name: 'db: query' }).click();
  await other.getByText('"table": "fish"').waitFor();
  await page.locator('[data-tool="Edit"] .chat-path').click();
  await page.waitForSelector('.tab.front[title="proj/a.txt"]');
  assert.deepEqual(await axeFindings(page), []);
});

test('chat: lines that nobody knows break nothing and are in the log', async () => {
  const { talk, ended } = steps;
  await talk([
    out(init()),
    out('{"type":"from_tomorrow","fish":17}'),
    out('this is no JSON'),
    out('{"type":"assistant","message":{"content":[null,5,{"type":"hologram"}]}}'),
    out(says('still here')),
    out(result()),
  ]);
  await ended();
  await page.locator('.chat-item.text', { hasText: 'still here' }).waitFor();
  await page.keyboard.press('Control+Shift+U');
  await page.getByRole('button', { name: /unknown type "from_tomorrow"/ }).click();
  await page.locator('.log-detail').getByText('"fish": 17').waitFor();
  await page.getByRole('button', { name: /a line that is not JSON/ }).waitFor();
});

test('chat: messages wait in line, can be changed, and one of them can jump it', async () => {
  const { talk, send, ended } = steps;
  await talk(
    [
      out(init()),
      'expect "interrupt"',
      out(result({ is_error: true, subtype: 'error_during_execution' })),
      'expect "user"',
      out(result()),
      'expect "user"',
      out(result()),
    ],
    'one',
  );
  await page.locator('.chat-doing').waitFor();
  await send('two');
  await send('three');
  const rows = page.locator('.chat-queued');
  assert.deepEqual(await rows.locator('.chat-queued-text').allInnerTexts(), ['two', 'three']);
  await rows.first().getByRole('button', { name: 'Edit' }).click();
  await page.keyboard.press('Control+A');
  await page.keyboard.type('zwei');
  await page.keyboard.press('Enter');
  await rows.first().getByRole('button', { name: 'Move down' }).click();
  assert.deepEqual(await rows.locator('.chat-queued-text').allInnerTexts(), ['three', 'zwei']);
  assert.deepEqual(await axeFindings(page), []);
  await rows.last().getByRole('button', { name: 'Interrupt and send now' }).click();
  await ended(3);
  const texts = (await claude.stdin())
    .filter(({ type }) => type === 'user')
    .map(({ message }) => message.content[0].text);
  assert.deepEqual(texts, ['one', 'zwei', 'three']);
  assert.equal(await rows.count(), 0);
});

test('chat: the mode changes while it runs, and effort starts it again in the same conversation', async () => {
  const { talk, ended } = steps;
  const agree =
    'out {"type":"control_response","response":{"subtype":"success","request_id":"${id}","response":{}}}';
  await talk([
    out(init({ session_id: 'session-effort' })),
    out(says('x')),
    out(result()),
    'expect set_permission_mode',
    agree,
  ]);
  await ended();
  await page.getByRole('button', { name: 'Mode: Accept edits' }).click();
  await page.getByRole('menuitemcheckbox', { name: /^Plan/ }).click();
  await page.getByRole('button', { name: 'Mode: Plan' }).waitFor();
  assert.ok(
    (await claude.stdin()).some(
      ({ request }) => request?.subtype === 'set_permission_mode' && request.mode === 'plan',
    ),
  );
  await page.getByRole('button', { name: /^At the start/ }).click();
  await page.getByRole('menuitem', { name: 'Effort' }).hover();
  await page.getByRole('menuitemcheckbox', { name: 'high', exact: true }).click();
  const argv = await until(async () => {
    const words = await claude.argv();
    return words.includes('--effort') && words;
  });
  assert.equal(argv[argv.indexOf('--effort') + 1], 'high');
  assert.equal(argv[argv.indexOf('--resume') + 1], 'session-effort');
  assert.equal(argv[argv.indexOf('--permission-mode') + 1], 'plan');
  await editor.api('config', { claude: {} });
});

test('chat: several lines, earlier messages, mentions and commands in the field', async () => {
  const { anew, send, field, ended } = steps;
  await openFromTree(page, 'proj/a.txt');
  await claude.play(
    ...introduces({ commands: [{ name: 'compact', description: 'Sum up' }, { name: 'review' }] }),
    'expect "user"',
    out(init({ slash_commands: undefined })),
    out(result()),
  );
  await anew();
  await send('the first one');
  await ended();
  await field().press('Shift+Enter');
  await page.keyboard.type('x');
  assert.equal(await field().inputValue(), '\nx');
  await field().fill('');
  await field().press('ArrowUp');
  assert.equal(await field().inputValue(), 'the first one');
  await field().press('ArrowDown');
  assert.equal(await field().inputValue(), '');
  await page.keyboard.type('/com');
  await page.getByRole('option', { name: /\/compact/ }).waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await page.keyboard.press('Tab');
  assert.equal(await field().inputValue(), '/compact ');
  await field().fill('');
  await page.keyboard.type('look at @a');
  await page.getByRole('option', { name: /a\.txt/ }).waitFor();
  await page.keyboard.press('Enter');
  assert.equal(await field().inputValue(), 'look at @a.txt ');
  await field().fill('');
  await settled(page);
  await page.locator('.text-view .view-line').first().click();
  await page.waitForFunction(() => document.activeElement?.closest('.text-view'));
  await page.keyboard.press('Control+Home');
  await page.keyboard.press('Shift+ArrowDown');
  await page.keyboard.press('Shift+ArrowDown');
  await page.keyboard.press('Control+Alt+M');
  await page.waitForFunction(() => document.querySelector('.chat-field')?.value === '@a.txt#L1-2 ');
  await field().fill('');
});

test('chat: pictures go along by paste and drop, others are refused', async () => {
  const { anew, send, field, ended } = steps;
  await claude.play(...introduces(), 'expect "user"', out(init()), out(result()));
  await anew();
  const png = onePixelPng().toString('base64');
  const give = (kind, type, name) =>
    field().evaluate(
      (element, [what, data, mime, file]) => {
        const bytes = Uint8Array.from(atob(data), (letter) => letter.charCodeAt(0));
        const transfer = new DataTransfer();
        transfer.items.add(new File([bytes], file, { type: mime }));
        const event =
          what === 'paste'
            ? new ClipboardEvent('paste', { clipboardData: transfer, bubbles: true, cancelable: true })
            : new DragEvent('drop', { dataTransfer: transfer, bubbles: true, cancelable: true });
        element.dispatchEvent(event);
      },
      [kind, png, type, name],
    );
  await give('paste', 'image/png', 'shot.png');
  await page.getByRole('img', { name: 'shot.png' }).waitFor();
  await give('drop', 'image/bmp', 'old.bmp');
  await page.locator('.toast-text', { hasText: 'old.bmp is no PNG, JPEG, GIF or WebP picture.' }).waitFor();
  await give('drop', 'image/png', 'more.png');
  await page.getByRole('button', { name: 'Remove more.png' }).click();
  await send('what is this?');
  await ended();
  const { message } = (await claude.stdin()).find(({ type }) => type === 'user');
  assert.deepEqual(message.content, [
    { type: 'image', source: { type: 'base64', media_type: 'image/png', data: png } },
    { type: 'text', text: 'what is this?' },
  ]);
  await page.locator('.chat-user', { hasText: '1 picture' }).waitFor();
});

test('chat: what the desktop drops on the field is mentioned, and opens nothing', async () => {
  const { field } = steps;
  const before = await page.locator('.tab').count();
  const { x, y } = await field().boundingBox();
  const dropped = {
    type: 'files.dropped',
    paths: [join(editor.project, 'my file.txt'), '/elsewhere/b.txt'],
    x: x + 20,
    y: y + 10,
  };
  await page.evaluate(
    async (event) => (await import('/bridge/events.js')).receive(JSON.stringify(event)),
    dropped,
  );
  await page.waitForFunction(
    () => document.querySelector('.chat-field')?.value === '@"my file.txt" @/elsewhere/b.txt ',
  );
  assert.equal(await page.locator('.tab').count(), before);
  await field().fill('');
});

test('chat: a conversation is kept in the project, renamed, resumed with its words, and forked', async () => {
  const { talk, anew, send, field, ended } = steps;
  await talk(
    [out(init({ session_id: 'session-keep' })), out(says('remember the marlin')), out(result())],
    'Name the fish',
  );
  await ended();
  const kept = join(editor.project, '.marlin/chats/session-keep.jsonl');
  await until(async () => (await readFile(kept, 'utf8').catch(() => '')).includes('"subtype":"success"'));
  await anew();
  await page.getByRole('button', { name: 'Earlier Conversations' }).click();
  await page.getByRole('button', { name: 'More for Name the fish' }).click();
  await page.getByRole('menuitem', { name: 'Rename…' }).click();
  await page.getByRole('textbox', { name: 'Title' }).fill('Fish');
  await page.keyboard.press('Enter');
  assert.deepEqual(await axeFindings(page), []);
  await claude.play(...introduces(), 'expect "user"', out(says('I do')), out(result()));
  await page.locator('.chat-record-name', { hasText: 'Fish' }).click();
  await page.locator('.chat-item.text', { hasText: 'remember the marlin' }).waitFor();
  const resumed = await until(async () => {
    const words = await claude.argv();
    return words.includes('session-keep') && words;
  });
  assert.ok(!resumed.includes('--fork-session'));
  await send('Do you remember?');
  await page.locator('.chat-item.text', { hasText: 'I do' }).waitFor();
  await ended(2);
  await claude.play(
    ...introduces(),
    'expect "user"',
    out(init({ session_id: 'session-new' })),
    out(says('a branch')),
    out(result()),
  );
  await page.getByRole('button', { name: 'Earlier Conversations' }).click();
  await page.getByRole('button', { name: 'More for Fish' }).click();
  await page.getByRole('menuitem', { name: 'Fork' }).click();
  await until(async () => (await claude.argv()).includes('--fork-session'));
  await field().waitFor();
  await send('branch off');
  await page.locator('.chat-item.text', { hasText: 'a branch' }).waitFor();
  const { config } = await editor.api('config');
  assert.equal(config.claude.forkSession, false);
  await until(async () =>
    (await readdir(join(editor.project, '.marlin/chats'))).includes('session-new.jsonl'),
  );
});

test('chat: stopping ends the CLI, and the next message goes on in the same conversation', async () => {
  const { talk, send, ended } = steps;
  await talk([out(init({ session_id: 'session-stop' })), out(says('hi')), out(result())]);
  await ended();
  await page.getByRole('button', { name: 'Stop Claude' }).click();
  await page.getByRole('button', { name: 'Go On With the Conversation' }).waitFor();
  assert.equal((await editor.api('agent/status')).running, false);
  await claude.play(...introduces(), 'expect "user"', out(says('again')), out(result()));
  await send('more');
  await page.locator('.chat-item.text', { hasText: 'again' }).waitFor();
  const argv = await claude.argv();
  assert.equal(argv[argv.indexOf('--resume') + 1], 'session-stop');
});

test('chat: a long conversation stays quick: only the end is drawn again', async () => {
  const { talk, ended } = steps;
  const lines = Array.from({ length: 300 }, (_, i) =>
    out(says(`Paragraph ${i} with **bold** and \`code\`.`, { id: `m${i}` })),
  );
  await talk([
    out(init()),
    ...lines,
    out(begin('last')),
    out(block(0, { type: 'text', text: '' })),
    claude.gate('stream'),
    `repeat 400 ${out(textDelta('word ${n} '))}`,
    out(result()),
  ]);
  await page.locator('.chat-item.text', { hasText: 'Paragraph 299' }).waitFor();
  await page.evaluate(() => {
    globalThis.changed = 0;
    const observer = new MutationObserver((list) => (globalThis.changed += list.length));
    observer.observe(document.querySelector('.chat-items'), {
      childList: true,
      subtree: true,
      characterData: true,
    });
  });
  await claude.allow('stream');
  await ended();
  await page.locator('.chat-item.text', { hasText: 'word 400' }).waitFor();
  const changed = await page.evaluate(() => globalThis.changed);
  assert.ok(changed < 20, `${changed} changes in what had settled`);
});

test('chat: without a CLI, and signed out, it says what to do', async () => {
  const { anew } = steps;
  await claude.signIn({ loggedIn: false });
  await anew();
  await page.reload();
  await page.getByText(/You are not signed in/).waitFor();
  await claude.signIn({ loggedIn: true, email: 'me@example.invalid' });
  await page.getByRole('button', { name: 'Look again' }).click();
  await page.getByText('Signed in as me@example.invalid').waitFor();
  await page.route('**/api/agent/status', (route) =>
    route.fulfill({ json: { ok: true, running: false, sessionId: '', executable: 'claude' } }),
  );
  await page.reload();
  await page.getByText('The Claude CLI was not found').waitFor();
  assert.deepEqual(await axeFindings(page), []);
  await page.unroute('**/api/agent/status');
  await page.getByRole('button', { name: 'Look again' }).click();
  await page.getByText('Ask Claude', { exact: true }).waitFor();
});
