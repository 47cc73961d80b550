// A conversation as the Claude CLI's output lines tell it: a pure function from what is known and one more
// line to what is known then. Settled items keep their identity, so that only what changed is drawn again.
//
// The CLI's lines are not under this page's control. What is not understood changes nothing here and
// comes back as a remark for the log.

import { asked, questionOf, settledBy, withdrawn } from './chatquestions.js';
import { emptyTail, kindOf, leftOver, replaced, streamed } from './chattail.js';
import { afterMessage, afterResult, afterStart, emptyUsage } from './chatusage.js';
import { clipped, listOf, numberOf, parseRecord, recordOf, textOf } from './chatwire.js';

/** Older items go when there are more: they are in the kept transcript. */
export const SHOWN_ITEMS = 400;
/** Characters of one text that are shown. */
export const SHOWN_TEXT = 100000;

/**
 * @typedef {import('./chatquestions.js').Question} Question
 * @typedef {import('./chattail.js').Tail} Tail
 * @typedef {import('./chatusage.js').Usage} Usage
 *
 * @typedef {{text: string, error: boolean, images: number}} ToolResult
 *
 * @typedef {{id: number, parent: string} & (
 *   {kind: 'user', text: string, images: number} |
 *   {kind: 'text' | 'thinking', text: string} |
 *   {kind: 'tool', toolId: string, name: string, input: Record<string, any>, result: ToolResult | null,
 *     ended: boolean} |
 *   {kind: 'result', ok: boolean, words: string, costUsd: number, ms: number, turns: number} |
 *   {kind: 'notice', text: string, level: 'info' | 'warning' | 'error'} |
 *   {kind: 'data', title: string, json: string})} Item
 *
 * @typedef {Item extends infer One ? One extends Item ? Omit<One, 'id' | 'parent'> & {parent?: string} : never : never} NewItem
 *
 * @typedef {object} Announced what the CLI says of itself
 * @property {string} version
 * @property {string} cwd
 * @property {string[]} tools
 * @property {string[]} agents
 * @property {string[]} skills
 * @property {string} outputStyle
 * @property {{name: string, status: string}[]} servers connected tools
 * @property {{name: string, description: string, hint: string}[]} commands slash commands
 * @property {string[]} outputStyles that can be chosen
 * @property {{id: string, name: string}[]} models that can be chosen
 *
 * @typedef {object} Talk
 * @property {readonly Item[]} items
 * @property {number} dropped items that are no longer held
 * @property {Tail} tail
 * @property {readonly Question[]} questions
 * @property {Usage} usage
 * @property {Announced} announced
 * @property {string} sessionId
 * @property {string} mode
 * @property {string} model
 * @property {boolean} busy a turn is under way
 * @property {boolean} spoke the turn has said something
 * @property {string} status what the CLI is doing, in its own word
 * @property {number} nextId
 *
 * @typedef {{text: string, detail: unknown}} Remark for the log
 * @typedef {{talk: Talk, remarks: Remark[]}} Step
 */

/** @returns {Talk} */
export const emptyTalk = () => ({
  items: [],
  dropped: 0,
  tail: emptyTail(),
  questions: [],
  usage: emptyUsage(),
  announced: {
    version: '',
    cwd: '',
    tools: [],
    agents: [],
    skills: [],
    outputStyle: '',
    servers: [],
    commands: [],
    outputStyles: [],
    models: [],
  },
  sessionId: '',
  mode: '',
  model: '',
  busy: false,
  spoke: false,
  status: '',
  nextId: 1,
});

/** @type {Record<string, (talk: Talk, line: Record<string, any>) => Step>} */
const READERS = {
  system,
  assistant,
  user,
  result,
  stream_event: partial,
  control_request: request,
  control_cancel_request: (talk, line) =>
    step({ ...talk, questions: withdrawn(talk.questions, textOf(line.request_id)) }),
  control_response: (talk) => step(talk), // whoever asked waits for it, not the conversation
  keep_alive: (talk) => step(talk),
  tool_progress: (talk) => step(talk),
  marlin: own,
};

/**
 * The conversation after one more line of the CLI, or of the page's own record beside it.
 * @param {Talk} talk
 * @param {string} text
 * @returns {Step}
 */
export function afterLine(talk, text) {
  const line = parseRecord(text);
  if (!line) return step(talk, { text: 'Claude printed a line that is not JSON', detail: text });
  const type = textOf(line.type);
  if (!Object.hasOwn(READERS, type)) {
    return step(talk, { text: `Claude printed a line of the unknown type "${type}"`, detail: line });
  }
  return READERS[type](talk, line);
}

/**
 * @param {Talk} talk
 * @param {Remark[]} remarks
 * @returns {Step}
 */
