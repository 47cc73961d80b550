// Makes the screens of terminals and joins them to the rest: keys to the bridge, menus, the clipboard.

import { sessionToken } from '../../bridge/token.js';
import { note } from '../../stores/log.js';
import { keptList, keptText } from '../../stores/terminalkeep.js';
import { resizeTerminal, restoreTerminals, showTerminal, terminalByKey, typeInto } from '../../stores/terminals.js';
import { pasteText } from './clipboard.js';
import { commandMenu, paneMenu } from './menus.js';
import { announcement, keepSoon, labelOf, loadScreens, putScreen } from './state.js';

/**
 * @param {typeof import('./screen.js')} library
 * @param {string} key
 */
export function makeScreen({ TerminalScreen }, key) {
  const screen = new TerminalScreen(key, labelOf(key), {
    typed: (data) => typeInto(key, data),
    resized: (cols, rows) => resizeTerminal(key, cols, rows),
    exited: (code) => {
      announcement.value = `${terminalByKey(key)?.title ?? 'The terminal'} exited with code ${code}`;
      keepSoon(key);
    },
    pasted: (text) => void pasteText(key, text),
    menu: ({ clientX: x, clientY: y }) => paneMenu(key, { x, y }),
    focused: () => showTerminal(key),
    changed: () => keepSoon(key),
    cwd: () => terminalByKey(key)?.cwd ?? '',
    commandMenu: (command, { clientX: x, clientY: y }) => commandMenu(key, command, { x, y }),
  });
  putScreen(key, screen);
  return screen;
}

/** Takes up what ran before a reload. */
export async function restoreScreens() {
  if (!keptList(sessionStorage, sessionToken()).terminals.length) return;
  const library = await loadScreens();
  await restoreTerminals(sessionStorage, ({ key }) => {
    const screen = makeScreen(library, key);
    screen.restore(keptText(sessionStorage, key));
    return screen;
  });
  note('info', 'Terminals were taken up again; what they wrote during the reload is not shown');
}
