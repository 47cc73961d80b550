// The tries of one task beside each other: how each stands, what each changed, whether a command works in it, and
// one button that lands the best and throws the others away.

import { html } from 'htm/preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { openPage } from '../../editor/tabactions.js';
import { registerPage } from '../../editor/pages.js';
import { icon } from '../../shell/icons.js';
import { reportError, toast } from '../../shell/toasts.js';
import { costWords } from '../../stores/chatusage.js';
import { diffOfTask, discardTask, landTask, tasks, underWay } from '../../stores/dispatch.js';
import { counted } from '../../stores/dispatchboard.js';
import { durationWords } from '../../stores/dispatchtries.js';
import { isClosed, titleLine, tryGroups } from '../../stores/dispatchwire.js';
import { checks, rememberedCheck, runChecks } from '../../stores/trychecks.js';
import { typing } from '../chat/fields.js';
import { State, costOf } from './card.js';
import { landThrough } from './landing.js';
import { Counts } from './patchview.js';
import { setTriesView } from './slots.js';
import { openBoard, openTask } from './taskactions.js';
import { TryFiles } from './triesfiles.js';

/**
 * @typedef {import('../../stores/dispatchwire.js').Task} Task
 * @typedef {import('../../stores/dispatchwire.js').TaskDiff} TaskDiff
 * @typedef {{diff: TaskDiff | null, words: string}} Changes what a try changed, or why that is not known
 */

/** @param {string} group */
const open = (group) => openPage('tries', group);

export function startTries() {
  registerPage('tries', { title: titleOfGroup, component: Tries });
  setTriesView(open);
}

/** @param {string} id of a group */
const groupAt = (id) => tryGroups(tasks.value).get(id) ?? [];

/** @param {string} id */
function titleOfGroup(id) {
  const [first] = groupAt(id);
  return first ? `Tries: ${titleLine(first)}` : 'Tries';
}

/** @param {{arg: string}} props */
function Tries({ arg }) {
  const group = groupAt(arg);
  const [changes, refresh, take] = useChanges(group);
  if (!group.length) {
    return html`<div class="pane-note" tabindex="0">
      <p>These tries are gone: the program has been started anew since.</p>
      <button type="button" class="button" onClick=${openBoard}>Open the Board</button>
    </div>`;
  }
  const diffs = group.map(({ id }) => changes.get(id)?.diff ?? null);
  return html`<section
    class="tries"
    aria-label=${titleOfGroup(arg)}
    data-count=${group.length}
    tabindex="0"
  >
    <${Head} group=${group} refresh=${refresh} take=${take} />
    <div class="tries-row tries-cards">
      <span></span>
      ${group.map((task) => html`<${TryCard} key=${task.id} task=${task} group=${group} changes=${changes} />`)}
    </div>
    <${TryFiles} group=${group} diffs=${diffs} />
  </section>`;
}

/**
 * What each try changed. Asking stages everything in its folder, so it is asked when the page opens, when a try
 * ends, and when the user says so.
 * @param {readonly Task[]} group
 * @returns {[ReadonlyMap<string, Changes>, () => void, (id: string, diff: TaskDiff) => void]}
 */
function useChanges(group) {
  const [changes, setChanges] = useState(/** @type {ReadonlyMap<string, Changes>} */ (new Map()));
  const [asked, setAsked] = useState(0);
  /** @param {string} id @param {Changes} one */
  const put = (id, one) => setChanges((before) => new Map(before).set(id, one));
  /** What each try was asked for last, so that the end of one is no reason to ask another. */
  const known = useRef(/** @type {Map<string, string>} */ (new Map()));
  const standing = new Map(group.map(({ id, status }) => [id, `${asked} ${status === 'running'}`]));
  useEffect(() => {
    for (const { id, status } of group) {
      const now = standing.get(id) ?? '';
      if (isClosed(status) || known.current.get(id) === now) continue;
      known.current.set(id, now);
      diffOfTask(id).then(
        (diff) => put(id, { diff, words: '' }),
        (error) => put(id, { diff: null, words: error instanceof Error ? error.message : String(error) }),
      );
    }
  }, [[...standing].join()]);
  return [changes, () => setAsked(asked + 1), (id, diff) => put(id, { diff, words: '' })];
}

/** Tries that nothing works in at present. @param {readonly Task[]} group */
const resting = (group) =>
  group.filter(({ status }) => !isClosed(status) && status !== 'running' && status !== 'queued');

/**
 * @param {object} props
 * @param {readonly Task[]} props.group
 * @param {() => void} props.refresh
 * @param {(id: string, diff: TaskDiff) => void} props.take
 */
function Head({ group, refresh, take }) {
  const first = /** @type {Task} */ (group[0]);
  const [command, setCommand] = useState(() => rememberedCheck(first.repoRoot));
  const ready = resting(group);
  const some = ready.length > 0 && ready.length < group.length;
  const busy = group.some(({ id }) => checks.value.get(id)?.state === 'running');
  /** @param {Event} event */
  const submit = (event) => {
    event.preventDefault();
    if (command.trim() && ready.length && !busy) void runChecks(ready, command, take);
  };
  return html`<header class="tries-head">
    <h2>${titleLine(first)}</h2>
    <form class="tries-check" onSubmit=${submit}>
      <input
        class="field"
        aria-label="Command that checks a try"
        placeholder="A command that tells whether a try works, e.g. make test"
        value=${command}
        onInput=${typing(setCommand)}
      />
      <button type="submit" class="button" disabled=${!command.trim() || !ready.length || busy}>
        ${icon('beaker')} ${some ? `Check ${counted(ready.length, 'Try', 'Tries')}` : 'Check All Tries'}
      </button>
      <button type="button" class="button quiet" onClick=${refresh}>${icon('refresh')} Refresh</button>
    </form>
    <p class="unseen" role="status">${checkWords(group)}</p>
  </header>`;
}

