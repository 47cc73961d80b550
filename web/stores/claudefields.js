// What the settings say to the Claude CLI at its start, row by row: which key, what may stand there.

/**
 * @typedef {object} ClaudeField
 * @property {string} key in the settings' object "claude"
 * @property {string} label
 * @property {'text' | 'lines' | 'flag' | 'number' | 'effort'} kind
 * @property {string} [words]
 */

/** @type {ClaudeField[]} */
export const kClaudeFields = [
  { key: 'effort', label: 'Effort', kind: 'effort', words: 'How hard it thinks.' },
  { key: 'fallbackModel', label: 'Fallback model', kind: 'text', words: 'Used while the chosen one is overloaded.' },
  { key: 'agent', label: 'Agent', kind: 'text', words: 'The agent that a session begins with.' },
  {
    key: 'allowedTools',
    label: 'Allowed tools',
    kind: 'lines',
    words: 'Used without asking. One a line or with commas between: Read, Bash(git log, git diff).',
  },
  { key: 'disallowedTools', label: 'Disallowed tools', kind: 'lines', words: 'Never used.' },
  { key: 'systemPrompt', label: 'System prompt', kind: 'lines', words: 'Replaces the usual one.' },
  {
    key: 'appendSystemPrompt',
    label: 'Words after the system prompt',
    kind: 'lines',
    words: 'Counts only while the system prompt is the usual one.',
  },
  { key: 'mcpConfig', label: 'MCP configuration', kind: 'lines', words: 'Files or JSON, one a line.' },
  { key: 'strictMcpConfig', label: 'Only these MCP servers', kind: 'flag' },
  { key: 'autocompact', label: 'Compact by itself', kind: 'text', words: 'Handed on as it stands.' },
  { key: 'maxBudgetUsd', label: 'Most a session may cost', kind: 'number', words: 'In US dollars; empty for no limit.' },
  { key: 'outputStyle', label: 'Output style', kind: 'text', words: 'Empty or "default" for the usual one.' },
  { key: 'safeMode', label: 'Safe mode', kind: 'flag' },
  { key: 'chrome', label: 'Use the browser extension', kind: 'flag' },
  { key: 'disableSlashCommands', label: 'No slash commands', kind: 'flag' },
  { key: 'forkSession', label: 'Resume as a copy', kind: 'flag', words: 'The session that is resumed stays as it was.' },
];

/**
 * What stands in a field; a value of a type that the CLI's start does not read counts as none.
 * @param {Record<string, unknown>} claude
 * @param {ClaudeField} field
 * @returns {string}
 */
export function fieldText(claude, { key, kind }) {
  const value = claude[key];
  if (kind === 'number') return typeof value === 'number' && value > 0 ? String(value) : '';
  return typeof value === 'string' ? value : '';
}

/**
 * @param {ClaudeField} field
 * @param {string} text
 * @returns {string} what is wrong with it, "" for nothing
 */
export function fieldFault({ kind }, text) {
  if (kind !== 'number' || !text.trim()) return '';
  const value = Number(text);
  return Number.isFinite(value) && value > 0 ? '' : 'A number above 0, or nothing.';
}

/**
 * The value to keep for a text, undefined to forget the key.
 * @param {ClaudeField} field
 * @param {string} text
 */
export function fieldValue({ kind }, text) {
  if (!text.trim()) return undefined;
  return kind === 'number' ? Number(text) : text;
}
