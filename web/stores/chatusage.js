// What a conversation costs and how full its context is, from what the CLI says in passing and in answer
// to a question.

import { listOf, numberOf, recordOf, textOf } from './chatwire.js';

/** Sums of numbers beyond all reason would end as no number at all. */
const MOST = 1e12;

/** @param {unknown} value */
function amountOf(value) {
  const amount = numberOf(value);
  return amount >= 0 && amount <= MOST ? amount : 0;
}

/** What a model holds when nobody has said otherwise. */
export const USUAL_CONTEXT = 200000;

/**
 * @typedef {{name: string, tokens: number}} UsagePart
 *
 * @typedef {object} Usage
 * @property {number} contextTokens in the last request of the main talk
 * @property {number} contextLimit
 * @property {UsagePart[]} parts what fills the context, when the CLI has told
 * @property {number} turnCost dollars of the last turn
 * @property {number} cost dollars of the conversation
 * @property {number} runCost dollars that this run of the CLI has told so far
 * @property {number} turns
 */

/** @returns {Usage} */
export const emptyUsage = () => ({
  contextTokens: 0,
  contextLimit: USUAL_CONTEXT,
  parts: [],
  turnCost: 0,
  cost: 0,
  runCost: 0,
  turns: 0,
});

/**
 * After an answer of the main talk: what went in and what came out is the next request's context.
 * @param {Usage} usage
 * @param {unknown} told the message's "usage"
 */
export function afterMessage(usage, told) {
  const { input_tokens, cache_creation_input_tokens, cache_read_input_tokens, output_tokens } =
    recordOf(told);
  const tokens =
    amountOf(input_tokens) +
    amountOf(cache_creation_input_tokens) +
    amountOf(cache_read_input_tokens) +
    amountOf(output_tokens);
  return tokens > 0 ? { ...usage, contextTokens: tokens } : usage;
}

/**
 * After a turn. The CLI tells the sum since its start, so a turn is the difference.
 * @param {Usage} usage
 * @param {Record<string, any>} line
 */
export function afterResult(usage, line) {
  const told = amountOf(line.total_cost_usd);
  const turnCost = told >= usage.runCost ? told - usage.runCost : told;
  const runCost = told > 0 ? told : usage.runCost;
  const limits = Object.values(recordOf(line.modelUsage)).map((model) =>
    amountOf(recordOf(model).contextWindow),
  );
  const contextLimit = Math.max(0, ...limits) || usage.contextLimit;
  const turns = usage.turns + 1;
  return { ...usage, turnCost, runCost, cost: usage.cost + turnCost, contextLimit, turns };
}

/** A new run of the CLI counts from zero. @param {Usage} usage */
export const afterStart = (usage) => ({ ...usage, runCost: 0 });

/**
 * The CLI's own account of its context.
 * @param {Usage} usage
 * @param {unknown} answer
 */
export function afterContextAnswer(usage, answer) {
  const { totalTokens, total_tokens, maxTokens, max_tokens, rawMaxTokens, categories } = recordOf(answer);
  const tokens = amountOf(totalTokens) || amountOf(total_tokens);
  const limit = amountOf(maxTokens) || amountOf(max_tokens) || amountOf(rawMaxTokens);
  const parts = listOf(categories)
    .map((part) => ({ name: textOf(recordOf(part).name), tokens: amountOf(recordOf(part).tokens) }))
    .filter(({ name, tokens: count }) => name && count > 0);
  return {
    ...usage,
    contextTokens: tokens || usage.contextTokens,
    contextLimit: limit || usage.contextLimit,
    parts,
  };
}

/** How full the context is, 0 to 1. @param {Usage} usage */
export const fullness = ({ contextTokens, contextLimit }) =>
  contextLimit > 0 ? Math.min(1, Math.max(0, contextTokens / contextLimit)) : 0;

/** @param {number} dollars */
export function costWords(dollars) {
  if (dollars > 0 && dollars < 0.01) return 'under $0.01';
  return `$${dollars.toFixed(2)}`;
}

/** @param {number} tokens */
export function tokenWords(tokens) {
  if (tokens < 1000) return String(Math.round(tokens));
  if (tokens < 999500) return `${Math.round(tokens / 1000)}k`;
  return `${(tokens / 1000000).toFixed(1)}M`;
}

/** @param {number} ms */
export function timeWords(ms) {
  const seconds = Math.max(0, ms) / 1000;
  if (seconds < 10) return `${seconds.toFixed(1)} s`;
  if (seconds < 60) return `${Math.round(seconds)} s`;
  const whole = Math.round(seconds);
  const minutes = Math.floor(whole / 60);
  return minutes < 60
    ? `${minutes} min ${whole % 60} s`
    : `${Math.floor(minutes / 60)} h ${minutes % 60} min`;
}