const step = (talk, ...remarks) => ({ talk, remarks });

/**
 * @param {Talk} talk
 * @param {NewItem} item
 * @returns {Talk}
 */
function added(talk, item) {
  const whole = /** @type {Item} */ ({ parent: '', ...item, id: talk.nextId });
  const items = [...talk.items, whole];
  const over = Math.max(0, items.length - SHOWN_ITEMS);
  return { ...talk, items: items.slice(over), dropped: talk.dropped + over, nextId: talk.nextId + 1 };
}

/** Lines of "system" that tell nothing to the user. */
const QUIET = new Set(['hook_started', 'hook_progress', 'hook_response', 'task_progress', 'files_persisted']);

/** @param {Talk} talk @param {Record<string, any>} line @returns {Step} */
function system(talk, line) {
  const subtype = textOf(line.subtype);
  if (subtype === 'init') return step(initialised(talk, line));
  if (subtype === 'status') {
    const mode = textOf(line.permissionMode) || talk.mode;
    return step({ ...talk, status: textOf(line.status), mode });
  }
  if (subtype === 'compact_boundary') {
    const notice = 'The earlier conversation was summed up to make room.';
    return step(added({ ...talk, status: '' }, { kind: 'notice', level: 'info', text: notice }));
  }
  if (subtype === 'api_retry') {
    const words = `The service did not answer; attempt ${numberOf(line.attempt) || 'another'} follows.`;
    return step({ ...talk, status: words });
  }
  if (QUIET.has(subtype)) return step(talk);
  return step(talk, { text: `Claude told of "${subtype}"`, detail: line });
}

/** @param {Talk} talk @param {Record<string, any>} line @returns {Talk} */
function initialised(talk, line) {
  const known = talk.announced;
  const named = listOf(line.slash_commands).map(textOf).filter(Boolean);
  const described = new Map(known.commands.map((command) => [command.name, command]));
  return {
    ...talk,
    sessionId: textOf(line.session_id) || talk.sessionId,
    mode: textOf(line.permissionMode) || talk.mode,
    model: textOf(line.model) || talk.model,
    announced: {
      ...known,
      version: textOf(line.claude_code_version),
      cwd: textOf(line.cwd),
      tools: listOf(line.tools).map(textOf).filter(Boolean),
      agents: listOf(line.agents).map(nameOf).filter(Boolean),
      skills: listOf(line.skills).map(nameOf).filter(Boolean),
      outputStyle: textOf(line.output_style) || known.outputStyle,
      servers: listOf(line.mcp_servers).map((server) => ({
        name: textOf(recordOf(server).name),
        status: textOf(recordOf(server).status),
      })),
      commands: named.length
        ? named.map((name) => described.get(name) ?? { name, description: '', hint: '' })
        : known.commands,
    },
  };
}

/** @param {unknown} one a name, or a record with one */
const nameOf = (one) => textOf(one) || textOf(recordOf(one).name);

/**
 * What the CLI answered to "initialize".
 * @param {Talk} talk
 * @param {unknown} answer
 * @returns {Talk}
 */
function introduced(talk, answer) {
  const { commands, models, output_style, available_output_styles, agents } = recordOf(answer);
  const known = talk.announced;
  const list = listOf(commands).map((command) => ({
    name: nameOf(command),
    description: textOf(recordOf(command).description),
    hint: textOf(recordOf(command).argumentHint),
  }));
  return {
    ...talk,
    announced: {
      ...known,
      commands: list.length ? list.filter(({ name }) => name) : known.commands,
      agents: listOf(agents).length ? listOf(agents).map(nameOf).filter(Boolean) : known.agents,
      outputStyle: textOf(output_style) || known.outputStyle,
      outputStyles: listOf(available_output_styles).map(nameOf).filter(Boolean),
      models: listOf(models)
        .map((model) => ({
          id: textOf(recordOf(model).value) || textOf(model),
          name: textOf(recordOf(model).displayName) || textOf(recordOf(model).value) || textOf(model),
        }))
        .filter(({ id }) => id),
    },
  };
}

/** @param {Talk} talk @param {Record<string, any>} line @returns {Step} */
function assistant(talk, line) {
  const message = recordOf(line.message);
  const parent = textOf(line.parent_tool_use_id);
  let next = { ...talk, busy: true, status: '' };
  if (textOf(message.model) && !parent && message.model !== '<synthetic>') next.model = message.model;
  if (!parent) next.usage = afterMessage(next.usage, message.usage);
  /** @type {Remark[]} */
  const remarks = [];
  const content =
    typeof message.content === 'string' ? [{ type: 'text', text: message.content }] : message.content;
  for (const each of listOf(content)) {
    const block = recordOf(each);
    const kind = kindOf(block.type);
    const whole = { message: textOf(message.id), parent, kind, toolId: textOf(block.id) };
    next = added({ ...next, tail: replaced(next.tail, whole), spoke: true }, itemOf(block, kind, parent));
    if (kind === 'other') {
      remarks.push({
        text: `Claude sent a block of the unknown type "${textOf(block.type)}"`,
        detail: block,
      });
    }
  }
  return step(next, ...remarks);
}

