// Shows that the link to the native side is down, and for a while afterwards that it was. Screen readers are told of
// it with all other news (announceview.js).

import { html } from 'htm/preact';
import { useEffect, useState } from 'preact/hooks';
import { lastGapMs, linkState, openLink } from '../bridge/events.js';
import { icon } from './icons.js';

/** How long "it is back" stays. */
const BACK_MS = 8000;

export function Banner() {
  const state = linkState.value;
  const gap = lastGapMs.value;
  const [back, setBack] = useState(false);
  useEffect(() => {
    setBack(state === 'open' && gap > 0);
    const timer = setTimeout(() => setBack(false), BACK_MS);
    return () => clearTimeout(timer);
  }, [state, gap]);

  return html`
    <section aria-label="Connection">
      ${
        state === 'down' &&
        html`
        <div class="banner warning">
          ${icon('debug-disconnect')}
          <span>No link to the editor. Trying again; text that is not saved stays here.</span>
          <button type="button" class="button" onClick=${openLink}>Try now</button>
        </div>
      `
      }
      ${
        back &&
        state === 'open' &&
        html`
        <div class="banner">
          ${icon('check')}
          <span>The link was down for ${duration(gap)}. Everything was read again.</span>
          <button type="button" class="icon-button" aria-label="Dismiss" onClick=${() => setBack(false)}>
            ${icon('close')}
          </button>
        </div>
      `
      }
    </section>
  `;
}

/** @param {number} ms */
export function duration(ms) {
  const seconds = Math.round(ms / 1000);
  if (seconds < 1) return 'less than a second';
  if (seconds < 60) return `${seconds} s`;
  const minutes = Math.floor(seconds / 60);
  return minutes < 60
    ? `${minutes} min ${seconds % 60} s`
    : `${Math.floor(minutes / 60)} h ${minutes % 60} min`;
}
