// The middle of the window: groups of tabs beside and below each other, or what to do next when there are none.

import { html } from 'htm/preact';
import { resizeSplit } from '../stores/tabs.js';
import { GroupBody } from './pane.js';
import { tabs } from './state.js';
import { TabStrip } from './tabstrip.js';
import { Welcome } from './welcome.js';

export function EditorArea() {
  const { groups, layout } = tabs.value;
  const empty = groups.length === 1 && groups[0]?.tabs.length === 0;
  return html`<div class="editor-area" data-drop="editor">
    ${empty ? html`<${Welcome} />` : html`<${LayoutNode} node=${layout} way=${[]} />`}
  </div>`;
}

/**
 * @param {{node: import('../stores/tabs.js').Layout, way: number[]}} props
 * @returns {any}
 */
function LayoutNode({ node, way }) {
  if ('group' in node) return html`<${EditorGroup} key=${node.group} id=${node.group} />`;
  return html`<div class=${`editor-split ${node.direction}`}>
    ${node.children.map(
      (child, index) => html`
        ${index > 0 && html`<${SplitHandle} key=${`handle${index}`} node=${node} way=${way} index=${index - 1} />`}
        <div class="editor-cell" key=${nodeKey(child)} style=${{ flexGrow: node.sizes[index] }}>
          <${LayoutNode} node=${child} way=${[...way, index]} />
        </div>
      `,
    )}
  </div>`;
}

/**
 * The same for a group wherever it lies, so that its view stays as it is.
 * @param {import('../stores/tabs.js').Layout} node
 * @returns {string}
 */
function nodeKey(node) {
  return 'group' in node ? node.group : node.children.map(nodeKey).join('+');
}

/** @param {{id: string}} props */
function EditorGroup({ id }) {
  const group = tabs.value.groups.find((each) => each.id === id);
  if (!group) return null;
  const number = tabs.value.groups.indexOf(group) + 1;
  const active = tabs.value.active === id;
  return html`<section
    class=${`editor-group ${active ? 'active' : ''}`}
    data-group=${id}
    aria-label=${`Editor group ${number}`}
    onFocusIn=${() => {
      if (tabs.value.active !== id) tabs.value = { ...tabs.value, active: id };
    }}
  >
    <${TabStrip} group=${group} />
    <${GroupBody} group=${group} />
  </section>`;
}

/** @param {{node: any, way: number[], index: number}} props */
function SplitHandle({ node, way, index }) {
  const row = node.direction === 'row';
  /** @param {number} share */
  const resize = (share) => {
    tabs.value = { ...tabs.value, layout: resizeSplit(tabs.value.layout, way, index, share) };
  };
  /** @param {PointerEvent} event */
  const start = (event) => {
    const handle = /** @type {HTMLElement} */ (event.currentTarget);
    const box = /** @type {HTMLElement} */ (handle.parentElement).getBoundingClientRect();
    const before = node.sizes
      .slice(0, index)
      .reduce((/** @type {number} */ sum, /** @type {number} */ size) => sum + size, 0);
    handle.setPointerCapture(event.pointerId);
    handle.onpointermove = (move) => {
      const at = row ? (move.clientX - box.left) / box.width : (move.clientY - box.top) / box.height;
      resize(at - before);
    };
    handle.onpointerup = () => {
      handle.onpointermove = null;
    };
  };
  /** @param {KeyboardEvent} event */
  const onKey = (event) => {
    const step = { ArrowLeft: -0.03, ArrowUp: -0.03, ArrowRight: 0.03, ArrowDown: 0.03 }[event.key];
    if (step === undefined) return;
    event.preventDefault();
    resize(node.sizes[index] + step);
  };
  return html`<div
    class="editor-handle"
    role="separator"
    tabindex="0"
    aria-orientation=${row ? 'vertical' : 'horizontal'}
    aria-label="Border between editor groups"
    aria-valuenow=${Math.round(node.sizes[index] * 100)}
    onPointerDown=${start}
    onKeyDown=${onKey}
    onDblClick=${() => resize((node.sizes[index] + node.sizes[index + 1]) / 2)}
  ></div>`;
}
