// A picture on a chequered ground, fitted or at a size of the user's choice.

import { html } from 'htm/preact';
import { useRef, useState } from 'preact/hooks';
import { Facts, sizeWords } from './facts.js';

const kSteps = [0.05, 0.1, 0.25, 0.5, 0.75, 1, 1.5, 2, 3, 4, 6, 8, 16, 32];

/**
 * The next step in a direction.
 * @param {number} scale
 * @param {1 | -1} direction
 */
function zoomStep(scale, direction) {
  const steps = direction > 0 ? kSteps : kSteps.toReversed();
  const next = steps.find((step) => (direction > 0 ? step > scale * 1.001 : step < scale * 0.999));
  return next ?? /** @type {number} */ (steps.at(-1));
}

/** @param {{info: import('../../stores/files.js').FileInfo, address: string}} props */
export function Picture({ info, address }) {
  const ground = useRef(/** @type {HTMLDivElement | null} */ (null));
  const [size, setSize] = useState({ width: 0, height: 0 });
  /** 0 fits the picture to the view, but never makes it larger than it is. */
  const [scale, setScale] = useState(0);
  const [broken, setBroken] = useState(false);
  if (broken) return html`<${Facts} info=${info} reason="The picture could not be decoded." />`;

  const fitted = () => {
    const box = ground.current?.getBoundingClientRect();
    if (!box || !size.width) return 1;
    return Math.min(1, (box.width - 32) / size.width, (box.height - 32) / size.height);
  };
  const shown = scale || fitted();
  /** @param {1 | -1} direction */
  const step = (direction) => setScale(zoomStep(shown, direction));
  /** @param {KeyboardEvent} event */
  const onKey = (event) => {
    if (event.ctrlKey || event.altKey) return;
    if (event.key === '+' || event.key === '=') step(1);
    else if (event.key === '-') step(-1);
    else if (event.key === '0') setScale(0);
    else if (event.key === '1') setScale(1);
    else return;
    event.preventDefault();
  };
  return html`<div class="picture-view">
    <div
      class="picture-ground"
      ref=${ground}
      tabindex="0"
      role="group"
      aria-label=${`${info.name}. Plus and minus change the size, 0 fits, 1 is full size.`}
      onKeyDown=${onKey}
      onWheel=${(/** @type {WheelEvent} */ event) => {
        if (!event.ctrlKey) return;
        event.preventDefault();
        step(event.deltaY < 0 ? 1 : -1);
      }}
    >
      <img
        src=${address}
        alt=${info.name}
        class=${`${size.width ? '' : 'measuring'} ${shown >= 3 ? 'coarse' : ''}`}
        style=${size.width ? { width: `${size.width * shown}px`, height: `${size.height * shown}px` } : {}}
        onLoad=${(/** @type {Event} */ event) => {
          const { naturalWidth, naturalHeight } = /** @type {HTMLImageElement} */ (event.currentTarget);
          // A drawing without a size of its own gets a usual one.
          setSize({ width: naturalWidth || 300, height: naturalHeight || 150 });
        }}
        onError=${() => setBroken(true)}
      />
    </div>
    <div class="picture-bar" role="toolbar" aria-label="Size of the picture">
      <button class="button" aria-label="Smaller" onClick=${() => step(-1)}>−</button>
      <button class="button" aria-label="Larger" onClick=${() => step(1)}>+</button>
      <button class="button" aria-pressed=${scale === 0} onClick=${() => setScale(0)}>Fit</button>
      <button class="button" aria-pressed=${scale === 1} onClick=${() => setScale(1)}>100 %</button>
      <span role="status">${size.width} × ${size.height}, ${Math.round(shown * 100)} %, ${sizeWords(info.size)}</span>
    </div>
  </div>`;
}
