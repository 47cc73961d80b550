// The sheet before a task lands: what receives it, what has come there since, which files change, and whether git
// can merge it. It stays open while the task lands, so that a failure is told where it was asked for.

import { html } from 'htm/preact';
import { useEffect, useRef, useState } from 'preact/hooks';
import { showDialog } from '../../shell/dialogs.js';
import { icon } from '../../shell/icons.js';
import { reportError, toast } from '../../shell/toasts.js';
import { sendToTask, taskById } from '../../stores/dispatch.js';
import { counted } from '../../stores/dispatchboard.js';
import { verdictOf } from '../../stores/dispatchjudge.js';
import { titleLine } from '../../stores/dispatchwire.js';
import { foretellLanding } from '../../stores/taskshell.js';
import { openFilesWords } from './folders.js';
import { Counts } from './patchview.js';
import { setLandingPreview } from './slots.js';

/**
 * @typedef {import('./slots.js').Landing} Wanted
 * @typedef {import('../../stores/dispatchlanding.js').Landing} Landing
 * @typedef {import('../../stores/dispatchlanding.js').Finding} Finding
 *
 * @typedef {object} Plan
 * @property {Wanted} wanted
 * @property {string} [title]
 * @property {() => Promise<unknown>} [land] does it; without it the sheet only asks
 * @property {string[]} [also] what happens behind it, in a line each
 * @property {string} [and] the same on the button: "Discard 2 Others"
 */

/** More names than this are not read, only scrolled over. */
const kNamesShown = 200;

export function startLanding() {
  setLandingPreview(previewOf);
}

/**
 * @param {Wanted} wanted
 * @param {() => Promise<unknown>} [land]
 */
const previewOf = async (wanted, land) => (await landThrough({ wanted, land })) !== null;

/**
 * @param {Plan} plan
 * @returns {Promise<string | null>} what it has landed on, or without `land` may; null when it was left alone
 */
export async function landThrough(plan) {
  /** It goes on when the sheet is closed meanwhile. @type {Promise<string | null>} */
  let landing = Promise.resolve(null);
  const title = plan.title ?? `Land "${titleLine(plan.wanted)}"`;
  const start = (/** @type {() => Promise<string | null>} */ work) => {
    landing = work();
  };
  await showDialog(title, ({ close }) => html`<${Sheet} plan=${plan} close=${close} start=${start} />`);
  return landing;
}

/** @param {unknown} error */
const wordsOf = (error) => (error instanceof Error ? error.message : String(error));

/**
 * @param {object} props
 * @param {Plan} props.plan
 * @param {(answer: string | null) => void} props.close
 * @param {(work: () => Promise<string | null>) => void} props.start
 */
function Sheet({ plan, close, start }) {
  const { wanted, land, also = [] } = plan;
  const [landing, setLanding] = useState(/** @type {Landing | null} */ (null));
  const [doing, setDoing] = useState('');
  const [failure, setFailure] = useState('');
  const open = useRef(true);
  useEffect(() => {
    void look('');
    return () => {
      open.current = false;
    };
  }, []);

  /** @param {string} words why it is looked at anew */
  async function look(words) {
    setDoing('Looking at what would land…');
    try {
      setLanding(await foretellLanding(wanted));
      setFailure(words);
    } catch (error) {
      setLanding(null);
      setFailure(`${words && `${words} `}Could not look at what would land: ${wordsOf(error)}`);
    }
    setDoing('');
  }

  /** What was shown must still be so: meanwhile another branch may have been checked out. */
  async function changed() {
    if (!landing) return true;
    const now = await foretellLanding(wanted);
    setLanding(now);
    return now.place !== landing.place || now.head !== landing.head || verdictOf(now) !== verdictOf(landing);
  }

  /** @returns {Promise<string | null>} */
  async function go() {
    const place = landing?.place ?? '';
    setDoing(`Landing on ${place}…`);
    try {
      if (await changed()) {
        setFailure('Something has changed since this was shown. Look at it again.');
        setDoing('');
        return null;
      }
      await land?.();
    } catch (error) {
      if (!open.current) reportError(`Could not land "${titleLine(wanted)}"`, error);
      else await look(`Could not land it: ${wordsOf(error)}`);
      return null;
    }
    if (open.current) close('landed');
    return place;
  }

  return html`
    <div class="landing" aria-busy=${String(doing !== '')}>
      ${landing && html`<${Facts} wanted=${wanted} landing=${landing} />`}
      ${also.length > 0 && html`<${Also} lines=${also} />`}
      ${failure && html`<p class="landing-failure" role="alert">${failure}</p>`}
      <p class="landing-verdict" role="status">${doing || (landing && verdictWords(landing))}</p>
      <${Buttons}
        plan=${plan}
        landing=${landing}
        busy=${doing !== ''}
        again=${() => look('')}
        go=${() => start(go)}
        close=${close}
      />
    </div>
  `;
}

