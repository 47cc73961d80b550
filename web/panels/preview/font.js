// A font file as a sample of its letters. The font is made from bytes that are read here: the page's policy
// lets no font come from anywhere else.

import { html } from 'htm/preact';
import { useEffect, useState } from 'preact/hooks';
import { readBytes } from '../../stores/files.js';
import { Facts } from './facts.js';

const kSizes = [14, 18, 24, 36, 48, 72];
const kLetters = ['ABCDEFGHIJKLMNOPQRSTUVWXYZ', 'abcdefghijklmnopqrstuvwxyz', '0123456789 .,:;!?&@#%()[]{}'];

let count = 0;

/** @param {{info: import('../../stores/files.js').FileInfo}} props */
export function FontSample({ info }) {
  const [state, setState] = useState({ family: '', failure: '' });
  useEffect(() => {
    /** @type {FontFace | null} */
    let face = null;
    let alive = true;
    const family = `sample-${++count}`;
    readBytes(info.path)
      .then((bytes) => new FontFace(family, bytes).load())
      .then((loaded) => {
        if (!alive) return;
        face = loaded;
        document.fonts.add(loaded);
        setState({ family, failure: '' });
      })
      .catch((error) => alive && setState({ family: '', failure: error.message }));
    return () => {
      alive = false;
      if (face) document.fonts.delete(face);
    };
  }, [info.path, info.modified]);
  if (state.failure) return html`<${Facts} info=${info} reason="The font could not be read." />`;
  return html`<section class="font-view" aria-label=${info.name} tabindex="0" style=${{ fontFamily: state.family }}>
    ${kLetters.map((line) => html`<p key=${line} class="font-letters">${line}</p>`)}
    ${kSizes.map(
      (size) => html`<p key=${size} style=${{ fontSize: `${size / 16}rem` }}>
        The quick brown fox jumps over the lazy dog
      </p>`,
    )}
  </section>`;
}