/**
 * @param {Record<string, any>} block
 * @param {import('./chattail.js').BlockKind} kind
 * @param {string} parent
 * @returns {NewItem}
 */
function itemOf(block, kind, parent) {
  if (kind === 'text') return { kind, parent, text: clipped(textOf(block.text), SHOWN_TEXT) };
  if (kind === 'thinking') return { kind, parent, text: clipped(textOf(block.thinking), SHOWN_TEXT) };
  if (kind === 'tool') {
    const { id, name, input } = block;
    const words = { toolId: textOf(id), name: textOf(name), input: recordOf(input) };
    return { kind, parent, ...words, result: null, ended: false };
  }
  return { kind: 'data', parent, title: textOf(block.type), json: jsonOf(block) };
}

/** @param {unknown} value */
const jsonOf = (value) => clipped(JSON.stringify(value, null, 2) ?? '', SHOWN_TEXT);

/**
 * Lines that the CLI writes in the user's name: results of tools, and remarks of its own.
 * @param {Talk} talk
 * @param {Record<string, any>} line
 * @returns {Step}
 */
function user(talk, line) {
  const { content } = recordOf(line.message);
  const parent = textOf(line.parent_tool_use_id);
  let next = talk;
  for (const each of typeof content === 'string' ? [{ type: 'text', text: content }] : listOf(content)) {
    const block = recordOf(each);
    if (block.type === 'tool_result') next = withResult(next, block, parent);
    // What a helper is told stands in the call that started it.
    else if (block.type === 'text' && !parent) next = remarked(next, textOf(block.text));
  }
  return step(next);
}

/**
 * @param {Talk} talk
 * @param {string} words
 */
function remarked(talk, words) {
  const text = clipped(words.replace(/<\/?(?:local-)?command-[a-z]+>/g, '').trim(), SHOWN_TEXT);
  return text ? added(talk, { kind: 'notice', level: 'info', text }) : talk;
}

/**
 * @param {Talk} talk
 * @param {Record<string, any>} block
 * @param {string} parent
 * @returns {Talk}
 */
function withResult(talk, block, parent) {
  const toolId = textOf(block.tool_use_id);
  const result = { ...resultOf(block.content), error: block.is_error === true };
  const questions = settledBy(talk.questions, toolId);
  const at = talk.items.findLastIndex((item) => item.kind === 'tool' && item.toolId === toolId);
  const item = talk.items[at];
  if (item?.kind === 'tool') {
    return { ...talk, questions, items: talk.items.with(at, { ...item, result, ended: true }) };
  }
  const orphan = {
    kind: /** @type {const} */ ('tool'),
    toolId,
    name: '',
    input: {},
    parent,
    result,
    ended: true,
  };
  return added({ ...talk, questions }, orphan);
}

/** @param {unknown} content a text or a list of blocks */
function resultOf(content) {
  if (typeof content === 'string') return { text: clipped(content, SHOWN_TEXT), images: 0 };
  const blocks = listOf(content).map(recordOf);
  const texts = blocks.map(({ type, text, ...rest }) => {
    if (type === 'text') return textOf(text);
    return type === 'image' ? '' : jsonOf({ type, ...rest });
  });
  return {
    text: clipped(texts.filter(Boolean).join('\n'), SHOWN_TEXT),
    images: blocks.filter(({ type }) => type === 'image').length,
  };
}

/** @param {Talk} talk @param {Record<string, any>} line @returns {Step} */
function result(talk, line) {
  const ok = line.is_error !== true && textOf(line.subtype).startsWith('success');
  const said = textOf(line.result);
  const errors = listOf(line.errors).map((one) => textOf(one) || JSON.stringify(one));
  let next = settled(talk);
  // A slash command answers with its result alone.
  if (ok && said && !talk.spoke) next = added(next, { kind: 'text', text: clipped(said, SHOWN_TEXT) });
  const words = ok ? '' : [said, ...errors].filter(Boolean).join('\n') || failureWords(textOf(line.subtype));
  const usage = afterResult(next.usage, line);
  const { turnCost } = usage;
  next = added(next, {
    kind: 'result',
    ok,
    words: clipped(words, SHOWN_TEXT),
    costUsd: turnCost,
    ms: numberOf(line.duration_ms),
    turns: numberOf(line.num_turns),
  });
  return step({ ...next, usage, busy: false, spoke: false, status: '' });
}

