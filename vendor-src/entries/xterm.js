// The terminal with its addons, in one file that is loaded with the first terminal.
export { Terminal } from '@xterm/xterm';
export { FitAddon } from '@xterm/addon-fit';
export { SearchAddon } from '@xterm/addon-search';
export { SerializeAddon } from '@xterm/addon-serialize';
export { UnicodeGraphemesAddon } from '@xterm/addon-unicode-graphemes';
export { WebLinksAddon } from '@xterm/addon-web-links';
