// A plan as lines that can be commented on, by paragraph or one by one, and the comments as one answer.

/**
 * Lines count from 1, and `to` belongs to the range.
 * @typedef {{from: number, to: number}} LineRange
 * @typedef {LineRange & {text: string}} PlanPart
 * @typedef {LineRange & {words: string}} PlanComment
 * @typedef {'heading' | 'code' | 'quote' | 'blank' | 'text'} LineKind
 */

/** @param {string} plan */
export const planLines = (plan) => plan.replaceAll('\r\n', '\n').replace(/\n$/, '').split('\n');

/**
 * Says of each line whether it lies in code, the marks of the code included.
 * @param {readonly string[]} lines
 */
function inCode(lines) {
  let fence = '';
  return lines.map((line) => {
    const mark = /^ {0,3}(`{3,}|~{3,})/.exec(line)?.[1] ?? '';
    const within = fence !== '' || mark !== '';
    if (!fence) fence = mark;
    else if (mark.startsWith(fence)) fence = '';
    return within;
  });
}

/**
 * The paragraphs of a plan; code stays in one part.
 * @param {string} plan
 * @returns {PlanPart[]}
 */
export function planParts(plan) {
  const lines = planLines(plan);
  const code = inCode(lines);
  /** @type {PlanPart[]} */
  const parts = [];
  let open = false;
  lines.forEach((line, at) => {
    const last = parts.at(-1);
    if (line.trim() === '' && !code[at]) open = false;
    else if (open && last) Object.assign(last, { to: at + 1, text: `${last.text}\n${line}` });
    else {
      open = true;
      parts.push({ from: at + 1, to: at + 1, text: line });
    }
  });
  return parts;
}

/**
 * How each line is drawn.
 * @param {readonly string[]} lines
 * @returns {LineKind[]}
 */
export function lineKinds(lines) {
  const code = inCode(lines);
  return lines.map((line, at) => {
    if (code[at]) return 'code';
    if (/^ {0,3}#{1,6}\s/.test(line)) return 'heading';
    if (/^ {0,3}>/.test(line)) return 'quote';
    return line.trim() === '' ? 'blank' : 'text';
  });
}

/** @param {LineRange} one @param {LineRange} other */
export const sameRange = (one, other) => one.from === other.from && one.to === other.to;

/**
 * The comments with the one on a range changed, or without it; always in the order of the plan.
 * @param {readonly PlanComment[]} comments
 * @param {LineRange} range
 * @param {string | undefined} words undefined takes it away
 * @returns {PlanComment[]}
 */
export function withComment(comments, { from, to }, words) {
  const others = comments.filter((one) => !sameRange(one, { from, to }));
  const all = words === undefined ? others : [...others, { from, to, words }];
  return all.sort((one, other) => one.from - other.from || one.to - other.to);
}

/** @param {LineRange} range */
export const rangeWords = ({ from, to }) => (from === to ? `Line ${from}` : `Lines ${from} to ${to}`);

/**
 * @param {string} plan
 * @param {readonly PlanComment[]} comments
 * @param {string} general
 * @returns {string} "" when nothing was said
 */
export function planReply(plan, comments, general) {
  const lines = planLines(plan);
  const remarks = comments
    .filter(({ from, to, words }) => words.trim() !== '' && lines.slice(from - 1, to).length > 0)
    .map(({ from, to, words }) => `${quoted(lines.slice(from - 1, to))}\n\n${words.trim()}`);
  if (general.trim()) remarks.push(general.trim());
  return remarks.length ? `Please revise the plan:\n\n${remarks.join('\n\n')}` : '';
}

/** @param {readonly string[]} lines */
const quoted = (lines) => lines.map((line) => `> ${line}`.trimEnd()).join('\n');
