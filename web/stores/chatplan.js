// A plan as parts that can each be commented on, and the comments as one answer.

/**
 * The paragraphs of a plan; code stays in one part.
 * @param {string} plan
 */
export function planParts(plan) {
  /** @type {string[][]} */
  const parts = [[]];
  let fence = '';
  for (const line of plan.replaceAll('\r\n', '\n').split('\n')) {
    const mark = /^ {0,3}(`{3,}|~{3,})/.exec(line)?.[1] ?? '';
    if (line.trim() === '' && !fence) parts.push([]);
    else parts.at(-1)?.push(line);
    if (!fence) fence = mark;
    else if (mark.startsWith(fence)) fence = '';
  }
  return parts.map((lines) => lines.join('\n')).filter((part) => part.trim() !== '');
}

/**
 * @param {readonly string[]} parts
 * @param {ReadonlyMap<number, string>} comments by part
 * @param {string} general
 * @returns {string} "" when nothing was said
 */
export function planReply(parts, comments, general) {
  const remarks = [...comments]
    .filter(([at, words]) => parts[at] !== undefined && words.trim() !== '')
    .sort(([one], [other]) => one - other)
    .map(([at, words]) => `${quoted(parts[at])}\n\n${words.trim()}`);
  if (general.trim()) remarks.push(general.trim());
  return remarks.length ? `Please revise the plan:\n\n${remarks.join('\n\n')}` : '';
}

/** @param {string} part */
const quoted = (part) =>
  part
    .split('\n')
    .map((line) => `> ${line}`)
    .join('\n');
