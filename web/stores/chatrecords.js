// Earlier conversations: keeps the words of each below its root, lists them, and takes one up again.

import { computed, signal } from '@preact/signals';
import { call } from '../bridge/api.js';
import { beginningLost, keptLines, onTurnEnd, sessionId, setKeptLines, showTalk, usage } from './chat.js';
import {
  chatFolder,
  forgotten,
  isSessionId,
  recorded,
  renamed,
  restoredHistory,
  titleFrom,
  transcriptLines,
  transcriptPath,
  transcriptText,
} from './chathistory.js';
import { saveClaude, start, stop } from './chatsession.js';
import { parseRecord, recordOf, textOf } from './chatwire.js';
import { createFolder, fileInfo, readBytes, writeFile } from './files.js';
import { note } from './log.js';
import { config, roots } from './settings.js';
import * as uistate from './uistate.js';

/** @typedef {import('./chathistory.js').ChatRecord} ChatRecord */

const KEY = 'chat.history';

/** @type {import('@preact/signals').Signal<ChatRecord[]>} */
export const history = signal([]);

/** The title of what is shown. */
export const title = computed(() => history.value.find(({ id }) => id === sessionId.value)?.title ?? '');

/** Roots whose folder for conversations is there. @type {Set<string>} */
const folders = new Set();
/** The writes go one after the other: two at a time could leave the older one. @type {Promise<void>} */
let writing = Promise.resolve();

export function startRecords() {
  history.value = restoredHistory(uistate.get(KEY, []));
  onTurnEnd(() => void keepTalk());
  if (beginningLost()) void fetchBeginning();
}

/** @param {ChatRecord[]} list */
function setHistory(list) {
  history.value = list;
  uistate.set(KEY, list);
}

/** Brings list and transcript up to date with the conversation. */
export function keepTalk() {
  const id = sessionId.value;
  if (!isSessionId(id)) return writing;
  const root = roots.value[0]?.name ?? '';
  const { turns, cost } = usage.value;
  const record = { id, title: firstWords(), named: false, root, time: Date.now(), turns, cost };
  setHistory(recorded(history.value, record));
  const text = transcriptText(keptLines());
  writing = writing.then(() => keepTranscript(root, id, text));
  return writing;
}

function firstWords() {
  for (const line of keptLines()) {
    const { type, kind, text } = parseRecord(line) ?? {};
    if (type === 'marlin' && kind === 'sent') return titleFrom(textOf(text));
  }
  return titleFrom('');
}

/**
 * @param {string} root
 * @param {string} id
 * @param {string} text
 */
async function keepTranscript(root, id, text) {
  if (!root) return;
  try {
    if (!folders.has(root)) await createFolder(chatFolder(root));
    folders.add(root);
    await writeFile(transcriptPath(root, id), new TextEncoder().encode(text));
  } catch (error) {
    folders.delete(root);
    note('error', 'Could not keep the words of the conversation', error);
  }
}

/**
 * @param {ChatRecord} record
 * @returns {Promise<string[]>} empty when nothing was kept
 */
async function readTranscript({ id, root }) {
  if (!roots.value.some(({ name }) => name === root)) return [];
  const path = transcriptPath(root, id);
  if (!(await fileInfo(path))) return [];
  // The raw bytes: a long text would be cut by the route that reads text.
  return transcriptLines(new TextDecoder().decode(await readBytes(path)));
}

/** After a reload the tab's storage may hold only the end of a long conversation. */
async function fetchBeginning() {
  const record = history.value.find(({ id }) => id === sessionId.value);
  if (!record) return;
  try {
    const file = await readTranscript(record);
    const kept = keptLines();
    const at = file.indexOf(kept[0]);
    if (at > 0) setKeptLines([...file.slice(0, at), ...kept]);
  } catch (error) {
    note('warning', 'Could not read the beginning of the conversation', error);
  }
}

/**
 * Takes up an earlier conversation: its words are shown, and the CLI goes on with it.
 * @param {ChatRecord} record
 */
export async function resume(record) {
  await stop();
  await writing;
  const lines = await readTranscript(record);
  showTalk(lines.length ? lines : [bareInit(record.id)]);
  await start({ resume: record.id });
}

/** What stands for a conversation whose words were not kept. @param {string} id */
const bareInit = (id) => JSON.stringify({ type: 'system', subtype: 'init', session_id: id });

/**
 * Goes on from an earlier conversation in a new one; the earlier one stays as it is.
 * @param {ChatRecord} record
 */
export async function fork(record) {
  const before = recordOf(config.value.claude).forkSession;
  await saveClaude({ forkSession: true });
  try {
    await resume(record);
  } finally {
    // The CLI reads it at its start only; left on, every later resume would fork as well.
    await saveClaude({ forkSession: before === true });
  }
}

/**
 * @param {string} id
 * @param {string} words
 */
export const renameTalk = (id, words) => setHistory(renamed(history.value, id, words));

/**
 * Takes a conversation out of the list; its words go to the Trash, the CLI keeps its own.
 * @param {ChatRecord} record
 */
export async function deleteTalk(record) {
  setHistory(forgotten(history.value, record.id));
  if (!roots.value.some(({ name }) => name === record.root)) return;
  const path = transcriptPath(record.root, record.id);
  if (await fileInfo(path)) await call('file/delete', { path });
}
