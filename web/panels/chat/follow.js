// A place that follows its end as it grows, unless the user has scrolled away from it.

import { html } from 'htm/preact';
import { useLayoutEffect, useRef, useState } from 'preact/hooks';
import { icon } from '../../shell/icons.js';

/** Nearer to the end than this counts as being there, in px. */
const NEAR_END = 40;

/** @param {{label: string, children: any}} props */
export function FollowEnd({ label, children }) {
  const scroller = useRef(/** @type {HTMLDivElement | null} */ (null));
  const content = useRef(/** @type {HTMLDivElement | null} */ (null));
  const stuck = useRef(true);
  const [away, setAway] = useState(false);
  const toEnd = () => {
    const element = scroller.current;
    if (element) element.scrollTop = element.scrollHeight;
  };

  useLayoutEffect(() => {
    const follow = () => stuck.current && toEnd();
    const observer = new ResizeObserver(follow);
    if (content.current) observer.observe(content.current);
    if (scroller.current) observer.observe(scroller.current);
    return () => observer.disconnect();
  }, []);
  const onScroll = () => {
    const { scrollTop = 0, clientHeight = 0, scrollHeight = 0 } = scroller.current ?? {};
    stuck.current = scrollHeight - clientHeight - scrollTop < NEAR_END;
    setAway(!stuck.current);
  };

  return html`
    <div class="chat-talk">
      <div
        class="chat-scroll"
        ref=${scroller}
        tabindex="0"
        role="log"
        aria-live="off"
        aria-label=${label}
        onScroll=${onScroll}
      >
        <div class="chat-content" ref=${content}>${children}</div>
      </div>
      ${
        away &&
        html`<button type="button" class="button chat-to-end" onClick=${() => ((stuck.current = true), toEnd())}>
          ${icon('arrow-down')} To the end
        </button>`
      }
    </div>
  `;
}
