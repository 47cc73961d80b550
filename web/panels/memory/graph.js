// The notes as a picture of their links, and beside it what hangs loose.

import { html } from 'htm/preact';
import { notes } from '../../stores/memory.js';
import { brokenLinks, graphOf, orphans } from '../../stores/memorylinks.js';
import { goTo } from './actions.js';

const kSide = 600;

export function MemoryGraph() {
  const { nodes, edges } = graphOf(notes.value);
  const loose = orphans(notes.value);
  const broken = brokenLinks(notes.value);
  const at = (/** @type {number} */ share) => share * kSide;
  return html`<section class="memory-graph" aria-label="Graph of the notes">
    <svg viewBox=${`0 0 ${kSide} ${kSide}`} role="img" aria-label=${`${nodes.length} notes, ${edges.length} links`}>
      ${edges.map(
        ({ from, to }) => html`<line
          key=${`${from}-${to}`}
          x1=${at(nodes[from].x)}
          y1=${at(nodes[from].y)}
          x2=${at(nodes[to].x)}
          y2=${at(nodes[to].y)}
        />`,
      )}
      ${nodes.map(
        ({ note, x, y }) => html`<g
          key=${note.file}
          class=${loose.includes(note) ? 'loose' : ''}
          transform=${`translate(${at(x)} ${at(y)})`}
          onClick=${() => goTo(note.file)}
        >
          <circle r=${note.isIndex ? 9 : 6} />
          <text y=${note.isIndex ? 28 : 25}>${note.name.length > 22 ? `${note.name.slice(0, 21)}…` : note.name}</text>
        </g>`,
      )}
    </svg>
    <div class="memory-loose">
      <h3>Nothing leads to</h3>
      ${loose.length === 0
        ? html`<p>Every note is linked.</p>`
        : html`<ul>
            ${loose.map(
              ({ file, name }) => html`<li key=${file}>
                <button type="button" class="memory-link" onClick=${() => goTo(file)}>${name}</button>
              </li>`,
            )}
          </ul>`}
      ${broken.length > 0 &&
      html`<h3>Links that lead nowhere</h3>
        <ul>
          ${broken.map(
            ({ from, link }) => html`<li key=${`${from} ${link}`}>
              <button type="button" class="memory-link" onClick=${() => goTo(from)}>${from}</button>: ${link}
            </li>`,
          )}
        </ul>`}
    </div>
  </section>`;
}
