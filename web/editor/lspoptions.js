// What is drawn around a text, and what a save does to it: choices of the user, kept with the layout.

import { effect, signal } from '@preact/signals';
import { registerCommand } from '../shell/commands.js';
import * as uistate from '../stores/uistate.js';
import { whenEditorHost } from './lazy.js';
import { textViews } from './state.js';

export const breadcrumbs = signal(true);
export const minimap = signal(false);
export const stickyScroll = signal(false);
export const bracketColors = signal(false);
export const codeLens = signal(true);
export const inlayHints = signal(true);
export const formatOnSave = signal(false);
export const fixOnSave = signal(false);
/**
 * Whether texts are laid out for a screen reader; "auto" leaves it to the text editor, which cannot always know.
 * @type {import('@preact/signals').Signal<'auto' | 'on' | 'off'>}
 */
export const screenReader = signal(/** @type {'auto' | 'on' | 'off'} */ ('auto'));
const kScreenReader = 'editor.screenReader';

/** @param {unknown} wanted */
const supportOf = (wanted) => (wanted === 'on' || wanted === 'off' ? wanted : 'auto');

/** @param {string} wanted */
export function setScreenReader(wanted) {
  screenReader.value = supportOf(wanted);
  uistate.set(kScreenReader, screenReader.value);
}


/**
 * Command, title, category, the choice and the name it is kept under.
 * @type {[string, string, string, import('@preact/signals').Signal<boolean>, string][]}
 */
const kChoices = [
  ['view.breadcrumbs', 'Breadcrumbs', 'View', breadcrumbs, 'editor.breadcrumbs'],
  ['view.minimap', 'Minimap', 'View', minimap, 'editor.minimap'],
  ['view.stickyScroll', 'Sticky Scroll', 'View', stickyScroll, 'editor.stickyScroll'],
  ['view.bracketColors', 'Bracket Colours', 'View', bracketColors, 'editor.bracketColors'],
  ['view.codeLens', 'Code Lens', 'View', codeLens, 'editor.codeLens'],
  ['view.inlayHints', 'Inlay Hints', 'View', inlayHints, 'editor.inlayHints'],
  ['editor.formatOnSave', 'Format on Save', 'Editor', formatOnSave, 'editor.formatOnSave'],
  ['editor.fixOnSave', 'Fix on Save', 'Editor', fixOnSave, 'editor.fixOnSave'],
];

export function startEditorOptions() {
  for (const [id, title, category, choice, key] of kChoices) {
    choice.value = uistate.get(key, /** @type {unknown} */ (choice.value)) === true;
    registerCommand({
      id,
      title,
      category,
      checked: () => choice.value,
      run: () => {
        choice.value = !choice.value;
        uistate.set(key, choice.value);
      },
    });
  }
  screenReader.value = supportOf(uistate.get(kScreenReader, /** @type {unknown} */ ('auto')));
  effect(() => {
    const look = {
      minimap: minimap.value,
      stickyScroll: stickyScroll.value,
      bracketColors: bracketColors.value,
      codeLens: codeLens.value,
      inlayHints: inlayHints.value,
      screenReader: screenReader.value,
    };
    whenEditorHost((host) => {
      host.setLook(look);
      for (const view of textViews.values()) view.rescale();
    });
  });
}