/** @param {Landing} landing */
function verdictWords(landing) {
  if (landing.inPlace) return 'It worked in the folder itself, so its changes are there. Landing only closes it.';
  const verdict = verdictOf(landing);
  if (verdict === 'stop') return 'It cannot land now.';
  if (verdict === 'fails') return 'It would not go through.';
  if (landing.findings.some(({ id }) => id === 'unknown')) return 'It may go through.';
  if (!landing.touched.length) return `${landing.place} has all of it already.`;
  return 'It goes through without conflicts.';
}

/** @param {{wanted: Wanted, landing: Landing}} props */
function Facts({ wanted, landing }) {
  const { inPlace, place, drift, counts, uncommitted, touched, bothSides, conflicts, findings } = landing;
  if (inPlace) return null;
  const files = openFilesWords(wanted.directory);
  const shared = new Set([...bothSides, ...conflicts.map(({ path }) => path)]);
  return html`
    <p class="landing-way">
      ${icon('git-branch')} <span class="landing-branch">${wanted.branch}</span> ${icon('arrow-right')}
      <b class="landing-branch">${place}</b>
    </p>
    <dl class="landing-facts">
      <dt>Lands</dt>
      <dd>
        ${counted(counts.files, 'file')}, <${Counts} ...${counts} />
        ${uncommitted && '; what is not committed yet is committed first'}
      </dd>
      <dt>Since it began</dt>
      <dd>${drift ? `${counted(drift, 'commit')} came to ${place}` : `Nothing came to ${place}`}</dd>
    </dl>
    ${
      touched.length > 0 &&
      html`<${Names}
        label=${`${counted(touched.length, 'file')} of the working copy would change`}
        paths=${touched}
        marked=${shared}
      />`
    }
    ${
      findings.length > 0 &&
      html`<ul class="landing-findings" aria-label="What was found">
        ${findings.map(
          (finding) => html`<${FindingRow} key=${finding.id} finding=${finding} conflicts=${conflicts} />`,
        )}
      </ul>`
    }
    ${files && html`<p class="landing-files">${icon('info')} <span>${files}</span></p>`}
  `;
}

/** @type {Record<import('../../stores/dispatchlanding.js').Weight, {sign: string, name: string}>} */
const WEIGHTS = {
  stop: { sign: 'error', name: 'Stops it:' },
  fails: { sign: 'error', name: 'Stops it:' },
  ask: { sign: 'warning', name: 'Mind:' },
  note: { sign: 'info', name: 'Note:' },
};

/** @param {{finding: Finding, conflicts: Landing['conflicts']}} props */
function FindingRow({ finding: { id, weight, words, paths = [] }, conflicts }) {
  const { sign, name } = WEIGHTS[weight];
  const why = new Map(id === 'conflicts' ? conflicts.map((one) => [one.path, one.words]) : []);
  return html`<li class=${`landing-finding ${weight}`} data-finding=${id}>
    ${icon(sign)}
    <div>
      <span class="unseen">${name} </span>${words}
      ${
        paths.length > 0 &&
        html`<ul class="landing-names">
          ${paths.slice(0, kNamesShown).map((path) => html`<li key=${path}>
            ${path} ${why.get(path) && html`<span class="landing-why">${why.get(path)}</span>`}
          </li>`)}
          ${paths.length > kNamesShown && html`<li>and ${paths.length - kNamesShown} more</li>`}
        </ul>`
      }
    </div>
  </li>`;
}

