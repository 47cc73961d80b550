// The editor with the features that people have in their fingers, and the colouring of its
// languages. Left out: the services that run a second analysis of the text in workers (those come
// from language servers), and Monaco's own command palette, since the page has one for everything.
export * from 'monaco-editor/editor/editor.api.js';
import './monaco-features.js';
import 'monaco-editor/languages/definitions/register.all.js';
