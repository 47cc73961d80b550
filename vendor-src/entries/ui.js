// Everything the panels are made of, in one file: the import map gives it under four names, and one
// file means one copy of preact, without which hooks and signals would not see their components.
export * from 'preact';
export * from 'preact/hooks';
export * from '@preact/signals';
export { html } from 'htm/preact';