/** @param {{label: string, paths: string[], marked: Set<string>}} props */
function Names({ label, paths, marked }) {
  return html`<details class="landing-touched">
    <summary>${label}</summary>
    <ul class="landing-names">
      ${paths.slice(0, kNamesShown).map(
        (path) => html`<li key=${path}>
          ${path} ${marked.has(path) && html`<span class="landing-why">changed on both sides</span>`}
        </li>`,
      )}
      ${paths.length > kNamesShown && html`<li>and ${paths.length - kNamesShown} more</li>`}
    </ul>
  </details>`;
}

/** @param {{lines: string[]}} props */
function Also({ lines }) {
  return html`<div class="landing-also">
    <p>${icon('trash')} Then thrown away for good, with branch and folder:</p>
    <ul class="landing-names">
      ${lines.map((line) => html`<li key=${line}>${line}</li>`)}
    </ul>
  </div>`;
}

/**
 * @param {object} props
 * @param {Plan} props.plan
 * @param {Landing | null} props.landing
 * @param {boolean} props.busy
 * @param {() => unknown} props.again
 * @param {() => unknown} props.go
 * @param {(answer: string | null) => void} props.close
 */
function Buttons({ plan, landing, busy, again, go, close }) {
  const verdict = landing && verdictOf(landing);
  const primary = useRef(/** @type {HTMLButtonElement | null} */ (null));
  const cancel = useRef(/** @type {HTMLButtonElement | null} */ (null));
  useEffect(() => {
    // Enter may land only what speaks for itself; the focus never leaves a place the user has chosen.
    const untouched = document.activeElement === cancel.current || document.activeElement === document.body;
    if (verdict === 'clear' && !busy && untouched) primary.current?.focus();
    else if (busy && document.activeElement === document.body) cancel.current?.focus();
  }, [verdict, busy]);
  const task = taskById(plan.wanted.id);
  const canAsk = verdict === 'fails' && landing !== null && landing.conflicts.length > 0 && task !== undefined;
  return html`<div class="dialog-buttons">
    <button type="button" class="button quiet" disabled=${busy} onClick=${again}>Look Again</button>
    ${
      canAsk &&
      html`<button
        type="button"
        class="button"
        disabled=${busy}
        onClick=${() => askToResolve(plan.wanted, landing, close)}
      >
        Have the Task Resolve It
      </button>`
    }
    <button type="button" class="button" ref=${cancel} data-autofocus onClick=${() => close(null)}>Cancel</button>
    ${
      landing &&
      verdict !== 'stop' &&
      html`<button
        type="button"
        class=${`button ${verdict === 'clear' ? 'primary' : verdict === 'ask' ? 'danger' : ''}`}
        ref=${primary}
        disabled=${busy}
        onClick=${go}
      >
        ${landWords(landing, plan)}
      </button>`
    }
  </div>`;
}

/**
 * @param {Landing} landing
 * @param {Plan} plan
 */
function landWords(landing, { and }) {
  const behind = and ? `, ${and}` : '';
  if (landing.inPlace) return `Close the Task${behind}`;
  return verdictOf(landing) === 'fails' ? 'Try Anyway' : `Land on ${landing.place}${behind}`;
}

/**
 * The task knows best what it meant by its side of a conflict.
 * @param {Wanted} wanted
 * @param {Landing} landing
 * @param {(answer: string | null) => void} close
 */
async function askToResolve(wanted, { place, conflicts }, close) {
  const names = conflicts.map(({ path }) => path).filter(Boolean);
  const text = [
    `${place} has changed since you began, and merging your branch into it would conflict`,
    names.length ? ` in: ${names.join(', ')}` : '',
    `. Commit your work, merge ${place} into your branch, resolve the conflicts so that both sides keep what they`,
    ' were meant to do, check the result, and commit the merge.',
  ].join('');
  close(null);
  try {
    await sendToTask(wanted.id, text);
    toast({ kind: 'info', text: `"${titleLine(wanted)}" was asked to resolve its conflicts with ${place}.` });
  } catch (error) {
    reportError(`Could not ask "${titleLine(wanted)}"`, error);
  }
}
