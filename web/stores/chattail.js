// The open end of a conversation: blocks that still grow, delta by delta, until the whole message comes
// and takes their place.

import { numberOf, recordOf, textOf } from './chatwire.js';

/**
 * @typedef {'text' | 'thinking' | 'tool' | 'other'} BlockKind
 *
 * @typedef {object} TailBlock
 * @property {string} key
 * @property {string} message id of the message it belongs to
 * @property {string} parent id of the tool call that a helper works for, "" for the main talk
 * @property {number} index
 * @property {BlockKind} kind
 * @property {string} text of a tool the JSON of its input, as far as it has come
 * @property {string} name of a tool
 * @property {string} toolId
 *
 * @typedef {{blocks: TailBlock[], messages: ReadonlyMap<string, string>}} Tail
 */

/** @returns {Tail} */
export const emptyTail = () => ({ blocks: [], messages: new Map() });

/** @type {Record<string, BlockKind>} */
const KINDS = {
  text: 'text',
  thinking: 'thinking',
  redacted_thinking: 'thinking',
  tool_use: 'tool',
  server_tool_use: 'tool',
  mcp_tool_use: 'tool',
};

/** Where the text of each delta stands; those with "" carry nothing to show. @type {Record<string, string>} */
const DELTAS = {
  text_delta: 'text',
  thinking_delta: 'thinking',
  input_json_delta: 'partial_json',
  signature_delta: '',
  citations_delta: '',
};

/** @param {unknown} type of a content block */
export const kindOf = (type) => (Object.hasOwn(KINDS, textOf(type)) ? KINDS[textOf(type)] : 'other');

/**
 * The tail after one streamed event; null for an event that nobody here knows.
 * @param {Tail} tail
 * @param {Record<string, any>} event
 * @param {string} parent
 * @returns {Tail | null}
 */
export function streamed(tail, event, parent) {
  switch (event.type) {
    case 'message_start':
      return {
        ...tail,
        messages: new Map(tail.messages).set(parent, textOf(recordOf(event.message).id)),
      };
    case 'content_block_start':
      return begun(tail, event, parent);
    case 'content_block_delta':
      return grown(tail, event, parent);
    case 'content_block_stop':
    case 'message_delta':
    case 'message_stop':
    case 'ping':
      return tail;
    default:
      return null;
  }
}

/**
 * @param {Tail} tail
 * @param {Record<string, any>} event
 * @param {string} parent
 */
function begun(tail, event, parent) {
  const start = recordOf(event.content_block);
  const block = {
    ...newBlock(tail, parent, numberOf(event.index), kindOf(start.type)),
    text: textOf(start.text) || textOf(start.thinking),
    name: textOf(start.name),
    toolId: textOf(start.id),
  };
  return { ...tail, blocks: [...tail.blocks.filter(({ key }) => key !== block.key), block] };
}

/**
 * @param {Tail} tail
 * @param {Record<string, any>} event
 * @param {string} parent
 * @returns {Tail | null}
 */
function grown(tail, event, parent) {
  const delta = recordOf(event.delta);
  const type = textOf(delta.type);
  if (!Object.hasOwn(DELTAS, type)) return null;
  const more = textOf(delta[DELTAS[type]]);
  if (!more) return tail;
  // A page that joins in the middle has not seen the beginning of the block.
  const kind = type === 'text_delta' ? 'text' : type === 'thinking_delta' ? 'thinking' : 'tool';
  const fresh = newBlock(tail, parent, numberOf(event.index), kind);
  const at = tail.blocks.findIndex(({ key }) => key === fresh.key);
  const before = tail.blocks[at] ?? fresh;
  const block = { ...before, text: before.text + more };
  return { ...tail, blocks: at < 0 ? [...tail.blocks, block] : tail.blocks.with(at, block) };
}

/**
 * @param {Tail} tail
 * @param {string} parent
 * @param {number} index
 * @param {BlockKind} kind
 * @returns {TailBlock}
 */
function newBlock(tail, parent, index, kind) {
  const message = tail.messages.get(parent) ?? '';
  return {
    key: `${parent} ${message} ${index}`,
    message,
    parent,
    index,
    kind,
    text: '',
    name: '',
    toolId: '',
  };
}

/**
 * The tail without the block that a whole one takes the place of.
 * @param {Tail} tail
 * @param {{message: string, parent: string, kind: BlockKind, toolId: string}} whole
 * @returns {Tail}
 */
export function replaced(tail, { message, parent, kind, toolId }) {
  const at = tail.blocks.findIndex(
    (block) =>
      block.parent === parent &&
      block.kind === kind &&
      (block.message === message || !block.message || !message) &&
      (kind !== 'tool' || block.toolId === toolId),
  );
  return at < 0 ? tail : { ...tail, blocks: tail.blocks.toSpliced(at, 1) };
}

/**
 * Takes out what will not be replaced any more.
 * @param {Tail} tail
 * @param {string} [parent] only what belongs to it; without one everything
 * @returns {{left: TailBlock[], tail: Tail}}
 */
export function leftOver(tail, parent) {
  const mine = (/** @type {TailBlock} */ block) => parent === undefined || block.parent === parent;
  return {
    left: tail.blocks.filter(mine),
    tail: { ...tail, blocks: tail.blocks.filter((block) => !mine(block)) },
  };
}

/**
 * Where a growing text can be cut so that what stands before will not change any more: behind the last
 * blank line that lies outside of code, before a line that begins a paragraph of its own.
 * @param {string} text
 */
export function settledLength(text) {
  let settled = 0;
  let fence = '';
  let blank = false;
  let at = 0;
  for (const line of text.split('\n')) {
    const mark = /^ {0,3}(`{3,}|~{3,})/.exec(line)?.[1] ?? '';
    // A list, a quote or an indented line may still belong to what stands above the blank line.
    if (blank && !fence && /^[^\s>*+\-\d|]/.test(line)) settled = at;
    if (!fence) fence = mark;
    else if (mark.startsWith(fence) && line.trim() === mark) fence = '';
    blank = line.trim() === '';
    at += line.length + 1;
  }
  return settled;
}