/** How the checks have ended, once all have. @param {readonly Task[]} group */
function checkWords(group) {
  const all = group.map((task) => ({ task, check: checks.value.get(task.id) })).filter(({ check }) => check);
  if (!all.length || all.some(({ check }) => check?.state === 'running')) return '';
  return all.map(({ task, check }) => `Try ${task.try}: ${check && endWords(check)}.`).join(' ');
}

/** @param {import('../../stores/trychecks.js').Check} check */
function endWords({ state, result, words }) {
  if (state === 'failed' || !result) return `could not be checked: ${words}`;
  const time = durationWords(result.ms);
  const after = time && ` after ${time}`;
  return result.exitCode === 0 ? `passed${after}` : `exit code ${result.exitCode}${after}`;
}

/**
 * @param {object} props
 * @param {Task} props.task
 * @param {readonly Task[]} props.group
 * @param {ReadonlyMap<string, Changes>} props.changes
 */
function TryCard({ task, group, changes }) {
  const { id, try: number, status, branch, error } = task;
  const { diff, words } = changes.get(id) ?? { diff: null, words: '' };
  const closed = isClosed(status);
  const cost = costOf(task);
  const others = group.filter((one) => one.id !== id && !isClosed(one.status));
  return html`<section class="try" aria-label=${`Try ${number}`} data-try=${number}>
    <h3>Try ${number}</h3>
    <p class="try-line">
      <${State} task=${task} />${cost > 0 && html`<span class="try-cost">${costWords(cost)}</span>`}
    </p>
    ${!closed && html`<p class="try-line"><${Sum} diff=${diff} words=${words} /></p>`}
    ${status === 'failed' && error && html`<p class="try-trouble">${error.split('\n', 1)[0]}</p>`}
    <div class="try-buttons">
      ${
        !closed &&
        branch &&
        html`<button
          type="button"
          class="button primary"
          disabled=${underWay.value.has(id) || status === 'queued'}
          onClick=${() => landTry(task, others, changes)}
        >
          ${others.length ? `Land This, Discard the ${others.length === 1 ? 'Other' : 'Others'}` : 'Land This'}
        </button>`
      }
      <button type="button" class="button quiet" onClick=${() => openTask(id)}>Open</button>
    </div>
    <${CheckState} id=${id} />
  </section>`;
}

/** @param {Changes} props */
function Sum({ diff, words }) {
  if (words) return html`<span class="try-trouble">${words}</span>`;
  if (!diff) return 'Reading its changes…';
  if (!diff.fileCount) return 'Nothing has changed.';
  return html`${counted(diff.fileCount, 'file')}, <${Counts} added=${diff.added} removed=${diff.removed} />`;
}

/** The reason of a failure stands at the end. @param {HTMLElement | null} box */
function toEnd(box) {
  if (box) box.scrollTop = box.scrollHeight;
}

/** @param {{id: string}} props */
function CheckState({ id }) {
  const check = checks.value.get(id);
  if (!check) return null;
  const { state, command, result, left } = check;
  const ok = state === 'ended' && result?.exitCode === 0;
  const sign = state === 'running' ? 'loading' : ok ? 'pass' : 'error';
  return html`<div class=${`try-check ${state === 'running' ? 'running' : ok ? 'ok' : 'bad'}`}>
    <p class="try-line">
      ${icon(sign, state === 'running' ? 'spin' : '')}
      <span>
        Check: ${state === 'running' ? 'running…' : endWords(check)}
        <code title=${command}>${command}</code>
      </span>
    </p>
    ${
      left.length > 0 &&
      html`<p class="try-left">${icon('warning')} It changed ${left.join(', ')}: that would land, too.</p>`
    }
    ${
      result?.tail &&
      html`<details open=${!ok}>
        <summary>Output${result.cut && ', its end'}</summary>
        <pre tabindex="0" aria-label="Output of the check" ref=${toEnd}>${result.tail}</pre>
      </details>`
    }
  </div>`;
}

/**
 * Lands one try and, once it has landed, throws the others away; the sheet has said so before.
 * @param {Task} task
 * @param {readonly Task[]} others
 * @param {ReadonlyMap<string, Changes>} changes
 */
async function landTry(task, others, changes) {
  const also = others.map((one) => {
    const diff = changes.get(one.id)?.diff;
    return `Try ${one.try}${diff ? `: ${counted(diff.fileCount, 'file')}, +${diff.added} −${diff.removed}` : ''}`;
  });
  const place = await landThrough({
    title: `Land try ${task.try} of "${titleLine(task)}"`,
    wanted: task,
    land: () => landTask(task.id),
    also,
    and: others.length ? `Discard ${counted(others.length, 'Other')}` : '',
  });
  if (place === null) return;
  const gone = [];
  for (const one of others) {
    try {
      await discardTask(one.id);
      gone.push(one.try);
    } catch (error) {
      reportError(`Try ${task.try} has landed, but try ${one.try} could not be discarded`, error);
    }
  }
  const behind = gone.length ? ` Discarded: ${gone.length === 1 ? 'try' : 'tries'} ${gone.join(' and ')}.` : '';
  toast({ kind: 'info', text: `Try ${task.try} of "${titleLine(task)}" has landed on ${place}.${behind}` });
}