/** @param {string} subtype */
function failureWords(subtype) {
  if (subtype === 'error_max_turns') return 'The turn took more steps than allowed.';
  if (subtype === 'error_max_budget_usd') return 'The budget is used up.';
  if (subtype === 'error_during_execution') return 'The turn was cut short.';
  return subtype ? `The turn ended with "${subtype}".` : 'The turn failed.';
}

/**
 * Nothing grows any more: what was never completed stays as it is, and no call waits for a result.
 * @param {Talk} talk
 * @returns {Talk}
 */
function settled(talk) {
  const { left, tail } = leftOver(talk.tail);
  let next = { ...talk, tail };
  for (const { kind, text, parent } of left) {
    if (kind === 'text' && text) next = added(next, { kind, parent, text: clipped(text, SHOWN_TEXT) });
  }
  if (!next.items.some((item) => item.kind === 'tool' && !item.ended)) return next;
  return {
    ...next,
    items: next.items.map((item) => (item.kind === 'tool' && !item.ended ? { ...item, ended: true } : item)),
  };
}

/** @param {Talk} talk @param {Record<string, any>} line @returns {Step} */
function partial(talk, line) {
  const event = recordOf(line.event);
  const parent = textOf(line.parent_tool_use_id);
  let before = talk;
  // What an earlier message left open will not be completed once a new one begins.
  if (event.type === 'message_start') {
    const { left, tail } = leftOver(talk.tail, parent);
    before = { ...talk, tail };
    for (const { kind, text } of left) {
      if (kind === 'text' && text) before = added(before, { kind, parent, text: clipped(text, SHOWN_TEXT) });
    }
  }
  const tail = streamed(before.tail, event, parent);
  if (!tail)
    return step(talk, { text: `Claude streamed an unknown event "${textOf(event.type)}"`, detail: line });
  return step({ ...before, tail, busy: true, status: '' });
}

/** @param {Talk} talk @param {Record<string, any>} line @returns {Step} */
function request(talk, line) {
  const question = questionOf(line);
  if (question) return step({ ...talk, questions: asked(talk.questions, question) });
  const subtype = textOf(recordOf(line.request).subtype);
  const text = `Claude asks for "${subtype}", which this editor cannot answer`;
  return step(added(talk, { kind: 'notice', level: 'warning', text: `${text}.` }), { text, detail: line });
}

/**
 * The page's own record beside the CLI's lines: what was sent, answered, started and ended.
 * @param {Talk} talk
 * @param {Record<string, any>} line
 * @returns {Step}
 */
function own(talk, line) {
  switch (line.kind) {
    case 'sent': {
      const item = {
        kind: /** @type {const} */ ('user'),
        text: textOf(line.text),
        images: numberOf(line.images),
      };
      return step({ ...added(talk, item), busy: true, spoke: false });
    }
    case 'started': {
      const { mode, model } = line;
      return step({
        ...talk,
        mode: textOf(mode) || talk.mode,
        model: textOf(model) || talk.model,
        usage: afterStart(talk.usage),
        questions: [],
        busy: false,
      });
    }
    case 'introduced':
      return step(introduced(talk, line.answer));
    case 'answered':
      return step(answered(talk, line));
    case 'unsent': {
      const text = `That message was not sent: ${textOf(line.words)}`;
      return step({ ...added(talk, { kind: 'notice', level: 'error', text }), busy: false });
    }
    case 'ended':
      return step(ended(talk, line));
    case 'quiet':
      return step({ ...settled(talk), busy: false, spoke: false, status: '' });
    case 'gap': {
      const text = 'The link to the editor was down. What Claude said meanwhile may be missing here.';
      return step(added(talk, { kind: 'notice', level: 'warning', text }));
    }
    default:
      return step(talk, { text: `Unknown record "${textOf(line.kind)}"`, detail: line });
  }
}

/** @param {Talk} talk @param {Record<string, any>} line */
function answered(talk, line) {
  const next = { ...talk, questions: withdrawn(talk.questions, textOf(line.requestId)) };
  const text = textOf(line.words);
  return text ? added(next, { kind: 'notice', level: 'info', text }) : next;
}

/** @param {Talk} talk @param {Record<string, any>} line */
function ended(talk, line) {
  const next = { ...settled(talk), busy: false, spoke: false, status: '', questions: [] };
  if (line.wanted === true) return next;
  const code = numberOf(line.code);
  const text = code === 0 ? 'Claude has ended.' : `Claude ended with code ${code}.`;
  return added(next, { kind: 'notice', level: code === 0 ? 'info' : 'error', text });
}
