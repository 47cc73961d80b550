// The "Jobs" panel: what waits, what runs and for how long, and what came of it.

import { html } from 'htm/preact';
import { useEffect, useState } from 'preact/hooks';
import { clearEnded, isActive, jobs } from '../../stores/jobs.js';
import { duration } from '../../shell/banner.js';
import { registerCommand } from '../../shell/commands.js';
import { icon } from '../../shell/icons.js';
import { registerPanel, showPanel } from '../../shell/layout.js';
import { IconButton } from '../../shell/places.js';

/** @typedef {import('../../stores/jobs.js').Job} Job */

const LOOKS = {
  waiting: { icon: 'clock', words: 'waiting for its turn' },
  running: { icon: 'loading', words: '' },
  done: { icon: 'pass', words: 'done' },
  failed: { icon: 'error', words: 'failed' },
  cancelled: { icon: 'circle-slash', words: 'cancelled' },
};

export function registerJobsPanel() {
  registerPanel({
    id: 'jobs',
    title: 'Jobs',
    icon: 'tasklist',
    place: 'bottom',
    order: 80,
    component: Jobs,
    actions: Actions,
  });
  registerCommand({ id: 'panel.jobs', title: 'Show Jobs', category: 'View', run: () => showPanel('jobs') });
  registerCommand({
    id: 'jobs.clear',
    title: 'Clear Finished Jobs',
    category: 'View',
    when: () => jobs.value.some((job) => !isActive(job)),
    run: clearEnded,
  });
}

function Actions() {
  return html`<${IconButton} icon="clear-all" command="jobs.clear" />`;
}

function Jobs() {
  const rows = jobs.value;
  const now = useClock(rows.some(isActive));
  if (!rows.length) {
    return html`<p class="empty">
      Nothing is running. Work that takes longer than three seconds is listed here with its result.
    </p>`;
  }
  return html`
    <ul class="jobs" aria-label="Jobs">
      ${rows.toReversed().map((job) => html`<${Row} key=${job.id} job=${job} now=${now} />`)}
    </ul>
  `;
}

/** @param {{job: Job, now: number}} props */
function Row({ job, now }) {
  const { title, state, startedAt, endedAt, progress, result, cancel } = job;
  const look = LOOKS[state];
  const words = isActive(job) ? progress || look.words : result || look.words;
  return html`
    <li class=${`job ${state}`}>
      ${icon(look.icon, state === 'running' ? 'spin' : '')}
      <span class="job-title">${title}</span>
      <span class="job-words">${words}</span>
      <span class="job-time">${startedAt ? duration((endedAt || now) - startedAt) : ''}</span>
      ${
        isActive(job)
          ? html`<button type="button" class="button" aria-label=${`Cancel ${title}`} onClick=${cancel}>Cancel</button>`
          : null
      }
    </li>
  `;
}

/** The time, once a second while something runs. @param {boolean} runs */
function useClock(runs) {
  const [now, setNow] = useState(Date.now());
  useEffect(() => {
    if (!runs) return undefined;
    const timer = setInterval(() => setNow(Date.now()), 1000);
    return () => clearInterval(timer);
  }, [runs]);
  return now;
}
